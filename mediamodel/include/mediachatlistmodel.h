#pragma once

#include "mediamodel_export.h"

#include <QAbstractListModel>
#include <QList>

class MediaChatItem;

// The rows both chat lists of the bulk download screen show: one MediaChatItem per row, whose
// changes show as dataChanged of its row. Holds the items without owning them.
//
// Main thread.
class MEDIAMODEL_EXPORT MediaChatListModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Roles {
        ChatItemRole = Qt::UserRole + 1,
        DialogIdRole,
        NameRole,
        IsGroupRole,
        TotalSizeRole,
        IsSelectedRole,
        IsQueryingRole,
    };

    explicit MediaChatListModel(QObject *parent = nullptr);
    ~MediaChatListModel() override;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(m_items.size()); }
    QList<MediaChatItem *> items() const { return m_items; }
    bool contains(MediaChatItem *item) const { return m_items.contains(item); }

    // Replaces every row (a model reset).
    void resetItems(const QList<MediaChatItem *> &items);

Q_SIGNALS:
    void countChanged();

protected:
    void insertItem(int row, MediaChatItem *item);
    void removeItemAt(int row);
    // Called after rows came or went (the count has been told already) and after a listed item's
    // size, selection or counting state changed.
    virtual void contentChanged() { }

private:
    void watch(MediaChatItem *item);
    void unwatch(MediaChatItem *item);
    void rowChanged(MediaChatItem *item, const QList<int> &roles);

    QList<MediaChatItem *> m_items;
    MediaChatItem *m_dying = nullptr; // the item whose row goes because it is being destroyed
};
