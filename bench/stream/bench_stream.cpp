// Throughput of the local stream server next to nginx serving the very same file on 127.0.0.1,
// both read by curl (output to /dev/null), in one run:
//
//   OneClient:   one client reads a 1 GiB range (the whole file) in one request.
//   ManyClients: 64 clients at once (one curl process, --parallel) each read their own 10 MiB
//                range of the same file.
//
// Data: one 1 GiB file of random bytes (a 1 MiB random block repeated), written once per process
// into a temporary account's cache, so the stream server reads a complete file. The page cache
// holds it after the first pass; every figure is the median of the repetitions. The summary
// printed at the end gives MB/s (10^6 bytes) and the ratio stream server / nginx.

#include "accountbase.h"
#include "accountmanager.h"
#include "filedata.h"
#include "filemanager.h"
#include "streamserver.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <QUrl>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>

namespace {

constexpr qint64 kUserId = 9901;
constexpr qint64 kFileSize = qint64(1) << 30;
constexpr qint64 kBlockSize = 1024 * 1024;
constexpr int kClients = 64;
constexpr qint64 kClientRange = 10 * 1024 * 1024;
constexpr int kCurlTimeoutMs = 10 * 60 * 1000;

enum Server { StreamServerTarget = 0, NginxTarget = 1 };

const char *serverName(int server)
{
    return server == StreamServerTarget ? "stream_server" : "nginx";
}

// nginx as a web server is usually set up: one worker, sendfile on, room for every client of the
// run. Runs from a private temporary prefix; stopped by the destructor.
class BenchNginx
{
public:
    ~BenchNginx()
    {
        m_process.terminate();
        if (!m_process.waitForFinished(5000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }

    static QString executable()
    {
        return QStandardPaths::findExecutable(
                QStringLiteral("nginx"),
                {QStringLiteral("/usr/sbin"), QStringLiteral("/usr/local/sbin"),
                 QStringLiteral("/usr/local/nginx/sbin"), QStringLiteral("/usr/bin")});
    }

    bool start(const QString &root, QString *error)
    {
        QTcpServer probe;
        if (!m_prefix.isValid() || !probe.listen(QHostAddress::LocalHost, 0)) {
            *error = QStringLiteral("no temporary folder or free port for nginx");
            return false;
        }
        m_port = probe.serverPort();
        probe.close();
        const QString config = QStringLiteral(R"(master_process off;
worker_processes 1;
pid "%1/nginx.pid";
error_log "%1/error.log" warn;
events { worker_connections 1024; }
http {
    access_log off;
    sendfile on;
    tcp_nopush on;
    client_body_temp_path "%1/client_body";
    proxy_temp_path "%1/proxy";
    fastcgi_temp_path "%1/fastcgi";
    uwsgi_temp_path "%1/uwsgi";
    scgi_temp_path "%1/scgi";
    types { }
    default_type application/octet-stream;
    server {
        listen 127.0.0.1:%2;
        root "%3";
    }
}
)")
                                       .arg(m_prefix.path())
                                       .arg(m_port)
                                       .arg(root);
        QFile file(m_prefix.filePath(QStringLiteral("nginx.conf")));
        if (!file.open(QIODevice::WriteOnly) || file.write(config.toUtf8()) <= 0) {
            *error = QStringLiteral("cannot write the nginx configuration");
            return false;
        }
        file.close();
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(executable(),
                        {QStringLiteral("-p"), m_prefix.path(), QStringLiteral("-c"),
                         QStringLiteral("nginx.conf"), QStringLiteral("-e"),
                         m_prefix.filePath(QStringLiteral("error.log")), QStringLiteral("-g"),
                         QStringLiteral("daemon off;")});
        for (int attempt = 0; attempt < 100 && m_process.state() != QProcess::NotRunning;
             ++attempt) {
            QTcpSocket socket;
            socket.connectToHost(QHostAddress::LocalHost, m_port);
            if (socket.waitForConnected(100)) {
                return true;
            }
            QThread::msleep(50);
        }
        *error = QStringLiteral("nginx does not start: ")
                + QString::fromLocal8Bit(m_process.readAll());
        return false;
    }

    QString url(const QString &path) const
    {
        return QStringLiteral("http://127.0.0.1:%1/%2").arg(m_port).arg(path);
    }

private:
    QTemporaryDir m_prefix;
    QProcess m_process;
    quint16 m_port = 0;
};

// The account, its file and both servers, made once for the whole run.
class Setup
{
public:
    bool start(QString *error)
    {
        if (!m_dir.isValid()) {
            *error = QStringLiteral("no temporary folder");
            return false;
        }
        m_account = std::make_unique<AccountBase>(kUserId, m_dir.filePath(QStringLiteral("a")));
        if (!m_account->isValid()) {
            *error = QStringLiteral("cannot open the account");
            return false;
        }
        AccountManager::getInstance()->addAccount(m_account.get());
        storage::FileRecord record;
        record.fileId = QStringLiteral("big");
        record.type = 5;
        record.suffix = QStringLiteral("bin");
        record.size = kFileSize;
        record.name = record.fileId;
        record.url = QStringLiteral("file:///nonexistent/big");
        const QSharedPointer<FileData> file =
                m_account->fileManager()->registerFiles({record}).value(0);
        if (!file || !writeFile(file->localPath())) {
            *error = QStringLiteral("cannot write the 1 GiB file");
            return false;
        }
        const QFileInfo local(file->localPath());
        m_nginx = std::make_unique<BenchNginx>();
        if (!m_nginx->start(local.absolutePath(), error)) {
            return false;
        }
        m_urls[StreamServerTarget] =
                network::StreamServer::instance()->getUrl(kUserId, record.fileId);
        m_urls[NginxTarget] = m_nginx->url(local.fileName());
        if (m_urls[StreamServerTarget].isEmpty()) {
            *error = QStringLiteral("the stream server does not listen");
            return false;
        }
        return true;
    }

    void stop()
    {
        network::StreamServer::instance()->release();
        m_nginx.reset();
        if (m_account) {
            AccountManager::getInstance()->removeAccount(m_account.get());
            m_account.reset();
        }
    }

    QString url(int server) const { return m_urls.value(server); }

private:
    static bool writeFile(const QString &path)
    {
        QByteArray block(kBlockSize, Qt::Uninitialized);
        QRandomGenerator generator(42);
        generator.fillRange(reinterpret_cast<quint32 *>(block.data()), block.size() / 4);
        QFile file(path);
        if (!QDir().mkpath(QFileInfo(path).absolutePath()) || !file.open(QIODevice::WriteOnly)) {
            return false;
        }
        for (qint64 written = 0; written < kFileSize; written += kBlockSize) {
            if (file.write(block) != kBlockSize) {
                return false;
            }
        }
        return true;
    }

    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
    std::unique_ptr<BenchNginx> m_nginx;
    QMap<int, QString> m_urls;
};

Setup *s_setup = nullptr;
// Median MB/s of every benchmark by name, for the summary.
QMap<QString, QList<double>> s_rates;

// Runs curl with arguments; the bytes it received (the sum of its "%{size_download}" lines), or
// -1 when it failed.
qint64 runCurl(const QStringList &arguments)
{
    QProcess curl;
    curl.start(QStringLiteral("curl"),
               QStringList {QStringLiteral("--silent"), QStringLiteral("--show-error"),
                            QStringLiteral("--write-out"), QStringLiteral("%{size_download}\\n")}
                       + arguments);
    if (!curl.waitForFinished(kCurlTimeoutMs) || curl.exitCode() != 0) {
        QTextStream(stderr) << "curl failed: " << curl.readAllStandardError() << '\n';
        return -1;
    }
    qint64 received = 0;
    const QList<QByteArray> lines = curl.readAllStandardOutput().split('\n');
    for (const QByteArray &line : lines) {
        received += line.trimmed().toLongLong();
    }
    return received;
}

QStringList oneClientArguments(const QString &url)
{
    return {QStringLiteral("--range"), QStringLiteral("0-%1").arg(kFileSize - 1),
            QStringLiteral("--output"), QStringLiteral("/dev/null"), url};
}

QStringList manyClientsArguments(const QString &url)
{
    QStringList arguments {QStringLiteral("--parallel"), QStringLiteral("--parallel-immediate"),
                           QStringLiteral("--parallel-max"), QString::number(kClients)};
    for (int client = 0; client < kClients; ++client) {
        const qint64 first = client * kClientRange;
        if (client > 0) {
            arguments << QStringLiteral("--next");
        }
        arguments << QStringLiteral("--write-out") << QStringLiteral("%{size_download}\\n")
                  << QStringLiteral("--range")
                  << QStringLiteral("%1-%2").arg(first).arg(first + kClientRange - 1)
                  << QStringLiteral("--output") << QStringLiteral("/dev/null") << url;
    }
    return arguments;
}

// key: the benchmark and server, under which the summary finds the median rate.
void runTransfers(benchmark::State &state, const QString &key, const QStringList &arguments,
                  qint64 expected)
{
    QList<double> rates;
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        const qint64 received = runCurl(arguments);
        const qint64 nsecs = timer.nsecsElapsed();
        if (received != expected) {
            state.SkipWithError("curl did not receive the whole range");
            return;
        }
        state.SetIterationTime(double(nsecs) / 1e9);
        rates.append(double(expected) / (double(nsecs) / 1e9) / 1e6);
    }
    state.SetBytesProcessed(state.iterations() * expected);
    std::sort(rates.begin(), rates.end());
    const double median = rates.value(rates.size() / 2);
    state.counters["MB_per_s"] = median;
    s_rates[key].append(median);
}

void OneClient(benchmark::State &state)
{
    state.SetLabel(serverName(int(state.range(0))));
    const int server = int(state.range(0));
    runTransfers(state, QStringLiteral("OneClient/%1").arg(server),
                 oneClientArguments(s_setup->url(server)), kFileSize);
}

void ManyClients(benchmark::State &state)
{
    state.SetLabel(serverName(int(state.range(0))));
    const int server = int(state.range(0));
    runTransfers(state, QStringLiteral("ManyClients/%1").arg(server),
                 manyClientsArguments(s_setup->url(server)), kClients * kClientRange);
}

BENCHMARK(OneClient)
        ->ArgName("nginx")
        ->Arg(StreamServerTarget)
        ->Arg(NginxTarget)
        ->UseManualTime()
        ->Iterations(3)
        ->Unit(benchmark::kMillisecond);
BENCHMARK(ManyClients)
        ->ArgName("nginx")
        ->Arg(StreamServerTarget)
        ->Arg(NginxTarget)
        ->UseManualTime()
        ->Iterations(5)
        ->Unit(benchmark::kMillisecond);

void printSummary()
{
    QTextStream out(stdout);
    for (const char *name : {"OneClient", "ManyClients"}) {
        const double stream =
                s_rates.value(QStringLiteral("%1/%2").arg(name).arg(StreamServerTarget)).value(0);
        const double nginx =
                s_rates.value(QStringLiteral("%1/%2").arg(name).arg(NginxTarget)).value(0);
        if (stream > 0 && nginx > 0) {
            out << name << ": stream server " << qRound(stream) << " MB/s, nginx " << qRound(nginx)
                << " MB/s, ratio " << QString::number(stream / nginx, 'f', 2) << '\n';
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (BenchNginx::executable().isEmpty()) {
        QTextStream(stderr) << "bench_stream: nginx is not installed\n";
        return 1;
    }
    Setup setup;
    QString error;
    if (!setup.start(&error)) {
        QTextStream(stderr) << "bench_stream: " << error << '\n';
        setup.stop();
        return 1;
    }
    s_setup = &setup;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    printSummary();
    setup.stop();
    return 0;
}
