#pragma once

#include "accountbase.h"
#include "deletionrecord.h"
#include "im.pb.h"
#include "messagebase.h"

#include <QList>
#include <QSharedPointer>
#include <QString>
#include <memory>
#include <vector>

class FileManager;
class ResourceItem;

// Messages and items for the selection's tests.
namespace SelectionTest {

// A message the host keeps out of multi-message actions.
class ExcludedMessage : public MessageBase
{
public:
    using MessageBase::MessageBase;
    bool isExcluded() const override { return true; }
};

struct MessageSpec
{
    int type = 2;
    qint64 senderId = 7;
    bool forwardable = true;
    bool excluded = false;
};

// A message written "[dialog/]id[.child]": "a/50.2" is the second child of the combined message
// 50 of dialog a. Without a dialog, "a".
im::Message protoOf(const QString &label, const MessageSpec &spec = {});
QSharedPointer<MessageBase> messageOf(const QString &label, const MessageSpec &spec = {});
// The media key of the item of a labelled message.
MessageKey keyOf(const QString &label);
// files resolves the message's file records; without it file-bearing content has no files.
QSharedPointer<MessageBase> makeMessage(const im::Message &proto, FileManager *files,
                                        bool excluded = false);

// Items made from messages, kept alive until the holder goes.
class Items
{
public:
    ResourceItem *operator()(const QString &label, const MessageSpec &spec = {});
    ResourceItem *add(const QSharedPointer<MessageBase> &msg);

private:
    std::vector<std::unique_ptr<ResourceItem>> m_items;
};

// A real account that records what the media layer asks of the host's messaging.
class RecordingAccount : public AccountBase
{
public:
    using AccountBase::AccountBase;

    struct Forward
    {
        QList<QSharedPointer<MessageBase>> messages;
        QVariantMap options;
    };
    struct Deletion
    {
        QMap<QString, QList<DeletionRecord>> records;
        bool bRevocable = false;
    };
    struct Transfer
    {
        QList<QSharedPointer<MessageBase>> messages;
        qint64 nodeLocalId = 0;
    };

    void forwardMessages(const QList<QSharedPointer<MessageBase>> &messages,
                         const QVariantMap &options) override
    {
        forwards.append({messages, options});
    }
    void deleteMessages(const QMap<QString, QList<DeletionRecord>> &records,
                        bool bRevocable) override
    {
        deletions.append({records, bRevocable});
    }
    void transferToCloudDrive(const QList<QSharedPointer<MessageBase>> &messages,
                              qint64 nodeLocalId) override
    {
        transfers.append({messages, nodeLocalId});
    }
    int calls() const { return int(forwards.size() + deletions.size() + transfers.size()); }

    QList<Forward> forwards;
    QList<Deletion> deletions;
    QList<Transfer> transfers;
};

// Labels ("dialog/id" or "dialog/id.child") of messages, in order.
QStringList labelsOf(const QList<QSharedPointer<MessageBase>> &messages);

// Ends the test application's work: the posted deletions of messages must run before it ends.
void drainEvents();

} // namespace SelectionTest
