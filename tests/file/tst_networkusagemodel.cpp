#include "networkusagemodel.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>

namespace {
// A sample covers about a second; a return to 0 takes one more quiet sample.
constexpr int kSpeedTimeoutMs = 5000;
} // namespace

class tst_NetworkUsageModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void isZeroBeforeAnyBytes();
    void reportsBytesPerSecond_data();
    void reportsBytesPerSecond();
    void dropsToZeroAfterAQuietWindow();
    void signalsOnlyOnChange();
    void countsBytesFromAnyThread();
    void livesOnTheMainThread();

private:
    static void waitForIdle();
};

void tst_NetworkUsageModel::waitForIdle()
{
    QTRY_COMPARE_WITH_TIMEOUT(NetworkUsageModel::instance()->downloadSpeed(), qint64(0),
                              kSpeedTimeoutMs);
}

void tst_NetworkUsageModel::init()
{
    waitForIdle();
}

void tst_NetworkUsageModel::isZeroBeforeAnyBytes()
{
    QCOMPARE(NetworkUsageModel::instance()->downloadSpeed(), qint64(0));
}

void tst_NetworkUsageModel::reportsBytesPerSecond_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::newRow("a few bytes") << qint64(100);
    QTest::newRow("megabytes") << qint64(8 * 1024 * 1024);
}

void tst_NetworkUsageModel::reportsBytesPerSecond()
{
    QFETCH(qint64, bytes);
    NetworkUsageModel *model = NetworkUsageModel::instance();
    QSignalSpy spy(model, &NetworkUsageModel::downloadSpeedChanged);
    model->addReceivedBytes(bytes);
    QVERIFY(spy.wait(kSpeedTimeoutMs));
    const qint64 speed = spy.first().first().toLongLong();
    // Bytes per second over a window of about one second.
    QVERIFY2(speed > bytes / 10 && speed <= bytes * 21 / 20, qPrintable(QString::number(speed)));
    QCOMPARE(model->downloadSpeed(), speed);
}

void tst_NetworkUsageModel::dropsToZeroAfterAQuietWindow()
{
    NetworkUsageModel *model = NetworkUsageModel::instance();
    QSignalSpy spy(model, &NetworkUsageModel::downloadSpeedChanged);
    model->addReceivedBytes(4096);
    QTRY_VERIFY_WITH_TIMEOUT(model->downloadSpeed() > 0, kSpeedTimeoutMs);
    QTRY_COMPARE_WITH_TIMEOUT(model->downloadSpeed(), qint64(0), kSpeedTimeoutMs);
    QCOMPARE(spy.last().first().toLongLong(), qint64(0));
}

void tst_NetworkUsageModel::signalsOnlyOnChange()
{
    NetworkUsageModel *model = NetworkUsageModel::instance();
    QSignalSpy spy(model, &NetworkUsageModel::downloadSpeedChanged);
    model->addReceivedBytes(1000);
    model->addReceivedBytes(0);
    model->addReceivedBytes(-5);
    QTRY_VERIFY_WITH_TIMEOUT(model->downloadSpeed() > 0, kSpeedTimeoutMs);
    waitForIdle();
    // Up, then back to 0: two changes, and never the same value twice in a row.
    QCOMPARE(spy.size(), 2);
    QVERIFY(spy.at(0).first().toLongLong() > 0);
    QCOMPARE(spy.at(1).first().toLongLong(), qint64(0));
}

void tst_NetworkUsageModel::countsBytesFromAnyThread()
{
    NetworkUsageModel *model = NetworkUsageModel::instance();
    QSignalSpy spy(model, &NetworkUsageModel::downloadSpeedChanged);
    std::unique_ptr<QThread> worker(QThread::create([model] {
        for (int i = 0; i < 100; ++i) {
            model->addReceivedBytes(1024);
        }
    }));
    worker->start();
    QVERIFY(worker->wait(10000));
    QVERIFY(spy.wait(kSpeedTimeoutMs));
    QVERIFY(spy.first().first().toLongLong() > 0);
}

void tst_NetworkUsageModel::livesOnTheMainThread()
{
    QCOMPARE(NetworkUsageModel::instance()->thread(), QCoreApplication::instance()->thread());
    QCOMPARE(NetworkUsageModel::instance(), NetworkUsageModel::instance());
}

QTEST_GUILESS_MAIN(tst_NetworkUsageModel)
#include "tst_networkusagemodel.moc"
