#include "accountbase.h"
#include "accountmanager.h"
#include "accountsettingmodel.h"
#include "appdirmanager.h"
#include "appsettingmodel.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "filedata.h"
#include "filemanager.h"
#include "im.pb.h"
#include "imageitem.h"
#include "messagebase.h"
#include "messagestorage.h"
#include "modelbaseutil.h"
#include "resourcestorage.h"
#include "threadmanager.h"
#include "userstorageprovider.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QtConcurrent/QtConcurrentRun>
#include <QtTest>

Q_DECLARE_METATYPE(im::Message)

namespace {

im::Message photo(const char *dialogId, qint64 id, qint64 time)
{
    im::Message m;
    m.set_dialog_id(dialogId);
    m.set_msg_id(id);
    m.set_type(CONTENT_PHOTO);
    m.set_time(time);
    m.set_sender_id(42);
    m.mutable_file()->set_file_id("p" + std::to_string(id));
    m.mutable_file()->set_suffix("jpg");
    m.mutable_file()->set_size(2048);
    m.mutable_file()->set_name("beach.jpg");
    m.mutable_thumb()->set_file_id("t" + std::to_string(id));
    m.mutable_thumb()->set_suffix("jpg");
    return m;
}

} // namespace

// The stand-in account: dialogs, the message store, settings and the host's helpers.
class TestAccount : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void unknownDialogIsNull();
    void storedMessagesComeBackByKey();
    void childOfCombinedMessageHasItsOwnKey();
    void messagesAreSharedAcrossThreads();
    void batchedMessagesMatchSingleLookups();
    void batchedMessagesShareHeldObjects();
    void batchedMessagesMixPlainAndChildKeys();
    void batchedMessagesSkipUnreadableRows();
    void storedMessageAnswersFromItsRecord_data();
    void storedMessageAnswersFromItsRecord();
    void storeWritesGalleryRows_data();
    void storeWritesGalleryRows();
    void editedMessageEmitsContentChanged();
    void hiddenIds();
    void searchDialogs_data();
    void searchDialogs();
    void keepTimesPersist();
    void appSettingsEmitOnChangeOnly();
    void accountManagerLoadsByFolder();
    void threadManagerKeepsOrder();
    void mediaPathsMatchMessageTypes();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
};

void TestAccount::initTestCase()
{
    AppDirManager::instance()->setDataDir(m_dir.filePath("app"));
    AppSettingModel::instance()->reload();
    QVERIFY(AccountManager::writeAccountInfo(m_dir.filePath("acc"), 77, "Tester"));
    m_account = std::make_unique<AccountBase>(77, m_dir.filePath("acc"));
    QVERIFY(m_account->isValid());
    QVERIFY(m_account->storeDialog("u1", "Alice", DIALOG_PRIVATE, 5000));
    QVERIFY(m_account->storeDialog("g1", "Hikers", DIALOG_GROUP, 9000));
    QVERIFY(m_account->storeDialog("s1", "Notices", DIALOG_SYSTEM, 1000));

    im::Message link;
    link.set_dialog_id("u1");
    link.set_msg_id(3);
    link.set_type(CONTENT_TEXT);
    link.set_time(3000);
    link.set_text("https://example.org");
    link.add_urls("https://example.org");
    im::Message text = link;
    text.set_msg_id(4);
    text.clear_urls();
    text.set_text("hello");
    im::Message album;
    album.set_dialog_id("u1");
    album.set_msg_id(5);
    album.set_type(CONTENT_COMBINED);
    album.set_time(5000);
    for (int c = 1; c <= 2; ++c) {
        im::Message *child = album.add_combined_messages();
        *child = photo("u1", c, 5000);
        child->set_parent_msg_id(5);
        child->mutable_file()->set_file_id("c" + std::to_string(c));
    }
    QVERIFY(m_account->storeMessages(
            {photo("u1", 1, 1000), photo("u1", 2, 2000), link, text, album}));
}

void TestAccount::unknownDialogIsNull()
{
    QVERIFY(m_account->dialog("nope").isNull());
    QVERIFY(!m_account->dialog("u1").isNull());
    QCOMPARE(m_account->dialog("g1")->isGroup(), true);
}

void TestAccount::storedMessagesComeBackByKey()
{
    const QSharedPointer<DialogBase> dialog = m_account->dialog("u1");
    const QSharedPointer<MessageBase> message = dialog->message(MessageKey(2, 0));
    QVERIFY(message);
    QCOMPARE(message->dateTime(), qint64(2000));
    QCOMPARE(message->thread(), qApp->thread());
    const auto image = message->contentItem().dynamicCast<ImageItem>();
    QVERIFY(image);
    QCOMPARE(image->sourceFilePtr()->fileId(), QString("p2"));
    QCOMPARE(image->sourceFilePtr()->size(), qint64(2048));
    QVERIFY(image->validThumbFile());
    QCOMPARE(image->displayName(), QString("beach.jpg"));
    QVERIFY(dialog->message(MessageKey(99, 0)).isNull());
}

void TestAccount::childOfCombinedMessageHasItsOwnKey()
{
    const QSharedPointer<MessageBase> child = m_account->dialog("u1")->message(MessageKey(5, 2));
    QVERIFY(child);
    QVERIFY(child->isSubMessage());
    QCOMPARE(child->parentMsgId(), qint64(5));
    QCOMPARE(child->msgId(), qint64(2));
    QCOMPARE(child->key(), MessageKey(5, 2));
}

void TestAccount::messagesAreSharedAcrossThreads()
{
    const QSharedPointer<DialogBase> dialog = m_account->dialog("u1");
    const QSharedPointer<MessageBase> here = dialog->message(MessageKey(1, 0));
    const QSharedPointer<MessageBase> there =
            QtConcurrent::run([dialog] { return dialog->message(MessageKey(1, 0)); }).result();
    QCOMPARE(here.data(), there.data());
    QCOMPARE(there->thread(), qApp->thread());
}

// One entry per key in order, nulls in place, children by their stored key, duplicates alike.
void TestAccount::batchedMessagesMatchSingleLookups()
{
    const QSharedPointer<DialogBase> dialog = m_account->dialog("g1");
    QVERIFY(m_account->storeMessages({photo("g1", 1, 1000), photo("g1", 2, 2000)}));
    const QList<MessageKey> keys {MessageKey(2, 0), MessageKey(99, 0), MessageKey(1, 0),
                                  MessageKey(2, 0)};
    const QList<QSharedPointer<MessageBase>> batch = dialog->messages(keys);
    QCOMPARE(batch.size(), keys.size());
    QVERIFY(batch.at(1).isNull());
    QCOMPARE(batch.at(0)->key(), MessageKey(2, 0));
    QCOMPARE(batch.at(2)->key(), MessageKey(1, 0));
    QCOMPARE(batch.at(3).data(), batch.at(0).data());
    QCOMPARE(batch.at(0)->thread(), qApp->thread());
    QCOMPARE(dialog->message(MessageKey(1, 0)).data(), batch.at(2).data());
    const auto image = batch.at(0)->contentItem().dynamicCast<ImageItem>();
    QVERIFY(image);
    QCOMPARE(image->sourceFilePtr()->fileId(), QString("p2"));
    QCOMPARE(image->sourceFilePtr()->size(), qint64(2048));
    QCOMPARE(image->thumbFilePtr()->fileId(), QString("t2"));

    const QList<QSharedPointer<MessageBase>> children =
            m_account->dialog("u1")->messages({MessageKey(5, 2), MessageKey(5, 1)});
    QCOMPARE(children.at(0)->msgId(), qint64(2));
    QCOMPARE(children.at(1)->msgId(), qint64(1));
    QCOMPARE(children.at(0)->parentMsgId(), qint64(5));
    QVERIFY(dialog->messages({}).isEmpty());
}

// Messages and files that someone holds are not made again: every holder sees one object.
void TestAccount::batchedMessagesShareHeldObjects()
{
    const QSharedPointer<DialogBase> dialog = m_account->dialog("u1");
    const QSharedPointer<MessageBase> held = dialog->message(MessageKey(1, 0));
    const QSharedPointer<FileData> heldFile = m_account->fileManager()->filePtrWithId("p2", true);
    QVERIFY(heldFile);
    const QList<QSharedPointer<MessageBase>> batch =
            dialog->messages({MessageKey(1, 0), MessageKey(2, 0)});
    QCOMPARE(batch.at(0).data(), held.data());
    const auto image = batch.at(1)->contentItem().dynamicCast<ImageItem>();
    QCOMPARE(image->sourceFilePtr().data(), heldFile.data());
    QCOMPARE(m_account->fileManager()->filePtrWithId("t2", false).data(),
             image->thumbFilePtr().data());
}

// Plain keys and the keys of combined messages' children are read apart; the answer keeps the
// order of the keys asked.
void TestAccount::batchedMessagesMixPlainAndChildKeys()
{
    const QList<MessageKey> keys {MessageKey(2, 0), MessageKey(5, 2), MessageKey(99, 0),
                                  MessageKey(5, 9), MessageKey(1, 0), MessageKey(5, 1)};
    const QList<QSharedPointer<MessageBase>> batch = m_account->dialog("u1")->messages(keys);
    QCOMPARE(batch.size(), keys.size());
    for (qsizetype i = 0; i < keys.size(); ++i) {
        const bool stored = keys.at(i).messageId != 99 && keys.at(i).subMsgId != 9;
        QCOMPARE(!batch.at(i).isNull(), stored);
        if (stored) {
            QCOMPARE(batch.at(i)->key(), keys.at(i));
        }
    }
}

void TestAccount::batchedMessagesSkipUnreadableRows()
{
    storage::MessageRecord broken;
    broken.dialogId = "g1";
    broken.messageId = 50;
    broken.dateTime = 50000;
    broken.type = CONTENT_PHOTO;
    broken.data = QByteArray("\x0a\x7f\x01", 3);
    QVERIFY(m_account->storage()->messageStorage()->save({broken}));
    QVERIFY(m_account->storeMessages({photo("g1", 51, 51000)}));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("unreadable stored message"));
    const QList<QSharedPointer<MessageBase>> batch =
            m_account->dialog("g1")->messages({MessageKey(50, 0), MessageKey(51, 0)});
    QVERIFY(batch.at(0).isNull());
    QCOMPARE(batch.at(1)->msgId(), qint64(51));
}

// A message loaded from the store keeps its record as stored: the record it gives back and every
// accessor agree with what was written, also for fields read only on demand.
void TestAccount::storedMessageAnswersFromItsRecord_data()
{
    QTest::addColumn<im::Message>("record");
    im::Message quoting = photo("g1", 60, 60000);
    quoting.set_text("look at this");
    quoting.set_ref_dialog_id("u1");
    quoting.set_ref_msg_id("2");
    *quoting.mutable_quote() = photo("u1", 2, 2000);
    quoting.mutable_quote()->set_sender_id(7);
    QTest::newRow("a photo quoting another, with a caption") << quoting;
    im::Message withdrawn = photo("g1", 61, 61000);
    withdrawn.set_revoked(true);
    withdrawn.set_not_forwardable(true);
    QTest::newRow("withdrawn and not forwardable") << withdrawn;
    im::Message album = photo("g1", 62, 62000);
    album.set_type(CONTENT_COMBINED);
    album.clear_file();
    album.clear_thumb();
    for (int c = 1; c <= 3; ++c) {
        im::Message *child = album.add_combined_messages();
        *child = photo("g1", c, 62000);
        child->set_parent_msg_id(62);
    }
    QTest::newRow("a combined message") << album;
}

void TestAccount::storedMessageAnswersFromItsRecord()
{
    QFETCH(im::Message, record);
    QVERIFY(m_account->storeMessages({record}));
    const QSharedPointer<MessageBase> message =
            m_account->dialog("g1")->messages({MessageKey(record.msg_id(), 0)}).value(0);
    QVERIFY(message);
    QCOMPARE(QByteArray::fromStdString(message->proto().SerializeAsString()),
             QByteArray::fromStdString(record.SerializeAsString()));
    QCOMPARE(message->text(), QString::fromStdString(record.text()));
    QCOMPARE(message->referenceDialogId(), QString::fromStdString(record.ref_dialog_id()));
    const ReferenceInfo reference = message->referenceInfo();
    QCOMPARE(reference.messageId, QString::fromStdString(record.ref_msg_id()));
    QCOMPARE(reference.senderId, record.has_quote() ? record.quote().sender_id() : 0);
    QCOMPARE(message->quoteMessage().isNull(), !record.has_quote());
    QCOMPARE(message->isRevoked(), record.revoked());
    QCOMPARE(message->canForward(false), !record.revoked() && !record.not_forwardable());
    QCOMPARE(message->senderId(), record.sender_id());
    const QList<QSharedPointer<MessageBase>> children = message->combinedMessages();
    QCOMPARE(children.size(), record.combined_messages_size());
    for (int c = 0; c < children.size(); ++c) {
        QCOMPARE(children.at(c)->key(), MessageKey(record.msg_id(), c + 1));
    }
}

void TestAccount::storeWritesGalleryRows_data()
{
    QTest::addColumn<QList<int>>("types");
    QTest::addColumn<bool>("links");
    QTest::addColumn<QList<qint64>>("messageIds");
    QTest::newRow("photos, album children included")
            << QList<int> {CONTENT_PHOTO} << false << QList<qint64> {5, 5, 2, 1};
    QTest::newRow("a text with a link is a link row; plain text is none")
            << QList<int>() << true << QList<qint64> {3};
}

void TestAccount::storeWritesGalleryRows()
{
    QFETCH(QList<int>, types);
    QFETCH(bool, links);
    QFETCH(QList<qint64>, messageIds);
    storage::ResourceSearchInfo info;
    info.types = types;
    info.isLink = links;
    info.count = 100;
    QList<qint64> found;
    for (const storage::ResourceInfo &row :
         m_account->storage()->resourceStorage()->infosBefore(QStringLiteral("u1"), info)) {
        found.append(row.messageId);
    }
    QCOMPARE(found, messageIds);
}

void TestAccount::editedMessageEmitsContentChanged()
{
    const QSharedPointer<MessageBase> message = m_account->dialog("u1")->message(MessageKey(1, 0));
    QSignalSpy changed(message.data(), &MessageBase::contentChanged);
    im::Message edited = message->proto();
    edited.set_text("edited caption");
    edited.set_edit_version(2);
    message->setProto(edited);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(message->text(), QString("edited caption"));
}

void TestAccount::hiddenIds()
{
    QVERIFY(!m_account->isHidden("u1"));
    m_account->setHidden("u1", true);
    QVERIFY(m_account->isHidden("u1"));
    m_account->setHidden("u1", false);
    QVERIFY(!m_account->isHidden("u1"));
}

void TestAccount::searchDialogs_data()
{
    QTest::addColumn<QString>("keyword");
    QTest::addColumn<qint64>("cutOff");
    QTest::addColumn<int>("kinds");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("all chats, newest first, system left out")
            << "" << qint64(0) << 3 << QStringList {"g1", "u1"};
    QTest::newRow("private only") << "" << qint64(0) << 1 << QStringList {"u1"};
    QTest::newRow("active since") << "" << qint64(6000) << 3 << QStringList {"g1"};
    QTest::newRow("keyword, any case") << "ALI" << qint64(0) << 3 << QStringList {"u1"};
}

void TestAccount::searchDialogs()
{
    QFETCH(QString, keyword);
    QFETCH(qint64, cutOff);
    QFETCH(int, kinds);
    QFETCH(QStringList, expected);
    QStringList found;
    for (const auto &dialog : m_account->searchDialogs(keyword, cutOff, kinds)) {
        found.append(dialog->dialogId());
    }
    QCOMPARE(found, expected);
}

void TestAccount::keepTimesPersist()
{
    AccountSettingModel *settings = m_account->accountSettingModel();
    QCOMPARE(settings->privateKeepTime(), AccountSettingModel::DefaultKeepTime);
    QSignalSpy changed(settings, &AccountSettingModel::privateKeepTimeChanged);
    settings->setPrivateKeepTime(7);
    settings->setPrivateKeepTime(7);
    QCOMPARE(changed.count(), 1);
    AccountSettingModel reread(m_dir.filePath("acc/settings.json"));
    QCOMPARE(reread.privateKeepTime(), 7);
}

void TestAccount::appSettingsEmitOnChangeOnly()
{
    AppSettingModel *settings = AppSettingModel::instance();
    QSignalSpy limit(settings, &AppSettingModel::localCacheMaxSizeChanged);
    settings->setLocalCacheMaxSize(5 * 1024 * 1024);
    settings->setLocalCacheMaxSize(5 * 1024 * 1024);
    QCOMPARE(limit.count(), 1);
    settings->setMusicPlay(R"({"play_sequence":1,"play_loop":0})", true);
    settings->reload();
    QCOMPARE(settings->localCacheMaxSize(), qint64(5 * 1024 * 1024));
    QCOMPARE(settings->musicPlay(), QString(R"({"play_sequence":1,"play_loop":0})"));
}

void TestAccount::accountManagerLoadsByFolder()
{
    AccountManager *manager = AccountManager::getInstance();
    QVERIFY(!manager->loadAccount(m_dir.filePath("empty")));
    AccountBase *loaded = manager->loadAccount(m_dir.filePath("acc"));
    QVERIFY(loaded);
    QCOMPARE(manager->getAccount(77), loaded);
    QCOMPARE(manager->loadAccount(m_dir.filePath("acc")), loaded);
    manager->unloadAccount(77);
    QVERIFY(!manager->getAccount(77));
}

void TestAccount::threadManagerKeepsOrder()
{
    QList<int> order;
    QThread *worker = nullptr;
    for (int i = 0; i < 20; ++i) {
        ThreadManager::invoke(
                [&order, &worker, i] {
                    order.append(i);
                    worker = QThread::currentThread();
                },
                true);
    }
    ThreadManager::invoke([&order] { order.append(100); }, false);
    QCOMPARE(order.size(), 21);
    QCOMPARE(order.last(), 100);
    QVERIFY(std::is_sorted(order.cbegin(), order.cend()));
    QVERIFY(worker != QThread::currentThread());
}

void TestAccount::mediaPathsMatchMessageTypes()
{
    const QString cache = m_account->userCacheDataPath();
    QVERIFY(cache.endsWith('/'));
    QCOMPARE(ModelBaseUtil::makeMediaPath(cache, 1, ModelBaseUtil::getMsgTypeToFileType(5)),
             cache + ModelBaseUtil::getFileTypeString(4) + '/');
    const QSharedPointer<FileData> file = m_account->fileManager()->filePtrWithId("p1", true);
    QVERIFY(file);
    QCOMPARE(file->localPath(),
             ModelBaseUtil::makeMediaPath(cache, 1, ModelBaseUtil::getMsgTypeToFileType(2))
                     + "p1.jpg");
    QVERIFY(ModelBaseUtil::isNeedUploadType(3));
    QVERIFY(!ModelBaseUtil::isNeedUploadType(1));
}

QTEST_GUILESS_MAIN(TestAccount)
#include "tst_account.moc"
