#include "httpdownloadtask_p.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>

namespace {
// A server that sends nothing for this long fails the download instead of holding its slot.
constexpr int kTransferTimeoutMs = 30000;

// The first byte and the total of a "bytes first-last/total" Content-Range; total -1 for "*".
bool parseContentRange(const QByteArray &value, qint64 &first, qint64 &total)
{
    static const QRegularExpression pattern(
            QStringLiteral("^\\s*bytes\\s+(\\d+)-(\\d+)/(\\d+|\\*)\\s*$"));
    const QRegularExpressionMatch match = pattern.match(QString::fromLatin1(value));
    if (!match.hasMatch()) {
        return false;
    }
    first = match.captured(1).toLongLong();
    total = match.captured(3) == QLatin1String("*") ? -1 : match.captured(3).toLongLong();
    return true;
}
} // namespace

HttpDownloadTask::HttpDownloadTask(const QSharedPointer<FileData> &file, QObject *parent)
    : DownloadTask(file, parent)
{ }

HttpDownloadTask::~HttpDownloadTask()
{
    abortTransfer();
}

void HttpDownloadTask::startTransfer(QNetworkAccessManager *network, qint64 offset)
{
    m_offset = offset;
    QNetworkRequest request {QUrl(source())};
    // Byte offsets must count the file's bytes, not those of a compressed body.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setTransferTimeout(kTransferTimeoutMs);
    if (offset > 0) {
        request.setRawHeader("Range", "bytes=" + QByteArray::number(offset) + '-');
    }
    m_reply = network->get(request);
    connect(m_reply, &QNetworkReply::readyRead, this, &HttpDownloadTask::onReadyRead);
    connect(m_reply, &QNetworkReply::finished, this, &HttpDownloadTask::onFinished);
}

void HttpDownloadTask::abortTransfer()
{
    if (!m_reply) {
        return;
    }
    QNetworkReply *reply = m_reply;
    releaseReply();
    reply->abort();
}

void HttpDownloadTask::releaseReply()
{
    m_reply->disconnect(this);
    m_reply->deleteLater();
    m_reply = nullptr;
}

bool HttpDownloadTask::acceptReply(QNetworkReply *reply)
{
    if (m_accepted) {
        return true;
    }
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status == 206) {
        qint64 first = -1;
        qint64 total = -1;
        const QByteArray range = reply->rawHeader("Content-Range");
        if (!parseContentRange(range, first, total) || first != m_offset) {
            fail(QStringLiteral("unexpected Content-Range ") + QString::fromLatin1(range));
            return false;
        }
        m_accepted = setTotal(total);
        return m_accepted;
    }
    if (status == 200) {
        // The server ignored the Range header and sends the whole file.
        if (m_offset > 0 && !restartFromZero()) {
            return false;
        }
        const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
        m_accepted = setTotal(length.isValid() ? length.toLongLong() : -1);
        return m_accepted;
    }
    return false; // an error status: finished() reports it, the body is not the file
}

void HttpDownloadTask::onReadyRead()
{
    if (acceptReply(m_reply)) {
        append(m_reply->readAll());
    }
}

void HttpDownloadTask::onFinished()
{
    // Released first: fail() and append() may end the task, which must not abort this reply.
    QNetworkReply *reply = m_reply;
    releaseReply();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->error() != QNetworkReply::NoError) {
        fail(status > 0 ? QStringLiteral("HTTP %1: %2").arg(status).arg(reply->errorString())
                        : reply->errorString());
        return;
    }
    if (!acceptReply(reply)) {
        fail(QStringLiteral("HTTP status %1").arg(status));
        return;
    }
    if (append(reply->readAll())) {
        complete();
    }
}
