#pragma once

#include "filedata.h"
#include "filemanager.h"
#include "userstorageprovider.h"

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QTemporaryDir>
#include <QThread>
#include <functional>
#include <memory>

// A temporary account for the file tests: a database, a cache folder, a folder of source files
// and the FileManager over them. The manager goes before the database.
class FileTestEnvironment
{
public:
    // sources: where writeSource puts files; a folder of the environment when empty.
    explicit FileTestEnvironment(const QString &sources = QString());
    ~FileTestEnvironment();

    bool isValid() const { return m_dir.isValid(); }
    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString sourceDir() const { return m_sourceDir; }
    QString cacheRoot() const { return path(QStringLiteral("cache")); }
    FileManager *files() const { return m_files.get(); }
    storage::UserStorageProvider *storage() const { return m_storage.get(); }

    // Writes size bytes that differ from file to file into the source folder; returns them.
    QByteArray writeSource(const QString &name, qint64 size);
    QString sourcePath(const QString &name) const;
    QString sourceUrl(const QString &name) const;

    // Registers a file of content type 6 (a document) with suffix "bin".
    QSharedPointer<FileData> registerFile(const QString &fileId, qint64 size, const QString &url);

    // Drops the manager, as an account that signs out; a new one can be made with recreate().
    void destroyManager();
    void recreateManager();

    static storage::FileRecord record(const QString &fileId, qint64 size, const QString &url,
                                      int type = 6, const QString &suffix = QStringLiteral("bin"));
    static QByteArray contents(const QString &path);
    static bool writeFile(const QString &path, const QByteArray &data);

private:
    QTemporaryDir m_dir;
    const QString m_sourceDir;
    std::unique_ptr<storage::UserStorageProvider> m_storage;
    std::unique_ptr<FileManager> m_files;
};

// Records what a DownloadFileMgr reports. The signals come from the network thread; they are
// relayed to this object's thread, where the tests read them.
class DownloadRecorder : public QObject
{
    Q_OBJECT

public:
    struct Progress
    {
        qint64 received = 0;
        qint64 total = 0;
    };

    explicit DownloadRecorder(FileManager *files);

    QList<Progress> progress(const QString &fileId) const { return m_progress.value(fileId); }
    // The results of the file's finished downloads, in order.
    QList<bool> finished(const QString &fileId) const { return m_finished.value(fileId); }
    QList<bool> syncFinished(const QString &fileId) const { return m_syncFinished.value(fileId); }

private:
    QHash<QString, QList<Progress>> m_progress;
    QHash<QString, QList<bool>> m_finished;
    QHash<QString, QList<bool>> m_syncFinished;
};

// Collects stream buffer answers, which arrive on the file library's threads.
class StreamRecorder
{
public:
    struct Answer
    {
        qint64 requestId = 0;
        QByteArray data;
        QThread *thread = nullptr;
    };

    std::function<void(qint64, const QByteArray &)> callback();
    int count() const;
    QList<Answer> answers() const;
    QList<Answer> answersFor(qint64 requestId) const;

private:
    mutable QMutex m_mutex; // guards m_answers
    QList<Answer> m_answers;
};
