#pragma once

#include "mediamodel_export.h"

#include <QObject>
#include <QString>
#include <memory>

#include "resourceitem.h"
struct MediaContentRecord;

// One cached resource of a dialog in the storage view: its message, its size on disk and the
// paths of its file and thumbnail. Made on the UI thread by MediaStorageModel when it fills a
// view list, owned by that list; QML never deletes one.
class MEDIAMODEL_EXPORT MediaContentItem : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString dialogId READ dialogId CONSTANT)
    Q_PROPERTY(qlonglong messageId READ messageId CONSTANT)
    Q_PROPERTY(qlonglong timestamp READ timestamp CONSTANT)
    Q_PROPERTY(qlonglong size READ size CONSTANT)
    Q_PROPERTY(QString name READ name CONSTANT)
    Q_PROPERTY(QString thumbPath READ thumbPath CONSTANT)
    Q_PROPERTY(QString sourcePath READ sourcePath CONSTANT)
    Q_PROPERTY(bool isLivePhoto READ isLivePhoto CONSTANT)
    Q_PROPERTY(ResourceItem *mediaItem READ mediaItem CONSTANT)
    Q_PROPERTY(int type READ type CONSTANT)

public:
    explicit MediaContentItem(const MediaContentRecord &record, QObject *parent = nullptr);
    ~MediaContentItem() override;

    QString dialogId() const;
    qlonglong messageId() const;
    qlonglong timestamp() const;
    // The source file's bytes; the thumbnail and live-photo video are not included.
    qlonglong size() const;
    QString name() const;
    QString thumbPath() const;
    QString sourcePath() const;
    bool isLivePhoto() const;
    // The gallery item of the resource (keys, time and type; no message).
    ResourceItem *mediaItem() const { return m_mediaItem; }
    // The resource's content type: 2 image, 3 other, 4 music, 5 video, 6 file.
    int type() const;
    const MediaContentRecord &record() const { return *m_record; }

private:
    std::unique_ptr<const MediaContentRecord> m_record;
    ResourceItem *m_mediaItem = nullptr; // child
};
