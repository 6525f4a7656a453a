#include "mediapreview.h"

#include "accountbase.h"
#include "dialogbase.h"
#include "mediamodellog_p.h"
#include "mediautil.h"
#include "messagebase.h"
#include "ownerthread_p.h"
#include "pagehandover_p.h"
#include "resourceitem.h"

#include <QJSEngine>

namespace {

constexpr int PREFETCH_COUNT = 100;

bool isSameItem(const ResourceItem *a, const ResourceItem *b)
{
    return a->dialogId() == b->dialogId() && a->mediaKey() == b->mediaKey();
}

// incoming without the items held already, which are deleted.
QList<ResourceItem *> withoutHeld(const QList<ResourceItem *> &held,
                                  const QList<ResourceItem *> &incoming)
{
    QList<ResourceItem *> fresh;
    for (ResourceItem *item : incoming) {
        const bool isHeld = std::any_of(held.cbegin(), held.cend(), [item](const ResourceItem *h) {
            return isSameItem(h, item);
        });
        if (isHeld) {
            delete item;
        } else {
            fresh.append(item);
        }
    }
    return fresh;
}

} // namespace

MediaPreview::MediaPreview(AccountBase *account, int windowSize, QObject *parent)
    : QAbstractListModel(parent)
    , MediaLoader(account, nullptr)
    , m_account(account)
    , m_windowSize(windowSize)
    , m_query(this)
{
    setQuery(&m_query);
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

MediaPreview::~MediaPreview()
{
    prepareToClearData();
    qDeleteAll(m_items);
}

ResourceItem *MediaPreview::resourceItem() const
{
    return m_current;
}

bool MediaPreview::hasPrevious() const
{
    return m_currentIndex < count() - 1;
}

bool MediaPreview::hasNext() const
{
    return m_currentIndex >= 1;
}

bool MediaPreview::isQuerying() const
{
    return m_querying.load();
}

QString MediaPreview::dialogId() const
{
    return m_global || !m_dialog.toStrongRef() ? QString() : m_anchor.dialogId;
}

bool MediaPreview::isShowingSearch() const
{
    return !m_query.searchKey().isEmpty();
}

void MediaPreview::setThreadPool(QThreadPool *pool)
{
    m_query.setThreadPool(pool);
}

void MediaPreview::waitForFinish()
{
    m_query.waitForFinish();
}

// ---- opening and paging ----

void MediaPreview::loadFirstByMsg(MessageBase *msgData, const SearchKey &searchFilter,
                                  bool bGlobalSearch, bool bTopicParent)
{
    Q_UNUSED(bTopicParent) // this platform's dialogs have no topics to open the parent of
    if (!msgData) {
        qCWarning(lcMedia, "[media_preview]: no message to open");
        return;
    }
    open({msgData->dialogId(), MediaUtil::makeMediaKey(msgData), msgData->dateTime()},
         msgData->type(), searchFilter, bGlobalSearch);
}

void MediaPreview::loadFirstByMedia(ResourceItem *mediaItem, bool bTopicParent,
                                    const SearchKey &searchFilter, bool bGlobalSearch)
{
    Q_UNUSED(bTopicParent)
    if (!mediaItem) {
        qCWarning(lcMedia, "[media_preview]: no item to open");
        return;
    }
    open({mediaItem->dialogId(), mediaItem->mediaKey(), mediaItem->dateTime()}, mediaItem->type(),
         searchFilter, bGlobalSearch);
}

void MediaPreview::open(const Anchor &anchor, int messageType, const SearchKey &searchFilter,
                        bool bGlobalSearch)
{
    m_query.quit();
    m_query.waitForFinish();
    ++m_generation;
    clearItems();
    const QSharedPointer<DialogBase> dialog = m_account->dialog(anchor.dialogId);
    m_dialog = dialog;
    m_anchor = anchor;
    m_type = MediaUtil::listTypeOf(messageType);
    m_global = bGlobalSearch;
    m_remote = !searchFilter.isEmpty() && !bGlobalSearch && dialog && dialog->canSearchRemote();
    m_keepsAll = bGlobalSearch || !searchFilter.isEmpty();
    setGlobalSearch(bGlobalSearch);
    m_opening.store(true);
    m_pageInFlight = true;
    m_query.search(searchFilter, m_windowSize / 2);
}

void MediaPreview::previousItem()
{
    if (!hasPrevious()) {
        return;
    }
    const bool hadPrevious = hasPrevious();
    const bool hadNext = hasNext();
    if (!m_keepsAll) {
        trimNewerSide();
    }
    if (m_canLoadOlder && count() - m_currentIndex - 1 < m_windowSize / 4) {
        requestPage(SearchModel::Older);
    }
    setCurrent(m_currentIndex + 1);
    notifyNavigation(hadPrevious, hadNext);
    Q_EMIT currentIndexChanged();
}

// A step near an end asks for a page only while none runs; when the one running was for the
// other side, the user would otherwise wait at the last item held for a page never asked for.
void MediaPreview::prefetchNearEnds()
{
    if (m_canLoadOlder && count() - m_currentIndex - 1 < m_windowSize / 4) {
        requestPage(SearchModel::Older);
    } else if (m_canLoadNewer && m_currentIndex < m_windowSize / 4) {
        requestPage(SearchModel::Newer);
    }
}

// One page at a time, until it is handed back: a page that loaded but was not taken yet has
// moved the loader's cursor, and another asked for meanwhile would stack a second window on it.
void MediaPreview::requestPage(int direction)
{
    if (!m_pageInFlight && m_query.loadMore(PREFETCH_COUNT, direction)) {
        m_pageInFlight = true;
    }
}

void MediaPreview::nextItem()
{
    if (!hasNext()) {
        return;
    }
    const bool hadPrevious = hasPrevious();
    const bool hadNext = hasNext();
    if (!m_keepsAll) {
        trimOlderSide();
    }
    if (m_canLoadNewer && m_currentIndex < m_windowSize / 4) {
        requestPage(SearchModel::Newer);
    }
    setCurrent(m_currentIndex - 1);
    notifyNavigation(hadPrevious, hadNext);
    Q_EMIT currentIndexChanged();
}

ResourceItem *MediaPreview::itemByIndex(int index) const
{
    return m_items.value(index, nullptr);
}

void MediaPreview::quitView()
{
    m_query.quit();
    m_query.waitForFinish();
    m_pageInFlight = false;
    m_dialog.clear();
    m_anchor = {};
}

ResultCount MediaPreview::onLoadingData(const SearchKey &key, int count, int offset)
{
    return onLoadingData(key, count, offset, SearchModel::Older);
}

// Answers the query that more may come either way: the preview keeps its own more-flags, since
// trimming opens a side again that a short page had closed.
ResultCount MediaPreview::onLoadingData(const SearchKey &key, int count, int, int direction)
{
    const QSharedPointer<DialogBase> dialog = m_dialog.toStrongRef();
    const bool opening = m_opening.exchange(false);
    Page page;
    if (!dialog && !m_global) {
        handOver(std::move(page), opening);
        return {};
    }
    if (opening) {
        initStatus(m_anchor.key.messageId, m_anchor.dateTime);
    }
    bool olderStalled = false;
    if (opening || direction == SearchModel::Older) {
        const qint64 cursor = beforeMsgId();
        loadBeforeItems(page.older, dialog, key, m_type, count, m_remote);
        olderStalled = page.older.isEmpty() && beforeMsgId() == cursor;
    }
    if (opening || direction == SearchModel::Newer) {
        loadAfterItems(page.newer, dialog, key, m_type, count, m_remote);
    }
    // A server that failed leaves the loader its more-flag but brings nothing and moves no
    // cursor; the preview asks for pages by itself near an end, and would ask again at once,
    // page after page, so it takes the older side as ended until a trim opens it again.
    page.canLoadOlder = hasMoreBefore() && !olderStalled;
    page.canLoadNewer = hasMoreAfter();
    handOver(std::move(page), opening);
    return {count, count};
}

void MediaPreview::handOver(Page page, bool opening)
{
    const quint64 generation = m_generation;
    const int newerCount = int(page.newer.size());
    const bool canLoadOlder = page.canLoadOlder;
    const bool canLoadNewer = page.canLoadNewer;
    handOverPage(this, page.newer + page.older,
                 [this, opening, generation, newerCount, canLoadOlder,
                  canLoadNewer](QList<ResourceItem *> &items) {
                     if (generation != m_generation || m_query.isQuit()) {
                         return;
                     }
                     m_pageInFlight = false;
                     QList<ResourceItem *> older = std::exchange(items, {});
                     QList<ResourceItem *> newer = older.mid(0, newerCount);
                     older.remove(0, newerCount);
                     if (opening) {
                         // Both sides start at the opened instant and both hold the rest of it.
                         takeOpeningPage(newer + withoutHeld(newer, older), canLoadOlder,
                                         canLoadNewer);
                     } else {
                         takeNewerPage(newer, canLoadNewer);
                         takeOlderPage(older, canLoadOlder);
                         trimBehindSteps(!older.isEmpty(), !newer.isEmpty());
                     }
                     prefetchNearEnds();
                 });
}

void MediaPreview::takeOpeningPage(const QList<ResourceItem *> &items, bool canLoadOlder,
                                   bool canLoadNewer)
{
    const bool hadPrevious = hasPrevious();
    const bool hadNext = hasNext();
    beginResetModel();
    const QList<ResourceItem *> dropped = std::exchange(m_items, items);
    endResetModel();
    qDeleteAll(dropped);
    m_canLoadOlder = canLoadOlder;
    m_canLoadNewer = canLoadNewer;
    setCurrent(indexOfAnchor());
    notifyNavigation(hadPrevious, hadNext);
    Q_EMIT currentIndexChanged();
}

void MediaPreview::takeOlderPage(QList<ResourceItem *> items, bool canLoadOlder)
{
    m_canLoadOlder = canLoadOlder;
    // A page may bring an item the hub inserted while it loaded; the one held stays.
    items = withoutHeld(m_items, items);
    if (items.isEmpty()) {
        return;
    }
    const bool hadPrevious = hasPrevious();
    const bool hadNext = hasNext();
    beginInsertRows(QModelIndex(), count(), count() + int(items.size()) - 1);
    m_items.append(items);
    endInsertRows();
    notifyNavigation(hadPrevious, hadNext);
}

void MediaPreview::takeNewerPage(QList<ResourceItem *> items, bool canLoadNewer)
{
    m_canLoadNewer = canLoadNewer;
    // A page may bring an item the hub inserted while it loaded; the one held stays.
    items = withoutHeld(m_items, items);
    if (items.isEmpty()) {
        return;
    }
    const bool hadPrevious = hasPrevious();
    const bool hadNext = hasNext();
    beginInsertRows(QModelIndex(), 0, int(items.size()) - 1);
    m_items = items + m_items;
    endInsertRows();
    if (m_currentIndex >= 0) {
        m_currentIndex += int(items.size());
        Q_EMIT currentIndexChanged();
    }
    notifyNavigation(hadPrevious, hadNext);
}

// The opened item, or the newest one not newer than it when it did not load (its message was
// deleted meanwhile, or it is not in the local table).
int MediaPreview::indexOfAnchor() const
{
    if (m_items.isEmpty()) {
        return -1;
    }
    int fallback = -1;
    for (int row = 0; row < count(); ++row) {
        const ResourceItem *item = m_items.at(row);
        if (item->dialogId() == m_anchor.dialogId && item->mediaKey() == m_anchor.key) {
            return row;
        }
        if (fallback < 0 && item->dateTime() <= m_anchor.dateTime) {
            fallback = row;
        }
    }
    return fallback < 0 ? count() - 1 : fallback;
}

// ---- trimming ----

// Only while no page is on its way: the loader's cursors move with the trimmed end.
void MediaPreview::trimNewerSide()
{
    if (m_currentIndex <= m_windowSize || m_pageInFlight) {
        return;
    }
    int cut = m_currentIndex - m_windowSize / 2;
    while (cut < m_currentIndex && m_items.at(cut - 1)->dateTime() == m_items.at(cut)->dateTime()) {
        ++cut;
    }
    if (cut >= m_currentIndex) {
        return;
    }
    removeRows(0, cut - 1);
    m_currentIndex -= cut;
    const ResourceItem *newest = m_items.constFirst();
    resumeNewerBeyond(newest->messageId(), newest->dateTime());
    m_canLoadNewer = true;
}

void MediaPreview::trimOlderSide()
{
    if (count() - m_currentIndex - 1 <= m_windowSize || m_pageInFlight) {
        return;
    }
    int cut = m_currentIndex + m_windowSize / 2 + 1;
    while (cut < count() && m_items.at(cut - 1)->dateTime() == m_items.at(cut)->dateTime()) {
        ++cut;
    }
    if (cut >= count()) {
        return;
    }
    removeRows(cut, count() - 1);
    const ResourceItem *oldest = m_items.constLast();
    resumeOlderBeyond(oldest->messageId(), oldest->dateTime());
    m_canLoadOlder = true;
}

// Steps taken while a page loaded could not trim the side they moved away from; the page that
// arrived does it. Cutting the newer side moves the index, which views bind to.
void MediaPreview::trimBehindSteps(bool olderArrived, bool newerArrived)
{
    if (m_keepsAll) {
        return;
    }
    if (olderArrived) {
        const int index = m_currentIndex;
        trimNewerSide();
        if (m_currentIndex != index) {
            Q_EMIT currentIndexChanged();
        }
    } else if (newerArrived) {
        trimOlderSide();
    }
}

void MediaPreview::removeRows(int first, int last)
{
    beginRemoveRows(QModelIndex(), first, last);
    const QList<ResourceItem *> removed = m_items.mid(first, last - first + 1);
    m_items.remove(first, last - first + 1);
    endRemoveRows();
    qDeleteAll(removed);
}

// ---- the hub's feed ----

void MediaPreview::updateItem(ResourceItem *item)
{
    if (!item) {
        return;
    }
    const auto held = std::find_if(m_items.begin(), m_items.end(),
                                   [item](const ResourceItem *h) { return isSameItem(h, item); });
    if (held == m_items.end()) {
        insertItem(item);
        return;
    }
    const int row = int(held - m_items.begin());
    ResourceItem *old = std::exchange(*held, item);
    Q_EMIT dataChanged(index(row), index(row), {ItemModelRole});
    if (row == m_currentIndex) {
        setCurrent(row);
    }
    delete old;
}

// Items beyond an end that can still load are left to the page that brings them.
void MediaPreview::insertItem(ResourceItem *item)
{
    if (!item) {
        return;
    }
    int row = 0;
    const bool held = MediaUtil::find(m_items, *item, row);
    const bool beyondNewest = row == 0 && m_canLoadNewer;
    const bool beyondOldest = row == count() && m_canLoadOlder;
    if (held || beyondNewest || beyondOldest || !m_dialog.toStrongRef()) {
        delete item;
        return;
    }
    const bool hadPrevious = hasPrevious();
    const bool hadNext = hasNext();
    beginInsertRows(QModelIndex(), row, row);
    m_items.insert(row, item);
    endInsertRows();
    if (m_currentIndex < 0) {
        setCurrent(0);
    } else if (row <= m_currentIndex) {
        ++m_currentIndex;
    } else {
        notifyNavigation(hadPrevious, hadNext);
        return;
    }
    notifyNavigation(hadPrevious, hadNext);
    Q_EMIT currentIndexChanged();
}

void MediaPreview::removeMessages(const QString &dialogId, const QList<qint64> &messageIds)
{
    removeIf([&dialogId, &messageIds](const ResourceItem *item) {
        return item->dialogId() == dialogId && messageIds.contains(item->messageId());
    });
}

void MediaPreview::removeMessages(const QString &dialogId, const MessageIdRange &range)
{
    removeIf([&dialogId, &range](const ResourceItem *item) {
        return item->dialogId() == dialogId && item->messageId() >= range.from()
                && item->messageId() <= range.to();
    });
}

void MediaPreview::clearHistory(const QString &dialogId, qint64 messageId)
{
    removeIf([&dialogId, messageId](const ResourceItem *item) {
        return item->dialogId() == dialogId && (messageId < 1 || item->messageId() <= messageId);
    });
}

// The shown item, when removed, gives way to the next older one that stays (or the oldest).
void MediaPreview::removeIf(const std::function<bool(const ResourceItem *)> &matches)
{
    const bool hadPrevious = hasPrevious();
    const bool hadNext = hasNext();
    const int oldIndex = m_currentIndex;
    int newIndex = m_currentIndex;
    QList<ResourceItem *> removed;
    for (int row = count() - 1; row >= 0; --row) {
        if (!matches(m_items.at(row))) {
            continue;
        }
        int first = row;
        while (first > 0 && matches(m_items.at(first - 1))) {
            --first;
        }
        beginRemoveRows(QModelIndex(), first, row);
        removed += m_items.mid(first, row - first + 1);
        m_items.remove(first, row - first + 1);
        endRemoveRows();
        if (newIndex > row) {
            newIndex -= row - first + 1;
        } else if (newIndex >= first) {
            newIndex = first;
        }
        row = first;
    }
    if (removed.isEmpty()) {
        return;
    }
    setCurrent(std::min(newIndex, count() - 1));
    notifyNavigation(hadPrevious, hadNext);
    if (m_currentIndex != oldIndex) {
        Q_EMIT currentIndexChanged();
    }
    qDeleteAll(removed);
}

void MediaPreview::prepareToClearData()
{
    m_query.quit();
    m_query.waitForFinish();
}

void MediaPreview::clearData()
{
    prepareToClearData();
    ++m_generation;
    m_pageInFlight = false;
    clearItems();
    m_dialog.clear();
    m_anchor = {};
    m_canLoadOlder = false;
    m_canLoadNewer = false;
}

// ---- state and notices ----

void MediaPreview::setCurrent(int index)
{
    m_currentIndex = index;
    ResourceItem *item = m_items.value(index, nullptr);
    if (std::exchange(m_current, item) != item) {
        Q_EMIT resourceItemChanged();
    }
}

void MediaPreview::notifyNavigation(bool hadPrevious, bool hadNext)
{
    if (hasPrevious() != hadPrevious) {
        Q_EMIT hasPreviousChanged();
    }
    if (hasNext() != hadNext) {
        Q_EMIT hasNextChanged();
    }
}

void MediaPreview::clearItems()
{
    if (m_items.isEmpty() && m_currentIndex < 0) {
        return;
    }
    const bool hadPrevious = hasPrevious();
    const bool hadNext = hasNext();
    beginResetModel();
    const QList<ResourceItem *> dropped = std::exchange(m_items, {});
    endResetModel();
    setCurrent(-1);
    notifyNavigation(hadPrevious, hadNext);
    Q_EMIT currentIndexChanged();
    qDeleteAll(dropped);
}

int MediaPreview::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant MediaPreview::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)
        || role != ItemModelRole) {
        return {};
    }
    return QVariant::fromValue(m_items.at(index.row()));
}

QHash<int, QByteArray> MediaPreview::roleNames() const
{
    return {{ItemModelRole, QByteArrayLiteral("itemModel")}};
}

void MediaPreview::setIsQuerying(bool querying)
{
    runOnOwnerThread(this, [this, querying] { setQuerying(querying); });
}

// Changed on this object's thread only, so that the notice reaches QML where it binds.
void MediaPreview::setQuerying(bool querying)
{
    if (m_querying.exchange(querying) != querying) {
        Q_EMIT isQueryingChanged();
    }
}
