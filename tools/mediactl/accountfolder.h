#pragma once

#include <QString>
#include <memory>

class AccountBase;

// The account kept in folder, opened; null, with the reason in *error, when the folder holds no
// account or one that cannot be used as it is: settings that are not a JSON object naming a user,
// a missing or empty account.db, a missing cache folder, a database SQLite cannot open or finds
// damaged; what is missing is not created. Every command that works on an account
// starts here.
std::unique_ptr<AccountBase> openAccountFolder(const QString &folder, QString *error);
// The same, loaded into the AccountManager (for the stream server, which finds accounts there);
// the caller unloads it.
AccountBase *loadAccountFolder(const QString &folder, QString *error);

// The id of the chat a user named by its id or by its exact name; empty, with the reason in
// *error, when no chat or several chats answer to it.
QString chatIdOf(const AccountBase &account, const QString &chat, QString *error);
