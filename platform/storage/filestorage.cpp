#include "filestorage.h"

#include "database.h"
#include "sqlhelpers_p.h"

#include <QVarLengthArray>

namespace storage {

namespace {

// The few suffixes a batch of files has, each read into one string that all its files share.
class Suffixes
{
public:
    QString of(QUtf8StringView suffix)
    {
        for (const QString &known : std::as_const(m_known)) {
            if (QAnyStringView::equal(known, suffix)) {
                return known;
            }
        }
        QString read = suffix.toString();
        if (m_known.size() < MaxKept) {
            m_known.append(read);
        }
        return read;
    }

private:
    static constexpr qsizetype MaxKept = 8;
    QVarLengthArray<QString, MaxKept> m_known;
};

// The columns after the first of "?, type, suffix, size, name, url, state, downloaded".
FileRecord recordAfterFirstColumn(const Sql::NativeRow &stored, Suffixes &suffixes)
{
    FileRecord record;
    record.type = int(stored.integer(1));
    record.suffix = suffixes.of(stored.textView(2));
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
    return recordsOf({fileId}).value(0);
}

QList<FileRecord> FileStorage::infos(const QList<QString> &fileIds, bool *ok)
{
    QList<FileRecord> records = recordsOf(Sql::uniqueIds(fileIds), ok);
    records.removeIf([](const FileRecord &record) { return record.fileId.isEmpty(); });
    return records;
}

// A gallery page looks up two files a row. Walking the ids in their order gives each row its
// position, so a row's record takes the caller's string of the id instead of reading its own.
QList<FileRecord> FileStorage::recordsOf(const QList<QString> &fileIds, bool *ok)
{
    QList<FileRecord> records(fileIds.size());
    const QVariant idList = Sql::idArrayByPosition(fileIds);
    Suffixes suffixes;
    const auto takeRow = [&](const Sql::NativeRow &row) {
        const qint64 position = row.integer(0);
        if (position >= 0 && position < records.size()) {
            records[position] = recordAfterFirstColumn(row, suffixes);
            records[position].fileId = fileIds.at(position);
        }
    };
    const bool succeeded = idList.isNull()
            || Sql::visitRows(m_db->connection(),
                              QStringLiteral("SELECT j.key, f.type, f.suffix, f.size, f.name, "
                                             "f.url, f.state, f.downloaded FROM json_each(?) AS j "
                                             "CROSS JOIN file_record AS f ON f.file_id = j.value"),
                              {idList}, takeRow);
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
    Suffixes suffixes;
    const bool ok = Sql::select(
            m_db->connection(),
            QStringLiteral("SELECT file_id, type, suffix, size, name, url, "
                           "state, downloaded FROM file_record "
                           "WHERE file_id > ? ORDER BY file_id LIMIT ?"),
            {Sql::text(fileId), qBound(0, count, 100000)},
            [&suffixes](const Sql::NativeRow &row) {
                FileRecord record = recordAfterFirstColumn(row, suffixes);
                record.fileId = row.text(0);
                return record;
            },
            records);
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
