#include "mediaitemmodel.h"

#include "itemrows_p.h"
#include "mediautil.h"
#include "resourceitem.h"

#include <QJSEngine>
#include <utility>

MediaItemModel::MediaItemModel(qint64 date, QObject *parent)
    : QAbstractListModel(parent)
    , m_roleNames {{ItemModelRole, "itemModel"}}
    , m_date(date)
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

MediaItemModel::~MediaItemModel()
{
    qDeleteAll(m_items);
    qDeleteAll(m_releasedItems);
}

int MediaItemModel::count() const
{
    QMutexLocker locker(&m_mutex);
    return int(m_items.size());
}

ResourceItem *MediaItemModel::getResourceItem(int index) const
{
    QMutexLocker locker(&m_mutex);
    return index >= 0 && index < m_items.size() ? m_items.at(index) : nullptr;
}

QVariant MediaItemModel::data(const QModelIndex &index, int role) const
{
    if (role != ItemModelRole || !index.isValid() || index.parent().isValid()) {
        return {};
    }
    ResourceItem *item = getResourceItem(index.row());
    return item ? QVariant::fromValue<QObject *>(item) : QVariant();
}

int MediaItemModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QHash<int, QByteArray> MediaItemModel::roleNames() const
{
    return m_roleNames;
}

bool MediaItemModel::isReleased() const
{
    QMutexLocker locker(&m_mutex);
    return !m_releasedItems.isEmpty();
}

void MediaItemModel::appendItems(const QList<ResourceItem *> &items)
{
    QMutexLocker locker(&m_mutex);
    QList<ResourceItem *> older;
    older.reserve(items.size());
    const ResourceItem *last = m_items.isEmpty() ? nullptr : m_items.last();
    for (ResourceItem *item : items) {
        if (last && !(*item < *last)) {
            delete item;
            continue;
        }
        older.append(item);
        last = item;
    }
    if (older.isEmpty()) {
        return;
    }
    const int first = int(m_items.size());
    beginInsertRows(QModelIndex(), first, first + int(older.size()) - 1);
    m_items.append(older);
    endInsertRows();
    Q_EMIT countChanged();
}

void MediaItemModel::mergeItems(const QList<ResourceItem *> &items)
{
    QMutexLocker locker(&m_mutex);
    if (items.isEmpty()) {
        return;
    }
    if (!m_items.isEmpty() && !(*items.last() > *m_items.first())) {
        for (ResourceItem *item : items) {
            insertItem(item);
        }
        return;
    }
    beginInsertRows(QModelIndex(), 0, int(items.size()) - 1);
    m_items = items + m_items;
    endInsertRows();
    Q_EMIT countChanged();
}

void MediaItemModel::insertItem(ResourceItem *item)
{
    QMutexLocker locker(&m_mutex);
    int row = 0;
    if (MediaUtil::find(m_items, *item, row)) {
        ItemRows::discardDuplicate(m_items.at(row), item);
        return;
    }
    insertAt(row, item);
}

bool MediaItemModel::updateItem(ResourceItem *item)
{
    QMutexLocker locker(&m_mutex);
    int row = 0;
    if (!MediaUtil::find(m_items, *item, row)) {
        insertAt(row, item);
        return false;
    }
    ResourceItem *old = std::exchange(m_items[row], item);
    Q_EMIT dataChanged(index(row), index(row), {ItemModelRole});
    if (old != item) {
        delete old;
    }
    return true;
}

void MediaItemModel::removeSpan(const RowSpan &rows)
{
    QMutexLocker locker(&m_mutex);
    if (rows.isEmpty()) {
        return;
    }
    const QList<ResourceItem *> removed = m_items.mid(rows.first, rows.size());
    beginRemoveRows(QModelIndex(), rows.first, rows.last);
    m_items.remove(rows.first, rows.size());
    endRemoveRows();
    Q_EMIT countChanged();
    qDeleteAll(removed);
}

QList<ResourceItem *> MediaItemModel::takeItems()
{
    QMutexLocker locker(&m_mutex);
    if (m_items.isEmpty()) {
        return {};
    }
    beginRemoveRows(QModelIndex(), 0, int(m_items.size()) - 1);
    QList<ResourceItem *> taken = std::exchange(m_items, {});
    endRemoveRows();
    Q_EMIT countChanged();
    return taken;
}

void MediaItemModel::release()
{
    QMutexLocker locker(&m_mutex);
    if (m_items.isEmpty()) {
        return;
    }
    beginResetModel();
    m_releasedItems.append(std::exchange(m_items, {}));
    endResetModel();
    Q_EMIT countChanged();
}

void MediaItemModel::insertAt(int row, ResourceItem *item)
{
    beginInsertRows(QModelIndex(), row, row);
    m_items.insert(row, item);
    endInsertRows();
    Q_EMIT countChanged();
}
