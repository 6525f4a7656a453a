#include "mediafiles.h"

#include "contenttype.h"
#include "downloadfilemgr.h"
#include "filedata.h"
#include "fileitem.h"
#include "filemanager.h"
#include "gallerylog.h"
#include "im.pb.h"
#include "messagebase.h"
#include "musicitem.h"
#include "resourceitem.h"
#include "thumbnailprovider.h"
#include "voiceitem.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QThread>
#include <algorithm>

namespace {

// How long closing the gallery waits for thumbnail downloads; local sources take milliseconds.
constexpr int DownloadsEndTimeoutMs = 5000;

QSharedPointer<FileItem> fileItemOf(ResourceItem *item)
{
    return item ? item->contentItem().dynamicCast<FileItem>() : QSharedPointer<FileItem>();
}

bool isOnDisk(const QSharedPointer<FileData> &file)
{
    return file->isComplete() && QFileInfo::exists(file->localPath());
}

} // namespace

MediaFiles::MediaFiles(FileManager *files, QObject *parent)
    : QObject(parent)
    , m_files(files)
{
    connect(files->downloadFileMgr(), &DownloadFileMgr::downloadFinished, this,
            &MediaFiles::onDownloadFinished);
    connect(files->downloadFileMgr(), &DownloadFileMgr::downloadProgress, this,
            &MediaFiles::onDownloadProgress);
}

MediaFiles::~MediaFiles()
{
    waitForDownloads();
}

QUrl MediaFiles::thumbnailUrl(ResourceItem *item)
{
    const QSharedPointer<FileData> picture = pictureOf(item);
    if (!picture) {
        return {};
    }
    if (isOnDisk(picture)) {
        return ThumbnailProvider::urlOf(picture->localPath());
    }
    requestDownload(picture);
    return {};
}

QUrl MediaFiles::pictureUrl(ResourceItem *item)
{
    const QSharedPointer<FileData> source = sourceOf(item);
    if (source && item->type() == CONTENT_PHOTO) {
        if (isOnDisk(source)) {
            return QUrl::fromLocalFile(source->localPath());
        }
        requestDownload(source);
    }
    const QSharedPointer<FileData> picture = pictureOf(item);
    return picture && isOnDisk(picture) ? QUrl::fromLocalFile(picture->localPath()) : QUrl();
}

QString MediaFiles::thumbnailFileId(ResourceItem *item) const
{
    const QSharedPointer<FileData> picture = pictureOf(item);
    return picture ? picture->fileId() : QString();
}

QString MediaFiles::fileName(ResourceItem *item) const
{
    if (const QSharedPointer<FileItem> content = fileItemOf(item)) {
        if (!content->displayName().isEmpty()) {
            return content->displayName();
        }
    }
    const QSharedPointer<FileData> source = sourceOf(item);
    return source ? source->name() : QString();
}

QString MediaFiles::suffix(ResourceItem *item) const
{
    const QSharedPointer<FileData> source = sourceOf(item);
    return source ? source->suffix() : QString();
}

qint64 MediaFiles::fileSize(ResourceItem *item) const
{
    const QSharedPointer<FileData> source = sourceOf(item);
    return source ? source->size() : 0;
}

qint64 MediaFiles::duration(ResourceItem *item) const
{
    const QSharedPointer<FileItem> content = fileItemOf(item);
    if (!content) {
        return 0;
    }
    if (const auto music = content.dynamicCast<MusicItem>()) {
        return music->duration();
    }
    if (const auto voice = content.dynamicCast<VoiceItem>()) {
        return voice->duration();
    }
    // Videos keep their length only in the message record.
    if (content->type() == CONTENT_VIDEO && item->msgData()) {
        return item->msgData()->proto().duration();
    }
    return 0;
}

QString MediaFiles::title(ResourceItem *item) const
{
    const QSharedPointer<MusicItem> music = musicOf(item);
    return music ? music->title() : QString();
}

QString MediaFiles::artist(ResourceItem *item) const
{
    const QSharedPointer<MusicItem> music = musicOf(item);
    return music ? music->artist() : QString();
}

QString MediaFiles::fileId(ResourceItem *item) const
{
    const QSharedPointer<FileData> source = sourceOf(item);
    return source ? source->fileId() : QString();
}

QString MediaFiles::downloadedPath(const QString &fileId) const
{
    const QSharedPointer<FileData> file = m_files->filePtrWithId(fileId, true);
    return file && isOnDisk(file) ? file->localPath() : QString();
}

bool MediaFiles::fetch(ResourceItem *item)
{
    const QSharedPointer<FileData> source = sourceOf(item);
    if (!source) {
        return false;
    }
    m_failed.remove(source->fileId());
    requestDownload(source);
    return true;
}

qreal MediaFiles::progress(const QString &fileId) const
{
    if (!m_pending.contains(fileId)) {
        return -1;
    }
    return m_progress.value(fileId, 0);
}

QSharedPointer<MusicItem> MediaFiles::musicOf(ResourceItem *item)
{
    return item ? item->contentItem().dynamicCast<MusicItem>() : QSharedPointer<MusicItem>();
}

// The picture a tile shows: the thumbnail, else the photo itself.
QSharedPointer<FileData> MediaFiles::pictureOf(ResourceItem *item) const
{
    const QSharedPointer<FileItem> content = fileItemOf(item);
    if (!content) {
        return {};
    }
    if (content->validThumbFile()) {
        return content->thumbFilePtr();
    }
    return content->type() == CONTENT_PHOTO ? content->sourceFilePtr() : nullptr;
}

QSharedPointer<FileData> MediaFiles::sourceOf(ResourceItem *item) const
{
    const QSharedPointer<FileItem> content = fileItemOf(item);
    return content ? content->sourceFilePtr() : nullptr;
}

void MediaFiles::requestDownload(const QSharedPointer<FileData> &file)
{
    const QString fileId = file->fileId();
    if (m_pending.contains(fileId) || m_failed.contains(fileId)) {
        return;
    }
    m_requested.insert(fileId);
    m_pending.insert(fileId);
    Q_EMIT pendingDownloadsChanged();
    m_files->downloadFileMgr()->download(file, true, DOWNLOAD_VIEW);
}

void MediaFiles::onDownloadProgress(const QString &fileId, qint64 received, qint64 total)
{
    if (m_pending.contains(fileId) && total > 0) {
        m_progress.insert(fileId, qreal(received) / qreal(total));
        Q_EMIT progressChanged(fileId);
    }
}

void MediaFiles::onDownloadFinished(const QString &fileId, bool ok)
{
    if (!m_pending.remove(fileId)) {
        return;
    }
    m_progress.remove(fileId);
    Q_EMIT progressChanged(fileId);
    if (!ok) {
        qCWarning(lcGallery) << "cannot download the file" << fileId;
        m_failed.insert(fileId);
    }
    Q_EMIT pendingDownloadsChanged();
    Q_EMIT fileReady(fileId);
}

// A download that is still running when the account closes is settled by the download queue in
// the account's storage, which the account may have closed by then. The gallery therefore lets
// the downloads it asked for end while the account is whole. The queue lets go of a file on its
// own thread, so polling its state is all there is to wait on.
void MediaFiles::waitForDownloads() const
{
    const DownloadFileMgr *downloads = m_files->downloadFileMgr();
    const auto anyRunning = [this, downloads] {
        return std::any_of(m_requested.cbegin(), m_requested.cend(),
                           [downloads](const QString &id) { return downloads->isDownloading(id); });
    };
    const QDeadlineTimer deadline(DownloadsEndTimeoutMs);
    while (anyRunning() && !deadline.hasExpired()) {
        QThread::msleep(5);
    }
    if (anyRunning()) {
        qCWarning(lcGallery) << "downloads still running at exit";
    }
}
