#pragma once

#include "resultcount.h"
#include "searchkey.h"

class SearchQuery;

// The side of a paged search that loads the pages. Not a QObject: the classes that load pages
// are list models or plain QObjects of their own. The owning SearchQuery calls onLoadingData on
// a worker thread.
class SearchModel
{
public:
    enum Direction { Older = 0, Newer = 1 };

    explicit SearchModel(SearchQuery *query);
    virtual ~SearchModel();

    SearchQuery *query() const { return m_query; }
    void setQuery(SearchQuery *query) { m_query = query; }
    // Whether the owning search has been quit; polled by loaders between pages and rows.
    bool isQuit() const;

    // Loads one page of count items; offset 0 is the first page. Runs on a worker thread.
    virtual ResultCount onLoadingData(const SearchKey &key, int count, int offset) = 0;
    // The paging form of the same; older or newer pages of a list that grows both ways.
    virtual ResultCount onLoadingData(const SearchKey &key, int count, int offset, int direction);
    // After each page, on the same worker thread.
    virtual void onFinished();
    // true on the thread that starts a page, false on the worker after onFinished; a model
    // that shows the state posts it to its own thread.
    virtual void setIsQuerying(bool querying);

private:
    SearchQuery *m_query = nullptr;
};
