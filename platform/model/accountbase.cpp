#include "accountbase.h"

#include "accountsettingmodel.h"
#include "contenttype.h"
#include "database.h"
#include "dialogbase.h"
#include "dialogstorage.h"
#include "filemanager.h"
#include "im.pb.h"
#include "messagerecords.h"
#include "messagestorage.h"
#include "platformlog.h"
#include "resourcestorage.h"
#include "serverhistory.h"
#include "userstorageprovider.h"
#include "util.h"

#include <QDateTime>
#include <QDir>

AccountBase::AccountBase(qint64 userId, const QString &folder, QObject *parent)
    : QObject(parent)
    , m_userId(userId)
    , m_folder(QDir(folder).absolutePath())
    , m_storage(std::make_unique<storage::UserStorageProvider>(
              Util::joinPath(m_folder, QStringLiteral("account.db"))))
    , m_server(std::make_unique<ServerHistory>(
              Util::joinPath(m_folder, QStringLiteral("server.db"))))
{
    QDir().mkpath(userCacheDataPath());
    m_fileManager = new FileManager(m_storage.get(), userCacheDataPath(), this);
    m_settings = new AccountSettingModel(Util::joinPath(m_folder, QStringLiteral("settings.json")),
                                         this);
    loadDialogs();
}

AccountBase::~AccountBase()
{
    // Children use the storage (the file manager's running downloads write their progress, the
    // media hub removes rows), so they go first, newest first, while it is still open.
    const QObjectList owned = children();
    for (auto it = owned.crbegin(); it != owned.crend(); ++it) {
        delete *it;
    }
    m_fileManager = nullptr;
    m_settings = nullptr;
    QMutexLocker locker(&m_mutex);
    m_dialogs.clear();
}

bool AccountBase::isValid() const
{
    return m_storage->database()->isOpen();
}

QString AccountBase::userCacheDataPath() const
{
    return Util::joinPath(m_folder, QStringLiteral("cache")) + Util::separator();
}

void AccountBase::loadDialogs()
{
    bool read = false;
    const QList<storage::DialogRecord> records = m_storage->dialogStorage()->dialogs(&read);
    m_dialogsRead.store(read);
    if (!read && isValid()) {
        qCWarning(lcPlatform) << "the dialogs of account" << m_userId << "cannot be read";
    }
    QMutexLocker locker(&m_mutex);
    for (const storage::DialogRecord &record : records) {
        m_dialogs.insert(record.dialogId, QSharedPointer<DialogBase>::create(this, record));
    }
}

QSharedPointer<DialogBase> AccountBase::dialog(const QString &dialogId) const
{
    QMutexLocker locker(&m_mutex);
    return m_dialogs.value(dialogId);
}

QList<QSharedPointer<DialogBase>> AccountBase::dialogs() const
{
    QMutexLocker locker(&m_mutex);
    QList<QSharedPointer<DialogBase>> all = m_dialogs.values();
    std::sort(all.begin(), all.end(), [](const auto &a, const auto &b) {
        return a->lastActiveTime() > b->lastActiveTime();
    });
    return all;
}

void AccountBase::forEachDialog(const std::function<void(QSharedPointer<DialogBase>)> &fn) const
{
    for (const QSharedPointer<DialogBase> &dialog : dialogs()) {
        fn(dialog);
    }
}

QList<QSharedPointer<DialogBase>> AccountBase::searchDialogs(const QString &keyword, qint64 cutOff,
                                                             int kindMask) const
{
    QList<QSharedPointer<DialogBase>> found;
    for (const QSharedPointer<DialogBase> &dialog : dialogs()) {
        const int kind = dialog->isGroup() ? 2 : 1;
        if (!(kindMask & kind) || dialog->type() == DIALOG_SYSTEM) {
            continue;
        }
        if (cutOff > 0 && dialog->lastActiveTime() < cutOff) {
            continue;
        }
        if (!keyword.isEmpty() && !dialog->name().contains(keyword, Qt::CaseInsensitive)) {
            continue;
        }
        found.append(dialog);
    }
    return found;
}

qint64 AccountBase::currentTime() const
{
    return QDateTime::currentMSecsSinceEpoch();
}

void AccountBase::setOnline(bool online)
{
    if (m_online.exchange(online) != online) {
        Q_EMIT onlineChanged();
    }
}

qint64 AccountBase::messageIdAtTime(const QString &dialogId, qint64 msecs) const
{
    return m_storage->messageStorage()->messageIdAtTime(dialogId, msecs);
}

bool AccountBase::isHidden(const QString &id) const
{
    QMutexLocker locker(&m_mutex);
    return m_hidden.contains(id);
}

void AccountBase::setHidden(const QString &id, bool hidden)
{
    QMutexLocker locker(&m_mutex);
    if (hidden) {
        m_hidden.insert(id);
    } else {
        m_hidden.remove(id);
    }
}

QVariantMap AccountBase::syncRequest(int command, const QByteArray &body) const
{
    if (!isOnline()) {
        return {{QStringLiteral("code"), -1}};
    }
    return m_server->handle(command, body);
}

bool AccountBase::storeDialog(const QString &dialogId, const QString &name, int type,
                              qint64 lastActive)
{
    storage::DialogRecord record;
    record.dialogId = dialogId;
    record.name = name;
    record.type = type;
    record.isGroup = type == DIALOG_GROUP;
    record.lastActiveTime = lastActive;
    if (!m_storage->dialogStorage()->save({record})) {
        return false;
    }
    QMutexLocker locker(&m_mutex);
    m_dialogs.insert(dialogId, QSharedPointer<DialogBase>::create(this, record));
    return true;
}

static QString fromStd(const std::string &text)
{
    return QString::fromStdString(text);
}

static void appendFileRecord(QList<storage::FileRecord> &files, const im::FileInfo &info, int type)
{
    if (info.file_id().empty()) {
        return;
    }
    storage::FileRecord record;
    record.fileId = fromStd(info.file_id());
    record.type = type;
    record.suffix = fromStd(info.suffix());
    record.size = info.size();
    record.name = fromStd(info.name());
    record.url = fromStd(info.url());
    files.append(record);
}

// The gallery row of a message that shows media or a link; false for anything else.
static bool makeResourceRow(const storage::MessageRecord &record, const im::Message &message,
                            storage::ResourceInfo &row)
{
    const int type = message.type();
    const bool isLink = type == CONTENT_TEXT && message.urls_size() > 0;
    if (!isLink && (type < CONTENT_PHOTO || type > CONTENT_FILE)) {
        return false;
    }
    if (message.removed() || message.revoked()) {
        return false;
    }
    row.dialogId = record.dialogId;
    row.messageId = record.messageId;
    row.subMsgId = record.subMsgId;
    row.type = type;
    row.dateTime = record.dateTime;
    row.senderId = record.senderId;
    row.text = record.text;
    return true;
}

bool AccountBase::storeMessages(const QList<im::Message> &messages)
{
    QList<storage::MessageRecord> records;
    QList<storage::ResourceInfo> resources;
    QList<storage::FileRecord> files;
    MessageRecords::forEachStored(messages, [&](const im::Message &message, const MessageKey &key) {
        records.append(MessageRecords::messageRecord(message, key));
        storage::ResourceInfo row;
        if (makeResourceRow(records.last(), message, row)) {
            resources.append(row);
        }
        appendFileRecord(files, message.file(), message.type());
        appendFileRecord(files, message.thumb(), CONTENT_PHOTO);
        appendFileRecord(files, message.live_photo(), CONTENT_VIDEO);
    });
    bool ok = m_storage->messageStorage()->save(records);
    ok = m_storage->resourceStorage()->save(resources) && ok;
    m_fileManager->registerFiles(files);
    return ok;
}

void AccountBase::forwardMessages(const QList<QSharedPointer<MessageBase>> &messages,
                                  const QVariantMap &options)
{
    qCDebug(lcPlatform) << "forward" << messages.size() << "messages" << options;
}

void AccountBase::deleteMessages(const QMap<QString, QList<DeletionRecord>> &records,
                                 bool bRevocable)
{
    qCDebug(lcPlatform) << "delete messages of" << records.size() << "dialogs, revocable"
                        << bRevocable;
}

void AccountBase::transferToCloudDrive(const QList<QSharedPointer<MessageBase>> &messages,
                                       qint64 nodeLocalId)
{
    qCDebug(lcPlatform) << "transfer" << messages.size() << "messages to cloud node" << nodeLocalId;
}

void AccountBase::setStreamUrlProvider(StreamUrlProvider provider)
{
    QMutexLocker locker(&m_mutex);
    m_streamUrlProvider = std::move(provider);
}

QString AccountBase::streamUrl(const QString &fileId) const
{
    QMutexLocker locker(&m_mutex);
    return m_streamUrlProvider ? m_streamUrlProvider(m_userId, fileId) : QString();
}

void AccountBase::registerModel(const QString &name, ModelBase *model)
{
    QMutexLocker locker(&m_mutex);
    if (model) {
        m_models.insert(name, model);
    } else {
        m_models.remove(name);
    }
}

ModelBase *AccountBase::model(const QString &name) const
{
    QMutexLocker locker(&m_mutex);
    return m_models.value(name);
}
