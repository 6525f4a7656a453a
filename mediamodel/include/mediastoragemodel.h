#pragma once

#include "mediamodel_export.h"

#include <QFuture>
#include <QHash>
#include <QList>
#include <QObject>
#include <QRecursiveMutex>
#include <QStringList>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

class FileDataMgr;
class MediaContentItem;
class MediaCacheContext;
class MediaSizeBaseModel;
class MediaSizeModel;
class MediaStorageViewModel;
struct CacheFileRecord;
namespace storage {
class CacheFileStorage;
}
struct DialogScanRecord;
struct MediaContentRecord;

// The storage-usage screen of one account: how much of the disk the account's media cache takes,
// by kind of data and by dialog, and the deletion of cached files (all of them, by kind, by
// dialog, by dialog and kind, one item, or a selection).
//
// Lives on the UI thread, owned by the account's MediaMgr, whose cache context it reads. Scans and
// deletions run on the global thread pool; they read only what they were given and the cancel flag,
// and hand every result back with a queued call, so the properties change on the UI thread only.
// Results of a scan or deletion that a later startLoading superseded are dropped when they arrive.
class MEDIAMODEL_EXPORT MediaStorageModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(qlonglong totalSize READ totalSize WRITE setTotalSize NOTIFY totalSizeChanged)
    Q_PROPERTY(bool atQuery READ atQuery NOTIFY atQueryChanged)
    Q_PROPERTY(int clearProgress READ clearProgress NOTIFY clearProgressChanged)
    Q_PROPERTY(MediaSizeBaseModel *mediaTotalSizeModel READ mediaTotalSizeModel CONSTANT)
    Q_PROPERTY(int selectCount READ selectCount NOTIFY selectCountChanged)
    Q_PROPERTY(qlonglong selectSize READ selectSize NOTIFY selectSizeChanged)
    Q_PROPERTY(int selectDlgCount READ selectDlgCount NOTIFY selectDlgCountChanged)
    Q_PROPERTY(qlonglong selectDlgSize READ selectDlgSize NOTIFY selectDlgSizeChanged)
    // The dialogs with cached data, largest first; dialogSizeModel gives each one's sizes.
    Q_PROPERTY(QStringList dialogIds READ dialogIds NOTIFY dialogIdsChanged)

public:
    enum MediaDataType {
        DATA_IMAGE = 0,
        DATA_VIDEO = 1,
        DATA_FILE = 2,
        DATA_STICKER = 3,
        DATA_PHOTO = 4,
        DATA_MUSIC = 5,
        DATA_OTHER = 6,
        DATA_MISCELLANEOUS = 7,
    };
    Q_ENUM(MediaDataType)

    // The cache must outlive the object.
    MediaStorageModel(const MediaCacheContext &cache, QObject *parent);
    ~MediaStorageModel() override;

    // The kind of data of the files in the main cache folder of a cache kind, and the kind of
    // data of a resource of a content type. The two codings differ; a code missing from either
    // gives DATA_IMAGE.
    static int dataTypeOfCacheKind(int cacheKind);
    static int dataTypeOfContentType(int contentType);

    qlonglong totalSize() const { return m_totalSize; }
    void setTotalSize(qlonglong totalSize);
    bool atQuery() const { return m_atQuery; }
    int clearProgress() const { return m_clearProgress; }
    MediaSizeBaseModel *mediaTotalSizeModel() const { return m_totalSizeModel; }
    int selectCount() const;
    qlonglong selectSize() const { return m_selectSize; }
    int selectDlgCount() const { return int(m_selectedDialogs.size()); }
    qlonglong selectDlgSize() const { return m_selectDlgSize; }
    QStringList dialogIds() const { return m_dialogIds; }

    // A message of the dialog is gone: its resources leave the dialog's records, view lists and
    // selection, and their bytes leave the dialog's sizes. The account's totals measure the disk
    // and change when the files go. Any thread.
    void messageRemoved(const QString &dialogId, qint64 messageId);
    // Stops every scan and deletion and waits for them; results still on their way are dropped.
    void prepareToClear();

public Q_SLOTS:
    // Total bytes of the volume holding the cache; 0 until the first startLoading.
    qlonglong volumeSize() const { return m_volumeSize; }
    // Measures the cache. While a scan runs, asks for one more scan after it, unless bReload,
    // which starts a fresh one at once.
    void startLoading(bool bReload = false);
    // Stops the workers and forgets every result; deletions are refused until the next load.
    void clearAll();

    void deleteAllFiles();
    void deleteAllFileByType(const QList<int> &dataTypes);
    void deleteAllFileByDialog(const QStringList &dialogIds);
    void deleteDialogFileByType(const QString &dialogId, const QList<int> &dataTypes);
    void deleteMediaItem(MediaContentItem *mediaInfo);

    // The same three lists every time, refilled for the dialog asked for.
    MediaStorageViewModel *mediaViewModel(const QString &dialogId);
    MediaStorageViewModel *fileViewModel(const QString &dialogId);
    MediaStorageViewModel *musicViewModel(const QString &dialogId);
    // The sizes of a dialog by kind; made on first request and kept while this model lives.
    MediaSizeModel *dialogSizeModel(const QString &dialogId);

    void changeSelected(MediaContentItem *mediaInfo);
    void clearSelected();
    bool isSelected(MediaContentItem *mediaInfo) const;
    // Allowed while a scan runs, unlike the other deletions.
    void deleteSelected();
    void changeDlgSelected(const QString &dialogId);
    bool dialogSelected(const QString &dialogId) const;

Q_SIGNALS:
    void totalSizeChanged();
    void atQueryChanged();
    void clearProgressChanged();
    void selectCountChanged();
    void selectSizeChanged();
    void selectDlgCountChanged();
    void selectDlgSizeChanged();
    void dialogIdsChanged();
    // The total size in bytes of a dialog's cached media, once a scan has measured it.
    void dialogSizeLoaded(const QString &dialogId, qulonglong dialogSize);

private:
    struct Scan;
    struct Deletion;
    struct RemovedFile;
    struct DialogRecord;

    // UI thread.
    void setAtQuery(bool bQuery);
    void setClearProgress(int progress);
    void resetResults();
    void markDialogsQuerying();
    bool mayDelete(bool bDuringScan) const;
    // False, with a warning, when the last scan could not read which chats the files are of.
    bool knowsChatsOfFiles() const;
    void startDeletion(std::unique_ptr<Deletion> deletion);
    void applyMeasuredSize(int generation, int dataType, qint64 bytes);
    void finishTotals(int generation);
    void finishScan(int generation, QHash<QString, CacheFileRecord> files,
                    QHash<QString, DialogScanRecord> dialogs, bool bFailed);
    void applyDeleted(int generation, const QList<RemovedFile> &removed);
    void applyRemoved(int generation, const QList<RemovedFile> &removed);
    void forgetContent(DialogRecord &record, const MediaContentRecord &content);
    void finishStage(int generation, int dataType);
    void finishDeletion();
    void addRemovedBytes(qint64 bytes);
    DialogRecord &dialogRecord(const QString &dialogId);
    MediaStorageViewModel *viewModel(MediaStorageViewModel *&model, const QString &dialogId,
                                     const QList<int> &contentTypes);
    void refillViews();
    void updateDialogIds();
    void updateSelectSize();
    void updateSelectDlgSize();
    void stopPlayerFor(const QStringList &dialogIds);
    QList<RemovedFile>
    recordedFiles(const std::function<bool(const QString &, const CacheFileRecord &)> &pick) const;
    QList<RemovedFile> filesOfDialogs(const QStringList &dialogIds,
                                      const QList<int> &dataTypes) const;
    QList<RemovedFile> filesOfContent(const MediaContentRecord &content) const;
    QStringList miscellaneousFolders() const;
    // Deletes the files with their cache rows; returns those gone. Any thread.
    static QList<RemovedFile> deleteRecordedFiles(FileDataMgr *fileDataMgr,
                                                  storage::CacheFileStorage *cacheFiles,
                                                  const QList<RemovedFile> &files);
    void removeMessage(const QString &dialogId, qint64 messageId);

    // Worker side: read only their input and the stop flags.
    static void runScan(MediaStorageModel *model, const Scan &scan);
    static void runDeletion(MediaStorageModel *model, const Deletion &deletion);

    const MediaCacheContext &m_cache;
    MediaSizeBaseModel *m_totalSizeModel = nullptr; // child
    MediaStorageViewModel *m_mediaView = nullptr;   // child, made on first request
    MediaStorageViewModel *m_fileView = nullptr;    // child, made on first request
    MediaStorageViewModel *m_musicView = nullptr;   // child, made on first request

    // Guards the results, the selection and the futures below against host threads.
    mutable QRecursiveMutex m_mutex;
    QHash<QString, CacheFileRecord> m_files;   // file id -> the file, from the last scan
    QHash<QString, QStringList> m_fileDialogs; // file id -> the dialogs whose messages name it
    QHash<QString, DialogRecord *> m_dialogs;  // owned
    std::vector<MediaContentRecord> m_selected;
    QStringList m_selectedDialogs;
    QStringList m_dialogIds;
    QList<QFuture<void>> m_scans; // the running scan last; earlier ones were superseded
    QFuture<void> m_deletion;
    std::shared_ptr<std::atomic<bool>> m_scanSuperseded;

    qint64 m_volumeSize = 0;
    qint64 m_totalSize = 0;
    qint64 m_selectSize = 0;
    qint64 m_selectDlgSize = 0;
    qint64 m_plannedBytes = 0; // of the running deletion
    qint64 m_removedBytes = 0; // of the running deletion
    int m_clearProgress = 0;
    int m_generation = 0; // raised whenever results are reset; stale results are dropped
    bool m_atQuery = false;
    bool m_reloadPending = false;
    bool m_scanFailed = false;          // the last scan could not read which chats the files are of
    std::atomic<bool> m_cancel {false}; // read by the workers between files
};
