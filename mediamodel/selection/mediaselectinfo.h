#pragma once

#include "messagekey.h"

#include <QSharedPointer>

class MessageBase;

// One ticked entry of a selection. A dialog's entries are kept oldest first, ascending by key, so
// their order is the reverse of their keys': an entry with a smaller key is the greater entry.
// That way the shared sorted-list search, which expects descending lists, finds and places them.
struct MediaSelectInfo
{
    MediaSelectInfo() = default;
    MediaSelectInfo(const MessageKey &mediaKey, const QSharedPointer<MessageBase> &msgData)
        : mediaKey(mediaKey)
        , msgData(msgData)
    { }

    bool operator==(const MediaSelectInfo &other) const { return mediaKey == other.mediaKey; }
    bool operator<(const MediaSelectInfo &other) const { return mediaKey > other.mediaKey; }
    bool operator>(const MediaSelectInfo &other) const { return mediaKey < other.mediaKey; }

    MessageKey mediaKey; // sub-message id 0 for a plain message, above 0 for a child item
    QSharedPointer<MessageBase> msgData; // shared with the ticked item
};
