#pragma once

#include "audioevents.h"

#include <QMutex>
#include <QObject>
#include <QQueue>

// The audio engine the player drives. Events are queued under a lock and announced through the
// registered callback on the engine's own thread; the callback only tells the player to read
// them with audioEvent(). This base class holds the queue; an engine subclass plays. Played
// without an engine, every track ends in an Error event.
class AudioPlayer : public QObject
{
    Q_OBJECT

public:
    using Callback = void (*)(void *context);

    explicit AudioPlayer(QObject *parent = nullptr);
    ~AudioPlayer() override;

    void regCallBack(Callback callback, void *context);
    // Pops the oldest event; type None when there is none. Thread-safe.
    AudioEvents audioEvent();

public Q_SLOTS:
    // path: a local file or an http:// stream address; seekPos in ms.
    virtual void play(const QString &path, qint64 seekPos);
    // Interrupts the current track before the next play; duration is a hint in ms (0: unknown).
    virtual void breakPlay(const QString &path, qint64 duration);
    virtual void pause(bool bPause);
    // bSync: return only once playback has stopped.
    virtual void stop(bool bSync);
    virtual void seekPos(qint64 position);
    virtual void setSpeed(double speed);

protected:
    // Queues an event and fires the callback; callable from any thread.
    void pushEvent(const AudioEvents &event);
    void pushEvent(int type, const QVariantMap &params = {}, const QString &message = QString());
    // Drops the events not read yet, e.g. those of a track that was interrupted.
    void clearEvents();

private:
    QMutex m_mutex; // guards the members below
    QQueue<AudioEvents> m_events;
    Callback m_callback = nullptr;
    void *m_context = nullptr;
};
