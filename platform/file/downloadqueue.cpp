#include "downloadqueue_p.h"

#include "downloadfilemgr.h"
#include "downloadtask_p.h"
#include "fileregistry_p.h"
#include "platformlog.h"
#include "util.h"

#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>

#include <limits>

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
        file.setFileState(state);
        file.setDownloadedBytes(bytes);
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

    const bool done = ok && moveIntoPlace(*file);
    if (done) {
        file->setFileState(BaseFile::StateDone);
        file->setDownloadedBytes(QFileInfo(file->localPath()).size());
        m_registry->saveState(*file);
        m_registry->saveCachedFile(*file);
        releaseWaiters(file, std::numeric_limits<qint64>::max());
    } else {
        file->setFileState(BaseFile::StateFailed);
        file->setDownloadedBytes(QFileInfo(file->partialPath()).size());
        m_registry->saveState(*file);
        dropWaiters(file->fileId());
    }
    Q_EMIT released(file->fileId());
    Q_EMIT finished(file->fileId(), done, sync);
    startNext();
}

void DownloadQueue::finishAtOnce(const QSharedPointer<FileData> &file, bool ok, int downloadType)
{
    if (ok && !file->isComplete()) {
        file->setFileState(BaseFile::StateDone);
        file->setDownloadedBytes(QFileInfo(file->localPath()).size());
        m_registry->saveState(*file);
    } else if (!ok) {
        file->setFileState(BaseFile::StateFailed);
        m_registry->saveState(*file);
        dropWaiters(file->fileId());
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

void DownloadQueue::waitForRange(const QSharedPointer<FileData> &file, qint64 requestId, qint64 end)
{
    const DownloadTask *task = m_tasks.value(file->fileId());
    const qint64 present = task ? task->written() : QFileInfo(file->partialPath()).size();
    if (FileRegistry::isOnDisk(*file) || present >= end) {
        Q_EMIT rangeAvailable(requestId, file);
        return;
    }
    m_waiters[file->fileId()].append({requestId, end});
    enqueue(file, true, DOWNLOAD_PLAYER);
}

void DownloadQueue::dropWaiter(qint64 requestId)
{
    for (auto it = m_waiters.begin(); it != m_waiters.end();) {
        it->removeIf([requestId](const RangeWaiter &w) { return w.requestId == requestId; });
        it = it->isEmpty() ? m_waiters.erase(it) : std::next(it);
    }
}

void DownloadQueue::releaseWaiters(const QSharedPointer<FileData> &file, qint64 written)
{
    auto it = m_waiters.find(file->fileId());
    if (it == m_waiters.end()) {
        return;
    }
    QList<qint64> ready;
    it->removeIf([&ready, written](const RangeWaiter &w) {
        if (w.end > written) {
            return false;
        }
        ready.append(w.requestId);
        return true;
    });
    if (it->isEmpty()) {
        m_waiters.erase(it);
    }
    for (qint64 requestId : std::as_const(ready)) {
        Q_EMIT rangeAvailable(requestId, file);
    }
}

void DownloadQueue::dropWaiters(const QString &fileId)
{
    if (m_waiters.remove(fileId)) {
        qCWarning(lcPlatform) << "stream requests for" << fileId
                              << "stay unanswered: its download failed";
    }
}
