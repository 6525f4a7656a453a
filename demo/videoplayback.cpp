#include "videoplayback.h"

#include "accountbase.h"
#include "downloadfilemgr.h"
#include "filedata.h"
#include "filemanager.h"
#include "gallerylog.h"
#include "mediaplayer.h"
#include "multimediaaudioplayer.h"
#include "resourceitem.h"

#include <QFileInfo>

VideoPlayback::VideoPlayback(AccountBase *account, QObject *parent)
    : QObject(parent)
    , m_account(account)
{
    DownloadFileMgr *downloads = account->fileManager()->downloadFileMgr();
    connect(downloads, &DownloadFileMgr::downloadProgress, this,
            [this](const QString &fileId) { onDownloadProgress(fileId); });
    connect(downloads, &DownloadFileMgr::downloadFinished, this,
            [this](const QString &fileId) { onDownloadProgress(fileId); });
}

VideoPlayback::~VideoPlayback() = default;

MultimediaAudioPlayer &VideoPlayback::engine()
{
    if (!m_engine) {
        m_engine = std::make_unique<MultimediaAudioPlayer>();
        m_engine->regCallBack(&VideoPlayback::onEngineEvent, this);
        m_engine->setVideoOutput(m_videoOutput);
    }
    return *m_engine;
}

// Engine thread: only hands the reading over to this object's thread.
void VideoPlayback::onEngineEvent(void *context)
{
    auto *playback = static_cast<VideoPlayback *>(context);
    QMetaObject::invokeMethod(
            playback, [playback] { playback->readEngineEvents(); }, Qt::QueuedConnection);
}

void VideoPlayback::readEngineEvents()
{
    if (!m_engine) {
        return;
    }
    for (AudioEvents event = m_engine->audioEvent(); event.type != AudioEvents::None;
         event = m_engine->audioEvent()) {
        switch (event.type) {
        case AudioEvents::Playing:
            setPlaying(true);
            break;
        case AudioEvents::Paused:
            setPlaying(false);
            break;
        case AudioEvents::Progress: {
            const qint64 position = event.params.value(QStringLiteral("PlayTime")).toLongLong();
            if (position != m_position) {
                setWaiting(false);
            }
            setPosition(position);
            break;
        }
        case AudioEvents::Duration:
            setDuration(event.params.value(QStringLiteral("Duration")).toLongLong());
            break;
        case AudioEvents::Underload:
            setWaiting(event.params.value(QStringLiteral("IsUnderload")).toBool());
            break;
        case AudioEvents::EndOfTrack:
            setPlaying(false);
            setWaiting(false);
            setPosition(m_duration);
            break;
        case AudioEvents::Error:
            qCWarning(lcGallery) << "the video cannot be played:" << event.message;
            unload();
            Q_EMIT failed(event.message);
            return;
        default:
            break;
        }
    }
}

void VideoPlayback::setVideoOutput(QObject *output)
{
    if (m_videoOutput == output) {
        return;
    }
    m_videoOutput = output;
    if (m_engine) {
        m_engine->setVideoOutput(output);
    }
    Q_EMIT videoOutputChanged();
}

void VideoPlayback::play(ResourceItem *item)
{
    if (!item) {
        return;
    }
    // One sound at a time: the music or voice message playing gives way.
    MediaPlayer *music = MediaPlayer::instance();
    if (music->playState() == MediaPlayer::STATE_PLAYING) {
        music->pause(true);
    }
    if (item != m_item) {
        load(item);
    } else if (m_file) {
        setWaiting(true);
        engine().pause(false);
    }
}

// A file on disk plays from there; one still downloading streams through the local server, so
// that the picture comes before the download ends.
void VideoPlayback::load(ResourceItem *item)
{
    unload();
    const QSharedPointer<FileData> file = item->sourceFilePtr();
    if (!file) {
        qCWarning(lcGallery) << "no video to play: message" << item->messageId() << "has no file";
        Q_EMIT failed(tr("This message has no video"));
        return;
    }
    const bool onDisk = file->isComplete() && QFileInfo::exists(file->localPath());
    const QString path = onDisk ? file->localPath() : m_account->streamUrl(file->fileId());
    if (path.isEmpty()) {
        qCWarning(lcGallery) << "no stream address for file" << file->fileId();
        Q_EMIT failed(tr("The video cannot be streamed"));
        return;
    }
    m_file = file;
    m_streaming = !onDisk;
    setItem(item);
    updateDownloaded();
    setWaiting(true);
    engine().breakPlay(path, 0);
    engine().play(path, 0);
}

void VideoPlayback::togglePause()
{
    if (!m_item) {
        return;
    }
    if (m_playing) {
        engine().pause(true);
    } else {
        play(m_item);
    }
}

void VideoPlayback::seek(qint64 position)
{
    if (!m_item) {
        return;
    }
    const qint64 end = m_duration > 0 ? m_duration : qMax<qint64>(0, position);
    const qint64 target = qBound<qint64>(0, position, end);
    setWaiting(m_playing);
    engine().seekPos(target);
    setPosition(target);
}

void VideoPlayback::seekBy(qint64 offset)
{
    seek(m_position + offset);
}

void VideoPlayback::stop()
{
    unload();
}

void VideoPlayback::unload()
{
    if (m_engine) {
        m_engine->breakPlay(QString(), 0);
        m_engine->stop(false);
    }
    m_file.reset();
    m_streaming = false;
    setItem(nullptr);
    setPlaying(false);
    setWaiting(false);
    setPosition(0);
    setDuration(0);
}

void VideoPlayback::onDownloadProgress(const QString &fileId)
{
    if (m_file && m_file->fileId() == fileId) {
        updateDownloaded();
    }
}

void VideoPlayback::updateDownloaded()
{
    double share = 0;
    if (m_file) {
        share = m_file->isComplete()
                ? 1.0
                : double(m_file->downloadedBytes()) / double(qMax<qint64>(1, m_file->size()));
    }
    share = qBound(0.0, share, 1.0);
    if (qFuzzyCompare(share + 1, m_downloaded + 1)) {
        return;
    }
    m_downloaded = share;
    Q_EMIT downloadedChanged();
}

void VideoPlayback::setItem(ResourceItem *item)
{
    if (m_item == item) {
        return;
    }
    m_item = item;
    Q_EMIT itemChanged();
}

void VideoPlayback::setPlaying(bool playing)
{
    if (m_playing == playing) {
        return;
    }
    m_playing = playing;
    Q_EMIT playingChanged();
}

void VideoPlayback::setWaiting(bool waiting)
{
    if (m_waiting == waiting) {
        return;
    }
    m_waiting = waiting;
    Q_EMIT waitingChanged();
}

void VideoPlayback::setPosition(qint64 position)
{
    if (m_position == position) {
        return;
    }
    m_position = position;
    Q_EMIT positionChanged();
}

void VideoPlayback::setDuration(qint64 duration)
{
    if (m_duration == duration) {
        return;
    }
    m_duration = duration;
    Q_EMIT durationChanged();
}
