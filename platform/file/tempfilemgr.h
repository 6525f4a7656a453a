#pragma once

#include "file_export.h"

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QSet>

class DownloadFileMgr;

// Files an account holds for a dialog outside the media cache: temporary copies that a remote page
// must not list again, and downloads started on behalf of a dialog, which stop when the dialog is
// cleared.
//
// Created by the FileManager on its thread and owned by it. Every method is thread-safe.
class FILE_EXPORT TempFileMgr : public QObject
{
    Q_OBJECT

public:
    // downloads must outlive this object.
    explicit TempFileMgr(DownloadFileMgr *downloads, QObject *parent = nullptr);

    // The ids of the files held as temporary copies, over all dialogs.
    QSet<QString> loadedFileIds() const;
    void addLoadedFile(const QString &fileId, const QString &dialogId);

    // Stops the downloads started for the dialog and deletes their partial files.
    void cancelDownloading(const QString &dialogId);
    // Remembers that the file's download was started for the dialog, until it finishes.
    void trackDownload(const QString &fileId, const QString &dialogId);

private:
    void forgetDownload(const QString &fileId);

    DownloadFileMgr *const m_downloads;
    mutable QMutex m_mutex;                            // guards the two tables
    QHash<QString, QSet<QString>> m_loadedFiles;       // dialog id -> file ids
    QHash<QString, QSet<QString>> m_downloadsByDialog; // dialog id -> file ids
};
