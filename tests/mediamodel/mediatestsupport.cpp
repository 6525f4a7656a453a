#include "mediatestsupport.h"

#include "models/localclock_p.h"
#include "messagebase.h"
#include "resourceitem.h"
#include "resourcestorage.h"

#include <QDateTime>
#include <atomic>

namespace MediaTest {

namespace {

std::atomic<qint64> s_now { 0 };

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

int Watch::alive() const
{
    return int(std::count_if(m_items.cbegin(), m_items.cend(),
                             [](const QPointer<ResourceItem> &item) { return !item.isNull(); }));
}

QStringList keysOf(const QList<ResourceItem *> &items)
{
    QStringList keys;
    for (const ResourceItem *item : items) {
        keys.append(QStringLiteral("%1.%2").arg(item->messageId()).arg(item->subMsgId()));
    }
    return keys;
}

} // namespace MediaTest
