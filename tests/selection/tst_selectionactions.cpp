#include "contenttype.h"
#include "filemanager.h"
#include "mediaselector.h"
#include "mediatranslator.h"
#include "messagebase.h"
#include "readonlyfolder.h"
#include "resourceitem.h"
#include "selectiontestsupport.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QUrl>
#include <QtTest>

using namespace SelectionTest;

namespace {

QVariantList senders(std::initializer_list<qint64> ids)
{
    QVariantList list;
    for (qint64 id : ids) {
        list.append(QVariant::fromValue(id));
    }
    return list;
}

} // namespace

// What a user does with a multi-selection: the forward description, forward, the withdraw
// information, delete, transfer to the cloud drive, and saving the files into a folder. Each
// action reaches a real account, which records the calls the host would carry out.
class TestSelectionActions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void forwardDesc_data();
    void forwardDesc();

    void forwardSendsForwardableMessagesOldestFirst();
    void forwardWithNothingForwardableStillCallsAndClears();
    void revokeInfosListSendersPerDialog();
    void deleteSendsWholeMessagesAndClears();
    void transferSendsForwardableMessages();
    void emptySelectionActsOnNothing();

    void batchSaveAsCopiesEqualNamesToDistinctFiles();
    void batchSaveAsIntoUnusableFolderKeepsTheSelection_data();
    void batchSaveAsIntoUnusableFolderKeepsTheSelection();
    void batchSaveAsTakesAFolderUrl();
    void batchSaveAsNamesAreFreeOnceCopiesEnd();

private:
    void tick(const QString &label, const MessageSpec &spec = {});
    // A file message whose bytes come from a file:// source in the test folder.
    QSharedPointer<MessageBase> fileMessage(const QString &label, const QString &fileId,
                                            const QString &name, const QByteArray &bytes,
                                            bool savable = true);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<RecordingAccount> m_account;
    std::unique_ptr<Items> m_items;
    std::unique_ptr<MediaSelector> m_selector;
};

void TestSelectionActions::initTestCase()
{
    QVERIFY(MediaTranslator::install(QLocale(QLocale::English)));
}

void TestSelectionActions::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_account = std::make_unique<RecordingAccount>(1, m_dir->filePath("account"));
    QVERIFY(m_account->isValid());
    m_items = std::make_unique<Items>();
    m_selector = std::make_unique<MediaSelector>(m_account.get(), QStringLiteral("a"));
}

void TestSelectionActions::cleanup()
{
    m_selector.reset();
    m_items.reset();
    drainEvents();
    m_account.reset();
    drainEvents();
    m_dir.reset();
}

void TestSelectionActions::tick(const QString &label, const MessageSpec &spec)
{
    m_selector->changeSelected((*m_items)(label, spec));
}

QSharedPointer<MessageBase> TestSelectionActions::fileMessage(const QString &label,
                                                              const QString &fileId,
                                                              const QString &name,
                                                              const QByteArray &bytes, bool savable)
{
    const QString source = m_dir->filePath("sources/" + fileId);
    QDir().mkpath(QFileInfo(source).path());
    QFile file(source);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        qWarning() << "cannot write" << source;
    }
    im::Message proto = protoOf(label, {CONTENT_FILE});
    im::FileInfo *info = proto.mutable_file();
    info->set_file_id(fileId.toStdString());
    info->set_suffix("pdf");
    info->set_size(bytes.size());
    info->set_name(name.toStdString());
    info->set_url(QUrl::fromLocalFile(source).toString().toStdString());
    proto.set_not_savable(!savable);
    return makeMessage(proto, m_account->fileManager());
}

void TestSelectionActions::forwardDesc_data()
{
    QTest::addColumn<QList<int>>("types");
    QTest::addColumn<QString>("desc");

    QTest::newRow("nothing") << QList<int> {} << QString();
    QTest::newRow("a photo") << QList<int> {CONTENT_PHOTO} << "[Photo]";
    QTest::newRow("a video") << QList<int> {CONTENT_VIDEO} << "[Video]";
    QTest::newRow("a voice message") << QList<int> {CONTENT_VOICE} << "[Voice message]";
    QTest::newRow("music") << QList<int> {CONTENT_MUSIC} << "[Music]";
    QTest::newRow("a file") << QList<int> {CONTENT_FILE} << "[File]";
    QTest::newRow("a text message") << QList<int> {CONTENT_TEXT} << "text of 10";
    QTest::newRow("a type without a text") << QList<int> {CONTENT_COMBINED} << QString();
    QTest::newRow("three messages")
            << QList<int> {CONTENT_PHOTO, CONTENT_TEXT, CONTENT_FILE} << "Forward 3 messages";
}

void TestSelectionActions::forwardDesc()
{
    QFETCH(QList<int>, types);
    QFETCH(QString, desc);
    for (int i = 0; i < types.size(); ++i) {
        im::Message proto = protoOf(QString::number(10 * (i + 1)), {types.at(i)});
        proto.set_text(QStringLiteral("text of %1").arg(10 * (i + 1)).toStdString());
        m_selector->changeSelected(m_items->add(makeMessage(proto, nullptr)));
    }
    QCOMPARE(m_selector->forwardDesc(), desc);
    QCOMPARE(m_selector->selectCount(), types.size());
}

void TestSelectionActions::forwardSendsForwardableMessagesOldestFirst()
{
    tick("a/30");
    tick("b/20");
    tick("a/10", {CONTENT_PHOTO, 7, false});
    tick("a/40", {CONTENT_PHOTO, 7, true, true});
    tick("b/50.1");
    tick("a/5");
    QSignalSpy counted(m_selector.get(), &MediaSelector::selectCountChanged);
    const QVariantMap options {{"comment", "look"}, {"targets", QStringList {"c", "d"}}};

    m_selector->forwardMessages(options);

    QCOMPARE(m_account->forwards.size(), 1);
    QCOMPARE(labelsOf(m_account->forwards.first().messages),
             (QStringList {"a/5", "b/20", "a/30", "b/50.1"}));
    QCOMPARE(m_account->forwards.first().options, options);
    QCOMPARE(m_selector->selectCount(), 0);
    QCOMPARE(m_selector->forwardableCount(), 0);
    QCOMPARE(counted.size(), 1);
}

void TestSelectionActions::forwardWithNothingForwardableStillCallsAndClears()
{
    tick("a/10", {CONTENT_PHOTO, 7, false});
    tick("a/20", {CONTENT_PHOTO, 7, true, true});
    m_selector->forwardMessages({});
    QCOMPARE(m_account->forwards.size(), 1);
    QVERIFY(m_account->forwards.first().messages.isEmpty());
    QCOMPARE(m_selector->selectCount(), 0);
}

void TestSelectionActions::revokeInfosListSendersPerDialog()
{
    tick("a/30", {CONTENT_PHOTO, 3});
    tick("a/10", {CONTENT_PHOTO, 3});
    tick("a/20", {CONTENT_PHOTO, 1});
    tick("a/40", {CONTENT_PHOTO, 9, true, true});
    tick("b/10", {CONTENT_PHOTO, 5});
    tick("c/10", {CONTENT_PHOTO, 6, true, true});

    const QVariantMap infos = m_selector->revokeInfos();

    const QVariantMap expected {{"a", senders({3, 1})}, {"b", senders({5})}};
    QCOMPARE(infos, expected);
    QCOMPARE(m_selector->selectCount(), 6);
    QCOMPARE(m_account->calls(), 0);
}

void TestSelectionActions::deleteSendsWholeMessagesAndClears()
{
    tick("a/20", {CONTENT_PHOTO, 42});
    tick("a/10", {CONTENT_PHOTO, 3});
    tick("a/50.1");
    tick("a/50.2");
    tick("a/40", {CONTENT_PHOTO, 7, true, true});
    tick("b/70", {CONTENT_PHOTO, 5});
    tick("c/50.1");
    QSignalSpy children(m_selector.get(), &MediaSelector::selectChildCountChanged);

    m_selector->deleteMessages(true);

    QCOMPARE(m_account->deletions.size(), 1);
    const RecordingAccount::Deletion &deletion = m_account->deletions.first();
    QVERIFY(deletion.bRevocable);
    QCOMPARE(deletion.records.keys(), (QStringList {"a", "b"}));
    const QList<DeletionRecord> inA = deletion.records.value("a");
    QCOMPARE(inA.size(), 2);
    QCOMPARE(inA.at(0).messageId, 10);
    QCOMPARE(inA.at(0).senderId, 3);
    QCOMPARE(inA.at(0).flags, 0);
    QCOMPARE(inA.at(1).messageId, 20);
    QCOMPARE(inA.at(1).flags, int(DeletionRecord::SentByMe));
    QCOMPARE(deletion.records.value("b").first().messageId, 70);
    QCOMPARE(m_selector->selectCount(), 0);
    QCOMPARE(m_selector->selectChildCount(), 0);
    QCOMPARE(children.size(), 1);
}

void TestSelectionActions::transferSendsForwardableMessages()
{
    tick("a/10");
    tick("a/20", {CONTENT_PHOTO, 7, false});
    tick("a/30", {CONTENT_PHOTO, 7, true, true});
    tick("a/40");
    m_selector->transferToCloudDrive(77);
    QCOMPARE(m_account->transfers.size(), 1);
    QCOMPARE(labelsOf(m_account->transfers.first().messages), (QStringList {"a/10", "a/40"}));
    QCOMPARE(m_account->transfers.first().nodeLocalId, 77);
    QCOMPARE(m_selector->selectCount(), 0);
}

void TestSelectionActions::emptySelectionActsOnNothing()
{
    QSignalSpy counted(m_selector.get(), &MediaSelector::selectCountChanged);
    m_selector->forwardMessages({});
    m_selector->deleteMessages(false);
    m_selector->transferToCloudDrive(1);
    m_selector->batchSaveAs(m_dir->path());
    QCOMPARE(m_selector->forwardDesc(), QString());
    QVERIFY(m_selector->revokeInfos().isEmpty());
    QCOMPARE(m_account->calls(), 0);
    QCOMPARE(counted.size(), 0);
}

void TestSelectionActions::batchSaveAsCopiesEqualNamesToDistinctFiles()
{
    const QByteArray first(2048, 'a');
    const QByteArray second(1024, 'b');
    m_selector->changeSelected(m_items->add(fileMessage("a/10", "f10", "report.pdf", first)));
    m_selector->changeSelected(m_items->add(fileMessage("a/20", "f20", "report.pdf", second)));
    m_selector->changeSelected(
            m_items->add(fileMessage("a/30", "f30", "secret.pdf", "no", /*savable=*/false)));
    im::Message excluded = protoOf("a/40", {CONTENT_FILE});
    excluded.mutable_file()->set_file_id("f40");
    excluded.mutable_file()->set_name("excluded.pdf");
    m_selector->changeSelected(
            m_items->add(makeMessage(excluded, m_account->fileManager(), /*excluded=*/true)));
    m_selector->changeSelected((*m_items)("a/50", {CONTENT_TEXT}));
    const QString folder = m_dir->filePath("saved");
    QVERIFY(QDir().mkpath(folder));
    QSignalSpy saved(m_account->fileManager(), &FileManager::saveAsFinished);

    m_selector->batchSaveAs(folder);

    QCOMPARE(m_selector->selectCount(), 0);
    QTRY_COMPARE(saved.size(), 2);
    for (const QList<QVariant> &result : saved) {
        QVERIFY2(result.at(2).toBool(), qPrintable(result.at(1).toString()));
    }
    QStringList names = QDir(folder).entryList(QDir::Files, QDir::Name);
    QCOMPARE(names, (QStringList {"report (1).pdf", "report.pdf"}));
    QFile plain(QDir(folder).filePath("report.pdf"));
    QFile renamed(QDir(folder).filePath("report (1).pdf"));
    QVERIFY(plain.open(QIODevice::ReadOnly) && renamed.open(QIODevice::ReadOnly));
    QCOMPARE(plain.readAll(), first);
    QCOMPARE(renamed.readAll(), second);
}

void TestSelectionActions::batchSaveAsIntoUnusableFolderKeepsTheSelection_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<bool>("readOnly");
    QTest::newRow("missing folder") << "missing" << false;
    QTest::newRow("missing folder as a URL") << "url:missing" << false;
    QTest::newRow("no folder") << "" << false;
    QTest::newRow("folder that cannot be written") << "locked" << true;
}

// Nothing is copied and the selection stays, so that the user can pick another folder.
void TestSelectionActions::batchSaveAsIntoUnusableFolderKeepsTheSelection()
{
    QFETCH(QString, folder);
    QFETCH(bool, readOnly);
    QString path;
    if (folder.startsWith("url:")) {
        path = QUrl::fromLocalFile(m_dir->filePath(folder.mid(4))).toString();
    } else if (!folder.isEmpty()) {
        path = m_dir->filePath(folder);
    }
    std::unique_ptr<ReadOnlyFolder> locked;
    if (readOnly) {
        QVERIFY(QDir().mkpath(path));
        locked = std::make_unique<ReadOnlyFolder>(path);
        QVERIFY(locked->isLocked());
    }
    m_selector->changeSelected(m_items->add(fileMessage("a/10", "f10", "report.pdf", "x")));
    QSignalSpy saved(m_account->fileManager(), &FileManager::saveAsFinished);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("cannot save the selected files"));
    m_selector->batchSaveAs(path);
    QCOMPARE(m_selector->selectCount(), 1);
    QCoreApplication::processEvents();
    QCOMPARE(saved.size(), 0);
    QVERIFY(!QFileInfo::exists(m_dir->filePath("missing")));
}

// A folder dialog hands its choice over as a file:// URL.
void TestSelectionActions::batchSaveAsTakesAFolderUrl()
{
    m_selector->changeSelected(m_items->add(fileMessage("a/10", "f10", "report.pdf", "pdf")));
    const QString folder = m_dir->filePath("saved");
    QVERIFY(QDir().mkpath(folder));
    QSignalSpy saved(m_account->fileManager(), &FileManager::saveAsFinished);
    m_selector->batchSaveAs(QUrl::fromLocalFile(folder).toString());
    QCOMPARE(m_selector->selectCount(), 0);
    QTRY_COMPARE(saved.size(), 1);
    QVERIFY(saved.constFirst().at(2).toBool());
    QCOMPARE(QDir(folder).entryList(QDir::Files), QStringList {"report.pdf"});
}

// A name is held only while its copy runs: once the copy is done, or has failed, and the name is
// free in the folder, the next save takes it again.
void TestSelectionActions::batchSaveAsNamesAreFreeOnceCopiesEnd()
{
    const QString folder = m_dir->filePath("saved");
    QVERIFY(QDir().mkpath(folder));
    QSignalSpy saved(m_account->fileManager(), &FileManager::saveAsFinished);
    const auto saveOne = [&](const QString &label, const QString &fileId, const QString &name) {
        m_selector->changeSelected(m_items->add(fileMessage(label, fileId, name, "pdf")));
        m_selector->batchSaveAs(folder);
    };

    saveOne("a/10", "f10", "report.pdf");
    QTRY_COMPARE(saved.size(), 1);
    QVERIFY(saved.last().at(2).toBool());
    QVERIFY(QFile::remove(QDir(folder).filePath("report.pdf")));
    saveOne("a/11", "f11", "report.pdf");
    QTRY_COMPARE(saved.size(), 2);
    QCOMPARE(saved.last().at(1).toString(), QDir(folder).filePath("report.pdf"));

    // A copy whose bytes cannot be fetched fails and leaves its name.
    m_selector->changeSelected(m_items->add(fileMessage("a/12", "f12", "notes.pdf", "pdf")));
    QVERIFY(QFile::remove(m_dir->filePath("sources/f12")));
    m_selector->batchSaveAs(folder);
    QTRY_COMPARE(saved.size(), 3);
    QVERIFY(!saved.last().at(2).toBool());
    saveOne("a/13", "f13", "notes.pdf");
    QTRY_COMPARE(saved.size(), 4);
    QVERIFY(saved.last().at(2).toBool());
    QCOMPARE(QDir(folder).entryList(QDir::Files, QDir::Name),
             (QStringList {"notes.pdf", "report.pdf"}));
}

QTEST_GUILESS_MAIN(TestSelectionActions)
#include "tst_selectionactions.moc"
