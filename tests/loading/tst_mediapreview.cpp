#include "accountbase.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "hubteardown.h"
#include "im.pb.h"
#include "mediainfo.h"
#include "mediamgr.h"
#include "mediapreview.h"
#include "messagebase.h"
#include "resourceitem.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr qint64 BaseTime = 1700000000000;
constexpr int ItemCount = 500;
// Three photos share each instant, so that every trim meets a run it must not split.
constexpr int PerInstant = 3;

qint64 timeOf(qint64 id)
{
    return BaseTime + (id - 1) / PerInstant * 1000;
}

im::Message photo(const std::string &dialogId, qint64 id, qint64 time)
{
    im::Message m;
    m.set_dialog_id(dialogId);
    m.set_msg_id(id);
    m.set_type(id % 5 == 0 ? CONTENT_VIDEO : CONTENT_PHOTO);
    m.set_time(time);
    m.set_sender_id(7);
    m.mutable_file()->set_file_id(dialogId + "-f" + std::to_string(id));
    m.mutable_file()->set_suffix("jpg");
    m.mutable_file()->set_size(100);
    return m;
}

} // namespace

// The full-screen viewer's window: stepping both ways over a large dialog, its prefetches and
// trims, and the hub keeping it current.
class TestMediaPreview : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void opensOnTheItem_data();
    void opensOnTheItem();
    void prefetchThresholds_data();
    void prefetchThresholds();
    void walksTheWholeDialogBothWays();
    void indexNoticesFollowTrimsOnArrival();
    void searchPreviewKeepsEverything();
    void hubInsertsAndRemoves();
    void closedPreviewTakesNothing();

private:
    MediaPreview *preview() const { return m_hub->mediaPreview(); }
    void openAt(qint64 messageId, const SearchKey &key = SearchKey(), bool global = false);
    void waitIdle();
    // Steps until the end of the dialog in one direction; returns the message ids shown.
    QList<qint64> walk(bool older);
    void verifyTrimmedEndOnInstants(bool walkingOlder) const;
    ResourceItem *heldItem(qint64 messageId) const;

    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
    MediaMgr *m_hub = nullptr; // child of the account
    std::unique_ptr<QAbstractItemModelTester> m_tester;
};

void TestMediaPreview::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_account = std::make_unique<AccountBase>(1, m_dir.path());
    QVERIFY(m_account->storeDialog("a", "a", DIALOG_PRIVATE, BaseTime));
    QVERIFY(m_account->storeDialog("b", "b", DIALOG_PRIVATE, BaseTime));
    QList<im::Message> messages;
    for (qint64 id = 1; id <= ItemCount; ++id) {
        messages.append(photo("a", id, timeOf(id)));
        messages.append(photo("b", id, timeOf(id) + 500));
    }
    QVERIFY(m_account->storeMessages(messages));
    m_hub = new MediaMgr(m_account.get());
}

void TestMediaPreview::cleanupTestCase()
{
    closeHub(m_hub);
    m_account.reset();
}

void TestMediaPreview::init()
{
    m_tester = std::make_unique<QAbstractItemModelTester>(
            preview(), QAbstractItemModelTester::FailureReportingMode::QtTest);
}

void TestMediaPreview::cleanup()
{
    preview()->quitView();
    m_tester.reset();
}

void TestMediaPreview::openAt(qint64 messageId, const SearchKey &key, bool global)
{
    const QSharedPointer<MessageBase> msg =
            m_account->dialog("a")->messages({MessageKey(messageId, 0)}).value(0);
    QVERIFY(msg);
    preview()->loadFirstByMsg(msg.data(), key, global);
    waitIdle();
    QVERIFY(preview()->resourceItem());
    QCOMPARE(preview()->resourceItem()->messageId(), messageId);
}

void TestMediaPreview::waitIdle()
{
    preview()->waitForFinish();
    QTRY_VERIFY(!preview()->isQuerying());
    QCoreApplication::sendPostedEvents();
}

QList<qint64> TestMediaPreview::walk(bool older)
{
    QList<qint64> shown {preview()->resourceItem()->messageId()};
    forever {
        if (!(older ? preview()->hasPrevious() : preview()->hasNext())) {
            waitIdle();
            if (!(older ? preview()->hasPrevious() : preview()->hasNext())) {
                return shown;
            }
        }
        older ? preview()->previousItem() : preview()->nextItem();
        shown.append(preview()->resourceItem()->messageId());
        verifyTrimmedEndOnInstants(older);
        if (QTest::currentTestFailed() || preview()->count() > 260) {
            return {};
        }
    }
}

// The end the user moves away from is only ever trimmed, never loaded; it never falls inside a
// run of one instant.
void TestMediaPreview::verifyTrimmedEndOnInstants(bool walkingOlder) const
{
    if (walkingOlder) {
        const ResourceItem *newest = preview()->itemByIndex(0);
        QVERIFY2(newest->messageId() == ItemCount
                         || timeOf(newest->messageId() + 1) != newest->dateTime(),
                 "the newer side was cut inside an instant");
    } else {
        const ResourceItem *oldest = preview()->itemByIndex(preview()->count() - 1);
        QVERIFY2(oldest->messageId() == 1 || timeOf(oldest->messageId() - 1) != oldest->dateTime(),
                 "the older side was cut inside an instant");
    }
}

ResourceItem *TestMediaPreview::heldItem(qint64 messageId) const
{
    for (int row = 0; row < preview()->count(); ++row) {
        if (preview()->itemByIndex(row)->messageId() == messageId) {
            return preview()->itemByIndex(row);
        }
    }
    return nullptr;
}

void TestMediaPreview::opensOnTheItem_data()
{
    QTest::addColumn<qint64>("messageId");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("currentIndex");
    QTest::addColumn<bool>("hasNext");
    QTest::addColumn<bool>("hasPrevious");
    QTest::newRow("newest: nothing newer") << qint64(ItemCount) << 50 << 0 << false << true;
    QTest::newRow("oldest: nothing older") << qint64(1) << 51 << 50 << true << false;
    QTest::newRow("middle: half a window each side") << qint64(252) << 100 << 50 << true << true;
}

void TestMediaPreview::opensOnTheItem()
{
    QFETCH(qint64, messageId);
    QFETCH(int, count);
    QFETCH(int, currentIndex);
    QFETCH(bool, hasNext);
    QFETCH(bool, hasPrevious);
    openAt(messageId);
    QCOMPARE(preview()->count(), count);
    QCOMPARE(preview()->currentIndex(), currentIndex);
    QCOMPARE(preview()->hasNext(), hasNext);
    QCOMPARE(preview()->hasPrevious(), hasPrevious);
    QCOMPARE(preview()->dialogId(), QStringLiteral("a"));
    QCOMPARE(preview()->listType(), int(CONTENT_PHOTO));

    // At an end, stepping past it does nothing.
    QSignalSpy indexSpy(preview(), &MediaPreview::currentIndexChanged);
    if (!hasNext) {
        preview()->nextItem();
    }
    if (!hasPrevious) {
        preview()->previousItem();
    }
    QCOMPARE(preview()->currentIndex(), currentIndex);
    QCOMPARE(indexSpy.count(), 0);
}

void TestMediaPreview::prefetchThresholds_data()
{
    QTest::addColumn<bool>("older");
    QTest::addColumn<qint64>("openAt");
    QTest::addColumn<int>("quietSteps");
    QTest::addColumn<int>("countAfterLoad");
    // 50 held from index 0: at index 24 there are 25 beyond (no load), at 25 only 24.
    QTest::newRow("older: loads once fewer than a quarter window lie beyond")
            << true << qint64(ItemCount) << 25 << 150;
    // 51 held, shown at 50: nearing index 24 from above, 25 is the last index that stays quiet.
    QTest::newRow("newer: loads once the index drops below a quarter window")
            << false << qint64(1) << 26 << 151;
}

void TestMediaPreview::prefetchThresholds()
{
    QFETCH(bool, older);
    QFETCH(qint64, openAt);
    QFETCH(int, quietSteps);
    QFETCH(int, countAfterLoad);
    this->openAt(openAt);
    const int heldAtOpening = preview()->count();
    for (int step = 0; step < quietSteps; ++step) {
        older ? preview()->previousItem() : preview()->nextItem();
    }
    waitIdle();
    QCOMPARE(preview()->count(), heldAtOpening);
    const qint64 shown = preview()->resourceItem()->messageId();

    older ? preview()->previousItem() : preview()->nextItem();
    waitIdle();
    QCOMPARE(preview()->count(), countAfterLoad);
    // A page arriving on the newer side moves the index, never the item shown.
    QCOMPARE(preview()->resourceItem()->messageId(), older ? shown - 1 : shown + 1);
    QCOMPARE(preview()->itemByIndex(preview()->currentIndex()), preview()->resourceItem());
}

// Each item of the dialog appears once, in order, whichever way the user steps, although the
// window is trimmed and reloaded on the way.
void TestMediaPreview::walksTheWholeDialogBothWays()
{
    openAt(ItemCount);
    QList<qint64> expected;
    for (qint64 id = ItemCount; id >= 1; --id) {
        expected.append(id);
    }
    QCOMPARE(walk(true), expected);
    QVERIFY(preview()->count() <= 2 * preview()->windowSize());
    std::reverse(expected.begin(), expected.end());
    QCOMPARE(walk(false), expected);
    QVERIFY(preview()->count() <= 2 * preview()->windowSize());
}

// Steps taken while a page loads cannot trim; the page trims when it arrives, and the index it
// moves is announced like every other change, so a view bound to it stays on the item shown.
// A window of 60 lets the user pass its trimming point while a page is on its way.
void TestMediaPreview::indexNoticesFollowTrimsOnArrival()
{
    MediaPreview preview(m_account.get(), 60);
    QAbstractItemModelTester tester(&preview,
                                    QAbstractItemModelTester::FailureReportingMode::QtTest);
    const QSharedPointer<MessageBase> newest =
            m_account->dialog("a")->messages({MessageKey(ItemCount, 0)}).value(0);
    QVERIFY(newest);
    preview.loadFirstByMsg(newest.data());
    const auto waitForPage = [&preview] {
        preview.waitForFinish();
        QTRY_VERIFY(!preview.isQuerying());
        QCoreApplication::sendPostedEvents();
    };
    waitForPage();
    int announced = preview.currentIndex();
    connect(&preview, &MediaPreview::currentIndexChanged, this,
            [&preview, &announced] { announced = preview.currentIndex(); });
    bool stepping = false;
    int trimsOnArrival = 0;
    connect(&preview, &QAbstractItemModel::rowsRemoved, this,
            [&](const QModelIndex &, int first) { trimsOnArrival += !stepping && first == 0; });
    // Holding the arrow key: a page arrives only once the user stands on the last item held.
    for (int step = 0; step < 300; ++step) {
        if (!preview.hasPrevious()) {
            waitForPage();
            QCOMPARE(announced, preview.currentIndex());
        }
        stepping = true;
        preview.previousItem();
        stepping = false;
        QCOMPARE(announced, preview.currentIndex());
        QCOMPARE(preview.resourceItem()->messageId(), qint64(ItemCount - step - 1));
    }
    QVERIFY(trimsOnArrival > 0);
}

// A search across dialogs is never trimmed: its pages could not be fetched again.
void TestMediaPreview::searchPreviewKeepsEverything()
{
    openAt(ItemCount, SearchKey(), true);
    QVERIFY(preview()->dialogId().isEmpty());
    // Both dialogs' items interleave by time: the other dialog's two of a later instant first.
    QCOMPARE(preview()->currentIndex(), 2);
    QCOMPARE(preview()->itemByIndex(0)->dialogId(), QStringLiteral("b"));
    QCOMPARE(preview()->itemByIndex(3)->dialogId(), QStringLiteral("a"));
    int largest = 0;
    for (int step = 0; step < 400; ++step) {
        if (!preview()->hasPrevious()) {
            waitIdle();
        }
        preview()->previousItem();
        QVERIFY(preview()->count() >= largest);
        largest = preview()->count();
    }
    QVERIFY(largest > 400);
}

void TestMediaPreview::hubInsertsAndRemoves()
{
    openAt(ItemCount);
    ResourceItem *shown = preview()->resourceItem();
    QSignalSpy itemSpy(preview(), &MediaPreview::resourceItemChanged);
    QSignalSpy nextSpy(preview(), &MediaPreview::hasNextChanged);

    // A new photo is newer than everything held: the shown item stays, one step down.
    const im::Message proto = photo("a", ItemCount + 1, timeOf(ItemCount) + 60000);
    QVERIFY(m_account->storeMessages({proto}));
    const QSharedPointer<MessageBase> msg(
            new MessageBase(proto, m_account->fileManager(), m_account->userId()));
    m_hub->saveResources("a", {MediaInfo {msg, proto.time(), proto.msg_id(), 0, false}}, false);
    QTRY_COMPARE(preview()->count(), 51);
    QCOMPARE(preview()->currentIndex(), 1);
    QCOMPARE(preview()->resourceItem(), shown);
    QCOMPARE(itemSpy.count(), 0);
    QCOMPARE(nextSpy.count(), 1);

    // The shown message is deleted: the next older item takes its place.
    m_hub->removeResource("a", QList<qint64> {ItemCount}, true);
    QTRY_COMPARE(preview()->count(), 50);
    QCOMPARE(itemSpy.count(), 1);
    QCOMPARE(preview()->currentIndex(), 1);
    QCOMPARE(preview()->resourceItem()->messageId(), qint64(ItemCount - 1));

    // A range deletion and a history clear reach it too; another dialog's do not.
    m_hub->removeResource("b", MessageIdRange(1, ItemCount), true);
    m_hub->removeResource("a", MessageIdRange(ItemCount - 5, ItemCount - 3), true);
    QTRY_COMPARE(preview()->count(), 47);
    QVERIFY(!heldItem(ItemCount - 4));
    m_hub->clearMediaModel("a", ItemCount - 10, false);
    QTRY_COMPARE(preview()->count(), 7);
    QCOMPARE(preview()->currentIndex(), 1);
    QCOMPARE(preview()->resourceItem()->messageId(), qint64(ItemCount - 1));
}

void TestMediaPreview::closedPreviewTakesNothing()
{
    openAt(ItemCount);
    preview()->quitView();
    QVERIFY(preview()->dialogId().isEmpty());
    const int held = preview()->count();
    const im::Message proto = photo("a", ItemCount + 2, timeOf(ItemCount) + 120000);
    const QSharedPointer<MessageBase> msg(
            new MessageBase(proto, m_account->fileManager(), m_account->userId()));
    m_hub->saveResources("a", {MediaInfo {msg, proto.time(), proto.msg_id(), 0, false}}, true);
    m_hub->saveResources("a", {MediaInfo {msg, proto.time(), proto.msg_id(), 0, false}}, false);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(preview()->count(), held);
}

QTEST_MAIN(TestMediaPreview)
#include "tst_mediapreview.moc"
