#include "nginxfixture.h"

#include "childprocess.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>

namespace {
constexpr int kStartTimeoutMs = 10000;
constexpr int kStopTimeoutMs = 5000;
constexpr int kConnectAttemptMs = 100;
} // namespace

NginxFixture::NginxFixture(const QString &root, qint64 slowBytesPerSecond)
    : m_root(QDir(root).absolutePath())
    , m_slowBytesPerSecond(slowBytesPerSecond)
{
    m_process.setProcessChannelMode(QProcess::MergedChannels);
}

NginxFixture::~NginxFixture()
{
    stop();
}

QString NginxFixture::executable()
{
    // nginx usually lives in an sbin folder, which is not on an ordinary user's PATH.
    const QString onPath = QStandardPaths::findExecutable(QStringLiteral("nginx"));
    if (!onPath.isEmpty()) {
        return onPath;
    }
    return QStandardPaths::findExecutable(
            QStringLiteral("nginx"),
            {QStringLiteral("/usr/sbin"), QStringLiteral("/usr/local/sbin"),
             QStringLiteral("/usr/local/nginx/sbin"), QStringLiteral("/sbin")});
}

bool NginxFixture::isInstalled()
{
    return !executable().isEmpty();
}

const char *NginxFixture::notInstalledMessage()
{
    return "nginx is not installed: the tests against a real HTTP server are skipped";
}

quint16 NginxFixture::unusedPort()
{
    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHost, 0)) {
        return 0;
    }
    return server.serverPort();
}

QString NginxFixture::url(const QString &path) const
{
    return QStringLiteral("http://127.0.0.1:%1/%2").arg(m_port).arg(path);
}

QString NginxFixture::slowUrl(const QString &path) const
{
    return QStringLiteral("http://127.0.0.1:%1/slow/%2").arg(m_port).arg(path);
}

bool NginxFixture::start()
{
    if (!isInstalled()) {
        m_error = QString::fromLatin1(notInstalledMessage());
        return false;
    }
    if (!m_prefix.isValid()) {
        m_error = QStringLiteral("cannot create a temporary folder: ") + m_prefix.errorString();
        return false;
    }
    m_port = unusedPort();
    if (m_port == 0 || !writeConfiguration()) {
        m_error = QStringLiteral("cannot prepare the nginx configuration in ") + m_prefix.path();
        return false;
    }
    // -e: nginx opens its error log before reading the configuration, by default in a system
    // folder that an ordinary user cannot write.
    m_process.start(executable(),
                    {QStringLiteral("-p"), m_prefix.path(), QStringLiteral("-c"),
                     QStringLiteral("nginx.conf"), QStringLiteral("-e"),
                     m_prefix.filePath(QStringLiteral("error.log")), QStringLiteral("-g"),
                     QStringLiteral("daemon off;")});
    if (!m_process.waitForStarted()) {
        m_error = QStringLiteral("cannot run nginx: ") + m_process.errorString();
        return false;
    }
    return waitUntilAccepting();
}

bool NginxFixture::writeConfiguration()
{
    const QString prefix = m_prefix.path();
    const QString config = QStringLiteral(R"(master_process off;
worker_processes 1;
pid "%1/nginx.pid";
error_log "%1/error.log" warn;
events {
    worker_connections 64;
}
http {
    access_log off;
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
        location /slow/ {
            alias "%3/";
            limit_rate %4;
        }
    }
}
)")
                                   .arg(prefix)
                                   .arg(m_port)
                                   .arg(m_root)
                                   .arg(m_slowBytesPerSecond);
    QFile file(m_prefix.filePath(QStringLiteral("nginx.conf")));
    return file.open(QIODevice::WriteOnly) && file.write(config.toUtf8()) > 0;
}

bool NginxFixture::waitUntilAccepting()
{
    const QDeadlineTimer deadline(kStartTimeoutMs);
    while (!deadline.hasExpired()) {
        if (m_process.state() == QProcess::NotRunning) {
            m_error = QStringLiteral("nginx exited: ") + QString::fromLocal8Bit(m_process.readAll())
                    + errorLog();
            return false;
        }
        QTcpSocket probe;
        probe.connectToHost(QHostAddress::LocalHost, m_port);
        if (probe.waitForConnected(kConnectAttemptMs)) {
            return true;
        }
        m_process.waitForFinished(kConnectAttemptMs);
    }
    m_error = QStringLiteral("nginx does not accept connections on port %1: ").arg(m_port)
            + errorLog();
    return false;
}

QString NginxFixture::errorLog() const
{
    QFile log(m_prefix.filePath(QStringLiteral("error.log")));
    return log.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(log.readAll()) : QString();
}

void NginxFixture::stop()
{
    stopChildProcess(m_process, kStopTimeoutMs);
}
