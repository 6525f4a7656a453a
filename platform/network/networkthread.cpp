#include "networkthread.h"

#include <QCoreApplication>
#include <QThread>

namespace network {

namespace {

// Owns the thread for the life of the process. The destructor runs at static destruction, after
// the application object is gone, and only has work left when no aboutToQuit was seen (tests and
// command-line runs that never enter the event loop).
class NetworkThreadHolder
{
public:
    NetworkThreadHolder()
    {
        m_thread.setObjectName(QStringLiteral("network"));
        m_thread.start();
        if (QCoreApplication *app = QCoreApplication::instance()) {
            QObject::connect(
                    app, &QCoreApplication::aboutToQuit, app, [this] { stop(); },
                    Qt::DirectConnection);
        }
    }
    ~NetworkThreadHolder() { stop(); }

    QThread *thread() { return &m_thread; }

private:
    void stop()
    {
        if (!m_thread.isRunning()) {
            return;
        }
        m_thread.quit();
        m_thread.wait();
    }

    QThread m_thread;
};

} // namespace

QThread *getNetworkThread()
{
    // A function-local static: created once, thread-safely, by whichever thread asks first.
    static NetworkThreadHolder holder;
    return holder.thread();
}

} // namespace network
