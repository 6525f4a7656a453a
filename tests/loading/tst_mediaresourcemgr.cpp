#include "accountbase.h"
#include "contenttype.h"
#include "im.pb.h"
#include "loading/mediaresource.h"
#include "loading/mediaresourcemgr.h"
#include "mediasearch.h"
#include "resourcemodel.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

im::Message file(qint64 id, int type)
{
    im::Message m;
    m.set_dialog_id("a");
    m.set_msg_id(id);
    m.set_type(type);
    m.set_time(id * 1000);
    m.set_sender_id(7);
    m.mutable_file()->set_file_id("f" + std::to_string(id));
    m.mutable_file()->set_suffix("bin");
    m.mutable_file()->set_size(1000 + id);
    m.mutable_file()->set_name("item " + std::to_string(id));
    return m;
}

} // namespace

// The gallery of a dialog: its typed lists and its search, and how they stop together.
class TestMediaResourceMgr : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void typedLists_data();
    void typedLists();
    void listsCreatedInOrder();
    void refreshFillsEveryList();
    void quitViewLeavesModelsUnchanged();
    void destroyedWhileLoading();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
};

void TestMediaResourceMgr::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_account = std::make_unique<AccountBase>(1, m_dir.path());
    QVERIFY(m_account->isValid());
    QVERIFY(m_account->storeDialog("a", "a", DIALOG_PRIVATE, 1000));
    QList<im::Message> messages;
    for (int id = 1; id <= 30; ++id) {
        messages.append(file(id, id % 3 ? CONTENT_FILE : CONTENT_MUSIC));
    }
    QVERIFY(m_account->storeMessages(messages));
}

void TestMediaResourceMgr::typedLists_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("hasList");
    QTest::newRow("photos and videos") << 2 << true;
    QTest::newRow("files") << 6 << true;
    QTest::newRow("links") << 1 << true;
    QTest::newRow("music") << 4 << true;
    QTest::newRow("voice") << 3 << true;
    QTest::newRow("videos live in the photo list") << 5 << false;
    QTest::newRow("unknown type") << 9 << false;
}

void TestMediaResourceMgr::typedLists()
{
    QFETCH(int, type);
    QFETCH(bool, hasList);
    MediaResourceMgr mgr(m_account.get(), m_account->dialog("a"), true, QString());
    MediaResource *resource = mgr.mediaResource(type);
    QCOMPARE(resource != nullptr, hasList);
    if (resource) {
        QCOMPARE(resource->resourceModel()->type(), type);
        QCOMPARE(resource->parent(), &mgr);
    }
    QVERIFY(mgr.mediaSearch());
    QVERIFY(mgr.anonymous());
}

void TestMediaResourceMgr::listsCreatedInOrder()
{
    MediaResourceMgr mgr(m_account.get(), m_account->dialog("a"), false, QString());
    QList<int> types;
    for (QObject *child : mgr.children()) {
        if (auto *resource = qobject_cast<MediaResource *>(child)) {
            types.append(resource->resourceModel()->type());
        }
    }
    QCOMPARE(types, (QList<int> {2, 6, 1, 4, 3}));
    QVERIFY(!mgr.anonymous());
}

void TestMediaResourceMgr::refreshFillsEveryList()
{
    MediaResourceMgr mgr(m_account.get(), m_account->dialog("a"), false, "src");
    mgr.refresh();
    mgr.waitForFinish();
    QTRY_COMPARE(mgr.mediaResource(6)->resourceModel()->resourceCount(), 20);
    QTRY_COMPARE(mgr.mediaResource(4)->resourceModel()->resourceCount(), 10);
    QCOMPARE(mgr.mediaResource(2)->resourceModel()->resourceCount(), 0);
    QCOMPARE(mgr.mediaResource(6)->searchFilter().sourceDlgId, QStringLiteral("src"));
}

void TestMediaResourceMgr::quitViewLeavesModelsUnchanged()
{
    MediaResourceMgr mgr(m_account.get(), m_account->dialog("a"), false, QString());
    mgr.mediaResource(6)->loadBefore(10);
    mgr.mediaResource(4)->loadBefore(10);
    mgr.quitView();
    mgr.waitForFinish();
    QCoreApplication::processEvents();
    QCOMPARE(mgr.mediaResource(6)->resourceModel()->resourceCount(), 0);
    QCOMPARE(mgr.mediaResource(4)->resourceModel()->resourceCount(), 0);
}

void TestMediaResourceMgr::destroyedWhileLoading()
{
    auto mgr = std::make_unique<MediaResourceMgr>(m_account.get(), m_account->dialog("a"), false,
                                                  QString());
    mgr->refresh();
    mgr.reset();
    // Pages posted before the end are dropped with their items; the sanitizer build checks
    // they are released.
    QCoreApplication::processEvents();
}

QTEST_GUILESS_MAIN(TestMediaResourceMgr)
#include "tst_mediaresourcemgr.moc"
