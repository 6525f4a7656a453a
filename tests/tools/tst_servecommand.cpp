#include "accountbase.h"
#include "filedata.h"
#include "filemanager.h"
#include "filestorage.h"
#include "sampleaccount.h"
#include "userstorageprovider.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>
#include <QtTest>

#include <csignal>

namespace {
constexpr int kProcessTimeoutMs = 60000;
} // namespace

// `mediactl serve` run as a player outside the process would meet it: a separate process that
// prints a URL, answers byte ranges over it (read here with curl) and stops cleanly on a signal.
class TestServeCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void servesRangesUntilInterrupted_data();
    void servesRangesUntilInterrupted();
    void refusesWhatItCannotServe_data();
    void refusesWhatItCannotServe();

private:
    struct SampleFile
    {
        QString fileId;
        QByteArray bytes;
    };
    // Reads a file's record and its bytes at its source before the tool opens the account.
    void findFiles();
    static QByteArray curlRange(const QString &url, qint64 first, qint64 last);

    QTemporaryDir m_dir;
    QString m_folder;
    SampleFile m_cached;
    SampleFile m_notDownloaded;
};

void TestServeCommand::initTestCase()
{
    QVERIFY(m_dir.isValid());
    if (QStandardPaths::findExecutable(QStringLiteral("curl")).isEmpty()) {
        QSKIP("curl is not installed");
    }
    m_folder = m_dir.filePath(QStringLiteral("account"));
    QProcess init;
    init.start(QStringLiteral(MEDIACTL_PATH),
               {QStringLiteral("init"), m_folder, QStringLiteral("--media"), QStringLiteral("40")});
    QVERIFY(init.waitForFinished(kProcessTimeoutMs));
    QCOMPARE(init.exitCode(), 0);
    findFiles();
    QVERIFY2(!m_cached.fileId.isEmpty(), "the sample has no cached file");
    QVERIFY2(!m_notDownloaded.fileId.isEmpty(), "the sample has no file waiting at its source");
}

void TestServeCommand::findFiles()
{
    AccountBase account(SampleAccount::UserId, m_folder);
    QVERIFY(account.isValid());
    const QList<storage::FileRecord> records =
            account.storage()->fileStorage()->infosAfter(QString(), 1000);
    for (const storage::FileRecord &record : records) {
        const QSharedPointer<FileData> file =
                account.fileManager()->filePtrWithId(record.fileId, true);
        SampleFile &slot = file && file->isComplete() ? m_cached : m_notDownloaded;
        if (!file || record.size < 4096 || slot.bytes.size() >= record.size) {
            continue;
        }
        QFile source(QUrl(record.url).toLocalFile());
        QVERIFY(source.open(QIODevice::ReadOnly));
        slot = {record.fileId, source.readAll()};
        QCOMPARE(slot.bytes.size(), record.size);
    }
}

QByteArray TestServeCommand::curlRange(const QString &url, qint64 first, qint64 last)
{
    QProcess curl;
    curl.start(QStringLiteral("curl"),
               {QStringLiteral("--silent"), QStringLiteral("--show-error"),
                QStringLiteral("--max-time"), QStringLiteral("30"), QStringLiteral("--range"),
                QStringLiteral("%1-%2").arg(first).arg(last), url});
    if (!curl.waitForFinished(kProcessTimeoutMs) || curl.exitCode() != 0) {
        qWarning() << "curl failed:" << curl.readAllStandardError();
        return {};
    }
    return curl.readAllStandardOutput();
}

void TestServeCommand::servesRangesUntilInterrupted_data()
{
    QTest::addColumn<bool>("cached");
    QTest::addColumn<int>("signal");
    QTest::newRow("cached file, SIGINT") << true << int(SIGINT);
    QTest::newRow("file still at its source, SIGTERM") << false << int(SIGTERM);
}

void TestServeCommand::servesRangesUntilInterrupted()
{
    QFETCH(bool, cached);
    QFETCH(int, signal);
    const SampleFile &file = cached ? m_cached : m_notDownloaded;
    QProcess serve;
    serve.start(QStringLiteral(MEDIACTL_PATH), {QStringLiteral("serve"), m_folder, file.fileId});
    QVERIFY(serve.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(serve.canReadLine(), kProcessTimeoutMs);
    const QString url = QString::fromUtf8(serve.readLine()).trimmed();
    QVERIFY2(QRegularExpression(QStringLiteral("^http://127\\.0\\.0\\.1:\\d+/%1/%2$")
                                        .arg(SampleAccount::UserId)
                                        .arg(file.fileId))
                     .match(url)
                     .hasMatch(),
             qPrintable(url));

    const qint64 size = file.bytes.size();
    QCOMPARE(curlRange(url, 100, 1099), file.bytes.mid(100, 1000));
    QCOMPARE(curlRange(url, size - 2000, size - 1), file.bytes.right(2000));
    QCOMPARE(curlRange(url, 0, size - 1), file.bytes);

    ::kill(serve.processId(), signal);
    QVERIFY(serve.waitForFinished(kProcessTimeoutMs));
    QCOMPARE(serve.exitStatus(), QProcess::NormalExit);
    QCOMPARE(serve.exitCode(), 0);
}

void TestServeCommand::refusesWhatItCannotServe_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("unknown file") << QStringList {QStringLiteral("no-such-file")}
                                  << QStringLiteral("no file no-such-file");
    QTest::newRow("no file id") << QStringList() << QStringLiteral("give an account folder");
}

void TestServeCommand::refusesWhatItCannotServe()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    QProcess serve;
    serve.start(QStringLiteral(MEDIACTL_PATH),
                QStringList {QStringLiteral("serve"), m_folder} + arguments);
    QVERIFY(serve.waitForFinished(kProcessTimeoutMs));
    QCOMPARE(serve.exitCode(), 1);
    QVERIFY(serve.readAllStandardOutput().isEmpty());
    QVERIFY2(QString::fromUtf8(serve.readAllStandardError()).contains(message),
             qPrintable(message));
}

QTEST_GUILESS_MAIN(TestServeCommand)
#include "tst_servecommand.moc"
