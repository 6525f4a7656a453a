#include "synccommand.h"

#include "accountbase.h"
#include "accountfolder.h"
#include "contenttype.h"
#include "mediachatitem.h"
#include "mediachatmodel.h"
#include "mediachatselectmodel.h"
#include "mediamgr.h"
#include "mediasync.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QEventLoop>
#include <QHash>
#include <QLocale>
#include <QSet>
#include <QTextStream>

namespace {

constexpr int BarWidth = 30;

int fail(const QString &message)
{
    QTextStream(stderr) << "mediactl sync: " << message << '\n';
    return 1;
}

// The type code that toggles each kind's check box.
const QHash<QString, int> &kindCodes()
{
    static const QHash<QString, int> codes {
            {QStringLiteral("media"), CONTENT_PHOTO},
            {QStringLiteral("doc"), CONTENT_FILE},
            {QStringLiteral("audio"), CONTENT_MUSIC},
            {QStringLiteral("voice"), CONTENT_VOICE},
    };
    return codes;
}

// The file time filter values of MediaSync.
const QHash<QString, int> &sincePeriods()
{
    static const QHash<QString, int> periods {
            {QStringLiteral("day"), 1},
            {QStringLiteral("week"), 2},
            {QStringLiteral("month"), 3},
            {QStringLiteral("year"), 4},
    };
    return periods;
}

struct Options
{
    QString folder;
    QStringList chats;
    QSet<QString> kinds;
    int fileTimeType = 0;
};

bool parse(const QStringList &args, Options *options, QString *error)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
            QStringLiteral("Downloads the missing media of chosen chats of the account in DIR."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("the account folder"));
    const QCommandLineOption chat(
            QStringLiteral("chat"),
            QStringLiteral("a chat to download, by id or name (repeatable; default: all)"),
            QStringLiteral("CHAT"));
    const QCommandLineOption kinds(
            QStringLiteral("kinds"), QStringLiteral("kinds to download, comma separated"),
            QStringLiteral("media,doc,audio,voice"), QStringLiteral("media,doc,audio,voice"));
    const QCommandLineOption since(QStringLiteral("since"),
                                   QStringLiteral("only files sent in the last day, week, month "
                                                  "or year"),
                                   QStringLiteral("PERIOD"));
    parser.addOptions({chat, kinds, since});
    parser.process(args);
    if (parser.positionalArguments().size() != 1) {
        *error = QStringLiteral("give one account folder");
        return false;
    }
    options->folder = parser.positionalArguments().constFirst();
    options->chats = parser.values(chat);
    for (const QString &kind : parser.value(kinds).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        if (!kindCodes().contains(kind.trimmed())) {
            *error = QStringLiteral("unknown kind ") + kind
                    + QStringLiteral(" (media, doc, audio, voice)");
            return false;
        }
        options->kinds.insert(kind.trimmed());
    }
    if (options->kinds.isEmpty()) {
        *error = QStringLiteral("--kinds names no kind");
        return false;
    }
    if (parser.isSet(since)) {
        options->fileTimeType = sincePeriods().value(parser.value(since), -1);
        if (options->fileTimeType < 0) {
            *error = QStringLiteral("--since takes day, week, month or year");
            return false;
        }
    }
    return true;
}

// Runs the event loop until fn holds.
void waitFor(const std::function<bool()> &fn)
{
    while (!fn()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    }
}

QString seconds(qlonglong value)
{
    return value < 0 ? QStringLiteral("?") : QString::number(value) + QLatin1Char('s');
}

void printBar(const MediaSync &sync, QTextStream &out)
{
    const int filled = int(sync.progress() * BarWidth);
    out << "\r[" << QString(filled, QLatin1Char('#'))
        << QString(BarWidth - filled, QLatin1Char('.')) << "] " << sync.doneCount() << '/'
        << sync.totalCount() << "  " << QLocale::c().formattedDataSize(sync.remainingSize())
        << " left  " << seconds(sync.remainingTime()) << " left   ";
    out.flush();
}

// Ticks the chats to download; false with error when a chat is unknown or has nothing to offer.
bool chooseChats(MediaSync &sync, const AccountBase &account, const Options &options,
                 QString *error)
{
    if (options.chats.isEmpty()) {
        sync.selectAll(true);
    }
    for (const QString &chat : options.chats) {
        const QString dialogId = chatIdOf(account, chat, error);
        if (dialogId.isEmpty()) {
            return false;
        }
        MediaChatItem *found = nullptr;
        for (MediaChatItem *item : sync.syncChats()->items()) {
            if (item->dialogId() == dialogId) {
                found = item;
            }
        }
        if (!found) {
            *error = QStringLiteral("no chat ") + dialogId
                    + QStringLiteral(" with files to download");
            return false;
        }
        if (!found->isSelected()) {
            sync.updateSelected(found);
        }
    }
    for (MediaChatItem *item : sync.selectChats()->items()) {
        for (auto it = kindCodes().cbegin(); it != kindCodes().cend(); ++it) {
            if (!options.kinds.contains(it.key())) {
                sync.updateSubSelected(item, it.value());
            }
        }
    }
    return true;
}

int runSync(MediaMgr &hub, const Options &options, QTextStream &out)
{
    MediaSync &sync = *hub.mediaSync();
    sync.initModel(0, options.fileTimeType);
    waitFor([&] { return !sync.syncChats()->isQuerying(); });
    QString error;
    if (!chooseChats(sync, *hub.account(), options, &error)) {
        return fail(error);
    }
    sync.readySync();
    const int total = sync.totalCount();
    const qlonglong bytes = sync.remainingSize();
    if (total > 0) {
        const auto redraw = [&] {
            printBar(sync, out);
        };
        QObject::connect(&sync, &MediaSync::progressChanged, &sync, redraw);
        QObject::connect(&sync, &MediaSync::remainingTimeChanged, &sync, redraw);
        sync.download();
        waitFor([&] {
            return sync.syncState() == MediaSync::SYNC_FINISHED
                    || sync.syncState() == MediaSync::SYNC_FAILED;
        });
        printBar(sync, out);
        out << '\n';
    }
    const int failed = sync.failedCount();
    out << "synced " << sync.doneCount() << " of " << total << " files ("
        << QLocale::c().formattedDataSize(bytes) << " to fetch), " << failed << " failed\n";
    return failed == 0 && sync.syncState() != MediaSync::SYNC_FAILED ? 0 : 1;
}

} // namespace

int SyncCommand::run(const QStringList &args)
{
    Options options;
    QString error;
    if (!parse(args, &options, &error)) {
        return fail(error);
    }
    const std::unique_ptr<AccountBase> account = openAccountFolder(options.folder, &error);
    if (!account) {
        return fail(error);
    }
    QTextStream out(stdout);
    int code = 1;
    {
        MediaMgr hub(account.get());
        hub.initConnection();
        code = runSync(hub, options, out);
        hub.prepareToClearData(false);
        QCoreApplication::sendPostedEvents();
        hub.clearData(false);
    }
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return code;
}
