#pragma once

#include <QFutureWatcher>
#include <QObject>
#include <QThreadPool>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <atomic>
#include <memory>

class AccountBase;

// The people who wrote in a chat, for the search's sender filter, and the names the gallery gives
// senders. The account keeps no member lists, so the senders of the chat's stored messages are
// its members; they are read on a pool thread and arrive with membersChanged().
//
// Lives on the main thread. Owns the pool its reads run on and waits for them when it goes, so the
// account must outlive it.
class ChatMembers : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("the members belong to the gallery's search")
    // [{"userId": id, "name": text}]: the user first, then the others by name.
    Q_PROPERTY(QVariantList members READ members NOTIFY membersChanged)

public:
    explicit ChatMembers(AccountBase *account, QObject *parent = nullptr);
    ~ChatMembers() override;

    QVariantList members() const { return m_members; }
    // Reads the senders of the chat; an empty id leaves no members.
    void setDialogId(const QString &dialogId);

    // The name the gallery shows for a sender in a chat: "You" for the account's user, the chat's
    // name for the other side of a chat that is no group, else "User" and the id.
    static QString nameOf(const AccountBase *account, const QString &dialogId, qint64 userId);

Q_SIGNALS:
    void membersChanged();

private:
    void setMembers(const QList<qint64> &userIds);
    void stopReading();

    AccountBase *const m_account;
    QString m_dialogId;
    QVariantList m_members;
    QThreadPool m_pool;
    QFutureWatcher<QList<qint64>> *m_read = nullptr; // child, watching the read under way
    // Set to stop the read under way between its pages; each read has its own.
    std::shared_ptr<std::atomic<bool>> m_stopRead;
};
