#pragma once

// Not API: independent steps of one job, run on the calling thread and the global pool together.

#include <QFuture>
#include <QList>
#include <QThread>
#include <QThreadPool>
#include <QtConcurrent>
#include <algorithm>
#include <atomic>

// Runs step(i) for every i in [0, count), the calling thread taking steps in turn with helpers
// from the global pool, and returns when all have run. The caller works rather than waits, as it
// may hold a thread of that pool itself: a helper that never gets a thread is run by the wait,
// and finds no step left. Steps must share nothing that is not guarded.
template<typename Step> void runSideBySide(qsizetype count, Step step)
{
    std::atomic<qsizetype> next {0};
    const auto work = [count, &next, &step] {
        for (qsizetype i = next++; i < count; i = next++) {
            step(i);
        }
    };
    const qsizetype helperCount = std::min<qsizetype>(count, QThread::idealThreadCount()) - 1;
    QList<QFuture<void>> helpers;
    for (qsizetype i = 0; i < helperCount; ++i) {
        helpers.append(QtConcurrent::run(QThreadPool::globalInstance(), work));
    }
    work();
    for (QFuture<void> &helper : helpers) {
        helper.waitForFinished();
    }
}
