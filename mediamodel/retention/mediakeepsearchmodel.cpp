#include "mediakeepsearchmodel.h"

#include "accountbase.h"
#include "constants.h"
#include "dialogbase.h"
#include "ownerthread_p.h"

#include <algorithm>

namespace {

constexpr int PrivateKind = 1;
constexpr int GroupKind = 2;

} // namespace

MediaKeepSearchModel::MediaKeepSearchModel(AccountBase *account, HasException hasException,
                                           QObject *parent)
    : MediaKeepListModel(parent)
    , SearchModel(&m_query)
    , m_account(account)
    , m_hasException(std::move(hasException))
    , m_query(this)
{ }

MediaKeepSearchModel::~MediaKeepSearchModel()
{
    m_query.quit();
    m_query.waitForFinish();
}

void MediaKeepSearchModel::search(const QString &keyword, bool bGroup)
{
    clear();
    m_group.store(bGroup);
    m_searching = true;
    SearchKey key;
    key.keyword = keyword;
    m_query.search(key, LOAD_MAX_COUNT);
}

void MediaKeepSearchModel::clear()
{
    m_query.reset();
    m_searching = false;
    ++m_generation;
    reset({});
}

bool MediaKeepSearchModel::canFetchMore(const QModelIndex &parent) const
{
    return !parent.isValid() && m_searching && !m_query.isQuit() && !m_query.isRunning()
            && m_query.hasMore();
}

// Views may ask without asking canFetchMore first.
void MediaKeepSearchModel::fetchMore(const QModelIndex &parent)
{
    if (canFetchMore(parent)) {
        m_query.loadMore(LOAD_COUNT);
    }
}

ResultCount MediaKeepSearchModel::onLoadingData(const SearchKey &key, int count, int offset)
{
    const int generation = m_generation.load();
    const QList<Row> all = matches(key.keyword, m_group.load());
    const QList<Row> page = all.mid(offset, count);
    runOnOwnerThread(this, [this, page, generation] {
        if (generation == m_generation.load()) {
            append(page);
        }
    });
    const int loaded = int(page.size());
    return {offset + loaded < all.size() ? count : loaded, loaded};
}

// Sorted, so that pages of one search follow each other without overlap.
QList<MediaKeepListModel::Row> MediaKeepSearchModel::matches(const QString &keyword,
                                                             bool bGroup) const
{
    QList<Row> rows;
    const auto dialogs = m_account->searchDialogs(keyword, 0, bGroup ? GroupKind : PrivateKind);
    for (const QSharedPointer<DialogBase> &dialog : dialogs) {
        if (!m_hasException(dialog->dialogId())) {
            rows.append({dialog->dialogId(), dialog->name(), 0, dialog->isGroup()});
        }
    }
    std::sort(rows.begin(), rows.end(), lessByName);
    return rows;
}
