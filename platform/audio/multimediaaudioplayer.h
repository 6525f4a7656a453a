#pragma once

#include "audioplayer.h"

#include <QMutex>
#include <QThread>
#include <atomic>
#include <functional>

// The audio engine on Qt Multimedia: plays local files and http:// stream addresses. Streams go
// through Qt Multimedia's FFmpeg backend, which this library selects for the process (see the
// .cpp): its reader sends byte ranges, as the stream server requires, from the first request on,
// and a seek opens a new range at the target, so a file plays and seeks while it downloads.
//
// Threads and ownership: this object lives on the thread that made it (the player's thread), and
// its slots are called there. The QMediaPlayer and its QAudioOutput live on a thread of their own
// with its own event loop, inside an output object that this engine creates on that thread at the
// first play and deletes there at destruction; the slots only post work to it. Events are pushed
// from that thread: playing (3), paused (4), progress (5, "PlayTime" in ms, "Samples" empty),
// duration (10), end of track (2), error (9) and underload (11, true while the position stands
// still during playback because the reader waits for bytes, false once it moves again). The reset
// event (1) is never sent: the engine is interrupted only by its own caller.
//
// breakPlay starts a new generation: events of the interrupted track still queued are dropped,
// and those it would still report are never pushed. It also announces the path of the play that
// follows: the player reaches play through a queued signal, so a play of another path is one that
// a later track or a stop overtook, and is dropped. For the same reason pause, seekPos and
// setSpeed take a turn through this object's event queue before they reach the output: a seek
// asked for right after a track starts must come after that track's play.
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

    // Shows the pictures of the videos played in output: a QVideoSink, or an object with a
    // videoSink property, such as QML's VideoOutput; null for none. The output may live on
    // another thread; it must outlive its use, so unset it before it goes. Blocks until the
    // engine's thread took it.
    void setVideoOutput(QObject *output);

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
    // The same, once the calls already queued to this object, a play among them, have run.
    void postAfterQueuedCalls(std::function<void(Output &)> fn);
    // Output thread: pushes an event unless its track was interrupted meanwhile.
    void report(quint64 generation, int type, const QVariantMap &params = {},
                const QString &message = QString());

    QThread m_thread;
    Output *m_output = nullptr; // lives on m_thread, deleted there
    QMutex m_generationMutex;   // orders a generation change against the reports of the old one
    std::atomic<quint64> m_generation {0};
    QString m_announcedPath;   // this object's thread: the path of the last breakPlay
    qint64 m_durationHint = 0; // this object's thread
    double m_speed = 1.0;      // this object's thread; every track starts at it
};
