#pragma once

//
// Internal to the file library, not API.
//

#include <QFile>
#include <QObject>
#include <QSharedPointer>

class FileData;
class QNetworkAccessManager;
class QNetworkReply;

// Fetches bytes [start, end) of a file from its http(s) source with one Range request and writes
// them at their offsets into the file's range file (the partial path plus kRangeFileSuffix), a
// sparse file beside the partial download. This is how a stream request far ahead of a running
// download is answered without waiting for the download to get there.
//
// Lives on the network thread, a child of the download queue; every method runs there. Ends with
// exactly one finished() signal, posted, unless abort() comes first.
class RangeFetch : public QObject
{
    Q_OBJECT

public:
    static constexpr char kRangeFileSuffix[] = ".ranges";
    static constexpr char kRangeMapSuffix[] = ".ranges.map";

    RangeFetch(const QSharedPointer<FileData> &file, qint64 start, qint64 end, QObject *parent);
    ~RangeFetch() override;

    static bool canFetch(const FileData &file);
    static QString rangeFilePath(const FileData &file);
    static QString rangeMapPath(const FileData &file);

    QSharedPointer<FileData> file() const { return m_file; }
    qint64 start() const { return m_start; }
    qint64 end() const { return m_end; }
    // The first byte not yet written.
    qint64 position() const { return m_position; }
    // Whether the bytes [start, end) are written or on their way in this fetch.
    bool willCover(qint64 start, qint64 end) const
    {
        return m_start <= start && end <= m_end && !m_finished;
    }

    void start(QNetworkAccessManager *network);
    // Stops the transfer; nothing is signalled afterwards.
    void abort();

Q_SIGNALS:
    // Bytes [start, end) of the file are written and flushed to the range file.
    void written(qint64 start, qint64 end);
    void finished(bool ok);

private:
    void onReadyRead();
    void onFinished();
    bool acceptReply();
    bool write(const QByteArray &data);
    void fail(const QString &reason);
    void finish(bool ok);
    void releaseReply();

    const QSharedPointer<FileData> m_file;
    const qint64 m_start;
    const qint64 m_end;
    qint64 m_position;
    QFile m_rangeFile;
    QNetworkReply *m_reply = nullptr; // owned, deleted later once released
    bool m_accepted = false;
    bool m_finished = false;
    bool m_aborted = false;
};
