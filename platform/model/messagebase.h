#pragma once

#include "deletionrecord.h"
#include "messagekey.h"
#include "referenceinfo.h"

#include <QEnableSharedFromThis>
#include <QHash>
#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <QVariant>
#include <memory>

namespace im {
class Message;
}
class ContentItem;
class FileData;
class FileManager;

// One chat message as the client holds it. Held by QSharedPointer (deleted with deleteLater on
// its own thread) and always owned by C++: whoever hands one to QML marks it so
// (QJSEngine::CppOwnership) as it does. Accessors read an immutable snapshot under a lock, so they
// are safe from any thread; setProto replaces the snapshot and emits contentChanged.
class MessageBase : public QObject, public QEnableSharedFromThis<MessageBase>
{
    Q_OBJECT
    Q_PROPERTY(QString dialogId READ dialogId CONSTANT)
    Q_PROPERTY(qint64 msgId READ msgId CONSTANT)
    Q_PROPERTY(qint64 subMsgId READ subMsgId CONSTANT)
    Q_PROPERTY(qint64 dateTime READ dateTime NOTIFY contentChanged)
    Q_PROPERTY(int type READ type NOTIFY contentChanged)
    Q_PROPERTY(qint64 senderId READ senderId CONSTANT)
    Q_PROPERTY(QString text READ text NOTIFY contentChanged)

public:
    // Builds a message on the calling thread and moves it to the application's main thread, so
    // that QML may use it wherever it was made.
    static QSharedPointer<MessageBase> create(const im::Message &proto, FileManager *files,
                                              qint64 ownUserId);
    // Builds one message per serialized record, in order, resolving the files of all of them in
    // one lookup; null for a record that does not parse.
    static QList<QSharedPointer<MessageBase>> createFromData(const QList<QByteArray> &records,
                                                             FileManager *files, qint64 ownUserId);

    MessageBase(const im::Message &proto, FileManager *files, qint64 ownUserId);
    ~MessageBase() override;

    QString dialogId() const;
    qint64 dateTime() const;
    int type() const;
    QString text() const;
    qint64 msgId() const;
    qint64 subMsgId() const;
    bool hasSubMsgId() const { return subMsgId() > 0; }
    // The combined message that holds a child; 0 for a plain message. A child's own id (msgId)
    // is its position in that message.
    qint64 parentMsgId() const;
    bool isSubMessage() const { return parentMsgId() > 0; }
    bool isChildMsg() const { return isSubMessage(); }
    // Where the local store keeps the message: (containing id, own id) for a child, else
    // (own id, sub-message id).
    MessageKey key() const;
    qint64 senderId() const;
    bool isSentByMe() const { return senderId() == m_ownUserId; }
    QSharedPointer<ContentItem> contentItem() const;
    QString referenceDialogId() const;
    ReferenceInfo referenceInfo() const;
    QSharedPointer<MessageBase> quoteMessage() const;
    bool isRemoved() const;
    bool isRevoked() const;
    // The protocol record the message was made from, parsed anew on every call.
    im::Message proto() const;
    // The messages a combined message holds, as their own message objects.
    QList<QSharedPointer<MessageBase>> combinedMessages() const;

    // Host decisions a subclass may answer differently.
    virtual bool canForward(bool bGlobal) const;
    virtual bool isExcluded() const;

    QVariant revokeValue() const { return senderId(); }
    DeletionRecord makeDeletionRecord() const;

    // Replaces the content (an edit, a withdrawal, a removal mark).
    void setProto(const im::Message &proto);

Q_SIGNALS:
    void contentChanged();

private:
    struct Snapshot;
    struct Batch;

    // data is proto serialized, as the message keeps it.
    MessageBase(const im::Message &proto, const QByteArray &data, FileManager *files,
                qint64 ownUserId, const Batch &batch);
    static QSharedPointer<MessageBase> make(const im::Message &proto, const QByteArray &data,
                                            FileManager *files, qint64 ownUserId,
                                            const Batch &batch);
    void applyProto(const im::Message &proto, const QByteArray &data, const Batch &batch);
    // What read finds in the current snapshot, read under the lock: a single field needs no
    // reference to the snapshot, whose counting cost more than the read. read must not call
    // back into this message.
    template<typename Read> auto read(Read read) const
    {
        QMutexLocker locker(&m_mutex);
        return read(*m_snapshot);
    }

    FileManager *const m_files;
    const qint64 m_ownUserId;
    mutable QMutex m_mutex; // guards m_snapshot
    std::shared_ptr<const Snapshot> m_snapshot;
};
