#pragma once

// Not API: the cleanups of the media cache besides the expiry, which the hub starts, cancels and
// waits for. Every pass
// deletes through deleteCachedFiles and stops, deleting nothing more, at the first read it rests
// on that fails.

#include "filereferencestorage.h"

#include <QList>
#include <QString>

#include <functional>
#include <utility>

class MediaCacheContext;
struct ResourceData;

// Temporary and stream-buffer files are never referenced by a message: every one goes, oldest
// first, a page at a time. A table that cannot be read or rows that cannot be removed stop it
// with one warning. Any thread.
void clearTempFiles(const MediaCacheContext &cache);

// Deletes the files of the records, each of its content type, with their thumbnails and
// live-photo videos; returns the ids of the files gone, whose cache rows went with them. Any
// thread.
QList<QString> deleteResourceFiles(const MediaCacheContext &cache,
                                   const QList<std::pair<int, ResourceData>> &resources,
                                   bool bNotify);

// Deletes the files of removed file-reference rows that no remaining row names. When the rows
// still naming them cannot be read, the files stay, for the expiry to take once nothing names
// them. Off the main thread.
void deleteUnnamedMedia(const MediaCacheContext &cache,
                        const QList<storage::FileReferenceInfo> &removedRows);

// The focus-loss cleanup: the cached files that only dialogs kept until focus loss name. False
// when stopped, or when a read it rests on failed. Any thread.
bool clearFocusLostMedia(const MediaCacheContext &cache, const std::function<bool()> &isCancelled);
