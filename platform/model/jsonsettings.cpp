#include "jsonsettings.h"

#include "jsonutil.h"
#include "platformlog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

JsonSettings::JsonSettings(const QString &path)
    : m_path(path)
{
    QFile file(path);
    if (!file.exists()) {
        return;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        m_readError = file.errorString();
    } else {
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
        if (error.error != QJsonParseError::NoError) {
            m_readError =
                    QStringLiteral("%1 at byte %2").arg(error.errorString()).arg(error.offset);
        } else if (!document.isObject()) {
            m_readError = QStringLiteral("not a JSON object");
        } else {
            m_values = document.object().toVariantMap();
        }
    }
    if (!m_readError.isEmpty()) {
        qCWarning(lcPlatform).noquote() << "settings" << path << "cannot be read:" << m_readError;
    }
}

QVariant JsonSettings::value(const QString &key, const QVariant &fallback) const
{
    QMutexLocker locker(&m_mutex);
    return m_values.value(key, fallback);
}

bool JsonSettings::setValue(const QString &key, const QVariant &value, bool persist)
{
    QMutexLocker locker(&m_mutex);
    if (m_values.value(key) == value) {
        return false;
    }
    m_values.insert(key, value);
    if (persist) {
        write();
    }
    return true;
}

bool JsonSettings::write() const
{
    if (!m_readError.isEmpty()) {
        qCWarning(lcPlatform) << "settings" << m_path
                              << "are not written over: they could not be read";
        return false;
    }
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly)) {
        qCWarning(lcPlatform) << "cannot write settings" << m_path << file.errorString();
        return false;
    }
    file.write(mapToJson(m_values));
    return file.commit();
}
