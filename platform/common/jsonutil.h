#pragma once

#include <QByteArray>
#include <QVariantMap>

// JSON object text of a map, compact. 64-bit integers survive the round trip.
QByteArray mapToJson(const QVariantMap &map);
// The map of a JSON object text; bad JSON or anything but an object gives an empty map.
QVariantMap jsonToMap(const QByteArray &json);
QVariantMap jsonToMap(const QString &json);
