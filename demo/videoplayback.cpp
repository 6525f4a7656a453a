#include "videoplayback.h"

#include "accountbase.h"
#include "downloadfilemgr.h"
#include "filedata.h"
#include "filemanager.h"
#include "gallerylog.h"
#include "mediaplayer.h"
#include "resourceitem.h"

#include <QAudioOutput>
#include <QFileInfo>
#include <QMediaPlayer>
#include <QUrl>

VideoPlayback::VideoPlayback(AccountBase *account, QObject *parent)
    : QObject(parent)
    , m_account(account)
    , m_player(new QMediaPlayer(this))
    , m_audio(new QAudioOutput(this))
{
    m_player->setAudioOutput(m_audio);
    connect(m_player, &QMediaPlayer::playbackStateChanged, this,
            [this](QMediaPlayer::PlaybackState state) {
                setPlaying(state == QMediaPlayer::PlayingState);
            });
    connect(m_player, &QMediaPlayer::positionChanged, this, [this](qint64 position) {
        if (position != m_position) {
            setWaiting(false);
        }
        setPosition(position);
    });
    connect(m_player, &QMediaPlayer::durationChanged, this, [this](qint64 duration) {
        if (duration > 0) {
            setDuration(duration);
        }
    });
    connect(m_player, &QMediaPlayer::mediaStatusChanged, this,
            [this](QMediaPlayer::MediaStatus status) {
                if (status == QMediaPlayer::EndOfMedia) {
                    setWaiting(false);
                    setPosition(m_duration);
                }
            });
    connect(m_player, &QMediaPlayer::errorOccurred, this,
            [this](QMediaPlayer::Error error, const QString &text) {
                if (error == QMediaPlayer::NoError) {
                    return;
                }
                qCWarning(lcGallery) << "the video cannot be played:" << text;
                stop();
                Q_EMIT failed(text);
            });
    DownloadFileMgr *downloads = account->fileManager()->downloadFileMgr();
    connect(downloads, &DownloadFileMgr::downloadProgress, this,
            [this](const QString &fileId) { onDownloadProgress(fileId); });
    connect(downloads, &DownloadFileMgr::downloadFinished, this,
            [this](const QString &fileId) { onDownloadProgress(fileId); });
}

VideoPlayback::~VideoPlayback() = default;

void VideoPlayback::setVideoOutput(QObject *output)
{
    if (m_videoOutput == output) {
        return;
    }
    m_videoOutput = output;
    m_player->setVideoOutput(output);
    Q_EMIT videoOutputChanged();
}

void VideoPlayback::play(ResourceItem *item)
{
    if (!item) {
        return;
    }
    if (item != m_item) {
        load(item);
    }
    if (!m_file) {
        return;
    }
    // One sound at a time: the music or voice message playing gives way.
    MediaPlayer *music = MediaPlayer::instance();
    if (music->playState() == MediaPlayer::STATE_PLAYING) {
        music->pause(true);
    }
    if (m_player->mediaStatus() == QMediaPlayer::EndOfMedia) {
        m_player->setPosition(0);
    }
    setWaiting(true);
    m_player->play();
}

// A file on disk plays from there; one still downloading streams through the local server, so
// that the picture comes before the download ends.
void VideoPlayback::load(ResourceItem *item)
{
    stop();
    const QSharedPointer<FileData> file = item->sourceFilePtr();
    if (!file) {
        qCWarning(lcGallery) << "no video to play: message" << item->messageId() << "has no file";
        Q_EMIT failed(tr("This message has no video"));
        return;
    }
    const bool onDisk = file->isComplete() && QFileInfo::exists(file->localPath());
    const QUrl source = onDisk ? QUrl::fromLocalFile(file->localPath())
                               : QUrl(m_account->streamUrl(file->fileId()));
    if (source.isEmpty()) {
        qCWarning(lcGallery) << "no stream address for file" << file->fileId();
        Q_EMIT failed(tr("The video cannot be streamed"));
        return;
    }
    m_file = file;
    setItem(item);
    setDuration(0);
    setPosition(0);
    updateDownloaded();
    m_player->setSource(source);
}

void VideoPlayback::togglePause()
{
    if (!m_item) {
        return;
    }
    if (m_playing) {
        m_player->pause();
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
    m_player->setPosition(target);
    setPosition(target);
}

void VideoPlayback::seekBy(qint64 offset)
{
    seek(m_position + offset);
}

void VideoPlayback::stop()
{
    m_player->stop();
    m_player->setSource(QUrl());
    m_file.reset();
    setItem(nullptr);
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
