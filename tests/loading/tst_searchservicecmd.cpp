#include "accountbase.h"
#include "contenttype.h"
#include "im_chat.pb.h"
#include "searchservicecmd.h"
#include "serverhistory.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

im::Message photo(const char *dialogId, qint64 id)
{
    im::Message m;
    m.set_dialog_id(dialogId);
    m.set_msg_id(id);
    m.set_type(CONTENT_PHOTO);
    m.set_time(id * 1000);
    m.mutable_file()->set_file_id("p" + std::to_string(id));
    return m;
}

QList<qint64> idsOf(const QVariantMap &reply)
{
    im::chat::SearchMessageResp response;
    const QByteArray data = reply.value("data").toByteArray();
    if (!response.ParseFromArray(data.constData(), int(data.size()))) {
        return {-1};
    }
    QList<qint64> ids;
    for (const im::Message &m : response.messages()) {
        ids.append(m.msg_id());
    }
    return ids;
}

} // namespace

// The command object sends searches through the account's channel and returns its reply as is.
class TestSearchServiceCmd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void singleDialogSearch();
    void multiDialogSearch();
    void offlineReplyPassedThrough();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
};

void TestSearchServiceCmd::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_account = std::make_unique<AccountBase>(1, m_dir.path());
    QVERIFY(m_account->isValid());
    ServerHistory server(m_dir.filePath("server.db"));
    QVERIFY(server.store({photo("a", 1), photo("a", 2), photo("a", 3), photo("b", 4)}));
}

void TestSearchServiceCmd::singleDialogSearch()
{
    im::chat::SearchMessageReq req;
    req.set_dialog_id("a");
    req.set_count(2);
    req.add_categories(1);
    const QVariantMap reply = SearchServiceCmd(m_account.get()).searchMessage(req);
    QCOMPARE(reply.value("code").toInt(), 0);
    QCOMPARE(idsOf(reply), (QList<qint64> {3, 2}));
}

void TestSearchServiceCmd::multiDialogSearch()
{
    im::chat::SearchMessageMultiReq req;
    req.add_dialog_ids("a");
    req.add_dialog_ids("b");
    req.set_count(10);
    req.add_categories(1);
    const QVariantMap reply = SearchServiceCmd(m_account.get()).searchMessage(req);
    QCOMPARE(reply.value("code").toInt(), 0);
    QCOMPARE(idsOf(reply), (QList<qint64> {4, 3, 2, 1}));
}

void TestSearchServiceCmd::offlineReplyPassedThrough()
{
    m_account->setOnline(false);
    im::chat::SearchMessageReq req;
    req.set_dialog_id("a");
    const QVariantMap reply = SearchServiceCmd(m_account.get()).searchMessage(req);
    m_account->setOnline(true);
    QVERIFY(reply.value("code").toInt() != 0);
    QVERIFY(!reply.contains("data"));
}

QTEST_GUILESS_MAIN(TestSearchServiceCmd)
#include "tst_searchservicecmd.moc"
