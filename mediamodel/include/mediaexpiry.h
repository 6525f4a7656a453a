#pragma once

#include "cachefilestorage.h"
#include "filedatamgr.h"
#include "mediamodel_export.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <functional>

class MediaCacheContext;

// One pass over an account's media cache that deletes what the retention settings no longer keep.
//
// First by age: the cache-file table is walked oldest first, a page of LOAD_COUNT rows at a
// time, up to the cut-off of the shortest keep time. A file goes when it is older than the keep
// time of every dialog that names it, as its source, its thumbnail or its live-photo video; a
// file that no dialog names goes at the cut-off; a dialog that keeps media for ever (or until
// focus loss) keeps its files.
// Then by size: while the rows' total exceeds the cache size limit, the oldest files go, whatever
// their dialogs' keep times, until the total is within the limit.
//
// Before both, the cache-file table is reconciled with the cache folders (FileDataMgr), so that
// files a crash left without a row expire too, and rows of files that are gone free nothing.
//
// Files are deleted through the file library and their rows removed page by page, so a pass
// stopped half-way leaves exactly the rows of the files still on disk. A read the pass decides on
// that fails (the cache table, the rows naming a file, the dialogs' keep times) stops it at once:
// it deletes nothing more, logs one warning and tells the caller. Runs on one worker thread;
// reads the account's keep settings, which are safe to query from there.
class MEDIAMODEL_EXPORT MediaExpiry
{
public:
    struct Limits
    {
        QList<QString> directories; // the cache folders files may be deleted from
        qint64 now = 0;             // ms since the epoch
        qint64 cutOff = -1;         // files used before it may expire; < 1: none by age
        qint64 sizeLimit = 0;       // bytes the cache may hold; < 1: no limit
    };

    enum Stage { AgeStage, SizeStage };
    // Age stage: rows looked at of all rows. Size stage: bytes freed of the bytes over the limit.
    struct Progress
    {
        Stage stage = AgeStage;
        qint64 done = 0;
        qint64 total = 0;
    };

    struct Summary
    {
        qint64 files = 0; // deleted from disk: rows of files already gone are not counted
        qint64 bytes = 0; // as the rows recorded them
        bool bCancelled = false;
        bool bFailed = false; // a read it rests on failed: it stopped, deleting nothing more
        FileDataMgr::Reconciliation reconciled;
    };

    using ProgressFn = std::function<void(const Progress &)>;
    using CancelFn = std::function<bool()>;

    // What the hub's cleanup at now works with: the cut-off of the shortest keep time, the
    // application's cache size limit and the media folders. The cache is the hub's
    // (MediaMgr::cacheContext).
    static Limits limitsAt(const MediaCacheContext &cache, qint64 now);

    // The cache must outlive the pass.
    MediaExpiry(const MediaCacheContext &cache, const Limits &limits);

    // Called after each page; on the worker thread.
    void setProgress(ProgressFn progress) { m_progress = std::move(progress); }
    // Asked between rows, and between the steps of the reconciliation; true stops the pass.
    void setCancel(CancelFn cancel) { m_cancel = std::move(cancel); }

    Summary run();

private:
    void reconcile();
    void expireByAge();
    void evictBySize();
    // The dialogs naming each file of the page, by file id; false when they cannot be read.
    bool dialogsNaming(const QList<storage::CacheFileInfo> &rows,
                       QHash<QString, QSet<QString>> &naming) const;
    bool isExpired(const storage::CacheFileInfo &row, const QSet<QString> &dialogIds);
    qint64 keepTimeOf(const QString &dialogId);
    bool isInScope(const storage::CacheFileInfo &row) const;
    // Deletes the files chosen so far with their rows; returns the bytes freed, as the rows
    // recorded them. Files that stay are counted nowhere.
    qint64 deleteChosen();
    bool isCancelled();
    // Whether the pass was neither cancelled nor stopped by a failed read.
    bool isGoingOn() const { return !m_summary.bCancelled && !m_summary.bFailed; }
    // Stops the pass because what cannot be read.
    void fail(const char *what);
    void report(Stage stage, qint64 done, qint64 total) const;

    const MediaCacheContext &m_cache;
    const Limits m_limits;
    ProgressFn m_progress;
    CancelFn m_cancel;
    QHash<QString, qint64> m_keepTimes;     // per dialog, read once per pass
    QList<storage::CacheFileInfo> m_chosen; // files of the page to delete at its end
    Summary m_summary;
};
