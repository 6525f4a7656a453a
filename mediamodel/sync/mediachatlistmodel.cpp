#include "mediachatlistmodel.h"

#include "dialogbase.h"
#include "mediachatitem.h"

MediaChatListModel::MediaChatListModel(QObject *parent)
    : QAbstractListModel(parent)
{ }

MediaChatListModel::~MediaChatListModel() = default;

int MediaChatListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant MediaChatListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    MediaChatItem *item = m_items.at(index.row());
    if (item == m_dying) {
        return {}; // only its QObject part is left
    }
    DialogBase *dialog = item->dialog();
    switch (role) {
    case ChatItemRole:
        return QVariant::fromValue(item);
    case DialogIdRole:
        return item->dialogId();
    case Qt::DisplayRole:
    case NameRole:
        return dialog ? dialog->name() : QString();
    case IsGroupRole:
        return dialog && dialog->isGroup();
    case TotalSizeRole:
        return item->totalSize();
    case IsSelectedRole:
        return item->isSelected();
    case IsQueryingRole:
        return item->isQuerying();
    default:
        return {};
    }
}

QHash<int, QByteArray> MediaChatListModel::roleNames() const
{
    return {
            {Qt::DisplayRole, "display"},   {ChatItemRole, "chatItem"},
            {DialogIdRole, "dialogId"},     {NameRole, "name"},
            {IsGroupRole, "isGroup"},       {TotalSizeRole, "totalSize"},
            {IsSelectedRole, "isSelected"}, {IsQueryingRole, "isQuerying"},
    };
}

void MediaChatListModel::resetItems(const QList<MediaChatItem *> &items)
{
    const int before = count();
    beginResetModel();
    for (MediaChatItem *item : std::as_const(m_items)) {
        unwatch(item);
    }
    m_items = items;
    for (MediaChatItem *item : std::as_const(m_items)) {
        watch(item);
    }
    endResetModel();
    if (before != count()) {
        Q_EMIT countChanged();
    }
    contentChanged();
}

void MediaChatListModel::insertItem(int row, MediaChatItem *item)
{
    beginInsertRows({}, row, row);
    m_items.insert(row, item);
    watch(item);
    endInsertRows();
    Q_EMIT countChanged();
    contentChanged();
}

void MediaChatListModel::removeItemAt(int row)
{
    beginRemoveRows({}, row, row);
    unwatch(m_items.takeAt(row));
    endRemoveRows();
    Q_EMIT countChanged();
    contentChanged();
}

void MediaChatListModel::watch(MediaChatItem *item)
{
    connect(item, &MediaChatItem::totalSizeChanged, this,
            [this, item] { rowChanged(item, {TotalSizeRole}); });
    connect(item, &MediaChatItem::isSelectedChanged, this,
            [this, item] { rowChanged(item, {IsSelectedRole}); });
    connect(item, &MediaChatItem::isQueryingChanged, this,
            [this, item] { rowChanged(item, {IsQueryingRole}); });
    // An item deleted by its owner while listed leaves the list at once.
    connect(item, &QObject::destroyed, this, [this, item] {
        const int row = int(m_items.indexOf(item));
        if (row >= 0) {
            m_dying = item;
            beginRemoveRows({}, row, row);
            m_items.removeAt(row);
            endRemoveRows();
            m_dying = nullptr;
            Q_EMIT countChanged();
            contentChanged();
        }
    });
}

void MediaChatListModel::unwatch(MediaChatItem *item)
{
    disconnect(item, nullptr, this, nullptr);
}

void MediaChatListModel::rowChanged(MediaChatItem *item, const QList<int> &roles)
{
    const int row = int(m_items.indexOf(item));
    if (row >= 0) {
        const QModelIndex at = index(row);
        Q_EMIT dataChanged(at, at, roles);
        contentChanged();
    }
}
