#include "serverhistory.h"

#include "contenttype.h"
#include "database.h"
#include "im_chat.pb.h"
#include "messagerecords.h"
#include "messagestorage.h"
#include "platformlog.h"

#include <QSet>

namespace {

enum ReplyCode { Ok = 0, UnknownCommand = 1, BadRequest = 2 };

QVariantMap reply(int code, const QByteArray &data = QByteArray())
{
    QVariantMap map {{QStringLiteral("code"), code}};
    if (code == Ok) {
        map.insert(QStringLiteral("data"), data);
    }
    return map;
}

// Search categories of the protocol to content types: 1 photo, 2 video, 3 file, 4 link,
// 5 music, 6 voice.
void applyCategories(const google::protobuf::RepeatedField<int32_t> &categories,
                     storage::MessageSearchInfo &info)
{
    for (const int category : categories) {
        switch (category) {
        case 1:
            info.types.append(CONTENT_PHOTO);
            break;
        case 2:
            info.types.append(CONTENT_VIDEO);
            break;
        case 3:
            info.types.append(CONTENT_FILE);
            break;
        case 4:
            info.linksOnly = true;
            break;
        case 5:
            info.types.append(CONTENT_MUSIC);
            break;
        case 6:
            info.types.append(CONTENT_VOICE);
            break;
        default:
            break;
        }
    }
    if (info.linksOnly) {
        info.types.append(CONTENT_TEXT);
    }
}

template<typename Request> storage::MessageSearchInfo searchInfo(const Request &request)
{
    storage::MessageSearchInfo info;
    info.keyword = QString::fromStdString(request.keyword());
    for (const qint64 sender : request.sender_ids()) {
        info.senderIds.append(sender);
    }
    info.startTime = request.start_time();
    info.endTime = request.end_time();
    info.msgId = request.msg_id();
    info.newer = request.direction() == 1;
    // A huge count from a client must not make the server read its whole history at once.
    info.count = qBound(1, int(request.count()), 500);
    applyCategories(request.categories(), info);
    return info;
}

} // namespace

ServerHistory::ServerHistory(const QString &databasePath)
    : m_database(std::make_unique<storage::Database>(databasePath))
    , m_messages(std::make_unique<storage::MessageStorage>(m_database.get()))
{ }

ServerHistory::~ServerHistory() = default;

bool ServerHistory::store(const QList<im::Message> &messages)
{
    QList<storage::MessageRecord> records;
    MessageRecords::forEachStored(messages, [&](const im::Message &message, const MessageKey &key) {
        records.append(MessageRecords::messageRecord(message, key));
    });
    return m_messages->save(records);
}

QVariantMap ServerHistory::handle(int command, const QByteArray &body)
{
    storage::MessageSearchInfo info;
    if (command == SearchMessage) {
        im::chat::SearchMessageReq request;
        if (!request.ParseFromArray(body.constData(), int(body.size()))) {
            qCWarning(lcPlatform) << "server: unparsable search request";
            return reply(BadRequest);
        }
        info = searchInfo(request);
        info.dialogIds.append(QString::fromStdString(request.dialog_id()));
    } else if (command == SearchMessageMulti) {
        im::chat::SearchMessageMultiReq request;
        if (!request.ParseFromArray(body.constData(), int(body.size()))) {
            qCWarning(lcPlatform) << "server: unparsable multi-dialog search request";
            return reply(BadRequest);
        }
        info = searchInfo(request);
        for (const std::string &dialogId : request.dialog_ids()) {
            info.dialogIds.append(QString::fromStdString(dialogId));
        }
    } else {
        qCWarning(lcPlatform) << "server: unknown command" << command;
        return reply(UnknownCommand);
    }
    const im::chat::SearchMessageResp response = search(info);
    return reply(Ok, QByteArray::fromStdString(response.SerializeAsString()));
}

// Counts messages, not rows: the children of a combined message come back as that message,
// once, and a page is topped up until it holds count messages or the history ends.
im::chat::SearchMessageResp ServerHistory::search(const storage::MessageSearchInfo &info)
{
    im::chat::SearchMessageResp response;
    QSet<QString> returned;
    storage::MessageSearchInfo page = info;
    forever {
        bool more = false;
        const QList<storage::MessageRecord> rows = m_messages->search(page, &more);
        for (const storage::MessageRecord &row : rows) {
            if (response.messages_size() >= info.count) {
                response.set_has_more(true);
                return response;
            }
            addMessageOfRow(row, returned, response);
        }
        if (!more || rows.isEmpty()) {
            return response;
        }
        page.msgId = info.newer ? rows.last().messageId + 1 : rows.last().messageId - 1;
        if (page.msgId <= 0) {
            return response;
        }
    }
}

void ServerHistory::addMessageOfRow(const storage::MessageRecord &row, QSet<QString> &returned,
                                    im::chat::SearchMessageResp &response)
{
    im::Message message;
    if (!message.ParseFromArray(row.data.constData(), int(row.data.size()))) {
        qCWarning(lcPlatform) << "server: unreadable message" << row.dialogId << row.messageId;
        return;
    }
    if (message.parent_msg_id() > 0) {
        const storage::MessageRecord parent =
                m_messages->message(row.dialogId, MessageKey(message.parent_msg_id(), 0));
        if (parent.dialogId.isEmpty()
            || !message.ParseFromArray(parent.data.constData(), int(parent.data.size()))) {
            return;
        }
    }
    const QString id = QString::fromStdString(message.dialog_id()) + QLatin1Char('/')
            + QString::number(message.msg_id());
    if (!returned.contains(id)) {
        returned.insert(id);
        *response.add_messages() = message;
    }
}
