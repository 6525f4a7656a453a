#include "localdownloadtask_p.h"

#include "filedata.h"

#include <QUrl>

namespace {
constexpr qint64 kChunkSize = 256 * 1024;
}

LocalDownloadTask::LocalDownloadTask(const QSharedPointer<FileData> &file, QObject *parent)
    : DownloadTask(file, parent)
    , m_source(QUrl(file->url()).toLocalFile())
{ }

void LocalDownloadTask::startTransfer(QNetworkAccessManager *network, qint64 offset)
{
    Q_UNUSED(network)
    if (!m_source.open(QIODevice::ReadOnly)) {
        fail(QStringLiteral("cannot open ") + m_source.fileName() + QStringLiteral(": ")
             + m_source.errorString());
        return;
    }
    if (!setTotal(m_source.size())) {
        return;
    }
    if (offset > m_source.size()) {
        if (!restartFromZero()) {
            return;
        }
        offset = 0;
    }
    if (!m_source.seek(offset)) {
        fail(QStringLiteral("cannot seek in ") + m_source.fileName());
        return;
    }
    scheduleChunk();
}

void LocalDownloadTask::abortTransfer()
{
    m_source.close();
}

void LocalDownloadTask::scheduleChunk()
{
    QMetaObject::invokeMethod(this, &LocalDownloadTask::copyChunk, Qt::QueuedConnection);
}

void LocalDownloadTask::copyChunk()
{
    if (isFinished() || !m_source.isOpen()) {
        return;
    }
    const QByteArray chunk = m_source.read(kChunkSize);
    if (chunk.isEmpty()) {
        if (m_source.atEnd()) {
            m_source.close();
            complete();
        } else {
            fail(QStringLiteral("cannot read ") + m_source.fileName() + QStringLiteral(": ")
                 + m_source.errorString());
        }
        return;
    }
    if (append(chunk)) {
        scheduleChunk();
    }
}
