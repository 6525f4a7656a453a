#include "jsonsettings.h"

#include "jsonutil.h"
#include "platformlog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

JsonSettings::JsonSettings(const QString &path)
    : m_path(path)
{
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        m_values = jsonToMap(file.readAll());
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
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly)) {
        qCWarning(lcPlatform) << "cannot write settings" << m_path << file.errorString();
        return false;
    }
    file.write(mapToJson(m_values));
    return file.commit();
}
