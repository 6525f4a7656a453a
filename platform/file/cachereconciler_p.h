#pragma once

//
// Internal to the file library, not API.
//

#include "cachefilestorage.h"
#include "filedatamgr.h"
#include "filestorage.h"

#include <QFileInfo>
#include <QHash>
#include <QList>
#include <QString>
#include <functional>

class DownloadFileMgr;
class FileRegistry;

// One pass that brings the cache-file table in line with the folders of the main cache, for the
// files that a crash or an outside hand left out of step: a complete copy with no row is recorded
// when the file table knows it as it is (its id, folder, suffix and size) and deleted otherwise;
// a row whose file is not there is dropped. Partial downloads and the range files beside them are
// not cache files and are left alone, as is every file a download holds.
//
// The rows are read before the folders are walked, and each change is checked again just before
// it is made, so a download that completes meanwhile (it writes its row before it moves its file
// into place) is never undone. A failed read stops the pass before anything more is changed.
// Runs on the calling thread; any thread.
class CacheReconciler
{
public:
    CacheReconciler(FileRegistry *registry, const DownloadFileMgr *downloads,
                    std::function<bool()> isCancelled);

    FileDataMgr::Reconciliation run();

private:
    bool readRows();
    void walkFolders();
    bool dropRowsWithoutFile();
    bool settleFilesWithoutRow();
    // The files found whose id the file table knows, by id; false when the read failed.
    bool knownRecords(const QList<QString> &fileIds, QHash<QString, storage::FileRecord> &records);
    bool isCancelled() const { return m_isCancelled && m_isCancelled(); }

    FileRegistry *const m_registry;
    const DownloadFileMgr *const m_downloads;
    const std::function<bool()> m_isCancelled;
    QHash<QString, storage::CacheFileInfo> m_rows; // by the path of their file
    QHash<QString, QFileInfo> m_files;             // the cache files found, by path
    FileDataMgr::Reconciliation m_result;
};
