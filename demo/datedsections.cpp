#include "datedsections.h"

#include "contenttype.h"
#include "mediamodel.h"
#include "resourceitem.h"
#include "resourcemodel.h"

#include <QJSEngine>

namespace {

// Copies share the message; the sectioned model owns them, never QML.
ResourceItem *copyOf(const ResourceItem *item)
{
    auto *copy = new ResourceItem(*item);
    QJSEngine::setObjectOwnership(copy, QJSEngine::CppOwnership);
    return copy;
}

} // namespace

DatedSections::DatedSections(QObject *parent)
    : QObject(parent)
    , m_model(new MediaModel(CONTENT_PHOTO, this))
{
    QJSEngine::setObjectOwnership(m_model, QJSEngine::CppOwnership);
}

void DatedSections::follow(ResourceModel *flat)
{
    if (flat == m_flat) {
        return;
    }
    for (const QMetaObject::Connection &connection : std::as_const(m_connections)) {
        disconnect(connection);
    }
    m_connections.clear();
    m_flat = flat;
    copyAll();
    if (!flat) {
        return;
    }
    m_connections = {
            connect(flat, &QAbstractItemModel::modelReset, this, &DatedSections::copyAll),
            connect(flat, &QAbstractItemModel::rowsInserted, this,
                    [this](const QModelIndex &, int first, int last) { copyRows(first, last); }),
            // Read while the rows still hold their items.
            connect(flat, &QAbstractItemModel::rowsAboutToBeRemoved, this,
                    [this](const QModelIndex &, int first, int last) { removeRows(first, last); }),
    };
}

void DatedSections::copyAll()
{
    QList<ResourceItem *> copies;
    const int rows = m_flat ? m_flat->rowCount() : 0;
    for (int row = 0; row < rows; ++row) {
        if (const ResourceItem *item = m_flat->getResourceItem(row)) {
            copies.append(copyOf(item));
        }
    }
    if (copies.isEmpty()) {
        m_model->clearAll();
    } else {
        m_model->resetItems(copies);
    }
}

// A page appended below continues the sections; an item put in between finds its place.
void DatedSections::copyRows(int first, int last)
{
    QList<ResourceItem *> copies;
    for (int row = first; row <= last; ++row) {
        if (const ResourceItem *item = m_flat->getResourceItem(row)) {
            copies.append(copyOf(item));
        }
    }
    if (last == m_flat->rowCount() - 1) {
        m_model->append(copies);
        return;
    }
    for (ResourceItem *copy : std::as_const(copies)) {
        m_model->insert(copy);
    }
}

void DatedSections::removeRows(int first, int last)
{
    for (int row = first; row <= last; ++row) {
        if (const ResourceItem *item = m_flat->getResourceItem(row)) {
            m_model->deleteItem(item->dialogId(), item->messageId());
        }
    }
}
