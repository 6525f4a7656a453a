#include "dialogbase.h"

#include "accountbase.h"
#include "im.pb.h"
#include "messagebase.h"
#include "messagestorage.h"
#include "platformlog.h"
#include "userstorageprovider.h"

#include <QHash>
#include <QJSEngine>

DialogBase::DialogBase(AccountBase *account, const storage::DialogRecord &record)
    : m_account(account)
    , m_record(record)
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

DialogBase::~DialogBase() = default;

QSharedPointer<MessageBase> DialogBase::cacheMessage(const MessageKey &key,
                                                     const QSharedPointer<MessageBase> &message)
{
    QMutexLocker locker(&m_cacheMutex);
    // Another thread may have made the same message meanwhile; the first one wins.
    return m_messages.adopt(key, message);
}

QSharedPointer<MessageBase> DialogBase::message(const MessageKey &key)
{
    return messages({key}).value(0);
}

QList<QSharedPointer<MessageBase>> DialogBase::messages(const QList<MessageKey> &keys)
{
    QList<QSharedPointer<MessageBase>> found;
    found.reserve(keys.size());
    QList<MessageKey> unheld;
    {
        QMutexLocker locker(&m_cacheMutex);
        for (const MessageKey &key : keys) {
            found.append(m_messages.value(key));
            if (!found.constLast()) {
                unheld.append(key);
            }
        }
    }
    if (unheld.isEmpty()) {
        return found;
    }
    const QList<storage::MessageData> stored =
            m_account->storage()->messageStorage()->messageData(dialogId(), unheld);
    QList<QByteArray> records;
    records.reserve(stored.size());
    for (const storage::MessageData &row : stored) {
        records.append(row.data);
    }
    const QList<QSharedPointer<MessageBase>> made =
            MessageBase::createFromData(records, m_account->fileManager(), m_account->userId());
    QHash<MessageKey, QSharedPointer<MessageBase>> loaded;
    loaded.reserve(made.size());
    {
        // One lock for the batch, as the slices of a long page are cached from several threads;
        // as in cacheMessage, a message another thread cached first wins.
        QMutexLocker locker(&m_cacheMutex);
        m_messages.reserveMore(made.size());
        for (qsizetype i = 0; i < made.size(); ++i) {
            const MessageKey key(stored.at(i).messageId, stored.at(i).subMsgId);
            if (made.at(i)) {
                loaded.insert(key, m_messages.adopt(key, made.at(i)));
            } else {
                qCWarning(lcPlatform) << "unreadable stored message" << dialogId() << key;
            }
        }
    }
    for (qsizetype i = 0; i < keys.size(); ++i) {
        if (!found.at(i)) {
            found[i] = loaded.value(keys.at(i));
        }
    }
    return found;
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
