#include "jsonutil.h"

#include "platformlog.h"

#include <QJsonDocument>
#include <QJsonObject>

QByteArray mapToJson(const QVariantMap &map)
{
    return QJsonDocument(QJsonObject::fromVariantMap(map)).toJson(QJsonDocument::Compact);
}

QVariantMap jsonToMap(const QByteArray &json)
{
    if (json.isEmpty()) {
        return {};
    }
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) {
        qCDebug(lcPlatform) << "not a JSON object:" << error.errorString();
        return {};
    }
    return doc.object().toVariantMap();
}

QVariantMap jsonToMap(const QString &json)
{
    return jsonToMap(json.toUtf8());
}
