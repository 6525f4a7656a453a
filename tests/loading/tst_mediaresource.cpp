#include "accountbase.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "dialogstorage.h"
#include "loading/mediaresource.h"
#include "mediamodel.h"
#include "mediatestsupport.h"
#include "resourceitem.h"
#include "resourcemodel.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using MediaTest::canonical;
using MediaTest::labelOf;

namespace {

im::Message file(const QString &dialogId, qint64 id, int type)
{
    im::Message m;
    m.set_dialog_id(dialogId.toStdString());
    m.set_msg_id(id);
    m.set_type(type);
    m.set_time(id * 1000);
    m.set_sender_id(7);
    m.mutable_file()->set_file_id(dialogId.toStdString() + "f" + std::to_string(id));
    m.mutable_file()->set_suffix("pdf");
    m.mutable_file()->set_size(1000 + id);
    m.mutable_file()->set_name("doc " + std::to_string(id) + ".pdf");
    return m;
}

QStringList rows(const ResourceModel &model)
{
    QStringList out;
    for (int row = 0; row < model.resourceCount(); ++row) {
        out.append(labelOf(model.getResourceItem(row)));
    }
    return out;
}

QStringList idLabels(const QString &dialogId, int from, int to)
{
    QStringList out;
    for (int id = from; id >= to; --id) {
        out.append(QStringLiteral("%1/%2").arg(dialogId).arg(id));
    }
    return canonical(out);
}

} // namespace

// A typed list loads its pages in the background and hands them to its model on its own thread.
class TestMediaResource : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void modelForType_data();
    void modelForType();
    void pagesAppendInOrder();
    void queryingStateAroundAPage();
    void quitLeavesModelUnchanged();
    void goneDialogYieldsNothing();
    void destroyedWhileLoading();
    void refreshReloadsFirstItems();
    void crossDialogList();

private:
    QSharedPointer<DialogBase> dialog(const QString &id) const { return m_account->dialog(id); }

    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
};

void TestMediaResource::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_account = std::make_unique<AccountBase>(1, m_dir.path());
    QVERIFY(m_account->isValid());
    QList<im::Message> messages;
    for (const char *id : {"a", "b"}) {
        QVERIFY(m_account->storeDialog(id, id, DIALOG_PRIVATE, 1000));
    }
    for (int id = 1; id <= 12; ++id) {
        messages.append(file("a", id, CONTENT_FILE));
    }
    for (int id = 1; id <= 3; ++id) {
        messages.append(file("b", id * 10, CONTENT_FILE));
    }
    QVERIFY(m_account->storeMessages(messages));
}

void TestMediaResource::modelForType_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("sectioned");
    QTest::newRow("photos and videos in sections") << 2 << true;
    QTest::newRow("files flat") << 6 << false;
    QTest::newRow("links flat") << 1 << false;
}

void TestMediaResource::modelForType()
{
    QFETCH(int, type);
    QFETCH(bool, sectioned);
    MediaResource resource(m_account.get(), dialog("a"), {}, type, QString());
    QCOMPARE(qobject_cast<MediaModel *>(resource.resourceModel()) != nullptr, sectioned);
    QCOMPARE(resource.resourceModel()->type(), type);
    QCOMPARE(resource.resourceModel()->parent(), &resource);
    QVERIFY(!resource.isGlobalSearch());
}

void TestMediaResource::pagesAppendInOrder()
{
    MediaResource resource(m_account.get(), dialog("a"), {}, CONTENT_FILE, QString());
    ResourceModel *model = resource.resourceModel();
    resource.loadBefore(5);
    QTRY_COMPARE(model->resourceCount(), 5);
    QTRY_VERIFY(!resource.isQuerying());
    for (int page = 0; page < 5 && model->resourceCount() < 12; ++page) {
        resource.loadBefore(5);
        QTRY_VERIFY(!resource.isQuerying());
    }
    QCOMPARE(rows(*model), idLabels("a", 12, 1));
}

void TestMediaResource::queryingStateAroundAPage()
{
    MediaResource resource(m_account.get(), dialog("a"), {}, CONTENT_FILE, QString());
    QSignalSpy spy(&resource, &MediaResource::isQueryingChanged);
    resource.loadBefore(3);
    QVERIFY(resource.isQuerying());
    QTRY_VERIFY(!resource.isQuerying());
    QCOMPARE(spy.count(), 2);
    QCOMPARE(resource.resourceModel()->resourceCount(), 3);
}

void TestMediaResource::quitLeavesModelUnchanged()
{
    MediaResource resource(m_account.get(), dialog("a"), {}, CONTENT_FILE, QString());
    resource.loadBefore(4);
    resource.quit();
    resource.waitForFinish();
    QTRY_VERIFY(!resource.isQuerying());
    QCoreApplication::processEvents();
    QCOMPARE(resource.resourceModel()->resourceCount(), 0);
    resource.loadBefore(4);
    QVERIFY(!resource.isQuerying());
}

void TestMediaResource::goneDialogYieldsNothing()
{
    storage::DialogRecord record;
    record.dialogId = "a";
    auto gone = QSharedPointer<DialogBase>::create(m_account.get(), record);
    MediaResource resource(m_account.get(), gone, {}, CONTENT_FILE, QString());
    gone.reset();
    resource.loadBefore(4);
    QTRY_VERIFY(!resource.isQuerying());
    QCoreApplication::processEvents();
    QCOMPARE(resource.resourceModel()->resourceCount(), 0);
}

void TestMediaResource::destroyedWhileLoading()
{
    auto resource = std::make_unique<MediaResource>(m_account.get(), dialog("a"), QList<QString>(),
                                                    CONTENT_FILE, QString());
    QSignalSpy spy(resource.get(), &MediaResource::startDestroy);
    resource->loadBefore(12);
    resource.reset();
    QCOMPARE(spy.count(), 1);
    // A page posted before the end is dropped with its items; the sanitizer build checks they
    // are released.
    QCoreApplication::processEvents();
}

void TestMediaResource::refreshReloadsFirstItems()
{
    MediaResource resource(m_account.get(), dialog("a"), {}, CONTENT_FILE, QStringLiteral("src"));
    resource.loadBefore(2);
    QTRY_VERIFY(!resource.isQuerying());
    QCOMPARE(resource.resourceModel()->resourceCount(), 2);
    resource.refresh();
    QTRY_VERIFY(!resource.isQuerying());
    QTRY_COMPARE(resource.resourceModel()->resourceCount(), 12);
    QCOMPARE(rows(*resource.resourceModel()), idLabels("a", 12, 1));
    QCOMPARE(resource.searchFilter().sourceDlgId, QStringLiteral("src"));
    QVERIFY(resource.searchFilter().keyword.isEmpty());
}

void TestMediaResource::crossDialogList()
{
    MediaResource resource(m_account.get(), dialog("a"), {"b"}, CONTENT_FILE, QString());
    QVERIFY(resource.isGlobalSearch());
    resource.loadBefore(10);
    QTRY_VERIFY(!resource.isQuerying());
    QCOMPARE(rows(*resource.resourceModel()), canonical({"b/30", "b/20", "b/10"}));
}

QTEST_GUILESS_MAIN(TestMediaResource)
#include "tst_mediaresource.moc"
