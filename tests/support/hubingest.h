#pragma once

#include "accountbase.h"
#include "im.pb.h"
#include "mediainfo.h"
#include "mediamgr.h"
#include "messagebase.h"

#include <QList>

// Stores messages as the client does on receipt and hands them to the hub's ingest, as a host
// does. bReplaced marks them as edits of stored messages. False when the store refused them.
inline bool receiveMessages(AccountBase *account, MediaMgr *hub, const QString &dialogId,
                            const QList<im::Message> &messages, bool bSilent,
                            bool bReplaced = false)
{
    if (!account->storeMessages(messages)) {
        return false;
    }
    QList<MediaInfo> infos;
    for (const im::Message &proto : messages) {
        const QSharedPointer<MessageBase> msg(
                new MessageBase(proto, account->fileManager(), account->userId()));
        infos.append(MediaInfo {msg, proto.time(), proto.msg_id(), 0, bReplaced});
    }
    hub->saveResources(dialogId, infos, bSilent);
    return true;
}
