#include "mediaaudio.h"

#include "accountbase.h"
#include "dialogbase.h"
#include "loading/pagehandover_p.h"
#include "mediamodellog_p.h"
#include "mediautil.h"
#include "messagebase.h"
#include "ownerthread_p.h"
#include "resourceitem.h"

#include <QJSEngine>
#include <QRandomGenerator64>

namespace {

constexpr int RANDOM_TRIES = 10;

quint32 systemRandom()
{
    return quint32(QRandomGenerator64::system()->generate());
}

} // namespace

MediaAudio::MediaAudio(AccountBase *account, QObject *parent)
    : ResourceModel(0, parent)
    , MediaLoader(account, nullptr)
    , m_account(account)
    , m_query(this)
{
    setQuery(&m_query);
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

MediaAudio::~MediaAudio()
{
    m_query.quit();
    m_query.waitForFinish();
}

bool MediaAudio::isQuerying() const
{
    return m_querying.load();
}

QString MediaAudio::dialogId() const
{
    const Anchor at = anchor();
    return at.dialog ? at.dialog->dialogId() : QString();
}

int MediaAudio::contentType() const
{
    return anchor().type;
}

bool MediaAudio::isSingleMode() const
{
    return m_singleMode;
}

SearchKey MediaAudio::searchKey() const
{
    return m_query.searchKey();
}

int MediaAudio::unplayedCount() const
{
    return int(m_unplayed.size());
}

void MediaAudio::loadWithMessage(MessageBase *msg)
{
    if (!msg || holds(msg, true)) {
        return;
    }
    rebuild(msg, true);
}

void MediaAudio::loadAroundMessage(MessageBase *msg, const SearchKey &key)
{
    if (!msg || (holds(msg, false) && m_query.searchKey() == key)) {
        return;
    }
    rebuild(msg, false);
    m_query.search(key, PAGE_COUNT);
}

bool MediaAudio::holds(MessageBase *msg, bool bSingle) const
{
    int pos = 0;
    return m_singleMode == bSingle && dialogId() == msg->dialogId() && contentType() == msg->type()
            && position(MediaUtil::makeMediaKey(msg), pos);
}

// The list starts with the message's own item, so that the player can play it before any page
// arrives; pages of an earlier list that are still on their way are dropped by their generation.
void MediaAudio::rebuild(MessageBase *msg, bool bSingle)
{
    m_query.reset();
    const QSharedPointer<MessageBase> shared = msg->sharedFromThis();
    const QSharedPointer<DialogBase> dialog = m_account->dialog(msg->dialogId());
    if (!shared || !dialog) {
        qCWarning(lcMedia) << "no playlist for message" << msg->msgId() << "of" << msg->dialogId()
                           << ": its dialog or message is not held by the account";
    }
    auto *own = shared && dialog ? new ResourceItem(shared) : nullptr;
    {
        QMutexLocker locker(&m_anchorMutex);
        m_anchor.dialog = own ? dialog : QSharedPointer<DialogBase>();
        m_anchor.type = msg->type();
        m_anchor.messageId = own ? own->messageId() : 0;
        m_anchor.dateTime = own ? own->dateTime() : 0;
        ++m_anchor.generation;
    }
    m_singleMode = bSingle;
    m_grewNewer = false;
    m_unplayed.clear();
    setType(msg->type());
    if (own) {
        m_unplayed.insert(own->mediaKey());
        resetItems({own});
    } else {
        clearAll();
    }
}

ResourceItem *MediaAudio::find(MessageBase *msg)
{
    int pos = 0;
    return msg && position(MediaUtil::makeMediaKey(msg), pos) ? itemAt(pos) : nullptr;
}

ResourceItem *MediaAudio::next(ResourceItem *item)
{
    int pos = 0;
    if (!item || !position(item->mediaKey(), pos)) {
        return nullptr;
    }
    ResourceItem *found = itemAt(pos + 1);
    const int remaining = count() - 1 - (pos + 1);
    if (remaining < PREFETCH_MARGIN) {
        requestPage(SearchModel::Older);
    }
    return found;
}

ResourceItem *MediaAudio::previous(ResourceItem *item)
{
    int pos = 0;
    if (!item || !position(item->mediaKey(), pos)) {
        return nullptr;
    }
    ResourceItem *found = itemAt(pos - 1);
    if (pos - 1 < PREFETCH_MARGIN) {
        requestPage(SearchModel::Newer);
    }
    return found;
}

ResourceItem *MediaAudio::first()
{
    return itemAt(0);
}

ResourceItem *MediaAudio::last()
{
    return itemAt(count() - 1);
}

ResourceItem *MediaAudio::itemAt(int position)
{
    return takeFromBag(getResourceItem(position));
}

ResourceItem *MediaAudio::random(qint64 excludedMessageId)
{
    ResourceItem *picked = m_unplayed.isEmpty() ? drawFromList(excludedMessageId) : drawFromBag();
    if (m_unplayed.size() < PREFETCH_MARGIN) {
        requestPage(m_grewNewer ? SearchModel::Newer : SearchModel::Older);
    }
    return picked;
}

// A key that names no loaded item any more (its message went) leaves the bag as well, so that
// the bag never keeps answering with nothing.
ResourceItem *MediaAudio::drawFromBag()
{
    const QList<MessageKey> keys = m_unplayed.values();
    const MessageKey key = keys.at(systemRandom() % quint32(keys.size()));
    m_unplayed.remove(key);
    int pos = 0;
    return position(key, pos) ? getResourceItem(pos) : nullptr;
}

ResourceItem *MediaAudio::drawFromList(qint64 excludedMessageId)
{
    ResourceItem *drawn = nullptr;
    for (int attempt = 0; attempt < RANDOM_TRIES; ++attempt) {
        const int n = count();
        if (n == 0) {
            return nullptr;
        }
        drawn = itemAt(int(systemRandom() % quint32(n)));
        if (drawn && drawn->messageId() != excludedMessageId) {
            return drawn;
        }
    }
    return drawn;
}

ResourceItem *MediaAudio::takeFromBag(ResourceItem *item)
{
    if (item) {
        m_unplayed.remove(item->mediaKey());
    }
    return item;
}

bool MediaAudio::position(const MessageKey &key, int &pos) const
{
    QMutexLocker locker(&mutex());
    return MediaUtil::find(items(), key, pos);
}

void MediaAudio::loadBefore()
{
    requestPage(SearchModel::Older);
}

void MediaAudio::loadAfter()
{
    requestPage(SearchModel::Newer);
}

// A list built for one message stays that one item: paging it would turn it into a list that
// the next single play could no longer reuse.
void MediaAudio::requestPage(int direction)
{
    if (m_singleMode || !anchor().dialog) {
        return;
    }
    m_query.loadMore(PAGE_COUNT, direction);
}

void MediaAudio::prepareToClear()
{
    m_query.quit();
    m_query.waitForFinish();
}

void MediaAudio::clear()
{
    m_query.reset();
    {
        QMutexLocker locker(&m_anchorMutex);
        m_anchor = Anchor {{}, 0, 0, 0, m_anchor.generation + 1};
    }
    m_singleMode = false;
    m_grewNewer = false;
    m_unplayed.clear();
    clearAll();
}

void MediaAudio::waitForFinish()
{
    m_query.waitForFinish();
}

MediaAudio::Anchor MediaAudio::anchor() const
{
    QMutexLocker locker(&m_anchorMutex);
    return m_anchor;
}

ResultCount MediaAudio::onLoadingData(const SearchKey &key, int count, int offset)
{
    return onLoadingData(key, count, offset, SearchModel::Older);
}

// Worker thread. The first page of a list reaches both ways from its message; later pages go
// on from where the loader's cursors stopped.
ResultCount MediaAudio::onLoadingData(const SearchKey &key, int count, int offset, int direction)
{
    const Anchor at = anchor();
    if (!at.dialog) {
        return {};
    }
    ResultCount result;
    QList<ResourceItem *> page;
    if (offset == 0) {
        page = loadAround(at, key, count, result);
    } else if (direction == SearchModel::Newer) {
        result = loadAfterItems(page, at.dialog, key, at.type, count, false);
    } else {
        result = loadBeforeItems(page, at.dialog, key, at.type, count, false);
    }
    handOverPage(this, page, [this, generation = at.generation, direction](auto &items) {
        mergePage(items, generation, direction);
    });
    return result;
}

QList<ResourceItem *> MediaAudio::loadAround(const Anchor &at, const SearchKey &key, int count,
                                             ResultCount &result)
{
    initStatus(at.messageId, at.dateTime);
    QList<ResourceItem *> older;
    result = loadBeforeItems(older, at.dialog, key, at.type, count, false);
    QList<ResourceItem *> newer;
    const ResultCount newerResult = loadAfterItems(newer, at.dialog, key, at.type, count, false);
    result.loaded += newerResult.loaded;
    return newer + older;
}

// Main thread. Items already held stay, so that pointers the player holds remain valid; only
// items new to the list enter the unplayed bag.
void MediaAudio::mergePage(QList<ResourceItem *> &page, quint64 generation, int direction)
{
    if (m_query.isQuit() || generation != anchor().generation) {
        return;
    }
    const QList<ResourceItem *> incoming = std::exchange(page, {});
    for (ResourceItem *item : incoming) {
        int pos = 0;
        if (!item || position(item->mediaKey(), pos)) {
            delete item;
            continue;
        }
        m_unplayed.insert(item->mediaKey());
        insert(item);
    }
    if (!incoming.isEmpty()) {
        m_grewNewer = direction == SearchModel::Newer;
    }
}

void MediaAudio::setIsQuerying(bool querying)
{
    runOnOwnerThread(this, [this, querying] { setQuerying(querying); });
}

void MediaAudio::setQuerying(bool querying)
{
    if (m_querying.exchange(querying) != querying) {
        Q_EMIT isQueryingChanged();
    }
}
