#include "accountbase.h"
#include "appdirmanager.h"
#include "appsettingmodel.h"
#include "audiotestsupport.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "im.pb.h"
#include "jsonsettings.h"
#include "jsonutil.h"
#include "mediaaudio.h"
#include "mediamgr.h"
#include "mediaplayer.h"
#include "messagebase.h"
#include "resourceitem.h"
#include "streamserver.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <functional>

using namespace AudioTest;

namespace {

// The host stores an edit of message id and hands it to the hub; bMediaChanged raises the
// edit counter past the stored copy's, which tells that the media were replaced.
void receiveEdit(MediaMgr *hub, qint64 id, bool bMediaChanged)
{
    const QSharedPointer<DialogBase> dialog = hub->account()->dialog("d");
    im::Message proto = dialog->message(MessageKey(id, 0))->proto();
    proto.set_edit_version(proto.stored_edit_version() + (bMediaChanged ? 1 : 0));
    const QSharedPointer<MessageBase> msg(
            new MessageBase(proto, hub->account()->fileManager(), UserId));
    hub->saveResources("d", {MediaInfo {msg, proto.time(), id, 0, true}}, true);
}

} // namespace

using PlayerCall = std::function<void(MediaPlayer *)>;
Q_DECLARE_METATYPE(PlayerCall)
using HubCall = std::function<void(MediaMgr *)>;
Q_DECLARE_METATYPE(HubCall)

// The player over a real account and hub, with an engine that records what it is asked and
// reports the events a test sends: what plays next, when it stops and what it keeps.
class TestMediaPlayer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void voiceAloneStopsAfterIt();
    void voiceContinuesToNewerThenClears();
    void voiceKeepsSpeedMusicResetsIt();
    void voiceNavigation_data();
    void voiceNavigation();
    void scheduledItemPlaysWithoutList();
    void loadedQueries();
    void musicEndOfTrack_data();
    void musicEndOfTrack();
    void musicNavigation_data();
    void musicNavigation();
    void resumeAtListEndRestartsFromStart();
    void singleMusicLoopsAndResetsOnError();
    void failingItemOfListIsSkipped();
    void tempVoiceNeverAdvances();
    void fileOnDiskOrStream_data();
    void fileOnDiskOrStream();
    void pauseAndSeek();
    void engineEventsUpdateState();
    void underloadOfCompleteFileIsSilent();
    void stopOnlyWhenConditionHolds_data();
    void stopOnlyWhenConditionHolds();
    void hubRemovalStopsPlayback_data();
    void hubRemovalStopsPlayback();
    void playingItemGoneIsAnnounced();
    void settersEmitOnChangeOnly();
    void settingSurvivesRestart();

private:
    // Plays message id of dialog "d" as a voice or music list and waits for the engine's play
    // and, for a list, for its first page.
    void startVoice(qint64 id, bool bOnlyOne);
    void startMusic(qint64 id);
    void waitForList(int count);
    void endTrack();
    qint64 playingId() const;
    QString pathOf(int type, qint64 id) const;

    QTemporaryDir m_appDir;
    std::unique_ptr<AudioAccount> m_fixture;
    MediaPlayer *m_player = nullptr;
    ScriptedEngine *m_engine = nullptr; // owned by the player
};

void TestMediaPlayer::initTestCase()
{
    QVERIFY(m_appDir.isValid());
    AppDirManager::instance()->setDataDir(m_appDir.path());
    AppSettingModel::instance()->reload();
    m_player = MediaPlayer::instance();
}

void TestMediaPlayer::init()
{
    m_fixture = std::make_unique<AudioAccount>();
    QVERIFY(m_fixture->isValid());
    m_engine = installScriptedEngine();
    m_player->setPlayMode(MediaPlayer::MODE_SEQUENCE);
    m_player->setLoopMode(0);
    m_player->setPlaySpeed(1.0);
}

void TestMediaPlayer::cleanup()
{
    m_player->stop(true);
    m_player->resetPlayer();
    QCoreApplication::sendPostedEvents();
    m_fixture.reset();
}

void TestMediaPlayer::cleanupTestCase()
{
    network::StreamServer::instance()->close();
    m_player->release();
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QString TestMediaPlayer::pathOf(int type, qint64 id) const
{
    return m_fixture->localPath(type, id);
}

qint64 TestMediaPlayer::playingId() const
{
    return m_player->playingItem() ? m_player->playingItem()->messageId() : 0;
}

void TestMediaPlayer::waitForList(int count)
{
    QVERIFY(m_player->playList());
    m_player->playList()->waitForFinish();
    QTRY_COMPARE(m_player->playList()->count(), count);
}

void TestMediaPlayer::startVoice(qint64 id, bool bOnlyOne)
{
    const int plays = int(m_engine->plays().size());
    m_player->playVoice(UserId, m_fixture->message(id).data(), bOnlyOne);
    QTRY_COMPARE(m_engine->plays().size(), plays + 1);
    QCOMPARE(m_engine->plays().last(), pathOf(CONTENT_VOICE, id));
}

void TestMediaPlayer::startMusic(qint64 id)
{
    const int plays = int(m_engine->plays().size());
    m_player->playMusic(UserId, m_fixture->message(id).data(), SearchKey(), false);
    QTRY_COMPARE(m_engine->plays().size(), plays + 1);
    QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_PLAYING));
    QCOMPARE(playingId(), id);
}

void TestMediaPlayer::endTrack()
{
    QSignalSpy times(m_player, &MediaPlayer::playTimeChanged);
    QSignalSpy states(m_player, &MediaPlayer::playStateChanged);
    const int plays = int(m_engine->plays().size());
    m_engine->send(AudioEvents::EndOfTrack);
    // The end is read on the player's thread; what it starts reaches the engine queued.
    QTRY_VERIFY(!times.isEmpty() || !states.isEmpty() || m_engine->plays().size() > plays);
    QCoreApplication::sendPostedEvents();
}

void TestMediaPlayer::voiceAloneStopsAfterIt()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 3));
    startVoice(2, true);
    QVERIFY(m_player->isOnlyOne());
    QVERIFY(!m_player->isMusic());
    QCOMPARE(m_player->activedDialogId(), QStringLiteral("d"));
    QSignalSpy states(m_player, &MediaPlayer::playStateChanged);
    m_engine->send(AudioEvents::EndOfTrack);
    QTRY_COMPARE(m_player->playState(), int(MediaPlayer::STATE_STOPPED));
    QCOMPARE(m_player->playingItem(), nullptr);
    QCOMPARE(m_engine->plays().size(), 1);
}

void TestMediaPlayer::voiceContinuesToNewerThenClears()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 3));
    startVoice(1, false);
    waitForList(3);

    endTrack();
    QCOMPARE(playingId(), 2);
    QCOMPARE(m_engine->plays().last(), pathOf(CONTENT_VOICE, 2));
    endTrack();
    QCOMPARE(playingId(), 3);
    endTrack();
    QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_STOPPED));
    QCOMPARE(m_player->playingItem(), nullptr);
    QCOMPARE(m_player->playList(), nullptr);
    QCOMPARE(m_player->activedDialogId(), QString());
    QCOMPARE(m_engine->plays().size(), 3);
}

// Voices 1..3 in a list newest first (3, 2, 1); voices play on towards newer messages.
void TestMediaPlayer::voiceNavigation_data()
{
    QTest::addColumn<bool>("forward");
    QTest::addColumn<qint64>("playing");
    QTest::addColumn<qint64>("following"); // 0: the player clears

    QTest::newRow("next goes newer") << true << qint64(1) << qint64(2);
    QTest::newRow("next at the newest clears") << true << qint64(3) << qint64(0);
    QTest::newRow("previous goes older") << false << qint64(3) << qint64(2);
    QTest::newRow("previous at the oldest clears") << false << qint64(1) << qint64(0);
}

void TestMediaPlayer::voiceNavigation()
{
    QFETCH(bool, forward);
    QFETCH(qint64, playing);
    QFETCH(qint64, following);

    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 3));
    startVoice(playing, false);
    waitForList(3);
    if (forward) {
        m_player->nextTrackVoice();
    } else {
        m_player->previousTrackVoice();
    }
    QCOMPARE(playingId(), following);
    if (following == 0) {
        QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_STOPPED));
        QCOMPARE(m_player->playList(), nullptr);
        QCOMPARE(m_player->activedDialogId(), QString());
        return;
    }
    QTRY_COMPARE(m_engine->plays().size(), 2);
    QCOMPARE(m_engine->plays().last(), pathOf(CONTENT_VOICE, following));
}

void TestMediaPlayer::scheduledItemPlaysWithoutList()
{
    QVERIFY(m_fixture->addMessages(CONTENT_MUSIC, 1, 2));
    ResourceItem item(m_fixture->message(1));
    m_player->setPlaySpeed(1.5);
    QSignalSpy playing(m_player, &MediaPlayer::playingMedia);
    m_player->playSchedule(UserId, &item, false, true);
    QCOMPARE(m_player->playList(), nullptr);
    QCOMPARE(m_player->playSpeed(), 1.0);
    QCOMPARE(m_player->activedDialogId(), QStringLiteral("d"));
    QCOMPARE(playing.size(), 1);
    QCOMPARE(playing.first(), QVariantList({UserId, QStringLiteral("d"), qint64(1)}));
    QTRY_COMPARE(m_engine->plays(), QStringList({pathOf(CONTENT_MUSIC, 1)}));
    endTrack();
    QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_STOPPED));
    QCOMPARE(m_engine->plays().size(), 1);
}

void TestMediaPlayer::loadedQueries()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 2));
    const QSharedPointer<MessageBase> first = m_fixture->message(1);
    const QSharedPointer<MessageBase> second = m_fixture->message(2);
    startVoice(1, true);
    ResourceItem same(first);
    ResourceItem other(second);
    QVERIFY(m_player->isLoaded(&same, UserId));
    QVERIFY(!m_player->isLoaded(&same, UserId + 1));
    QVERIFY(!m_player->isLoaded(&other, UserId));
    QVERIFY(!m_player->isLoaded(nullptr, UserId));
    QVERIFY(m_player->isLoadedByMsg(first.data(), UserId));
    QVERIFY(!m_player->isLoadedByMsg(second.data(), UserId));
    QVERIFY(m_player->isLoaded(UserId, QStringLiteral("d")));
    QVERIFY(!m_player->isLoaded(UserId, QStringLiteral("e")));
}

void TestMediaPlayer::voiceKeepsSpeedMusicResetsIt()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 1));
    QVERIFY(m_fixture->addMessages(CONTENT_MUSIC, 2, 2));
    m_player->setPlaySpeed(1.5);
    startVoice(1, true);
    QCOMPARE(m_player->playSpeed(), 1.5);
    QCOMPARE(m_engine->calls.filter("setSpeed").last(), QStringLiteral("setSpeed:1.5"));

    m_player->playMusic(UserId, m_fixture->message(2).data());
    QCOMPARE(m_player->playSpeed(), 1.0);
    QCOMPARE(m_engine->calls.filter("setSpeed").last(), QStringLiteral("setSpeed:1"));
    QVERIFY(m_player->isMusic());
    QVERIFY(m_player->isOnlyOne());
}

// Music 1..3 in a list newest first (3, 2, 1); "next" is the older item.
void TestMediaPlayer::musicEndOfTrack_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<qint64>("playing");
    QTest::addColumn<QList<qint64>>("following"); // empty: the player resets

    QTest::newRow("sequence plays the older item") << 0 << qint64(2) << QList<qint64>({1});
    QTest::newRow("sequence at the oldest resets") << 0 << qint64(1) << QList<qint64>();
    QTest::newRow("reverse plays the newer item") << 1 << qint64(2) << QList<qint64>({3});
    QTest::newRow("reverse at the newest resets") << 1 << qint64(3) << QList<qint64>();
    QTest::newRow("random plays another item") << 2 << qint64(2) << QList<qint64>({1, 3});
    QTest::newRow("repeat one plays it again") << 3 << qint64(2) << QList<qint64>({2});
    QTest::newRow("list loop plays the older item") << 4 << qint64(2) << QList<qint64>({1});
    QTest::newRow("list loop wraps to the newest") << 4 << qint64(1) << QList<qint64>({3});
}

void TestMediaPlayer::musicEndOfTrack()
{
    QFETCH(int, mode);
    QFETCH(qint64, playing);
    QFETCH(QList<qint64>, following);

    QVERIFY(m_fixture->addMessages(CONTENT_MUSIC, 1, 3));
    m_player->setPlayMode(mode);
    startMusic(playing);
    waitForList(3);
    endTrack();
    if (following.isEmpty()) {
        QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_STOPPED));
        QCOMPARE(m_player->playingItem(), nullptr);
        QCOMPARE(m_engine->plays().size(), 1);
        return;
    }
    QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_PLAYING));
    QVERIFY2(following.contains(playingId()), qPrintable(QString::number(playingId())));
    QCOMPARE(m_engine->plays().size(), 2);
    QCOMPARE(m_engine->plays().last(), pathOf(CONTENT_MUSIC, playingId()));
}

void TestMediaPlayer::musicNavigation_data()
{
    QTest::addColumn<PlayerCall>("navigate");
    QTest::addColumn<qint64>("playing");
    QTest::addColumn<qint64>("following"); // 0: the list's end, item kept in state 3

    const PlayerCall next = [](MediaPlayer *p) {
        p->nextTrackMusic(false);
    };
    const PlayerCall nextLoop = [](MediaPlayer *p) {
        p->nextTrackMusic(true);
    };
    const PlayerCall previous = [](MediaPlayer *p) {
        p->previousTrackMusic(false);
    };
    const PlayerCall previousLoop = [](MediaPlayer *p) {
        p->previousTrackMusic(true);
    };
    QTest::newRow("next goes older") << next << qint64(2) << qint64(1);
    QTest::newRow("next at the oldest ends the list") << next << qint64(1) << qint64(0);
    QTest::newRow("next with wrap goes to the newest") << nextLoop << qint64(1) << qint64(3);
    QTest::newRow("previous goes newer") << previous << qint64(2) << qint64(3);
    QTest::newRow("previous at the newest ends the list") << previous << qint64(3) << qint64(0);
    QTest::newRow("previous with wrap goes to the oldest")
            << previousLoop << qint64(3) << qint64(1);
}

void TestMediaPlayer::musicNavigation()
{
    QFETCH(PlayerCall, navigate);
    QFETCH(qint64, playing);
    QFETCH(qint64, following);

    QVERIFY(m_fixture->addMessages(CONTENT_MUSIC, 1, 3));
    startMusic(playing);
    waitForList(3);
    m_engine->calls.clear();
    navigate(m_player);
    QCoreApplication::sendPostedEvents();
    if (following == 0) {
        QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_LIST_END));
        QCOMPARE(playingId(), playing);
        QCOMPARE(m_player->playTime(), 0);
        QCOMPARE(m_engine->calls,
                 QStringList({"seekPos:0", "breakPlay:", QStringLiteral("pause:1")}));
        return;
    }
    QCOMPARE(playingId(), following);
    QCOMPARE(m_engine->plays(), QStringList({pathOf(CONTENT_MUSIC, following)}));
}

void TestMediaPlayer::resumeAtListEndRestartsFromStart()
{
    QVERIFY(m_fixture->addMessages(CONTENT_MUSIC, 1, 2));
    startMusic(1);
    waitForList(2);
    m_player->nextTrackMusic(false);
    QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_LIST_END));
    m_engine->calls.clear();
    m_player->pause(false);
    QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_PLAYING));
    QTRY_COMPARE(m_engine->calls.filter("play:").size(), 1);
    QCOMPARE(m_engine->calls.filter("play:").first(),
             QStringLiteral("play:%1@0").arg(pathOf(CONTENT_MUSIC, 1)));
    QCOMPARE(playingId(), 1);
}

void TestMediaPlayer::singleMusicLoopsAndResetsOnError()
{
    QVERIFY(m_fixture->addMessages(CONTENT_MUSIC, 1, 1));
    m_player->setLoopMode(1);
    m_player->playMusic(UserId, m_fixture->message(1).data());
    QTRY_COMPARE(m_engine->plays().size(), 1);
    for (int round = 2; round <= 4; ++round) {
        endTrack();
        QTRY_COMPARE(m_engine->plays().size(), round);
        QCOMPARE(playingId(), 1);
    }
    QTest::ignoreMessage(QtCriticalMsg, "audioEvent error: cannot decode");
    m_engine->send(AudioEvents::Error, {}, QStringLiteral("cannot decode"));
    QTRY_COMPARE(m_player->playState(), int(MediaPlayer::STATE_STOPPED));
    QCoreApplication::sendPostedEvents();
    QCOMPARE(m_engine->plays().size(), 4);
    QCOMPARE(m_player->playingItem(), nullptr);
}

void TestMediaPlayer::failingItemOfListIsSkipped()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 3));
    startVoice(1, false);
    waitForList(3);
    QTest::ignoreMessage(QtCriticalMsg, "audioEvent error: broken");
    m_engine->send(AudioEvents::Error, {}, QStringLiteral("broken"));
    QTRY_COMPARE(playingId(), 2);
    QTRY_COMPARE(m_engine->plays().size(), 2);
    QCOMPARE(m_player->playTime(), 0);
}

void TestMediaPlayer::tempVoiceNeverAdvances()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 3));
    startVoice(1, false);
    waitForList(3);
    m_player->playTempVoice(QStringLiteral("/tmp/recording.wav"));
    QVERIFY(m_player->loadedTempVoice());
    QCOMPARE(m_player->playList(), nullptr);
    QCOMPARE(m_player->playingItem(), nullptr);
    QTRY_COMPARE(m_engine->plays().last(), QStringLiteral("/tmp/recording.wav"));
    const int plays = int(m_engine->plays().size());

    m_engine->send(AudioEvents::EndOfTrack);
    QTRY_COMPARE(m_player->playState(), int(MediaPlayer::STATE_STOPPED));
    QVERIFY(!m_player->loadedTempVoice());
    QCoreApplication::sendPostedEvents();
    QCOMPARE(m_engine->plays().size(), plays);
}

void TestMediaPlayer::fileOnDiskOrStream_data()
{
    QTest::addColumn<bool>("downloaded");
    QTest::newRow("complete file plays from disk") << true;
    QTest::newRow("missing file streams from the local server") << false;
}

void TestMediaPlayer::fileOnDiskOrStream()
{
    QFETCH(bool, downloaded);
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 1, "d", downloaded));
    m_player->playVoice(UserId, m_fixture->message(1).data(), true);
    QTRY_COMPARE(m_engine->plays().size(), 1);
    const QString path = m_engine->plays().first();
    if (downloaded) {
        QCOMPARE(path, pathOf(CONTENT_VOICE, 1));
        QCOMPARE(m_engine->calls.first(), QStringLiteral("breakPlay:") + path);
        return;
    }
    const QUrl url(path);
    QCOMPARE(url.scheme(), QStringLiteral("http"));
    QCOMPARE(url.host(), QStringLiteral("127.0.0.1"));
    QVERIFY2(url.path().endsWith(QStringLiteral("/1/") + fileIdOf(1)), qPrintable(path));
    QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_PLAYING));
    QCOMPARE(m_player->duration(), 2000);
}

void TestMediaPlayer::pauseAndSeek()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 1));
    startVoice(1, true);
    m_engine->calls.clear();
    m_player->pause(true);
    QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_PAUSED));
    m_player->seekPos(700);
    QCOMPARE(m_player->playTime(), 700);
    m_player->pause(false);
    QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_PLAYING));
    m_player->seekPos(900);
    QCOMPARE(m_engine->calls, QStringList({"pause:1", "seekPos:700", "pause:0", "seekPos:900"}));

    m_player->stop();
    QCOMPARE(m_engine->calls.mid(4), QStringList({"breakPlay:", "stop:0"}));
    m_player->seekPos(300);
    QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_STOPPED));
}

void TestMediaPlayer::engineEventsUpdateState()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 1));
    startVoice(1, true);
    QSignalSpy samples(m_player, &MediaPlayer::samplesChanged);
    const QStringList levels {"1", "5", "3"};
    m_engine->send(AudioEvents::Duration, {{"Duration", 4321}});
    m_engine->send(AudioEvents::Progress, {{"PlayTime", 1200}, {"Samples", levels}});
    m_engine->send(AudioEvents::Progress, {{"PlayTime", 1300}, {"Samples", levels}});
    m_engine->send(AudioEvents::Paused);
    QTRY_COMPARE(m_player->playState(), int(MediaPlayer::STATE_PAUSED));
    QCOMPARE(m_player->duration(), 4321);
    QCOMPARE(m_player->playTime(), 1300);
    QCOMPARE(m_player->samples(), levels);
    QCOMPARE(samples.size(), 1);
    m_engine->send(AudioEvents::Playing);
    QTRY_COMPARE(m_player->playState(), int(MediaPlayer::STATE_PLAYING));
    m_engine->send(AudioEvents::ResetPlayer);
    QTRY_COMPARE(m_player->playState(), int(MediaPlayer::STATE_STOPPED));
    QCOMPARE(m_player->samples(), QStringList());
}

void TestMediaPlayer::underloadOfCompleteFileIsSilent()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 1));
    startVoice(1, true);
    QSignalSpy underload(m_player, &MediaPlayer::isUnderloadChanged);
    m_engine->send(AudioEvents::Underload, {{"IsUnderload", true}});
    QTRY_VERIFY(m_player->isUnderload());
    QCOMPARE(underload.size(), 0);
    m_engine->send(AudioEvents::Underload, {{"IsUnderload", false}});
    QTRY_VERIFY(!m_player->isUnderload());
    QCOMPARE(underload.size(), 1);
}

// Voice 2 of sender 7 in dialog "d" of account 1 is playing.
void TestMediaPlayer::stopOnlyWhenConditionHolds_data()
{
    QTest::addColumn<PlayerCall>("stop");
    QTest::addColumn<bool>("stops");

    const auto row = [](const char *name, PlayerCall call, bool stops) {
        QTest::newRow(name) << call << stops;
    };
    row(
            "account", [](MediaPlayer *p) { p->stop(qint64(1)); }, true);
    row(
            "other account", [](MediaPlayer *p) { p->stop(qint64(2)); }, false);
    row(
            "reset of the account", [](MediaPlayer *p) { p->reset(1); }, true);
    row(
            "dialog", [](MediaPlayer *p) { p->stop(1, "d"); }, true);
    row(
            "other dialog", [](MediaPlayer *p) { p->stop(1, "e"); }, false);
    row(
            "dialog of other account", [](MediaPlayer *p) { p->stop(2, "d"); }, false);
    row(
            "cleared above the item", [](MediaPlayer *p) { p->stop(1, "d", qint64(3)); }, true);
    row(
            "cleared up to the item", [](MediaPlayer *p) { p->stop(1, "d", qint64(2)); }, false);
    row(
            "range around the item", [](MediaPlayer *p) { p->stop(1, "d", MessageIdRange(1, 3)); },
            true);
    row(
            "range bounded by the item",
            [](MediaPlayer *p) { p->stop(1, "d", MessageIdRange(2, 3)); }, false);
    row(
            "range of other dialog", [](MediaPlayer *p) { p->stop(1, "e", MessageIdRange(1, 3)); },
            false);
    row(
            "type voice", [](MediaPlayer *p) { p->stop(1, int(CONTENT_VOICE)); }, true);
    row(
            "type music", [](MediaPlayer *p) { p->stop(1, int(CONTENT_MUSIC)); }, false);
    row(
            "key", [](MediaPlayer *p) { p->stop("d", MessageKey(2, 0)); }, true);
    row(
            "key of a child", [](MediaPlayer *p) { p->stop("d", MessageKey(2, 1)); }, false);
    row(
            "other key", [](MediaPlayer *p) { p->stop("d", MessageKey(1, 0)); }, false);
    row(
            "key in other dialog", [](MediaPlayer *p) { p->stop("e", MessageKey(2, 0)); }, false);
    row(
            "list holding it",
            [](MediaPlayer *p) {
                p->stop("d", QList<qint64>({1, 2}));
            },
            true);
    row(
            "list without it",
            [](MediaPlayer *p) {
                p->stop("d", QList<qint64>({1, 3}));
            },
            false);
    row(
            "sender before a later message",
            [](MediaPlayer *p) { p->stop("d", SenderId, qint64(3)); }, true);
    row(
            "sender up to the item", [](MediaPlayer *p) { p->stop("d", SenderId, qint64(2)); },
            false);
    row(
            "other sender", [](MediaPlayer *p) { p->stop("d", SenderId + 1, qint64(3)); }, false);
}

void TestMediaPlayer::stopOnlyWhenConditionHolds()
{
    QFETCH(PlayerCall, stop);
    QFETCH(bool, stops);

    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 3));
    startVoice(2, true);
    m_engine->calls.clear();
    stop(m_player);
    if (!stops) {
        QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_PLAYING));
        QCOMPARE(playingId(), 2);
        QVERIFY(m_engine->calls.isEmpty());
        return;
    }
    QCOMPARE(m_player->playState(), int(MediaPlayer::STATE_STOPPED));
    QCOMPARE(m_player->playingItem(), nullptr);
    QCOMPARE(m_player->activedDialogId(), QString());
    QCOMPARE(m_engine->calls, QStringList({"breakPlay:", "stop:1"}));
}

// Voice 2 of sender 7 in dialog "d" is playing when the host deletes messages.
void TestMediaPlayer::hubRemovalStopsPlayback_data()
{
    QTest::addColumn<HubCall>("remove");
    QTest::addColumn<bool>("stops");

    const auto row = [](const char *name, HubCall call, bool stops) {
        QTest::newRow(name) << call << stops;
    };
    row(
            "its message", [](MediaMgr *h) { h->removeResource("d", QList<qint64>({2}), true); },
            true);
    row(
            "another message",
            [](MediaMgr *h) { h->removeResource("d", QList<qint64>({3}), true); }, false);
    row(
            "one message", [](MediaMgr *h) { h->removeResource("d", qint64(2)); }, true);
    row(
            "range around it",
            [](MediaMgr *h) { h->removeResource("d", MessageIdRange(1, 3), true); }, true);
    row(
            "range above it",
            [](MediaMgr *h) { h->removeResource("d", MessageIdRange(2, 9), true); }, false);
    row(
            "same id in other dialog",
            [](MediaMgr *h) { h->removeResource("e", QList<qint64>({2}), true); }, false);
    row(
            "history up to it", [](MediaMgr *h) { h->clearMediaModel("d", 2, false); }, true);
    row(
            "history before it", [](MediaMgr *h) { h->clearMediaModel("d", 1, false); }, false);
    row(
            "whole history", [](MediaMgr *h) { h->clearMediaModel("d", 0, false); }, true);
    row(
            "sender's later messages",
            [](MediaMgr *h) { h->removeResourceBySenderId("d", SenderId, 0, {3}); }, true);
    row(
            "other sender's messages",
            [](MediaMgr *h) { h->removeResourceBySenderId("d", SenderId + 1, 0, {3}); }, false);
    row(
            "its media replaced by an edit", [](MediaMgr *h) { receiveEdit(h, 2, true); }, true);
    row(
            "edit that kept the media", [](MediaMgr *h) { receiveEdit(h, 2, false); }, false);
}

void TestMediaPlayer::hubRemovalStopsPlayback()
{
    QFETCH(HubCall, remove);
    QFETCH(bool, stops);

    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 3));
    startVoice(2, false);
    waitForList(3);
    remove(m_fixture->hub());
    QCOMPARE(m_player->playState(),
             int(stops ? MediaPlayer::STATE_STOPPED : MediaPlayer::STATE_PLAYING));
    QCOMPARE(playingId(), stops ? 0 : 2);
}

void TestMediaPlayer::playingItemGoneIsAnnounced()
{
    QVERIFY(m_fixture->addMessages(CONTENT_VOICE, 1, 1));
    startVoice(1, true);
    QSignalSpy items(m_player, &MediaPlayer::playingItemChanged);
    QSignalSpy lists(m_player, &MediaPlayer::playListChanged);
    m_fixture->hub()->mediaAudio()->clear();
    QCOMPARE(items.size(), 1);
    QCOMPARE(items.first().first().value<ResourceItem *>(), nullptr);
    QCOMPARE(m_player->playingItem(), nullptr);
    m_fixture.reset();
    QCOMPARE(lists.size(), 1);
    QCOMPARE(m_player->playList(), nullptr);
}

void TestMediaPlayer::settersEmitOnChangeOnly()
{
    QSignalSpy modes(m_player, &MediaPlayer::playModeChanged);
    QSignalSpy loops(m_player, &MediaPlayer::loopModeChanged);
    QSignalSpy speeds(m_player, &MediaPlayer::playSpeedChanged);
    m_player->setPlayMode(MediaPlayer::MODE_RANDOM);
    m_player->setPlayMode(MediaPlayer::MODE_RANDOM);
    m_player->setLoopMode(1);
    m_player->setLoopMode(1);
    m_player->setPlaySpeed(2.0);
    m_player->setPlaySpeed(2.0);
    QCOMPARE(modes.size(), 1);
    QCOMPARE(modes.first().first().toInt(), int(MediaPlayer::MODE_RANDOM));
    QCOMPARE(loops.size(), 1);
    QCOMPARE(speeds.size(), 1);
    QCOMPARE(m_engine->calls, QStringList({"setSpeed:2"}));
}

// The modes are written to the settings file as they change; a later run reads them back.
void TestMediaPlayer::settingSurvivesRestart()
{
    m_player->setPlayMode(MediaPlayer::MODE_LIST_LOOP);
    m_player->setLoopMode(1);
    const QString settingsFile = m_appDir.filePath(QStringLiteral("settings.json"));
    const QVariantMap onDisk =
            jsonToMap(JsonSettings(settingsFile).value(QStringLiteral("music_play")).toString());
    QCOMPARE(onDisk.value(QStringLiteral("play_sequence")).toInt(), 4);
    QCOMPARE(onDisk.value(QStringLiteral("play_loop")).toInt(), 1);

    // What another run left behind, read as at start-up.
    JsonSettings(settingsFile)
            .setValue(QStringLiteral("music_play"),
                      QString::fromUtf8(mapToJson({{"play_sequence", 2}, {"play_loop", 0}})));
    AppSettingModel::instance()->reload();
    m_player->loadConfig();
    QCOMPARE(m_player->playMode(), int(MediaPlayer::MODE_RANDOM));
    QCOMPARE(m_player->loopMode(), 0);
}

QTEST_GUILESS_MAIN(TestMediaPlayer)
#include "tst_mediaplayer.moc"
