#pragma once

#include "resultcount.h"
#include "searchkey.h"

#include <QFuture>
#include <QMutex>
#include <atomic>

class QThreadPool;
class SearchModel;

// Drives a paged search over one SearchModel: one page at a time on a thread pool, with the
// offset and the more-flag kept here. Not a QObject; its methods are called from the owner's
// thread, isQuit from any thread.
class SearchQuery
{
public:
    explicit SearchQuery(SearchModel *model = nullptr);
    // Quits and waits for the running page.
    virtual ~SearchQuery();

    SearchModel *searchModel() const { return m_model; }
    // For owners that make their query before the model that loads its pages.
    void setSearchModel(SearchModel *model);
    // The pool pages run on; the global pool unless set. Not owned.
    void setThreadPool(QThreadPool *pool);

    // Starts a new search: quits and waits for a running page, then loads the first page.
    void search(const SearchKey &key, int count);
    // Loads the next page in a direction; dropped (returns false) while a page runs, after the
    // search was quit, or when no more pages exist in that direction.
    bool loadMore(int count, int direction = 0);
    SearchKey searchKey() const;
    bool hasMore() const;
    int offset() const;
    bool isRunning() const;

    // Stops the search: a running page sees isQuit and gives up; no further page starts.
    void quit();
    bool isQuit() const { return m_quit.load(); }
    // Blocks until the running page has finished.
    void waitForFinish();
    // Back to a fresh state: quit, wait, forget key and offset, allow new pages.
    void reset();

private:
    void startPage(int count, int direction);

    SearchModel *m_model = nullptr;
    QThreadPool *m_pool = nullptr;
    std::atomic<bool> m_quit {false};
    mutable QMutex m_mutex; // guards the members below
    SearchKey m_key;
    int m_offset = 0;
    bool m_hasMore[2] = {true, true};
    QFuture<void> m_running;
};
