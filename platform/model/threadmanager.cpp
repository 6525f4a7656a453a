#include "threadmanager.h"

#include <QCoreApplication>
#include <QThread>

namespace {

// The worker thread with an event loop, made on first use and stopped at process exit.
class Worker
{
public:
    Worker()
        : m_context(new QObject)
    {
        m_thread.setObjectName(QStringLiteral("host-db"));
        m_context->moveToThread(&m_thread);
        QObject::connect(&m_thread, &QThread::finished, m_context, &QObject::deleteLater);
        m_thread.start();
    }
    ~Worker()
    {
        m_thread.quit();
        m_thread.wait();
    }

    QThread m_thread;
    QObject *m_context; // lives on m_thread, the target of queued work; deleted as it finishes
};

Worker &worker()
{
    static Worker instance;
    return instance;
}

} // namespace

void ThreadManager::invoke(std::function<void()> fn, bool bAsync)
{
    if (!fn) {
        return;
    }
    Worker &w = worker();
    if (QThread::currentThread() == &w.m_thread) {
        if (bAsync) {
            QMetaObject::invokeMethod(w.m_context, std::move(fn), Qt::QueuedConnection);
        } else {
            fn();
        }
        return;
    }
    QMetaObject::invokeMethod(w.m_context, std::move(fn),
                              bAsync ? Qt::QueuedConnection : Qt::BlockingQueuedConnection);
}

void ThreadManager::waitForIdle()
{
    invoke([] {}, false);
}
