#include "searchmodel.h"

#include "searchquery.h"

SearchModel::SearchModel(SearchQuery *query)
    : m_query(query)
{ }

SearchModel::~SearchModel() = default;

bool SearchModel::isQuit() const
{
    return m_query && m_query->isQuit();
}

ResultCount SearchModel::onLoadingData(const SearchKey &key, int count, int offset, int direction)
{
    Q_UNUSED(direction)
    return onLoadingData(key, count, offset);
}

void SearchModel::onFinished() { }

void SearchModel::setIsQuerying(bool querying)
{
    Q_UNUSED(querying)
}
