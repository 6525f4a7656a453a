#include "medialoader.h"

#include "accountbase.h"
#include "contentitem.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "filemanager.h"
#include "filereferencestorage.h"
#include "im_chat.pb.h"
#include "mediamodellog_p.h"
#include "mediautil.h"
#include "messagebase.h"
#include "resourceitem.h"
#include "resourcelinkitem.h"
#include "resourcestorage.h"
#include "searchservicecmd.h"
#include "sidebyside_p.h"
#include "tempfilemgr.h"
#include "userstorageprovider.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QThread>

#include <algorithm>

namespace {

bool isPhotoOrVideo(int type)
{
    return type == CONTENT_PHOTO || type == CONTENT_VIDEO;
}

// Photos and videos share one list, so a request for either asks for both.
bool sameListType(int listType, int type)
{
    return listType == type || (isPhotoOrVideo(listType) && isPhotoOrVideo(type));
}

// The server's search categories of a resource type.
QList<int> searchCategories(int type)
{
    switch (type) {
    case CONTENT_TEXT:
        return {4};
    case CONTENT_PHOTO:
    case CONTENT_VIDEO:
        return {1, 2};
    case CONTENT_VOICE:
        return {6};
    case CONTENT_MUSIC:
        return {5};
    case CONTENT_FILE:
        return {3};
    default:
        return {};
    }
}

// Reading and building its messages is most of a page's time, and messages share nothing but
// the dialog's and the files' caches, which are guarded: a page's keys are read in slices side by
// side, each on its own thread's connection. A slice is large enough that the hand-off to a
// helper costs little beside it.
QList<QSharedPointer<MessageBase>> messagesSideBySide(DialogBase &dialog,
                                                      const QList<MessageKey> &keys)
{
    constexpr qsizetype MinSlice = 32;
    const qsizetype sliceCount =
            std::clamp<qsizetype>(keys.size() / MinSlice, 1, QThread::idealThreadCount());
    if (sliceCount == 1) {
        return dialog.messages(keys);
    }
    const qsizetype sliceSize = (keys.size() + sliceCount - 1) / sliceCount;
    QList<QList<QSharedPointer<MessageBase>>> slices(sliceCount);
    runSideBySide(sliceCount, [&](qsizetype i) {
        slices[i] = dialog.messages(keys.mid(i * sliceSize, sliceSize));
    });
    QList<QSharedPointer<MessageBase>> messages;
    messages.reserve(keys.size());
    for (const QList<QSharedPointer<MessageBase>> &slice : std::as_const(slices)) {
        messages.append(slice);
    }
    return messages;
}

ResultCount pageResult(const QList<ResourceItem *> &out, int loadCount, bool hasMore)
{
    const int loaded = int(out.size());
    return {hasMore ? loadCount : loaded, loaded};
}

ResourceItem *itemOfMessage(const QSharedPointer<MessageBase> &msg, int type)
{
    return type == CONTENT_TEXT ? new ResourceLinkItem(msg) : new ResourceItem(msg);
}

ResourceItem *itemOfRow(const storage::ResourceInfo &row)
{
    return row.type == CONTENT_TEXT ? new ResourceLinkItem(row) : new ResourceItem(row);
}

// The item of a row joined to its message, which may be missing.
ResourceItem *itemOfRowMessage(const storage::ResourceInfo &row,
                               const QSharedPointer<MessageBase> &msg, bool &messageMissing,
                               bool force)
{
    if (!msg) {
        messageMissing = true;
        return itemOfRow(row);
    }
    if (!force && msg->isRemoved()) {
        return nullptr;
    }
    return itemOfMessage(msg, row.type);
}

qint64 nextLocalDayStart(qint64 msecs)
{
    const QDate day = QDateTime::fromMSecsSinceEpoch(msecs).date();
    return day.addDays(1).startOfDay().toMSecsSinceEpoch();
}

// The storage applies the same filters; checking again keeps a row that changed between the
// query and the join from slipping into a filtered page.
bool rowMatchesKey(const storage::ResourceInfo &row, const SearchKey &key)
{
    if (!key.senderIds.isEmpty() && !key.senderIds.contains(row.senderId)) {
        return false;
    }
    if (key.startTime > 0 && row.dateTime < key.startTime) {
        return false;
    }
    return key.endTime < 1 || row.dateTime <= key.endTime;
}

bool carriesType(const MessageBase &msg, int type)
{
    if (type == CONTENT_TEXT) {
        const QSharedPointer<ContentItem> content = msg.contentItem();
        return content && content->hasUrl();
    }
    return sameListType(type, msg.type());
}

QString keywordTextOf(const MessageBase &msg)
{
    const QSharedPointer<ContentItem> content = msg.contentItem();
    return content ? content->keywordText() : msg.text();
}

} // namespace

MediaLoader::MediaLoader(AccountBase *account, SearchQuery *query)
    : SearchModel(query)
    , m_account(account)
{ }

void MediaLoader::initStatus(qint64 messageId, qint64 dateTime)
{
    m_beforeMsgId = messageId < 1 ? 0 : messageId;
    m_beforeTime = dateTime < 1 ? 0 : dateTime;
    m_afterMsgId = messageId < 1 ? 0 : messageId + 1;
    m_afterTime = dateTime < 1 ? 0 : dateTime + 1;
    m_hasMoreBefore = true;
    m_hasMoreAfter = true;
}

void MediaLoader::resumeOlderBeyond(qint64 messageId, qint64 dateTime)
{
    m_beforeMsgId = messageId - 1;
    m_beforeTime = dateTime - 1;
    m_hasMoreBefore = true;
}

void MediaLoader::resumeNewerBeyond(qint64 messageId, qint64 dateTime)
{
    m_afterMsgId = messageId + 1;
    m_afterTime = dateTime + 1;
    m_hasMoreAfter = true;
}

ResultCount MediaLoader::loadBeforeItems(QList<ResourceItem *> &out,
                                         QSharedPointer<DialogBase> dialog, const SearchKey &key,
                                         int type, int loadCount, bool fromRemote)
{
    const bool remote = fromRemote && m_account->isOnline();
    return loadPages(out, loadCount, fromRemote, false, [&](QList<ResourceItem *> &page) {
        if (m_globalSearch) {
            loadBeforeFromLocal(
                    page, key, type, loadCount,
                    [this](const auto &info) { return resourceDb()->infosBefore(info); }, nullptr);
        } else if (remote) {
            loadBeforeFromRemote(page, dialog, key, type, loadCount);
        } else if (dialog) {
            loadBeforeFromLocal(
                    page, key, type, loadCount,
                    [this, &dialog](const auto &info) {
                        return resourceDb()->infosBefore(dialog->dialogId(), info);
                    },
                    dialog);
        } else {
            m_hasMoreBefore = false;
        }
    });
}

ResultCount MediaLoader::loadAfterItems(QList<ResourceItem *> &out,
                                        QSharedPointer<DialogBase> dialog, const SearchKey &key,
                                        int type, int loadCount, bool fromRemote)
{
    // Newer pages never come from the server: the local store receives everything new.
    return loadPages(out, loadCount, fromRemote, true, [&](QList<ResourceItem *> &page) {
        if (m_globalSearch) {
            loadAfterFromLocal(
                    page, key, type, loadCount,
                    [this](const auto &info) { return resourceDb()->infosAfter(info); }, nullptr);
        } else if (dialog) {
            loadAfterFromLocal(
                    page, key, type, loadCount,
                    [this, &dialog](const auto &info) {
                        return resourceDb()->infosAfter(dialog->dialogId(), info);
                    },
                    dialog);
        } else {
            m_hasMoreAfter = false;
        }
    });
}

ResultCount MediaLoader::loadBeforeItems(QList<ResourceItem *> &out,
                                         const QList<QString> &dialogIds, const SearchKey &key,
                                         int type, int loadCount)
{
    return loadPages(out, loadCount, false, false, [&](QList<ResourceItem *> &page) {
        loadBeforeFromLocal(
                page, key, type, loadCount,
                [this, &dialogIds](const auto &info) {
                    return dialogIds.isEmpty() ? resourceDb()->infosBefore(info)
                                               : resourceDb()->infosBefore(dialogIds, info);
                },
                nullptr);
    });
}

ResultCount MediaLoader::loadAfterItems(QList<ResourceItem *> &out, const QList<QString> &dialogIds,
                                        const SearchKey &key, int type, int loadCount)
{
    return loadPages(out, loadCount, false, true, [&](QList<ResourceItem *> &page) {
        loadAfterFromLocal(
                page, key, type, loadCount,
                [this, &dialogIds](const auto &info) {
                    return dialogIds.isEmpty() ? resourceDb()->infosAfter(info)
                                               : resourceDb()->infosAfter(dialogIds, info);
                },
                nullptr);
    });
}

// Rows that fail the filter or cannot be shown leave a page short, so pages are topped up until
// more than half of the count is in hand. A quit drops everything gathered, earlier pages
// included, so that the caller never appends a page of a search that no longer exists.
ResultCount MediaLoader::loadPages(QList<ResourceItem *> &out, int loadCount, bool oneRound,
                                   bool newer, const PageLoader &loadPage)
{
    // With no count there is nothing to gather, and the top-up below would never be satisfied.
    if (loadCount < 1) {
        return {};
    }
    const bool &hasMore = newer ? m_hasMoreAfter : m_hasMoreBefore;
    forever {
        QList<ResourceItem *> page;
        loadPage(page);
        if (newer) {
            out = page + out;
        } else {
            out += page;
        }
        if (isQuit()) {
            qDeleteAll(out);
            out.clear();
            break;
        }
        if (out.size() > loadCount / 2 || !hasMore || oneRound) {
            break;
        }
    }
    return pageResult(out, loadCount, hasMore);
}

void MediaLoader::loadBeforeFromLocal(QList<ResourceItem *> &page, const SearchKey &key, int type,
                                      int count, const RowQuery &query,
                                      const QSharedPointer<DialogBase> &dialog)
{
    if (!resourceDb()) {
        m_hasMoreBefore = false;
        return;
    }
    storage::ResourceSearchInfo info;
    makeSearchInfo(info, key, m_beforeTime, m_beforeMsgId, type, count);
    const QList<storage::ResourceInfo> rows = query(info);
    m_hasMoreBefore = rows.size() >= count;
    removeBeforeRepeat(rows);
    QList<ResourceItem *> items;
    makeMediaItems(dialog, rows, items,
                   [&key](const storage::ResourceInfo &row) { return rowMatchesKey(row, key); });
    checkItemValid(page, items);
}

void MediaLoader::loadAfterFromLocal(QList<ResourceItem *> &page, const SearchKey &key, int type,
                                     int count, const RowQuery &query,
                                     const QSharedPointer<DialogBase> &dialog)
{
    if (!resourceDb()) {
        m_hasMoreAfter = false;
        return;
    }
    storage::ResourceSearchInfo info;
    makeSearchInfo(info, key, m_afterTime, m_afterMsgId, type, count);
    const QList<storage::ResourceInfo> rows = query(info);
    m_hasMoreAfter = rows.size() >= count;
    removeAfterRepeat(rows);
    QList<ResourceItem *> items;
    makeMediaItems(dialog, rows, items,
                   [&key](const storage::ResourceInfo &row) { return rowMatchesKey(row, key); });
    checkItemValid(page, items);
}

// The server pages by message id alone (msg_id <= cursor, newest first), so the cursor moves
// below the oldest message returned; its time follows so that a later local page stays behind it.
void MediaLoader::loadBeforeFromRemote(QList<ResourceItem *> &page,
                                       const QSharedPointer<DialogBase> &dialog,
                                       const SearchKey &key, int type, int count)
{
    if (!dialog) {
        m_hasMoreBefore = false;
        return;
    }
    im::chat::SearchMessageReq req;
    req.set_dialog_id(dialog->dialogId().toStdString());
    req.set_keyword(key.keyword.toStdString());
    for (qint64 sender : key.senderIds) {
        req.add_sender_ids(sender);
    }
    req.set_start_time(key.startTime);
    req.set_end_time(key.endTime);
    req.set_msg_id(m_beforeMsgId);
    req.set_direction(Older);
    req.set_count(count);
    for (int category : searchCategories(type)) {
        req.add_categories(category);
    }
    const QVariantMap reply = SearchServiceCmd(m_account).searchMessage(req);
    const int code = reply.value(QStringLiteral("code")).toInt();
    if (code != 0) {
        // A server fault may pass: the page ends empty, the cursor stays, and the list keeps
        // what it knew of more, so that the next page asks again.
        qCWarning(lcMedia).nospace()
                << "remote media search of " << dialog->dialogId() << " failed with code " << code
                << ": no older items this time";
        return;
    }
    if (isQuit()) {
        return;
    }
    checkItemValid(
            page,
            makeRemoteItems(dialog, reply.value(QStringLiteral("data")).toByteArray(), key, type));
}

QList<ResourceItem *> MediaLoader::makeRemoteItems(const QSharedPointer<DialogBase> &dialog,
                                                   const QByteArray &reply, const SearchKey &key,
                                                   int type)
{
    im::chat::SearchMessageResp resp;
    if (!resp.ParseFromArray(reply.constData(), int(reply.size()))) {
        qCWarning(lcMedia).nospace() << "remote media search of " << dialog->dialogId()
                                     << " returned a reply that does not parse: no older items "
                                        "this time";
        return {};
    }
    m_hasMoreBefore = resp.has_more();
    const QSet<QString> loadedFileIds = m_account->fileManager()
            ? m_account->fileManager()->tempFileMgr()->loadedFileIds()
            : QSet<QString>();
    QList<QString> keywords;
    MediaUtil::keywords(key.keyword, keywords);

    QList<ResourceItem *> items;
    const auto collect = [&](const QSharedPointer<MessageBase> &msg) {
        if (!msg || !carriesType(*msg, type)
            || loadedFileIds.contains(QString::fromStdString(msg->proto().file().file_id()))
            || !MediaUtil::matchedKeyword(keywords, keywordTextOf(*msg))) {
            return;
        }
        items.append(itemOfMessage(msg, type));
    };
    for (const im::Message &proto : resp.messages()) {
        const QSharedPointer<MessageBase> msg = dialog->makeMessage(proto);
        collect(msg);
        for (const QSharedPointer<MessageBase> &child :
             msg ? msg->combinedMessages() : QList<QSharedPointer<MessageBase>>()) {
            collect(child);
        }
    }
    if (resp.messages_size() > 0) {
        const auto oldest = std::min_element(
                resp.messages().begin(), resp.messages().end(),
                [](const im::Message &a, const im::Message &b) { return a.msg_id() < b.msg_id(); });
        m_beforeMsgId = oldest->msg_id() - 1;
        m_beforeTime = oldest->time() - 1;
    }
    if (m_beforeMsgId < 1) {
        // Message ids start at 1; a cursor of 0 would ask the server for the newest page again.
        m_hasMoreBefore = false;
    }
    return items;
}

void MediaLoader::loadFirstByEveryDay(QList<ResourceItem *> &out, QSharedPointer<DialogBase> dialog,
                                      int type)
{
    if (!dialog || !resourceDb()) {
        m_hasMoreAfter = false;
        return;
    }
    storage::ResourceSearchInfo info;
    makeSearchInfo(info, SearchKey(), 0, 0, type, 1);
    QList<storage::ResourceInfo> rows = resourceDb()->infosAfter(dialog->dialogId(), info);
    m_hasMoreAfter = !rows.isEmpty();
    QThread *mainThread = QCoreApplication::instance()->thread();
    while (!rows.isEmpty() && !isQuit()) {
        const storage::ResourceInfo row = rows.first();
        if (dialog->firstVisibleMsgId() > row.messageId) {
            m_hasMoreAfter = false;
            break;
        }
        bool messageMissing = false;
        ResourceItem *item = makeMediaItem(dialog, row, messageMissing, false);
        if (item && item->msgData() && item->isValid()) {
            item->moveToThread(mainThread);
            out.append(item);
        } else {
            delete item;
        }
        info.time = nextLocalDayStart(row.dateTime);
        rows = resourceDb()->infosAfter(dialog->dialogId(), info);
        m_hasMoreAfter = !rows.isEmpty();
    }
}

ResourceItem *MediaLoader::makeMediaItem(QSharedPointer<DialogBase> dialog,
                                         const storage::ResourceInfo &row, bool &messageMissing,
                                         bool force)
{
    messageMissing = false;
    if (!dialog) {
        return nullptr;
    }
    return itemOfRowMessage(row, dialog->message(MessageKey(row.messageId, row.subMsgId)),
                            messageMissing, force);
}

ResourceItem *MediaLoader::makeMediaItem(QSharedPointer<DialogBase> dialog,
                                         const storage::FileReferenceInfo &row,
                                         bool &messageMissing, bool force)
{
    storage::ResourceInfo resource;
    resource.dialogId = row.dialogId;
    resource.messageId = row.messageId;
    resource.subMsgId = row.subMsgId;
    resource.type = row.contentType();
    resource.dateTime = row.dateTime;
    return makeMediaItem(dialog, resource, messageMissing, force);
}

ResultCount MediaLoader::onLoadingData(const SearchKey &, int, int)
{
    return {};
}

void MediaLoader::makeSearchInfo(storage::ResourceSearchInfo &info, const SearchKey &key,
                                 qint64 time, qint64 msgId, int type, int count) const
{
    info.keyword = key.keyword;
    info.senderIds = key.senderIds;
    info.startTime = key.startTime;
    info.endTime = key.endTime;
    info.sourceDlgId = key.sourceDlgId;
    info.time = time;
    info.msgId = msgId;
    info.isLink = type == CONTENT_TEXT;
    if (isPhotoOrVideo(type)) {
        info.types = {CONTENT_PHOTO, CONTENT_VIDEO};
    } else if (!info.isLink) {
        info.types = {type};
    }
    info.count = count;
}

// The messages of a page are read per dialog in one batch rather than row by row, which is what
// makes a page cheap; the rows keep their order.
void MediaLoader::makeMediaItems(const QSharedPointer<DialogBase> &dialog,
                                 const QList<storage::ResourceInfo> &rows,
                                 QList<ResourceItem *> &items, const RowFilter &filter)
{
    QList<const storage::ResourceInfo *> kept;
    kept.reserve(rows.size());
    for (const storage::ResourceInfo &row : rows) {
        if (isQuit()) {
            return;
        }
        if (filter(row)) {
            kept.append(&row);
        }
    }
    const QList<QSharedPointer<MessageBase>> messages = messagesOf(dialog, kept);
    QHash<QString, QList<MessageKey>> missing;
    for (qsizetype i = 0; i < kept.size() && !isQuit(); ++i) {
        const storage::ResourceInfo &row = *kept.at(i);
        // A row of a dialog the account no longer has yields nothing.
        if (!dialog && !messages.at(i) && !m_account->dialog(row.dialogId)) {
            continue;
        }
        bool messageMissing = false;
        ResourceItem *item = itemOfRowMessage(row, messages.at(i), messageMissing, false);
        if (!item) {
            continue;
        }
        items.append(item);
        const MessageKey key(row.messageId, row.subMsgId);
        QList<MessageKey> &keys = missing[row.dialogId];
        if (messageMissing && !keys.contains(key)) {
            keys.append(key);
        }
    }
    for (auto it = missing.cbegin(); it != missing.cend(); ++it) {
        const QSharedPointer<DialogBase> owner = dialog ? dialog : m_account->dialog(it.key());
        if (owner && !it.value().isEmpty()) {
            owner->fetchMessages(it.value());
        }
    }
}

// One message per row, in order, null where there is none; rows of several dialogs are read
// dialog by dialog. Rows of a dialog the account does not have get null.
QList<QSharedPointer<MessageBase>>
MediaLoader::messagesOf(const QSharedPointer<DialogBase> &dialog,
                        const QList<const storage::ResourceInfo *> &rows) const
{
    QHash<QString, QList<qsizetype>> rowsOfDialog;
    for (qsizetype i = 0; i < rows.size(); ++i) {
        rowsOfDialog[dialog ? dialog->dialogId() : rows.at(i)->dialogId].append(i);
    }
    QList<QSharedPointer<MessageBase>> messages(rows.size());
    for (auto it = rowsOfDialog.cbegin(); it != rowsOfDialog.cend(); ++it) {
        const QSharedPointer<DialogBase> owner = dialog ? dialog : m_account->dialog(it.key());
        if (!owner) {
            continue;
        }
        QList<MessageKey> keys;
        keys.reserve(it.value().size());
        for (qsizetype i : it.value()) {
            keys.append(MessageKey(rows.at(i)->messageId, rows.at(i)->subMsgId));
        }
        const QList<QSharedPointer<MessageBase>> found = messagesSideBySide(*owner, keys);
        for (qsizetype k = 0; k < found.size(); ++k) {
            messages[it.value().at(k)] = found.at(k);
        }
    }
    return messages;
}

void MediaLoader::checkItemValid(QList<ResourceItem *> &out,
                                 const QList<ResourceItem *> &items) const
{
    QThread *mainThread = QCoreApplication::instance()->thread();
    for (ResourceItem *item : items) {
        if (!item->msgData() || !item->isValid()) {
            delete item;
            continue;
        }
        int pos = 0;
        if (MediaUtil::find(out, *item, pos)) {
            delete item;
            continue;
        }
        item->moveToThread(mainThread);
        out.insert(pos, item);
    }
}

void MediaLoader::removeBeforeRepeat(const QList<storage::ResourceInfo> &rows)
{
    if (rows.isEmpty()) {
        return;
    }
    m_beforeTime = rows.last().dateTime - 1;
    m_beforeMsgId = rows.last().messageId - 1;
}

void MediaLoader::removeAfterRepeat(const QList<storage::ResourceInfo> &rows)
{
    if (rows.isEmpty()) {
        return;
    }
    m_afterTime = rows.last().dateTime + 1;
    m_afterMsgId = rows.last().messageId + 1;
}

storage::ResourceStorage *MediaLoader::resourceDb() const
{
    return m_account && m_account->storage() ? m_account->storage()->resourceStorage() : nullptr;
}
