#include "database.h"
#include "resourcestorage.h"

#include <QTemporaryDir>
#include <QTest>
#include <limits>
#include <memory>
#include <tuple>

using storage::Database;
using storage::ResourceInfo;
using storage::ResourceSearchInfo;
using storage::ResourceStorage;

namespace {

enum Direction { Before, After };
enum Scope { OneDialog, DialogList, AllDialogs };

constexpr qint64 T0 = 1700000000000; // any realistic time; the rows sit a few ms after it

ResourceInfo makeRow(const QString &dialogId, qint64 messageId, qint64 subMsgId, qint64 msAfterT0,
                     int type = 2, qint64 senderId = 1, const QString &text = QString())
{
    ResourceInfo row;
    row.dialogId = dialogId;
    row.messageId = messageId;
    row.subMsgId = subMsgId;
    row.dateTime = T0 + msAfterT0;
    row.type = type;
    row.senderId = senderId;
    row.text = text;
    return row;
}

QString keyOf(const ResourceInfo &row)
{
    return QStringLiteral("%1/%2/%3").arg(row.dialogId).arg(row.messageId).arg(row.subMsgId);
}

QStringList keysOf(const QList<ResourceInfo> &rows)
{
    QStringList keys;
    for (const ResourceInfo &row : rows) {
        keys.append(keyOf(row));
    }
    return keys;
}

// The page order the galleries rely on: time, then message, sub item and dialog.
QList<ResourceInfo> ordered(QList<ResourceInfo> rows, Direction direction)
{
    const auto key = [](const ResourceInfo &row) {
        return std::make_tuple(row.dateTime, row.messageId, row.subMsgId, row.dialogId);
    };
    std::sort(rows.begin(), rows.end(), [&](const ResourceInfo &a, const ResourceInfo &b) {
        return direction == Before ? key(b) < key(a) : key(a) < key(b);
    });
    return rows;
}

bool sameGroup(const ResourceInfo &a, const ResourceInfo &b)
{
    return a.dateTime == b.dateTime && a.messageId == b.messageId;
}

// Rows sharing a millisecond, several messages in one millisecond, combined messages whose
// children share (time, message id), message ids out of time order, a message id of 1 (whose
// "id - 1" cursor is 0), and a second dialog with rows in the same groups as the first.
QList<ResourceInfo> pagingRows()
{
    QList<ResourceInfo> rows {
            makeRow("a", 10, 0, 0),    makeRow("a", 11, 1, 0, 5), makeRow("a", 11, 2, 0),
            makeRow("a", 11, 3, 0, 5), makeRow("a", 12, 0, 0),    makeRow("a", 9, 0, 1, 5),
            makeRow("a", 1, 0, 4),     makeRow("a", 15, 0, 4),    makeRow("a", 14, 0, 3),
            makeRow("b", 11, 2, 0),    makeRow("b", 13, 1, 2, 5), makeRow("b", 30, 0, 2),
            makeRow("b", 2, 0, 7),
    };
    for (int sub = 1; sub <= 5; ++sub) {
        rows.append(makeRow("a", 13, sub, 2, sub % 2 ? 2 : 5));
    }
    for (int id = 16; id <= 20; ++id) {
        rows.append(makeRow("a", id, 0, id - 11));
    }
    return rows;
}

} // namespace

Q_DECLARE_METATYPE(Direction)
Q_DECLARE_METATYPE(Scope)
Q_DECLARE_METATYPE(ResourceSearchInfo)

class tst_ResourceStorage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void paging_data();
    void paging();
    void pageIncludesTheRestOfItsLastGroup_data();
    void pageIncludesTheRestOfItsLastGroup();
    void startAtItem_data();
    void startAtItem();
    void filters_data();
    void filters();
    void dialogScopes_data();
    void dialogScopes();
    void oddInput_data();
    void oddInput();
    void saveReplacesByKey();
    void removal();

private:
    QList<ResourceInfo> page(Scope scope, Direction direction, const ResourceSearchInfo &info);
    QList<ResourceInfo> pageThrough(Scope scope, Direction direction, ResourceSearchInfo info,
                                    QList<int> *pageSizes = nullptr);
    QList<ResourceInfo> filterRows() const;

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Database> m_db;
    std::unique_ptr<ResourceStorage> m_storage;
};

void tst_ResourceStorage::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_db = std::make_unique<Database>(m_dir->filePath("account.db"));
    m_storage = std::make_unique<ResourceStorage>(m_db.get());
}

void tst_ResourceStorage::cleanup()
{
    m_storage.reset();
    m_db.reset();
    m_dir.reset();
}

QList<ResourceInfo> tst_ResourceStorage::page(Scope scope, Direction direction,
                                              const ResourceSearchInfo &info)
{
    switch (scope) {
    case OneDialog:
        return direction == Before ? m_storage->infosBefore("a", info)
                                   : m_storage->infosAfter("a", info);
    case DialogList:
        return direction == Before ? m_storage->infosBefore(QList<QString> {"a", "b"}, info)
                                   : m_storage->infosAfter(QList<QString> {"a", "b"}, info);
    case AllDialogs:
        break;
    }
    return direction == Before ? m_storage->infosBefore(info) : m_storage->infosAfter(info);
}

// Pages the way the media loader does: a short page ends the walk, and after each page the
// cursor moves to the last row's time and message id, minus one before, plus one after.
QList<ResourceInfo> tst_ResourceStorage::pageThrough(Scope scope, Direction direction,
                                                     ResourceSearchInfo info, QList<int> *pageSizes)
{
    QList<ResourceInfo> all;
    for (int guard = 0; guard < 1000; ++guard) {
        const QList<ResourceInfo> rows = page(scope, direction, info);
        all += rows;
        if (pageSizes) {
            pageSizes->append(rows.size());
        }
        if (rows.size() < info.count) {
            return all;
        }
        const int step = direction == Before ? -1 : 1;
        info.time = rows.constLast().dateTime + step;
        info.msgId = rows.constLast().messageId + step;
    }
    qWarning("paging never ended");
    return {};
}

void tst_ResourceStorage::paging_data()
{
    QTest::addColumn<Scope>("scope");
    QTest::addColumn<Direction>("direction");
    QTest::addColumn<int>("pageSize");

    const QList<std::pair<Scope, const char *>> scopes {
            {OneDialog, "one dialog"}, {DialogList, "dialog list"}, {AllDialogs, "all dialogs"}};
    for (const auto &[scope, scopeName] : scopes) {
        for (const Direction direction : {Before, After}) {
            for (const int pageSize : {1, 2, 3, 7}) {
                QTest::addRow("%s, %s, pages of %d", direction == Before ? "older" : "newer",
                              scopeName, pageSize)
                        << scope << direction << pageSize;
            }
        }
    }
}

void tst_ResourceStorage::paging()
{
    QFETCH(Scope, scope);
    QFETCH(Direction, direction);
    QFETCH(int, pageSize);
    const QList<ResourceInfo> rows = pagingRows();
    QVERIFY(m_storage->save(rows));

    QList<ResourceInfo> expected;
    for (const ResourceInfo &row : rows) {
        if (scope != OneDialog || row.dialogId == "a") {
            expected.append(row);
        }
    }
    expected = ordered(expected, direction);

    ResourceSearchInfo info;
    info.count = pageSize;
    QList<int> pageSizes;
    const QList<ResourceInfo> all = pageThrough(scope, direction, info, &pageSizes);
    QCOMPARE(keysOf(all), keysOf(expected));

    // A page that reached its size ends at a group boundary, so the loader's cursor move skips
    // nothing.
    qsizetype end = 0;
    for (const int size : std::as_const(pageSizes)) {
        end += size;
        if (size >= pageSize && end < expected.size()) {
            QVERIFY2(!sameGroup(expected.at(end - 1), expected.at(end)),
                     qPrintable(keyOf(expected.at(end))));
        }
    }
}

void tst_ResourceStorage::pageIncludesTheRestOfItsLastGroup_data()
{
    QTest::addColumn<Scope>("scope");
    QTest::addColumn<Direction>("direction");
    QTest::addColumn<qint64>("time");
    QTest::addColumn<qint64>("msgId");
    QTest::addColumn<int>("count");
    QTest::addColumn<QStringList>("expected");

    // Cursors that start right at a group: older from (time - 1, id), newer from (time + 1, id).
    QTest::newRow("older: the children of a combined message")
            << OneDialog << Before << T0 + 1 << qint64(13) << 1
            << QStringList {"a/13/5", "a/13/4", "a/13/3", "a/13/2", "a/13/1"};
    QTest::newRow("older: a page ending inside the children")
            << OneDialog << Before << T0 + 1 << qint64(13) << 2
            << QStringList {"a/13/5", "a/13/4", "a/13/3", "a/13/2", "a/13/1"};
    QTest::newRow("newer: the children of a combined message")
            << OneDialog << After << T0 + 3 << qint64(13) << 1
            << QStringList {"a/13/1", "a/13/2", "a/13/3", "a/13/4", "a/13/5"};
    QTest::newRow("all dialogs: a group across dialogs")
            << AllDialogs << After << T0 + 1 << qint64(11) << 2
            << QStringList {"a/11/1", "a/11/2", "b/11/2", "a/11/3"};
    QTest::newRow("dialog list: a group across dialogs")
            << DialogList << Before << T0 - 1 << qint64(11) << 1
            << QStringList {"a/11/3", "b/11/2", "a/11/2", "a/11/1"};
    QTest::newRow("a full page whose last row is alone gets nothing more")
            << OneDialog << Before << T0 + 3 << qint64(15) << 1 << QStringList {"a/15/0"};
}

void tst_ResourceStorage::pageIncludesTheRestOfItsLastGroup()
{
    QFETCH(Scope, scope);
    QFETCH(Direction, direction);
    QFETCH(qint64, time);
    QFETCH(qint64, msgId);
    QFETCH(int, count);
    QFETCH(QStringList, expected);
    QVERIFY(m_storage->save(pagingRows()));

    ResourceSearchInfo info;
    info.count = count;
    info.time = time;
    info.msgId = msgId;
    QCOMPARE(keysOf(page(scope, direction, info)), expected);
}

void tst_ResourceStorage::startAtItem_data()
{
    QTest::addColumn<QString>("item");

    QTest::newRow("a single message") << "a/14/0";
    QTest::newRow("a child of a combined message") << "a/13/3";
    QTest::newRow("a message sharing its millisecond") << "a/11/2";
    QTest::newRow("message id 1") << "a/1/0";
    QTest::newRow("the newest item") << "a/20/0";
    QTest::newRow("the oldest item") << "a/10/0";
}

// Opening a preview at an item: older pages start at (its time, its id) and include it, newer
// pages start at (time + 1, id + 1) and exclude it; between them every row of the dialog shows.
void tst_ResourceStorage::startAtItem()
{
    QFETCH(QString, item);
    const QList<ResourceInfo> rows = pagingRows();
    QVERIFY(m_storage->save(rows));
    const auto it = std::find_if(rows.cbegin(), rows.cend(),
                                 [&](const ResourceInfo &row) { return keyOf(row) == item; });
    QVERIFY(it != rows.cend());

    ResourceSearchInfo before;
    before.count = 3;
    before.time = it->dateTime;
    before.msgId = it->messageId;
    const QList<ResourceInfo> older = pageThrough(OneDialog, Before, before);
    QVERIFY(keysOf(older).contains(item));

    ResourceSearchInfo after = before;
    after.time = it->dateTime + 1;
    after.msgId = it->messageId + 1;
    const QList<ResourceInfo> newer = pageThrough(OneDialog, After, after);
    QVERIFY(!keysOf(newer).contains(item));

    QSet<QString> seen;
    for (const QString &key : keysOf(older) + keysOf(newer)) {
        seen.insert(key);
    }
    for (const ResourceInfo &row : rows) {
        if (row.dialogId == "a") {
            QVERIFY2(seen.contains(keyOf(row)), qPrintable(keyOf(row)));
        }
    }
}

QList<ResourceInfo> tst_ResourceStorage::filterRows() const
{
    return {
            makeRow("f", 1, 0, 100, 2, 7, "Holiday.JPG"),
            makeRow("f", 2, 0, 200, 5, 8, "clip.mp4"),
            makeRow("f", 3, 0, 300, 3, 7, "voice note"),
            makeRow("f", 4, 0, 400, 1, 8, "see https://example.org/Ärger"),
            makeRow("f", 5, 0, 500, 6, 9, "ÄRGER.pdf"),
            makeRow("f", 6, 0, 600, 4, 7, "song.mp3"),
            makeRow("f", 7, 0, 600, 2, 9, "holiday 2.png"),
    };
}

void tst_ResourceStorage::filters_data()
{
    QTest::addColumn<ResourceSearchInfo>("info");
    QTest::addColumn<QList<qint64>>("expectedIds");

    const auto search = [](auto fill) {
        ResourceSearchInfo info;
        fill(info);
        return info;
    };
    QTest::newRow("no filter") << ResourceSearchInfo() << QList<qint64> {1, 2, 3, 4, 5, 6, 7};
    QTest::newRow("photos and videos together") << search([](auto &i) {
        i.types = {2, 5};
    }) << QList<qint64> {1, 2, 7};
    QTest::newRow("photos without videos")
            << search([](auto &i) { i.types = {2}; }) << QList<qint64> {1, 7};
    QTest::newRow("videos without photos")
            << search([](auto &i) { i.types = {5}; }) << QList<qint64> {2};
    QTest::newRow("voice alone") << search([](auto &i) { i.types = {3}; }) << QList<qint64> {3};
    QTest::newRow("two other types") << search([](auto &i) {
        i.types = {3, 4};
    }) << QList<qint64> {3, 6};
    QTest::newRow("link flag") << search([](auto &i) { i.isLink = true; }) << QList<qint64> {4};
    QTest::newRow("link flag wins over types") << search([](auto &i) {
        i.isLink = true;
        i.types = {2, 5};
    }) << QList<qint64> {4};
    QTest::newRow("keyword in any case")
            << search([](auto &i) { i.keyword = "HOLIDAY"; }) << QList<qint64> {1, 7};
    QTest::newRow("keyword beyond ASCII in any case")
            << search([](auto &i) { i.keyword = "ärger"; }) << QList<qint64> {4, 5};
    QTest::newRow("keyword inside a link")
            << search([](auto &i) { i.keyword = "example.org"; }) << QList<qint64> {4};
    QTest::newRow("keyword matching nothing")
            << search([](auto &i) { i.keyword = "zzz"; }) << QList<qint64> {};
    QTest::newRow("keyword with LIKE wildcards is plain text")
            << search([](auto &i) { i.keyword = "%_"; }) << QList<qint64> {};
    QTest::newRow("keyword with a quote is plain text")
            << search([](auto &i) { i.keyword = "' OR 1=1 --"; }) << QList<qint64> {};
    QTest::newRow("one sender") << search([](auto &i) { i.senderIds = {7}; })
                                << QList<qint64> {1, 3, 6};
    QTest::newRow("two senders") << search([](auto &i) {
        i.senderIds = {9, 7};
    }) << QList<qint64> {1, 3, 5, 6, 7};
    QTest::newRow("time span, both ends included") << search([](auto &i) {
        i.startTime = T0 + 200;
        i.endTime = T0 + 400;
    }) << QList<qint64> {2, 3, 4};
    QTest::newRow("time span open at the start")
            << search([](auto &i) { i.endTime = T0 + 200; }) << QList<qint64> {1, 2};
    QTest::newRow("time span open at the end")
            << search([](auto &i) { i.startTime = T0 + 600; }) << QList<qint64> {6, 7};
    QTest::newRow("empty time span") << search([](auto &i) {
        i.startTime = T0 + 500;
        i.endTime = T0 + 400;
    }) << QList<qint64> {};
    QTest::newRow("filters combine") << search([](auto &i) {
        i.types = {2, 5};
        i.senderIds = {9};
        i.keyword = "holiday";
    }) << QList<qint64> {7};
    QTest::newRow("source dialog is not a filter")
            << search([](auto &i) { i.sourceDlgId = "elsewhere"; })
            << QList<qint64> {1, 2, 3, 4, 5, 6, 7};
}

void tst_ResourceStorage::filters()
{
    QFETCH(ResourceSearchInfo, info);
    QFETCH(QList<qint64>, expectedIds);
    const QList<ResourceInfo> rows = filterRows();
    QVERIFY(m_storage->save(rows));
    QList<ResourceInfo> expected;
    for (const ResourceInfo &row : rows) {
        if (expectedIds.contains(row.messageId)) {
            expected.append(row);
        }
    }

    for (const Direction direction : {Before, After}) {
        const QList<ResourceInfo> found = direction == Before ? m_storage->infosBefore("f", info)
                                                              : m_storage->infosAfter("f", info);
        QCOMPARE(keysOf(found), keysOf(ordered(expected, direction)));
        QCOMPARE(keysOf(direction == Before ? m_storage->infosBefore(info)
                                            : m_storage->infosAfter(info)),
                 keysOf(found));
    }
}

void tst_ResourceStorage::dialogScopes_data()
{
    QTest::addColumn<QList<QString>>("dialogIds");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("one dialog of the list")
            << QList<QString> {"b"} << QStringList {"b/3/0", "b/1/0"};
    QTest::newRow("two dialogs merge by time")
            << QList<QString> {"a", "b"} << QStringList {"b/3/0", "a/2/0", "b/1/0", "a/1/0"};
    QTest::newRow("repeated ids count once")
            << QList<QString> {"b", "b", "a"} << QStringList {"b/3/0", "a/2/0", "b/1/0", "a/1/0"};
    QTest::newRow("unknown and empty ids add nothing")
            << QList<QString> {"x", "", "b"} << QStringList {"b/3/0", "b/1/0"};
    QTest::newRow("no dialogs, no rows") << QList<QString> {} << QStringList {};
}

void tst_ResourceStorage::dialogScopes()
{
    QFETCH(QList<QString>, dialogIds);
    QFETCH(QStringList, expected);
    QVERIFY(m_storage->save({makeRow("a", 1, 0, 10), makeRow("a", 2, 0, 30), makeRow("b", 1, 0, 20),
                             makeRow("b", 3, 0, 40), makeRow("c", 1, 0, 50)}));
    ResourceSearchInfo info;
    QCOMPARE(keysOf(m_storage->infosBefore(dialogIds, info)), expected);
    std::reverse(expected.begin(), expected.end());
    QCOMPARE(keysOf(m_storage->infosAfter(dialogIds, info)), expected);
}

void tst_ResourceStorage::oddInput_data()
{
    QTest::addColumn<QString>("dialogId");
    QTest::addColumn<ResourceSearchInfo>("info");
    QTest::addColumn<int>("expectedBefore");
    QTest::addColumn<int>("expectedAfter");

    const auto search = [](int count, qint64 time, qint64 msgId) {
        ResourceSearchInfo info;
        info.count = count;
        info.time = time;
        info.msgId = msgId;
        return info;
    };
    constexpr qint64 max = std::numeric_limits<qint64>::max();
    constexpr qint64 min = std::numeric_limits<qint64>::min();
    const int all = 7;
    QTest::newRow("count 0 gives nothing") << "f" << search(0, 0, 0) << 0 << 0;
    QTest::newRow("negative count gives nothing") << "f" << search(-5, 0, 0) << 0 << 0;
    QTest::newRow("huge count gives every row") << "f" << search(INT_MAX, 0, 0) << all << all;
    QTest::newRow("message id without time is no cursor") << "f" << search(50, 0, 3) << all << all;
    QTest::newRow("negative time is no cursor") << "f" << search(50, -10, 3) << all << all;
    QTest::newRow("largest cursor") << "f" << search(50, max, max) << all << 0;
    QTest::newRow("largest time, whole millisecond") << "f" << search(50, max, 0) << all << 0;
    QTest::newRow("smallest message id") << "f" << search(50, T0 + 300, min) << 3 << 5;
    QTest::newRow("cursor before every row") << "f" << search(50, 1, 1) << 0 << all;
    QTest::newRow("unknown dialog") << "nobody" << search(50, 0, 0) << 0 << 0;
    QTest::newRow("empty dialog id") << "" << search(50, 0, 0) << 0 << 0;
    QTest::newRow("unknown types") << "f" << [] {
        ResourceSearchInfo info;
        info.types = {0, -1, 99};
        return info;
    }() << 0 << 0;
}

void tst_ResourceStorage::oddInput()
{
    QFETCH(QString, dialogId);
    QFETCH(ResourceSearchInfo, info);
    QFETCH(int, expectedBefore);
    QFETCH(int, expectedAfter);
    QVERIFY(m_storage->save(filterRows()));

    QCOMPARE(m_storage->infosBefore(dialogId, info).size(), expectedBefore);
    QCOMPARE(m_storage->infosAfter(dialogId, info).size(), expectedAfter);
}

void tst_ResourceStorage::saveReplacesByKey()
{
    QVERIFY(m_storage->save({makeRow("f", 1, 0, 100, 3, 7, "old")}));
    QVERIFY(m_storage->save({makeRow("f", 1, 0, 200, 5, 8, "new")}));
    QCOMPARE(m_storage->count("f"), 1);

    ResourceSearchInfo voices;
    voices.types = {3};
    QVERIFY(m_storage->infosBefore("f", voices).isEmpty());
    ResourceSearchInfo media;
    media.types = {2, 5};
    media.keyword = "new";
    const QList<ResourceInfo> rows = m_storage->infosBefore("f", media);
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.constFirst().dateTime, T0 + 200);
    QCOMPARE(rows.constFirst().senderId, qint64(8));
    QCOMPARE(rows.constFirst().type, 5);
    QCOMPARE(rows.constFirst().text, QStringLiteral("new"));
    QVERIFY(m_storage->save({}));
}

void tst_ResourceStorage::removal()
{
    QVERIFY(m_storage->save(pagingRows()));
    QCOMPARE(m_storage->count("a"), 19);
    QCOMPARE(m_storage->count("b"), 4);

    QVERIFY(m_storage->removeWithMessageIds("a", {13, 11, 13, 999}));
    QCOMPARE(m_storage->count("a"), 11);
    QCOMPARE(m_storage->count("b"), 4); // the same message ids in another dialog stay
    QVERIFY(m_storage->removeWithMessageIds("a", {}));
    QCOMPARE(m_storage->count("a"), 11);

    QVERIFY(m_storage->removeDialog("a"));
    QCOMPARE(m_storage->count("a"), 0);
    QCOMPARE(m_storage->count("b"), 4);
    QVERIFY(m_storage->removeDialog("unknown"));
}

QTEST_GUILESS_MAIN(tst_ResourceStorage)
#include "tst_resourcestorage.moc"
