#include "accountbase.h"
#include "contentitem.h"
#include "dialogbase.h"
#include "filedata.h"
#include "mediainfo.h"
#include "mediatestsupport.h"
#include "messagebase.h"
#include "resourceitem.h"
#include "resourcelinkitem.h"
#include "resourcestorage.h"

#include <QJSEngine>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

using namespace MediaTest;

Q_DECLARE_METATYPE(im::Message)

namespace {

storage::ResourceInfo row(const QString &dialogId, qint64 messageId, qint64 subMsgId,
                          qint64 dateTime, int type = 2)
{
    storage::ResourceInfo info;
    info.dialogId = dialogId;
    info.messageId = messageId;
    info.subMsgId = subMsgId;
    info.dateTime = dateTime;
    info.type = type;
    return info;
}

im::Message childProto(qint64 parentId, qint64 ownId, qint64 time)
{
    im::Message child = photoProto("u1", ownId, time);
    child.set_parent_msg_id(parentId);
    return child;
}

} // namespace

// Hands an object on through a method, as a QML handler passing an item's message along does. An
// engine takes what a method returns as its own to collect, unless it was marked as C++'s.
class Relay : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE QObject *pass(QObject *object) const { return object; }
};

// The media entry every list, selection and player passes around: its identity, its total order
// and what it takes from its message.
class TestResourceItem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void identity_data();
    void identity();
    void childOfCombinedMessageIsKeyedUnderItsParent();
    void mediaRecordTakesTimeAndKeysFromTheRecord();
    void mediaRecordWithoutMessageIsRefused();
    void order_data();
    void order();
    void equalItemsOfDifferentTypesCompareEqual();
    void isValid_data();
    void isValid();
    void messageFreeAccessorsAreEmpty();
    void setMsgDataFillsAPlaceholderOnce();
    void copiesShareTheMessage();
    void startDestroyComesBeforeTheMessageIsReleased();
    void qmlNeverDeletesAnItem_data();
    void qmlNeverDeletesAnItem();
    void qmlNeverDeletesAMessageAnItemHandsOver();

    void linkAndTitle_data();
    void linkAndTitle();
    void linkItemsAreAlwaysLinks_data();
    void linkItemsAreAlwaysLinks();
    void linkFollowsEdits();
    void linkFollowsOnlyTheCurrentMessage();
    void titleAndLinkEmitOnChangeOnly();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
};

void TestResourceItem::initTestCase()
{
    m_account = std::make_unique<AccountBase>(42, m_dir.filePath("account"));
    QVERIFY(m_account->isValid());
    QVERIFY(m_account->storeDialog("u1", "Alice", 0, 1000));
    im::Message album = messageProto("u1", 7, 7000, 7);
    *album.add_combined_messages() = childProto(7, 1, 7000);
    *album.add_combined_messages() = childProto(7, 2, 7000);
    QVERIFY(m_account->storeMessages({album}));
}

void TestResourceItem::cleanup()
{
    // Stored messages are deleted with deleteLater.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestResourceItem::identity_data()
{
    QTest::addColumn<QSharedPointer<ResourceItem>>("item");
    QTest::addColumn<QString>("dialogId");
    QTest::addColumn<MessageKey>("key");
    QTest::addColumn<qint64>("dateTime");
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("hasMessage");

    QTest::newRow("empty") << QSharedPointer<ResourceItem>::create() << QString() << MessageKey()
                           << qint64(0) << 0 << false;
    QTest::newRow("table row, without its message")
            << QSharedPointer<ResourceItem>::create(row("g1", 12, 3, 5000, 5)) << "g1"
            << MessageKey(12, 3) << qint64(5000) << 5 << false;
    QTest::newRow("message") << QSharedPointer<ResourceItem>::create(
            makeMessage(photoProto("u1", 9, 9000)))
                             << "u1" << MessageKey(9, 0) << qint64(9000) << 2 << true;
    QTest::newRow("lookup probe") << QSharedPointer<ResourceItem>::create("u2", MessageKey(4, 1),
                                                                          qint64(400))
                                  << "u2" << MessageKey(4, 1) << qint64(400) << 0 << false;
}

void TestResourceItem::identity()
{
    QFETCH(QSharedPointer<ResourceItem>, item);
    QFETCH(QString, dialogId);
    QFETCH(MessageKey, key);

    QCOMPARE(item->dialogId(), dialogId);
    QCOMPARE(item->mediaKey(), key);
    QCOMPARE(item->messageId(), key.messageId);
    QCOMPARE(item->subMsgId(), key.subMsgId);
    QTEST(item->dateTime(), "dateTime");
    QTEST(item->type(), "type");
    QTEST(item->msgData() != nullptr, "hasMessage");
    QCOMPARE(item->property("mediaKey").value<MessageKey>(), key);
    QCOMPARE(item->property("dialogId").toString(), dialogId);
}

void TestResourceItem::childOfCombinedMessageIsKeyedUnderItsParent()
{
    const QSharedPointer<MessageBase> child = m_account->dialog("u1")->message(MessageKey(7, 2));
    QVERIFY(child);
    const ResourceItem item(child);
    QCOMPARE(item.mediaKey(), MessageKey(7, 2));
    QCOMPARE(item.dateTime(), qint64(7000));
    QCOMPARE(item.dialogId(), QString("u1"));
}

void TestResourceItem::mediaRecordTakesTimeAndKeysFromTheRecord()
{
    MediaInfo info;
    info.msg = makeMessage(photoProto("u1", 5, 5000));
    info.dateTime = 6000;
    info.messageId = 50;
    info.subMsgId = 2;
    const ResourceItem item(info);
    QCOMPARE(item.mediaKey(), MessageKey(50, 2));
    QCOMPARE(item.dateTime(), qint64(6000));
    QCOMPARE(item.dialogId(), QString("u1"));
    QCOMPARE(item.type(), 2);
    QCOMPARE(item.msgData(), info.msg.data());
}

void TestResourceItem::mediaRecordWithoutMessageIsRefused()
{
    MediaInfo info;
    info.messageId = 3;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("media record without a message"));
    const ResourceItem item(info);
    QVERIFY(!item.msgData());
    QVERIFY(!item.isValid());
    QCOMPARE(item.mediaKey(), MessageKey(3, 0));
}

void TestResourceItem::order_data()
{
    QTest::addColumn<QSharedPointer<ResourceItem>>("older");
    QTest::addColumn<QSharedPointer<ResourceItem>>("newer");
    using Item = QSharedPointer<ResourceItem>;

    QTest::newRow("time decides first")
            << Item::create(row("z", 99, 9, 1000)) << Item::create(row("a", 1, 0, 1001));
    QTest::newRow("same time: dialog id decides, case-sensitively (B before a)")
            << Item::create(row("B", 5, 0, 1000)) << Item::create(row("a", 1, 0, 1000));
    QTest::newRow("same time and dialog: message id decides")
            << Item::create(row("a", 4, 9, 1000)) << Item::create(row("a", 5, 0, 1000));
    QTest::newRow("same message: sub-message id decides")
            << Item::create(row("a", 5, 1, 1000)) << Item::create(row("a", 5, 2, 1000));
}

void TestResourceItem::order()
{
    QFETCH(QSharedPointer<ResourceItem>, older);
    QFETCH(QSharedPointer<ResourceItem>, newer);
    const ResourceItem &a = *older;
    const ResourceItem &b = *newer;

    QVERIFY(a < b);
    QVERIFY(b > a);
    QVERIFY(!(b < a));
    QVERIFY(!(a > b));
    QVERIFY(!(a == b));
    const storage::ResourceInfo rowOfB =
            row(b.dialogId(), b.messageId(), b.subMsgId(), b.dateTime());
    const storage::ResourceInfo rowOfA =
            row(a.dialogId(), a.messageId(), a.subMsgId(), a.dateTime());
    QVERIFY(a < rowOfB);
    QVERIFY(b > rowOfA);
    QVERIFY(!(a < rowOfA));
    QVERIFY(!(a > rowOfA));
}

void TestResourceItem::equalItemsOfDifferentTypesCompareEqual()
{
    const ResourceItem photo(row("a", 5, 0, 1000, 2));
    const ResourceItem video(row("a", 5, 0, 1000, 5));
    QVERIFY(photo == video);
    QVERIFY(!(photo < video));
    QVERIFY(!(photo > video));
}

void TestResourceItem::isValid_data()
{
    QTest::addColumn<im::Message>("proto");
    QTest::addColumn<bool>("withFiles");
    QTest::addColumn<bool>("valid");

    QTest::newRow("link with content and no file")
            << linkProto("u1", 1, 100, {"https://example.org"}) << false << true;
    QTest::newRow("photo with its source file") << photoProto("u1", 2, 200) << true << true;
    QTest::newRow("photo without a source file") << photoProto("u1", 3, 300) << false << false;
    QTest::newRow("text without links") << messageProto("u1", 4, 400, 1) << false << true;
}

void TestResourceItem::isValid()
{
    QFETCH(im::Message, proto);
    QFETCH(bool, withFiles);
    const ResourceItem item(makeMessage(proto, withFiles ? m_account->fileManager() : nullptr));
    QTEST(item.isValid(), "valid");
    QCOMPARE(item.sourceFilePtr().isNull(), !withFiles || proto.type() == 1);
    if (withFiles) {
        QCOMPARE(item.sourceFilePtr()->fileId(), QString::fromStdString(proto.file().file_id()));
    }
}

void TestResourceItem::messageFreeAccessorsAreEmpty()
{
    const ResourceItem placeholder(row("u1", 3, 0, 300, 2));
    QVERIFY(!placeholder.isValid());
    QVERIFY(placeholder.contentItem().isNull());
    QVERIFY(placeholder.sourceFilePtr().isNull());
    QVERIFY(placeholder.referenceDialogId().isEmpty());

    im::Message quoting = messageProto("u1", 4, 400, 1);
    quoting.set_ref_dialog_id("g7");
    const ResourceItem withMessage(makeMessage(quoting));
    QCOMPARE(withMessage.referenceDialogId(), QString("g7"));
    QVERIFY(withMessage.contentItem());
}

void TestResourceItem::setMsgDataFillsAPlaceholderOnce()
{
    ResourceItem item(row("u1", 7, 2, 1, 0));
    QSignalSpy changed(&item, &ResourceItem::msgDataChanged);
    const QSharedPointer<MessageBase> child = m_account->dialog("u1")->message(MessageKey(7, 2));

    item.setMsgData(child);
    item.setMsgData(child);
    item.setMsgData({});
    QCOMPARE(changed.count(), 1);
    QCOMPARE(item.msgData(), child.data());
    QCOMPARE(item.dateTime(), qint64(7000));
    QCOMPARE(item.type(), 2);
    QCOMPARE(item.mediaKey(), MessageKey(7, 2));
}

void TestResourceItem::copiesShareTheMessage()
{
    const QSharedPointer<MessageBase> message = makeMessage(photoProto("u1", 9, 900));
    const ResourceItem original(message);
    const ResourceItem copy(original);
    QCOMPARE(copy.msgDataPtr(), message);
    QVERIFY(copy == original);
    QCOMPARE(copy.type(), original.type());

    ResourceItem assigned;
    assigned = original;
    QCOMPARE(assigned.msgDataPtr(), message);
    QCOMPARE(assigned.mediaKey(), original.mediaKey());
    QCOMPARE(assigned.dialogId(), original.dialogId());
}

void TestResourceItem::startDestroyComesBeforeTheMessageIsReleased()
{
    QWeakPointer<MessageBase> message;
    bool messageHeldAtStartDestroy = false;
    {
        auto *item = new ResourceItem(makeMessage(photoProto("u1", 9, 900)));
        message = item->msgDataPtr();
        connect(item, &ResourceItem::startDestroy, this,
                [&] { messageHeldAtStartDestroy = !message.isNull(); });
        delete item;
    }
    QVERIFY(messageHeldAtStartDestroy);
    QVERIFY(message.isNull());
}

void TestResourceItem::qmlNeverDeletesAnItem_data()
{
    QTest::addColumn<QPointer<ResourceItem>>("item");
    QTest::newRow("empty") << QPointer<ResourceItem>(new ResourceItem);
    QTest::newRow("table row") << QPointer<ResourceItem>(new ResourceItem(row("u1", 1, 0, 1)));
    QTest::newRow("message") << QPointer<ResourceItem>(
            new ResourceItem(makeMessage(photoProto("u1", 2, 2))));
    QTest::newRow("link") << QPointer<ResourceItem>(
            new ResourceLinkItem(makeMessage(linkProto("u1", 3, 3, {"https://a.org"}))));
}

// A parentless object handed to a JavaScript engine becomes the engine's to collect unless it was
// marked as owned by C++.
void TestResourceItem::qmlNeverDeletesAnItem()
{
    QFETCH(QPointer<ResourceItem>, item);
    {
        QJSEngine engine;
        engine.globalObject().setProperty("item", engine.newQObject(item));
        engine.globalObject().deleteProperty("item");
        engine.collectGarbage();
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(item);
    QCOMPARE(QJSEngine::objectOwnership(item), QJSEngine::CppOwnership);
    delete item;
}

void TestResourceItem::qmlNeverDeletesAMessageAnItemHandsOver()
{
    const QSharedPointer<MessageBase> message = makeMessage(photoProto("u1", 2, 2));
    ResourceItem item(message);
    Relay relay;
    QJSEngine::setObjectOwnership(&relay, QJSEngine::CppOwnership);
    {
        QJSEngine engine;
        engine.globalObject().setProperty("item", engine.newQObject(&item));
        engine.globalObject().setProperty("relay", engine.newQObject(&relay));
        QVERIFY(!engine.evaluate("relay.pass(item.msgData); null").isError());
        QCOMPARE(QJSEngine::objectOwnership(message.data()), QJSEngine::CppOwnership);
        engine.collectGarbage();
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(message->msgId(), 2);
}

void TestResourceItem::linkAndTitle_data()
{
    QTest::addColumn<QStringList>("urls");
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("title");

    QTest::newRow("the first URL names the site")
            << QStringList {"https://news.example.org/a?b=1", "https://other.org"}
            << "https://news.example.org/a?b=1"
            << "news.example.org";
    QTest::newRow("first URL without a host, second with one")
            << QStringList {"notes/readme.txt", "http://docs.example.com/x"} << "notes/readme.txt"
            << "docs.example.com";
    QTest::newRow("no URL with a host: the first URL as written")
            << QStringList {"plain words", "more words"} << "plain words"
            << "plain words";
    QTest::newRow("no URLs: nothing") << QStringList() << QString() << QString();
}

void TestResourceItem::linkAndTitle()
{
    QFETCH(QStringList, urls);
    const ResourceLinkItem item(makeMessage(linkProto("u1", 1, 100, urls)));
    QTEST(item.link(), "link");
    QTEST(item.title(), "title");
    QTEST(item.property("link").toString(), "link");
}

void TestResourceItem::linkItemsAreAlwaysLinks_data()
{
    QTest::addColumn<QSharedPointer<ResourceLinkItem>>("item");
    const QSharedPointer<MessageBase> photoWithLink = [] {
        im::Message proto = photoProto("u1", 1, 100);
        proto.add_urls("https://example.org");
        return makeMessage(proto);
    }();
    MediaInfo info;
    info.msg = photoWithLink;
    info.messageId = 1;
    QTest::newRow("from a message") << QSharedPointer<ResourceLinkItem>::create(photoWithLink);
    QTest::newRow("from a media record") << QSharedPointer<ResourceLinkItem>::create(info);
    QTest::newRow("from a table row")
            << QSharedPointer<ResourceLinkItem>::create(row("u1", 1, 0, 100, 2));
    auto attached = QSharedPointer<ResourceLinkItem>::create(row("u1", 1, 0, 100, 1));
    attached->setMsgData(photoWithLink);
    QTest::newRow("after setMsgData") << attached;
}

void TestResourceItem::linkItemsAreAlwaysLinks()
{
    QFETCH(QSharedPointer<ResourceLinkItem>, item);
    QCOMPARE(item->type(), 1);
    if (item->msgData()) {
        QCOMPARE(item->link(), QString("https://example.org"));
        QCOMPARE(item->title(), QString("example.org"));
        QVERIFY(item->isValid());
    } else {
        QVERIFY(item->link().isEmpty());
        QVERIFY(item->title().isEmpty());
    }
}

void TestResourceItem::linkFollowsEdits()
{
    const QSharedPointer<MessageBase> message =
            makeMessage(linkProto("u1", 1, 100, {"https://old.example.org"}));
    ResourceLinkItem item(message);
    QSignalSpy links(&item, &ResourceLinkItem::linkChanged);
    QSignalSpy titles(&item, &ResourceLinkItem::titleChanged);

    message->setProto(linkProto("u1", 1, 100, {"https://new.example.org/page"}));
    QCOMPARE(item.link(), QString("https://new.example.org/page"));
    QCOMPARE(item.title(), QString("new.example.org"));
    QCOMPARE(links.count(), 1);
    QCOMPARE(titles.count(), 1);

    im::Message captionOnly = linkProto("u1", 1, 100, {"https://new.example.org/page"});
    captionOnly.set_text("same links, new caption");
    message->setProto(captionOnly);
    QCOMPARE(links.count(), 1);
    QCOMPARE(titles.count(), 1);
}

void TestResourceItem::linkFollowsOnlyTheCurrentMessage()
{
    const QSharedPointer<MessageBase> first =
            makeMessage(linkProto("u1", 1, 100, {"https://first.org"}));
    const QSharedPointer<MessageBase> second =
            makeMessage(linkProto("u1", 1, 100, {"https://second.org"}));
    ResourceLinkItem item(first);
    item.setMsgData(second);
    QCOMPARE(item.title(), QString("second.org"));
    QSignalSpy links(&item, &ResourceLinkItem::linkChanged);

    first->setProto(linkProto("u1", 1, 100, {"https://edited-first.org"}));
    QCOMPARE(links.count(), 0);
    second->setProto(linkProto("u1", 1, 100, {"https://edited-second.org"}));
    QCOMPARE(item.title(), QString("edited-second.org"));
}

void TestResourceItem::titleAndLinkEmitOnChangeOnly()
{
    ResourceLinkItem item(row("u1", 1, 0, 100, 1));
    QSignalSpy links(&item, &ResourceLinkItem::linkChanged);
    QSignalSpy titles(&item, &ResourceLinkItem::titleChanged);
    item.setLink(QString("https://a.org"));
    item.setLink(QString("https://a.org"));
    item.setTitle("a");
    item.setTitle("a");
    QCOMPARE(links.count(), 1);
    QCOMPARE(titles.count(), 1);
}

QTEST_GUILESS_MAIN(TestResourceItem)
#include "tst_resourceitem.moc"
