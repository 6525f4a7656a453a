#include "cachewalk_p.h"

#include "constants.h"

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
