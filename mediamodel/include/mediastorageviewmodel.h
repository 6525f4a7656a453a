#pragma once

#include "mediamodel_export.h"

#include <QAbstractListModel>
#include <QList>

class MediaContentItem;
struct MediaContentRecord;

// The cached resources of one dialog and kind (media, files or music) in the storage view,
// newest first. Owns its items; replaced or removed items are deleted later, so that QML may let
// go of them first. UI thread only.
class MEDIAMODEL_EXPORT MediaStorageViewModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Roles {
        ItemRole = Qt::UserRole + 1,
        DialogIdRole,
        MessageIdRole,
        TimestampRole,
        SizeRole,
        NameRole,
        ThumbPathRole,
        SourcePathRole,
        IsLivePhotoRole,
        TypeRole,
    };
    Q_ENUM(Roles)

    explicit MediaStorageViewModel(QObject *parent = nullptr);
    ~MediaStorageViewModel() override;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    // The dialog whose resources the list shows; empty when it shows none.
    QString dialogId() const { return m_dialogId; }
    // Replaces the rows with items made from records, sorted newest first.
    void setRecords(const QString &dialogId, QList<MediaContentRecord> records);
    // Removes the row of the record's resource, if shown.
    void removeRecord(const MediaContentRecord &record);
    void clear();
    QList<MediaContentItem *> items() const { return m_items; }

private:
    QString m_dialogId;
    QList<MediaContentItem *> m_items; // owned
};
