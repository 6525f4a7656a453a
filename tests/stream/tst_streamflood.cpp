#include "processusage.h"
#include "servedclip.h"
#include "streamtestsupport.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <sys/resource.h>

namespace {

constexpr qint64 kUserId = 7301;
constexpr qint64 kFileSize = 8 * 1024 * 1024;
// The server runs with few descriptors, and the flood asks for far more connections than that.
constexpr rlim_t kDescriptorLimit = 256;
constexpr int kFloodConnections = 600;
constexpr int kHoldMs = 2000;

} // namespace

// `mediactl serve` in a process of its own with a low descriptor limit, flooded by idle
// connections from this one: it must not spin, must finish the stream that already plays, and
// must serve new clients once the flood lets go.
class tst_StreamFlood : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void floodOfIdleConnections();

private:
    QTemporaryDir m_dir;
    QString m_folder;
    QByteArray m_data;
    QProcess m_server;
    QUrl m_url;
};

void tst_StreamFlood::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_folder = m_dir.filePath(QStringLiteral("account"));
    m_data = StreamTestAccount::randomBytes(kFileSize, 73);
    QVERIFY(ServedClip::writeAccount(m_folder, kUserId, m_data));
    QVERIFY(ServedClip::startServer(m_server, QStringLiteral(MEDIACTL_PATH), m_folder,
                                    kDescriptorLimit, 30000, m_url));
}

void tst_StreamFlood::cleanupTestCase()
{
    m_server.terminate();
    QVERIFY(m_server.waitForFinished(10000));
}

void tst_StreamFlood::floodOfIdleConnections()
{
    const qint64 pid = m_server.processId();

    QTcpSocket playing;
    playing.connectToHost(m_url.host(), quint16(m_url.port()));
    QVERIFY(playing.waitForConnected(10000));
    StreamClient player(&playing);
    player.send(ServedClip::rangeRequest(m_url, "bytes=0-"));
    StreamReply head;
    QVERIFY(player.readHead(head));
    QCOMPARE(head.header("Content-Length"), QByteArray::number(kFileSize));
    QByteArray played;
    QVERIFY(player.readBytes(64 * 1024, played));

    std::vector<std::unique_ptr<QTcpSocket>> flood;
    for (int i = 0; i < kFloodConnections; ++i) {
        flood.push_back(std::make_unique<QTcpSocket>());
        flood.back()->connectToHost(m_url.host(), quint16(m_url.port()));
    }
    // The kernel completes what the server's backlog holds; the server takes what it will.
    QTRY_VERIFY_WITH_TIMEOUT(std::count_if(flood.cbegin(), flood.cend(),
                                           [](const auto &socket) {
                                               return socket->state()
                                                       == QAbstractSocket::ConnectedState;
                                           })
                                     >= 64,
                             20000);

    const qint64 cpuBefore = ProcessUsage::cpuMs(pid);
    QElapsedTimer held;
    held.start();
    QVERIFY(QTest::qWaitFor([&held] { return held.hasExpired(kHoldMs); }, kHoldMs * 2));
    const qint64 cpuDuringFlood = ProcessUsage::cpuMs(pid) - cpuBefore;
    const ProcessUsage::Descriptors descriptors = ProcessUsage::descriptors(pid);
    qInfo("server during the flood: %lld ms of CPU in %lld ms, %d descriptors of %d, %d sockets",
          cpuDuringFlood, held.elapsed(), descriptors.open, int(kDescriptorLimit),
          descriptors.sockets);
    // Idle connections cost nothing to hold: a server that spins uses the whole interval.
    QVERIFY2(cpuDuringFlood < kHoldMs / 4, qPrintable(QString::number(cpuDuringFlood)));
    QVERIFY2(descriptors.open < int(kDescriptorLimit),
             qPrintable(QString::number(descriptors.open)));

    QByteArray rest;
    QVERIFY(player.readBytes(kFileSize - played.size(), rest, 30000));
    QVERIFY(played + rest == m_data);

    flood.clear();
    QTcpSocket late;
    late.connectToHost(m_url.host(), quint16(m_url.port()));
    QVERIFY(late.waitForConnected(10000));
    StreamClient client(&late);
    client.send(ServedClip::rangeRequest(m_url, "bytes=100-199"));
    StreamReply reply;
    QVERIFY(client.readReply(reply, 20000));
    QCOMPARE(reply.statusLine(), QByteArray("HTTP/1.1 206 OK"));
    QCOMPARE(reply.body, m_data.mid(100, 100));
}

QTEST_GUILESS_MAIN(tst_StreamFlood)
#include "tst_streamflood.moc"
