#include "accountsettingmodel.h"

static const QString PrivateKeepTimeKey = QStringLiteral("private_keep_time");
static const QString GroupKeepTimeKey = QStringLiteral("group_keep_time");

AccountSettingModel::AccountSettingModel(const QString &path, QObject *parent)
    : QObject(parent)
    , m_settings(path)
{ }

int AccountSettingModel::privateKeepTime() const
{
    return m_settings.value(PrivateKeepTimeKey, DefaultKeepTime).toInt();
}

void AccountSettingModel::setPrivateKeepTime(int days)
{
    if (m_settings.setValue(PrivateKeepTimeKey, days)) {
        Q_EMIT privateKeepTimeChanged();
    }
}

int AccountSettingModel::groupKeepTime() const
{
    return m_settings.value(GroupKeepTimeKey, DefaultKeepTime).toInt();
}

void AccountSettingModel::setGroupKeepTime(int days)
{
    if (m_settings.setValue(GroupKeepTimeKey, days)) {
        Q_EMIT groupKeepTimeChanged();
    }
}

QVariant AccountSettingModel::value(const QString &key, const QVariant &fallback) const
{
    return m_settings.value(key, fallback);
}

void AccountSettingModel::setValue(const QString &key, const QVariant &value)
{
    m_settings.setValue(key, value);
}
