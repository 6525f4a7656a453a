#include "audiotestsupport.h"

#include "accountbase.h"
#include "accountmanager.h"
#include "cachelayout.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "hubteardown.h"
#include "im.pb.h"
#include "mediamgr.h"
#include "mediaplayer.h"
#include "messagebase.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

namespace AudioTest {

void ScriptedEngine::play(const QString &path, qint64 seekPos)
{
    calls << QStringLiteral("play:%1@%2").arg(path).arg(seekPos);
}

void ScriptedEngine::breakPlay(const QString &path, qint64 duration)
{
    Q_UNUSED(duration)
    calls << QStringLiteral("breakPlay:") + path;
}

void ScriptedEngine::pause(bool bPause)
{
    calls << QStringLiteral("pause:%1").arg(bPause);
}

void ScriptedEngine::stop(bool bSync)
{
    calls << QStringLiteral("stop:%1").arg(bSync);
}

void ScriptedEngine::seekPos(qint64 position)
{
    calls << QStringLiteral("seekPos:%1").arg(position);
}

void ScriptedEngine::setSpeed(double speed)
{
    calls << QStringLiteral("setSpeed:%1").arg(speed);
}

void ScriptedEngine::send(int type, const QVariantMap &params, const QString &message)
{
    pushEvent(type, params, message);
}

QStringList ScriptedEngine::plays() const
{
    QStringList paths;
    for (const QString &call : calls) {
        if (call.startsWith(QLatin1String("play:"))) {
            paths << call.mid(5, call.lastIndexOf(QLatin1Char('@')) - 5);
        }
    }
    return paths;
}

QString fileIdOf(qint64 id)
{
    return QStringLiteral("a%1").arg(id);
}

AudioAccount::AudioAccount()
{
    if (!m_dir.isValid()) {
        return;
    }
    m_account = std::make_unique<AccountBase>(UserId, m_dir.path());
    m_account->storeDialog(QStringLiteral("d"), QStringLiteral("d"), DIALOG_PRIVATE, BaseTime);
    m_account->storeDialog(QStringLiteral("e"), QStringLiteral("e"), DIALOG_GROUP, BaseTime);
    m_hub = new MediaMgr(m_account.get());
    m_hub->initConnection();
    AccountManager::getInstance()->addAccount(m_account.get());
}

AudioAccount::~AudioAccount()
{
    if (!m_account) {
        return;
    }
    AccountManager::getInstance()->removeAccount(m_account.get());
    closeHub(m_hub);
    m_account.reset();
}

bool AudioAccount::isValid() const
{
    return m_account && m_account->isValid();
}

QString AudioAccount::localPath(int type, qint64 id, const QString &suffix) const
{
    return CacheLayout::mediaPath(m_account->userCacheDataPath(), CacheLayout::MainCategory,
                                  CacheLayout::kindOfMessageType(type))
            + CacheLayout::fileName(fileIdOf(id), suffix);
}

im::Message AudioAccount::audioMessage(const QString &dialogId, int type, qint64 id,
                                       const AudioFile &file)
{
    im::Message m;
    m.set_dialog_id(dialogId.toStdString());
    m.set_msg_id(id);
    m.set_type(type);
    m.set_time(BaseTime + id * 1000);
    m.set_sender_id(SenderId);
    m.set_duration(file.durationMs);
    im::FileInfo *info = m.mutable_file();
    info->set_file_id(fileIdOf(id).toStdString());
    info->set_suffix(file.suffix.toStdString());
    info->set_size(file.size);
    info->set_name(("clip." + file.suffix).toStdString());
    info->set_url(file.url.toStdString());
    return m;
}

bool AudioAccount::addMessages(int type, qint64 first, qint64 last, const QString &dialogId,
                               bool bDownloaded)
{
    const AudioFile placeholder {QStringLiteral("wav"), 64, 2000, QString()};
    QList<im::Message> messages;
    for (qint64 id = first; id <= last; ++id) {
        messages.append(audioMessage(dialogId, type, id, placeholder));
        if (bDownloaded) {
            const QString path = localPath(type, id);
            QDir().mkpath(QFileInfo(path).path());
            QFile out(path);
            if (!out.open(QIODevice::WriteOnly) || out.write(QByteArray(64, '\0')) != 64) {
                return false;
            }
        }
    }
    return m_account->storeMessages(messages);
}

bool AudioAccount::addMessage(int type, qint64 id, const AudioFile &file, const QString &localCopy)
{
    if (!localCopy.isEmpty()) {
        const QString path = localPath(type, id, file.suffix);
        QDir().mkpath(QFileInfo(path).path());
        if (!QFile::copy(localCopy, path)) {
            return false;
        }
    }
    return m_account->storeMessages({audioMessage(QStringLiteral("d"), type, id, file)});
}

QSharedPointer<MessageBase> AudioAccount::message(qint64 id, const QString &dialogId) const
{
    const QSharedPointer<DialogBase> dialog = m_account->dialog(dialogId);
    return dialog ? dialog->message(MessageKey(id, 0)) : nullptr;
}

ScriptedEngine *installScriptedEngine()
{
    auto engine = std::make_unique<ScriptedEngine>();
    ScriptedEngine *installed = engine.get();
    MediaPlayer::instance()->setAudioPlayer(std::move(engine));
    return installed;
}

} // namespace AudioTest
