#pragma once

#include "mediainfo.h"
#include "mediamodel_export.h"
#include "messageidrange.h"
#include "modelbase.h"

#include <QFuture>
#include <QHash>
#include <QObject>
#include <QRecursiveMutex>
#include <QSet>
#include <QSharedPointer>
#include <QString>
#include <QVariant>
#include <functional>
#include <memory>

class AccountBase;
class ContentItem;
class DialogBase;
class FileDataMgr;
class MediaAudio;
class MediaCacheContext;
class MediaCalender;
class MediaKeepSetting;
class MediaPreview;
class MediaResourceMgr;
class MediaSelector;
class MediaSync;
class PlaylistPublication;
class MediaStorageModel;
class QThreadPool;
class ResourceItem;
class SearchServiceCmd;
struct ResourceData;
namespace storage {
class FileReferenceStorage;
struct CacheFileInfo;
struct FileReferenceInfo;
} // namespace storage

// The media layer of one account: the galleries QML asks for by dialog id, the ingest of stored
// and received messages into the file-reference table and the open lists, the removal of
// messages' media and of the files nothing names any more, and the cleanup of the media cache.
//
// The host makes one per account on the main thread and drives it through ModelBase. Slots and
// model updates run on the main thread; saveResources and the removal entry points may be called
// from any host thread. Owns its private pool and every gallery it handed out.
class MEDIAMODEL_EXPORT MediaMgr : public QObject, public ModelBase
{
    Q_OBJECT

public:
    // What a model update does with the item built for it; any other value only frees the item.
    enum DoOperator {
        DO_UPDATE = 0, // the message's media was replaced: replace the item shown
        DO_ADD = 1,    // new media: insert the item
    };
    Q_ENUM(DoOperator)

    explicit MediaMgr(AccountBase *account);
    ~MediaMgr() override;

    // Registers the media layer's types for QML under uri; the host calls it once before loading
    // QML that uses them.
    static void registerMetaType(const char *uri);
    // The name under which the hub registers with its account (AccountBase::model).
    static QString modelName();

    // Photos, voice, videos and files: the content types whose files the cache keeps.
    static bool isMedia(int type);
    // The cache folder of a content type, ending with a separator.
    QString mediaBaseDir(int type) const;

    AccountBase *account() const { return m_account; }
    FileDataMgr *fileDataMgr() const;
    storage::FileReferenceStorage *fileReferenceDb() const;
    // What the storage view, the retention passes and the bulk download are built from; a host
    // that runs an expiry itself hands it to MediaExpiry.
    const MediaCacheContext &cacheContext() const { return *m_cache; }
    SearchServiceCmd *searchServiceCmd() const { return m_searchServiceCmd.get(); }

    // Writes the file-reference rows of the messages of dialogId and shows new and edited media
    // in the open lists, unless bSilent. Any thread.
    void saveResources(const QString &dialogId, const QList<MediaInfo> &infos, bool bSilent);

    bool fileExist(int type, const QString &fileId, const QString &suffix) const;
    // Whether any file of the record is on disk.
    bool existsFileInLocal(const ResourceData &data, int type) const;
    // Whether every file of the record with a size is on disk; the outputs sum what is missing,
    // the source file apart from its thumbnail and live-photo video.
    bool allFileInLocal(const ResourceData &data, int type, qint64 &missingSize,
                        qint64 &missingExtraSize) const;
    // Deletes the record's files from the cache; the cache rows of the files gone go too.
    void deleteFiles(int type, const ResourceData &data, bool bNotify);
    // Deletes the files of removed rows that no remaining row names. Off the main thread.
    void deleteMedias(const QList<storage::FileReferenceInfo> &rows);

    // The host's message deletions. bWait: do the database part before returning.
    void removeResource(const QString &dialogId, const MessageIdRange &range, bool bWait);
    void removeResource(const QString &dialogId, const QList<qint64> &messageIds, bool bWait);
    void removeResource(const QString &dialogId, qint64 messageId);
    // The messages a sender sent in the dialog since sinceTime (< 1: ever), listed by the host.
    void removeResourceBySenderId(const QString &dialogId, qint64 senderId, qint64 sinceTime,
                                  const QList<qint64> &messageIds);
    // Takes the messages out of the dialog's open lists.
    void removeMedia(const QString &dialogId, const QList<qint64> &messageIds);
    // Clears the dialog's open lists up to and including messageId (all for messageId < 1);
    // bClearSearch clears the hits of its searches too.
    void clearMediaModel(const QString &dialogId, qint64 messageId, bool bClearSearch);
    // Forgets the dialog's media rows of messages sent at or before time (< 1: all) and deletes
    // the files nothing else names.
    void clearResourceDB(const QString &dialogId, qint64 time);

    void initConnection() override;
    // Loads the keep-media settings; bFast skips the dialogs' own keep times.
    void loadLocalData(bool bFast) override;
    void prepareToClearData(bool bFast) override;
    void clearData(bool bFast) override;
    void getNewData() override;

    // Queues fn on the private pool.
    void runWithThread(std::function<void()> fn);

public Q_SLOTS:
    // The gallery's full-screen viewer, and a second one for views outside the gallery.
    MediaPreview *mediaPreview() const { return m_preview.get(); }
    MediaPreview *externalMediaPreview() const { return m_externalPreview.get(); }
    // The gallery of a dialog, made on first request; null for a dialog the account does not
    // know. Asked again with another sourceDlgId, the old gallery is torn down and a new one
    // made. The extern set serves views outside the gallery and is independent of it.
    MediaResourceMgr *mediaResourceMgr(const QString &dialogId, bool bTopicParent = false,
                                       const QString &sourceDlgId = QString());
    MediaResourceMgr *externMediaResourceMgr(const QString &dialogId, bool bTopicParent = false,
                                             const QString &sourceDlgId = QString());
    void releaseResourceMgr(const QString &dialogId);
    void releaseExternMediaResourceMgr(const QString &dialogId);
    // The calendar of a dialog, made and started on first request; null for a dialog the account
    // does not know.
    MediaCalender *mediaCalender(const QString &dialogId);
    void releaseMediaCalender(const QString &dialogId);
    // The account's audio playlist, which the player fills.
    MediaAudio *mediaAudio() const { return m_mediaAudio.get(); }
    // How long the account keeps media on disk, by default and per dialog.
    MediaKeepSetting *mediaKeepSetting() const { return m_keepSetting.get(); }
    // The bulk download of chosen chats' media.
    MediaSync *mediaSync() const { return m_mediaSync.get(); }
    // The storage-usage screen of the account.
    MediaStorageModel *mediaStorageModel() const { return m_storageModel.get(); }

    // Starts the background cleanup of the media cache, unless one runs or the hub is clearing.
    void clearLocalMedia();
    // Losing focus starts the cleanup of the media of the dialogs kept until then, when a
    // default asks for it and no such cleanup runs; becoming active does nothing.
    void onAppIsActive(bool isActive);

    // The selection of a dialog's gallery, made on first request for any id (an empty one gives
    // a selection across dialogs). The extern set serves views outside the gallery. Released
    // selections are cleared first and deleted later.
    MediaSelector *mediaSelector(const QString &dialogId);
    MediaSelector *externMediaSelector(const QString &dialogId);
    void releaseMediaSelector(const QString &dialogId);
    void releaseExternMediaSelector(const QString &dialogId);

    // Single-item actions of the gallery, handed to the account; items without a message are
    // ignored. data holds the forward page's options and is passed on unread.
    void forwardMessage(ResourceItem *item, const QVariantMap &data);
    // {item's dialog id: [the message's withdrawal value]}; empty without a message.
    QVariantMap revokeInfo(ResourceItem *item);
    // The lists learn of the deletion through the host's removal calls, not from here.
    void deleteMessage(ResourceItem *item, bool bRevocable);
    // A file the bulk download asked for finished (succ) or failed; relayed to it.
    void onUpdateMediaSync(const QString &fileId, bool succ);

Q_SIGNALS:
    // The total size in bytes of a dialog's cached media, once computed: the storage usage
    // model's, forwarded.
    void dialogSizeLoaded(const QString &dialogId, qulonglong dialogSize);
    // A cleanup of the media cache ran to its end (one stopped by clearing does not tell), so
    // that views of cache sizes can count again.
    void localMediaCleared();
    void focusLostMediaCleared();

private:
    using ResourceMgrHash = QHash<QString, MediaResourceMgr *>;

    MediaResourceMgr *resourceMgr(ResourceMgrHash &registry, const QString &dialogId,
                                  bool bTopicParent, const QString &sourceDlgId);
    void releaseResourceMgr(ResourceMgrHash &registry, const QString &dialogId);
    MediaResourceMgr *findMediaResource(const QString &dialogId, bool bExtern) const;
    MediaSelector *selector(QHash<QString, MediaSelector *> &registry, const QString &dialogId);
    void releaseSelector(QHash<QString, MediaSelector *> &registry, const QString &dialogId);
    void pruneSelectors(std::function<void(MediaSelector *)> prune);
    void clearSelectors();
    QList<MediaResourceMgr *> resourceMgrsOf(const QString &dialogId) const;
    void releaseResource(MediaResourceMgr *mgr);

    void updateMedia(QList<storage::FileReferenceInfo> &rows, const MediaInfo &info,
                     QSharedPointer<DialogBase> dialog, bool bSilent);
    void makeBaseInfo(storage::FileReferenceInfo &row, const MediaInfo &info) const;
    bool makeMediaInfo(storage::FileReferenceInfo &row, ResourceData &data,
                       QSharedPointer<ContentItem> content) const;
    void parseQuoteMsg(QList<storage::FileReferenceInfo> &rows, const MediaInfo &info) const;
    bool isVisible(const storage::FileReferenceInfo &row, const MediaInfo &info,
                   const QSharedPointer<DialogBase> &dialog) const;
    bool replaceEditedMedia(const MediaInfo &info, bool bSilent);

    void updateMediaModel(const MediaInfo &info, DoOperator op, bool bHasUrl);
    void updateLinkModel(const MediaInfo &info, DoOperator op);
    void postModelUpdate(const MediaInfo &info, DoOperator op, int mainType, bool bAlsoLinks);
    void updateResourceModel(MediaResourceMgr *mgr, const MediaInfo &info, int type, DoOperator op,
                             bool bHasUrl);

    void updatePreviewModel(MediaPreview *preview, const MediaInfo &info, DoOperator op,
                            const QList<int> &listTypes);

    // Runs change on the main thread after every change asked for before it.
    void postModelChange(std::function<void()> change);
    void applyModelChanges();
    void removeFromModels(const QString &dialogId,
                          std::function<void(MediaResourceMgr *)> fromGallery,
                          std::function<void(MediaPreview *)> fromPreview);
    // Runs stop for dialogId and, when the account resolves it to a dialog of another id, for
    // that id too.
    void stopPlayback(const QString &dialogId, const std::function<void(const QString &)> &stop);
    void removeRowsAndFiles(const QString &dialogId, const QList<qint64> &messageIds);
    // Cancels the running cleanups and waits for them.
    void stopCleanups();

    AccountBase *const m_account;
    ResourceMgrHash m_resourceMgrs;
    ResourceMgrHash m_externResourceMgrs;
    QHash<QString, MediaCalender *> m_calendars; // guarded by m_mutex
    // Owned, guarded by m_mutex; deleted by ~MediaMgr before the owned objects below, as nothing
    // they run reads a selection.
    QHash<QString, MediaSelector *> m_selectors;
    QHash<QString, MediaSelector *> m_externSelectors;
    QFuture<void> m_localClearFuture;
    QFuture<void> m_focusClearFuture;
    // Guards the calendar and selector registries, the two cleanup futures and the clearing
    // sequences.
    QRecursiveMutex m_mutex;
    qint64 m_lastLocalClearTime = 0;
    // Changes of the lists, previews and selections waiting for the main thread. One queued call
    // runs all that gathered meanwhile: ingest asks for a change per message, and a batch of a
    // hundred thousand messages then costs one event rather than one each.
    QMutex m_modelChangeMutex;
    QList<std::function<void()>> m_modelChanges; // guarded by m_modelChangeMutex

    // The owned objects, last so that they go before the members above, declared in the order
    // they are made and so deleted in the reverse one, which matters: those whose work may still
    // run on the pool or read the cache (the storage view, the previews, the bulk download) go
    // before the playlist and the pool, and the cache context and the keep settings it reads go
    // last, once nothing can read them.
    const std::unique_ptr<MediaKeepSetting> m_keepSetting;
    const std::unique_ptr<MediaCacheContext> m_cache;
    const std::unique_ptr<QThreadPool> m_threadPool;
    const std::unique_ptr<SearchServiceCmd> m_searchServiceCmd;
    const std::unique_ptr<MediaAudio> m_mediaAudio;
    const std::unique_ptr<PlaylistPublication> m_playlistPublication; // of m_mediaAudio
    const std::unique_ptr<MediaSync> m_mediaSync;                     // and a child, for QML
    const std::unique_ptr<MediaPreview> m_preview;
    const std::unique_ptr<MediaPreview> m_externalPreview;
    const std::unique_ptr<MediaStorageModel> m_storageModel; // and a child, for QML
};
