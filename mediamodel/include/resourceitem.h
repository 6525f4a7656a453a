#pragma once

#include "mediamodel_export.h"
#include "messagekey.h"

#include <QObject>
#include <QSharedPointer>
#include <QString>

class ContentItem;
class FileData;
class MessageBase;
struct MediaInfo;
namespace storage {
struct ResourceInfo;
}

// One media entry (photo, video, file, music, voice or link) as every list, selection, preview and
// player of the media layer passes it around. Items are ordered newest first by time, then dialog
// id, then media key; the list models rely on that order being total.
//
// An item made from a table row carries only keys and time until its message is attached with
// setMsgData. Items live on the thread of the model that holds them; the model owns and deletes
// them, never QML.
class MEDIAMODEL_EXPORT ResourceItem : public QObject
{
    Q_OBJECT
    Q_MOC_INCLUDE("messagebase.h")
    Q_PROPERTY(QString dialogId READ dialogId CONSTANT)
    Q_PROPERTY(qlonglong messageId READ messageId CONSTANT)
    Q_PROPERTY(qlonglong subMsgId READ subMsgId CONSTANT)
    Q_PROPERTY(qlonglong dateTime READ dateTime CONSTANT)
    Q_PROPERTY(int type READ type CONSTANT)
    Q_PROPERTY(MessageKey mediaKey READ mediaKey CONSTANT)
    Q_PROPERTY(MessageBase *msgData READ msgDataForQml NOTIFY msgDataChanged)

public:
    // An empty item without a message.
    explicit ResourceItem(QObject *parent = nullptr);
    // The item of ingested media: time and keys from the record, dialog and type from its message,
    // which must not be null.
    explicit ResourceItem(const MediaInfo &info);
    // A placeholder of a resource table row, without a message yet.
    explicit ResourceItem(const storage::ResourceInfo &row);
    // The item of a message; a child of a combined message is keyed under the message holding it.
    explicit ResourceItem(const QSharedPointer<MessageBase> &msg);
    // A lookup probe: keys and time only. Not marked for C++ ownership, as it never reaches QML.
    ResourceItem(const QString &dialogId, const MessageKey &key, qint64 dateTime);
    // Copies share the message; the copy is not marked for C++ ownership.
    ResourceItem(const ResourceItem &other);
    ResourceItem &operator=(const ResourceItem &other);
    // Emits startDestroy() before anything is released, so that holders can let go first.
    ~ResourceItem() override;

    QString dialogId() const { return m_dialogId; }
    qint64 messageId() const { return m_mediaKey.messageId; }
    qint64 subMsgId() const { return m_mediaKey.subMsgId; }
    qint64 dateTime() const { return m_dateTime; }
    int type() const { return m_type; }
    MessageKey mediaKey() const { return m_mediaKey; }
    // The message, or null while the item is a placeholder.
    MessageBase *msgData() const { return m_msgData.data(); }
    QSharedPointer<MessageBase> msgDataPtr() const { return m_msgData; }
    // The message's content item; null without a message.
    QSharedPointer<ContentItem> contentItem() const;
    // The dialog of the message this one quotes; empty without a message.
    QString referenceDialogId() const;
    // The source file of a file-bearing message; null without a message or for other content.
    virtual QSharedPointer<FileData> sourceFilePtr() const;
    // Whether the item can be shown: a link needs content; any other type needs its source file.
    bool isValid() const;

    // Attaches a message (or a newer one) and takes the identity fields from it. A null message or
    // the one already held changes nothing.
    virtual void setMsgData(QSharedPointer<MessageBase> msg);

    bool operator==(const ResourceItem &other) const;
    bool operator<(const ResourceItem &other) const;
    bool operator>(const ResourceItem &other) const;
    bool operator<(const storage::ResourceInfo &row) const;
    bool operator>(const storage::ResourceInfo &row) const;

Q_SIGNALS:
    void msgDataChanged();
    void startDestroy();

protected:
    void setType(int type) { m_type = type; }

private:
    void takeFieldsFrom(const MessageBase &msg);
    // msgData as QML reads it: the message is marked as owned by C++ when it is handed over, not
    // when it is made, as most of a long chat's messages never reach QML and the mark costs a
    // message as much again as its QObject.
    MessageBase *msgDataForQml() const;

    QSharedPointer<MessageBase> m_msgData;
    QString m_dialogId;
    MessageKey m_mediaKey; // holds messageId and subMsgId, so the two never disagree
    qint64 m_dateTime = 0;
    int m_type = 0;
};
