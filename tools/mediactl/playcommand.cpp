#include "playcommand.h"

#include "accountbase.h"
#include "accountfolder.h"
#include "accountmanager.h"
#include "constants.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "filedata.h"
#include "filemanager.h"
#include "filereferencestorage.h"
#include "mediamgr.h"
#include "mediaplayer.h"
#include "messagebase.h"
#include "multimediaaudioplayer.h"
#include "resourceitem.h"
#include "resourcestorage.h"
#include "streamserver.h"
#include "userstorageprovider.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>
#include <cmath>
#include <memory>

namespace {

int fail(const QString &message)
{
    QTextStream(stderr) << "mediactl play: " << message << '\n';
    return 1;
}

bool isPlayable(int contentType)
{
    return contentType == CONTENT_VOICE || contentType == CONTENT_MUSIC
            || contentType == CONTENT_VIDEO;
}

// The item of a message of the local store, when fileId is its own file (not one it quotes).
std::unique_ptr<ResourceItem> ownerItem(AccountBase &account, const QString &dialogId,
                                        const MessageKey &key, const QString &fileId)
{
    const QSharedPointer<DialogBase> dialog = account.dialog(dialogId);
    const auto message = dialog ? dialog->message(key) : nullptr;
    auto item = message ? std::make_unique<ResourceItem>(message) : nullptr;
    const auto file = item ? item->sourceFilePtr() : nullptr;
    return file && file->fileId() == fileId ? std::move(item) : nullptr;
}

// Music names its file in no reference row; its rows of the resource table lead to it.
std::unique_ptr<ResourceItem> musicItemOfFile(AccountBase &account, const QString &fileId)
{
    storage::ResourceSearchInfo page;
    page.types = {CONTENT_MUSIC};
    page.count = LOAD_MAX_COUNT;
    for (;;) {
        const auto rows = account.storage()->resourceStorage()->infosBefore(page);
        for (const storage::ResourceInfo &row : rows) {
            if (auto item = ownerItem(account, row.dialogId,
                                      MessageKey(row.messageId, row.subMsgId), fileId)) {
                return item;
            }
        }
        if (rows.size() < page.count) {
            return nullptr;
        }
        page.time = rows.last().dateTime - 1;
        page.msgId = rows.last().messageId - 1;
    }
}

// The item of the message whose own file this is; null when the local store has none.
std::unique_ptr<ResourceItem> itemOfFile(AccountBase &account, const QSharedPointer<FileData> &file)
{
    if (file->type() == CONTENT_MUSIC) {
        return musicItemOfFile(account, file->fileId());
    }
    const auto rows = account.storage()->fileReferenceStorage()->infosWithFileIds({file->fileId()});
    for (const storage::FileReferenceInfo &row : rows) {
        if (auto item = ownerItem(account, row.dialogId, MessageKey(row.messageId, row.subMsgId),
                                  file->fileId())) {
            return item;
        }
    }
    return nullptr;
}

QString clock(qint64 ms)
{
    const qint64 seconds = qMax<qint64>(0, ms) / 1000;
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

// Watches the player while it plays one track, keeps the progress line up to date and ends the
// event loop when the track ends or fails. The engine's errors reach the application log only,
// under "im.log", so the watcher reads them there.
class PlaybackWatch : public QObject
{
public:
    PlaybackWatch(MediaPlayer *player, QSharedPointer<FileData> file)
        : m_player(player)
        , m_file(std::move(file))
    {
        s_instance = this;
        m_previousHandler = qInstallMessageHandler(&PlaybackWatch::onMessage);
        connect(player, &MediaPlayer::playTimeChanged, this, &PlaybackWatch::printProgress);
        connect(player, &MediaPlayer::durationChanged, this, [this](qint64 duration) {
            // The player forgets the length when the track ends; the last line still shows it.
            if (duration > 0) {
                m_duration = duration;
                printProgress();
            }
        });
        connect(player, &MediaPlayer::playStateChanged, this, &PlaybackWatch::onStateChanged);
    }

    ~PlaybackWatch() override
    {
        qInstallMessageHandler(m_previousHandler);
        s_instance = nullptr;
    }

    QString error() const { return m_error; }

private:
    static void onMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        static const QString engineError = QStringLiteral("audioEvent error: ");
        if (s_instance && type == QtCriticalMsg && text.contains(engineError)) {
            s_instance->m_error = text.mid(text.indexOf(engineError) + engineError.size());
        }
        if (s_instance && s_instance->m_previousHandler) {
            s_instance->m_previousHandler(type, context, text);
        }
    }

    void printProgress() { printLine(m_player->playTime()); }

    void printLine(qint64 position)
    {
        const int downloaded = m_file->isComplete() ? 100 : m_file->percent();
        const QString line = clock(position) + QStringLiteral(" / ") + clock(m_duration)
                + QStringLiteral("   downloaded %1%").arg(downloaded);
        if (line != m_line) {
            m_line = line;
            QTextStream(stdout) << '\r' << line << "   " << Qt::flush;
        }
    }

    void onStateChanged(int state)
    {
        if (state != MediaPlayer::STATE_STOPPED) {
            return;
        }
        if (m_error.isEmpty()) {
            printLine(m_duration);
        }
        QTextStream out(stdout);
        out << Qt::endl;
        // The network thread ends with the event loop, and a connection closed on it is deleted
        // there later: the server and its connections go now, as the tool's last use of them.
        network::StreamServer::instance()->release();
        QCoreApplication::exit(m_error.isEmpty() ? 0 : 1);
    }

    static PlaybackWatch *s_instance;
    QtMessageHandler m_previousHandler = nullptr;
    MediaPlayer *const m_player;
    const QSharedPointer<FileData> m_file;
    qint64 m_duration = 0;
    QString m_line; // the progress line shown last
    QString m_error;
};

PlaybackWatch *PlaybackWatch::s_instance = nullptr;

// Voice and music play as the gallery plays them, in a playlist of the one message of the account's
// hub; a video's sound has no list of its own.
void startAlone(MediaPlayer *player, qint64 accountId, ResourceItem *item)
{
    switch (item->type()) {
    case CONTENT_VOICE:
        player->playVoice(accountId, item->msgData(), true);
        break;
    case CONTENT_MUSIC:
        player->playMusic(accountId, item->msgData());
        break;
    default:
        player->playSchedule(accountId, item, true, false);
        break;
    }
}

// Plays the file's message; the exit code of the command.
int playFile(AccountBase &account, const QString &fileId, qint64 fromMs)
{
    const QSharedPointer<FileData> file = account.fileManager()->filePtrWithId(fileId, true);
    if (!file) {
        return fail(QStringLiteral("no file ") + fileId + QStringLiteral(" in the account"));
    }
    if (!isPlayable(file->type())) {
        return fail(QStringLiteral("file ") + fileId
                    + QStringLiteral(" is not a voice message, music or a video"));
    }
    const std::unique_ptr<ResourceItem> item = itemOfFile(account, file);
    if (!item) {
        return fail(QStringLiteral("no message of the local store carries file ") + fileId);
    }
    QString missing;
    if (!MultimediaAudioPlayer::canPlay(&missing)) {
        return fail(QStringLiteral("no audio output: ") + missing);
    }
    MediaPlayer *player = MediaPlayer::instance();
    PlaybackWatch watch(player, file);
    startAlone(player, account.userId(), item.get());
    if (player->playState() == MediaPlayer::STATE_STOPPED) {
        return fail(QStringLiteral("file ") + fileId + QStringLiteral(" cannot be played"));
    }
    if (fromMs > 0) {
        player->seekPos(fromMs);
    }
    const int exitCode = QCoreApplication::exec();
    if (exitCode != 0) {
        return fail(QStringLiteral("the track could not be played: ") + watch.error());
    }
    return 0;
}

} // namespace

int PlayCommand::run(const QStringList &args)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
            "Plays the sound of a voice, music or video file of the account in DIR, streaming it "
            "while it downloads."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("the account folder"));
    parser.addPositionalArgument(QStringLiteral("FILE_ID"), QStringLiteral("the file"));
    const QCommandLineOption from(QStringLiteral("from"), QStringLiteral("start at, in seconds"),
                                  QStringLiteral("SECONDS"), QStringLiteral("0"));
    parser.addOption(from);
    parser.process(args);
    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 2) {
        return fail(QStringLiteral("give an account folder and a file id"));
    }
    bool fromOk = false;
    const double fromSeconds = parser.value(from).toDouble(&fromOk);
    if (!fromOk || !std::isfinite(fromSeconds) || fromSeconds < 0 || fromSeconds > 1e9) {
        return fail(QStringLiteral("--from takes a number of seconds from 0"));
    }
    AccountManager *accounts = AccountManager::getInstance();
    QString error;
    AccountBase *account = loadAccountFolder(positional.at(0), &error);
    if (!account) {
        return fail(error);
    }
    const qint64 userId = account->userId();
    int exitCode = 0;
    {
        // The hub gives the account its stream addresses and the player its playlist.
        MediaMgr hub(account);
        hub.initConnection();
        exitCode = playFile(*account, positional.at(1), qint64(fromSeconds * 1000));
        hub.prepareToClearData(false);
        hub.clearData(false);
    }
    accounts->unloadAccount(userId);
    return exitCode;
}
