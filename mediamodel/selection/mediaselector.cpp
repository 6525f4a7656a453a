#include "mediaselector.h"

#include "accountbase.h"
#include "contentitem.h"
#include "contenttype.h"
#include "deletionrecord.h"
#include "filedata.h"
#include "fileitem.h"
#include "filemanager.h"
#include "itempoint.h"
#include "mediamodellog_p.h"
#include "mediautil.h"
#include "messagebase.h"
#include "modelbaseutil.h"
#include "resourceitem.h"
#include "resourcemodel.h"
#include "selection/mediaselectinfo.h"
#include "util.h"

#include <QFileInfo>
#include <QJSEngine>
#include <QUrl>
#include <limits>

namespace {

const QPoint NoPoint(-1, -1);

bool precedes(const QPoint &p, const QPoint &q)
{
    return ItemPoint(p) < ItemPoint(q);
}

bool isUsable(const QSharedPointer<MessageBase> &msg)
{
    return msg && !msg->isExcluded();
}

// Built on first use, so the texts are those of the language active then.
QString mediaTypeDesc(int type)
{
    static const QHash<int, QString> texts {
            {CONTENT_PHOTO, qtTrId("mediamgr_forward_photo")},
            {CONTENT_VIDEO, qtTrId("mediamgr_forward_video")},
            {CONTENT_VOICE, qtTrId("mediamgr_forward_audio")},
            {CONTENT_MUSIC, qtTrId("mediamgr_forward_music")},
            {CONTENT_FILE, qtTrId("mediamgr_forward_file")},
    };
    return texts.value(type);
}

QString textOf(const QSharedPointer<MessageBase> &msg)
{
    const QSharedPointer<ContentItem> content = msg->contentItem();
    return content ? content->content() : QString();
}

} // namespace

MediaSelector::MediaSelector(AccountBase *account, const QString &dialogId, QObject *parent)
    : QObject(parent)
    , m_account(account)
    , m_dialogId(dialogId)
    , m_global(dialogId.isEmpty())
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

MediaSelector::~MediaSelector() = default;

// ---- ticking ----

void MediaSelector::changeSelected(ResourceItem *item)
{
    changeSelected(item, std::nullopt);
}

void MediaSelector::changeSelected(ResourceItem *item, bool bChecked)
{
    changeSelected(item, std::optional<bool>(bChecked));
}

// Without bChecked the item toggles. An untick of an item that is not ticked leaves an empty
// list under its dialog; it counts nothing and stays until the selection is cleared.
void MediaSelector::changeSelected(ResourceItem *item, std::optional<bool> bChecked)
{
    if (!item || !item->msgDataPtr()) {
        return;
    }
    const QSharedPointer<MessageBase> msg = item->msgDataPtr();
    auto entries = m_selection.find(item->dialogId());
    if (entries == m_selection.end()) {
        entries = m_selection.insert(item->dialogId(), {});
    }
    int index = 0;
    const bool ticked = MediaUtil::find(*entries, item->mediaKey(), index);
    if (bChecked && *bChecked == ticked) {
        return;
    }
    const int step = ticked ? -1 : 1;
    if (ticked) {
        entries->removeAt(index);
        dropIfEmpty(entries);
    } else {
        entries->insert(index, MediaSelectInfo(item->mediaKey(), msg));
    }
    m_selectCount += step;
    if (msg->canForward(m_global)) {
        m_forwardableCount += step;
        Q_EMIT forwardableCountChanged();
    }
    if (item->subMsgId() > 0) {
        m_selectChildCount += step;
        Q_EMIT selectChildCountChanged();
    }
    Q_EMIT selectCountChanged();
}

// ---- range gestures ----

void MediaSelector::beginSelect()
{
    m_anchor = NoPoint;
    m_lastEnd = NoPoint;
}

void MediaSelector::endSelect()
{
    beginSelect();
}

void MediaSelector::changeSelects(ResourceModel *resourceModel, QPoint startPos, QPoint endPos)
{
    changeSelects(resourceModel, startPos, endPos, std::nullopt);
}

void MediaSelector::changeSelects(ResourceModel *resourceModel, QPoint startPos, QPoint endPos,
                                  bool bChecked)
{
    changeSelects(resourceModel, startPos, endPos, std::optional<bool>(bChecked));
}

void MediaSelector::changeSelects(ResourceModel *model, QPoint startPos, QPoint endPos,
                                  std::optional<bool> bChecked)
{
    if (!model || startPos.x() < 0 || startPos.y() < 0 || endPos.x() < 0 || endPos.y() < 0) {
        return;
    }
    if (m_anchor.x() < 0 || m_anchor.y() < 0) {
        m_anchor = startPos;
        applyRange(model, startPos, endPos, NoPoint, bChecked);
    } else if (m_lastEnd == endPos) {
        return;
    } else if (bChecked) {
        settingStep(model, endPos, *bChecked);
    } else {
        toggleStep(model, endPos);
    }
    m_lastEnd = endPos;
}

// Items between the previous end and the new one change; those leaving the range are set to
// !bChecked rather than restored, since no state from before the gesture is kept.
void MediaSelector::settingStep(ResourceModel *model, QPoint endPos, bool bChecked)
{
    const QPoint prev = m_lastEnd;
    const QPoint anchor = m_anchor;
    if (precedes(anchor, prev)) {
        if (precedes(prev, endPos)) {
            applyRange(model, prev, endPos, prev, bChecked);
        } else if (precedes(anchor, endPos)) {
            applyRange(model, endPos, prev, endPos, !bChecked);
        } else {
            applyRange(model, anchor, prev, anchor, !bChecked);
            applyRange(model, endPos, anchor, anchor, bChecked);
        }
    } else if (precedes(prev, anchor)) {
        if (precedes(endPos, prev)) {
            applyRange(model, endPos, prev, prev, bChecked);
        } else if (precedes(endPos, anchor)) {
            applyRange(model, prev, endPos, endPos, !bChecked);
        } else {
            applyRange(model, prev, anchor, anchor, !bChecked);
            applyRange(model, anchor, endPos, anchor, bChecked);
        }
    } else {
        applyRange(model, anchor, endPos, anchor, bChecked);
    }
}

// One toggle over the items between the previous end and the new one; the item left out is the
// one whose state must stay, so toggling twice brings items back as they were.
void MediaSelector::toggleStep(ResourceModel *model, QPoint endPos)
{
    const QPoint prev = m_lastEnd;
    const QPoint anchor = m_anchor;
    QPoint except = anchor;
    if (precedes(anchor, prev)) {
        if (precedes(prev, endPos)) {
            except = prev;
        } else if (precedes(anchor, endPos)) {
            except = endPos;
        }
    } else if (precedes(prev, anchor)) {
        if (precedes(endPos, prev)) {
            except = prev;
        } else if (precedes(endPos, anchor)) {
            except = endPos;
        }
    }
    applyRange(model, prev, endPos, except, std::nullopt);
}

void MediaSelector::applyRange(ResourceModel *model, QPoint from, QPoint to, QPoint except,
                               std::optional<bool> bChecked)
{
    if (precedes(to, from)) {
        std::swap(from, to);
    }
    model->foreachItem(from, to, except,
                       [this, bChecked](ResourceItem *item) { changeSelected(item, bChecked); });
}

// ---- state ----

void MediaSelector::clearSelected()
{
    if (m_selection.isEmpty()) {
        return;
    }
    m_selection.clear();
    m_selectCount = 0;
    m_selectChildCount = 0;
    m_forwardableCount = 0;
    Q_EMIT selectChildCountChanged();
    Q_EMIT selectCountChanged();
    Q_EMIT forwardableCountChanged();
}

bool MediaSelector::isSelected(const QString &dialogId, const MessageKey &mediaKey) const
{
    const auto entries = m_selection.constFind(dialogId);
    if (entries == m_selection.cend()) {
        return false;
    }
    int index = 0;
    return MediaUtil::find(*entries, mediaKey, index);
}

int MediaSelector::selectFileCount() const
{
    int count = 0;
    for (const QList<MediaSelectInfo> &entries : m_selection) {
        for (const MediaSelectInfo &info : entries) {
            if (isUsable(info.msgData) && ModelBaseUtil::isNeedUploadType(info.msgData->type())) {
                ++count;
            }
        }
    }
    return count;
}

QVariantList MediaSelector::selectedSenderIds() const
{
    QVariantList senderIds;
    for (const QList<MediaSelectInfo> &entries : m_selection) {
        for (const MediaSelectInfo &info : entries) {
            const QVariant senderId = QVariant::fromValue(info.msgData->senderId());
            if (!senderIds.contains(senderId)) {
                senderIds.append(senderId);
            }
        }
    }
    return senderIds;
}

QList<QSharedPointer<MessageBase>> MediaSelector::selectMedias() const
{
    QList<QSharedPointer<MessageBase>> messages;
    for (const QList<MediaSelectInfo> &entries : m_selection) {
        for (const MediaSelectInfo &info : entries) {
            messages.prepend(info.msgData);
        }
    }
    return messages;
}

// ---- pruning ----

bool MediaSelector::isForwardable(const MediaSelectInfo &info) const
{
    return info.msgData && info.msgData->canForward(m_global);
}

void MediaSelector::removeSelected(const QString &dialogId, qint64 messageId)
{
    const auto entries = m_selection.find(dialogId);
    if (entries == m_selection.end()) {
        return;
    }
    int first = 0;
    if (MediaUtil::find(*entries, MessageKey(messageId, 0), first)) {
        const bool forwardable = isForwardable(entries->at(first));
        entries->removeAt(first);
        dropIfEmpty(entries);
        --m_selectCount;
        if (forwardable) {
            --m_forwardableCount;
            Q_EMIT forwardableCountChanged();
        }
        Q_EMIT selectCountChanged();
        return;
    }
    // Not a plain entry: the message may be a combined one with ticked children, which sort
    // between (messageId, 0) and (messageId, largest sub-message id).
    int end = 0;
    MediaUtil::find(*entries, MessageKey(messageId, std::numeric_limits<qint32>::max()), end);
    if (first == end) {
        return;
    }
    const int removed = end - first;
    // The children share their combined message's answer, so the first one speaks for all.
    const bool forwardable = isForwardable(entries->at(first));
    entries->remove(first, removed);
    dropIfEmpty(entries);
    m_selectCount -= removed;
    m_selectChildCount -= removed;
    if (forwardable) {
        m_forwardableCount -= removed;
        Q_EMIT forwardableCountChanged();
    }
    Q_EMIT selectChildCountChanged();
    Q_EMIT selectCountChanged();
}

void MediaSelector::removeSelecteds(const QString &dialogId, const QList<qint64> &messageIds)
{
    if (!m_selection.contains(dialogId)) {
        return;
    }
    for (qint64 messageId : messageIds) {
        removeSelected(dialogId, messageId);
    }
}

void MediaSelector::removeSelecteds(const QString &dialogId, const MessageIdRange &range)
{
    const auto entries = m_selection.find(dialogId);
    if (entries == m_selection.end()) {
        return;
    }
    int from = 0;
    MediaUtil::find(*entries, MessageKey(range.second, 0), from);
    int to = 0;
    if (MediaUtil::find(*entries, MessageKey(range.first, 0), to)) {
        ++to;
    }
    if (to >= entries->size() || from > to) {
        return;
    }
    const int removed = to - from;
    const Removed counts = removeEntries(entries, from, to);
    announceRemoval(removed, counts);
}

void MediaSelector::removeSelecteds(const QString &dialogId, qint64 messageId)
{
    const auto entries = m_selection.find(dialogId);
    if (entries == m_selection.end()) {
        return;
    }
    int from = 0;
    if (MediaUtil::find(*entries, MessageKey(messageId, 0), from)) {
        ++from;
    }
    const int to = int(entries->size());
    if (from >= to) {
        return;
    }
    const Removed counts = removeEntries(entries, from, to);
    announceRemoval(to - from, counts);
}

// Removes [from, to) of a dialog's list, telling how many of them were children of combined
// messages and how many forwardable; drops the dialog once its list is empty.
MediaSelector::Removed MediaSelector::removeEntries(Selection::iterator entries, int from, int to)
{
    Removed counts;
    for (int index = from; index < to; ++index) {
        const MediaSelectInfo &info = entries->at(index);
        if (info.msgData && info.msgData->isChildMsg()) {
            ++counts.children;
        }
        if (isForwardable(info)) {
            ++counts.forwardable;
        }
    }
    entries->remove(from, to - from);
    dropIfEmpty(entries);
    return counts;
}

void MediaSelector::dropIfEmpty(Selection::iterator entries)
{
    if (entries->isEmpty()) {
        m_selection.erase(entries);
    }
}

void MediaSelector::announceRemoval(int removed, const Removed &counts)
{
    m_selectCount -= removed;
    if (counts.children > 0) {
        m_selectChildCount -= counts.children;
        Q_EMIT selectChildCountChanged();
    }
    if (counts.forwardable > 0) {
        m_forwardableCount -= counts.forwardable;
        Q_EMIT forwardableCountChanged();
    }
    Q_EMIT selectCountChanged();
}

// ---- actions ----

QString MediaSelector::forwardDesc() const
{
    if (m_selectCount <= 0) {
        return QString();
    }
    if (m_selectCount > 1) {
        return qtTrId("mediamgr_forward_messages").arg(m_selectCount, 0, 10, QLatin1Char(' '));
    }
    for (const QList<MediaSelectInfo> &entries : m_selection) {
        if (entries.isEmpty()) {
            continue;
        }
        const QSharedPointer<MessageBase> msg = entries.first().msgData;
        return msg->type() == CONTENT_TEXT ? textOf(msg) : mediaTypeDesc(msg->type());
    }
    return QString();
}

// Entries of several dialogs are merged into one list in key order, so that a forward sends
// them oldest first whatever dialog they come from.
QList<MediaSelectInfo> MediaSelector::entriesInKeyOrder() const
{
    if (m_selection.size() == 1) {
        return m_selection.cbegin().value();
    }
    QList<MediaSelectInfo> merged;
    for (const QList<MediaSelectInfo> &entries : m_selection) {
        for (const MediaSelectInfo &info : entries) {
            int index = 0;
            MediaUtil::find(merged, info, index);
            merged.insert(index, info);
        }
    }
    return merged;
}

void MediaSelector::forwardMessages(const QVariantMap &data)
{
    if (m_selection.isEmpty()) {
        return;
    }
    QList<QSharedPointer<MessageBase>> messages;
    for (const MediaSelectInfo &info : entriesInKeyOrder()) {
        // Asked as from a cross-dialog place whatever this selector is, as the forward is one.
        if (isUsable(info.msgData) && info.msgData->canForward(true)) {
            messages.append(info.msgData);
        }
    }
    m_account->forwardMessages(messages, data);
    clearSelected();
}

QVariantMap MediaSelector::revokeInfos() const
{
    QVariantMap infos;
    for (auto entries = m_selection.cbegin(); entries != m_selection.cend(); ++entries) {
        QVariantList senderIds;
        for (const MediaSelectInfo &info : entries.value()) {
            if (!isUsable(info.msgData)) {
                continue;
            }
            const QVariant senderId = QVariant::fromValue(info.msgData->senderId());
            if (!senderIds.contains(senderId)) {
                senderIds.append(senderId);
            }
        }
        if (!senderIds.isEmpty()) {
            infos.insert(entries.key(), senderIds);
        }
    }
    return infos;
}

// A combined message is deleted as a whole by the host; its ticked children are not sent.
void MediaSelector::deleteMessages(bool bRevocable)
{
    if (m_selection.isEmpty()) {
        return;
    }
    QMap<QString, QList<DeletionRecord>> records;
    for (auto entries = m_selection.cbegin(); entries != m_selection.cend(); ++entries) {
        QList<DeletionRecord> dialogRecords;
        for (const MediaSelectInfo &info : entries.value()) {
            if (isUsable(info.msgData) && !info.msgData->isChildMsg()) {
                dialogRecords.append(info.msgData->makeDeletionRecord());
            }
        }
        if (!dialogRecords.isEmpty()) {
            records.insert(entries.key(), dialogRecords);
        }
    }
    m_account->deleteMessages(records, bRevocable);
    clearSelected();
}

QList<QSharedPointer<MessageBase>> MediaSelector::usableMessages(bool bForwardableOnly) const
{
    QList<QSharedPointer<MessageBase>> messages;
    for (const QList<MediaSelectInfo> &entries : m_selection) {
        for (const MediaSelectInfo &info : entries) {
            if (isUsable(info.msgData) && (!bForwardableOnly || isForwardable(info))) {
                messages.append(info.msgData);
            }
        }
    }
    return messages;
}

void MediaSelector::transferToCloudDrive(qlonglong nodeLocalId)
{
    if (m_selection.isEmpty()) {
        return;
    }
    m_account->transferToCloudDrive(usableMessages(true), nodeLocalId);
    clearSelected();
}

// The copies run in the file manager, which downloads files not complete yet first; target
// names are reserved as they are handed out, so equal names within a batch do not collide.
void MediaSelector::batchSaveAs(const QString &folderPath)
{
    if (m_selection.isEmpty()) {
        return;
    }
    // A folder dialog hands its choice over as a file:// URL.
    const QUrl url(folderPath);
    const QString folder = url.isLocalFile() ? url.toLocalFile() : folderPath;
    const QFileInfo info(folder);
    if (folder.isEmpty() || !info.isDir() || !info.isWritable()) {
        qCWarning(lcMedia) << "cannot save the selected files into" << folderPath
                           << ": not a folder that can be written; the selection stays";
        return;
    }
    FileManager *files = m_account->fileManager();
    for (const QSharedPointer<MessageBase> &msg : usableMessages(false)) {
        const QSharedPointer<FileItem> file =
                qSharedPointerDynamicCast<FileItem>(msg->contentItem());
        if (!file || !file->canSave() || !file->sourceFilePtr() || file->displayName().isEmpty()) {
            continue;
        }
        const QString target = Util::makeFilePath(folder, file->displayName(), QString());
        files->saveAsFile(file->sourceFilePtr()->fileId(), target, 0);
    }
    clearSelected();
}
