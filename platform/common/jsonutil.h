#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QString>
#include <QVarLengthArray>
#include <QVariantMap>

// JSON object text of a map, compact. 64-bit integers survive the round trip.
QByteArray mapToJson(const QVariantMap &map);
// The map of a JSON object text; bad JSON or anything but an object gives an empty map.
QVariantMap jsonToMap(const QByteArray &json);
QVariantMap jsonToMap(const QString &json);

// Appends text as a JSON string, escaped as QJsonDocument escapes it.
void appendJsonString(QByteArray &out, const QString &text);

// One flat JSON object of strings and integers, written compact and byte for byte as
// QJsonDocument writes it, without building a QVariantMap and a QJsonObject first: for records
// written by the hundred thousand. Keys must be added in the order QJsonObject keeps them
// (sorted), and each once; keys are plain ASCII names, written without escaping.
class CompactJsonWriter
{
public:
    void add(QLatin1String key, const QString &value);
    void add(QLatin1String key, qint64 value);
    // The object text; the writer starts over empty.
    QByteArray take();

private:
    void addKey(QLatin1String key);

    // Room for a whole record, so that a record costs one allocation: the text returned.
    QVarLengthArray<char, 256> m_out;
};
