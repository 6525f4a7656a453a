#include "accountmanager.h"
#include "chatlistmodel.h"
#include "chatmembers.h"
#include "contenttype.h"
#include "desktoprequests.h"
#include "dialogbase.h"
#include "encodedmedia.h"
#include "filedata.h"
#include "filemanager.h"
#include "filereferencestorage.h"
#include "filestorage.h"
#include "galleryaccount.h"
#include "gallerycontroller.h"
#include "gallerysample.h"
#include "gallerysearch.h"
#include "hubteardown.h"
#include "im.pb.h"
#include "itemactions.h"
#include "listitems.h"
#include "loading/mediaresource.h"
#include "loading/mediaresourcemgr.h"
#include "mediafiles.h"
#include "mediamgr.h"
#include "mediamodel.h"
#include "mediapreview.h"
#include "mediasearch.h"
#include "messagebase.h"
#include "messagestorage.h"
#include "resourceitem.h"
#include "resourcemodel.h"
#include "resourcestorage.h"
#include "sampleaccount.h"
#include "serverhistory.h"
#include "soundserverfixture.h"
#include "userstorageprovider.h"
#include "videoplayback.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QVideoSink>
#include <QtTest>

namespace {

ResourceItem *newestItem(ResourceModel *model)
{
    ResourceItem *newest = nullptr;
    model->foreachItem({0, 0}, {0, 0}, {-1, -1}, [&newest](ResourceItem *item) { newest = item; });
    return newest;
}

qint64 newestMessageId(ResourceModel *model)
{
    ResourceItem *item = newestItem(model);
    return item ? item->messageId() : 0;
}

ResourceItem *firstItem(ResourceModel *model, const std::function<bool(ResourceItem *)> &matches)
{
    const QList<ResourceItem *> items = itemsOf(model);
    const auto it = std::find_if(items.cbegin(), items.cend(), matches);
    return it == items.cend() ? nullptr : *it;
}

// The bytes a file's messages name, in the source folder its download reads from.
QByteArray sourceBytesOf(const QSharedPointer<FileData> &file)
{
    return contentsOf(QUrl(file->url()).toLocalFile());
}

} // namespace

class TestGalleryController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void chatsAreListedMostRecentFirst();
    void choosingAChatOpensItsGallery();
    void unknownChatLeavesNoGallery();
    void sentPhotoShowsFirstAndDeleteTakesItAway();
    void deleteOnAnEmptyListChangesNothing();
    void songsShowTheirTags();
    void videoStreamsWhileItDownloads();
    void forwardedItemShowsInTheOpenGalleryOfItsChat_data();
    void forwardedItemShowsInTheOpenGalleryOfItsChat();
    void forwardWithoutAKnownChatSendsNothing_data();
    void forwardWithoutAKnownChatSendsNothing();
    void deletionSaysWhoSentTheMessage();
    void deletedItemGoesHereAndOnTheServer_data();
    void deletedItemGoesHereAndOnTheServer();
    void deletingAPhotoOfAnAlbumDeletesTheAlbum();
    void cloudDriveGetsACopyOfAFileNotDownloaded();
    void cloudDriveHasNoOtherFolder();
    void saveAsCopiesIntoTheFolder_data();
    void saveAsCopiesIntoTheFolder();
    void openingAFileDownloadsItThenAsksTheDesktop();
    void chatMembersAreTheSendersOfTheChat();
    void searchFiltersEmitOnChangeOnly_data();
    void searchFiltersEmitOnChangeOnly();
    void typingSearchesOnceAfterAPause();
    void searchInTheChatReachesTheServerHistory();
    void searchAcrossChatsShowsDatedSections();
    void deletedHitLeavesTheSearchAcrossChats();

private:
    // The item of a message of type whose file is not downloaded yet; null when there is none.
    std::unique_ptr<ResourceItem> itemNotDownloaded(int type) const;
    // The server's side of the account, as the server would read it.
    std::unique_ptr<ServerHistory> server() const;

    MediaResource *openPhotoList(const QString &dialogId);
    // The chat's photo list once its first page is in; null when the page did not come.
    MediaResource *loadedPhotoList(const QString &dialogId);
    int photoRows(const QString &dialogId) const;

    QTemporaryDir m_dir;
    QString m_photoChat;
    QString m_chatWithoutPhotos;
    QString m_musicChat;
    std::unique_ptr<GalleryAccount> m_account;
    MediaMgr *m_hub = nullptr; // child of the account
    std::unique_ptr<GalleryController> m_controller;
    SoundServerFixture m_sound;
};

void TestGalleryController::initTestCase()
{
    QVERIFY2(m_sound.start(), qPrintable(m_sound.errorString()));
    QVERIFY(m_dir.isValid());
    GallerySample sample;
    QVERIFY(sample.create(m_dir.path()));
    m_photoChat = sample.photoChat;
    m_chatWithoutPhotos = sample.chatWithoutPhotos;
    m_musicChat = sample.musicChat;
}

void TestGalleryController::init()
{
    m_account = std::make_unique<GalleryAccount>(SampleAccount::UserId, m_dir.path());
    QVERIFY(m_account->isValid());
    // Registered as the host registers it: the stream server finds the files of its account.
    AccountManager::getInstance()->addAccount(m_account.get());
    m_hub = new MediaMgr(m_account.get());
    m_controller = std::make_unique<GalleryController>(m_account.get(), m_hub);
}

void TestGalleryController::cleanup()
{
    m_controller.reset();
    closeHub(m_hub);
    AccountManager::getInstance()->removeAccount(m_account.get());
    m_account.reset();
}

MediaResource *TestGalleryController::openPhotoList(const QString &dialogId)
{
    m_controller->setCurrentChatId(dialogId);
    auto *gallery = qobject_cast<MediaResourceMgr *>(m_controller->gallery());
    return gallery ? gallery->mediaResource(CONTENT_PHOTO) : nullptr;
}

MediaResource *TestGalleryController::loadedPhotoList(const QString &dialogId)
{
    MediaResource *photos = openPhotoList(dialogId);
    return photos && QTest::qWaitFor([photos] { return !photos->isQuerying(); }) ? photos : nullptr;
}

std::unique_ptr<ServerHistory> TestGalleryController::server() const
{
    return std::make_unique<ServerHistory>(
            QDir(m_dir.path()).filePath(QStringLiteral("server.db")));
}

int TestGalleryController::photoRows(const QString &dialogId) const
{
    storage::ResourceSearchInfo info;
    info.types = {CONTENT_PHOTO};
    info.count = 1000;
    return int(m_account->storage()->resourceStorage()->infosBefore(dialogId, info).size());
}

void TestGalleryController::chatsAreListedMostRecentFirst()
{
    ChatListModel *chats = m_controller->chats();
    QAbstractItemModelTester tester(chats);
    QCOMPARE(chats->rowCount(), m_account->dialogs().size());
    for (int row = 1; row < chats->rowCount(); ++row) {
        QVERIFY(chats->data(chats->index(row - 1), ChatListModel::LastActiveRole).toLongLong()
                >= chats->data(chats->index(row), ChatListModel::LastActiveRole).toLongLong());
    }
    const int row = chats->indexOf(m_photoChat);
    QVERIFY(row >= 0);
    QCOMPARE(chats->data(chats->index(row), ChatListModel::NameRole).toString(),
             m_account->dialog(m_photoChat)->name());
    QCOMPARE(chats->indexOf(QStringLiteral("nobody")), -1);
}

void TestGalleryController::choosingAChatOpensItsGallery()
{
    QSignalSpy chatChanged(m_controller.get(), &GalleryController::currentChatIdChanged);
    QSignalSpy galleryChanged(m_controller.get(), &GalleryController::galleryChanged);
    m_controller->setCurrentChatId(m_photoChat);
    QCOMPARE(chatChanged.count(), 1);
    QCOMPARE(galleryChanged.count(), 1);
    QCOMPARE(m_controller->gallery(), m_hub->mediaResourceMgr(m_photoChat));

    m_controller->setCurrentChatId(m_photoChat);
    QCOMPARE(chatChanged.count(), 1);
    QCOMPARE(galleryChanged.count(), 1);

    m_controller->setCurrentChatId(m_chatWithoutPhotos);
    QCOMPARE(galleryChanged.count(), 2);
    QCOMPARE(m_controller->gallery(), m_hub->mediaResourceMgr(m_chatWithoutPhotos));
}

void TestGalleryController::unknownChatLeavesNoGallery()
{
    m_controller->setCurrentChatId(m_photoChat);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("no chat.*nobody")));
    m_controller->setCurrentChatId(QStringLiteral("nobody"));
    QVERIFY(!m_controller->gallery());
    QSignalSpy notice(m_controller.get(), &GalleryController::notice);
    QVERIFY(!m_controller->addSamplePhoto());
    QCOMPARE(notice.count(), 1);
}

void TestGalleryController::sentPhotoShowsFirstAndDeleteTakesItAway()
{
    MediaResource *photos = openPhotoList(m_photoChat);
    QVERIFY(photos);
    QTRY_VERIFY(!photos->isQuerying());
    ResourceModel *model = photos->resourceModel();
    const qint64 newestBefore = newestMessageId(model);
    const int itemsBefore = model->resourceCount();
    const int rowsBefore = photoRows(m_photoChat);
    QVERIFY(newestBefore > 0);

    QVERIFY(m_controller->addSamplePhoto());
    QTRY_VERIFY(newestMessageId(model) > newestBefore);
    const qint64 sent = newestMessageId(model);
    QCOMPARE(model->resourceCount(), itemsBefore + 1);
    QCOMPARE(photoRows(m_photoChat), rowsBefore + 1);
    QCOMPARE(m_account->storage()->messageStorage()->message(m_photoChat, {sent, 0}).messageId,
             sent);
    // The photo was sent from this machine: its thumbnail is shown without a download.
    MediaFiles *files = m_controller->files();
    ResourceItem *item = newestItem(model);
    QVERIFY(files->thumbnailUrl(item).isValid());
    QCOMPARE(files->pendingDownloads(), 0);
    QCOMPARE(files->fileName(item), QStringLiteral("IMG_%1.jpg").arg(item->dateTime()));
    const QString cachedPhoto = item->sourceFilePtr()->localPath();
    QVERIFY(QFileInfo::exists(cachedPhoto));

    QVERIFY(m_controller->deleteNewest(model));
    QTRY_COMPARE(newestMessageId(model), newestBefore);
    QCOMPARE(model->resourceCount(), itemsBefore);
    QCOMPARE(photoRows(m_photoChat), rowsBefore);
    QVERIFY(m_account->storage()
                    ->messageStorage()
                    ->message(m_photoChat, {sent, 0})
                    .dialogId.isEmpty());
    // Nothing else names the photo, so its cached copy goes too.
    QTRY_VERIFY(!QFileInfo::exists(cachedPhoto));
}

void TestGalleryController::deleteOnAnEmptyListChangesNothing()
{
    MediaResource *photos = openPhotoList(m_chatWithoutPhotos);
    QVERIFY(photos);
    QTRY_VERIFY(!photos->isQuerying());
    const int messages = m_account->storage()->messageStorage()->count(m_chatWithoutPhotos);
    QSignalSpy notice(m_controller.get(), &GalleryController::notice);
    QVERIFY(!m_controller->deleteNewest(photos->resourceModel()));
    QVERIFY(!m_controller->deleteNewest(nullptr));
    QCOMPARE(notice.count(), 2);
    QCOMPARE(m_account->storage()->messageStorage()->count(m_chatWithoutPhotos), messages);
}

// A song shows the title, artist and length written into its file's tags; other items have none.
void TestGalleryController::songsShowTheirTags()
{
    m_controller->setCurrentChatId(m_musicChat);
    auto *gallery = qobject_cast<MediaResourceMgr *>(m_controller->gallery());
    QVERIFY(gallery);
    MediaResource *music = gallery->mediaResource(CONTENT_MUSIC);
    QTRY_VERIFY(!music->isQuerying());
    ResourceItem *item = newestItem(music->resourceModel());
    QVERIFY(item && item->msgData());
    const QString source =
            QUrl(QString::fromStdString(item->msgData()->proto().file().url())).fileName();
    const QList<EncodedMedia::Track> &tracks = EncodedMedia::tracks();
    const auto track =
            std::find_if(tracks.cbegin(), tracks.cend(),
                         [&](const EncodedMedia::Track &t) { return t.fileName == source; });
    QVERIFY2(track != tracks.cend(), qPrintable(source));
    MediaFiles *files = m_controller->files();
    QCOMPARE(files->title(item), track->title);
    QCOMPARE(files->artist(item), track->artist);
    QCOMPARE(files->duration(item), qint64(track->durationMs));

    MediaResource *photos = openPhotoList(m_photoChat);
    QTRY_VERIFY(!photos->isQuerying());
    ResourceItem *photo = newestItem(photos->resourceModel());
    QVERIFY(photo);
    QVERIFY(files->title(photo).isEmpty());
    QVERIFY(files->artist(photo).isEmpty());
    QVERIFY(files->title(nullptr).isEmpty());
}

std::unique_ptr<ResourceItem> TestGalleryController::itemNotDownloaded(int type) const
{
    const QList<storage::FileRecord> records =
            m_account->storage()->fileStorage()->infosAfter(QString(), 100000);
    for (const storage::FileRecord &record : records) {
        const QSharedPointer<FileData> file =
                m_account->fileManager()->filePtrWithId(record.fileId, true);
        if (!file || file->type() != type || file->isComplete()) {
            continue;
        }
        const auto rows =
                m_account->storage()->fileReferenceStorage()->infosWithFileIds({record.fileId});
        for (const storage::FileReferenceInfo &row : rows) {
            const QSharedPointer<DialogBase> dialog = m_account->dialog(row.dialogId);
            const auto message =
                    dialog ? dialog->message(MessageKey(row.messageId, row.subMsgId)) : nullptr;
            if (message && message->type() == type) {
                return std::make_unique<ResourceItem>(message);
            }
        }
    }
    return nullptr;
}

// A video whose file is not on disk plays from the stream server, which starts its download; its
// pictures reach the output while the bar's downloaded share grows to the whole file.
void TestGalleryController::videoStreamsWhileItDownloads()
{
    const std::unique_ptr<ResourceItem> item = itemNotDownloaded(CONTENT_VIDEO);
    QVERIFY2(item, "the sample has no video left to download");
    const QSharedPointer<FileData> file = item->sourceFilePtr();
    VideoPlayback *video = m_controller->video();
    QVideoSink sink;
    QSignalSpy frames(&sink, &QVideoSink::videoFrameChanged);
    video->setVideoOutput(&sink);
    QSignalSpy loaded(video, &VideoPlayback::itemChanged);
    video->play(item.get());
    QCOMPARE(video->item(), item.get());
    QCOMPARE(loaded.count(), 1);
    QVERIFY(video->isStreaming());
    QVERIFY(video->isWaiting());
    QTRY_VERIFY_WITH_TIMEOUT(video->position() > 500, 15000);
    QVERIFY(!video->isWaiting());
    QVERIFY(video->isPlaying());
    QVERIFY(video->duration() > video->position());
    QVERIFY(frames.count() > 5);
    QTRY_COMPARE_WITH_TIMEOUT(video->downloaded(), 1.0, 15000);
    QVERIFY(file->isComplete());

    video->togglePause();
    QTRY_VERIFY(!video->isPlaying());
    video->seek(video->duration() + 10000);
    QCOMPARE(video->position(), video->duration());
    video->seekBy(-video->duration() * 2);
    QCOMPARE(video->position(), 0);

    video->stop();
    QCOMPARE(video->item(), nullptr);
    QVERIFY(!video->isStreaming());
    QCOMPARE(loaded.count(), 2);
    // The player lets go of the sink before it goes, as the viewer's VideoOutput makes it do.
    video->setVideoOutput(nullptr);
}

void TestGalleryController::forwardedItemShowsInTheOpenGalleryOfItsChat_data()
{
    QTest::addColumn<bool>("albumPhoto");
    QTest::newRow("a photo") << false;
    QTest::newRow("a photo of an album, which arrives as a photo of its own") << true;
}

// The copy is stored as the client stores what the server accepted, and the chat's gallery, open
// meanwhile as a second view holds it, shows it at once.
void TestGalleryController::forwardedItemShowsInTheOpenGalleryOfItsChat()
{
    QFETCH(bool, albumPhoto);
    const QString target = m_musicChat;
    QVERIFY(target != m_photoChat);
    MediaResource *photos = loadedPhotoList(m_photoChat);
    QVERIFY(photos);
    ResourceItem *original = firstItem(photos->resourceModel(), [albumPhoto](ResourceItem *item) {
        return item->msgData() && item->msgData()->isChildMsg() == albumPhoto;
    });
    QVERIFY(original);
    MediaResource *targetPhotos =
            m_hub->externMediaResourceMgr(target)->mediaResource(CONTENT_PHOTO);
    QTRY_VERIFY(!targetPhotos->isQuerying());
    const int shownBefore = targetPhotos->resourceModel()->resourceCount();
    const qint64 copyId = m_account->nextMessageId(target);

    QSignalSpy forwarded(m_account.get(), &GalleryAccount::messagesForwarded);
    QSignalSpy notice(m_controller.get(), &GalleryController::notice);
    QVERIFY(m_controller->actions()->forward(original, target));
    QCOMPARE(forwarded.count(), 1);
    QCOMPARE(forwarded.at(0).at(0).toString(), target);
    QCOMPARE(forwarded.at(0).at(1).toInt(), 1);
    QCOMPARE(notice.count(), 1);
    QVERIFY(notice.at(0).at(0).toString().contains(m_account->dialog(target)->name()));

    QTRY_COMPARE(targetPhotos->resourceModel()->resourceCount(), shownBefore + 1);
    ResourceItem *copy = newestItem(targetPhotos->resourceModel());
    QCOMPARE(copy->dialogId(), target);
    QCOMPARE(copy->mediaKey(), MessageKey(copyId, 0));
    QVERIFY(!copy->msgData()->isChildMsg());
    QCOMPARE(copy->msgData()->senderId(), m_account->userId());
    QCOMPARE(copy->msgData()->text(), original->msgData()->text());
    QCOMPARE(copy->sourceFilePtr()->fileId(), original->sourceFilePtr()->fileId());
    QCOMPARE(m_account->storage()->messageStorage()->message(target, {copyId, 0}).messageId,
             copyId);
    QCOMPARE(server()->messages()->message(target, {copyId, 0}).messageId, copyId);
    // The original stays where it was.
    QCOMPARE(m_account->storage()
                     ->messageStorage()
                     ->message(m_photoChat, original->mediaKey())
                     .dialogId,
             m_photoChat);
    m_hub->releaseExternMediaResourceMgr(target);
}

void TestGalleryController::forwardWithoutAKnownChatSendsNothing_data()
{
    QTest::addColumn<QVariantMap>("options");
    QTest::newRow("no chat named") << QVariantMap();
    QTest::newRow("a chat the account does not have")
            << QVariantMap {{GalleryAccount::ForwardChatKey, QStringLiteral("nobody")}};
}

void TestGalleryController::forwardWithoutAKnownChatSendsNothing()
{
    QFETCH(QVariantMap, options);
    MediaResource *photos = loadedPhotoList(m_photoChat);
    QVERIFY(photos);
    const int messages = m_account->storage()->messageStorage()->count();
    QSignalSpy forwarded(m_account.get(), &GalleryAccount::messagesForwarded);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot forward")));
    m_hub->forwardMessage(newestItem(photos->resourceModel()), options);
    QCOMPARE(forwarded.count(), 0);
    QCOMPARE(m_account->storage()->messageStorage()->count(), messages);
    QVERIFY(!m_controller->actions()->forward(newestItem(photos->resourceModel()),
                                              QStringLiteral("nobody")));
}

// What the hub reports for a withdrawal names the sender; what the user sent can go for everyone.
void TestGalleryController::deletionSaysWhoSentTheMessage()
{
    MediaResource *photos = loadedPhotoList(m_photoChat);
    QVERIFY(photos);
    const qint64 self = m_account->userId();
    ResourceItem *mine = firstItem(photos->resourceModel(), [self](ResourceItem *item) {
        return item->msgData()->senderId() == self;
    });
    ResourceItem *theirs = firstItem(photos->resourceModel(), [self](ResourceItem *item) {
        return item->msgData()->senderId() != self && !item->msgData()->isChildMsg();
    });
    QVERIFY(mine && theirs);
    ItemActions *actions = m_controller->actions();
    QVariantMap info = actions->deletionInfo(mine);
    QCOMPARE(info.value(QStringLiteral("sender")).toString(), QStringLiteral("You"));
    QCOMPARE(info.value(QStringLiteral("canWithdraw")).toBool(), true);
    info = actions->deletionInfo(theirs);
    QCOMPARE(info.value(QStringLiteral("sender")).toString(),
             ChatMembers::nameOf(m_account.get(), m_photoChat, theirs->msgData()->senderId()));
    QCOMPARE(info.value(QStringLiteral("canWithdraw")).toBool(), false);
    QCOMPARE(info.value(QStringLiteral("album")).toBool(), false);
    QVERIFY(actions->deletionInfo(nullptr).isEmpty());
}

void TestGalleryController::deletedItemGoesHereAndOnTheServer_data()
{
    QTest::addColumn<bool>("forEveryone");
    QTest::newRow("for the user") << false;
    QTest::newRow("for everyone") << true;
}

// The server drops a message from the account's history either way, so that a search of the
// server's history does not bring it back.
void TestGalleryController::deletedItemGoesHereAndOnTheServer()
{
    QFETCH(bool, forEveryone);
    MediaResource *photos = loadedPhotoList(m_photoChat);
    QVERIFY(photos);
    const qint64 self = m_account->userId();
    ResourceItem *mine = firstItem(photos->resourceModel(), [self](ResourceItem *item) {
        return item->msgData()->senderId() == self && !item->msgData()->isChildMsg();
    });
    QVERIFY(mine);
    const qint64 messageId = mine->messageId();
    QVERIFY(server()->messages()->message(m_photoChat, {messageId, 0}).messageId == messageId);

    QSignalSpy deleted(m_account.get(), &GalleryAccount::messagesDeleted);
    QVERIFY(m_controller->actions()->remove(mine, forEveryone));
    QCOMPARE(deleted.count(), 1);
    QCOMPARE(deleted.at(0).at(0).toString(), m_photoChat);
    QCOMPARE(deleted.at(0).at(1).value<QList<qint64>>(), QList<qint64> {messageId});
    QCOMPARE(deleted.at(0).at(2).toBool(), forEveryone);
    QTRY_VERIFY(!firstItem(photos->resourceModel(), [messageId](ResourceItem *item) {
        return item->messageId() == messageId;
    }));
    QVERIFY(m_account->storage()
                    ->messageStorage()
                    ->message(m_photoChat, {messageId, 0})
                    .dialogId.isEmpty());
    QVERIFY(server()->messages()->message(m_photoChat, {messageId, 0}).dialogId.isEmpty());
}

// A photo of an album is no message of its own: the album goes, with every photo in it.
void TestGalleryController::deletingAPhotoOfAnAlbumDeletesTheAlbum()
{
    MediaResource *photos = loadedPhotoList(m_photoChat);
    QVERIFY(photos);
    ResourceItem *albumPhoto = firstItem(photos->resourceModel(), [](ResourceItem *item) {
        return item->msgData()->isChildMsg();
    });
    QVERIFY(albumPhoto);
    QCOMPARE(m_controller->actions()->deletionInfo(albumPhoto).value(QStringLiteral("album")),
             QVariant(true));
    const qint64 albumId = albumPhoto->messageId();
    QVERIFY(m_controller->actions()->remove(albumPhoto, false));
    QTRY_VERIFY(!firstItem(photos->resourceModel(),
                           [albumId](ResourceItem *item) { return item->messageId() == albumId; }));
    QVERIFY(m_account->storage()->messageStorage()->subMessages(m_photoChat, albumId).isEmpty());
    QVERIFY(m_account->storage()
                    ->messageStorage()
                    ->message(m_photoChat, {albumId, 0})
                    .dialogId.isEmpty());
}

void TestGalleryController::cloudDriveGetsACopyOfAFileNotDownloaded()
{
    const std::unique_ptr<ResourceItem> item = itemNotDownloaded(CONTENT_FILE);
    QVERIFY2(item, "the sample has no document left to download");
    const QSharedPointer<FileData> file = item->sourceFilePtr();
    QSignalSpy transferred(m_account.get(), &GalleryAccount::cloudDriveTransferred);
    QSignalSpy notice(m_controller.get(), &GalleryController::notice);
    QVERIFY(m_controller->actions()->transferToCloudDrive(item.get()));
    QVERIFY(transferred.wait(15000));
    const QStringList paths = transferred.at(0).at(0).toStringList();
    QCOMPARE(paths.size(), 1);
    QCOMPARE(transferred.at(0).at(1).toInt(), 0);
    QCOMPARE(QFileInfo(paths.constFirst()).absolutePath(),
             QDir(m_account->cloudDriveFolder()).absolutePath());
    QCOMPARE(QFileInfo(paths.constFirst()).fileName(), m_controller->files()->fileName(item.get()));
    QCOMPARE(contentsOf(paths.constFirst()), sourceBytesOf(file));
    // Downloaded on the way, so the cache has it now.
    QVERIFY(file->isComplete());
    QVERIFY(notice.last().at(0).toString().contains(paths.constFirst()));

    // The same file again lands beside the first copy, under a name of its own.
    QVERIFY(m_controller->actions()->transferToCloudDrive(item.get()));
    QVERIFY(transferred.wait(15000));
    const QString second = transferred.at(1).at(0).toStringList().value(0);
    QVERIFY(!second.isEmpty() && second != paths.constFirst());
    QCOMPARE(contentsOf(second), sourceBytesOf(file));
}

void TestGalleryController::cloudDriveHasNoOtherFolder()
{
    const std::unique_ptr<ResourceItem> item = itemNotDownloaded(CONTENT_FILE);
    QVERIFY(item);
    QSignalSpy transferred(m_account.get(), &GalleryAccount::cloudDriveTransferred);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("no folder 7")));
    m_account->transferToCloudDrive({item->msgDataPtr()}, 7);
    QCOMPARE(transferred.count(), 1);
    QVERIFY(transferred.at(0).at(0).toStringList().isEmpty());
    QCOMPARE(transferred.at(0).at(1).toInt(), 1);
}

void TestGalleryController::saveAsCopiesIntoTheFolder_data()
{
    QTest::addColumn<QString>("folderName");
    QTest::addColumn<bool>("asUrl");
    QTest::addColumn<bool>("saved");
    QTest::newRow("a folder") << QStringLiteral("saved") << false << true;
    QTest::newRow("a folder as the folder dialog names it")
            << QStringLiteral("saved") << true << true;
    QTest::newRow("a folder that does not exist")
            << QStringLiteral("missing/folder") << false << false;
}

void TestGalleryController::saveAsCopiesIntoTheFolder()
{
    QFETCH(QString, folderName);
    QFETCH(bool, asUrl);
    QFETCH(bool, saved);
    QTemporaryDir target;
    QVERIFY(QDir(target.path()).mkpath(QStringLiteral("saved")));
    const QString folder = QDir(target.path()).filePath(folderName);
    const QUrl location = asUrl ? QUrl::fromLocalFile(folder) : QUrl(folder);
    const std::unique_ptr<ResourceItem> item = itemNotDownloaded(CONTENT_FILE);
    QVERIFY(item);
    QSignalSpy notice(m_controller.get(), &GalleryController::notice);
    if (!saved) {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot save")));
    }
    QCOMPARE(m_controller->actions()->saveAs(item.get(), location), saved);
    if (!saved) {
        QCOMPARE(notice.count(), 1);
        QVERIFY(!QFileInfo::exists(folder));
        return;
    }
    const QString copy = QDir(folder).filePath(m_controller->files()->fileName(item.get()));
    QTRY_VERIFY_WITH_TIMEOUT(notice.count() == 1, 15000);
    QCOMPARE(notice.at(0).at(0).toString(), QStringLiteral("Saved as %1").arg(copy));
    QCOMPARE(contentsOf(copy), sourceBytesOf(item->sourceFilePtr()));
}

void TestGalleryController::openingAFileDownloadsItThenAsksTheDesktop()
{
    DesktopRequests desktop({QStringLiteral("file")});
    const std::unique_ptr<ResourceItem> item = itemNotDownloaded(CONTENT_FILE);
    QVERIFY(item);
    const QSharedPointer<FileData> file = item->sourceFilePtr();
    MediaFiles *files = m_controller->files();
    QVERIFY(m_controller->actions()->openFile(item.get()));
    QVERIFY(files->progress(file->fileId()) >= 0);
    QTRY_COMPARE_WITH_TIMEOUT(desktop.urls().size(), 1, 15000);
    QCOMPARE(desktop.urls().constFirst(), QUrl::fromLocalFile(file->localPath()));
    QVERIFY(file->isComplete());
    QCOMPARE(files->progress(file->fileId()), -1.0);

    // On disk now: the folder opens at once.
    QVERIFY(m_controller->actions()->revealFile(item.get()));
    QCOMPARE(desktop.urls().size(), 2);
    QCOMPARE(desktop.urls().at(1),
             QUrl::fromLocalFile(QFileInfo(file->localPath()).absolutePath()));

    QSignalSpy notice(m_controller.get(), &GalleryController::notice);
    QVERIFY(!m_controller->actions()->openFile(nullptr));
    QCOMPARE(notice.count(), 1);
    QCOMPARE(desktop.urls().size(), 2);
}

void TestGalleryController::chatMembersAreTheSendersOfTheChat()
{
    openPhotoList(m_photoChat);
    ChatMembers *members = m_controller->search()->members();
    QTRY_VERIFY(!members->members().isEmpty());
    storage::MessageSearchInfo all;
    all.dialogIds = {m_photoChat};
    all.count = 100000;
    QSet<qint64> senders;
    for (const storage::MessageRecord &record :
         m_account->storage()->messageStorage()->search(all, nullptr)) {
        senders.insert(record.senderId);
    }
    QCOMPARE(members->members().size(), senders.size());
    const QVariantMap first = members->members().constFirst().toMap();
    QCOMPARE(first.value(QStringLiteral("userId")).toLongLong(), m_account->userId());
    QCOMPARE(first.value(QStringLiteral("name")).toString(), QStringLiteral("You"));
    for (const QVariant &member : members->members()) {
        QVERIFY(senders.contains(member.toMap().value(QStringLiteral("userId")).toLongLong()));
    }
    // The other side of a chat that is no group goes by the chat's name.
    QCOMPARE(ChatMembers::nameOf(m_account.get(), m_chatWithoutPhotos, 1),
             m_account->dialog(m_chatWithoutPhotos)->name());
    QCOMPARE(ChatMembers::nameOf(m_account.get(), m_photoChat, 5003), QStringLiteral("User 5003"));
}

void TestGalleryController::searchFiltersEmitOnChangeOnly_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("keyword") << QByteArray("keyword") << QVariant(QStringLiteral("cat"));
    QTest::newRow("sender") << QByteArray("senderId") << QVariant(qlonglong(SampleAccount::UserId));
    QTest::newRow("first day") << QByteArray("startTime") << QVariant(qlonglong(1000));
    QTest::newRow("last day") << QByteArray("endTime") << QVariant(qlonglong(2000));
    QTest::newRow("all chats") << QByteArray("allChats") << QVariant(true);
    QTest::newRow("list type") << QByteArray("type") << QVariant(int(CONTENT_FILE));
}

void TestGalleryController::searchFiltersEmitOnChangeOnly()
{
    QFETCH(QByteArray, property);
    QFETCH(QVariant, value);
    openPhotoList(m_photoChat);
    GallerySearch *search = m_controller->search();
    const QMetaProperty meta = search->metaObject()->property(
            search->metaObject()->indexOfProperty(property.constData()));
    QSignalSpy changed(search, meta.notifySignal());
    QVERIFY(meta.write(search, value));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(meta.read(search), value);
    QVERIFY(meta.write(search, value));
    QCOMPARE(changed.count(), 1);
}

// Each key typed restarts the pause; what the same search ran last is not run again.
void TestGalleryController::typingSearchesOnceAfterAPause()
{
    openPhotoList(m_photoChat);
    GallerySearch *search = m_controller->search();
    QSignalSpy started(search, &GallerySearch::searchStarted);
    QSignalSpy active(search, &GallerySearch::isActiveChanged);
    for (const QString &typed :
         {QStringLiteral("c"), QStringLiteral("ca"), QStringLiteral("cat")}) {
        search->setKeyword(typed);
    }
    QCOMPARE(started.count(), 0);
    QVERIFY(!search->isActive());
    QVERIFY(started.wait(GallerySearch::TypingPauseMs * 10));
    QCOMPARE(started.count(), 1);
    QVERIFY(search->isActive());
    QCOMPARE(active.count(), 1);
    QCOMPARE(search->shownSearch()->searchFilter().keyword, QStringLiteral("cat"));

    search->setKeyword(QStringLiteral("cats"));
    search->setKeyword(QStringLiteral("cat"));
    QVERIFY(!started.wait(GallerySearch::TypingPauseMs * 3));
    QCOMPARE(started.count(), 1);

    // A sender chosen searches at once.
    search->setSenderId(m_account->userId());
    QCOMPARE(started.count(), 2);
    search->setSenderId(m_account->userId());
    QCOMPARE(started.count(), 2);

    search->clear();
    QVERIFY(!search->isActive());
    QCOMPARE(search->resourceModel(), nullptr);
    QCOMPARE(search->keyword(), QString());
    QCOMPARE(search->senderId(), qint64(0));
}

// Photos of the chat, its older history that only the server holds included, in dated sections.
void TestGalleryController::searchInTheChatReachesTheServerHistory()
{
    MediaResource *photos = loadedPhotoList(m_photoChat);
    QVERIFY(photos);
    GallerySearch *search = m_controller->search();
    search->setType(CONTENT_PHOTO);
    search->setKeyword(QStringLiteral("img"));
    QTRY_VERIFY(search->isActive());
    QTRY_VERIFY_WITH_TIMEOUT(!search->isQuerying(), 15000);
    auto *hits = qobject_cast<MediaModel *>(search->resourceModel());
    QVERIFY(hits);
    QAbstractItemModelTester tester(hits);

    storage::MessageSearchInfo photosOnServer;
    photosOnServer.dialogIds = {m_photoChat};
    photosOnServer.types = {CONTENT_PHOTO};
    photosOnServer.keyword = QStringLiteral("img");
    photosOnServer.count = 100000;
    const int expected = int(server()->messages()->search(photosOnServer, nullptr).size());
    QVERIFY(expected > photoRows(m_photoChat));
    QCOMPARE(hits->resourceCount(), expected);
    for (ResourceItem *hit : itemsOf(hits)) {
        QVERIFY(m_controller->files()->fileName(hit).contains(QLatin1String("IMG"),
                                                              Qt::CaseInsensitive));
    }

    // The viewer opened on a hit steps through the hits alone.
    MediaPreview *preview = m_hub->mediaPreview();
    ResourceItem *second = itemsOf(hits).at(1);
    search->openInPreview(second);
    QTRY_VERIFY(preview->resourceItem());
    QVERIFY(preview->isShowingSearch());
    QCOMPARE(preview->resourceItem()->mediaKey(), second->mediaKey());
    preview->nextItem();
    QCOMPARE(preview->resourceItem()->mediaKey(), itemsOf(hits).at(0)->mediaKey());
    preview->quitView();
}

void TestGalleryController::searchAcrossChatsShowsDatedSections()
{
    openPhotoList(m_photoChat);
    GallerySearch *search = m_controller->search();
    search->setType(CONTENT_PHOTO);
    search->setAllChats(true);
    search->setKeyword(QStringLiteral("img"));
    QTRY_VERIFY(search->isActive());
    QTRY_VERIFY_WITH_TIMEOUT(!search->isQuerying(), 15000);
    auto *sections = qobject_cast<MediaModel *>(search->resourceModel());
    QVERIFY(sections);
    QAbstractItemModelTester tester(sections);
    ResourceModel *flat = search->shownSearch()->currentModel();
    QVERIFY(flat != sections);
    QAbstractItemModelTester flatTester(flat);
    QCOMPARE(sections->resourceCount(), flat->resourceCount());
    QSet<QString> chats;
    for (ResourceItem *hit : itemsOf(sections)) {
        chats.insert(hit->dialogId());
    }
    QVERIFY(chats.size() > 1);
    QVERIFY(sections->rowCount() > 1);
    const auto dateOf = [sections](int row) {
        return qobject_cast<MediaItemModel *>(
                       sections->data(sections->index(row), ResourceModel::ItemModelRole)
                               .value<QObject *>())
                ->date();
    };
    for (int row = 1; row < sections->rowCount(); ++row) {
        QVERIFY(dateOf(row - 1) > dateOf(row));
    }

    // Paging on appends to the sections as well.
    const int firstPage = flat->resourceCount();
    search->loadBefore(50);
    QTRY_VERIFY_WITH_TIMEOUT(!search->isQuerying(), 15000);
    QVERIFY(flat->resourceCount() > firstPage);
    QCOMPARE(sections->resourceCount(), flat->resourceCount());

    // Another list type shows in rows again.
    search->setType(CONTENT_FILE);
    QTRY_VERIFY_WITH_TIMEOUT(!search->isQuerying(), 15000);
    ResourceModel *rows = search->resourceModel();
    QVERIFY(rows != sections);
    QCOMPARE(rows, search->shownSearch()->currentModel());
    QCOMPARE(rows->type(), int(CONTENT_FILE));
}

void TestGalleryController::deletedHitLeavesTheSearchAcrossChats()
{
    openPhotoList(m_photoChat);
    GallerySearch *search = m_controller->search();
    search->setType(CONTENT_PHOTO);
    search->setAllChats(true);
    search->setKeyword(QStringLiteral("img"));
    QTRY_VERIFY(search->isActive());
    QTRY_VERIFY_WITH_TIMEOUT(!search->isQuerying(), 15000);
    ResourceModel *sections = search->resourceModel();
    ResourceItem *hit = firstItem(sections, [this](ResourceItem *item) {
        return item->dialogId() != m_photoChat && !item->msgData()->isChildMsg();
    });
    QVERIFY(hit);
    const QString dialogId = hit->dialogId();
    const qint64 messageId = hit->messageId();
    const int before = sections->resourceCount();
    QVERIFY(m_controller->actions()->remove(hit, false));
    QCOMPARE(sections->resourceCount(), before - 1);
    QCOMPARE(search->shownSearch()->currentModel()->resourceCount(), before - 1);
    QVERIFY(!firstItem(sections, [&](ResourceItem *item) {
        return item->dialogId() == dialogId && item->messageId() == messageId;
    }));
}

QTEST_MAIN(TestGalleryController)
#include "tst_gallerycontroller.moc"
