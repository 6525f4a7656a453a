#include "mediatestsupport.h"
#include "mediautil.h"
#include "messagebase.h"
#include "resourceitem.h"
#include "selection/mediaselectinfo.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

using namespace MediaTest;

Q_DECLARE_METATYPE(im::Message)

namespace {

// Items of one dialog, newest first: message ids 50, 40, 30 (with sub-items 2 and 1), 20, 10.
QList<ResourceItem *> galleryItems()
{
    return {rowItem("u1", 50, 0, 5000), rowItem("u1", 40, 0, 4000), rowItem("u1", 30, 2, 3000),
            rowItem("u1", 30, 1, 3000), rowItem("u1", 20, 0, 2000), rowItem("u1", 10, 0, 1000)};
}

// The time an item of a message id has in galleryItems().
qint64 timeOf(const MessageKey &key)
{
    return key.messageId * 100;
}

bool descendingByKey(const QList<ResourceItem *> &items)
{
    for (int row = 1; row < items.size(); ++row) {
        if (!(*items.at(row - 1) > *items.at(row))) {
            return false;
        }
    }
    return true;
}

void writeFile(const QString &path, int size)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(QByteArray(size, 'x')), qint64(size));
}

} // namespace

// The helpers shared by the models, the selection and the storage view.
class TestMediaUtil : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void find_data();
    void find();
    void findKeepsOrderWhenInsertingAtPos_data();
    void findKeepsOrderWhenInsertingAtPos();
    void findInSelections_data();
    void findInSelections();
    void keywords_data();
    void keywords();
    void matchedKeyword_data();
    void matchedKeyword();
    void makeMediaKey_data();
    void makeMediaKey();
    void makeMediaKeyOfNothing();
    void dirFileSizeAdds();
};

void TestMediaUtil::find_data()
{
    QTest::addColumn<MessageKey>("key");
    QTest::addColumn<bool>("found");
    QTest::addColumn<int>("pos");

    QTest::newRow("newer than the first: row 0") << MessageKey(60, 0) << false << 0;
    QTest::newRow("the first") << MessageKey(50, 0) << true << 0;
    QTest::newRow("held in the middle") << MessageKey(30, 1) << true << 3;
    QTest::newRow("between two rows") << MessageKey(35, 0) << false << 2;
    QTest::newRow("between sub-items of one message") << MessageKey(30, 0) << false << 4;
    QTest::newRow("above every sub-item of a message") << MessageKey(30, 0x7fffffff) << false << 2;
    QTest::newRow("the last") << MessageKey(10, 0) << true << 5;
    QTest::newRow("older than the last: the size") << MessageKey(5, 0) << false << 6;
}

void TestMediaUtil::find()
{
    QFETCH(MessageKey, key);
    const QList<ResourceItem *> items = galleryItems();
    const ResourceItem probe("u1", key, timeOf(key));

    int pos = -1;
    QTEST(MediaUtil::find(items, key, pos), "found");
    QTEST(pos, "pos");
    pos = -1;
    QTEST(MediaUtil::find(items, probe, pos), "found");
    QTEST(pos, "pos");
    qDeleteAll(items);
}

void TestMediaUtil::findKeepsOrderWhenInsertingAtPos_data()
{
    QTest::addColumn<quint32>("seed");
    QTest::newRow("seed 1") << 1u;
    QTest::newRow("seed 2") << 2u;
    QTest::newRow("seed 3") << 3u;
}

void TestMediaUtil::findKeepsOrderWhenInsertingAtPos()
{
    QFETCH(quint32, seed);
    QRandomGenerator random(seed);
    QList<ResourceItem *> items;
    int pos = -1;
    QVERIFY(!MediaUtil::find(items, MessageKey(1, 0), pos));
    QCOMPARE(pos, 0);
    for (int i = 0; i < 300; ++i) {
        const MessageKey key(random.bounded(100), random.bounded(3));
        ResourceItem *item = rowItem("u1", key.messageId, key.subMsgId, timeOf(key));
        if (MediaUtil::find(items, *item, pos)) {
            QCOMPARE(*items.at(pos), *item);
            delete item;
            continue;
        }
        items.insert(pos, item);
    }
    QVERIFY(descendingByKey(items));
    qDeleteAll(items);
}

void TestMediaUtil::findInSelections_data()
{
    QTest::addColumn<MessageKey>("key");
    QTest::addColumn<bool>("found");
    QTest::addColumn<int>("pos");

    // The selection keeps (10,0), (20,1), (20,2), (30,0): ascending by key.
    QTest::newRow("smaller than all: row 0") << MessageKey(5, 0) << false << 0;
    QTest::newRow("the first") << MessageKey(10, 0) << true << 0;
    QTest::newRow("between the sub-items' message and its first sub-item")
            << MessageKey(20, 0) << false << 1;
    QTest::newRow("a sub-item") << MessageKey(20, 2) << true << 2;
    QTest::newRow("the last") << MessageKey(30, 0) << true << 3;
    QTest::newRow("larger than all: the size") << MessageKey(40, 0) << false << 4;
}

void TestMediaUtil::findInSelections()
{
    QFETCH(MessageKey, key);
    const QList<MediaSelectInfo> selection {{MessageKey(10, 0), {}},
                                            {MessageKey(20, 1), {}},
                                            {MessageKey(20, 2), {}},
                                            {MessageKey(30, 0), {}}};
    int pos = -1;
    QTEST(MediaUtil::find(selection, key, pos), "found");
    QTEST(pos, "pos");
    pos = -1;
    QTEST(MediaUtil::find(selection, MediaSelectInfo(key, {}), pos), "found");
    QTEST(pos, "pos");
}

void TestMediaUtil::keywords_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("words at single spaces") << "beach Photo" << QStringList {"beach", "Photo"};
    QTest::newRow("two spaces: the empty part is skipped")
            << "beach  photo" << QStringList {"beach", "photo"};
    QTest::newRow("leading and trailing spaces") << " beach " << QStringList {"beach"};
    QTest::newRow("only spaces") << "   " << QStringList();
    QTest::newRow("one digit: no variants") << "7" << QStringList {"7"};
    QTest::newRow("two digits") << "12" << QStringList {"12", "1,2"};
    QTest::newRow("four digits") << "1234" << QStringList {"1234", "1,234", "12,34", "123,4"};
    QTest::newRow("seven digits") << "1234567"
                                  << QStringList {"1234567", "1,234,567", "12,345,67", "123,456,7"};
    QTest::newRow("eight digits: a comma every fourth place")
            << "12345678" << QStringList {"12345678", "1,234,567,8", "12,345,678", "123,456,78"};
    QTest::newRow("a number among words")
            << "invoice 2500 paid"
            << QStringList {"invoice", "2500", "2,500", "25,00", "250,0", "paid"};
    QTest::newRow("too long for 64 bits: a word")
            << "123456789012345678901" << QStringList {"123456789012345678901"};
    QTest::newRow("digits with letters: a word") << "12ab" << QStringList {"12ab"};
}

void TestMediaUtil::keywords()
{
    QFETCH(QString, text);
    QList<QString> out {"left over from before"};
    MediaUtil::keywords(text, out);
    QTEST(QStringList(out), "expected");
}

void TestMediaUtil::matchedKeyword_data()
{
    QTest::addColumn<QStringList>("keywords");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("matched");

    QTest::newRow("no keywords match anything") << QStringList() << "anything" << true;
    QTest::newRow("case is ignored") << QStringList {"PHOTO"} << "my photo.jpg" << true;
    QTest::newRow("any keyword is enough")
            << QStringList {"beach", "1,234"} << "total 1,234.00" << true;
    QTest::newRow("none occurs") << QStringList {"beach", "sea"} << "mountain.jpg" << false;
    QTest::newRow("empty text") << QStringList {"a"} << "" << false;
}

void TestMediaUtil::matchedKeyword()
{
    QFETCH(QStringList, keywords);
    QFETCH(QString, text);
    QTEST(MediaUtil::matchedKeyword(keywords, text), "matched");
}

void TestMediaUtil::makeMediaKey_data()
{
    QTest::addColumn<im::Message>("proto");
    QTest::addColumn<MessageKey>("key");

    QTest::newRow("plain message: (id, 0)") << messageProto("u1", 9, 900, 2) << MessageKey(9, 0);
    im::Message withSubId = messageProto("u1", 9, 900, 2);
    withSubId.set_sub_msg_id(4);
    QTest::newRow("message with a sub-message id") << withSubId << MessageKey(9, 4);
    im::Message child = messageProto("u1", 3, 900, 2);
    child.set_parent_msg_id(9);
    QTest::newRow("child of a combined message: (parent, own id)") << child << MessageKey(9, 3);
}

void TestMediaUtil::makeMediaKey()
{
    QFETCH(im::Message, proto);
    QFETCH(MessageKey, key);
    const QSharedPointer<MessageBase> message = makeMessage(proto);
    QCOMPARE(MediaUtil::makeMediaKey(message), key);
    QCOMPARE(MediaUtil::makeMediaKey(message.data()), key);
    // Items key their message the same way.
    QCOMPARE(ResourceItem(message).mediaKey(), key);
}

void TestMediaUtil::makeMediaKeyOfNothing()
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("no message to key"));
    QCOMPARE(MediaUtil::makeMediaKey(QSharedPointer<MessageBase>()), MessageKey(0, 0));
}

void TestMediaUtil::dirFileSizeAdds()
{
    QTemporaryDir dir;
    writeFile(dir.filePath("a.jpg"), 1000);
    writeFile(dir.filePath("b.mp4"), 234);
    QVERIFY(QDir(dir.path()).mkdir("sub"));
    writeFile(dir.filePath("sub/c.jpg"), 5000);
    QVERIFY(QFile::link(dir.filePath("a.jpg"), dir.filePath("link.jpg")));

    qint64 size = 0;
    MediaUtil::dirFileSize(dir.path(), size);
    QCOMPARE(size, qint64(1234));
    MediaUtil::dirFileSize(dir.path(), size);
    QCOMPARE(size, qint64(2468));
    MediaUtil::dirFileSize(dir.filePath("missing"), size);
    QCOMPARE(size, qint64(2468));
}

QTEST_GUILESS_MAIN(TestMediaUtil)
#include "tst_mediautil.moc"
