#pragma once

//
// Internal to the file library, not API.
//

#include "byterangemap_p.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSharedPointer>

class DownloadTask;
class FileData;
class FileRegistry;
class RangeFetch;
class QNetworkAccessManager;

// The downloads of one account: at most kMaxRunning run at once, the rest wait in order. Also
// holds the stream requests that wait for bytes of a download in progress, and fetches the bytes
// of those far ahead of their download with range requests (RangeFetch), keeping a map of the
// fetched ranges per file. The fetched bytes serve stream requests only; the download goes on and
// completes the file, which then makes the range file redundant and deletes it.
//
// Lives on the network thread, parentless, owned by DownloadFileMgr, which creates it, moves it
// there and deletes it there. Every method runs on the network thread; signals are emitted there.
class DownloadQueue : public QObject
{
    Q_OBJECT

public:
    static constexpr int kMaxRunning = 3;

    explicit DownloadQueue(FileRegistry *registry);
    ~DownloadQueue() override;

    // Starts or joins the file's download; a file already on disk finishes at once.
    void enqueue(const QSharedPointer<FileData> &file, bool highPriority, int downloadType);
    void stop(const QString &fileId, bool deleteTemp);
    // Stops every download, keeping partial files; nothing is signalled.
    void stopAll();

    // Signals rangeAvailable(requestId, file, fetched) once the file's bytes [start, end) are on
    // disk, starting the download in front of the others when they are not, and fetching them
    // first when the download is far from start. rangeFailed(requestId) when they cannot come.
    void waitForRange(const QSharedPointer<FileData> &file, qint64 requestId, qint64 start,
                      qint64 end);
    void dropWaiter(qint64 requestId);

Q_SIGNALS:
    void progress(const QString &fileId, qint64 received, qint64 total);
    // sync: the download was asked for by a bulk download (DOWNLOAD_SYNC).
    void finished(const QString &fileId, bool ok, bool sync);
    // The file has left the queue: finished, failed or stopped.
    void released(const QString &fileId);
    // fetched: the bytes are in the range file (or, once complete, in the file), not in the
    // partial download.
    void rangeAvailable(qint64 requestId, const QSharedPointer<FileData> &file, bool fetched);
    void rangeFailed(qint64 requestId);

private:
    struct RangeWaiter
    {
        qint64 requestId = 0;
        qint64 start = 0;
        qint64 end = 0;
    };

    QNetworkAccessManager *network();
    DownloadTask *addTask(const QSharedPointer<FileData> &file, bool highPriority);
    void startNext();
    void onTaskFinished(DownloadTask *task, bool ok);
    void finishAtOnce(const QSharedPointer<FileData> &file, bool ok, int downloadType);
    // Records the finished download and moves it into place; false, with nothing recorded, when
    // either fails.
    bool completeFile(FileData &file);
    bool moveIntoPlace(const FileData &file);
    // Answers the file's waiters whose bytes are in the first prefix bytes or fetched.
    void releaseWaiters(const QSharedPointer<FileData> &file, qint64 prefix);
    // Fails the file's waiters that neither its download nor a fetch will answer.
    void failStrandedWaiters(const QSharedPointer<FileData> &file);
    // After a stop: fetches what the file's waiters still miss, or fails them when it cannot.
    void fetchForStrandedWaiters(const QSharedPointer<FileData> &file);
    // Bytes at the start of the partial download.
    qint64 prefixSize(const FileData &file) const;
    bool isFetchedOrComing(const FileData &file, qint64 start, qint64 end) const;
    void fetchIfFarAhead(const QSharedPointer<FileData> &file, qint64 start, qint64 end);
    void startFetch(const QSharedPointer<FileData> &file, qint64 start, qint64 end);
    void onFetchWritten(const QSharedPointer<FileData> &file, qint64 start, qint64 end);
    void onFetchFinished(RangeFetch *fetch);
    ByteRangeMap &fetchedRanges(const FileData &file);
    void abortFetches(const QString &fileId);
    // The complete file or a deleted download makes the fetched ranges useless.
    void deleteFetchedRanges(const FileData &file);
    void removeTask(DownloadTask *task);
    // The state of a file whose download stopped: paused with its partial bytes, or none.
    void settleStopped(FileData &file, bool deleteTemp);

    FileRegistry *const m_registry;             // owned by the FileManager, outlives this queue
    QNetworkAccessManager *m_network = nullptr; // child, created on the network thread
    QHash<QString, DownloadTask *> m_tasks;     // children: running and waiting, by file id
    QList<QString> m_waiting;                   // ids of the waiting tasks, next first
    int m_running = 0;
    QHash<QString, QList<RangeWaiter>> m_waiters;  // by file id
    QHash<QString, QList<RangeFetch *>> m_fetches; // children, running, by file id, oldest first
    QHash<QString, ByteRangeMap> m_fetched;        // by file id, loaded from disk on first use
};
