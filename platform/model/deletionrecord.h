#pragma once

#include <QtGlobal>

// What the account's delete operation needs of one message.
struct DeletionRecord
{
    enum Flag { SentByMe = 0x1 };

    qint64 messageId = 0;
    qint64 subMsgId = 0;
    qint64 senderId = 0;
    int flags = 0;
    qint64 reserved = 0;
};
