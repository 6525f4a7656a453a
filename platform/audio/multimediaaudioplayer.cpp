#include "multimediaaudioplayer.h"

#include "platformlog.h"

#include <QAudioDevice>
#include <QAudioOutput>
#include <QMediaDevices>
#include <QMediaPlayer>
#include <QUrl>

namespace {

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
        m_stalled = false;
        m_pendingSeek = seekPos;
        m_player->setSource(sourceUrl(path));
        m_player->setPlaybackRate(speed);
        m_player->play();
        applyPendingSeek();
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

    void seek(qint64 position)
    {
        if (m_player) {
            m_player->setPosition(position);
        }
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
        connect(m_player, &QMediaPlayer::playbackStateChanged, this, &Output::onStateChanged);
        connect(m_player, &QMediaPlayer::mediaStatusChanged, this, &Output::onStatusChanged);
        connect(m_player, &QMediaPlayer::positionChanged, this, [this](qint64 position) {
            m_engine->report(m_generation, AudioEvents::Progress,
                             {{QStringLiteral("PlayTime"), position},
                              {QStringLiteral("Samples"), QStringList()}});
        });
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
            m_engine->report(m_generation, AudioEvents::Playing);
        } else if (state == QMediaPlayer::PausedState) {
            m_engine->report(m_generation, AudioEvents::Paused);
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

    // A seek asked for with play can only be applied once the source is seekable.
    void applyPendingSeek()
    {
        if (m_pendingSeek > 0 && m_player->isSeekable()) {
            m_player->setPosition(std::exchange(m_pendingSeek, 0));
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
    QMediaPlayer *m_player = nullptr; // child
    QAudioOutput *m_audio = nullptr;  // child
    quint64 m_generation = 0;
    qint64 m_pendingSeek = 0;
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

void MultimediaAudioPlayer::play(const QString &path, qint64 seekPos)
{
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
    m_durationHint = path.isEmpty() ? 0 : duration;
    post([](Output &output) { output.halt(); });
}

void MultimediaAudioPlayer::pause(bool bPause)
{
    post([bPause](Output &output) { output.pause(bPause); });
}

void MultimediaAudioPlayer::stop(bool bSync)
{
    post([](Output &output) { output.halt(); }, bSync);
}

void MultimediaAudioPlayer::seekPos(qint64 position)
{
    post([position](Output &output) { output.seek(position); });
}

void MultimediaAudioPlayer::setSpeed(double speed)
{
    m_speed = speed;
    post([speed](Output &output) { output.setSpeed(speed); });
}
