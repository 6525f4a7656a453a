#include "searchservicecmd.h"

#include "accountbase.h"
#include "im_chat.pb.h"
#include "mediamodellog_p.h"

#include <QByteArray>

namespace {

// A request that fails to serialise still goes out as the zero-filled buffer of its size: the
// server answers it with an error code, which the caller handles like any other failure.
QByteArray serialized(const google::protobuf::MessageLite &req)
{
    QByteArray body(qsizetype(req.ByteSizeLong()), '\0');
    if (!req.SerializeToArray(body.data(), int(body.size()))) {
        qCDebug(lcMedia) << "=====Serialize proto buffer failed";
    }
    return body;
}

} // namespace

SearchServiceCmd::SearchServiceCmd(AccountBase *account)
    : m_account(account)
{ }

QMap<QString, QVariant> SearchServiceCmd::searchMessage(const im::chat::SearchMessageReq &req)
{
    return m_account->syncRequest(SEARCH_MESSAGE, serialized(req));
}

QMap<QString, QVariant> SearchServiceCmd::searchMessage(const im::chat::SearchMessageMultiReq &req)
{
    return m_account->syncRequest(SEARCH_MESSAGE_MULTI, serialized(req));
}
