// The stream server under a flood of idle connections, as another local process can make one:
// `mediactl serve` runs in a child process with the usual limit of 1,024 descriptors while this
// process holds 1,040 idle connections to it for 20 s. One stream plays from before the flood to
// its end.
//
// Figures (one run; the flood is the measurement, not a loop):
//   cpu_ms            CPU time (user and system) the server used during the 20 s
//   cpu_percent       the same, as a share of the 20 s (100 is a core spinning)
//   server_sockets    sockets the server held at the end of the flood: its connections at the cap,
//                     its listening socket and the stream's
//   descriptors       descriptors the server held then, of its 1,024
//   stream_exact      1 when the stream that played through the flood arrived whole and exact
//   new_client_ms     from the end of the flood to the first reply to a new client
//
// Data: one 64 MiB file of random bytes, complete in the account's cache.

#include "processusage.h"
#include "servedclip.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace {

constexpr qint64 kUserId = 9902;
constexpr qint64 kFileSize = 64 * 1024 * 1024;
constexpr rlim_t kDescriptorLimit = 1024;
constexpr int kFloodConnections = 1040;
constexpr int kFloodMs = 20000;
constexpr int kWaitMs = 60000;

QByteArray randomBytes(qint64 size)
{
    QRandomGenerator random(42);
    QByteArray bytes(size, Qt::Uninitialized);
    random.fillRange(reinterpret_cast<quint32 *>(bytes.data()), size / 4);
    return bytes;
}

// Reads up to the end of a reply head; the bytes read past it are left in rest.
bool readHead(QTcpSocket &socket, QByteArray &rest)
{
    QDeadlineTimer deadline(kWaitMs);
    for (rest += socket.readAll(); !rest.contains("\r\n\r\n"); rest += socket.readAll()) {
        if (deadline.hasExpired() || !socket.waitForReadyRead(int(deadline.remainingTime()))) {
            return false;
        }
    }
    rest.remove(0, rest.indexOf("\r\n\r\n") + 4);
    return true;
}

bool readBody(QTcpSocket &socket, QByteArray &body, qint64 size)
{
    QDeadlineTimer deadline(kWaitMs);
    for (body += socket.readAll(); body.size() < size; body += socket.readAll()) {
        if (deadline.hasExpired() || !socket.waitForReadyRead(int(deadline.remainingTime()))) {
            return false;
        }
    }
    return body.size() == size;
}

void Flood(benchmark::State &state)
{
    QTemporaryDir dir;
    const QString folder = dir.filePath(QStringLiteral("account"));
    const QByteArray bytes = randomBytes(kFileSize);
    if (!dir.isValid() || !ServedClip::writeAccount(folder, kUserId, bytes)) {
        state.SkipWithError("cannot write the account");
        return;
    }
    QProcess server;
    QUrl url;
    if (!ServedClip::startServer(server, QStringLiteral(MEDIACTL_PATH), folder, kDescriptorLimit,
                                 kWaitMs, url)) {
        state.SkipWithError("mediactl serve did not start");
        return;
    }
    const qint64 pid = server.processId();

    for (auto _ : state) {
        QTcpSocket playing;
        playing.connectToHost(url.host(), quint16(url.port()));
        QByteArray played;
        if (!playing.waitForConnected(kWaitMs)
            || (playing.write(ServedClip::rangeRequest(url, "bytes=0-")),
                !readHead(playing, played))) {
            state.SkipWithError("the stream did not start");
            break;
        }
        std::vector<std::unique_ptr<QTcpSocket>> flood;
        for (int i = 0; i < kFloodConnections; ++i) {
            flood.push_back(std::make_unique<QTcpSocket>());
            flood.back()->connectToHost(url.host(), quint16(url.port()));
        }
        const qint64 cpuBefore = ProcessUsage::cpuMs(pid);
        QElapsedTimer held;
        held.start();
        // The stream is read meanwhile at a player's pace, 1 MB/s.
        playing.setReadBufferSize(256 * 1024);
        while (!held.hasExpired(kFloodMs)) {
            // A pause between reads, so that this process does not spin beside the server.
            QThread::msleep(10);
            QCoreApplication::processEvents();
            if (played.size() < held.elapsed() * 1000) {
                played += playing.read(64 * 1024);
            }
        }
        playing.setReadBufferSize(0);
        const qint64 cpuMs = ProcessUsage::cpuMs(pid) - cpuBefore;
        const ProcessUsage::Descriptors descriptors = ProcessUsage::descriptors(pid);
        const bool exact = readBody(playing, played, kFileSize) && played == bytes;

        flood.clear();
        QElapsedTimer released;
        released.start();
        QTcpSocket late;
        late.connectToHost(url.host(), quint16(url.port()));
        QByteArray reply;
        const bool served = late.waitForConnected(kWaitMs)
                && (late.write(ServedClip::rangeRequest(url, "bytes=0-99")), readHead(late, reply));
        state.counters["cpu_ms"] = double(cpuMs);
        state.counters["cpu_percent"] = 100.0 * double(cpuMs) / double(held.elapsed());
        state.counters["server_sockets"] = descriptors.sockets;
        state.counters["descriptors"] = descriptors.open;
        state.counters["stream_exact"] = exact ? 1 : 0;
        state.counters["new_client_ms"] = served ? double(released.elapsed()) : -1;
    }
    server.terminate();
    server.waitForFinished(kWaitMs);
}

BENCHMARK(Flood)->Iterations(1)->Unit(benchmark::kSecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
