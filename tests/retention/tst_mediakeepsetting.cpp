#include "accountbase.h"
#include "accountsettingmodel.h"
#include "constants.h"
#include "contenttype.h"
#include "hubteardown.h"
#include "keepmediasettingstorage.h"
#include "mediaexpiry.h"
#include "mediakeeplistmodel.h"
#include "mediakeepsetting.h"
#include "mediamgr.h"
#include "threadmanager.h"
#include "userstorageprovider.h"

#include <QAbstractItemModelTester>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr qint64 Now = 1'700'000'000'000;

using Exceptions = QMap<QString, int>;

QStringList dialogIdsOf(const MediaKeepListModel *model)
{
    QStringList ids;
    for (int row = 0; row < model->rowCount(); ++row) {
        ids.append(model->index(row).data(MediaKeepListModel::DialogIdRole).toString());
    }
    return ids;
}

} // namespace

// How long an account keeps media: the two defaults written through the account settings, the
// dialogs' own keep times kept in the account database, the shortest of them that bounds the
// cleanup, and the lists the settings page shows.
class TestMediaKeepSetting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void shortestKeepTime_data();
    void shortestKeepTime();
    void nothingExpiresWithoutAgeLimit();
    void dialogKeepTime_data();
    void dialogKeepTime();
    void exceptionsSurviveReload();
    void fastLoadSkipsExceptions();
    void listsSplitByKind();
    void settersSignalOnceOnChange();
    void badInputLeavesSettingAsItWas_data();
    void badInputLeavesSettingAsItWas();
    void removeForgetsException();
    void exceptionOfUnknownDialogAppliesById();
    void searchOffersDialogsWithoutException();
    void clearForgetsExceptions();

private:
    // Writes the defaults and exception rows as an earlier session left them, then loads.
    void loadWith(int privateKeepTime, int groupKeepTime, const Exceptions &exceptions);
    void reopenHub();
    MediaKeepSetting *setting() const { return m_hub->mediaKeepSetting(); }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<AccountBase> m_account;
    MediaMgr *m_hub = nullptr; // child of the account
};

void TestMediaKeepSetting::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_account = std::make_unique<AccountBase>(1, m_dir->path());
    QVERIFY(m_account->isValid());
    for (const char *id : {"p1", "p2"}) {
        QVERIFY(m_account->storeDialog(id, QStringLiteral("private %1").arg(id), DIALOG_PRIVATE,
                                       Now));
    }
    for (const char *id : {"g1", "g2"}) {
        QVERIFY(m_account->storeDialog(id, QStringLiteral("group %1").arg(id), DIALOG_GROUP, Now));
    }
    m_hub = new MediaMgr(m_account.get());
    m_hub->initConnection();
}

void TestMediaKeepSetting::cleanup()
{
    closeHub(m_hub);
    m_hub = nullptr;
    m_account.reset();
    m_dir.reset();
}

void TestMediaKeepSetting::loadWith(int privateKeepTime, int groupKeepTime,
                                    const Exceptions &exceptions)
{
    m_account->accountSettingModel()->setPrivateKeepTime(privateKeepTime);
    m_account->accountSettingModel()->setGroupKeepTime(groupKeepTime);
    for (auto it = exceptions.cbegin(); it != exceptions.cend(); ++it) {
        QVERIFY(m_account->storage()->keepMediaSettingStorage()->save({it.key(), it.value()}));
    }
    m_hub->loadLocalData(false);
}

void TestMediaKeepSetting::reopenHub()
{
    closeHub(m_hub);
    m_hub = new MediaMgr(m_account.get());
    m_hub->initConnection();
}

void TestMediaKeepSetting::shortestKeepTime_data()
{
    QTest::addColumn<int>("privateKeepTime");
    QTest::addColumn<int>("groupKeepTime");
    QTest::addColumn<Exceptions>("exceptions");
    QTest::addColumn<qint64>("shortest");

    QTest::newRow("private week, group month") << 7 << 30 << Exceptions() << ONE_WEEK_MSEC;
    QTest::newRow("group day beats private week") << 7 << 1 << Exceptions() << ONE_DAY_MSEC;
    QTest::newRow("exception month under forever and focus loss")
            << -1 << -2 << Exceptions {{"p1", 30}} << ONE_MONTH_MSEC;
    QTest::newRow("nothing expires") << -1 << -1 << Exceptions() << qint64(-1);
    QTest::newRow("focus loss alone has no age") << -2 << -1 << Exceptions() << qint64(-2);
    QTest::newRow("exception shorter than both defaults")
            << 30 << 30 << Exceptions {{"g1", 7}, {"p1", 30}} << ONE_WEEK_MSEC;
    QTest::newRow("exception kept for ever is no limit")
            << 7 << 30 << Exceptions {{"p1", -1}} << ONE_WEEK_MSEC;
    QTest::newRow("one-day exception wins") << 30 << 7 << Exceptions {{"g2", 1}} << ONE_DAY_MSEC;
}

void TestMediaKeepSetting::shortestKeepTime()
{
    QFETCH(int, privateKeepTime);
    QFETCH(int, groupKeepTime);
    QFETCH(Exceptions, exceptions);
    QFETCH(qint64, shortest);

    loadWith(privateKeepTime, groupKeepTime, exceptions);
    QCOMPARE(setting()->privateKeepTime(), privateKeepTime);
    QCOMPARE(setting()->groupKeepTime(), groupKeepTime);
    QCOMPARE(setting()->shortestKeepTime(), shortest);
    const MediaExpiry::Limits limits = MediaExpiry::limitsAt(m_hub->cacheContext(), Now);
    QCOMPARE(limits.cutOff, shortest >= 1 ? Now - shortest : qint64(-1));
}

void TestMediaKeepSetting::nothingExpiresWithoutAgeLimit()
{
    loadWith(-1, -1, {});
    QCOMPARE(MediaExpiry::limitsAt(m_hub->cacheContext(), Now).cutOff, qint64(-1));
    // No clock either: no cut-off can be made.
    loadWith(7, 7, {});
    QCOMPARE(MediaExpiry::limitsAt(m_hub->cacheContext(), 0).cutOff, qint64(-1));
}

void TestMediaKeepSetting::dialogKeepTime_data()
{
    QTest::addColumn<QString>("dialogId");
    QTest::addColumn<qint64>("keepTime");

    QTest::newRow("group with a one-day exception") << "g1" << ONE_DAY_MSEC;
    QTest::newRow("group on the group default") << "g2" << ONE_MONTH_MSEC;
    QTest::newRow("private on the private default") << "p1" << ONE_WEEK_MSEC;
    QTest::newRow("private kept for ever by exception") << "p2" << qint64(-1);
    QTest::newRow("unknown dialog on the private default") << "nobody" << ONE_WEEK_MSEC;
}

void TestMediaKeepSetting::dialogKeepTime()
{
    QFETCH(QString, dialogId);
    QFETCH(qint64, keepTime);

    loadWith(7, 30, {{"g1", 1}, {"p2", -1}});
    QCOMPARE(setting()->keepTime(dialogId), keepTime);
}

void TestMediaKeepSetting::exceptionsSurviveReload()
{
    loadWith(7, 30, {});
    setting()->add("g1", MediaKeepSetting::ONE_DAY);
    setting()->add("p1", MediaKeepSetting::ONE_MONTH);
    setting()->updateKeepTime("p1", MediaKeepSetting::WINDOW_LOSES_FOCUS);
    setting()->setGroupKeepTime(MediaKeepSetting::ONE_WEEK);

    reopenHub();
    QVERIFY(!setting()->contains("g1"));
    m_hub->loadLocalData(false);
    QVERIFY(setting()->contains("g1"));
    QVERIFY(setting()->contains("p1"));
    QCOMPARE(setting()->keepTime("g1"), ONE_DAY_MSEC);
    QCOMPARE(setting()->keepTime("p1"), qint64(MediaKeepSetting::WINDOW_LOSES_FOCUS));
    QCOMPARE(setting()->groupKeepTime(), int(MediaKeepSetting::ONE_WEEK));
    QCOMPARE(setting()->keepTime("g2"), ONE_WEEK_MSEC);
    QCOMPARE(setting()->groupDialogs(), QList<QString> {"g1"});
    QCOMPARE(setting()->privateDialogs(), QList<QString> {"p1"});
}

void TestMediaKeepSetting::fastLoadSkipsExceptions()
{
    m_account->accountSettingModel()->setPrivateKeepTime(1);
    QVERIFY(m_account->storage()->keepMediaSettingStorage()->save({"g1", 1}));
    m_hub->loadLocalData(true);
    QCOMPARE(setting()->privateKeepTime(), 1);
    QVERIFY(!setting()->contains("g1"));
}

void TestMediaKeepSetting::listsSplitByKind()
{
    loadWith(7, 30, {{"p2", 1}, {"g2", 7}});
    QAbstractItemModelTester tester(setting()->exceptionModel(),
                                    QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy kindSpy(setting(), &MediaKeepSetting::groupSettingChanged);
    setting()->add("p1", MediaKeepSetting::ONE_MONTH);
    setting()->add("g1", MediaKeepSetting::ONE_DAY);
    QCOMPARE(setting()->privateDialogs(), (QList<QString> {"p1", "p2"}));
    QCOMPARE(setting()->groupDialogs(), (QList<QString> {"g1", "g2"}));

    setting()->initModel(false);
    QCOMPARE(dialogIdsOf(setting()->exceptionModel()), (QStringList {"p1", "p2"}));
    setting()->initModel(true);
    QVERIFY(setting()->isGroupSetting());
    QCOMPARE(kindSpy.count(), 1);
    QCOMPARE(dialogIdsOf(setting()->exceptionModel()), (QStringList {"g1", "g2"}));
    const QModelIndex first = setting()->exceptionModel()->index(0);
    QCOMPARE(first.data(MediaKeepListModel::NameRole).toString(), QStringLiteral("group g1"));
    QCOMPARE(first.data(MediaKeepListModel::KeepTimeRole).toInt(), 1);
    QCOMPARE(first.data(MediaKeepListModel::IsGroupRole).toBool(), true);

    // The shown list follows changes of its own kind only.
    setting()->updateKeepTime("g1", MediaKeepSetting::FOREVER);
    QCOMPARE(first.data(MediaKeepListModel::KeepTimeRole).toInt(), -1);
    setting()->updateKeepTime("p1", MediaKeepSetting::ONE_DAY);
    QCOMPARE(setting()->exceptionModel()->rowCount(), 2);
    const QHash<int, QByteArray> roles = setting()->exceptionModel()->roleNames();
    QCOMPARE(roles.value(MediaKeepListModel::DialogIdRole), QByteArray("dialogId"));
    QCOMPARE(roles.value(MediaKeepListModel::KeepTimeRole), QByteArray("keepTime"));
}

void TestMediaKeepSetting::settersSignalOnceOnChange()
{
    loadWith(-1, -1, {});
    QSignalSpy privateSpy(setting(), &MediaKeepSetting::privateKeepTimeChanged);
    QSignalSpy groupSpy(setting(), &MediaKeepSetting::groupKeepTimeChanged);

    setting()->setPrivateKeepTime(MediaKeepSetting::ONE_WEEK);
    setting()->setPrivateKeepTime(MediaKeepSetting::ONE_WEEK);
    QCOMPARE(privateSpy.count(), 1);
    QCOMPARE(groupSpy.count(), 0);
    QCOMPARE(m_account->accountSettingModel()->privateKeepTime(), 7);

    setting()->setGroupKeepTime(MediaKeepSetting::WINDOW_LOSES_FOCUS);
    setting()->setGroupKeepTime(MediaKeepSetting::WINDOW_LOSES_FOCUS);
    QCOMPARE(groupSpy.count(), 1);
    QCOMPARE(m_account->accountSettingModel()->groupKeepTime(), -2);
    QVERIFY(setting()->hasFocusLossDefault());

    // A reload of unchanged settings is no change.
    m_hub->loadLocalData(false);
    QCOMPARE(privateSpy.count(), 1);
    QCOMPARE(groupSpy.count(), 1);
}

void TestMediaKeepSetting::badInputLeavesSettingAsItWas_data()
{
    QTest::addColumn<QString>("dialogId");
    QTest::addColumn<int>("keepTime");
    QTest::addColumn<bool>("bUpdate");

    QTest::newRow("keep time that is no choice") << "p2" << 3 << false;
    QTest::newRow("zero keep time") << "p2" << 0 << false;
    QTest::newRow("dialog the account does not know") << "nobody" << 7 << false;
    QTest::newRow("update of a dialog without exception") << "p2" << 7 << true;
    QTest::newRow("update to a keep time that is no choice") << "p1" << 14 << true;
}

void TestMediaKeepSetting::badInputLeavesSettingAsItWas()
{
    QFETCH(QString, dialogId);
    QFETCH(int, keepTime);
    QFETCH(bool, bUpdate);

    loadWith(7, 30, {{"p1", 1}});
    if (bUpdate) {
        setting()->updateKeepTime(dialogId, keepTime);
    } else {
        setting()->add(dialogId, keepTime);
    }
    setting()->setPrivateKeepTime(keepTime);
    QCOMPARE(setting()->privateKeepTime(), 7);
    QCOMPARE(setting()->keepTime("p1"), ONE_DAY_MSEC);
    QCOMPARE(setting()->contains(dialogId), dialogId == QLatin1String("p1"));
    const QList<storage::KeepMediaSettingInfo> rows =
            m_account->storage()->keepMediaSettingStorage()->infos();
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.constFirst().keepTime, 1);
}

void TestMediaKeepSetting::removeForgetsException()
{
    loadWith(7, 30, {{"p1", 1}, {"p2", 30}});
    setting()->initModel(false);
    QAbstractItemModelTester tester(setting()->exceptionModel(),
                                    QAbstractItemModelTester::FailureReportingMode::QtTest);
    setting()->remove("p1");
    setting()->remove("p1");
    QVERIFY(!setting()->contains("p1"));
    QCOMPARE(setting()->keepTime("p1"), ONE_WEEK_MSEC);
    QCOMPARE(dialogIdsOf(setting()->exceptionModel()), QStringList {"p2"});
    QCOMPARE(m_account->storage()->keepMediaSettingStorage()->infos().size(), 1);
    QCOMPARE(setting()->shortestKeepTime(), ONE_WEEK_MSEC);
}

// A row of a dialog the account has not loaded still sets that dialog's keep time; it joins a
// list once its kind is known.
void TestMediaKeepSetting::exceptionOfUnknownDialogAppliesById()
{
    loadWith(30, 30, {{"later", 1}});
    QVERIFY(setting()->contains("later"));
    QCOMPARE(setting()->keepTime("later", true), ONE_DAY_MSEC);
    QCOMPARE(setting()->shortestKeepTime(), ONE_DAY_MSEC);
    ThreadManager::waitForIdle();
    QCoreApplication::sendPostedEvents();
    QVERIFY(setting()->privateDialogs().isEmpty());
    QVERIFY(setting()->groupDialogs().isEmpty());
}

void TestMediaKeepSetting::searchOffersDialogsWithoutException()
{
    QVERIFY(m_account->storeDialog("p3", "Alpine lake", DIALOG_PRIVATE, Now));
    QVERIFY(m_account->storeDialog("p4", "alpha team", DIALOG_PRIVATE, Now));
    QVERIFY(m_account->storeDialog("p5", "Beta", DIALOG_PRIVATE, Now));
    QVERIFY(m_account->storeDialog("g3", "alpha group", DIALOG_GROUP, Now));
    QVERIFY(m_account->storeDialog("p6", "alps", DIALOG_PRIVATE, Now));
    loadWith(7, 30, {{"p6", 1}});
    MediaKeepListModel *hits = setting()->searchModel();
    QAbstractItemModelTester tester(hits, QAbstractItemModelTester::FailureReportingMode::QtTest);

    setting()->initModel(false);
    setting()->search("ALP");
    QTRY_COMPARE(dialogIdsOf(hits), (QStringList {"p4", "p3"}));

    // A dialog given a keep time leaves the offers.
    setting()->add("p4", MediaKeepSetting::ONE_WEEK);
    QCOMPARE(dialogIdsOf(hits), QStringList {"p3"});

    setting()->initModel(true);
    QCOMPARE(hits->rowCount(), 0);
    setting()->search("alp");
    QTRY_COMPARE(dialogIdsOf(hits), QStringList {"g3"});
    setting()->search("nothing like it");
    QCOMPARE(hits->rowCount(), 0);
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::sendPostedEvents();
    QCOMPARE(hits->rowCount(), 0);
}

void TestMediaKeepSetting::clearForgetsExceptions()
{
    loadWith(7, 30, {{"p1", 1}});
    setting()->initModel(false);
    QCOMPARE(setting()->exceptionModel()->rowCount(), 1);
    m_hub->prepareToClearData(false);
    m_hub->clearData(false);
    QVERIFY(!setting()->contains("p1"));
    QCOMPARE(setting()->exceptionModel()->rowCount(), 0);
    // Clearing forgets what is loaded, not what is stored.
    QCOMPARE(m_account->storage()->keepMediaSettingStorage()->infos().size(), 1);
}

QTEST_GUILESS_MAIN(TestMediaKeepSetting)
#include "tst_mediakeepsetting.moc"
