#include "fileregistry_p.h"

#include "cachefilestorage.h"
#include "cachelayout.h"
#include "constants.h"
#include "database.h"
#include "filestorage.h"
#include "platformlog.h"
#include "userstorageprovider.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QVarLengthArray>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

qint64 sizeOfRegularFile(int result, const struct stat &status)
{
    return result == 0 && S_ISREG(status.st_mode) ? qint64(status.st_size) : -1;
}

// A regular file's size, or -1 when the path names none. One stat() call: a gallery page checks
// two files a row, and QFileInfo costs several times the call itself.
qint64 regularFileSize(const QString &path)
{
    struct stat status;
    return path.isEmpty()
            ? -1
            : sizeOfRegularFile(::stat(QFile::encodeName(path).constData(), &status), status);
}

bool hasExpectedSize(const FileData &file, qint64 sizeOnDisk)
{
    return sizeOnDisk >= 0 && (file.size() <= 0 || sizeOnDisk == file.size());
}

} // namespace

// Sizes of many files in few folders, as a batch of a chat's files lies in one folder per kind.
// Each folder is opened once and its files are looked up from there: walking every path from the
// root cost more than the rest of a file's registration. A folder that does not exist holds no
// file, so nothing in it is looked up at all. Files of a folder it cannot open are checked by
// their whole path, as regularFileSize does.
class FileRegistry::FolderProbe
{
public:
    FolderProbe() = default;
    ~FolderProbe()
    {
        for (const Folder &folder : std::as_const(m_folders)) {
            if (folder.descriptor >= 0) {
                ::close(folder.descriptor);
            }
        }
    }
    Q_DISABLE_COPY_MOVE(FolderProbe)

    // The size of the file's complete copy, or with CACHE_SUFFIX as nameSuffix of its partial
    // download, when that is a regular file in the file's folder; else -1. Nothing is looked up,
    // nor any name formed, in a folder that does not exist.
    qint64 regularFileSize(const BaseFile &file, const char *nameSuffix)
    {
        const Folder &opened = folderOf(file.folder());
        if (opened.missing) {
            return -1;
        }
        QByteArray name = QFile::encodeName(file.fileName());
        name += nameSuffix;
        struct stat status;
        const int result = opened.descriptor >= 0
                ? ::fstatat(opened.descriptor, name.constData(), &status, 0)
                : ::stat(QFile::encodeName(opened.path).append(name).constData(), &status);
        return sizeOfRegularFile(result, status);
    }

private:
    struct Folder
    {
        QString path; // with its trailing slash
        int descriptor = -1;
        bool missing = false;
    };

    // An empty folder stands for the working directory, which is not opened.
    const Folder &folderOf(const QString &path)
    {
        for (const Folder &folder : std::as_const(m_folders)) {
            if (folder.path == path) {
                return folder;
            }
        }
        Folder opened;
        opened.path = path;
        if (!path.isEmpty()) {
            opened.descriptor =
                    ::open(QFile::encodeName(path).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
            opened.missing = opened.descriptor < 0 && errno == ENOENT;
        }
        m_folders.append(opened);
        return m_folders.last();
    }

    QVarLengthArray<Folder, 4> m_folders;
};

namespace {

// The main cache's folder of every kind a message type maps to.
QHash<int, QString> kindFolders(const QString &cacheRoot)
{
    QHash<int, QString> folders;
    for (int kind : {CacheLayout::ImageKind, CacheLayout::VoiceKind, CacheLayout::VideoKind,
                     CacheLayout::FileKind, CacheLayout::MusicKind}) {
        folders.insert(kind, CacheLayout::mediaPath(cacheRoot, CacheLayout::MainCategory, kind));
    }
    return folders;
}

QList<QSharedPointer<FileData>> inOrder(const QList<QString> &fileIds,
                                        const QHash<QString, QSharedPointer<FileData>> &resolved)
{
    QList<QSharedPointer<FileData>> result;
    result.reserve(fileIds.size());
    for (const QString &fileId : fileIds) {
        result.append(resolved.value(fileId));
    }
    return result;
}

} // namespace

FileRegistry::FileRegistry(storage::UserStorageProvider *storage, const QString &cacheRoot)
    : m_storage(storage)
    , m_cacheRoot(cacheRoot)
    , m_kindFolders(kindFolders(cacheRoot))
{ }

QString FileRegistry::localPath(int type, const QString &fileId, const QString &suffix) const
{
    return folder(type) + CacheLayout::fileName(fileId, suffix);
}

QString FileRegistry::folder(int type) const
{
    return m_kindFolders.value(CacheLayout::kindOfMessageType(type));
}

QSharedPointer<FileData> FileRegistry::file(const QString &fileId, bool loadFromDb)
{
    if (fileId.isEmpty()) {
        return {};
    }
    {
        QMutexLocker locker(&m_mutex);
        if (QSharedPointer<FileData> known = m_files.value(HashedId(fileId))) {
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
    QList<QString> fileIds;
    fileIds.reserve(records.size());
    for (const storage::FileRecord &record : records) {
        fileIds.append(record.fileId);
    }
    return registerFiles(fileIds, [&records](qsizetype i) { return records.at(i); });
}

QList<QSharedPointer<FileData>> FileRegistry::registerFiles(const QList<QString> &fileIds,
                                                            const RecordOf &recordOf)
{
    // A batch of a whole chat names many files: each id is looked up once, and the lock is held
    // for the lookups alone, as the loaders of a page register its files side by side.
    QList<qsizetype> firsts; // the first position of each id
    firsts.reserve(fileIds.size());
    {
        QSet<QString> seen;
        seen.reserve(fileIds.size());
        for (qsizetype i = 0; i < fileIds.size(); ++i) {
            if (fileIds.at(i).isEmpty()) {
                continue;
            }
            const qsizetype seenBefore = seen.size();
            seen.insert(fileIds.at(i));
            if (seen.size() > seenBefore) {
                firsts.append(i);
            }
        }
    }
    QHash<QString, QSharedPointer<FileData>> resolved;
    resolved.reserve(firsts.size());
    QList<qsizetype> unresolved; // the first position of each id nobody holds
    QList<QString> unresolvedIds;
    unresolved.reserve(firsts.size());
    unresolvedIds.reserve(firsts.size());
    {
        QMutexLocker locker(&m_mutex);
        for (qsizetype i : std::as_const(firsts)) {
            const QString &fileId = fileIds.at(i);
            if (QSharedPointer<FileData> known = m_files.value(HashedId(fileId))) {
                resolved.insert(fileId, known);
            } else {
                unresolved.append(i);
                unresolvedIds.append(fileId);
            }
        }
    }
    if (unresolved.isEmpty()) {
        return inOrder(fileIds, resolved);
    }

    // By position in unresolvedIds; an empty one where the table has no row.
    QList<storage::FileRecord> stored;
    if (m_storage) {
        stored = m_storage->fileStorage()->recordsOf(unresolvedIds);
    }
    QList<Candidate> candidates;
    candidates.reserve(unresolved.size());
    {
        FolderProbe probe;
        QSet<QString> suffixes; // a handful per batch, held by every file: one copy of each
        for (qsizetype k = 0; k < unresolved.size(); ++k) {
            const bool isStored = !stored.value(k).fileId.isEmpty();
            storage::FileRecord record =
                    isStored ? std::move(stored[k]) : recordOf(unresolved.at(k));
            record.suffix = *suffixes.insert(record.suffix);
            QSharedPointer<FileData> made = makeFile(record);
            const bool changed = syncWithDisk(*made, probe);
            candidates.append({std::move(made), isStored, changed});
        }
    }
    adoptAll(candidates, resolved);

    QList<storage::FileRecord> newRows;
    for (const Candidate &candidate : std::as_const(candidates)) {
        if (candidate.file && !candidate.isStored) {
            newRows.append(candidate.file->record());
        }
    }
    if (m_storage && !newRows.isEmpty() && !m_storage->fileStorage()->save(newRows)) {
        qCWarning(lcPlatform) << "cannot save" << newRows.size() << "file rows";
    }
    for (const Candidate &candidate : std::as_const(candidates)) {
        if (candidate.file && candidate.isStored && candidate.changed) {
            saveState(*candidate.file);
        }
    }
    return inOrder(fileIds, resolved);
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

bool FileRegistry::isOnDisk(const FileData &file)
{
    return hasExpectedSize(file, regularFileSize(file.localPath()));
}

bool FileRegistry::syncWithDisk(FileData &file)
{
    FolderProbe probe;
    return syncWithDisk(file, probe);
}

bool FileRegistry::syncWithDisk(FileData &file, FolderProbe &probe)
{
    const int oldState = file.fileState();
    const qint64 oldBytes = file.downloadedBytes();
    if (const qint64 sizeOnDisk = probe.regularFileSize(file, "");
        hasExpectedSize(file, sizeOnDisk)) {
        if (!file.isComplete()) {
            file.setFileState(BaseFile::StateDone);
        }
        file.setDownloadedBytes(sizeOnDisk);
    } else if (const qint64 partialSize = probe.regularFileSize(file, CACHE_SUFFIX);
               partialSize >= 0) {
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
    return QSharedPointer<FileData>::create(record, BaseFile::CacheFolder {folder(record.type)});
}

QSharedPointer<FileData> FileRegistry::adopt(const QSharedPointer<FileData> &file)
{
    QMutexLocker locker(&m_mutex);
    return m_files.adopt(HashedId(file->fileId()), file);
}

void FileRegistry::adoptAll(QList<Candidate> &candidates,
                            QHash<QString, QSharedPointer<FileData>> &resolved)
{
    QMutexLocker locker(&m_mutex);
    m_files.reserveMore(candidates.size());
    for (Candidate &candidate : candidates) {
        QSharedPointer<FileData> registered =
                m_files.adopt(HashedId(candidate.file->fileId()), candidate.file);
        if (registered != candidate.file) {
            candidate.file.reset(); // another thread registered it meanwhile, and saved it
        }
        resolved.insert(registered->fileId(), std::move(registered));
    }
}
