#pragma once

#include "resourceitem.h"

#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <QtQml/qqmlregistration.h>
#include <memory>

class AccountBase;
class FileData;
class MultimediaAudioPlayer;

// The viewer's video player: plays a video message in place, from the local file once its
// download is complete and otherwise from the stream server while the file downloads (the
// server starts the download), and tells how much of the file is on disk. It plays through an
// engine of the host's audio library of its own, which opens and reads on its own thread: an
// open blocks until the first bytes come, which must not freeze the window. The sound goes to
// the default output, as the music player's does; a video that starts pauses the music.
//
// Lives on the main thread. The engine reports on its thread through a callback that only posts
// the reading of its events here; the file library's download signals arrive queued.
class VideoPlayback : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("the video player belongs to the gallery controller")
    // The VideoOutput item (or a video sink) the frames go to. The player draws into it from a
    // thread of its own: unset it before it is destroyed.
    Q_PROPERTY(QObject *videoOutput READ videoOutput WRITE setVideoOutput NOTIFY videoOutputChanged)
    // The video loaded, playing or paused; null when stopped.
    Q_PROPERTY(ResourceItem *item READ item NOTIFY itemChanged)
    Q_PROPERTY(bool playing READ isPlaying NOTIFY playingChanged)
    // Whether the video loaded plays from the stream server, its file not being on disk.
    Q_PROPERTY(bool streaming READ isStreaming NOTIFY itemChanged)
    // True from a start or a seek until the picture moves, and while a stream waits for bytes.
    Q_PROPERTY(bool waiting READ isWaiting NOTIFY waitingChanged)
    Q_PROPERTY(qint64 position READ position NOTIFY positionChanged)
    Q_PROPERTY(qint64 duration READ duration NOTIFY durationChanged)
    // The share of the file on disk, 0 to 1, counted from its start.
    Q_PROPERTY(double downloaded READ downloaded NOTIFY downloadedChanged)

public:
    // account must outlive this object.
    explicit VideoPlayback(AccountBase *account, QObject *parent = nullptr);
    ~VideoPlayback() override;

    QObject *videoOutput() const { return m_videoOutput; }
    void setVideoOutput(QObject *output);
    ResourceItem *item() const { return m_item; }
    bool isPlaying() const { return m_playing; }
    bool isStreaming() const { return m_streaming; }
    bool isWaiting() const { return m_waiting; }
    qint64 position() const { return m_position; }
    qint64 duration() const { return m_duration; }
    double downloaded() const { return m_downloaded; }

    // Plays the video of item from its start; the item already loaded resumes instead.
    Q_INVOKABLE void play(ResourceItem *item);
    Q_INVOKABLE void togglePause();
    // Milliseconds, clamped to the video.
    Q_INVOKABLE void seek(qint64 position);
    Q_INVOKABLE void seekBy(qint64 offset);
    // Unloads the video; the download of a streamed one goes on.
    Q_INVOKABLE void stop();

Q_SIGNALS:
    void videoOutputChanged();
    void itemChanged();
    void playingChanged();
    void waitingChanged();
    void positionChanged();
    void durationChanged();
    void downloadedChanged();
    // The video could not be played; text says why.
    void failed(const QString &text);

private:
    // The engine is made at the first video, so that a gallery that shows none never starts Qt
    // Multimedia.
    MultimediaAudioPlayer &engine();
    static void onEngineEvent(void *context);
    void readEngineEvents();
    void load(ResourceItem *item);
    void unload();
    void setItem(ResourceItem *item);
    void setPlaying(bool playing);
    void setWaiting(bool waiting);
    void setPosition(qint64 position);
    void setDuration(qint64 duration);
    void updateDownloaded();
    void onDownloadProgress(const QString &fileId);

    AccountBase *const m_account;
    std::unique_ptr<MultimediaAudioPlayer> m_engine;
    QPointer<QObject> m_videoOutput;
    QPointer<ResourceItem> m_item; // the preview's; may go away while loaded
    QSharedPointer<FileData> m_file;
    bool m_playing = false;
    bool m_streaming = false;
    bool m_waiting = false;
    qint64 m_position = 0;
    qint64 m_duration = 0;
    double m_downloaded = 0;
};
