#include "cachefilestorage.h"
#include "cachelayout.h"
#include "constants.h"
#include "downloadfilemgr.h"
#include "filedatamgr.h"
#include "filestorage.h"
#include "filetestenvironment.h"

#include <QFile>
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
    void reconcileAdoptsCopiesItsRecordsName_data();
    void reconcileAdoptsCopiesItsRecordsName();
    void reconcileLeavesPartialDownloadsAlone();
    void downloadThatDiedBeforeItsRenameCompletes();

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

void tst_FileDataMgr::reconcileAdoptsCopiesItsRecordsName_data()
{
    QTest::addColumn<qint64>("recordedSize"); // 0: no record
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<bool>("adopted");

    QTest::newRow("the record's copy, whole") << qint64(300) << "bin" << true;
    QTest::newRow("a record of unknown size") << qint64(-1) << "bin" << true;
    QTest::newRow("a copy of another size") << qint64(301) << "bin" << false;
    QTest::newRow("a copy with another suffix") << qint64(300) << "jpg" << false;
    QTest::newRow("no record") << qint64(0) << "bin" << false;
}

// A copy that has no row is recorded when its file's record names it as it lies, dated by the
// copy; any other file without a row is deleted.
void tst_FileDataMgr::reconcileAdoptsCopiesItsRecordsName()
{
    QFETCH(qint64, recordedSize);
    QFETCH(QString, suffix);
    QFETCH(bool, adopted);

    const QString path = mainFolder() + CacheLayout::fileName(QStringLiteral("doc"), suffix);
    QVERIFY(FileTestEnvironment::writeFile(path, QByteArray(300, 'c')));
    if (recordedSize != 0) {
        QVERIFY(m_env->storage()->fileStorage()->save(
                {FileTestEnvironment::record(QStringLiteral("doc"), recordedSize, QString())}));
    }
    const FileDataMgr::Reconciliation result = m_env->files()->fileDataMgr()->reconcileCache();
    QVERIFY(result.bComplete);
    QCOMPARE(result.adopted, adopted ? 1 : 0);
    QCOMPARE(result.removed, adopted ? 0 : 1);
    QCOMPARE(QFileInfo::exists(path), adopted);
    const QList<storage::CacheFileInfo> rows =
            m_env->storage()->cacheFileStorage()->infosWithFileIds({QStringLiteral("doc")});
    QCOMPARE(rows.size(), adopted ? 1 : 0);
    if (adopted) {
        QCOMPARE(rows.constFirst().size, 300);
        QCOMPARE(rows.constFirst().type, 6);
        QCOMPARE(rows.constFirst().dateTime, QFileInfo(path).lastModified().toMSecsSinceEpoch());
    }
    // Nothing is left to do the second time.
    const FileDataMgr::Reconciliation again = m_env->files()->fileDataMgr()->reconcileCache();
    QCOMPARE(again.adopted + again.removed + again.droppedRows, 0);
}

void tst_FileDataMgr::reconcileLeavesPartialDownloadsAlone()
{
    const QString path = mainFolder() + QStringLiteral("doc.bin");
    for (const QString &name : {path + QLatin1String(CACHE_SUFFIX),
                                path + QLatin1String(CACHE_SUFFIX) + QStringLiteral(".range")}) {
        QVERIFY(FileTestEnvironment::writeFile(name, QByteArray(10, 'p')));
    }
    const FileDataMgr::Reconciliation result = m_env->files()->fileDataMgr()->reconcileCache();
    QVERIFY(result.bComplete);
    QCOMPARE(result.removed, 0);
    QVERIFY(QFileInfo::exists(path + QLatin1String(CACHE_SUFFIX)));
}

// A download records its file before it moves it into place. Killed in between, it leaves a row
// whose copy is still the complete partial file: the reconciliation drops the row, freeing
// nothing, and the next download only has to move the file into place, which records it again.
void tst_FileDataMgr::downloadThatDiedBeforeItsRenameCompletes()
{
    const QByteArray bytes = m_env->writeSource(QStringLiteral("doc.bin"), 4000);
    const QString path = mainFolder() + QStringLiteral("doc.bin");
    QVERIFY(FileTestEnvironment::writeFile(path + QLatin1String(CACHE_SUFFIX), bytes));
    QVERIFY(m_env->storage()->cacheFileStorage()->save({{"doc", 6, "bin", 4000, 1}}));
    const QSharedPointer<FileData> file = m_env->registerFile(
            QStringLiteral("doc"), bytes.size(), m_env->sourceUrl(QStringLiteral("doc.bin")));

    const FileDataMgr::Reconciliation result = m_env->files()->fileDataMgr()->reconcileCache();
    QCOMPARE(result.droppedRows, 1);
    QCOMPARE(result.removed, 0);
    QVERIFY(m_env->storage()->cacheFileStorage()->infosWithFileIds({"doc"}).isEmpty());

    DownloadRecorder recorder(m_env->files());
    m_env->files()->downloadFileMgr()->download(file, false, DOWNLOAD_VIEW);
    QTRY_COMPARE(recorder.finished(QStringLiteral("doc")), QList<bool> {true});
    QCOMPARE(FileTestEnvironment::contents(path), bytes);
    QCOMPARE(m_env->storage()->cacheFileStorage()->infosWithFileIds({"doc"}).value(0).size, 4000);
    QCOMPARE(m_env->storage()->fileStorage()->info(QStringLiteral("doc")).state,
             int(BaseFile::StateDone));
}

QTEST_GUILESS_MAIN(tst_FileDataMgr)
#include "tst_filedatamgr.moc"
