#pragma once

#include "storage_export.h"

#include <QList>
#include <QString>

namespace storage {

class Database;

// One file of the account's registry: every file a message names, downloaded or not.
struct FileRecord
{
    QString fileId;
    int type = 0; // content type
    QString suffix;
    qint64 size = 0;
    QString name;
    QString url;           // where the bytes come from
    int state = 0;         // BaseFile::State value
    qint64 downloaded = 0; // bytes present
};

// The file registry table, primary key fileId. Thread-safe; failures log one warning and return
// false or an empty result.
class STORAGE_EXPORT FileStorage
{
public:
    explicit FileStorage(Database *db);

    // Inserts or replaces by fileId, all records in one transaction.
    bool save(const QList<FileRecord> &records);
    // The record of exactly fileId; its fileId is empty when the file is unknown.
    FileRecord info(const QString &fileId);
    // The known records among fileIds, in no particular order; ok tells a failed read from none
    // found.
    QList<FileRecord> infos(const QList<QString> &fileIds, bool *ok = nullptr);
    // One record per id, in the order of fileIds: its row, or an empty record (empty fileId) for
    // an id the table lacks or that names nothing (empty, or holding a NUL). A failed read returns
    // no records at all, and ok tells it from a successful one.
    QList<FileRecord> recordsOf(const QList<QString> &fileIds, bool *ok = nullptr);
    // Records the download state of a known file; false when the file is unknown.
    bool updateState(const QString &fileId, int state, qint64 downloaded);
    bool remove(const QList<QString> &fileIds);
    // Records ordered by fileId, strictly after the given one ("" = from the start): a walk
    // over the whole registry in pages.
    QList<FileRecord> infosAfter(const QString &fileId, int count);

    struct Totals
    {
        int completeCount = 0; // wholly present on disk
        qint64 completeBytes = 0;
        int missingCount = 0; // not downloaded, or not completely
        qint64 missingBytes = 0;
    };
    Totals totals();

private:
    Database *const m_db;
};

} // namespace storage

Q_DECLARE_TYPEINFO(storage::FileRecord, Q_RELOCATABLE_TYPE);
