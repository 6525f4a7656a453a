#include "mediakeeplistmodel.h"

MediaKeepListModel::MediaKeepListModel(QObject *parent)
    : QAbstractListModel(parent)
{ }

bool MediaKeepListModel::lessByName(const Row &a, const Row &b)
{
    const int byName = a.name.compare(b.name, Qt::CaseInsensitive);
    return byName != 0 ? byName < 0 : a.dialogId < b.dialogId;
}

int MediaKeepListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant MediaKeepListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const Row &row = m_rows.at(index.row());
    switch (role) {
    case DialogIdRole:
        return row.dialogId;
    case Qt::DisplayRole:
    case NameRole:
        return row.name;
    case KeepTimeRole:
        return row.keepTime;
    case IsGroupRole:
        return row.isGroup;
    default:
        return {};
    }
}

QHash<int, QByteArray> MediaKeepListModel::roleNames() const
{
    return {{DialogIdRole, "dialogId"},
            {NameRole, "name"},
            {KeepTimeRole, "keepTime"},
            {IsGroupRole, "isGroup"}};
}

void MediaKeepListModel::reset(const QList<Row> &rows)
{
    const bool countChanges = rows.size() != m_rows.size();
    beginResetModel();
    m_rows = rows;
    endResetModel();
    if (countChanges) {
        Q_EMIT countChanged();
    }
}

void MediaKeepListModel::append(const QList<Row> &rows)
{
    if (rows.isEmpty()) {
        return;
    }
    const int first = int(m_rows.size());
    beginInsertRows(QModelIndex(), first, first + int(rows.size()) - 1);
    m_rows.append(rows);
    endInsertRows();
    Q_EMIT countChanged();
}

void MediaKeepListModel::upsert(const Row &row)
{
    const int at = indexOf(row.dialogId);
    if (at < 0) {
        append({row});
        return;
    }
    m_rows[at] = row;
    const QModelIndex changed = index(at);
    Q_EMIT dataChanged(changed, changed);
}

void MediaKeepListModel::removeDialog(const QString &dialogId)
{
    const int at = indexOf(dialogId);
    if (at < 0) {
        return;
    }
    beginRemoveRows(QModelIndex(), at, at);
    m_rows.removeAt(at);
    endRemoveRows();
    Q_EMIT countChanged();
}

int MediaKeepListModel::indexOf(const QString &dialogId) const
{
    for (int i = 0; i < m_rows.size(); ++i) {
        if (m_rows.at(i).dialogId == dialogId) {
            return i;
        }
    }
    return -1;
}
