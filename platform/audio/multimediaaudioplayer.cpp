#include "multimediaaudioplayer.h"

#include "platformlog.h"

#include <QAudioDevice>
#include <QAudioOutput>
#include <QElapsedTimer>
#include <QMediaDevices>
#include <QMediaPlayer>
#include <QTimer>
#include <QUrl>
#include <QVideoSink>

namespace {

// Qt Multimedia's GStreamer backend reads http sources with a client whose first request carries
// no Range header, and the stream server answers such a request with an empty 200 that never
// ends: nothing would ever play from it. The FFmpeg backend's reader asks for "bytes=N-" from the
// first request on, reconnects at the new offset on every seek, and reads on its own demuxer
// thread, so a stream of a file still downloading plays and seeks like a local file. The backend
// is chosen once per process, before Qt Multimedia first loads one; a host that sets
// QT_MEDIA_BACKEND itself keeps its choice.
void preferFfmpegBackend()
{
    if (!qEnvironmentVariableIsSet("QT_MEDIA_BACKEND")) {
        qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    }
}
Q_CONSTRUCTOR_FUNCTION(preferFfmpegBackend)

// Position reports arrive about every 100 ms while sound plays; none for this long means the
// player waits for bytes.
constexpr int kStallAfterMs = 400;
constexpr qint64 kNoSeek = -1;

QUrl sourceUrl(const QString &path)
{
    const QUrl url(path);
    const QString scheme = url.scheme();
    if (scheme == QLatin1String("http") || scheme == QLatin1String("https")) {
        return url;
    }
    return QUrl::fromLocalFile(path);
}

} // namespace

// The QMediaPlayer side, on the engine's own thread. Its media player and audio output are its
// children, made at the first play.
class MultimediaAudioPlayer::Output : public QObject
{
public:
    explicit Output(MultimediaAudioPlayer *engine)
        : m_engine(engine)
    { }

    void play(const QString &path, qint64 seekPos, double speed, quint64 generation)
    {
        m_generation = generation;
        if (path.isEmpty()) {
            m_engine->report(m_generation, AudioEvents::Error, {},
                             QStringLiteral("nothing to play: empty path"));
            return;
        }
        ensurePlayer();
        setStalled(false);
        m_lastPosition = -1;
        m_pendingSeek = seekPos > 0 ? seekPos : kNoSeek;
        m_player->setSource(sourceUrl(path));
        m_player->setPlaybackRate(speed);
        m_player->play();
        applyPendingSeek();
    }

    void setVideoSink(QVideoSink *sink)
    {
        m_videoSink = sink;
        if (m_player) {
            m_player->setVideoSink(sink);
        }
    }

    void halt()
    {
        if (m_player) {
            m_player->stop();
            m_player->setSource(QUrl());
        }
    }

    void pause(bool bPause)
    {
        if (!m_player) {
            return;
        }
        if (bPause) {
            m_player->pause();
        } else {
            m_player->play();
        }
    }

    // A seek before the source is open waits for it, as the seek of play does.
    void seek(qint64 position)
    {
        if (!m_player) {
            return;
        }
        m_pendingSeek = position;
        applyPendingSeek();
    }

    void setSpeed(double speed)
    {
        if (m_player) {
            m_player->setPlaybackRate(speed);
        }
    }

private:
    void ensurePlayer()
    {
        if (m_player) {
            return;
        }
        m_player = new QMediaPlayer(this);
        m_audio = new QAudioOutput(this);
        m_player->setAudioOutput(m_audio);
        m_player->setVideoSink(m_videoSink);
        m_stallCheck = new QTimer(this);
        m_stallCheck->setInterval(kStallAfterMs / 2);
        connect(m_stallCheck, &QTimer::timeout, this, &Output::checkStall);
        connect(m_player, &QMediaPlayer::playbackStateChanged, this, &Output::onStateChanged);
        connect(m_player, &QMediaPlayer::mediaStatusChanged, this, &Output::onStatusChanged);
        connect(m_player, &QMediaPlayer::positionChanged, this, &Output::onPositionChanged);
        connect(m_player, &QMediaPlayer::durationChanged, this, [this](qint64 duration) {
            if (duration > 0) {
                m_engine->report(m_generation, AudioEvents::Duration,
                                 {{QStringLiteral("Duration"), duration}});
            }
        });
        connect(m_player, &QMediaPlayer::errorOccurred, this,
                [this](QMediaPlayer::Error error, const QString &text) {
                    if (error != QMediaPlayer::NoError) {
                        m_engine->report(m_generation, AudioEvents::Error, {}, text);
                    }
                });
    }

    void onStateChanged(QMediaPlayer::PlaybackState state)
    {
        if (state == QMediaPlayer::PlayingState) {
            m_sinceProgress.start();
            m_stallCheck->start();
            m_engine->report(m_generation, AudioEvents::Playing);
            return;
        }
        m_stallCheck->stop();
        setStalled(false);
        if (state == QMediaPlayer::PausedState) {
            m_engine->report(m_generation, AudioEvents::Paused);
        }
    }

    void onPositionChanged(qint64 position)
    {
        if (position != m_lastPosition) {
            m_lastPosition = position;
            m_sinceProgress.start();
            setStalled(false);
        }
        m_engine->report(m_generation, AudioEvents::Progress,
                         {{QStringLiteral("PlayTime"), position},
                          {QStringLiteral("Samples"), QStringList()}});
    }

    // The FFmpeg backend does not tell when its reader waits for bytes: a position that stands
    // still while playing does.
    void checkStall()
    {
        if (m_sinceProgress.isValid() && m_sinceProgress.hasExpired(kStallAfterMs)) {
            setStalled(true);
        }
    }

    void onStatusChanged(QMediaPlayer::MediaStatus status)
    {
        switch (status) {
        case QMediaPlayer::LoadedMedia:
        case QMediaPlayer::BufferedMedia:
            applyPendingSeek();
            setStalled(false);
            break;
        case QMediaPlayer::StalledMedia:
            setStalled(true);
            break;
        case QMediaPlayer::EndOfMedia:
            setStalled(false);
            m_engine->report(m_generation, AudioEvents::EndOfTrack);
            break;
        default:
            break;
        }
    }

    // A seek asked for with play, or before the source was open, can only be applied once the
    // source is seekable.
    void applyPendingSeek()
    {
        if (m_pendingSeek != kNoSeek && m_player->isSeekable()) {
            m_player->setPosition(std::exchange(m_pendingSeek, kNoSeek));
        }
    }

    void setStalled(bool stalled)
    {
        if (m_stalled == stalled) {
            return;
        }
        m_stalled = stalled;
        m_engine->report(m_generation, AudioEvents::Underload,
                         {{QStringLiteral("IsUnderload"), stalled}});
    }

    MultimediaAudioPlayer *const m_engine;
    QMediaPlayer *m_player = nullptr;  // child
    QAudioOutput *m_audio = nullptr;   // child
    QVideoSink *m_videoSink = nullptr; // the caller's; unset before it goes
    QTimer *m_stallCheck = nullptr;    // child; runs while playing
    QElapsedTimer m_sinceProgress;     // since the position last moved
    quint64 m_generation = 0;
    qint64 m_pendingSeek = kNoSeek;
    qint64 m_lastPosition = -1;
    bool m_stalled = false;
};

MultimediaAudioPlayer::MultimediaAudioPlayer(QObject *parent)
    : AudioPlayer(parent)
{
    m_thread.setObjectName(QStringLiteral("audio_engine"));
    m_thread.start();
    m_output = new Output(this);
    m_output->moveToThread(&m_thread);
}

MultimediaAudioPlayer::~MultimediaAudioPlayer()
{
    Output *output = std::exchange(m_output, nullptr);
    QMetaObject::invokeMethod(
            output, [output] { delete output; }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

bool MultimediaAudioPlayer::canPlay(QString *reason)
{
    QString missing;
    if (!QMediaPlayer().isAvailable()) {
        missing = QStringLiteral("no Qt Multimedia backend is available");
    } else if (QMediaDevices::audioOutputs().isEmpty()) {
        missing = QStringLiteral("the machine has no audio output device");
    }
    if (reason) {
        *reason = missing;
    }
    return missing.isEmpty();
}

void MultimediaAudioPlayer::post(std::function<void(Output &)> fn, bool bWait)
{
    Output *output = m_output;
    QMetaObject::invokeMethod(
            output, [output, fn = std::move(fn)] { fn(*output); },
            bWait ? Qt::BlockingQueuedConnection : Qt::QueuedConnection);
}

void MultimediaAudioPlayer::report(quint64 generation, int type, const QVariantMap &params,
                                   const QString &message)
{
    QMutexLocker locker(&m_generationMutex);
    if (generation == m_generation.load()) {
        pushEvent(type, params, message);
    }
}

void MultimediaAudioPlayer::postAfterQueuedCalls(std::function<void(Output &)> fn)
{
    QMetaObject::invokeMethod(
            this, [this, fn = std::move(fn)]() mutable { post(std::move(fn)); },
            Qt::QueuedConnection);
}

void MultimediaAudioPlayer::play(const QString &path, qint64 seekPos)
{
    if (path != m_announcedPath) {
        qCDebug(lcPlatform) << "audio engine: dropped a play of" << path
                            << "that a later track or a stop overtook";
        return;
    }
    const quint64 generation = m_generation.load();
    const qint64 durationHint = std::exchange(m_durationHint, 0);
    if (durationHint > 0) {
        report(generation, AudioEvents::Duration, {{QStringLiteral("Duration"), durationHint}});
    }
    post([path, seekPos, speed = m_speed, generation](Output &output) {
        output.play(path, seekPos, speed, generation);
    });
}

void MultimediaAudioPlayer::breakPlay(const QString &path, qint64 duration)
{
    {
        QMutexLocker locker(&m_generationMutex);
        ++m_generation;
        clearEvents();
    }
    m_announcedPath = path;
    m_durationHint = path.isEmpty() ? 0 : duration;
    post([](Output &output) { output.halt(); });
}

void MultimediaAudioPlayer::setVideoOutput(QObject *output)
{
    // The sink is looked up here, on the output's side: Qt asks an output for its sink through a
    // method call that does not cross threads.
    QVideoSink *sink = qobject_cast<QVideoSink *>(output);
    if (!sink && output) {
        sink = output->property("videoSink").value<QVideoSink *>();
        if (!sink) {
            qCWarning(lcPlatform) << "audio engine: no video sink in" << output;
        }
    }
    post([sink](Output &out) { out.setVideoSink(sink); }, true);
}

void MultimediaAudioPlayer::pause(bool bPause)
{
    postAfterQueuedCalls([bPause](Output &output) { output.pause(bPause); });
}

void MultimediaAudioPlayer::stop(bool bSync)
{
    post([](Output &output) { output.halt(); }, bSync);
}

void MultimediaAudioPlayer::seekPos(qint64 position)
{
    postAfterQueuedCalls([position](Output &output) { output.seek(position); });
}

void MultimediaAudioPlayer::setSpeed(double speed)
{
    m_speed = speed;
    postAfterQueuedCalls([speed](Output &output) { output.setSpeed(speed); });
}
