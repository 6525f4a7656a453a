#include "audiotestsupport.h"
#include "contenttype.h"
#include "mediaaudio.h"
#include "mediamgr.h"
#include "messagebase.h"
#include "resourceitem.h"

#include <QAbstractItemModelTester>
#include <QPointer>
#include <QSignalSpy>
#include <QtTest>

using namespace AudioTest;

namespace {

QList<qint64> idsOf(MediaAudio *list)
{
    QList<qint64> ids;
    for (int row = 0; row < list->count(); ++row) {
        ids << list->getResourceItem(row)->messageId();
    }
    return ids;
}

} // namespace

// The playlist of the player: a dialog's voice or music items around the message that started
// playback, which item follows which, fetching near the ends and the random bag.
class TestMediaAudio : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void singleMessageListIsReused();
    void listAroundMessageIsReusedForSameFilter();
    void otherFilterRebuildsList();
    void neighboursOfMiddleItem();
    void endsOfList();
    void prefetchNearEnds_data();
    void prefetchNearEnds();
    void singleListNeverPages();
    void loadBeforeAndAfterGrowTheList();
    void randomDrawsEachUnplayedItemOnce();
    void randomWithEmptyBagAvoidsExcluded();
    void randomWithOnlyExcludedReturnsLastDraw();
    void clearEmptiesTheList();

private:
    // Loads the list around message id and waits for its first page.
    void loadAround(qint64 id, int expectedCount, const SearchKey &key = SearchKey());

    std::unique_ptr<AudioAccount> m_fixture;
    MediaAudio *m_list = nullptr; // the hub's
    std::unique_ptr<QAbstractItemModelTester> m_tester;
};

void TestMediaAudio::init()
{
    m_fixture = std::make_unique<AudioAccount>();
    QVERIFY(m_fixture->isValid());
    m_list = m_fixture->hub()->mediaAudio();
    QVERIFY(m_list);
    m_tester = std::make_unique<QAbstractItemModelTester>(
            m_list, QAbstractItemModelTester::FailureReportingMode::QtTest);
}

void TestMediaAudio::cleanup()
{
    m_tester.reset();
    m_list = nullptr;
    m_fixture.reset();
}

void TestMediaAudio::loadAround(qint64 id, int expectedCount, const SearchKey &key)
{
    const QSharedPointer<MessageBase> msg = m_fixture->message(id);
    QVERIFY(msg);
    m_list->loadAroundMessage(msg.data(), key);
    QVERIFY(m_list->find(msg.data()));
    m_list->waitForFinish();
    QTRY_COMPARE(m_list->count(), expectedCount);
    QTRY_VERIFY(!m_list->isQuerying());
}

void TestMediaAudio::singleMessageListIsReused()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 3));
    const QSharedPointer<MessageBase> msg = m_fixture->message(2);
    m_list->loadWithMessage(msg.data());
    QCOMPARE(m_list->count(), 1);
    QVERIFY(m_list->isSingleMode());
    QPointer<ResourceItem> item = m_list->find(msg.data());
    QVERIFY(item);
    QSignalSpy resets(m_list, &QAbstractItemModel::modelReset);

    m_list->loadWithMessage(msg.data());
    QCOMPARE(resets.size(), 0);
    QCOMPARE(m_list->find(msg.data()), item.data());

    m_list->loadWithMessage(m_fixture->message(3).data());
    QCOMPARE(resets.size(), 1);
    QVERIFY(item.isNull());
    QCOMPARE(idsOf(m_list), QList<qint64>({3}));
}

void TestMediaAudio::listAroundMessageIsReusedForSameFilter()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 5));
    loadAround(3, 5);
    QCOMPARE(idsOf(m_list), QList<qint64>({5, 4, 3, 2, 1}));
    QSignalSpy resets(m_list, &QAbstractItemModel::modelReset);
    QSignalSpy querying(m_list, &MediaAudio::isQueryingChanged);

    m_list->loadAroundMessage(m_fixture->message(3).data(), SearchKey());
    m_list->loadAroundMessage(m_fixture->message(5).data(), SearchKey());
    QCOMPARE(resets.size(), 0);
    QCOMPARE(querying.size(), 0);
    QCOMPARE(m_list->count(), 5);
    QVERIFY(!m_list->isSingleMode());
}

void TestMediaAudio::otherFilterRebuildsList()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 3));
    loadAround(2, 3);
    QSignalSpy resets(m_list, &QAbstractItemModel::modelReset);
    SearchKey recent;
    recent.startTime = BaseTime + 2000;
    loadAround(2, 2, recent);
    QCOMPARE(resets.size(), 1);
    QCOMPARE(idsOf(m_list), QList<qint64>({3, 2}));
    QCOMPARE(m_list->searchKey(), recent);
}

void TestMediaAudio::neighboursOfMiddleItem()
{
    QVERIFY(m_fixture->addMessages(CONTENT_MUSIC, 1, 3));
    loadAround(2, 3);
    ResourceItem *middle = m_list->find(m_fixture->message(2).data());
    QVERIFY(middle);
    QCOMPARE(m_list->next(middle)->messageId(), 1);
    QCOMPARE(m_list->previous(middle)->messageId(), 3);
    QCOMPARE(m_list->contentType(), int(CONTENT_MUSIC));
    QCOMPARE(m_list->dialogId(), QStringLiteral("d"));
}

void TestMediaAudio::endsOfList()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 3));
    loadAround(2, 3);
    QCOMPARE(m_list->first()->messageId(), 3);
    QCOMPARE(m_list->last()->messageId(), 1);
    QCOMPARE(m_list->next(m_list->last()), nullptr);
    QCOMPARE(m_list->previous(m_list->first()), nullptr);
    QCOMPARE(m_list->itemAt(3), nullptr);
    ResourceItem stranger(QStringLiteral("d"), MessageKey(99, 0), BaseTime);
    QCOMPARE(m_list->next(&stranger), nullptr);
    QCOMPARE(m_list->next(nullptr), nullptr);
}

// 130 voices: around the newest the list holds the 100 newest; around id 30 it holds all, the
// anchor at position 100.
void TestMediaAudio::prefetchNearEnds_data()
{
    QTest::addColumn<qint64>("anchor");
    QTest::addColumn<int>("loaded");
    QTest::addColumn<bool>("forward");
    QTest::addColumn<int>("position");
    QTest::addColumn<bool>("fetches");

    QTest::newRow("next with four left after the answer fetches older")
            << qint64(130) << 100 << true << 100 - 6 << true;
    QTest::newRow("next with five left after the answer waits")
            << qint64(130) << 100 << true << 100 - 7 << false;
    QTest::newRow("next past the last fetches older") << qint64(130) << 100 << true << 99 << true;
    QTest::newRow("previous answering position 4 fetches newer")
            << qint64(30) << 130 << false << 5 << true;
    QTest::newRow("previous answering position 5 waits")
            << qint64(30) << 130 << false << 6 << false;
}

void TestMediaAudio::prefetchNearEnds()
{
    QFETCH(qint64, anchor);
    QFETCH(int, loaded);
    QFETCH(bool, forward);
    QFETCH(int, position);
    QFETCH(bool, fetches);

    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 130));
    loadAround(anchor, loaded);
    ResourceItem *item = m_list->getResourceItem(position);
    QVERIFY(item);
    const int answer = forward ? position + 1 : position - 1;
    ResourceItem *expected = m_list->getResourceItem(answer);
    QCOMPARE(forward ? m_list->next(item) : m_list->previous(item), expected);
    // A page request raises the flag before the call returns.
    QCOMPARE(m_list->isQuerying(), fetches);
    m_list->waitForFinish();
    if (fetches && forward) {
        QTRY_COMPARE(m_list->count(), 130);
        QCOMPARE(m_list->last()->messageId(), 1);
    }
}

void TestMediaAudio::singleListNeverPages()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 10));
    m_list->loadWithMessage(m_fixture->message(5).data());
    ResourceItem *only = m_list->find(m_fixture->message(5).data());
    QCOMPARE(m_list->next(only), nullptr);
    QCOMPARE(m_list->previous(only), nullptr);
    m_list->loadBefore();
    m_list->loadAfter();
    QVERIFY(!m_list->isQuerying());
    QCOMPARE(m_list->count(), 1);
}

void TestMediaAudio::loadBeforeAndAfterGrowTheList()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 250));
    loadAround(125, 200);
    QCOMPARE(m_list->first()->messageId(), 225);
    QCOMPARE(m_list->last()->messageId(), 26);

    m_list->loadBefore();
    m_list->waitForFinish();
    QTRY_COMPARE(m_list->count(), 225);
    QCOMPARE(m_list->last()->messageId(), 1);

    m_list->loadAfter();
    m_list->waitForFinish();
    QTRY_COMPARE(m_list->count(), 250);
    QCOMPARE(m_list->first()->messageId(), 250);
}

void TestMediaAudio::randomDrawsEachUnplayedItemOnce()
{
    QVERIFY(m_fixture->addMessages(CONTENT_MUSIC, 1, 4));
    loadAround(2, 4);
    QVERIFY(m_list->find(m_fixture->message(2).data()));
    QCOMPARE(m_list->unplayedCount(), 3);

    QList<qint64> drawn;
    for (int draw = 0; draw < 3; ++draw) {
        ResourceItem *item = m_list->random(2);
        QVERIFY(item);
        drawn << item->messageId();
    }
    std::sort(drawn.begin(), drawn.end());
    QCOMPARE(drawn, QList<qint64>({1, 3, 4}));
    QCOMPARE(m_list->unplayedCount(), 0);
}

void TestMediaAudio::randomWithEmptyBagAvoidsExcluded()
{
    QVERIFY(m_fixture->addMessages(CONTENT_MUSIC, 1, 2));
    loadAround(2, 2);
    m_list->first();
    m_list->last();
    QCOMPARE(m_list->unplayedCount(), 0);
    for (int draw = 0; draw < 20; ++draw) {
        ResourceItem *item = m_list->random(2);
        QVERIFY(item);
        QVERIFY(item->messageId() == 1 || item->messageId() == 2);
    }
}

void TestMediaAudio::randomWithOnlyExcludedReturnsLastDraw()
{
    QVERIFY(m_fixture->addMessages(CONTENT_MUSIC, 1, 1));
    m_list->loadWithMessage(m_fixture->message(1).data());
    QVERIFY(m_list->find(m_fixture->message(1).data()));
    ResourceItem *item = m_list->random(1);
    QVERIFY(item);
    QCOMPARE(item->messageId(), 1);
}

void TestMediaAudio::clearEmptiesTheList()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 3));
    loadAround(2, 3);
    m_list->clear();
    QCOMPARE(m_list->count(), 0);
    QCOMPARE(m_list->dialogId(), QString());
    QCOMPARE(m_list->unplayedCount(), 0);
    m_list->loadBefore();
    QVERIFY(!m_list->isQuerying());
}

QTEST_GUILESS_MAIN(TestMediaAudio)
#include "tst_mediaaudio.moc"
