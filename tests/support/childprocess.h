#pragma once

#include <QProcess>

// Ends a server a fixture started: asks it to stop, and kills it when it does not within
// timeoutMs.
inline void stopChildProcess(QProcess &process, int timeoutMs = 5000)
{
    if (process.state() == QProcess::NotRunning) {
        return;
    }
    process.terminate();
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(timeoutMs);
    }
}
