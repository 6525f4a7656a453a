#pragma once

#include "medialoader.h"
#include "mediamodel_export.h"
#include "messagekey.h"
#include "resourcemodel.h"
#include "searchkey.h"
#include "searchsinglequery.h"

#include <QMutex>
#include <QSet>
#include <QSharedPointer>
#include <atomic>

class AccountBase;
class DialogBase;
class MessageBase;

// The playlist of the audio player: the voice or music items of one dialog, newest first
// (position 0 is the newest), loaded page by page around the message that started playback.
// Tells the player which item comes next (older), previous (newer), first, last or at random,
// fetches 100 more items when playback nears either end, and keeps the keys of the items not yet
// handed out for random play (the unplayed bag).
//
// One per account, owned by its MediaMgr, living on the main thread. Pages load on the query's
// worker and are merged into the list on the main thread; items already held stay where they are,
// so that the item the player holds is never replaced under it.
class MEDIAMODEL_EXPORT MediaAudio : public ResourceModel, public MediaLoader
{
    Q_OBJECT
    Q_PROPERTY(bool isQuerying READ isQuerying NOTIFY isQueryingChanged)

public:
    // Items requested per page, and how close to an end of the list a prefetch starts.
    static constexpr int PAGE_COUNT = 100;
    static constexpr int PREFETCH_MARGIN = 5;

    // Does not take ownership of account.
    explicit MediaAudio(AccountBase *account, QObject *parent = nullptr);
    // Quits the query and waits for a running page, whose items are destroyed instead of merged.
    ~MediaAudio() override;

    bool isQuerying() const;
    // The dialog and message type of the list; empty and 0 before the first load.
    QString dialogId() const;
    int contentType() const;
    // Whether the list was built for one message alone; such a list never pages.
    bool isSingleMode() const;
    // The filter of the current list.
    SearchKey searchKey() const;
    // How many loaded items have not been handed out yet.
    int unplayedCount() const;

    // Builds a list holding just the item of msg, unless the current one is that list already.
    void loadWithMessage(MessageBase *msg);
    // Builds the list of msg's dialog and type filtered by key, holding msg's item at once and
    // loading up to 100 older and 100 newer items around it; the current list is kept when it is
    // such a list already and holds msg's item.
    void loadAroundMessage(MessageBase *msg, const SearchKey &key);

    // The items below are taken out of the unplayed bag when handed out.
    // The item of msg; null when the list does not hold it.
    ResourceItem *find(MessageBase *msg);
    // The item after item (older); null when item is not held or is the last. Fetches older
    // items when fewer than five remain after the answer.
    ResourceItem *next(ResourceItem *item);
    // The item before item (newer); null when item is not held or is the first. Fetches newer
    // items when the answer lies among the first five.
    ResourceItem *previous(ResourceItem *item);
    ResourceItem *first();
    ResourceItem *last();
    ResourceItem *itemAt(int position);
    // A random item: a draw from the unplayed bag while it holds keys, else up to ten draws over
    // the whole list for one whose message id is not excludedMessageId (the last draw otherwise).
    // Fetches more items when the bag holds fewer than five keys.
    ResourceItem *random(qint64 excludedMessageId);

    // Ends the running page and waits for it; the hub calls it before clearing.
    void prepareToClear();
    // Empties the list and forgets its dialog.
    void clear();
    // Blocks until the running page has ended.
    void waitForFinish();

    ResultCount onLoadingData(const SearchKey &key, int count, int offset) override;
    ResultCount onLoadingData(const SearchKey &key, int count, int offset, int direction) override;
    void setIsQuerying(bool querying) override;

public Q_SLOTS:
    // Asks for 100 more older items.
    void loadBefore();
    // Asks for 100 more newer items.
    void loadAfter();

Q_SIGNALS:
    void isQueryingChanged();

private:
    struct Anchor
    {
        QSharedPointer<DialogBase> dialog;
        int type = 0;
        qint64 messageId = 0;
        qint64 dateTime = 0;
        quint64 generation = 0;
    };

    bool holds(MessageBase *msg, bool bSingle) const;
    void rebuild(MessageBase *msg, bool bSingle);
    ResourceItem *takeFromBag(ResourceItem *item);
    bool position(const MessageKey &key, int &pos) const;
    ResourceItem *drawFromBag();
    ResourceItem *drawFromList(qint64 excludedMessageId);
    void requestPage(int direction);
    Anchor anchor() const;
    QList<ResourceItem *> loadAround(const Anchor &at, const SearchKey &key, int count,
                                     ResultCount &result);
    void mergePage(QList<ResourceItem *> &page, quint64 generation, int direction);
    void setQuerying(bool querying);

    AccountBase *const m_account;
    std::atomic<bool> m_querying {false}; // changed on this object's thread only
    mutable QMutex m_anchorMutex;         // guards m_anchor, read by the worker
    Anchor m_anchor;
    bool m_singleMode = false;
    bool m_grewNewer = false;    // the last page merged was a newer one
    QSet<MessageKey> m_unplayed; // main thread
    // Last, so that it quits and waits before anything a running page touches goes away.
    SearchSingleQuery m_query;
};
