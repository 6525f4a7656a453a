#include "dialogstorage.h"

#include "database.h"
#include "sqlhelpers_p.h"

namespace storage {

namespace {

const QString &selectColumns()
{
    static const QString sql = QStringLiteral(
            "SELECT dialog_id, name, type, is_group, first_visible_msg_id, last_active_time, "
            "can_search_remote, has_remote_history FROM dialog ");
    return sql;
}

DialogRecord recordAt(const Sql::NativeRow &stored)
{
    DialogRecord record;
    record.dialogId = stored.text(0);
    record.name = stored.text(1);
    record.type = int(stored.integer(2));
    record.isGroup = stored.boolean(3);
    record.firstVisibleMsgId = stored.integer(4);
    record.lastActiveTime = stored.integer(5);
    record.canSearchRemote = stored.boolean(6);
    record.hasRemoteHistory = stored.boolean(7);
    return record;
}

} // namespace

DialogStorage::DialogStorage(Database *db)
    : m_db(db)
{ }

bool DialogStorage::save(const QList<DialogRecord> &records)
{
    return Sql::insertRows(
            m_db,
            QStringLiteral("INSERT OR REPLACE INTO dialog (dialog_id, name, type, is_group, "
                           "first_visible_msg_id, last_active_time, can_search_remote, "
                           "has_remote_history)"),
            records, [](const DialogRecord &record) {
                return Sql::Values {
                        record.dialogId,
                        record.name,
                        record.type,
                        record.isGroup,
                        record.firstVisibleMsgId,
                        record.lastActiveTime,
                        record.canSearchRemote,
                        record.hasRemoteHistory,
                };
            });
}

QList<DialogRecord> DialogStorage::dialogs(bool *ok)
{
    QList<DialogRecord> records;
    const bool succeeded = Sql::select(
            m_db->connection(),
            selectColumns() + QStringLiteral("ORDER BY last_active_time DESC, dialog_id"), {},
            recordAt, records);
    return Sql::readResult(succeeded, std::move(records), ok);
}

DialogRecord DialogStorage::dialog(const QString &dialogId)
{
    QList<DialogRecord> records;
    Sql::select(m_db->connection(), selectColumns() + QStringLiteral("WHERE dialog_id = ?"),
                {Sql::text(dialogId)}, recordAt, records);
    return records.isEmpty() ? DialogRecord() : records.constFirst();
}

bool DialogStorage::remove(const QString &dialogId)
{
    return Sql::exec(m_db, QStringLiteral("DELETE FROM dialog WHERE dialog_id = ?"),
                     {Sql::text(dialogId)});
}

} // namespace storage
