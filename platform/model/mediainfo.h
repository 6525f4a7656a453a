#pragma once

#include <QSharedPointer>

class MessageBase;

// What the host hands to media ingest for one stored or received message.
struct MediaInfo
{
    QSharedPointer<MessageBase> msg;
    qint64 dateTime = 0;
    qint64 messageId = 0;
    qint32 subMsgId = 0;
    bool bContentReplaced = false; // the message's content was edited
};
