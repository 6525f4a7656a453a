#include "filetestenvironment.h"

#include "downloadfilemgr.h"
#include "filedatamgr.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QUrl>

FileTestEnvironment::FileTestEnvironment(const QString &sources)
    : m_sourceDir(sources.isEmpty() ? path(QStringLiteral("source")) : sources)
{
    QDir().mkpath(sourceDir());
    QDir().mkpath(cacheRoot());
    m_storage = std::make_unique<storage::UserStorageProvider>(path(QStringLiteral("account.db")));
    recreateManager();
}

FileTestEnvironment::~FileTestEnvironment()
{
    destroyManager();
}

void FileTestEnvironment::destroyManager()
{
    m_files.reset();
}

void FileTestEnvironment::recreateManager()
{
    m_files = std::make_unique<FileManager>(m_storage.get(), cacheRoot());
}

QByteArray FileTestEnvironment::writeSource(const QString &name, qint64 size)
{
    QRandomGenerator generator(qHash(name));
    QByteArray data(size, Qt::Uninitialized);
    for (qint64 i = 0; i < size; ++i) {
        data[i] = char(generator.bounded(256));
    }
    return writeFile(sourcePath(name), data) ? data : QByteArray();
}

QString FileTestEnvironment::sourcePath(const QString &name) const
{
    return QDir(sourceDir()).filePath(name);
}

QString FileTestEnvironment::sourceUrl(const QString &name) const
{
    return QUrl::fromLocalFile(sourcePath(name)).toString();
}

QSharedPointer<FileData> FileTestEnvironment::registerFile(const QString &fileId, qint64 size,
                                                           const QString &url)
{
    return m_files->registerFiles({record(fileId, size, url)}).value(0);
}

storage::FileRecord FileTestEnvironment::record(const QString &fileId, qint64 size,
                                                const QString &url, int type, const QString &suffix)
{
    storage::FileRecord row;
    row.fileId = fileId;
    row.type = type;
    row.suffix = suffix;
    row.size = size;
    row.name = fileId + QStringLiteral(".") + suffix;
    row.url = url;
    return row;
}

QByteArray FileTestEnvironment::contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool FileTestEnvironment::writeFile(const QString &path, const QByteArray &data)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

DownloadRecorder::DownloadRecorder(FileManager *files)
{
    DownloadFileMgr *downloads = files->downloadFileMgr();
    connect(downloads, &DownloadFileMgr::downloadProgress, this,
            [this](const QString &fileId, qint64 received, qint64 total) {
                m_progress[fileId].append({received, total});
            });
    connect(downloads, &DownloadFileMgr::downloadFinished, this,
            [this](const QString &fileId, bool ok) { m_finished[fileId].append(ok); });
    connect(files->fileDataMgr(), &FileDataMgr::updateMediaSync, this,
            [this](const QString &fileId, bool ok) { m_syncFinished[fileId].append(ok); });
}

std::function<void(qint64, const QByteArray &)> StreamRecorder::callback()
{
    return [this](qint64 requestId, const QByteArray &data) {
        QMutexLocker locker(&m_mutex);
        m_answers.append({requestId, data, QThread::currentThread()});
    };
}

int StreamRecorder::count() const
{
    QMutexLocker locker(&m_mutex);
    return m_answers.size();
}

QList<StreamRecorder::Answer> StreamRecorder::answers() const
{
    QMutexLocker locker(&m_mutex);
    return m_answers;
}

QList<StreamRecorder::Answer> StreamRecorder::answersFor(qint64 requestId) const
{
    QList<Answer> matching;
    for (const Answer &answer : answers()) {
        if (answer.requestId == requestId) {
            matching.append(answer);
        }
    }
    return matching;
}
