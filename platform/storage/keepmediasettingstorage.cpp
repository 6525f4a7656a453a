#include "keepmediasettingstorage.h"

#include "database.h"
#include "sqlhelpers_p.h"

namespace storage {

KeepMediaSettingStorage::KeepMediaSettingStorage(Database *db)
    : m_db(db)
{ }

bool KeepMediaSettingStorage::save(const KeepMediaSettingInfo &info)
{
    return Sql::exec(m_db,
                     QStringLiteral("INSERT OR REPLACE INTO keep_media_setting (dialog_id, "
                                    "keep_time) VALUES (?, ?)"),
                     {Sql::text(info.dialogId), info.keepTime});
}

bool KeepMediaSettingStorage::remove(const QString &dialogId)
{
    return Sql::exec(m_db, QStringLiteral("DELETE FROM keep_media_setting WHERE dialog_id = ?"),
                     {Sql::text(dialogId)});
}

QList<KeepMediaSettingInfo> KeepMediaSettingStorage::infos(bool *ok)
{
    QList<KeepMediaSettingInfo> rows;
    const bool succeeded = Sql::select(
            m_db->connection(),
            QStringLiteral(
                    "SELECT dialog_id, keep_time FROM keep_media_setting ORDER BY dialog_id"),
            {},
            [](const Sql::NativeRow &stored) {
                return KeepMediaSettingInfo {stored.text(0), int(stored.integer(1))};
            },
            rows);
    return Sql::readResult(succeeded, std::move(rows), ok);
}

} // namespace storage
