#include "searchquery.h"

#include "searchmodel.h"

#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

SearchQuery::SearchQuery(SearchModel *model)
    : m_model(model)
{ }

SearchQuery::~SearchQuery()
{
    quit();
    waitForFinish();
}

void SearchQuery::setSearchModel(SearchModel *model)
{
    m_model = model;
}

void SearchQuery::setThreadPool(QThreadPool *pool)
{
    QMutexLocker locker(&m_mutex);
    m_pool = pool;
}

void SearchQuery::search(const SearchKey &key, int count)
{
    quit();
    waitForFinish();
    {
        QMutexLocker locker(&m_mutex);
        m_key = key;
        m_offset = 0;
        m_hasMore[0] = m_hasMore[1] = true;
    }
    m_quit.store(false);
    startPage(count, SearchModel::Older);
}

bool SearchQuery::loadMore(int count, int direction)
{
    const int side = direction == SearchModel::Newer ? 1 : 0;
    {
        QMutexLocker locker(&m_mutex);
        if (isQuit() || m_running.isRunning() || !m_hasMore[side]) {
            return false;
        }
    }
    startPage(count, direction);
    return true;
}

void SearchQuery::startPage(int count, int direction)
{
    if (!m_model || count <= 0) {
        return;
    }
    m_model->setIsQuerying(true);
    QMutexLocker locker(&m_mutex);
    const SearchKey key = m_key;
    const int offset = m_offset;
    QThreadPool *pool = m_pool ? m_pool : QThreadPool::globalInstance();
    m_running = QtConcurrent::run(pool, [this, key, count, offset, direction] {
        const ResultCount result = m_model->onLoadingData(key, count, offset, direction);
        if (!isQuit()) {
            QMutexLocker locker(&m_mutex);
            m_offset += result.loaded;
            m_hasMore[direction == SearchModel::Newer ? 1 : 0] = result.count >= count;
        }
        m_model->onFinished();
        m_model->setIsQuerying(false);
    });
}

SearchKey SearchQuery::searchKey() const
{
    QMutexLocker locker(&m_mutex);
    return m_key;
}

bool SearchQuery::hasMore() const
{
    QMutexLocker locker(&m_mutex);
    return m_hasMore[0];
}

int SearchQuery::offset() const
{
    QMutexLocker locker(&m_mutex);
    return m_offset;
}

bool SearchQuery::isRunning() const
{
    QMutexLocker locker(&m_mutex);
    return m_running.isRunning();
}

void SearchQuery::quit()
{
    m_quit.store(true);
}

void SearchQuery::waitForFinish()
{
    QFuture<void> running;
    {
        QMutexLocker locker(&m_mutex);
        running = m_running;
    }
    running.waitForFinished();
}

void SearchQuery::reset()
{
    quit();
    waitForFinish();
    QMutexLocker locker(&m_mutex);
    m_key = SearchKey();
    m_offset = 0;
    m_hasMore[0] = m_hasMore[1] = true;
    m_quit.store(false);
}
