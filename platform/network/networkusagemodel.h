#pragma once

#include "network_export.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <atomic>

// The process's download speed, for progress estimates. Downloads report the bytes they receive
// from any thread; a one-second timer on the main thread turns them into bytes per second. The
// timer runs only while bytes arrive or the speed is not yet back at 0, so an idle process has no
// timer running.
//
// One instance per process, created on first use and moved to the application's thread; it lives
// until the process ends and is never deleted, so late reports from other threads stay safe.
class NETWORK_EXPORT NetworkUsageModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(qint64 downloadSpeed READ downloadSpeed NOTIFY downloadSpeedChanged)

public:
    static NetworkUsageModel *instance();

    // Bytes per second over the last sampling window; 0 before the first sample and after a
    // window without any bytes.
    qint64 downloadSpeed() const;
    // Counts bytes received by a download. Thread-safe; non-positive counts are ignored.
    void addReceivedBytes(qint64 bytes);

Q_SIGNALS:
    void downloadSpeedChanged(qint64 speed);

private:
    NetworkUsageModel();

    void startSampling();
    void stopSampling();
    void sample();
    void setDownloadSpeed(qint64 speed);

    std::atomic<qint64> m_pendingBytes {0};  // received since the last sample, any thread
    std::atomic<bool> m_sampling {false};    // set by the first report that finds the timer idle
    std::atomic<qint64> m_downloadSpeed {0}; // written on the main thread, read anywhere
    QTimer m_timer;         // main thread; a child, so that it moves along with this object
    QElapsedTimer m_window; // main thread: time since the last sample
};
