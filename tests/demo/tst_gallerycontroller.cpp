#include "accountmanager.h"
#include "chatlistmodel.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "encodedmedia.h"
#include "filedata.h"
#include "filemanager.h"
#include "filereferencestorage.h"
#include "filestorage.h"
#include "galleryaccount.h"
#include "gallerycontroller.h"
#include "gallerysample.h"
#include "hubteardown.h"
#include "im.pb.h"
#include "loading/mediaresource.h"
#include "loading/mediaresourcemgr.h"
#include "mediafiles.h"
#include "mediamgr.h"
#include "messagebase.h"
#include "messagestorage.h"
#include "resourceitem.h"
#include "resourcemodel.h"
#include "resourcestorage.h"
#include "sampleaccount.h"
#include "soundserverfixture.h"
#include "userstorageprovider.h"
#include "videoplayback.h"

#include <QAbstractItemModelTester>
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

private:
    // The item of a video message whose file is not downloaded yet; null when there is none.
    std::unique_ptr<ResourceItem> videoNotDownloaded() const;

    MediaResource *openPhotoList(const QString &dialogId);
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

std::unique_ptr<ResourceItem> TestGalleryController::videoNotDownloaded() const
{
    const QList<storage::FileRecord> records =
            m_account->storage()->fileStorage()->infosAfter(QString(), 100000);
    for (const storage::FileRecord &record : records) {
        const QSharedPointer<FileData> file =
                m_account->fileManager()->filePtrWithId(record.fileId, true);
        if (!file || file->type() != CONTENT_VIDEO || file->isComplete()) {
            continue;
        }
        const auto rows =
                m_account->storage()->fileReferenceStorage()->infosWithFileIds({record.fileId});
        for (const storage::FileReferenceInfo &row : rows) {
            const QSharedPointer<DialogBase> dialog = m_account->dialog(row.dialogId);
            const auto message =
                    dialog ? dialog->message(MessageKey(row.messageId, row.subMsgId)) : nullptr;
            if (message && message->type() == CONTENT_VIDEO) {
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
    const std::unique_ptr<ResourceItem> item = videoNotDownloaded();
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

QTEST_MAIN(TestGalleryController)
#include "tst_gallerycontroller.moc"
