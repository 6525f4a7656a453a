#include "mediaresource.h"

#include "contenttype.h"
#include "dialogbase.h"
#include "mediamodel.h"
#include "ownerthread_p.h"
#include "pagehandover_p.h"
#include "resourceitem.h"
#include "resourcemodel.h"

#include <QJSEngine>

namespace {

constexpr int REFRESH_COUNT = 100;

ResourceModel *makeModel(int type, QObject *parent)
{
    return type == CONTENT_PHOTO ? new MediaModel(type, parent) : new ResourceModel(type, parent);
}

} // namespace

MediaResource::MediaResource(AccountBase *account, QSharedPointer<DialogBase> dialog,
                             const QList<QString> &dialogIds, int type, const QString &sourceDlgId,
                             QObject *parent)
    : QObject(parent)
    , MediaLoader(account, nullptr)
    , m_dialog(dialog)
    , m_model(makeModel(type, this))
    , m_dialogIds(dialogIds)
    , m_sourceDlgId(sourceDlgId)
    , m_query(this)
{
    setQuery(&m_query);
    setGlobalSearch(!dialogIds.isEmpty());
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
    QJSEngine::setObjectOwnership(m_model, QJSEngine::CppOwnership);
}

MediaResource::~MediaResource()
{
    Q_EMIT startDestroy();
    m_query.quit();
    m_query.waitForFinish();
}

bool MediaResource::isQuerying() const
{
    return m_querying.load();
}

void MediaResource::loadBefore(int loadCount)
{
    m_query.loadMore(loadCount);
}

SearchKey MediaResource::searchFilter() const
{
    return m_query.searchKey();
}

void MediaResource::refresh()
{
    if (!m_dialog.toStrongRef()) {
        return;
    }
    SearchKey key;
    {
        QMutexLocker locker(&m_mutex);
        key.sourceDlgId = m_sourceDlgId;
    }
    m_query.search(key, REFRESH_COUNT);
}

void MediaResource::quit()
{
    m_query.quit();
}

void MediaResource::waitForFinish()
{
    m_query.waitForFinish();
}

ResultCount MediaResource::onLoadingData(const SearchKey &key, int count, int offset)
{
    const QSharedPointer<DialogBase> dialog = m_dialog.toStrongRef();
    if (!dialog) {
        return {};
    }
    if (offset == 0) {
        initStatus(0, 0);
    }
    QList<QString> dialogIds;
    {
        QMutexLocker locker(&m_mutex);
        dialogIds = m_dialogIds;
    }
    QList<ResourceItem *> items;
    const ResultCount result = dialogIds.isEmpty()
            ? loadBeforeItems(items, dialog, key, m_model->type(), count, false)
            : loadBeforeItems(items, dialogIds, key, m_model->type(), count);
    handOver(items, offset == 0, !hasMoreBefore());
    return result;
}

void MediaResource::setIsQuerying(bool querying)
{
    runOnOwnerThread(this, [this, querying] { setQuerying(querying); });
}

// The first page of a search replaces the list, so that a refresh shows each item once. The last
// one is handed over even when empty, for the list to know it is complete.
void MediaResource::handOver(const QList<ResourceItem *> &items, bool firstPage, bool lastPage)
{
    if (items.isEmpty() && !firstPage && !lastPage) {
        return;
    }
    handOverPage(this, items, [this, firstPage, lastPage](QList<ResourceItem *> &page) {
        if (m_query.isQuit()) {
            return;
        }
        m_loadedOldest = lastPage;
        if (firstPage) {
            m_model->resetItems(std::exchange(page, {}));
        } else {
            m_model->append(std::exchange(page, {}));
        }
    });
}

// Changed on this object's thread only, so that the notice reaches QML where it binds.
void MediaResource::setQuerying(bool querying)
{
    if (m_querying.exchange(querying) != querying) {
        Q_EMIT isQueryingChanged();
    }
}
