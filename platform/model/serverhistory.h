#pragma once

#include <QSet>
#include <QVariantMap>
#include <memory>

namespace im {
class Message;
namespace chat {
class SearchMessageResp;
}
} // namespace im
namespace storage {
class Database;
class MessageStorage;
struct MessageRecord;
struct MessageSearchInfo;
} // namespace storage

// The server's side of the account's request channel: the full message history of the account,
// kept in its own database (server.db), which answers the message searches of the media layer.
// A chat's older history may exist only here, as on a real server. Thread-safe.
class ServerHistory
{
public:
    enum Command { SearchMessage = 162, SearchMessageMulti = 346 };

    explicit ServerHistory(const QString &databasePath);
    ~ServerHistory();

    bool store(const QList<im::Message> &messages);
    // Answers one request: {"code": 0, "data": serialized reply} on success; a non-zero code for
    // an unknown command or a request that does not parse.
    QVariantMap handle(int command, const QByteArray &body);
    storage::MessageStorage *messages() const { return m_messages.get(); }

private:
    im::chat::SearchMessageResp search(const storage::MessageSearchInfo &info);
    void addMessageOfRow(const storage::MessageRecord &row, QSet<QString> &returned,
                         im::chat::SearchMessageResp &response);

    std::unique_ptr<storage::Database> m_database;
    std::unique_ptr<storage::MessageStorage> m_messages;
};
