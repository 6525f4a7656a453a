#pragma once

#include <QMutex>
#include <QString>
#include <QVariantMap>

// A settings file: one JSON object, read at construction and written through on every change
// (atomically, through QSaveFile). Thread-safe.
class JsonSettings
{
public:
    explicit JsonSettings(const QString &path);

    QString path() const { return m_path; }
    QVariant value(const QString &key, const QVariant &fallback = QVariant()) const;
    // Returns whether the value changed; a changed value is written to disk when persist is set.
    bool setValue(const QString &key, const QVariant &value, bool persist = true);

private:
    bool write() const;

    const QString m_path;
    mutable QMutex m_mutex; // guards m_values
    QVariantMap m_values;
};
