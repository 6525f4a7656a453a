#include "streamserver.h"
#include "streamserver_p.h"
#include "streamtestsupport.h"

#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QUrl>

#include <sys/resource.h>
#include <unistd.h>

namespace {
constexpr qint64 kUserA = 8001;
constexpr qint64 kUserB = 8002;
constexpr qint64 kFileSize = 100000;
constexpr qint64 kLargeFileSize = 16 * 1024 * 1024;
constexpr int kShortIdleMs = 300;

// Whether nothing listens on the loopback port: binding it succeeds.
bool isFree(quint16 port)
{
    QTcpServer probe;
    return probe.listen(QHostAddress::LocalHost, port);
}

QByteArray rangeRequest(qint64 userId, const QByteArray &fileId, const QByteArray &range)
{
    return "GET /" + QByteArray::number(userId) + '/' + fileId + " HTTP/1.1\r\nRange: " + range
            + "\r\n\r\n";
}

// The descriptor number the next open would get.
int lowestFreeDescriptor()
{
    const int probe = dup(0);
    close(probe);
    return probe;
}
} // namespace

// The server's life: URLs, listening on demand, idle stop, closing a user's connections, and
// real HTTP clients.
class tst_StreamServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void urlNamesTheAccountAndFile();
    void curlReadsRanges_data();
    void curlReadsRanges();
    void disconnectForUserLeavesOtherAccountsStreaming();
    void stopsListeningWhenIdle();
    void connectionHoldsOffTheIdleStop();
    void disconnectForUserDoesNotStartTheIdleStop();
    void closeWhenNotListeningReturns();
    void listenFailureGivesAnEmptyUrl();
    void releaseLeavesAnInertInstance();

private:
    std::unique_ptr<QTcpSocket> connectTo(const QString &url);
    // A client whose first request has been answered; null when it was not.
    std::unique_ptr<QTcpSocket> answeredClient(const QString &url);

    std::unique_ptr<StreamTestAccount> m_a;
    std::unique_ptr<StreamTestAccount> m_b;
    QByteArray m_small;
    QByteArray m_largeA;
    QByteArray m_largeB;
};

void tst_StreamServer::initTestCase()
{
    m_a = std::make_unique<StreamTestAccount>(kUserA);
    m_b = std::make_unique<StreamTestAccount>(kUserB);
    QVERIFY(m_a->isValid() && m_b->isValid());
    m_small = m_a->addFile(QStringLiteral("song"), kFileSize);
    m_largeA = m_a->addFile(QStringLiteral("film"), kLargeFileSize);
    m_largeB = m_b->addFile(QStringLiteral("film"), kLargeFileSize);
    QVERIFY(!m_small.isEmpty() && !m_largeA.isEmpty() && !m_largeB.isEmpty());
}

void tst_StreamServer::cleanup()
{
    network::setStreamServerIdleIntervalForTests(30000);
    network::StreamServer::instance()->close();
}

std::unique_ptr<QTcpSocket> tst_StreamServer::connectTo(const QString &url)
{
    auto socket = std::make_unique<QTcpSocket>();
    socket->connectToHost(QUrl(url).host(), quint16(QUrl(url).port()));
    return socket->waitForConnected(10000) ? std::move(socket) : nullptr;
}

void tst_StreamServer::urlNamesTheAccountAndFile()
{
    const QUrl url(network::StreamServer::instance()->getUrl(kUserA, QStringLiteral("a b?c")));
    QCOMPARE(url.scheme(), QStringLiteral("http"));
    QCOMPARE(url.host(), QStringLiteral("127.0.0.1"));
    QVERIFY(url.port() > 0);
    QCOMPARE(url.path(QUrl::FullyDecoded), QStringLiteral("/8001/a b?c"));
    QVERIFY(!url.hasQuery());
    QVERIFY(!url.hasFragment());
    QVERIFY(!isFree(quint16(url.port())));
}

void tst_StreamServer::curlReadsRanges_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<qint64>("start");
    QTest::addColumn<qint64>("length");

    QTest::newRow("closed range") << QStringList {"-r", "100-199"} << qint64(100) << qint64(100);
    QTest::newRow("open range") << QStringList {"-r", "99000-"} << qint64(99000) << qint64(1000);
    QTest::newRow("range of several chunks")
            << QStringList {"-r", "1-99998"} << qint64(1) << qint64(99998);
}

void tst_StreamServer::curlReadsRanges()
{
    QFETCH(QStringList, arguments);
    QFETCH(qint64, start);
    QFETCH(qint64, length);
    if (QStandardPaths::findExecutable(QStringLiteral("curl")).isEmpty()) {
        QSKIP("curl is not installed (scripts/setup-deps.sh installs it)");
    }
    const QString url = network::StreamServer::instance()->getUrl(kUserA, QStringLiteral("song"));
    QProcess curl;
    curl.start(QStringLiteral("curl"),
               QStringList {"-s", "-S", "--max-time", "20"} + arguments + QStringList {url});
    QVERIFY(curl.waitForFinished(30000));
    QCOMPARE(curl.exitCode(), 0);
    QCOMPARE(curl.readAllStandardOutput(), m_small.mid(start, length));
}

void tst_StreamServer::disconnectForUserLeavesOtherAccountsStreaming()
{
    const QString urlA = network::StreamServer::instance()->getUrl(kUserA, QStringLiteral("film"));
    auto socketA = connectTo(urlA);
    auto socketB = connectTo(urlA);
    QVERIFY(socketA && socketB);
    StreamClient clientA(socketA.get());
    StreamClient clientB(socketB.get());
    clientA.send(rangeRequest(kUserA, "film", "bytes=0-"));
    clientB.send(rangeRequest(kUserB, "film", "bytes=0-"));
    StreamReply replyA;
    StreamReply replyB;
    QVERIFY(clientA.readHead(replyA));
    QVERIFY(clientB.readHead(replyB));
    QByteArray first;
    QVERIFY(clientB.readBytes(1000, first));

    QSignalSpy closedA(socketA.get(), &QTcpSocket::disconnected);
    network::StreamServer::instance()->disconnectForUser(kUserA);
    QVERIFY(closedA.count() == 1 || closedA.wait(10000));

    QByteArray rest;
    QVERIFY(clientB.readBytes(kLargeFileSize - first.size(), rest, 60000));
    QVERIFY(first + rest == m_largeB);
    QCOMPARE(socketB->state(), QAbstractSocket::ConnectedState);
}

void tst_StreamServer::stopsListeningWhenIdle()
{
    network::setStreamServerIdleIntervalForTests(kShortIdleMs);
    const QUrl url(network::StreamServer::instance()->getUrl(kUserA, QStringLiteral("song")));
    QVERIFY(!isFree(quint16(url.port())));
    QTRY_VERIFY_WITH_TIMEOUT(isFree(quint16(url.port())), 10000);
    // Listens again on demand.
    const QUrl again(network::StreamServer::instance()->getUrl(kUserA, QStringLiteral("song")));
    QVERIFY(again.port() > 0);
    QVERIFY(!isFree(quint16(again.port())));
}

std::unique_ptr<QTcpSocket> tst_StreamServer::answeredClient(const QString &url)
{
    auto socket = connectTo(url);
    if (!socket) {
        return nullptr;
    }
    StreamClient client(socket.get());
    client.send(rangeRequest(kUserA, "song", "bytes=0-9"));
    StreamReply reply;
    return client.readReply(reply) ? std::move(socket) : nullptr;
}

void tst_StreamServer::connectionHoldsOffTheIdleStop()
{
    network::setStreamServerIdleIntervalForTests(kShortIdleMs);
    const QString url = network::StreamServer::instance()->getUrl(kUserA, QStringLiteral("song"));
    const auto socket = answeredClient(url);
    QVERIFY(socket);
    QSignalSpy closed(socket.get(), &QTcpSocket::disconnected);
    QVERIFY(!closed.wait(4 * kShortIdleMs));
    QVERIFY(!isFree(quint16(QUrl(url).port())));

    // The last client leaving starts the idle stop.
    socket->disconnectFromHost();
    QTRY_VERIFY_WITH_TIMEOUT(isFree(quint16(QUrl(url).port())), 10000);
}

void tst_StreamServer::disconnectForUserDoesNotStartTheIdleStop()
{
    network::setStreamServerIdleIntervalForTests(kShortIdleMs);
    const QString url = network::StreamServer::instance()->getUrl(kUserA, QStringLiteral("song"));
    const auto socket = answeredClient(url);
    QVERIFY(socket);

    QSignalSpy closed(socket.get(), &QTcpSocket::disconnected);
    network::StreamServer::instance()->disconnectForUser(kUserA);
    QVERIFY(closed.count() == 1 || closed.wait(10000));
    QSignalSpy never(this, &QObject::destroyed);
    QVERIFY(!never.wait(4 * kShortIdleMs));
    QVERIFY(!isFree(quint16(QUrl(url).port())));
}

void tst_StreamServer::closeWhenNotListeningReturns()
{
    const QUrl url(network::StreamServer::instance()->getUrl(kUserA, QStringLiteral("song")));
    network::StreamServer::instance()->close();
    QVERIFY(isFree(quint16(url.port())));
    network::StreamServer::instance()->close();
    QVERIFY(!network::StreamServer::instance()->getUrl(kUserA, QStringLiteral("song")).isEmpty());
}

void tst_StreamServer::listenFailureGivesAnEmptyUrl()
{
    network::StreamServer::instance()->close();
    rlimit saved {};
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &saved), 0);
    // No descriptor left for the listening socket.
    rlimit exhausted = saved;
    exhausted.rlim_cur = rlim_t(lowestFreeDescriptor());
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &exhausted), 0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^\\[stream_server\\]: listen error: "));
    QTest::ignoreMessage(QtWarningMsg, "[stream_server]: start failed.");
    const QString url = network::StreamServer::instance()->getUrl(kUserA, QStringLiteral("song"));
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &saved), 0);
    QVERIFY(url.isEmpty());
    // The next call tries again.
    QVERIFY(!network::StreamServer::instance()->getUrl(kUserA, QStringLiteral("song")).isEmpty());
}

void tst_StreamServer::releaseLeavesAnInertInstance()
{
    network::StreamServer::instance()->release();
    QVERIFY(network::StreamServer::instance()->getUrl(kUserA, QStringLiteral("song")).isEmpty());
    network::StreamServer::instance()->disconnectForUser(kUserA);
    network::StreamServer::instance()->close();
}

QTEST_GUILESS_MAIN(tst_StreamServer)
#include "tst_streamserver.moc"
