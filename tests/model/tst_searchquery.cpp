#include "searchmodel.h"
#include "searchsinglequery.h"

#include <QSemaphore>
#include <QThread>
#include <QThreadPool>
#include <QtTest>
#include <atomic>

namespace {

// Loads pages out of a pretend table of `total` rows; a page may be held until released.
class PagingModel : public SearchModel
{
public:
    explicit PagingModel(SearchQuery *query, int total)
        : SearchModel(query)
        , m_total(total)
    { }

    ResultCount onLoadingData(const SearchKey &key, int count, int offset) override
    {
        Q_UNUSED(key)
        workerThread = QThread::currentThread();
        if (holdPages) {
            m_hold.acquire();
        }
        sawQuit = isQuit();
        const int loaded = qBound(0, m_total - offset, count);
        offsets.append(offset);
        return {loaded < count ? loaded : count, loaded};
    }
    void onFinished() override { ++finished; }
    void setIsQuerying(bool querying) override { querying ? ++starts : ++ends; }
    void release() { m_hold.release(); }

    std::atomic<bool> holdPages {false};
    std::atomic<bool> sawQuit {false};
    std::atomic<int> finished {0};
    std::atomic<int> starts {0};
    std::atomic<int> ends {0};
    std::atomic<QThread *> workerThread {nullptr};
    QList<int> offsets; // written on the worker, read after waitForFinish

private:
    const int m_total;
    QSemaphore m_hold;
};

} // namespace

class TestSearchQuery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pagesRunOnThePoolAndAdvance();
    void loadMoreIsDroppedWhileAPageRuns();
    void quitReachesTheRunningPage();
    void newSearchStartsOver();
    void resetForgetsTheKey();
};

void TestSearchQuery::pagesRunOnThePoolAndAdvance()
{
    QThreadPool pool;
    SearchSingleQuery query;
    PagingModel model(&query, 25);
    query.setSearchModel(&model);
    query.setThreadPool(&pool);
    SearchKey key;
    key.keyword = "sea";
    query.search(key, 10);
    query.waitForFinish();
    QVERIFY(model.workerThread.load() != QThread::currentThread());
    QVERIFY(query.loadMore(10));
    query.waitForFinish();
    QVERIFY(query.loadMore(10));
    query.waitForFinish();
    QCOMPARE(model.offsets, (QList<int> {0, 10, 20}));
    QCOMPARE(query.offset(), 25);
    QVERIFY2(!query.hasMore(), "a short page ends the search");
    QVERIFY(!query.loadMore(10));
    QCOMPARE(model.finished.load(), 3);
    QCOMPARE(model.starts.load(), 3);
    QCOMPARE(model.ends.load(), 3);
    QCOMPARE(query.searchKey(), key);
}

void TestSearchQuery::loadMoreIsDroppedWhileAPageRuns()
{
    SearchSingleQuery query;
    PagingModel model(&query, 100);
    query.setSearchModel(&model);
    model.holdPages = true;
    query.search(SearchKey(), 10);
    QTRY_VERIFY(query.isRunning());
    QVERIFY(!query.loadMore(10));
    model.release();
    query.waitForFinish();
    QCOMPARE(model.offsets, (QList<int> {0}));
}

void TestSearchQuery::quitReachesTheRunningPage()
{
    SearchSingleQuery query;
    PagingModel model(&query, 100);
    query.setSearchModel(&model);
    model.holdPages = true;
    query.search(SearchKey(), 10);
    query.quit();
    model.release();
    query.waitForFinish();
    QVERIFY(model.sawQuit.load());
    QVERIFY2(!query.loadMore(10), "a quit search starts no page");
    QCOMPARE(query.offset(), 0);
}

void TestSearchQuery::newSearchStartsOver()
{
    SearchSingleQuery query;
    PagingModel model(&query, 100);
    query.setSearchModel(&model);
    query.search(SearchKey(), 30);
    query.waitForFinish();
    SearchKey other;
    other.senderIds = {5};
    query.search(other, 30);
    query.waitForFinish();
    QCOMPARE(model.offsets, (QList<int> {0, 0}));
    QCOMPARE(query.searchKey(), other);
}

void TestSearchQuery::resetForgetsTheKey()
{
    SearchSingleQuery query;
    PagingModel model(&query, 100);
    query.setSearchModel(&model);
    SearchKey key;
    key.keyword = "x";
    query.search(key, 10);
    query.reset();
    QVERIFY(query.searchKey().isEmpty());
    QVERIFY(!query.isQuit());
    QCOMPARE(query.offset(), 0);
}

QTEST_GUILESS_MAIN(TestSearchQuery)
#include "tst_searchquery.moc"
