#include "mediactlrun.h"
#include "storagereport.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

// `mediactl storage`: the cache of an account by type and by chat, for people at a terminal.
class TestStorageCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void formatSize_data();
    void formatSize();
    void reportsSampleAccount();
    void refusesMissingAccount();
};

void TestStorageCommand::formatSize_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << qint64(0) << "0 B";
    QTest::newRow("bytes below a kilobyte") << qint64(1023) << "1023 B";
    QTest::newRow("kilobytes") << qint64(1536) << "1.5 KB";
    QTest::newRow("megabytes") << qint64(2) * 1024 * 1024 << "2.0 MB";
    QTest::newRow("gigabytes") << qint64(3) * 1024 * 1024 * 1024 + 100 * 1024 * 1024 << "3.1 GB";
    QTest::newRow("terabytes stay gigabytes") << qint64(2048) * 1024 * 1024 * 1024 << "2048.0 GB";
}

void TestStorageCommand::formatSize()
{
    QFETCH(qint64, bytes);
    QFETCH(QString, text);
    QCOMPARE(StorageReport::formatSize(bytes), text);
}

void TestStorageCommand::reportsSampleAccount()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString folder = dir.filePath(QStringLiteral("account"));
    QCOMPARE(runMediactl({"init", folder, "--media", "40"}).exitCode, 0);
    const MediactlRun run = runMediactl({"storage", folder});
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.out.contains(QLatin1String("by type:\n")), qPrintable(run.out));
    QVERIFY(run.out.contains(QLatin1String("by chat:\n")));
    // The sample caches downloaded photos, so images and at least one chat are listed.
    QVERIFY(run.out.contains(QRegularExpression(QStringLiteral("\n  images +[0-9.]+ [KMG]?B\n"))));
    QVERIFY(run.out.contains(
            QRegularExpression(QStringLiteral("\n  .+ \\(.+\\) +[0-9.]+ [KMG]?B\n"))));
    QVERIFY(run.out.contains(QRegularExpression(QStringLiteral("\ntotal: [0-9.]+ [KMG]?B\n$"))));
}

void TestStorageCommand::refusesMissingAccount()
{
    QTemporaryDir dir;
    const MediactlRun run = runMediactl({"storage", dir.filePath(QStringLiteral("nobody"))});
    QVERIFY(run.exitCode != 0);
    QVERIFY2(run.err.contains(QLatin1String("no account in")), qPrintable(run.err));
    QVERIFY(run.out.isEmpty());
    QVERIFY(runMediactl({"storage"}).exitCode != 0);
}

QTEST_GUILESS_MAIN(TestStorageCommand)
#include "tst_storagecommand.moc"
