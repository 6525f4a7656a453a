#include "fileregistry_p.h"

#include "cachefilestorage.h"
#include "cachelayout.h"
#include "database.h"
#include "filestorage.h"
#include "platformlog.h"
#include "userstorageprovider.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <sys/stat.h>

FileRegistry::FileRegistry(storage::UserStorageProvider *storage, const QString &cacheRoot)
    : m_storage(storage)
    , m_cacheRoot(cacheRoot)
{ }

QString FileRegistry::localPath(int type, const QString &fileId, const QString &suffix) const
{
    const int kind = CacheLayout::kindOfMessageType(type);
    return CacheLayout::mediaPath(m_cacheRoot, CacheLayout::MainCategory, kind)
            + CacheLayout::fileName(fileId, suffix);
}

QSharedPointer<FileData> FileRegistry::file(const QString &fileId, bool loadFromDb)
{
    if (fileId.isEmpty()) {
        return {};
    }
    {
        QMutexLocker locker(&m_mutex);
        if (QSharedPointer<FileData> known = m_files.value(fileId).toStrongRef()) {
            return known;
        }
    }
    if (!loadFromDb || !m_storage) {
        return {};
    }
    const storage::FileRecord row = m_storage->fileStorage()->info(fileId);
    if (row.fileId.isEmpty()) {
        return {};
    }
    QSharedPointer<FileData> loaded = makeFile(row);
    const bool changed = syncWithDisk(*loaded);
    QSharedPointer<FileData> registered = adopt(loaded);
    if (changed && registered == loaded) {
        saveState(*registered);
    }
    return registered;
}

QList<QSharedPointer<FileData>>
FileRegistry::registerFiles(const QList<storage::FileRecord> &records)
{
    QHash<QString, QSharedPointer<FileData>> resolved;
    QList<QString> unresolved;
    QSet<QString> seen; // a batch of a whole chat names many files: no quadratic lookups
    {
        QMutexLocker locker(&m_mutex);
        for (const storage::FileRecord &record : records) {
            if (record.fileId.isEmpty() || resolved.contains(record.fileId)) {
                continue;
            }
            if (QSharedPointer<FileData> known = m_files.value(record.fileId).toStrongRef()) {
                resolved.insert(record.fileId, known);
            } else if (!seen.contains(record.fileId)) {
                seen.insert(record.fileId);
                unresolved.append(record.fileId);
            }
        }
    }

    QHash<QString, storage::FileRecord> stored;
    if (m_storage && !unresolved.isEmpty()) {
        for (const storage::FileRecord &row : m_storage->fileStorage()->infos(unresolved)) {
            stored.insert(row.fileId, row);
        }
    }

    QList<storage::FileRecord> newRows;
    QList<QSharedPointer<FileData>> changedFiles;
    for (const storage::FileRecord &record : records) {
        if (record.fileId.isEmpty() || resolved.contains(record.fileId)) {
            continue;
        }
        const bool isStored = stored.contains(record.fileId);
        QSharedPointer<FileData> made = makeFile(isStored ? stored.value(record.fileId) : record);
        const bool changed = syncWithDisk(*made);
        QSharedPointer<FileData> registered = adopt(made);
        resolved.insert(record.fileId, registered);
        if (registered != made) {
            continue; // another thread registered it meanwhile and saved it
        }
        if (!isStored) {
            newRows.append(made->record());
        } else if (changed) {
            changedFiles.append(made);
        }
    }

    if (m_storage && !newRows.isEmpty() && !m_storage->fileStorage()->save(newRows)) {
        qCWarning(lcPlatform) << "cannot save" << newRows.size() << "file rows";
    }
    for (const QSharedPointer<FileData> &changed : std::as_const(changedFiles)) {
        saveState(*changed);
    }

    QList<QSharedPointer<FileData>> result;
    result.reserve(records.size());
    for (const storage::FileRecord &record : records) {
        result.append(resolved.value(record.fileId));
    }
    return result;
}

void FileRegistry::saveState(const FileData &file)
{
    if (m_storage
        && !m_storage->fileStorage()->updateState(file.fileId(), file.fileState(),
                                                  file.downloadedBytes())) {
        qCWarning(lcPlatform) << "cannot save the state of file" << file.fileId();
    }
}

namespace {

storage::CacheFileInfo cacheRowOf(const FileData &file, qint64 size, qint64 dateTime)
{
    return {file.fileId(), file.type(), file.suffix(), size, dateTime};
}

} // namespace

bool FileRegistry::recordComplete(const FileData &file, qint64 size)
{
    if (!m_storage) {
        return true;
    }
    const storage::CacheFileInfo row = cacheRowOf(file, size, QDateTime::currentMSecsSinceEpoch());
    const bool recorded = m_storage->database()->transaction([&](QSqlDatabase &) {
        return m_storage->fileStorage()->updateState(file.fileId(), BaseFile::StateDone, size)
                && m_storage->cacheFileStorage()->save({row});
    });
    if (!recorded) {
        qCWarning(lcPlatform) << "cannot record the complete file" << file.fileId();
    }
    return recorded;
}

void FileRegistry::adoptCachedFile(const FileData &file)
{
    const QFileInfo copy(file.localPath());
    if (m_storage
        && !m_storage->cacheFileStorage()->add(
                {cacheRowOf(file, copy.size(), copy.lastModified().toMSecsSinceEpoch())})) {
        qCWarning(lcPlatform) << "cannot record cached file" << file.fileId();
    }
}

void FileRegistry::forgetCachedFile(const FileData &file)
{
    if (m_storage && !m_storage->cacheFileStorage()->removeWithFileIds({file.fileId()})) {
        qCWarning(lcPlatform) << "cannot forget cached file" << file.fileId();
    }
}

namespace {

// A regular file's size, or -1 when the path names none. One stat() call: a gallery page checks
// two files a row, and QFileInfo costs several times the call itself.
qint64 regularFileSize(const QString &path)
{
    struct stat status;
    if (path.isEmpty() || ::stat(QFile::encodeName(path).constData(), &status) != 0
        || !S_ISREG(status.st_mode)) {
        return -1;
    }
    return qint64(status.st_size);
}

bool hasExpectedSize(const FileData &file, qint64 sizeOnDisk)
{
    return sizeOnDisk >= 0 && (file.size() <= 0 || sizeOnDisk == file.size());
}

} // namespace

bool FileRegistry::isOnDisk(const FileData &file)
{
    return hasExpectedSize(file, regularFileSize(file.localPath()));
}

bool FileRegistry::syncWithDisk(FileData &file)
{
    const int oldState = file.fileState();
    const qint64 oldBytes = file.downloadedBytes();
    if (const qint64 sizeOnDisk = regularFileSize(file.localPath());
        hasExpectedSize(file, sizeOnDisk)) {
        if (!file.isComplete()) {
            file.setFileState(BaseFile::StateDone);
        }
        file.setDownloadedBytes(sizeOnDisk);
    } else if (const qint64 partialSize = regularFileSize(file.partialPath()); partialSize >= 0) {
        // Whatever ran before (this process or an earlier one) is not running now.
        if (oldState != BaseFile::StateFailed) {
            file.setFileState(BaseFile::StatePaused);
        }
        file.setDownloadedBytes(partialSize);
    } else {
        file.setFileState(BaseFile::StateNone);
        file.setDownloadedBytes(0);
    }
    return file.fileState() != oldState || file.downloadedBytes() != oldBytes;
}

QSharedPointer<FileData> FileRegistry::makeFile(const storage::FileRecord &record) const
{
    return QSharedPointer<FileData>::create(record,
                                            localPath(record.type, record.fileId, record.suffix));
}

QSharedPointer<FileData> FileRegistry::adopt(const QSharedPointer<FileData> &file)
{
    QMutexLocker locker(&m_mutex);
    if (QSharedPointer<FileData> known = m_files.value(file->fileId()).toStrongRef()) {
        return known;
    }
    m_files.insert(file->fileId(), file);
    if (m_files.size() > m_purgeThreshold) {
        purgeExpired();
    }
    return file;
}

void FileRegistry::purgeExpired()
{
    m_files.removeIf([](const auto &entry) { return entry.value().isNull(); });
    m_purgeThreshold = qMax<qsizetype>(64, m_files.size() * 2);
}
