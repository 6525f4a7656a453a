#include "accountbase.h"
#include "accountsettingmodel.h"
#include "appdirmanager.h"
#include "appsettingmodel.h"
#include "bufferfilestorage.h"
#include "cachefilestorage.h"
#include "cachelayout.h"
#include "clockedaccount.h"
#include "constants.h"
#include "contenttype.h"
#include "damageddatabase.h"
#include "filereferencestorage.h"
#include "filestorage.h"
#include "hubteardown.h"
#include "keepmediasettingstorage.h"
#include "mediaexpiry.h"
#include "mediakeepsetting.h"
#include "mediamgr.h"
#include "readonlyfolder.h"
#include "resourcedata.h"
#include "userstorageprovider.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr qint64 Now = 1'700'000'000'000;
constexpr qint64 FileSize = 100;

qint64 daysAgo(double days)
{
    return Now - qint64(days * ONE_DAY_MSEC);
}

// A second connection to the account database that holds its write lock: a cleanup's first row
// removal waits for it, so a cleanup with a file to delete cannot end before release().
class WriteLock
{
public:
    explicit WriteLock(const QString &databasePath)
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), Name);
        db.setDatabaseName(databasePath);
        m_ok = db.open() && QSqlQuery(db).exec(QStringLiteral("BEGIN IMMEDIATE"));
    }
    ~WriteLock()
    {
        release();
        QSqlDatabase::removeDatabase(Name);
    }
    bool isHeld() const { return m_ok; }
    void release()
    {
        if (m_ok) {
            QSqlQuery(QSqlDatabase::database(Name, false)).exec(QStringLiteral("COMMIT"));
            m_ok = false;
        }
        QSqlDatabase::database(Name, false).close();
    }

private:
    static inline const QString Name = QStringLiteral("write_lock");
    bool m_ok = false;
};

} // namespace

// The cleanups of the media cache: the expiry by the dialogs' keep times and by the cache size
// limit that clearLocalMedia starts, and the cleanup when the application loses focus. Real
// account database, real files in the account's cache folders.
class TestMediaExpiry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void expiresByEachChatsKeepTime_data();
    void expiresByEachChatsKeepTime();
    void thumbnailGoesWithItsChat();
    void livePhotoVideoKeptByItsChat_data();
    void livePhotoVideoKeptByItsChat();
    void undeletableFileKeepsItsRow();
    void sizeLimitEvictsOldestFirst();
    void clearWhileRunningStartsNothing();
    void prepareToClearCancelsLongExpiry();
    void deletingHubCancelsExpiry();
    void cancelBetweenRowsKeepsRowsOfFilesLeft();
    void progressCountsRowsAndBytes();
    void unreadableReferencesStopThePass();
    void unreadableKeepTimesStopThePass();
    void reconcilesTheCacheFirst();

    void focusLossCleansFocusChats_data();
    void focusLossCleansFocusChats();
    void becomingActiveDoesNothing();
    void losingFocusTwiceStartsOneCleanup();

private:
    void setKeepTimes(int privateKeepTime, int groupKeepTime, const QMap<QString, int> &own);
    // A cached file of type, named by the message rows of the dialogs, with a thumbnail when
    // thumbId is given and a live-photo video when livePhotoId is.
    void addFile(const QString &fileId, int type, qint64 dateTime, const QStringList &dialogIds,
                 const QString &thumbId = QString(), const QString &livePhotoId = QString());
    void addExpiredFiles(QList<storage::CacheFileInfo> &rows);
    void writeFile(int type, const QString &fileId);
    bool onDisk(int type, const QString &fileId) const;
    bool hasRow(const QString &fileId) const;
    void addTempFile();
    void runCleanup();
    // Closes the account, damages the pages of the tables and indexes named, and opens it again.
    void reopenDamaged(const QStringList &objects);

    QTemporaryDir m_appDir;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ClockedAccount> m_account;
    MediaMgr *m_hub = nullptr; // child of the account
    qint64 m_nextMessageId = 1;
};

void TestMediaExpiry::initTestCase()
{
    QVERIFY(m_appDir.isValid());
    AppDirManager::instance()->setDataDir(m_appDir.path());
    AppSettingModel::instance()->reload();
}

void TestMediaExpiry::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_account = std::make_unique<ClockedAccount>(1, m_dir->path());
    QVERIFY(m_account->isValid());
    for (const char *id : {"p", "pf", "pl"}) {
        QVERIFY(m_account->storeDialog(id, id, DIALOG_PRIVATE, Now));
    }
    for (const char *id : {"g", "gx"}) {
        QVERIFY(m_account->storeDialog(id, id, DIALOG_GROUP, Now));
    }
    m_hub = new MediaMgr(m_account.get());
    m_hub->initConnection();
}

void TestMediaExpiry::cleanup()
{
    if (m_hub) {
        closeHub(m_hub);
    }
    m_hub = nullptr;
    AppSettingModel::instance()->setLocalCacheMaxSize(0);
    m_account.reset();
    m_dir.reset();
}

void TestMediaExpiry::setKeepTimes(int privateKeepTime, int groupKeepTime,
                                   const QMap<QString, int> &own)
{
    m_account->accountSettingModel()->setPrivateKeepTime(privateKeepTime);
    m_account->accountSettingModel()->setGroupKeepTime(groupKeepTime);
    for (auto it = own.cbegin(); it != own.cend(); ++it) {
        QVERIFY(m_account->storage()->keepMediaSettingStorage()->save({it.key(), it.value()}));
    }
    m_hub->loadLocalData(false);
}

void TestMediaExpiry::addFile(const QString &fileId, int type, qint64 dateTime,
                              const QStringList &dialogIds, const QString &thumbId,
                              const QString &livePhotoId)
{
    writeFile(type, fileId);
    QList<storage::CacheFileInfo> cacheRows {{fileId, type, "bin", FileSize, dateTime}};
    ResourceData data;
    data.fileId = fileId;
    data.suffix = "bin";
    data.size = FileSize;
    // The thumbnail or the live-photo video, cached in the folder of its own type.
    const auto addCompanion = [&](const QString &id, int companionType, QString &recordId,
                                  QString &recordSuffix, qint64 &recordSize) {
        if (id.isEmpty()) {
            return;
        }
        writeFile(companionType, id);
        cacheRows.append({id, companionType, "bin", FileSize, dateTime});
        recordId = id;
        recordSuffix = "bin";
        recordSize = FileSize;
    };
    addCompanion(thumbId, CONTENT_PHOTO, data.thumbId, data.thumbSuffix, data.thumbSize);
    addCompanion(livePhotoId, CONTENT_VIDEO, data.livePhotoId, data.livePhotoSuffix,
                 data.livePhotoSize);
    QVERIFY(m_account->storage()->cacheFileStorage()->save(cacheRows));
    QByteArray json;
    data.serialize(json);
    // As ingest writes them: the thumbnail names the row, else the live-photo video.
    const QString namedThumbId = thumbId.isEmpty() ? livePhotoId : thumbId;
    QList<storage::FileReferenceInfo> refs;
    for (const QString &dialogId : dialogIds) {
        refs.append({dialogId, m_nextMessageId++, 0, type, dateTime, namedThumbId, fileId, json});
    }
    QVERIFY(m_hub->fileReferenceDb()->save(refs));
}

void TestMediaExpiry::writeFile(int type, const QString &fileId)
{
    QDir().mkpath(m_hub->mediaBaseDir(type));
    QFile file(m_hub->mediaBaseDir(type) + fileId + ".bin");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(FileSize, 'x'));
}

bool TestMediaExpiry::onDisk(int type, const QString &fileId) const
{
    return QFile::exists(m_hub->mediaBaseDir(type) + fileId + ".bin");
}

bool TestMediaExpiry::hasRow(const QString &fileId) const
{
    return !m_account->storage()->cacheFileStorage()->infosWithFileIds({fileId}).isEmpty();
}

// A temporary file: what every finished expiry deletes last.
void TestMediaExpiry::addTempFile()
{
    QVERIFY(m_account->storage()->bufferFileStorage()->save(
            {{"tmp", CacheLayout::TempCategory, CacheLayout::FileKind, "bin", 10, Now}}));
}

void TestMediaExpiry::runCleanup()
{
    m_hub->clearLocalMedia();
    QThreadPool::globalInstance()->waitForDone();
}

void TestMediaExpiry::expiresByEachChatsKeepTime_data()
{
    QTest::addColumn<QStringList>("dialogIds");
    QTest::addColumn<double>("ageDays");
    QTest::addColumn<bool>("expired");

    // p private (7 days), pf private kept for ever, pl private until focus loss, g group
    // (30 days), gx group kept one day.
    QTest::newRow("private older than a week") << QStringList {"p"} << 8.0 << true;
    QTest::newRow("private within a week") << QStringList {"p"} << 6.9 << false;
    QTest::newRow("group within a month") << QStringList {"g"} << 29.0 << false;
    QTest::newRow("group older than a month") << QStringList {"g"} << 31.0 << true;
    QTest::newRow("one-day group two days old") << QStringList {"gx"} << 2.0 << true;
    QTest::newRow("one-day group half a day old") << QStringList {"gx"} << 0.5 << false;
    QTest::newRow("private kept for ever") << QStringList {"pf"} << 400.0 << false;
    QTest::newRow("private kept until focus loss") << QStringList {"pl"} << 400.0 << false;
    QTest::newRow("shared, the group still keeps it") << QStringList {"p", "g"} << 10.0 << false;
    QTest::newRow("shared, every chat lets go") << QStringList {"p", "gx"} << 8.0 << true;
    QTest::newRow("shared with a chat keeping for ever")
            << QStringList {"g", "pf"} << 90.0 << false;
    QTest::newRow("no chat names it, past the shortest") << QStringList() << 1.5 << true;
    QTest::newRow("no chat names it, within the shortest") << QStringList() << 0.5 << false;
}

void TestMediaExpiry::expiresByEachChatsKeepTime()
{
    QFETCH(QStringList, dialogIds);
    QFETCH(double, ageDays);
    QFETCH(bool, expired);

    setKeepTimes(7, 30, {{"pf", -1}, {"pl", -2}, {"gx", 1}});
    addFile("f", CONTENT_FILE, daysAgo(ageDays), dialogIds);
    // A neighbour on either side of the cut-off shows the walk covers the whole table.
    addFile("oldest", CONTENT_VIDEO, daysAgo(500), {"p"});
    addFile("newest", CONTENT_VOICE, Now, {"gx"});
    addTempFile();
    runCleanup();

    QCOMPARE(!onDisk(CONTENT_FILE, "f"), expired);
    QCOMPARE(!hasRow("f"), expired);
    QVERIFY(!onDisk(CONTENT_VIDEO, "oldest") && !hasRow("oldest"));
    QVERIFY(onDisk(CONTENT_VOICE, "newest") && hasRow("newest"));
    QVERIFY(m_account->storage()->bufferFileStorage()->infos(10).isEmpty());
    // The messages still name their files: only the local copies go.
    QCOMPARE(m_hub->fileReferenceDb()->infosWithFileIds({"f"}).size(), dialogIds.size());
}

void TestMediaExpiry::thumbnailGoesWithItsChat()
{
    setKeepTimes(7, 30, {});
    addFile("old", CONTENT_PHOTO, daysAgo(8), {"p"}, "old_t");
    addFile("young", CONTENT_PHOTO, daysAgo(8), {"g"}, "young_t");
    runCleanup();
    QVERIFY(!onDisk(CONTENT_PHOTO, "old") && !onDisk(CONTENT_PHOTO, "old_t"));
    QVERIFY(!hasRow("old_t"));
    QVERIFY(onDisk(CONTENT_PHOTO, "young") && onDisk(CONTENT_PHOTO, "young_t"));
    QVERIFY(hasRow("young_t"));
}

void TestMediaExpiry::livePhotoVideoKeptByItsChat_data()
{
    QTest::addColumn<QString>("dialogId");
    QTest::addColumn<bool>("withThumbnail");
    QTest::addColumn<bool>("expired");
    // p keeps a week, pf for ever; the week makes the shortest keep time finite.
    QTest::newRow("chat keeping for ever, with a thumbnail") << "pf" << true << false;
    QTest::newRow("chat keeping for ever, without a thumbnail") << "pf" << false << false;
    QTest::newRow("chat past its week, with a thumbnail") << "p" << true << true;
    QTest::newRow("chat past its week, without a thumbnail") << "p" << false << true;
}

// The video of a live photo is its resource's, whether or not a thumbnail stands in the
// reference row's place for it: it goes when its chat's keep time lets it go.
void TestMediaExpiry::livePhotoVideoKeptByItsChat()
{
    QFETCH(QString, dialogId);
    QFETCH(bool, withThumbnail);
    QFETCH(bool, expired);
    setKeepTimes(7, 30, {{"pf", -1}});
    addFile("live", CONTENT_PHOTO, daysAgo(60), {dialogId}, withThumbnail ? "live_t" : QString(),
            "live_v");
    runCleanup();
    QCOMPARE(!onDisk(CONTENT_PHOTO, "live"), expired);
    QCOMPARE(!onDisk(CONTENT_VIDEO, "live_v"), expired);
    QCOMPARE(!hasRow("live_v"), expired);
}

// A file that cannot be deleted keeps its row, and the pass counts only what it deleted.
void TestMediaExpiry::undeletableFileKeepsItsRow()
{
    setKeepTimes(7, 7, {});
    addFile("stuck", CONTENT_FILE, daysAgo(20), {"p"});
    addFile("freed", CONTENT_VIDEO, daysAgo(20), {"p"});
    ReadOnlyFolder locked(m_hub->mediaBaseDir(CONTENT_FILE));
    QVERIFY(locked.isLocked());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("could not be deleted"));
    MediaExpiry expiry(m_hub->cacheContext(), MediaExpiry::limitsAt(m_hub->cacheContext(), Now));
    const MediaExpiry::Summary summary = expiry.run();
    QCOMPARE(summary.files, 1);
    QCOMPARE(summary.bytes, FileSize);
    QVERIFY(onDisk(CONTENT_FILE, "stuck") && hasRow("stuck"));
    QVERIFY(!onDisk(CONTENT_VIDEO, "freed") && !hasRow("freed"));
}

// The limit's change starts the cleanup at once; ages alone keep everything here.
void TestMediaExpiry::sizeLimitEvictsOldestFirst()
{
    setKeepTimes(-1, -1, {});
    for (int i = 0; i < 10; ++i) {
        addFile(QStringLiteral("s%1").arg(i), CONTENT_FILE, daysAgo(10 - i), {"p"});
    }
    AppSettingModel::instance()->setLocalCacheMaxSize(6 * FileSize + FileSize / 2);
    QThreadPool::globalInstance()->waitForDone();

    for (int i = 0; i < 10; ++i) {
        const QString id = QStringLiteral("s%1").arg(i);
        QCOMPARE(onDisk(CONTENT_FILE, id), i >= 4);
        QCOMPARE(hasRow(id), i >= 4);
    }
    QCOMPARE(m_account->storage()->cacheFileStorage()->totalSize(), 6 * FileSize);

    // Within the limit, nothing more goes.
    m_account->now += 2 * ONE_DAY_MSEC;
    runCleanup();
    QCOMPARE(m_account->storage()->cacheFileStorage()->count(), 6);
}

void TestMediaExpiry::clearWhileRunningStartsNothing()
{
    setKeepTimes(7, 7, {});
    addFile("old", CONTENT_FILE, daysAgo(20), {"p"});
    QSignalSpy cleared(m_hub, &MediaMgr::localMediaCleared);
    WriteLock lock(m_dir->filePath("account.db"));
    QVERIFY(lock.isHeld());
    m_hub->clearLocalMedia();
    m_account->now += 2 * ONE_DAY_MSEC;
    m_hub->clearLocalMedia();
    m_hub->getNewData();
    AppSettingModel::instance()->setLocalCacheMaxSize(1);
    lock.release();
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::sendPostedEvents();

    QCOMPARE(cleared.count(), 1);
    QVERIFY(!onDisk(CONTENT_FILE, "old") && !hasRow("old"));
    // Once it has ended, the next request runs.
    runCleanup();
    QCoreApplication::sendPostedEvents();
    QCOMPARE(cleared.count(), 2);
}

void TestMediaExpiry::addExpiredFiles(QList<storage::CacheFileInfo> &rows)
{
    constexpr int Count = 3000;
    for (int i = 0; i < Count; ++i) {
        const QString id = QStringLiteral("e%1").arg(i, 5, 10, QLatin1Char('0'));
        writeFile(CONTENT_FILE, id);
        rows.append({id, CONTENT_FILE, "bin", FileSize, daysAgo(30) + i});
    }
    QVERIFY(m_account->storage()->cacheFileStorage()->save(rows));
    addTempFile();
}

void TestMediaExpiry::prepareToClearCancelsLongExpiry()
{
    setKeepTimes(1, 1, {});
    QList<storage::CacheFileInfo> rows;
    addExpiredFiles(rows);

    m_hub->clearLocalMedia();
    m_hub->prepareToClearData(false);

    // Stopped: the temporary files, deleted only by a finished pass, are still there ...
    QCOMPARE(m_account->storage()->bufferFileStorage()->infos(10).size(), 1);
    // ... some expired files were left, and each file left still has its row and no other.
    int left = 0;
    for (const storage::CacheFileInfo &row : std::as_const(rows)) {
        const bool exists = onDisk(CONTENT_FILE, row.fileId);
        QCOMPARE(hasRow(row.fileId), exists);
        left += exists ? 1 : 0;
    }
    QVERIFY(left > 0);
    // And no cleanup starts any more.
    runCleanup();
    QCOMPARE(m_account->storage()->cacheFileStorage()->count(), left);
}

// A host that deletes the hub without preparing it first does not wait for a whole pass.
void TestMediaExpiry::deletingHubCancelsExpiry()
{
    setKeepTimes(1, 1, {});
    QList<storage::CacheFileInfo> rows;
    addExpiredFiles(rows);

    m_hub->clearLocalMedia();
    delete m_hub;
    m_hub = nullptr;

    QCOMPARE(m_account->storage()->bufferFileStorage()->infos(10).size(), 1);
    QVERIFY(m_account->storage()->cacheFileStorage()->count() > 0);
}

void TestMediaExpiry::cancelBetweenRowsKeepsRowsOfFilesLeft()
{
    setKeepTimes(1, 1, {});
    for (int i = 0; i < 120; ++i) {
        addFile(QStringLiteral("c%1").arg(i, 3, 10, QLatin1Char('0')), CONTENT_FILE,
                daysAgo(10) + i, {"p"});
    }
    MediaExpiry expiry(m_hub->cacheContext(), MediaExpiry::limitsAt(m_hub->cacheContext(), Now));
    int asked = 0;
    expiry.setCancel([&asked] { return ++asked > 70; });
    const MediaExpiry::Summary summary = expiry.run();

    // Stopped in the second page: the oldest files are gone, with exactly their rows.
    QVERIFY(summary.bCancelled);
    QVERIFY2(summary.files > 50 && summary.files < 120, qPrintable(QString::number(summary.files)));
    QCOMPARE(summary.bytes, summary.files * FileSize);
    for (int i = 0; i < 120; ++i) {
        const QString id = QStringLiteral("c%1").arg(i, 3, 10, QLatin1Char('0'));
        QCOMPARE(onDisk(CONTENT_FILE, id), i >= summary.files);
        QCOMPARE(hasRow(id), i >= summary.files);
    }
}

void TestMediaExpiry::progressCountsRowsAndBytes()
{
    setKeepTimes(7, 7, {});
    for (int i = 0; i < 120; ++i) {
        addFile(QStringLiteral("r%1").arg(i, 3, 10, QLatin1Char('0')), CONTENT_FILE,
                i < 60 ? daysAgo(30) + i : daysAgo(1) + i, {"p"});
    }
    MediaExpiry::Limits limits = MediaExpiry::limitsAt(m_hub->cacheContext(), Now);
    limits.sizeLimit = 40 * FileSize;
    MediaExpiry expiry(m_hub->cacheContext(), limits);
    QList<MediaExpiry::Progress> reports;
    expiry.setProgress([&reports](const MediaExpiry::Progress &p) { reports.append(p); });
    const MediaExpiry::Summary summary = expiry.run();

    QVERIFY(!summary.bCancelled);
    QCOMPARE(summary.files, 80);
    QCOMPARE(summary.bytes, 80 * FileSize);
    QVERIFY(!reports.isEmpty());
    qint64 lastDone = 0;
    for (const MediaExpiry::Progress &p : std::as_const(reports)) {
        if (p.stage == MediaExpiry::AgeStage) {
            QCOMPARE(p.total, 120);
            QVERIFY(p.done >= lastDone && p.done <= p.total);
            lastDone = p.done;
        }
    }
    const MediaExpiry::Progress last = reports.constLast();
    QCOMPARE(last.stage, MediaExpiry::SizeStage);
    QCOMPARE(last.total, 20 * FileSize);
    QCOMPARE(last.done, last.total);
}

void TestMediaExpiry::reopenDamaged(const QStringList &objects)
{
    closeHub(m_hub);
    m_hub = nullptr;
    const QString folder = m_account->folder();
    m_account.reset();
    QVERIFY(DamagedDatabase::damageRootPages(folder + QStringLiteral("/account.db"), objects));
    m_account = std::make_unique<ClockedAccount>(1, folder);
    QVERIFY(m_account->isValid());
    m_hub = new MediaMgr(m_account.get());
    m_hub->initConnection();
    m_hub->loadLocalData(false);
}

// Which chats name a file cannot be read: a failure, never "no chat", which would let the file go
// at the cut-off whatever its chats keep.
void TestMediaExpiry::unreadableReferencesStopThePass()
{
    setKeepTimes(7, -1, {});
    for (int i = 0; i < 30; ++i) {
        addFile(QStringLiteral("g%1").arg(i), CONTENT_FILE, daysAgo(60), {"g"});
        addFile(QStringLiteral("p%1").arg(i), CONTENT_FILE, daysAgo(60), {"p"});
    }
    addTempFile();
    reopenDamaged(DamagedDatabase::fileReferencePages());

    MediaExpiry expiry(m_hub->cacheContext(), MediaExpiry::limitsAt(m_hub->cacheContext(), Now));
    const MediaExpiry::Summary summary = expiry.run();
    QVERIFY(summary.bFailed);
    QCOMPARE(summary.files, 0);
    for (int i = 0; i < 30; ++i) {
        QVERIFY(onDisk(CONTENT_FILE, QStringLiteral("g%1").arg(i)));
        QVERIFY(hasRow(QStringLiteral("g%1").arg(i)));
    }

    // The hub's cleanup stops the same way: it does not go on to the temporary files, nor tell
    // that it ran.
    QSignalSpy cleared(m_hub, &MediaMgr::localMediaCleared);
    runCleanup();
    QCoreApplication::sendPostedEvents();
    QCOMPARE(cleared.count(), 0);
    QCOMPARE(m_account->storage()->bufferFileStorage()->infos(10).size(), 1);
    QCOMPARE(m_account->storage()->cacheFileStorage()->count(), 60);
}

// A dialog's own keep time that cannot be read may be "for ever": its files must not go by the
// default of its kind.
void TestMediaExpiry::unreadableKeepTimesStopThePass()
{
    setKeepTimes(7, 30, {{"pf", -1}});
    addFile("kept", CONTENT_FILE, daysAgo(60), {"pf"});
    reopenDamaged({QStringLiteral("keep_media_setting")});
    QVERIFY(m_hub->mediaKeepSetting()->hasUnreadKeepTimes());

    MediaExpiry expiry(m_hub->cacheContext(), MediaExpiry::limitsAt(m_hub->cacheContext(), Now));
    QVERIFY(expiry.run().bFailed);
    QVERIFY(onDisk(CONTENT_FILE, "kept"));
    QVERIFY(hasRow("kept"));
}

// A copy that a crash left without its row expires like any other; a row whose file is gone is
// dropped and frees nothing; a file no record names as it lies is deleted.
void TestMediaExpiry::reconcilesTheCacheFirst()
{
    setKeepTimes(7, 30, {});
    addFile("expired", CONTENT_FILE, daysAgo(20), {"p"});
    addFile("gone", CONTENT_FILE, daysAgo(20), {"p"});
    QVERIFY(QFile::remove(m_hub->mediaBaseDir(CONTENT_FILE) + "gone.bin"));
    writeFile(CONTENT_FILE, "unrecorded");
    writeFile(CONTENT_FILE, "stray");
    storage::FileRecord record;
    record.fileId = "unrecorded";
    record.type = CONTENT_FILE;
    record.suffix = "bin";
    record.size = FileSize;
    QVERIFY(m_account->storage()->fileStorage()->save({record}));
    const QDateTime old = QDateTime::fromMSecsSinceEpoch(daysAgo(20));
    QFile unrecorded(m_hub->mediaBaseDir(CONTENT_FILE) + "unrecorded.bin");
    QVERIFY(unrecorded.open(QIODevice::ReadWrite));
    QVERIFY(unrecorded.setFileTime(old, QFileDevice::FileModificationTime));
    unrecorded.close();

    MediaExpiry::Limits limits = MediaExpiry::limitsAt(m_hub->cacheContext(), Now);
    limits.cutOff = -1; // the reconciliation alone
    const MediaExpiry::Summary reconciled = MediaExpiry(m_hub->cacheContext(), limits).run();
    QVERIFY(!reconciled.bFailed);
    QCOMPARE(reconciled.reconciled.adopted, 1);
    QCOMPARE(reconciled.reconciled.removed, 1);
    QCOMPARE(reconciled.reconciled.droppedRows, 1);
    QCOMPARE(reconciled.files, 0);
    QVERIFY(hasRow("unrecorded"));
    QVERIFY(!hasRow("gone"));
    QVERIFY(!onDisk(CONTENT_FILE, "stray"));
    const QList<storage::CacheFileInfo> adopted =
            m_account->storage()->cacheFileStorage()->infosWithFileIds({"unrecorded"});
    QCOMPARE(adopted.value(0).size, FileSize);
    QCOMPARE(adopted.value(0).dateTime, old.toMSecsSinceEpoch());

    // No chat names the adopted copy, so it goes at the cut-off; only the two files on disk
    // count.
    const MediaExpiry::Summary summary =
            MediaExpiry(m_hub->cacheContext(), MediaExpiry::limitsAt(m_hub->cacheContext(), Now))
                    .run();
    QCOMPARE(summary.files, 2);
    QCOMPARE(summary.bytes, 2 * FileSize);
    QVERIFY(!onDisk(CONTENT_FILE, "unrecorded") && !onDisk(CONTENT_FILE, "expired"));
}

void TestMediaExpiry::focusLossCleansFocusChats_data()
{
    QTest::addColumn<int>("privateKeepTime");
    QTest::addColumn<int>("groupKeepTime");
    QTest::addColumn<QStringList>("cleaned");

    QTest::newRow("no default on focus loss") << 7 << 30 << QStringList();
    QTest::newRow("private default on focus loss") << -2 << 30 << QStringList {"p", "pl"};
    QTest::newRow("group default on focus loss") << 7 << -2 << QStringList {"g", "pl"};
}

// pl keeps media until focus loss by its own setting, pf for ever; a file shared between p and g
// goes only when both let go.
void TestMediaExpiry::focusLossCleansFocusChats()
{
    QFETCH(int, privateKeepTime);
    QFETCH(int, groupKeepTime);
    QFETCH(QStringList, cleaned);

    setKeepTimes(privateKeepTime, groupKeepTime, {{"pl", -2}, {"pf", -1}});
    for (const char *dialogId : {"p", "pl", "pf", "g"}) {
        const QString id = QLatin1String(dialogId);
        addFile("src_" + id, CONTENT_PHOTO, Now, {id}, "thumb_" + id);
    }
    addFile("shared", CONTENT_FILE, Now, {"p", "g"});
    m_hub->onAppIsActive(false);
    QThreadPool::globalInstance()->waitForDone();

    for (const char *dialogId : {"p", "pl", "pf", "g"}) {
        const QString id = QLatin1String(dialogId);
        const bool gone = cleaned.contains(id);
        QCOMPARE(!onDisk(CONTENT_PHOTO, "src_" + id), gone);
        QCOMPARE(!onDisk(CONTENT_PHOTO, "thumb_" + id), gone);
        QCOMPARE(!hasRow("src_" + id), gone);
        QCOMPARE(!hasRow("thumb_" + id), gone);
    }
    QVERIFY(onDisk(CONTENT_FILE, "shared"));
}

void TestMediaExpiry::becomingActiveDoesNothing()
{
    setKeepTimes(-2, -2, {});
    addFile("kept", CONTENT_PHOTO, Now, {"p"}, "kept_t");
    m_hub->onAppIsActive(true);
    QThreadPool::globalInstance()->waitForDone();
    QVERIFY(onDisk(CONTENT_PHOTO, "kept") && onDisk(CONTENT_PHOTO, "kept_t"));
    QVERIFY(hasRow("kept"));
}

void TestMediaExpiry::losingFocusTwiceStartsOneCleanup()
{
    setKeepTimes(-2, 30, {});
    addFile("first", CONTENT_FILE, Now, {"p"});
    QSignalSpy cleared(m_hub, &MediaMgr::focusLostMediaCleared);
    WriteLock lock(m_dir->filePath("account.db"));
    QVERIFY(lock.isHeld());
    m_hub->onAppIsActive(false);
    m_hub->onAppIsActive(true);
    m_hub->onAppIsActive(false);
    lock.release();
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::sendPostedEvents();

    QCOMPARE(cleared.count(), 1);
    QVERIFY(!onDisk(CONTENT_FILE, "first") && !hasRow("first"));
    m_hub->onAppIsActive(false);
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::sendPostedEvents();
    QCOMPARE(cleared.count(), 2);
}

QTEST_GUILESS_MAIN(TestMediaExpiry)
#include "tst_mediaexpiry.moc"
