#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

// A real HTTP server for tests: nginx serving one folder on a free port of 127.0.0.1, with Range
// requests, 404 for missing files, and a throttled copy of the same folder under /slow/ for tests
// that need a download to last a while.
//
// nginx runs as a single process from a private temporary prefix (configuration, pid, logs and
// temp folders all inside it), so it works the same as root and as an ordinary user. The
// destructor stops it.
//
//     if (!NginxFixture::isInstalled())
//         QSKIP(NginxFixture::notInstalledMessage());
//     NginxFixture nginx(root);
//     QVERIFY2(nginx.start(), qPrintable(nginx.errorString()));
class NginxFixture
{
public:
    // root: the folder to serve; slowBytesPerSecond: the rate of the /slow/ copy.
    explicit NginxFixture(const QString &root, qint64 slowBytesPerSecond = 512 * 1024);
    ~NginxFixture();

    static bool isInstalled();
    static const char *notInstalledMessage();
    // A loopback port that nothing listened on a moment ago.
    static quint16 unusedPort();

    // Writes the configuration, starts nginx and waits until it accepts connections.
    bool start();
    QString errorString() const { return m_error; }

    quint16 port() const { return m_port; }
    // http://127.0.0.1:port/ followed by path (relative to the served folder).
    QString url(const QString &path) const;
    // The same file, sent at the slow rate.
    QString slowUrl(const QString &path) const;

private:
    Q_DISABLE_COPY(NginxFixture)

    static QString executable();
    bool writeConfiguration();
    bool waitUntilAccepting();
    QString errorLog() const;
    void stop();

    const QString m_root;
    const qint64 m_slowBytesPerSecond;
    QTemporaryDir m_prefix;
    QProcess m_process;
    quint16 m_port = 0;
    QString m_error;
};
