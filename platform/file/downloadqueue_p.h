#pragma once

//
// Internal to the file library, not API.
//

#include <QHash>
#include <QList>
#include <QObject>
#include <QSharedPointer>

class DownloadTask;
class FileData;
class FileRegistry;
class QNetworkAccessManager;

// The downloads of one account: at most kMaxRunning run at once, the rest wait in order. Also
// holds the stream requests that wait for bytes of a download in progress.
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

    // Signals rangeAvailable(requestId, file) once the file's bytes before end are on disk,
    // starting the download in front of the others when they are not.
    void waitForRange(const QSharedPointer<FileData> &file, qint64 requestId, qint64 end);
    void dropWaiter(qint64 requestId);

Q_SIGNALS:
    void progress(const QString &fileId, qint64 received, qint64 total);
    // sync: the download was asked for by a bulk download (DOWNLOAD_SYNC).
    void finished(const QString &fileId, bool ok, bool sync);
    // The file has left the queue: finished, failed or stopped.
    void released(const QString &fileId);
    void rangeAvailable(qint64 requestId, const QSharedPointer<FileData> &file);

private:
    struct RangeWaiter
    {
        qint64 requestId = 0;
        qint64 end = 0;
    };

    QNetworkAccessManager *network();
    DownloadTask *addTask(const QSharedPointer<FileData> &file, bool highPriority);
    void startNext();
    void onTaskFinished(DownloadTask *task, bool ok);
    void finishAtOnce(const QSharedPointer<FileData> &file, bool ok, int downloadType);
    bool moveIntoPlace(const FileData &file);
    void releaseWaiters(const QSharedPointer<FileData> &file, qint64 written);
    void dropWaiters(const QString &fileId);
    void removeTask(DownloadTask *task);
    // The state of a file whose download stopped: paused with its partial bytes, or none.
    void settleStopped(FileData &file, bool deleteTemp);

    FileRegistry *const m_registry;             // owned by the FileManager, outlives this queue
    QNetworkAccessManager *m_network = nullptr; // child, created on the network thread
    QHash<QString, DownloadTask *> m_tasks;     // children: running and waiting, by file id
    QList<QString> m_waiting;                   // ids of the waiting tasks, next first
    int m_running = 0;
    QHash<QString, QList<RangeWaiter>> m_waiters; // by file id
};
