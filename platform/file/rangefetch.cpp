#include "rangefetch_p.h"

#include "filedata.h"
#include "networkusagemodel.h"
#include "platformlog.h"

#include <QDir>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QUrl>

namespace {
// A server that sends nothing for this long fails the fetch; its requests wait for the download.
constexpr int kTransferTimeoutMs = 30000;

qint64 contentRangeFirstByte(const QByteArray &value)
{
    static const QRegularExpression pattern(QStringLiteral("^\\s*bytes\\s+(\\d+)-\\d+/"));
    const QRegularExpressionMatch match = pattern.match(QString::fromLatin1(value));
    return match.hasMatch() ? match.captured(1).toLongLong() : -1;
}
} // namespace

RangeFetch::RangeFetch(const QSharedPointer<FileData> &file, qint64 start, qint64 end,
                       QObject *parent)
    : QObject(parent)
    , m_file(file)
    , m_start(start)
    , m_end(end)
    , m_position(start)
    , m_rangeFile(rangeFilePath(*file))
{ }

RangeFetch::~RangeFetch()
{
    abort();
}

bool RangeFetch::canFetch(const FileData &file)
{
    const QString scheme = QUrl(file.url()).scheme();
    return file.size() > 0 && (scheme == QLatin1String("http") || scheme == QLatin1String("https"));
}

QString RangeFetch::rangeFilePath(const FileData &file)
{
    return file.partialPath() + QLatin1String(kRangeFileSuffix);
}

QString RangeFetch::rangeMapPath(const FileData &file)
{
    return file.partialPath() + QLatin1String(kRangeMapSuffix);
}

void RangeFetch::start(QNetworkAccessManager *network)
{
    const QString folder = QFileInfo(m_rangeFile.fileName()).absolutePath();
    // Not truncated: other fetches of the same file keep their bytes in it.
    if (!QDir().mkpath(folder) || !m_rangeFile.open(QIODevice::ReadWrite)) {
        fail(QStringLiteral("cannot open ") + m_rangeFile.fileName() + QStringLiteral(": ")
             + m_rangeFile.errorString());
        return;
    }
    QNetworkRequest request {QUrl(m_file->url())};
    request.setRawHeader("Accept-Encoding", "identity");
    request.setRawHeader(
            "Range", "bytes=" + QByteArray::number(m_start) + '-' + QByteArray::number(m_end - 1));
    request.setTransferTimeout(kTransferTimeoutMs);
    m_reply = network->get(request);
    connect(m_reply, &QNetworkReply::readyRead, this, &RangeFetch::onReadyRead);
    connect(m_reply, &QNetworkReply::finished, this, &RangeFetch::onFinished);
}

void RangeFetch::abort()
{
    m_aborted = true;
    m_finished = true;
    if (m_reply) {
        QNetworkReply *reply = m_reply;
        releaseReply();
        reply->abort();
    }
    m_rangeFile.close();
}

void RangeFetch::releaseReply()
{
    m_reply->disconnect(this);
    m_reply->deleteLater();
    m_reply = nullptr;
}

bool RangeFetch::acceptReply()
{
    if (m_accepted) {
        return true;
    }
    const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status == 200) {
        // A whole file here would only repeat the download; the request waits for that instead.
        fail(QStringLiteral("the source ignores byte ranges"));
        return false;
    }
    if (status != 206) {
        return false; // an error status: onFinished reports it
    }
    const QByteArray range = m_reply->rawHeader("Content-Range");
    if (contentRangeFirstByte(range) != m_start) {
        fail(QStringLiteral("unexpected Content-Range ") + QString::fromLatin1(range));
        return false;
    }
    m_accepted = true;
    return true;
}

bool RangeFetch::write(const QByteArray &data)
{
    if (data.isEmpty()) {
        return true;
    }
    if (m_position + data.size() > m_end) {
        fail(QStringLiteral("the source sends more bytes than asked for"));
        return false;
    }
    // Flushed before it is announced: stream requests read the range file from other threads.
    if (!m_rangeFile.seek(m_position) || m_rangeFile.write(data) != data.size()
        || !m_rangeFile.flush()) {
        fail(QStringLiteral("cannot write ") + m_rangeFile.fileName() + QStringLiteral(": ")
             + m_rangeFile.errorString());
        return false;
    }
    const qint64 first = m_position;
    m_position += data.size();
    NetworkUsageModel::instance()->addReceivedBytes(data.size());
    Q_EMIT written(first, m_position);
    return true;
}

void RangeFetch::onReadyRead()
{
    if (m_reply && acceptReply()) {
        write(m_reply->readAll());
    }
}

void RangeFetch::onFinished()
{
    QNetworkReply *reply = m_reply;
    if (reply->error() != QNetworkReply::NoError) {
        const QString reason = reply->errorString();
        releaseReply();
        fail(reason);
        return;
    }
    if (!acceptReply()) {
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (m_reply) {
            releaseReply();
        }
        fail(QStringLiteral("HTTP status %1").arg(status));
        return;
    }
    const QByteArray rest = reply->readAll();
    releaseReply();
    if (!write(rest)) {
        return;
    }
    if (m_position != m_end) {
        fail(QStringLiteral("the source ended after %1 of %2 bytes")
                     .arg(m_position - m_start)
                     .arg(m_end - m_start));
        return;
    }
    finish(true);
}

void RangeFetch::fail(const QString &reason)
{
    if (m_finished) {
        return;
    }
    qCWarning(lcPlatform).noquote() << "range fetch of bytes" << m_start << "to" << m_end << "of"
                                    << m_file->fileId() << "failed:" << reason;
    if (m_reply) {
        QNetworkReply *reply = m_reply;
        releaseReply();
        reply->abort();
    }
    finish(false);
}

void RangeFetch::finish(bool ok)
{
    m_finished = true;
    m_rangeFile.close();
    QMetaObject::invokeMethod(
            this,
            [this, ok] {
                if (!m_aborted) {
                    Q_EMIT finished(ok);
                }
            },
            Qt::QueuedConnection);
}
