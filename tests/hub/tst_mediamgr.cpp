#include "accountbase.h"
#include "bufferfilestorage.h"
#include "cachefilestorage.h"
#include "cachelayout.h"
#include "clockedaccount.h"
#include "constants.h"
#include "contenttype.h"
#include "filereferencestorage.h"
#include "hubingest.h"
#include "hubteardown.h"
#include "im.pb.h"
#include "loading/mediaresource.h"
#include "loading/mediaresourcemgr.h"
#include "mediainfo.h"
#include "mediamgr.h"
#include "mediasearch.h"
#include "messagebase.h"
#include "readonlyfolder.h"
#include "resourcedata.h"
#include "resourceitem.h"
#include "resourcemodel.h"
#include "threadmanager.h"
#include "userstorageprovider.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QJSEngine>
#include <QPointer>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr qint64 BaseTime = 1'690'000'000'000;

im::Message messageProto(const QString &dialogId, qint64 id, int type)
{
    im::Message m;
    m.set_dialog_id(dialogId.toStdString());
    m.set_msg_id(id);
    m.set_type(type);
    m.set_time(BaseTime + id * 1000);
    m.set_sender_id(7);
    return m;
}

void setFile(im::FileInfo *file, const QString &fileId, const char *suffix)
{
    file->set_file_id(fileId.toStdString());
    file->set_suffix(suffix);
    file->set_size(100);
    file->set_name((fileId + QLatin1Char('.') + QLatin1String(suffix)).toStdString());
}

im::Message photo(const QString &dialogId, qint64 id, const QString &fileId)
{
    im::Message m = messageProto(dialogId, id, CONTENT_PHOTO);
    setFile(m.mutable_file(), fileId, "jpg");
    setFile(m.mutable_thumb(), QStringLiteral("t") + fileId, "png");
    return m;
}

im::Message text(const QString &dialogId, qint64 id, const QString &body)
{
    im::Message m = messageProto(dialogId, id, CONTENT_TEXT);
    m.set_text(body.toStdString());
    return m;
}

im::Message quoting(const QString &dialogId, qint64 id, const im::Message &quoted)
{
    im::Message m = text(dialogId, id, QStringLiteral("look at this"));
    m.set_ref_dialog_id(quoted.dialog_id());
    m.set_ref_msg_id(std::to_string(quoted.msg_id()));
    *m.mutable_quote() = quoted;
    return m;
}

int rowCount(ResourceModel *model)
{
    return model->resourceCount();
}

} // namespace

// The hub of an account: galleries handed out by dialog id, ingest of messages into the
// file-reference table and the open lists, removal of rows and of the files nothing names.
class TestMediaMgr : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void sameGalleryTwice();
    void otherSourceReplacesGallery();
    void unknownDialogThenCreated();
    void normalAndExternIndependent();
    void releaseUnknownIsSilent();

    void prepareToClearStopsCleanup();
    void newDataCleansOnceADay();
    void teardownWithLoadsInFlight();
    void objectsHandedToQmlOutliveItsEngine_data();
    void objectsHandedToQmlOutliveItsEngine();

    void ingestRows_data();
    void ingestRows();
    void newMediaReachesOpenListOfItsDialogOnly();
    void silentIngestTouchesNoModel();
    void listChangesKeepTheirOrder();
    void olderMediaReachFullyLoadedList_data();
    void olderMediaReachFullyLoadedList();
    void editedMediaReplacesRowsAndItem();
    void isMedia_data();
    void isMedia();

    void sharedFileSurvivesFirstRemoval();
    void quotedRowNeverDeletesFile();
    void rangeRemovalPrunesRowsAndList();
    void undeletableFileKeepsItsRow();
    void clearResourceDbForgetsDialog();
    void filesOnDisk_data();
    void filesOnDisk();
    void missingSizes();

private:
    // Stores the messages as the client does, then hands them to the hub.
    void receive(const QString &dialogId, const QList<im::Message> &messages, bool bSilent = false,
                 bool bReplaced = false);
    void writeCacheFile(int type, const QString &fileId, const QString &suffix);
    bool cacheFileExists(int type, const QString &fileId, const QString &suffix) const;
    QList<storage::FileReferenceInfo> rowsOf(const QString &dialogId) const;
    MediaResourceMgr *openGallery(const QString &dialogId);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ClockedAccount> m_account;
    MediaMgr *m_hub = nullptr; // child of the account
};

void TestMediaMgr::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_account = std::make_unique<ClockedAccount>(1, m_dir->path());
    QVERIFY(m_account->isValid());
    for (const char *id : {"a", "b"}) {
        QVERIFY(m_account->storeDialog(id, id, DIALOG_PRIVATE, BaseTime));
    }
    m_hub = new MediaMgr(m_account.get());
    m_hub->initConnection();
}

void TestMediaMgr::cleanup()
{
    closeHub(m_hub);
    m_account.reset();
    m_dir.reset();
}

void TestMediaMgr::receive(const QString &dialogId, const QList<im::Message> &messages,
                           bool bSilent, bool bReplaced)
{
    QVERIFY(receiveMessages(m_account.get(), m_hub, dialogId, messages, bSilent, bReplaced));
}

void TestMediaMgr::writeCacheFile(int type, const QString &fileId, const QString &suffix)
{
    QDir().mkpath(m_hub->mediaBaseDir(type));
    QFile file(m_hub->mediaBaseDir(type) + fileId + QLatin1Char('.') + suffix);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(100, 'x'));
}

bool TestMediaMgr::cacheFileExists(int type, const QString &fileId, const QString &suffix) const
{
    return QFile::exists(m_hub->mediaBaseDir(type) + fileId + QLatin1Char('.') + suffix);
}

QList<storage::FileReferenceInfo> TestMediaMgr::rowsOf(const QString &dialogId) const
{
    return m_hub->fileReferenceDb()->infosWithDialog(dialogId, 0, {});
}

MediaResourceMgr *TestMediaMgr::openGallery(const QString &dialogId)
{
    MediaResourceMgr *mgr = m_hub->mediaResourceMgr(dialogId);
    if (mgr) {
        mgr->waitForFinish();
        QCoreApplication::sendPostedEvents();
    }
    return mgr;
}

void TestMediaMgr::sameGalleryTwice()
{
    MediaResourceMgr *first = m_hub->mediaResourceMgr("a");
    QVERIFY(first);
    QCOMPARE(m_hub->mediaResourceMgr("a"), first);
    QCOMPARE(m_hub->mediaResourceMgr("a", true, QString()), first);
}

void TestMediaMgr::otherSourceReplacesGallery()
{
    QPointer<MediaResourceMgr> first = m_hub->mediaResourceMgr("a");
    MediaResourceMgr *second = m_hub->mediaResourceMgr("a", false, "b");
    QVERIFY(second);
    QVERIFY(second != first);
    QCOMPARE(second->sourceDlgId(), QStringLiteral("b"));
    // Torn down on the pool, deleted on the main thread afterwards, not inside the call.
    QVERIFY(first);
    QTRY_VERIFY(first.isNull());
    QCOMPARE(m_hub->mediaResourceMgr("a", false, "b"), second);
}

void TestMediaMgr::unknownDialogThenCreated()
{
    QCOMPARE(m_hub->mediaResourceMgr("later"), nullptr);
    QCOMPARE(m_hub->externMediaResourceMgr("later"), nullptr);
    QVERIFY(m_account->storeDialog("later", "later", DIALOG_GROUP, BaseTime));
    MediaResourceMgr *mgr = m_hub->mediaResourceMgr("later");
    QVERIFY(mgr);
    QCOMPARE(m_hub->mediaResourceMgr("later"), mgr);
}

void TestMediaMgr::normalAndExternIndependent()
{
    MediaResourceMgr *normal = m_hub->mediaResourceMgr("a");
    QPointer<MediaResourceMgr> external = m_hub->externMediaResourceMgr("a");
    QVERIFY(normal && external);
    QVERIFY(normal != external.data());
    m_hub->releaseExternMediaResourceMgr("a");
    QTRY_VERIFY(external.isNull());
    QCOMPARE(m_hub->mediaResourceMgr("a"), normal);
    QVERIFY(m_hub->externMediaResourceMgr("a") != nullptr);
}

void TestMediaMgr::releaseUnknownIsSilent()
{
    m_hub->releaseResourceMgr("nobody");
    m_hub->releaseExternMediaResourceMgr("nobody");
    QPointer<MediaResourceMgr> mgr = m_hub->mediaResourceMgr("a");
    m_hub->releaseResourceMgr("a");
    m_hub->releaseResourceMgr("a");
    QTRY_VERIFY(mgr.isNull());
    QVERIFY(m_hub->mediaResourceMgr("a") != nullptr);
}

// Temporary files are what the cleanup always deletes, so they show whether one ran.
void TestMediaMgr::prepareToClearStopsCleanup()
{
    storage::BufferFileInfo temp {
            "tmp1", CacheLayout::MainCategory, CacheLayout::FileKind, "bin", 10, BaseTime};
    QVERIFY(m_account->storage()->bufferFileStorage()->save({temp}));
    const QString path =
            CacheLayout::mediaPath(m_account->userCacheDataPath(), temp.category, temp.kind)
            + "tmp1.bin";
    QDir().mkpath(QFileInfo(path).path());
    QVERIFY(QFile(path).open(QIODevice::WriteOnly));

    m_hub->prepareToClearData(false);
    m_hub->clearLocalMedia();
    QThreadPool::globalInstance()->waitForDone();
    QVERIFY(QFile::exists(path));
    QCOMPARE(m_account->storage()->bufferFileStorage()->infos(10).size(), 1);
}

void TestMediaMgr::newDataCleansOnceADay()
{
    storage::BufferFileStorage *buffers = m_account->storage()->bufferFileStorage();
    auto addTemp = [buffers](const QString &id) {
        return buffers->save(
                {{id, CacheLayout::MainCategory, CacheLayout::FileKind, "bin", 10, BaseTime}});
    };
    QVERIFY(addTemp("t1"));
    m_hub->getNewData();
    QTRY_VERIFY(buffers->infos(10).isEmpty());

    QVERIFY(addTemp("t2"));
    m_account->now += ONE_DAY_MSEC;
    m_hub->getNewData();
    QThreadPool::globalInstance()->waitForDone();
    QCOMPARE(buffers->infos(10).size(), 1);

    m_account->now += 1;
    m_hub->getNewData();
    QTRY_VERIFY(buffers->infos(10).isEmpty());
}

void TestMediaMgr::teardownWithLoadsInFlight()
{
    QList<im::Message> messages;
    for (int id = 1; id <= 300; ++id) {
        messages.append(photo("a", id, QStringLiteral("f%1").arg(id)));
    }
    receive("a", messages, true);
    m_hub->mediaResourceMgr("a")->mediaResource(CONTENT_PHOTO)->loadBefore(100);
    m_hub->externMediaResourceMgr("a")->mediaSearch()->searchMediaInfo("a", CONTENT_PHOTO, "f");
    m_hub->mediaResourceMgr("b");
    m_hub->releaseResourceMgr("b");
    // The sanitizer build checks that nothing a running page touches is gone, and that every
    // item of a dropped page is released.
}

void TestMediaMgr::objectsHandedToQmlOutliveItsEngine_data()
{
    QTest::addColumn<QString>("expression");
    for (const char *expression :
         {"hub.mediaPreview()", "hub.externalMediaPreview()", "hub.mediaAudio()",
          "hub.mediaResourceMgr('a')", "hub.mediaCalender('a')", "hub.mediaSelector('a')",
          "hub.mediaStorageModel()", "hub.mediaStorageModel().mediaTotalSizeModel",
          "hub.mediaKeepSetting()", "hub.mediaKeepSetting().exceptionModel",
          "hub.mediaKeepSetting().searchModel", "hub.mediaSync()", "hub.mediaSync().syncChats",
          "hub.mediaSync().selectChats"}) {
        QTest::newRow(expression) << QString::fromLatin1(expression);
    }
}

// QML takes what a slot returns for its own unless told otherwise, and deletes it with the
// engine: the hub, which still holds it, would then use a deleted object.
void TestMediaMgr::objectsHandedToQmlOutliveItsEngine()
{
    QFETCH(QString, expression);
    MediaMgr::registerMetaType("MediaTest");
    QPointer<QObject> handed;
    {
        QJSEngine engine;
        engine.globalObject().setProperty(QStringLiteral("hub"), engine.newQObject(m_hub));
        const QJSValue value = engine.evaluate(expression);
        QVERIFY2(value.isQObject(), qPrintable(value.toString()));
        handed = value.toQObject();
        engine.collectGarbage();
    }
    QVERIFY(handed);
}

void TestMediaMgr::ingestRows_data()
{
    QTest::addColumn<QList<im::Message>>("messages");
    QTest::addColumn<QList<int>>("rowTypes");

    const im::Message shot = photo("a", 1, "p1");
    im::Message photoQuotingPhoto = photo("a", 3, "p3");
    photoQuotingPhoto.set_ref_msg_id("1");
    *photoQuotingPhoto.mutable_quote() = shot;
    im::Message link = text("a", 4, "see https://example.org");
    link.add_urls("https://example.org");
    im::Message voice = messageProto("a", 5, CONTENT_VOICE);
    setFile(voice.mutable_file(), "v5", "wav");
    im::Message music = messageProto("a", 6, CONTENT_MUSIC);
    setFile(music.mutable_file(), "m6", "mp3");

    QTest::newRow("text only writes nothing")
            << QList<im::Message> {text("a", 2, "hi")} << QList<int> {};
    QTest::newRow("a link alone is no file") << QList<im::Message> {link} << QList<int> {};
    QTest::newRow("photo") << QList<im::Message> {shot} << QList<int> {CONTENT_PHOTO};
    QTest::newRow("text quoting a photo")
            << QList<im::Message> {quoting("a", 2, shot)} << QList<int> {CONTENT_PHOTO | 0x800};
    QTest::newRow("photo quoting a photo gives two rows")
            << QList<im::Message> {photoQuotingPhoto}
            << QList<int> {CONTENT_PHOTO, CONTENT_PHOTO | 0x800};
    QTest::newRow("voice") << QList<im::Message> {voice} << QList<int> {CONTENT_VOICE};
    QTest::newRow("music is no media") << QList<im::Message> {music} << QList<int> {};
}

void TestMediaMgr::ingestRows()
{
    QFETCH(QList<im::Message>, messages);
    QFETCH(QList<int>, rowTypes);
    receive("a", messages);
    QList<int> types;
    for (const storage::FileReferenceInfo &row : rowsOf("a")) {
        types.append(row.type);
        QCOMPARE(row.dialogId, QStringLiteral("a"));
        QVERIFY(!row.fileId.isEmpty());
        QCOMPARE(row.thumbId.isEmpty(), (row.type & 0xff) != CONTENT_PHOTO);
        ResourceData data;
        data.deserialize(row.data);
        QCOMPARE(data.fileId, row.fileId);
    }
    std::sort(types.begin(), types.end());
    QCOMPARE(types, rowTypes);
}

void TestMediaMgr::newMediaReachesOpenListOfItsDialogOnly()
{
    receive("a", {photo("a", 1, "p1")});
    receive("b", {photo("b", 1, "q1")});
    ResourceModel *listA = openGallery("a")->mediaResource(CONTENT_PHOTO)->resourceModel();
    ResourceModel *listB = openGallery("b")->mediaResource(CONTENT_PHOTO)->resourceModel();
    ResourceModel *linksA =
            m_hub->mediaResourceMgr("a")->mediaResource(CONTENT_TEXT)->resourceModel();
    QAbstractItemModelTester testerA(listA);
    QAbstractItemModelTester testerLinks(linksA);
    QTRY_COMPARE(rowCount(listA), 1);
    QTRY_COMPARE(rowCount(listB), 1);

    im::Message withLink = photo("a", 2, "p2");
    withLink.set_text("https://example.org");
    withLink.add_urls("https://example.org");
    receive("a", {withLink, photo("a", 3, "p3")});
    QTRY_COMPARE(rowCount(listA), 3);
    QTRY_COMPARE(rowCount(linksA), 1);
    QCOMPARE(rowCount(listB), 1);
}

void TestMediaMgr::silentIngestTouchesNoModel()
{
    ResourceModel *list = openGallery("a")->mediaResource(CONTENT_PHOTO)->resourceModel();
    receive("a", {photo("a", 1, "p1")}, true);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(rowCount(list), 0);
    QCOMPARE(rowsOf("a").size(), 1);
}

// Arrivals and removals reach the lists in the order they happened, however many wait for the
// main thread at once.
void TestMediaMgr::listChangesKeepTheirOrder()
{
    const auto document = [](qint64 id) {
        im::Message message = messageProto("a", id, CONTENT_FILE);
        setFile(message.mutable_file(), QStringLiteral("doc%1").arg(id), "pdf");
        return message;
    };
    ResourceModel *list = openGallery("a")->mediaResource(CONTENT_FILE)->resourceModel();
    QAbstractItemModelTester tester(list);
    receive("a", {document(1), document(2)});
    m_hub->removeMedia("a", {2});
    receive("a", {document(3)});
    m_hub->removeMedia("a", {1, 4});
    receive("a", {document(4)});
    QCOMPARE(rowCount(list), 0);

    QCoreApplication::sendPostedEvents();
    QList<qint64> shown;
    for (int row = 0; row < rowCount(list); ++row) {
        shown.append(list->getResourceItem(row)->msgDataPtr()->msgId());
    }
    std::sort(shown.begin(), shown.end());
    QCOMPARE(shown, QList<qint64>({3, 4}));
}

void TestMediaMgr::olderMediaReachFullyLoadedList_data()
{
    QTest::addColumn<int>("held");
    QTest::addColumn<bool>("shown");
    // A gallery opens on its first 100 items.
    QTest::newRow("every page loaded: history synced later shows") << 3 << true;
    QTest::newRow("pages left: paging brings it") << 150 << false;
}

// Media older than everything a list holds, stored after it opened (history synced from the
// server), reach it when no page is left to bring them.
void TestMediaMgr::olderMediaReachFullyLoadedList()
{
    QFETCH(int, held);
    QFETCH(bool, shown);
    const auto document = [](qint64 id) {
        im::Message message = messageProto("a", id, CONTENT_FILE);
        setFile(message.mutable_file(), QStringLiteral("doc%1").arg(id), "pdf");
        return message;
    };
    QList<im::Message> messages;
    for (int id = 1; id <= held; ++id) {
        messages.append(document(1000 + id));
    }
    receive("a", messages, true);
    ResourceModel *list = openGallery("a")->mediaResource(CONTENT_FILE)->resourceModel();
    QAbstractItemModelTester tester(list);
    QCOMPARE(rowCount(list), qMin(held, 100));

    receive("a", {document(5)});
    QCoreApplication::sendPostedEvents();
    QCOMPARE(rowCount(list), qMin(held, 100) + (shown ? 1 : 0));
    const ResourceItem *oldest = list->getResourceItem(rowCount(list) - 1);
    QCOMPARE(oldest->messageId() == 5, shown);
}

void TestMediaMgr::editedMediaReplacesRowsAndItem()
{
    im::Message original = messageProto("a", 1, CONTENT_FILE);
    setFile(original.mutable_file(), "old", "pdf");
    receive("a", {original});
    ResourceModel *list = openGallery("a")->mediaResource(CONTENT_FILE)->resourceModel();
    QAbstractItemModelTester tester(list);
    QTRY_COMPARE(rowCount(list), 1);

    im::Message edited = original;
    setFile(edited.mutable_file(), "new", "pdf");
    edited.set_edit_version(2);
    edited.set_stored_edit_version(1);
    receive("a", {edited}, false, true);

    const QList<storage::FileReferenceInfo> rows = rowsOf("a");
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.first().fileId, QStringLiteral("new"));
    QCoreApplication::sendPostedEvents();
    QCOMPARE(rowCount(list), 1);
    QCOMPARE(list->getResourceItem(0)->msgDataPtr()->proto().file().file_id(), "new");

    // Counters that agree mean the stored copy is current: no old row is removed.
    im::Message retyped = photo("a", 1, "p1");
    retyped.set_edit_version(2);
    retyped.set_stored_edit_version(2);
    receive("a", {retyped}, false, true);
    QCOMPARE(rowsOf("a").size(), 2);
}

void TestMediaMgr::isMedia_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("media");
    QTest::newRow("text") << 1 << false;
    QTest::newRow("photo") << 2 << true;
    QTest::newRow("voice") << 3 << true;
    QTest::newRow("music") << 4 << false;
    QTest::newRow("video") << 5 << true;
    QTest::newRow("file") << 6 << true;
    QTest::newRow("combined") << 7 << false;
    QTest::newRow("quoted photo") << (2 | 0x800) << false;
}

void TestMediaMgr::isMedia()
{
    QFETCH(int, type);
    QFETCH(bool, media);
    QCOMPARE(MediaMgr::isMedia(type), media);
}

void TestMediaMgr::sharedFileSurvivesFirstRemoval()
{
    receive("a", {photo("a", 1, "shared"), photo("a", 2, "shared")});
    writeCacheFile(CONTENT_PHOTO, "shared", "jpg");
    ResourceModel *list = openGallery("a")->mediaResource(CONTENT_PHOTO)->resourceModel();
    QTRY_COMPARE(rowCount(list), 2);

    m_hub->removeResource("a", QList<qint64> {1}, true);
    QVERIFY(cacheFileExists(CONTENT_PHOTO, "shared", "jpg"));
    QTRY_COMPARE(rowCount(list), 1);

    m_hub->removeResource("a", QList<qint64> {2}, true);
    QVERIFY(!cacheFileExists(CONTENT_PHOTO, "shared", "jpg"));
    QTRY_COMPARE(rowCount(list), 0);
    QVERIFY(rowsOf("a").isEmpty());
}

void TestMediaMgr::quotedRowNeverDeletesFile()
{
    const im::Message original = photo("b", 1, "quoted");
    receive("a", {quoting("a", 5, original)});
    writeCacheFile(CONTENT_PHOTO, "quoted", "jpg");
    m_hub->removeResource("a", QList<qint64> {5}, true);
    QVERIFY(rowsOf("a").isEmpty());
    QVERIFY(cacheFileExists(CONTENT_PHOTO, "quoted", "jpg"));
}

void TestMediaMgr::rangeRemovalPrunesRowsAndList()
{
    QList<im::Message> messages;
    for (int id = 1; id <= 6; ++id) {
        messages.append(photo("a", id, QStringLiteral("r%1").arg(id)));
    }
    receive("a", messages);
    for (int id = 1; id <= 6; ++id) {
        writeCacheFile(CONTENT_PHOTO, QStringLiteral("r%1").arg(id), "jpg");
    }
    ResourceModel *list = openGallery("a")->mediaResource(CONTENT_PHOTO)->resourceModel();
    QTRY_COMPARE(rowCount(list), 6);

    m_hub->removeResource("a", MessageIdRange(2, 4), true);
    QTRY_COMPARE(rowCount(list), 3);
    QCOMPARE(rowsOf("a").size(), 3);
    for (int id = 1; id <= 6; ++id) {
        QCOMPARE(cacheFileExists(CONTENT_PHOTO, QStringLiteral("r%1").arg(id), "jpg"),
                 id < 2 || id > 4);
    }
}

// A file that cannot be deleted keeps its cache row, so that the storage view still counts it
// and a later cleanup tries again; the file beside it goes with its row.
void TestMediaMgr::undeletableFileKeepsItsRow()
{
    receive("a", {photo("a", 1, "kept"), photo("a", 2, "gone")});
    writeCacheFile(CONTENT_PHOTO, "kept", "jpg");
    QDir().mkpath(m_hub->mediaBaseDir(CONTENT_FILE));
    im::Message document = messageProto("a", 3, CONTENT_FILE);
    setFile(document.mutable_file(), "doc", "pdf");
    receive("a", {document});
    writeCacheFile(CONTENT_FILE, "doc", "pdf");
    storage::CacheFileStorage *cache = m_account->storage()->cacheFileStorage();
    QVERIFY(cache->save({{"kept", CONTENT_PHOTO, "jpg", 100, BaseTime},
                         {"doc", CONTENT_FILE, "pdf", 100, BaseTime}}));

    ReadOnlyFolder locked(m_hub->mediaBaseDir(CONTENT_PHOTO));
    QVERIFY(locked.isLocked());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("could not be deleted"));
    m_hub->removeResource("a", QList<qint64> {1, 3}, true);
    QVERIFY(rowsOf("a").size() == 1);
    QVERIFY(cacheFileExists(CONTENT_PHOTO, "kept", "jpg"));
    QCOMPARE(cache->infosWithFileIds({"kept"}).size(), 1);
    QVERIFY(!cacheFileExists(CONTENT_FILE, "doc", "pdf"));
    QVERIFY(cache->infosWithFileIds({"doc"}).isEmpty());
}

void TestMediaMgr::clearResourceDbForgetsDialog()
{
    receive("a", {photo("a", 1, "c1"), photo("a", 2, "c2")});
    receive("b", {photo("b", 1, "c2")});
    writeCacheFile(CONTENT_PHOTO, "c1", "jpg");
    writeCacheFile(CONTENT_PHOTO, "c2", "jpg");
    m_hub->clearResourceDB("a", 0);
    ThreadManager::waitForIdle();
    QVERIFY(rowsOf("a").isEmpty());
    QVERIFY(!cacheFileExists(CONTENT_PHOTO, "c1", "jpg"));
    QVERIFY(cacheFileExists(CONTENT_PHOTO, "c2", "jpg"));
}

// Which folder each file of a record is looked for in, and deleted from.
void TestMediaMgr::filesOnDisk_data()
{
    QTest::addColumn<int>("fileType");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<int>("part"); // 0 source, 1 thumbnail, 2 live-photo video
    QTest::addColumn<bool>("found");
    QTest::addColumn<bool>("deleted");
    QTest::newRow("source in its type's folder") << 6 << "pdf" << 0 << true << true;
    QTest::newRow("thumbnail in the photo folder") << 2 << "png" << 1 << true << true;
    QTest::newRow("live photo found in the photo folder, deleted from the video folder")
            << 2 << "mov" << 2 << true << false;
    QTest::newRow("live photo in the video folder is not found, but deleted")
            << 5 << "mov" << 2 << false << true;
}

void TestMediaMgr::filesOnDisk()
{
    QFETCH(int, fileType);
    QFETCH(QString, suffix);
    QFETCH(int, part);
    QFETCH(bool, found);
    QFETCH(bool, deleted);
    ResourceData data;
    QString *ids[] = {&data.fileId, &data.thumbId, &data.livePhotoId};
    QString *suffixes[] = {&data.suffix, &data.thumbSuffix, &data.livePhotoSuffix};
    *ids[part] = QStringLiteral("x");
    *suffixes[part] = suffix;
    writeCacheFile(fileType, "x", suffix);
    const int recordType = part == 0 ? fileType : CONTENT_PHOTO;
    QCOMPARE(m_hub->existsFileInLocal(data, recordType), found);
    m_hub->deleteFiles(recordType, data, false);
    QCOMPARE(!cacheFileExists(fileType, "x", suffix), deleted);
    QVERIFY(!m_hub->fileExist(CONTENT_PHOTO, QString(), QString()));
}

void TestMediaMgr::missingSizes()
{
    ResourceData data;
    data.fileId = "s";
    data.suffix = "jpg";
    data.thumbId = "t";
    data.thumbSuffix = "png";
    data.livePhotoId = "l";
    data.livePhotoSuffix = "mov";
    qint64 missing = -1;
    qint64 extra = -1;
    QVERIFY(m_hub->allFileInLocal(data, CONTENT_PHOTO, missing, extra));
    QCOMPARE(missing, 0);
    QCOMPARE(extra, 0);

    data.size = 1000;
    data.thumbSize = 10;
    data.livePhotoSize = 500;
    QVERIFY(!m_hub->allFileInLocal(data, CONTENT_PHOTO, missing, extra));
    QCOMPARE(missing, 1000);
    QCOMPARE(extra, 510);
    writeCacheFile(CONTENT_PHOTO, "s", "jpg");
    writeCacheFile(CONTENT_VIDEO, "l", "mov");
    QVERIFY(!m_hub->allFileInLocal(data, CONTENT_PHOTO, missing, extra));
    QCOMPARE(missing, 0);
    QCOMPARE(extra, 10);
}

QTEST_GUILESS_MAIN(TestMediaMgr)
#include "tst_mediamgr.moc"
