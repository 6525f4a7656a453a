#include "mediakeepsetting.h"

#include "accountbase.h"
#include "accountsettingmodel.h"
#include "constants.h"
#include "dialogbase.h"
#include "keepmediasettingstorage.h"
#include "mediamodellog_p.h"
#include "ownerthread_p.h"
#include "retention/mediakeepsearchmodel.h"
#include "threadmanager.h"
#include "userstorageprovider.h"

#include <QJSEngine>
#include <QMutexLocker>
#include <algorithm>

namespace {

// Of two keep times, the one that expires media sooner; below 1 never expires by age.
int sooner(int current, int candidate)
{
    if (candidate < 1) {
        return current;
    }
    return current < 1 || candidate < current ? candidate : current;
}

} // namespace

MediaKeepSetting::MediaKeepSetting(AccountBase *account)
    : m_account(account)
    , m_exceptionModel(new MediaKeepListModel(this))
    , m_searchModel(new MediaKeepSearchModel(
              m_account, [this](const QString &dialogId) { return contains(dialogId); }, this))
{
    // QML gets it from a hub slot and must never delete it or its lists.
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
    QJSEngine::setObjectOwnership(m_exceptionModel, QJSEngine::CppOwnership);
    QJSEngine::setObjectOwnership(m_searchModel, QJSEngine::CppOwnership);
}

MediaKeepSetting::~MediaKeepSetting()
{
    // The resolution task names this object; it must not outlive it.
    if (m_resolving) {
        ThreadManager::waitForIdle();
    }
    // The search's page asks contains() of this object: end it while the members still exist.
    delete m_searchModel;
}

bool MediaKeepSetting::isKeepType(int keepTime)
{
    switch (keepTime) {
    case WINDOW_LOSES_FOCUS:
    case FOREVER:
    case ONE_DAY:
    case ONE_WEEK:
    case ONE_MONTH:
        return true;
    default:
        return false;
    }
}

qint64 MediaKeepSetting::toMsecs(int keepTime)
{
    switch (keepTime) {
    case ONE_DAY:
        return ONE_DAY_MSEC;
    case ONE_WEEK:
        return ONE_WEEK_MSEC;
    case ONE_MONTH:
        return ONE_MONTH_MSEC;
    default:
        return keepTime;
    }
}

void MediaKeepSetting::loadLocalData(bool bFast)
{
    const AccountSettingModel *settings = m_account->accountSettingModel();
    if (changeDefault(m_privateKeepTime, settings->privateKeepTime())) {
        Q_EMIT privateKeepTimeChanged();
    }
    if (changeDefault(m_groupKeepTime, settings->groupKeepTime())) {
        Q_EMIT groupKeepTimeChanged();
    }
    if (bFast) {
        return;
    }
    QList<QString> unknown;
    {
        QMutexLocker locker(&m_mutex);
        m_exceptions.clear();
        bool read = false;
        const auto rows = m_account->storage()->keepMediaSettingStorage()->infos(&read);
        m_exceptionsUnread = !read;
        if (!read) {
            qCWarning(lcMedia) << "the dialogs' own keep times cannot be read; nothing expires by "
                                  "age until they are";
        }
        for (const storage::KeepMediaSettingInfo &row : rows) {
            if (!isKeepType(row.keepTime)) {
                qCWarning(lcMedia) << "keep time" << row.keepTime << "of dialog" << row.dialogId
                                   << "is no keep-time choice; the dialog keeps the default";
                continue;
            }
            const QSharedPointer<DialogBase> dialog = m_account->dialog(row.dialogId);
            m_exceptions.insert(row.dialogId,
                                {row.keepTime, !dialog.isNull(), dialog && dialog->isGroup()});
            if (!dialog) {
                unknown.append(row.dialogId);
            }
        }
    }
    showExceptions();
    resolveLater(unknown);
}

// The host loads dialogs on its database worker; behind the work queued there so far, the
// dialogs of the early rows are known.
void MediaKeepSetting::resolveLater(const QList<QString> &dialogIds)
{
    if (dialogIds.isEmpty()) {
        return;
    }
    m_resolving = true;
    ThreadManager::invoke(
            [this, dialogIds] {
                QHash<QString, bool> groupFlags;
                for (const QString &dialogId : dialogIds) {
                    if (const QSharedPointer<DialogBase> dialog = m_account->dialog(dialogId)) {
                        groupFlags.insert(dialogId, dialog->isGroup());
                    } else {
                        qCDebug(lcMedia) << "keep time of unknown dialog" << dialogId
                                         << "applies by id only";
                    }
                }
                runOnOwnerThread(this, [this, groupFlags] { takeResolved(groupFlags); });
            },
            true);
}

void MediaKeepSetting::takeResolved(const QHash<QString, bool> &groupFlags)
{
    {
        QMutexLocker locker(&m_mutex);
        for (auto it = groupFlags.cbegin(); it != groupFlags.cend(); ++it) {
            auto exception = m_exceptions.find(it.key());
            if (exception != m_exceptions.end()) {
                exception->bResolved = true;
                exception->bGroup = it.value();
            }
        }
    }
    showExceptions();
}

void MediaKeepSetting::clear()
{
    {
        QMutexLocker locker(&m_mutex);
        m_exceptions.clear();
    }
    m_searchModel->clear();
    m_exceptionModel->reset({});
}

int MediaKeepSetting::privateKeepTime() const
{
    QMutexLocker locker(&m_mutex);
    return m_privateKeepTime;
}

void MediaKeepSetting::setPrivateKeepTime(int keepTime)
{
    if (changeDefault(m_privateKeepTime, keepTime)) {
        m_account->accountSettingModel()->setPrivateKeepTime(keepTime);
        Q_EMIT privateKeepTimeChanged();
    }
}

int MediaKeepSetting::groupKeepTime() const
{
    QMutexLocker locker(&m_mutex);
    return m_groupKeepTime;
}

void MediaKeepSetting::setGroupKeepTime(int keepTime)
{
    if (changeDefault(m_groupKeepTime, keepTime)) {
        m_account->accountSettingModel()->setGroupKeepTime(keepTime);
        Q_EMIT groupKeepTimeChanged();
    }
}

bool MediaKeepSetting::changeDefault(int &member, int keepTime)
{
    if (!isKeepType(keepTime)) {
        qCWarning(lcMedia) << "default keep time" << keepTime << "is no keep-time choice";
        return false;
    }
    QMutexLocker locker(&m_mutex);
    if (member == keepTime) {
        return false;
    }
    member = keepTime;
    return true;
}

bool MediaKeepSetting::hasUnreadKeepTimes() const
{
    QMutexLocker locker(&m_mutex);
    return m_exceptionsUnread || !m_account->hasAllDialogs();
}

bool MediaKeepSetting::hasFocusLossDefault() const
{
    QMutexLocker locker(&m_mutex);
    return m_privateKeepTime == WINDOW_LOSES_FOCUS || m_groupKeepTime == WINDOW_LOSES_FOCUS;
}

qint64 MediaKeepSetting::keepTime(const QString &dialogId, bool bGroup) const
{
    QMutexLocker locker(&m_mutex);
    const auto exception = m_exceptions.constFind(dialogId);
    if (exception != m_exceptions.cend()) {
        return toMsecs(exception->keepTime);
    }
    return toMsecs(bGroup ? m_groupKeepTime : m_privateKeepTime);
}

qint64 MediaKeepSetting::keepTime(const QString &dialogId) const
{
    const QSharedPointer<DialogBase> dialog = m_account->dialog(dialogId);
    return keepTime(dialogId, dialog && dialog->isGroup());
}

qint64 MediaKeepSetting::shortestKeepTime() const
{
    QMutexLocker locker(&m_mutex);
    int shortest = sooner(m_privateKeepTime, m_groupKeepTime);
    for (auto it = m_exceptions.cbegin(); it != m_exceptions.cend() && shortest != ONE_DAY; ++it) {
        shortest = sooner(shortest, it->keepTime);
    }
    return toMsecs(shortest);
}

QList<QString> MediaKeepSetting::privateDialogs() const
{
    return dialogsOfKind(false);
}

QList<QString> MediaKeepSetting::groupDialogs() const
{
    return dialogsOfKind(true);
}

QList<QString> MediaKeepSetting::dialogsOfKind(bool bGroup) const
{
    QMutexLocker locker(&m_mutex);
    QList<QString> dialogIds;
    for (auto it = m_exceptions.cbegin(); it != m_exceptions.cend(); ++it) {
        if (it->bResolved && it->bGroup == bGroup) {
            dialogIds.append(it.key());
        }
    }
    std::sort(dialogIds.begin(), dialogIds.end());
    return dialogIds;
}

MediaKeepListModel *MediaKeepSetting::exceptionModel() const
{
    return m_exceptionModel;
}

MediaKeepListModel *MediaKeepSetting::searchModel() const
{
    return m_searchModel;
}

void MediaKeepSetting::initModel(bool bGroupSetting)
{
    if (m_groupSetting != bGroupSetting) {
        m_groupSetting = bGroupSetting;
        Q_EMIT groupSettingChanged();
    }
    m_searchModel->clear();
    showExceptions();
}

void MediaKeepSetting::add(const QString &dialogId, int keepTime)
{
    store(dialogId, keepTime);
}

void MediaKeepSetting::updateKeepTime(const QString &dialogId, int keepTime)
{
    if (!contains(dialogId)) {
        qCWarning(lcMedia) << "dialog" << dialogId << "has no keep time of its own to update";
        return;
    }
    store(dialogId, keepTime);
}

bool MediaKeepSetting::store(const QString &dialogId, int keepTime)
{
    if (!isKeepType(keepTime)) {
        qCWarning(lcMedia) << "keep time" << keepTime << "for dialog" << dialogId
                           << "is no keep-time choice";
        return false;
    }
    const QSharedPointer<DialogBase> dialog = m_account->dialog(dialogId);
    if (!dialog) {
        qCWarning(lcMedia) << "no keep time for dialog" << dialogId << ": the account has none";
        return false;
    }
    if (!m_account->storage()->keepMediaSettingStorage()->save({dialogId, keepTime})) {
        qCWarning(lcMedia) << "keep time of dialog" << dialogId << "not saved; it stays as it was";
        return false;
    }
    const Exception exception {keepTime, true, dialog->isGroup()};
    {
        QMutexLocker locker(&m_mutex);
        m_exceptions.insert(dialogId, exception);
    }
    m_searchModel->removeDialog(dialogId);
    if (exception.bGroup == m_groupSetting) {
        m_exceptionModel->upsert(rowOf(dialogId, exception));
    }
    return true;
}

void MediaKeepSetting::remove(const QString &dialogId)
{
    if (!contains(dialogId)) {
        return;
    }
    if (!m_account->storage()->keepMediaSettingStorage()->remove(dialogId)) {
        qCWarning(lcMedia) << "keep time of dialog" << dialogId << "not removed; it stays";
        return;
    }
    {
        QMutexLocker locker(&m_mutex);
        m_exceptions.remove(dialogId);
    }
    m_exceptionModel->removeDialog(dialogId);
}

bool MediaKeepSetting::contains(const QString &dialogId) const
{
    QMutexLocker locker(&m_mutex);
    return m_exceptions.contains(dialogId);
}

void MediaKeepSetting::search(const QString &keyword)
{
    m_searchModel->search(keyword, m_groupSetting);
}

MediaKeepListModel::Row MediaKeepSetting::rowOf(const QString &dialogId,
                                                const Exception &exception) const
{
    const QSharedPointer<DialogBase> dialog = m_account->dialog(dialogId);
    return {dialogId, dialog ? dialog->name() : dialogId, exception.keepTime, exception.bGroup};
}

// The shown kind's dialogs by name, then id.
void MediaKeepSetting::showExceptions()
{
    QList<MediaKeepListModel::Row> rows;
    {
        QMutexLocker locker(&m_mutex);
        for (auto it = m_exceptions.cbegin(); it != m_exceptions.cend(); ++it) {
            if (it->bResolved && it->bGroup == m_groupSetting) {
                rows.append(rowOf(it.key(), it.value()));
            }
        }
    }
    std::sort(rows.begin(), rows.end(), MediaKeepListModel::lessByName);
    m_exceptionModel->reset(rows);
}
