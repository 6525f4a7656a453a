#include "servecommand.h"

#include "accountbase.h"
#include "accountfolder.h"
#include "accountmanager.h"
#include "filemanager.h"
#include "streamserver.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTcpSocket>
#include <QTextStream>
#include <QUrl>

#include <csignal>
#include <functional>
#include <unistd.h>

namespace {

// The write end of the pipe through which a signal handler wakes the event loop: a handler may
// only do async-signal-safe work, so it writes one byte and the loop does the rest.
int s_signalPipe[2] = {-1, -1};

void onTerminationSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(s_signalPipe[1], &byte, 1);
}

// Calls shutDown and quits the event loop on the first SIGINT or SIGTERM.
bool quitOnTerminationSignals(const std::function<void()> &shutDown)
{
    if (::pipe(s_signalPipe) != 0) {
        return false;
    }
    auto *notifier = new QSocketNotifier(s_signalPipe[0], QSocketNotifier::Read,
                                         QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier, shutDown] {
        notifier->setEnabled(false);
        shutDown();
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    return ::sigaction(SIGINT, &action, nullptr) == 0
            && ::sigaction(SIGTERM, &action, nullptr) == 0;
}

int fail(const QString &message)
{
    QTextStream(stderr) << "mediactl serve: " << message << '\n';
    return 1;
}

// The server stops listening 30 s after its last client leaves, and a URL holds only while it
// listens; a connection of the tool's own that never asks for anything keeps it listening, so the
// printed URL holds until the tool is stopped.
bool holdServerOpen(QTcpSocket &keeper, const QString &url)
{
    const QUrl parsed(url);
    keeper.connectToHost(parsed.host(), quint16(parsed.port()));
    return keeper.waitForConnected(10000);
}

} // namespace

int ServeCommand::run(const QStringList &args)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
            "Prints the stream URL of a file of the account in DIR and serves it until "
            "interrupted."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("the account folder"));
    parser.addPositionalArgument(QStringLiteral("FILE_ID"), QStringLiteral("the file"));
    parser.process(args);
    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 2) {
        return fail(QStringLiteral("give an account folder and a file id"));
    }
    const QString folder = positional.at(0);
    const QString fileId = positional.at(1);

    AccountManager *accounts = AccountManager::getInstance();
    QString error;
    AccountBase *account = loadAccountFolder(folder, &error);
    if (!account) {
        return fail(error);
    }
    const qint64 userId = account->userId();
    network::StreamServer *server = network::StreamServer::instance();
    QTcpSocket keeper;
    // The server goes while the event loop still runs: the network thread stops as it ends.
    const auto shutDown = [server, &keeper] {
        keeper.abort();
        server->release();
    };
    int exitCode = 0;
    if (!account->fileManager()->filePtrWithId(fileId, true)) {
        exitCode = fail(QStringLiteral("no file ") + fileId + QStringLiteral(" in ") + folder);
    } else if (!quitOnTerminationSignals(shutDown)) {
        exitCode = fail(QStringLiteral("cannot watch for SIGINT and SIGTERM"));
    } else {
        const QString url = server->getUrl(userId, fileId);
        if (url.isEmpty() || !holdServerOpen(keeper, url)) {
            exitCode = fail(QStringLiteral("the stream server cannot listen on 127.0.0.1"));
        } else {
            QTextStream(stdout) << url << Qt::endl;
            QCoreApplication::exec();
        }
    }
    shutDown();
    accounts->unloadAccount(userId);
    return exitCode;
}
