#pragma once

#include "deletionrecord.h"

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QSet>
#include <QSharedPointer>
#include <QVariantMap>
#include <atomic>
#include <functional>
#include <memory>

namespace im {
class Message;
}
namespace storage {
class UserStorageProvider;
}
class AccountSettingModel;
class DialogBase;
class FileManager;
class MessageBase;
class ModelBase;
class ServerHistory;

// One signed-in account, kept in one folder:
//   account.db     the local store (dialogs, messages, resource and file tables)
//   server.db      the server's full message history, answering remote searches
//   cache/         cached media files, laid out as CacheLayout says
//   settings.json  the account settings
// Lives on the main thread; the lookups and queries marked thread-safe are called from pools,
// the network thread and host threads.
class AccountBase : public QObject
{
    Q_OBJECT
    Q_PROPERTY(qint64 userId READ userId CONSTANT)
    Q_PROPERTY(bool online READ isOnline WRITE setOnline NOTIFY onlineChanged)

public:
    // Opens (and creates where missing) the account in folder. isValid() tells whether its
    // database could be opened.
    AccountBase(qint64 userId, const QString &folder, QObject *parent = nullptr);
    ~AccountBase() override;

    bool isValid() const;
    qint64 userId() const { return m_userId; }
    QString folder() const { return m_folder; }
    // Ends with a separator.
    QString userCacheDataPath() const;
    storage::UserStorageProvider *storage() const { return m_storage.get(); }
    FileManager *fileManager() const { return m_fileManager; }
    AccountSettingModel *accountSettingModel() const { return m_settings; }

    // Thread-safe. Null when the account has no such dialog.
    QSharedPointer<DialogBase> dialog(const QString &dialogId) const;
    QList<QSharedPointer<DialogBase>> dialogs() const;
    // Whether the dialogs could be read when the account opened; when not, a dialog the account
    // has may be unknown here, and its kind with it. Thread-safe.
    bool hasAllDialogs() const { return m_dialogsRead.load(); }
    void forEachDialog(const std::function<void(QSharedPointer<DialogBase>)> &fn) const;
    // Dialogs whose name contains keyword (case-insensitive; empty matches all), active at or
    // after cutOff (0: any time), of the kinds in kindMask (1 private, 2 group).
    QList<QSharedPointer<DialogBase>> searchDialogs(const QString &keyword, qint64 cutOff,
                                                    int kindMask) const;

    // Milliseconds since the epoch.
    virtual qint64 currentTime() const;
    // Thread-safe.
    bool isOnline() const { return m_online.load(); }
    void setOnline(bool online);
    bool canDownload() const { return isOnline() && m_downloadsAllowed.load(); }
    void setDownloadsAllowed(bool allowed) { m_downloadsAllowed.store(allowed); }
    bool canMapTimeToMessage() const { return true; }
    // The smallest message id of the dialog at or after msecs; 0 if none. Thread-safe.
    qint64 messageIdAtTime(const QString &dialogId, qint64 msecs) const;
    // Hidden dialogs and messages are recorded but not shown. Thread-safe.
    bool isHidden(const QString &id) const;
    void setHidden(const QString &id, bool hidden);

    // The synchronous request channel: blocks the calling thread until the reply. Returns
    // {"code": int, "data": QByteArray}; code 0 is success. Thread-safe, needs no event loop.
    virtual QVariantMap syncRequest(int command, const QByteArray &body) const;

    // Stores messages in the local store as the client does on receipt: message rows, the
    // resource rows the galleries page through, and the files they name.
    bool storeMessages(const QList<im::Message> &messages);
    bool storeDialog(const QString &dialogId, const QString &name, int type, qint64 lastActive);

    // The host's message operations; the stand-in records nothing and succeeds.
    virtual void forwardMessages(const QList<QSharedPointer<MessageBase>> &messages,
                                 const QVariantMap &options);
    virtual void deleteMessages(const QMap<QString, QList<DeletionRecord>> &records,
                                bool bRevocable);
    virtual void transferToCloudDrive(const QList<QSharedPointer<MessageBase>> &messages,
                                      qint64 nodeLocalId);

    // The address a player streams a file from; the media layer provides it.
    using StreamUrlProvider = std::function<QString(qint64 userId, const QString &fileId)>;
    void setStreamUrlProvider(StreamUrlProvider provider);
    QString streamUrl(const QString &fileId) const;

    // The account's models by name, so that libraries below the media layer can reach it.
    void registerModel(const QString &name, ModelBase *model);
    ModelBase *model(const QString &name) const;

Q_SIGNALS:
    void onlineChanged();

protected:
    // The server's side of the request channel, for a host that plays the server's answers too.
    ServerHistory *serverHistory() const { return m_server.get(); }

private:
    void loadDialogs();

    const qint64 m_userId;
    const QString m_folder;
    std::unique_ptr<storage::UserStorageProvider> m_storage;
    std::unique_ptr<ServerHistory> m_server;
    FileManager *m_fileManager = nullptr;      // child
    AccountSettingModel *m_settings = nullptr; // child
    std::atomic<bool> m_online {true};
    std::atomic<bool> m_downloadsAllowed {true};
    std::atomic<bool> m_dialogsRead {false};

    mutable QMutex m_mutex; // guards the members below
    QHash<QString, QSharedPointer<DialogBase>> m_dialogs;
    QSet<QString> m_hidden;
    StreamUrlProvider m_streamUrlProvider;
    QHash<QString, ModelBase *> m_models;
};
