#include "dialogbase.h"

#include "accountbase.h"
#include "im.pb.h"
#include "messagebase.h"
#include "messagestorage.h"
#include "platformlog.h"
#include "userstorageprovider.h"

#include <QJSEngine>

DialogBase::DialogBase(AccountBase *account, const storage::DialogRecord &record)
    : m_account(account)
    , m_record(record)
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

DialogBase::~DialogBase() = default;

QSharedPointer<MessageBase> DialogBase::cachedMessage(const MessageKey &key)
{
    QMutexLocker locker(&m_cacheMutex);
    return m_messages.value(key).toStrongRef();
}

QSharedPointer<MessageBase> DialogBase::cacheMessage(const MessageKey &key,
                                                     const QSharedPointer<MessageBase> &message)
{
    QMutexLocker locker(&m_cacheMutex);
    // Another thread may have made the same message meanwhile; the first one wins.
    if (QSharedPointer<MessageBase> existing = m_messages.value(key).toStrongRef()) {
        return existing;
    }
    m_messages.insert(key, message);
    return message;
}

QSharedPointer<MessageBase> DialogBase::message(const MessageKey &key)
{
    if (QSharedPointer<MessageBase> held = cachedMessage(key)) {
        return held;
    }
    const storage::MessageRecord record =
            m_account->storage()->messageStorage()->message(dialogId(), key);
    if (record.dialogId.isEmpty()) {
        return {};
    }
    im::Message proto;
    if (!proto.ParseFromArray(record.data.constData(), int(record.data.size()))) {
        qCWarning(lcPlatform) << "unreadable stored message" << dialogId() << key;
        return {};
    }
    return cacheMessage(key,
                        MessageBase::create(proto, m_account->fileManager(), m_account->userId()));
}

QList<QSharedPointer<MessageBase>> DialogBase::messages(const QList<MessageKey> &keys)
{
    QList<QSharedPointer<MessageBase>> found;
    found.reserve(keys.size());
    QList<MessageKey> unheld;
    {
        QMutexLocker locker(&m_cacheMutex);
        for (const MessageKey &key : keys) {
            found.append(m_messages.value(key).toStrongRef());
            if (!found.constLast()) {
                unheld.append(key);
            }
        }
    }
    if (unheld.isEmpty()) {
        return found;
    }
    const QList<storage::MessageRecord> records =
            m_account->storage()->messageStorage()->messages(dialogId(), unheld);
    QList<MessageKey> storedKeys;
    const QList<QSharedPointer<MessageBase>> made = MessageBase::create(
            parseRecords(records, storedKeys), m_account->fileManager(), m_account->userId());
    QHash<MessageKey, QSharedPointer<MessageBase>> loaded;
    loaded.reserve(made.size());
    for (qsizetype i = 0; i < made.size(); ++i) {
        loaded.insert(storedKeys.at(i), cacheMessage(storedKeys.at(i), made.at(i)));
    }
    for (qsizetype i = 0; i < keys.size(); ++i) {
        if (!found.at(i)) {
            found[i] = loaded.value(keys.at(i));
        }
    }
    return found;
}

// The protocol records of the rows that parse, with the key each was stored under.
QList<im::Message> DialogBase::parseRecords(const QList<storage::MessageRecord> &records,
                                            QList<MessageKey> &keys) const
{
    QList<im::Message> protos;
    protos.reserve(records.size());
    keys.reserve(records.size());
    for (const storage::MessageRecord &record : records) {
        const MessageKey key(record.messageId, record.subMsgId);
        im::Message proto;
        if (!proto.ParseFromArray(record.data.constData(), int(record.data.size()))) {
            qCWarning(lcPlatform) << "unreadable stored message" << dialogId() << key;
            continue;
        }
        protos.append(std::move(proto));
        keys.append(key);
    }
    return protos;
}

void DialogBase::fetchMessages(const QList<MessageKey> &keys)
{
    if (!keys.isEmpty()) {
        qCDebug(lcPlatform) << "messages not in the local store:" << dialogId() << keys.size();
    }
}

QSharedPointer<MessageBase> DialogBase::makeMessage(const im::Message &proto)
{
    QSharedPointer<MessageBase> made =
            MessageBase::create(proto, m_account->fileManager(), m_account->userId());
    if (made->dialogId() != dialogId()) {
        return made;
    }
    return cacheMessage(made->key(), made);
}
