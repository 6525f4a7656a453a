#pragma once

#include "accountbase.h"

class MediaMgr;

// The account as the gallery application hosts it: the message operations the media layer hands
// to the client act on the local store, as a client would once its server agreed. Deleting
// removes the messages from the store and tells the hub, which takes them out of the lists and
// the cache; forwarding has no other chat to go to here, so it is announced.
//
// Lives on the main thread.
class GalleryAccount : public AccountBase
{
    Q_OBJECT

public:
    using AccountBase::AccountBase;

    // The hub told of deletions; not owned. Null until set.
    void setHub(MediaMgr *hub) { m_hub = hub; }

    void forwardMessages(const QList<QSharedPointer<MessageBase>> &messages,
                         const QVariantMap &options) override;
    void deleteMessages(const QMap<QString, QList<DeletionRecord>> &records,
                        bool bRevocable) override;

Q_SIGNALS:
    void messagesForwarded(int count);
    void messagesDeleted(int count);

private:
    MediaMgr *m_hub = nullptr;
};
