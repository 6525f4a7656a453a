#pragma once

#include "dialogstorage.h"
#include "messagekey.h"
#include "messagestorage.h"
#include "weakcache.h"

#include <QMutex>
#include <QObject>
#include <QSharedPointer>

namespace im {
class Message;
}
class AccountBase;
class MessageBase;

// One chat of the account. Held by QSharedPointer in the account; always owned by C++.
// Message lookups are thread-safe: a message is made once from the local store and shared by
// every holder while anyone holds it.
class DialogBase : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString dialogId READ dialogId CONSTANT)
    Q_PROPERTY(QString name READ name CONSTANT)
    Q_PROPERTY(bool isGroup READ isGroup CONSTANT)
    Q_PROPERTY(int type READ type CONSTANT)

public:
    DialogBase(AccountBase *account, const storage::DialogRecord &record);
    ~DialogBase() override;

    QString dialogId() const { return m_record.dialogId; }
    QString name() const { return m_record.name; }
    bool isGroup() const { return m_record.isGroup; }
    int type() const { return m_record.type; }
    qint64 lastActiveTime() const { return m_record.lastActiveTime; }
    // Messages below this id are hidden (the user cleared the history); 0 shows everything.
    qint64 firstVisibleMsgId() const { return m_record.firstVisibleMsgId; }
    bool isValid() const { return !m_record.dialogId.isEmpty(); }
    bool canSearchRemote() const { return m_record.canSearchRemote; }
    bool hasRemoteHistory() const { return m_record.hasRemoteHistory; }
    AccountBase *account() const { return m_account; }

    // The message of a key from the local store; null when the store does not have it.
    QSharedPointer<MessageBase> message(const MessageKey &key);
    // The messages of many keys at once, one entry per key in order (null where the store has
    // none): those that someone holds are shared, the others are read in one query and made
    // together, so a page of items costs a few queries instead of several per row.
    QList<QSharedPointer<MessageBase>> messages(const QList<MessageKey> &keys);
    // Messages the caller found missing; the local store is all this client has, so they are
    // logged for the host and nothing is fetched.
    virtual void fetchMessages(const QList<MessageKey> &keys);
    // A message object for a protocol record, e.g. one a server search returned. Records of this
    // dialog that are already held are shared.
    QSharedPointer<MessageBase> makeMessage(const im::Message &proto);

private:
    QSharedPointer<MessageBase> cacheMessage(const MessageKey &key,
                                             const QSharedPointer<MessageBase> &message);

    AccountBase *const m_account;
    const storage::DialogRecord m_record;
    QMutex m_cacheMutex; // guards m_messages
    WeakCache<MessageKey, MessageBase> m_messages;
};
