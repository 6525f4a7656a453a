#include "galleryaccount.h"

#include "deletionrecord.h"
#include "gallerylog.h"
#include "mediamgr.h"
#include "messagestorage.h"
#include "resourcestorage.h"
#include "userstorageprovider.h"

void GalleryAccount::forwardMessages(const QList<QSharedPointer<MessageBase>> &messages,
                                     const QVariantMap &options)
{
    AccountBase::forwardMessages(messages, options);
    Q_EMIT messagesForwarded(int(messages.size()));
}

void GalleryAccount::deleteMessages(const QMap<QString, QList<DeletionRecord>> &records,
                                    bool bRevocable)
{
    AccountBase::deleteMessages(records, bRevocable);
    int deleted = 0;
    for (auto it = records.cbegin(); it != records.cend(); ++it) {
        QList<qint64> messageIds;
        for (const DeletionRecord &record : it.value()) {
            messageIds.append(record.messageId);
        }
        storage()->messageStorage()->removeWithMessageIds(it.key(), messageIds);
        storage()->resourceStorage()->removeWithMessageIds(it.key(), messageIds);
        if (m_hub) {
            m_hub->removeResource(it.key(), messageIds, false);
        }
        qCInfo(lcGallery) << "deleted messages" << messageIds << "of" << it.key();
        deleted += int(messageIds.size());
    }
    Q_EMIT messagesDeleted(deleted);
}
