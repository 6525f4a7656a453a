#include "cachelayout.h"
#include "contenttype.h"
#include "downloadfilemgr.h"
#include "filestorage.h"
#include "filetestenvironment.h"
#include "nginxfixture.h"

#include <QFileInfo>
#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>

namespace {
constexpr int kTimeoutMs = 30000;
}

class tst_FileManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void filePtrWithIdSharesOneObjectPerId();
    void filePtrWithIdIsNullForUnknownIds_data();
    void filePtrWithIdIsNullForUnknownIds();
    void filePtrWithIdLoadsFromTheFileTable();
    void filePtrWithIdSharesOneObjectAcrossThreads();
    void registerFilesPlacesFilesInTheirKindsFolder_data();
    void registerFilesPlacesFilesInTheirKindsFolder();
    void registerFilesSetsTheStateFromTheDisk_data();
    void registerFilesSetsTheStateFromTheDisk();
    void registerFilesKeepsTheStateOfKnownFiles();
    void registerFilesAnswersEveryRecordInOrder();
    void registerFilesChecksTheDiskOfEveryFolderInABatch();
    void registerFilesMakesRecordsOnlyForNewFiles();
    void saveAsFileCopies_data();
    void saveAsFileCopies();
    void saveAsFileFailsForUnknownFiles();
    void stopFileStopsTheDownload();
    void destructionStopsDownloadsAndKeepsTheirBytes();

private:
    QString uniqueName() { return QStringLiteral("m%1").arg(++m_serial); }

    QTemporaryDir m_sources; // served by nginx, shared by the environments of all cases
    std::unique_ptr<NginxFixture> m_nginx;
    std::unique_ptr<FileTestEnvironment> m_env;
    int m_serial = 0;
};

void tst_FileManager::initTestCase()
{
    QVERIFY(m_sources.isValid());
    if (NginxFixture::isInstalled()) {
        m_nginx = std::make_unique<NginxFixture>(m_sources.path());
        QVERIFY2(m_nginx->start(), qPrintable(m_nginx->errorString()));
    }
}

void tst_FileManager::init()
{
    m_env = std::make_unique<FileTestEnvironment>(m_sources.path());
    QVERIFY(m_env->isValid());
}

void tst_FileManager::cleanup()
{
    m_env.reset();
}

void tst_FileManager::filePtrWithIdSharesOneObjectPerId()
{
    const QSharedPointer<FileData> registered = m_env->registerFile(QStringLiteral("a"), 10, {});
    QVERIFY(registered);
    QCOMPARE(m_env->files()->filePtrWithId(QStringLiteral("a"), false), registered);
    QCOMPARE(m_env->files()->filePtrWithId(QStringLiteral("a"), true), registered);
    QCOMPARE(m_env->registerFile(QStringLiteral("a"), 10, {}), registered);
}

void tst_FileManager::filePtrWithIdIsNullForUnknownIds_data()
{
    QTest::addColumn<QString>("fileId");
    QTest::addColumn<bool>("loadFromDb");
    QTest::newRow("unknown, memory only") << QStringLiteral("nope") << false;
    QTest::newRow("unknown, with the file table") << QStringLiteral("nope") << true;
    QTest::newRow("empty id") << QString() << true;
}

void tst_FileManager::filePtrWithIdIsNullForUnknownIds()
{
    QFETCH(QString, fileId);
    QFETCH(bool, loadFromDb);
    m_env->registerFile(QStringLiteral("known"), 10, {});
    QVERIFY(m_env->files()->filePtrWithId(fileId, loadFromDb).isNull());
}

void tst_FileManager::filePtrWithIdLoadsFromTheFileTable()
{
    const storage::FileRecord record = FileTestEnvironment::record(
            QStringLiteral("stored"), 1234, QStringLiteral("http://127.0.0.1/x"), 5,
            QStringLiteral("mp4"));
    m_env->files()->registerFiles({record});
    // Nobody holds the file any more: only the table knows it.
    QVERIFY(m_env->files()->filePtrWithId(record.fileId, false).isNull());

    const QSharedPointer<FileData> loaded = m_env->files()->filePtrWithId(record.fileId, true);

    QVERIFY(loaded);
    QCOMPARE(loaded->fileId(), record.fileId);
    QCOMPARE(loaded->type(), 5);
    QCOMPARE(loaded->suffix(), QStringLiteral("mp4"));
    QCOMPARE(loaded->size(), qint64(1234));
    QCOMPARE(loaded->name(), record.name);
    QCOMPARE(loaded->url(), record.url);
    QCOMPARE(m_env->files()->filePtrWithId(record.fileId, false), loaded);
}

void tst_FileManager::filePtrWithIdSharesOneObjectAcrossThreads()
{
    m_env->files()->registerFiles({FileTestEnvironment::record(QStringLiteral("shared"), 1, {})});
    constexpr int kThreads = 8;
    QList<QSharedPointer<FileData>> seen(kThreads);
    QThreadPool pool;
    pool.setMaxThreadCount(kThreads);
    FileManager *files = m_env->files();
    for (int i = 0; i < kThreads; ++i) {
        pool.start([files, &seen, i] {
            seen[i] = files->filePtrWithId(QStringLiteral("shared"), true);
        });
    }
    pool.waitForDone();
    QVERIFY(seen.first());
    for (const QSharedPointer<FileData> &file : std::as_const(seen)) {
        QCOMPARE(file, seen.first());
    }
}

void tst_FileManager::registerFilesPlacesFilesInTheirKindsFolder_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<int>("kind");
    QTest::newRow("photo") << 2 << QStringLiteral("jpg") << int(CacheLayout::ImageKind);
    QTest::newRow("voice") << 3 << QStringLiteral("amr") << int(CacheLayout::VoiceKind);
    QTest::newRow("music") << 4 << QStringLiteral("mp3") << int(CacheLayout::MusicKind);
    QTest::newRow("video") << 5 << QStringLiteral("mp4") << int(CacheLayout::VideoKind);
    QTest::newRow("document") << 6 << QStringLiteral("pdf") << int(CacheLayout::FileKind);
    QTest::newRow("no suffix") << 6 << QString() << int(CacheLayout::FileKind);
}

void tst_FileManager::registerFilesPlacesFilesInTheirKindsFolder()
{
    QFETCH(int, type);
    QFETCH(QString, suffix);
    QFETCH(int, kind);
    const QString id = uniqueName();
    const QSharedPointer<FileData> file =
            m_env->files()
                    ->registerFiles({FileTestEnvironment::record(id, 10, {}, type, suffix)})
                    .value(0);
    QVERIFY(file);
    QCOMPARE(file->localPath(),
             CacheLayout::mediaPath(m_env->cacheRoot(), CacheLayout::MainCategory, kind)
                     + CacheLayout::fileName(id, suffix));
}

void tst_FileManager::registerFilesSetsTheStateFromTheDisk_data()
{
    QTest::addColumn<QByteArray>("complete");
    QTest::addColumn<QByteArray>("partial");
    QTest::addColumn<int>("state");
    QTest::addColumn<qint64>("downloaded");
    const QByteArray whole(100, 'w');
    QTest::newRow("nothing on disk")
            << QByteArray() << QByteArray() << int(BaseFile::StateNone) << qint64(0);
    QTest::newRow("complete copy is done")
            << whole << QByteArray() << int(BaseFile::StateDone) << qint64(100);
    QTest::newRow("copy of another size is not complete")
            << QByteArray(40, 'w') << QByteArray() << int(BaseFile::StateNone) << qint64(0);
    QTest::newRow("partial download is paused")
            << QByteArray() << QByteArray(30, 'p') << int(BaseFile::StatePaused) << qint64(30);
}

void tst_FileManager::registerFilesSetsTheStateFromTheDisk()
{
    QFETCH(QByteArray, complete);
    QFETCH(QByteArray, partial);
    QFETCH(int, state);
    QFETCH(qint64, downloaded);
    const QString id = uniqueName();
    const QString localPath = CacheLayout::mediaPath(m_env->cacheRoot(), CacheLayout::MainCategory,
                                                     CacheLayout::FileKind)
            + CacheLayout::fileName(id, QStringLiteral("bin"));
    if (!complete.isNull()) {
        QVERIFY(FileTestEnvironment::writeFile(localPath, complete));
    }
    if (!partial.isNull()) {
        QVERIFY(FileTestEnvironment::writeFile(localPath + QStringLiteral(".cache"), partial));
    }

    const QSharedPointer<FileData> file = m_env->registerFile(id, 100, {});

    QCOMPARE(file->localPath(), localPath);
    QCOMPARE(file->fileState(), state);
    QCOMPARE(file->downloadedBytes(), downloaded);
    const storage::FileRecord row = m_env->storage()->fileStorage()->info(id);
    QCOMPARE(row.fileId, id);
    QCOMPARE(row.state, state);
}

void tst_FileManager::registerFilesKeepsTheStateOfKnownFiles()
{
    const QString id = uniqueName();
    storage::FileRecord stored = FileTestEnvironment::record(id, 100, QStringLiteral("file:///a"));
    stored.state = BaseFile::StateFailed;
    stored.downloaded = 30;
    QVERIFY(m_env->storage()->fileStorage()->save({stored}));
    const QString partialPath =
            CacheLayout::mediaPath(m_env->cacheRoot(), CacheLayout::MainCategory,
                                   CacheLayout::FileKind)
            + CacheLayout::fileName(id, QStringLiteral("bin")) + QStringLiteral(".cache");
    QVERIFY(FileTestEnvironment::writeFile(partialPath, QByteArray(30, 'p')));

    // A message names the file again, knowing nothing of its download.
    const QSharedPointer<FileData> file =
            m_env->registerFile(id, 100, QStringLiteral("file:///somewhere-else"));

    QCOMPARE(file->fileState(), int(BaseFile::StateFailed));
    QCOMPARE(file->downloadedBytes(), qint64(30));
    QCOMPARE(file->url(), stored.url);
    QCOMPARE(m_env->storage()->fileStorage()->info(id).state, int(BaseFile::StateFailed));
}

// A batch is checked folder by folder: a folder that does not exist yet must not hide the copies
// of another kind's folder, nor the other way round.
void tst_FileManager::registerFilesChecksTheDiskOfEveryFolderInABatch()
{
    const auto pathOf = [this](const storage::FileRecord &record, int kind) {
        return CacheLayout::mediaPath(m_env->cacheRoot(), CacheLayout::MainCategory, kind)
                + CacheLayout::fileName(record.fileId, record.suffix);
    };
    const storage::FileRecord photo =
            FileTestEnvironment::record(uniqueName(), 10, {}, CONTENT_PHOTO, QStringLiteral("jpg"));
    const storage::FileRecord partialPhoto =
            FileTestEnvironment::record(uniqueName(), 10, {}, CONTENT_PHOTO, QStringLiteral("jpg"));
    const storage::FileRecord video =
            FileTestEnvironment::record(uniqueName(), 10, {}, CONTENT_VIDEO, QStringLiteral("mp4"));
    QVERIFY(FileTestEnvironment::writeFile(pathOf(photo, CacheLayout::ImageKind),
                                           QByteArray(10, 'w')));
    QVERIFY(FileTestEnvironment::writeFile(pathOf(partialPhoto, CacheLayout::ImageKind)
                                                   + QStringLiteral(".cache"),
                                           QByteArray(4, 'p')));
    QVERIFY(!QFileInfo::exists(CacheLayout::mediaPath(m_env->cacheRoot(), CacheLayout::MainCategory,
                                                      CacheLayout::VideoKind)));

    const QList<QSharedPointer<FileData>> files =
            m_env->files()->registerFiles({video, photo, partialPhoto});

    QCOMPARE(files.size(), 3);
    QCOMPARE(files.at(0)->fileState(), int(BaseFile::StateNone));
    QCOMPARE(files.at(0)->localPath(), pathOf(video, CacheLayout::VideoKind));
    QCOMPARE(files.at(1)->fileState(), int(BaseFile::StateDone));
    QCOMPARE(files.at(1)->downloadedBytes(), qint64(10));
    QCOMPARE(files.at(2)->fileState(), int(BaseFile::StatePaused));
    QCOMPARE(files.at(2)->downloadedBytes(), qint64(4));
}

void tst_FileManager::registerFilesAnswersEveryRecordInOrder()
{
    const QList<storage::FileRecord> records = {
            FileTestEnvironment::record(QStringLiteral("one"), 1, {}),
            FileTestEnvironment::record(QString(), 1, {}),
            FileTestEnvironment::record(QStringLiteral("two"), 2, {}),
            FileTestEnvironment::record(QStringLiteral("one"), 1, {}),
    };

    const QList<QSharedPointer<FileData>> files = m_env->files()->registerFiles(records);

    QCOMPARE(files.size(), 4);
    QCOMPARE(files.at(0)->fileId(), QStringLiteral("one"));
    QVERIFY(files.at(1).isNull());
    QCOMPARE(files.at(2)->fileId(), QStringLiteral("two"));
    QCOMPARE(files.at(3), files.at(0));
    QCOMPARE(m_env->storage()
                     ->fileStorage()
                     ->infos({QStringLiteral("one"), QStringLiteral("two")})
                     .size(),
             2);
}

// A record costs a page of messages its strings: only a file that neither a holder nor the file
// table knows has one made, once per id.
void tst_FileManager::registerFilesMakesRecordsOnlyForNewFiles()
{
    const QSharedPointer<FileData> held =
            m_env->files()
                    ->registerFiles({FileTestEnvironment::record(QStringLiteral("held"), 10, {})})
                    .value(0);
    QVERIFY(m_env->storage()->fileStorage()->save(
            {FileTestEnvironment::record(QStringLiteral("stored"), 20, {})}));
    const QList<QString> fileIds {QStringLiteral("held"), QStringLiteral("stored"),
                                  QStringLiteral("fresh"), QStringLiteral("fresh"), QString()};
    QList<qsizetype> asked;
    const QList<QSharedPointer<FileData>> files =
            m_env->files()->registerFiles(fileIds, [&](qsizetype position) {
                asked.append(position);
                return FileTestEnvironment::record(fileIds.at(position), 30, {});
            });

    QCOMPARE(asked, QList<qsizetype> {2});
    QCOMPARE(files.size(), fileIds.size());
    QCOMPARE(files.at(0), held);
    QCOMPARE(files.at(1)->size(), qint64(20));
    QCOMPARE(files.at(2)->size(), qint64(30));
    QCOMPARE(files.at(3), files.at(2));
    QVERIFY(files.at(4).isNull());
    QCOMPARE(m_env->storage()->fileStorage()->info(QStringLiteral("fresh")).size, qint64(30));
}

void tst_FileManager::saveAsFileCopies_data()
{
    QTest::addColumn<bool>("downloaded");
    QTest::addColumn<bool>("targetExists");
    QTest::newRow("complete file") << true << false;
    QTest::newRow("file downloaded first") << false << false;
    QTest::newRow("replaces an existing target") << true << true;
}

void tst_FileManager::saveAsFileCopies()
{
    QFETCH(bool, downloaded);
    QFETCH(bool, targetExists);
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, 3 * 1024 * 1024 + 5);
    const QSharedPointer<FileData> file =
            m_env->registerFile(id, bytes.size(), m_env->sourceUrl(id));
    if (downloaded) {
        QVERIFY(FileTestEnvironment::writeFile(file->localPath(), bytes));
    }
    const QString target = m_env->path(QStringLiteral("saved/") + id + QStringLiteral(".bin"));
    if (targetExists) {
        QVERIFY(FileTestEnvironment::writeFile(target, "old contents"));
    }
    QSignalSpy finished(m_env->files(), &FileManager::saveAsFinished);

    m_env->files()->saveAsFile(id, target, 0);

    QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 1, kTimeoutMs);
    QCOMPARE(finished.first().at(0).toString(), id);
    QCOMPARE(finished.first().at(1).toString(), target);
    QCOMPARE(finished.first().at(2).toBool(), true);
    QCOMPARE(FileTestEnvironment::contents(target), bytes);
    QCOMPARE(FileTestEnvironment::contents(file->localPath()), bytes);
    QVERIFY(file->isComplete());
}

void tst_FileManager::saveAsFileFailsForUnknownFiles()
{
    QSignalSpy finished(m_env->files(), &FileManager::saveAsFinished);
    const QString target = m_env->path(QStringLiteral("saved/x"));

    m_env->files()->saveAsFile(QStringLiteral("unknown"), target, 0);

    QVERIFY(finished.wait(kTimeoutMs));
    QCOMPARE(finished.first().at(2).toBool(), false);
    QVERIFY(!QFileInfo::exists(target));
}

void tst_FileManager::stopFileStopsTheDownload()
{
    if (!m_nginx) {
        QSKIP(NginxFixture::notInstalledMessage());
    }
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, 2 * 1024 * 1024);
    const QSharedPointer<FileData> file =
            m_env->registerFile(id, bytes.size(), m_nginx->slowUrl(id));
    DownloadRecorder recorder(m_env->files());
    m_env->files()->downloadFileMgr()->download(file, false, DOWNLOAD_SYNC);
    QTRY_VERIFY_WITH_TIMEOUT(!recorder.progress(id).isEmpty(), kTimeoutMs);

    m_env->files()->stopFile(id, 0, 0, DOWNLOAD_SYNC);

    QTRY_COMPARE_WITH_TIMEOUT(file->fileState(), int(BaseFile::StatePaused), kTimeoutMs);
    QVERIFY(QFileInfo(file->partialPath()).size() > 0);
    QVERIFY(!m_env->files()->downloadFileMgr()->isDownloading(id));
}

void tst_FileManager::destructionStopsDownloadsAndKeepsTheirBytes()
{
    if (!m_nginx) {
        QSKIP(NginxFixture::notInstalledMessage());
    }
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, 2 * 1024 * 1024);
    QString partialPath;
    {
        const QSharedPointer<FileData> file =
                m_env->registerFile(id, bytes.size(), m_nginx->slowUrl(id));
        partialPath = file->partialPath();
        DownloadRecorder recorder(m_env->files());
        m_env->files()->downloadFileMgr()->download(file, false, DOWNLOAD_SYNC);
        QTRY_VERIFY_WITH_TIMEOUT(!recorder.progress(id).isEmpty(), kTimeoutMs);
    }

    m_env->destroyManager();

    const qint64 kept = QFileInfo(partialPath).size();
    QVERIFY(kept > 0 && kept < bytes.size());
    const storage::FileRecord row = m_env->storage()->fileStorage()->info(id);
    QCOMPARE(row.state, int(BaseFile::StatePaused));

    // The next session resumes from the kept bytes.
    m_env->recreateManager();
    const QSharedPointer<FileData> file = m_env->files()->filePtrWithId(id, true);
    QCOMPARE(file->fileState(), int(BaseFile::StatePaused));
    QCOMPARE(file->downloadedBytes(), kept);
    DownloadRecorder recorder(m_env->files());
    m_env->files()->downloadFileMgr()->download(file, true, DOWNLOAD_SYNC);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(id), QList<bool>({true}), kTimeoutMs);
    QCOMPARE(FileTestEnvironment::contents(file->localPath()), bytes);
}

QTEST_GUILESS_MAIN(tst_FileManager)
#include "tst_filemanager.moc"
