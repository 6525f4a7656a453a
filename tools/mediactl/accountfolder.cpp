#include "accountfolder.h"

#include "accountbase.h"
#include "accountmanager.h"
#include "dialogbase.h"

#include <QStringList>

std::unique_ptr<AccountBase> openAccountFolder(const QString &folder, QString *error)
{
    const qint64 userId = AccountManager::userIdOfFolder(folder);
    if (userId <= 0) {
        *error = QStringLiteral("no account in ") + folder;
        return nullptr;
    }
    auto account = std::make_unique<AccountBase>(userId, folder);
    if (!account->isValid()) {
        *error = QStringLiteral("cannot open the account in ") + folder;
        return nullptr;
    }
    return account;
}

QString chatIdOf(const AccountBase &account, const QString &chat, QString *error)
{
    if (account.dialog(chat)) {
        return chat;
    }
    QStringList named;
    for (const QSharedPointer<DialogBase> &dialog : account.dialogs()) {
        if (dialog->name() == chat) {
            named.append(dialog->dialogId());
        }
    }
    if (named.size() == 1) {
        return named.constFirst();
    }
    *error = named.isEmpty() ? QStringLiteral("no chat ") + chat
                             : QStringLiteral("several chats are named %1: %2 (give an id)")
                                       .arg(chat, named.join(QStringLiteral(", ")));
    return {};
}
