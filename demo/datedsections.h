#pragma once

#include <QMetaObject>
#include <QObject>
#include <QPointer>

class MediaModel;
class ResourceModel;

// A flat list of photos and videos shown in the dated sections of the photo grid. A search across
// chats keeps its hits in one flat list; this keeps a copy of each hit in a sectioned model that
// follows every change of the flat one.
//
// Lives on the main thread, where the flat list changes. Owns the sectioned model (a child), which
// owns the copies.
class DatedSections : public QObject
{
    Q_OBJECT

public:
    explicit DatedSections(QObject *parent = nullptr);

    // The sectioned copy of the list followed.
    MediaModel *model() const { return m_model; }
    // Follows flat from now on, starting from what it holds; null empties the sections. The list
    // followed already is left as it is.
    void follow(ResourceModel *flat);

private:
    void copyAll();
    void copyRows(int first, int last);
    void removeRows(int first, int last);

    MediaModel *const m_model; // child
    QPointer<ResourceModel> m_flat;
    QList<QMetaObject::Connection> m_connections;
};
