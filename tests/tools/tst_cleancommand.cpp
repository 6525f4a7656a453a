#include "accountbase.h"
#include "accountmanager.h"
#include "accountsettingmodel.h"
#include "cachefilestorage.h"
#include "cachelayout.h"
#include "constants.h"
#include "contenttype.h"
#include "filereferencestorage.h"
#include "keepmediasettingstorage.h"
#include "mediactlrun.h"
#include "userstorageprovider.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr qint64 FileSize = 1000;

} // namespace

// `mediactl clean` on a real account folder: a separate process that applies the keep times saved
// in the account and reports what it removed.
class TestCleanCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void removesWhatKeepTimesLetGo();
    void sizeLimitFromTheCommandLine();
    void refusesBadInput_data();
    void refusesBadInput();

private:
    // Files of a private chat kept a week and a group kept a month, from 0 to 59 days old, one a
    // day, half of them in each.
    void buildAccount();
    QString pathOf(const QString &fileId) const;

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_folder;
    qint64 m_now = 0;
};

void TestCleanCommand::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_folder = m_dir->filePath(QStringLiteral("account"));
    m_now = QDateTime::currentMSecsSinceEpoch();
    buildAccount();
}

void TestCleanCommand::cleanup()
{
    m_dir.reset();
}

QString TestCleanCommand::pathOf(const QString &fileId) const
{
    return CacheLayout::mediaPath(m_folder + QStringLiteral("/cache/"), CacheLayout::MainCategory,
                                  CacheLayout::FileKind)
            + fileId + QStringLiteral(".bin");
}

void TestCleanCommand::buildAccount()
{
    QVERIFY(AccountManager::writeAccountInfo(m_folder, 5, QStringLiteral("Cleaner")));
    AccountBase account(5, m_folder);
    QVERIFY(account.isValid());
    QCOMPARE(account.userCacheDataPath(), m_folder + QStringLiteral("/cache/"));
    QVERIFY(account.storeDialog("p", "Pat", DIALOG_PRIVATE, m_now));
    QVERIFY(account.storeDialog("g", "Group", DIALOG_GROUP, m_now));
    account.accountSettingModel()->setPrivateKeepTime(7);
    account.accountSettingModel()->setGroupKeepTime(30);
    QList<storage::CacheFileInfo> rows;
    QList<storage::FileReferenceInfo> refs;
    for (int day = 0; day < 60; ++day) {
        const QString fileId = QStringLiteral("d%1").arg(day, 2, 10, QLatin1Char('0'));
        const qint64 time = m_now - day * ONE_DAY_MSEC - ONE_DAY_MSEC / 2;
        QDir().mkpath(QFileInfo(pathOf(fileId)).path());
        QFile file(pathOf(fileId));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(FileSize, 'x'));
        rows.append({fileId, CONTENT_FILE, "bin", FileSize, time});
        refs.append({day % 2 ? "g" : "p", day + 1, 0, CONTENT_FILE, time, {}, fileId, {}});
    }
    QVERIFY(account.storage()->cacheFileStorage()->save(rows));
    QVERIFY(account.storage()->fileReferenceStorage()->save(refs));
}

// Private files older than a week and group files older than a month go, nothing younger.
void TestCleanCommand::removesWhatKeepTimesLetGo()
{
    const MediactlRun run = runMediactl(
            {QStringLiteral("clean"), m_folder, QStringLiteral("--max-size"), QStringLiteral("0")});
    QCOMPARE(run.exitCode, 0);
    int removed = 0;
    for (int day = 0; day < 60; ++day) {
        const bool group = day % 2;
        const bool expired = group ? day >= 30 : day >= 7;
        const QString fileId = QStringLiteral("d%1").arg(day, 2, 10, QLatin1Char('0'));
        QCOMPARE(!QFile::exists(pathOf(fileId)), expired);
        removed += expired ? 1 : 0;
    }
    QVERIFY2(run.out.contains(QStringLiteral("removed %1 files, %2 bytes")
                                      .arg(removed)
                                      .arg(removed * FileSize)),
             qPrintable(run.out));
    QVERIFY2(run.out.contains(QStringLiteral("private chats 7 days, groups 30 days")),
             qPrintable(run.out));
    QVERIFY2(run.err.contains(QStringLiteral("] 60/60 rows")), qPrintable(run.err));

    AccountBase account(5, m_folder);
    QCOMPARE(account.storage()->cacheFileStorage()->count(), 60 - removed);

    // A second pass finds nothing more.
    const MediactlRun again = runMediactl(
            {QStringLiteral("clean"), m_folder, QStringLiteral("--max-size"), QStringLiteral("0")});
    QCOMPARE(again.exitCode, 0);
    QVERIFY2(again.out.contains(QStringLiteral("removed 0 files")), qPrintable(again.out));
}

void TestCleanCommand::sizeLimitFromTheCommandLine()
{
    {
        AccountBase account(5, m_folder);
        account.accountSettingModel()->setPrivateKeepTime(-1);
        account.accountSettingModel()->setGroupKeepTime(-1);
    }
    const MediactlRun run =
            runMediactl({QStringLiteral("clean"), m_folder, QStringLiteral("--max-size"),
                         QString::number(10 * FileSize)});
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.out.contains(QStringLiteral("removed 50 files")), qPrintable(run.out));
    for (int day = 0; day < 60; ++day) {
        const QString fileId = QStringLiteral("d%1").arg(day, 2, 10, QLatin1Char('0'));
        QCOMPARE(QFile::exists(pathOf(fileId)), day < 10);
    }
}

void TestCleanCommand::refusesBadInput_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");

    QTest::newRow("no folder") << QStringList {"clean"} << "give one account folder";
    QTest::newRow("folder without account")
            << QStringList {"clean", "/nonexistent/folder"} << "no account in";
    QTest::newRow("size that is no number")
            << QStringList {"clean", "ACCOUNT", "--max-size", "lots"} << "--max-size";
    QTest::newRow("negative size")
            << QStringList {"clean", "ACCOUNT", "--max-size", "-5"} << "--max-size";
}

void TestCleanCommand::refusesBadInput()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);

    arguments.replaceInStrings(QStringLiteral("ACCOUNT"), m_folder);
    const MediactlRun run = runMediactl(arguments);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.contains(message), qPrintable(run.err));
    for (int day = 0; day < 60; ++day) {
        QVERIFY(QFile::exists(pathOf(QStringLiteral("d%1").arg(day, 2, 10, QLatin1Char('0')))));
    }
}

QTEST_GUILESS_MAIN(TestCleanCommand)
#include "tst_cleancommand.moc"
