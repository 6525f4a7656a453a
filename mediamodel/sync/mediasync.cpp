#include "mediasync.h"

#include "accountbase.h"
#include "constants.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "downloadfilemgr.h"
#include "filedata.h"
#include "fileitem.h"
#include "filemanager.h"
#include "filereferencestorage.h"
#include "mediacachecontext_p.h"
#include "mediachatitem.h"
#include "mediachatmodel.h"
#include "mediachatselectmodel.h"
#include "mediamodellog_p.h"
#include "messagebase.h"
#include "networkusagemodel.h"
#include "notifyingsetter_p.h"
#include "ownerthread_p.h"
#include "resourcedata.h"
#include "resourcestorage.h"
#include "userstorageprovider.h"

#include <QJSEngine>
#include <QMutexLocker>
#include <QThreadPool>
#include <QtConcurrent>

namespace {

// The account's chat query takes a mask of kinds: private and group chats alike.
constexpr int ALL_CHAT_KINDS = 3;

enum ChatTypeFilter { CHATS_ALL = 0, CHATS_GROUP = 1, CHATS_PRIVATE = 2 };

// The content types whose files the file-reference table names.
const QList<int> &cachedTypes()
{
    static const QList<int> types {CONTENT_PHOTO, CONTENT_VOICE, CONTENT_VIDEO, CONTENT_FILE};
    return types;
}

} // namespace

MediaSync::MediaSync(const MediaCacheContext &cache, QObject *parent)
    : QObject(parent)
    , m_cache(cache)
    , m_account(cache.account())
    , m_syncChats(new MediaChatModel(this))
    , m_selectChats(new MediaChatSelectModel(this))
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
    QJSEngine::setObjectOwnership(m_syncChats, QJSEngine::CppOwnership);
    QJSEngine::setObjectOwnership(m_selectChats, QJSEngine::CppOwnership);
}

MediaSync::~MediaSync()
{
    waitForRecount();
    disconnectSpeed();
}

// ---- chats ----

qint64 MediaSync::cutOff(int timeType) const
{
    static const qint64 periods[] = {0, ONE_DAY_MSEC, ONE_WEEK_MSEC, ONE_MONTH_MSEC, ONE_YEAR_MSEC};
    if (timeType <= 0 || timeType >= int(std::size(periods))) {
        return 0;
    }
    return m_account->currentTime() - periods[timeType];
}

void MediaSync::initModel(int chatTimeType, int fileTimeType)
{
    m_quitting = false;
    m_chatTimeType = chatTimeType;
    m_fileTimeType = fileTimeType;
    m_chatType = CHATS_ALL;
    m_keyword.clear();
    queryChats();
}

void MediaSync::filterWithKeyword(const QString &keyword)
{
    if (m_keyword == keyword) {
        return;
    }
    m_keyword = keyword;
    queryChats();
}

void MediaSync::filterWithChatType(int chatType)
{
    if (m_chatType == chatType) {
        return;
    }
    m_chatType = chatType;
    showChats();
}

void MediaSync::filterWithChatTimeType(int timeType)
{
    if (m_chatTimeType == timeType) {
        return;
    }
    m_chatTimeType = timeType;
    queryChats();
}

void MediaSync::filterWithFileTimeType(int timeType)
{
    if (m_fileTimeType == timeType) {
        return;
    }
    m_fileTimeType = timeType;
    startRecount();
}

// Chats the user selected stay, with their check boxes and sizes, even when a new query no longer
// lists them: the selection is what the run downloads.
void MediaSync::queryChats()
{
    const QList<QSharedPointer<DialogBase>> dialogs =
            m_account->searchDialogs(m_keyword, cutOff(m_chatTimeType), ALL_CHAT_KINDS);
    QList<MediaChatItem *> items;
    m_queriedIds.clear();
    for (const QSharedPointer<DialogBase> &dialog : dialogs) {
        items.append(chatItem(dialog));
        m_queriedIds.append(dialog->dialogId());
    }
    dropUnusedItems(QSet<QString>(m_queriedIds.cbegin(), m_queriedIds.cend()));
    QList<MediaChatItem *> shown;
    for (MediaChatItem *item : std::as_const(items)) {
        if (isShown(item)) {
            shown.append(item);
        }
    }
    m_syncChats->resetItems(shown);
    startRecount();
}

MediaChatItem *MediaSync::chatItem(const QSharedPointer<DialogBase> &dialog)
{
    MediaChatItem *&item = m_chats[dialog->dialogId()];
    if (!item) {
        item = new MediaChatItem(dialog, this);
        QJSEngine::setObjectOwnership(item, QJSEngine::CppOwnership);
        // Unchecking every kind of a chat hides it, checking one shows it again.
        connect(item, &MediaChatItem::totalSizeChanged, this, &MediaSync::showChats);
    }
    return item;
}

void MediaSync::dropUnusedItems(const QSet<QString> &keep)
{
    for (auto it = m_chats.begin(); it != m_chats.end();) {
        if (keep.contains(it.key()) || it.value()->isSelected()) {
            ++it;
            continue;
        }
        // Deleted later: QML may still hold the item for the frame being drawn.
        it.value()->disconnect(this);
        it.value()->deleteLater();
        m_chatFiles.remove(it.key());
        it = m_chats.erase(it);
    }
}

bool MediaSync::isShown(const MediaChatItem *item) const
{
    const DialogBase *dialog = item->dialog();
    if (!dialog || (m_chatType == CHATS_GROUP && !dialog->isGroup())
        || (m_chatType == CHATS_PRIVATE && dialog->isGroup())) {
        return false;
    }
    return item->isQuerying() || item->totalSize() > 0;
}

void MediaSync::showChats()
{
    QList<MediaChatItem *> shown;
    for (const QString &dialogId : std::as_const(m_queriedIds)) {
        MediaChatItem *item = m_chats.value(dialogId);
        if (item && isShown(item)) {
            shown.append(item);
        }
    }
    m_syncChats->showItems(shown);
}

void MediaSync::startRecount()
{
    if (m_recountCancelled) {
        m_recountCancelled->store(true);
    }
    m_recountCancelled = std::make_shared<std::atomic<bool>>(false);
    const int generation = ++m_recountGeneration;
    for (const QString &dialogId : std::as_const(m_queriedIds)) {
        m_chats.value(dialogId)->setQuerying(true);
    }
    m_syncChats->setQuerying(true);
    const QList<QString> dialogIds = m_queriedIds;
    const qint64 fileCutOff = cutOff(m_fileTimeType);
    const std::shared_ptr<std::atomic<bool>> cancelled = m_recountCancelled;
    const MediaCacheContext *cache = &m_cache;
    m_recount = QtConcurrent::run(QThreadPool::globalInstance(), [=] {
        const QList<ChatCount> counts = countChats(*cache, dialogIds, fileCutOff, cancelled);
        if (cancelled->load()) {
            return;
        }
        runOnOwnerThread(this, [this, generation, counts] { applyCounts(generation, counts); });
    });
}

// Pool thread: reads the tables and the disk only.
QList<MediaSync::ChatCount>
MediaSync::countChats(const MediaCacheContext &cache, const QList<QString> &dialogIds,
                      qint64 fileCutOff, const std::shared_ptr<std::atomic<bool>> &cancelled)
{
    QList<ChatCount> counts;
    for (const QString &dialogId : dialogIds) {
        if (cancelled->load()) {
            break;
        }
        const QSharedPointer<DialogBase> dialog = cache.account()->dialog(dialogId);
        if (!dialog) {
            continue;
        }
        ChatCount count {dialogId, {}};
        QSet<QString> seen;
        addCachedFiles(cache, *dialog, fileCutOff, seen, count.files);
        addMusicFiles(cache, dialog, fileCutOff, cancelled, seen, count.files);
        counts.append(count);
    }
    return counts;
}

// Photos, videos, voice and files: their file-reference rows name the files, with the
// thumbnail and the live-photo video of each, which count with the resource's kind.
void MediaSync::addCachedFiles(const MediaCacheContext &cache, const DialogBase &dialog,
                               qint64 fileCutOff, QSet<QString> &seen, QList<SyncFile> &files)
{
    const QList<storage::FileReferenceInfo> rows =
            cache.fileReferences()->infosWithDialog(dialog.dialogId(), fileCutOff, cachedTypes());
    for (const storage::FileReferenceInfo &row : rows) {
        if (row.messageId < dialog.firstVisibleMsgId() || seen.contains(row.fileId)) {
            continue;
        }
        seen.insert(row.fileId);
        ResourceData data;
        data.deserialize(row.data);
        qint64 missingSize = 0;
        qint64 missingExtraSize = 0;
        cache.allFileInLocal(data, row.type, missingSize, missingExtraSize);
        const int kind = MediaChatItem::kindOfType(row.type);
        if (missingSize > 0) {
            files.append({data.fileId, dialog.dialogId(), kind, missingSize});
        }
        if (missingExtraSize > 0) {
            addMissingFile(cache, CONTENT_PHOTO, data.thumbSuffix,
                           {data.thumbId, dialog.dialogId(), kind, data.thumbSize}, seen, files);
            addMissingFile(cache, CONTENT_VIDEO, data.livePhotoSuffix,
                           {data.livePhotoId, dialog.dialogId(), kind, data.livePhotoSize}, seen,
                           files);
        }
    }
}

// The folders are those allFileInLocal looks in.
void MediaSync::addMissingFile(const MediaCacheContext &cache, int folderType,
                               const QString &suffix, const SyncFile &file, QSet<QString> &seen,
                               QList<SyncFile> &files)
{
    if (file.fileId.isEmpty() || file.size < 1 || seen.contains(file.fileId)
        || cache.fileExist(folderType, file.fileId, suffix)) {
        return;
    }
    seen.insert(file.fileId);
    files.append(file);
}

// Music is not kept in the file-reference table; its files are those of the messages that the
// resource table lists as music.
void MediaSync::addMusicFiles(const MediaCacheContext &cache,
                              const QSharedPointer<DialogBase> &dialog, qint64 fileCutOff,
                              const std::shared_ptr<std::atomic<bool>> &cancelled,
                              QSet<QString> &seen, QList<SyncFile> &files)
{
    storage::ResourceSearchInfo page;
    page.types = {CONTENT_MUSIC};
    page.startTime = fileCutOff;
    page.count = LOAD_MAX_COUNT;
    storage::ResourceStorage *resources = cache.account()->storage()->resourceStorage();
    while (!cancelled->load()) {
        const QList<storage::ResourceInfo> rows = resources->infosBefore(dialog->dialogId(), page);
        QList<MessageKey> keys;
        for (const storage::ResourceInfo &row : rows) {
            if (row.messageId >= dialog->firstVisibleMsgId()) {
                keys.append(MessageKey(row.messageId, row.subMsgId));
            }
        }
        for (const QSharedPointer<MessageBase> &message : dialog->messages(keys)) {
            const QSharedPointer<FileItem> content =
                    message ? message->contentItem().dynamicCast<FileItem>() : nullptr;
            const QSharedPointer<FileData> file = content ? content->sourceFilePtr() : nullptr;
            if (!file || seen.contains(file->fileId()) || file->size() < 1) {
                continue;
            }
            seen.insert(file->fileId());
            if (!file->isComplete()) {
                files.append({file->fileId(), dialog->dialogId(), MediaChatItem::KIND_AUDIO,
                              file->size()});
            }
        }
        if (rows.size() < page.count) {
            break;
        }
        page.time = rows.constLast().dateTime - 1;
        page.msgId = rows.constLast().messageId - 1;
    }
}

void MediaSync::applyCounts(int generation, const QList<ChatCount> &counts)
{
    if (generation != m_recountGeneration) {
        return;
    }
    m_recount = {};
    for (const ChatCount &count : counts) {
        MediaChatItem *item = m_chats.value(count.dialogId);
        if (!item) {
            continue;
        }
        std::array<qint64, MediaChatItem::KIND_COUNT> sizes {};
        for (const SyncFile &file : count.files) {
            sizes[file.kind] += file.size;
        }
        m_chatFiles.insert(count.dialogId, count.files);
        for (int kind = 0; kind < MediaChatItem::KIND_COUNT; ++kind) {
            item->setSize(kind, sizes[kind]);
        }
        item->setQuerying(false);
    }
    m_syncChats->setQuerying(false);
    if (m_quitting) {
        resetView();
        return;
    }
    showChats();
}

void MediaSync::waitForRecount()
{
    if (m_recountCancelled) {
        m_recountCancelled->store(true);
    }
    m_recount.waitForFinished();
    m_recount = {};
}

void MediaSync::quitView()
{
    m_quitting = true;
    if (m_recount.isRunning()) {
        return; // the recount's result resets the view
    }
    resetView();
}

void MediaSync::resetView()
{
    m_quitting = false;
    m_syncChats->resetItems({});
    m_selectChats->resetItems({});
    m_syncChats->setCheckedAll(false);
    m_queriedIds.clear();
    QMutexLocker locker(&m_mutex);
    for (MediaChatItem *item : std::as_const(m_chats)) {
        item->disconnect(this);
        item->deleteLater();
    }
    m_chats.clear();
    m_chatFiles.clear();
}

// ---- selection ----

void MediaSync::updateSelected(MediaChatItem *item)
{
    if (item) {
        setSelected(item, !item->isSelected());
    }
}

void MediaSync::updateSubSelected(MediaChatItem *item, int msgType)
{
    if (item) {
        item->toggleChecked(msgType);
    }
}

void MediaSync::removeSelect(MediaChatItem *item)
{
    if (item) {
        setSelected(item, false);
    }
}

void MediaSync::selectAll(bool bChecked)
{
    m_syncChats->setCheckedAll(bChecked);
    for (MediaChatItem *item : m_syncChats->items()) {
        setSelected(item, bChecked);
    }
}

void MediaSync::setSelected(MediaChatItem *item, bool bSelect)
{
    item->setSelected(bSelect);
    if (bSelect) {
        m_selectChats->addItem(item);
    } else {
        m_selectChats->removeItem(item);
    }
}

// ---- runs ----

void MediaSync::setSyncState(int syncState)
{
    setAndNotify(this, m_syncState, syncState, &MediaSync::syncStateChanged);
}

double MediaSync::progress() const
{
    QMutexLocker locker(&m_mutex);
    return m_totalCount == 0 ? 0.0 : double(m_doneCount) / double(m_totalCount);
}

int MediaSync::totalCount() const
{
    QMutexLocker locker(&m_mutex);
    return m_totalCount;
}

int MediaSync::doneCount() const
{
    QMutexLocker locker(&m_mutex);
    return m_doneCount;
}

int MediaSync::inFlightCount() const
{
    QMutexLocker locker(&m_mutex);
    return int(m_inFlight.size());
}

int MediaSync::failedCount() const
{
    QMutexLocker locker(&m_mutex);
    return int(m_failed.size());
}

void MediaSync::readySync()
{
    QMutexLocker locker(&m_mutex);
    clearRun();
    setSyncState(SYNC_READY);
    QSet<QString> taken;
    for (const MediaChatItem *item : m_selectChats->items()) {
        for (const SyncFile &file : m_chatFiles.value(item->dialogId())) {
            if (item->isChecked(file.kind) && !taken.contains(file.fileId)) {
                taken.insert(file.fileId);
                m_files.append(file);
            }
        }
    }
    m_waiting = m_files;
    m_totalCount = qint32(m_files.size());
    locker.unlock();
    Q_EMIT progressChanged();
    setRemainingSize(m_selectChats->totalSize());
    setRemainingTime(m_remainingSize / ONE_MB + 1);
}

void MediaSync::download()
{
    setRemainingTime(estimatedSeconds(m_remainingSize));
    connectSpeed();
    setSyncState(SYNC_DOWNLOADING);
    pump();
}

void MediaSync::pump()
{
    if (m_syncState == SYNC_PAUSED || m_syncState == SYNC_CANCELLED) {
        return;
    }
    QMutexLocker locker(&m_mutex);
    if (!m_account->canDownload()) {
        if (m_inFlight.isEmpty()) {
            qCInfo(lcMedia) << "bulk download stopped: the account cannot download now";
            endWithFailure();
        }
        return;
    }
    while (!m_waiting.isEmpty() && m_inFlight.size() < MAX_IN_FLIGHT) {
        startFile(m_waiting.takeFirst());
    }
    if (isRunEnded()) {
        endRun();
    }
}

void MediaSync::startFile(const SyncFile &file)
{
    const QSharedPointer<FileData> data =
            m_account->fileManager()->filePtrWithId(file.fileId, true);
    if (!data) {
        qCWarning(lcMedia) << "bulk download: no file record for" << file.fileId;
        m_failed.append(file);
        return;
    }
    if (data->isComplete()) {
        finishFile(file);
        return;
    }
    m_inFlight.insert(file.fileId, file);
    m_account->fileManager()->downloadFileMgr()->download(data, false, DOWNLOAD_SYNC);
}

void MediaSync::onFileFinished(const QString &fileId, bool succ)
{
    QMutexLocker locker(&m_mutex);
    const auto found = m_inFlight.constFind(fileId);
    if (found == m_inFlight.cend()) {
        return; // not ours, or the run was cancelled
    }
    const SyncFile file = found.value();
    m_inFlight.erase(found);
    if (succ) {
        finishFile(file);
    } else {
        qCInfo(lcMedia) << "bulk download: file failed" << fileId;
        m_failed.append(file);
    }
    pump();
}

void MediaSync::finishFile(const SyncFile &file)
{
    ++m_doneCount;
    forgetChatFile(file);
    setRemainingSize(qMax<qlonglong>(0, m_remainingSize - file.size));
    // Between two speed samples the estimate follows the bytes that arrived.
    setRemainingTime(estimatedSeconds(qMax<qint64>(0, m_remainingSize - bytesInFlight())));
    Q_EMIT progressChanged();
}

// The file is on disk now: no chat that names it needs it any more.
void MediaSync::forgetChatFile(const SyncFile &file)
{
    for (auto it = m_chatFiles.begin(); it != m_chatFiles.end(); ++it) {
        QList<SyncFile> &files = it.value();
        for (qsizetype i = files.size() - 1; i >= 0; --i) {
            if (files.at(i).fileId != file.fileId) {
                continue;
            }
            if (MediaChatItem *item = m_chats.value(it.key())) {
                const int kind = files.at(i).kind;
                item->setSize(kind, qMax<qlonglong>(0, item->size(kind) - files.at(i).size));
            }
            files.removeAt(i);
        }
    }
}

// Every file of the run has reported. With files shared by several selected chats the selected
// total counts them more than once, so the end is judged by the files, not by the bytes.
bool MediaSync::isRunEnded() const
{
    return m_syncState == SYNC_DOWNLOADING && m_waiting.isEmpty() && m_inFlight.isEmpty();
}

void MediaSync::endRun()
{
    disconnectSpeed();
    if (!m_failed.isEmpty()) {
        endWithFailure();
        return;
    }
    setRemainingSize(0);
    setRemainingTime(0);
    setSyncState(SYNC_FINISHED);
}

void MediaSync::endWithFailure()
{
    disconnectSpeed();
    setSyncState(SYNC_FAILED);
    m_remainingTime = -1;
    Q_EMIT remainingTimeChanged();
}

void MediaSync::pause()
{
    QMutexLocker locker(&m_mutex);
    if (m_syncState == SYNC_PAUSED) {
        for (const SyncFile &file : std::as_const(m_inFlight)) {
            const QSharedPointer<FileData> data =
                    m_account->fileManager()->filePtrWithId(file.fileId, true);
            m_account->fileManager()->downloadFileMgr()->download(data, false, DOWNLOAD_SYNC);
        }
        setSyncState(SYNC_DOWNLOADING);
        pump();
    } else if (m_syncState == SYNC_DOWNLOADING) {
        stopInFlight();
        setSyncState(SYNC_PAUSED);
    }
}

void MediaSync::cancel()
{
    disconnectSpeed();
    setSyncState(SYNC_CANCELLED);
    QMutexLocker locker(&m_mutex);
    stopInFlight();
    m_waiting.clear();
    m_inFlight.clear();
    m_failed.clear();
}

// A run stopped because the account could not download has its unstarted files still waiting:
// they go on as well as the failed ones.
void MediaSync::retry()
{
    if (!m_account->canDownload()) {
        qCInfo(lcMedia) << "bulk download retry refused: the account cannot download now";
        return;
    }
    QMutexLocker locker(&m_mutex);
    if (m_failed.isEmpty() && m_waiting.isEmpty()) {
        return;
    }
    m_waiting.append(m_failed);
    m_failed.clear();
    setRemainingTime(estimatedSeconds(m_remainingSize));
    connectSpeed();
    setSyncState(SYNC_DOWNLOADING);
    pump();
}

// Bytes of the files still running count as fetched; finished files left remainingSize already.
void MediaSync::onDownloadSpeed(qlonglong speed)
{
    const qint64 rest = qMax<qint64>(0, m_remainingSize - bytesInFlight());
    m_remainingTime = rest / qMax<qint64>(speed, MIN_SPEED);
    Q_EMIT remainingTimeChanged();
}

qint64 MediaSync::bytesInFlight() const
{
    QMutexLocker locker(&m_mutex);
    qint64 bytes = 0;
    for (const SyncFile &file : m_inFlight) {
        const QSharedPointer<FileData> data =
                m_account->fileManager()->filePtrWithId(file.fileId, false);
        if (!data) {
            continue;
        }
        const int state = data->fileState();
        bytes += state == BaseFile::StateDone || state == BaseFile::StateLocal
                ? file.size
                : file.size * data->percent() / 100;
    }
    return bytes;
}

// Before the first sample of a run the speed reads 0; the first estimate of one megabyte per
// second stands until a speed is measured.
qlonglong MediaSync::estimatedSeconds(qint64 bytes) const
{
    const qint64 speed = NetworkUsageModel::instance()->downloadSpeed();
    return speed > 0 ? bytes / qMax<qint64>(speed, MIN_SPEED) : bytes / ONE_MB + 1;
}

void MediaSync::connectSpeed()
{
    if (!m_speedConnection) {
        m_speedConnection =
                connect(NetworkUsageModel::instance(), &NetworkUsageModel::downloadSpeedChanged,
                        this, &MediaSync::onDownloadSpeed, Qt::QueuedConnection);
    }
}

void MediaSync::disconnectSpeed()
{
    if (m_speedConnection) {
        disconnect(m_speedConnection);
        m_speedConnection = {};
    }
}

// Partial files stay, so that a later run continues them; they are never taken as complete.
void MediaSync::stopInFlight()
{
    for (const QString &fileId : m_inFlight.keys()) {
        m_account->fileManager()->stopFile(fileId, 0, 0, DOWNLOAD_SYNC);
    }
}

void MediaSync::clearRun()
{
    m_files.clear();
    m_waiting.clear();
    m_inFlight.clear();
    m_failed.clear();
    m_totalCount = 0;
    m_doneCount = 0;
}

void MediaSync::setRemainingSize(qlonglong size)
{
    setAndNotify(this, m_remainingSize, size, &MediaSync::remainingSizeChanged);
}

void MediaSync::setRemainingTime(qlonglong seconds)
{
    setAndNotify(this, m_remainingTime, seconds, &MediaSync::remainingTimeChanged);
}

// ---- teardown ----

void MediaSync::prepareToClearData()
{
    if (m_syncState == SYNC_DOWNLOADING || m_syncState == SYNC_PAUSED) {
        cancel();
    }
    waitForRecount();
}

void MediaSync::clearData()
{
    waitForRecount();
    {
        QMutexLocker locker(&m_mutex);
        clearRun();
    }
    resetView();
}
