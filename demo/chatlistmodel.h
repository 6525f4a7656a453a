#pragma once

#include <QAbstractListModel>
#include <QList>
#include <QSharedPointer>
#include <QtQml/qqmlregistration.h>

class AccountBase;
class DialogBase;

// The account's chats for the gallery's side bar, most recently active first. A snapshot taken
// when the model is made: the sample account's chats do not change while the gallery runs.
class ChatListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("the chat list belongs to the gallery controller")
    Q_PROPERTY(int count READ rowCount CONSTANT)

public:
    enum Roles {
        DialogIdRole = Qt::UserRole + 1,
        NameRole,
        KindRole,       // "Private", "Group" or "System"
        LastActiveRole, // ms since the epoch
    };

    explicit ChatListModel(AccountBase *account, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    // The row of a chat, or -1.
    Q_INVOKABLE int indexOf(const QString &dialogId) const;
    Q_INVOKABLE QString nameOf(const QString &dialogId) const;

private:
    QList<QSharedPointer<DialogBase>> m_dialogs;
};
