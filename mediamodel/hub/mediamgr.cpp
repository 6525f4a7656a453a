#include "mediamgr.h"

#include "accountbase.h"
#include "appsettingmodel.h"
#include "audio/playlists_p.h"
#include "cachefilestorage.h"
#include "cachelayout.h"
#include "constants.h"
#include "contentitem.h"
#include "contenttype.h"
#include "deletionrecord.h"
#include "dialogbase.h"
#include "filedatamgr.h"
#include "fileitem.h"
#include "filemanager.h"
#include "filereferencestorage.h"
#include "im.pb.h"
#include "loading/mediaresource.h"
#include "loading/mediaresourcemgr.h"
#include "mediaaudio.h"
#include "mediacachecontext_p.h"
#include "mediacalender.h"
#include "mediaexpiry.h"
#include "mediakeepsetting.h"
#include "mediamodellog_p.h"
#include "mediaplayer.h"
#include "mediapreview.h"
#include "mediaselector.h"
#include "mediastoragemodel.h"
#include "mediasync.h"
#include "mediautil.h"
#include "messagebase.h"
#include "modelbaseutil.h"
#include "ownerthread_p.h"
#include "resourcedata.h"
#include "resourceitem.h"
#include "resourcelinkitem.h"
#include "resourcemodel.h"
#include "retention/cachecleanup_p.h"
#include "searchservicecmd.h"
#include "streamserver.h"
#include "tempfilemgr.h"
#include "threadmanager.h"
#include "userstorageprovider.h"
#include "util.h"

#include <QCoreApplication>
#include <QJSEngine>
#include <QMutexLocker>
#include <QPromise>
#include <QRunnable>
#include <QSet>
#include <QThreadPool>
#include <QtConcurrent>

namespace {

constexpr int PREVIEW_WINDOW = 100;

// The pool task that runs an object's blocking shutdown and then disposes of it. The task holds
// the object, so that a task dropped from the queue by a clearing disposes of it all the same.
template<typename T>
std::function<void()> shutdownTask(T *object, void (T::*shutdown)(), void (*dispose)(T *))
{
    const std::shared_ptr<T> held(object, dispose);
    return [held, shutdown] {
        (held.get()->*shutdown)();
    };
}

// The ids of the messages of dialogId a selection holds, up to and including upTo (all for
// upTo < 1): a combined message by its own id, once, whatever number of its children is ticked.
QList<qint64> selectedIdsUpTo(const MediaSelector &selector, const QString &dialogId, qint64 upTo)
{
    QList<qint64> ids;
    for (const QSharedPointer<MessageBase> &msg : selector.selectMedias()) {
        const qint64 id = MediaUtil::makeMediaKey(msg).messageId;
        if (msg->dialogId() == dialogId && (upTo < 1 || id <= upTo) && !ids.contains(id)) {
            ids.append(id);
        }
    }
    return ids;
}

} // namespace

MediaMgr::MediaMgr(AccountBase *account)
    : QObject(account)
    , m_account(account)
    , m_keepSetting(std::make_unique<MediaKeepSetting>(account))
    , m_cache(std::make_unique<MediaCacheContext>(account, m_keepSetting.get()))
    , m_threadPool(std::make_unique<QThreadPool>())
    , m_searchServiceCmd(std::make_unique<SearchServiceCmd>(account))
    , m_mediaAudio(std::make_unique<MediaAudio>(account))
    , m_playlistPublication(
              std::make_unique<PlaylistPublication>(account->userId(), m_mediaAudio.get()))
    , m_mediaSync(std::make_unique<MediaSync>(*m_cache, this))
    , m_preview(std::make_unique<MediaPreview>(account, PREVIEW_WINDOW))
    , m_externalPreview(std::make_unique<MediaPreview>(account, PREVIEW_WINDOW))
    , m_storageModel(std::make_unique<MediaStorageModel>(*m_cache, this))
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
    m_threadPool->setObjectName(QStringLiteral("media_thread_pool"));
    m_threadPool->setMaxThreadCount(5);
    m_preview->setThreadPool(m_threadPool.get());
    m_externalPreview->setThreadPool(m_threadPool.get());
    connect(m_storageModel.get(), &MediaStorageModel::dialogSizeLoaded, this,
            &MediaMgr::dialogSizeLoaded);
    m_account->registerModel(modelName(), this);
    m_account->setStreamUrlProvider([](qint64 userId, const QString &fileId) {
        return network::StreamServer::instance()->getUrl(userId, fileId);
    });
}

// The owned objects go after the body, in the order their declaration states.
MediaMgr::~MediaMgr()
{
    m_account->registerModel(modelName(), nullptr);
    // A host may delete the hub without preparing it: a running cleanup stops at its next row
    // rather than holding the caller for a whole pass.
    stopCleanups();
    // Database parts of removals queued on the host's worker still name this hub.
    ThreadManager::waitForIdle();
    qDeleteAll(m_selectors);
    qDeleteAll(m_externSelectors);
}

QString MediaMgr::modelName()
{
    return QStringLiteral("MediaMgr");
}

bool MediaMgr::isMedia(int type)
{
    return MediaCacheContext::isMedia(type);
}

QString MediaMgr::mediaBaseDir(int type) const
{
    return m_cache->mediaBaseDir(type);
}

FileDataMgr *MediaMgr::fileDataMgr() const
{
    return m_cache->fileDataMgr();
}

storage::FileReferenceStorage *MediaMgr::fileReferenceDb() const
{
    return m_cache->fileReferences();
}

// ---- registries and lifecycle ----

MediaResourceMgr *MediaMgr::mediaResourceMgr(const QString &dialogId, bool bTopicParent,
                                             const QString &sourceDlgId)
{
    return resourceMgr(m_resourceMgrs, dialogId, bTopicParent, sourceDlgId);
}

MediaResourceMgr *MediaMgr::externMediaResourceMgr(const QString &dialogId, bool bTopicParent,
                                                   const QString &sourceDlgId)
{
    return resourceMgr(m_externResourceMgrs, dialogId, bTopicParent, sourceDlgId);
}

void MediaMgr::releaseResourceMgr(const QString &dialogId)
{
    releaseResourceMgr(m_resourceMgrs, dialogId);
}

void MediaMgr::releaseExternMediaResourceMgr(const QString &dialogId)
{
    releaseResourceMgr(m_externResourceMgrs, dialogId);
}

MediaResourceMgr *MediaMgr::resourceMgr(ResourceMgrHash &registry, const QString &dialogId,
                                        bool bTopicParent, const QString &sourceDlgId)
{
    if (MediaResourceMgr *mgr = registry.value(dialogId)) {
        if (mgr->sourceDlgId() == sourceDlgId) {
            return mgr;
        }
        releaseResourceMgr(registry, dialogId);
    }
    const QSharedPointer<DialogBase> dialog = m_account->dialog(dialogId);
    if (!dialog) {
        return nullptr;
    }
    auto *mgr = new MediaResourceMgr(m_account, dialog, bTopicParent, sourceDlgId);
    mgr->refresh();
    registry.insert(dialogId, mgr);
    return mgr;
}

void MediaMgr::releaseResourceMgr(ResourceMgrHash &registry, const QString &dialogId)
{
    MediaResourceMgr *mgr = registry.take(dialogId);
    if (mgr) {
        releaseResource(mgr);
    }
}

// The manager's loads may still run on their workers: they are waited for on the pool, and the
// manager is deleted on the main thread afterwards, never inside the caller's release.
void MediaMgr::releaseResource(MediaResourceMgr *mgr)
{
    mgr->quitView();
    runWithThread(shutdownTask(
            mgr, &MediaResourceMgr::waitForFinish, +[](MediaResourceMgr *done) {
                QMetaObject::invokeMethod(
                        QCoreApplication::instance(), [done] { delete done; },
                        Qt::QueuedConnection);
            }));
}

MediaCalender *MediaMgr::mediaCalender(const QString &dialogId)
{
    QMutexLocker locker(&m_mutex);
    if (MediaCalender *calendar = m_calendars.value(dialogId)) {
        return calendar;
    }
    const QSharedPointer<DialogBase> dialog = m_account->dialog(dialogId);
    if (!dialog) {
        return nullptr;
    }
    auto *calendar = new MediaCalender(m_account, dialog);
    calendar->setThreadPool(m_threadPool.get());
    m_calendars.insert(dialogId, calendar);
    locker.unlock();
    calendar->start();
    return calendar;
}

void MediaMgr::releaseMediaCalender(const QString &dialogId)
{
    QMutexLocker locker(&m_mutex);
    MediaCalender *calendar = m_calendars.take(dialogId);
    if (!calendar) {
        return;
    }
    runWithThread(shutdownTask(
            calendar, &MediaCalender::shutdown, +[](MediaCalender *done) { done->deleteLater(); }));
}

MediaResourceMgr *MediaMgr::findMediaResource(const QString &dialogId, bool bExtern) const
{
    return (bExtern ? m_externResourceMgrs : m_resourceMgrs).value(dialogId);
}

QList<MediaResourceMgr *> MediaMgr::resourceMgrsOf(const QString &dialogId) const
{
    QList<MediaResourceMgr *> mgrs;
    for (bool bExtern : {false, true}) {
        if (MediaResourceMgr *mgr = findMediaResource(dialogId, bExtern)) {
            mgrs.append(mgr);
        }
    }
    return mgrs;
}

void MediaMgr::runWithThread(std::function<void()> fn)
{
    m_threadPool->start(QRunnable::create(std::move(fn)));
}

void MediaMgr::initConnection()
{
    connect(AppSettingModel::instance(), &AppSettingModel::localCacheMaxSizeChanged, this,
            [this] { clearLocalMedia(); });
    // Reported on the network thread; the bulk download takes them on this one.
    connect(fileDataMgr(), &FileDataMgr::updateMediaSync, this, &MediaMgr::onUpdateMediaSync,
            Qt::QueuedConnection);
}

void MediaMgr::onUpdateMediaSync(const QString &fileId, bool succ)
{
    m_mediaSync->onFileFinished(fileId, succ);
}

void MediaMgr::loadLocalData(bool bFast)
{
    m_keepSetting->loadLocalData(bFast);
}

void MediaMgr::stopCleanups()
{
    QMutexLocker locker(&m_mutex);
    for (QFuture<void> *cleanup : {&m_localClearFuture, &m_focusClearFuture}) {
        if (!cleanup->isFinished()) {
            cleanup->cancel();
            cleanup->waitForFinished();
        }
    }
}

void MediaMgr::prepareToClearData(bool)
{
    setClearing(true);
    QMutexLocker locker(&m_mutex);
    stopCleanups();
    // The loaders first: a page of theirs still queued on the pool is run by their wait, whereas
    // clearing the pool would drop it and leave that wait without end.
    for (const ResourceMgrHash *registry : {&m_resourceMgrs, &m_externResourceMgrs}) {
        for (MediaResourceMgr *mgr : *registry) {
            mgr->quitView();
            mgr->waitForFinish();
        }
    }
    for (MediaCalender *calendar : std::as_const(m_calendars)) {
        calendar->shutdown();
    }
    m_storageModel->prepareToClear();
    m_preview->prepareToClearData();
    m_externalPreview->prepareToClearData();
    m_mediaSync->prepareToClearData();
    m_mediaAudio->prepareToClear();
    m_threadPool->clear();
    m_threadPool->waitForDone(-1);
}

void MediaMgr::clearData(bool)
{
    QMutexLocker locker(&m_mutex);
    qDeleteAll(m_resourceMgrs);
    m_resourceMgrs.clear();
    qDeleteAll(m_externResourceMgrs);
    m_externResourceMgrs.clear();
    qDeleteAll(m_calendars);
    m_calendars.clear();
    locker.unlock();
    clearSelectors();
    m_storageModel->clearAll();
    m_keepSetting->clear();
    m_preview->clearData();
    m_externalPreview->clearData();
    m_mediaSync->clearData();
    m_mediaAudio->clear();
}

void MediaMgr::getNewData()
{
    if (m_account->currentTime() - m_lastLocalClearTime <= ONE_DAY_MSEC) {
        return;
    }
    clearLocalMedia();
}

// ---- ingest ----

void MediaMgr::saveResources(const QString &dialogId, const QList<MediaInfo> &infos, bool bSilent)
{
    if (infos.isEmpty()) {
        return;
    }
    const QSharedPointer<DialogBase> dialog = m_account->dialog(dialogId);
    if (!dialog) {
        return;
    }
    QList<storage::FileReferenceInfo> rows;
    rows.reserve(infos.size());
    for (const MediaInfo &info : infos) {
        if (!info.msg) {
            continue;
        }
        const QSharedPointer<ContentItem> content = info.msg->contentItem();
        if (content && (isMedia(info.msg->type()) || content->hasUrl())) {
            updateMedia(rows, info, dialog, bSilent);
        }
        if (info.msg->quoteMessage()) {
            parseQuoteMsg(rows, info);
        }
    }
    if (!rows.isEmpty()) {
        fileReferenceDb()->save(rows);
    }
}

void MediaMgr::updateMedia(QList<storage::FileReferenceInfo> &rows, const MediaInfo &info,
                           QSharedPointer<DialogBase> dialog, bool bSilent)
{
    storage::FileReferenceInfo row;
    makeBaseInfo(row, info);
    const QSharedPointer<ContentItem> content = info.msg->contentItem();
    const bool hasUrl = content && content->hasUrl();
    if (!isMedia(info.msg->type()) && !hasUrl) {
        return;
    }
    const bool withdrawn = info.msg->isRevoked();
    const bool shown = isVisible(row, info, dialog) && !bSilent && !withdrawn;
    const bool replaced = !withdrawn && replaceEditedMedia(info, bSilent);
    if (hasUrl && !isClearing() && shown) {
        updateLinkModel(info, replaced ? DO_UPDATE : DO_ADD);
    }
    ResourceData data;
    if (!makeMediaInfo(row, data, content)) {
        return;
    }
    rows.append(std::move(row));
    if (isClearing()) {
        return;
    }
    if (replaced) {
        MediaPlayer::instance()->stop(rows.constLast().dialogId, MessageKey(info.messageId, 0));
    }
    if (shown) {
        updateMediaModel(info, replaced ? DO_UPDATE : DO_ADD, hasUrl);
    }
}

bool MediaMgr::isVisible(const storage::FileReferenceInfo &row, const MediaInfo &info,
                         const QSharedPointer<DialogBase> &dialog) const
{
    if (m_account->isHidden(row.dialogId)) {
        return false;
    }
    const QString quotedId = info.msg->referenceInfo().messageId;
    return !(dialog && !quotedId.isEmpty() && m_account->isHidden(quotedId));
}

// An edit that raised the message's edit counter past the stored copy's replaced its media: the
// old rows go before the new one is written in the same batch, and the lists replace the item.
bool MediaMgr::replaceEditedMedia(const MediaInfo &info, bool bSilent)
{
    if (!info.bContentReplaced) {
        return false;
    }
    const im::Message proto = info.msg->proto();
    if (proto.edit_version() <= proto.stored_edit_version()) {
        return false;
    }
    const QString dialogId = info.msg->dialogId();
    fileReferenceDb()->remove(dialogId, info.messageId);
    if (!bSilent) {
        removeMedia(dialogId, {info.messageId});
    }
    return true;
}

void MediaMgr::makeBaseInfo(storage::FileReferenceInfo &row, const MediaInfo &info) const
{
    row.dialogId = info.msg->dialogId();
    row.messageId = info.messageId;
    row.subMsgId = info.subMsgId;
    row.dateTime = info.dateTime;
}

bool MediaMgr::makeMediaInfo(storage::FileReferenceInfo &row, ResourceData &data,
                             QSharedPointer<ContentItem> content) const
{
    if (!content || !isMedia(content->type())) {
        return false;
    }
    const QSharedPointer<FileItem> file = qSharedPointerDynamicCast<FileItem>(content);
    if (!file || !file->sourceFilePtr()) {
        return false;
    }
    row.type = content->type();
    makeResourceData(file, data);
    row.fileId = data.fileId;
    if (!data.livePhotoId.isEmpty()) {
        row.thumbId = data.livePhotoId;
    }
    if (!data.thumbId.isEmpty()) {
        row.thumbId = data.thumbId;
    }
    data.serialize(row.data);
    return true;
}

void MediaMgr::parseQuoteMsg(QList<storage::FileReferenceInfo> &rows, const MediaInfo &info) const
{
    const QSharedPointer<MessageBase> quoted = info.msg->quoteMessage();
    storage::FileReferenceInfo row;
    makeBaseInfo(row, info);
    ResourceData data;
    if (!quoted || !makeMediaInfo(row, data, quoted->contentItem())) {
        return;
    }
    row.type |= storage::QUOTED_TYPE_FLAG;
    rows.append(std::move(row));
}

void MediaMgr::updateMediaModel(const MediaInfo &info, DoOperator op, bool bHasUrl)
{
    postModelUpdate(info, op, info.msg->type(), bHasUrl);
}

void MediaMgr::updateLinkModel(const MediaInfo &info, DoOperator op)
{
    postModelUpdate(info, op, CONTENT_TEXT, false);
}

// Ingest posts one of these per message, so the list of types is only made where it is applied.
void MediaMgr::postModelUpdate(const MediaInfo &info, DoOperator op, int mainType, bool bAlsoLinks)
{
    postModelChange([this, info, op, mainType, bAlsoLinks] {
        QList<int> listTypes {mainType};
        if (bAlsoLinks) {
            listTypes.append(CONTENT_TEXT);
        }
        for (MediaResourceMgr *mgr : resourceMgrsOf(info.msg->dialogId())) {
            for (int type : listTypes) {
                updateResourceModel(mgr, info, type, op, type == CONTENT_TEXT);
            }
        }
        for (MediaPreview *preview : {m_preview.get(), m_externalPreview.get()}) {
            updatePreviewModel(preview, info, op, listTypes);
        }
    });
}

void MediaMgr::postModelChange(std::function<void()> change)
{
    QMutexLocker locker(&m_modelChangeMutex);
    m_modelChanges.append(std::move(change));
    if (m_modelChanges.size() == 1) {
        QMetaObject::invokeMethod(this, &MediaMgr::applyModelChanges, Qt::QueuedConnection);
    }
}

void MediaMgr::applyModelChanges()
{
    QList<std::function<void()>> changes;
    {
        QMutexLocker locker(&m_modelChangeMutex);
        changes.swap(m_modelChanges);
    }
    for (const std::function<void()> &change : std::as_const(changes)) {
        change();
    }
}

// A gallery borrowed from another dialog (a source dialog id is set) shows only what it loaded
// itself: new items are not inserted there, replaced ones are. Items older than the loaded span
// are left to paging, which would otherwise bring them a second time; once the list holds its
// oldest item, no page is left to bring them (history synced from the server), and they go in.
void MediaMgr::updateResourceModel(MediaResourceMgr *mgr, const MediaInfo &info, int type,
                                   DoOperator op, bool bHasUrl)
{
    MediaResource *list = mgr->listOfType(type);
    if (!list) {
        return;
    }
    ResourceItem *item = bHasUrl ? new ResourceLinkItem(info) : new ResourceItem(info);
    ResourceModel *model = list->resourceModel();
    if (op == DO_UPDATE) {
        model->update(item);
    } else if (op == DO_ADD && mgr->sourceDlgId().isEmpty()
               && (list->hasLoadedOldest() || model->canInsert(item))) {
        model->insert(item);
    } else {
        delete item;
    }
}

// A preview of a search takes no new items: they might not match it. Media that left a message
// leave the preview too.
void MediaMgr::updatePreviewModel(MediaPreview *preview, const MediaInfo &info, DoOperator op,
                                  const QList<int> &listTypes)
{
    const QString dialogId = info.msg->dialogId();
    if (preview->dialogId() != dialogId) {
        return;
    }
    const int previewType = preview->listType();
    const bool typeMatches = std::any_of(listTypes.cbegin(), listTypes.cend(), [&](int type) {
        return MediaUtil::listTypeOf(type) == previewType;
    });
    if (!typeMatches) {
        if (op == DO_UPDATE) {
            preview->removeMessages(dialogId, {info.msg->msgId()});
        }
        return;
    }
    ResourceItem *item =
            previewType == CONTENT_TEXT ? new ResourceLinkItem(info) : new ResourceItem(info);
    if (op == DO_UPDATE) {
        preview->updateItem(item);
    } else if (op == DO_ADD && !preview->isShowingSearch()) {
        preview->insertItem(item);
    } else {
        delete item;
    }
}

// ---- files ----

bool MediaMgr::fileExist(int type, const QString &fileId, const QString &suffix) const
{
    return m_cache->fileExist(type, fileId, suffix);
}

bool MediaMgr::existsFileInLocal(const ResourceData &data, int type) const
{
    return m_cache->existsFileInLocal(data, type);
}

bool MediaMgr::allFileInLocal(const ResourceData &data, int type, qint64 &missingSize,
                              qint64 &missingExtraSize) const
{
    return m_cache->allFileInLocal(data, type, missingSize, missingExtraSize);
}

void MediaMgr::deleteFiles(int type, const ResourceData &data, bool bNotify)
{
    deleteResourceFiles(*m_cache, {{type, data}}, bNotify);
}

void MediaMgr::deleteMedias(const QList<storage::FileReferenceInfo> &rows)
{
    deleteUnnamedMedia(*m_cache, rows);
}

// ---- removal ----

void MediaMgr::removeResource(const QString &dialogId, const MessageIdRange &range, bool)
{
    stopPlayback(dialogId, [this, range](const QString &id) {
        MediaPlayer::instance()->stop(m_account->userId(), id, range);
    });
    removeFromModels(
            dialogId, [range](MediaResourceMgr *mgr) { mgr->removeMessages(range); },
            [dialogId, range](MediaPreview *preview) { preview->removeMessages(dialogId, range); });
    pruneSelectors([dialogId, range](MediaSelector *selector) {
        selector->removeSelecteds(dialogId, range);
    });
    deleteMedias(fileReferenceDb()->removeWithMessageRange(dialogId, range));
}

void MediaMgr::removeResource(const QString &dialogId, const QList<qint64> &messageIds, bool bWait)
{
    if (messageIds.isEmpty()) {
        return;
    }
    if (messageIds.size() == 1) {
        m_storageModel->messageRemoved(dialogId, messageIds.constFirst());
    }
    removeMedia(dialogId, messageIds);
    ThreadManager::invoke(
            [this, dialogId, messageIds] { removeRowsAndFiles(dialogId, messageIds); }, !bWait);
}

void MediaMgr::removeResource(const QString &dialogId, qint64 messageId)
{
    removeResource(dialogId, QList<qint64> {messageId}, false);
}

void MediaMgr::removeResourceBySenderId(const QString &dialogId, qint64 senderId, qint64 sinceTime,
                                        const QList<qint64> &messageIds)
{
    qCDebug(lcMedia) << "removing the media of sender" << senderId << "in" << dialogId << "since"
                     << sinceTime << ":" << messageIds.size() << "messages";
    // The sender's media up to the newest removed message go, listed or not.
    if (!messageIds.isEmpty()) {
        const qint64 newest = *std::max_element(messageIds.cbegin(), messageIds.cend());
        stopPlayback(dialogId, [senderId, newest](const QString &id) {
            MediaPlayer::instance()->stop(id, senderId, newest + 1);
        });
    }
    removeResource(dialogId, messageIds, false);
}

void MediaMgr::removeMedia(const QString &dialogId, const QList<qint64> &messageIds)
{
    stopPlayback(dialogId, [messageIds](const QString &id) {
        MediaPlayer::instance()->stop(id, messageIds);
    });
    removeFromModels(
            dialogId, [messageIds](MediaResourceMgr *mgr) { mgr->removeMessages(messageIds); },
            [dialogId, messageIds](MediaPreview *preview) {
                preview->removeMessages(dialogId, messageIds);
            });
    pruneSelectors([dialogId, messageIds](MediaSelector *selector) {
        selector->removeSelecteds(dialogId, messageIds);
    });
}

void MediaMgr::removeFromModels(const QString &dialogId,
                                std::function<void(MediaResourceMgr *)> fromGallery,
                                std::function<void(MediaPreview *)> fromPreview)
{
    postModelChange([this, dialogId, fromGallery, fromPreview] {
        for (MediaResourceMgr *mgr : resourceMgrsOf(dialogId)) {
            fromGallery(mgr);
        }
        for (MediaPreview *preview : {m_preview.get(), m_externalPreview.get()}) {
            fromPreview(preview);
        }
    });
}

void MediaMgr::stopPlayback(const QString &dialogId,
                            const std::function<void(const QString &)> &stop)
{
    stop(dialogId);
    const QSharedPointer<DialogBase> dialog = m_account->dialog(dialogId);
    if (dialog && dialog->dialogId() != dialogId) {
        stop(dialog->dialogId());
    }
}

void MediaMgr::removeRowsAndFiles(const QString &dialogId, const QList<qint64> &messageIds)
{
    deleteMedias(fileReferenceDb()->removeWithMessageIds(dialogId, messageIds));
}

void MediaMgr::clearMediaModel(const QString &dialogId, qint64 messageId, bool bClearSearch)
{
    // The history goes up to and including messageId; the player stops below a bound.
    stopPlayback(dialogId, [this, messageId](const QString &id) {
        if (messageId < 1) {
            MediaPlayer::instance()->stop(m_account->userId(), id);
        } else {
            MediaPlayer::instance()->stop(m_account->userId(), id, messageId + 1);
        }
    });
    removeFromModels(
            dialogId,
            [messageId, bClearSearch](MediaResourceMgr *mgr) {
                mgr->clearHistory(messageId, bClearSearch);
            },
            [dialogId, messageId](MediaPreview *preview) {
                preview->clearHistory(dialogId, messageId);
            });
    pruneSelectors([dialogId, messageId](MediaSelector *selector) {
        selector->removeSelecteds(dialogId, selectedIdsUpTo(*selector, dialogId, messageId));
    });
}

void MediaMgr::clearResourceDB(const QString &dialogId, qint64 time)
{
    m_account->fileManager()->tempFileMgr()->cancelDownloading(dialogId);
    ThreadManager::invoke([this, dialogId,
                           time] { deleteMedias(fileReferenceDb()->removeBefore(dialogId, time)); },
                          true);
}

// ---- cleanup ----

void MediaMgr::clearLocalMedia()
{
    QMutexLocker locker(&m_mutex);
    if (!m_localClearFuture.isFinished() || isClearing()) {
        return;
    }
    const qint64 now = m_account->currentTime();
    const MediaExpiry::Limits limits = MediaExpiry::limitsAt(*m_cache, now);
    m_lastLocalClearTime = now;
    const MediaCacheContext *cache = m_cache.get();
    m_localClearFuture = QtConcurrent::run([this, cache, limits](QPromise<void> &promise) {
        MediaExpiry expiry(*cache, limits);
        expiry.setCancel([&promise] { return promise.isCanceled(); });
        const MediaExpiry::Summary summary = expiry.run();
        if (!summary.bCancelled && !summary.bFailed) {
            clearTempFiles(*cache);
            runOnOwnerThread(this, [this] { Q_EMIT localMediaCleared(); });
        }
    });
}

void MediaMgr::onAppIsActive(bool isActive)
{
    QMutexLocker locker(&m_mutex);
    if (isActive || !m_focusClearFuture.isFinished() || isClearing()
        || !m_keepSetting->hasFocusLossDefault()) {
        return;
    }
    const MediaCacheContext *cache = m_cache.get();
    m_focusClearFuture = QtConcurrent::run([this, cache](QPromise<void> &promise) {
        if (clearFocusLostMedia(*cache, [&promise] { return promise.isCanceled(); })) {
            runOnOwnerThread(this, [this] { Q_EMIT focusLostMediaCleared(); });
        }
    });
}

// ---- selections and single-item actions ----

MediaSelector *MediaMgr::mediaSelector(const QString &dialogId)
{
    return selector(m_selectors, dialogId);
}

MediaSelector *MediaMgr::externMediaSelector(const QString &dialogId)
{
    return selector(m_externSelectors, dialogId);
}

void MediaMgr::releaseMediaSelector(const QString &dialogId)
{
    releaseSelector(m_selectors, dialogId);
}

void MediaMgr::releaseExternMediaSelector(const QString &dialogId)
{
    releaseSelector(m_externSelectors, dialogId);
}

MediaSelector *MediaMgr::selector(QHash<QString, MediaSelector *> &registry,
                                  const QString &dialogId)
{
    QMutexLocker locker(&m_mutex);
    if (MediaSelector *held = registry.value(dialogId)) {
        return held;
    }
    auto *made = new MediaSelector(m_account, dialogId, nullptr);
    registry.insert(dialogId, made);
    return made;
}

// QML may still hold the selection while the release runs: it is emptied at once and deleted
// once control is back in the event loop.
void MediaMgr::releaseSelector(QHash<QString, MediaSelector *> &registry, const QString &dialogId)
{
    QMutexLocker locker(&m_mutex);
    MediaSelector *released = registry.take(dialogId);
    if (!released) {
        return;
    }
    released->clearSelected();
    released->deleteLater();
}

// Selections live on the main thread, where the pruning is posted to. Every selection is
// pruned, not only the dialog's own: a selection across dialogs (over search results) holds
// entries of any dialog, and pruning a dialog a selection has no entries of changes nothing.
// The registry lock is held only to collect them, so that a view reacting to the counters may
// call back into the hub.
void MediaMgr::pruneSelectors(std::function<void(MediaSelector *)> prune)
{
    postModelChange([this, prune] {
        QList<MediaSelector *> selectors;
        {
            QMutexLocker locker(&m_mutex);
            selectors = m_selectors.values() + m_externSelectors.values();
        }
        for (MediaSelector *selector : std::as_const(selectors)) {
            prune(selector);
        }
    });
}

void MediaMgr::clearSelectors()
{
    QMutexLocker locker(&m_mutex);
    for (QHash<QString, MediaSelector *> *registry : {&m_selectors, &m_externSelectors}) {
        for (MediaSelector *held : std::as_const(*registry)) {
            held->clearSelected();
            delete held;
        }
        registry->clear();
    }
}

void MediaMgr::forwardMessage(ResourceItem *item, const QVariantMap &data)
{
    if (!item || !item->msgDataPtr()) {
        return;
    }
    m_account->forwardMessages({item->msgDataPtr()}, data);
}

QVariantMap MediaMgr::revokeInfo(ResourceItem *item)
{
    QVariantMap info;
    if (item && item->msgDataPtr()) {
        info.insert(item->dialogId(), QVariantList {item->msgDataPtr()->revokeValue()});
    }
    return info;
}

void MediaMgr::deleteMessage(ResourceItem *item, bool bRevocable)
{
    if (!item || !item->msgDataPtr()) {
        return;
    }
    QMap<QString, QList<DeletionRecord>> records;
    records.insert(item->dialogId(), {item->msgDataPtr()->makeDeletionRecord()});
    m_account->deleteMessages(records, bRevocable);
}
