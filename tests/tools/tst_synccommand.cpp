#include "accountbase.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "filedata.h"
#include "filemanager.h"
#include "filereferencestorage.h"
#include "mediactlrun.h"
#include "resourcedata.h"
#include "sampleaccount.h"
#include "userstorageprovider.h"

#include <QFile>
#include <QTemporaryDir>
#include <QUrl>
#include <QtTest>

namespace {

constexpr int kProcessTimeoutMs = 120000;

} // namespace

// `mediactl sync` on the sample account, whose files not yet downloaded wait at file:// sources.
class TestSyncCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void refusesBadArguments_data();
    void refusesBadArguments();
    void choosesChatByName();
    void downloadsChosenKindThenTheRest();
    void missingSourceFailsTheRun();

private:
    // File ids of the visible media rows of the account's chats, by content type, and whether
    // each is on disk.
    QHash<QString, bool> filesOfType(const QList<int> &types, QString *sourcePath = nullptr);

    QTemporaryDir m_dir;
    QString m_folder;
};

void TestSyncCommand::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_folder = m_dir.filePath(QStringLiteral("account"));
    const MediactlRun init = runMediactl(
            {QStringLiteral("init"), m_folder, QStringLiteral("--media"), QStringLiteral("80")},
            kProcessTimeoutMs);
    QCOMPARE(init.exitCode, 0);
}

QHash<QString, bool> TestSyncCommand::filesOfType(const QList<int> &types, QString *sourcePath)
{
    QHash<QString, bool> files;
    AccountBase account(SampleAccount::UserId, m_folder);
    if (!account.isValid()) {
        return files;
    }
    for (const QSharedPointer<DialogBase> &dialog : account.dialogs()) {
        if (dialog->type() == DIALOG_SYSTEM) {
            continue;
        }
        const QList<storage::FileReferenceInfo> rows =
                account.storage()->fileReferenceStorage()->infosWithDialog(dialog->dialogId(), 0,
                                                                           types);
        for (const storage::FileReferenceInfo &row : rows) {
            if (row.messageId < dialog->firstVisibleMsgId()) {
                continue;
            }
            ResourceData data;
            data.deserialize(row.data);
            const QSharedPointer<FileData> file =
                    account.fileManager()->filePtrWithId(data.fileId, true);
            if (!file || data.size < 1) {
                continue;
            }
            const bool onDisk = file->isComplete() && QFile::exists(file->localPath());
            files.insert(data.fileId, onDisk);
            if (sourcePath && !onDisk && sourcePath->isEmpty()) {
                *sourcePath = QUrl(file->url()).toLocalFile();
            }
        }
    }
    return files;
}

void TestSyncCommand::refusesBadArguments_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("unknown kind") << QStringList {"--kinds", "photos"};
    QTest::newRow("no kind") << QStringList {"--kinds", ","};
    QTest::newRow("unknown period") << QStringList {"--since", "decade"};
    QTest::newRow("unknown chat") << QStringList {"--chat", "no-such-chat"};
}

void TestSyncCommand::refusesBadArguments()
{
    QFETCH(QStringList, options);
    const MediactlRun run = runMediactl(QStringList {QStringLiteral("sync"), m_folder} + options,
                                        kProcessTimeoutMs);
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.err.startsWith(QStringLiteral("mediactl sync: ")), qPrintable(run.err));
    const MediactlRun noAccount = runMediactl(
            {QStringLiteral("sync"), m_dir.filePath(QStringLiteral("none"))}, kProcessTimeoutMs);
    QCOMPARE(noAccount.exitCode, 1);
}

// A chat is named by its id or by its exact name, as `mediactl summary` lists both.
void TestSyncCommand::choosesChatByName()
{
    const MediactlRun run = runMediactl({QStringLiteral("sync"), m_folder, QStringLiteral("--chat"),
                                         QStringLiteral("Photo Club"), QStringLiteral("--kinds"),
                                         QStringLiteral("voice,audio")},
                                        kProcessTimeoutMs);
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    QVERIFY2(run.out.contains(QStringLiteral(", 0 failed")), qPrintable(run.out));
}

void TestSyncCommand::downloadsChosenKindThenTheRest()
{
    const QHash<QString, bool> docsBefore = filesOfType({CONTENT_FILE});
    const QHash<QString, bool> photosBefore = filesOfType({CONTENT_PHOTO, CONTENT_VIDEO});
    const int missingDocs = int(docsBefore.size() - docsBefore.keys(true).size());
    QVERIFY2(missingDocs > 0, "the sample has no file waiting");
    QVERIFY2(photosBefore.keys(false).size() > 0, "the sample has no photo waiting");

    const MediactlRun docs =
            runMediactl({QStringLiteral("sync"), m_folder, QStringLiteral("--kinds"), "doc"},
                        kProcessTimeoutMs);
    QCOMPARE(docs.exitCode, 0);
    QVERIFY2(docs.out.contains(QStringLiteral("synced %1 of %1 files").arg(missingDocs)),
             qPrintable(docs.out));
    QVERIFY2(docs.out.contains(QStringLiteral(", 0 failed")), qPrintable(docs.out));
    QVERIFY2(docs.out.contains(QStringLiteral("] %1/%1").arg(missingDocs)), qPrintable(docs.out));
    QCOMPARE(filesOfType({CONTENT_FILE}).keys(false), QList<QString>());
    QCOMPARE(filesOfType({CONTENT_PHOTO, CONTENT_VIDEO}), photosBefore);

    const MediactlRun rest = runMediactl({QStringLiteral("sync"), m_folder}, kProcessTimeoutMs);
    QCOMPARE(rest.exitCode, 0);
    QCOMPARE(filesOfType({CONTENT_PHOTO, CONTENT_VIDEO, CONTENT_FILE, CONTENT_MUSIC, CONTENT_VOICE})
                     .keys(false),
             QList<QString>());

    const MediactlRun nothing = runMediactl({QStringLiteral("sync"), m_folder}, kProcessTimeoutMs);
    QCOMPARE(nothing.exitCode, 0);
    QVERIFY2(nothing.out.contains(QStringLiteral("synced 0 of 0 files")), qPrintable(nothing.out));
}

void TestSyncCommand::missingSourceFailsTheRun()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    m_folder = dir.filePath(QStringLiteral("account"));
    QCOMPARE(runMediactl({QStringLiteral("init"), m_folder, QStringLiteral("--media"),
                          QStringLiteral("80")},
                         kProcessTimeoutMs)
                     .exitCode,
             0);
    QString source;
    const QHash<QString, bool> before = filesOfType({CONTENT_PHOTO, CONTENT_VIDEO}, &source);
    QVERIFY(!source.isEmpty());
    QVERIFY(QFile::remove(source));

    const MediactlRun run = runMediactl(
            {QStringLiteral("sync"), m_folder, QStringLiteral("--kinds"), QStringLiteral("media")},
            kProcessTimeoutMs);
    QCOMPARE(run.exitCode, 1);
    // The files of the deleted source failed; every other missing photo and video arrived.
    const QHash<QString, bool> after = filesOfType({CONTENT_PHOTO, CONTENT_VIDEO});
    const qsizetype failed = after.keys(false).size();
    QVERIFY(failed >= 1);
    QVERIFY2(run.out.contains(QStringLiteral(", %1 failed").arg(failed)), qPrintable(run.out));
    QCOMPARE(after.size(), before.size());
}

QTEST_GUILESS_MAIN(TestSyncCommand)
#include "tst_synccommand.moc"
