#pragma once

#include <QMetaType>
#include <QObject>
#include <QtGlobal>

// The key of one message in its dialog. A subMsgId above 0 names a child of a combined message;
// keys order by messageId, then subMsgId.
class MessageKey
{
    Q_GADGET
    Q_PROPERTY(qint64 messageId MEMBER messageId)
    Q_PROPERTY(qint64 subMsgId MEMBER subMsgId)

public:
    MessageKey() = default;
    MessageKey(qint64 messageId, qint64 subMsgId)
        : messageId(messageId)
        , subMsgId(subMsgId)
    { }

    bool operator<(const MessageKey &other) const
    {
        return messageId < other.messageId
                || (messageId == other.messageId && subMsgId < other.subMsgId);
    }
    bool operator>(const MessageKey &other) const { return other < *this; }
    bool operator==(const MessageKey &other) const
    {
        return messageId == other.messageId && subMsgId == other.subMsgId;
    }
    bool operator!=(const MessageKey &other) const { return !(*this == other); }

    Q_INVOKABLE QString toString() const;

    qint64 messageId = 0;
    qint64 subMsgId = 0;
};

size_t qHash(const MessageKey &key, size_t seed = 0) noexcept;
QDebug operator<<(QDebug debug, const MessageKey &key);

Q_DECLARE_METATYPE(MessageKey)
