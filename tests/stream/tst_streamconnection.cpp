#include "accountbase.h"
#include "filedata.h"
#include "filemanager.h"
#include "streamserver.h"
#include "streamtestsupport.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>
#include <QUrl>

namespace {
constexpr qint64 kUserId = 7001;
constexpr qint64 kFileSize = 1000;
// Large enough that a client which does not read cannot take it all into the socket buffers.
constexpr qint64 kLargeFileSize = 16 * 1024 * 1024;

using Range = QPair<qint64, qint64>; // start, length
using Ranges = QList<Range>;

QByteArray rangeRequest(const QByteArray &path, const QByteArray &range)
{
    return "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nRange: " + range + "\r\n\r\n";
}
} // namespace

// The bytes a stream client sees on its socket: every reply shape, byte ranges, the parser's
// tolerance and its limits.
class tst_StreamConnection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void headerOnlyReplies_data();
    void headerOnlyReplies();
    void rangeReplies_data();
    void rangeReplies();
    void headerBlockIsExact();
    void splitRequestLineIsParsedOnceComplete();
    void bareLineFeedDoesNotEndALine();
    void pipelinedRangeRequestCancelsThePreviousOne();
    void unclampedRangeEndsTheConnectionAfterTheFile_data();
    void unclampedRangeEndsTheConnectionAfterTheFile();
    void newRequestCancelsTheStreamingOne();
    void endlessRequestLineClosesTheConnection();
    void clientThatDoesNotReadIsNotBufferedWithoutBound();
    void chunkThatCannotBeReadClosesTheConnection();

private:
    // Sends a HEAD and checks that its empty 200 is the next reply: nothing else was written.
    void expectNothingMoreThenOk(StreamClient &client);
    // The text with PORT replaced by the server's port, which the data rows cannot know.
    QByteArray withPort(QByteArray text) const
    {
        return text.replace("PORT", QByteArray::number(m_port));
    }

    std::unique_ptr<StreamTestAccount> m_account;
    QByteArray m_data;
    QByteArray m_path;
    QString m_host;
    quint16 m_port = 0;
    std::unique_ptr<QTcpSocket> m_socket;
};

void tst_StreamConnection::initTestCase()
{
    m_account = std::make_unique<StreamTestAccount>(kUserId);
    QVERIFY(m_account->isValid());
    m_data = m_account->addFile(QStringLiteral("clip"), kFileSize);
    QCOMPARE(m_data.size(), kFileSize);
    m_path = "/" + QByteArray::number(kUserId) + "/clip";
}

void tst_StreamConnection::cleanupTestCase()
{
    // The downloads the streams started finish before the account goes: the account's teardown
    // does not wait for a running download.
    for (const QString &fileId : {QStringLiteral("clip"), QStringLiteral("large")}) {
        const QSharedPointer<FileData> file =
                m_account->account()->fileManager()->filePtrWithId(fileId, true);
        if (file) {
            QTRY_VERIFY_WITH_TIMEOUT(file->isComplete(), 60000);
        }
    }
}

void tst_StreamConnection::init()
{
    const QUrl url(network::StreamServer::instance()->getUrl(kUserId, QStringLiteral("clip")));
    QVERIFY(url.isValid());
    m_host = url.host();
    m_port = quint16(url.port());
    m_socket = std::make_unique<QTcpSocket>();
    m_socket->connectToHost(m_host, m_port);
    QVERIFY(m_socket->waitForConnected(10000));
}

void tst_StreamConnection::cleanup()
{
    m_socket.reset();
}

void tst_StreamConnection::expectNothingMoreThenOk(StreamClient &client)
{
    client.send("HEAD " + m_path + " HTTP/1.1\r\n\r\n");
    StreamReply reply;
    QVERIFY(client.readReply(reply));
    QCOMPARE(reply.statusLine(), QByteArray("HTTP/1.1 200 OK"));
}

void tst_StreamConnection::headerOnlyReplies_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QList<QByteArray>>("statusLines");
    QTest::addColumn<QStringList>("warnings");

    const QByteArray path = "/" + QByteArray::number(kUserId) + "/clip";
    const QByteArray ok = "HTTP/1.1 200 OK";
    const QByteArray bad = "HTTP/1.1 400 Bad Request";
    const QByteArray notFound = "HTTP/1.1 404 Not Found";
    const QByteArray unsatisfiable = "HTTP/1.1 416 Requested Range Not Satisfiable";

    QTest::newRow("plain GET gets an empty 200") << "GET " + path + " HTTP/1.1\r\n\r\n"
                                                 << QList<QByteArray> {ok} << QStringList();
    QTest::newRow("HEAD gets an empty 200")
            << "HEAD " + path + " HTTP/1.1\r\nRange: bytes=0-9\r\n\r\n"
            << QList<QByteArray> {ok} << QStringList();
    QTest::newRow("other method with a body gets an empty 200")
            << "POST " + path + " HTTP/1.1\r\nContent-Length: 4\r\n\r\nbody"
            << QList<QByteArray> {ok} << QStringList();
    QTest::newRow("header name in other case is not a range")
            << "GET " + path + " HTTP/1.1\r\nrange: bytes=0-9\r\n\r\n"
            << QList<QByteArray> {ok} << QStringList();
    QTest::newRow("keyword in other case")
            << rangeRequest(path, "Bytes=0-9") << QList<QByteArray> {unsatisfiable}
            << QStringList {"[stream_server]: invalid range keyword"};
    QTest::newRow("suffix form") << rangeRequest(path, "bytes=-500")
                                 << QList<QByteArray> {unsatisfiable}
                                 << QStringList {"[stream_server]: parse start range failed",
                                                 "[stream_server]: parse ranges failed"};
    QTest::newRow("bad start after a good range fails as a whole")
            << rangeRequest(path, "bytes=0-99,a-5") << QList<QByteArray> {unsatisfiable}
            << QStringList {"[stream_server]: parse start range failed",
                            "[stream_server]: parse ranges failed"};
    QTest::newRow("bad end") << rangeRequest(path, "bytes=0-x") << QList<QByteArray> {unsatisfiable}
                             << QStringList {"[stream_server]: parse finish range failed",
                                             "[stream_server]: parse ranges failed"};
    QTest::newRow("start past the end writes nothing")
            << rangeRequest(path, "bytes=1001-") << QList<QByteArray> {}
            << QStringList {"[stream_server]: invalid start"};
    QTest::newRow("end before start writes nothing")
            << rangeRequest(path, "bytes=10-5") << QList<QByteArray> {}
            << QStringList {"[stream_server]: invalid range"};
    QTest::newRow("piece that is not a range writes nothing")
            << rangeRequest(path, "bytes=5") << QList<QByteArray> {}
            << QStringList {"[stream_server]: parse range failed"};
    QTest::newRow("two blanks in the request line")
            << "GET  " + path + " HTTP/1.1\r\n\r\n"
            << QList<QByteArray> {bad, bad}
            << QStringList {"[stream_server]: parse request line error",
                            "[stream_server]: parse request line error"};
    QTest::newRow("header line without colon")
            << "GET " + path + " HTTP/1.1\r\nNoColon\r\n\r\n"
            << QList<QByteArray> {bad, bad}
            << QStringList {"[stream_server]: parse request head error",
                            "[stream_server]: parse request line error"};
    QTest::newRow("Content-Length that is not a number")
            << "GET " + path + " HTTP/1.1\r\nContent-Length: ten\r\n\r\n"
            << QList<QByteArray> {bad} << QStringList {"[stream_server]: parse request data error"};
    QTest::newRow("absolute target without path")
            << QByteArray("GET http://127.0.0.1:1 HTTP/1.1\r\n\r\n") << QList<QByteArray> {notFound}
            << QStringList {"[stream_server]: empty path"};
    QTest::newRow("trailing slash")
            << "GET " + path + "/ HTTP/1.1\r\n\r\n"
            << QList<QByteArray> {notFound} << QStringList {"[stream_server]: invalid path"};
    QTest::newRow("doubled leading slash")
            << QByteArray("GET http://127.0.0.1//clip HTTP/1.1\r\n\r\n")
            << QList<QByteArray> {notFound} << QStringList {"[stream_server]: invalid user id"};
    QTest::newRow("user id not a number")
            << QByteArray("GET /me/clip HTTP/1.1\r\n\r\n") << QList<QByteArray> {notFound}
            << QStringList {"[stream_server]: invalid user id"};
    QTest::newRow("empty file id")
            << "GET /" + QByteArray::number(kUserId) + "/ HTTP/1.1\r\n\r\n"
            << QList<QByteArray> {notFound} << QStringList {"[stream_server]: invalid file id"};
    QTest::newRow("unknown account")
            << QByteArray("GET /999/clip HTTP/1.1\r\nRange: bytes=0-9\r\n\r\n")
            << QList<QByteArray> {notFound}
            << QStringList {"[stream_server]: can not find account model 999"};
    QTest::newRow("unknown file") << "GET /" + QByteArray::number(kUserId)
                    + "/nothing HTTP/1.1\r\n\r\n"
                                  << QList<QByteArray> {notFound}
                                  << QStringList {"[stream_server]: invalid file id"};
    QTest::newRow("first character of the path is dropped whatever it is") << "GET x" + path.mid(1)
                    + " HTTP/1.1\r\n\r\n" << QList<QByteArray> {ok} << QStringList();
    QTest::newRow("an id that is a stored id and more after a NUL")
            << rangeRequest(path + "%00x", "bytes=0-9") << QList<QByteArray> {notFound}
            << QStringList {"[stream_server]: invalid file id"};
    // A page in a browser whose own name resolves to the loopback address (DNS rebinding).
    QTest::newRow("Host naming another site")
            << "GET " + path + " HTTP/1.1\r\nHost: attacker.example\r\nRange: bytes=0-9\r\n\r\n"
            << QList<QByteArray> {notFound}
            << QStringList {"[stream_server]: request for another host: attacker.example"};
    QTest::newRow("Host naming another site with the server's port")
            << "GET " + path
                    + " HTTP/1.1\r\nHost: attacker.example:PORT\r\nRange: bytes=0-9\r\n\r\n"
            << QList<QByteArray> {notFound}
            << QStringList {"[stream_server]: request for another host: attacker.example:PORT"};
    QTest::newRow("Host of the loopback address with another port")
            << "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:1\r\nRange: bytes=0-9\r\n\r\n"
            << QList<QByteArray> {notFound}
            << QStringList {"[stream_server]: request for another host: 127.0.0.1:1"};
    QTest::newRow("Host header whose name is in lower case")
            << "GET " + path + " HTTP/1.1\r\nhost: attacker.example\r\nRange: bytes=0-9\r\n\r\n"
            << QList<QByteArray> {notFound}
            << QStringList {"[stream_server]: request for another host: attacker.example"};
    QTest::newRow("HEAD naming another site")
            << "HEAD " + path + " HTTP/1.1\r\nHost: attacker.example\r\n\r\n"
            << QList<QByteArray> {notFound}
            << QStringList {"[stream_server]: request for another host: attacker.example"};
}

void tst_StreamConnection::headerOnlyReplies()
{
    QFETCH(QByteArray, request);
    QFETCH(QList<QByteArray>, statusLines);
    QFETCH(QStringList, warnings);

    for (const QString &warning : std::as_const(warnings)) {
        QTest::ignoreMessage(QtWarningMsg, withPort(warning.toUtf8()).constData());
    }
    StreamClient client(m_socket.get());
    client.send(withPort(request));
    for (const QByteArray &statusLine : std::as_const(statusLines)) {
        StreamReply reply;
        QVERIFY(client.readReply(reply));
        QCOMPARE(reply.statusLine(), statusLine);
        QCOMPARE(reply.lines.size(), 4);
        QVERIFY(!reply.hasHeader("Content-Length"));
    }
    expectNothingMoreThenOk(client);
}

void tst_StreamConnection::rangeReplies_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<Ranges>("ranges");
    QTest::addColumn<QStringList>("warnings");

    const QByteArray path = "/" + QByteArray::number(kUserId) + "/clip";
    QTest::newRow("closed range") << rangeRequest(path, "bytes=0-99") << Ranges {{0, 100}}
                                  << QStringList();
    QTest::newRow("open range") << rangeRequest(path, "bytes=500-") << Ranges {{500, 500}}
                                << QStringList();
    QTest::newRow("start equal to the size announces nothing")
            << rangeRequest(path, "bytes=1000-") << Ranges {{1000, 0}} << QStringList();
    QTest::newRow("last byte") << rangeRequest(path, "bytes=999-999") << Ranges {{999, 1}}
                               << QStringList();
    QTest::newRow("two ranges back to back") << rangeRequest(path, "bytes=0-99,200-299")
                                             << Ranges {{0, 100}, {200, 100}} << QStringList();
    QTest::newRow("blanks around pieces") << rangeRequest(path, "bytes= 10-19 , 30-39")
                                          << Ranges {{10, 10}, {30, 10}} << QStringList();
    QTest::newRow("ranges before a bad piece are served")
            << rangeRequest(path, "bytes=0-99,x") << Ranges {{0, 100}}
            << QStringList {"[stream_server]: parse range failed"};
    QTest::newRow("ranges before a start past the end are served")
            << rangeRequest(path, "bytes=0-9,2000-") << Ranges {{0, 10}}
            << QStringList {"[stream_server]: invalid start"};
    QTest::newRow("first of two Range headers wins")
            << "GET " + path + " HTTP/1.1\r\nRange: bytes=5-9\r\nRange: bytes=0-99\r\n\r\n"
            << Ranges {{5, 5}} << QStringList();
    QTest::newRow("version is not examined")
            << "GET " + path + " SPDY/9\r\nRange: bytes=0-9\r\n\r\n"
            << Ranges {{0, 10}} << QStringList();
    QTest::newRow("percent-encoded path")
            << rangeRequest("/" + QByteArray::number(kUserId) + "/%63lip", "bytes=0-9")
            << Ranges {{0, 10}} << QStringList();
    QTest::newRow("empty range, then the next at once")
            << rangeRequest(path, "bytes=1000-,0-99") << Ranges {{1000, 0}, {0, 100}}
            << QStringList();
    QTest::newRow("empty range between two")
            << rangeRequest(path, "bytes=0-9,1000-,20-29") << Ranges {{0, 10}, {1000, 0}, {20, 10}}
            << QStringList();
    const auto withHost = [&path](const QByteArray &host) {
        return "GET " + path + " HTTP/1.1\r\nHost: " + host + "\r\nRange: bytes=0-9\r\n\r\n";
    };
    QTest::newRow("no Host") << "GET " + path + " HTTP/1.1\r\nRange: bytes=0-9\r\n\r\n"
                             << Ranges {{0, 10}} << QStringList();
    QTest::newRow("Host localhost") << withHost("localhost") << Ranges {{0, 10}} << QStringList();
    QTest::newRow("Host localhost in capitals with the port")
            << withHost("LOCALHOST:PORT") << Ranges {{0, 10}} << QStringList();
    QTest::newRow("Host of the IPv4 loopback with the port")
            << withHost("127.0.0.1:PORT") << Ranges {{0, 10}} << QStringList();
    QTest::newRow("Host of the IPv6 loopback")
            << withHost("[::1]") << Ranges {{0, 10}} << QStringList();
    QTest::newRow("Host of the IPv6 loopback with the port")
            << withHost("[::1]:PORT") << Ranges {{0, 10}} << QStringList();
}

void tst_StreamConnection::rangeReplies()
{
    QFETCH(QByteArray, request);
    QFETCH(Ranges, ranges);
    QFETCH(QStringList, warnings);

    for (const QString &warning : std::as_const(warnings)) {
        QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    }
    StreamClient client(m_socket.get());
    client.send(withPort(request));
    for (const Range &range : std::as_const(ranges)) {
        StreamReply reply;
        QVERIFY(client.readReply(reply));
        QCOMPARE(reply.statusLine(), QByteArray("HTTP/1.1 206 OK"));
        // The end is one past the last byte.
        QCOMPARE(reply.header("Content-Range"),
                 "bytes " + QByteArray::number(range.first) + '-'
                         + QByteArray::number(range.first + range.second) + '/'
                         + QByteArray::number(kFileSize));
        QCOMPARE(reply.header("Content-Length"), QByteArray::number(range.second));
        QCOMPARE(reply.body, m_data.mid(range.first, range.second));
    }
    expectNothingMoreThenOk(client);
}

void tst_StreamConnection::headerBlockIsExact()
{
    StreamClient client(m_socket.get());
    client.send(rangeRequest(m_path, "bytes=0-99"));
    StreamReply reply;
    QVERIFY(client.readReply(reply));
    QCOMPARE(reply.lines.mid(0, 6),
             (QList<QByteArray> {"HTTP/1.1 206 OK", "Content-Type: application/octet-stream",
                                 "Content-Range: bytes 0-100/1000", "Content-Length: 100",
                                 "Server: im-stream-server", "Connection: keep-alive"}));
    QCOMPARE(reply.lines.size(), 7);
    QVERIFY(reply.lines.at(6).startsWith("Date: "));
    const QDateTime date =
            QDateTime::fromString(QString::fromUtf8(reply.lines.at(6).mid(6)), Qt::TextDate);
    QVERIFY2(date.isValid(), reply.lines.at(6).constData());
    QVERIFY(qAbs(date.secsTo(QDateTime::currentDateTimeUtc().toLocalTime())) < 24 * 3600);

    // The server warns on its own thread, possibly before send() returns here.
    QTest::ignoreMessage(QtWarningMsg, "[stream_server]: can not find account model 1");
    client.send("GET /1/none HTTP/1.1\r\n\r\n");
    QByteArray head;
    QVERIFY(client.readUntil("\r\nDate: ", head));
    QCOMPARE(head,
             QByteArray("HTTP/1.1 404 Not Found\r\nServer: im-stream-server\r\n"
                        "Connection: keep-alive"));
}

void tst_StreamConnection::splitRequestLineIsParsedOnceComplete()
{
    StreamClient client(m_socket.get());
    const QByteArray request = rangeRequest(m_path, "bytes=0-9");
    client.send(request.left(7));
    QVERIFY(m_socket->waitForBytesWritten(1000) || m_socket->bytesToWrite() == 0);
    client.send(request.mid(7, 10));
    client.send(request.mid(17));
    StreamReply reply;
    QVERIFY(client.readReply(reply));
    QCOMPARE(reply.statusLine(), QByteArray("HTTP/1.1 206 OK"));
    QCOMPARE(reply.body, m_data.left(10));
}

void tst_StreamConnection::bareLineFeedDoesNotEndALine()
{
    // Without "\r\n" the whole text is one request line, of four fields.
    QTest::ignoreMessage(QtWarningMsg, "[stream_server]: parse request line error");
    StreamClient client(m_socket.get());
    client.send("GET " + m_path + " HTTP/1.1\nRange: bytes=0-9\n\n");
    client.send("\r\n");
    StreamReply reply;
    QVERIFY(client.readReply(reply));
    QCOMPARE(reply.statusLine(), QByteArray("HTTP/1.1 400 Bad Request"));
    expectNothingMoreThenOk(client);
}

void tst_StreamConnection::pipelinedRangeRequestCancelsThePreviousOne()
{
    // One request at a time: the second arrives with the first and cancels it before its bytes.
    StreamClient client(m_socket.get());
    client.send(rangeRequest(m_path, "bytes=0-9") + rangeRequest(m_path, "bytes=10-19"));
    StreamReply first;
    QVERIFY(client.readHead(first));
    QCOMPARE(first.header("Content-Range"), QByteArray("bytes 0-10/1000"));
    StreamReply second;
    QVERIFY(client.readReply(second));
    QCOMPARE(second.statusLine(), QByteArray("HTTP/1.1 206 OK"));
    QCOMPARE(second.header("Content-Range"), QByteArray("bytes 10-20/1000"));
    QCOMPARE(second.body, m_data.mid(10, 10));
    expectNothingMoreThenOk(client);
}

void tst_StreamConnection::unclampedRangeEndsTheConnectionAfterTheFile_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<Ranges>("whole");         // ranges answered in full before it
    QTest::addColumn<QByteArray>("announced"); // its Content-Range
    QTest::addColumn<qint64>("start");

    QTest::newRow("a range running past the end")
            << QByteArray("bytes=0-999999") << Ranges() << QByteArray("bytes 0-1000000/1000")
            << qint64(0);
    QTest::newRow("a range starting at the end, after another")
            << QByteArray("bytes=10-19,1000-1999") << Ranges {{10, 10}}
            << QByteArray("bytes 1000-2000/1000") << qint64(1000);
}

// The bytes the reply announces beyond the end of the file can never come: the file's bytes are
// sent, then the connection ends, rather than leave the client waiting.
void tst_StreamConnection::unclampedRangeEndsTheConnectionAfterTheFile()
{
    QFETCH(QByteArray, range);
    QFETCH(Ranges, whole);
    QFETCH(QByteArray, announced);
    QFETCH(qint64, start);

    QTest::ignoreMessage(QtWarningMsg,
                         "[stream_server]: range of clip runs past the end of the "
                         "file, disconnecting");
    QSignalSpy disconnected(m_socket.get(), &QTcpSocket::disconnected);
    StreamClient client(m_socket.get());
    client.send(rangeRequest(m_path, range));
    for (const Range &piece : std::as_const(whole)) {
        StreamReply reply;
        QVERIFY(client.readReply(reply));
        QCOMPARE(reply.body, m_data.mid(piece.first, piece.second));
    }
    StreamReply reply;
    QVERIFY(client.readHead(reply));
    QCOMPARE(reply.header("Content-Range"), announced);
    QByteArray body;
    QVERIFY(client.readBytes(kFileSize - start, body));
    QCOMPARE(body, m_data.mid(start));
    QVERIFY(disconnected.wait(10000) || m_socket->state() == QAbstractSocket::UnconnectedState);
    QCOMPARE(m_socket->bytesAvailable(), 0);
}

void tst_StreamConnection::newRequestCancelsTheStreamingOne()
{
    const QByteArray data = m_account->addFile(QStringLiteral("large"), kLargeFileSize);
    QCOMPARE(data.size(), kLargeFileSize);
    const QByteArray path = "/" + QByteArray::number(kUserId) + "/large";
    m_socket->setReadBufferSize(64 * 1024);
    StreamClient client(m_socket.get());
    client.send(rangeRequest(path, "bytes=0-"));
    StreamReply first;
    QVERIFY(client.readHead(first));
    QCOMPARE(first.header("Content-Length"), QByteArray::number(kLargeFileSize));
    QByteArray streamed;
    QVERIFY(client.readBytes(1024, streamed));

    client.send(rangeRequest(path, "bytes=100-109"));
    QByteArray rest;
    QVERIFY(client.readUntil("HTTP/1.1 206 OK\r\n", rest, 60000));
    streamed += rest;
    QVERIFY2(streamed.size() < kLargeFileSize, "the first range was not cancelled");
    QCOMPARE(streamed, data.left(streamed.size())); // what was written stays, in order
    StreamReply second;
    QVERIFY(client.readReply(second));
    QCOMPARE(second.header("Content-Range"), QByteArray("bytes 100-110/16777216"));
    QCOMPARE(second.body, data.mid(100, 10));
    expectNothingMoreThenOk(client);
}

void tst_StreamConnection::endlessRequestLineClosesTheConnection()
{
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression(QStringLiteral("request head over \\d+ bytes")));
    QSignalSpy closed(m_socket.get(), &QTcpSocket::disconnected);
    const QByteArray endless(256 * 1024, 'a');
    m_socket->write("GET /");
    m_socket->write(endless);
    QVERIFY(closed.wait(10000) || m_socket->state() == QAbstractSocket::UnconnectedState);
}

void tst_StreamConnection::clientThatDoesNotReadIsNotBufferedWithoutBound()
{
    // Many pipelined requests whose replies are never read: the server stops reading instead of
    // queuing replies, and still answers every request once the client reads.
    constexpr int kRequests = 30000;
    const QByteArray request = "HEAD " + m_path + " HTTP/1.1\r\n\r\n";
    m_socket->setReadBufferSize(64 * 1024);
    StreamClient client(m_socket.get());
    QByteArray all;
    for (int i = 0; i < kRequests; ++i) {
        all += request;
    }
    m_socket->write(all);
    int replies = 0;
    QByteArray ignored;
    while (replies < kRequests) {
        QVERIFY(client.readUntil("HTTP/1.1 200 OK\r\n", ignored, 60000));
        StreamReply reply;
        QVERIFY(client.readHead(reply));
        ++replies;
    }
    QCOMPARE(replies, kRequests);
}

void tst_StreamConnection::chunkThatCannotBeReadClosesTheConnection()
{
    // A source that does not exist: its download fails and the file library gives up on the
    // bytes. The reply has announced its length, so the connection must not go on as if the
    // chunk had been sent.
    QVERIFY(m_account->addRemoteFile(QStringLiteral("lost"), kFileSize,
                                     QStringLiteral("file:///nonexistent/lost")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("download of lost")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("stream requests for")));
    QTest::ignoreMessage(QtWarningMsg,
                         "[stream_server]: bytes of lost cannot be read, disconnecting");
    QSignalSpy disconnected(m_socket.get(), &QTcpSocket::disconnected);
    StreamClient client(m_socket.get());
    client.send(rangeRequest("/" + QByteArray::number(kUserId) + "/lost", "bytes=0-99"));

    StreamReply reply;
    QVERIFY(client.readHead(reply));
    QCOMPARE(reply.statusLine(), QByteArray("HTTP/1.1 206 OK"));
    QVERIFY(disconnected.wait(10000));
    QCOMPARE(m_socket->bytesAvailable(), 0);
}

QTEST_GUILESS_MAIN(tst_StreamConnection)
#include "tst_streamconnection.moc"
