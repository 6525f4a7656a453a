#pragma once

#include "file_export.h"

#include <QObject>
#include <functional>

class DownloadFileMgr;
class FileRegistry;

// The account's cached files on disk: deleting them and measuring them, and the signals that tell
// the media layer about files that finished or went away.
//
// Created by the FileManager on its thread and owned by it. Every method is thread-safe: they are
// called on pool threads by the cleanups and the storage view. Signals are emitted on the calling
// thread (updateMediaSync on the network thread).
class FILE_EXPORT FileDataMgr : public QObject
{
    Q_OBJECT

public:
    // What a reconciliation of the cache with its table did.
    struct Reconciliation
    {
        int adopted = 0;         // complete copies without a row, recorded
        int removed = 0;         // files without a row that no record names as they are, deleted
        qint64 removedBytes = 0; // their size
        int droppedRows = 0;     // rows of files that were not there; they freed nothing
        bool bComplete = false;  // false: a read failed or the pass was cancelled part-way
    };

    // registry and downloads must outlive this object.
    FileDataMgr(FileRegistry *registry, DownloadFileMgr *downloads, QObject *parent = nullptr);

    // Deletes directory + fileId[.suffix] and its partial download, stopping the file's download
    // when it writes there. Once the copy is gone the file's FileData is no longer complete:
    // StateNone with 0 bytes, its registry row updated. Its cache-file row is the caller's to
    // remove. bNotify: emit fileRemoved once the copy is gone. Returns whether both files are
    // gone (true for an empty id, which names nothing).
    bool deleteCacheFile(const QString &directory, const QString &fileId, const QString &suffix,
                         bool bNotify);
    // Brings the cache-file table in line with the folders of the main cache after a crash or an
    // outside change: a complete copy that has no row is recorded (its size, its kind, dated by
    // the copy) when the file table knows it as it lies, and deleted otherwise; a row whose file is
    // not there is dropped. Files a download holds are left alone. A failed read stops the pass
    // before it changes anything more. isCancelled is asked between the steps. Any thread.
    Reconciliation reconcileCache(const std::function<bool()> &isCancelled = {});
    // Adds the size of directory + fileId[.suffix] to size when that file exists; size is never
    // reset, so one accumulator can gather many files.
    void addFileSize(const QString &directory, const QString &fileId, const QString &suffix,
                     qint64 &size);

Q_SIGNALS:
    // A file that a bulk download (DOWNLOAD_SYNC) asked for finished (succ) or failed.
    void updateMediaSync(const QString &fileId, bool succ);
    void fileRemoved(const QString &fileId);

private:
    FileRegistry *const m_registry;
    DownloadFileMgr *const m_downloads;
};
