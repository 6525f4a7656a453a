#include "mediatestsupport.h"

#include "messagebase.h"
#include "models/localclock_p.h"
#include "resourceitem.h"
#include "resourcemodel.h"
#include "resourcestorage.h"

#include <QDateTime>
#include <QRegularExpression>
#include <atomic>
#include <memory>

namespace MediaTest {

namespace {

std::atomic<qint64> s_now {0};

} // namespace

qint64 localMSecs(int year, int month, int day, int hour, int minute, int second, int msec)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, msec))
            .toMSecsSinceEpoch();
}

void setNow(qint64 msecs)
{
    s_now.store(msecs);
    LocalClock::setNowForTests([] { return s_now.load(); });
}

void resetNow()
{
    LocalClock::setNowForTests(nullptr);
}

im::Message messageProto(const QString &dialogId, qint64 id, qint64 time, int type)
{
    im::Message proto;
    proto.set_dialog_id(dialogId.toStdString());
    proto.set_msg_id(id);
    proto.set_time(time);
    proto.set_type(type);
    proto.set_sender_id(42);
    return proto;
}

im::Message photoProto(const QString &dialogId, qint64 id, qint64 time)
{
    im::Message proto = messageProto(dialogId, id, time, 2);
    proto.mutable_file()->set_file_id("photo" + std::to_string(id));
    proto.mutable_file()->set_suffix("jpg");
    proto.mutable_file()->set_size(4096);
    proto.mutable_file()->set_name("beach.jpg");
    proto.mutable_thumb()->set_file_id("thumb" + std::to_string(id));
    proto.mutable_thumb()->set_suffix("png");
    proto.mutable_thumb()->set_size(512);
    return proto;
}

im::Message linkProto(const QString &dialogId, qint64 id, qint64 time, const QStringList &urls)
{
    im::Message proto = messageProto(dialogId, id, time, 1);
    proto.set_text(urls.join(QLatin1Char(' ')).toStdString());
    for (const QString &url : urls) {
        proto.add_urls(url.toStdString());
    }
    return proto;
}

QSharedPointer<MessageBase> makeMessage(const im::Message &proto, FileManager *files)
{
    return QSharedPointer<MessageBase>(new MessageBase(proto, files, 42));
}

ResourceItem *rowItem(const QString &dialogId, qint64 messageId, qint64 subMsgId, qint64 dateTime,
                      int type)
{
    storage::ResourceInfo row;
    row.dialogId = dialogId;
    row.messageId = messageId;
    row.subMsgId = subMsgId;
    row.dateTime = dateTime;
    row.type = type;
    return new ResourceItem(row);
}

ResourceItem *Watch::operator()(ResourceItem *item)
{
    m_items.append(item);
    return item;
}

QList<ResourceItem *> Watch::operator()(const QList<ResourceItem *> &items)
{
    for (ResourceItem *item : items) {
        m_items.append(item);
    }
    return items;
}

int Watch::alive() const
{
    return int(std::count_if(m_items.cbegin(), m_items.cend(),
                             [](const QPointer<ResourceItem> &item) { return !item.isNull(); }));
}

ResourceItem *itemOf(const QString &label)
{
    static const QRegularExpression pattern(
            QStringLiteral(R"(^(?:([^/]+)/)?(\d+)(?:\.(\d+))?(?:@(-?\d+))?$)"));
    const QRegularExpressionMatch match = pattern.match(label);
    if (!match.hasMatch()) {
        qFatal("not an item: %s", qPrintable(label));
    }
    const QString dialogId = match.captured(1).isEmpty() ? QStringLiteral("u1") : match.captured(1);
    const qint64 messageId = match.captured(2).toLongLong();
    const qint64 subMsgId = match.captured(3).toLongLong();
    const qint64 time =
            match.captured(4).isEmpty() ? messageId * 100 : match.captured(4).toLongLong();
    return rowItem(dialogId, messageId, subMsgId, time);
}

QList<ResourceItem *> itemsOf(const QStringList &labels)
{
    QList<ResourceItem *> items;
    for (const QString &label : labels) {
        items.append(itemOf(label));
    }
    return items;
}

QString labelOf(const ResourceItem *item)
{
    if (!item) {
        return QStringLiteral("null");
    }
    return QStringLiteral("%1/%2.%3")
            .arg(item->dialogId())
            .arg(item->messageId())
            .arg(item->subMsgId());
}

QStringList canonical(const QStringList &labels)
{
    QStringList written;
    for (const QString &label : labels) {
        const std::unique_ptr<ResourceItem> item(itemOf(label));
        written.append(labelOf(item.get()));
    }
    return written;
}

QStringList labelsOf(const ResourceModel &model)
{
    QStringList labels;
    for (int row = 0; row < model.count(); ++row) {
        labels.append(labelOf(model.getResourceItem(row)));
    }
    return labels;
}

} // namespace MediaTest
