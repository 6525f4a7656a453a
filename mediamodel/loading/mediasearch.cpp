#include "mediasearch.h"

#include "accountbase.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "mediamodel.h"
#include "messageidrange.h"
#include "ownerthread_p.h"
#include "pagehandover_p.h"
#include "resourceitem.h"
#include "resourcemodel.h"

#include <QJSEngine>

namespace {

constexpr int FIRST_PAGE_COUNT = 100;

ResourceModel *ownedModel(ResourceModel *model)
{
    QJSEngine::setObjectOwnership(model, QJSEngine::CppOwnership);
    return model;
}

} // namespace

MediaSearch::MediaSearch(AccountBase *account, bool globalSearch, const QList<QString> &dialogIds,
                         QObject *parent)
    : QObject(parent)
    , MediaLoader(account, nullptr)
    , m_account(account)
    , m_resourceModel(ownedModel(new ResourceModel(CONTENT_FILE, this)))
    , m_mediaModel(ownedModel(globalSearch ? new ResourceModel(CONTENT_PHOTO, this)
                                           : new MediaModel(CONTENT_PHOTO, this)))
    , m_currentModel(m_resourceModel)
    , m_dialogIds(dialogIds)
    , m_alwaysGlobal(globalSearch)
    , m_query(this)
{
    setQuery(&m_query);
    setGlobalSearch(globalSearch);
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

MediaSearch::~MediaSearch()
{
    m_query.quit();
    m_query.waitForFinish();
}

bool MediaSearch::isQuerying() const
{
    return m_querying.load();
}

void MediaSearch::searchMediaInfo(const QString &dialogId, int type, const QString &keyword,
                                  qint64 userId, qint64 startTime, qint64 endTime,
                                  const QString &sourceDlgId)
{
    SearchKey key;
    key.keyword = keyword;
    if (userId > 0) {
        key.senderIds.append(userId);
    }
    key.startTime = startTime;
    key.endTime = endTime;
    key.sourceDlgId = sourceDlgId;
    if (key.isEmpty()) {
        return;
    }
    searchMediaInfo(dialogId, type, key, false);
}

void MediaSearch::searchMediaInfo(const QString &dialogId, int type, const SearchKey &key,
                                  bool bGlobalSearch)
{
    {
        QMutexLocker locker(&m_mutex);
        const QString currentDialogId = m_dialog ? m_dialog->dialogId() : QString();
        if (m_query.searchKey() == key && m_type == type && currentDialogId == dialogId) {
            return;
        }
    }
    m_query.quit();
    m_query.waitForFinish();
    {
        QMutexLocker locker(&m_mutex);
        m_dialog = m_account->dialog(dialogId);
        m_type = type;
        m_remote = m_dialog && m_dialog->isValid() && m_dialog->canSearchRemote()
                && m_dialog->hasRemoteHistory();
        m_firstPagePending = true;
        setGlobalSearch(m_alwaysGlobal || bGlobalSearch);
        if (type == CONTENT_PHOTO || type == CONTENT_VIDEO) {
            m_currentModel = m_mediaModel;
        } else {
            m_resourceModel->setType(type);
            m_currentModel = m_resourceModel;
        }
    }
    m_query.search(key, FIRST_PAGE_COUNT);
}

void MediaSearch::loadBefore(int loadCount)
{
    m_query.loadMore(loadCount);
}

void MediaSearch::quitSearch()
{
    m_query.quit();
}

void MediaSearch::waitForFinish()
{
    m_query.waitForFinish();
}

SearchKey MediaSearch::searchFilter() const
{
    return m_query.searchKey();
}

ResourceModel *MediaSearch::searchModel(int type)
{
    if (type == CONTENT_PHOTO) {
        return m_mediaModel;
    }
    m_resourceModel->setType(type);
    return m_resourceModel;
}

ResourceModel *MediaSearch::currentModel() const
{
    QMutexLocker locker(&m_mutex);
    return m_currentModel;
}

ResultCount MediaSearch::onLoadingData(const SearchKey &key, int count, int)
{
    QSharedPointer<DialogBase> dialog;
    ResourceModel *model = nullptr;
    int type = 0;
    bool remote = false;
    bool firstPage = false;
    {
        QMutexLocker locker(&m_mutex);
        dialog = m_dialog;
        model = m_currentModel;
        type = m_type;
        remote = m_remote;
        firstPage = std::exchange(m_firstPagePending, false);
    }
    const bool acrossDialogs = isGlobalSearch() && !m_dialogIds.isEmpty();
    if (!dialog && !acrossDialogs) {
        return {};
    }
    if (firstPage) {
        initStatus(startCursor(dialog, key), key.endTime);
    }
    QList<ResourceItem *> items;
    const ResultCount result = acrossDialogs
            ? loadBeforeItems(items, m_dialogIds, key, type, count)
            : loadBeforeItems(items, dialog, key, type, count, remote);
    if (isQuit()) {
        qDeleteAll(items);
        return {};
    }
    handOverPage(this, items, [this, model, firstPage](QList<ResourceItem *> &page) {
        if (m_query.isQuit() || currentModel() != model) {
            return;
        }
        if (firstPage) {
            model->resetItems(std::exchange(page, {}));
        } else {
            model->append(std::exchange(page, {}));
        }
    });
    return result;
}

// A search from a point in time starts at the newest message at or before it, which the server
// pages by id.
qint64 MediaSearch::startCursor(const QSharedPointer<DialogBase> &dialog,
                                const SearchKey &key) const
{
    QMutexLocker locker(&m_mutex);
    if (!dialog || !m_remote || key.endTime < 1 || !m_account->canMapTimeToMessage()) {
        return 0;
    }
    return m_account->messageIdAtTime(dialog->dialogId(), key.endTime + 1) - 1;
}

void MediaSearch::setIsQuerying(bool querying)
{
    runOnOwnerThread(this, [this, querying] { setQuerying(querying); });
}

// Changed on this object's thread only, so that the notice reaches QML where it binds.
void MediaSearch::setQuerying(bool querying)
{
    if (m_querying.exchange(querying) != querying) {
        Q_EMIT isQueryingChanged();
    }
}

void MediaSearch::batchRemove(const MessageIdRange &range)
{
    currentModel()->batchDelete(range);
}

void MediaSearch::batchRemove(const QList<qint64> &messageIds)
{
    currentModel()->batchDelete(messageIds);
}

void MediaSearch::batchRemove(const QString &dialogId, const MessageIdRange &range)
{
    currentModel()->batchDelete(dialogId, range);
}

void MediaSearch::batchRemove(const QString &dialogId, const QList<qint64> &messageIds)
{
    currentModel()->batchDelete(dialogId, messageIds);
}

void MediaSearch::removeOne(qint64 messageId)
{
    currentModel()->deleteItem(messageId);
}

void MediaSearch::removeOne(const QString &dialogId, qint64 messageId)
{
    currentModel()->deleteItem(dialogId, messageId);
}

void MediaSearch::clearResource(const QString &dialogId)
{
    currentModel()->clearResource(dialogId, 0);
}

void MediaSearch::clearAll()
{
    currentModel()->clearAll();
}
