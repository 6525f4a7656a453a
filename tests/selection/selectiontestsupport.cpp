#include "selectiontestsupport.h"

#include "resourceitem.h"

#include <QCoreApplication>
#include <QEvent>
#include <QRegularExpression>

namespace SelectionTest {

im::Message protoOf(const QString &label, const MessageSpec &spec)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^(?:([^/]+)/)?(\d+)(?:\.(\d+))?$)"));
    const QRegularExpressionMatch match = pattern.match(label);
    if (!match.hasMatch()) {
        qFatal("not a message: %s", qPrintable(label));
    }
    const QString dialogId = match.captured(1).isEmpty() ? QStringLiteral("a") : match.captured(1);
    const qint64 id = match.captured(2).toLongLong();
    const qint64 child = match.captured(3).toLongLong();
    im::Message m;
    m.set_dialog_id(dialogId.toStdString());
    if (child > 0) {
        m.set_parent_msg_id(id);
        m.set_msg_id(child);
    } else {
        m.set_msg_id(id);
    }
    m.set_type(spec.type);
    m.set_sender_id(spec.senderId);
    m.set_time(1'690'000'000'000 + id * 1000);
    m.set_not_forwardable(!spec.forwardable);
    return m;
}

QSharedPointer<MessageBase> messageOf(const QString &label, const MessageSpec &spec)
{
    return makeMessage(protoOf(label, spec), nullptr, spec.excluded);
}

MessageKey keyOf(const QString &label)
{
    const im::Message proto = protoOf(label);
    return proto.parent_msg_id() > 0 ? MessageKey(proto.parent_msg_id(), proto.msg_id())
                                     : MessageKey(proto.msg_id(), 0);
}

QSharedPointer<MessageBase> makeMessage(const im::Message &proto, FileManager *files, bool excluded)
{
    if (excluded) {
        return QSharedPointer<MessageBase>(new ExcludedMessage(proto, files, 42));
    }
    return QSharedPointer<MessageBase>(new MessageBase(proto, files, 42));
}

QStringList labelsOf(const QList<QSharedPointer<MessageBase>> &messages)
{
    QStringList labels;
    for (const QSharedPointer<MessageBase> &msg : messages) {
        const QString id = msg->isChildMsg()
                ? QStringLiteral("%1.%2").arg(msg->parentMsgId()).arg(msg->msgId())
                : QString::number(msg->msgId());
        labels.append(msg->dialogId() + QLatin1Char('/') + id);
    }
    return labels;
}

ResourceItem *Items::operator()(const QString &label, const MessageSpec &spec)
{
    return add(messageOf(label, spec));
}

ResourceItem *Items::add(const QSharedPointer<MessageBase> &msg)
{
    m_items.push_back(std::make_unique<ResourceItem>(msg));
    return m_items.back().get();
}

void drainEvents()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace SelectionTest
