#include "downloadfilemgr.h"
#include "filetestenvironment.h"
#include "nginxfixture.h"

#include <QCoreApplication>
#include <QTest>

namespace {
constexpr int kAnswerTimeoutMs = 30000;
// Served at 512 KiB/s from /slow/.
constexpr qint64 kSlowFileSize = 2 * 1024 * 1024;
} // namespace

// Byte ranges of files served to the stream server through DownloadFileMgr::requestStreamBuffer.
class tst_StreamBuffer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void deliversTheRangeOfACompleteFile_data();
    void deliversTheRangeOfACompleteFile();
    void deliversFromADownloadInProgress_data();
    void deliversFromADownloadInProgress();
    void deliversFromAPartialFileWithoutDownloading();
    void neverAnswersAfterAbort();
    void neverAnswersEmptyOrOutOfRangeRequests_data();
    void neverAnswersEmptyOrOutOfRangeRequests();
    void requestIdsAreDistinctAndNonZero();

private:
    QString uniqueName();
    // Asks for one range and waits for its answer: every request posted before it that was
    // answerable has been answered by then.
    void roundTrip(const QSharedPointer<FileData> &file);

    QTemporaryDir m_sources;
    std::unique_ptr<NginxFixture> m_nginx;
    std::unique_ptr<FileTestEnvironment> m_env;
    int m_serial = 0;
};

void tst_StreamBuffer::initTestCase()
{
    QVERIFY(m_sources.isValid());
    if (NginxFixture::isInstalled()) {
        m_nginx = std::make_unique<NginxFixture>(m_sources.path());
        QVERIFY2(m_nginx->start(), qPrintable(m_nginx->errorString()));
    }
}

void tst_StreamBuffer::init()
{
    m_env = std::make_unique<FileTestEnvironment>(m_sources.path());
    QVERIFY(m_env->isValid());
}

void tst_StreamBuffer::cleanup()
{
    m_env.reset();
}

QString tst_StreamBuffer::uniqueName()
{
    return QStringLiteral("s%1").arg(++m_serial);
}

void tst_StreamBuffer::roundTrip(const QSharedPointer<FileData> &file)
{
    StreamRecorder probe;
    const qint64 id = m_env->files()->downloadFileMgr()->requestStreamBuffer(file->fileId(), 0, 1,
                                                                             probe.callback());
    QTRY_COMPARE_WITH_TIMEOUT(probe.count(), 1, kAnswerTimeoutMs);
    QCOMPARE(probe.answers().first().requestId, id);
}

void tst_StreamBuffer::deliversTheRangeOfACompleteFile_data()
{
    QTest::addColumn<qint64>("start");
    QTest::addColumn<qint64>("length");
    QTest::newRow("first bytes") << qint64(0) << qint64(100);
    QTest::newRow("middle") << qint64(123457) << qint64(512000);
    QTest::newRow("last byte") << qint64(999999) << qint64(1);
    QTest::newRow("whole file") << qint64(0) << qint64(1000000);
}

void tst_StreamBuffer::deliversTheRangeOfACompleteFile()
{
    QFETCH(qint64, start);
    QFETCH(qint64, length);
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, 1000000);
    // No source: the bytes can only come from the local copy.
    const QSharedPointer<FileData> file = m_env->registerFile(id, bytes.size(), QString());
    QVERIFY(FileTestEnvironment::writeFile(file->localPath(), bytes));
    StreamRecorder recorder;

    const qint64 requestId = m_env->files()->downloadFileMgr()->requestStreamBuffer(
            id, start, length, recorder.callback());

    QVERIFY(requestId != 0);
    QTRY_COMPARE_WITH_TIMEOUT(recorder.count(), 1, kAnswerTimeoutMs);
    const StreamRecorder::Answer answer = recorder.answers().first();
    QCOMPARE(answer.requestId, requestId);
    QCOMPARE(answer.data, bytes.mid(start, length));
    QVERIFY(answer.thread != QCoreApplication::instance()->thread());
    // Once: aborting after the answer is harmless, and nothing else arrives.
    m_env->files()->downloadFileMgr()->abortDownloader(requestId);
    roundTrip(file);
    QCOMPARE(recorder.count(), 1);
}

void tst_StreamBuffer::deliversFromADownloadInProgress_data()
{
    QTest::addColumn<bool>("http");
    QTest::newRow("file source") << false;
    QTest::newRow("slow http source") << true;
}

void tst_StreamBuffer::deliversFromADownloadInProgress()
{
    QFETCH(bool, http);
    if (http && !m_nginx) {
        QSKIP(NginxFixture::notInstalledMessage());
    }
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, kSlowFileSize);
    const QString url = http ? m_nginx->slowUrl(id) : m_env->sourceUrl(id);
    const QSharedPointer<FileData> file = m_env->registerFile(id, bytes.size(), url);
    StreamRecorder recorder;
    const qint64 start = 300 * 1024;
    const qint64 length = 200 * 1024;

    // Nothing is on disk: the request starts the download and waits for its bytes.
    const qint64 requestId = m_env->files()->downloadFileMgr()->requestStreamBuffer(
            id, start, length, recorder.callback());

    QTRY_COMPARE_WITH_TIMEOUT(recorder.count(), 1, kAnswerTimeoutMs);
    QCOMPARE(recorder.answers().first().requestId, requestId);
    QCOMPARE(recorder.answers().first().data, bytes.mid(start, length));
    if (http) {
        QVERIFY(!file->isComplete()); // answered before the download ended
    }
    QTRY_VERIFY_WITH_TIMEOUT(file->isComplete(), kAnswerTimeoutMs);
    roundTrip(file);
    QCOMPARE(recorder.count(), 1);
}

void tst_StreamBuffer::deliversFromAPartialFileWithoutDownloading()
{
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, 100000);
    const QSharedPointer<FileData> file =
            m_env->registerFile(id, bytes.size(), QStringLiteral("file:///nonexistent/x"));
    QVERIFY(FileTestEnvironment::writeFile(file->partialPath(), bytes.left(60000)));
    StreamRecorder recorder;

    m_env->files()->downloadFileMgr()->requestStreamBuffer(id, 10000, 50000, recorder.callback());

    QTRY_COMPARE_WITH_TIMEOUT(recorder.count(), 1, kAnswerTimeoutMs);
    QCOMPARE(recorder.answers().first().data, bytes.mid(10000, 50000));
    QVERIFY(!m_env->files()->downloadFileMgr()->isDownloading(id));
}

void tst_StreamBuffer::neverAnswersAfterAbort()
{
    if (!m_nginx) {
        QSKIP(NginxFixture::notInstalledMessage());
    }
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, kSlowFileSize);
    const QSharedPointer<FileData> file =
            m_env->registerFile(id, bytes.size(), m_nginx->slowUrl(id));
    DownloadRecorder downloads(m_env->files());
    StreamRecorder recorder;
    DownloadFileMgr *manager = m_env->files()->downloadFileMgr();

    const qint64 early = manager->requestStreamBuffer(id, 0, 1000, recorder.callback());
    const qint64 late =
            manager->requestStreamBuffer(id, bytes.size() - 1000, 1000, recorder.callback());
    manager->abortDownloader(early);
    manager->abortDownloader(late);
    // On a loaded machine a request may be answered before the abort reaches it; an answer runs
    // under the lock the abort takes, so none can come once the abort has returned.
    const int answeredBeforeAbort = recorder.count();

    // The download the requests started still completes; the aborted requests stay silent.
    QTRY_COMPARE_WITH_TIMEOUT(downloads.finished(id), QList<bool>({true}), kAnswerTimeoutMs);
    roundTrip(file);
    QCOMPARE(recorder.count(), answeredBeforeAbort);
}

void tst_StreamBuffer::neverAnswersEmptyOrOutOfRangeRequests_data()
{
    QTest::addColumn<QString>("fileId");
    QTest::addColumn<qint64>("start");
    QTest::addColumn<qint64>("length");
    QTest::newRow("zero length") << QString() << qint64(0) << qint64(0);
    QTest::newRow("zero length at the end") << QString() << qint64(5000) << qint64(0);
    QTest::newRow("start at the end") << QString() << qint64(5000) << qint64(10);
    QTest::newRow("past the end") << QString() << qint64(4990) << qint64(11);
    QTest::newRow("negative start") << QString() << qint64(-1) << qint64(10);
    QTest::newRow("unknown file") << QStringLiteral("unknown") << qint64(0) << qint64(10);
}

void tst_StreamBuffer::neverAnswersEmptyOrOutOfRangeRequests()
{
    QFETCH(QString, fileId);
    QFETCH(qint64, start);
    QFETCH(qint64, length);
    const QString id = uniqueName();
    const QByteArray bytes = m_env->writeSource(id, 5000);
    const QSharedPointer<FileData> file =
            m_env->registerFile(id, bytes.size(), m_env->sourceUrl(id));
    QVERIFY(FileTestEnvironment::writeFile(file->localPath(), bytes));
    StreamRecorder recorder;
    DownloadFileMgr *manager = m_env->files()->downloadFileMgr();

    const qint64 requestId = manager->requestStreamBuffer(fileId.isEmpty() ? id : fileId, start,
                                                          length, recorder.callback());

    QVERIFY(requestId != 0);
    roundTrip(file);
    QCOMPARE(recorder.count(), 0);
    manager->abortDownloader(requestId);
    roundTrip(file);
    QCOMPARE(recorder.count(), 0);
}

void tst_StreamBuffer::requestIdsAreDistinctAndNonZero()
{
    DownloadFileMgr *manager = m_env->files()->downloadFileMgr();
    QSet<qint64> ids;
    for (int i = 0; i < 100; ++i) {
        const qint64 id = manager->requestStreamBuffer(QStringLiteral("x"), 0, 0, {});
        QVERIFY(id != 0);
        ids.insert(id);
        manager->abortDownloader(id);
    }
    QCOMPARE(ids.size(), 100);
}

QTEST_GUILESS_MAIN(tst_StreamBuffer)
#include "tst_streambuffer.moc"
