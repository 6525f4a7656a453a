#include "cachecleanup_p.h"

#include "bufferfilestorage.h"
#include "constants.h"
#include "mediamodellog_p.h"
#include "modelbaseutil.h"
#include "storage/cachedfiles_p.h"
#include "userstorageprovider.h"

CacheWalk
walkCacheOldestFirst(storage::CacheFileStorage *cache,
                     const std::function<bool(const QList<storage::CacheFileInfo> &page)> &visit)
{
    storage::CacheFileInfo cursor;
    for (;;) {
        bool ok = false;
        const QList<storage::CacheFileInfo> page =
                cache->infosAfter(cursor.dateTime, cursor.fileId, LOAD_COUNT, &ok);
        if (!ok) {
            return CacheWalk::Unreadable;
        }
        if (page.isEmpty()) {
            return CacheWalk::Ended;
        }
        cursor = page.constLast();
        if (!visit(page)) {
            return CacheWalk::Stopped;
        }
    }
}

void clearTempFiles(storage::UserStorageProvider *storage, FileDataMgr *files,
                    const QString &cacheRoot)
{
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
        const QList<QString> gone = deleteCachedFiles(files, storage->cacheFileStorage(), batch);
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
