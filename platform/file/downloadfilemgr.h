#pragma once

#include "file_export.h"

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QRecursiveMutex>
#include <QSet>
#include <QSharedPointer>
#include <QThreadPool>
#include <atomic>
#include <functional>
#include <memory>

class DownloadQueue;
class FileData;
class FileRegistry;

// Why a download was asked for. Downloads of every type share one queue; a bulk download is told
// about its files through FileDataMgr::updateMediaSync.
enum DownloadType {
    DOWNLOAD_PLAYER = 1, // playback or a stream request
    DOWNLOAD_SYNC = 2,   // the bulk download
    DOWNLOAD_VIEW = 3,   // opening or saving a file
};

// Downloads an account's files into its cache and serves byte ranges of them to the stream server.
//
// A download writes to the partial file (the local path plus CACHE_SUFFIX) and, when complete,
// renames it to the local path, marks the file done, updates its registry row and records it in
// the cache-file table. A stopped or failed download keeps its partial file, and the next
// download continues from there (an HTTP Range request; file:// sources are read from that offset).
// Bytes fetched ahead of a download for stream requests go into a sparse range file beside the
// partial one, with a map of the ranges it holds; both survive a restart and are deleted once the
// file is complete or its partial file is deleted.
// At most three downloads run at once; the others wait in order. Received bytes are counted by
// NetworkUsageModel.
//
// Created by the FileManager on its thread and owned by it. The downloads themselves run on the
// network thread, in a queue this object owns and deletes there; stream buffers are read on this
// object's pool. Every method is thread-safe; the signals are emitted on the network thread.
class FILE_EXPORT DownloadFileMgr : public QObject
{
    Q_OBJECT

public:
    // registry must outlive this object.
    explicit DownloadFileMgr(FileRegistry *registry, QObject *parent = nullptr);
    // Stops every download (partial files are kept) and waits for the stream buffer readers.
    ~DownloadFileMgr() override;

    // Starts the file's download, or joins the one that runs or waits. bHighPriority puts it in
    // front of the waiting downloads. A file already on disk finishes at once. Asynchronous.
    void download(QSharedPointer<FileData> file, bool bHighPriority, int downloadType);
    // Stops the file's download; bDeleteTemp also deletes its partial file. Asynchronous.
    void stop(const QString &fileId, bool bDeleteTemp);
    // Whether the file's download runs or waits.
    bool isDownloading(const QString &fileId) const;

    // Delivers bytes [start, start + length) of the file by calling callback once, with the
    // request id and the bytes, on a thread of this library, as soon as the bytes are on disk:
    // from the complete file, or from the partial download, starting the download when none runs.
    // Bytes far ahead of the running download of an http(s) source are fetched first with a range
    // request, so a player that seeks plays at once; the download goes on and completes the file.
    // Returns a non-zero request id.
    //
    // A request of length 0, past the end of the file or for an unknown file is never answered
    // and keeps nothing (the callback is released at once): an empty answer would make a stream
    // past the end ask again at once, endlessly. Every other request ends with exactly one answer
    // or abortDownloader(). An empty answer to such a request means its bytes cannot come: the
    // download failed or was stopped with its partial file deleted, and no fetch brings them. A
    // download stopped otherwise still answers its waiting requests, with range requests for
    // their bytes when the source is http(s), else with the empty answer.
    qint64 requestStreamBuffer(const QString &fileId, qint64 start, qint64 length,
                               std::function<void(qint64, const QByteArray &)> callback);
    // Forgets a request: once this returns, its callback is not called.
    void abortDownloader(qint64 requestId);

Q_SIGNALS:
    void downloadProgress(const QString &fileId, qint64 received, qint64 total);
    void downloadFinished(const QString &fileId, bool ok);
    // The same, for downloads that a bulk download (DOWNLOAD_SYNC) asked for.
    void syncDownloadFinished(const QString &fileId, bool ok);

private:
    struct StreamRequest
    {
        QString fileId;
        qint64 start = 0;
        qint64 length = 0;
        std::function<void(qint64, const QByteArray &)> callback;
        bool retried = false; // a failed read waits for the bytes once more, then gives up
    };

    // Stops asked for one after another, run by one event on the queue's thread. The event closes
    // the batch when it starts; later stops open another.
    struct StopBatch
    {
        QMutex mutex;                      // guards stops and closed
        QList<QPair<QString, bool>> stops; // file id, delete the partial file
        bool closed = false;
    };

    // Runs fn on the queue's thread, after the calls posted before it; dropped once the destructor
    // has started.
    void post(std::function<void(DownloadQueue *)> fn);
    // post() with m_queueMutex held.
    void postLocked(std::function<void(DownloadQueue *)> fn);
    // Adds a stop to the batch posted last, when nothing was posted after it and it has not
    // started; false otherwise.
    bool joinOpenStopBatch(const QString &fileId, bool deleteTemp);
    void shutDownQueue();
    // Pool thread: reads a request's bytes and answers it.
    // fetched: the bytes were fetched ahead of the download into the range file.
    void readRange(qint64 requestId, const QSharedPointer<FileData> &file, bool fetched);
    void answer(qint64 requestId, const QByteArray &data);
    // The range of a request still open; false once it is answered or aborted.
    bool requestRange(qint64 requestId, qint64 &start, qint64 &length);
    // Marks a request whose bytes could not be read; false when it was marked before.
    bool markRetried(qint64 requestId);
    void setDownloading(const QString &fileId, bool downloading);

    FileRegistry *const m_registry; // owned by the FileManager
    QMutex m_queueMutex;            // guards m_queue, which becomes null when the destructor starts
    DownloadQueue *m_queue = nullptr; // network thread, parentless; deleted there by shutDownQueue
    // Guarded by m_queueMutex: the stop batch of the last posted event, null once anything else
    // was posted after it. Removing a chat's media stops thousands of files; an event each would
    // wake the network thread for each.
    std::shared_ptr<StopBatch> m_openStopBatch;
    QThreadPool m_readPool; // reads stream buffers

    std::atomic<qint64> m_lastRequestId {0};
    // Guards m_requests and is held while a callback runs, so that abortDownloader() waits for a
    // callback in progress. Recursive: a callback may start or abort requests.
    QRecursiveMutex m_requestMutex;
    QHash<qint64, StreamRequest> m_requests;

    mutable QMutex m_downloadingMutex; // guards m_downloading
    QSet<QString> m_downloading;       // ids asked for and not yet released by the queue
};
