#include "cachecleanup_p.h"

#include "accountbase.h"
#include "bufferfilestorage.h"
#include "cachefilestorage.h"
#include "constants.h"
#include "contenttype.h"
#include "mediacachecontext_p.h"
#include "mediakeepsetting.h"
#include "mediamodellog_p.h"
#include "modelbaseutil.h"
#include "resourcedata.h"
#include "storage/cachedfiles_p.h"
#include "userstorageprovider.h"

#include <QMap>
#include <QSet>

namespace {

// Whether every dialog naming a file keeps its media only until the application loses focus.
bool allLoseOnFocus(const MediaKeepSetting &keepSetting,
                    const QList<storage::FileReferenceInfo> &namingRows)
{
    for (const storage::FileReferenceInfo &row : namingRows) {
        if (keepSetting.keepTime(row.dialogId) != MediaKeepSetting::WINDOW_LOSES_FOCUS) {
            return false;
        }
    }
    return !namingRows.isEmpty();
}

template<typename Key>
QHash<QString, QList<storage::FileReferenceInfo>>
groupRows(const QList<storage::FileReferenceInfo> &rows, Key key)
{
    QHash<QString, QList<storage::FileReferenceInfo>> grouped;
    for (const storage::FileReferenceInfo &row : rows) {
        grouped[row.*key].append(row);
    }
    return grouped;
}

// Deletes the files of candidates that no row names any more. contents holds each candidate's
// restored ResourceData, in the same order. False, deleting nothing, when the rows still naming
// them cannot be read.
bool deleteUnnamedFiles(const MediaCacheContext &cache,
                        const QList<storage::FileReferenceInfo> &candidates,
                        const QList<ResourceData> &contents)
{
    QList<QString> fileIds;
    fileIds.reserve(candidates.size());
    for (const storage::FileReferenceInfo &row : candidates) {
        fileIds.append(row.fileId);
    }
    bool ok = false;
    const QMap<QString, int> stillNamed = cache.fileReferences()->fileReferences(fileIds, &ok);
    if (!ok) {
        return false;
    }
    QList<std::pair<int, ResourceData>> unnamed;
    for (qsizetype i = 0; i < candidates.size(); ++i) {
        if (!stillNamed.contains(fileIds.at(i))) {
            unnamed.append({candidates.at(i).type, contents.at(i)});
        }
    }
    deleteResourceFiles(cache, unnamed, false);
    return true;
}

// Deletes the files of type among fileIds whose naming dialogs all lose them on focus loss, with
// their records' thumbnails and live photos, and adds every id deleted to deleted. False,
// deleting nothing, when the rows naming them cannot be read; so for deleteThumbMedia.
bool deleteSourceMedia(const MediaCacheContext &cache, const QList<QString> &fileIds, int type,
                       QSet<QString> &deleted)
{
    bool ok = false;
    const auto byFileId = groupRows(cache.fileReferences()->infosWithFileIds(fileIds, &ok),
                                    &storage::FileReferenceInfo::fileId);
    if (!ok) {
        return false;
    }
    QList<std::pair<int, ResourceData>> resources;
    for (auto it = byFileId.cbegin(); it != byFileId.cend(); ++it) {
        if (!allLoseOnFocus(cache.keepSetting(), it.value())) {
            continue;
        }
        ResourceData data;
        data.deserialize(it.value().constFirst().data);
        resources.append({type, data});
    }
    for (const QString &id : deleteResourceFiles(cache, resources, false)) {
        deleted.insert(id);
    }
    return true;
}

bool deleteThumbMedia(const MediaCacheContext &cache, const QList<QString> &thumbIds)
{
    bool ok = false;
    const auto byThumbId = groupRows(cache.fileReferences()->infosWithThumbIds(thumbIds, &ok),
                                     &storage::FileReferenceInfo::thumbId);
    if (!ok) {
        return false;
    }
    QList<CachedFile> thumbs;
    for (auto it = byThumbId.cbegin(); it != byThumbId.cend(); ++it) {
        if (!allLoseOnFocus(cache.keepSetting(), it.value())) {
            continue;
        }
        ResourceData data;
        data.deserialize(it.value().constFirst().data);
        thumbs.append({it.key(), cache.mediaBaseDir(CONTENT_PHOTO), data.thumbSuffix});
    }
    deleteCachedFiles(cache.fileDataMgr(), cache.cacheFiles(), thumbs);
    return true;
}

// A page's files go as sources first; what no record names as its source may be a thumbnail.
bool clearFocusLostPage(const MediaCacheContext &cache, const QList<storage::CacheFileInfo> &page)
{
    QMap<int, QList<QString>> fileIdsByType;
    for (const storage::CacheFileInfo &row : page) {
        fileIdsByType[row.type].append(row.fileId);
    }
    QSet<QString> deleted;
    for (auto it = fileIdsByType.cbegin(); it != fileIdsByType.cend(); ++it) {
        if (!deleteSourceMedia(cache, it.value(), it.key(), deleted)) {
            return false;
        }
    }
    QList<QString> maybeThumbs;
    for (const storage::CacheFileInfo &row : page) {
        if (!deleted.contains(row.fileId)) {
            maybeThumbs.append(row.fileId);
        }
    }
    return deleteThumbMedia(cache, maybeThumbs);
}

} // namespace

void clearTempFiles(const MediaCacheContext &cache)
{
    storage::UserStorageProvider *storage = cache.account()->storage();
    const QString cacheRoot = cache.account()->userCacheDataPath();
    for (;;) {
        bool ok = false;
        const QList<storage::BufferFileInfo> page =
                storage->bufferFileStorage()->infos(LOAD_COUNT, &ok);
        if (!ok) {
            qCWarning(lcMedia) << "temporary files cleanup stopped: their table cannot be read";
            return;
        }
        if (page.isEmpty()) {
            return;
        }
        QList<CachedFile> batch;
        for (const storage::BufferFileInfo &info : page) {
            batch.append({info.fileId,
                          ModelBaseUtil::makeMediaPath(cacheRoot, info.category, info.kind),
                          info.suffix});
        }
        const QList<QString> gone =
                deleteCachedFiles(cache.fileDataMgr(), cache.cacheFiles(), batch);
        if (!gone.isEmpty() && !storage->bufferFileStorage()->remove(gone)) {
            qCWarning(lcMedia) << "temporary files cleanup stopped: their rows stay";
            return;
        }
        // The oldest rows come first again: a file that stayed would be met on every page.
        if (gone.size() < page.size()) {
            return;
        }
    }
}

// The live-photo video is looked for in the photo folder but deleted from the video folder.
QList<QString> deleteResourceFiles(const MediaCacheContext &cache,
                                   const QList<std::pair<int, ResourceData>> &resources,
                                   bool bNotify)
{
    QList<CachedFile> files;
    files.reserve(3 * resources.size());
    for (const auto &[type, data] : resources) {
        files.append({data.fileId, cache.mediaBaseDir(type), data.suffix});
        files.append({data.thumbId, cache.mediaBaseDir(CONTENT_PHOTO), data.thumbSuffix});
        files.append({data.livePhotoId, cache.mediaBaseDir(CONTENT_VIDEO), data.livePhotoSuffix});
    }
    return deleteCachedFiles(cache.fileDataMgr(), cache.cacheFiles(), files, bNotify);
}

void deleteUnnamedMedia(const MediaCacheContext &cache,
                        const QList<storage::FileReferenceInfo> &removedRows)
{
    QSet<QString> seen;
    QList<storage::FileReferenceInfo> candidates;
    QList<ResourceData> contents;
    for (const storage::FileReferenceInfo &row : removedRows) {
        if (!MediaCacheContext::isMedia(row.type) || seen.contains(row.fileId)) {
            continue;
        }
        seen.insert(row.fileId);
        ResourceData data;
        data.deserialize(row.data);
        if (cache.existsFileInLocal(data, row.type)) {
            candidates.append(row);
            contents.append(std::move(data));
        }
    }
    for (qsizetype from = 0; from < candidates.size(); from += LOAD_COUNT) {
        if (!deleteUnnamedFiles(cache, candidates.mid(from, LOAD_COUNT),
                                contents.mid(from, LOAD_COUNT))) {
            qCWarning(lcMedia) << "removed media: which files other rows still name cannot be "
                                  "read; their files stay";
            return;
        }
    }
}

bool clearFocusLostMedia(const MediaCacheContext &cache, const std::function<bool()> &isCancelled)
{
    if (cache.keepSetting().hasUnreadKeepTimes()) {
        qCWarning(lcMedia) << "focus-loss cleanup skipped: the dialogs' keep times are unknown";
        return false;
    }
    if (isCancelled()) {
        return false;
    }
    bool pageFailed = false;
    using Walk = storage::CacheFileStorage::Walk;
    const Walk walk = cache.cacheFiles()->walkOldestFirst(
            LOAD_COUNT, [&](const QList<storage::CacheFileInfo> &page) {
                pageFailed = !clearFocusLostPage(cache, page);
                return !pageFailed && !isCancelled();
            });
    if (walk == Walk::Unreadable || pageFailed) {
        qCWarning(lcMedia) << "focus-loss cleanup stopped: the cache or the rows naming its "
                              "files cannot be read";
        return false;
    }
    return walk == Walk::Ended;
}
