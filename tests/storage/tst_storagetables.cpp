#include "bufferfilestorage.h"
#include "cachefilestorage.h"
#include "damageddatabase.h"
#include "database.h"
#include "dialogstorage.h"
#include "filestorage.h"
#include "keepmediasettingstorage.h"
#include "messagestorage.h"
#include "userstorageprovider.h"

#include <QTemporaryDir>
#include <QTest>
#include <memory>

using namespace storage;

namespace {

CacheFileInfo cacheFile(const QString &fileId, qint64 dateTime, qint64 size = 1)
{
    return {fileId, 2, QStringLiteral("jpg"), size, dateTime};
}

QStringList fileIdsOf(const QList<CacheFileInfo> &rows)
{
    QStringList ids;
    for (const CacheFileInfo &row : rows) {
        ids.append(row.fileId);
    }
    return ids;
}

MessageRecord message(const QString &dialogId, qint64 messageId, qint64 subMsgId, qint64 dateTime,
                      int type, qint64 senderId, const QString &text, bool removed = false)
{
    return {dialogId, messageId, subMsgId,
            dateTime, type,      senderId,
            text,     removed,   QByteArray("proto:") + text.toUtf8()};
}

QString keyOf(const MessageRecord &record)
{
    return QStringLiteral("%1/%2/%3")
            .arg(record.dialogId)
            .arg(record.messageId)
            .arg(record.subMsgId);
}

QStringList keysOf(const QList<MessageRecord> &records)
{
    QStringList keys;
    for (const MessageRecord &record : records) {
        keys.append(keyOf(record));
    }
    return keys;
}

// m1 holds a combined message (4) with two children and a removed message (5); m3's ids run
// against time.
QList<MessageRecord> sampleMessages()
{
    return {
            message("m1", 1, 0, 100, 2, 7, "Photo of the beach"),
            message("m1", 2, 0, 200, 1, 8, "see https://example.org"),
            message("m1", 3, 0, 300, 1, 7, "plain text, no link"),
            message("m1", 4, 0, 400, 7, 7, "combined"),
            message("m1", 4, 1, 400, 2, 7, "child photo"),
            message("m1", 4, 2, 400, 5, 7, "child clip"),
            message("m1", 5, 0, 500, 6, 9, "report.PDF", true),
            message("m1", 6, 0, 600, 3, 8, "voice"),
            message("m2", 1, 0, 150, 2, 7, "beach too"),
            message("m3", 10, 0, 100, 2, 7, "first in time"),
            message("m3", 5, 0, 200, 2, 7, "second in time"),
    };
}

} // namespace

Q_DECLARE_METATYPE(MessageSearchInfo)

class tst_StorageTables : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void cacheFilePaging_data();
    void cacheFilePaging();
    void cacheFileLookupAndRemoval();
    void cacheFileAddAndRemoveUnchanged();
    void failedReadIsNotNoRows_data();
    void failedReadIsNotNoRows();
    void bufferFiles();
    void keepMediaSettings();
    void fileRegistry();
    void idLists_data();
    void idLists();
    void savesEveryRowOfABatch_data();
    void savesEveryRowOfABatch();
    void messageLookup();
    void messageSearch_data();
    void messageSearch();
    void messageIdAtTime_data();
    void messageIdAtTime();
    void messageRemovalAndCount();
    void dialogs();
    void provider();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Database> m_db;
};

void tst_StorageTables::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_db = std::make_unique<Database>(m_dir->filePath("account.db"));
}

void tst_StorageTables::cleanup()
{
    m_db.reset();
    m_dir.reset();
}

void tst_StorageTables::cacheFilePaging_data()
{
    QTest::addColumn<int>("pageSize");
    QTest::addColumn<bool>("removeEachPage");

    for (const int size : {1, 2, 3, 6, 50}) {
        QTest::addRow("pages of %d", size) << size << false;
        QTest::addRow("pages of %d, each removed as it is visited", size) << size << true;
    }
}

// The cleanups' walk: from the start, then strictly after the last row, oldest first; rows of the
// same time order by file id, so no row is skipped or repeated, even when the visit deletes the
// rows of its page.
void tst_StorageTables::cacheFilePaging()
{
    QFETCH(int, pageSize);
    QFETCH(bool, removeEachPage);
    CacheFileStorage cache(m_db.get());
    QVERIFY(cache.save({cacheFile("e", 300), cacheFile("b", 100), cacheFile("a", 200),
                        cacheFile("c", 100), cacheFile("d", 200), cacheFile("f", 50)}));

    QStringList walked;
    const CacheFileStorage::Walk walk =
            cache.walkOldestFirst(pageSize, [&](const QList<CacheFileInfo> &page) {
                [&] {
                    QVERIFY(!page.isEmpty() && page.size() <= pageSize);
                }();
                walked += fileIdsOf(page);
                return !removeEachPage || cache.removeWithFileIds(fileIdsOf(page));
            });
    QCOMPARE(walk, CacheFileStorage::Walk::Ended);
    QCOMPARE(walked, QStringList({"f", "b", "c", "a", "d", "e"}));
    QCOMPARE(cache.count(), removeEachPage ? qint64(0) : qint64(6));

    walked.clear();
    QCOMPARE(cache.walkOldestFirst(pageSize,
                                   [&](const QList<CacheFileInfo> &page) {
                                       walked += fileIdsOf(page);
                                       return false;
                                   }),
             removeEachPage ? CacheFileStorage::Walk::Ended : CacheFileStorage::Walk::Stopped);
    QCOMPARE(walked.size(), removeEachPage ? 0 : qMin(pageSize, 6));
    QVERIFY(cache.infosAfter(0, QString(), 0).isEmpty());
    QVERIFY(cache.infosAfter(0, QString(), -1).isEmpty());
}

void tst_StorageTables::cacheFileLookupAndRemoval()
{
    CacheFileStorage cache(m_db.get());
    QVERIFY(cache.save({cacheFile("a", 100, 10), cacheFile("b", 200, 20), cacheFile("c", 300, 30),
                        cacheFile("d", 400, 40)}));
    QVERIFY(cache.save({cacheFile("a", 150, 11)})); // replaces
    QCOMPARE(cache.totalSize(), qint64(101));

    const QList<CacheFileInfo> found = cache.infosWithFileIds({"b", "zz", "", "b"});
    QCOMPARE(found.size(), 1);
    QCOMPARE(found.constFirst().fileId, QStringLiteral("b"));
    QCOMPARE(found.constFirst().type, 2);
    QCOMPARE(found.constFirst().suffix, QStringLiteral("jpg"));
    QCOMPARE(found.constFirst().size, qint64(20));
    QCOMPARE(found.constFirst().dateTime, qint64(200));

    QVERIFY(cache.removeBefore(200)); // strictly older
    QCOMPARE(fileIdsOf(cache.infosAfter(0, QString(), 10)), QStringList({"b", "c", "d"}));
    QVERIFY(cache.removeWithFileIds({"c", "unknown"}));
    QVERIFY(cache.removeWithFileIds({}));
    QCOMPARE(fileIdsOf(cache.infosAfter(0, QString(), 10)), QStringList({"b", "d"}));
    QVERIFY(cache.removeAll());
    QCOMPARE(cache.totalSize(), qint64(0));
    QVERIFY(cache.infosAfter(0, QString(), 10).isEmpty());
}

void tst_StorageTables::cacheFileAddAndRemoveUnchanged()
{
    CacheFileStorage cache(m_db.get());
    QVERIFY(cache.save({cacheFile("a", 100, 10), cacheFile("b", 200, 20)}));
    // A row already there stays as it is.
    QVERIFY(cache.add({cacheFile("a", 999, 99), cacheFile("c", 300, 30)}));
    QCOMPARE(cache.infosWithFileIds({"a"}).value(0).dateTime, qint64(100));
    QCOMPARE(cache.count(), qint64(3));
    // A row written anew since it was read (another time) stays.
    QVERIFY(cache.removeUnchanged({cacheFile("a", 100, 10), cacheFile("b", 201, 20)}));
    QCOMPARE(fileIdsOf(cache.infosAfter(0, QString(), 10)), QStringList({"b", "c"}));
    QVERIFY(cache.removeUnchanged({}));
}

void tst_StorageTables::failedReadIsNotNoRows_data()
{
    QTest::addColumn<bool>("damaged");
    QTest::newRow("a sound table with no row") << false;
    QTest::newRow("a table whose pages are garbage") << true;
}

// A caller that decides on what a read found must tell a failure from "no rows".
void tst_StorageTables::failedReadIsNotNoRows()
{
    QFETCH(bool, damaged);
    if (damaged) {
        QVERIFY(CacheFileStorage(m_db.get()).save({cacheFile("a", 100, 10)}));
        QVERIFY(KeepMediaSettingStorage(m_db.get()).save({"d", 7}));
        m_db.reset();
        const QString path = m_dir->filePath("account.db");
        // Every b-tree of the tables: an index of a table answers some reads on its own.
        QVERIFY(DamagedDatabase::damageRootPages(
                path,
                {"cache_file", "cache_file_time", "sqlite_autoindex_cache_file_1",
                 "keep_media_setting", "sqlite_autoindex_keep_media_setting_1", "buffer_file",
                 "buffer_file_time", "sqlite_autoindex_buffer_file_1", "dialog",
                 "sqlite_autoindex_dialog_1", "file_record"}));
        m_db = std::make_unique<Database>(path);
    }
    QVERIFY(m_db->isOpen());

    bool ok = damaged;
    QVERIFY(CacheFileStorage(m_db.get()).infosAfter(0, QString(), 10, &ok).isEmpty());
    QCOMPARE(ok, !damaged);
    QCOMPARE(CacheFileStorage(m_db.get()).walkOldestFirst(10, [](const auto &) { return true; }),
             damaged ? CacheFileStorage::Walk::Unreadable : CacheFileStorage::Walk::Ended);
    ok = damaged;
    QCOMPARE(CacheFileStorage(m_db.get()).count(&ok), qint64(0));
    QCOMPARE(ok, !damaged);
    ok = damaged;
    QCOMPARE(CacheFileStorage(m_db.get()).totalSize(&ok), qint64(0));
    QCOMPARE(ok, !damaged);
    ok = damaged;
    QVERIFY(KeepMediaSettingStorage(m_db.get()).infos(&ok).isEmpty());
    QCOMPARE(ok, !damaged);
    ok = damaged;
    QVERIFY(BufferFileStorage(m_db.get()).infos(10, &ok).isEmpty());
    QCOMPARE(ok, !damaged);
    ok = damaged;
    QVERIFY(DialogStorage(m_db.get()).dialogs(&ok).isEmpty());
    QCOMPARE(ok, !damaged);
    ok = damaged;
    QVERIFY(FileStorage(m_db.get()).infos({"a"}, &ok).isEmpty());
    QCOMPARE(ok, !damaged);
    QString problem;
    QCOMPARE(m_db->isSound(&problem), !damaged);
    QCOMPARE(problem.isEmpty(), !damaged);
}

void tst_StorageTables::bufferFiles()
{
    BufferFileStorage buffers(m_db.get());
    QVERIFY(buffers.save({{"late", 4, 4, "mp4", 1000, 300},
                          {"early", 2, 5, "", 10, 100},
                          {"middle", 4, 3, "wav", 500, 200}}));
    QList<BufferFileInfo> rows = buffers.infos(2);
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows.at(0).fileId, QStringLiteral("early"));
    QCOMPARE(rows.at(0).category, 2);
    QCOMPARE(rows.at(0).kind, 5);
    QCOMPARE(rows.at(0).suffix, QString(""));
    QCOMPARE(rows.at(1).fileId, QStringLiteral("middle"));
    QCOMPARE(rows.at(1).size, qint64(500));

    QVERIFY(buffers.remove({"early", "middle", "unknown"}));
    rows = buffers.infos(50);
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.constFirst().fileId, QStringLiteral("late"));
    QVERIFY(buffers.infos(0).isEmpty());
    QVERIFY(buffers.remove({}));
}

void tst_StorageTables::keepMediaSettings()
{
    KeepMediaSettingStorage settings(m_db.get());
    QVERIFY(settings.save({"b", 3}));
    QVERIFY(settings.save({"a", 1}));
    QVERIFY(settings.save({"b", 7})); // replaces

    QList<KeepMediaSettingInfo> rows = settings.infos();
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows.at(0).dialogId, QStringLiteral("a"));
    QCOMPARE(rows.at(0).keepTime, 1);
    QCOMPARE(rows.at(1).dialogId, QStringLiteral("b"));
    QCOMPARE(rows.at(1).keepTime, 7);

    QVERIFY(settings.remove("a"));
    QVERIFY(settings.remove("unknown"));
    rows = settings.infos();
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.constFirst().dialogId, QStringLiteral("b"));
}

void tst_StorageTables::fileRegistry()
{
    FileStorage files(m_db.get());
    FileRecord photo {"p1", 2, "jpg", 2048, "beach.jpg", "file:///tmp/p1.jpg", 0, 0};
    QVERIFY(files.save({photo, {"v1", 5, "mp4", 9999, "clip.mp4", "http://x/v1", 4, 9999}}));

    FileRecord stored = files.info("p1");
    QCOMPARE(stored.fileId, QStringLiteral("p1"));
    QCOMPARE(stored.type, 2);
    QCOMPARE(stored.suffix, QStringLiteral("jpg"));
    QCOMPARE(stored.size, qint64(2048));
    QCOMPARE(stored.name, QStringLiteral("beach.jpg"));
    QCOMPARE(stored.url, QStringLiteral("file:///tmp/p1.jpg"));
    QVERIFY(files.info("unknown").fileId.isEmpty());
    QVERIFY(files.info("").fileId.isEmpty());
    // An id is matched whole: what follows a NUL is not cut off to leave another stored id.
    QVERIFY(files.info(QStringLiteral("p1") + QChar(u'\0') + QStringLiteral("x")).fileId.isEmpty());

    QVERIFY(files.updateState("p1", 2, 1024));
    stored = files.info("p1");
    QCOMPARE(stored.state, 2);
    QCOMPARE(stored.downloaded, qint64(1024));
    QCOMPARE(stored.name, QStringLiteral("beach.jpg"));
    QVERIFY(!files.updateState("unknown", 4, 1));
    QVERIFY(files.info("unknown").fileId.isEmpty());

    QCOMPARE(files.infos({"v1", "p1", "x", "v1"}).size(), 2);
    QVERIFY(files.remove({"p1"}));
    QVERIFY(files.info("p1").fileId.isEmpty());
    QCOMPARE(files.info("v1").state, 4);
}

void tst_StorageTables::idLists_data()
{
    QTest::addColumn<QStringList>("stored");
    QTest::addColumn<QStringList>("asked");
    QTest::addColumn<QStringList>("found");

    const QStringList specials {"quote\"d", "back\\slash", "tab\there", "new\nline", "\x01ctl"};
    QTest::newRow("JSON specials") << specials + QStringList {"plain"} << specials << specials;
    const QStringList foreign {QStringLiteral("caf\u00e9"), QStringLiteral("\U0001F600 face"),
                               QStringLiteral("\u6587\u4ef6")};
    QTest::newRow("beyond ASCII") << foreign + QStringList {"cafe"} << foreign << foreign;
    QTest::newRow("empty ids name nothing")
            << QStringList {"", "a"} << QStringList {"", ""} << QStringList();
    QTest::newRow("an id with a NUL names nothing, not the id before it")
            << QStringList {"a", "b"}
            << QStringList {QStringLiteral("a") + QChar(u'\0') + QStringLiteral("b"), "b"}
            << QStringList {"b"};
    QStringList many;
    for (int i = 0; i < 5000; ++i) {
        many.append(QStringLiteral("id%1").arg(i));
    }
    QStringList everyOther;
    for (int i = 0; i < many.size(); i += 2) {
        everyOther.append(many.at(i));
    }
    QTest::newRow("thousands, with duplicates and unknown ids")
            << many << everyOther + everyOther + QStringList {"unknown"} << everyOther;
}

// Id lists travel as text the database parses: every id must come back as itself, and no list
// may be too long.
void tst_StorageTables::idLists()
{
    QFETCH(QStringList, stored);
    QFETCH(QStringList, asked);
    QFETCH(QStringList, found);
    FileStorage files(m_db.get());
    QList<FileRecord> records;
    for (const QString &fileId : stored) {
        records.append({fileId, 2, "jpg", 1, fileId, QString(), 0, 0});
    }
    QVERIFY(files.save(records));

    const auto sorted = [](QStringList ids) {
        ids.sort();
        return ids;
    };
    QStringList foundIds;
    for (const FileRecord &record : files.infos(asked)) {
        foundIds.append(record.fileId);
    }
    QCOMPARE(sorted(foundIds), sorted(found));
    // By position: each asked id has its own row, or an empty record in its place.
    const QList<FileRecord> byPosition = files.recordsOf(asked);
    QCOMPARE(byPosition.size(), asked.size());
    for (qsizetype i = 0; i < asked.size(); ++i) {
        const bool known = found.contains(asked.at(i));
        QCOMPARE(byPosition.at(i).fileId, known ? asked.at(i) : QString());
        QCOMPARE(byPosition.at(i).name, known ? asked.at(i) : QString());
    }
    QVERIFY(files.remove(asked));
    for (const QString &fileId : stored) {
        QCOMPARE(files.info(fileId).fileId.isEmpty(), fileId.isEmpty() || found.contains(fileId));
    }
}

void tst_StorageTables::savesEveryRowOfABatch_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("repeatedFrom");
    // Rows go into the table many at a time: around the size of a statement's share, and with
    // a row repeated later in the batch, within its share or in another, where the later wins.
    for (int count : {1, 63, 64, 65, 129}) {
        QTest::addRow("%d rows", count) << count << -1;
    }
    QTest::newRow("repeat in the same statement") << 64 << 10;
    QTest::newRow("repeat in the next statement") << 100 << 10;
    QTest::newRow("repeat among the rows left over") << 130 << 129;
}

void tst_StorageTables::savesEveryRowOfABatch()
{
    QFETCH(int, count);
    QFETCH(int, repeatedFrom);
    FileStorage files(m_db.get());
    QList<FileRecord> records;
    QList<QString> ids;
    for (int i = 0; i < count; ++i) {
        ids.append(QStringLiteral("f%1").arg(i));
        records.append({ids.last(), 2, "jpg", i, ids.last(), QString(), 0, 0});
    }
    if (repeatedFrom >= 0) {
        records.append({ids.at(repeatedFrom), 5, "mp4", 999, "again", QString(), 0, 0});
    }
    QVERIFY(files.save(records));

    const QList<FileRecord> stored = files.infos(ids);
    QCOMPARE(stored.size(), count);
    QCOMPARE(files.infosAfter(QString(), 1000).size(), count);
    for (const FileRecord &record : stored) {
        const int index = ids.indexOf(record.fileId);
        QCOMPARE(record.size, index == repeatedFrom ? 999 : index);
        QCOMPARE(record.suffix, index == repeatedFrom ? QString("mp4") : QString("jpg"));
    }
}

void tst_StorageTables::messageLookup()
{
    MessageStorage messages(m_db.get());
    QVERIFY(messages.save(sampleMessages()));

    const MessageRecord removed = messages.message("m1", MessageKey(5, 0));
    QCOMPARE(removed.dialogId, QStringLiteral("m1"));
    QCOMPARE(removed.dateTime, qint64(500));
    QCOMPARE(removed.type, 6);
    QCOMPARE(removed.senderId, qint64(9));
    QCOMPARE(removed.text, QStringLiteral("report.PDF"));
    QVERIFY(removed.removed);
    QCOMPARE(removed.data, QByteArray("proto:report.PDF"));
    QVERIFY(messages.message("m1", MessageKey(5, 1)).dialogId.isEmpty());
    QVERIFY(messages.message("m9", MessageKey(1, 0)).dialogId.isEmpty());

    const QList<MessageRecord> found = messages.messages(
            "m1", {MessageKey(4, 2), MessageKey(1, 0), MessageKey(4, 2), MessageKey(99, 0)});
    QStringList keys = keysOf(found);
    keys.sort();
    QCOMPARE(keys, QStringList({"m1/1/0", "m1/4/2"}));
    QCOMPARE(keysOf(messages.subMessages("m1", 4)), QStringList({"m1/4/1", "m1/4/2"}));
    QVERIFY(messages.subMessages("m1", 1).isEmpty());

    // More keys than one statement binds.
    QList<MessageRecord> many;
    QList<MessageKey> manyKeys;
    for (int i = 1; i <= 700; ++i) {
        many.append(message("big", i, i % 3, i, 2, 1, QString()));
        manyKeys.append(MessageKey(i, i % 3));
    }
    QVERIFY(messages.save(many));
    QCOMPARE(messages.messages("big", manyKeys).size(), 700);
}

void tst_StorageTables::messageSearch_data()
{
    QTest::addColumn<MessageSearchInfo>("info");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<bool>("hasMore");

    const auto search = [](auto fill) {
        MessageSearchInfo info;
        info.dialogIds = {"m1"};
        fill(info);
        return info;
    };
    QTest::newRow("one dialog, newest first, removed left out")
            << search([](auto &) {})
            << QStringList {"m1/6/0", "m1/4/2", "m1/4/1", "m1/4/0", "m1/3/0", "m1/2/0", "m1/1/0"}
            << false;
    QTest::newRow("oldest first") << search([](auto &i) {
        i.newer = true;
    }) << QStringList {"m1/1/0", "m1/2/0", "m1/3/0", "m1/4/0", "m1/4/1", "m1/4/2", "m1/6/0"}
                                  << false;
    QTest::newRow("several dialogs") << search([](auto &i) {
        i.dialogIds = {"m2", "m1", "m2"};
        i.count = 3;
    }) << QStringList {"m1/6/0", "m1/4/2", "m1/4/1"}
                                     << true;
    QTest::newRow("all dialogs") << search([](auto &i) {
        i.dialogIds.clear();
        i.keyword = "BEACH";
    }) << QStringList {"m2/1/0", "m1/1/0"}
                                 << false;
    QTest::newRow("types, children included") << search([](auto &i) {
        i.types = {2, 5};
    }) << QStringList {"m1/4/2", "m1/4/1", "m1/1/0"}
                                              << false;
    QTest::newRow("links only") << search([](auto &i) { i.linksOnly = true; })
                                << QStringList {"m1/2/0"} << false;
    QTest::newRow("links with other types") << search([](auto &i) {
        i.linksOnly = true;
        i.types = {2};
    }) << QStringList {"m1/4/1", "m1/2/0", "m1/1/0"}
                                            << false;
    QTest::newRow("senders") << search([](auto &i) { i.senderIds = {8}; })
                             << QStringList {"m1/6/0", "m1/2/0"} << false;
    QTest::newRow("time span, both ends included") << search([](auto &i) {
        i.startTime = 200;
        i.endTime = 400;
    }) << QStringList {"m1/4/2", "m1/4/1", "m1/4/0", "m1/3/0", "m1/2/0"}
                                                   << false;
    QTest::newRow("older from a message, included")
            << search([](auto &i) { i.msgId = 3; }) << QStringList {"m1/3/0", "m1/2/0", "m1/1/0"}
            << false;
    QTest::newRow("newer from a message, included") << search([](auto &i) {
        i.msgId = 4;
        i.newer = true;
    }) << QStringList {"m1/4/0", "m1/4/1", "m1/4/2", "m1/6/0"}
                                                    << false;
    QTest::newRow("a removed message is never found")
            << search([](auto &i) { i.keyword = "report"; }) << QStringList {} << false;
    QTest::newRow("a full page tells there is more")
            << search([](auto &i) { i.count = 2; }) << QStringList {"m1/6/0", "m1/4/2"} << true;
    QTest::newRow("a page of exactly the rest has no more")
            << search([](auto &i) { i.count = 7; })
            << QStringList {"m1/6/0", "m1/4/2", "m1/4/1", "m1/4/0", "m1/3/0", "m1/2/0", "m1/1/0"}
            << false;
    QTest::newRow("count 0") << search([](auto &i) { i.count = 0; }) << QStringList {} << false;
    QTest::newRow("huge count") << search([](auto &i) {
        i.count = INT_MAX;
        i.senderIds = {9, 8};
    }) << QStringList {"m1/6/0", "m1/2/0"}
                                << false;
    QTest::newRow("only unknown dialogs") << search([](auto &i) {
        i.dialogIds = {"zz", ""};
    }) << QStringList {} << false;
}

void tst_StorageTables::messageSearch()
{
    QFETCH(MessageSearchInfo, info);
    QFETCH(QStringList, expected);
    QFETCH(bool, hasMore);
    MessageStorage messages(m_db.get());
    QVERIFY(messages.save(sampleMessages()));

    bool more = !hasMore;
    QCOMPARE(keysOf(messages.search(info, &more)), expected);
    QCOMPARE(more, hasMore);
    QCOMPARE(keysOf(messages.search(info, nullptr)), expected);
}

void tst_StorageTables::messageIdAtTime_data()
{
    QTest::addColumn<QString>("dialogId");
    QTest::addColumn<qint64>("time");
    QTest::addColumn<qint64>("expected");

    QTest::newRow("between messages") << "m1" << qint64(250) << qint64(3);
    QTest::newRow("at a message's time") << "m1" << qint64(300) << qint64(3);
    QTest::newRow("before everything") << "m1" << qint64(0) << qint64(1);
    QTest::newRow("after everything") << "m1" << qint64(601) << qint64(0);
    QTest::newRow("smallest id, not the earliest") << "m3" << qint64(50) << qint64(5);
    QTest::newRow("unknown dialog") << "zz" << qint64(0) << qint64(0);
}

void tst_StorageTables::messageIdAtTime()
{
    QFETCH(QString, dialogId);
    QFETCH(qint64, time);
    QFETCH(qint64, expected);
    MessageStorage messages(m_db.get());
    QVERIFY(messages.save(sampleMessages()));

    QCOMPARE(messages.messageIdAtTime(dialogId, time), expected);
}

void tst_StorageTables::messageRemovalAndCount()
{
    MessageStorage messages(m_db.get());
    QVERIFY(messages.save(sampleMessages()));
    QCOMPARE(messages.count(), 11);
    QCOMPARE(messages.count("m1"), 8);

    QVERIFY(messages.removeWithMessageIds("m1", {4, 6, 404}));
    QCOMPARE(messages.count("m1"), 4);
    QVERIFY(messages.subMessages("m1", 4).isEmpty());
    QVERIFY(messages.removeWithMessageIds("m1", {}));
    QCOMPARE(messages.count(), 7);
    QCOMPARE(messages.count("zz"), 0);
}

void tst_StorageTables::dialogs()
{
    DialogStorage dialogs(m_db.get());
    DialogRecord group {"g", "Group", 1, true, 12, 2000, false, false};
    DialogRecord single {"p", "Person", 0, false, 0, 3000, true, true};
    DialogRecord service {"s", "Service", 2, false, 0, 1000, true, false};
    QVERIFY(dialogs.save({group, single, service}));

    QStringList order;
    for (const DialogRecord &record : dialogs.dialogs()) {
        order.append(record.dialogId);
    }
    QCOMPARE(order, QStringList({"p", "g", "s"}));

    const DialogRecord stored = dialogs.dialog("g");
    QCOMPARE(stored.name, QStringLiteral("Group"));
    QCOMPARE(stored.type, 1);
    QVERIFY(stored.isGroup);
    QCOMPARE(stored.firstVisibleMsgId, qint64(12));
    QCOMPARE(stored.lastActiveTime, qint64(2000));
    QVERIFY(!stored.canSearchRemote);
    QVERIFY(!stored.hasRemoteHistory);
    QVERIFY(dialogs.dialog("unknown").dialogId.isEmpty());

    group.name = "Renamed";
    QVERIFY(dialogs.save({group}));
    QCOMPARE(dialogs.dialog("g").name, QStringLiteral("Renamed"));
    QVERIFY(dialogs.remove("g"));
    QVERIFY(dialogs.dialog("g").dialogId.isEmpty());
    QCOMPARE(dialogs.dialogs().size(), 2);
}

void tst_StorageTables::provider()
{
    const QString path = m_dir->filePath("provider.db");
    UserStorageProvider provider(path);
    QCOMPARE(provider.database()->path(), path);
    QVERIFY(provider.database()->isOpen());
    QVERIFY(provider.resourceStorage());
    QVERIFY(provider.fileReferenceStorage());
    QVERIFY(provider.bufferFileStorage());
    QVERIFY(provider.fileStorage());

    // Every table lives in the one file.
    QVERIFY(provider.cacheFileStorage()->save({cacheFile("a", 1, 5)}));
    QVERIFY(provider.keepMediaSettingStorage()->save({"d", 2}));
    QVERIFY(provider.messageStorage()->save({message("d", 1, 0, 1, 2, 1, "x")}));
    QVERIFY(provider.dialogStorage()->save({{"d", "D", 0, false, 0, 0, true, true}}));
    Database again(path);
    QCOMPARE(CacheFileStorage(&again).totalSize(), qint64(5));
    QCOMPARE(KeepMediaSettingStorage(&again).infos().size(), 1);
    QCOMPARE(MessageStorage(&again).count(), 1);
    QCOMPARE(DialogStorage(&again).dialogs().size(), 1);
}

QTEST_GUILESS_MAIN(tst_StorageTables)
#include "tst_storagetables.moc"
