#pragma once

#include "medialoader.h"
#include "mediamodel_export.h"
#include "messageidrange.h"
#include "messagekey.h"
#include "resourceitem.h"
#include "searchkey.h"
#include "searchsinglequery.h"

#include <QAbstractListModel>
#include <QSharedPointer>
#include <QWeakPointer>
#include <atomic>
#include <functional>

class MessageBase;
class QThreadPool;

// The full-screen viewer's list: a window of the items around the one shown, newest first, that
// grows by pages as the user nears either end and drops what lies far behind.
//
// Lives on the thread that created it (the GUI thread): the list, the current index and every
// notice change there only. Pages load on a pool thread and are handed back. Owns its items.
//
// A preview of a dialog trims its window as the user moves: the side moved away from is cut to
// half a window once it exceeds a window, and the loader resumes from the new end, so those
// items come back if the user returns. A preview of a search result or of a search across
// dialogs keeps everything it loaded: its pages may come from the server, which cannot be asked
// again from a cursor.
class MEDIAMODEL_EXPORT MediaPreview : public QAbstractListModel, public MediaLoader
{
    Q_OBJECT
    Q_PROPERTY(int currentIndex READ currentIndex NOTIFY currentIndexChanged)
    Q_PROPERTY(ResourceItem *resourceItem READ resourceItem NOTIFY resourceItemChanged)
    Q_PROPERTY(bool hasPrevious READ hasPrevious NOTIFY hasPreviousChanged)
    Q_PROPERTY(bool hasNext READ hasNext NOTIFY hasNextChanged)
    Q_PROPERTY(bool isQuerying READ isQuerying NOTIFY isQueryingChanged)

public:
    enum Roles { ItemModelRole = Qt::UserRole + 1 };

    // Does not take ownership of account.
    MediaPreview(AccountBase *account, int windowSize, QObject *parent = nullptr);
    // Ends the load and deletes the items.
    ~MediaPreview() override;

    int windowSize() const { return m_windowSize; }
    int count() const { return int(m_items.size()); }
    int currentIndex() const { return m_currentIndex; }
    ResourceItem *resourceItem() const;
    bool hasPrevious() const;
    bool hasNext() const;
    bool isQuerying() const;
    bool canLoadOlder() const { return m_canLoadOlder; }
    bool canLoadNewer() const { return m_canLoadNewer; }

    // The dialog shown; empty when nothing is open or the preview spans dialogs.
    QString dialogId() const;
    // The list type shown (photos and videos together as photos).
    int listType() const { return m_type; }
    // Whether the items are the hits of a search.
    bool isShowingSearch() const;

    // The pool pages load on; the global pool without one. Not owned.
    void setThreadPool(QThreadPool *pool);
    // Blocks until the running page has loaded.
    void waitForFinish();

    // The hub's feed of new, edited and removed media; GUI thread. The item becomes the
    // preview's, which deletes it when it does not take it.
    void updateItem(ResourceItem *item);
    void insertItem(ResourceItem *item);
    void removeMessages(const QString &dialogId, const QList<qint64> &messageIds);
    void removeMessages(const QString &dialogId, const MessageIdRange &range);
    // Drops the dialog's items up to and including messageId (all for messageId < 1).
    void clearHistory(const QString &dialogId, qint64 messageId);
    // Ends loading and waits: the account's data is about to go.
    void prepareToClearData();
    // Drops everything; the next opening starts afresh.
    void clearData();

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    ResultCount onLoadingData(const SearchKey &key, int count, int offset) override;
    ResultCount onLoadingData(const SearchKey &key, int count, int offset, int direction) override;
    void setIsQuerying(bool querying) override;

public Q_SLOTS:
    // Opens on a message's media (or link) and loads half a window on each side of it.
    void loadFirstByMsg(MessageBase *msgData, const SearchKey &searchFilter = SearchKey(),
                        bool bGlobalSearch = false, bool bTopicParent = false);
    void loadFirstByMedia(ResourceItem *mediaItem, bool bTopicParent,
                          const SearchKey &searchFilter = SearchKey(), bool bGlobalSearch = false);
    // One step older (previous) or newer (next); loads more near the end of what is held.
    void previousItem();
    void nextItem();
    ResourceItem *itemByIndex(int index) const;
    // Ends the load and forgets the dialog, so that the next opening starts afresh.
    void quitView();

Q_SIGNALS:
    void resourceItemChanged();
    void hasPreviousChanged();
    void hasNextChanged();
    void currentIndexChanged();
    void isQueryingChanged();

private:
    struct Anchor
    {
        QString dialogId;
        MessageKey key;
        qint64 dateTime = 0;
    };
    struct Page
    {
        QList<ResourceItem *> newer; // newest first
        QList<ResourceItem *> older; // newest first
        bool canLoadOlder = false;
        bool canLoadNewer = false;
    };

    void open(const Anchor &anchor, int messageType, const SearchKey &searchFilter,
              bool bGlobalSearch);
    void handOver(Page page, bool opening);
    void takeOpeningPage(const QList<ResourceItem *> &items, bool canLoadOlder, bool canLoadNewer);
    void takeOlderPage(QList<ResourceItem *> items, bool canLoadOlder);
    void takeNewerPage(QList<ResourceItem *> items, bool canLoadNewer);
    int indexOfAnchor() const;
    void prefetchNearEnds();
    void requestPage(int direction);

    void trimNewerSide();
    void trimOlderSide();
    void trimBehindSteps(bool olderArrived, bool newerArrived);
    void removeRows(int first, int last);
    void removeIf(const std::function<bool(const ResourceItem *)> &matches);
    void setCurrent(int index);
    void notifyNavigation(bool hadPrevious, bool hadNext);
    void clearItems();
    void setQuerying(bool querying);

    AccountBase *const m_account;
    const int m_windowSize;
    // Owned, newest first; changed on this object's thread only.
    QList<ResourceItem *> m_items;
    int m_currentIndex = -1;
    ResourceItem *m_current = nullptr;
    bool m_canLoadOlder = false;
    bool m_canLoadNewer = false;
    // What is open. Written on this object's thread only while no page runs, read by the pages.
    QWeakPointer<DialogBase> m_dialog;
    Anchor m_anchor;
    int m_type = 0;
    bool m_global = false;
    bool m_remote = false;
    bool m_keepsAll = false;  // a search's preview is never trimmed
    quint64 m_generation = 0; // counts openings, so that a page of an earlier one is dropped
    // A page asked for has not been handed back yet: its loader's cursors are the worker's.
    bool m_pageInFlight = false;
    std::atomic<bool> m_opening {false};
    std::atomic<bool> m_querying {false}; // changed on this object's thread only
    // Last, so that it quits and waits before anything a running page touches goes away.
    SearchSingleQuery m_query;
};
