#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QTemporaryDir>
#include <memory>

class AccountBase;
class QTcpSocket;

// A signed-in account for the stream tests: a temporary folder, the account registered with the
// AccountManager, and files whose bytes come from file:// sources in the folder. Unregistered and
// deleted by the destructor.
class StreamTestAccount
{
public:
    explicit StreamTestAccount(qint64 userId);
    ~StreamTestAccount();

    bool isValid() const;
    qint64 userId() const;
    AccountBase *account() const { return m_account.get(); }

    // Writes size bytes that differ from file to file and registers them under fileId; returns
    // them (empty on failure).
    QByteArray addFile(const QString &fileId, qint64 size);
    // Registers fileId with bytes that come from url, of size bytes.
    bool addRemoteFile(const QString &fileId, qint64 size, const QString &url);
    QString sourcePath(const QString &fileId) const;

    static QByteArray randomBytes(qint64 size, quint32 seed);

private:
    QTemporaryDir m_dir;
    std::unique_ptr<AccountBase> m_account;
};

// One reply as read off the wire: the header lines in order (without their "\r\n") and the
// body that its Content-Length announced.
struct StreamReply
{
    QList<QByteArray> lines;
    QByteArray body;

    QByteArray statusLine() const { return lines.value(0); }
    // The value of the first header line with this exact name, empty when absent.
    QByteArray header(const QByteArray &name) const;
    bool hasHeader(const QByteArray &name) const;
};

// Reads from a client socket in the test's thread. Every wait is bounded by timeoutMs and ends as
// soon as the bytes are there.
class StreamClient
{
public:
    explicit StreamClient(QTcpSocket *socket)
        : m_socket(socket)
    { }

    // Reads up to and including the next "\r\n\r\n"; false when it does not come in time.
    bool readHead(StreamReply &reply, int timeoutMs = 10000);
    // Reads exactly count bytes.
    bool readBytes(qint64 count, QByteArray &out, int timeoutMs = 10000);
    // A header block followed by the Content-Length bytes it announces (none when it has none).
    bool readReply(StreamReply &reply, int timeoutMs = 10000);
    // Everything received up to the first occurrence of marker, which stays unread.
    bool readUntil(const QByteArray &marker, QByteArray &out, int timeoutMs = 20000);
    void send(const QByteArray &bytes);

private:
    bool fill(qsizetype atLeast, int timeoutMs);

    QTcpSocket *m_socket;
    QByteArray m_buffer;
};
