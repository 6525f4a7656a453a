#pragma once

#include "mediamodel_export.h"
#include "searchmodel.h"

#include <QList>
#include <QSharedPointer>
#include <QString>

#include <functional>

class AccountBase;
class DialogBase;
class MessageBase;
class ResourceItem;
class SearchQuery;

namespace storage {
class ResourceStorage;
struct FileReferenceInfo;
struct ResourceInfo;
struct ResourceSearchInfo;
} // namespace storage

// Loads pages of resource items of one type, older (before) or newer (after) than a cursor, from
// the account's resource table and, for older pages of one dialog, from the server's message
// search. Rows become items joined to their messages; items that cannot be shown are dropped.
//
// The load methods run on a worker thread, one at a time per loader; the cursors and more-flags
// are that thread's state between calls. Every item handed back lives on the application's main
// thread and belongs to the caller. The owning query's quit flag is polled between pages and rows.
class MEDIAMODEL_EXPORT MediaLoader : public SearchModel
{
public:
    // Does not take ownership of account or query.
    MediaLoader(AccountBase *account, SearchQuery *query);

    // Starts both directions at one item: an older page includes it, a newer page starts after it.
    void initStatus(qint64 messageId, qint64 dateTime);

    // For a list that dropped the items beyond one of its ends: the next older page starts just
    // older than the item (messageId, dateTime), the next newer page just newer than it. Only
    // while no load runs.
    void resumeOlderBeyond(qint64 messageId, qint64 dateTime);
    void resumeNewerBeyond(qint64 messageId, qint64 dateTime);

    // One page of one dialog: older items appended to out, newer items put in front of it, so that
    // out stays newest first. Local pages are topped up until more than half of loadCount is in
    // hand. fromRemote takes an older page from the server (when the account reaches it) in one
    // round; for newer pages it only limits the load to one round. A server that fails leaves
    // the page empty and the more-flag as it was, so that the next page asks again. A loadCount
    // below 1 loads nothing.
    ResultCount loadBeforeItems(QList<ResourceItem *> &out, QSharedPointer<DialogBase> dialog,
                                const SearchKey &key, int type, int loadCount, bool fromRemote);
    ResultCount loadAfterItems(QList<ResourceItem *> &out, QSharedPointer<DialogBase> dialog,
                               const SearchKey &key, int type, int loadCount, bool fromRemote);
    // One page across the given dialogs; an empty list searches all dialogs.
    ResultCount loadBeforeItems(QList<ResourceItem *> &out, const QList<QString> &dialogIds,
                                const SearchKey &key, int type, int loadCount);
    ResultCount loadAfterItems(QList<ResourceItem *> &out, const QList<QString> &dialogIds,
                               const SearchKey &key, int type, int loadCount);

    // The oldest item of every local day that has items, oldest day first; stops at the first
    // message the dialog shows.
    void loadFirstByEveryDay(QList<ResourceItem *> &out, QSharedPointer<DialogBase> dialog,
                             int type);

    // The item of a table row, joined to its message. Null without a dialog, or when the message
    // is marked removed and force is not set. Without a message on hand the item is built from the
    // row alone and messageMissing is set.
    static ResourceItem *makeMediaItem(QSharedPointer<DialogBase> dialog,
                                       const storage::ResourceInfo &row, bool &messageMissing,
                                       bool force);
    static ResourceItem *makeMediaItem(QSharedPointer<DialogBase> dialog,
                                       const storage::FileReferenceInfo &row, bool &messageMissing,
                                       bool force);

    // The loader is driven through its load methods by the list that owns it; a query that pages
    // the loader itself gets nothing.
    ResultCount onLoadingData(const SearchKey &key, int count, int offset) override;

    qint64 beforeTime() const { return m_beforeTime; }
    qint64 afterTime() const { return m_afterTime; }
    qint64 beforeMsgId() const { return m_beforeMsgId; }
    qint64 afterMsgId() const { return m_afterMsgId; }
    bool hasMoreBefore() const { return m_hasMoreBefore; }
    bool hasMoreAfter() const { return m_hasMoreAfter; }
    // Whether one-dialog loads search the local rows of all dialogs instead.
    bool isGlobalSearch() const { return m_globalSearch; }
    void setGlobalSearch(bool global) { m_globalSearch = global; }

private:
    using RowFilter = std::function<bool(const storage::ResourceInfo &)>;
    using PageLoader = std::function<void(QList<ResourceItem *> &page)>;
    using RowQuery =
            std::function<QList<storage::ResourceInfo>(const storage::ResourceSearchInfo &)>;

    ResultCount loadPages(QList<ResourceItem *> &out, int loadCount, bool oneRound, bool newer,
                          const PageLoader &loadPage);
    void loadBeforeFromLocal(QList<ResourceItem *> &page, const SearchKey &key, int type, int count,
                             const RowQuery &query, const QSharedPointer<DialogBase> &dialog);
    void loadAfterFromLocal(QList<ResourceItem *> &page, const SearchKey &key, int type, int count,
                            const RowQuery &query, const QSharedPointer<DialogBase> &dialog);
    void loadBeforeFromRemote(QList<ResourceItem *> &page, const QSharedPointer<DialogBase> &dialog,
                              const SearchKey &key, int type, int count);
    QList<ResourceItem *> makeRemoteItems(const QSharedPointer<DialogBase> &dialog,
                                          const QByteArray &reply, const SearchKey &key, int type);
    void makeSearchInfo(storage::ResourceSearchInfo &info, const SearchKey &key, qint64 time,
                        qint64 msgId, int type, int count) const;
    // Rows of one dialog, or of several dialogs when dialog is null.
    void makeMediaItems(const QSharedPointer<DialogBase> &dialog,
                        const QList<storage::ResourceInfo> &rows, QList<ResourceItem *> &items,
                        const RowFilter &filter);
    QList<QSharedPointer<MessageBase>>
    messagesOf(const QSharedPointer<DialogBase> &dialog,
               const QList<const storage::ResourceInfo *> &rows) const;
    void checkItemValid(QList<ResourceItem *> &out, const QList<ResourceItem *> &items) const;
    void removeBeforeRepeat(const QList<storage::ResourceInfo> &rows);
    void removeAfterRepeat(const QList<storage::ResourceInfo> &rows);
    storage::ResourceStorage *resourceDb() const;

    AccountBase *const m_account;
    qint64 m_beforeTime = 0;
    qint64 m_afterTime = 0;
    qint64 m_beforeMsgId = 0;
    qint64 m_afterMsgId = 0;
    bool m_hasMoreBefore = true;
    bool m_hasMoreAfter = true;
    bool m_globalSearch = false;
};
