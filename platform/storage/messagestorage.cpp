#include "messagestorage.h"

#include "database.h"
#include "sqlhelpers_p.h"
#include "whereclause_p.h"

#include <QSet>
#include <algorithm>
#include <charconv>
#include <iterator>
#include <tuple>

namespace storage {

namespace {

constexpr int LinkType = 1;

const QString &selectColumns()
{
    static const QString sql = QStringLiteral("SELECT dialog_id, message_id, sub_msg_id, "
                                              "date_time, type, sender_id, text, removed, data "
                                              "FROM message");
    return sql;
}

// The keys travel as JSON arrays and drive the loop, so each is one primary-key lookup and the
// statement texts never change. Bound one by one, hundreds of placeholders cost more to parse than
// the lookups themselves, and as an IN list of row values they make SQLite walk every row of the
// dialog. Keys without a sub-message id, nearly all of them, travel as a flat array of message
// ids: taking the two ids out of a [messageId, subMsgId] pair costs SQLite as much as the lookup.
class KeyedSelect
{
public:
    explicit KeyedSelect(QLatin1String columns)
        : m_plain(QStringLiteral("SELECT %1 FROM json_each(?) AS k CROSS JOIN message AS m "
                                 "ON m.dialog_id = ? AND m.message_id = k.value "
                                 "AND m.sub_msg_id = 0")
                          .arg(columns))
        , m_pairs(QStringLiteral("SELECT %1 FROM json_each(?) AS k CROSS JOIN message AS m "
                                 "ON m.dialog_id = ? "
                                 "AND m.message_id = json_extract(k.value, '$[0]') "
                                 "AND m.sub_msg_id = json_extract(k.value, '$[1]')")
                          .arg(columns))
    { }

    // Appends rowAt(row) for the row of every key that exists, in no particular order.
    template<typename Row, typename RowAt>
    bool select(QSqlDatabase db, const QString &dialogId, const QList<MessageKey> &keys,
                RowAt rowAt, QList<Row> &rows) const
    {
        QList<MessageKey> plain;
        QList<MessageKey> pairs;
        for (const MessageKey &key : Sql::uniqueIds(keys)) {
            (key.subMsgId == 0 ? plain : pairs).append(key);
        }
        rows.reserve(rows.size() + plain.size() + pairs.size());
        const QVariant dialog = Sql::text(dialogId);
        return (plain.isEmpty()
                || Sql::select(db, m_plain, {keyList(plain, false), dialog}, rowAt, rows))
                && (pairs.isEmpty()
                    || Sql::select(db, m_pairs, {keyList(pairs, true), dialog}, rowAt, rows));
    }

private:
    static void appendNumber(QByteArray &json, qint64 number)
    {
        char digits[24];
        const auto written = std::to_chars(std::begin(digits), std::end(digits), number);
        json.append(digits, written.ptr - digits);
    }

    static QString keyList(const QList<MessageKey> &keys, bool asPairs)
    {
        QByteArray json;
        json.reserve(keys.size() * 16 + 2);
        json.append('[');
        for (const MessageKey &key : keys) {
            if (json.size() > 1) {
                json.append(',');
            }
            if (asPairs) {
                json.append('[');
            }
            appendNumber(json, key.messageId);
            if (asPairs) {
                json.append(',');
                appendNumber(json, key.subMsgId);
                json.append(']');
            }
        }
        json.append(']');
        return QString::fromLatin1(json);
    }

    const QString m_plain;
    const QString m_pairs;
};

MessageRecord recordAt(const Sql::NativeRow &stored)
{
    MessageRecord record;
    record.dialogId = stored.text(0);
    record.messageId = stored.integer(1);
    record.subMsgId = stored.integer(2);
    record.dateTime = stored.integer(3);
    record.type = int(stored.integer(4));
    record.senderId = stored.integer(5);
    record.text = stored.text(6);
    record.removed = stored.boolean(7);
    record.data = stored.blob(8);
    return record;
}

bool hasUrl(const QString &text)
{
    return text.contains(QLatin1String("http://"), Qt::CaseInsensitive)
            || text.contains(QLatin1String("https://"), Qt::CaseInsensitive);
}

WhereClause searchFilters(const MessageSearchInfo &info)
{
    WhereClause where(QStringLiteral("removed = 0"), {});
    QList<int> types = Sql::uniqueIds(info.types);
    if (info.linksOnly) {
        if (!types.contains(LinkType)) {
            types.append(LinkType);
        }
        where.add(QStringLiteral("(type <> ? OR has_url = 1)"), {LinkType});
    }
    if (!types.isEmpty()) {
        where.add(QStringLiteral("type IN (%1)").arg(Sql::placeholders(types.size())),
                  Sql::toVariantList(types));
    }
    const QString keyword = info.keyword.toCaseFolded();
    if (!keyword.isEmpty()) {
        where.add(QStringLiteral("instr(folded_text, ?) > 0"), {keyword});
    }
    const QList<qint64> senders = Sql::uniqueIds(info.senderIds);
    if (!senders.isEmpty()) {
        where.add(QStringLiteral("sender_id IN (%1)").arg(Sql::placeholders(senders.size())),
                  Sql::toVariantList(senders));
    }
    if (info.startTime >= 1) {
        where.add(QStringLiteral("date_time >= ?"), {info.startTime});
    }
    if (info.endTime >= 1) {
        where.add(QStringLiteral("date_time <= ?"), {info.endTime});
    }
    if (info.msgId != 0) {
        where.add(info.newer ? QStringLiteral("message_id >= ?")
                             : QStringLiteral("message_id <= ?"),
                  {info.msgId});
    }
    return where;
}

} // namespace

MessageStorage::MessageStorage(Database *db)
    : m_db(db)
{ }

bool MessageStorage::save(const QList<MessageRecord> &records)
{
    return Sql::insertRows(
            m_db,
            QStringLiteral("INSERT OR REPLACE INTO message (dialog_id, message_id, sub_msg_id, "
                           "date_time, type, sender_id, text, folded_text, has_url, removed, "
                           "data)"),
            records, [](const MessageRecord &record) {
                return Sql::Values {
                        record.dialogId,     record.messageId,
                        record.subMsgId,     record.dateTime,
                        record.type,         record.senderId,
                        record.text,         record.text.toCaseFolded(),
                        hasUrl(record.text), record.removed,
                        record.data,
                };
            });
}

MessageRecord MessageStorage::message(const QString &dialogId, const MessageKey &key)
{
    const QList<MessageRecord> records = messages(dialogId, {key});
    return records.isEmpty() ? MessageRecord() : records.constFirst();
}

QList<MessageRecord> MessageStorage::messages(const QString &dialogId,
                                              const QList<MessageKey> &keys)
{
    static const KeyedSelect select(QLatin1String("m.dialog_id, m.message_id, m.sub_msg_id, "
                                                  "m.date_time, m.type, m.sender_id, m.text, "
                                                  "m.removed, m.data"));
    QList<MessageRecord> records;
    return select.select(m_db->connection(), dialogId, keys, recordAt, records)
            ? records
            : QList<MessageRecord>();
}

QList<MessageData> MessageStorage::messageData(const QString &dialogId,
                                               const QList<MessageKey> &keys)
{
    static const KeyedSelect select(QLatin1String("m.message_id, m.sub_msg_id, m.data"));
    const auto dataAt = [](const Sql::NativeRow &row) {
        return MessageData {row.integer(0), row.integer(1), row.blob(2)};
    };
    QList<MessageData> found;
    return select.select(m_db->connection(), dialogId, keys, dataAt, found) ? found
                                                                            : QList<MessageData>();
}

QList<MessageRecord> MessageStorage::subMessages(const QString &dialogId, qint64 messageId)
{
    QList<MessageRecord> records;
    const bool ok = Sql::select(m_db->connection(),
                                selectColumns()
                                        + QStringLiteral(" WHERE dialog_id = ? AND message_id = ? "
                                                         "AND sub_msg_id > 0 ORDER BY sub_msg_id"),
                                {Sql::text(dialogId), messageId}, recordAt, records);
    return ok ? records : QList<MessageRecord>();
}

QList<MessageRecord> MessageStorage::search(const MessageSearchInfo &info, bool *hasMore)
{
    if (hasMore) {
        *hasMore = false;
    }
    if (info.count < 1) {
        return {};
    }
    WhereClause where = searchFilters(info);
    const QString order = info.newer
            ? QStringLiteral(" ORDER BY message_id, sub_msg_id, dialog_id LIMIT ?")
            : QStringLiteral(" ORDER BY message_id DESC, sub_msg_id DESC, dialog_id DESC LIMIT ?");
    if (!info.dialogIds.isEmpty()) {
        const QVariant dialogIds = Sql::idArray(info.dialogIds);
        if (dialogIds.isNull()) {
            return {};
        }
        where.add(QStringLiteral("dialog_id IN (%1)").arg(Sql::idSet()), {dialogIds});
    }
    // One row past the page tells whether there are more.
    QList<MessageRecord> records;
    const bool ok =
            Sql::select(m_db->connection(), selectColumns() + where.sql() + order,
                        where.values() + QVariantList {qint64(info.count) + 1}, recordAt, records);
    if (!ok) {
        return {};
    }
    if (records.size() > info.count) {
        records.resize(info.count);
        if (hasMore) {
            *hasMore = true;
        }
    }
    return records;
}

qint64 MessageStorage::messageIdAtTime(const QString &dialogId, qint64 time)
{
    QList<qint64> ids;
    Sql::select(
            m_db->connection(),
            QStringLiteral("SELECT MIN(message_id) FROM message WHERE dialog_id = ? AND "
                           "sub_msg_id = 0 AND date_time >= ?"),
            {Sql::text(dialogId), time},
            [](const Sql::NativeRow &stored) { return stored.integer(0); }, ids);
    return ids.isEmpty() ? 0 : ids.constFirst();
}

bool MessageStorage::removeWithMessageIds(const QString &dialogId, const QList<qint64> &messageIds)
{
    return Sql::execWithIds(
            m_db, QStringLiteral("DELETE FROM message WHERE dialog_id = ? AND message_id IN (%1)"),
            {Sql::text(dialogId)}, messageIds);
}

int MessageStorage::count(const QString &dialogId)
{
    const WhereClause where = dialogId.isEmpty()
            ? WhereClause()
            : WhereClause(QStringLiteral("dialog_id = ?"), {Sql::text(dialogId)});
    QList<int> counts;
    Sql::select(
            m_db->connection(), QStringLiteral("SELECT COUNT(*) FROM message") + where.sql(),
            where.values(), [](const Sql::NativeRow &stored) { return int(stored.integer(0)); },
            counts);
    return counts.isEmpty() ? 0 : counts.constFirst();
}

} // namespace storage
