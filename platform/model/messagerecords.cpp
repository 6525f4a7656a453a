#include "messagerecords.h"

#include "im.pb.h"

namespace MessageRecords {

void forEachStored(const QList<im::Message> &messages,
                   const std::function<void(const im::Message &, const MessageKey &)> &fn)
{
    for (const im::Message &message : messages) {
        fn(message, MessageKey(message.msg_id(), message.sub_msg_id()));
        for (const im::Message &child : message.combined_messages()) {
            fn(child, MessageKey(message.msg_id(), child.msg_id()));
        }
    }
}

storage::MessageRecord messageRecord(const im::Message &message, const MessageKey &key)
{
    storage::MessageRecord record;
    record.dialogId = QString::fromStdString(message.dialog_id());
    record.messageId = key.messageId;
    record.subMsgId = key.subMsgId;
    record.dateTime = message.time();
    record.type = message.type();
    record.senderId = message.sender_id();
    QStringList text {QString::fromStdString(message.text()),
                      QString::fromStdString(message.file().name())};
    for (const std::string &url : message.urls()) {
        text.append(QString::fromStdString(url));
    }
    text.removeAll(QString());
    record.text = text.join(QLatin1Char('\n'));
    record.removed = message.removed();
    record.data = QByteArray::fromStdString(message.SerializeAsString());
    return record;
}

} // namespace MessageRecords
