#include "downloadfilemgr.h"

#include "downloadqueue_p.h"
#include "filedata.h"
#include "fileregistry_p.h"
#include "networkthread.h"
#include "platformlog.h"
#include "rangefetch_p.h"

#include <QCoreApplication>
#include <QFile>
#include <QThread>
#include <future>

namespace {

constexpr int kReadThreads = 2;

// The bytes [start, start + length) of the first of paths that holds them all. Tries the complete
// file first, then the partial one, then the complete one again: a download may rename the
// partial file to the complete one between two attempts.
QByteArray readBytes(const QStringList &paths, qint64 start, qint64 length)
{
    for (const QString &path : paths) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly) || !file.seek(start)) {
            continue;
        }
        QByteArray data = file.read(length);
        if (data.size() == length) {
            return data;
        }
    }
    return {};
}

} // namespace

DownloadFileMgr::DownloadFileMgr(FileRegistry *registry, QObject *parent)
    : QObject(parent)
    , m_registry(registry)
    , m_queue(new DownloadQueue(registry))
{
    m_readPool.setMaxThreadCount(kReadThreads);
    m_readPool.setObjectName(QStringLiteral("stream_buffer_pool"));
    m_queue->moveToThread(network::getNetworkThread());

    // Direct: these run on the network thread, where the queue emits.
    connect(m_queue, &DownloadQueue::progress, this, &DownloadFileMgr::downloadProgress,
            Qt::DirectConnection);
    connect(
            m_queue, &DownloadQueue::finished, this,
            [this](const QString &fileId, bool ok, bool sync) {
                Q_EMIT downloadFinished(fileId, ok);
                if (sync) {
                    Q_EMIT syncDownloadFinished(fileId, ok);
                }
            },
            Qt::DirectConnection);
    connect(
            m_queue, &DownloadQueue::released, this,
            [this](const QString &fileId) { setDownloading(fileId, false); }, Qt::DirectConnection);
    connect(
            m_queue, &DownloadQueue::rangeAvailable, this,
            [this](qint64 requestId, const QSharedPointer<FileData> &file, bool fetched) {
                m_readPool.start(
                        [this, requestId, file, fetched] { readRange(requestId, file, fetched); });
            },
            Qt::DirectConnection);
    connect(
            m_queue, &DownloadQueue::rangeFailed, this,
            [this](qint64 requestId) {
                m_readPool.start([this, requestId] { answer(requestId, QByteArray()); });
            },
            Qt::DirectConnection);
}

DownloadFileMgr::~DownloadFileMgr()
{
    shutDownQueue();
    m_readPool.waitForDone();
}

void DownloadFileMgr::shutDownQueue()
{
    DownloadQueue *queue = nullptr;
    {
        QMutexLocker locker(&m_queueMutex);
        queue = std::exchange(m_queue, nullptr);
    }
    // The queue's destructor stops its downloads. Tasks posted before run first, in order; the
    // wait on a promise (rather than a blocking queued call, whose semaphore lives inside Qt) also
    // shows ThreadSanitizer that their writes come before whatever the caller deletes next.
    // Without the application object no thread delivers events, so nothing of the queue runs
    // there any more and a queued deletion would never come.
    QThread *thread = queue->thread();
    if (thread == QThread::currentThread() || !thread->isRunning()
        || !QCoreApplication::instance()) {
        delete queue;
        return;
    }
    std::promise<void> deleted;
    QMetaObject::invokeMethod(
            queue,
            [queue, &deleted] {
                delete queue;
                deleted.set_value();
            },
            Qt::QueuedConnection);
    deleted.get_future().wait();
}

void DownloadFileMgr::post(std::function<void(DownloadQueue *)> fn)
{
    QMutexLocker locker(&m_queueMutex);
    postLocked(std::move(fn));
}

void DownloadFileMgr::postLocked(std::function<void(DownloadQueue *)> fn)
{
    m_openStopBatch.reset();
    if (DownloadQueue *queue = m_queue) {
        QMetaObject::invokeMethod(
                queue, [queue, fn = std::move(fn)] { fn(queue); }, Qt::QueuedConnection);
    }
}

bool DownloadFileMgr::joinOpenStopBatch(const QString &fileId, bool deleteTemp)
{
    if (!m_openStopBatch) {
        return false;
    }
    QMutexLocker locker(&m_openStopBatch->mutex);
    if (m_openStopBatch->closed) {
        return false;
    }
    m_openStopBatch->stops.append({fileId, deleteTemp});
    return true;
}

void DownloadFileMgr::download(QSharedPointer<FileData> file, bool bHighPriority, int downloadType)
{
    if (!file) {
        qCWarning(lcPlatform) << "download of a null file ignored";
        return;
    }
    setDownloading(file->fileId(), true);
    post([file, bHighPriority, downloadType](DownloadQueue *queue) {
        queue->enqueue(file, bHighPriority, downloadType);
    });
}

void DownloadFileMgr::stop(const QString &fileId, bool bDeleteTemp)
{
    setDownloading(fileId, false);
    QMutexLocker locker(&m_queueMutex);
    if (joinOpenStopBatch(fileId, bDeleteTemp)) {
        return;
    }
    auto batch = std::make_shared<StopBatch>();
    batch->stops.append({fileId, bDeleteTemp});
    postLocked([batch](DownloadQueue *queue) {
        QList<QPair<QString, bool>> stops;
        {
            QMutexLocker batchLocker(&batch->mutex);
            batch->closed = true;
            stops.swap(batch->stops);
        }
        for (const auto &[stoppedId, deleteTemp] : std::as_const(stops)) {
            queue->stop(stoppedId, deleteTemp);
        }
    });
    m_openStopBatch = batch;
}

bool DownloadFileMgr::isDownloading(const QString &fileId) const
{
    QMutexLocker locker(&m_downloadingMutex);
    return m_downloading.contains(fileId);
}

void DownloadFileMgr::setDownloading(const QString &fileId, bool downloading)
{
    QMutexLocker locker(&m_downloadingMutex);
    if (downloading) {
        m_downloading.insert(fileId);
    } else {
        m_downloading.remove(fileId);
    }
}

qint64
DownloadFileMgr::requestStreamBuffer(const QString &fileId, qint64 start, qint64 length,
                                     std::function<void(qint64, const QByteArray &)> callback)
{
    const qint64 requestId = ++m_lastRequestId;
    // A request that can never be answered keeps nothing: not its callback (which may hold its
    // caller's resources), not a waiter, not a download. It does not call back either, since an
    // empty answer would make a stream past the end of a file ask again at once, endlessly; its
    // caller moves on with a new request or an abort, and aborting it is a no-op.
    if (length <= 0) {
        return requestId;
    }
    const QSharedPointer<FileData> file = m_registry->file(fileId, true);
    if (!file) {
        qCWarning(lcPlatform) << "stream request for unknown file" << fileId;
        return requestId;
    }
    if (start < 0 || start > file->size() - length) {
        qCWarning(lcPlatform) << "stream request for" << length << "bytes from" << start << "of"
                              << fileId << "which has" << file->size();
        return requestId;
    }
    {
        QMutexLocker locker(&m_requestMutex);
        m_requests.insert(requestId, {fileId, start, length, std::move(callback)});
    }
    post([file, requestId, start, end = start + length](DownloadQueue *queue) {
        queue->waitForRange(file, requestId, start, end);
    });
    return requestId;
}

void DownloadFileMgr::abortDownloader(qint64 requestId)
{
    {
        QMutexLocker locker(&m_requestMutex);
        if (!m_requests.remove(requestId)) {
            return;
        }
    }
    post([requestId](DownloadQueue *queue) { queue->dropWaiter(requestId); });
}

bool DownloadFileMgr::requestRange(qint64 requestId, qint64 &start, qint64 &length)
{
    QMutexLocker locker(&m_requestMutex);
    const auto it = m_requests.constFind(requestId);
    if (it == m_requests.cend()) {
        return false;
    }
    start = it->start;
    length = it->length;
    return true;
}

bool DownloadFileMgr::markRetried(qint64 requestId)
{
    QMutexLocker locker(&m_requestMutex);
    const auto it = m_requests.find(requestId);
    if (it == m_requests.end() || it->retried) {
        return false;
    }
    it->retried = true;
    return true;
}

void DownloadFileMgr::readRange(qint64 requestId, const QSharedPointer<FileData> &file,
                                bool fetched)
{
    qint64 start = 0;
    qint64 length = 0;
    if (!requestRange(requestId, start, length)) {
        return; // aborted meanwhile
    }
    // The range file is read only for bytes the queue saw fetched: elsewhere it has holes, which
    // read as zeros. Once the file is complete the range file is deleted and the file has them.
    const QStringList paths = fetched
            ? QStringList {RangeFetch::rangeFilePath(*file), file->localPath()}
            : QStringList {file->localPath(), file->partialPath(), file->localPath()};
    const QByteArray data = readBytes(paths, start, length);
    if (data.size() == length) {
        answer(requestId, data);
        return;
    }
    qCWarning(lcPlatform) << "cannot read bytes" << start << "to" << start + length << "of"
                          << file->fileId();
    // The file may have been deleted since: wait for its bytes once more, which downloads it again.
    if (markRetried(requestId)) {
        post([file, requestId, start, end = start + length](DownloadQueue *queue) {
            queue->waitForRange(file, requestId, start, end);
        });
    } else {
        answer(requestId, QByteArray());
    }
}

void DownloadFileMgr::answer(qint64 requestId, const QByteArray &data)
{
    QMutexLocker locker(&m_requestMutex);
    const auto it = m_requests.find(requestId);
    if (it == m_requests.end()) {
        return;
    }
    const std::function<void(qint64, const QByteArray &)> callback = std::move(it->callback);
    m_requests.erase(it);
    if (callback) {
        callback(requestId, data);
    }
}
