#include "networkthread.h"

#include <QCoreApplication>
#include <QTest>
#include <QThread>

class tst_NetworkThread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void runsApartFromTheMainThread();
    void isTheSameOnEveryCall();
    void isTheSameFromAnyThread();
    void runsPostedWork();
};

void tst_NetworkThread::runsApartFromTheMainThread()
{
    QThread *thread = network::getNetworkThread();
    QVERIFY(thread);
    QVERIFY(thread->isRunning());
    QVERIFY(thread != QCoreApplication::instance()->thread());
    QVERIFY(thread != QThread::currentThread());
    QCOMPARE(thread->objectName(), QStringLiteral("network"));
}

void tst_NetworkThread::isTheSameOnEveryCall()
{
    QCOMPARE(network::getNetworkThread(), network::getNetworkThread());
}

void tst_NetworkThread::isTheSameFromAnyThread()
{
    QThread *seen = nullptr;
    std::unique_ptr<QThread> other(
            QThread::create([&seen] { seen = network::getNetworkThread(); }));
    other->start();
    QVERIFY(other->wait(10000));
    QCOMPARE(seen, network::getNetworkThread());
}

void tst_NetworkThread::runsPostedWork()
{
    QObject context;
    context.moveToThread(network::getNetworkThread());
    QThread *ranOn = nullptr;
    QMetaObject::invokeMethod(
            &context, [&ranOn] { ranOn = QThread::currentThread(); }, Qt::BlockingQueuedConnection);
    QCOMPARE(ranOn, network::getNetworkThread());
}

QTEST_GUILESS_MAIN(tst_NetworkThread)
#include "tst_networkthread.moc"
