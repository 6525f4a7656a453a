#pragma once

#include "messagekey.h"
#include "storage_export.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace storage {

class Database;

// One stored message: the client's local copy, or the server's history in the server database.
struct MessageRecord
{
    QString dialogId;
    qint64 messageId = 0;
    qint64 subMsgId = 0; // > 0: child of a combined message
    qint64 dateTime = 0; // ms since epoch
    int type = 0;        // content type
    qint64 senderId = 0;
    QString text;
    bool removed = false;
    QByteArray data; // the serialized protocol message, opaque here
};

// A stored message's key and protocol record: what building the message takes.
struct MessageData
{
    qint64 messageId = 0;
    qint64 subMsgId = 0;
    QByteArray data;
};

// What a message search asks for. Filters combine with AND.
struct MessageSearchInfo
{
    QList<QString> dialogIds; // empty = all dialogs
    QList<int> types;         // empty = any
    bool linksOnly = false;   // type 1 rows match only when their text holds a URL; with no types,
                              // only such rows match
    QString keyword;          // case-insensitive substring of text
    QList<qint64> senderIds;  // empty = any
    qint64 startTime = 0, endTime = 0; // inclusive, < 1 = open
    qint64 msgId = 0;   // cursor: older = messageId <= msgId, newer = messageId >= msgId; 0 = none
    bool newer = false; // false: newest first; true: oldest first
    int count = 50;
};

// The message table, primary key (dialogId, messageId, subMsgId); sub rows are the children of
// combined messages. Thread-safe; failures log one warning and return false or an empty result.
class STORAGE_EXPORT MessageStorage
{
public:
    explicit MessageStorage(Database *db);

    // Inserts or replaces by key, all records in one transaction. Whether a record's text holds a
    // URL ("http://" or "https://") is stored beside it for linksOnly searches.
    bool save(const QList<MessageRecord> &records);
    // The record of key; its dialogId is empty when there is none.
    MessageRecord message(const QString &dialogId, const MessageKey &key);
    // The records of the keys that exist, in no particular order.
    QList<MessageRecord> messages(const QString &dialogId, const QList<MessageKey> &keys);
    // messages() reading only what building the messages takes, as a gallery page does for
    // hundreds at a time.
    QList<MessageData> messageData(const QString &dialogId, const QList<MessageKey> &keys);
    // The children of a combined message, by subMsgId.
    QList<MessageRecord> subMessages(const QString &dialogId, qint64 messageId);
    // One page of the rows matching info, removed rows left out, top-level and sub rows alike,
    // ordered by (messageId, subMsgId, dialogId): descending unless info.newer. hasMore (may be
    // null) tells whether rows exist past the page.
    QList<MessageRecord> search(const MessageSearchInfo &info, bool *hasMore);
    // The smallest top-level message id of the dialog with dateTime >= time; 0 if none.
    qint64 messageIdAtTime(const QString &dialogId, qint64 time);
    // Removes the messages with their children.
    bool removeWithMessageIds(const QString &dialogId, const QList<qint64> &messageIds);
    // Rows of the dialog, or of all dialogs for an empty id; 0 when the query fails.
    int count(const QString &dialogId = QString());

private:
    Database *const m_db;
};

} // namespace storage
