#include "downloadfilemgr.h"
#include "filetestenvironment.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>

// What a stream request that can never be answered costs: nothing is kept for it, so a client
// that asks past the end of a file holds no resources in the file library and makes no work.
class tst_StreamRange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void unanswerableRequestReleasesItsCallbackAtOnce_data();
    void unanswerableRequestReleasesItsCallbackAtOnce();
    void answeredRequestReleasesItsCallback();

private:
    std::unique_ptr<FileTestEnvironment> m_env;
    QSharedPointer<FileData> m_file;
};

void tst_StreamRange::init()
{
    m_env = std::make_unique<FileTestEnvironment>();
    QVERIFY(m_env->isValid());
    QCOMPARE(m_env->writeSource(QStringLiteral("r"), 5000).size(), 5000);
    m_file = m_env->registerFile(QStringLiteral("r"), 5000, m_env->sourceUrl(QStringLiteral("r")));
    QVERIFY(m_file);
}

void tst_StreamRange::cleanup()
{
    m_file.reset();
    m_env.reset();
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
    if (fileId == QLatin1String("none") || length > 0) {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("stream request")));
    }
    const auto held = std::make_shared<int>(0);
    const qint64 id = m_env->files()->downloadFileMgr()->requestStreamBuffer(
            fileId, start, length, [held](qint64, const QByteArray &) { ++*held; });
    QVERIFY(id != 0);
    QCOMPARE(held.use_count(), 1);
    m_env->files()->downloadFileMgr()->abortDownloader(id);
    QCOMPARE(*held, 0);
}

void tst_StreamRange::answeredRequestReleasesItsCallback()
{
    const auto held = std::make_shared<QAtomicInt>(0);
    m_env->files()->downloadFileMgr()->requestStreamBuffer(
            QStringLiteral("r"), 4990, 10,
            [held](qint64, const QByteArray &data) { held->storeRelease(int(data.size())); });
    QTRY_COMPARE_WITH_TIMEOUT(held->loadAcquire(), 10, 30000);
    QTRY_COMPARE(held.use_count(), 1L);
}

QTEST_GUILESS_MAIN(tst_StreamRange)
#include "tst_streamrange.moc"
