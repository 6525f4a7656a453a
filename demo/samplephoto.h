#pragma once

#include <QString>

class AccountBase;
namespace im {
class Message;
}

// A photo as the user would send it from this machine: the picture and its thumbnail are drawn,
// written into the account's source folder (where the message's file:// URLs point) and into the
// media cache, since a file the user sent is on disk from the start.
class SamplePhoto
{
public:
    // The photo message msgId of dialogId, sent by the account's user at time. False, with a log
    // line, when a file could not be written; message is then left as it was.
    static bool make(AccountBase *account, const QString &dialogId, qint64 msgId, qint64 time,
                     im::Message *message);
};
