#include "ownerthread_p.h"

#include <QObject>
#include <QThread>

void runOnOwnerThread(QObject *owner, std::function<void()> fn)
{
    if (QThread::currentThread() == owner->thread()) {
        fn();
        return;
    }
    QMetaObject::invokeMethod(owner, std::move(fn), Qt::QueuedConnection);
}
