#include "mediachatselectmodel.h"

#include "mediachatitem.h"
#include "notifyingsetter_p.h"

MediaChatSelectModel::MediaChatSelectModel(QObject *parent)
    : MediaChatListModel(parent)
{ }

MediaChatSelectModel::~MediaChatSelectModel() = default;

void MediaChatSelectModel::addItem(MediaChatItem *item)
{
    if (item && !contains(item)) {
        insertItem(count(), item);
    }
}

void MediaChatSelectModel::removeItem(MediaChatItem *item)
{
    const int row = int(items().indexOf(item));
    if (row >= 0) {
        removeItemAt(row);
    }
}

void MediaChatSelectModel::contentChanged()
{
    qlonglong total = 0;
    for (const MediaChatItem *item : items()) {
        total += item->totalSize();
    }
    setTotalSize(total);
}

void MediaChatSelectModel::setTotalSize(qlonglong totalSize)
{
    setAndNotify(this, m_totalSize, totalSize, &MediaChatSelectModel::totalSizeChanged);
}
