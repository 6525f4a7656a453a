#include "messagebase.h"

#include "contentitem.h"
#include "fileitem.h"
#include "im.pb.h"

#include <QCoreApplication>
#include <QJSEngine>
#include <QThread>

struct MessageBase::Snapshot
{
    im::Message proto;
    // Asked for by every list and row the message lands in; converted once, then shared.
    QString dialogId;
    QSharedPointer<ContentItem> content;
    QSharedPointer<MessageBase> quote;
};

// What the messages built together share: their files, resolved in one lookup, and one string of
// the dialog id they have in common, as the messages of a chat's page do.
struct MessageBase::Batch
{
    QHash<QString, QSharedPointer<FileData>> files;
    QString dialogId;

    QString dialogIdOf(const im::Message &proto) const
    {
        const QUtf8StringView id(proto.dialog_id());
        return QAnyStringView::equal(dialogId, id) ? dialogId : id.toString();
    }
};

QSharedPointer<MessageBase> MessageBase::create(const im::Message &proto, FileManager *files,
                                                qint64 ownUserId)
{
    return make(im::Message(proto), files, ownUserId, Batch());
}

QList<QSharedPointer<MessageBase>> MessageBase::create(QList<im::Message> protos,
                                                       FileManager *files, qint64 ownUserId)
{
    Batch batch;
    batch.files = FileItem::resolveFiles(protos, files);
    if (!protos.isEmpty()) {
        batch.dialogId = QString::fromStdString(protos.constFirst().dialog_id());
    }
    QList<QSharedPointer<MessageBase>> messages;
    messages.reserve(protos.size());
    for (im::Message &proto : protos) {
        messages.append(make(std::move(proto), files, ownUserId, batch));
    }
    return messages;
}

QSharedPointer<MessageBase> MessageBase::make(im::Message &&proto, FileManager *files,
                                              qint64 ownUserId, const Batch &batch)
{
    QSharedPointer<MessageBase> message(new MessageBase(std::move(proto), files, ownUserId, batch),
                                        &QObject::deleteLater);
    if (QCoreApplication *app = QCoreApplication::instance()) {
        message->moveToThread(app->thread());
    }
    return message;
}

MessageBase::MessageBase(const im::Message &proto, FileManager *files, qint64 ownUserId)
    : MessageBase(im::Message(proto), files, ownUserId, Batch())
{ }

MessageBase::MessageBase(im::Message &&proto, FileManager *files, qint64 ownUserId,
                         const Batch &batch)
    : m_files(files)
    , m_ownUserId(ownUserId)
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
    applyProto(std::move(proto), batch);
}

MessageBase::~MessageBase() = default;

std::shared_ptr<const MessageBase::Snapshot> MessageBase::snapshot() const
{
    QMutexLocker locker(&m_mutex);
    return m_snapshot;
}

void MessageBase::setProto(const im::Message &proto)
{
    applyProto(im::Message(proto), Batch());
}

void MessageBase::applyProto(im::Message &&proto, const Batch &batch)
{
    auto next = std::make_shared<Snapshot>();
    next->proto = std::move(proto);
    next->dialogId = batch.dialogIdOf(next->proto);
    next->content = ContentItem::create(next->proto, m_files, batch.files);
    if (next->proto.has_quote()) {
        next->quote = make(im::Message(next->proto.quote()), m_files, m_ownUserId, batch);
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
    return read([](const Snapshot &current) { return current.proto.time(); });
}

int MessageBase::type() const
{
    return read([](const Snapshot &current) { return current.proto.type(); });
}

QString MessageBase::text() const
{
    return read(
            [](const Snapshot &current) { return QString::fromStdString(current.proto.text()); });
}

qint64 MessageBase::msgId() const
{
    return read([](const Snapshot &current) { return current.proto.msg_id(); });
}

qint64 MessageBase::subMsgId() const
{
    return read([](const Snapshot &current) { return current.proto.sub_msg_id(); });
}

qint64 MessageBase::parentMsgId() const
{
    return read([](const Snapshot &current) { return current.proto.parent_msg_id(); });
}

qint64 MessageBase::senderId() const
{
    return read([](const Snapshot &current) { return current.proto.sender_id(); });
}

QSharedPointer<ContentItem> MessageBase::contentItem() const
{
    return read([](const Snapshot &current) { return current.content; });
}

MessageKey MessageBase::key() const
{
    const auto current = snapshot();
    if (current->proto.parent_msg_id() > 0) {
        return MessageKey(current->proto.parent_msg_id(), current->proto.msg_id());
    }
    return MessageKey(current->proto.msg_id(), current->proto.sub_msg_id());
}

QString MessageBase::referenceDialogId() const
{
    return read([](const Snapshot &current) {
        return QString::fromStdString(current.proto.ref_dialog_id());
    });
}

ReferenceInfo MessageBase::referenceInfo() const
{
    const auto current = snapshot();
    ReferenceInfo info;
    info.dialogId = QString::fromStdString(current->proto.ref_dialog_id());
    info.messageId = QString::fromStdString(current->proto.ref_msg_id());
    if (current->quote) {
        info.senderId = current->quote->senderId();
        info.type = current->quote->type();
    }
    return info;
}

QSharedPointer<MessageBase> MessageBase::quoteMessage() const
{
    return read([](const Snapshot &current) { return current.quote; });
}

bool MessageBase::isRemoved() const
{
    return read([](const Snapshot &current) { return current.proto.removed(); });
}

bool MessageBase::isRevoked() const
{
    return read([](const Snapshot &current) { return current.proto.revoked(); });
}

im::Message MessageBase::proto() const
{
    return snapshot()->proto;
}

QList<QSharedPointer<MessageBase>> MessageBase::combinedMessages() const
{
    const auto current = snapshot();
    QList<QSharedPointer<MessageBase>> children;
    children.reserve(current->proto.combined_messages_size());
    for (const im::Message &child : current->proto.combined_messages()) {
        children.append(create(child, m_files, m_ownUserId));
    }
    return children;
}

bool MessageBase::canForward(bool bGlobal) const
{
    Q_UNUSED(bGlobal)
    const auto current = snapshot();
    return !current->proto.not_forwardable() && !current->proto.revoked()
            && !current->proto.removed();
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
