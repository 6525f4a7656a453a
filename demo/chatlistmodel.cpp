#include "chatlistmodel.h"

#include "accountbase.h"
#include "contenttype.h"
#include "dialogbase.h"

#include <algorithm>

namespace {

QString kindName(int dialogType)
{
    switch (dialogType) {
    case DIALOG_GROUP:
        return QStringLiteral("Group");
    case DIALOG_SYSTEM:
        return QStringLiteral("System");
    default:
        return QStringLiteral("Private");
    }
}

} // namespace

ChatListModel::ChatListModel(AccountBase *account, QObject *parent)
    : QAbstractListModel(parent)
    , m_dialogs(account->dialogs())
{
    std::stable_sort(m_dialogs.begin(), m_dialogs.end(),
                     [](const QSharedPointer<DialogBase> &a, const QSharedPointer<DialogBase> &b) {
                         return a->lastActiveTime() > b->lastActiveTime();
                     });
}

int ChatListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_dialogs.size());
}

QVariant ChatListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const QSharedPointer<DialogBase> &dialog = m_dialogs.at(index.row());
    switch (role) {
    case DialogIdRole:
        return dialog->dialogId();
    case Qt::DisplayRole:
    case NameRole:
        return dialog->name();
    case KindRole:
        return kindName(dialog->type());
    case LastActiveRole:
        return dialog->lastActiveTime();
    default:
        return {};
    }
}

QHash<int, QByteArray> ChatListModel::roleNames() const
{
    return {{DialogIdRole, "dialogId"},
            {NameRole, "name"},
            {KindRole, "kind"},
            {LastActiveRole, "lastActive"}};
}

int ChatListModel::indexOf(const QString &dialogId) const
{
    const auto it = std::find_if(
            m_dialogs.cbegin(), m_dialogs.cend(),
            [&dialogId](const QSharedPointer<DialogBase> &d) { return d->dialogId() == dialogId; });
    return it == m_dialogs.cend() ? -1 : int(it - m_dialogs.cbegin());
}

QString ChatListModel::nameOf(const QString &dialogId) const
{
    const int row = indexOf(dialogId);
    return row < 0 ? QString() : m_dialogs.at(row)->name();
}
