#include "accountmanager.h"

#include "accountbase.h"
#include "jsonsettings.h"
#include "platformlog.h"
#include "util.h"

static const QString UserIdKey = QStringLiteral("user_id");
static const QString NameKey = QStringLiteral("name");

static QString settingsPathOf(const QString &folder)
{
    return Util::joinPath(folder, QStringLiteral("settings.json"));
}

AccountManager *AccountManager::getInstance()
{
    static AccountManager manager;
    return &manager;
}

AccountBase *AccountManager::getAccount(qint64 userId) const
{
    QMutexLocker locker(&m_mutex);
    return m_accounts.value(userId);
}

qint64 AccountManager::userIdOfFolder(const QString &folder, QString *error)
{
    const JsonSettings settings(settingsPathOf(folder));
    if (error) {
        *error = settings.readError();
    }
    return settings.value(UserIdKey, 0).toLongLong();
}

bool AccountManager::writeAccountInfo(const QString &folder, qint64 userId, const QString &name)
{
    JsonSettings settings(settingsPathOf(folder));
    settings.setValue(UserIdKey, userId);
    settings.setValue(NameKey, name);
    return userIdOfFolder(folder) == userId;
}

AccountBase *AccountManager::loadAccount(const QString &folder)
{
    const qint64 userId = userIdOfFolder(folder);
    if (userId <= 0) {
        qCWarning(lcPlatform) << "no account in" << folder;
        return nullptr;
    }
    if (AccountBase *loaded = getAccount(userId)) {
        return loaded;
    }
    auto *account = new AccountBase(userId, folder);
    if (!account->isValid()) {
        qCWarning(lcPlatform) << "cannot open the account database in" << folder;
        delete account;
        return nullptr;
    }
    QMutexLocker locker(&m_mutex);
    m_accounts.insert(userId, account);
    m_owned.insert(userId, account);
    return account;
}

void AccountManager::addAccount(AccountBase *account)
{
    if (!account) {
        return;
    }
    QMutexLocker locker(&m_mutex);
    m_accounts.insert(account->userId(), account);
}

void AccountManager::removeAccount(AccountBase *account)
{
    if (!account) {
        return;
    }
    QMutexLocker locker(&m_mutex);
    if (m_accounts.value(account->userId()) == account) {
        m_accounts.remove(account->userId());
    }
}

void AccountManager::unloadAccount(qint64 userId)
{
    AccountBase *owned = nullptr;
    {
        QMutexLocker locker(&m_mutex);
        owned = m_owned.take(userId);
        if (owned) {
            m_accounts.remove(userId);
        }
    }
    delete owned;
}
