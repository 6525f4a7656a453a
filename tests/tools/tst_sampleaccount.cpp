#include "accountbase.h"
#include "accountsummary.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "filedata.h"
#include "filemanager.h"
#include "filereferencestorage.h"
#include "filestorage.h"
#include "messagestorage.h"
#include "resourcestorage.h"
#include "sampleaccount.h"
#include "serverhistory.h"
#include "userstorageprovider.h"

#include <QDateTime>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTextStream>
#include <QUrl>
#include <QtTest>

class TestSampleAccount : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void reportMatchesTheStore();
    void everyFileIsCachedOrWaitsAtItsSource();
    void olderHistoryIsOnlyOnTheServer();
    void mediaLayerWroteFileReferences();
    void mediaReachToday();
    void sameSeedSameAccount();
    void refusesAnExistingAccount();
    void summaryPrintsEveryChat();

private:
    static SampleAccount::Options options();
    QTemporaryDir m_dir;
    SampleAccount::Report m_report;
    std::unique_ptr<AccountBase> m_account;
};

SampleAccount::Options TestSampleAccount::options()
{
    SampleAccount::Options options;
    options.seed = 11;
    options.mediaCount = 300;
    options.now = QDateTime(QDate(2026, 5, 20), QTime(15, 30)).toMSecsSinceEpoch();
    return options;
}

void TestSampleAccount::initTestCase()
{
    QVERIFY(SampleAccount::create(m_dir.filePath("a"), options(), &m_report));
    m_account = std::make_unique<AccountBase>(SampleAccount::UserId, m_dir.filePath("a"));
    QVERIFY(m_account->isValid());
}

void TestSampleAccount::reportMatchesTheStore()
{
    QCOMPARE(m_report.dialogs, 12);
    QCOMPARE(m_account->dialogs().size(), 12);
    QVERIFY(m_report.quotes > 0);
    QVERIFY(m_report.combinedMessages > 0);
    QMap<int, int> stored;
    for (const auto &dialog : m_account->dialogs()) {
        const QMap<int, int> counts =
                m_account->storage()->resourceStorage()->countByType(dialog->dialogId());
        for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
            stored[it.key()] += it.value();
        }
    }
    QCOMPARE(stored, m_report.localMediaByType);
    for (const int type :
         {CONTENT_TEXT, CONTENT_PHOTO, CONTENT_VOICE, CONTENT_MUSIC, CONTENT_VIDEO, CONTENT_FILE}) {
        QVERIFY2(stored.value(type) > 0, qPrintable(AccountSummary::typeName(type)));
    }
    const storage::FileStorage::Totals totals = m_account->storage()->fileStorage()->totals();
    QCOMPARE(totals.completeCount, m_report.filesDownloaded);
    QCOMPARE(totals.missingCount, m_report.filesNotDownloaded);
    QCOMPARE(totals.completeBytes, m_report.bytesOnDisk);
    QCOMPARE(totals.missingBytes, m_report.bytesNotDownloaded);
    QVERIFY(m_report.filesDownloaded > 0);
    QVERIFY(m_report.filesNotDownloaded > 0);
}

void TestSampleAccount::everyFileIsCachedOrWaitsAtItsSource()
{
    storage::FileStorage *files = m_account->storage()->fileStorage();
    QString cursor;
    int seen = 0;
    forever {
        const QList<storage::FileRecord> page = files->infosAfter(cursor, 200);
        if (page.isEmpty()) {
            break;
        }
        for (const storage::FileRecord &record : page) {
            const QString source = QUrl(record.url).toLocalFile();
            QVERIFY2(QFileInfo(source).size() == record.size, qPrintable(record.fileId));
            const QSharedPointer<FileData> file =
                    m_account->fileManager()->filePtrWithId(record.fileId, true);
            QVERIFY(file);
            const QFileInfo local(file->localPath());
            if (file->isComplete()) {
                QVERIFY2(local.exists() && local.size() == record.size,
                         qPrintable(file->localPath()));
            } else {
                QVERIFY2(!local.exists(), qPrintable(file->localPath()));
            }
            ++seen;
        }
        cursor = page.last().fileId;
    }
    QCOMPARE(seen, m_report.filesDownloaded + m_report.filesNotDownloaded);
}

// The generator hands every stored message to the media layer: one row per stored photo, video,
// voice and file (children of albums included), and one flagged row per quoted photo.
void TestSampleAccount::mediaLayerWroteFileReferences()
{
    int ownRows = 0;
    int quotedRows = 0;
    for (const auto &dialog : m_account->dialogs()) {
        const auto rows = m_account->storage()->fileReferenceStorage()->infosWithDialog(
                dialog->dialogId(), 0, {});
        for (const storage::FileReferenceInfo &row : rows) {
            QVERIFY(!row.fileId.isEmpty());
            (row.type & 0x800 ? quotedRows : ownRows) += 1;
        }
    }
    const QMap<int, int> &media = m_report.localMediaByType;
    QCOMPARE(ownRows,
             media.value(CONTENT_PHOTO) + media.value(CONTENT_VIDEO) + media.value(CONTENT_VOICE)
                     + media.value(CONTENT_FILE));
    QVERIFY(quotedRows > 0);
    QVERIFY(quotedRows <= m_report.quotes);
}

void TestSampleAccount::olderHistoryIsOnlyOnTheServer()
{
    QVERIFY(m_report.serverOnlyMessages > 0);
    ServerHistory server(m_dir.filePath("a/server.db"));
    storage::MessageStorage *local = m_account->storage()->messageStorage();
    const QString dialogId = "g3003";
    QVERIFY(server.messages()->count(dialogId) > local->count(dialogId));
    // The oldest message of the chat is on the server, not in the local store.
    storage::MessageSearchInfo oldest;
    oldest.dialogIds = {dialogId};
    oldest.newer = true;
    oldest.count = 1;
    bool more = false;
    const QList<storage::MessageRecord> first = server.messages()->search(oldest, &more);
    QCOMPARE(first.size(), 1);
    QVERIFY(local->message(dialogId, MessageKey(first[0].messageId, first[0].subMsgId))
                    .dialogId.isEmpty());
}

void TestSampleAccount::mediaReachToday()
{
    const QDateTime now = QDateTime::fromMSecsSinceEpoch(options().now);
    storage::ResourceSearchInfo info;
    info.types = {CONTENT_PHOTO, CONTENT_VIDEO};
    info.startTime = QDateTime(now.date(), QTime(0, 0)).toMSecsSinceEpoch();
    info.count = 1000;
    QVERIFY(!m_account->storage()->resourceStorage()->infosBefore(info).isEmpty());
    info.startTime = options().now + 1;
    QVERIFY2(m_account->storage()->resourceStorage()->infosBefore(info).isEmpty(),
             "nothing lies in the future");
}

void TestSampleAccount::sameSeedSameAccount()
{
    SampleAccount::Report again;
    QVERIFY(SampleAccount::create(m_dir.filePath("b"), options(), &again));
    QCOMPARE(again.localMediaByType, m_report.localMediaByType);
    QCOMPARE(again.filesDownloaded, m_report.filesDownloaded);
    QCOMPARE(again.bytesOnDisk, m_report.bytesOnDisk);
    AccountBase other(SampleAccount::UserId, m_dir.filePath("b"));
    storage::ResourceSearchInfo info;
    info.count = 500;
    const auto rowsA = m_account->storage()->resourceStorage()->infosBefore(info);
    const auto rowsB = other.storage()->resourceStorage()->infosBefore(info);
    QCOMPARE(rowsA.size(), rowsB.size());
    for (int i = 0; i < rowsA.size(); ++i) {
        QCOMPARE(rowsA[i].dialogId, rowsB[i].dialogId);
        QCOMPARE(rowsA[i].messageId, rowsB[i].messageId);
        QCOMPARE(rowsA[i].dateTime, rowsB[i].dateTime);
        QCOMPARE(rowsA[i].text, rowsB[i].text);
    }
}

void TestSampleAccount::refusesAnExistingAccount()
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("an account exists already"));
    QVERIFY(!SampleAccount::create(m_dir.filePath("a"), options(), nullptr));
}

void TestSampleAccount::summaryPrintsEveryChat()
{
    QString text;
    QTextStream out(&text);
    QVERIFY(AccountSummary::print(m_dir.filePath("a"), out));
    for (const auto &dialog : m_account->dialogs()) {
        QVERIFY2(text.contains(dialog->name().left(17)), qPrintable(dialog->name()));
    }
    QVERIFY(text.contains("files not downloaded"));
    QString missing;
    QTextStream none(&missing);
    QVERIFY(!AccountSummary::print(m_dir.filePath("nothing"), none));
}

QTEST_GUILESS_MAIN(TestSampleAccount)
#include "tst_sampleaccount.moc"
