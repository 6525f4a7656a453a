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

namespace {

char hexDigit(uint value)
{
    return char(value < 10 ? '0' + value : 'a' + value - 10);
}

void appendEscapedUnit(QByteArray &out, char16_t unit)
{
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        out += hexDigit((unit >> shift) & 0xf);
    }
}

void appendAscii(QByteArray &out, char16_t unit)
{
    switch (unit) {
    case '"':
        out += "\\\"";
        return;
    case '\\':
        out += "\\\\";
        return;
    case '\b':
        out += "\\b";
        return;
    case '\f':
        out += "\\f";
        return;
    case '\n':
        out += "\\n";
        return;
    case '\r':
        out += "\\r";
        return;
    case '\t':
        out += "\\t";
        return;
    default:
        if (unit < 0x20) {
            out += "\\u00";
            out += hexDigit(unit >> 4);
            out += hexDigit(unit & 0xf);
        } else {
            out += char(unit);
        }
    }
}

void appendUtf8(QByteArray &out, char32_t code)
{
    if (code < 0x800) {
        out += char(0xc0 | (code >> 6));
    } else if (code < 0x10000) {
        out += char(0xe0 | (code >> 12));
        out += char(0x80 | ((code >> 6) & 0x3f));
    } else {
        out += char(0xf0 | (code >> 18));
        out += char(0x80 | ((code >> 12) & 0x3f));
        out += char(0x80 | ((code >> 6) & 0x3f));
    }
    out += char(0x80 | (code & 0x3f));
}

} // namespace

void CompactJsonWriter::add(QLatin1String key, const QString &value)
{
    addKey(key);
    appendJsonString(m_out, value);
}

void CompactJsonWriter::add(QLatin1String key, qint64 value)
{
    addKey(key);
    m_out += QByteArray::number(value);
}

QByteArray CompactJsonWriter::take()
{
    QByteArray out = m_out.isEmpty() ? QByteArrayLiteral("{") : std::exchange(m_out, {});
    out += '}';
    return out;
}

void CompactJsonWriter::addKey(QLatin1String key)
{
    m_out += m_out.isEmpty() ? '{' : ',';
    appendJsonString(m_out, key);
    m_out += ':';
}

// Escapes as QJsonDocument does: the two JSON specials and control characters escaped, other
// text as UTF-8, and a surrogate without its partner as a \u escape of itself.
void appendJsonString(QByteArray &out, const QString &text)
{
    out += '"';
    const char16_t *unit = reinterpret_cast<const char16_t *>(text.constData());
    const char16_t *const end = unit + text.size();
    for (; unit != end; ++unit) {
        const char16_t current = *unit;
        if (current < 0x80) {
            appendAscii(out, current);
        } else if (QChar::isHighSurrogate(current) && unit + 1 != end
                   && QChar::isLowSurrogate(unit[1])) {
            appendUtf8(out, QChar::surrogateToUcs4(current, unit[1]));
            ++unit;
        } else if (QChar::isSurrogate(current)) {
            appendEscapedUnit(out, current);
        } else {
            appendUtf8(out, current);
        }
    }
    out += '"';
}
