#include "accountbase.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "dialogstorage.h"
#include "fileitem.h"
#include "filemanager.h"
#include "filereferencestorage.h"
#include "im_chat.pb.h"
#include "medialoader.h"
#include "mediatestsupport.h"
#include "messagebase.h"
#include "resourceitem.h"
#include "resourcestorage.h"
#include "searchsinglequery.h"
#include "serverhistory.h"
#include "tempfilemgr.h"
#include "userstorageprovider.h"

#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

using MediaTest::canonical;
using MediaTest::labelOf;

namespace {

im::Message media(const QString &dialogId, qint64 id, int type, qint64 time,
                  const QString &name = QString(), qint64 sender = 7)
{
    im::Message m;
    m.set_dialog_id(dialogId.toStdString());
    m.set_msg_id(id);
    m.set_type(type);
    m.set_time(time);
    m.set_sender_id(sender);
    if (type == CONTENT_TEXT) {
        const std::string url = "https://example.org/" + std::to_string(id);
        m.set_text("see " + url);
        m.add_urls(url);
        return m;
    }
    m.mutable_file()->set_file_id(dialogId.toStdString() + "f" + std::to_string(id));
    m.mutable_file()->set_suffix("jpg");
    m.mutable_file()->set_size(1000 + id);
    m.mutable_file()->set_name(name.isEmpty() ? "item " + std::to_string(id) + ".jpg"
                                              : name.toStdString());
    return m;
}

// A photo whose file is unknown: stored and listed, but never shown.
im::Message photoWithoutFile(const QString &dialogId, qint64 id, qint64 time)
{
    im::Message m = media(dialogId, id, CONTENT_PHOTO, time);
    m.clear_file();
    return m;
}

QStringList labels(const QList<ResourceItem *> &items)
{
    QStringList out;
    for (const ResourceItem *item : items) {
        out.append(labelOf(item));
    }
    return out;
}

QStringList idLabels(const QString &dialogId, const QList<int> &ids)
{
    QStringList out;
    for (int id : ids) {
        out.append(QStringLiteral("%1/%2").arg(dialogId).arg(id));
    }
    return canonical(out);
}

QList<int> range(int from, int to)
{
    QList<int> out;
    for (int id = from; from <= to ? id <= to : id >= to; id += from <= to ? 1 : -1) {
        out.append(id);
    }
    return out;
}

// An account whose server answers its first failures requests with one canned reply, while
// online, and every later one from the real server history, as after a transient fault.
class CannedServerAccount : public AccountBase
{
public:
    CannedServerAccount(const QString &folder, const QVariantMap &reply, int failures)
        : AccountBase(1, folder)
        , m_reply(reply)
        , m_failures(failures)
    { }

    QVariantMap syncRequest(int command, const QByteArray &body) const override
    {
        if (m_requests++ < m_failures) {
            return m_reply;
        }
        return AccountBase::syncRequest(command, body);
    }
    int requests() const { return m_requests.load(); }

private:
    const QVariantMap m_reply;
    const int m_failures;
    mutable std::atomic<int> m_requests {0};
};

struct Pages
{
    QList<ResourceItem *> items;
    ~Pages() { qDeleteAll(items); }
};

} // namespace

// The loader pages a dialog's media from a real account: local rows both ways, the server's
// history where the local rows end, and the first item of every day.
class TestMediaLoader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void initStatus_data();
    void initStatus();
    void pagingBeforeLosesAndRepeatsNothing();
    void pagingAfterLosesAndRepeatsNothing();
    void longPageKeepsOrderAndSharesObjects();
    void resultCount_data();
    void resultCount();
    void invalidRowsTriggerFurtherQuery();
    void typeFilters_data();
    void typeFilters();
    void keyFilters_data();
    void keyFilters();
    void globalSearch_data();
    void globalSearch();
    void remoteContinuesWhereLocalEnds();
    void remoteOfflineFallsBackToLocal();
    void remoteFailureAsksAgainNextPage_data();
    void remoteFailureAsksAgainNextPage();
    void remoteCombinedLoadedAndKeyword_data();
    void remoteCombinedLoadedAndKeyword();
    void quitDestroysEverything_data();
    void quitDestroysEverything();
    void itemsHandedBackOnMainThread();
    void makeMediaItem_data();
    void makeMediaItem();
    void firstByEveryDay();
    void firstByEveryDayStopsAtFirstVisibleMessage();
    void noCountLoadsNothing_data();
    void noCountLoadsNothing();

private:
    QSharedPointer<DialogBase> dialog(const QString &id) const { return m_account->dialog(id); }

    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
};

void TestMediaLoader::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_account = std::make_unique<AccountBase>(1, m_dir.path());
    QVERIFY(m_account->isValid());
    for (const char *id : {"u1", "v1", "g1", "r1", "c1"}) {
        QVERIFY(m_account->storeDialog(id, id, DIALOG_PRIVATE, 1000));
    }
    QList<im::Message> local;
    // u1: photos on odd ids, videos on even ids 1..20; beach pictures every third id; links
    // 21..23; files 24..25 from sender 9; a removed photo 26.
    for (int id = 1; id <= 20; ++id) {
        local.append(media("u1", id, id % 2 ? CONTENT_PHOTO : CONTENT_VIDEO, id * 1000,
                           id % 3 ? QStringLiteral("city %1.jpg").arg(id)
                                  : QStringLiteral("beach %1.jpg").arg(id)));
    }
    for (int id = 21; id <= 23; ++id) {
        local.append(media("u1", id, CONTENT_TEXT, id * 1000));
    }
    local.append(media("u1", 24, CONTENT_FILE, 24000, "report 24.pdf", 9));
    local.append(media("u1", 25, CONTENT_FILE, 25000, "report 25.pdf", 9));
    im::Message removed = media("u1", 26, CONTENT_PHOTO, 26000);
    removed.set_removed(true);
    local.append(removed);
    // v1: four showable photos below eight that cannot be shown.
    for (int id = 1; id <= 4; ++id) {
        local.append(media("v1", id, CONTENT_PHOTO, id * 1000));
    }
    for (int id = 5; id <= 12; ++id) {
        local.append(photoWithoutFile("v1", id, id * 1000));
    }
    // g1: photos between u1's.
    for (int id = 1; id <= 3; ++id) {
        local.append(media("g1", id, CONTENT_PHOTO, id * 1000 + 500));
    }
    // r1: the newest five of fifteen photos are local; the server has them all.
    QList<im::Message> server;
    for (int id = 1; id <= 15; ++id) {
        server.append(media("r1", id, CONTENT_PHOTO, id * 1000));
        if (id > 10) {
            local.append(server.last());
        }
    }
    // c1: only on the server: photos 1 "beach", 2 "sunset", 3 already loaded, an album 5 of two
    // photos.
    server.append(media("c1", 1, CONTENT_PHOTO, 1000, "beach.jpg"));
    server.append(media("c1", 2, CONTENT_PHOTO, 2000, "sunset.jpg"));
    server.append(media("c1", 3, CONTENT_PHOTO, 3000, "loaded.jpg"));
    im::Message album = media("c1", 5, CONTENT_COMBINED, 5000);
    album.clear_file();
    for (int c = 1; c <= 2; ++c) {
        im::Message *child = album.add_combined_messages();
        *child = media("c1", c, CONTENT_PHOTO, 5000, QStringLiteral("album %1.jpg").arg(c));
        child->set_parent_msg_id(5);
        child->mutable_file()->set_file_id("c1album" + std::to_string(c));
    }
    server.append(album);
    QVERIFY(m_account->storeMessages(local));
    QVERIFY(ServerHistory(m_dir.filePath("server.db")).store(server));
    m_account->fileManager()->tempFileMgr()->addLoadedFile("c1f3", "c1");
}

void TestMediaLoader::initStatus_data()
{
    QTest::addColumn<qint64>("messageId");
    QTest::addColumn<qint64>("dateTime");
    QTest::addColumn<QList<qint64>>("cursors"); // beforeMsgId, beforeTime, afterMsgId, afterTime

    QTest::newRow("an item starts both ways around it")
            << qint64(7) << qint64(7000) << QList<qint64> {7, 7000, 8, 7001};
    QTest::newRow("no item starts from the ends")
            << qint64(0) << qint64(-5) << QList<qint64> {0, 0, 0, 0};
}

void TestMediaLoader::initStatus()
{
    QFETCH(qint64, messageId);
    QFETCH(qint64, dateTime);
    QFETCH(QList<qint64>, cursors);
    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    loader.loadBeforeItems(pages.items, dialog("u1"), SearchKey(), CONTENT_FILE, 5, false);
    QVERIFY(!loader.hasMoreBefore());
    loader.initStatus(messageId, dateTime);
    QCOMPARE((QList<qint64> {loader.beforeMsgId(), loader.beforeTime(), loader.afterMsgId(),
                             loader.afterTime()}),
             cursors);
    QVERIFY(loader.hasMoreBefore());
    QVERIFY(loader.hasMoreAfter());
}

void TestMediaLoader::pagingBeforeLosesAndRepeatsNothing()
{
    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    int calls = 0;
    while (loader.hasMoreBefore() && calls++ < 50) {
        loader.loadBeforeItems(pages.items, dialog("u1"), SearchKey(), CONTENT_PHOTO, 3, false);
    }
    QCOMPARE(labels(pages.items), idLabels("u1", range(20, 1)));
}

void TestMediaLoader::pagingAfterLosesAndRepeatsNothing()
{
    MediaLoader loader(m_account.get(), nullptr);
    loader.initStatus(7, 7000);
    Pages pages;
    int calls = 0;
    while (loader.hasMoreAfter() && calls++ < 50) {
        loader.loadAfterItems(pages.items, dialog("u1"), SearchKey(), CONTENT_VIDEO, 4, false);
    }
    QCOMPARE(labels(pages.items), idLabels("u1", range(20, 8)));
    while (loader.hasMoreBefore() && calls++ < 100) {
        loader.loadBeforeItems(pages.items, dialog("u1"), SearchKey(), CONTENT_VIDEO, 4, false);
    }
    QCOMPARE(labels(pages.items), idLabels("u1", range(20, 1)));
}

// A long page is built in slices on several threads. Its items keep the rows' order, a message
// someone already holds is the one the page shows, and a file that messages of different slices
// name is one object.
void TestMediaLoader::longPageKeepsOrderAndSharesObjects()
{
    constexpr int Count = 300;
    const QString dialogId = QStringLiteral("long");
    QList<im::Message> messages;
    for (int id = 1; id <= Count; ++id) {
        messages.append(media(dialogId, id, CONTENT_PHOTO, id * 1000));
        if (id % 100 == 0) {
            messages.last().mutable_file()->set_file_id("forwarded");
        }
    }
    QVERIFY(m_account->storeDialog(dialogId, dialogId, DIALOG_PRIVATE, 1000));
    QVERIFY(m_account->storeMessages(messages));
    const QSharedPointer<MessageBase> held = dialog(dialogId)->message(MessageKey(150, 0));
    QVERIFY(held);

    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    loader.loadBeforeItems(pages.items, dialog(dialogId), SearchKey(), CONTENT_PHOTO, Count, false);
    QCOMPARE(labels(pages.items), idLabels(dialogId, range(Count, 1)));
    QCOMPARE(pages.items.at(Count - 150)->msgData(), held.data());
    const auto sourceOf = [&pages](int id) {
        const auto file =
                pages.items.at(Count - id)->msgData()->contentItem().dynamicCast<FileItem>();
        return file ? file->sourceFilePtr() : QSharedPointer<FileData>();
    };
    QVERIFY(sourceOf(300));
    QCOMPARE(sourceOf(300), sourceOf(200));
    QCOMPARE(sourceOf(300), sourceOf(100));
    QVERIFY(sourceOf(299) != sourceOf(300));
}

void TestMediaLoader::resultCount_data()
{
    QTest::addColumn<int>("loadCount");
    QTest::addColumn<bool>("hasMore");
    QTest::addColumn<int>("firstCount");
    QTest::addColumn<int>("secondCount");

    QTest::newRow("a full page leaves more to come") << 2 << true << 2 << 2;
    QTest::newRow("a short page is the end") << 3 << false << 2 << 2;
}

void TestMediaLoader::resultCount()
{
    QFETCH(int, loadCount);
    QFETCH(bool, hasMore);
    QFETCH(int, firstCount);
    QFETCH(int, secondCount);
    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    const ResultCount first = loader.loadBeforeItems(pages.items, dialog("u1"), SearchKey(),
                                                     CONTENT_FILE, loadCount, false);
    QCOMPARE(first, (ResultCount {firstCount, 2}));
    QCOMPARE(loader.hasMoreBefore(), hasMore);
    const ResultCount second = loader.loadBeforeItems(pages.items, dialog("u1"), SearchKey(),
                                                      CONTENT_FILE, loadCount, false);
    QCOMPARE(second, (ResultCount {secondCount, 2}));
    QVERIFY(!loader.hasMoreBefore());
    QCOMPARE(labels(pages.items), idLabels("u1", {25, 24}));
}

void TestMediaLoader::invalidRowsTriggerFurtherQuery()
{
    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    const ResultCount count =
            loader.loadBeforeItems(pages.items, dialog("v1"), SearchKey(), CONTENT_PHOTO, 4, false);
    QCOMPARE(labels(pages.items), idLabels("v1", {4, 3, 2, 1}));
    QCOMPARE(count.loaded, 4);
}

void TestMediaLoader::typeFilters_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("photos bring videos") << int(CONTENT_PHOTO) << idLabels("u1", range(20, 1));
    QTest::newRow("videos bring photos") << int(CONTENT_VIDEO) << idLabels("u1", range(20, 1));
    QTest::newRow("links by their flag") << int(CONTENT_TEXT) << idLabels("u1", {23, 22, 21});
    QTest::newRow("files alone") << int(CONTENT_FILE) << idLabels("u1", {25, 24});
    QTest::newRow("a type without rows") << int(CONTENT_VOICE) << QStringList();
}

void TestMediaLoader::typeFilters()
{
    QFETCH(int, type);
    QFETCH(QStringList, expected);
    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    loader.loadBeforeItems(pages.items, dialog("u1"), SearchKey(), type, 100, false);
    QCOMPARE(labels(pages.items), expected);
}

void TestMediaLoader::keyFilters_data()
{
    QTest::addColumn<QString>("keyword");
    QTest::addColumn<QList<qint64>>("senders");
    QTest::addColumn<qint64>("startTime");
    QTest::addColumn<qint64>("endTime");
    QTest::addColumn<int>("type");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("keyword") << "BEACH" << QList<qint64>() << qint64(0) << qint64(0)
                             << int(CONTENT_PHOTO) << idLabels("u1", {18, 15, 12, 9, 6, 3});
    QTest::newRow("sender") << "" << QList<qint64> {9} << qint64(0) << qint64(0)
                            << int(CONTENT_FILE) << idLabels("u1", {25, 24});
    QTest::newRow("other sender") << "" << QList<qint64> {8} << qint64(0) << qint64(0)
                                  << int(CONTENT_FILE) << QStringList();
    QTest::newRow("time span") << "" << QList<qint64>() << qint64(4000) << qint64(6000)
                               << int(CONTENT_PHOTO) << idLabels("u1", {6, 5, 4});
}

void TestMediaLoader::keyFilters()
{
    QFETCH(QString, keyword);
    QFETCH(QList<qint64>, senders);
    QFETCH(qint64, startTime);
    QFETCH(qint64, endTime);
    QFETCH(int, type);
    QFETCH(QStringList, expected);
    SearchKey key;
    key.keyword = keyword;
    key.senderIds = senders;
    key.startTime = startTime;
    key.endTime = endTime;
    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    int calls = 0;
    while (loader.hasMoreBefore() && calls++ < 50) {
        loader.loadBeforeItems(pages.items, dialog("u1"), key, type, 2, false);
    }
    QCOMPARE(labels(pages.items), expected);
}

void TestMediaLoader::globalSearch_data()
{
    QTest::addColumn<QStringList>("dialogIds");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("given dialogs")
            << QStringList {"g1", "v1"}
            << canonical({"v1/4", "g1/3", "v1/3", "g1/2", "v1/2", "g1/1", "v1/1"});
    QTest::newRow("one dialog") << QStringList {"g1"} << idLabels("g1", {3, 2, 1});
}

void TestMediaLoader::globalSearch()
{
    QFETCH(QStringList, dialogIds);
    QFETCH(QStringList, expected);
    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    int calls = 0;
    while (loader.hasMoreBefore() && calls++ < 50) {
        loader.loadBeforeItems(pages.items, dialogIds, SearchKey(), CONTENT_PHOTO, 3);
    }
    QCOMPARE(labels(pages.items), expected);

    MediaLoader newer(m_account.get(), nullptr);
    Pages newerPages;
    calls = 0;
    while (newer.hasMoreAfter() && calls++ < 50) {
        newer.loadAfterItems(newerPages.items, dialogIds, SearchKey(), CONTENT_PHOTO, 3);
    }
    QCOMPARE(labels(newerPages.items), expected);
}

void TestMediaLoader::remoteContinuesWhereLocalEnds()
{
    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    loader.loadBeforeItems(pages.items, dialog("r1"), SearchKey(), CONTENT_PHOTO, 5, false);
    loader.loadBeforeItems(pages.items, dialog("r1"), SearchKey(), CONTENT_PHOTO, 5, false);
    QCOMPARE(labels(pages.items), idLabels("r1", range(15, 11)));
    QVERIFY(!loader.hasMoreBefore());

    loader.initStatus(loader.beforeMsgId(), loader.beforeTime());
    const ResultCount first =
            loader.loadBeforeItems(pages.items, dialog("r1"), SearchKey(), CONTENT_PHOTO, 4, true);
    // The result counts everything out holds, the local pages included.
    QCOMPARE(first, (ResultCount {4, 9}));
    int calls = 0;
    while (loader.hasMoreBefore() && calls++ < 50) {
        loader.loadBeforeItems(pages.items, dialog("r1"), SearchKey(), CONTENT_PHOTO, 4, true);
    }
    QCOMPARE(labels(pages.items), idLabels("r1", range(15, 1)));
}

void TestMediaLoader::remoteOfflineFallsBackToLocal()
{
    m_account->setOnline(false);
    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    loader.loadBeforeItems(pages.items, dialog("r1"), SearchKey(), CONTENT_PHOTO, 100, true);
    m_account->setOnline(true);
    QCOMPARE(labels(pages.items), idLabels("r1", range(15, 11)));
}

void TestMediaLoader::remoteFailureAsksAgainNextPage_data()
{
    QTest::addColumn<QVariantMap>("reply");
    QTest::addColumn<QString>("logLine");

    QTest::newRow("non-zero code while online")
            << QVariantMap {{"code", 5}, {"data", QByteArray()}}
            << R"(remote media search of "h1" failed with code 5: no older items this time)";
    // A length-delimited field that claims more bytes than follow.
    QTest::newRow("unparsable reply")
            << QVariantMap {{"code", 0}, {"data", QByteArray("\x0a\x7f\x01\x02", 4)}}
            << R"(remote media search of "h1" returned a reply that does not parse: no older )"
               R"(items this time)";
}

// The older history of h1 lives only on the server, which fails once: that page brings nothing
// but the list still has more, and the next page asks the server again.
void TestMediaLoader::remoteFailureAsksAgainNextPage()
{
    QFETCH(QVariantMap, reply);
    QFETCH(QString, logLine);
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    CannedServerAccount account(dir.path(), reply, 1);
    QVERIFY(account.isValid());
    QVERIFY(account.storeDialog("h1", "h1", DIALOG_PRIVATE, 1000));
    QList<im::Message> server;
    for (int id = 1; id <= 8; ++id) {
        server.append(media("h1", id, CONTENT_PHOTO, id * 1000));
    }
    QVERIFY(account.storeMessages(server.mid(5)));
    QVERIFY(ServerHistory(dir.filePath("server.db")).store(server));

    MediaLoader loader(&account, nullptr);
    Pages pages;
    loader.loadBeforeItems(pages.items, account.dialog("h1"), SearchKey(), CONTENT_PHOTO, 10,
                           false);
    QCOMPARE(labels(pages.items), idLabels("h1", range(8, 6)));
    const QList<ResourceItem *> local = pages.items;
    loader.initStatus(loader.beforeMsgId(), loader.beforeTime());
    QVERIFY(loader.hasMoreBefore());

    QTest::ignoreMessage(QtWarningMsg, qPrintable(logLine));
    const ResultCount failed = loader.loadBeforeItems(pages.items, account.dialog("h1"),
                                                      SearchKey(), CONTENT_PHOTO, 10, true);
    QCOMPARE(account.requests(), 1);
    QCOMPARE(pages.items, local);
    QVERIFY(loader.hasMoreBefore());
    QCOMPARE(failed, (ResultCount {10, 3}));

    loader.loadBeforeItems(pages.items, account.dialog("h1"), SearchKey(), CONTENT_PHOTO, 10, true);
    QCOMPARE(account.requests(), 2);
    QCOMPARE(labels(pages.items), idLabels("h1", range(8, 1)));
    QVERIFY(!loader.hasMoreBefore());
}

void TestMediaLoader::remoteCombinedLoadedAndKeyword_data()
{
    QTest::addColumn<QString>("keyword");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("album children, loaded file left out")
            << "" << canonical({"c1/5.2", "c1/5.1", "c1/2", "c1/1"});
    QTest::newRow("keyword") << "sunset" << canonical({"c1/2"});
    QTest::newRow("keyword in album children") << "ALBUM" << canonical({"c1/5.2", "c1/5.1"});
}

void TestMediaLoader::remoteCombinedLoadedAndKeyword()
{
    QFETCH(QString, keyword);
    QFETCH(QStringList, expected);
    SearchKey key;
    key.keyword = keyword;
    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    loader.loadBeforeItems(pages.items, dialog("c1"), key, CONTENT_PHOTO, 50, true);
    QCOMPARE(labels(pages.items), expected);
    QVERIFY(!loader.hasMoreBefore());
}

void TestMediaLoader::quitDestroysEverything_data()
{
    QTest::addColumn<bool>("newer");
    QTest::addColumn<bool>("fromRemote");
    QTest::newRow("older local") << false << false;
    QTest::newRow("older remote") << false << true;
    QTest::newRow("newer") << true << false;
}

void TestMediaLoader::quitDestroysEverything()
{
    QFETCH(bool, newer);
    QFETCH(bool, fromRemote);
    SearchSingleQuery query;
    query.quit();
    MediaLoader loader(m_account.get(), &query);
    MediaTest::Watch watch;
    QList<ResourceItem *> out {watch(MediaTest::itemOf("u1/30"))};
    const QString dialogId = fromRemote ? "c1" : "u1";
    const ResultCount count = newer ? loader.loadAfterItems(out, dialog(dialogId), SearchKey(),
                                                            CONTENT_PHOTO, 5, fromRemote)
                                    : loader.loadBeforeItems(out, dialog(dialogId), SearchKey(),
                                                             CONTENT_PHOTO, 5, fromRemote);
    QVERIFY(out.isEmpty());
    QCOMPARE(count.loaded, 0);
    QCOMPARE(watch.alive(), 0);
}

void TestMediaLoader::itemsHandedBackOnMainThread()
{
    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    std::unique_ptr<QThread> worker(QThread::create([&] {
        loader.loadBeforeItems(pages.items, dialog("u1"), SearchKey(), CONTENT_PHOTO, 6, false);
    }));
    worker->start();
    QVERIFY(worker->wait());
    QCOMPARE(pages.items.size(), 6);
    for (const ResourceItem *item : std::as_const(pages.items)) {
        QCOMPARE(item->thread(), QCoreApplication::instance()->thread());
    }
}

void TestMediaLoader::makeMediaItem_data()
{
    QTest::addColumn<QString>("dialogId");
    QTest::addColumn<qint64>("messageId");
    QTest::addColumn<bool>("force");
    QTest::addColumn<bool>("made");
    QTest::addColumn<bool>("withMessage");
    QTest::addColumn<bool>("messageMissing");

    QTest::newRow("no dialog") << "nope" << qint64(1) << false << false << false << false;
    QTest::newRow("message on hand") << "u1" << qint64(1) << false << true << true << false;
    QTest::newRow("message missing") << "u1" << qint64(99) << false << true << false << true;
    QTest::newRow("removed message") << "u1" << qint64(26) << false << false << false << false;
    QTest::newRow("removed message forced") << "u1" << qint64(26) << true << true << true << false;
}

void TestMediaLoader::makeMediaItem()
{
    QFETCH(QString, dialogId);
    QFETCH(qint64, messageId);
    QFETCH(bool, force);
    QFETCH(bool, made);
    QFETCH(bool, withMessage);
    QFETCH(bool, messageMissing);

    storage::ResourceInfo row;
    row.dialogId = dialogId;
    row.messageId = messageId;
    row.type = CONTENT_PHOTO;
    row.dateTime = messageId * 1000;
    storage::FileReferenceInfo reference;
    reference.dialogId = dialogId;
    reference.messageId = messageId;
    reference.type = CONTENT_PHOTO | 0x800;
    reference.dateTime = messageId * 1000;

    bool missing = !messageMissing;
    std::unique_ptr<ResourceItem> fromRow(
            MediaLoader::makeMediaItem(dialog(dialogId), row, missing, force));
    QCOMPARE(missing, messageMissing);
    missing = !messageMissing;
    std::unique_ptr<ResourceItem> fromReference(
            MediaLoader::makeMediaItem(dialog(dialogId), reference, missing, force));
    QCOMPARE(missing, messageMissing);
    for (const auto &item : {fromRow.get(), fromReference.get()}) {
        QCOMPARE(item != nullptr, made);
        if (item) {
            QCOMPARE(item->msgData() != nullptr, withMessage);
            QCOMPARE(labelOf(item),
                     canonical({QStringLiteral("%1/%2").arg(dialogId).arg(messageId)}).first());
            QCOMPARE(item->type(), int(CONTENT_PHOTO));
        }
    }
}

void TestMediaLoader::firstByEveryDay()
{
    QTemporaryDir dir;
    AccountBase account(2, dir.path());
    QVERIFY(account.storeDialog("d", "d", DIALOG_PRIVATE, 1000));
    const qint64 may1 = MediaTest::localMSecs(2026, 5, 1, 9);
    const qint64 may1Late = MediaTest::localMSecs(2026, 5, 1, 23, 59);
    const qint64 may3 = MediaTest::localMSecs(2026, 5, 3, 0, 0);
    QVERIFY(account.storeMessages(
            {media("d", 1, CONTENT_PHOTO, may1), media("d", 2, CONTENT_VIDEO, may1Late),
             media("d", 3, CONTENT_FILE, may1Late + 1), media("d", 4, CONTENT_PHOTO, may3)}));
    MediaLoader loader(&account, nullptr);
    Pages pages;
    loader.loadFirstByEveryDay(pages.items, account.dialog("d"), CONTENT_VIDEO);
    QCOMPARE(labels(pages.items), canonical({"d/1", "d/4"}));
    QVERIFY(!loader.hasMoreAfter());
}

void TestMediaLoader::firstByEveryDayStopsAtFirstVisibleMessage()
{
    QTemporaryDir dir;
    {
        AccountBase account(3, dir.path());
        QList<im::Message> messages;
        for (int day = 1; day <= 4; ++day) {
            messages.append(media("d", day, CONTENT_PHOTO, MediaTest::localMSecs(2026, 5, day)));
        }
        QVERIFY(account.storeMessages(messages));
        storage::DialogRecord record;
        record.dialogId = "d";
        record.name = "d";
        record.firstVisibleMsgId = 3;
        QVERIFY(account.storage()->dialogStorage()->save({record}));
    }
    AccountBase account(3, dir.path());
    MediaLoader loader(&account, nullptr);
    Pages pages;
    loader.loadFirstByEveryDay(pages.items, account.dialog("d"), CONTENT_PHOTO);
    QVERIFY(pages.items.isEmpty());
    QVERIFY(!loader.hasMoreAfter());
}

void TestMediaLoader::noCountLoadsNothing_data()
{
    QTest::addColumn<int>("loadCount");
    QTest::addColumn<bool>("newer");
    QTest::addColumn<bool>("acrossDialogs");
    for (int loadCount : {0, -1}) {
        for (bool newer : {false, true}) {
            for (bool acrossDialogs : {false, true}) {
                QTest::addRow("%s %s page of %d", newer ? "newer" : "older",
                              acrossDialogs ? "cross-dialog" : "one-dialog", loadCount)
                        << loadCount << newer << acrossDialogs;
            }
        }
    }
}

// A page of no items is empty at once, however many rows there are to read.
void TestMediaLoader::noCountLoadsNothing()
{
    QFETCH(int, loadCount);
    QFETCH(bool, newer);
    QFETCH(bool, acrossDialogs);
    MediaLoader loader(m_account.get(), nullptr);
    Pages pages;
    const QList<QString> dialogIds {"u1", "g1"};
    ResultCount result;
    if (acrossDialogs) {
        result = newer ? loader.loadAfterItems(pages.items, dialogIds, SearchKey(), CONTENT_PHOTO,
                                               loadCount)
                       : loader.loadBeforeItems(pages.items, dialogIds, SearchKey(), CONTENT_PHOTO,
                                                loadCount);
    } else {
        result = newer ? loader.loadAfterItems(pages.items, dialog("u1"), SearchKey(),
                                               CONTENT_PHOTO, loadCount, false)
                       : loader.loadBeforeItems(pages.items, dialog("u1"), SearchKey(),
                                                CONTENT_PHOTO, loadCount, false);
    }
    QVERIFY(pages.items.isEmpty());
    QCOMPARE(result, (ResultCount {0, 0}));
}

QTEST_GUILESS_MAIN(TestMediaLoader)
#include "tst_medialoader.moc"
