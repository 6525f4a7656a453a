#include "filestorage.h"

#include "database.h"
#include "sqlhelpers_p.h"

namespace storage {

namespace {

FileRecord recordAt(const QSqlQuery &query)
{
    FileRecord record;
    record.fileId = query.value(0).toString();
    record.type = query.value(1).toInt();
    record.suffix = query.value(2).toString();
    record.size = query.value(3).toLongLong();
    record.name = query.value(4).toString();
    record.url = query.value(5).toString();
    record.state = query.value(6).toInt();
    record.downloaded = query.value(7).toLongLong();
    return record;
}

} // namespace

FileStorage::FileStorage(Database *db)
    : m_db(db)
{ }

bool FileStorage::save(const QList<FileRecord> &records)
{
    return Sql::execForRows(m_db,
                            QStringLiteral("INSERT OR REPLACE INTO file_record (file_id, type, "
                                           "suffix, size, name, url, state, downloaded) "
                                           "VALUES (?, ?, ?, ?, ?, ?, ?, ?)"),
                            records, [](const FileRecord &record) {
                                return QVariantList {Sql::text(record.fileId),
                                                     record.type,
                                                     Sql::text(record.suffix),
                                                     record.size,
                                                     Sql::text(record.name),
                                                     Sql::text(record.url),
                                                     record.state,
                                                     record.downloaded};
                            });
}

FileRecord FileStorage::info(const QString &fileId)
{
    const QList<FileRecord> records = infos({fileId});
    return records.isEmpty() ? FileRecord() : records.constFirst();
}

QList<FileRecord> FileStorage::infos(const QList<QString> &fileIds)
{
    QList<FileRecord> records;
    const bool ok = Sql::selectWithIds(m_db->connection(),
                                       QStringLiteral("SELECT file_id, type, suffix, size, name, "
                                                      "url, state, downloaded FROM file_record "
                                                      "WHERE file_id IN (%1)"),
                                       {}, fileIds, recordAt, records);
    return ok ? records : QList<FileRecord>();
}

bool FileStorage::updateState(const QString &fileId, int state, qint64 downloaded)
{
    QSqlQuery query(m_db->connection());
    if (!Sql::exec(query,
                   QStringLiteral("UPDATE file_record SET state = ?, downloaded = ? "
                                  "WHERE file_id = ?"),
                   {state, downloaded, Sql::text(fileId)})) {
        return false;
    }
    return query.numRowsAffected() > 0;
}

bool FileStorage::remove(const QList<QString> &fileIds)
{
    return Sql::execWithIds(m_db, QStringLiteral("DELETE FROM file_record WHERE file_id IN (%1)"),
                            {}, fileIds);
}

QList<FileRecord> FileStorage::infosAfter(const QString &fileId, int count)
{
    QList<FileRecord> records;
    const bool ok = Sql::select(m_db->connection(),
                                QStringLiteral("SELECT file_id, type, suffix, size, name, url, "
                                               "state, downloaded FROM file_record "
                                               "WHERE file_id > ? ORDER BY file_id LIMIT ?"),
                                {Sql::text(fileId), qBound(0, count, 100000)}, recordAt, records);
    return ok ? records : QList<FileRecord>();
}

FileStorage::Totals FileStorage::totals()
{
    // States 4 (downloaded) and 9 (made here) are the complete ones.
    QList<Totals> rows;
    Sql::select(
            m_db->connection(),
            QStringLiteral("SELECT SUM(state IN (4, 9)), TOTAL(CASE WHEN state IN (4, 9) "
                           "THEN size END), SUM(state NOT IN (4, 9)), "
                           "TOTAL(CASE WHEN state NOT IN (4, 9) THEN size END) "
                           "FROM file_record"),
            {},
            [](const QSqlQuery &query) {
                Totals totals;
                totals.completeCount = query.value(0).toInt();
                totals.completeBytes = query.value(1).toLongLong();
                totals.missingCount = query.value(2).toInt();
                totals.missingBytes = query.value(3).toLongLong();
                return totals;
            },
            rows);
    return rows.value(0);
}

} // namespace storage
