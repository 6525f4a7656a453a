#include "downloadtask_p.h"

#include "filedata.h"
#include "httpdownloadtask_p.h"
#include "localdownloadtask_p.h"
#include "networkusagemodel.h"
#include "platformlog.h"

#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace {
// Progress is reported at this step when the total is unknown.
constexpr qint64 kUnknownTotalProgressStep = 256 * 1024;
} // namespace

DownloadTask *DownloadTask::create(const QSharedPointer<FileData> &file, QObject *parent)
{
    const QUrl url(file->url());
    if (url.isLocalFile()) {
        return new LocalDownloadTask(file, parent);
    }
    if (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https")) {
        return new HttpDownloadTask(file, parent);
    }
    return nullptr;
}

DownloadTask::DownloadTask(const QSharedPointer<FileData> &file, QObject *parent)
    : QObject(parent)
    , m_file(file)
    , m_partial(file->partialPath())
{ }

DownloadTask::~DownloadTask() = default;

QString DownloadTask::source() const
{
    return m_file->url();
}

void DownloadTask::start(QNetworkAccessManager *network)
{
    const QString folder = QFileInfo(m_partial.fileName()).absolutePath();
    if (!QDir().mkpath(folder)) {
        fail(QStringLiteral("cannot create folder ") + folder);
        return;
    }
    if (!m_partial.open(QIODevice::WriteOnly | QIODevice::Append)) {
        fail(QStringLiteral("cannot open ") + m_partial.fileName() + QStringLiteral(": ")
             + m_partial.errorString());
        return;
    }
    m_written = m_partial.size();
    const qint64 expected = m_file->size();
    if (expected > 0 && m_written > expected && !restartFromZero()) {
        return;
    }
    m_file->setDownloadedBytes(m_written);
    if (expected > 0 && m_written == expected) {
        m_total = expected;
        complete();
        return;
    }
    startTransfer(network, m_written);
}

void DownloadTask::abort()
{
    m_aborted = true;
    if (m_finished) {
        return;
    }
    m_finished = true;
    abortTransfer();
    m_partial.close();
}

bool DownloadTask::setTotal(qint64 total)
{
    const qint64 expected = m_file->size();
    if (expected > 0 && total >= 0 && total != expected) {
        fail(QStringLiteral("the source has %1 bytes, the file %2").arg(total).arg(expected));
        return false;
    }
    m_total = total >= 0 ? total : (expected > 0 ? expected : -1);
    return true;
}

bool DownloadTask::restartFromZero()
{
    if (!m_partial.resize(0)) {
        fail(QStringLiteral("cannot truncate ") + m_partial.fileName());
        return false;
    }
    m_written = 0;
    m_lastReported = -1;
    m_file->setDownloadedBytes(0);
    return true;
}

bool DownloadTask::append(const QByteArray &data)
{
    if (m_finished || data.isEmpty()) {
        return !m_finished;
    }
    if (m_total >= 0 && m_written + data.size() > m_total) {
        fail(QStringLiteral("the source sends more bytes than announced"));
        return false;
    }
    // Flushed at once: stream requests read the partial file from other threads.
    if (m_partial.write(data) != data.size() || !m_partial.flush()) {
        fail(QStringLiteral("cannot write ") + m_partial.fileName() + QStringLiteral(": ")
             + m_partial.errorString());
        return false;
    }
    m_written += data.size();
    m_file->setDownloadedBytes(m_written);
    NetworkUsageModel::instance()->addReceivedBytes(data.size());
    Q_EMIT dataWritten(m_written);
    reportProgress();
    return true;
}

void DownloadTask::reportProgress()
{
    const qint64 step = m_total > 0 ? qMax<qint64>(1, m_total / 100) : kUnknownTotalProgressStep;
    if (m_written == m_total || m_lastReported < 0 || m_written - m_lastReported >= step) {
        m_lastReported = m_written;
        Q_EMIT progressed(m_written, m_total);
    }
}

void DownloadTask::complete()
{
    if (m_finished) {
        return;
    }
    if (m_total >= 0 && m_written != m_total) {
        fail(QStringLiteral("the source ended after %1 of %2 bytes").arg(m_written).arg(m_total));
        return;
    }
    if (m_lastReported != m_written) {
        m_lastReported = m_written;
        Q_EMIT progressed(m_written, m_written);
    }
    m_partial.close();
    finish(true);
}

void DownloadTask::fail(const QString &reason)
{
    if (m_finished) {
        return;
    }
    qCWarning(lcPlatform).noquote()
            << "download of" << m_file->fileId() << "from" << source() << "failed:" << reason;
    abortTransfer();
    m_partial.close();
    finish(false);
}

void DownloadTask::finish(bool ok)
{
    m_finished = true;
    // Posted, so the receiver may delete the task; dropped when the task is aborted or deleted
    // before it is delivered.
    QMetaObject::invokeMethod(
            this,
            [this, ok] {
                if (!m_aborted) {
                    Q_EMIT finished(ok);
                }
            },
            Qt::QueuedConnection);
}
