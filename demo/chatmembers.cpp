#include "chatmembers.h"

#include "accountbase.h"
#include "dialogbase.h"
#include "messagestorage.h"
#include "userstorageprovider.h"

#include <QCollator>
#include <QSet>
#include <QtConcurrent>
#include <algorithm>

namespace {

constexpr int PageSize = 500;

// Runs on the pool: the distinct senders of the chat's stored messages, newest messages first.
QList<qint64> sendersOf(const AccountBase *account, const QString &dialogId,
                        const std::atomic<bool> &stop)
{
    QList<qint64> senders;
    QSet<qint64> seen;
    storage::MessageSearchInfo page;
    page.dialogIds = {dialogId};
    page.count = PageSize;
    bool more = true;
    while (more && !stop.load()) {
        const QList<storage::MessageRecord> records =
                account->storage()->messageStorage()->search(page, &more);
        for (const storage::MessageRecord &record : records) {
            if (!seen.contains(record.senderId)) {
                seen.insert(record.senderId);
                senders.append(record.senderId);
            }
        }
        // The next page starts below the oldest message of this one; 0 would mean no cursor.
        if (records.isEmpty() || records.last().messageId <= 1) {
            break;
        }
        page.msgId = records.last().messageId - 1;
    }
    return senders;
}

} // namespace

ChatMembers::ChatMembers(AccountBase *account, QObject *parent)
    : QObject(parent)
    , m_account(account)
{
    m_pool.setMaxThreadCount(1);
}

ChatMembers::~ChatMembers()
{
    stopReading();
    m_pool.waitForDone();
}

void ChatMembers::setDialogId(const QString &dialogId)
{
    if (m_dialogId == dialogId) {
        return;
    }
    m_dialogId = dialogId;
    stopReading();
    setMembers({});
    if (dialogId.isEmpty()) {
        return;
    }
    m_stopRead = std::make_shared<std::atomic<bool>>(false);
    m_read = new QFutureWatcher<QList<qint64>>(this);
    connect(m_read, &QFutureWatcherBase::finished, this,
            [this, read = m_read] { setMembers(read->result()); });
    m_read->setFuture(
            QtConcurrent::run(&m_pool, [account = m_account, dialogId, stop = m_stopRead] {
                return sendersOf(account, dialogId, *stop);
            }));
}

// A watcher deleted reports nothing, so a stopped read, which may still end its page, is heard
// by no one.
void ChatMembers::stopReading()
{
    if (m_stopRead) {
        m_stopRead->store(true);
    }
    delete m_read;
    m_read = nullptr;
}

QString ChatMembers::nameOf(const AccountBase *account, const QString &dialogId, qint64 userId)
{
    if (userId == account->userId()) {
        return tr("You");
    }
    const QSharedPointer<DialogBase> dialog = account->dialog(dialogId);
    if (dialog && !dialog->isGroup()) {
        return dialog->name();
    }
    return tr("User %1").arg(userId);
}

void ChatMembers::setMembers(const QList<qint64> &userIds)
{
    QList<QVariantMap> people;
    for (const qint64 userId : userIds) {
        people.append({{QStringLiteral("userId"), userId},
                       {QStringLiteral("name"), nameOf(m_account, m_dialogId, userId)}});
    }
    const qint64 self = m_account->userId();
    QCollator collator;
    collator.setNumericMode(true);
    std::sort(people.begin(), people.end(), [&](const QVariantMap &a, const QVariantMap &b) {
        const bool aIsSelf = a.value(QStringLiteral("userId")).toLongLong() == self;
        const bool bIsSelf = b.value(QStringLiteral("userId")).toLongLong() == self;
        if (aIsSelf != bIsSelf) {
            return aIsSelf;
        }
        return collator.compare(a.value(QStringLiteral("name")).toString(),
                                b.value(QStringLiteral("name")).toString())
                < 0;
    });
    QVariantList members;
    for (const QVariantMap &person : std::as_const(people)) {
        members.append(person);
    }
    if (members != m_members) {
        m_members = members;
        Q_EMIT membersChanged();
    }
}
