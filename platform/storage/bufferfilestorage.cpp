#include "bufferfilestorage.h"

#include "database.h"
#include "sqlhelpers_p.h"

namespace storage {

namespace {

BufferFileInfo rowAt(const Sql::NativeRow &stored)
{
    BufferFileInfo row;
    row.fileId = stored.text(0);
    row.category = int(stored.integer(1));
    row.kind = int(stored.integer(2));
    row.suffix = stored.text(3);
    row.size = stored.integer(4);
    row.dateTime = stored.integer(5);
    return row;
}

} // namespace

BufferFileStorage::BufferFileStorage(Database *db)
    : m_db(db)
{ }

bool BufferFileStorage::save(const QList<BufferFileInfo> &rows)
{
    return Sql::insertRows(m_db,
                           QStringLiteral("INSERT OR REPLACE INTO buffer_file (file_id, category, "
                                          "kind, suffix, size, date_time)"),
                           rows, [](const BufferFileInfo &row) {
                               return Sql::Values {
                                       row.fileId, row.category, row.kind,
                                       row.suffix, row.size,     row.dateTime,
                               };
                           });
}

QList<BufferFileInfo> BufferFileStorage::infos(int count, bool *ok)
{
    if (count < 1) {
        return Sql::readResult(true, QList<BufferFileInfo>(), ok);
    }
    QList<BufferFileInfo> rows;
    const bool succeeded =
            Sql::select(m_db->connection(),
                        QStringLiteral("SELECT file_id, category, kind, suffix, size, "
                                       "date_time FROM buffer_file "
                                       "ORDER BY date_time, file_id LIMIT ?"),
                        {count}, rowAt, rows);
    return Sql::readResult(succeeded, std::move(rows), ok);
}

bool BufferFileStorage::remove(const QList<QString> &fileIds)
{
    return Sql::execWithIds(m_db, QStringLiteral("DELETE FROM buffer_file WHERE file_id IN (%1)"),
                            {}, fileIds);
}

} // namespace storage
