#pragma once

#include "im.pb.h"

#include <QList>
#include <QPointer>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

class FileManager;
class MessageBase;
class ResourceItem;
class ResourceModel;

// Messages, items and a fixed local clock for the media layer's tests.
namespace MediaTest {

// Milliseconds since the epoch of a local date and time.
qint64 localMSecs(int year, int month, int day, int hour = 12, int minute = 0, int second = 0,
                  int msec = 0);

// Sets the local clock the list models read, until reset or the next call.
void setNow(qint64 msecs);
void resetNow();

im::Message messageProto(const QString &dialogId, qint64 id, qint64 time, int type);
// A photo with a source file and a thumbnail.
im::Message photoProto(const QString &dialogId, qint64 id, qint64 time);
im::Message linkProto(const QString &dialogId, qint64 id, qint64 time, const QStringList &urls);
// A message deleted as soon as the last holder lets go. files resolves file records; without it
// file-bearing content has no files.
QSharedPointer<MessageBase> makeMessage(const im::Message &proto, FileManager *files = nullptr);

// An item as the loader makes it from a resource table row: keys and time, no message.
ResourceItem *rowItem(const QString &dialogId, qint64 messageId, qint64 subMsgId, qint64 dateTime,
                      int type = 2);

// Items written as "[dialog/]id[.sub][@time]", e.g. "g1/50.2". Left out, the dialog is u1, the
// sub-message id 0 and the time id * 100, so that times grow with ids as they do in a dialog.
ResourceItem *itemOf(const QString &label);
QList<ResourceItem *> itemsOf(const QStringList &labels);
// "dialog/id.sub" of an item, "null" for none.
QString labelOf(const ResourceItem *item);
// The labels written out in full, as labelOf() gives them.
QStringList canonical(const QStringList &labels);
// The rows of a flat model.
QStringList labelsOf(const ResourceModel &model);

// Watches items for deletion.
class Watch
{
public:
    ResourceItem *operator()(ResourceItem *item);
    QList<ResourceItem *> operator()(const QList<ResourceItem *> &items);
    int alive() const;
    int deleted() const { return int(m_items.size()) - alive(); }

private:
    QList<QPointer<ResourceItem>> m_items;
};

} // namespace MediaTest
