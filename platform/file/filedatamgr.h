#pragma once

#include "file_export.h"

#include <QObject>

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
    // registry and downloads must outlive this object.
    FileDataMgr(FileRegistry *registry, DownloadFileMgr *downloads, QObject *parent = nullptr);

    // Deletes directory + fileId[.suffix] and its partial download, stopping the file's download
    // when it writes there. Once the copy is gone the file's FileData is no longer complete:
    // StateNone with 0 bytes, its registry row updated. Its cache-file row is the caller's to
    // remove. bNotify: emit fileRemoved once the copy is gone. Returns whether both files are
    // gone (true for an empty id, which names nothing).
    bool deleteCacheFile(const QString &directory, const QString &fileId, const QString &suffix,
                         bool bNotify);
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
