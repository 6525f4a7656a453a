#pragma once

// Not API: the walk every cleanup of the media cache makes over the cache-file table.

#include "cachefilestorage.h"

#include <QList>

#include <functional>

enum class CacheWalk {
    Ended,      // the table ended
    Stopped,    // visit asked to stop
    Unreadable, // a page could not be read: nothing after it was visited
};

// Hands the cache table's rows to visit oldest first (by last use), LOAD_COUNT at a time, until
// the table ends or visit returns false. Each page starts after the last row of the one before
// rather than at an offset, so rows a cleanup deletes from a page do not shift those ahead.
CacheWalk
walkCacheOldestFirst(storage::CacheFileStorage *cache,
                     const std::function<bool(const QList<storage::CacheFileInfo> &page)> &visit);
