#pragma once

#include <QMutex>
#include <QString>
#include <QVariantMap>

// A settings file: one JSON object, read at construction and written through on every change
// (atomically, through QSaveFile). A file that is there but cannot be read as one JSON object is
// never written over: its settings read as absent and changes stay in memory. Thread-safe.
class JsonSettings
{
public:
    explicit JsonSettings(const QString &path);

    QString path() const { return m_path; }
    // Why the file that is there could not be read; empty when it was read or is not there.
    QString readError() const { return m_readError; }
    QVariant value(const QString &key, const QVariant &fallback = QVariant()) const;
    // Returns whether the value changed; a changed value is written to disk when persist is set.
    bool setValue(const QString &key, const QVariant &value, bool persist = true);

private:
    bool write() const;

    const QString m_path;
    QString m_readError;
    mutable QMutex m_mutex; // guards m_values
    QVariantMap m_values;
};
