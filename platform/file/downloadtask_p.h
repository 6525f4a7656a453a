#pragma once

//
// Internal to the file library, not API.
//

#include <QFile>
#include <QObject>
#include <QSet>
#include <QSharedPointer>

class FileData;
class QNetworkAccessManager;

// One file's transfer from its source into the partial file (the local path plus CACHE_SUFFIX),
// continuing from the bytes already there. Lives on the network thread, a child of the queue that
// runs it; all methods run there.
//
// Subclasses move the bytes (HTTP, local files); this class owns the partial file, checks the size
// against the file's record, counts received bytes and reports progress. It ends with exactly one
// finished() signal, posted so that the receiver may delete the task, unless abort() comes first.
// Moving the complete partial file into place is left to the receiver.
class DownloadTask : public QObject
{
    Q_OBJECT

public:
    // The task for the file's source, or null when the source is neither file:// nor http(s)://.
    static DownloadTask *create(const QSharedPointer<FileData> &file, QObject *parent);
    ~DownloadTask() override;

    QSharedPointer<FileData> file() const { return m_file; }
    // The download types (DownloadType) that asked for this file.
    void addDownloadType(int downloadType) { m_downloadTypes.insert(downloadType); }
    bool hasDownloadType(int downloadType) const { return m_downloadTypes.contains(downloadType); }

    // Bytes present at the start of the partial file.
    qint64 written() const { return m_written; }

    void start(QNetworkAccessManager *network);
    // Stops the transfer and closes the partial file; nothing is signalled afterwards.
    void abort();

Q_SIGNALS:
    // After every write, for waiters on byte ranges.
    void dataWritten(qint64 written);
    // About every percent, and once at the total; total is -1 while unknown.
    void progressed(qint64 written, qint64 total);
    // ok: the partial file holds the whole file and is closed.
    void finished(bool ok);

protected:
    DownloadTask(const QSharedPointer<FileData> &file, QObject *parent);

    // Begins moving bytes from offset on; report with setTotal, append, complete and fail.
    virtual void startTransfer(QNetworkAccessManager *network, qint64 offset) = 0;
    // Stops moving bytes; called once, by abort() or fail().
    virtual void abortTransfer() = 0;

    // The source's full size, -1 when it does not tell. Fails the task and returns false when it
    // contradicts the size the file's record gives.
    bool setTotal(qint64 total);
    // Drops the bytes of the partial file, for a source that starts over from byte 0.
    bool restartFromZero();
    bool append(const QByteArray &data);
    // The source has no more bytes: succeeds when the partial file holds the whole file.
    void complete();
    void fail(const QString &reason);
    bool isFinished() const { return m_finished; }
    QString source() const;

private:
    void reportProgress();
    void finish(bool ok);

    const QSharedPointer<FileData> m_file;
    QFile m_partial;
    QSet<int> m_downloadTypes;
    qint64 m_written = 0;
    qint64 m_total = -1;
    qint64 m_lastReported = -1;
    bool m_finished = false; // no more bytes move
    bool m_aborted = false;  // finished() is not emitted any more
};
