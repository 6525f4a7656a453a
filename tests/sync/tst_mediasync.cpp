#include "accountbase.h"
#include "clockedaccount.h"
#include "constants.h"
#include "contenttype.h"
#include "downloadfilemgr.h"
#include "filedata.h"
#include "filemanager.h"
#include "hubingest.h"
#include "hubteardown.h"
#include "im.pb.h"
#include "mediachatitem.h"
#include "mediachatmodel.h"
#include "mediachatselectmodel.h"
#include "mediainfo.h"
#include "mediamgr.h"
#include "mediasync.h"
#include "messagebase.h"
#include "nginxfixture.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include <atomic>

namespace {

constexpr qint64 Now = 1'700'000'000'000;
constexpr qint64 SlowRate = 64 * 1024; // bytes per second of the server's /slow/ copy

enum Source { Fast, Slow, Absent };

struct ChatFile
{
    QString fileId;
    int type = CONTENT_PHOTO;
    qint64 size = 1000;
    Source source = Fast;
    qint64 age = ONE_DAY_MSEC; // how long ago the message was sent
};

} // namespace

// The bulk download of an account, from choosing chats to files on disk, with the files served by
// a real HTTP server on the loopback address.
class TestMediaSync : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void countsWhatIsMissingByKind();
    void chatTypeFilter_data();
    void chatTypeFilter();
    void fileTimeFilterRecounts();
    void chatTimeFilterRequeries();
    void keywordRequeriesKeepingSelection();
    void uncheckingEveryKindHidesChat();
    void textCodeChangesNothing();
    void selectAllFollowsList();

    void readySyncEstimatesOneMegabytePerSecond();
    void speedFloor_data();
    void speedFloor();

    void downloadsCheckedKindsOnly();
    void neverMoreThanThreeInFlight();
    void filesOnDiskFinishAtOnce();
    void pauseStopsAndResumeRestarts();
    void missingFileFailsUntilRetry();
    void cannotDownloadEndsInFailureUntilRetry();
    void thumbnailsAndLivePhotosCountAndArrive();
    void cancelCountsNoPartialFile();
    void teardownDuringRun();
    void quitViewEmptiesLists();

private:
    void addChat(const QString &dialogId, const QString &name, int type,
                 const QList<ChatFile> &files, qint64 lastActive = Now - ONE_DAY_MSEC);
    // Puts size bytes on the server as fileId.bin and describes them to a message.
    void serve(im::FileInfo *info, const QString &fileId, qint64 size);
    QSharedPointer<FileData> fileData(const QString &fileId) const;
    bool isComplete(const QString &fileId) const;
    MediaChatItem *listed(const QString &dialogId) const;
    bool countChats(int chatTimeType = 0, int fileTimeType = 0);
    void select(const QString &dialogId);
    bool runToEnd();
    // A run of two files the server sends slowly, started and under way; ids gets their ids.
    void startSlowRun(QStringList &ids);

    QTemporaryDir m_served;
    std::unique_ptr<NginxFixture> m_nginx;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ClockedAccount> m_account;
    MediaMgr *m_hub = nullptr;
    MediaSync *m_sync = nullptr;
    std::unique_ptr<QAbstractItemModelTester> m_chatsTester;
    std::unique_ptr<QAbstractItemModelTester> m_selectTester;
    qint64 m_nextMsgId = 1;
};

void TestMediaSync::initTestCase()
{
    QVERIFY(m_served.isValid());
    if (!NginxFixture::isInstalled()) {
        QSKIP(NginxFixture::notInstalledMessage());
    }
    m_nginx = std::make_unique<NginxFixture>(m_served.path(), SlowRate);
    QVERIFY2(m_nginx->start(), qPrintable(m_nginx->errorString()));
}

void TestMediaSync::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_account = std::make_unique<ClockedAccount>(1, m_dir->path());
    QVERIFY(m_account->isValid());
    m_hub = new MediaMgr(m_account.get());
    m_hub->initConnection();
    m_sync = m_hub->mediaSync();
    m_chatsTester = std::make_unique<QAbstractItemModelTester>(m_sync->syncChats());
    m_selectTester = std::make_unique<QAbstractItemModelTester>(m_sync->selectChats());
}

void TestMediaSync::cleanup()
{
    m_chatsTester.reset();
    m_selectTester.reset();
    if (m_hub) {
        closeHub(m_hub);
    }
    m_hub = nullptr;
    m_account.reset();
    m_dir.reset();
}

// Stores the chat and its messages as the client does and hands them to the hub. Each file is
// put on the server (unless Absent) with its size in bytes; a file id given twice names one file.
void TestMediaSync::addChat(const QString &dialogId, const QString &name, int type,
                            const QList<ChatFile> &files, qint64 lastActive)
{
    QVERIFY(m_account->storeDialog(dialogId, name, type, lastActive));
    QList<im::Message> messages;
    for (const ChatFile &file : files) {
        const QString served = file.fileId + QStringLiteral(".bin");
        if (file.source != Absent && !QFile::exists(m_served.filePath(served))) {
            QFile out(m_served.filePath(served));
            QVERIFY(out.open(QIODevice::WriteOnly));
            out.write(QByteArray(file.size, char('a' + file.fileId.size() % 26)));
        }
        im::Message m;
        m.set_dialog_id(dialogId.toStdString());
        m.set_msg_id(m_nextMsgId++);
        m.set_type(file.type);
        m.set_time(Now - file.age);
        m.set_sender_id(7);
        im::FileInfo *info = m.mutable_file();
        info->set_file_id(file.fileId.toStdString());
        info->set_suffix("bin");
        info->set_size(file.size);
        info->set_name(served.toStdString());
        const QString url = file.source == Slow ? m_nginx->slowUrl(served) : m_nginx->url(served);
        info->set_url(url.toStdString());
        messages.append(m);
    }
    QVERIFY(receiveMessages(m_account.get(), m_hub, dialogId, messages, true));
}

void TestMediaSync::serve(im::FileInfo *info, const QString &fileId, qint64 size)
{
    const QString served = fileId + QStringLiteral(".bin");
    QFile out(m_served.filePath(served));
    QVERIFY(out.open(QIODevice::WriteOnly));
    out.write(QByteArray(size, 's'));
    info->set_file_id(fileId.toStdString());
    info->set_suffix("bin");
    info->set_size(size);
    info->set_name(served.toStdString());
    info->set_url(m_nginx->url(served).toStdString());
}

QSharedPointer<FileData> TestMediaSync::fileData(const QString &fileId) const
{
    return m_account->fileManager()->filePtrWithId(fileId, true);
}

bool TestMediaSync::isComplete(const QString &fileId) const
{
    const QSharedPointer<FileData> file = fileData(fileId);
    return file && file->isComplete() && QFile::exists(file->localPath());
}

MediaChatItem *TestMediaSync::listed(const QString &dialogId) const
{
    for (MediaChatItem *item : m_sync->syncChats()->items()) {
        if (item->dialogId() == dialogId) {
            return item;
        }
    }
    return nullptr;
}

bool TestMediaSync::countChats(int chatTimeType, int fileTimeType)
{
    m_sync->initModel(chatTimeType, fileTimeType);
    return QTest::qWaitFor([this] { return !m_sync->syncChats()->isQuerying(); });
}

void TestMediaSync::select(const QString &dialogId)
{
    MediaChatItem *item = listed(dialogId);
    QVERIFY(item);
    m_sync->updateSelected(item);
    QVERIFY(item->isSelected());
}

bool TestMediaSync::runToEnd()
{
    return QTest::qWaitFor(
            [this] {
                return m_sync->syncState() == MediaSync::SYNC_FINISHED
                        || m_sync->syncState() == MediaSync::SYNC_FAILED;
            },
            30000);
}

void TestMediaSync::startSlowRun(QStringList &ids)
{
    QList<ChatFile> files;
    for (int i = 0; i < 2; ++i) {
        ids << QStringLiteral("long%1").arg(i);
        files.append({ids.last(), CONTENT_VIDEO, 2 * SlowRate, Slow});
    }
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE, files);
    QVERIFY(countChats());
    select(QStringLiteral("alice"));
    m_sync->readySync();
    QSignalSpy progress(m_account->fileManager()->downloadFileMgr(),
                        &DownloadFileMgr::downloadProgress);
    m_sync->download();
    QTRY_VERIFY_WITH_TIMEOUT(!progress.isEmpty(), 20000);
}

void TestMediaSync::countsWhatIsMissingByKind()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("p1"), CONTENT_PHOTO, 1000},
             {QStringLiteral("v1"), CONTENT_VIDEO, 2000},
             {QStringLiteral("d1"), CONTENT_FILE, 3000},
             {QStringLiteral("m1"), CONTENT_MUSIC, 4000},
             {QStringLiteral("s1"), CONTENT_VOICE, 5000},
             // A second message naming a file already listed.
             {QStringLiteral("d1"), CONTENT_FILE, 3000}});
    // One file the gallery fetched already.
    QSignalSpy done(m_account->fileManager()->downloadFileMgr(),
                    &DownloadFileMgr::downloadFinished);
    m_account->fileManager()->downloadFileMgr()->download(fileData(QStringLiteral("p1")), false,
                                                          DOWNLOAD_VIEW);
    // The signal may come before the wait starts (a local download is quick).
    QTRY_VERIFY_WITH_TIMEOUT(!done.isEmpty(), 20000);
    QVERIFY(isComplete(QStringLiteral("p1")));

    QVERIFY(countChats());
    MediaChatItem *alice = listed(QStringLiteral("alice"));
    QVERIFY(alice);
    QVERIFY(!alice->isQuerying());
    QCOMPARE(alice->mediaSize(), 2000);
    QCOMPARE(alice->docSize(), 3000);
    QCOMPARE(alice->audioSize(), 4000);
    QCOMPARE(alice->voiceSize(), 5000);
    QCOMPARE(alice->totalSize(), 14000);
}

void TestMediaSync::chatTypeFilter_data()
{
    QTest::addColumn<int>("chatType");
    QTest::addColumn<QStringList>("shown");
    QTest::newRow("all chats") << 0 << QStringList {"alice", "team"};
    QTest::newRow("groups only") << 1 << QStringList {"team"};
    QTest::newRow("private chats only") << 2 << QStringList {"alice"};
}

void TestMediaSync::chatTypeFilter()
{
    QFETCH(int, chatType);
    QFETCH(QStringList, shown);
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("a1")}});
    addChat(QStringLiteral("team"), QStringLiteral("Team"), DIALOG_GROUP, {{QStringLiteral("t1")}});
    // A chat with nothing left to download is not offered.
    addChat(QStringLiteral("empty"), QStringLiteral("Empty"), DIALOG_PRIVATE, {});
    QVERIFY(countChats());
    m_sync->filterWithChatType(chatType);
    QStringList ids;
    for (MediaChatItem *item : m_sync->syncChats()->items()) {
        ids << item->dialogId();
    }
    ids.sort();
    QCOMPARE(ids, shown);
}

void TestMediaSync::fileTimeFilterRecounts()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("new"), CONTENT_PHOTO, 1000, Fast, ONE_DAY_MSEC / 2},
             {QStringLiteral("old"), CONTENT_PHOTO, 500, Fast, 3 * ONE_WEEK_MSEC}});
    QVERIFY(countChats());
    QCOMPARE(listed(QStringLiteral("alice"))->mediaSize(), 1500);

    m_sync->filterWithFileTimeType(2); // the last week
    QVERIFY(m_sync->syncChats()->isQuerying());
    QTRY_VERIFY(!m_sync->syncChats()->isQuerying());
    QCOMPARE(listed(QStringLiteral("alice"))->mediaSize(), 1000);
}

void TestMediaSync::chatTimeFilterRequeries()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("a1")}});
    addChat(QStringLiteral("quiet"), QStringLiteral("Quiet"), DIALOG_PRIVATE,
            {{QStringLiteral("q1")}}, Now - 3 * ONE_WEEK_MSEC);
    QVERIFY(countChats(2, 0)); // chats active in the last week
    QCOMPARE(m_sync->syncChats()->count(), 1);
    QVERIFY(listed(QStringLiteral("alice")));

    m_sync->filterWithChatTimeType(3); // the last month
    QTRY_VERIFY(!m_sync->syncChats()->isQuerying());
    QCOMPARE(m_sync->syncChats()->count(), 2);
    QVERIFY(listed(QStringLiteral("quiet")));

    // A new screen starts from an empty keyword and every chat type.
    m_sync->filterWithKeyword(QStringLiteral("ali"));
    m_sync->filterWithChatType(1);
    QVERIFY(countChats(0, 0));
    QCOMPARE(m_sync->syncChats()->count(), 2);
}

void TestMediaSync::keywordRequeriesKeepingSelection()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("a1")}});
    addChat(QStringLiteral("bob"), QStringLiteral("Bob"), DIALOG_PRIVATE, {{QStringLiteral("b1")}});
    QVERIFY(countChats());
    select(QStringLiteral("alice"));
    QSignalSpy resetSpy(m_sync->syncChats(), &QAbstractItemModel::modelReset);

    m_sync->filterWithKeyword(QStringLiteral("BO"));
    QCOMPARE(resetSpy.count(), 1);
    QTRY_VERIFY(!m_sync->syncChats()->isQuerying());
    QCOMPARE(m_sync->syncChats()->count(), 1);
    QVERIFY(listed(QStringLiteral("bob")));
    // The chosen chat stays chosen, with its size.
    QCOMPARE(m_sync->selectChats()->count(), 1);
    QCOMPARE(m_sync->selectChats()->totalSize(), 1000);

    m_sync->filterWithKeyword(QStringLiteral("BO"));
    QCOMPARE(resetSpy.count(), 1);
}

void TestMediaSync::uncheckingEveryKindHidesChat()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("p1"), CONTENT_PHOTO}, {QStringLiteral("d1"), CONTENT_FILE}});
    QVERIFY(countChats());
    MediaChatItem *alice = listed(QStringLiteral("alice"));
    QVERIFY(alice);
    m_sync->updateSubSelected(alice, CONTENT_PHOTO);
    QVERIFY(listed(QStringLiteral("alice")));
    m_sync->updateSubSelected(alice, CONTENT_FILE);
    QVERIFY(!listed(QStringLiteral("alice")));
    QCOMPARE(alice->mediaSize(), 1000);
    m_sync->updateSubSelected(alice, CONTENT_VIDEO);
    QCOMPARE(listed(QStringLiteral("alice")), alice);
}

void TestMediaSync::textCodeChangesNothing()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("p1")}});
    QVERIFY(countChats());
    MediaChatItem *alice = listed(QStringLiteral("alice"));
    select(QStringLiteral("alice"));
    QSignalSpy totalSpy(alice, &MediaChatItem::totalSizeChanged);
    QSignalSpy mediaSpy(alice, &MediaChatItem::mediaCheckedChanged);
    QSignalSpy selectTotalSpy(m_sync->selectChats(), &MediaChatSelectModel::totalSizeChanged);
    m_sync->updateSubSelected(alice, CONTENT_TEXT);
    m_sync->updateSubSelected(nullptr, CONTENT_PHOTO);
    QCOMPARE(totalSpy.count(), 0);
    QCOMPARE(mediaSpy.count(), 0);
    QCOMPARE(selectTotalSpy.count(), 0);
    QCOMPARE(m_sync->selectChats()->totalSize(), 1000);
}

void TestMediaSync::selectAllFollowsList()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("a1")}});
    addChat(QStringLiteral("team"), QStringLiteral("Team"), DIALOG_GROUP,
            {{QStringLiteral("t1"), CONTENT_FILE, 300}});
    QVERIFY(countChats());
    m_sync->selectAll(true);
    QVERIFY(m_sync->syncChats()->checkedAll());
    QCOMPARE(m_sync->selectChats()->count(), 2);
    QCOMPARE(m_sync->selectChats()->totalSize(), 1300);

    m_sync->removeSelect(listed(QStringLiteral("team")));
    QVERIFY(!m_sync->syncChats()->checkedAll());
    QCOMPARE(m_sync->selectChats()->totalSize(), 1000);
    m_sync->updateSelected(listed(QStringLiteral("team")));
    QVERIFY(m_sync->syncChats()->checkedAll());

    m_sync->selectAll(false);
    QVERIFY(!m_sync->syncChats()->checkedAll());
    QCOMPARE(m_sync->selectChats()->count(), 0);
    QCOMPARE(m_sync->selectChats()->totalSize(), 0);
}

void TestMediaSync::readySyncEstimatesOneMegabytePerSecond()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("big"), CONTENT_VIDEO, 3 * ONE_MB, Absent}});
    QVERIFY(countChats());
    select(QStringLiteral("alice"));
    QSignalSpy stateSpy(m_sync, &MediaSync::syncStateChanged);
    m_sync->setSyncState(MediaSync::SYNC_CANCELLED);
    m_sync->readySync();
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_READY));
    QCOMPARE(stateSpy.count(), 2);
    QCOMPARE(m_sync->remainingSize(), 3 * ONE_MB);
    QCOMPARE(m_sync->remainingTime(), 4);
    QCOMPARE(m_sync->totalCount(), 1);
    QCOMPARE(m_sync->progress(), 0.0);
}

void TestMediaSync::speedFloor_data()
{
    QTest::addColumn<qlonglong>("speed");
    QTest::addColumn<qlonglong>("seconds");
    QTest::newRow("no speed") << qlonglong(0) << qlonglong(3 * ONE_MB / 1024);
    QTest::newRow("500 bytes per second") << qlonglong(500) << qlonglong(3 * ONE_MB / 1024);
    QTest::newRow("one megabyte per second") << qlonglong(ONE_MB) << qlonglong(3);
}

void TestMediaSync::speedFloor()
{
    QFETCH(qlonglong, speed);
    QFETCH(qlonglong, seconds);
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("big"), CONTENT_VIDEO, 3 * ONE_MB, Absent}});
    QVERIFY(countChats());
    select(QStringLiteral("alice"));
    m_sync->readySync();
    QSignalSpy timeSpy(m_sync, &MediaSync::remainingTimeChanged);
    m_sync->onDownloadSpeed(speed);
    QCOMPARE(timeSpy.count(), 1);
    QCOMPARE(m_sync->remainingTime(), seconds);
}

void TestMediaSync::downloadsCheckedKindsOnly()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("p1"), CONTENT_PHOTO, 1000},
             {QStringLiteral("v1"), CONTENT_VIDEO, 2000},
             {QStringLiteral("d1"), CONTENT_FILE, 3000},
             {QStringLiteral("m1"), CONTENT_MUSIC, 4000},
             {QStringLiteral("s1"), CONTENT_VOICE, 5000}});
    addChat(QStringLiteral("bob"), QStringLiteral("Bob"), DIALOG_PRIVATE,
            {{QStringLiteral("b1"), CONTENT_PHOTO, 700},
             // Named by a chosen chat too: fetched once.
             {QStringLiteral("d1"), CONTENT_FILE, 3000}});
    QVERIFY(countChats());
    select(QStringLiteral("alice"));
    m_sync->updateSubSelected(listed(QStringLiteral("alice")), CONTENT_VOICE);
    m_sync->updateSubSelected(listed(QStringLiteral("alice")), CONTENT_MUSIC);
    QCOMPARE(m_sync->selectChats()->totalSize(), 6000);

    QSignalSpy progressSpy(m_sync, &MediaSync::progressChanged);
    m_sync->readySync();
    QCOMPARE(m_sync->totalCount(), 3);
    m_sync->download();
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_DOWNLOADING));
    QVERIFY(runToEnd());
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_FINISHED));
    QCOMPARE(m_sync->progress(), 1.0);
    QCOMPARE(m_sync->doneCount(), 3);
    QCOMPARE(m_sync->remainingSize(), 0);
    QCOMPARE(m_sync->remainingTime(), 0);
    QVERIFY(progressSpy.count() >= 3);

    for (const char *id : {"p1", "v1", "d1"}) {
        QVERIFY2(isComplete(QString::fromLatin1(id)), id);
    }
    for (const char *id : {"m1", "s1", "b1"}) {
        QVERIFY2(!QFile::exists(fileData(QString::fromLatin1(id))->localPath()), id);
    }
    // The chats now need only what was left out.
    MediaChatItem *alice = m_sync->selectChats()->items().constFirst();
    QCOMPARE(alice->mediaSize(), 0);
    QCOMPARE(alice->docSize(), 0);
    QCOMPARE(alice->audioSize(), 4000);
    QCOMPARE(listed(QStringLiteral("bob"))->docSize(), 0);
    QCOMPARE(listed(QStringLiteral("bob"))->mediaSize(), 700);
}

void TestMediaSync::neverMoreThanThreeInFlight()
{
    QList<ChatFile> files;
    QStringList ids;
    for (int i = 0; i < 6; ++i) {
        ids << QStringLiteral("slow%1").arg(i);
        files.append({ids.last(), CONTENT_FILE, 16 * 1024, Slow});
    }
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE, files);
    QVERIFY(countChats());
    select(QStringLiteral("alice"));
    m_sync->readySync();

    // Counted where the bytes arrive: every file asked for and not yet released by the file
    // library, whoever asked.
    DownloadFileMgr *downloads = m_account->fileManager()->downloadFileMgr();
    std::atomic<int> mostAsked {0};
    const auto connection = connect(
            downloads, &DownloadFileMgr::downloadProgress, downloads,
            [&] {
                int asked = 0;
                for (const QString &id : std::as_const(ids)) {
                    asked += downloads->isDownloading(id) ? 1 : 0;
                }
                int seen = mostAsked.load();
                while (asked > seen && !mostAsked.compare_exchange_weak(seen, asked)) {
                }
            },
            Qt::DirectConnection);
    int mostInFlight = 0;
    connect(m_sync, &MediaSync::progressChanged, this,
            [&] { mostInFlight = qMax(mostInFlight, m_sync->inFlightCount()); });

    m_sync->download();
    QCOMPARE(m_sync->inFlightCount(), 3);
    QVERIFY(runToEnd());
    disconnect(connection);
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_FINISHED));
    QVERIFY(mostAsked.load() <= 3);
    QVERIFY(mostInFlight <= 3);
    for (const QString &id : std::as_const(ids)) {
        QVERIFY(isComplete(id));
    }
}

void TestMediaSync::filesOnDiskFinishAtOnce()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("here1"), CONTENT_PHOTO, 1000},
             {QStringLiteral("here2"), CONTENT_FILE, 2000},
             {QStringLiteral("far"), CONTENT_FILE, 4000, Slow}});
    QVERIFY(countChats());
    select(QStringLiteral("alice"));
    m_sync->readySync();
    QCOMPARE(m_sync->remainingSize(), 7000);

    // The gallery fetches two of them before the run starts.
    QSignalSpy done(m_account->fileManager()->downloadFileMgr(),
                    &DownloadFileMgr::downloadFinished);
    for (const char *id : {"here1", "here2"}) {
        m_account->fileManager()->downloadFileMgr()->download(fileData(QString::fromLatin1(id)),
                                                              false, DOWNLOAD_VIEW);
    }
    QTRY_COMPARE(done.count(), 2);

    m_sync->download();
    QCOMPARE(m_sync->doneCount(), 2);
    QCOMPARE(m_sync->inFlightCount(), 1);
    QCOMPARE(m_sync->progress(), 2.0 / 3.0);
    QCOMPARE(m_sync->remainingSize(), 4000);
    QCOMPARE(listed(QStringLiteral("alice"))->totalSize(), 4000);
    QVERIFY(runToEnd());
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_FINISHED));
}

void TestMediaSync::pauseStopsAndResumeRestarts()
{
    QStringList ids;
    startSlowRun(ids);
    if (QTest::currentTestFailed()) {
        return;
    }
    DownloadFileMgr *downloads = m_account->fileManager()->downloadFileMgr();

    m_sync->pause();
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_PAUSED));
    for (const QString &id : std::as_const(ids)) {
        QTRY_VERIFY(!downloads->isDownloading(id));
        QVERIFY(!isComplete(id));
    }
    QCOMPARE(m_sync->doneCount(), 0);

    m_sync->pause();
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_DOWNLOADING));
    for (const QString &id : std::as_const(ids)) {
        QVERIFY(downloads->isDownloading(id));
    }
    QVERIFY(runToEnd());
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_FINISHED));
    for (const QString &id : std::as_const(ids)) {
        QVERIFY(isComplete(id));
        QCOMPARE(QFileInfo(fileData(id)->localPath()).size(), 2 * SlowRate);
    }
}

void TestMediaSync::missingFileFailsUntilRetry()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("there"), CONTENT_PHOTO, 1000},
             {QStringLiteral("gone"), CONTENT_FILE, 2000, Absent}});
    QVERIFY(countChats());
    select(QStringLiteral("alice"));
    m_sync->readySync();
    m_sync->download();
    QVERIFY(runToEnd());
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_FAILED));
    QCOMPARE(m_sync->remainingTime(), -1);
    QCOMPARE(m_sync->failedCount(), 1);
    QCOMPARE(m_sync->remainingSize(), 2000);
    QVERIFY(isComplete(QStringLiteral("there")));
    QVERIFY(!isComplete(QStringLiteral("gone")));

    QFile served(m_served.filePath(QStringLiteral("gone.bin")));
    QVERIFY(served.open(QIODevice::WriteOnly));
    served.write(QByteArray(2000, 'g'));
    served.close();
    m_sync->retry();
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_DOWNLOADING));
    QCOMPARE(m_sync->failedCount(), 0);
    QVERIFY(runToEnd());
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_FINISHED));
    QVERIFY(isComplete(QStringLiteral("gone")));
    QCOMPARE(m_sync->progress(), 1.0);
    QCOMPARE(m_sync->remainingTime(), 0);
}

// A run stopped by a network loss has its files still waiting: a retry is refused while the
// account cannot download, and fetches them once the network is back.
void TestMediaSync::cannotDownloadEndsInFailureUntilRetry()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("offline1")}, {QStringLiteral("offline2"), CONTENT_FILE, 2000}});
    QVERIFY(countChats());
    select(QStringLiteral("alice"));
    m_sync->readySync();
    m_account->setOnline(false);
    m_sync->download();
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_FAILED));
    QCOMPARE(m_sync->remainingTime(), -1);
    QCOMPARE(m_sync->inFlightCount(), 0);
    QCOMPARE(m_sync->failedCount(), 0);
    QVERIFY(!m_account->fileManager()->downloadFileMgr()->isDownloading(
            QStringLiteral("offline1")));

    m_sync->retry();
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_FAILED));

    m_account->setOnline(true);
    m_sync->retry();
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_DOWNLOADING));
    QVERIFY(runToEnd());
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_FINISHED));
    QVERIFY(isComplete(QStringLiteral("offline1")));
    QVERIFY(isComplete(QStringLiteral("offline2")));
    QCOMPARE(m_sync->progress(), 1.0);
    QCOMPARE(m_sync->remainingSize(), 0);

    // Nothing waits and nothing failed: a retry has nothing to do.
    m_sync->retry();
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_FINISHED));
}

// A photo's thumbnail and live-photo video are part of what its chat still needs, and a run
// fetches them, so that the gallery shows them without the network afterwards.
void TestMediaSync::thumbnailsAndLivePhotosCountAndArrive()
{
    QVERIFY(m_account->storeDialog("alice", "Alice", DIALOG_PRIVATE, Now - ONE_DAY_MSEC));
    im::Message m;
    m.set_dialog_id("alice");
    m.set_msg_id(m_nextMsgId++);
    m.set_type(CONTENT_PHOTO);
    m.set_time(Now - ONE_DAY_MSEC);
    m.set_sender_id(7);
    serve(m.mutable_file(), QStringLiteral("photo"), 1000);
    serve(m.mutable_thumb(), QStringLiteral("photo_t"), 100);
    serve(m.mutable_live_photo(), QStringLiteral("photo_v"), 500);
    QVERIFY(receiveMessages(m_account.get(), m_hub, "alice", {m}, true));

    QVERIFY(countChats());
    MediaChatItem *alice = listed(QStringLiteral("alice"));
    QVERIFY(alice);
    QCOMPARE(alice->mediaSize(), 1600);
    select(QStringLiteral("alice"));
    m_sync->readySync();
    QCOMPARE(m_sync->totalCount(), 3);
    QCOMPARE(m_sync->remainingSize(), 1600);
    m_sync->download();
    QVERIFY(runToEnd());
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_FINISHED));
    for (const char *id : {"photo", "photo_t", "photo_v"}) {
        QVERIFY2(isComplete(QString::fromLatin1(id)), id);
    }
    QCOMPARE(alice->mediaSize(), 0);
}

void TestMediaSync::cancelCountsNoPartialFile()
{
    QStringList ids;
    startSlowRun(ids);
    if (QTest::currentTestFailed()) {
        return;
    }
    DownloadFileMgr *downloads = m_account->fileManager()->downloadFileMgr();

    m_sync->cancel();
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_CANCELLED));
    QCOMPARE(m_sync->inFlightCount(), 0);
    for (const QString &id : std::as_const(ids)) {
        QTRY_VERIFY(!downloads->isDownloading(id));
        QVERIFY(!isComplete(id));
    }
    QCOMPARE(m_sync->doneCount(), 0);

    // A new count still finds both files missing, partial bytes or not.
    m_sync->filterWithFileTimeType(4);
    QTRY_VERIFY(!m_sync->syncChats()->isQuerying());
    QCOMPARE(listed(QStringLiteral("alice"))->mediaSize(), 4 * SlowRate);
}

void TestMediaSync::teardownDuringRun()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("long"), CONTENT_VIDEO, 2 * SlowRate, Slow}});
    QVERIFY(countChats());
    select(QStringLiteral("alice"));
    m_sync->readySync();
    m_sync->download();
    // A recount still running when the host closes the account.
    m_sync->filterWithFileTimeType(1);
    m_hub->prepareToClearData(false);
    QCOMPARE(m_sync->syncState(), int(MediaSync::SYNC_CANCELLED));
    QVERIFY(!m_account->fileManager()->downloadFileMgr()->isDownloading(QStringLiteral("long")));
    closeHub(m_hub);
    m_hub = nullptr;
}

void TestMediaSync::quitViewEmptiesLists()
{
    addChat(QStringLiteral("alice"), QStringLiteral("Alice"), DIALOG_PRIVATE,
            {{QStringLiteral("p1")}});
    QVERIFY(countChats());
    select(QStringLiteral("alice"));
    QSignalSpy chatsReset(m_sync->syncChats(), &QAbstractItemModel::modelReset);
    QSignalSpy selectReset(m_sync->selectChats(), &QAbstractItemModel::modelReset);
    m_sync->quitView();
    QCOMPARE(chatsReset.count(), 1);
    QCOMPARE(selectReset.count(), 1);
    QCOMPARE(m_sync->syncChats()->count(), 0);
    QCOMPARE(m_sync->selectChats()->count(), 0);
    QCOMPARE(m_sync->selectChats()->totalSize(), 0);

    // Quitting while sizes are counted empties the lists once the count is in.
    QVERIFY(countChats());
    m_sync->filterWithFileTimeType(3);
    m_sync->quitView();
    QTRY_COMPARE(m_sync->syncChats()->count(), 0);
    QTRY_VERIFY(!m_sync->syncChats()->isQuerying());
    QCOMPARE(m_sync->syncChats()->count(), 0);
}

QTEST_GUILESS_MAIN(TestMediaSync)
#include "tst_mediasync.moc"
