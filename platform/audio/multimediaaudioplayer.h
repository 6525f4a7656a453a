#pragma once

#include "audioplayer.h"

#include <QMutex>
#include <QThread>
#include <atomic>
#include <functional>

// The audio engine on Qt Multimedia: plays local files and http:// stream addresses.
//
// Threads and ownership: this object lives on the thread that made it (the player's thread), and
// its slots are called there. The QMediaPlayer and its QAudioOutput live on a thread of their own
// with its own event loop, inside an output object that this engine creates on that thread at the
// first play and deletes there at destruction; the slots only post work to it. Events are pushed
// from that thread: playing (3), paused (4), progress (5, "PlayTime" in ms, "Samples" empty),
// duration (10), end of track (2), error (9) and underload (11, while a stream stalls). The reset
// event (1) is never sent: the engine is interrupted only by its own caller.
//
// breakPlay starts a new generation: events of the interrupted track still queued are dropped,
// and those it would still report are never pushed.
class MultimediaAudioPlayer : public AudioPlayer
{
    Q_OBJECT

public:
    explicit MultimediaAudioPlayer(QObject *parent = nullptr);
    // Deletes the output on its thread, then ends the thread.
    ~MultimediaAudioPlayer() override;

    // Whether this machine can play sound: a Qt Multimedia backend and an audio output device.
    // When not, reason says what is missing.
    static bool canPlay(QString *reason = nullptr);

public Q_SLOTS:
    void play(const QString &path, qint64 seekPos) override;
    void breakPlay(const QString &path, qint64 duration) override;
    void pause(bool bPause) override;
    // bSync: returns once the output has stopped.
    void stop(bool bSync) override;
    void seekPos(qint64 position) override;
    void setSpeed(double speed) override;

private:
    class Output;

    // Runs fn with the output on the output's thread; bWait blocks until it ran.
    void post(std::function<void(Output &)> fn, bool bWait = false);
    // Output thread: pushes an event unless its track was interrupted meanwhile.
    void report(quint64 generation, int type, const QVariantMap &params = {},
                const QString &message = QString());

    QThread m_thread;
    Output *m_output = nullptr; // lives on m_thread, deleted there
    QMutex m_generationMutex;   // orders a generation change against the reports of the old one
    std::atomic<quint64> m_generation {0};
    qint64 m_durationHint = 0; // this object's thread
    double m_speed = 1.0;      // this object's thread; every track starts at it
};
