#include "resourcemodel.h"

#include "itemrows_p.h"
#include "mediamodellog_p.h"
#include "mediautil.h"
#include "resourceitem.h"
#include "sectiondates_p.h"

#include <QJSEngine>
#include <utility>

ResourceModel::ResourceModel(int type, QObject *parent)
    : QAbstractListModel(parent)
    , m_roleNames {{ItemModelRole, "itemModel"}, {DateRole, "date"}}
    , m_type(type)
    , m_sectionDates(std::make_unique<SectionDates>())
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

ResourceModel::~ResourceModel()
{
    qDeleteAll(m_items);
    qDeleteAll(m_releasedItems);
}

int ResourceModel::type() const
{
    QMutexLocker locker(&m_mutex);
    return m_type;
}

void ResourceModel::setType(int type)
{
    QMutexLocker locker(&m_mutex);
    m_type = type;
}

QVariant ResourceModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.parent().isValid()) {
        return {};
    }
    QMutexLocker locker(&m_mutex);
    ResourceItem *item = getResourceItem(index.row());
    if (!item) {
        return {};
    }
    switch (role) {
    case ItemModelRole:
        return QVariant::fromValue<QObject *>(item);
    case DateRole:
        return dateTimeToDate(item->dateTime());
    default:
        return {};
    }
}

int ResourceModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QHash<int, QByteArray> ResourceModel::roleNames() const
{
    return m_roleNames;
}

int ResourceModel::count() const
{
    QMutexLocker locker(&m_mutex);
    return m_released ? 0 : int(m_items.size());
}

int ResourceModel::resourceCount() const
{
    QMutexLocker locker(&m_mutex);
    return int(m_items.size());
}

void ResourceModel::deleteItem(const QString &dialogId, qint64 messageId)
{
    QMutexLocker locker(&m_mutex);
    if (m_released) {
        return;
    }
    const RowSpan rows = ItemRows::dialogMessageRows(m_items, dialogId, messageId);
    remove(rows.first, rows.last);
}

void ResourceModel::deleteItem(qint64 messageId)
{
    QMutexLocker locker(&m_mutex);
    if (m_released) {
        return;
    }
    const RowSpan rows = ItemRows::messageRows(m_items, messageId);
    if (rows.size() == 1) {
        remove(rows.first);
    } else {
        remove(rows.first, rows.last);
    }
}

void ResourceModel::batchDelete(const QString &dialogId, const MessageIdRange &range)
{
    QMutexLocker locker(&m_mutex);
    if (m_released) {
        return;
    }
    removeRuns(ItemRows::dialogRangeRuns(m_items, dialogId, range));
}

void ResourceModel::batchDelete(const MessageIdRange &range)
{
    QMutexLocker locker(&m_mutex);
    if (m_released) {
        return;
    }
    const RowSpan rows = ItemRows::idRangeRows(m_items, range);
    remove(rows.first, rows.last);
}

void ResourceModel::batchDelete(const QString &dialogId, const QList<qint64> &messageIds)
{
    QMutexLocker locker(&m_mutex);
    for (const qint64 messageId : messageIds) {
        if (m_released) {
            return;
        }
        deleteItem(dialogId, messageId);
    }
}

void ResourceModel::batchDelete(const QList<qint64> &messageIds)
{
    QMutexLocker locker(&m_mutex);
    for (const qint64 messageId : messageIds) {
        if (m_released) {
            return;
        }
        deleteItem(messageId);
    }
}

void ResourceModel::clearResource(const QString &dialogId, qint64 messageId)
{
    QMutexLocker locker(&m_mutex);
    if (m_released) {
        return;
    }
    removeRuns(ItemRows::dialogHistoryRuns(m_items, dialogId, messageId));
}

void ResourceModel::clearResource(qint64 messageId)
{
    QMutexLocker locker(&m_mutex);
    if (m_released) {
        return;
    }
    const HistoryCut cut = ItemRows::historyRows(m_items, messageId);
    if (cut.everything) {
        clearAll();
    } else {
        remove(cut.rows.first, cut.rows.last);
    }
}

void ResourceModel::updateModel() { }

bool ResourceModel::update(ResourceItem *item)
{
    if (!item) {
        qCWarning(lcMedia) << "null item handed to update; nothing changes";
        return false;
    }
    QMutexLocker locker(&m_mutex);
    if (m_released) {
        delete item;
        return false;
    }
    int row = 0;
    if (!MediaUtil::find(m_items, *item, row)) {
        insert(row, item);
        return false;
    }
    ResourceItem *old = std::exchange(m_items[row], item);
    Q_EMIT dataChanged(index(row), index(row), {ItemModelRole});
    if (old != item) {
        delete old;
    }
    return true;
}

bool ResourceModel::canInsert(ResourceItem *item)
{
    if (!item) {
        return false;
    }
    QMutexLocker locker(&m_mutex);
    return m_items.isEmpty() || *item > *m_items.last();
}

void ResourceModel::append(const QList<ResourceItem *> &items)
{
    if (items.isEmpty()) {
        return;
    }
    QMutexLocker locker(&m_mutex);
    if (m_released) {
        qDeleteAll(items);
        return;
    }
    const QList<ResourceItem *> page = ItemRows::withoutNulls(items);
    if (page.isEmpty()) {
        return;
    }
    const int first = int(m_items.size());
    beginInsertRows(QModelIndex(), first, first + int(page.size()) - 1);
    m_items.append(page);
    endInsertRows();
    Q_EMIT countChanged();
}

void ResourceModel::insert(ResourceItem *item)
{
    if (!item) {
        qCWarning(lcMedia) << "null item handed to insert; nothing changes";
        return;
    }
    QMutexLocker locker(&m_mutex);
    if (m_released) {
        delete item;
        return;
    }
    int row = 0;
    if (MediaUtil::find(m_items, *item, row)) {
        ItemRows::discardDuplicate(m_items.at(row), item);
        return;
    }
    insert(row, item);
}

void ResourceModel::resetItems(const QList<ResourceItem *> &items)
{
    QMutexLocker locker(&m_mutex);
    if (m_released) {
        qDeleteAll(items);
        return;
    }
    const QList<ResourceItem *> shown = ItemRows::withoutNulls(items);
    if (shown.isEmpty() && m_items.isEmpty()) {
        return;
    }
    beginResetModel();
    const QList<ResourceItem *> old = std::exchange(m_items, shown);
    endResetModel();
    Q_EMIT countChanged();
    ItemRows::deleteAllBut(old, shown);
}

void ResourceModel::foreachItem(const ItemPoint &start, const ItemPoint &end, const ItemPoint &skip,
                                std::function<void(ResourceItem *)> fn)
{
    if (!fn) {
        return;
    }
    QMutexLocker locker(&m_mutex);
    for (int row = start.row; row <= end.row; ++row) {
        if (row != skip.row) {
            fn(getResourceItem(row));
        }
    }
}

void ResourceModel::clearAll()
{
    QMutexLocker locker(&m_mutex);
    if (!m_items.isEmpty()) {
        beginResetModel();
        const QList<ResourceItem *> taken = std::exchange(m_items, {});
        endResetModel();
        Q_EMIT countChanged();
        locker.unlock();
        qDeleteAll(taken);
    }
    releaseData();
}

void ResourceModel::resetModel()
{
    QMutexLocker locker(&m_mutex);
    if (m_items.isEmpty()) {
        return;
    }
    beginResetModel();
    m_released = true;
    m_releasedItems.append(std::exchange(m_items, {}));
    endResetModel();
    Q_EMIT countChanged();
}

void ResourceModel::releaseData()
{
    QMutexLocker locker(&m_mutex);
    if (m_releasedItems.isEmpty()) {
        return;
    }
    const QList<ResourceItem *> released = std::exchange(m_releasedItems, {});
    m_released = false;
    qDeleteAll(released);
}

ResourceItem *ResourceModel::getResourceItem(int index) const
{
    QMutexLocker locker(&m_mutex);
    if (m_released || index < 0 || index >= m_items.size()) {
        return nullptr;
    }
    return m_items.at(index);
}

void ResourceModel::insert(int row, ResourceItem *item)
{
    QMutexLocker locker(&m_mutex);
    beginInsertRows(QModelIndex(), row, row);
    m_items.insert(row, item);
    endInsertRows();
    Q_EMIT countChanged();
}

// A range removal has always reached views as the removal of the range's last row alone. That one
// row is still announced on its own, first; the rows above it follow in a second notice, so that
// every notice matches what the list holds and views and proxies never read rows that are gone.
void ResourceModel::remove(int first, int last)
{
    QMutexLocker locker(&m_mutex);
    first = std::max(first, 0);
    last = std::min(last, int(m_items.size()) - 1);
    if (last < first) {
        return;
    }
    const QList<ResourceItem *> removed = m_items.mid(first, last - first + 1);
    beginRemoveRows(QModelIndex(), last, last);
    m_items.removeAt(last);
    endRemoveRows();
    if (last > first) {
        beginRemoveRows(QModelIndex(), first, last - 1);
        m_items.remove(first, last - first);
        endRemoveRows();
    }
    Q_EMIT countChanged();
    qDeleteAll(removed);
}

void ResourceModel::remove(int row)
{
    QMutexLocker locker(&m_mutex);
    if (row < 0 || row >= m_items.size()) {
        return;
    }
    beginRemoveRows(QModelIndex(), row, row);
    ResourceItem *item = m_items.takeAt(row);
    endRemoveRows();
    delete item;
    Q_EMIT countChanged();
}

qint64 ResourceModel::dateTimeToDate(qint64 msecs) const
{
    QMutexLocker locker(&m_mutex);
    return m_sectionDates->dateOf(msecs);
}

// Runs come in ascending order; removing the last one first leaves the rows of the others where
// they were.
void ResourceModel::removeRuns(const QList<RowSpan> &runs)
{
    for (auto run = runs.crbegin(); run != runs.crend(); ++run) {
        remove(run->first, run->last);
    }
}
