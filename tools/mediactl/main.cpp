#include "accountsummary.h"
#include "sampleaccount.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

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
    describeFolderCommand(parser, QStringLiteral("Prints the chats and media of an account."));
    parser.process(args);
    QString folder;
    if (!takeFolder(parser, &folder)) {
        return 1;
    }
    QTextStream out(stdout);
    return AccountSummary::print(folder, out) ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("mediactl"));
    QStringList args = app.arguments();
    const QString command = args.value(1);
    args.removeAt(1);
    if (command == QLatin1String("init")) {
        return runInit(args);
    }
    if (command == QLatin1String("summary")) {
        return runSummary(args);
    }
    QTextStream(stderr) << "usage: mediactl init DIR [--seed N] [--media N]\n"
                           "       mediactl summary DIR\n";
    return 2;
}
