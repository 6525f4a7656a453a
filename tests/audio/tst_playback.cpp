#include "accountbase.h"
#include "audiotestsupport.h"
#include "contenttype.h"
#include "downloadfilemgr.h"
#include "filedata.h"
#include "filemanager.h"
#include "mediaplayer.h"
#include "messagebase.h"
#include "nginxfixture.h"
#include "soundserverfixture.h"
#include "streamserver.h"
#include "tonemedia.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

using namespace AudioTest;

namespace {
// The download of the video lasts about sixteen seconds at this rate.
constexpr qint64 kSlowBytesPerSecond = 384 * 1024;
constexpr int kHearTimeoutMs = 15000;
// Zero crossings over this long tell a tone within a few hertz; the steps lie 100 Hz apart.
constexpr int kListenMs = 250;
constexpr double kToleranceHz = 25;

constexpr qint64 kLocalVoiceId = 1;
constexpr qint64 kStreamedId = 2;
constexpr qint64 kSeekedId = 3;
} // namespace

// The player as the gallery drives it, through the real engine into a real sound server with a
// null output: what the output played is recorded from its monitor and must be the tone of the
// part of the file that ought to play. The streamed files come from nginx at a throttled rate,
// through the stream server, while they download.
class TestPlayback : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void cleanup();

    void playsACompleteLocalFile();
    void playsAStreamWhileTheFileDownloads();
    void seekPastTheDownloadedPartPlaysTheTarget();

private:
    // Waits until the output plays hz; false after the time-out.
    bool hears(double hz, int timeoutMs = kHearTimeoutMs);
    QSharedPointer<FileData> fileOf(qint64 id) const;
    // Stores a music message whose file is the video, to download from the slow source.
    void addStreamedMessage(qint64 id);

    SoundServerFixture m_sound;
    SoundRecorder m_recorder;
    QTemporaryDir m_media;
    std::unique_ptr<NginxFixture> m_nginx;
    std::unique_ptr<AudioAccount> m_account;
    const ToneSteps m_voiceSteps {3, 1000, 500, 200};
    const ToneSteps m_videoSteps {10, 2000, 300, 100};
    qint64 m_videoSize = 0;
};

bool TestPlayback::hears(double hz, int timeoutMs)
{
    return QTest::qWaitFor(
            [&] { return qAbs(m_recorder.recentFrequency(kListenMs) - hz) < kToleranceHz; },
            timeoutMs);
}

QSharedPointer<FileData> TestPlayback::fileOf(qint64 id) const
{
    return m_account->account()->fileManager()->filePtrWithId(fileIdOf(id), true);
}

void TestPlayback::addStreamedMessage(qint64 id)
{
    const AudioFile video {QStringLiteral("mp4"), m_videoSize, m_videoSteps.durationMs(),
                           m_nginx->slowUrl(QStringLiteral("steps.mp4"))};
    QVERIFY(m_account->addMessage(CONTENT_MUSIC, id, video));
}

void TestPlayback::initTestCase()
{
    QVERIFY2(m_sound.start(), qPrintable(m_sound.errorString()));
    QVERIFY2(m_recorder.start(), qPrintable(m_recorder.errorString()));
    QVERIFY(m_media.isValid());
    QString error;
    const QString voice = m_media.filePath(QStringLiteral("voice.opus"));
    const QString video = m_media.filePath(QStringLiteral("steps.mp4"));
    QVERIFY2(ToneMedia::write(voice, m_voiceSteps, ToneMedia::OggOpus, &error), qPrintable(error));
    QVERIFY2(ToneMedia::write(video, m_videoSteps, ToneMedia::LargeVideoMp4, &error),
             qPrintable(error));
    m_videoSize = QFileInfo(video).size();

    m_nginx = std::make_unique<NginxFixture>(m_media.path(), kSlowBytesPerSecond);
    QVERIFY2(m_nginx->start(), qPrintable(m_nginx->errorString()));
    m_account = std::make_unique<AudioAccount>();
    QVERIFY(m_account->isValid());
    const AudioFile voiceFile {QStringLiteral("opus"), QFileInfo(voice).size(),
                               m_voiceSteps.durationMs(), QString()};
    QVERIFY(m_account->addMessage(CONTENT_VOICE, kLocalVoiceId, voiceFile, voice));
    addStreamedMessage(kStreamedId);
    addStreamedMessage(kSeekedId);
}

void TestPlayback::cleanupTestCase()
{
    MediaPlayer::instance()->stop(true);
    network::StreamServer::instance()->close();
    m_account.reset();
}

void TestPlayback::cleanup()
{
    MediaPlayer::instance()->stop(true);
    QVERIFY(QTest::qWaitFor([this] { return m_recorder.isSilentFor(kListenMs); }));
}

void TestPlayback::playsACompleteLocalFile()
{
    QVERIFY(fileOf(kLocalVoiceId)->isComplete());
    MediaPlayer *player = MediaPlayer::instance();
    player->playVoice(UserId, m_account->message(kLocalVoiceId).data(), true);
    QCOMPARE(player->playState(), int(MediaPlayer::STATE_PLAYING));
    QVERIFY(hears(m_voiceSteps.frequencyAt(0)));
    QVERIFY(hears(m_voiceSteps.frequencyAt(m_voiceSteps.durationMs() - 1)));
    // A voice played alone clears the player when it ends.
    QTRY_COMPARE_WITH_TIMEOUT(player->playState(), int(MediaPlayer::STATE_STOPPED), 5000);
    QCOMPARE(player->playingItem(), nullptr);
}

void TestPlayback::playsAStreamWhileTheFileDownloads()
{
    MediaPlayer *player = MediaPlayer::instance();
    player->playMusic(UserId, m_account->message(kStreamedId).data());
    QVERIFY(hears(m_videoSteps.frequencyAt(0)));
    QVERIFY2(!fileOf(kStreamedId)->isComplete(), "the file played before its download ended");
    // Playback goes on into the next tone while the download goes on too.
    QVERIFY(hears(m_videoSteps.frequencyAt(m_videoSteps.stepMs)));
    QVERIFY(!fileOf(kStreamedId)->isComplete());
    QCOMPARE(player->playState(), int(MediaPlayer::STATE_PLAYING));
}

void TestPlayback::seekPastTheDownloadedPartPlaysTheTarget()
{
    MediaPlayer *player = MediaPlayer::instance();
    player->playMusic(UserId, m_account->message(kSeekedId).data());
    const qint64 target = m_videoSteps.durationMs() * 8 / 10;
    player->seekPos(target);
    QVERIFY(hears(m_videoSteps.frequencyAt(target)));
    const QSharedPointer<FileData> file = fileOf(kSeekedId);
    QVERIFY2(file->downloadedBytes() < m_videoSize * 8 / 10,
             qPrintable(QStringLiteral("the download had reached %1 of %2 bytes")
                                .arg(file->downloadedBytes())
                                .arg(m_videoSize)));
}

QTEST_GUILESS_MAIN(TestPlayback)
#include "tst_playback.moc"
