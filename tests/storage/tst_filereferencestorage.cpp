#include "damageddatabase.h"
#include "database.h"
#include "filereferencestorage.h"

#include <QTemporaryDir>
#include <QTest>
#include <memory>

using storage::Database;
using storage::FileReferenceInfo;
using storage::FileReferenceStorage;

namespace {

constexpr int Quoted = 0x800;

FileReferenceInfo makeRow(const QString &dialogId, qint64 messageId, qint32 subMsgId, int type,
                          qint64 dateTime, const QString &fileId,
                          const QString &thumbId = QString())
{
    FileReferenceInfo row;
    row.dialogId = dialogId;
    row.messageId = messageId;
    row.subMsgId = subMsgId;
    row.type = type;
    row.dateTime = dateTime;
    row.fileId = fileId;
    row.thumbId = thumbId;
    row.data = QByteArray(R"({"fileId":")") + fileId.toUtf8() + QByteArray(R"("})");
    return row;
}

QString keyOf(const FileReferenceInfo &row)
{
    return QStringLiteral("%1/%2/%3/%4")
            .arg(row.dialogId)
            .arg(row.messageId)
            .arg(row.subMsgId)
            .arg(row.type);
}

// Sorted, since these queries promise no order.
QStringList keysOf(const QList<FileReferenceInfo> &rows)
{
    QStringList keys;
    for (const FileReferenceInfo &row : rows) {
        keys.append(keyOf(row));
    }
    keys.sort();
    return keys;
}

QStringList sorted(QStringList keys)
{
    keys.sort();
    return keys;
}

// Two dialogs; file "shared" is named by two messages of d1 and by a forward in d2; a quoted
// photo in d1/5 names "p1" again; message 3 is combined with two children.
QList<FileReferenceInfo> sampleRows()
{
    return {
            makeRow("d1", 1, 0, 2, 1000, "p1", "t1"),
            makeRow("d1", 2, 0, 5, 2000, "shared", "t2"),
            makeRow("d1", 3, 1, 2, 3000, "c1", "t3"),
            makeRow("d1", 3, 2, 5, 3000, "c2", "t4"),
            makeRow("d1", 4, 0, 6, 4000, "shared"),
            makeRow("d1", 5, 0, 2 | Quoted, 5000, "p1", "t1"),
            makeRow("d1", 5, 0, 1, 5000, ""),
            makeRow("d2", 1, 0, 5, 1500, "shared", "t2"),
            makeRow("d2", 2, 0, 3, 2500, "v1"),
    };
}

} // namespace

class tst_FileReferenceStorage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void saveReplacesByKey();
    void saveBatchAcrossStatements();
    void savesLongValuesIntact_data();
    void savesLongValuesIntact();
    void fileReferences_data();
    void fileReferences();
    void lookups_data();
    void lookups();
    void byLivePhotoId();
    void removeMessage();
    void removeWithMessageRange_data();
    void removeWithMessageRange();
    void removeWithMessageIds();
    void removeBefore_data();
    void removeBefore();
    void infosWithDialog_data();
    void infosWithDialog();
    void longIdLists();
    void failedLookupIsNotNoRows_data();
    void failedLookupIsNotNoRows();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Database> m_db;
    std::unique_ptr<FileReferenceStorage> m_storage;
};

void tst_FileReferenceStorage::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_db = std::make_unique<Database>(m_dir->filePath("account.db"));
    m_storage = std::make_unique<FileReferenceStorage>(m_db.get());
    QVERIFY(m_storage->save(sampleRows()));
}

void tst_FileReferenceStorage::cleanup()
{
    m_storage.reset();
    m_db.reset();
    m_dir.reset();
}

void tst_FileReferenceStorage::saveReplacesByKey()
{
    FileReferenceInfo edited = makeRow("d1", 1, 0, 2, 1111, "p1-edited", "t9");
    edited.data = "{}";
    QVERIFY(m_storage->save({edited}));

    const QList<FileReferenceInfo> rows = m_storage->infosWithMessageIds("d1", {1});
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.constFirst().fileId, QStringLiteral("p1-edited"));
    QCOMPARE(rows.constFirst().thumbId, QStringLiteral("t9"));
    QCOMPARE(rows.constFirst().dateTime, qint64(1111));
    QCOMPARE(rows.constFirst().data, QByteArray("{}"));
    // The quoted row of the same message key is a row of its own.
    QCOMPARE(m_storage->infosWithMessageIds("d1", {5}).size(), 2);
    QVERIFY(m_storage->save({}));
}

void tst_FileReferenceStorage::fileReferences_data()
{
    QTest::addColumn<QList<QString>>("fileIds");
    QTest::addColumn<QStringList>("expected"); // "id=count"

    QTest::newRow("one row") << QList<QString> {"c1"} << QStringList {"c1=1"};
    QTest::newRow("several messages and dialogs")
            << QList<QString> {"shared"} << QStringList {"shared=3"};
    QTest::newRow("a quote keeps its file referenced")
            << QList<QString> {"p1"} << QStringList {"p1=2"};
    QTest::newRow("unknown ids are absent")
            << QList<QString> {"nope", "c2", "gone"} << QStringList {"c2=1"};
    QTest::newRow("thumbnail ids are not file references")
            << QList<QString> {"t1", "t2"} << QStringList {};
    QTest::newRow("the empty id names no file") << QList<QString> {""} << QStringList {};
    QTest::newRow("repeated ids count once") << QList<QString> {"v1", "v1"} << QStringList {"v1=1"};
    QTest::newRow("no ids") << QList<QString> {} << QStringList {};
}

void tst_FileReferenceStorage::fileReferences()
{
    QFETCH(QList<QString>, fileIds);
    QFETCH(QStringList, expected);

    const QMap<QString, int> references = m_storage->fileReferences(fileIds);
    QStringList found;
    for (auto it = references.cbegin(); it != references.cend(); ++it) {
        found.append(QStringLiteral("%1=%2").arg(it.key()).arg(it.value()));
    }
    QCOMPARE(found, expected);
}

void tst_FileReferenceStorage::lookups_data()
{
    QTest::addColumn<QString>("lookup");
    QTest::addColumn<QList<QString>>("ids");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("by file id, every dialog") << "file" << QList<QString> {"shared"}
                                              << QStringList {"d1/2/0/5", "d1/4/0/6", "d2/1/0/5"};
    QTest::newRow("by file id, quoted rows too")
            << "file" << QList<QString> {"p1", "zzz"} << QStringList {"d1/1/0/2", "d1/5/0/2050"};
    QTest::newRow("by file id, the empty id matches nothing")
            << "file" << QList<QString> {""} << QStringList {};
    QTest::newRow("by thumbnail id") << "thumb" << QList<QString> {"t2", "t4"}
                                     << QStringList {"d1/2/0/5", "d1/3/2/5", "d2/1/0/5"};
    QTest::newRow("by thumbnail id, rows without one are not matched by the empty id")
            << "thumb" << QList<QString> {""} << QStringList {};
    QTest::newRow("by message ids, children and quotes too")
            << "message" << QList<QString> {"3", "5", "99"}
            << QStringList {"d1/3/1/2", "d1/3/2/5", "d1/5/0/1", "d1/5/0/2050"};
}

void tst_FileReferenceStorage::lookups()
{
    QFETCH(QString, lookup);
    QFETCH(QList<QString>, ids);
    QFETCH(QStringList, expected);

    QList<FileReferenceInfo> rows;
    if (lookup == "file") {
        rows = m_storage->infosWithFileIds(ids);
    } else if (lookup == "thumb") {
        rows = m_storage->infosWithThumbIds(ids);
    } else {
        QList<qint64> messageIds;
        for (const QString &id : std::as_const(ids)) {
            messageIds.append(id.toLongLong());
        }
        rows = m_storage->infosWithMessageIds("d1", messageIds);
    }
    QCOMPARE(keysOf(rows), sorted(expected));
}

// A live photo with a thumbnail names its video only in its record; a record that does not
// parse is written all the same and named by nothing.
void tst_FileReferenceStorage::byLivePhotoId()
{
    FileReferenceInfo withThumb = makeRow("d3", 1, 0, 2, 1000, "lp1", "lt1");
    withThumb.data = R"({"fileId":"lp1","thumbId":"lt1","livePhotoId":"lv","livePhotoSize":9})";
    FileReferenceInfo forwarded = makeRow("d4", 7, 0, 2, 2000, "lp1", "lv");
    forwarded.data = R"({"livePhotoId":"lv","fileId":"lp1"})";
    FileReferenceInfo other = makeRow("d3", 2, 0, 2, 3000, "lp2", "lt2");
    other.data = R"({"fileId":"lp2","livePhotoId":"lw"})";
    FileReferenceInfo broken = makeRow("d3", 3, 0, 2, 4000, "lp3");
    broken.data = R"({"fileId":"lp3","livePhotoId":"lv")";
    QVERIFY(m_storage->save({withThumb, forwarded, other, broken}));

    QCOMPARE(keysOf(m_storage->infosWithLivePhotoIds({"lv", "", "nope"})),
             (QStringList {"d3/1/0/2", "d4/7/0/2"}));
    QVERIFY(m_storage->infosWithLivePhotoIds({"lt1", "lp1"}).isEmpty());
    QCOMPARE(m_storage->infosWithMessageIds("d3", {3}).size(), 1);
}

void tst_FileReferenceStorage::removeMessage()
{
    QVERIFY(m_storage->remove("d1", 5));
    QVERIFY(m_storage->infosWithMessageIds("d1", {5}).isEmpty());
    QCOMPARE(m_storage->fileReferences({"p1"}).value("p1"), 1);

    QVERIFY(m_storage->remove("d1", 3));
    QVERIFY(!m_storage->fileReferences({"c1", "c2"}).contains("c1"));
    QVERIFY(m_storage->fileReferences({"c1", "c2"}).isEmpty());
    QVERIFY(m_storage->remove("d1", 12345));
    QCOMPARE(m_storage->infosWithDialog("d2", 0, {}).size(), 2);
}

void tst_FileReferenceStorage::removeWithMessageRange_data()
{
    QTest::addColumn<qint64>("from");
    QTest::addColumn<qint64>("to");
    QTest::addColumn<QStringList>("removed");

    QTest::newRow("both bounds included")
            << qint64(2) << qint64(3) << QStringList {"d1/2/0/5", "d1/3/1/2", "d1/3/2/5"};
    QTest::newRow("a single message")
            << qint64(5) << qint64(5) << QStringList {"d1/5/0/1", "d1/5/0/2050"};
    QTest::newRow("past the last message")
            << qint64(4) << qint64(1000) << QStringList {"d1/4/0/6", "d1/5/0/1", "d1/5/0/2050"};
    QTest::newRow("no message in range") << qint64(100) << qint64(200) << QStringList {};
    QTest::newRow("inverted range removes nothing") << qint64(3) << qint64(2) << QStringList {};
}

void tst_FileReferenceStorage::removeWithMessageRange()
{
    QFETCH(qint64, from);
    QFETCH(qint64, to);
    QFETCH(QStringList, removed);
    if (from > to) {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("inverted message range"));
    }

    QCOMPARE(keysOf(m_storage->removeWithMessageRange("d1", MessageIdRange(from, to))),
             sorted(removed));
    QStringList left = keysOf(m_storage->infosWithDialog("d1", 0, {}));
    for (const QString &key : std::as_const(removed)) {
        QVERIFY(!left.contains(key));
    }
    QCOMPARE(left.size() + removed.size(), 7);
    QCOMPARE(m_storage->infosWithDialog("d2", 0, {}).size(), 2);
}

void tst_FileReferenceStorage::removeWithMessageIds()
{
    const QList<FileReferenceInfo> removed = m_storage->removeWithMessageIds("d1", {3, 1, 3, 77});
    QCOMPARE(keysOf(removed), sorted({"d1/1/0/2", "d1/3/1/2", "d1/3/2/5"}));
    const FileReferenceInfo &first = *std::find_if(
            removed.cbegin(), removed.cend(), [](const auto &row) { return row.messageId == 1; });
    QCOMPARE(first.thumbId, QStringLiteral("t1"));
    QCOMPARE(first.data, QByteArray(R"({"fileId":"p1"})"));
    QCOMPARE(first.dateTime, qint64(1000));

    QVERIFY(m_storage->infosWithMessageIds("d1", {1, 3}).isEmpty());
    QVERIFY(m_storage->removeWithMessageIds("d1", {1, 3}).isEmpty());
    QVERIFY(m_storage->removeWithMessageIds("d1", {}).isEmpty());
    QCOMPARE(m_storage->infosWithDialog("d1", 0, {}).size(), 4);
}

void tst_FileReferenceStorage::removeBefore_data()
{
    QTest::addColumn<qint64>("time");
    QTest::addColumn<QStringList>("removed");

    QTest::newRow("rows at the time are removed")
            << qint64(2000) << QStringList {"d1/1/0/2", "d1/2/0/5"};
    QTest::newRow("before the first row") << qint64(999) << QStringList {};
    QTest::newRow("no time clears the dialog")
            << qint64(0) << QStringList {"d1/1/0/2", "d1/2/0/5", "d1/3/1/2",   "d1/3/2/5",
                                         "d1/4/0/6", "d1/5/0/1", "d1/5/0/2050"};
    QTest::newRow("negative time clears the dialog too")
            << qint64(-1) << QStringList {"d1/1/0/2", "d1/2/0/5", "d1/3/1/2",   "d1/3/2/5",
                                          "d1/4/0/6", "d1/5/0/1", "d1/5/0/2050"};
}

void tst_FileReferenceStorage::removeBefore()
{
    QFETCH(qint64, time);
    QFETCH(QStringList, removed);

    QCOMPARE(keysOf(m_storage->removeBefore("d1", time)), sorted(removed));
    QCOMPARE(m_storage->infosWithDialog("d1", 0, {}).size(), 7 - removed.size());
    QCOMPARE(m_storage->infosWithDialog("d2", 0, {}).size(), 2);
}

void tst_FileReferenceStorage::infosWithDialog_data()
{
    QTest::addColumn<qint64>("sinceTime");
    QTest::addColumn<QList<int>>("types");
    QTest::addColumn<QStringList>("expected"); // newest first

    QTest::newRow("every row, newest first")
            << qint64(0) << QList<int> {}
            << QStringList {"d1/5/0/1", "d1/5/0/2050", "d1/4/0/6", "d1/3/2/5",
                            "d1/3/1/2", "d1/2/0/5",    "d1/1/0/2"};
    QTest::newRow("since a time, included")
            << qint64(4000) << QList<int> {} << QStringList {"d1/5/0/1", "d1/5/0/2050", "d1/4/0/6"};
    QTest::newRow("some types") << qint64(0) << QList<int> {2, 5}
                                << QStringList {"d1/3/2/5", "d1/3/1/2", "d1/2/0/5", "d1/1/0/2"};
    QTest::newRow("quoted rows only when asked for")
            << qint64(0) << QList<int> {2 | Quoted} << QStringList {"d1/5/0/2050"};
    QTest::newRow("types and time")
            << qint64(2500) << QList<int> {2, 5} << QStringList {"d1/3/2/5", "d1/3/1/2"};
}

void tst_FileReferenceStorage::infosWithDialog()
{
    QFETCH(qint64, sinceTime);
    QFETCH(QList<int>, types);
    QFETCH(QStringList, expected);

    QStringList found;
    for (const FileReferenceInfo &row : m_storage->infosWithDialog("d1", sinceTime, types)) {
        found.append(keyOf(row));
    }
    QCOMPARE(found, expected);
}

// A batch is written many rows to a statement: a partial last statement and a key repeated across
// statements keep the order of the rows, the later one winning.
void tst_FileReferenceStorage::saveBatchAcrossStatements()
{
    QList<FileReferenceInfo> rows;
    for (int i = 0; i < 123; ++i) {
        rows.append(makeRow("batch", 1000 + i, 0, 2, i, QStringLiteral("b%1").arg(i)));
    }
    rows.append(makeRow("batch", 1000, 0, 2, 7, QStringLiteral("b-last")));
    QVERIFY(m_storage->save(rows));
    const QList<FileReferenceInfo> stored = m_storage->infosWithDialog("batch", 0, {});
    QCOMPARE(stored.size(), 123);
    QCOMPARE(m_storage->infosWithMessageIds("batch", {1000}).constFirst().fileId,
             QStringLiteral("b-last"));
    QCOMPARE(m_storage->infosWithMessageIds("batch", {1122}).constFirst().fileId,
             QStringLiteral("b122"));
}

void tst_FileReferenceStorage::savesLongValuesIntact_data()
{
    QTest::addColumn<int>("rowCount");
    QTest::addColumn<int>("idLength");
    QTest::addColumn<QString>("idChar");
    QTest::addColumn<int>("dataLength");
    // Bound values are copied into memory of the statement's own until it has run: many values
    // filling it several times over, single values larger than its blocks, text whose UTF-8 is
    // longer than its UTF-16.
    QTest::newRow("many rows of long ids") << 300 << 700 << QStringLiteral("a") << 900;
    QTest::newRow("an id larger than a block") << 3 << 40000 << QStringLiteral("b") << 10;
    QTest::newRow("wide characters larger than a block")
            << 2 << 9000 << QStringLiteral("\u6587") << 10;
    QTest::newRow("characters outside the BMP") << 70 << 300 << QStringLiteral("\U0001F600") << 10;
    QTest::newRow("accented characters after ASCII") << 40 << 20 << QStringLiteral("\u00e9") << 10;
    QTest::newRow("data larger than a block") << 2 << 5 << QStringLiteral("c") << 70000;
}

void tst_FileReferenceStorage::savesLongValuesIntact()
{
    QFETCH(int, rowCount);
    QFETCH(int, idLength);
    QFETCH(QString, idChar);
    QFETCH(int, dataLength);
    QList<FileReferenceInfo> rows;
    for (int i = 0; i < rowCount; ++i) {
        FileReferenceInfo row =
                makeRow("long", i + 1, 0, 2, i + 1, QString::number(i) + idChar.repeated(idLength));
        row.thumbId = idChar.repeated(idLength / 2) + QString::number(i);
        row.data = QByteArray(dataLength, char('0' + i % 10));
        rows.append(row);
    }
    QVERIFY(m_storage->save(rows));

    const QList<FileReferenceInfo> stored = m_storage->infosWithDialog("long", 0, {});
    QCOMPARE(stored.size(), rowCount);
    for (const FileReferenceInfo &row : stored) {
        const FileReferenceInfo &saved = rows.at(row.messageId - 1);
        QCOMPARE(row.fileId, saved.fileId);
        QCOMPARE(row.thumbId, saved.thumbId);
        QCOMPARE(row.data, saved.data);
    }
}

// Lists longer than one statement may bind are cut into chunks; nothing is lost at the seams.
void tst_FileReferenceStorage::longIdLists()
{
    QList<FileReferenceInfo> rows;
    QList<QString> fileIds;
    QList<qint64> messageIds;
    for (int i = 0; i < 2500; ++i) {
        rows.append(makeRow("big", 100 + i, 0, 2, i, QStringLiteral("f%1").arg(i)));
        fileIds.append(QStringLiteral("f%1").arg(i));
        messageIds.append(100 + i);
    }
    QVERIFY(m_storage->save(rows));

    QCOMPARE(m_storage->fileReferences(fileIds).size(), 2500);
    QCOMPARE(m_storage->infosWithFileIds(fileIds).size(), 2500);
    QCOMPARE(m_storage->infosWithMessageIds("big", messageIds).size(), 2500);
    QCOMPARE(m_storage->removeWithMessageIds("big", messageIds).size(), 2500);
    QVERIFY(m_storage->fileReferences(fileIds).isEmpty());
}

void tst_FileReferenceStorage::failedLookupIsNotNoRows_data()
{
    QTest::addColumn<bool>("damaged");
    QTest::newRow("no row names the file") << false;
    QTest::newRow("the table's pages are garbage") << true;
}

// The lookups a deletion rests on tell a failure from "no row names the file", which would let
// the file go.
void tst_FileReferenceStorage::failedLookupIsNotNoRows()
{
    QFETCH(bool, damaged);
    if (damaged) {
        QVERIFY(m_storage->save({{"d", 1, 0, 2, 10, "t", "f", QByteArray()}}));
        m_storage.reset();
        m_db.reset();
        const QString path = m_dir->filePath("account.db");
        QVERIFY(DamagedDatabase::damageRootPages(path, DamagedDatabase::fileReferencePages()));
        m_db = std::make_unique<Database>(path);
        m_storage = std::make_unique<FileReferenceStorage>(m_db.get());
    }
    const QList<QString> ids {"x", "y"};
    bool ok = damaged;
    QVERIFY(m_storage->fileReferences(ids, &ok).isEmpty());
    QCOMPARE(ok, !damaged);
    ok = damaged;
    QVERIFY(m_storage->infosWithFileIds(ids, &ok).isEmpty());
    QCOMPARE(ok, !damaged);
    ok = damaged;
    QVERIFY(m_storage->infosWithThumbIds(ids, &ok).isEmpty());
    QCOMPARE(ok, !damaged);
    ok = damaged;
    QVERIFY(m_storage->infosWithLivePhotoIds(ids, &ok).isEmpty());
    QCOMPARE(ok, !damaged);
}

QTEST_GUILESS_MAIN(tst_FileReferenceStorage)
#include "tst_filereferencestorage.moc"
