#include "resourceitem.h"

#include "contentitem.h"
#include "contenttype.h"
#include "filedata.h"
#include "fileitem.h"
#include "mediainfo.h"
#include "mediamodellog_p.h"
#include "messagebase.h"
#include "resourcestorage.h"

#include <QJSEngine>

namespace {

// Orders two (time, dialog, key) triples: negative when the first is older, positive when newer.
// Dialog ids compare case-sensitively, so the order is total and stable across locales.
int compareKeys(qint64 dateTime, const QString &dialogId, const MessageKey &key,
                qint64 otherDateTime, const QString &otherDialogId, const MessageKey &otherKey)
{
    if (dateTime != otherDateTime) {
        return dateTime < otherDateTime ? -1 : 1;
    }
    const int byDialog = dialogId.compare(otherDialogId, Qt::CaseSensitive);
    if (byDialog != 0) {
        return byDialog;
    }
    if (key == otherKey) {
        return 0;
    }
    return key < otherKey ? -1 : 1;
}

int compareToRow(const ResourceItem &item, const storage::ResourceInfo &row)
{
    return compareKeys(item.dateTime(), item.dialogId(), item.mediaKey(), row.dateTime,
                       row.dialogId, MessageKey(row.messageId, row.subMsgId));
}

int compareItems(const ResourceItem &item, const ResourceItem &other)
{
    return compareKeys(item.dateTime(), item.dialogId(), item.mediaKey(), other.dateTime(),
                       other.dialogId(), other.mediaKey());
}

} // namespace

ResourceItem::ResourceItem(QObject *parent)
    : QObject(parent)
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

ResourceItem::ResourceItem(const MediaInfo &info)
    : m_msgData(info.msg)
    , m_mediaKey(info.messageId, info.subMsgId)
    , m_dateTime(info.dateTime)
{
    if (info.msg) {
        m_dialogId = info.msg->dialogId();
        m_type = info.msg->type();
    } else {
        qCWarning(lcMedia) << "media record without a message:" << m_mediaKey
                           << "- the item has no dialog and no type";
    }
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

ResourceItem::ResourceItem(const storage::ResourceInfo &row)
    : m_dialogId(row.dialogId)
    , m_mediaKey(row.messageId, row.subMsgId)
    , m_dateTime(row.dateTime)
    , m_type(row.type)
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

ResourceItem::ResourceItem(const QSharedPointer<MessageBase> &msg)
    : m_msgData(msg)
{
    if (msg) {
        takeFieldsFrom(*msg);
    }
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

ResourceItem::ResourceItem(const QString &dialogId, const MessageKey &key, qint64 dateTime)
    : m_dialogId(dialogId)
    , m_mediaKey(key)
    , m_dateTime(dateTime)
{ }

ResourceItem::ResourceItem(const ResourceItem &other)
    : QObject(nullptr)
    , m_msgData(other.m_msgData)
    , m_dialogId(other.m_dialogId)
    , m_mediaKey(other.m_mediaKey)
    , m_dateTime(other.m_dateTime)
    , m_type(other.m_type)
{ }

ResourceItem &ResourceItem::operator=(const ResourceItem &other)
{
    m_msgData = other.m_msgData;
    m_dialogId = other.m_dialogId;
    m_mediaKey = other.m_mediaKey;
    m_dateTime = other.m_dateTime;
    m_type = other.m_type;
    return *this;
}

ResourceItem::~ResourceItem()
{
    Q_EMIT startDestroy();
}

QSharedPointer<ContentItem> ResourceItem::contentItem() const
{
    return m_msgData ? m_msgData->contentItem() : QSharedPointer<ContentItem>();
}

QString ResourceItem::referenceDialogId() const
{
    return m_msgData ? m_msgData->referenceDialogId() : QString();
}

QSharedPointer<FileData> ResourceItem::sourceFilePtr() const
{
    const QSharedPointer<FileItem> fileItem = contentItem().dynamicCast<FileItem>();
    return fileItem ? fileItem->sourceFilePtr() : QSharedPointer<FileData>();
}

bool ResourceItem::isValid() const
{
    if (!contentItem()) {
        return false;
    }
    return m_type == CONTENT_TEXT || !sourceFilePtr().isNull();
}

void ResourceItem::setMsgData(QSharedPointer<MessageBase> msg)
{
    if (!msg || msg == m_msgData) {
        return;
    }
    m_msgData = msg;
    takeFieldsFrom(*msg);
    Q_EMIT msgDataChanged();
}

// A child of a combined message is keyed (containing message, own id), so that all children of
// one message sort together right under it.
void ResourceItem::takeFieldsFrom(const MessageBase &msg)
{
    m_dialogId = msg.dialogId();
    m_dateTime = msg.dateTime();
    m_type = msg.type();
    m_mediaKey = msg.isSubMessage() ? MessageKey(msg.parentMsgId(), msg.msgId())
                                    : MessageKey(msg.msgId(), msg.subMsgId());
}

MessageBase *ResourceItem::msgDataForQml() const
{
    MessageBase *msg = m_msgData.data();
    if (msg) {
        QJSEngine::setObjectOwnership(msg, QJSEngine::CppOwnership);
    }
    return msg;
}

bool ResourceItem::operator==(const ResourceItem &other) const
{
    return m_dateTime == other.m_dateTime && m_mediaKey == other.m_mediaKey
            && m_dialogId == other.m_dialogId;
}

bool ResourceItem::operator<(const ResourceItem &other) const
{
    return compareItems(*this, other) < 0;
}

bool ResourceItem::operator>(const ResourceItem &other) const
{
    return compareItems(*this, other) > 0;
}

bool ResourceItem::operator<(const storage::ResourceInfo &row) const
{
    return compareToRow(*this, row) < 0;
}

bool ResourceItem::operator>(const storage::ResourceInfo &row) const
{
    return compareToRow(*this, row) > 0;
}
