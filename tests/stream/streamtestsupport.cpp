#include "streamtestsupport.h"

#include "accountbase.h"
#include "accountmanager.h"
#include "filemanager.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTcpSocket>
#include <QUrl>

StreamTestAccount::StreamTestAccount(qint64 userId)
{
    if (m_dir.isValid()) {
        m_account =
                std::make_unique<AccountBase>(userId, m_dir.filePath(QStringLiteral("account")));
        AccountManager::getInstance()->addAccount(m_account.get());
    }
}

StreamTestAccount::~StreamTestAccount()
{
    if (m_account) {
        AccountManager::getInstance()->removeAccount(m_account.get());
    }
}

bool StreamTestAccount::isValid() const
{
    return m_account && m_account->isValid();
}

qint64 StreamTestAccount::userId() const
{
    return m_account->userId();
}

QByteArray StreamTestAccount::randomBytes(qint64 size, quint32 seed)
{
    QRandomGenerator generator(seed);
    QList<quint32> words((size + 3) / 4);
    generator.fillRange(words.data(), words.size());
    return QByteArray(reinterpret_cast<const char *>(words.constData()), size);
}

QString StreamTestAccount::sourcePath(const QString &fileId) const
{
    return m_dir.filePath(QStringLiteral("sources/") + fileId);
}

QByteArray StreamTestAccount::addFile(const QString &fileId, qint64 size)
{
    const QByteArray data = randomBytes(size, qHash(fileId) ^ quint32(userId()));
    QDir().mkpath(m_dir.filePath(QStringLiteral("sources")));
    QFile file(sourcePath(fileId));
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != size) {
        return {};
    }
    file.close();
    return addRemoteFile(fileId, size, QUrl::fromLocalFile(sourcePath(fileId)).toString())
            ? data
            : QByteArray();
}

bool StreamTestAccount::addRemoteFile(const QString &fileId, qint64 size, const QString &url)
{
    storage::FileRecord record;
    record.fileId = fileId;
    record.type = 5;
    record.suffix = QStringLiteral("bin");
    record.size = size;
    record.name = fileId;
    record.url = url;
    return !m_account->fileManager()->registerFiles({record}).value(0).isNull();
}

QByteArray StreamReply::header(const QByteArray &name) const
{
    const QByteArray prefix = name + ": ";
    for (const QByteArray &line : lines) {
        if (line.startsWith(prefix)) {
            return line.mid(prefix.size());
        }
    }
    return {};
}

bool StreamReply::hasHeader(const QByteArray &name) const
{
    const QByteArray prefix = name + ": ";
    return std::any_of(lines.cbegin(), lines.cend(),
                       [&prefix](const QByteArray &line) { return line.startsWith(prefix); });
}

void StreamClient::send(const QByteArray &bytes)
{
    m_socket->write(bytes);
    m_socket->flush();
}

bool StreamClient::fill(qsizetype atLeast, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (m_buffer.size() < atLeast) {
        m_buffer += m_socket->readAll();
        if (m_buffer.size() >= atLeast) {
            break;
        }
        if (deadline.hasExpired() || !m_socket->waitForReadyRead(int(deadline.remainingTime()))) {
            m_buffer += m_socket->readAll();
            return m_buffer.size() >= atLeast;
        }
    }
    return true;
}

bool StreamClient::readUntil(const QByteArray &marker, QByteArray &out, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    qsizetype at = m_buffer.indexOf(marker);
    while (at < 0) {
        if (!fill(m_buffer.size() + 1, int(deadline.remainingTime()))) {
            return false;
        }
        at = m_buffer.indexOf(marker);
    }
    out = m_buffer.left(at);
    m_buffer.remove(0, at);
    return true;
}

bool StreamClient::readHead(StreamReply &reply, int timeoutMs)
{
    QByteArray head;
    if (!readUntil("\r\n\r\n", head, timeoutMs)) {
        return false;
    }
    m_buffer.remove(0, 4);
    reply.lines = head.split('\n');
    for (QByteArray &line : reply.lines) {
        if (!line.endsWith('\r') && &line != &reply.lines.last()) {
            return false; // a bare line feed inside the head
        }
        line.chop(line.endsWith('\r') ? 1 : 0);
    }
    reply.body.clear();
    return true;
}

bool StreamClient::readBytes(qint64 count, QByteArray &out, int timeoutMs)
{
    if (!fill(count, timeoutMs)) {
        return false;
    }
    out = m_buffer.left(count);
    m_buffer.remove(0, count);
    return true;
}

bool StreamClient::readReply(StreamReply &reply, int timeoutMs)
{
    if (!readHead(reply, timeoutMs)) {
        return false;
    }
    if (!reply.hasHeader("Content-Length")) {
        return true;
    }
    return readBytes(reply.header("Content-Length").toLongLong(), reply.body, timeoutMs);
}
