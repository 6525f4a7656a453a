#include "accountbase.h"
#include "contenttype.h"
#include "im_chat.pb.h"
#include "serverhistory.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

im::Message message(const char *dialogId, qint64 id, int type, qint64 time, qint64 sender = 7)
{
    im::Message m;
    m.set_dialog_id(dialogId);
    m.set_msg_id(id);
    m.set_type(type);
    m.set_time(time);
    m.set_sender_id(sender);
    if (type == CONTENT_TEXT) {
        m.set_text("see https://example.org/" + std::to_string(id));
        m.add_urls("https://example.org/" + std::to_string(id));
    } else {
        m.mutable_file()->set_file_id("f" + std::to_string(id));
        m.mutable_file()->set_name("holiday " + std::to_string(id) + ".jpg");
        m.mutable_file()->set_size(1000 + id);
    }
    return m;
}

im::chat::SearchMessageResp parseReply(const QVariantMap &reply)
{
    im::chat::SearchMessageResp response;
    const QByteArray data = reply.value("data").toByteArray();
    if (!response.ParseFromArray(data.constData(), int(data.size()))) {
        qWarning() << "reply does not parse";
    }
    return response;
}

QList<qint64> ids(const im::chat::SearchMessageResp &response)
{
    QList<qint64> out;
    for (const im::Message &m : response.messages()) {
        out.append(m.msg_id());
    }
    return out;
}

} // namespace

// The account's request channel answers message searches from the server's history.
class TestRequestChannel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void search_data();
    void search();
    void combinedMessageReturnedOnce();
    void multiDialogSearch();
    void failures_data();
    void failures();
    void offlineAccountFails();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
};

void TestRequestChannel::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_account = std::make_unique<AccountBase>(1, m_dir.path());
    QVERIFY(m_account->isValid());
    ServerHistory server(m_dir.filePath("server.db"));
    QList<im::Message> history;
    // Dialog "d": photos 10..19 (ids 10-19), videos 20..24, links 30..32, sender 8 on even ids.
    for (int id = 10; id < 20; ++id) {
        history.append(message("d", id, CONTENT_PHOTO, id * 1000, id % 2 ? 7 : 8));
    }
    for (int id = 20; id < 25; ++id) {
        history.append(message("d", id, CONTENT_VIDEO, id * 1000));
    }
    for (int id = 30; id < 33; ++id) {
        history.append(message("d", id, CONTENT_TEXT, id * 1000));
    }
    history.append(message("e", 5, CONTENT_PHOTO, 5000));
    im::Message album = message("d", 40, CONTENT_COMBINED, 40000);
    album.clear_file();
    for (int c = 1; c <= 3; ++c) {
        im::Message *child = album.add_combined_messages();
        *child = message("d", c, CONTENT_PHOTO, 40000);
        child->set_parent_msg_id(40);
        child->mutable_file()->set_file_id("album" + std::to_string(c));
    }
    history.append(album);
    QVERIFY(server.store(history));
}

void TestRequestChannel::search_data()
{
    QTest::addColumn<QList<int>>("categories");
    QTest::addColumn<qint64>("cursor");
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("keyword");
    QTest::addColumn<QList<qint64>>("senders");
    QTest::addColumn<QList<qint64>>("expected");
    QTest::addColumn<bool>("hasMore");

    QTest::newRow("photos newest first, page of 3")
            << QList<int> {1} << qint64(0) << 0 << 3 << "" << QList<qint64>()
            << QList<qint64> {40, 19, 18} << true;
    QTest::newRow("older page from a cursor, inclusive")
            << QList<int> {1} << qint64(12) << 0 << 5 << "" << QList<qint64>()
            << QList<qint64> {12, 11, 10} << false;
    QTest::newRow("newer page oldest first")
            << QList<int> {1, 2} << qint64(18) << 1 << 4 << "" << QList<qint64>()
            << QList<qint64> {18, 19, 20, 21} << true;
    QTest::newRow("links only") << QList<int> {4} << qint64(0) << 0 << 10 << "" << QList<qint64>()
                                << QList<qint64> {32, 31, 30} << false;
    QTest::newRow("keyword in a file name")
            << QList<int> {1} << qint64(0) << 0 << 10 << "holiday 15" << QList<qint64>()
            << QList<qint64> {15} << false;
    QTest::newRow("sender filter") << QList<int> {1} << qint64(16) << 0 << 10 << ""
                                   << QList<qint64> {8} << QList<qint64> {16, 14, 12, 10} << false;
    QTest::newRow("no category matches nothing else")
            << QList<int> {6} << qint64(0) << 0 << 10 << "" << QList<qint64>() << QList<qint64>()
            << false;
}

void TestRequestChannel::search()
{
    QFETCH(QList<int>, categories);
    QFETCH(qint64, cursor);
    QFETCH(int, direction);
    QFETCH(int, count);
    QFETCH(QString, keyword);
    QFETCH(QList<qint64>, senders);
    QFETCH(QList<qint64>, expected);
    QFETCH(bool, hasMore);

    im::chat::SearchMessageReq request;
    request.set_dialog_id("d");
    request.set_msg_id(cursor);
    request.set_direction(direction);
    request.set_count(count);
    request.set_keyword(keyword.toStdString());
    for (const qint64 sender : senders) {
        request.add_sender_ids(sender);
    }
    for (const int category : categories) {
        request.add_categories(category);
    }
    const QVariantMap reply = m_account->syncRequest(
            ServerHistory::SearchMessage, QByteArray::fromStdString(request.SerializeAsString()));
    QCOMPARE(reply.value("code").toInt(), 0);
    const im::chat::SearchMessageResp response = parseReply(reply);
    QCOMPARE(ids(response), expected);
    QCOMPARE(response.has_more(), hasMore);
}

void TestRequestChannel::combinedMessageReturnedOnce()
{
    im::chat::SearchMessageReq request;
    request.set_dialog_id("d");
    request.set_count(50);
    request.add_categories(1);
    request.set_keyword("holiday 3");
    const im::chat::SearchMessageResp response = parseReply(m_account->syncRequest(
            ServerHistory::SearchMessage, QByteArray::fromStdString(request.SerializeAsString())));
    QCOMPARE(ids(response), QList<qint64> {40});
    QCOMPARE(response.messages(0).combined_messages_size(), 3);
}

void TestRequestChannel::multiDialogSearch()
{
    im::chat::SearchMessageMultiReq request;
    request.add_dialog_ids("d");
    request.add_dialog_ids("e");
    request.set_count(100);
    request.set_keyword("holiday 1");
    request.add_categories(1);
    const QVariantMap reply =
            m_account->syncRequest(ServerHistory::SearchMessageMulti,
                                   QByteArray::fromStdString(request.SerializeAsString()));
    QCOMPARE(reply.value("code").toInt(), 0);
    // "holiday 1" matches 10..19 and the album child 1 of "d"; "e" has only "holiday 5".
    QCOMPARE(ids(parseReply(reply)).size(), 11);
}

void TestRequestChannel::failures_data()
{
    QTest::addColumn<int>("command");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("unknown command") << 999 << QByteArray();
    QTest::newRow("garbage for 162") << 162 << QByteArray("\xff\xff\xff\xff\x0f", 5);
    QTest::newRow("garbage for 346") << 346 << QByteArray("\x0a\xff\x01", 3);
}

void TestRequestChannel::failures()
{
    QFETCH(int, command);
    QFETCH(QByteArray, body);
    const QVariantMap reply = m_account->syncRequest(command, body);
    QVERIFY(reply.value("code").toInt() != 0);
    QVERIFY(!reply.contains("data"));
}

void TestRequestChannel::offlineAccountFails()
{
    m_account->setOnline(false);
    im::chat::SearchMessageReq request;
    request.set_dialog_id("d");
    const QVariantMap reply = m_account->syncRequest(
            ServerHistory::SearchMessage, QByteArray::fromStdString(request.SerializeAsString()));
    m_account->setOnline(true);
    QVERIFY(reply.value("code").toInt() != 0);
}

QTEST_GUILESS_MAIN(TestRequestChannel)
#include "tst_requestchannel.moc"
