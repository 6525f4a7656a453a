#include "accountfolder.h"

#include "accountbase.h"
#include "accountmanager.h"

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
