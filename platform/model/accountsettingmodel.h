#pragma once

#include "jsonsettings.h"

#include <QObject>

// The settings of one account, kept in the account's settings.json.
class AccountSettingModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int privateKeepTime READ privateKeepTime WRITE setPrivateKeepTime NOTIFY
                       privateKeepTimeChanged)
    Q_PROPERTY(
            int groupKeepTime READ groupKeepTime WRITE setGroupKeepTime NOTIFY groupKeepTimeChanged)

public:
    // How long downloaded media are kept, in days, with -1 for ever and -2 until the
    // application loses focus. New accounts keep media for ever.
    static constexpr int DefaultKeepTime = -1;

    explicit AccountSettingModel(const QString &path, QObject *parent = nullptr);

    int privateKeepTime() const;
    void setPrivateKeepTime(int days);
    int groupKeepTime() const;
    void setGroupKeepTime(int days);

    QVariant value(const QString &key, const QVariant &fallback = QVariant()) const;
    void setValue(const QString &key, const QVariant &value);

Q_SIGNALS:
    void privateKeepTimeChanged();
    void groupKeepTimeChanged();

private:
    JsonSettings m_settings;
};
