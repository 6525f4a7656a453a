#pragma once

//
// Internal to the file library, not API: the account's table of known files shared by the
// FileManager and its managers.
//

#include "filedata.h"
#include "weakcache.h"

#include <QHash>
#include <QMutex>
#include <QSharedPointer>
#include <functional>

namespace storage {
class UserStorageProvider;
}

// The files an account knows: one FileData per id while anyone holds it, backed by the persistent
// file table. Thread-safe: looked up on the network thread for every stream chunk, on pools during
// ingest and cleanup, and on the GUI thread.
class FileRegistry
{
public:
    // storage may be null (nothing is persisted then); it must outlive the registry.
    FileRegistry(storage::UserStorageProvider *storage, const QString &cacheRoot);

    QString cacheRoot() const { return m_cacheRoot; }
    // Where the complete copy of a file of a message's content type lives.
    QString localPath(int type, const QString &fileId, const QString &suffix) const;
    // The folder of the files of a message's content type, ending with a separator: one string
    // shared by all of them.
    QString folder(int type) const;

    // The shared object of a file, or null when unknown; loadFromDb also consults the file table
    // when no one holds the file in memory.
    QSharedPointer<FileData> file(const QString &fileId, bool loadFromDb);
    // One entry per record, in order (null for a record without id). Rows already in the table
    // keep their state; new rows are saved.
    QList<QSharedPointer<FileData>> registerFiles(const QList<storage::FileRecord> &records);
    using RecordOf = std::function<storage::FileRecord(qsizetype position)>;
    // registerFiles for records made on demand: recordOf is called only for the ids that neither
    // a holder nor the table knows, once per id.
    QList<QSharedPointer<FileData>> registerFiles(const QList<QString> &fileIds,
                                                  const RecordOf &recordOf);

    storage::UserStorageProvider *storage() const { return m_storage; }

    // Persists the file's state and downloaded bytes.
    void saveState(const FileData &file);
    // Records, in one transaction, the file as done with size bytes and its row in the cache-file
    // table, dated now: what a download does just before it moves the complete file into place.
    // False when nothing could be recorded.
    bool recordComplete(const FileData &file, qint64 size);
    // Records the complete copy found at the file's local path in the cache-file table, dated by
    // the copy, unless the table has its row already.
    void adoptCachedFile(const FileData &file);
    void forgetCachedFile(const FileData &file);

    // Whether the complete copy is at the local path (with the full size, when that is known).
    static bool isOnDisk(const FileData &file);
    // Brings state and downloaded bytes in line with the disk, for a file no download holds.
    // Returns whether anything changed.
    static bool syncWithDisk(FileData &file);

private:
    class FolderProbe;

    // A file id with its hash, worked out once. The table holds millions of ids: growing it, or
    // probing past another id, would otherwise read that id's characters, a cache miss each.
    struct HashedId
    {
        QString id;
        size_t hash;

        explicit HashedId(const QString &fileId)
            : id(fileId)
            , hash(qHash(fileId, QHashSeed::globalSeed()))
        { }
        friend bool operator==(const HashedId &a, const HashedId &b)
        {
            return a.hash == b.hash && a.id == b.id;
        }
        // Every QHash is seeded with the global seed, which the stored hash already has.
        friend size_t qHash(const HashedId &key, size_t) noexcept { return key.hash; }
    };

    // A file made for registerFiles, with what saving it takes if this call registers it.
    struct Candidate
    {
        QSharedPointer<FileData> file;
        bool isStored = false;
        bool changed = false; // by syncWithDisk
    };

    static bool syncWithDisk(FileData &file, FolderProbe &probe);
    QSharedPointer<FileData> makeFile(const storage::FileRecord &record) const;
    // Registers file unless another thread registered the id first; returns the one registered.
    QSharedPointer<FileData> adopt(const QSharedPointer<FileData> &file);
    // adopt for every candidate under one lock; a candidate another thread registered first
    // leaves its file null, and that one goes into resolved instead.
    void adoptAll(QList<Candidate> &candidates, QHash<QString, QSharedPointer<FileData>> &resolved);

    storage::UserStorageProvider *const m_storage; // not owned
    const QString m_cacheRoot;
    const QHash<int, QString> m_kindFolders; // by cache kind

    QMutex m_mutex; // guards m_files
    WeakCache<HashedId, FileData> m_files;
};
