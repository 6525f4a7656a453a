#include "accountbase.h"
#include "filedata.h"
#include "filemanager.h"
#include "nginxfixture.h"
#include "streamserver.h"
#include "streamtestsupport.h"

#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {
constexpr qint64 kUserId = 8301;
constexpr int kToolTimeoutMs = 120000;
// The download of the video from nginx lasts about ten seconds at this rate.
constexpr qint64 kSlowBytesPerSecond = 384 * 1024;
} // namespace

// A real player as the client: ffprobe and ffmpeg read a generated MP4 through the stream URL,
// seeking, and must decode the very frames they decode from the file itself. The file keeps its
// index at the end (no faststart), so even opening it needs a range far from the start.
class tst_StreamPlayer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void decodesTheSameFramesAsTheFile_data();
    void decodesTheSameFramesAsTheFile();
    void probesTheSameStreamsAsTheFile();
    void playsAFileWhileItDownloads();

private:
    // Runs a tool with the input in place of "INPUT"; its standard output, or a failure note.
    static QByteArray run(const QString &tool, QStringList arguments, const QString &input);
    static QStringList framesArguments(double seekSeconds);
    static QStringList probeArguments();

    QTemporaryDir m_dir;
    QString m_video;
    qint64 m_videoSize = 0;
    std::unique_ptr<StreamTestAccount> m_account;
};

QByteArray tst_StreamPlayer::run(const QString &tool, QStringList arguments, const QString &input)
{
    arguments.replaceInStrings(QStringLiteral("INPUT"), input);
    QProcess process;
    process.start(tool, arguments);
    // The event loop keeps turning: the file library reports to objects of this thread.
    if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, kToolTimeoutMs)) {
        process.kill();
        process.waitForFinished();
        return QByteArrayLiteral("timed out");
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        return "failed: " + process.readAllStandardError();
    }
    return process.readAllStandardOutput();
}

QStringList tst_StreamPlayer::framesArguments(double seekSeconds)
{
    QStringList arguments {QStringLiteral("-v"), QStringLiteral("error")};
    if (seekSeconds > 0) {
        arguments << QStringLiteral("-ss") << QString::number(seekSeconds);
    }
    return arguments << QStringLiteral("-i") << QStringLiteral("INPUT") << QStringLiteral("-f")
                     << QStringLiteral("framemd5") << QStringLiteral("-");
}

QStringList tst_StreamPlayer::probeArguments()
{
    return {QStringLiteral("-v"),
            QStringLiteral("error"),
            QStringLiteral("-show_entries"),
            QStringLiteral("stream=codec_name,width,height,nb_frames:format=duration,size"),
            QStringLiteral("-of"),
            QStringLiteral("csv=p=0"),
            QStringLiteral("INPUT")};
}

void tst_StreamPlayer::initTestCase()
{
    if (QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty()
        || QStandardPaths::findExecutable(QStringLiteral("ffprobe")).isEmpty()) {
        QSKIP("ffmpeg and ffprobe are not installed: no player to test the stream server with");
    }
    QVERIFY(m_dir.isValid());
    m_video = m_dir.filePath(QStringLiteral("clip.mp4"));
    // Noise keeps the clip a few megabytes, so that its index lies far behind its first bytes.
    const QByteArray made = run(QStringLiteral("ffmpeg"),
                                {"-v", "error", "-f", "lavfi", "-i",
                                 "testsrc=duration=5:size=640x360:rate=25,noise=alls=30:allf=t",
                                 "-c:v", "mpeg4", "-q:v", "4", "-g", "25", "INPUT"},
                                m_video);
    QVERIFY2(made.isEmpty(), made.constData());
    m_videoSize = QFileInfo(m_video).size();
    QVERIFY(m_videoSize > 2 * 1024 * 1024);

    m_account = std::make_unique<StreamTestAccount>(kUserId);
    QVERIFY(m_account->isValid());
    QVERIFY(m_account->addRemoteFile(QStringLiteral("clip"), m_videoSize,
                                     QUrl::fromLocalFile(m_video).toString()));
}

void tst_StreamPlayer::cleanupTestCase()
{
    network::StreamServer::instance()->close();
    m_account.reset();
}

void tst_StreamPlayer::decodesTheSameFramesAsTheFile_data()
{
    QTest::addColumn<double>("seekSeconds");
    QTest::newRow("from the start") << 0.0;
    QTest::newRow("seek into the middle") << 2.4;
    QTest::newRow("seek near the end") << 4.5;
}

void tst_StreamPlayer::decodesTheSameFramesAsTheFile()
{
    QFETCH(double, seekSeconds);
    const QString url = network::StreamServer::instance()->getUrl(kUserId, QStringLiteral("clip"));
    QVERIFY(!url.isEmpty());
    const QByteArray direct = run(QStringLiteral("ffmpeg"), framesArguments(seekSeconds), m_video);
    QVERIFY(direct.count("\n0,") > 10);
    QCOMPARE(run(QStringLiteral("ffmpeg"), framesArguments(seekSeconds), url), direct);
}

void tst_StreamPlayer::probesTheSameStreamsAsTheFile()
{
    const QString url = network::StreamServer::instance()->getUrl(kUserId, QStringLiteral("clip"));
    const QByteArray direct = run(QStringLiteral("ffprobe"), probeArguments(), m_video);
    QVERIFY(direct.startsWith("mpeg4,640,360,125"));
    QCOMPARE(run(QStringLiteral("ffprobe"), probeArguments(), url), direct);
}

void tst_StreamPlayer::playsAFileWhileItDownloads()
{
    if (!NginxFixture::isInstalled()) {
        QSKIP(NginxFixture::notInstalledMessage());
    }
    NginxFixture nginx(m_dir.path(), kSlowBytesPerSecond);
    QVERIFY2(nginx.start(), qPrintable(nginx.errorString()));
    const QString fileId = QStringLiteral("downloading-clip");
    QVERIFY(m_account->addRemoteFile(fileId, m_videoSize,
                                     nginx.slowUrl(QFileInfo(m_video).fileName())));
    const QSharedPointer<FileData> file =
            m_account->account()->fileManager()->filePtrWithId(fileId, true);
    QVERIFY(file);
    const QString url = network::StreamServer::instance()->getUrl(kUserId, fileId);

    // Opening the clip reads its index at the end, which the download reaches last: the probe is
    // answered from a range fetched ahead of it.
    const QByteArray probed = run(QStringLiteral("ffprobe"), probeArguments(), url);
    QCOMPARE(probed, run(QStringLiteral("ffprobe"), probeArguments(), m_video));
    QVERIFY2(!file->isComplete(),
             qPrintable(QStringLiteral("download at %1 of %2")
                                .arg(file->downloadedBytes())
                                .arg(m_videoSize)));

    QCOMPARE(run(QStringLiteral("ffmpeg"), framesArguments(3.2), url),
             run(QStringLiteral("ffmpeg"), framesArguments(3.2), m_video));
    QCOMPARE(run(QStringLiteral("ffmpeg"), framesArguments(0), url),
             run(QStringLiteral("ffmpeg"), framesArguments(0), m_video));
    QTRY_VERIFY_WITH_TIMEOUT(file->isComplete(), kToolTimeoutMs);
}

QTEST_GUILESS_MAIN(tst_StreamPlayer)
#include "tst_streamplayer.moc"
