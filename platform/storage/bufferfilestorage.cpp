#include "bufferfilestorage.h"

#include "database.h"
#include "sqlhelpers_p.h"

namespace storage {

namespace {

BufferFileInfo rowAt(const QSqlQuery &query)
{
    BufferFileInfo row;
    row.fileId = query.value(0).toString();
    row.category = query.value(1).toInt();
    row.kind = query.value(2).toInt();
    row.suffix = query.value(3).toString();
    row.size = query.value(4).toLongLong();
    row.dateTime = query.value(5).toLongLong();
    return row;
}

} // namespace

BufferFileStorage::BufferFileStorage(Database *db)
    : m_db(db)
{ }

bool BufferFileStorage::save(const QList<BufferFileInfo> &rows)
{
    return Sql::execForRows(m_db,
                            QStringLiteral("INSERT OR REPLACE INTO buffer_file (file_id, category, "
                                           "kind, suffix, size, date_time) "
                                           "VALUES (?, ?, ?, ?, ?, ?)"),
                            rows, [](const BufferFileInfo &row) {
                                return QVariantList {
                                        Sql::text(row.fileId), row.category, row.kind,
                                        Sql::text(row.suffix), row.size,     row.dateTime};
                            });
}

QList<BufferFileInfo> BufferFileStorage::infos(int count)
{
    if (count < 1) {
        return {};
    }
    QList<BufferFileInfo> rows;
    const bool ok = Sql::select(m_db->connection(),
                                QStringLiteral("SELECT file_id, category, kind, suffix, size, "
                                               "date_time FROM buffer_file "
                                               "ORDER BY date_time, file_id LIMIT ?"),
                                {count}, rowAt, rows);
    return ok ? rows : QList<BufferFileInfo>();
}

bool BufferFileStorage::remove(const QList<QString> &fileIds)
{
    return Sql::execWithIds(m_db, QStringLiteral("DELETE FROM buffer_file WHERE file_id IN (%1)"),
                            {}, fileIds);
}

} // namespace storage
