#include "accountbase.h"
#include "accountmanager.h"
#include "accountsettingmodel.h"
#include "cachefilestorage.h"
#include "cachelayout.h"
#include "constants.h"
#include "contenttype.h"
#include "damageddatabase.h"
#include "filemanager.h"
#include "filereferencestorage.h"
#include "filestorage.h"
#include "mediactlrun.h"
#include "userstorageprovider.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr qint64 UserId = 6;
constexpr qint64 FileSize = 1000;

enum Fault { GarbageInDatabase, EmptyDatabase, MissingDatabase, MissingCache, BadSettings };

// Every file of the folder with a digest of its bytes, to show that a refused command left the
// account as it was.
QMap<QString, QByteArray> snapshot(const QString &folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        if (file.open(QIODevice::ReadOnly)) {
            files.insert(path, QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha1));
        }
    }
    return files;
}

} // namespace

// Every mediactl command on an account folder that is damaged or incomplete: a clear message, a
// non-zero exit, and the folder left as it was (an empty or missing database is not turned into
// an empty account, a missing cache folder is not counted as deleted files).
class TestDamagedAccount : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void commandRefusesTheAccount_data();
    void commandRefusesTheAccount();
    void cleanStopsAtUnreadableReferences();

private:
    void buildAccount();
    void damage(Fault fault);
    QString databasePath() const { return m_folder + QStringLiteral("/account.db"); }

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_folder;
};

void TestDamagedAccount::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_folder = m_dir->filePath(QStringLiteral("account"));
    buildAccount();
}

void TestDamagedAccount::cleanup()
{
    m_dir.reset();
}

// A private chat kept a week and a group kept for ever, each with 40 old files; a few hundred
// message rows, so that the database spans many pages.
void TestDamagedAccount::buildAccount()
{
    QVERIFY(AccountManager::writeAccountInfo(m_folder, UserId, QStringLiteral("Damaged")));
    AccountBase account(UserId, m_folder);
    QVERIFY(account.isValid());
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    QVERIFY(account.storeDialog("p", "Pat", DIALOG_PRIVATE, now));
    QVERIFY(account.storeDialog("g", "Group", DIALOG_GROUP, now));
    account.accountSettingModel()->setPrivateKeepTime(7);
    account.accountSettingModel()->setGroupKeepTime(-1);
    const QString folder = CacheLayout::mediaPath(account.userCacheDataPath(),
                                                  CacheLayout::MainCategory, CacheLayout::FileKind);
    QVERIFY(QDir().mkpath(folder));
    QList<storage::CacheFileInfo> rows;
    QList<storage::FileReferenceInfo> refs;
    QList<storage::FileRecord> records;
    for (int i = 0; i < 80; ++i) {
        const QString fileId = QStringLiteral("f%1").arg(i, 2, 10, QLatin1Char('0'));
        const qint64 time = now - 60 * ONE_DAY_MSEC - i;
        QFile file(folder + fileId + QStringLiteral(".bin"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(FileSize, 'x'));
        rows.append({fileId, CONTENT_FILE, "bin", FileSize, time});
        const QByteArray data = QStringLiteral("{\"fileId\":\"%1\",\"suffix\":\"bin\",\"size\":%2,"
                                               "\"fileName\":\"document %1 with a long name\"}")
                                        .arg(fileId)
                                        .arg(FileSize)
                                        .toUtf8();
        refs.append({i % 2 ? "g" : "p", i + 1, 0, CONTENT_FILE, time, {}, fileId, data});
        storage::FileRecord record;
        record.fileId = fileId;
        record.type = CONTENT_FILE;
        record.suffix = QStringLiteral("bin");
        record.size = FileSize;
        record.name = fileId + QStringLiteral(".bin");
        record.url = QStringLiteral("file:///nonexistent/") + fileId;
        record.state = BaseFile::StateDone;
        record.downloaded = FileSize;
        records.append(record);
    }
    QVERIFY(account.storage()->cacheFileStorage()->save(rows));
    QVERIFY(account.storage()->fileReferenceStorage()->save(refs));
    QVERIFY(account.storage()->fileStorage()->save(records));
}

void TestDamagedAccount::damage(Fault fault)
{
    switch (fault) {
    case GarbageInDatabase: {
        // In the middle of the file, past the pages that hold the schema.
        QVERIFY(DamagedDatabase::damageMiddle(databasePath(), 8 * 1024));
        break;
    }
    case EmptyDatabase: {
        QFile database(databasePath());
        QVERIFY(database.resize(0));
        break;
    }
    case MissingDatabase:
        QVERIFY(QFile::remove(databasePath()));
        break;
    case MissingCache:
        QVERIFY(QDir(m_folder + QStringLiteral("/cache")).removeRecursively());
        break;
    case BadSettings: {
        QFile settings(m_folder + QStringLiteral("/settings.json"));
        QVERIFY(settings.open(QIODevice::WriteOnly | QIODevice::Truncate));
        settings.write("{\"user_id\": 6, \"private_keep_time\": 7,");
        break;
    }
    }
}

void TestDamagedAccount::commandRefusesTheAccount_data()
{
    QTest::addColumn<int>("fault");
    QTest::addColumn<QString>("message");
    const QList<std::pair<const char *, QStringList>> commands {
            {"summary", {"summary", "DIR"}},
            {"ls", {"ls", "DIR", "p"}},
            {"search", {"search", "DIR", "p", "document"}},
            {"storage", {"storage", "DIR"}},
            {"clean", {"clean", "DIR", "--max-size", "0"}},
            {"sync", {"sync", "DIR"}},
            {"serve", {"serve", "DIR", "f00"}},
            {"play", {"play", "DIR", "f00"}},
    };
    QTest::addColumn<QStringList>("arguments");
    const QList<std::tuple<const char *, Fault, QString>> faults {
            {"8 KB of garbage inside account.db", GarbageInDatabase, "account.db is damaged"},
            {"an empty account.db", EmptyDatabase, "account.db is empty"},
            {"no account.db", MissingDatabase, "account.db is missing"},
            {"no cache folder", MissingCache, "cache is missing"},
            {"settings.json that is not JSON", BadSettings, "settings.json cannot be read"},
    };
    for (const auto &[faultName, fault, message] : faults) {
        for (const auto &[command, arguments] : commands) {
            QTest::addRow("%s: %s", command, faultName) << int(fault) << message << arguments;
        }
    }
}

void TestDamagedAccount::commandRefusesTheAccount()
{
    QFETCH(int, fault);
    QFETCH(QString, message);
    QFETCH(QStringList, arguments);

    damage(Fault(fault));
    const QMap<QString, QByteArray> before = snapshot(m_dir->path());
    arguments.replaceInStrings(QStringLiteral("DIR"), m_folder);
    const MediactlRun run = runMediactl(arguments);
    QVERIFY2(run.exitCode > 0, qPrintable(run.out + run.err));
    QVERIFY2(run.err.contains(message), qPrintable(run.err));
    QVERIFY2(!run.out.contains(QLatin1String("removed")), qPrintable(run.out));
    // Nothing made where something was missing, nothing written over what was damaged.
    QCOMPARE(snapshot(m_dir->path()), before);
}

// The pages that tell which chats name a file cannot be read: whatever finds this out first (the
// tool when it opens the account, the expiry when it reads the rows) stops before deleting a file
// that a group keeps for ever.
void TestDamagedAccount::cleanStopsAtUnreadableReferences()
{
    QVERIFY(DamagedDatabase::damageRootPages(databasePath(),
                                             DamagedDatabase::fileReferencePages()));
    const MediactlRun run = runMediactl(
            {QStringLiteral("clean"), m_folder, QStringLiteral("--max-size"), QStringLiteral("0")});
    QVERIFY2(run.exitCode > 0, qPrintable(run.out + run.err));
    QVERIFY2(run.err.contains(QLatin1String("account.db is damaged")), qPrintable(run.err));
    const QString folder = m_folder + QStringLiteral("/cache/file/");
    for (int i = 1; i < 80; i += 2) {
        QVERIFY(QFile::exists(folder + QStringLiteral("f%1.bin").arg(i, 2, 10, QLatin1Char('0'))));
    }
}

QTEST_GUILESS_MAIN(TestDamagedAccount)
#include "tst_damagedaccount.moc"
