#include "accountbase.h"
#include "accountfolder.h"
#include "accountsummary.h"
#include "cleancommand.h"
#include "gallerylisting.h"
#include "mediamgr.h"
#include "playcommand.h"
#include "sampleaccount.h"
#include "servecommand.h"
#include "storagereport.h"
#include "synccommand.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QTextStream>
#include <memory>

namespace {

int fail(const QString &message)
{
    QTextStream(stderr) << "mediactl: " << message << '\n';
    return 1;
}

// Every command works on one account folder, named first.
void describeFolderCommand(QCommandLineParser &parser, const QString &description)
{
    parser.setApplicationDescription(description);
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("the account folder"));
}

bool takeFolder(const QCommandLineParser &parser, QString *folder)
{
    if (parser.positionalArguments().size() != 1) {
        fail(QStringLiteral("give one account folder"));
        return false;
    }
    *folder = parser.positionalArguments().constFirst();
    return true;
}

int runInit(const QStringList &args)
{
    QCommandLineParser parser;
    describeFolderCommand(parser, QStringLiteral("Creates the sample account in DIR."));
    const QCommandLineOption seed(QStringLiteral("seed"), QStringLiteral("random seed"),
                                  QStringLiteral("N"), QStringLiteral("7"));
    const QCommandLineOption media(QStringLiteral("media"), QStringLiteral("number of media"),
                                   QStringLiteral("N"), QStringLiteral("600"));
    parser.addOption(seed);
    parser.addOption(media);
    parser.process(args);
    QString folder;
    if (!takeFolder(parser, &folder)) {
        return 1;
    }
    bool seedOk = false;
    bool mediaOk = false;
    SampleAccount::Options options;
    options.seed = parser.value(seed).toUInt(&seedOk);
    options.mediaCount = parser.value(media).toInt(&mediaOk);
    if (!seedOk || !mediaOk || options.mediaCount < 0 || options.mediaCount > 10'000'000) {
        return fail(QStringLiteral("--seed and --media take whole numbers (media up to 10000000)"));
    }
    SampleAccount::Report report;
    if (!SampleAccount::create(folder, options, &report)) {
        return fail(QStringLiteral("could not create the sample account in ") + folder);
    }
    QTextStream out(stdout);
    out << "created sample account " << SampleAccount::UserId << " in " << folder << '\n';
    AccountSummary::printReport(report, out);
    return 0;
}

int runSummary(const QStringList &args)
{
    QCommandLineParser parser;
    describeFolderCommand(
            parser,
            QStringLiteral("Prints the chats of an account, by id and name, and their media."));
    parser.process(args);
    QString folder;
    if (!takeFolder(parser, &folder)) {
        return 1;
    }
    QTextStream out(stdout);
    QString error;
    return AccountSummary::print(folder, out, &error) ? 0 : fail(error);
}

// Reads a whole number option; an absent option keeps value.
bool takeNumber(const QCommandLineParser &parser, const QCommandLineOption &option, qint64 *value)
{
    if (!parser.isSet(option)) {
        return true;
    }
    bool ok = false;
    *value = parser.value(option).toLongLong(&ok);
    return ok;
}

using Lister = std::function<bool(MediaMgr &, const QString &chatId,
                                  QList<GalleryListing::Listing> *, QString *)>;

// Opens the account in folder with its media hub, runs lister on the chat named by id or name
// and prints what it found: one list as it is, several grouped by list.
int printListings(const QString &folder, const QString &chat, bool json, const Lister &lister)
{
    QString error;
    const std::unique_ptr<AccountBase> account = openAccountFolder(folder, &error);
    if (!account) {
        return fail(error);
    }
    const QString chatId = chatIdOf(*account, chat, &error);
    if (chatId.isEmpty()) {
        return fail(error);
    }
    QList<GalleryListing::Listing> listings;
    bool ok = false;
    {
        MediaMgr hub(account.get());
        ok = lister(hub, chatId, &listings, &error);
        hub.prepareToClearData(false);
        hub.clearData(false);
    }
    // Released galleries and their messages are deleted through posted events.
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (!ok) {
        return fail(error);
    }
    QTextStream out(stdout);
    const bool grouped = listings.size() > 1;
    if (json) {
        const QJsonObject object = grouped ? GalleryListing::toJson(listings)
                                           : GalleryListing::toJson(listings.constFirst());
        out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
    } else if (grouped) {
        GalleryListing::printTables(listings, out);
    } else {
        GalleryListing::printTable(listings.constFirst(), out);
    }
    return 0;
}

QCommandLineOption typeOption(const QString &defaultText)
{
    return {QStringLiteral("type"),
            QStringLiteral("content type: 2 photos and videos, 6 files, 1 links, 4 music, 3 voice "
                           "(default: %1)")
                    .arg(defaultText),
            QStringLiteral("N")};
}

QCommandLineOption jsonOption()
{
    return {QStringLiteral("json"), QStringLiteral("print JSON")};
}

int runLs(const QStringList &args)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Prints a chat's typed list as the gallery "
                                                    "holds it after K pages."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("the account folder"));
    parser.addPositionalArgument(QStringLiteral("CHAT"), QStringLiteral("the chat's id or name"));
    const QCommandLineOption type = typeOption(QStringLiteral("2"));
    const QCommandLineOption pages(QStringLiteral("pages"), QStringLiteral("pages to load"),
                                   QStringLiteral("K"), QStringLiteral("1"));
    const QCommandLineOption json = jsonOption();
    parser.addOptions({type, pages, json});
    parser.process(args);
    const QStringList positional = parser.positionalArguments();
    qint64 typeValue = 2;
    qint64 pageCount = 1;
    if (positional.size() != 2) {
        return fail(QStringLiteral("give an account folder and a chat"));
    }
    if (!takeNumber(parser, type, &typeValue) || !takeNumber(parser, pages, &pageCount)
        || pageCount < 1 || pageCount > 1'000'000) {
        return fail(QStringLiteral("--type and --pages take whole numbers (pages from 1)"));
    }
    return printListings(positional.at(0), positional.at(1), parser.isSet(json),
                         [&](MediaMgr &hub, const QString &chatId,
                             QList<GalleryListing::Listing> *listings, QString *error) {
                             listings->append(GalleryListing::Listing());
                             return GalleryListing::listChat(hub, chatId, int(typeValue),
                                                             int(pageCount), &listings->last(),
                                                             error);
                         });
}

int runStorage(const QStringList &args)
{
    QCommandLineParser parser;
    describeFolderCommand(parser,
                          QStringLiteral("Prints what the media cache of an account takes "
                                         "on disk, by type and by chat."));
    parser.process(args);
    QString folder;
    if (!takeFolder(parser, &folder)) {
        return 1;
    }
    QString error;
    const std::unique_ptr<AccountBase> account = openAccountFolder(folder, &error);
    if (!account) {
        return fail(error);
    }
    StorageReport::Usage usage;
    {
        MediaMgr hub(account.get());
        usage = StorageReport::measure(hub);
        hub.prepareToClearData(false);
        hub.clearData(false);
    }
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QTextStream out(stdout);
    StorageReport::print(usage, out);
    return 0;
}

int runSearch(const QStringList &args)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Prints the hits of a media search."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("the account folder"));
    parser.addPositionalArgument(QStringLiteral("CHAT"), QStringLiteral("the chat's id or name"));
    parser.addPositionalArgument(QStringLiteral("KEYWORD"), QStringLiteral("words to find"));
    const QCommandLineOption type = typeOption(QStringLiteral("every list"));
    const QCommandLineOption sender(QStringLiteral("sender"), QStringLiteral("sender id"),
                                    QStringLiteral("ID"));
    const QCommandLineOption from(QStringLiteral("from"), QStringLiteral("from, ms since epoch"),
                                  QStringLiteral("MS"));
    const QCommandLineOption to(QStringLiteral("to"), QStringLiteral("to, ms since epoch"),
                                QStringLiteral("MS"));
    const QCommandLineOption global(QStringLiteral("global"), QStringLiteral("search every chat"));
    const QCommandLineOption json = jsonOption();
    parser.addOptions({type, sender, from, to, global, json});
    parser.process(args);
    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 3) {
        return fail(QStringLiteral("give an account folder, a chat and a keyword"));
    }
    GalleryListing::SearchOptions options;
    options.keyword = positional.at(2);
    options.global = parser.isSet(global);
    qint64 typeValue = 0;
    if (!takeNumber(parser, type, &typeValue) || !takeNumber(parser, sender, &options.senderId)
        || !takeNumber(parser, from, &options.from) || !takeNumber(parser, to, &options.to)) {
        return fail(QStringLiteral("--type, --sender, --from and --to take whole numbers"));
    }
    options.type = int(typeValue);
    // A search pages until the hits end; the bound only keeps a runaway search finite.
    constexpr int MaxSearchPages = 100'000;
    return printListings(positional.at(0), positional.at(1), parser.isSet(json),
                         [&](MediaMgr &hub, const QString &chatId,
                             QList<GalleryListing::Listing> *listings, QString *error) {
                             return GalleryListing::searchLists(hub, chatId, options,
                                                                MaxSearchPages, listings, error);
                         });
}

} // namespace

int main(int argc, char *argv[])
{
    // The sample account's documents are drawn with fonts, which takes a GUI application; a
    // headless one unless told otherwise.
    const bool init = argc > 1 && qstrcmp(argv[1], "init") == 0;
    if (init && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    const std::unique_ptr<QCoreApplication> app = init
            ? std::make_unique<QGuiApplication>(argc, argv)
            : std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("mediactl"));
    // Qt Multimedia's FFmpeg backend writes its own chatter as uncategorised debug lines; this
    // layer and the platform log through categories of their own.
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    QStringList args = QCoreApplication::arguments();
    const QString command = args.value(1);
    args.removeAt(1);
    if (command == QLatin1String("init")) {
        return runInit(args);
    }
    if (command == QLatin1String("summary")) {
        return runSummary(args);
    }
    if (command == QLatin1String("ls")) {
        return runLs(args);
    }
    if (command == QLatin1String("search")) {
        return runSearch(args);
    }
    if (command == QLatin1String("storage")) {
        return runStorage(args);
    }
    if (command == QLatin1String("serve")) {
        return ServeCommand::run(args);
    }
    if (command == QLatin1String("play")) {
        return PlayCommand::run(args);
    }
    if (command == QLatin1String("clean")) {
        return CleanCommand::run(args);
    }
    if (command == QLatin1String("sync")) {
        return SyncCommand::run(args);
    }
    QTextStream(stderr)
            << "usage: mediactl init DIR [--seed N] [--media N]\n"
               "       mediactl summary DIR\n"
               "       mediactl ls DIR CHAT [--type N] [--pages K] [--json]\n"
               "       mediactl search DIR CHAT KEYWORD [--type N] [--sender ID]"
               " [--from MS --to MS] [--global] [--json]\n"
               "       mediactl storage DIR\n"
               "       mediactl serve DIR FILE_ID\n"
               "       mediactl play DIR FILE_ID [--from SECONDS]\n"
               "       mediactl clean DIR [--max-size BYTES]\n"
               "       mediactl sync DIR [--chat CHAT ...] [--kinds media,doc,audio,voice]"
               " [--since day|week|month|year]\n";
    return 2;
}
