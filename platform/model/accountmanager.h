#pragma once

#include <QHash>
#include <QMutex>
#include <QString>

class AccountBase;

// The process's signed-in accounts by user id. Accounts are made and deleted on the main
// thread; getAccount is thread-safe (the stream server asks from the network thread).
class AccountManager
{
public:
    static AccountManager *getInstance();

    // Null when no such account is loaded.
    AccountBase *getAccount(qint64 userId) const;
    // Opens the account kept in folder (its settings.json names the user id) and registers it.
    // Null, with a log line, when the folder holds no readable account. Not owned by the caller:
    // unloadAccount deletes it.
    AccountBase *loadAccount(const QString &folder);
    // Registers an account made by the caller, who keeps owning it.
    void addAccount(AccountBase *account);
    void removeAccount(AccountBase *account);
    // Unregisters and deletes an account made by loadAccount.
    void unloadAccount(qint64 userId);

    // The user id recorded in an account folder; 0 when there is none, with the reason in *error
    // when the folder's settings are there but cannot be read.
    static qint64 userIdOfFolder(const QString &folder, QString *error = nullptr);
    static bool writeAccountInfo(const QString &folder, qint64 userId, const QString &name);

private:
    AccountManager() = default;

    mutable QMutex m_mutex; // guards m_accounts and m_owned
    QHash<qint64, AccountBase *> m_accounts;
    QHash<qint64, AccountBase *> m_owned;
};
