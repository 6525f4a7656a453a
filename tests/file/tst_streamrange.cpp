#include "downloadfilemgr.h"
#include "filetestenvironment.h"
#include "nginxfixture.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

#include <memory>

namespace {
constexpr int kAnswerTimeoutMs = 60000;
// The /slow/ rate: a download of kFileSize lasts about 12 s, long enough to seek ahead of it.
constexpr qint64 kSlowBytesPerSecond = 256 * 1024;
constexpr qint64 kFileSize = 3 * 1024 * 1024;
// Where a player seeks: far beyond what the download has written in the first seconds.
constexpr qint64 kSeekOffset = 2 * 1024 * 1024 + 12345;
// The stream server's chunk.
constexpr qint64 kChunk = 512000;
} // namespace

// Stream requests against downloads from an HTTP source that is still running: a seek far ahead
// is fetched on its own, the download still completes the file, and requests that can never be
// answered cost nothing.
class tst_StreamRange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void unanswerableRequestReleasesItsCallbackAtOnce_data();
    void unanswerableRequestReleasesItsCallbackAtOnce();
    void answeredRequestReleasesItsCallback();

    void seekFarAheadIsAnsweredBeforeTheDownloadGetsThere();
    void fetchedBytesAreServedAfterARestart();
    void stoppedDownloadSettlesItsWaitingRequests_data();
    void stoppedDownloadSettlesItsWaitingRequests();
    void abortedRequestIsNeverAnsweredWhileItsFetchRuns();

private:
    QString uniqueName() { return QStringLiteral("range%1").arg(++m_serial); }
    DownloadFileMgr *downloads() const { return m_env->files()->downloadFileMgr(); }
    // A file of kFileSize bytes in the served folder, registered with its throttled URL.
    QSharedPointer<FileData> registerSlowFile(const QString &id, QByteArray &bytes);
    // Asks for one range and waits for its answer.
    QByteArray fetch(const QString &fileId, qint64 start, qint64 length);

    QTemporaryDir m_sources;
    std::unique_ptr<NginxFixture> m_nginx;
    std::unique_ptr<FileTestEnvironment> m_env;
    int m_serial = 0;
};

void tst_StreamRange::initTestCase()
{
    QVERIFY(m_sources.isValid());
    if (NginxFixture::isInstalled()) {
        m_nginx = std::make_unique<NginxFixture>(m_sources.path(), kSlowBytesPerSecond);
        QVERIFY2(m_nginx->start(), qPrintable(m_nginx->errorString()));
    }
}

void tst_StreamRange::init()
{
    m_env = std::make_unique<FileTestEnvironment>(m_sources.path());
    QVERIFY(m_env->isValid());
}

void tst_StreamRange::cleanup()
{
    m_env.reset();
}

QSharedPointer<FileData> tst_StreamRange::registerSlowFile(const QString &id, QByteArray &bytes)
{
    bytes = m_env->writeSource(id, kFileSize);
    if (bytes.size() != kFileSize) {
        return nullptr;
    }
    return m_env->registerFile(id, kFileSize, m_nginx->slowUrl(id));
}

QByteArray tst_StreamRange::fetch(const QString &fileId, qint64 start, qint64 length)
{
    StreamRecorder recorder;
    downloads()->requestStreamBuffer(fileId, start, length, recorder.callback());
    if (!QTest::qWaitFor([&] { return recorder.count() > 0; }, kAnswerTimeoutMs)) {
        return QByteArrayLiteral("no answer");
    }
    return recorder.answers().constFirst().data;
}

void tst_StreamRange::unanswerableRequestReleasesItsCallbackAtOnce_data()
{
    QTest::addColumn<QString>("fileId");
    QTest::addColumn<qint64>("start");
    QTest::addColumn<qint64>("length");
    QTest::newRow("zero bytes at the end") << QStringLiteral("r") << qint64(5000) << qint64(0);
    QTest::newRow("zero bytes past the end") << QStringLiteral("r") << qint64(9000) << qint64(0);
    QTest::newRow("past the end") << QStringLiteral("r") << qint64(4990) << qint64(11);
    QTest::newRow("far past the end")
            << QStringLiteral("r") << std::numeric_limits<qint64>::max() - 5 << qint64(10);
    QTest::newRow("negative start") << QStringLiteral("r") << qint64(-1) << qint64(10);
    QTest::newRow("unknown file") << QStringLiteral("none") << qint64(0) << qint64(10);
}

void tst_StreamRange::unanswerableRequestReleasesItsCallbackAtOnce()
{
    QFETCH(QString, fileId);
    QFETCH(qint64, start);
    QFETCH(qint64, length);
    QCOMPARE(m_env->writeSource(QStringLiteral("r"), 5000).size(), 5000);
    QVERIFY(m_env->registerFile(QStringLiteral("r"), 5000, m_env->sourceUrl(QStringLiteral("r"))));
    if (fileId == QLatin1String("none") || length > 0) {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("stream request")));
    }
    const auto held = std::make_shared<int>(0);
    const qint64 id = downloads()->requestStreamBuffer(
            fileId, start, length, [held](qint64, const QByteArray &) { ++*held; });
    QVERIFY(id != 0);
    QCOMPARE(held.use_count(), 1);
    downloads()->abortDownloader(id);
    QCOMPARE(*held, 0);
}

void tst_StreamRange::answeredRequestReleasesItsCallback()
{
    QCOMPARE(m_env->writeSource(QStringLiteral("r"), 5000).size(), 5000);
    QVERIFY(m_env->registerFile(QStringLiteral("r"), 5000, m_env->sourceUrl(QStringLiteral("r"))));
    const auto held = std::make_shared<QAtomicInt>(0);
    downloads()->requestStreamBuffer(
            QStringLiteral("r"), 4990, 10,
            [held](qint64, const QByteArray &data) { held->storeRelease(int(data.size())); });
    QTRY_COMPARE_WITH_TIMEOUT(held->loadAcquire(), 10, kAnswerTimeoutMs);
    QTRY_COMPARE(held.use_count(), 1L);
}

void tst_StreamRange::seekFarAheadIsAnsweredBeforeTheDownloadGetsThere()
{
    if (!m_nginx) {
        QSKIP(NginxFixture::notInstalledMessage());
    }
    const QString id = uniqueName();
    QByteArray bytes;
    const QSharedPointer<FileData> file = registerSlowFile(id, bytes);
    QVERIFY(file);
    DownloadRecorder recorder(m_env->files());

    // A player that seeks reads on chunk by chunk from there, one request at a time.
    for (qint64 start = kSeekOffset; start < kSeekOffset + 3 * kChunk; start += kChunk) {
        const qint64 length = qMin(kChunk, kFileSize - start);
        QCOMPARE(fetch(id, start, length), bytes.mid(start, length));
        QVERIFY2(file->downloadedBytes() < start,
                 qPrintable(QStringLiteral("download at %1").arg(file->downloadedBytes())));
    }
    QVERIFY(!file->isComplete());

    // The download goes on in the background and leaves the file whole, without the side files
    // of the fetched ranges.
    QTRY_COMPARE_WITH_TIMEOUT(recorder.finished(id), QList<bool>({true}), kAnswerTimeoutMs);
    QCOMPARE(FileTestEnvironment::contents(file->localPath()), bytes);
    const QStringList left = QDir(QFileInfo(file->localPath()).absolutePath())
                                     .entryList({id + QLatin1String("*")}, QDir::Files);
    QCOMPARE(left, QStringList({QFileInfo(file->localPath()).fileName()}));
    QCOMPARE(fetch(id, kSeekOffset, kChunk), bytes.mid(kSeekOffset, kChunk));
}

void tst_StreamRange::fetchedBytesAreServedAfterARestart()
{
    if (!m_nginx) {
        QSKIP(NginxFixture::notInstalledMessage());
    }
    const QString id = uniqueName();
    QByteArray bytes;
    QVERIFY(registerSlowFile(id, bytes));
    QCOMPARE(fetch(id, kSeekOffset, kChunk), bytes.mid(kSeekOffset, kChunk));

    // The account signs out mid-download and the source disappears: what was fetched is still
    // there after the restart; what was not can no longer come, and its request fails.
    m_env->destroyManager();
    QVERIFY(QFile::remove(m_env->sourcePath(id)));
    m_env->recreateManager();
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("failed: HTTP 404")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("range fetch .* failed")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("stream requests for")));
    QCOMPARE(fetch(id, kSeekOffset, kChunk), bytes.mid(kSeekOffset, kChunk));
    QCOMPARE(fetch(id, kFileSize - 1000, 1000), QByteArray());
}

void tst_StreamRange::stoppedDownloadSettlesItsWaitingRequests_data()
{
    QTest::addColumn<bool>("deleteTemp");
    QTest::addColumn<bool>("answered");
    QTest::newRow("kept partial file: bytes fetched") << false << true;
    QTest::newRow("deleted partial file: request fails") << true << false;
}

void tst_StreamRange::stoppedDownloadSettlesItsWaitingRequests()
{
    QFETCH(bool, deleteTemp);
    QFETCH(bool, answered);
    if (!m_nginx) {
        QSKIP(NginxFixture::notInstalledMessage());
    }
    const QString id = uniqueName();
    QByteArray bytes;
    QVERIFY(registerSlowFile(id, bytes));
    // Near enough to wait for the download rather than fetch; the stop comes right behind it.
    const qint64 start = 600 * 1024;
    StreamRecorder recorder;
    const qint64 requestId = downloads()->requestStreamBuffer(id, start, 1000, recorder.callback());
    if (!answered) {
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("stream requests for")));
    }
    downloads()->stop(id, deleteTemp);

    QTRY_COMPARE_WITH_TIMEOUT(recorder.count(), 1, kAnswerTimeoutMs);
    QCOMPARE(recorder.answers().constFirst().requestId, requestId);
    QCOMPARE(recorder.answers().constFirst().data,
             answered ? bytes.mid(start, 1000) : QByteArray());
    QVERIFY(!downloads()->isDownloading(id));
}

void tst_StreamRange::abortedRequestIsNeverAnsweredWhileItsFetchRuns()
{
    if (!m_nginx) {
        QSKIP(NginxFixture::notInstalledMessage());
    }
    const QString id = uniqueName();
    QByteArray bytes;
    const QSharedPointer<FileData> file = registerSlowFile(id, bytes);
    QVERIFY(file);
    StreamRecorder aborted;
    const qint64 length = kFileSize - kSeekOffset;
    const qint64 requestId =
            downloads()->requestStreamBuffer(id, kSeekOffset, length, aborted.callback());

    // Mid-way: the fetch has written some of the bytes, not all.
    const QString rangeFile = file->partialPath() + QStringLiteral(".ranges");
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(rangeFile).size() > kSeekOffset, kAnswerTimeoutMs);
    downloads()->abortDownloader(requestId);
    QVERIFY(QFileInfo(rangeFile).size() < kFileSize);

    // Once the same bytes are answered to another request, the fetch is over.
    QCOMPARE(fetch(id, kFileSize - 1000, 1000), bytes.right(1000));
    QCOMPARE(aborted.count(), 0);
}

QTEST_GUILESS_MAIN(tst_StreamRange)
#include "tst_streamrange.moc"
