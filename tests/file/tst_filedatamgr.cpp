#include "cachefilestorage.h"
#include "cachelayout.h"
#include "constants.h"
#include "filedatamgr.h"
#include "filestorage.h"
#include "filetestenvironment.h"

#include <QFileInfo>
#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>

class tst_FileDataMgr : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void deleteCacheFileLeavesTheFileIncomplete_data();
    void deleteCacheFileLeavesTheFileIncomplete();
    void deleteCacheFileRemovesThePartialDownload();
    void deleteCacheFileInAnotherFolderKeepsTheFileState();
    void deleteCacheFileOfAnUnknownFileDeletesIt();
    void deleteCacheFileWorksOnPoolThreads();
    void addFileSizeAccumulates_data();
    void addFileSizeAccumulates();

private:
    QString mainFolder() const
    {
        return CacheLayout::mediaPath(m_env->cacheRoot(), CacheLayout::MainCategory,
                                      CacheLayout::FileKind);
    }
    // A registered document whose complete copy is on disk.
    QSharedPointer<FileData> cachedFile(const QString &fileId, const QByteArray &bytes);

    std::unique_ptr<FileTestEnvironment> m_env;
};

void tst_FileDataMgr::init()
{
    m_env = std::make_unique<FileTestEnvironment>();
    QVERIFY(m_env->isValid());
}

void tst_FileDataMgr::cleanup()
{
    m_env.reset();
}

QSharedPointer<FileData> tst_FileDataMgr::cachedFile(const QString &fileId, const QByteArray &bytes)
{
    const QString path = mainFolder() + CacheLayout::fileName(fileId, QStringLiteral("bin"));
    if (!FileTestEnvironment::writeFile(path, bytes)) {
        return {};
    }
    const QSharedPointer<FileData> file = m_env->registerFile(fileId, bytes.size(), QString());
    storage::CacheFileInfo row;
    row.fileId = fileId;
    row.type = file->type();
    row.suffix = file->suffix();
    row.size = bytes.size();
    row.dateTime = 1;
    m_env->storage()->cacheFileStorage()->save({row});
    return file;
}

void tst_FileDataMgr::deleteCacheFileLeavesTheFileIncomplete_data()
{
    QTest::addColumn<bool>("notify");
    QTest::newRow("with notification") << true;
    QTest::newRow("silently") << false;
}

void tst_FileDataMgr::deleteCacheFileLeavesTheFileIncomplete()
{
    QFETCH(bool, notify);
    const QSharedPointer<FileData> file = cachedFile(QStringLiteral("doc"), QByteArray(500, 'd'));
    QVERIFY(file && file->isComplete());
    QSignalSpy removed(m_env->files()->fileDataMgr(), &FileDataMgr::fileRemoved);

    m_env->files()->fileDataMgr()->deleteCacheFile(mainFolder(), QStringLiteral("doc"),
                                                   QStringLiteral("bin"), notify);

    QVERIFY(!QFileInfo::exists(file->localPath()));
    QVERIFY(!file->isComplete());
    QCOMPARE(file->fileState(), int(BaseFile::StateNone));
    QCOMPARE(file->downloadedBytes(), qint64(0));
    QCOMPARE(file->percent(), 0);
    QCOMPARE(m_env->storage()->fileStorage()->info(QStringLiteral("doc")).state,
             int(BaseFile::StateNone));
    QCOMPARE(removed.size(), notify ? 1 : 0);
    if (notify) {
        QCOMPARE(removed.first().first().toString(), QStringLiteral("doc"));
    }
    // The cache-file row is the caller's to remove.
    QCOMPARE(m_env->storage()->cacheFileStorage()->infosWithFileIds({QStringLiteral("doc")}).size(),
             1);
}

void tst_FileDataMgr::deleteCacheFileRemovesThePartialDownload()
{
    const QSharedPointer<FileData> file =
            m_env->registerFile(QStringLiteral("part"), 100, QStringLiteral("file:///nonexistent"));
    QVERIFY(FileTestEnvironment::writeFile(file->partialPath(), QByteArray(40, 'p')));

    m_env->files()->fileDataMgr()->deleteCacheFile(mainFolder(), QStringLiteral("part"),
                                                   QStringLiteral("bin"), false);

    QVERIFY(!QFileInfo::exists(file->partialPath()));
    QCOMPARE(file->fileState(), int(BaseFile::StateNone));
    QCOMPARE(file->downloadedBytes(), qint64(0));
}

void tst_FileDataMgr::deleteCacheFileInAnotherFolderKeepsTheFileState()
{
    const QSharedPointer<FileData> file = cachedFile(QStringLiteral("doc"), QByteArray(10, 'd'));
    const QString otherFolder = CacheLayout::mediaPath(
            m_env->cacheRoot(), CacheLayout::MainCategory, CacheLayout::ImageKind);
    const QString otherCopy =
            otherFolder + CacheLayout::fileName(QStringLiteral("doc"), QStringLiteral("bin"));
    QVERIFY(FileTestEnvironment::writeFile(otherCopy, "other"));

    m_env->files()->fileDataMgr()->deleteCacheFile(otherFolder, QStringLiteral("doc"),
                                                   QStringLiteral("bin"), false);

    QVERIFY(!QFileInfo::exists(otherCopy));
    QVERIFY(QFileInfo::exists(file->localPath()));
    QCOMPARE(file->fileState(), int(BaseFile::StateDone));
}

void tst_FileDataMgr::deleteCacheFileOfAnUnknownFileDeletesIt()
{
    const QString path = mainFolder() + QStringLiteral("stray");
    QVERIFY(FileTestEnvironment::writeFile(path, "x"));

    m_env->files()->fileDataMgr()->deleteCacheFile(mainFolder(), QStringLiteral("stray"), QString(),
                                                   false);

    QVERIFY(!QFileInfo::exists(path));
    QVERIFY(m_env->files()->filePtrWithId(QStringLiteral("stray"), true).isNull());
}

void tst_FileDataMgr::deleteCacheFileWorksOnPoolThreads()
{
    QList<QSharedPointer<FileData>> files;
    for (int i = 0; i < 20; ++i) {
        files.append(cachedFile(QStringLiteral("p%1").arg(i), QByteArray(100, 'x')));
    }
    FileDataMgr *manager = m_env->files()->fileDataMgr();
    const QString folder = mainFolder();
    QThreadPool pool;
    for (const QSharedPointer<FileData> &file : std::as_const(files)) {
        const QString id = file->fileId();
        pool.start([manager, folder, id] {
            manager->deleteCacheFile(folder, id, QStringLiteral("bin"), false);
        });
    }
    pool.waitForDone();
    for (const QSharedPointer<FileData> &file : std::as_const(files)) {
        QVERIFY(!QFileInfo::exists(file->localPath()));
        QCOMPARE(file->fileState(), int(BaseFile::StateNone));
    }
}

void tst_FileDataMgr::addFileSizeAccumulates_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("fileId");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<qint64>("added");
    QTest::newRow("file with suffix") << QStringLiteral("a.jpg") << QStringLiteral("a")
                                      << QStringLiteral("jpg") << qint64(300);
    QTest::newRow("file without suffix")
            << QStringLiteral("b") << QStringLiteral("b") << QString() << qint64(300);
    QTest::newRow("missing file adds nothing")
            << QStringLiteral("c.jpg") << QStringLiteral("d") << QStringLiteral("jpg") << qint64(0);
    QTest::newRow("partial download adds nothing")
            << QStringLiteral("e.jpg.cache") << QStringLiteral("e") << QStringLiteral("jpg")
            << qint64(0);
    QTest::newRow("empty id adds nothing")
            << QStringLiteral("f") << QString() << QString() << qint64(0);
}

void tst_FileDataMgr::addFileSizeAccumulates()
{
    QFETCH(QString, name);
    QFETCH(QString, fileId);
    QFETCH(QString, suffix);
    QFETCH(qint64, added);
    const QString folder = m_env->path(QStringLiteral("sizes"));
    QVERIFY(FileTestEnvironment::writeFile(folder + QStringLiteral("/") + name,
                                           QByteArray(300, 's')));
    qint64 size = 1000;

    m_env->files()->fileDataMgr()->addFileSize(folder, fileId, suffix, size);

    QCOMPARE(size, 1000 + added);
}

QTEST_GUILESS_MAIN(tst_FileDataMgr)
#include "tst_filedatamgr.moc"
