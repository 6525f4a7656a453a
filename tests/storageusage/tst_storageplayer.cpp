#include "accountbase.h"
#include "appdirmanager.h"
#include "appsettingmodel.h"
#include "audiotestsupport.h"
#include "contenttype.h"
#include "filereferencestorage.h"
#include "mediamgr.h"
#include "mediaplayer.h"
#include "mediastoragemodel.h"
#include "mediastorageviewmodel.h"
#include "messagebase.h"
#include "resourcedata.h"
#include "resourceitem.h"
#include "searchkey.h"
#include "streamserver.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>

using namespace AudioTest;
using Storage = MediaStorageModel;

// Deleting cached files stops the player when it could be playing one of them, and only then.
class TestStoragePlayer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void deletionStopsPlayer_data();
    void deletionStopsPlayer();

private:
    QTemporaryDir m_appDir;
    std::unique_ptr<AudioAccount> m_fixture;
    MediaPlayer *m_player = nullptr;
    ScriptedEngine *m_engine = nullptr; // owned by the player
};

void TestStoragePlayer::initTestCase()
{
    QVERIFY(m_appDir.isValid());
    AppDirManager::instance()->setDataDir(m_appDir.path());
    AppSettingModel::instance()->reload();
    m_player = MediaPlayer::instance();
}

void TestStoragePlayer::init()
{
    m_fixture = std::make_unique<AudioAccount>();
    QVERIFY(m_fixture->isValid());
    m_engine = installScriptedEngine();
    QVERIFY(m_fixture->addMessages(CONTENT_MUSIC, 1, 2));
    // The file-reference rows tell the storage view which dialog a file belongs to; ingest
    // keeps none for music, so they are written as a host sharing music files would.
    QList<storage::FileReferenceInfo> rows;
    for (qint64 id : {1, 2}) {
        ResourceData data;
        data.fileName = QStringLiteral("clip.wav");
        data.fileId = fileIdOf(id);
        data.suffix = QStringLiteral("wav");
        data.size = 64;
        storage::FileReferenceInfo row;
        row.dialogId = QStringLiteral("d");
        row.messageId = id;
        row.type = CONTENT_MUSIC;
        row.dateTime = BaseTime + id * 1000;
        row.fileId = data.fileId;
        data.serialize(row.data);
        rows.append(row);
    }
    QVERIFY(m_fixture->hub()->fileReferenceDb()->save(rows));
}

void TestStoragePlayer::cleanup()
{
    m_player->stop(true);
    m_player->resetPlayer();
    QCoreApplication::sendPostedEvents();
    m_fixture.reset();
}

void TestStoragePlayer::cleanupTestCase()
{
    network::StreamServer::instance()->close();
    m_player->release();
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestStoragePlayer::deletionStopsPlayer_data()
{
    QTest::addColumn<std::function<void(MediaStorageModel *)>>("deletion");
    QTest::addColumn<bool>("bStops");
    QTest::newRow("everything") << std::function([](Storage *m) { m->deleteAllFiles(); }) << true;
    QTest::newRow("music kind") << std::function([](Storage *m) {
        m->deleteAllFileByType({Storage::DATA_MUSIC});
    }) << true;
    QTest::newRow("voice kind leaves music") << std::function([](Storage *m) {
        m->deleteAllFileByType({Storage::DATA_MISCELLANEOUS});
    }) << false;
    QTest::newRow("image kind leaves music")
            << std::function([](Storage *m) { m->deleteAllFileByType({Storage::DATA_IMAGE}); })
            << false;
    QTest::newRow("playing dialog")
            << std::function([](Storage *m) { m->deleteAllFileByDialog({"d"}); }) << true;
    QTest::newRow("other dialog") << std::function([](Storage *m) {
        m->deleteAllFileByDialog({"e"});
    }) << false;
    QTest::newRow("playing dialog's music") << std::function([](Storage *m) {
        m->deleteDialogFileByType("d", {Storage::DATA_MUSIC});
    }) << true;
    QTest::newRow("selected item of playing dialog") << std::function([](Storage *m) {
        m->changeSelected(m->musicViewModel("d")->items().constFirst());
        m->deleteSelected();
    }) << true;
}

void TestStoragePlayer::deletionStopsPlayer()
{
    QFETCH(std::function<void(MediaStorageModel *)>, deletion);
    QFETCH(bool, bStops);
    MediaStorageModel *storage = m_fixture->hub()->mediaStorageModel();
    storage->startLoading();
    QTRY_VERIFY(!storage->atQuery());
    QCOMPARE(storage->musicViewModel("d")->rowCount(), 2);

    m_player->playMusic(UserId, m_fixture->message(2).data(), SearchKey(), false);
    QTRY_COMPARE(m_player->playState(), int(MediaPlayer::STATE_PLAYING));
    QSignalSpy states(m_player, &MediaPlayer::playStateChanged);
    deletion(storage);
    QTRY_COMPARE(storage->clearProgress(), 100);
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::sendPostedEvents();
    QCOMPARE(m_player->playState(),
             int(bStops ? MediaPlayer::STATE_STOPPED : MediaPlayer::STATE_PLAYING));
    QCOMPARE(states.count(), bStops ? 1 : 0);
}

QTEST_GUILESS_MAIN(TestStoragePlayer)
#include "tst_storageplayer.moc"
