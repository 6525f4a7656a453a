#include "cachefilestorage.h"

#include "database.h"
#include "sqlhelpers_p.h"

#include <QSqlQuery>

namespace storage {

namespace {

const QString &selectColumns()
{
    static const QString sql =
            QStringLiteral("SELECT file_id, type, suffix, size, date_time FROM cache_file ");
    return sql;
}

CacheFileInfo rowAt(const Sql::NativeRow &stored)
{
    CacheFileInfo row;
    row.fileId = stored.text(0);
    row.type = int(stored.integer(1));
    row.suffix = stored.text(2);
    row.size = stored.integer(3);
    row.dateTime = stored.integer(4);
    return row;
}

} // namespace

CacheFileStorage::CacheFileStorage(Database *db)
    : m_db(db)
{ }

bool CacheFileStorage::save(const QList<CacheFileInfo> &rows)
{
    return Sql::insertRows(m_db,
                           QStringLiteral("INSERT OR REPLACE INTO cache_file (file_id, type, "
                                          "suffix, size, date_time)"),
                           rows, [](const CacheFileInfo &row) {
                               return Sql::Values {
                                       row.fileId, row.type, row.suffix, row.size, row.dateTime,
                               };
                           });
}

QList<CacheFileInfo> CacheFileStorage::infosAfter(qint64 dateTime, const QString &fileId, int count)
{
    if (count < 1) {
        return {};
    }
    const bool fromStart = dateTime == 0 && fileId.isEmpty();
    const QString where =
            fromStart ? QString() : QStringLiteral("WHERE (date_time, file_id) > (?, ?) ");
    QVariantList values = fromStart ? QVariantList() : QVariantList {dateTime, Sql::text(fileId)};
    values.append(count);
    QList<CacheFileInfo> rows;
    const bool ok = Sql::select(m_db->connection(),
                                selectColumns() + where
                                        + QStringLiteral("ORDER BY date_time, file_id LIMIT ?"),
                                values, rowAt, rows);
    return ok ? rows : QList<CacheFileInfo>();
}

QList<CacheFileInfo> CacheFileStorage::infosWithFileIds(const QList<QString> &fileIds)
{
    QList<CacheFileInfo> rows;
    const bool ok = Sql::selectWithIds(m_db->connection(),
                                       selectColumns() + QStringLiteral("WHERE file_id IN (%1)"),
                                       {}, fileIds, rowAt, rows);
    return ok ? rows : QList<CacheFileInfo>();
}

bool CacheFileStorage::removeBefore(qint64 time)
{
    return Sql::exec(m_db, QStringLiteral("DELETE FROM cache_file WHERE date_time < ?"), {time});
}

bool CacheFileStorage::removeWithFileIds(const QList<QString> &fileIds)
{
    return Sql::execWithIds(m_db, QStringLiteral("DELETE FROM cache_file WHERE file_id IN (%1)"),
                            {}, fileIds);
}

bool CacheFileStorage::removeAll()
{
    return Sql::exec(m_db, QStringLiteral("DELETE FROM cache_file"));
}

qint64 CacheFileStorage::totalSize()
{
    QSqlQuery query(m_db->connection());
    if (!Sql::exec(query, QStringLiteral("SELECT COALESCE(SUM(size), 0) FROM cache_file"), {})
        || !query.next()) {
        return 0;
    }
    return query.value(0).toLongLong();
}

qint64 CacheFileStorage::count()
{
    QSqlQuery query(m_db->connection());
    if (!Sql::exec(query, QStringLiteral("SELECT COUNT(*) FROM cache_file"), {}) || !query.next()) {
        return 0;
    }
    return query.value(0).toLongLong();
}

} // namespace storage
