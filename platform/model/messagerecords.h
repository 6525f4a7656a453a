#pragma once

#include "messagekey.h"
#include "messagestorage.h"

#include <functional>

namespace im {
class Message;
}

// How messages are laid out in a message store: one row per message, and one per child of a
// combined message, keyed (containing id, child's own id).
namespace MessageRecords {

void forEachStored(const QList<im::Message> &messages,
                   const std::function<void(const im::Message &, const MessageKey &)> &fn);
storage::MessageRecord messageRecord(const im::Message &message, const MessageKey &key);

} // namespace MessageRecords
