#pragma once

#include <QString>
#include <memory>

class AccountBase;

// The account kept in folder, opened; null, with the reason in *error, when the folder holds no
// account or the account cannot be opened. Every command that works on an account starts here.
std::unique_ptr<AccountBase> openAccountFolder(const QString &folder, QString *error);

// The id of the chat a user named by its id or by its exact name; empty, with the reason in
// *error, when no chat or several chats answer to it.
QString chatIdOf(const AccountBase &account, const QString &chat, QString *error);
