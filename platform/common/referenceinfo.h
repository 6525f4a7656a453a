#pragma once

#include <QString>
#include <QtGlobal>

// What a quoting message says about the message it quotes. The quoted message's id travels as a
// string in the protocol, so it stays one here.
struct ReferenceInfo
{
    QString dialogId;
    QString messageId;
    qint64 senderId = 0;
    int type = 0;

    bool isValid() const { return !messageId.isEmpty(); }
};
