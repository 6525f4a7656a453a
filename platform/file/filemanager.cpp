#include "filemanager.h"

#include "downloadfilemgr.h"
#include "filedatamgr.h"
#include "fileregistry_p.h"
#include "platformlog.h"
#include "tempfilemgr.h"
#include "util.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

constexpr qint64 kCopyChunkSize = 1024 * 1024;

// Writes a copy of source to target through a QSaveFile, so target is either replaced whole or
// left as it was.
bool copyFile(const QString &sourcePath, const QString &targetPath)
{
    QFile source(sourcePath);
    if (!source.open(QIODevice::ReadOnly)) {
        qCWarning(lcPlatform) << "cannot open" << sourcePath << source.errorString();
        return false;
    }
    QDir().mkpath(QFileInfo(targetPath).absolutePath());
    QSaveFile target(targetPath);
    if (!target.open(QIODevice::WriteOnly)) {
        qCWarning(lcPlatform) << "cannot write" << targetPath << target.errorString();
        return false;
    }
    while (!source.atEnd()) {
        const QByteArray chunk = source.read(kCopyChunkSize);
        if (chunk.isEmpty() || target.write(chunk) != chunk.size()) {
            qCWarning(lcPlatform) << "cannot copy" << sourcePath << "to" << targetPath;
            target.cancelWriting();
            return false;
        }
    }
    if (!target.commit()) {
        qCWarning(lcPlatform) << "cannot write" << targetPath << target.errorString();
        return false;
    }
    return true;
}

} // namespace

FileManager::FileManager(storage::UserStorageProvider *storage, const QString &cacheRoot,
                         QObject *parent)
    : QObject(parent)
    , m_registry(std::make_unique<FileRegistry>(storage, cacheRoot))
    , m_downloadFileMgr(new DownloadFileMgr(m_registry.get(), this))
    , m_fileDataMgr(new FileDataMgr(m_registry.get(), m_downloadFileMgr, this))
    , m_tempFileMgr(new TempFileMgr(m_downloadFileMgr, this))
{
    m_copyPool.setMaxThreadCount(1);
    connect(m_downloadFileMgr, &DownloadFileMgr::downloadFinished, this,
            &FileManager::onDownloadFinished, Qt::QueuedConnection);
}

FileManager::~FileManager()
{
    m_copyPool.waitForDone();
    // The downloads first: once their queue is gone nothing emits on the network thread into the
    // managers that listen directly. All go before the registry they share.
    delete m_downloadFileMgr;
    delete m_tempFileMgr;
    delete m_fileDataMgr;
}

QString FileManager::cacheRoot() const
{
    return m_registry->cacheRoot();
}

QSharedPointer<FileData> FileManager::filePtrWithId(const QString &fileId, bool bLoadFromDb)
{
    return m_registry->file(fileId, bLoadFromDb);
}

QList<QSharedPointer<FileData>>
FileManager::registerFiles(const QList<storage::FileRecord> &records)
{
    return m_registry->registerFiles(records);
}

QList<QSharedPointer<FileData>> FileManager::registerFiles(const QList<QString> &fileIds,
                                                           const RecordOf &recordOf)
{
    return m_registry->registerFiles(fileIds, recordOf);
}

void FileManager::saveAsFile(const QString &fileId, const QString &targetPath, int flags)
{
    if (flags != 0) {
        qCDebug(lcPlatform) << "saveAsFile flags" << flags << "ignored: only plain copies exist";
    }
    QMetaObject::invokeMethod(
            this, [this, fileId, targetPath] { startSaveAs(fileId, targetPath); },
            Qt::QueuedConnection);
}

void FileManager::startSaveAs(const QString &fileId, const QString &targetPath)
{
    const QSharedPointer<FileData> file = filePtrWithId(fileId, true);
    if (!file || targetPath.isEmpty()) {
        qCWarning(lcPlatform) << "cannot save" << fileId << "as" << targetPath
                              << (file ? "" : ": unknown file");
        finishSaveAs(fileId, targetPath, false);
        return;
    }
    if (file->isComplete() && FileRegistry::isOnDisk(*file)) {
        copyInBackground(fileId, file->localPath(), targetPath);
        return;
    }
    // Also for a copy that is on disk but not yet known as complete: the download marks it done.
    m_pendingSaves.insert(fileId, targetPath);
    m_downloadFileMgr->download(file, true, DOWNLOAD_VIEW);
}

void FileManager::onDownloadFinished(const QString &fileId, bool ok)
{
    const QList<QString> targets = m_pendingSaves.values(fileId);
    m_pendingSaves.remove(fileId);
    for (const QString &target : targets) {
        const QSharedPointer<FileData> file = filePtrWithId(fileId, true);
        if (ok && file) {
            copyInBackground(fileId, file->localPath(), target);
        } else {
            finishSaveAs(fileId, target, false);
        }
    }
}

void FileManager::copyInBackground(const QString &fileId, const QString &sourcePath,
                                   const QString &targetPath)
{
    m_copyPool.start([this, fileId, sourcePath, targetPath] {
        const bool ok = copyFile(sourcePath, targetPath);
        QMetaObject::invokeMethod(
                this, [this, fileId, targetPath, ok] { finishSaveAs(fileId, targetPath, ok); },
                Qt::QueuedConnection);
    });
}

// The name was held only so that two copies of one batch do not take it both; a copy done
// stands in the folder under it, a copy failed leaves it free.
void FileManager::finishSaveAs(const QString &fileId, const QString &targetPath, bool ok)
{
    Util::releaseFilePath(targetPath);
    Q_EMIT saveAsFinished(fileId, targetPath, ok);
}

void FileManager::stopFile(const QString &fileId, int bDeleteTemp, int reason, int downloadType)
{
    qCDebug(lcPlatform) << "stop" << fileId << "reason" << reason << "download type"
                        << downloadType;
    m_downloadFileMgr->stop(fileId, bDeleteTemp != 0);
}
