#include "accountbase.h"
#include "contenttype.h"
#include "itempoint.h"
#include "mediamodel.h"
#include "mediasearch.h"
#include "mediatestsupport.h"
#include "messageidrange.h"
#include "resourceitem.h"
#include "resourcemodel.h"
#include "serverhistory.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using MediaTest::canonical;
using MediaTest::labelOf;

namespace {

im::Message media(const QString &dialogId, qint64 id, int type, const QString &name, qint64 sender)
{
    im::Message m;
    m.set_dialog_id(dialogId.toStdString());
    m.set_msg_id(id);
    m.set_type(type);
    m.set_time(id * 1000);
    m.set_sender_id(sender);
    m.mutable_file()->set_file_id(dialogId.toStdString() + "f" + std::to_string(id));
    m.mutable_file()->set_suffix("jpg");
    m.mutable_file()->set_size(1000 + id);
    m.mutable_file()->set_name(name.toStdString());
    return m;
}

// The items of a flat or sectioned model, top to bottom.
QStringList rows(ResourceModel &model)
{
    QStringList out;
    if (!qobject_cast<MediaModel *>(&model)) {
        for (int row = 0; row < model.resourceCount(); ++row) {
            out.append(labelOf(model.getResourceItem(row)));
        }
        return out;
    }
    model.foreachItem(ItemPoint(0, 0), ItemPoint(model.count() - 1, model.resourceCount()),
                      ItemPoint(-1, -1), [&out](ResourceItem *item) {
                          if (item) {
                              out.append(labelOf(item));
                          }
                      });
    return out;
}

} // namespace

// Searches by keyword, sender and time in one dialog or across dialogs, with the hits in the
// model of their type.
class TestMediaSearch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void search_data();
    void search();
    void sameSearchStartsOnce();
    void senderOnlyForUserId_data();
    void senderOnlyForUserId();
    void emptyKeyStartsNothing();
    void searchModelByType();
    void globalSearchIsFlat();
    void deletionsReachCurrentModel();
    void quitDiscardsThePage();
    void firstPageWithoutHitsPagesOn_data();
    void firstPageWithoutHitsPagesOn();
    void dialogSearchAfterGlobalSearch();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
};

void TestMediaSearch::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_account = std::make_unique<AccountBase>(1, m_dir.path());
    QVERIFY(m_account->isValid());
    QVERIFY(m_account->storeDialog("a", "a", DIALOG_PRIVATE, 1000));
    QVERIFY(m_account->storeDialog("b", "b", DIALOG_PRIVATE, 1000));
    QList<im::Message> messages;
    for (int id = 1; id <= 6; ++id) {
        messages.append(media("a", id, id == 6 ? CONTENT_VIDEO : CONTENT_PHOTO,
                              QStringLiteral("%1 %2.jpg").arg(id % 2 ? "beach" : "city").arg(id),
                              id <= 3 ? 8 : 7));
    }
    messages.append(media("a", 7, CONTENT_FILE, "beach plan.pdf", 7));
    messages.append(media("a", 8, CONTENT_FILE, "budget.pdf", 8));
    messages.append(media("b", 10, CONTENT_PHOTO, "beach b.jpg", 7));
    messages.append(media("b", 11, CONTENT_PHOTO, "city b.jpg", 7));
    // r: 150 photos of sender 9, the newest hundred of them without a file, so never shown.
    QVERIFY(m_account->storeDialog("r", "r", DIALOG_PRIVATE, 1000));
    for (int id = 1; id <= 150; ++id) {
        messages.append(media("r", id, CONTENT_PHOTO, QStringLiteral("r %1.jpg").arg(id), 9));
        if (id > 50) {
            messages.last().clear_file();
        }
    }
    QVERIFY(m_account->storeMessages(messages));
    QVERIFY(ServerHistory(m_dir.filePath("server.db")).store(messages));
}

void TestMediaSearch::search_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("keyword");
    QTest::addColumn<qint64>("userId");
    QTest::addColumn<qint64>("endTime");
    QTest::addColumn<bool>("online");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("keyword from the server")
            << 2 << "beach" << qint64(0) << qint64(0) << true << canonical({"a/5", "a/3", "a/1"});
    QTest::newRow("keyword from local rows")
            << 2 << "beach" << qint64(0) << qint64(0) << false << canonical({"a/5", "a/3", "a/1"});
    QTest::newRow("sender") << 2 << "" << qint64(8) << qint64(0) << true
                            << canonical({"a/3", "a/2", "a/1"});
    QTest::newRow("from a time on the server") << 2 << "" << qint64(0) << qint64(4500) << true
                                               << canonical({"a/4", "a/3", "a/2", "a/1"});
    QTest::newRow("from a time in local rows") << 5 << "" << qint64(0) << qint64(4500) << false
                                               << canonical({"a/4", "a/3", "a/2", "a/1"});
    QTest::newRow("files by keyword")
            << 6 << "beach" << qint64(0) << qint64(0) << true << canonical({"a/7"});
}

void TestMediaSearch::search()
{
    QFETCH(int, type);
    QFETCH(QString, keyword);
    QFETCH(qint64, userId);
    QFETCH(qint64, endTime);
    QFETCH(bool, online);
    QFETCH(QStringList, expected);
    m_account->setOnline(online);
    MediaSearch search(m_account.get(), false, {});
    search.searchMediaInfo("a", type, keyword, userId, 0, endTime);
    search.waitForFinish();
    m_account->setOnline(true);
    QTRY_VERIFY(!search.isQuerying());
    QTRY_COMPARE(rows(*search.currentModel()), expected);
    QCOMPARE(search.currentModel(), search.searchModel(type == 6 ? 6 : 2));
}

void TestMediaSearch::sameSearchStartsOnce()
{
    MediaSearch search(m_account.get(), false, {});
    QSignalSpy spy(&search, &MediaSearch::isQueryingChanged);
    search.searchMediaInfo("a", 2, "city");
    QTRY_VERIFY(!search.isQuerying());
    QCOMPARE(spy.count(), 2);
    search.searchMediaInfo("a", 2, "city");
    QCoreApplication::processEvents();
    QCOMPARE(spy.count(), 2);
    search.searchMediaInfo("a", 6, "city");
    QTRY_COMPARE(spy.count(), 4);
}

void TestMediaSearch::senderOnlyForUserId_data()
{
    QTest::addColumn<qint64>("userId");
    QTest::addColumn<QList<qint64>>("senders");
    QTest::newRow("keyword only") << qint64(0) << QList<qint64>();
    QTest::newRow("with a sender") << qint64(8) << QList<qint64> {8};
}

void TestMediaSearch::senderOnlyForUserId()
{
    QFETCH(qint64, userId);
    QFETCH(QList<qint64>, senders);
    MediaSearch search(m_account.get(), false, {});
    search.searchMediaInfo("a", 2, "city", userId, 0, 0, "src");
    search.waitForFinish();
    QCOMPARE(search.searchFilter().senderIds, senders);
    QCOMPARE(search.searchFilter().keyword, QStringLiteral("city"));
    QCOMPARE(search.searchFilter().sourceDlgId, QStringLiteral("src"));
}

void TestMediaSearch::emptyKeyStartsNothing()
{
    MediaSearch search(m_account.get(), false, {});
    QSignalSpy spy(&search, &MediaSearch::isQueryingChanged);
    search.searchMediaInfo("a", 2, QString());
    QCoreApplication::processEvents();
    QCOMPARE(spy.count(), 0);
}

void TestMediaSearch::searchModelByType()
{
    MediaSearch search(m_account.get(), false, {});
    ResourceModel *media = search.searchModel(2);
    QVERIFY(qobject_cast<MediaModel *>(media));
    ResourceModel *other = search.searchModel(5);
    QVERIFY(other != media);
    QCOMPARE(other->type(), 5);
    search.searchMediaInfo("a", 5, "beach");
    search.waitForFinish();
    QCOMPARE(search.currentModel(), media);
}

void TestMediaSearch::globalSearchIsFlat()
{
    MediaSearch search(m_account.get(), true, {"a", "b"});
    QVERIFY(search.isGlobalSearch());
    QVERIFY(!qobject_cast<MediaModel *>(search.searchModel(2)));
    search.searchMediaInfo(QString(), 2, "beach");
    search.waitForFinish();
    QTRY_COMPARE(rows(*search.currentModel()), canonical({"b/10", "a/5", "a/3", "a/1"}));
}

void TestMediaSearch::deletionsReachCurrentModel()
{
    MediaSearch search(m_account.get(), false, {});
    search.searchMediaInfo("a", 6, "", 7);
    search.waitForFinish();
    QTRY_COMPARE(rows(*search.currentModel()), canonical({"a/7"}));
    search.removeOne("a", 7);
    QCOMPARE(search.currentModel()->resourceCount(), 0);
}

void TestMediaSearch::quitDiscardsThePage()
{
    MediaSearch search(m_account.get(), false, {});
    search.searchMediaInfo("a", 2, "beach");
    search.quitSearch();
    search.waitForFinish();
    QCoreApplication::processEvents();
    QCOMPARE(search.currentModel()->resourceCount(), 0);
}

void TestMediaSearch::firstPageWithoutHitsPagesOn_data()
{
    QTest::addColumn<bool>("online");
    QTest::newRow("hits from the server") << true;
    QTest::newRow("offline, hits from local rows") << false;
}

// The first page of r shows nothing, every hit on it being unshowable; the next page goes on to
// the older hits instead of asking for the newest again.
void TestMediaSearch::firstPageWithoutHitsPagesOn()
{
    QFETCH(bool, online);
    m_account->setOnline(online);
    MediaSearch search(m_account.get(), false, {});
    search.searchMediaInfo("r", CONTENT_PHOTO, QString(), 9);
    search.waitForFinish();
    QTRY_VERIFY(!search.isQuerying());
    QCOMPARE(search.currentModel()->resourceCount(), 0);

    search.loadBefore(50);
    search.waitForFinish();
    m_account->setOnline(true);
    QTRY_VERIFY(!search.isQuerying());
    QStringList older;
    for (int id = 50; id >= 1; --id) {
        older.append(QStringLiteral("r/%1").arg(id));
    }
    QTRY_COMPARE(rows(*search.currentModel()), canonical(older));
}

// A search across dialogs leaves the next search of one dialog to that dialog alone.
void TestMediaSearch::dialogSearchAfterGlobalSearch()
{
    MediaSearch search(m_account.get(), false, {});
    SearchKey key;
    key.keyword = QStringLiteral("beach");
    search.searchMediaInfo("a", CONTENT_PHOTO, key, true);
    search.waitForFinish();
    QVERIFY(search.isGlobalSearch());
    QTRY_COMPARE(rows(*search.currentModel()), canonical({"b/10", "a/5", "a/3", "a/1"}));

    key.keyword = QStringLiteral("beac");
    search.searchMediaInfo("a", CONTENT_PHOTO, key, false);
    search.waitForFinish();
    QVERIFY(!search.isGlobalSearch());
    QTRY_COMPARE(rows(*search.currentModel()), canonical({"a/5", "a/3", "a/1"}));
}

QTEST_GUILESS_MAIN(TestMediaSearch)
#include "tst_mediasearch.moc"
