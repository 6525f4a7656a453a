#pragma once

#include "mediaitemmodel.h"
#include "resourceitem.h"
#include "resourcemodel.h"

#include <QFile>
#include <QList>

// Every item a gallery list shows, newest first: the rows of a flat list, or the items of each
// dated section in turn.
inline QList<ResourceItem *> itemsOf(const ResourceModel *model)
{
    QList<ResourceItem *> items;
    for (int row = 0; row < model->rowCount(); ++row) {
        QObject *entry =
                model->data(model->index(row), ResourceModel::ItemModelRole).value<QObject *>();
        if (const auto *section = qobject_cast<MediaItemModel *>(entry)) {
            for (int i = 0; i < section->count(); ++i) {
                items.append(section->getResourceItem(i));
            }
        } else if (auto *item = qobject_cast<ResourceItem *>(entry)) {
            items.append(item);
        }
    }
    return items;
}

inline QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
