#pragma once

#include <QString>
#include <atomic>

// A file known to the account: immutable identity (id, suffix, size, local path) and a download
// state that the file library updates from its own threads. Every accessor is thread-safe.
class BaseFile
{
public:
    enum State {
        StateNone = 0,    // nothing on disk
        StateWaiting = 1, // queued for download
        StateDownloading = 2,
        StatePaused = 3,
        StateDone = 4, // downloaded completely
        StateFailed = 5,
        StateLocal = 9, // created on this machine (sent by the user), so wholly present
    };

    // A cache folder, ending with a separator, whose files are named fileId[.suffix].
    struct CacheFolder
    {
        QString path;
    };

    // The file at localPath.
    BaseFile(const QString &fileId, const QString &suffix, qint64 size, const QString &localPath);
    // The cached copy of the file in folder. The files of one folder share its string: a chat's
    // worth of files held at once would otherwise each carry a copy of the path.
    BaseFile(const QString &fileId, const QString &suffix, qint64 size, const CacheFolder &folder);
    virtual ~BaseFile();

    QString fileId() const { return m_fileId; }
    // Without a leading dot; empty for files without an extension.
    QString suffix() const { return m_suffix; }
    // The full size in bytes, known before the download completes.
    qint64 size() const { return m_size; }
    // Where the complete file lives; the partial download is this path plus CACHE_SUFFIX.
    QString localPath() const;
    // The two parts of localPath: the folder (empty or ending with a separator) and the file's
    // name.
    QString folder() const;
    QString fileName() const;
    QString partialPath() const;

    int fileState() const { return m_state.load(); }
    void setFileState(int state) { m_state.store(state); }
    bool isComplete() const;

    qint64 downloadedBytes() const { return m_downloaded.load(); }
    void setDownloadedBytes(qint64 bytes) { m_downloaded.store(bytes); }
    // 0 to 100; a file of size 0 counts as 100 once complete.
    int percent() const;

private:
    // Whether m_location is the file's whole path rather than the folder it has the cache's name
    // in.
    bool hasOwnPath() const;

    const QString m_fileId;
    const QString m_suffix;
    const qint64 m_size;
    // The folder (empty or ending with a separator) of a file named by the cache's rule, formed
    // when asked for; the whole path of a file named otherwise. One string either way, a chat's
    // worth of files being held at once.
    const QString m_location;
    std::atomic<qint64> m_downloaded {0};
    std::atomic<int> m_state {StateNone}; // last, so that a subclass's int fills what is left
};
