#pragma once

#include "mediakeeplistmodel.h"
#include "searchmodel.h"
#include "searchsinglequery.h"

#include <atomic>
#include <functional>

class AccountBase;

// The dialogs of one kind whose name matches a keyword and that have no keep time of their own
// yet: what the settings page offers to add. Pages load on the global pool and are appended on
// the model's thread; a page of an older search that arrives late is dropped.
class MediaKeepSearchModel : public MediaKeepListModel, public SearchModel
{
    Q_OBJECT

public:
    // Whether a dialog already has its own keep time; called on the pool.
    using HasException = std::function<bool(const QString &dialogId)>;

    MediaKeepSearchModel(AccountBase *account, HasException hasException,
                         QObject *parent = nullptr);
    // Ends the running page first: it calls back into this object.
    ~MediaKeepSearchModel() override;

    // Starts over with the dialogs of the kind (groups when bGroup) that match keyword.
    void search(const QString &keyword, bool bGroup);
    // Stops the search, waits for its page and empties the list.
    void clear();

    bool canFetchMore(const QModelIndex &parent) const override;
    void fetchMore(const QModelIndex &parent) override;

    ResultCount onLoadingData(const SearchKey &key, int count, int offset) override;

private:
    QList<Row> matches(const QString &keyword, bool bGroup) const;

    AccountBase *const m_account;
    const HasException m_hasException;
    // Written on the model's thread before a search starts, read by its pages.
    std::atomic<int> m_generation {0};
    std::atomic<bool> m_group {false};
    bool m_searching = false; // a search was started since the last clear
    SearchSingleQuery m_query;
};
