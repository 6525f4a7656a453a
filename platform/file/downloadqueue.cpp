#include "downloadqueue_p.h"

#include "downloadfilemgr.h"
#include "downloadtask_p.h"
#include "fileregistry_p.h"
#include "platformlog.h"
#include "rangefetch_p.h"
#include "util.h"

#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>

#include <limits>

namespace {
// A stream request this far ahead of the download is fetched with a range request; a nearer one
// waits, since the download gets there about as soon.
constexpr qint64 kFetchAheadBytes = 1024 * 1024;
// What one fetch asks for at least: a player reads on from where it seeked, chunk by chunk, and
// one request for several chunks saves a round trip per chunk.
constexpr qint64 kFetchSpanBytes = 4 * 1024 * 1024;
// Fetches of one file at once; a new one beyond this replaces the oldest, whose reader has most
// likely seeked away.
constexpr int kMaxFetchesPerFile = 4;
} // namespace

DownloadQueue::DownloadQueue(FileRegistry *registry)
    : m_registry(registry)
{ }

DownloadQueue::~DownloadQueue()
{
    stopAll();
}

QNetworkAccessManager *DownloadQueue::network()
{
    if (!m_network) {
        m_network = new QNetworkAccessManager(this);
    }
    return m_network;
}

void DownloadQueue::enqueue(const QSharedPointer<FileData> &file, bool highPriority,
                            int downloadType)
{
    if (DownloadTask *task = m_tasks.value(file->fileId())) {
        task->addDownloadType(downloadType);
        if (highPriority && m_waiting.removeOne(file->fileId())) {
            m_waiting.prepend(file->fileId());
        }
        return;
    }
    if (FileRegistry::isOnDisk(*file)) {
        finishAtOnce(file, true, downloadType);
        return;
    }
    DownloadTask *task = addTask(file, highPriority);
    if (!task) {
        qCWarning(lcPlatform) << "no way to download" << file->fileId() << "from" << file->url();
        finishAtOnce(file, false, downloadType);
        return;
    }
    task->addDownloadType(downloadType);
    startNext();
}

DownloadTask *DownloadQueue::addTask(const QSharedPointer<FileData> &file, bool highPriority)
{
    DownloadTask *task = DownloadTask::create(file, this);
    if (!task) {
        return nullptr;
    }
    connect(task, &DownloadTask::dataWritten, this,
            [this, file](qint64 written) { releaseWaiters(file, written); });
    connect(task, &DownloadTask::progressed, this, [this, file](qint64 written, qint64 total) {
        Q_EMIT progress(file->fileId(), written, total);
    });
    connect(task, &DownloadTask::finished, this,
            [this, task](bool ok) { onTaskFinished(task, ok); });
    m_tasks.insert(file->fileId(), task);
    if (highPriority) {
        m_waiting.prepend(file->fileId());
    } else {
        m_waiting.append(file->fileId());
    }
    file->setFileState(BaseFile::StateWaiting);
    return task;
}

void DownloadQueue::startNext()
{
    while (m_running < kMaxRunning && !m_waiting.isEmpty()) {
        DownloadTask *task = m_tasks.value(m_waiting.takeFirst());
        ++m_running;
        task->file()->setFileState(BaseFile::StateDownloading);
        task->start(network());
    }
}

void DownloadQueue::stop(const QString &fileId, bool deleteTemp)
{
    DownloadTask *task = m_tasks.value(fileId);
    const QSharedPointer<FileData> file = task ? task->file() : m_registry->file(fileId, true);
    if (task) {
        removeTask(task);
    }
    if (file) {
        settleStopped(*file, deleteTemp);
        if (deleteTemp) {
            deleteFetchedRanges(*file);
            failStrandedWaiters(file);
        } else {
            fetchForStrandedWaiters(file);
        }
    }
    if (task) {
        Q_EMIT released(fileId);
        startNext();
    }
}

void DownloadQueue::stopAll()
{
    const QList<DownloadTask *> tasks = m_tasks.values();
    for (DownloadTask *task : tasks) {
        removeTask(task);
        settleStopped(*task->file(), false);
    }
    const QStringList fetching = m_fetches.keys();
    for (const QString &fileId : fetching) {
        abortFetches(fileId);
    }
    m_waiters.clear();
}

void DownloadQueue::removeTask(DownloadTask *task)
{
    const QString fileId = task->file()->fileId();
    if (!m_waiting.removeOne(fileId)) {
        --m_running;
    }
    m_tasks.remove(fileId);
    task->abort();
    task->deleteLater();
}

void DownloadQueue::settleStopped(FileData &file, bool deleteTemp)
{
    if (file.isComplete()) {
        return;
    }
    if (deleteTemp) {
        Util::deleteFile(file.partialPath());
    }
    const QFileInfo partial(file.partialPath());
    const int state = partial.isFile() ? BaseFile::StatePaused : BaseFile::StateNone;
    const qint64 bytes = partial.isFile() ? partial.size() : 0;
    if (state != file.fileState() || bytes != file.downloadedBytes()) {
        // Bytes first: a thread that sees the new state then sees what it kept.
        file.setDownloadedBytes(bytes);
        file.setFileState(state);
        m_registry->saveState(file);
    }
}

void DownloadQueue::onTaskFinished(DownloadTask *task, bool ok)
{
    const QSharedPointer<FileData> file = task->file();
    if (m_tasks.value(file->fileId()) != task) {
        return; // stopped after it had finished
    }
    const bool sync = task->hasDownloadType(DOWNLOAD_SYNC);
    --m_running; // a task finishes only once started
    m_tasks.remove(file->fileId());
    task->deleteLater();

    const bool done = ok && completeFile(*file);
    if (done) {
        releaseWaiters(file, std::numeric_limits<qint64>::max());
        deleteFetchedRanges(*file);
    } else {
        file->setDownloadedBytes(QFileInfo(file->partialPath()).size());
        file->setFileState(BaseFile::StateFailed);
        m_registry->saveState(*file);
        failStrandedWaiters(file);
    }
    Q_EMIT released(file->fileId());
    Q_EMIT finished(file->fileId(), done, sync);
    startNext();
}

// The state and the cache row are recorded before the rename, so that a crash leaves either a
// complete partial file (no row, or a row whose file is not there yet: the next download renames
// it at once, and the cache reconciliation drops the row meanwhile) or the file with its row. The
// other order could leave a complete file that no row names, which no cleanup would ever see.
bool DownloadQueue::completeFile(FileData &file)
{
    const qint64 size = QFileInfo(file.partialPath()).size();
    if (!m_registry->recordComplete(file, size)) {
        return false;
    }
    if (!moveIntoPlace(file)) {
        m_registry->forgetCachedFile(file);
        return false;
    }
    file.setFileState(BaseFile::StateDone);
    file.setDownloadedBytes(size);
    return true;
}

void DownloadQueue::finishAtOnce(const QSharedPointer<FileData> &file, bool ok, int downloadType)
{
    if (ok) {
        // A copy that got into place without its row (an earlier crash) is recorded now.
        m_registry->adoptCachedFile(*file);
    }
    if (ok && !file->isComplete()) {
        file->setFileState(BaseFile::StateDone);
        file->setDownloadedBytes(QFileInfo(file->localPath()).size());
        m_registry->saveState(*file);
    } else if (!ok) {
        file->setFileState(BaseFile::StateFailed);
        m_registry->saveState(*file);
        failStrandedWaiters(file);
    }
    Q_EMIT released(file->fileId());
    Q_EMIT finished(file->fileId(), ok, downloadType == DOWNLOAD_SYNC);
}

bool DownloadQueue::moveIntoPlace(const FileData &file)
{
    if (QFile::exists(file.localPath()) && !QFile::remove(file.localPath())) {
        qCWarning(lcPlatform) << "cannot replace" << file.localPath();
        return false;
    }
    if (!QFile::rename(file.partialPath(), file.localPath())) {
        qCWarning(lcPlatform) << "cannot move" << file.partialPath() << "to" << file.localPath();
        return false;
    }
    return true;
}

void DownloadQueue::waitForRange(const QSharedPointer<FileData> &file, qint64 requestId,
                                 qint64 start, qint64 end)
{
    if (FileRegistry::isOnDisk(*file) || prefixSize(*file) >= end) {
        Q_EMIT rangeAvailable(requestId, file, false);
        return;
    }
    if (fetchedRanges(*file).contains(start, end)) {
        Q_EMIT rangeAvailable(requestId, file, true);
        return;
    }
    m_waiters[file->fileId()].append({requestId, start, end});
    // Completes the file in the background whatever the fetches do. For an http(s) source, the
    // only kind that is fetched, this always leaves a task running or waiting.
    enqueue(file, true, DOWNLOAD_PLAYER);
    fetchIfFarAhead(file, start, end);
}

void DownloadQueue::dropWaiter(qint64 requestId)
{
    for (auto it = m_waiters.begin(); it != m_waiters.end();) {
        it->removeIf([requestId](const RangeWaiter &w) { return w.requestId == requestId; });
        it = it->isEmpty() ? m_waiters.erase(it) : std::next(it);
    }
}

qint64 DownloadQueue::prefixSize(const FileData &file) const
{
    if (const DownloadTask *task = m_tasks.value(file.fileId())) {
        return task->written();
    }
    const QFileInfo partial(file.partialPath());
    return partial.isFile() ? partial.size() : 0;
}

void DownloadQueue::releaseWaiters(const QSharedPointer<FileData> &file, qint64 prefix)
{
    auto it = m_waiters.find(file->fileId());
    if (it == m_waiters.end()) {
        return;
    }
    const ByteRangeMap &fetched = fetchedRanges(*file);
    QList<std::pair<qint64, bool>> ready; // request id, fetched
    it->removeIf([&](const RangeWaiter &w) {
        if (w.end <= prefix) {
            ready.append({w.requestId, false});
            return true;
        }
        if (fetched.contains(w.start, w.end)) {
            ready.append({w.requestId, true});
            return true;
        }
        return false;
    });
    if (it->isEmpty()) {
        m_waiters.erase(it);
    }
    for (const auto &[requestId, fromFetch] : std::as_const(ready)) {
        Q_EMIT rangeAvailable(requestId, file, fromFetch);
    }
}

void DownloadQueue::failStrandedWaiters(const QSharedPointer<FileData> &file)
{
    auto it = m_waiters.find(file->fileId());
    if (it == m_waiters.end() || m_tasks.contains(file->fileId())) {
        return;
    }
    QList<qint64> stranded;
    it->removeIf([&](const RangeWaiter &w) {
        if (isFetchedOrComing(*file, w.start, w.end)) {
            return false;
        }
        stranded.append(w.requestId);
        return true;
    });
    if (it->isEmpty()) {
        m_waiters.erase(it);
    }
    if (!stranded.isEmpty()) {
        qCWarning(lcPlatform) << stranded.size() << "stream requests for" << file->fileId()
                              << "fail: no download or fetch brings their bytes";
    }
    for (qint64 requestId : std::as_const(stranded)) {
        Q_EMIT rangeFailed(requestId);
    }
}

void DownloadQueue::fetchForStrandedWaiters(const QSharedPointer<FileData> &file)
{
    if (RangeFetch::canFetch(*file)) {
        const QList<RangeWaiter> waiters = m_waiters.value(file->fileId());
        for (const RangeWaiter &w : waiters) {
            if (!isFetchedOrComing(*file, w.start, w.end)) {
                startFetch(file, w.start, w.end);
            }
        }
    }
    failStrandedWaiters(file);
}

bool DownloadQueue::isFetchedOrComing(const FileData &file, qint64 start, qint64 end) const
{
    const QList<RangeFetch *> fetches = m_fetches.value(file.fileId());
    return std::any_of(fetches.cbegin(), fetches.cend(),
                       [start, end](const RangeFetch *f) { return f->willCover(start, end); });
}

void DownloadQueue::fetchIfFarAhead(const QSharedPointer<FileData> &file, qint64 start, qint64 end)
{
    if (!RangeFetch::canFetch(*file) || start - prefixSize(*file) < kFetchAheadBytes) {
        return;
    }
    const QList<RangeFetch *> fetches = m_fetches.value(file->fileId());
    const bool coming = std::any_of(fetches.cbegin(), fetches.cend(), [=](const RangeFetch *f) {
        return f->willCover(start, end) && start - f->position() < kFetchAheadBytes;
    });
    if (!coming) {
        startFetch(file, start, qMin(file->size(), qMax(end, start + kFetchSpanBytes)));
        // Requests that counted on a fetch it replaced wait for the download, or fail without one.
        failStrandedWaiters(file);
    }
}

void DownloadQueue::startFetch(const QSharedPointer<FileData> &file, qint64 start, qint64 end)
{
    QList<RangeFetch *> &fetches = m_fetches[file->fileId()];
    if (fetches.size() >= kMaxFetchesPerFile) {
        RangeFetch *oldest = fetches.takeFirst();
        oldest->abort();
        oldest->deleteLater();
        fetchedRanges(*file).save(RangeFetch::rangeMapPath(*file));
    }
    auto *fetch = new RangeFetch(file, start, end, this);
    fetches.append(fetch);
    connect(fetch, &RangeFetch::written, this,
            [this, file](qint64 first, qint64 last) { onFetchWritten(file, first, last); });
    connect(fetch, &RangeFetch::finished, this, [this, fetch] { onFetchFinished(fetch); });
    fetch->start(network());
}

void DownloadQueue::onFetchWritten(const QSharedPointer<FileData> &file, qint64 start, qint64 end)
{
    fetchedRanges(*file).add(start, end);
    releaseWaiters(file, prefixSize(*file));
}

void DownloadQueue::onFetchFinished(RangeFetch *fetch)
{
    const QSharedPointer<FileData> file = fetch->file();
    auto it = m_fetches.find(file->fileId());
    if (it != m_fetches.end()) {
        it->removeOne(fetch);
        if (it->isEmpty()) {
            m_fetches.erase(it);
        }
    }
    fetch->deleteLater();
    fetchedRanges(*file).save(RangeFetch::rangeMapPath(*file));
    failStrandedWaiters(file);
}

ByteRangeMap &DownloadQueue::fetchedRanges(const FileData &file)
{
    auto it = m_fetched.find(file.fileId());
    if (it == m_fetched.end()) {
        it = m_fetched.insert(file.fileId(), ByteRangeMap());
        if (QFileInfo::exists(RangeFetch::rangeFilePath(file))) {
            it->load(RangeFetch::rangeMapPath(file));
        }
    }
    return *it;
}

void DownloadQueue::abortFetches(const QString &fileId)
{
    const QList<RangeFetch *> fetches = m_fetches.take(fileId);
    if (fetches.isEmpty()) {
        return;
    }
    const QSharedPointer<FileData> file = fetches.constFirst()->file();
    for (RangeFetch *fetch : fetches) {
        fetch->abort();
        fetch->deleteLater();
    }
    fetchedRanges(*file).save(RangeFetch::rangeMapPath(*file));
}

void DownloadQueue::deleteFetchedRanges(const FileData &file)
{
    const QList<RangeFetch *> fetches = m_fetches.take(file.fileId());
    for (RangeFetch *fetch : fetches) {
        fetch->abort();
        fetch->deleteLater();
    }
    m_fetched.remove(file.fileId());
    Util::deleteFile(RangeFetch::rangeMapPath(file));
    Util::deleteFile(RangeFetch::rangeFilePath(file));
}
