#include "cachefilestorage.h"

#include "database.h"
#include "sqlhelpers_p.h"

#include <algorithm>

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

Sql::Values valuesOf(const CacheFileInfo &row)
{
    return {row.fileId, row.type, row.suffix, row.size, row.dateTime};
}

const QString &columns()
{
    static const QString sql = QStringLiteral(" INTO cache_file (file_id, type, suffix, size, "
                                              "date_time)");
    return sql;
}

} // namespace

CacheFileStorage::CacheFileStorage(Database *db)
    : m_db(db)
{ }

bool CacheFileStorage::save(const QList<CacheFileInfo> &rows)
{
    return Sql::insertRows(m_db, QStringLiteral("INSERT OR REPLACE") + columns(), rows, valuesOf);
}

bool CacheFileStorage::add(const QList<CacheFileInfo> &rows)
{
    return Sql::insertRows(m_db, QStringLiteral("INSERT OR IGNORE") + columns(), rows, valuesOf);
}

QList<CacheFileInfo> CacheFileStorage::infosAfter(qint64 dateTime, const QString &fileId, int count,
                                                  bool *ok)
{
    if (count < 1) {
        return Sql::readResult(true, QList<CacheFileInfo>(), ok);
    }
    const bool fromStart = dateTime == 0 && fileId.isEmpty();
    const QString where =
            fromStart ? QString() : QStringLiteral("WHERE (date_time, file_id) > (?, ?) ");
    QVariantList values = fromStart ? QVariantList() : QVariantList {dateTime, Sql::text(fileId)};
    values.append(count);
    QList<CacheFileInfo> rows;
    const bool succeeded = Sql::select(
            m_db->connection(),
            selectColumns() + where + QStringLiteral("ORDER BY date_time, file_id LIMIT ?"), values,
            rowAt, rows);
    return Sql::readResult(succeeded, std::move(rows), ok);
}

CacheFileStorage::Walk CacheFileStorage::walkOldestFirst(
        int pageSize, const std::function<bool(const QList<CacheFileInfo> &page)> &visit)
{
    CacheFileInfo cursor;
    for (;;) {
        bool ok = false;
        const QList<CacheFileInfo> page = infosAfter(cursor.dateTime, cursor.fileId, pageSize, &ok);
        if (!ok) {
            return Walk::Unreadable;
        }
        if (page.isEmpty()) {
            return Walk::Ended;
        }
        if (!visit(page)) {
            return Walk::Stopped;
        }
        if (page.size() < pageSize) {
            return Walk::Ended;
        }
        cursor = page.constLast();
    }
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

bool CacheFileStorage::removeUnchanged(const QList<CacheFileInfo> &rows)
{
    if (rows.isEmpty()) {
        return true;
    }
    return m_db->transaction([&rows](QSqlDatabase &connection) {
        Sql::NativeStatement statement(
                connection,
                QStringLiteral("DELETE FROM cache_file WHERE file_id = ? AND date_time = ?"));
        return std::all_of(rows.cbegin(), rows.cend(), [&statement](const CacheFileInfo &row) {
            return statement.run({Sql::text(row.fileId), row.dateTime});
        });
    });
}

bool CacheFileStorage::removeAll()
{
    return Sql::exec(m_db, QStringLiteral("DELETE FROM cache_file"));
}

namespace {

qint64 singleNumber(Database *db, const QString &sql, bool *ok)
{
    QList<qint64> numbers;
    const bool succeeded = Sql::select(
            db->connection(), sql, {},
            [](const Sql::NativeRow &stored) { return stored.integer(0); }, numbers);
    return Sql::readResult(succeeded && numbers.size() == 1, std::move(numbers), ok).value(0);
}

} // namespace

qint64 CacheFileStorage::totalSize(bool *ok)
{
    return singleNumber(m_db, QStringLiteral("SELECT COALESCE(SUM(size), 0) FROM cache_file"), ok);
}

qint64 CacheFileStorage::count(bool *ok)
{
    return singleNumber(m_db, QStringLiteral("SELECT COUNT(*) FROM cache_file"), ok);
}

} // namespace storage
