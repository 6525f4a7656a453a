#include "mediacontentitem.h"

#include "resourceitem.h"
#include "resourcestorage.h"
#include "storagerecords_p.h"

#include <QJSEngine>

MediaContentItem::MediaContentItem(const MediaContentRecord &record, QObject *parent)
    : QObject(parent)
    , m_record(std::make_unique<const MediaContentRecord>(record))
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
    storage::ResourceInfo row;
    row.dialogId = record.dialogId;
    row.messageId = record.key.messageId;
    row.subMsgId = record.key.subMsgId;
    row.type = record.type;
    row.dateTime = record.dateTime;
    m_mediaItem = new ResourceItem(row);
    m_mediaItem->setParent(this);
    QJSEngine::setObjectOwnership(m_mediaItem, QJSEngine::CppOwnership);
}

MediaContentItem::~MediaContentItem() = default;

QString MediaContentItem::dialogId() const
{
    return m_record->dialogId;
}

qlonglong MediaContentItem::messageId() const
{
    return m_record->key.messageId;
}

qlonglong MediaContentItem::timestamp() const
{
    return m_record->dateTime;
}

qlonglong MediaContentItem::size() const
{
    return m_record->size;
}

QString MediaContentItem::name() const
{
    return m_record->name;
}

QString MediaContentItem::thumbPath() const
{
    return m_record->thumbPath;
}

QString MediaContentItem::sourcePath() const
{
    return m_record->sourcePath;
}

bool MediaContentItem::isLivePhoto() const
{
    return m_record->isLivePhoto();
}

int MediaContentItem::type() const
{
    return m_record->type;
}
