#include "filedatamgr.h"

#include "cachelayout.h"
#include "cachereconciler_p.h"
#include "constants.h"
#include "downloadfilemgr.h"
#include "fileregistry_p.h"
#include "platformlog.h"
#include "util.h"

#include <QDir>
#include <QFileInfo>

namespace {

QString cachedFilePath(const QString &directory, const QString &fileId, const QString &suffix)
{
    return Util::joinPath(directory, CacheLayout::fileName(fileId, suffix));
}

bool isSamePath(const QString &a, const QString &b)
{
    return QDir::cleanPath(QFileInfo(a).absoluteFilePath())
            == QDir::cleanPath(QFileInfo(b).absoluteFilePath());
}

} // namespace

FileDataMgr::FileDataMgr(FileRegistry *registry, DownloadFileMgr *downloads, QObject *parent)
    : QObject(parent)
    , m_registry(registry)
    , m_downloads(downloads)
{
    connect(m_downloads, &DownloadFileMgr::syncDownloadFinished, this,
            &FileDataMgr::updateMediaSync, Qt::DirectConnection);
}

bool FileDataMgr::deleteCacheFile(const QString &directory, const QString &fileId,
                                  const QString &suffix, bool bNotify)
{
    // Records name their optional thumbnail and live-photo files with an empty id: nothing to do.
    if (fileId.isEmpty()) {
        return true;
    }
    const QString path = cachedFilePath(directory, fileId, suffix);
    const QSharedPointer<FileData> file = m_registry->file(fileId, true);
    const bool isItsCopy = file && isSamePath(file->localPath(), path);
    if (isItsCopy) {
        m_downloads->stop(fileId, true);
    }
    // The partial file first: a download finishing in between renames it to path, deleted next.
    const bool partialGone = Util::deleteFile(path + QLatin1String(CACHE_SUFFIX));
    const bool copyGone = Util::deleteFile(path);
    // The record is written only when it changes: a chat's removal resets thousands of files,
    // most of which were never downloaded. A copy still there is still complete.
    if (copyGone && isItsCopy
        && (file->fileState() != BaseFile::StateNone || file->downloadedBytes() != 0)) {
        file->setFileState(BaseFile::StateNone);
        file->setDownloadedBytes(0);
        m_registry->saveState(*file);
    }
    if (bNotify && copyGone) {
        Q_EMIT fileRemoved(fileId);
    }
    return partialGone && copyGone;
}

FileDataMgr::Reconciliation FileDataMgr::reconcileCache(const std::function<bool()> &isCancelled)
{
    return CacheReconciler(m_registry, m_downloads, isCancelled).run();
}

void FileDataMgr::addFileSize(const QString &directory, const QString &fileId,
                              const QString &suffix, qint64 &size)
{
    if (fileId.isEmpty()) {
        return;
    }
    const QFileInfo info(cachedFilePath(directory, fileId, suffix));
    if (info.isFile()) {
        size += info.size();
    }
}
