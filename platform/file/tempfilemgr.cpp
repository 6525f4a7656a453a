#include "tempfilemgr.h"

#include "downloadfilemgr.h"

TempFileMgr::TempFileMgr(DownloadFileMgr *downloads, QObject *parent)
    : QObject(parent)
    , m_downloads(downloads)
{
    // Direct: emitted on the network thread, and the tables are guarded.
    connect(
            m_downloads, &DownloadFileMgr::downloadFinished, this,
            [this](const QString &fileId) { forgetDownload(fileId); }, Qt::DirectConnection);
}

QSet<QString> TempFileMgr::loadedFileIds() const
{
    QMutexLocker locker(&m_mutex);
    QSet<QString> ids;
    for (const QSet<QString> &files : m_loadedFiles) {
        ids.unite(files);
    }
    return ids;
}

void TempFileMgr::addLoadedFile(const QString &fileId, const QString &dialogId)
{
    if (fileId.isEmpty()) {
        return;
    }
    QMutexLocker locker(&m_mutex);
    m_loadedFiles[dialogId].insert(fileId);
}

void TempFileMgr::cancelDownloading(const QString &dialogId)
{
    QSet<QString> fileIds;
    {
        QMutexLocker locker(&m_mutex);
        fileIds = m_downloadsByDialog.take(dialogId);
    }
    for (const QString &fileId : std::as_const(fileIds)) {
        m_downloads->stop(fileId, true);
    }
}

void TempFileMgr::trackDownload(const QString &fileId, const QString &dialogId)
{
    if (fileId.isEmpty()) {
        return;
    }
    QMutexLocker locker(&m_mutex);
    m_downloadsByDialog[dialogId].insert(fileId);
}

void TempFileMgr::forgetDownload(const QString &fileId)
{
    QMutexLocker locker(&m_mutex);
    for (auto it = m_downloadsByDialog.begin(); it != m_downloadsByDialog.end();) {
        it->remove(fileId);
        it = it->isEmpty() ? m_downloadsByDialog.erase(it) : std::next(it);
    }
}
