#include "cachereconciler_p.h"

#include "cachelayout.h"
#include "constants.h"
#include "downloadfilemgr.h"
#include "fileregistry_p.h"
#include "platformlog.h"
#include "userstorageprovider.h"
#include "util.h"

#include <QDateTime>
#include <QDirIterator>

namespace {

// Rows read, and ids looked up, at a time.
constexpr int kPageSize = 1000;

// The folders cache rows name: one per kind of message content.
const int kRecordedKinds[] = {CacheLayout::ImageKind, CacheLayout::VoiceKind,
                              CacheLayout::VideoKind, CacheLayout::FileKind,
                              CacheLayout::MusicKind};

// File ids hold no '.', so the id of a cache file ends at the first one.
QString fileIdOf(const QFileInfo &file)
{
    const QString name = file.fileName();
    return name.left(name.indexOf(QLatin1Char('.')));
}

} // namespace

CacheReconciler::CacheReconciler(FileRegistry *registry, const DownloadFileMgr *downloads,
                                 std::function<bool()> isCancelled)
    : m_registry(registry)
    , m_downloads(downloads)
    , m_isCancelled(std::move(isCancelled))
{ }

FileDataMgr::Reconciliation CacheReconciler::run()
{
    if (!m_registry->storage()) {
        m_result.bComplete = true;
        return m_result;
    }
    if (!readRows() || isCancelled()) {
        return m_result;
    }
    walkFolders();
    m_result.bComplete =
            !isCancelled() && dropRowsWithoutFile() && !isCancelled() && settleFilesWithoutRow();
    if (m_result.adopted + m_result.removed + m_result.droppedRows > 0) {
        qCWarning(lcPlatform).nospace()
                << "cache reconciled: " << m_result.adopted << " files recorded, "
                << m_result.removed << " stray files deleted, " << m_result.droppedRows
                << " rows of missing files dropped";
    }
    return m_result;
}

bool CacheReconciler::readRows()
{
    const auto walk = m_registry->storage()->cacheFileStorage()->walkOldestFirst(
            kPageSize, [this](const QList<storage::CacheFileInfo> &page) {
                for (const storage::CacheFileInfo &row : page) {
                    m_rows.insert(m_registry->localPath(row.type, row.fileId, row.suffix), row);
                }
                return true;
            });
    if (walk == storage::CacheFileStorage::Walk::Unreadable) {
        qCWarning(lcPlatform) << "cache reconciliation stopped: the cache table cannot be read";
        return false;
    }
    return true;
}

void CacheReconciler::walkFolders()
{
    for (int kind : kRecordedKinds) {
        QDirIterator it(
                CacheLayout::mediaPath(m_registry->cacheRoot(), CacheLayout::MainCategory, kind),
                QDir::Files | QDir::Hidden | QDir::NoSymLinks);
        while (it.hasNext()) {
            const QFileInfo file = it.nextFileInfo();
            // Partial downloads and the range files beside them.
            if (!file.fileName().contains(QLatin1String(CACHE_SUFFIX))) {
                m_files.insert(file.filePath(), file);
            }
        }
    }
}

bool CacheReconciler::dropRowsWithoutFile()
{
    QList<storage::CacheFileInfo> dropped;
    for (auto it = m_rows.cbegin(); it != m_rows.cend(); ++it) {
        if (!m_files.contains(it.key()) && !m_downloads->isDownloading(it->fileId)
            && !QFileInfo::exists(it.key())) {
            dropped.append(it.value());
        }
    }
    if (!m_registry->storage()->cacheFileStorage()->removeUnchanged(dropped)) {
        qCWarning(lcPlatform) << "cache reconciliation stopped: rows of missing files stay";
        return false;
    }
    m_result.droppedRows = int(dropped.size());
    return true;
}

bool CacheReconciler::settleFilesWithoutRow()
{
    QList<QFileInfo> unrecorded;
    QList<QString> fileIds;
    for (auto it = m_files.cbegin(); it != m_files.cend(); ++it) {
        if (!m_rows.contains(it.key())) {
            unrecorded.append(it.value());
            fileIds.append(fileIdOf(it.value()));
        }
    }
    QHash<QString, storage::FileRecord> records;
    if (!knownRecords(fileIds, records)) {
        return false;
    }
    QList<storage::CacheFileInfo> adopted;
    for (const QFileInfo &file : std::as_const(unrecorded)) {
        const storage::FileRecord record = records.value(fileIdOf(file));
        const bool isItsCopy = !record.fileId.isEmpty()
                && m_registry->localPath(record.type, record.fileId, record.suffix)
                        == file.filePath()
                && (record.size <= 0 || record.size == file.size());
        if (isItsCopy) {
            adopted.append({record.fileId, record.type, record.suffix, file.size(),
                            file.lastModified().toMSecsSinceEpoch()});
        } else if (!m_downloads->isDownloading(fileIdOf(file))
                   && Util::deleteFile(file.filePath())) {
            ++m_result.removed;
            m_result.removedBytes += file.size();
        }
    }
    // A row written meanwhile by a download that completed stays as it is.
    if (!m_registry->storage()->cacheFileStorage()->add(adopted)) {
        qCWarning(lcPlatform) << "cache reconciliation stopped: copies without rows stay so";
        return false;
    }
    m_result.adopted = int(adopted.size());
    return true;
}

bool CacheReconciler::knownRecords(const QList<QString> &fileIds,
                                   QHash<QString, storage::FileRecord> &records)
{
    for (qsizetype from = 0; from < fileIds.size(); from += kPageSize) {
        bool ok = false;
        const QList<storage::FileRecord> found =
                m_registry->storage()->fileStorage()->infos(fileIds.mid(from, kPageSize), &ok);
        if (!ok) {
            qCWarning(lcPlatform) << "cache reconciliation stopped: the file table cannot be read";
            return false;
        }
        for (const storage::FileRecord &record : found) {
            records.insert(record.fileId, record);
        }
    }
    return true;
}
