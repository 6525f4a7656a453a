#include "accountfolder.h"

#include "accountbase.h"
#include "accountmanager.h"
#include "database.h"
#include "dialogbase.h"
#include "userstorageprovider.h"
#include "util.h"

#include <QFileInfo>
#include <QStringList>

namespace {

QString pathIn(const QString &folder, const char *name)
{
    return Util::joinPath(folder, QLatin1String(name));
}

// The checks that need no database: what the folder must hold for an account to open as it is
// (opening creates what is missing). The user id, or 0 with the reason in *error.
qint64 checkFolder(const QString &folder, QString *error)
{
    QString settingsError;
    const qint64 userId = AccountManager::userIdOfFolder(folder, &settingsError);
    const QFileInfo database(pathIn(folder, "account.db"));
    if (!settingsError.isEmpty()) {
        *error = pathIn(folder, "settings.json") + QStringLiteral(" cannot be read: ")
                + settingsError;
    } else if (userId <= 0) {
        *error = QStringLiteral("no account in ") + folder;
    } else if (!database.isFile()) {
        *error = database.filePath() + QStringLiteral(" is missing");
    } else if (database.size() == 0) {
        *error = database.filePath() + QStringLiteral(" is empty");
    } else if (!QFileInfo(pathIn(folder, "cache")).isDir()) {
        *error = QStringLiteral("the cache folder ") + pathIn(folder, "cache")
                + QStringLiteral(" is missing");
    } else {
        return userId;
    }
    return 0;
}

// Whether the opened account's database is there and sound; the reason in *error when not.
bool isUsable(AccountBase &account, QString *error)
{
    const QString database = pathIn(account.folder(), "account.db");
    QString problem;
    if (!account.isValid()) {
        *error = QStringLiteral("cannot open ") + database;
    } else if (!account.storage()->database()->isSound(&problem)) {
        *error = database + QStringLiteral(" is damaged: ") + problem;
    } else {
        return true;
    }
    return false;
}

} // namespace

std::unique_ptr<AccountBase> openAccountFolder(const QString &folder, QString *error)
{
    const qint64 userId = checkFolder(folder, error);
    if (userId <= 0) {
        return nullptr;
    }
    auto account = std::make_unique<AccountBase>(userId, folder);
    return isUsable(*account, error) ? std::move(account) : nullptr;
}

AccountBase *loadAccountFolder(const QString &folder, QString *error)
{
    const qint64 userId = checkFolder(folder, error);
    if (userId <= 0) {
        return nullptr;
    }
    AccountManager *accounts = AccountManager::getInstance();
    AccountBase *account = accounts->loadAccount(folder);
    if (!account) {
        *error = QStringLiteral("cannot open ") + pathIn(folder, "account.db");
        return nullptr;
    }
    if (!isUsable(*account, error)) {
        accounts->unloadAccount(userId);
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
