#include "mediachatmodel.h"

#include "mediachatitem.h"
#include "notifyingsetter_p.h"

#include <algorithm>

MediaChatModel::MediaChatModel(QObject *parent)
    : MediaChatListModel(parent)
{ }

MediaChatModel::~MediaChatModel() = default;

void MediaChatModel::setCheckedAll(bool bChecked)
{
    setAndNotify(this, m_checkedAll, bChecked, &MediaChatModel::checkedAllChanged);
}

void MediaChatModel::setQuerying(bool bQuerying)
{
    setAndNotify(this, m_querying, bQuerying, &MediaChatModel::isQueryingChanged);
}

void MediaChatModel::showItems(const QList<MediaChatItem *> &items)
{
    for (int row = count() - 1; row >= 0; --row) {
        if (!items.contains(this->items().at(row))) {
            removeItemAt(row);
        }
    }
    for (int row = 0; row < items.size(); ++row) {
        if (row >= count() || this->items().at(row) != items.at(row)) {
            insertItem(row, items.at(row));
        }
    }
}

void MediaChatModel::contentChanged()
{
    const QList<MediaChatItem *> rows = items();
    setCheckedAll(!rows.isEmpty()
                  && std::all_of(rows.cbegin(), rows.cend(),
                                 [](const MediaChatItem *item) { return item->isSelected(); }));
}
