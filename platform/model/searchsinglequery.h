#pragma once

#include "searchquery.h"

// The query over one search model, which every paged list of the client uses.
class SearchSingleQuery : public SearchQuery
{
public:
    using SearchQuery::SearchQuery;
};
