#include "cachefilestorage.h"
#include "constants.h"
#include "downloadfilemgr.h"
#include "filestorage.h"
#include "filetestenvironment.h"
#include "networkusagemodel.h"
#include "nginxfixture.h"

#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

namespace {

enum Source { LocalSource, HttpSource };

constexpr int kDownloadTimeoutMs = 30000;
// Served at 512 KiB/s from /slow/: a download of this size lasts about four seconds.
constexpr qint64 kSlowFileSize = 2 * 1024 * 1024;

} // namespace

#define SKIP_WITHOUT_SERVER(source) \
    if ((source) == HttpSource && !m_nginx) \
    QSKIP(NginxFixture::notInstalledMessage())

class tst_DownloadFileMgr : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void fullDownloadLandsAtTheLocalPath_data();
    void fullDownloadLandsAtTheLocalPath();
    void resumedDownloadFetchesOnlyTheRest_data();
    void resumedDownloadFetchesOnlyTheRest();
    void failedDownloadKeepsThePartialFile_data();
    void failedDownloadKeepsThePartialFile();
    void progressRisesToTheTotal_data();
    void progressRisesToTheTotal();
    void completeFileFinishesAtOnce();
    void syncDownloadsReportToTheBulkDownload_data();
    void syncDownloadsReportToTheBulkDownload();
    void downloadSpeedIsReportedWhileBytesArrive();
    void stopStopsTheTransfer();
    void stopCanDeleteThePartialFile();
    void stopsInABurstKeepTheirPlaceAmongDownloads();
    void atMostThreeRunAtOnce();
    void highPriorityGoesFirst();
    void isDownloadingUntilFinished();
    void managerOutlivesTheApplication();

private:
    QString urlFor(Source source, const QString &name) const;
    QString slowUrl(const QString &name) const { return m_nginx->slowUrl(name); }
    static QString uniqueName();
    // Files served by the throttled server, so that their downloads last a while.
    QList<QSharedPointer<FileData>> slowFiles(int count);

    QTemporaryDir m_sources; // served by nginx, shared by the environments of all cases
    std::unique_ptr<NginxFixture> m_nginx;
    std::unique_ptr<FileTestEnvironment> m_env;
};

void tst_DownloadFileMgr::initTestCase()
{
    QVERIFY(m_sources.isValid());
    if (NginxFixture::isInstalled()) {
        m_nginx = std::make_unique<NginxFixture>(m_sources.path());
        QVERIFY2(m_nginx->start(), qPrintable(m_nginx->errorString()));
    }
}

void tst_DownloadFileMgr::init()
{
    m_env = std::make_unique<FileTestEnvironment>(m_sources.path());
    QVERIFY(m_env->isValid());
}

void tst_DownloadFileMgr::cleanup()
{
    m_env.reset();
}

QString tst_DownloadFileMgr::uniqueName()
{
    static int serial = 0;
    return QStringLiteral("f%1").arg(++serial);
}

QString tst_DownloadFileMgr::urlFor(Source source, const QString &name) const
{
    return source == HttpSource ? m_nginx->url(name) : m_env->sourceUrl(name);
}

static void addSourceRows()
{
    QTest::addColumn<int>("source");
    QTest::newRow("file source") << int(LocalSource);
    QTest::newRow("http source") << int(HttpSource);
}

void tst_DownloadFileMgr::fullDownloadLandsAtTheLocalPath_data()
{
    addSourceRows();
}

void tst_DownloadFileMgr::fullDownloadLandsAtTheLocalPath()
{
    QFETCH(int, source);
    SKIP_WITHOUT_SERVER(source);
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, 700 * 1024 + 3);
    const QSharedPointer<FileData> file =
            m_env->registerFile(id, bytes.size(), urlFor(Source(source), id));
    DownloadRecorder recorder(m_env->files());

    m_env->files()->downloadFileMgr()->download(file, false, DOWNLOAD_PLAYER);

    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(id), QList<bool>({true}), kDownloadTimeoutMs);
    QCOMPARE(FileTestEnvironment::contents(file->localPath()), bytes);
    QVERIFY(!QFileInfo::exists(file->localPath() + QLatin1String(CACHE_SUFFIX)));
    QCOMPARE(file->fileState(), int(BaseFile::StateDone));
    QCOMPARE(file->downloadedBytes(), qint64(bytes.size()));
    QCOMPARE(file->percent(), 100);

    const QList<storage::CacheFileInfo> cached =
            m_env->storage()->cacheFileStorage()->infosWithFileIds({id});
    QCOMPARE(cached.size(), 1);
    QCOMPARE(cached.first().size, qint64(bytes.size()));
    QCOMPARE(cached.first().type, file->type());
    QCOMPARE(cached.first().suffix, file->suffix());
    QVERIFY(cached.first().dateTime > 0);
    QCOMPARE(m_env->storage()->fileStorage()->info(id).state, int(BaseFile::StateDone));
}

void tst_DownloadFileMgr::resumedDownloadFetchesOnlyTheRest_data()
{
    addSourceRows();
}

void tst_DownloadFileMgr::resumedDownloadFetchesOnlyTheRest()
{
    QFETCH(int, source);
    SKIP_WITHOUT_SERVER(source);
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, 600 * 1024);
    const qint64 present = 400 * 1024;
    const QSharedPointer<FileData> file =
            m_env->registerFile(id, bytes.size(), urlFor(Source(source), id));
    QVERIFY(FileTestEnvironment::writeFile(file->partialPath(), bytes.left(present)));
    DownloadRecorder recorder(m_env->files());

    m_env->files()->downloadFileMgr()->download(file, false, DOWNLOAD_PLAYER);

    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(id), QList<bool>({true}), kDownloadTimeoutMs);
    QCOMPARE(FileTestEnvironment::contents(file->localPath()), bytes);
    // Started from the bytes already present: the first report counts them.
    const QList<DownloadRecorder::Progress> progress = recorder.progress(id);
    QVERIFY(!progress.isEmpty());
    QVERIFY2(progress.first().received > present,
             qPrintable(QString::number(progress.first().received)));
}

void tst_DownloadFileMgr::failedDownloadKeepsThePartialFile_data()
{
    QTest::addColumn<int>("source");
    QTest::addColumn<QString>("url");
    const QString missing = QStringLiteral("missing-file");
    QTest::newRow("http 404") << int(HttpSource) << missing;
    QTest::newRow("unreachable port")
            << int(LocalSource)
            << QStringLiteral("http://127.0.0.1:%1/x").arg(NginxFixture::unusedPort());
    QTest::newRow("missing local file")
            << int(LocalSource) << QStringLiteral("file:///nonexistent/x");
    QTest::newRow("unsupported source") << int(LocalSource) << QStringLiteral("ftp://127.0.0.1/x");
    QTest::newRow("no source") << int(LocalSource) << QString();
}

void tst_DownloadFileMgr::failedDownloadKeepsThePartialFile()
{
    QFETCH(int, source);
    QFETCH(QString, url);
    SKIP_WITHOUT_SERVER(source);
    if (source == HttpSource) {
        url = m_nginx->url(url);
    }
    const QString id = uniqueName();
    const QSharedPointer<FileData> file = m_env->registerFile(id, 1000, url);
    const QByteArray partial(100, 'p');
    QVERIFY(FileTestEnvironment::writeFile(file->partialPath(), partial));
    DownloadRecorder recorder(m_env->files());

    m_env->files()->downloadFileMgr()->download(file, false, DOWNLOAD_PLAYER);

    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(id), QList<bool>({false}), kDownloadTimeoutMs);
    QCOMPARE(file->fileState(), int(BaseFile::StateFailed));
    QCOMPARE(FileTestEnvironment::contents(file->partialPath()), partial);
    QVERIFY(!QFileInfo::exists(file->localPath()));
    QCOMPARE(m_env->storage()->fileStorage()->info(id).state, int(BaseFile::StateFailed));
    QVERIFY(m_env->storage()->cacheFileStorage()->infosWithFileIds({id}).isEmpty());
}

void tst_DownloadFileMgr::progressRisesToTheTotal_data()
{
    addSourceRows();
}

void tst_DownloadFileMgr::progressRisesToTheTotal()
{
    QFETCH(int, source);
    SKIP_WITHOUT_SERVER(source);
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, 3 * 1024 * 1024 + 17);
    // Over loopback a fast server can deliver the whole file in one read; the throttled one
    // makes sure there are several steps to compare.
    const QString url = source == HttpSource ? slowUrl(id) : urlFor(Source(source), id);
    const QSharedPointer<FileData> file = m_env->registerFile(id, bytes.size(), url);
    DownloadRecorder recorder(m_env->files());

    m_env->files()->downloadFileMgr()->download(file, false, DOWNLOAD_PLAYER);

    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(id).size(), 1, kDownloadTimeoutMs);
    const QList<DownloadRecorder::Progress> progress = recorder.progress(id);
    QVERIFY(progress.size() > 1);
    for (int i = 1; i < progress.size(); ++i) {
        QVERIFY(progress.at(i).received > progress.at(i - 1).received);
    }
    for (const DownloadRecorder::Progress &step : progress) {
        QCOMPARE(step.total, qint64(bytes.size()));
    }
    QCOMPARE(progress.last().received, qint64(bytes.size()));
}

void tst_DownloadFileMgr::completeFileFinishesAtOnce()
{
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, 5000);
    // The source is gone: finishing needs no transfer.
    const QSharedPointer<FileData> file =
            m_env->registerFile(id, bytes.size(), QStringLiteral("file:///nonexistent/x"));
    QVERIFY(FileTestEnvironment::writeFile(file->localPath(), bytes));
    DownloadRecorder recorder(m_env->files());

    m_env->files()->downloadFileMgr()->download(file, false, DOWNLOAD_SYNC);

    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(id), QList<bool>({true}), kDownloadTimeoutMs);
    QCOMPARE(recorder.syncFinished(id), QList<bool>({true}));
    QCOMPARE(file->fileState(), int(BaseFile::StateDone));
    QVERIFY(!QFileInfo::exists(file->partialPath()));
}

void tst_DownloadFileMgr::syncDownloadsReportToTheBulkDownload_data()
{
    QTest::addColumn<int>("downloadType");
    QTest::addColumn<bool>("sourceExists");
    QTest::addColumn<QList<bool>>("reported");
    QTest::newRow("bulk download succeeds") << int(DOWNLOAD_SYNC) << true << QList<bool>({true});
    QTest::newRow("bulk download fails") << int(DOWNLOAD_SYNC) << false << QList<bool>({false});
    QTest::newRow("player download is not reported")
            << int(DOWNLOAD_PLAYER) << true << QList<bool>();
    QTest::newRow("viewer download is not reported")
            << int(DOWNLOAD_VIEW) << false << QList<bool>();
}

void tst_DownloadFileMgr::syncDownloadsReportToTheBulkDownload()
{
    QFETCH(int, downloadType);
    QFETCH(bool, sourceExists);
    QFETCH(QList<bool>, reported);
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, 2048);
    const QString url = sourceExists ? m_env->sourceUrl(id) : m_env->sourceUrl(id + "-missing");
    const QSharedPointer<FileData> file = m_env->registerFile(id, bytes.size(), url);
    DownloadRecorder recorder(m_env->files());

    m_env->files()->downloadFileMgr()->download(file, false, downloadType);

    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(id), QList<bool>({sourceExists}),
                              kDownloadTimeoutMs);
    QCOMPARE(recorder.syncFinished(id), reported);
}

void tst_DownloadFileMgr::downloadSpeedIsReportedWhileBytesArrive()
{
    SKIP_WITHOUT_SERVER(HttpSource);
    NetworkUsageModel *usage = NetworkUsageModel::instance();
    QTRY_COMPARE_WITH_TIMEOUT(usage->downloadSpeed(), qint64(0), kDownloadTimeoutMs);
    QSignalSpy speeds(usage, &NetworkUsageModel::downloadSpeedChanged);
    const QSharedPointer<FileData> file = slowFiles(1).constFirst();
    const QString id = file->fileId();
    DownloadRecorder recorder(m_env->files());

    m_env->files()->downloadFileMgr()->download(file, false, DOWNLOAD_SYNC);

    QTRY_VERIFY_WITH_TIMEOUT(usage->downloadSpeed() > 0, kDownloadTimeoutMs);
    QVERIFY(recorder.finished(id).isEmpty()); // measured while the download runs
    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(id), QList<bool>({true}), kDownloadTimeoutMs);
    QTRY_COMPARE_WITH_TIMEOUT(usage->downloadSpeed(), qint64(0), kDownloadTimeoutMs);
    QVERIFY(speeds.size() >= 2);
    for (int i = 1; i < speeds.size(); ++i) {
        QVERIFY(speeds.at(i).first() != speeds.at(i - 1).first());
    }
}

void tst_DownloadFileMgr::stopStopsTheTransfer()
{
    SKIP_WITHOUT_SERVER(HttpSource);
    const QString stoppedId = uniqueName();
    const QByteArray bytes = m_env->writeSource(stoppedId, kSlowFileSize);
    const QSharedPointer<FileData> file =
            m_env->registerFile(stoppedId, bytes.size(), slowUrl(stoppedId));
    DownloadRecorder recorder(m_env->files());
    DownloadFileMgr *downloads = m_env->files()->downloadFileMgr();

    downloads->download(file, false, DOWNLOAD_SYNC);
    QTRY_VERIFY_WITH_TIMEOUT(!recorder.progress(stoppedId).isEmpty(), kDownloadTimeoutMs);
    downloads->stop(stoppedId, false);
    QVERIFY(!downloads->isDownloading(stoppedId));
    QTRY_COMPARE_WITH_TIMEOUT(file->fileState(), int(BaseFile::StatePaused), kDownloadTimeoutMs);
    const qint64 kept = QFileInfo(file->partialPath()).size();
    QVERIFY(kept > 0 && kept < bytes.size());
    QCOMPARE(file->downloadedBytes(), kept);
    QCOMPARE(m_env->storage()->fileStorage()->info(stoppedId).state, int(BaseFile::StatePaused));

    // While another download runs from start to end, the stopped one writes nothing more.
    const QString otherId = uniqueName();
    const QByteArray other = m_env->writeSource(otherId, 300 * 1024);
    downloads->download(m_env->registerFile(otherId, other.size(), slowUrl(otherId)), false,
                        DOWNLOAD_SYNC);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(otherId), QList<bool>({true}), kDownloadTimeoutMs);
    QCOMPARE(QFileInfo(file->partialPath()).size(), kept);
    QVERIFY(recorder.finished(stoppedId).isEmpty());
    QVERIFY(!QFileInfo::exists(file->localPath()));

    // And it resumes where it stopped.
    downloads->download(file, true, DOWNLOAD_SYNC);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(stoppedId), QList<bool>({true}),
                              kDownloadTimeoutMs);
    QCOMPARE(FileTestEnvironment::contents(file->localPath()), bytes);
}

void tst_DownloadFileMgr::stopCanDeleteThePartialFile()
{
    SKIP_WITHOUT_SERVER(HttpSource);
    const QSharedPointer<FileData> file = slowFiles(1).constFirst();
    const QString id = file->fileId();
    DownloadRecorder recorder(m_env->files());
    DownloadFileMgr *downloads = m_env->files()->downloadFileMgr();

    downloads->download(file, false, DOWNLOAD_PLAYER);
    QTRY_VERIFY_WITH_TIMEOUT(!recorder.progress(id).isEmpty(), kDownloadTimeoutMs);
    downloads->stop(id, true);

    QTRY_VERIFY_WITH_TIMEOUT(!QFileInfo::exists(file->partialPath()), kDownloadTimeoutMs);
    QCOMPARE(file->fileState(), int(BaseFile::StateNone));
    QCOMPARE(file->downloadedBytes(), qint64(0));
}

// Stops asked for in a row travel together; a download asked for between two of them must still
// come after the first and before the second.
void tst_DownloadFileMgr::stopsInABurstKeepTheirPlaceAmongDownloads()
{
    SKIP_WITHOUT_SERVER(HttpSource);
    const QList<QSharedPointer<FileData>> files = slowFiles(3);
    DownloadRecorder recorder(m_env->files());
    DownloadFileMgr *downloads = m_env->files()->downloadFileMgr();

    downloads->stop(files.at(0)->fileId(), true);
    downloads->download(files.at(1), false, DOWNLOAD_SYNC);
    downloads->stop(files.at(1)->fileId(), true);
    downloads->stop(files.at(2)->fileId(), true);
    downloads->download(files.at(2), false, DOWNLOAD_SYNC);

    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(files.at(2)->fileId()), QList<bool>({true}),
                              kDownloadTimeoutMs);
    QVERIFY(recorder.finished(files.at(1)->fileId()).isEmpty());
    QVERIFY(!downloads->isDownloading(files.at(1)->fileId()));
    QVERIFY(!QFileInfo::exists(files.at(1)->localPath()));
    QVERIFY(!QFileInfo::exists(files.at(1)->partialPath()));
}

QList<QSharedPointer<FileData>> tst_DownloadFileMgr::slowFiles(int count)
{
    QList<QSharedPointer<FileData>> files;
    for (int i = 0; i < count; ++i) {
        const QString id = uniqueName();
        const QByteArray bytes = m_env->writeSource(id, kSlowFileSize);
        files.append(m_env->registerFile(id, bytes.size(), slowUrl(id)));
    }
    return files;
}

void tst_DownloadFileMgr::atMostThreeRunAtOnce()
{
    SKIP_WITHOUT_SERVER(HttpSource);
    const QList<QSharedPointer<FileData>> files = slowFiles(5);
    DownloadFileMgr *downloads = m_env->files()->downloadFileMgr();
    for (const QSharedPointer<FileData> &file : std::as_const(files)) {
        downloads->download(file, false, DOWNLOAD_SYNC);
    }
    const auto countIn = [&files](int state) {
        return std::count_if(files.cbegin(), files.cend(),
                             [state](const auto &file) { return file->fileState() == state; });
    };
    QTRY_COMPARE_WITH_TIMEOUT(countIn(BaseFile::StateDownloading), 3, kDownloadTimeoutMs);
    QCOMPARE(countIn(BaseFile::StateWaiting), 2);
    // The first three asked for are the ones running.
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(files.at(i)->fileState(), int(BaseFile::StateDownloading));
    }
    for (const QSharedPointer<FileData> &file : std::as_const(files)) {
        QVERIFY(downloads->isDownloading(file->fileId()));
    }
}

void tst_DownloadFileMgr::highPriorityGoesFirst()
{
    SKIP_WITHOUT_SERVER(HttpSource);
    const QList<QSharedPointer<FileData>> files = slowFiles(5);
    DownloadFileMgr *downloads = m_env->files()->downloadFileMgr();
    for (int i = 0; i < 4; ++i) {
        downloads->download(files.at(i), false, DOWNLOAD_SYNC);
    }
    downloads->download(files.at(4), true, DOWNLOAD_PLAYER);
    QTRY_COMPARE_WITH_TIMEOUT(files.at(0)->fileState(), int(BaseFile::StateDownloading),
                              kDownloadTimeoutMs);

    downloads->stop(files.at(0)->fileId(), false);

    QTRY_COMPARE_WITH_TIMEOUT(files.at(4)->fileState(), int(BaseFile::StateDownloading),
                              kDownloadTimeoutMs);
    QCOMPARE(files.at(3)->fileState(), int(BaseFile::StateWaiting));
}

void tst_DownloadFileMgr::isDownloadingUntilFinished()
{
    // A throttled source, so that the download is surely still running when asked about.
    SKIP_WITHOUT_SERVER(HttpSource);
    const QSharedPointer<FileData> file = slowFiles(1).constFirst();
    const QString id = file->fileId();
    DownloadRecorder recorder(m_env->files());
    DownloadFileMgr *downloads = m_env->files()->downloadFileMgr();
    QVERIFY(!downloads->isDownloading(id));

    downloads->download(file, false, DOWNLOAD_PLAYER);

    QVERIFY(downloads->isDownloading(id));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(id), QList<bool>({true}), kDownloadTimeoutMs);
    QVERIFY(!downloads->isDownloading(id));
}

// A host that keeps its account past the application object (a static, a leak reclaimed at exit)
// must still be able to exit: the queue's thread no longer delivers anything then.
void tst_DownloadFileMgr::managerOutlivesTheApplication()
{
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TST_OUTLIVE_APPLICATION"), QStringLiteral("1"));
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), {});
    QVERIFY(child.waitForFinished(20000));
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 0);
}

namespace {

int destroyManagerAfterTheApplication(int argc, char **argv)
{
    std::unique_ptr<FileTestEnvironment> env;
    {
        QCoreApplication app(argc, argv);
        env = std::make_unique<FileTestEnvironment>();
        if (!env->isValid()) {
            return 1;
        }
    }
    env.reset();
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsSet("TST_OUTLIVE_APPLICATION")) {
        return destroyManagerAfterTheApplication(argc, argv);
    }
    QCoreApplication app(argc, argv);
    tst_DownloadFileMgr test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_downloadfilemgr.moc"
