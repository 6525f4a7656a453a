#include "accountbase.h"
#include "accountmanager.h"
#include "accountsettingmodel.h"
#include "cachelayout.h"
#include "constants.h"
#include "jsonutil.h"
#include "mediactlrun.h"
#include "sampleaccount.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QUrl>
#include <QtTest>

namespace {

constexpr int kProcessTimeoutMs = 120000;
// The kills of each command, at moments spread evenly over an uninterrupted run of it from the
// same state. A kill lands at a moment that moves with the machine's load; every moment must leave
// an account the next run recognises, so none of them can make the test flake.
constexpr int kSyncKills = 12;
constexpr int kCleanKills = 6;
constexpr int kInitKills = 6;

const int kCacheKinds[] = {CacheLayout::ImageKind, CacheLayout::VoiceKind, CacheLayout::VideoKind,
                           CacheLayout::FileKind, CacheLayout::MusicKind};

// The account's cache as the tables and the folders tell it, read while no tool runs.
struct CacheState
{
    QString integrity;               // what PRAGMA integrity_check says
    QHash<QString, qint64> rows;     // path of each cache row's file -> the size it records
    QHash<QString, qint64> files;    // complete cache files on disk -> their size
    QHash<QString, QString> sources; // path of each known file -> the path of its source
    QSet<QString> keptForEver;       // paths of the files that chats keeping media for ever name
};

QString pathOf(const QString &cacheRoot, int type, const QString &fileId, const QString &suffix)
{
    return CacheLayout::mediaPath(cacheRoot, CacheLayout::MainCategory,
                                  CacheLayout::kindOfMessageType(type))
            + CacheLayout::fileName(fileId, suffix);
}

bool copyFolder(const QString &from, const QString &to)
{
    if (!QDir(to).removeRecursively() || !QDir().mkpath(to)) {
        return false;
    }
    QDirIterator it(from, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo entry = it.nextFileInfo();
        const QString target = to + entry.filePath().mid(from.size());
        const bool copied = entry.isDir()
                ? QDir().mkpath(target)
                : QDir().mkpath(QFileInfo(target).path()) && QFile::copy(entry.filePath(), target);
        if (!copied) {
            return false;
        }
    }
    return true;
}

// The delay of the kill-th of count kills over a run of runMs: from a twentieth of the run to its
// end, evenly.
int killDelay(int kill, int count, qint64 runMs)
{
    return int(runMs / 20 + runMs * 18 / 20 * kill / qMax(1, count - 1));
}

} // namespace

// mediactl sync, clean and init killed with SIGKILL at moments spread over their runs. After each
// kill the account's database is sound, no cached file is without its row and nothing a chat keeps
// for ever is gone; once the cache is reconciled every row has its file; a rerun completes with
// every cached file byte for byte its source. Real processes, real files, the real database.
class TestCrashRecovery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void killedSyncLosesNothing();
    void killedCleanLosesNothing();
    void killedInitLeavesNoHalfAccount();
    void cleanupTestCase();

private:
    // Starts mediactl and kills it with SIGKILL after delayMs, unless it ends first: then it must
    // have succeeded. Returns whether it was killed.
    bool runAndKill(const QStringList &arguments, int delayMs);
    // How long an uninterrupted run takes, from a copy of the state given.
    qint64 timeRun(const QString &state, const QStringList &arguments);
    CacheState readState() const;
    // What must hold at any moment a tool may die: the files on disk that chats keeping media for
    // ever named before are all still there.
    void checkAfterKill(const QString &what, const QSet<QString> &keptBefore);
    // What must hold once the cache has been reconciled with its table.
    void checkReconciled(const QString &what, const QSet<QString> &keptBefore);
    // Every cached file is its source, byte for byte.
    void checkComplete(const QString &what);
    QSet<QString> keptForEverOnDisk() const;
    void run(const QStringList &arguments);
    // A kill at delayMs from a copy of state, then the checks, a reconciliation and a rerun.
    void killAndRecover(const QString &state, const QStringList &arguments, int delayMs);

    QTemporaryDir m_dir;
    QString m_folder;  // the account the tools work on
    QString m_initial; // the account as init made it, keep times set
    QString m_synced;  // the account with every file downloaded
    int m_kills = 0;
    int m_runs = 0;
};

void TestCrashRecovery::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_folder = m_dir.filePath(QStringLiteral("account"));
    m_initial = m_dir.filePath(QStringLiteral("initial"));
    m_synced = m_dir.filePath(QStringLiteral("synced"));
    const MediactlRun init = runMediactl(
            {QStringLiteral("init"), m_initial, QStringLiteral("--media"), QStringLiteral("300")},
            kProcessTimeoutMs);
    QVERIFY2(init.exitCode == 0, qPrintable(init.err));
    // Private chats keep a week, groups for ever: a clean deletes some files and must keep others.
    {
        AccountBase account(SampleAccount::UserId, m_initial);
        QVERIFY(account.isValid());
        account.accountSettingModel()->setPrivateKeepTime(7);
        account.accountSettingModel()->setGroupKeepTime(-1);
    }
    // Nothing downloaded yet, so that a sync spends most of its run finishing downloads.
    for (int kind : kCacheKinds) {
        QVERIFY(QDir(CacheLayout::mediaPath(m_initial + QStringLiteral("/cache/"),
                                            CacheLayout::MainCategory, kind))
                        .removeRecursively());
    }
    {
        const QString connection = QStringLiteral("forget_cache");
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
            db.setDatabaseName(m_initial + QStringLiteral("/account.db"));
            QVERIFY(db.open());
            QVERIFY(QSqlQuery(db).exec(QStringLiteral("DELETE FROM cache_file")));
        }
        QSqlDatabase::removeDatabase(connection);
    }
    QVERIFY(copyFolder(m_initial, m_synced));
    const MediactlRun sync = runMediactl({QStringLiteral("sync"), m_synced}, kProcessTimeoutMs);
    QVERIFY2(sync.exitCode == 0, qPrintable(sync.out + sync.err));
}

void TestCrashRecovery::cleanupTestCase()
{
    qInfo("%d runs, %d of them killed; the invariants held after each", m_runs, m_kills);
}

bool TestCrashRecovery::runAndKill(const QStringList &arguments, int delayMs)
{
    QProcess tool;
    tool.setProcessChannelMode(QProcess::MergedChannels);
    tool.start(QStringLiteral(MEDIACTL_PATH), arguments);
    if (!tool.waitForStarted()) {
        return false;
    }
    ++m_runs;
    if (tool.waitForFinished(delayMs)) {
        const bool ok = tool.exitStatus() == QProcess::NormalExit && tool.exitCode() == 0;
        QTest::qVerify(ok, "exit code 0", qPrintable(tool.readAll()), __FILE__, __LINE__);
        return false;
    }
    tool.kill();
    tool.waitForFinished(kProcessTimeoutMs);
    ++m_kills;
    return true;
}

qint64 TestCrashRecovery::timeRun(const QString &state, const QStringList &arguments)
{
    if (!copyFolder(state, m_folder)) {
        return -1;
    }
    QElapsedTimer took;
    took.start();
    const MediactlRun run = runMediactl(arguments, kProcessTimeoutMs);
    return run.exitCode == 0 ? took.elapsed() : -1;
}

CacheState TestCrashRecovery::readState() const
{
    CacheState state;
    const QString cacheRoot = m_folder + QStringLiteral("/cache/");
    const QString connection = QStringLiteral("crash_check");
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(m_folder + QStringLiteral("/account.db"));
        if (db.open()) {
            QSqlQuery query(db);
            query.exec(QStringLiteral("PRAGMA integrity_check"));
            while (query.next()) {
                state.integrity += query.value(0).toString();
            }
            query.exec(QStringLiteral("SELECT file_id, type, suffix, size FROM cache_file"));
            while (query.next()) {
                state.rows.insert(pathOf(cacheRoot, query.value(1).toInt(),
                                         query.value(0).toString(), query.value(2).toString()),
                                  query.value(3).toLongLong());
            }
            QHash<QString, QString> pathById;
            query.exec(QStringLiteral("SELECT file_id, type, suffix, url FROM file_record"));
            while (query.next()) {
                const QString path = pathOf(cacheRoot, query.value(1).toInt(),
                                            query.value(0).toString(), query.value(2).toString());
                pathById.insert(query.value(0).toString(), path);
                state.sources.insert(path, QUrl(query.value(3).toString()).toLocalFile());
            }
            query.exec(QStringLiteral(
                    "SELECT file_id, thumb_id, data FROM file_reference WHERE dialog_id IN "
                    "(SELECT dialog_id FROM dialog WHERE is_group = 1)"));
            while (query.next()) {
                const QString livePhotoId =
                        jsonToMap(query.value(2).toByteArray()).value("livePhotoId").toString();
                for (const QString &id :
                     {query.value(0).toString(), query.value(1).toString(), livePhotoId}) {
                    if (pathById.contains(id)) {
                        state.keptForEver.insert(pathById.value(id));
                    }
                }
            }
        } else {
            state.integrity = db.lastError().text();
        }
    }
    QSqlDatabase::removeDatabase(connection);
    for (int kind : kCacheKinds) {
        QDirIterator it(CacheLayout::mediaPath(cacheRoot, CacheLayout::MainCategory, kind),
                        QDir::Files | QDir::Hidden);
        while (it.hasNext()) {
            const QFileInfo file = it.nextFileInfo();
            if (!file.fileName().contains(QLatin1String(CACHE_SUFFIX))) {
                state.files.insert(file.filePath(), file.size());
            }
        }
    }
    return state;
}

QSet<QString> TestCrashRecovery::keptForEverOnDisk() const
{
    const CacheState state = readState();
    QSet<QString> kept;
    for (const QString &path : state.keptForEver) {
        if (state.files.contains(path)) {
            kept.insert(path);
        }
    }
    return kept;
}

void TestCrashRecovery::checkAfterKill(const QString &what, const QSet<QString> &keptBefore)
{
    const CacheState state = readState();
    QVERIFY2(state.integrity == QLatin1String("ok"), qPrintable(what + ": " + state.integrity));
    for (auto it = state.files.cbegin(); it != state.files.cend(); ++it) {
        QVERIFY2(state.rows.contains(it.key()),
                 qPrintable(what + ": a cached file has no row: " + it.key()));
    }
    // A row whose file is not there names a file being deleted or one complete beside it as a
    // partial download: both the reconciliation recognises.
    for (auto it = state.rows.cbegin(); it != state.rows.cend(); ++it) {
        const QFileInfo partial(it.key() + QLatin1String(CACHE_SUFFIX));
        QVERIFY2(state.files.contains(it.key()) || !partial.exists()
                         || partial.size() == it.value(),
                 qPrintable(what + ": a row names a half-written file: " + it.key()));
    }
    for (const QString &path : keptBefore) {
        QVERIFY2(state.files.contains(path),
                 qPrintable(what + ": a file a group keeps for ever is gone: " + path));
    }
}

void TestCrashRecovery::checkReconciled(const QString &what, const QSet<QString> &keptBefore)
{
    checkAfterKill(what, keptBefore);
    const CacheState state = readState();
    for (auto it = state.rows.cbegin(); it != state.rows.cend(); ++it) {
        QVERIFY2(state.files.value(it.key(), -1) == it.value(),
                 qPrintable(what + ": a row has no file of its size: " + it.key()));
    }
}

void TestCrashRecovery::checkComplete(const QString &what)
{
    const CacheState state = readState();
    for (auto it = state.files.cbegin(); it != state.files.cend(); ++it) {
        QFile copy(it.key());
        QFile source(state.sources.value(it.key()));
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QVERIFY2(source.open(QIODevice::ReadOnly), qPrintable(what + ": " + it.key()));
        QVERIFY2(copy.readAll() == source.readAll(),
                 qPrintable(what + ": a cached file is not its source: " + it.key()));
    }
}

void TestCrashRecovery::run(const QStringList &arguments)
{
    const MediactlRun run = runMediactl(arguments, kProcessTimeoutMs);
    ++m_runs;
    QVERIFY2(run.exitCode == 0, qPrintable(run.out + run.err));
}

void TestCrashRecovery::killAndRecover(const QString &state, const QStringList &arguments,
                                       int delayMs)
{
    QVERIFY(copyFolder(state, m_folder));
    const QSet<QString> kept = keptForEverOnDisk();
    const QString what =
            arguments.constFirst() + QStringLiteral(" killed after %1 ms").arg(delayMs);
    runAndKill(arguments, delayMs);
    checkAfterKill(what, kept);
    // Every clean reconciles the cache with its table before it applies the keep times.
    run({QStringLiteral("clean"), m_folder, QStringLiteral("--max-size"), QStringLiteral("0")});
    checkReconciled(what + QStringLiteral(", reconciled"), kept);
    run({QStringLiteral("sync"), m_folder});
    checkReconciled(what + QStringLiteral(", synced again"), kept);
    checkComplete(what + QStringLiteral(", synced again"));
}

void TestCrashRecovery::killedSyncLosesNothing()
{
    const QStringList sync {QStringLiteral("sync"), m_folder};
    const qint64 runMs = timeRun(m_initial, sync);
    QVERIFY(runMs > 0);
    const int killsBefore = m_kills;
    for (int i = 0; i < kSyncKills; ++i) {
        killAndRecover(m_initial, sync, killDelay(i, kSyncKills, runMs));
    }
    qInfo("sync of %lld ms: %d kills", runMs, m_kills - killsBefore);
    QVERIFY(m_kills > killsBefore);
}

void TestCrashRecovery::killedCleanLosesNothing()
{
    const QStringList clean {QStringLiteral("clean"), m_folder, QStringLiteral("--max-size"),
                             QStringLiteral("0")};
    const qint64 runMs = timeRun(m_synced, clean);
    QVERIFY(runMs > 0);
    const int killsBefore = m_kills;
    for (int i = 0; i < kCleanKills; ++i) {
        killAndRecover(m_synced, clean, killDelay(i, kCleanKills, runMs));
    }
    qInfo("clean of %lld ms: %d kills", runMs, m_kills - killsBefore);
    QVERIFY(m_kills > killsBefore);
}

void TestCrashRecovery::killedInitLeavesNoHalfAccount()
{
    const QString folder = m_dir.filePath(QStringLiteral("fresh"));
    const QStringList init {QStringLiteral("init"), folder, QStringLiteral("--media"),
                            QStringLiteral("300")};
    QElapsedTimer took;
    took.start();
    run(init);
    const qint64 runMs = took.elapsed();
    const int killsBefore = m_kills;
    for (int i = 0; i < kInitKills; ++i) {
        QVERIFY(QDir(folder).removeRecursively());
        const int delayMs = killDelay(i, kInitKills, runMs);
        if (runAndKill(init, delayMs)) {
            // A kill after the final rename, while the process winds down (the sanitizers' exit
            // checks take a while), finds the whole account in place; before it, none.
            QVERIFY2(!QFileInfo::exists(folder)
                             || AccountManager::userIdOfFolder(folder) == SampleAccount::UserId,
                     qPrintable(QStringLiteral("init killed after %1 ms left a half account in %2")
                                        .arg(delayMs)
                                        .arg(folder)));
        } else {
            QCOMPARE(AccountManager::userIdOfFolder(folder), SampleAccount::UserId);
        }
    }
    qInfo("init of %lld ms: %d kills", runMs, m_kills - killsBefore);
    QVERIFY(m_kills > killsBefore);
    // A run to the end makes the account, and takes away the work folders of the killed ones.
    QVERIFY(QDir(folder).removeRecursively());
    run(init);
    QCOMPARE(AccountManager::userIdOfFolder(folder), SampleAccount::UserId);
    QCOMPARE(QDir(m_dir.path())
                     .entryList({QStringLiteral(".fresh.init-*")}, QDir::Dirs | QDir::Hidden)
                     .size(),
             0);
}

QTEST_GUILESS_MAIN(TestCrashRecovery)
#include "tst_crashrecovery.moc"
