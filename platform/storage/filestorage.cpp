#include "filestorage.h"

#include "database.h"
#include "sqlhelpers_p.h"

namespace storage {

namespace {

FileRecord recordAt(const Sql::NativeRow &stored)
{
    FileRecord record;
    record.fileId = stored.text(0);
    record.type = int(stored.integer(1));
    record.suffix = stored.text(2);
    record.size = stored.integer(3);
    record.name = stored.text(4);
    record.url = stored.text(5);
    record.state = int(stored.integer(6));
    record.downloaded = stored.integer(7);
    return record;
}

} // namespace

FileStorage::FileStorage(Database *db)
    : m_db(db)
{ }

bool FileStorage::save(const QList<FileRecord> &records)
{
    return Sql::insertRows(m_db,
                           QStringLiteral("INSERT OR REPLACE INTO file_record (file_id, type, "
                                          "suffix, size, name, url, state, downloaded)"),
                           records, [](const FileRecord &record) {
                               return Sql::Values {
                                       record.fileId, record.type, record.suffix, record.size,
                                       record.name,   record.url,  record.state,  record.downloaded,
                               };
                           });
}

FileRecord FileStorage::info(const QString &fileId)
{
    // The id must match as a whole: an id the lookup cannot carry intact names no stored file.
    const QList<FileRecord> records = infos({fileId});
    return !records.isEmpty() && records.constFirst().fileId == fileId ? records.constFirst()
                                                                       : FileRecord();
}

QList<FileRecord> FileStorage::infos(const QList<QString> &fileIds, bool *ok)
{
    QList<FileRecord> records;
    records.reserve(fileIds.size());
    const bool succeeded =
            Sql::selectWithIds(m_db->connection(),
                               QStringLiteral("SELECT file_id, type, suffix, size, name, "
                                              "url, state, downloaded FROM file_record "
                                              "WHERE file_id IN (%1)"),
                               {}, fileIds, recordAt, records);
    return Sql::readResult(succeeded, std::move(records), ok);
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
            [](const Sql::NativeRow &stored) {
                Totals totals;
                totals.completeCount = int(stored.integer(0));
                totals.completeBytes = stored.integer(1);
                totals.missingCount = int(stored.integer(2));
                totals.missingBytes = stored.integer(3);
                return totals;
            },
            rows);
    return rows.value(0);
}

} // namespace storage
