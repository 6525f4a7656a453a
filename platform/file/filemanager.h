#pragma once

#include "file_export.h"
#include "filedata.h"

#include <QList>
#include <QMultiHash>
#include <QObject>
#include <QSharedPointer>
#include <QThreadPool>
#include <functional>
#include <memory>

class DownloadFileMgr;
class FileDataMgr;
class FileRegistry;
class TempFileMgr;

namespace storage {
class UserStorageProvider;
}

// The files of one account: the registry of files that messages name, their downloads into the
// account's cache folder, and copies saved elsewhere.
//
// Created on the main thread, usually as a child of the account. Owns the FileDataMgr,
// DownloadFileMgr and TempFileMgr (children, deleted before the registry they share).
// filePtrWithId, registerFiles, saveAsFile and stopFile are thread-safe.
class FILE_EXPORT FileManager : public QObject
{
    Q_OBJECT

public:
    // storage must outlive this object; cacheRoot is the account's cache folder.
    FileManager(storage::UserStorageProvider *storage, const QString &cacheRoot,
                QObject *parent = nullptr);
    // Stops the downloads (partial files are kept) and waits for every worker.
    ~FileManager() override;

    QString cacheRoot() const;
    FileDataMgr *fileDataMgr() const { return m_fileDataMgr; }
    DownloadFileMgr *downloadFileMgr() const { return m_downloadFileMgr; }
    TempFileMgr *tempFileMgr() const { return m_tempFileMgr; }

    // The file of an id, or null when unknown. There is one FileData per id while anyone holds
    // it. bLoadFromDb: also consult the persistent file table when no one holds it. Cheap: called
    // on the network thread for every stream request.
    QSharedPointer<FileData> filePtrWithId(const QString &fileId, bool bLoadFromDb);
    // Records the files that messages name, one result per record in order (null for a record
    // without id). Files already known keep their state; a new file whose complete copy is
    // already at its local path is done. The local path of a file is its kind's folder of the
    // main cache (CacheLayout) plus fileId[.suffix].
    QList<QSharedPointer<FileData>> registerFiles(const QList<storage::FileRecord> &records);
    // The record of the id at a position of a registerFiles call.
    using RecordOf = std::function<storage::FileRecord(qsizetype position)>;
    // registerFiles when making a record costs: recordOf(i) gives the record of fileIds[i], and
    // is called only for ids that neither a holder nor the file table knows.
    QList<QSharedPointer<FileData>> registerFiles(const QList<QString> &fileIds,
                                                  const RecordOf &recordOf);

    // Copies the file to targetPath, replacing what is there, after downloading it when it is not
    // complete. flags: 0, a plain copy. Asynchronous; ends with saveAsFinished, by which time
    // targetPath is no longer held by Util::makeFilePath.
    void saveAsFile(const QString &fileId, const QString &targetPath, int flags);
    // Stops the file's download. bDeleteTemp: also delete the partial file. reason: why (0 = the
    // user); downloadType: the DownloadType of the caller. Asynchronous.
    void stopFile(const QString &fileId, int bDeleteTemp, int reason, int downloadType);

Q_SIGNALS:
    void saveAsFinished(const QString &fileId, const QString &targetPath, bool ok);

private:
    void startSaveAs(const QString &fileId, const QString &targetPath);
    void onDownloadFinished(const QString &fileId, bool ok);
    void copyInBackground(const QString &fileId, const QString &sourcePath,
                          const QString &targetPath);
    void finishSaveAs(const QString &fileId, const QString &targetPath, bool ok);

    std::unique_ptr<FileRegistry> m_registry;
    DownloadFileMgr *m_downloadFileMgr = nullptr; // child
    FileDataMgr *m_fileDataMgr = nullptr;         // child
    TempFileMgr *m_tempFileMgr = nullptr;         // child
    QThreadPool m_copyPool;                       // saveAsFile copies
    QMultiHash<QString, QString>
            m_pendingSaves; // this thread: file id -> targets awaiting download
};
