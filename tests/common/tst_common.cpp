#include "basefile.h"
#include "cachelayout.h"
#include "jsonutil.h"
#include "messageidrange.h"
#include "messagekey.h"
#include "util.h"
#include "weakcache.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

class TestCommon : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { Util::releaseFilePaths(); }

    void messageKeyOrder_data();
    void messageKeyOrder();
    void messageKeyHashesEqualKeysAlike();

    void makeFilePath_data();
    void makeFilePath();
    void makeFilePathSettlesNamesReservedInOneBatch();
    void makeFilePathTakesReleasedNames();
    void makeFilePathFromManyThreadsNeverRepeats();

    void deleteFileAndFolder();

    void jsonRoundTrip();
    void jsonRejects_data();
    void jsonRejects();
    void compactJsonWriterWritesWhatQtWrites_data();
    void compactJsonWriterWritesWhatQtWrites();

    void cacheLayoutAgreesOnFolders();
    void baseFilePercent_data();
    void baseFilePercent();
    void baseFileKeepsItsPath_data();
    void baseFileKeepsItsPath();

    void weakCacheKeepsTheFirstHeldObject();
    void weakCacheSweepsWhatNobodyHolds();
};

void TestCommon::messageKeyOrder_data()
{
    QTest::addColumn<MessageKey>("a");
    QTest::addColumn<MessageKey>("b");
    QTest::addColumn<bool>("less");
    QTest::addColumn<bool>("equal");
    QTest::newRow("message id decides") << MessageKey(1, 9) << MessageKey(2, 0) << true << false;
    QTest::newRow("sub id breaks ties") << MessageKey(5, 1) << MessageKey(5, 2) << true << false;
    QTest::newRow("equal keys") << MessageKey(5, 2) << MessageKey(5, 2) << false << true;
    QTest::newRow("greater") << MessageKey(6, 0) << MessageKey(5, 0x7fffffff) << false << false;
    QTest::newRow("negative ids order too")
            << MessageKey(-3, 0) << MessageKey(0, 0) << true << false;
}

void TestCommon::messageKeyOrder()
{
    QFETCH(MessageKey, a);
    QFETCH(MessageKey, b);
    QFETCH(bool, less);
    QFETCH(bool, equal);
    QCOMPARE(a < b, less);
    QCOMPARE(a == b, equal);
    QCOMPARE(a > b, !less && !equal);
    QCOMPARE(b > a, less);
}

void TestCommon::messageKeyHashesEqualKeysAlike()
{
    QSet<MessageKey> keys {MessageKey(1, 0), MessageKey(1, 1), MessageKey(1, 0)};
    QCOMPARE(keys.size(), 2);
    QVERIFY(keys.contains(MessageKey(1, 1)));
}

void TestCommon::makeFilePath_data()
{
    QTest::addColumn<QStringList>("existing");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("forcedSuffix");
    QTest::addColumn<QString>("expected");
    QTest::newRow("free name kept") << QStringList() << "a.txt"
                                    << ""
                                    << "a.txt";
    QTest::newRow("taken name numbered") << QStringList {"a.txt"} << "a.txt"
                                         << ""
                                         << "a (1).txt";
    QTest::newRow("next free number") << QStringList {"a.txt", "a (1).txt", "a (2).txt"} << "a.txt"
                                      << ""
                                      << "a (3).txt";
    QTest::newRow("double suffix stays together") << QStringList {"x.tar.gz"} << "x.tar.gz"
                                                  << ""
                                                  << "x.tar (1).gz";
    QTest::newRow("no suffix") << QStringList {"README"} << "README"
                               << ""
                               << "README (1)";
    QTest::newRow("forced suffix") << QStringList() << "photo.png"
                                   << "jpg"
                                   << "photo.jpg";
    QTest::newRow("forced suffix with dot") << QStringList() << "photo"
                                            << ".jpg"
                                            << "photo.jpg";
    QTest::newRow("separators replaced") << QStringList() << "../etc/passwd"
                                         << ""
                                         << ".._etc_passwd";
    QTest::newRow("empty name") << QStringList() << ""
                                << ""
                                << "file";
    QTest::newRow("dot file") << QStringList {".profile"} << ".profile"
                              << ""
                              << ".profile (1)";
}

void TestCommon::makeFilePath()
{
    QFETCH(QStringList, existing);
    QFETCH(QString, name);
    QFETCH(QString, forcedSuffix);
    QFETCH(QString, expected);
    QTemporaryDir dir;
    for (const QString &file : existing) {
        QFile f(dir.filePath(file));
        QVERIFY(f.open(QIODevice::WriteOnly));
    }
    QCOMPARE(Util::makeFilePath(dir.path(), name, forcedSuffix), dir.filePath(expected));
}

void TestCommon::makeFilePathSettlesNamesReservedInOneBatch()
{
    // A batch asks for all its paths before it writes the first file.
    QTemporaryDir dir;
    const QString first = Util::makeFilePath(dir.path(), "same.pdf", "");
    const QString second = Util::makeFilePath(dir.path(), "same.pdf", "");
    QCOMPARE(first, dir.filePath("same.pdf"));
    QCOMPARE(second, dir.filePath("same (1).pdf"));
    Util::releaseFilePaths();
    QCOMPARE(Util::makeFilePath(dir.path(), "same.pdf", ""), dir.filePath("same.pdf"));
}

// A copy that ended gives its name back: the next save takes it unless a file stands there.
void TestCommon::makeFilePathTakesReleasedNames()
{
    QTemporaryDir dir;
    const QString first = Util::makeFilePath(dir.path(), "one.pdf", "");
    const QString second = Util::makeFilePath(dir.path(), "one.pdf", "");
    Util::releaseFilePath(first);
    QCOMPARE(Util::makeFilePath(dir.path(), "one.pdf", ""), first);
    QVERIFY(QFile(second).open(QIODevice::WriteOnly));
    Util::releaseFilePath(second);
    QCOMPARE(Util::makeFilePath(dir.path(), "one.pdf", ""), dir.filePath("one (2).pdf"));
}

void TestCommon::makeFilePathFromManyThreadsNeverRepeats()
{
    QTemporaryDir dir;
    QList<QString> paths;
    QMutex mutex;
    QList<QThread *> threads;
    for (int t = 0; t < 4; ++t) {
        threads.append(QThread::create([&] {
            for (int i = 0; i < 50; ++i) {
                const QString path = Util::makeFilePath(dir.path(), "clip.mp4", "");
                QMutexLocker locker(&mutex);
                paths.append(path);
            }
        }));
        threads.last()->start();
    }
    for (QThread *thread : threads) {
        thread->wait();
        delete thread;
    }
    QCOMPARE(QSet<QString>(paths.cbegin(), paths.cend()).size(), 200);
}

void TestCommon::deleteFileAndFolder()
{
    QTemporaryDir dir;
    const QString file = dir.filePath("f.bin");
    QFile f(file);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.close();
    QVERIFY(Util::deleteFile(file));
    QVERIFY(!QFile::exists(file));
    QVERIFY2(Util::deleteFile(file), "a missing file is not an error");
    QVERIFY(!Util::deleteFile(QString()));

    const QString folder = dir.filePath("a/b/c");
    QVERIFY(QDir().mkpath(folder));
    QFile inner(folder + "/x");
    QVERIFY(inner.open(QIODevice::WriteOnly));
    inner.close();
    QVERIFY(Util::removeLocalFolder(dir.filePath("a")));
    QVERIFY(!QFileInfo::exists(dir.filePath("a")));
    QVERIFY(Util::removeLocalFolder(dir.filePath("a")));
}

void TestCommon::jsonRoundTrip()
{
    const QVariantMap map {{"fileSize", qint64(5'000'000'000'123)},
                           {"name", QStringLiteral("Ünïcode \"quoted\"")},
                           {"flag", true}};
    const QVariantMap back = jsonToMap(mapToJson(map));
    QCOMPARE(back.value("fileSize").toLongLong(), qint64(5'000'000'000'123));
    QCOMPARE(back.value("name").toString(), map.value("name").toString());
    QCOMPARE(back.value("flag").toBool(), true);
}

void TestCommon::jsonRejects_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("array") << QByteArray("[1,2]");
    QTest::newRow("truncated") << QByteArray("{\"a\": 1");
    QTest::newRow("garbage") << QByteArray("\xff\xfe\x00{", 4);
}

void TestCommon::jsonRejects()
{
    QFETCH(QByteArray, json);
    QVERIFY(jsonToMap(json).isEmpty());
}

void TestCommon::compactJsonWriterWritesWhatQtWrites_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("number");

    QTest::newRow("plain") << QStringLiteral("photo.jpg") << qint64(1);
    QTest::newRow("empty") << QString() << qint64(0);
    QTest::newRow("quote and backslash") << QStringLiteral("a \"b\" \\ c/d") << qint64(-1);
    QTest::newRow("control characters")
            << QStringLiteral("\b\f\n\r\t") + QChar(0x01) + QChar(0x1f) + QChar(0x7f) << qint64(40);
    QTest::newRow("accents and ideographs")
            << QStringLiteral("R\u00e9sum\u00e9 \u6587\u4ef6.pdf") << qint64(4294967296);
    QTest::newRow("emoji: a surrogate pair")
            << QStringLiteral("\U0001F600 party.mp4") << std::numeric_limits<qint64>::max();
    QTest::newRow("longer than the writer's own buffer")
            << QStringLiteral("n\u00e4me ").repeated(100) + QStringLiteral("\\") << qint64(7);
    QTest::newRow("lone surrogates") << QString(QChar(0xd800)) + QStringLiteral("x") + QChar(0xdc00)
                                     << std::numeric_limits<qint64>::min();
}

// Stored records must not change with the writer: the same text QJsonDocument gives.
void TestCommon::compactJsonWriterWritesWhatQtWrites()
{
    QFETCH(QString, text);
    QFETCH(qint64, number);
    CompactJsonWriter writer;
    writer.add(QLatin1String("a"), text);
    writer.add(QLatin1String("b"), number);
    writer.add(QLatin1String("c"), text + text);
    const QJsonObject object {{QStringLiteral("a"), text},
                              {QStringLiteral("b"), number},
                              {QStringLiteral("c"), text + text}};
    QCOMPARE(writer.take(), QJsonDocument(object).toJson(QJsonDocument::Compact));
    QCOMPARE(writer.take(), QByteArray("{}"));
}

void TestCommon::cacheLayoutAgreesOnFolders()
{
    const QString root = "/cache/";
    QCOMPARE(CacheLayout::mediaPath(root, CacheLayout::MainCategory, CacheLayout::ImageKind),
             QString("/cache/image/"));
    QCOMPARE(CacheLayout::mediaPath(root, CacheLayout::BufferCategory, CacheLayout::VideoKind),
             QString("/cache/buffer/video/"));
    QCOMPARE(CacheLayout::kindOfMessageType(5), int(CacheLayout::VideoKind));
    QCOMPARE(CacheLayout::kindOfMessageType(4), int(CacheLayout::MusicKind));
    QCOMPARE(CacheLayout::fileName("f1", ""), QString("f1"));
    QCOMPARE(CacheLayout::fileName("f1", "jpg"), QString("f1.jpg"));
}

void TestCommon::baseFilePercent_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("downloaded");
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("percent");
    QTest::newRow("half") << qint64(200) << qint64(100) << int(BaseFile::StateDownloading) << 50;
    QTest::newRow("complete") << qint64(200) << qint64(0) << int(BaseFile::StateDone) << 100;
    QTest::newRow("empty file waiting") << qint64(0) << qint64(0) << int(BaseFile::StateNone) << 0;
    QTest::newRow("overshoot clamps")
            << qint64(10) << qint64(50) << int(BaseFile::StatePaused) << 100;
}

void TestCommon::baseFilePercent()
{
    QFETCH(qint64, size);
    QFETCH(qint64, downloaded);
    QFETCH(int, state);
    QFETCH(int, percent);
    BaseFile file("id", "bin", size, "/tmp/id.bin");
    file.setDownloadedBytes(downloaded);
    file.setFileState(state);
    QCOMPARE(file.percent(), percent);
    QCOMPARE(file.partialPath(), QString("/tmp/id.bin.cache"));
}

void TestCommon::baseFileKeepsItsPath_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QString>("localPath");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("fileName");

    QTest::newRow("the cache's name") << "bin"
                                      << "/tmp/c/id.bin"
                                      << "/tmp/c/"
                                      << "id.bin";
    QTest::newRow("a name of its own") << "bin"
                                       << "/tmp/c/report.pdf"
                                       << "/tmp/c/"
                                       << "report.pdf";
    QTest::newRow("no suffix") << ""
                               << "/tmp/c/id"
                               << "/tmp/c/"
                               << "id";
    QTest::newRow("the cache's name, no folder") << "bin"
                                                 << "id.bin"
                                                 << ""
                                                 << "id.bin";
    QTest::newRow("a name of its own, no folder") << "bin"
                                                  << "notes.txt"
                                                  << ""
                                                  << "notes.txt";
}

// A file made from a path answers that path whole, whether or not the cache would name it so.
void TestCommon::baseFileKeepsItsPath()
{
    QFETCH(QString, suffix);
    QFETCH(QString, localPath);
    QFETCH(QString, folder);
    QFETCH(QString, fileName);
    const BaseFile file("id", suffix, 10, localPath);
    QCOMPARE(file.localPath(), localPath);
    QCOMPARE(file.folder(), folder);
    QCOMPARE(file.fileName(), fileName);
    QCOMPARE(file.partialPath(), localPath + ".cache");
}

void TestCommon::weakCacheKeepsTheFirstHeldObject()
{
    WeakCache<int, QString> cache;
    auto first = QSharedPointer<QString>::create(QStringLiteral("first"));
    QCOMPARE(cache.adopt(1, first), first);
    QCOMPARE(cache.adopt(1, QSharedPointer<QString>::create(QStringLiteral("second"))), first);
    QCOMPARE(cache.value(1), first);
    QVERIFY(!cache.value(2));

    // Once nobody holds it, the key takes a new object.
    first.reset();
    QVERIFY(!cache.value(1));
    const auto third = QSharedPointer<QString>::create(QStringLiteral("third"));
    QCOMPARE(cache.adopt(1, third), third);
}

// A long chat paged through and released must not leave its dead entries behind: the cache holds
// at most about twice what is alive.
void TestCommon::weakCacheSweepsWhatNobodyHolds()
{
    WeakCache<int, int> cache;
    QList<QSharedPointer<int>> held;
    for (int key = 0; key < 100000; ++key) {
        const auto object = QSharedPointer<int>::create(key);
        cache.adopt(key, object);
        if (key % 1000 == 0) {
            held.append(object);
        }
    }
    QVERIFY2(cache.size() <= 2 * qMax<qsizetype>(64, held.size()) + 1,
             qPrintable(QString::number(cache.size())));
    for (const QSharedPointer<int> &object : std::as_const(held)) {
        QCOMPARE(cache.value(*object), object);
    }
}

QTEST_GUILESS_MAIN(TestCommon)
#include "tst_common.moc"
