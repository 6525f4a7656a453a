#include "audioplayer.h"

#include "platformlog.h"

AudioPlayer::AudioPlayer(QObject *parent)
    : QObject(parent)
{ }

AudioPlayer::~AudioPlayer() = default;

void AudioPlayer::regCallBack(Callback callback, void *context)
{
    QMutexLocker locker(&m_mutex);
    m_callback = callback;
    m_context = context;
}

AudioEvents AudioPlayer::audioEvent()
{
    QMutexLocker locker(&m_mutex);
    return m_events.isEmpty() ? AudioEvents() : m_events.dequeue();
}

void AudioPlayer::pushEvent(const AudioEvents &event)
{
    Callback callback = nullptr;
    void *context = nullptr;
    {
        QMutexLocker locker(&m_mutex);
        m_events.enqueue(event);
        callback = m_callback;
        context = m_context;
    }
    if (callback) {
        callback(context);
    }
}

void AudioPlayer::pushEvent(int type, const QVariantMap &params, const QString &message)
{
    pushEvent(AudioEvents {type, params, message});
}

void AudioPlayer::clearEvents()
{
    QMutexLocker locker(&m_mutex);
    m_events.clear();
}

void AudioPlayer::play(const QString &path, qint64 seekPos)
{
    Q_UNUSED(seekPos)
    qCWarning(lcPlatform) << "no audio engine to play" << path;
    pushEvent(AudioEvents::Error, {}, QStringLiteral("no audio engine"));
}

void AudioPlayer::breakPlay(const QString &path, qint64 duration)
{
    Q_UNUSED(path)
    Q_UNUSED(duration)
}

void AudioPlayer::pause(bool bPause)
{
    Q_UNUSED(bPause)
}

void AudioPlayer::stop(bool bSync)
{
    Q_UNUSED(bSync)
}

void AudioPlayer::seekPos(qint64 position)
{
    Q_UNUSED(position)
}

void AudioPlayer::setSpeed(double speed)
{
    Q_UNUSED(speed)
}
