#include "mediamodel.h"

#include "itemrows_p.h"
#include "localdaywatcher_p.h"
#include "resourceitem.h"

#include <numeric>
#include <utility>

MediaModel::MediaModel(int type, QObject *parent)
    : ResourceModel(type, parent)
    , m_dayWatcher(new LocalDayWatcher(this))
{
    connect(m_dayWatcher, &LocalDayWatcher::dayChanged, this, &MediaModel::updateModel);
}

MediaModel::~MediaModel()
{
    qDeleteAll(m_sections);
    qDeleteAll(m_releasedSections);
}

QVariant MediaModel::data(const QModelIndex &index, int role) const
{
    if (role != ItemModelRole || !index.isValid() || index.parent().isValid()) {
        return {};
    }
    QMutexLocker locker(&mutex());
    if (index.row() < 0 || index.row() >= m_sections.size()) {
        return {};
    }
    return QVariant::fromValue<QObject *>(m_sections.at(index.row()));
}

QHash<int, QByteArray> MediaModel::roleNames() const
{
    return {{ItemModelRole, "itemModel"}};
}

int MediaModel::count() const
{
    QMutexLocker locker(&mutex());
    return int(m_sections.size());
}

int MediaModel::resourceCount() const
{
    QMutexLocker locker(&mutex());
    return std::accumulate(
            m_sections.cbegin(), m_sections.cend(), 0,
            [](int sum, const MediaItemModel *section) { return sum + section->count(); });
}

void MediaModel::deleteItem(const QString &dialogId, qint64 messageId)
{
    QMutexLocker locker(&mutex());
    if (isReleased()) {
        return;
    }
    removeItemRows(ItemRows::dialogMessageRows(allItems(), dialogId, messageId));
}

void MediaModel::deleteItem(qint64 messageId)
{
    QMutexLocker locker(&mutex());
    if (isReleased()) {
        return;
    }
    for (int row = 0; row < m_sections.size(); ++row) {
        MediaItemModel *section = m_sections.at(row);
        const RowSpan rows = ItemRows::messageRows(section->items(), messageId);
        if (rows.isEmpty()) {
            continue;
        }
        section->removeSpan(rows);
        if (section->count() == 0) {
            removeSection(row);
        }
        return;
    }
}

void MediaModel::batchDelete(const QString &dialogId, const MessageIdRange &range)
{
    QMutexLocker locker(&mutex());
    if (isReleased()) {
        return;
    }
    removeItemRuns(ItemRows::dialogRangeRuns(allItems(), dialogId, range));
}

void MediaModel::batchDelete(const MessageIdRange &range)
{
    QMutexLocker locker(&mutex());
    if (isReleased()) {
        return;
    }
    removeItemRows(ItemRows::idRangeRows(allItems(), range));
}

void MediaModel::clearResource(const QString &dialogId, qint64 messageId)
{
    QMutexLocker locker(&mutex());
    if (isReleased()) {
        return;
    }
    removeItemRuns(ItemRows::dialogHistoryRuns(allItems(), dialogId, messageId));
}

void MediaModel::clearResource(qint64 messageId)
{
    QMutexLocker locker(&mutex());
    if (isReleased()) {
        return;
    }
    const HistoryCut cut = ItemRows::historyRows(allItems(), messageId);
    if (cut.everything) {
        clearAll();
    } else {
        removeItemRows(cut.rows);
    }
}

// Sections are folded from the oldest up, so that a fold always finds the section below it
// already in its final shape.
void MediaModel::updateModel()
{
    QMutexLocker locker(&mutex());
    if (m_sections.size() < 2) {
        return;
    }
    for (int row = int(m_sections.size()) - 1; row >= 0; --row) {
        if (isEndedDay(m_sections.at(row))) {
            foldIntoMonth(row);
        }
    }
}

bool MediaModel::update(ResourceItem *item)
{
    if (!item) {
        return ResourceModel::update(item);
    }
    QMutexLocker locker(&mutex());
    if (isReleased()) {
        delete item;
        return false;
    }
    const qint64 date = dateTimeToDate(item->dateTime());
    int row = 0;
    if (findWithDate(date, row)) {
        return m_sections.at(row)->updateItem(item);
    }
    insertSection(row, date, {item});
    return false;
}

bool MediaModel::canInsert(ResourceItem *item)
{
    if (!item) {
        return false;
    }
    QMutexLocker locker(&mutex());
    return m_sections.isEmpty() || *item > *m_sections.last()->items().last();
}

void MediaModel::append(const QList<ResourceItem *> &items)
{
    if (items.isEmpty()) {
        return;
    }
    QMutexLocker locker(&mutex());
    if (isReleased()) {
        qDeleteAll(items);
        return;
    }
    const auto runs = runsByDate(ItemRows::withoutNulls(items));
    for (const auto &[date, run] : runs) {
        appendByDate(run, date);
    }
}

void MediaModel::insert(ResourceItem *item)
{
    if (!item) {
        ResourceModel::insert(item);
        return;
    }
    QMutexLocker locker(&mutex());
    if (isReleased()) {
        delete item;
        return;
    }
    const qint64 date = dateTimeToDate(item->dateTime());
    int row = 0;
    if (findWithDate(date, row)) {
        m_sections.at(row)->insertItem(item);
    } else {
        insertSection(row, date, {item});
    }
}

void MediaModel::resetItems(const QList<ResourceItem *> &items)
{
    QMutexLocker locker(&mutex());
    if (isReleased()) {
        qDeleteAll(items);
        return;
    }
    const QList<ResourceItem *> shown = ItemRows::withoutNulls(items);
    if (shown.isEmpty() && m_sections.isEmpty()) {
        return;
    }
    beginResetModel();
    const QList<MediaItemModel *> old = std::exchange(m_sections, {});
    for (const auto &[date, run] : runsByDate(shown)) {
        int row = 0;
        if (findWithDate(date, row)) {
            m_sections.at(row)->appendItems(run);
        } else {
            m_sections.insert(row, makeSection(date, run));
        }
    }
    endResetModel();
    Q_EMIT countChanged();
    for (MediaItemModel *section : old) {
        ItemRows::deleteAllBut(section->takeItems(), shown);
        delete section;
    }
}

void MediaModel::foreachItem(const ItemPoint &start, const ItemPoint &end, const ItemPoint &skip,
                             std::function<void(ResourceItem *)> fn)
{
    if (!fn) {
        return;
    }
    QMutexLocker locker(&mutex());
    for (int group = start.group; group <= end.group; ++group) {
        const MediaItemModel *section =
                group >= 0 && group < m_sections.size() ? m_sections.at(group) : nullptr;
        const int first = group == start.group ? start.row : 0;
        const int last = group == end.group ? end.row : (section ? section->count() - 1 : -1);
        for (int row = first; row <= last; ++row) {
            if (ItemPoint(group, row) != skip) {
                fn(section ? section->getResourceItem(row) : nullptr);
            }
        }
    }
}

void MediaModel::clearAll()
{
    QMutexLocker locker(&mutex());
    if (!m_sections.isEmpty()) {
        beginResetModel();
        releaseSections();
        endResetModel();
        Q_EMIT countChanged();
    }
    locker.unlock();
    releaseData();
}

void MediaModel::resetModel()
{
    QMutexLocker locker(&mutex());
    if (m_sections.isEmpty()) {
        return;
    }
    beginResetModel();
    setReleased(true);
    releaseSections();
    endResetModel();
    Q_EMIT countChanged();
}

void MediaModel::releaseData()
{
    QMutexLocker locker(&mutex());
    if (m_releasedSections.isEmpty()) {
        return;
    }
    const QList<MediaItemModel *> released = std::exchange(m_releasedSections, {});
    setReleased(false);
    qDeleteAll(released);
}

bool MediaModel::findWithDate(qint64 date, int &pos) const
{
    pos = 0;
    if (m_sections.isEmpty() || date > m_sections.first()->date()) {
        return false;
    }
    const int last = int(m_sections.size()) - 1;
    if (date < m_sections.at(last)->date()) {
        pos = last + 1;
        return false;
    }
    int lo = 0;
    int hi = last;
    while (lo <= hi) {
        const int mid = lo + (hi - lo) / 2;
        const qint64 midDate = m_sections.at(mid)->date();
        if (midDate == date) {
            pos = mid;
            return true;
        }
        if (midDate > date) {
            lo = mid + 1;
        } else {
            hi = mid - 1;
        }
    }
    pos = std::max(lo, hi);
    return false;
}

void MediaModel::appendByDate(const QList<ResourceItem *> &items, qint64 date)
{
    if (items.isEmpty()) {
        return;
    }
    int row = 0;
    if (findWithDate(date, row)) {
        m_sections.at(row)->appendItems(items);
    } else {
        insertSection(row, date, items);
    }
}

QList<std::pair<qint64, QList<ResourceItem *>>>
MediaModel::runsByDate(const QList<ResourceItem *> &items) const
{
    QList<std::pair<qint64, QList<ResourceItem *>>> runs;
    for (ResourceItem *item : items) {
        const qint64 date = dateTimeToDate(item->dateTime());
        if (runs.isEmpty() || runs.last().first != date) {
            runs.append(std::make_pair(date, QList<ResourceItem *>()));
        }
        runs.last().second.append(item);
    }
    return runs;
}

// Sections have no QObject parent: the section lists own them, and a section made while a
// worker's page is handed over still has to live on the model's thread.
MediaItemModel *MediaModel::makeSection(qint64 date, const QList<ResourceItem *> &items) const
{
    auto *section = new MediaItemModel(date);
    section->moveToThread(thread());
    section->appendItems(items);
    return section;
}

void MediaModel::insertSection(int row, qint64 date, const QList<ResourceItem *> &items)
{
    MediaItemModel *section = makeSection(date, items);
    if (section->count() == 0) {
        delete section;
        return;
    }
    beginInsertRows(QModelIndex(), row, row);
    m_sections.insert(row, section);
    endInsertRows();
    Q_EMIT countChanged();
}

void MediaModel::removeSection(int row)
{
    beginRemoveRows(QModelIndex(), row, row);
    MediaItemModel *section = m_sections.takeAt(row);
    endRemoveRows();
    Q_EMIT countChanged();
    delete section;
}

void MediaModel::removeEmptySections()
{
    for (int row = int(m_sections.size()) - 1; row >= 0; --row) {
        if (m_sections.at(row)->count() == 0) {
            removeSection(row);
        }
    }
}

void MediaModel::releaseSections()
{
    for (MediaItemModel *section : std::as_const(m_sections)) {
        section->release();
    }
    m_releasedSections.append(std::exchange(m_sections, {}));
}

// A section is of a day that has ended when its date no longer maps to itself: today's midnight
// maps to itself only while it is today, and the first day of a month always does.
bool MediaModel::isEndedDay(const MediaItemModel *section) const
{
    return dateTimeToDate(section->date()) != section->date();
}

// The items of the ended day join the section of their month. They never move into the section
// below when that is another month, which would show them under the wrong month; the month then
// gets a section of its own in place of the day's, so that later pages of it land there too.
void MediaModel::foldIntoMonth(int row)
{
    const qint64 month = dateTimeToDate(m_sections.at(row)->date());
    const QList<ResourceItem *> items = m_sections.at(row)->takeItems();
    const int below = row + 1;
    if (below < m_sections.size() && m_sections.at(below)->date() == month) {
        m_sections.at(below)->mergeItems(items);
    } else {
        insertSection(below, month, items);
    }
    removeSection(row);
}

QList<ResourceItem *> MediaModel::allItems() const
{
    QList<ResourceItem *> all;
    all.reserve(resourceCount());
    for (const MediaItemModel *section : m_sections) {
        all += section->items();
    }
    return all;
}

void MediaModel::removeItemRows(const RowSpan &rows)
{
    if (rows.isEmpty()) {
        return;
    }
    int offset = 0;
    for (MediaItemModel *section : std::as_const(m_sections)) {
        const int size = section->count();
        const RowSpan local(std::max(rows.first - offset, 0),
                            std::min(rows.last - offset, size - 1));
        section->removeSpan(local);
        offset += size;
        if (offset > rows.last) {
            break;
        }
    }
    removeEmptySections();
}

// Runs come in ascending order; removing the last one first leaves the rows of the others where
// they were.
void MediaModel::removeItemRuns(const QList<RowSpan> &runs)
{
    for (auto run = runs.crbegin(); run != runs.crend(); ++run) {
        removeItemRows(*run);
    }
}
