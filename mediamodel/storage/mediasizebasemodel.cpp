#include "mediasizebasemodel.h"

#include "mediasizeitem.h"
#include "notifyingsetter_p.h"

#include <QJSEngine>

namespace {

// A share in hundredths of a percent; a slice with bytes never shows as 0.00.
int shareOf(qint64 size, qint64 total)
{
    if (total < 1) {
        return size > 0 ? 1 : 0;
    }
    const qint64 share = size * 10000 / total;
    return int(share < 1 && size >= 1 ? 1 : share);
}

} // namespace

MediaSizeBaseModel::MediaSizeBaseModel(QObject *parent)
    : QAbstractListModel(parent)
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

MediaSizeBaseModel::~MediaSizeBaseModel() = default;

int MediaSizeBaseModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_shown.size());
}

QVariant MediaSizeBaseModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return QVariant();
    }
    const MediaSizeItem *item = m_shown.at(index.row());
    switch (role) {
    case ItemRole:
        return QVariant::fromValue(const_cast<MediaSizeItem *>(item));
    case TypeRole:
        return item->type();
    case SizeRole:
        return item->size();
    case PercentRole:
        return item->percent();
    case SelectPercentRole:
        return item->selectPercent();
    case CheckedRole:
        return item->checked();
    case AtQueryRole:
        return item->atQuery();
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> MediaSizeBaseModel::roleNames() const
{
    return {{ItemRole, "item"},
            {TypeRole, "type"},
            {SizeRole, "size"},
            {PercentRole, "percent"},
            {SelectPercentRole, "selectPercent"},
            {CheckedRole, "checked"},
            {AtQueryRole, "atQuery"}};
}

void MediaSizeBaseModel::setAtQuery(bool bQuery)
{
    for (MediaSizeItem *item : std::as_const(m_items)) {
        item->setAtQuery(bQuery);
    }
    if (m_atQuery == bQuery) {
        return;
    }
    m_atQuery = bQuery;
    Q_EMIT atQueryChanged(bQuery);
}

MediaSizeItem *MediaSizeBaseModel::item(int type) const
{
    return m_items.value(type);
}

qint64 MediaSizeBaseModel::sizeOf(int type) const
{
    const MediaSizeItem *found = item(type);
    return found ? found->size() : 0;
}

MediaSizeItem *MediaSizeBaseModel::findOrCreate(int type)
{
    MediaSizeItem *found = m_items.value(type);
    if (!found) {
        found = new MediaSizeItem(type, this);
        m_items.insert(type, found);
        connect(found, &MediaSizeItem::atQueryChanged, this,
                [this, found] { notifyRow(found, {AtQueryRole}); });
    }
    return found;
}

void MediaSizeBaseModel::addSize(int type, qint64 delta)
{
    if (delta == 0) {
        return;
    }
    MediaSizeItem *target = findOrCreate(type);
    const qint64 applied = qMax(delta, -target->size());
    target->setSize(target->size() + applied);
    setTotalSize(qMax<qint64>(0, m_totalSize + applied));
    if (target->checked()) {
        setSelectTotalSize(qMax<qint64>(0, m_selectTotalSize + applied));
    }
    placeRow(target);
    notifyRow(target, {SizeRole});
    updatePercents();
    updateSelectPercents();
}

void MediaSizeBaseModel::setSize(int type, qint64 size)
{
    addSize(type, qMax<qint64>(0, size) - sizeOf(type));
}

void MediaSizeBaseModel::reset()
{
    const bool hadRows = !m_shown.isEmpty();
    beginResetModel();
    m_shown.clear();
    for (MediaSizeItem *each : std::as_const(m_items)) {
        each->setSize(0);
        each->setPercentHundredths(0);
        each->setSelectPercentHundredths(0);
    }
    endResetModel();
    setTotalSize(0);
    setSelectTotalSize(0);
    if (hadRows) {
        Q_EMIT countChanged();
    }
}

void MediaSizeBaseModel::checkedItem(MediaSizeItem *item)
{
    if (!item || m_items.value(item->type()) != item) {
        return;
    }
    item->setChecked(!item->checked());
    const qint64 delta = item->checked() ? item->size() : -item->size();
    setSelectTotalSize(qMax<qint64>(0, m_selectTotalSize + delta));
    notifyRow(item, {CheckedRole});
    updateSelectPercents();
}

void MediaSizeBaseModel::resetChecked()
{
    bool changed = false;
    for (MediaSizeItem *each : std::as_const(m_items)) {
        if (!each->checked()) {
            each->setChecked(true);
            setSelectTotalSize(m_selectTotalSize + each->size());
            notifyRow(each, {CheckedRole});
            changed = true;
        }
    }
    if (changed) {
        updateSelectPercents();
    }
}

void MediaSizeBaseModel::setTotalSize(qint64 size)
{
    if (m_totalSize == size) {
        return;
    }
    const qint64 old = m_totalSize;
    m_totalSize = size;
    Q_EMIT totalSizeChanged(size, old);
}

void MediaSizeBaseModel::setSelectTotalSize(qint64 size)
{
    setAndNotify(this, m_selectTotalSize, size, &MediaSizeBaseModel::selectTotalSizeChanged);
}

// Keeps the rows in descending order of size: a kind with bytes is shown, an emptied one leaves.
void MediaSizeBaseModel::placeRow(MediaSizeItem *item)
{
    const bool shown = m_shown.contains(item);
    if (item->size() <= 0) {
        if (shown) {
            hideRow(item);
        }
        return;
    }
    if (!shown) {
        showRow(item);
        return;
    }
    const int from = int(m_shown.indexOf(item));
    const int to = insertionRow(item);
    if (to == from) {
        return;
    }
    beginMoveRows(QModelIndex(), from, from, QModelIndex(), to > from ? to + 1 : to);
    m_shown.move(from, to);
    endMoveRows();
}

// The row the item belongs at among the other shown rows: before the first that is not larger.
int MediaSizeBaseModel::insertionRow(const MediaSizeItem *item) const
{
    int row = 0;
    for (const MediaSizeItem *other : m_shown) {
        if (other == item) {
            continue;
        }
        if (other->size() <= item->size()) {
            break;
        }
        ++row;
    }
    return row;
}

void MediaSizeBaseModel::showRow(MediaSizeItem *item)
{
    const int row = insertionRow(item);
    beginInsertRows(QModelIndex(), row, row);
    m_shown.insert(row, item);
    endInsertRows();
    Q_EMIT countChanged();
}

void MediaSizeBaseModel::hideRow(MediaSizeItem *item)
{
    const int row = int(m_shown.indexOf(item));
    beginRemoveRows(QModelIndex(), row, row);
    m_shown.removeAt(row);
    endRemoveRows();
    Q_EMIT countChanged();
}

void MediaSizeBaseModel::updatePercents()
{
    for (MediaSizeItem *each : std::as_const(m_items)) {
        const int before = each->percentHundredths();
        each->setPercentHundredths(shareOf(each->size(), m_totalSize));
        if (before != each->percentHundredths()) {
            notifyRow(each, {PercentRole});
        }
    }
}

void MediaSizeBaseModel::updateSelectPercents()
{
    for (MediaSizeItem *each : std::as_const(m_items)) {
        if (!each->checked()) {
            continue;
        }
        const int before = each->selectPercentHundredths();
        each->setSelectPercentHundredths(shareOf(each->size(), m_selectTotalSize));
        if (before != each->selectPercentHundredths()) {
            notifyRow(each, {SelectPercentRole});
        }
    }
}

void MediaSizeBaseModel::notifyRow(MediaSizeItem *item, const QList<int> &roles)
{
    const int row = int(m_shown.indexOf(item));
    if (row >= 0) {
        const QModelIndex at = index(row);
        Q_EMIT dataChanged(at, at, roles);
    }
}
