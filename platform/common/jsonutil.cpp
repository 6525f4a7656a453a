#include "jsonutil.h"

#include "platformlog.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <charconv>
#include <iterator>

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

template<typename Out> void appendEscapedUnit(Out &out, char16_t unit)
{
    const char escaped[] = {'\\',
                            'u',
                            hexDigit((unit >> 12) & 0xf),
                            hexDigit((unit >> 8) & 0xf),
                            hexDigit((unit >> 4) & 0xf),
                            hexDigit(unit & 0xf)};
    out.append(escaped, sizeof escaped);
}

// Copied as it is: neither a JSON special nor a control character.
bool isPlainAscii(char16_t unit)
{
    return unit >= 0x20 && unit < 0x80 && unit != '"' && unit != '\\';
}

// Ids, suffixes and most names are plain ASCII from end to end: they go in one copy rather than
// one append per character.
template<typename Out>
const char16_t *appendPlainAscii(Out &out, const char16_t *unit, const char16_t *end)
{
    const char16_t *const plainEnd = std::find_if_not(unit, end, isPlainAscii);
    const qsizetype at = out.size();
    out.resize(at + (plainEnd - unit));
    std::transform(unit, plainEnd, out.data() + at, [](char16_t plain) { return char(plain); });
    return plainEnd;
}

template<typename Out> void appendAscii(Out &out, char16_t unit)
{
    const auto shortEscape = [&out](char letter) {
        const char escaped[] = {'\\', letter};
        out.append(escaped, sizeof escaped);
    };
    switch (unit) {
    case '"':
    case '\\':
        return shortEscape(char(unit));
    case '\b':
        return shortEscape('b');
    case '\f':
        return shortEscape('f');
    case '\n':
        return shortEscape('n');
    case '\r':
        return shortEscape('r');
    case '\t':
        return shortEscape('t');
    default:
        if (unit < 0x20) {
            appendEscapedUnit(out, unit);
        } else {
            out.append(char(unit));
        }
    }
}

template<typename Out> void appendUtf8(Out &out, char32_t code)
{
    if (code < 0x800) {
        out.append(char(0xc0 | (code >> 6)));
    } else if (code < 0x10000) {
        out.append(char(0xe0 | (code >> 12)));
        out.append(char(0x80 | ((code >> 6) & 0x3f)));
    } else {
        out.append(char(0xf0 | (code >> 18)));
        out.append(char(0x80 | ((code >> 12) & 0x3f)));
        out.append(char(0x80 | ((code >> 6) & 0x3f)));
    }
    out.append(char(0x80 | (code & 0x3f)));
}

// Out is a QByteArray or the writer's stack buffer, which append alike.
// Escapes as QJsonDocument does: the two JSON specials and control characters escaped, other
// text as UTF-8, and a surrogate without its partner as a \u escape of itself.
template<typename Out> void appendJsonStringTo(Out &out, const QString &text)
{
    out.append('"');
    const char16_t *unit = reinterpret_cast<const char16_t *>(text.constData());
    const char16_t *const end = unit + text.size();
    for (; (unit = appendPlainAscii(out, unit, end)) != end; ++unit) {
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
    out.append('"');
}

} // namespace

void appendJsonString(QByteArray &out, const QString &text)
{
    appendJsonStringTo(out, text);
}

void CompactJsonWriter::add(QLatin1String key, const QString &value)
{
    addKey(key);
    appendJsonStringTo(m_out, value);
}

void CompactJsonWriter::add(QLatin1String key, qint64 value)
{
    addKey(key);
    char digits[24];
    const std::to_chars_result written = std::to_chars(std::begin(digits), std::end(digits), value);
    m_out.append(digits, written.ptr - digits);
}

QByteArray CompactJsonWriter::take()
{
    if (m_out.isEmpty()) {
        m_out.append('{');
    }
    m_out.append('}');
    QByteArray out(m_out.constData(), m_out.size());
    m_out.clear();
    return out;
}

void CompactJsonWriter::addKey(QLatin1String key)
{
    m_out.append(m_out.isEmpty() ? '{' : ',');
    m_out.append('"');
    m_out.append(key.data(), key.size());
    m_out.append("\":", 2);
}
