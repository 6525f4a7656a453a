#include "accountbase.h"
#include "appdirmanager.h"
#include "cachefilestorage.h"
#include "cachelayout.h"
#include "contenttype.h"
#include "damageddatabase.h"
#include "filereferencestorage.h"
#include "hubingest.h"
#include "hubteardown.h"
#include "im.pb.h"
#include "mediacontentitem.h"
#include "mediainfo.h"
#include "mediamgr.h"
#include "mediasizebasemodel.h"
#include "mediasizemodel.h"
#include "mediastoragemodel.h"
#include "mediastorageviewmodel.h"
#include "messagebase.h"
#include "modelbaseutil.h"
#include "readonlyfolder.h"
#include "resourcedata.h"
#include "userstorageprovider.h"
#include "util.h"

#include <QAbstractItemModelTester>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>

namespace {

using Storage = MediaStorageModel;

constexpr qint64 BaseTime = 1'690'000'000'000;

// The cached files of the account, with their sizes in bytes.
constexpr qint64 PhotoBytes = 1000; // dialog a, message 1, with its thumbnail
constexpr qint64 ThumbBytes = 100;
constexpr qint64 FileBytes = 5000;  // dialog a, message 2
constexpr qint64 VideoBytes = 3000; // dialog b, message 3
constexpr qint64 MusicBytes = 7000; // dialog b, message 4
constexpr qint64 AvatarBytes = 11;
constexpr qint64 StickerBytes = 17 + 19; // a sticker and a custom emoji
constexpr qint64 MiscBytes = 23 + 29 + 31 + 37;
constexpr qint64 DialogABytes = PhotoBytes + ThumbBytes + FileBytes;
constexpr qint64 DialogBBytes = VideoBytes + MusicBytes;
constexpr qint64 AllBytes = DialogABytes + DialogBBytes + AvatarBytes + StickerBytes + MiscBytes;

void setFile(im::FileInfo *file, const QString &fileId, const char *suffix, qint64 size)
{
    file->set_file_id(fileId.toStdString());
    file->set_suffix(suffix);
    file->set_size(size);
    file->set_name((fileId + QLatin1Char('.') + QLatin1String(suffix)).toStdString());
}

im::Message message(const QString &dialogId, qint64 id, int type, const QString &fileId,
                    const char *suffix, qint64 size)
{
    im::Message m;
    m.set_dialog_id(dialogId.toStdString());
    m.set_msg_id(id);
    m.set_type(type);
    m.set_time(BaseTime + id * 1000);
    m.set_sender_id(7);
    setFile(m.mutable_file(), fileId, suffix, size);
    return m;
}

// Ingest keeps no reference rows of music; a host that shares music files writes them itself.
storage::FileReferenceInfo musicReference(const QString &dialogId, qint64 id, const QString &fileId,
                                          qint64 size)
{
    ResourceData data;
    data.fileName = fileId + QStringLiteral(".mp3");
    data.fileId = fileId;
    data.suffix = QStringLiteral("mp3");
    data.size = size;
    storage::FileReferenceInfo row;
    row.dialogId = dialogId;
    row.messageId = id;
    row.type = CONTENT_MUSIC;
    row.dateTime = BaseTime + id * 1000;
    row.fileId = fileId;
    data.serialize(row.data);
    return row;
}

bool writeFile(const QString &path, qint64 size)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(QByteArray(size, 'x')) == size;
}

} // namespace

// The storage screen of an account: the cache measured by kind and by dialog, and every way of
// deleting cached files, on a real account folder and database.
class TestMediaStorageModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void scanCreditsEveryFolder_data();
    void scanCreditsEveryFolder();
    void scanAttributesFilesToDialogs();
    void systemDialogNeverQueried();
    void viewListsShowDialogResources();
    void loadDuringScanRunsOneMore();
    void reloadStartsFreshScan();
    void deleteAllFilesEmptiesCache();
    void deleteByDialogKeepsOtherDialogs();
    void deleteDialogKind();
    void unreadableChatsRefuseDeletionByChat();
    void deleteByType_data();
    void deleteByType();
    void deleteMediaItem();
    void deleteSelectedDuringScan();
    void undeletableFileStaysListed();
    void selectionCounts();
    void removedMessageLeavesDialog();
    void clearAllRefusesDeletes();
    void teardownDuringScan();

private:
    QString cacheRoot() const { return m_account->userCacheDataPath(); }
    QString mainPath(int kind, const QString &name) const;
    QStringList miscFiles() const;
    QString knownFile(const QString &name) const;
    void receive(const QString &dialogId, const QList<im::Message> &messages);
    void load();
    void settle();
    QList<storage::CacheFileInfo> cacheRows() const;

    QTemporaryDir m_appDir;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<AccountBase> m_account;
    MediaMgr *m_hub = nullptr;            // child of the account
    MediaStorageModel *m_model = nullptr; // owned by the hub
};

void TestMediaStorageModel::initTestCase()
{
    QVERIFY(m_appDir.isValid());
    AppDirManager::instance()->setDataDir(m_appDir.path());
}

QString TestMediaStorageModel::mainPath(int kind, const QString &name) const
{
    return ModelBaseUtil::makeMediaPath(cacheRoot(), CacheLayout::MainCategory, kind) + name;
}

QStringList TestMediaStorageModel::miscFiles() const
{
    return {mainPath(CacheLayout::VoiceKind, "v1.amr"),
            ModelBaseUtil::makeMediaPath(cacheRoot(), CacheLayout::TempCategory,
                                         CacheLayout::ImageKind)
                    + "t.bin",
            ModelBaseUtil::makeMediaPath(cacheRoot(), CacheLayout::BufferCategory,
                                         CacheLayout::MusicKind)
                    + "deep/b.bin",
            ModelBaseUtil::makeMediaPath(cacheRoot(), CacheLayout::PreviewCategory,
                                         CacheLayout::FileKind)
                    + "p.bin"};
}

void TestMediaStorageModel::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    Util::removeLocalFolder(AppDirManager::instance()->stickerDir());
    Util::removeLocalFolder(AppDirManager::instance()->customEmojiDir());
    m_account = std::make_unique<AccountBase>(1, m_dir->path());
    QVERIFY(m_account->isValid());
    QVERIFY(m_account->storeDialog("a", "Alice", DIALOG_PRIVATE, BaseTime));
    QVERIFY(m_account->storeDialog("b", "Band", DIALOG_GROUP, BaseTime));
    QVERIFY(m_account->storeDialog("sys", "System", DIALOG_SYSTEM, BaseTime));
    m_hub = new MediaMgr(m_account.get());
    m_model = m_hub->mediaStorageModel();

    im::Message photo = message("a", 1, CONTENT_PHOTO, "p1", "jpg", PhotoBytes);
    setFile(photo.mutable_thumb(), "tp1", "png", ThumbBytes);
    receive("a", {photo, message("a", 2, CONTENT_FILE, "f1", "pdf", FileBytes)});
    receive("b", {message("b", 3, CONTENT_VIDEO, "v1", "mp4", VideoBytes)});
    QVERIFY(m_account->storeMessages({message("b", 4, CONTENT_MUSIC, "m1", "mp3", MusicBytes)}));
    QVERIFY(m_hub->fileReferenceDb()->save({musicReference("b", 4, "m1", MusicBytes)}));

    QVERIFY(writeFile(mainPath(CacheLayout::ImageKind, "p1.jpg"), PhotoBytes));
    QVERIFY(writeFile(mainPath(CacheLayout::ImageKind, "tp1.png"), ThumbBytes));
    QVERIFY(writeFile(mainPath(CacheLayout::FileKind, "f1.pdf"), FileBytes));
    QVERIFY(writeFile(mainPath(CacheLayout::VideoKind, "v1.mp4"), VideoBytes));
    QVERIFY(writeFile(mainPath(CacheLayout::MusicKind, "m1.mp3"), MusicBytes));
    // A download in progress is neither counted nor offered for deletion.
    QVERIFY(writeFile(mainPath(CacheLayout::ImageKind, "p9.jpg.cache"), 50000));
    // A symbolic link names bytes kept elsewhere.
    QVERIFY(writeFile(m_dir->filePath("elsewhere.jpg"), 9999));
    QVERIFY(QFile::link(m_dir->filePath("elsewhere.jpg"),
                        mainPath(CacheLayout::ImageKind, "l1.jpg")));
    QVERIFY(writeFile(mainPath(CacheLayout::PhotoKind, "avatar.png"), AvatarBytes));
    // Only the files directly in the avatar folder count.
    QVERIFY(writeFile(mainPath(CacheLayout::PhotoKind, "old/avatar.png"), 500));
    QVERIFY(writeFile(AppDirManager::instance()->stickerDir() + "/pack/s.webp", 17));
    QVERIFY(writeFile(AppDirManager::instance()->customEmojiDir() + "/e.png", 19));
    const QList<qint64> miscSizes {23, 29, 31, 37};
    for (int i = 0; i < miscSizes.size(); ++i) {
        QVERIFY(writeFile(miscFiles().at(i), miscSizes.at(i)));
    }
    QList<storage::CacheFileInfo> rows;
    for (const char *id : {"p1", "tp1", "f1", "v1", "m1"}) {
        rows.append({id, CONTENT_FILE, "bin", 1, BaseTime});
    }
    QVERIFY(m_account->storage()->cacheFileStorage()->save(rows));
}

void TestMediaStorageModel::cleanup()
{
    closeHub(m_hub);
    m_account.reset();
    m_dir.reset();
}

void TestMediaStorageModel::receive(const QString &dialogId, const QList<im::Message> &messages)
{
    QVERIFY(receiveMessages(m_account.get(), m_hub, dialogId, messages, true));
}

void TestMediaStorageModel::load()
{
    m_model->startLoading();
    QTRY_VERIFY(!m_model->atQuery());
}

// Lets every worker end and every result they posted arrive.
void TestMediaStorageModel::settle()
{
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::sendPostedEvents();
}

QList<storage::CacheFileInfo> TestMediaStorageModel::cacheRows() const
{
    return m_account->storage()->cacheFileStorage()->infosAfter(0, QString(), 100);
}

void TestMediaStorageModel::scanCreditsEveryFolder_data()
{
    QTest::addColumn<int>("dataType");
    QTest::addColumn<qint64>("bytes");
    QTest::newRow("images and thumbnails, partial download and link skipped")
            << int(Storage::DATA_IMAGE) << PhotoBytes + ThumbBytes;
    QTest::newRow("videos") << int(Storage::DATA_VIDEO) << VideoBytes;
    QTest::newRow("files") << int(Storage::DATA_FILE) << FileBytes;
    QTest::newRow("music") << int(Storage::DATA_MUSIC) << MusicBytes;
    QTest::newRow("avatars, top level only") << int(Storage::DATA_PHOTO) << AvatarBytes;
    QTest::newRow("stickers and custom emoji") << int(Storage::DATA_STICKER) << StickerBytes;
    QTest::newRow("voice and temporary folders") << int(Storage::DATA_MISCELLANEOUS) << MiscBytes;
    QTest::newRow("nothing is other") << int(Storage::DATA_OTHER) << qint64(0);
}

void TestMediaStorageModel::scanCreditsEveryFolder()
{
    QFETCH(int, dataType);
    QFETCH(qint64, bytes);
    QAbstractItemModelTester tester(m_model->mediaTotalSizeModel());
    QSignalSpy totalSpy(m_model, &MediaStorageModel::totalSizeChanged);
    load();
    QCOMPARE(m_model->mediaTotalSizeModel()->sizeOf(dataType), bytes);
    QCOMPARE(m_model->totalSize(), AllBytes);
    QCOMPARE(m_model->mediaTotalSizeModel()->totalSize(), AllBytes);
    QVERIFY(!m_model->mediaTotalSizeModel()->atQuery());
    QVERIFY(m_model->volumeSize() > 0);
    QVERIFY(totalSpy.count() >= 1);
}

void TestMediaStorageModel::scanAttributesFilesToDialogs()
{
    QSignalSpy loaded(m_hub, &MediaMgr::dialogSizeLoaded);
    MediaSizeModel *dialogA = m_model->dialogSizeModel("a");
    QAbstractItemModelTester tester(dialogA);
    QSignalSpy querying(dialogA, &MediaSizeBaseModel::atQueryChanged);
    load();
    QCOMPARE(querying.count(), 2);
    QCOMPARE(querying.at(0).at(0).toBool(), true);
    QCOMPARE(querying.at(1).at(0).toBool(), false);
    QCOMPARE(dialogA->sizeOf(Storage::DATA_IMAGE), PhotoBytes + ThumbBytes);
    QCOMPARE(dialogA->sizeOf(Storage::DATA_FILE), FileBytes);
    QCOMPARE(dialogA->totalSize(), DialogABytes);
    MediaSizeModel *dialogB = m_model->dialogSizeModel("b");
    QCOMPARE(dialogB->sizeOf(Storage::DATA_VIDEO), VideoBytes);
    QCOMPARE(dialogB->sizeOf(Storage::DATA_MUSIC), MusicBytes);
    QCOMPARE(dialogB->dialogId(), QStringLiteral("b"));
    QCOMPARE(m_model->dialogIds(), (QStringList {"b", "a"}));
    QCOMPARE(loaded.count(), 2);
    QMap<QString, qulonglong> sizes;
    for (const QList<QVariant> &args : std::as_const(loaded)) {
        sizes.insert(args.at(0).toString(), args.at(1).toULongLong());
    }
    QCOMPARE(sizes.value("a"), qulonglong(DialogABytes));
    QCOMPARE(sizes.value("b"), qulonglong(DialogBBytes));
}

void TestMediaStorageModel::systemDialogNeverQueried()
{
    MediaSizeModel *system = m_model->dialogSizeModel("sys");
    QSignalSpy querying(system, &MediaSizeBaseModel::atQueryChanged);
    m_model->startLoading();
    QVERIFY(m_model->dialogSizeModel("a")->atQuery());
    QVERIFY(!system->atQuery());
    QTRY_VERIFY(!m_model->atQuery());
    QCOMPARE(querying.count(), 0);
}

void TestMediaStorageModel::viewListsShowDialogResources()
{
    load();
    MediaStorageViewModel *media = m_model->mediaViewModel("a");
    QAbstractItemModelTester tester(media);
    QCOMPARE(media->rowCount(), 1);
    auto *photo = media->items().constFirst();
    QCOMPARE(photo->messageId(), 1);
    QCOMPARE(photo->size(), PhotoBytes);
    QCOMPARE(photo->name(), QStringLiteral("p1.jpg"));
    QCOMPARE(photo->sourcePath(), mainPath(CacheLayout::ImageKind, "p1.jpg"));
    QCOMPARE(photo->thumbPath(), mainPath(CacheLayout::ImageKind, "tp1.png"));
    QCOMPARE(photo->timestamp(), BaseTime + 1000);
    QCOMPARE(m_model->fileViewModel("a")->rowCount(), 1);
    QCOMPARE(m_model->musicViewModel("a")->rowCount(), 0);
    // The same list, refilled for the dialog asked for.
    QCOMPARE(m_model->mediaViewModel("b"), media);
    QCOMPARE(media->rowCount(), 1);
    QCOMPARE(media->items().constFirst()->type(), int(CONTENT_VIDEO));
    QCOMPARE(m_model->musicViewModel("b")->items().constFirst()->size(), MusicBytes);
}

void TestMediaStorageModel::loadDuringScanRunsOneMore()
{
    QSignalSpy querying(m_model, &MediaStorageModel::atQueryChanged);
    m_model->startLoading();
    m_model->startLoading();
    m_model->startLoading();
    QTRY_COMPARE(querying.count(), 4);
    QTRY_VERIFY(!m_model->atQuery());
    settle();
    QCOMPARE(querying.count(), 4);
    QCOMPARE(m_model->totalSize(), AllBytes);
    QCOMPARE(m_model->dialogSizeModel("a")->totalSize(), DialogABytes);
}

void TestMediaStorageModel::reloadStartsFreshScan()
{
    QSignalSpy querying(m_model, &MediaStorageModel::atQueryChanged);
    QSignalSpy loaded(m_hub, &MediaMgr::dialogSizeLoaded);
    m_model->startLoading();
    m_model->startLoading(true);
    QTRY_VERIFY(!m_model->atQuery());
    settle();
    // One scan's worth: the superseded scan's results never arrive.
    QCOMPARE(querying.count(), 2);
    QCOMPARE(loaded.count(), 2);
    QCOMPARE(m_model->totalSize(), AllBytes);
    QCOMPARE(m_model->mediaTotalSizeModel()->sizeOf(Storage::DATA_IMAGE), PhotoBytes + ThumbBytes);
    QCOMPARE(m_model->dialogSizeModel("b")->totalSize(), DialogBBytes);
}

void TestMediaStorageModel::deleteAllFilesEmptiesCache()
{
    load();
    MediaSizeBaseModel *totals = m_model->mediaTotalSizeModel();
    QAbstractItemModelTester tester(totals);
    QSignalSpy progress(m_model, &MediaStorageModel::clearProgressChanged);
    m_model->deleteAllFiles();
    QTRY_COMPARE(m_model->clearProgress(), 100);
    settle();
    QVERIFY(progress.count() >= 1);
    for (int type = Storage::DATA_IMAGE; type <= Storage::DATA_MISCELLANEOUS; ++type) {
        QCOMPARE(totals->sizeOf(type), 0);
    }
    QCOMPARE(totals->rowCount(), 0);
    QCOMPARE(m_model->totalSize(), 0);
    QCOMPARE(m_model->dialogSizeModel("a")->totalSize(), 0);
    QCOMPARE(m_model->dialogSizeModel("b")->totalSize(), 0);
    QVERIFY(m_model->dialogIds().isEmpty());
    for (const char *name : {"p1.jpg", "tp1.png"}) {
        QVERIFY(!QFile::exists(mainPath(CacheLayout::ImageKind, name)));
    }
    QVERIFY(!QFile::exists(mainPath(CacheLayout::MusicKind, "m1.mp3")));
    QVERIFY(!QFileInfo::exists(mainPath(CacheLayout::PhotoKind, QString())));
    QVERIFY(!QFileInfo::exists(AppDirManager::instance()->stickerDir()));
    QVERIFY(!QFileInfo::exists(AppDirManager::instance()->customEmojiDir()));
    for (const QString &path : miscFiles()) {
        QVERIFY2(!QFileInfo::exists(QFileInfo(path).path()), qPrintable(path));
    }
    QVERIFY(QFile::exists(mainPath(CacheLayout::ImageKind, "p9.jpg.cache")));
    QVERIFY(cacheRows().isEmpty());
}

void TestMediaStorageModel::deleteByDialogKeepsOtherDialogs()
{
    load();
    QSignalSpy stopped(m_model, &MediaStorageModel::clearProgressChanged);
    m_model->deleteAllFileByDialog({"a"});
    QTRY_COMPARE(m_model->clearProgress(), 100);
    settle();
    QVERIFY(!QFile::exists(mainPath(CacheLayout::ImageKind, "p1.jpg")));
    QVERIFY(!QFile::exists(mainPath(CacheLayout::ImageKind, "tp1.png")));
    QVERIFY(!QFile::exists(mainPath(CacheLayout::FileKind, "f1.pdf")));
    QVERIFY(QFile::exists(mainPath(CacheLayout::VideoKind, "v1.mp4")));
    QVERIFY(QFile::exists(mainPath(CacheLayout::MusicKind, "m1.mp3")));
    QCOMPARE(m_model->dialogSizeModel("a")->totalSize(), 0);
    QCOMPARE(m_model->dialogSizeModel("b")->totalSize(), DialogBBytes);
    QCOMPARE(m_model->totalSize(), AllBytes - DialogABytes);
    QCOMPARE(m_model->mediaTotalSizeModel()->sizeOf(Storage::DATA_IMAGE), 0);
    QCOMPARE(m_model->dialogIds(), QStringList {"b"});
    QCOMPARE(m_model->mediaViewModel("a")->rowCount(), 0);
    QStringList remaining;
    for (const storage::CacheFileInfo &row : cacheRows()) {
        remaining.append(row.fileId);
    }
    remaining.sort();
    QCOMPARE(remaining, (QStringList {"m1", "v1"}));
}

void TestMediaStorageModel::deleteDialogKind()
{
    load();
    m_model->deleteDialogFileByType("a", {Storage::DATA_FILE});
    QTRY_COMPARE(m_model->clearProgress(), 100);
    settle();
    QVERIFY(!QFile::exists(mainPath(CacheLayout::FileKind, "f1.pdf")));
    QVERIFY(QFile::exists(mainPath(CacheLayout::ImageKind, "p1.jpg")));
    QCOMPARE(m_model->dialogSizeModel("a")->totalSize(), PhotoBytes + ThumbBytes);
    QCOMPARE(m_model->fileViewModel("a")->rowCount(), 0);
    QCOMPARE(m_model->mediaViewModel("a")->rowCount(), 1);
}

// The scan cannot read which chats name the files: the sizes by kind stand, a deletion by chat
// is refused with a warning rather than reported done, and a deletion by kind still works.
void TestMediaStorageModel::unreadableChatsRefuseDeletionByChat()
{
    closeHub(m_hub);
    m_account.reset();
    QVERIFY(DamagedDatabase::damageRootPages(m_dir->filePath("account.db"),
                                             DamagedDatabase::fileReferencePages()));
    m_account = std::make_unique<AccountBase>(1, m_dir->path());
    QVERIFY(m_account->isValid());
    m_hub = new MediaMgr(m_account.get());
    m_model = m_hub->mediaStorageModel();

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("the chats of the cached files cannot"));
    load();
    QCOMPARE(m_model->mediaTotalSizeModel()->sizeOf(Storage::DATA_FILE), FileBytes);
    QVERIFY(m_model->dialogIds().isEmpty());

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("deletion by chat refused"));
    m_model->deleteAllFileByDialog({"a"});
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("deletion by chat refused"));
    m_model->deleteDialogFileByType("a", {Storage::DATA_FILE});
    settle();
    QVERIFY(QFile::exists(mainPath(CacheLayout::FileKind, "f1.pdf")));
    QVERIFY(QFile::exists(mainPath(CacheLayout::ImageKind, "p1.jpg")));

    m_model->deleteAllFileByType({Storage::DATA_FILE});
    QTRY_COMPARE(m_model->clearProgress(), 100);
    settle();
    QVERIFY(!QFile::exists(mainPath(CacheLayout::FileKind, "f1.pdf")));
    QVERIFY(QFile::exists(mainPath(CacheLayout::ImageKind, "p1.jpg")));
}

void TestMediaStorageModel::deleteByType_data()
{
    QTest::addColumn<int>("dataType");
    QTest::addColumn<QStringList>("gone");
    QTest::addColumn<QStringList>("kept");
    QTest::newRow("music files") << int(Storage::DATA_MUSIC) << QStringList {"music"}
                                 << QStringList {"video", "avatar", "sticker", "voice"};
    QTest::newRow("video files") << int(Storage::DATA_VIDEO) << QStringList {"video"}
                                 << QStringList {"music", "avatar"};
    QTest::newRow("avatar folder") << int(Storage::DATA_PHOTO) << QStringList {"avatar"}
                                   << QStringList {"music", "sticker"};
    QTest::newRow("sticker folders") << int(Storage::DATA_STICKER) << QStringList {"sticker"}
                                     << QStringList {"avatar", "voice"};
    QTest::newRow("voice and temporary folders")
            << int(Storage::DATA_MISCELLANEOUS) << QStringList {"voice"}
            << QStringList {"music", "video"};
}

QString TestMediaStorageModel::knownFile(const QString &name) const
{
    const QHash<QString, QString> paths {
            {"music", mainPath(CacheLayout::MusicKind, "m1.mp3")},
            {"video", mainPath(CacheLayout::VideoKind, "v1.mp4")},
            {"avatar", mainPath(CacheLayout::PhotoKind, "avatar.png")},
            {"sticker", AppDirManager::instance()->stickerDir() + "/pack/s.webp"},
            {"voice", miscFiles().constFirst()}};
    return paths.value(name);
}

void TestMediaStorageModel::deleteByType()
{
    QFETCH(int, dataType);
    QFETCH(QStringList, gone);
    QFETCH(QStringList, kept);
    load();
    const qint64 before = m_model->totalSize();
    const qint64 kindBytes = m_model->mediaTotalSizeModel()->sizeOf(dataType);
    QVERIFY(kindBytes > 0);
    m_model->deleteAllFileByType({dataType});
    QTRY_COMPARE(m_model->clearProgress(), 100);
    settle();
    for (const QString &name : gone) {
        QVERIFY2(!QFile::exists(knownFile(name)), qPrintable(name));
    }
    for (const QString &name : kept) {
        QVERIFY2(QFile::exists(knownFile(name)), qPrintable(name));
    }
    QCOMPARE(m_model->mediaTotalSizeModel()->sizeOf(dataType), 0);
    QCOMPARE(m_model->totalSize(), before - kindBytes);
}

void TestMediaStorageModel::deleteMediaItem()
{
    load();
    m_model->deleteMediaItem(nullptr);
    MediaStorageViewModel *media = m_model->mediaViewModel("a");
    QAbstractItemModelTester tester(media);
    m_model->deleteMediaItem(media->items().constFirst());
    QCOMPARE(media->rowCount(), 0);
    QVERIFY(!QFile::exists(mainPath(CacheLayout::ImageKind, "p1.jpg")));
    QVERIFY(!QFile::exists(mainPath(CacheLayout::ImageKind, "tp1.png")));
    QCOMPARE(m_model->mediaTotalSizeModel()->sizeOf(Storage::DATA_IMAGE), 0);
    QCOMPARE(m_model->dialogSizeModel("a")->totalSize(), FileBytes);
    QCOMPARE(m_model->totalSize(), AllBytes - PhotoBytes - ThumbBytes);
    QCOMPARE(cacheRows().size(), 3);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestMediaStorageModel::deleteSelectedDuringScan()
{
    load();
    m_model->changeSelected(m_model->fileViewModel("a")->items().constFirst());
    m_model->startLoading();
    QVERIFY(m_model->atQuery());
    m_model->deleteAllFiles();
    m_model->deleteAllFileByType({Storage::DATA_IMAGE});
    m_model->deleteAllFileByDialog({"a", "b"});
    m_model->deleteDialogFileByType("b", {Storage::DATA_MUSIC});
    m_model->deleteSelected();
    QCOMPARE(m_model->selectCount(), 0);
    QTRY_COMPARE(m_model->clearProgress(), 100);
    QTRY_VERIFY(!m_model->atQuery());
    settle();
    QVERIFY(!QFile::exists(mainPath(CacheLayout::FileKind, "f1.pdf")));
    QVERIFY(QFile::exists(mainPath(CacheLayout::ImageKind, "p1.jpg")));
    QVERIFY(QFile::exists(mainPath(CacheLayout::MusicKind, "m1.mp3")));
    QVERIFY(QFile::exists(mainPath(CacheLayout::PhotoKind, "avatar.png")));
}

// A file that cannot be deleted (its folder is read-only) stays: its row, its bytes in every size
// and its place in its dialog's list, whichever way it was to be deleted. The file beside it goes.
void TestMediaStorageModel::undeletableFileStaysListed()
{
    load();
    ReadOnlyFolder locked(QFileInfo(knownFile("music")).path());
    QVERIFY(locked.isLocked());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("could not be deleted"));
    m_model->deleteAllFileByDialog({"b"});
    QTRY_COMPARE(m_model->clearProgress(), 100);
    settle();
    QVERIFY(!QFile::exists(knownFile("video")));
    QVERIFY(QFile::exists(knownFile("music")));
    QCOMPARE(m_model->dialogSizeModel("b")->totalSize(), MusicBytes);
    QCOMPARE(m_model->mediaTotalSizeModel()->sizeOf(Storage::DATA_MUSIC), MusicBytes);
    QCOMPARE(m_model->totalSize(), AllBytes - VideoBytes);
    QCOMPARE(m_model->dialogIds(), (QStringList {"b", "a"}));
    QStringList remaining;
    for (const storage::CacheFileInfo &row : cacheRows()) {
        remaining.append(row.fileId);
    }
    remaining.sort();
    QCOMPARE(remaining, (QStringList {"f1", "m1", "p1", "tp1"}));

    MediaStorageViewModel *music = m_model->musicViewModel("b");
    QCOMPARE(music->rowCount(), 1);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("could not be deleted"));
    m_model->deleteMediaItem(music->items().constFirst());
    QCOMPARE(music->rowCount(), 1);
    QCOMPARE(m_model->dialogSizeModel("b")->totalSize(), MusicBytes);
    QCOMPARE(cacheRows().size(), 4);
}

void TestMediaStorageModel::selectionCounts()
{
    load();
    QSignalSpy countSpy(m_model, &MediaStorageModel::selectCountChanged);
    QSignalSpy sizeSpy(m_model, &MediaStorageModel::selectSizeChanged);
    MediaContentItem *photo = m_model->mediaViewModel("a")->items().constFirst();
    MediaContentItem *file = m_model->fileViewModel("a")->items().constFirst();
    m_model->changeSelected(photo);
    m_model->changeSelected(file);
    QCOMPARE(m_model->selectCount(), 2);
    QCOMPARE(m_model->selectSize(), PhotoBytes + FileBytes);
    QVERIFY(m_model->isSelected(photo));
    m_model->changeSelected(photo);
    QVERIFY(!m_model->isSelected(photo));
    QCOMPARE(m_model->selectSize(), FileBytes);
    QCOMPARE(countSpy.count(), 3);
    QCOMPARE(sizeSpy.count(), 3);
    m_model->clearSelected();
    m_model->clearSelected();
    QCOMPARE(countSpy.count(), 4);
    QCOMPARE(m_model->selectSize(), 0);

    QSignalSpy dialogSizeSpy(m_model, &MediaStorageModel::selectDlgSizeChanged);
    m_model->changeDlgSelected("a");
    m_model->changeDlgSelected("b");
    QCOMPARE(m_model->selectDlgCount(), 2);
    QCOMPARE(m_model->selectDlgSize(), DialogABytes + DialogBBytes);
    QVERIFY(m_model->dialogSelected("b"));
    m_model->changeDlgSelected("b");
    QVERIFY(!m_model->dialogSelected("b"));
    QCOMPARE(m_model->selectDlgSize(), DialogABytes);
    QCOMPARE(dialogSizeSpy.count(), 3);
}

void TestMediaStorageModel::removedMessageLeavesDialog()
{
    load();
    MediaStorageViewModel *media = m_model->mediaViewModel("a");
    m_hub->removeResource("a", QList<qint64> {1}, true);
    QCOMPARE(media->rowCount(), 0);
    QCOMPARE(m_model->dialogSizeModel("a")->totalSize(), FileBytes);
    QCOMPARE(m_model->fileViewModel("a")->rowCount(), 1);
    QCOMPARE(m_model->dialogSizeModel("b")->totalSize(), DialogBBytes);
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestMediaStorageModel::clearAllRefusesDeletes()
{
    load();
    m_model->clearAll();
    QCOMPARE(m_model->totalSize(), 0);
    QVERIFY(m_model->dialogIds().isEmpty());
    QVERIFY(!m_model->atQuery());
    m_model->deleteAllFiles();
    m_model->deleteSelected();
    settle();
    QCOMPARE(m_model->clearProgress(), 0);
    QVERIFY(QFile::exists(mainPath(CacheLayout::MusicKind, "m1.mp3")));
    load();
    QCOMPARE(m_model->totalSize(), AllBytes);
    m_model->deleteAllFileByType({Storage::DATA_MUSIC});
    QTRY_COMPARE(m_model->clearProgress(), 100);
    QVERIFY(!QFile::exists(mainPath(CacheLayout::MusicKind, "m1.mp3")));
}

void TestMediaStorageModel::teardownDuringScan()
{
    m_model->startLoading();
    m_model->startLoading(true);
    closeHub(m_hub);
    m_hub = new MediaMgr(m_account.get());
    m_model = m_hub->mediaStorageModel();
    QVERIFY(!m_model->atQuery());
}

QTEST_GUILESS_MAIN(TestMediaStorageModel)
#include "tst_mediastoragemodel.moc"
