#pragma once

#include <QByteArray>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

// A real sound server for tests: PulseAudio with one null sink as its only output, so that sound
// is played for real on a machine without a sound card, and what was played can be recorded from
// the sink's monitor.
//
// The server runs from a private temporary folder (socket, state, cookie), as root or as an
// ordinary user, and start() points this process at it through PULSE_SERVER: start it before the
// first audio object of Qt Multimedia is made, since Qt looks for the server once. The destructor
// stops it.
class SoundServerFixture
{
public:
    SoundServerFixture();
    ~SoundServerFixture();

    // Starts the server and waits until it answers.
    bool start();
    QString errorString() const { return m_error; }

    // The address clients use: "unix:" and the socket path.
    QString serverAddress() const;
    // The source that hears what the null sink plays.
    static QString monitorSource();

private:
    Q_DISABLE_COPY(SoundServerFixture)

    bool answers();

    QTemporaryDir m_dir;
    QProcess m_process;
    QString m_error;
};

// Records the null sink's monitor with parec as 16-bit mono samples at SampleRate, and tells
// which tone it heard lately. Works against the server the process was pointed at. parec writes
// to a file, not a pipe, so that it never waits for this process to read: a test may block in
// another call while sound plays.
class SoundRecorder
{
public:
    static constexpr int SampleRate = 48000;

    ~SoundRecorder();

    bool start();
    QString errorString() const { return m_error; }

    // Samples recorded so far (reads what parec sent meanwhile).
    qint64 sampleCount();
    // The frequency in Hz of the tone heard over the last msecs, from its zero crossings; 0 when
    // that stretch was silent.
    double recentFrequency(int msecs);
    // Whether anything above silence was recorded since sample `since`.
    bool heardSince(qint64 since);
    // Whether the last msecs were silent.
    bool isSilentFor(int msecs);

private:
    void readAvailable();

    QTemporaryDir m_dir;
    QFile m_recording; // read as parec appends to it
    QProcess m_process;
    QByteArray m_pcm; // 16-bit little-endian mono
    QString m_error;
};
