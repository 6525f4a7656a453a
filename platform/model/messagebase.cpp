#include "messagebase.h"

#include "contentitem.h"
#include "fileitem.h"
#include "im.pb.h"

#include <QCoreApplication>
#include <QThread>
#include <google/protobuf/arena.h>

// What the accessors read, taken out of the protocol record once. The record itself is kept as
// it is stored, a fraction of its parsed size, and parsed again only for what is rarely asked:
// a chat held whole holds a million of these.
struct MessageBase::Snapshot
{
    QByteArray data; // the serialized protocol record
    QString dialogId;
    qint64 time = 0;
    qint64 msgId = 0;
    qint64 subMsgId = 0;
    qint64 parentMsgId = 0;
    qint64 senderId = 0;
    int type = 0;
    bool removed = false;
    bool revoked = false;
    bool notForwardable = false;
    QSharedPointer<ContentItem> content; // never null; it keeps the message's text as well
    QSharedPointer<MessageBase> quote;
};

// What the messages built together share: their files, resolved in one lookup, and one string of
// the dialog id they have in common, as the messages of a chat's page do.
struct MessageBase::Batch
{
    QHash<QString, QSharedPointer<FileData>> files;
    QString dialogId;

    Batch() = default;
    Batch(const QList<const im::Message *> &protos, FileManager *files)
        : files(FileItem::resolveFiles(protos, files))
        , dialogId(protos.isEmpty() ? QString()
                                    : QString::fromStdString(protos.constFirst()->dialog_id()))
    { }

    QString dialogIdOf(const im::Message &proto) const
    {
        const QUtf8StringView id(proto.dialog_id());
        return QAnyStringView::equal(dialogId, id) ? dialogId : id.toString();
    }
};

namespace {

QByteArray serialized(const im::Message &proto)
{
    return QByteArray::fromStdString(proto.SerializeAsString());
}

im::Message parsed(const QByteArray &data)
{
    im::Message proto;
    // It parsed when the message was made from it, or was serialized from a record then.
    proto.ParseFromArray(data.constData(), int(data.size()));
    return proto;
}

} // namespace

QSharedPointer<MessageBase> MessageBase::create(const im::Message &proto, FileManager *files,
                                                qint64 ownUserId)
{
    return make(proto, serialized(proto), files, ownUserId, Batch());
}

QList<QSharedPointer<MessageBase>> MessageBase::createFromData(const QList<QByteArray> &records,
                                                               FileManager *files, qint64 ownUserId)
{
    // The parsed records live only while their messages are built: one arena takes them all,
    // instead of an allocation for every string and file of every record.
    google::protobuf::Arena arena;
    QList<const im::Message *> parsed;
    parsed.reserve(records.size());
    QList<const im::Message *> readable;
    readable.reserve(records.size());
    for (const QByteArray &data : records) {
        auto *proto = google::protobuf::Arena::CreateMessage<im::Message>(&arena);
        const bool reads = proto->ParseFromArray(data.constData(), int(data.size()));
        parsed.append(reads ? proto : nullptr);
        if (reads) {
            readable.append(proto);
        }
    }
    const Batch batch(readable, files);
    QList<QSharedPointer<MessageBase>> messages;
    messages.reserve(records.size());
    for (qsizetype i = 0; i < records.size(); ++i) {
        messages.append(parsed.at(i) ? make(*parsed.at(i), records.at(i), files, ownUserId, batch)
                                     : QSharedPointer<MessageBase>());
    }
    return messages;
}

QSharedPointer<MessageBase> MessageBase::make(const im::Message &proto, const QByteArray &data,
                                              FileManager *files, qint64 ownUserId,
                                              const Batch &batch)
{
    QSharedPointer<MessageBase> message(new MessageBase(proto, data, files, ownUserId, batch),
                                        &QObject::deleteLater);
    if (QCoreApplication *app = QCoreApplication::instance()) {
        message->moveToThread(app->thread());
    }
    return message;
}

MessageBase::MessageBase(const im::Message &proto, FileManager *files, qint64 ownUserId)
    : MessageBase(proto, serialized(proto), files, ownUserId, Batch())
{ }

MessageBase::MessageBase(const im::Message &proto, const QByteArray &data, FileManager *files,
                         qint64 ownUserId, const Batch &batch)
    : m_files(files)
    , m_ownUserId(ownUserId)
{
    applyProto(proto, data, batch);
}

MessageBase::~MessageBase() = default;

void MessageBase::setProto(const im::Message &proto)
{
    applyProto(proto, serialized(proto), Batch());
}

void MessageBase::applyProto(const im::Message &proto, const QByteArray &data, const Batch &batch)
{
    auto next = std::make_shared<Snapshot>();
    next->data = data;
    next->dialogId = batch.dialogIdOf(proto);
    next->time = proto.time();
    next->msgId = proto.msg_id();
    next->subMsgId = proto.sub_msg_id();
    next->parentMsgId = proto.parent_msg_id();
    next->senderId = proto.sender_id();
    next->type = proto.type();
    next->removed = proto.removed();
    next->revoked = proto.revoked();
    next->notForwardable = proto.not_forwardable();
    next->content = ContentItem::create(proto, m_files, batch.files);
    if (proto.has_quote()) {
        next->quote = make(proto.quote(), serialized(proto.quote()), m_files, m_ownUserId, batch);
    }
    bool changed = false;
    {
        QMutexLocker locker(&m_mutex);
        changed = m_snapshot != nullptr;
        m_snapshot = std::move(next);
    }
    if (changed) {
        Q_EMIT contentChanged();
    }
}

QString MessageBase::dialogId() const
{
    return read([](const Snapshot &current) { return current.dialogId; });
}

qint64 MessageBase::dateTime() const
{
    return read([](const Snapshot &current) { return current.time; });
}

int MessageBase::type() const
{
    return read([](const Snapshot &current) { return current.type; });
}

QString MessageBase::text() const
{
    return read([](const Snapshot &current) { return current.content->content(); });
}

qint64 MessageBase::msgId() const
{
    return read([](const Snapshot &current) { return current.msgId; });
}

qint64 MessageBase::subMsgId() const
{
    return read([](const Snapshot &current) { return current.subMsgId; });
}

qint64 MessageBase::parentMsgId() const
{
    return read([](const Snapshot &current) { return current.parentMsgId; });
}

qint64 MessageBase::senderId() const
{
    return read([](const Snapshot &current) { return current.senderId; });
}

QSharedPointer<ContentItem> MessageBase::contentItem() const
{
    return read([](const Snapshot &current) { return current.content; });
}

MessageKey MessageBase::key() const
{
    return read([](const Snapshot &current) {
        return current.parentMsgId > 0 ? MessageKey(current.parentMsgId, current.msgId)
                                       : MessageKey(current.msgId, current.subMsgId);
    });
}

QString MessageBase::referenceDialogId() const
{
    return QString::fromStdString(proto().ref_dialog_id());
}

ReferenceInfo MessageBase::referenceInfo() const
{
    const auto [data, quote] = read(
            [](const Snapshot &current) { return std::make_pair(current.data, current.quote); });
    const im::Message proto = parsed(data);
    ReferenceInfo info;
    info.dialogId = QString::fromStdString(proto.ref_dialog_id());
    info.messageId = QString::fromStdString(proto.ref_msg_id());
    if (quote) {
        info.senderId = quote->senderId();
        info.type = quote->type();
    }
    return info;
}

QSharedPointer<MessageBase> MessageBase::quoteMessage() const
{
    return read([](const Snapshot &current) { return current.quote; });
}

bool MessageBase::isRemoved() const
{
    return read([](const Snapshot &current) { return current.removed; });
}

bool MessageBase::isRevoked() const
{
    return read([](const Snapshot &current) { return current.revoked; });
}

im::Message MessageBase::proto() const
{
    return parsed(read([](const Snapshot &current) { return current.data; }));
}

QList<QSharedPointer<MessageBase>> MessageBase::combinedMessages() const
{
    const im::Message record = proto();
    QList<QSharedPointer<MessageBase>> children;
    children.reserve(record.combined_messages_size());
    for (const im::Message &child : record.combined_messages()) {
        children.append(create(child, m_files, m_ownUserId));
    }
    return children;
}

bool MessageBase::canForward(bool bGlobal) const
{
    Q_UNUSED(bGlobal)
    return read([](const Snapshot &current) {
        return !current.notForwardable && !current.revoked && !current.removed;
    });
}

bool MessageBase::isExcluded() const
{
    return false;
}

DeletionRecord MessageBase::makeDeletionRecord() const
{
    DeletionRecord record;
    record.messageId = msgId();
    record.subMsgId = subMsgId();
    record.senderId = senderId();
    record.flags = isSentByMe() ? DeletionRecord::SentByMe : 0;
    return record;
}
