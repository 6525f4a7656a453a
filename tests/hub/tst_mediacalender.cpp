#include "accountbase.h"
#include "contenttype.h"
#include "hubteardown.h"
#include "im.pb.h"
#include "mediacalender.h"
#include "mediamgr.h"
#include "resourceitem.h"

#include <QDateTime>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

qint64 at(int day, int hour)
{
    return QDateTime(QDate(2026, 3, day), QTime(hour, 0)).toMSecsSinceEpoch();
}

im::Message photoAt(qint64 id, qint64 time)
{
    im::Message m;
    m.set_dialog_id("a");
    m.set_msg_id(id);
    m.set_type(id % 4 == 0 ? CONTENT_VIDEO : CONTENT_PHOTO);
    m.set_time(time);
    m.set_sender_id(7);
    m.mutable_file()->set_file_id("f" + std::to_string(id));
    m.mutable_file()->set_suffix("jpg");
    m.mutable_file()->set_size(100);
    return m;
}

} // namespace

// The days of a dialog that have photos and videos, as the gallery's calendar marks them.
class TestMediaCalender : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void dayKeys_data();
    void dayKeys();
    void oneItemPerDay();
    void registry();
    void releasedWhileLoading();

private:
    MediaCalender *loadedCalendar(const QString &dialogId);

    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
    MediaMgr *m_hub = nullptr; // child of the account
};

void TestMediaCalender::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_account = std::make_unique<AccountBase>(1, m_dir.path());
    QVERIFY(m_account->storeDialog("a", "a", DIALOG_PRIVATE, at(20, 12)));
    QVERIFY(m_account->storeDialog("empty", "empty", DIALOG_PRIVATE, at(20, 12)));
    QList<im::Message> messages;
    qint64 id = 1;
    for (int day : {3, 5, 17}) {
        for (int hour : {8, 13, 23}) {
            messages.append(photoAt(id++, at(day, hour)));
        }
    }
    QVERIFY(m_account->storeMessages(messages));
    m_hub = new MediaMgr(m_account.get());
}

void TestMediaCalender::cleanupTestCase()
{
    closeHub(m_hub);
}

MediaCalender *TestMediaCalender::loadedCalendar(const QString &dialogId)
{
    MediaCalender *calendar = m_hub->mediaCalender(dialogId);
    if (calendar) {
        calendar->waitForFinish();
        QCoreApplication::sendPostedEvents();
    }
    return calendar;
}

void TestMediaCalender::dayKeys_data()
{
    QTest::addColumn<qint64>("instant");
    QTest::addColumn<qint64>("key");
    QTest::newRow("midnight is its own key") << at(5, 0) << at(5, 0);
    QTest::newRow("late evening") << at(5, 23) + 59 * 60'000 << at(5, 0);
    QTest::newRow("one millisecond before midnight") << at(6, 0) - 1 << at(5, 0);
}

void TestMediaCalender::dayKeys()
{
    QFETCH(qint64, instant);
    QFETCH(qint64, key);
    QCOMPARE(MediaCalender::dayKey(instant), key);
}

void TestMediaCalender::oneItemPerDay()
{
    MediaCalender *calendar = loadedCalendar("a");
    QVERIFY(calendar);
    QTRY_VERIFY(!calendar->isQuerying());
    for (int day : {3, 5, 17}) {
        ResourceItem *item = calendar->mediaByDate(at(day, 0));
        QVERIFY2(item, qPrintable(QString::number(day)));
        QCOMPARE(MediaCalender::dayKey(item->dateTime()), at(day, 0));
        QCOMPARE(item->thread(), calendar->thread());
    }
    QCOMPARE(calendar->mediaByDate(at(4, 0)), nullptr);
    QCOMPARE(calendar->mediaByDate(at(5, 12)), nullptr);
    QCOMPARE(loadedCalendar("empty")->mediaByDate(at(5, 0)), nullptr);
}

void TestMediaCalender::registry()
{
    QCOMPARE(m_hub->mediaCalender("nobody"), nullptr);
    MediaCalender *calendar = m_hub->mediaCalender("a");
    QCOMPARE(m_hub->mediaCalender("a"), calendar);
    QPointer<MediaCalender> released = calendar;
    QSignalSpy destroying(calendar, &MediaCalender::startDestroy);
    m_hub->releaseMediaCalender("a");
    m_hub->releaseMediaCalender("a");
    QTRY_VERIFY(released.isNull());
    QCOMPARE(destroying.count(), 1);
    QVERIFY(m_hub->mediaCalender("a") != nullptr);
}

void TestMediaCalender::releasedWhileLoading()
{
    m_hub->releaseMediaCalender("a");
    QPointer<MediaCalender> calendar = m_hub->mediaCalender("a");
    m_hub->releaseMediaCalender("a");
    // The sanitizer build checks that the days of the dropped load are deleted.
    QTRY_VERIFY(calendar.isNull());
}

QTEST_GUILESS_MAIN(TestMediaCalender)
#include "tst_mediacalender.moc"
