#include "mediastorageviewmodel.h"

#include "mediacontentitem.h"
#include "resourceitem.h"
#include "storagerecords_p.h"

#include <QJSEngine>
#include <algorithm>

MediaStorageViewModel::MediaStorageViewModel(QObject *parent)
    : QAbstractListModel(parent)
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

MediaStorageViewModel::~MediaStorageViewModel()
{
    qDeleteAll(m_items);
}

int MediaStorageViewModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_items.size());
}

QVariant MediaStorageViewModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return QVariant();
    }
    MediaContentItem *item = m_items.at(index.row());
    switch (role) {
    case ItemRole:
        return QVariant::fromValue(item);
    case DialogIdRole:
        return item->dialogId();
    case MessageIdRole:
        return item->messageId();
    case TimestampRole:
        return item->timestamp();
    case SizeRole:
        return item->size();
    case NameRole:
        return item->name();
    case ThumbPathRole:
        return item->thumbPath();
    case SourcePathRole:
        return item->sourcePath();
    case IsLivePhotoRole:
        return item->isLivePhoto();
    case TypeRole:
        return item->type();
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> MediaStorageViewModel::roleNames() const
{
    return {{ItemRole, "item"},
            {DialogIdRole, "dialogId"},
            {MessageIdRole, "messageId"},
            {TimestampRole, "timestamp"},
            {SizeRole, "size"},
            {NameRole, "name"},
            {ThumbPathRole, "thumbPath"},
            {SourcePathRole, "sourcePath"},
            {IsLivePhotoRole, "isLivePhoto"},
            {TypeRole, "type"}};
}

void MediaStorageViewModel::setRecords(const QString &dialogId, QList<MediaContentRecord> records)
{
    std::sort(records.begin(), records.end(),
              [](const MediaContentRecord &a, const MediaContentRecord &b) {
                  return a.dateTime != b.dateTime ? a.dateTime > b.dateTime : b.key < a.key;
              });
    beginResetModel();
    for (MediaContentItem *old : std::as_const(m_items)) {
        old->deleteLater();
    }
    m_items.clear();
    m_dialogId = dialogId;
    for (const MediaContentRecord &record : std::as_const(records)) {
        m_items.append(new MediaContentItem(record));
    }
    endResetModel();
}

void MediaStorageViewModel::removeRecord(const MediaContentRecord &record)
{
    const auto found =
            std::find_if(m_items.cbegin(), m_items.cend(), [&record](const MediaContentItem *item) {
                return item->record().sameResource(record);
            });
    if (found == m_items.cend()) {
        return;
    }
    const int row = int(found - m_items.cbegin());
    beginRemoveRows(QModelIndex(), row, row);
    m_items.takeAt(row)->deleteLater();
    endRemoveRows();
}

void MediaStorageViewModel::clear()
{
    setRecords(QString(), {});
}
