#include "mediaexpiry.h"

#include "appsettingmodel.h"
#include "cachefilestorage.h"
#include "constants.h"
#include "contenttype.h"
#include "filedatamgr.h"
#include "filereferencestorage.h"
#include "mediacachecontext_p.h"
#include "mediakeepsetting.h"
#include "mediamodellog_p.h"
#include "resourcedata.h"
#include "storage/cachedfiles_p.h"

MediaExpiry::Limits MediaExpiry::limitsAt(const MediaCacheContext &cache, qint64 now)
{
    Limits limits;
    limits.now = now;
    const qint64 shortest = cache.keepSetting().shortestKeepTime();
    limits.cutOff = shortest >= 1 && now >= 1 ? now - shortest : -1;
    limits.sizeLimit = AppSettingModel::instance()->localCacheMaxSize();
    for (int type : {CONTENT_VIDEO, CONTENT_MUSIC, CONTENT_VOICE, CONTENT_FILE, CONTENT_PHOTO}) {
        limits.directories.append(cache.mediaBaseDir(type));
    }
    return limits;
}

MediaExpiry::MediaExpiry(const MediaCacheContext &cache, const Limits &limits)
    : m_cache(cache)
    , m_limits(limits)
{ }

MediaExpiry::Summary MediaExpiry::run()
{
    m_summary = {};
    m_keepTimes.clear();
    reconcile();
    if (m_limits.cutOff >= 1 && isGoingOn()) {
        expireByAge();
    }
    if (m_limits.sizeLimit >= 1 && isGoingOn()) {
        evictBySize();
    }
    qCDebug(lcMedia) << "media cache expiry removed" << m_summary.files << "files,"
                     << m_summary.bytes << "bytes" << (m_summary.bCancelled ? "(stopped)" : "")
                     << (m_summary.bFailed ? "(failed)" : "");
    return m_summary;
}

void MediaExpiry::reconcile()
{
    m_summary.reconciled = m_cache.fileDataMgr()->reconcileCache([this] { return isCancelled(); });
    if (!m_summary.reconciled.bComplete && !m_summary.bCancelled) {
        fail("the cache and file tables");
    }
}

// Rows are ordered by last use, so the walk ends at the first page that reaches the cut-off:
// nothing after it is old enough for any dialog.
void MediaExpiry::expireByAge()
{
    if (m_cache.keepSetting().hasUnreadKeepTimes()) {
        return fail("the dialogs' keep times");
    }
    storage::CacheFileStorage *cache = m_cache.cacheFiles();
    bool ok = false;
    const qint64 total = cache->count(&ok);
    if (!ok) {
        return fail("the cache table");
    }
    qint64 done = 0;
    bool namingUnread = false;
    const auto expireFromPage = [&](const QList<storage::CacheFileInfo> &page) {
        QHash<QString, QSet<QString>> naming;
        if (!dialogsNaming(page, naming)) {
            namingUnread = true;
            return false;
        }
        for (const storage::CacheFileInfo &row : page) {
            if (isCancelled()) {
                deleteChosen();
                return false;
            }
            if (row.dateTime < m_limits.cutOff && isInScope(row)
                && isExpired(row, naming.value(row.fileId))) {
                m_chosen.append(row);
            }
        }
        deleteChosen();
        done += page.size();
        report(AgeStage, done, total);
        return page.constLast().dateTime < m_limits.cutOff;
    };
    if (cache->walkOldestFirst(LOAD_COUNT, expireFromPage)
        == storage::CacheFileStorage::Walk::Unreadable) {
        return fail("the cache table");
    }
    if (namingUnread) {
        return fail("the rows naming the cached files");
    }
    if (!m_summary.bCancelled) {
        report(AgeStage, total, total);
    }
}

void MediaExpiry::evictBySize()
{
    storage::CacheFileStorage *cache = m_cache.cacheFiles();
    bool ok = false;
    const qint64 excess = cache->totalSize(&ok) - m_limits.sizeLimit;
    if (!ok) {
        return fail("the cache table");
    }
    if (excess <= 0) {
        return;
    }
    qint64 freed = 0;
    const auto evictFromPage = [&](const QList<storage::CacheFileInfo> &page) {
        // Files that cannot be deleted free nothing: the next page makes up for them.
        qint64 planned = freed;
        for (const storage::CacheFileInfo &row : page) {
            if (planned >= excess) {
                break;
            }
            if (isCancelled()) {
                deleteChosen();
                return false;
            }
            if (isInScope(row)) {
                m_chosen.append(row);
                planned += row.size;
            }
        }
        freed += deleteChosen();
        report(SizeStage, qMin(freed, excess), excess);
        return freed < excess;
    };
    if (cache->walkOldestFirst(LOAD_COUNT, evictFromPage)
        == storage::CacheFileStorage::Walk::Unreadable) {
        fail("the cache table");
    }
}

// A file that no row names goes at the cut-off, so a failed lookup must never read as none.
bool MediaExpiry::dialogsNaming(const QList<storage::CacheFileInfo> &rows,
                                QHash<QString, QSet<QString>> &naming) const
{
    QList<QString> fileIds;
    fileIds.reserve(rows.size());
    for (const storage::CacheFileInfo &row : rows) {
        fileIds.append(row.fileId);
    }
    storage::FileReferenceStorage *references = m_cache.fileReferences();
    bool bySource = false;
    bool byThumb = false;
    bool byLivePhoto = false;
    for (const storage::FileReferenceInfo &ref : references->infosWithFileIds(fileIds, &bySource)) {
        naming[ref.fileId].insert(ref.dialogId);
    }
    for (const storage::FileReferenceInfo &ref : references->infosWithThumbIds(fileIds, &byThumb)) {
        naming[ref.thumbId].insert(ref.dialogId);
    }
    // A live photo's video is its resource's, named by the record alone when a thumbnail takes
    // the row's thumbnail id.
    for (const storage::FileReferenceInfo &ref :
         references->infosWithLivePhotoIds(fileIds, &byLivePhoto)) {
        ResourceData data;
        data.deserialize(ref.data);
        naming[data.livePhotoId].insert(ref.dialogId);
    }
    return bySource && byThumb && byLivePhoto;
}

bool MediaExpiry::isExpired(const storage::CacheFileInfo &row, const QSet<QString> &dialogIds)
{
    for (const QString &dialogId : dialogIds) {
        const qint64 keepTime = keepTimeOf(dialogId);
        if (keepTime < 1 || row.dateTime >= m_limits.now - keepTime) {
            return false;
        }
    }
    return true;
}

qint64 MediaExpiry::keepTimeOf(const QString &dialogId)
{
    auto known = m_keepTimes.constFind(dialogId);
    if (known == m_keepTimes.cend()) {
        known = m_keepTimes.insert(dialogId, m_cache.keepSetting().keepTime(dialogId));
    }
    return known.value();
}

bool MediaExpiry::isInScope(const storage::CacheFileInfo &row) const
{
    return m_limits.directories.contains(m_cache.mediaBaseDir(row.type));
}

qint64 MediaExpiry::deleteChosen()
{
    QList<CachedFile> files;
    QHash<QString, qint64> sizes; // of the files on disk: a row whose file is gone frees nothing
    for (const storage::CacheFileInfo &row : std::as_const(m_chosen)) {
        files.append({row.fileId, m_cache.mediaBaseDir(row.type), row.suffix});
        if (m_cache.fileExist(row.type, row.fileId, row.suffix)) {
            sizes.insert(row.fileId, row.size);
        }
    }
    m_chosen.clear();
    qint64 freed = 0;
    for (const QString &fileId :
         deleteCachedFiles(m_cache.fileDataMgr(), m_cache.cacheFiles(), files)) {
        if (sizes.contains(fileId)) {
            ++m_summary.files;
            freed += sizes.value(fileId);
        }
    }
    m_summary.bytes += freed;
    return freed;
}

bool MediaExpiry::isCancelled()
{
    if (m_cancel && m_cancel()) {
        m_summary.bCancelled = true;
    }
    return m_summary.bCancelled;
}

void MediaExpiry::fail(const char *what)
{
    m_summary.bFailed = true;
    qCWarning(lcMedia) << "media cache expiry stopped:" << what
                       << "cannot be read; nothing more is deleted";
}

void MediaExpiry::report(Stage stage, qint64 done, qint64 total) const
{
    if (m_progress) {
        m_progress({stage, done, total});
    }
}
