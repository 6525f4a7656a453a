#pragma once

#include "mediamodel_export.h"

#include <QMap>
#include <QString>
#include <QVariant>

class AccountBase;

namespace im::chat {
class SearchMessageReq;
class SearchMessageMultiReq;
} // namespace im::chat

// Sends message searches to the server through the account's synchronous request channel. The
// calls block the calling thread until the reply, so they belong on worker threads.
//
// The result map carries "code" (int, 0 on success) and "data" (the serialised
// im::chat::SearchMessageResp).
class MEDIAMODEL_EXPORT SearchServiceCmd
{
public:
    enum Command { SEARCH_MESSAGE = 162, SEARCH_MESSAGE_MULTI = 346 };

    // Does not take ownership of account.
    explicit SearchServiceCmd(AccountBase *account);

    // Searches one dialog.
    QMap<QString, QVariant> searchMessage(const im::chat::SearchMessageReq &req);
    // Searches several dialogs at once.
    QMap<QString, QVariant> searchMessage(const im::chat::SearchMessageMultiReq &req);

private:
    AccountBase *const m_account;
};
