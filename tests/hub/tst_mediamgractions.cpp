#include "contenttype.h"
#include "dialogbase.h"
#include "mediamgr.h"
#include "mediaselector.h"
#include "messagebase.h"
#include "resourceitem.h"
#include "selectiontestsupport.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using namespace SelectionTest;

// The hub's selections (handed out by dialog id, released, cleared with the account's data and
// pruned when messages go) and its single-item actions, which reach a real account that records
// the calls the host would carry out.
class TestMediaMgrActions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void sameSelectorTwice();
    void normalAndExternSelectorsAreIndependent();
    void releaseClearsThenDeletes();
    void releaseUnknownIsSilent();
    void clearDataClearsEverySelector();

    void removalPrunesSelections_data();
    void removalPrunesSelections();

    void forwardMessageHandsTheItemsMessage();
    void revokeInfoNamesTheWithdrawalValue();
    void deleteMessageSendsOneRecord();
    void itemsWithoutMessageReachNothing();

private:
    // Ticks messages of dialog a in the hub's selection of a and in its cross-dialog selection.
    void tickInBoth(const QStringList &labels);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<RecordingAccount> m_account;
    std::unique_ptr<Items> m_items;
    MediaMgr *m_hub = nullptr; // child of the account
};

void TestMediaMgrActions::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_account = std::make_unique<RecordingAccount>(1, m_dir->path());
    QVERIFY(m_account->isValid());
    QVERIFY(m_account->storeDialog("a", "a", DIALOG_PRIVATE, 1'690'000'000'000));
    m_items = std::make_unique<Items>();
    m_hub = new MediaMgr(m_account.get());
    m_hub->initConnection();
}

void TestMediaMgrActions::cleanup()
{
    m_hub->prepareToClearData(false);
    m_hub->clearData(false);
    delete m_hub;
    m_items.reset();
    drainEvents();
    m_account.reset();
    m_dir.reset();
}

void TestMediaMgrActions::tickInBoth(const QStringList &labels)
{
    for (const QString &label : labels) {
        ResourceItem *item = (*m_items)(label);
        m_hub->mediaSelector("a")->changeSelected(item);
        m_hub->mediaSelector(QString())->changeSelected(item);
    }
}

void TestMediaMgrActions::sameSelectorTwice()
{
    MediaSelector *selector = m_hub->mediaSelector("a");
    QVERIFY(selector);
    QCOMPARE(m_hub->mediaSelector("a"), selector);
    QCOMPARE(selector->dialogId(), QStringLiteral("a"));
    // No dialog is needed: an id the account does not know still gets a selection.
    QVERIFY(m_hub->mediaSelector("nobody"));
    QVERIFY(m_hub->mediaSelector("nobody") != selector);
}

void TestMediaMgrActions::normalAndExternSelectorsAreIndependent()
{
    QPointer<MediaSelector> normal = m_hub->mediaSelector("a");
    QPointer<MediaSelector> external = m_hub->externMediaSelector("a");
    QVERIFY(normal && external);
    QVERIFY(normal != external);
    normal->changeSelected((*m_items)("a/10"));
    QCOMPARE(external->selectCount(), 0);

    m_hub->releaseExternMediaSelector("a");
    QTRY_VERIFY(external.isNull());
    QCOMPARE(m_hub->mediaSelector("a"), normal.data());
    QCOMPARE(normal->selectCount(), 1);
    QVERIFY(m_hub->externMediaSelector("a"));
}

void TestMediaMgrActions::releaseClearsThenDeletes()
{
    QPointer<MediaSelector> selector = m_hub->mediaSelector("a");
    selector->changeSelected((*m_items)("a/10"));
    QSignalSpy counted(selector.data(), &MediaSelector::selectCountChanged);

    m_hub->releaseMediaSelector("a");

    QCOMPARE(counted.size(), 1);
    QVERIFY(selector); // QML may still hold it until control returns to the event loop
    QCOMPARE(selector->selectCount(), 0);
    QTRY_VERIFY(selector.isNull());
    MediaSelector *fresh = m_hub->mediaSelector("a");
    QCOMPARE(fresh->selectCount(), 0);
}

void TestMediaMgrActions::releaseUnknownIsSilent()
{
    m_hub->releaseMediaSelector("nobody");
    m_hub->releaseExternMediaSelector("nobody");
    QPointer<MediaSelector> selector = m_hub->mediaSelector("a");
    m_hub->releaseMediaSelector("a");
    m_hub->releaseMediaSelector("a");
    QTRY_VERIFY(selector.isNull());
}

void TestMediaMgrActions::clearDataClearsEverySelector()
{
    QPointer<MediaSelector> normal = m_hub->mediaSelector("a");
    QPointer<MediaSelector> external = m_hub->externMediaSelector("a");
    normal->changeSelected((*m_items)("a/10"));
    external->changeSelected((*m_items)("a/20"));
    QSignalSpy normalCleared(normal.data(), &MediaSelector::selectCountChanged);
    QSignalSpy externalCleared(external.data(), &MediaSelector::selectCountChanged);

    m_hub->prepareToClearData(false);
    m_hub->clearData(false);

    QCOMPARE(normalCleared.size(), 1);
    QCOMPARE(externalCleared.size(), 1);
    QVERIFY(normal.isNull() && external.isNull());
    QVERIFY(m_hub->mediaSelector("a") != nullptr);
}

void TestMediaMgrActions::removalPrunesSelections_data()
{
    QTest::addColumn<QString>("removal");
    QTest::addColumn<QStringList>("left");

    const QStringList ticked {"a/10", "a/20", "a/30", "a/50.1", "a/50.2", "a/60"};
    QTest::newRow("removeResource by ids")
            << "ids" << QStringList {"a/10", "a/30", "a/50.1", "a/50.2", "a/60"};
    QTest::newRow("removeResource of one message")
            << "one" << QStringList {"a/10", "a/20", "a/30", "a/60"};
    QTest::newRow("removeResource by range, upper bound first")
            << "range" << QStringList {"a/10", "a/60"};
    QTest::newRow("removeResourceBySenderId") << "sender" << QStringList {"a/10", "a/60"};
    QTest::newRow("removeMedia") << "media" << QStringList {"a/10", "a/20", "a/30", "a/60"};
    QTest::newRow("clearMediaModel up to a message") << "clear" << QStringList {"a/60"};
    QTest::newRow("clearMediaModel of the whole dialog") << "clear all" << QStringList {};
    QTest::newRow("another dialog's removal") << "other" << ticked;
}

void TestMediaMgrActions::removalPrunesSelections()
{
    QFETCH(QString, removal);
    QFETCH(QStringList, left);
    const QStringList ticked {"a/10", "a/20", "a/30", "a/50.1", "a/50.2", "a/60"};
    tickInBoth(ticked);
    MediaSelector *own = m_hub->mediaSelector("a");
    MediaSelector *global = m_hub->mediaSelector(QString());
    QSignalSpy ownCounted(own, &MediaSelector::selectCountChanged);
    QSignalSpy globalCounted(global, &MediaSelector::selectCountChanged);

    if (removal == "ids") {
        m_hub->removeResource("a", QList<qint64> {20, 99}, true);
    } else if (removal == "one") {
        m_hub->removeResource("a", qint64(50));
    } else if (removal == "range") {
        m_hub->removeResource("a", MessageIdRange(55, 15), true);
    } else if (removal == "sender") {
        m_hub->removeResourceBySenderId("a", 7, 0, {20, 30, 50});
    } else if (removal == "media") {
        m_hub->removeMedia("a", {50});
    } else if (removal == "clear") {
        m_hub->clearMediaModel("a", 50, false);
    } else if (removal == "clear all") {
        m_hub->clearMediaModel("a", 0, false);
    } else {
        m_hub->removeResource("b", QList<qint64> {10, 20, 30}, true);
    }
    // Pruning runs on the main thread after the call returns.
    QCOMPARE(own->selectCount(), ticked.size());
    const int expectedSignals = removal == "other" ? 0 : 1;
    QTRY_VERIFY(ownCounted.size() >= expectedSignals && globalCounted.size() >= expectedSignals);
    QCoreApplication::processEvents();

    for (MediaSelector *selector : {own, global}) {
        QStringList selected;
        for (const QString &label : ticked) {
            if (selector->isSelected("a", keyOf(label))) {
                selected.append(label);
            }
        }
        QCOMPARE(selected, left);
        QCOMPARE(selector->selectCount(), left.size());
    }
}

void TestMediaMgrActions::forwardMessageHandsTheItemsMessage()
{
    ResourceItem *item = (*m_items)("a/10");
    const QVariantMap options {{"comment", "see this"}};
    m_hub->forwardMessage(item, options);
    QCOMPARE(m_account->forwards.size(), 1);
    QCOMPARE(m_account->forwards.first().messages,
             (QList<QSharedPointer<MessageBase>> {item->msgDataPtr()}));
    QCOMPARE(m_account->forwards.first().options, options);
}

void TestMediaMgrActions::revokeInfoNamesTheWithdrawalValue()
{
    ResourceItem *item = (*m_items)("a/10", {CONTENT_PHOTO, 3});
    const QVariantMap expected {{"a", QVariantList {item->msgDataPtr()->revokeValue()}}};
    QCOMPARE(m_hub->revokeInfo(item), expected);
    QCOMPARE(m_account->calls(), 0);
}

void TestMediaMgrActions::deleteMessageSendsOneRecord()
{
    ResourceItem *item = (*m_items)("a/50.2", {CONTENT_PHOTO, 3});
    m_hub->deleteMessage(item, true);
    QCOMPARE(m_account->deletions.size(), 1);
    const RecordingAccount::Deletion &deletion = m_account->deletions.first();
    QVERIFY(deletion.bRevocable);
    QCOMPARE(deletion.records.keys(), QStringList {"a"});
    QCOMPARE(deletion.records.value("a").size(), 1);
    const DeletionRecord record = deletion.records.value("a").first();
    QCOMPARE(record.messageId, 2);
    QCOMPARE(record.senderId, 3);
    QCOMPARE(record.reserved, 0);
}

void TestMediaMgrActions::itemsWithoutMessageReachNothing()
{
    ResourceItem bare(QStringLiteral("a"), MessageKey(10, 0), 1000);
    m_hub->forwardMessage(nullptr, {});
    m_hub->forwardMessage(&bare, {});
    m_hub->deleteMessage(nullptr, true);
    m_hub->deleteMessage(&bare, false);
    QVERIFY(m_hub->revokeInfo(nullptr).isEmpty());
    QVERIFY(m_hub->revokeInfo(&bare).isEmpty());
    QCOMPARE(m_account->calls(), 0);
}

QTEST_GUILESS_MAIN(TestMediaMgrActions)
#include "tst_mediamgractions.moc"
