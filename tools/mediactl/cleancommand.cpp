#include "cleancommand.h"

#include "accountbase.h"
#include "accountfolder.h"
#include "accountsummary.h"
#include "mediaexpiry.h"
#include "mediakeepsetting.h"
#include "mediamgr.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QTextStream>

namespace {

constexpr int BarWidth = 30;

int fail(const QString &message)
{
    QTextStream(stderr) << "mediactl clean: " << message << '\n';
    return 1;
}

QString keepTimeText(int keepTime)
{
    switch (keepTime) {
    case MediaKeepSetting::FOREVER:
        return QStringLiteral("for ever");
    case MediaKeepSetting::WINDOW_LOSES_FOCUS:
        return QStringLiteral("until focus loss");
    default:
        return QStringLiteral("%1 days").arg(keepTime);
    }
}

// One line redrawn in place: the stage, a bar and the counts. Returns whether the line is
// finished.
bool drawProgress(QTextStream &err, const MediaExpiry::Progress &progress)
{
    const bool bySize = progress.stage == MediaExpiry::SizeStage;
    const qint64 total = qMax<qint64>(progress.total, 1);
    const int filled = int(qMin<qint64>(BarWidth, progress.done * BarWidth / total));
    err << '\r' << (bySize ? "size " : "age  ") << '[' << QString(filled, QLatin1Char('#'))
        << QString(BarWidth - filled, QLatin1Char(' ')) << "] " << progress.done << '/'
        << progress.total << (bySize ? " bytes" : " rows") << "   ";
    const bool finished = progress.done >= progress.total;
    if (finished) {
        err << '\n';
    }
    err.flush();
    return finished;
}

void printLimits(QTextStream &out, const MediaKeepSetting &setting,
                 const MediaExpiry::Limits &limits)
{
    out << "keep media: private chats " << keepTimeText(setting.privateKeepTime()) << ", groups "
        << keepTimeText(setting.groupKeepTime()) << ", "
        << setting.privateDialogs().size() + setting.groupDialogs().size()
        << " chats with their own\n";
    out << "cut-off: "
        << (limits.cutOff >= 1 ? QDateTime::fromMSecsSinceEpoch(limits.cutOff).toString(Qt::ISODate)
                               : QStringLiteral("none"))
        << ", size limit: "
        << (limits.sizeLimit >= 1 ? AccountSummary::formatBytes(limits.sizeLimit)
                                  : QStringLiteral("none"))
        << '\n';
    out.flush();
}

// What the reconciliation of the cache with its table found out of step, when anything.
void printReconciliation(QTextStream &out, const FileDataMgr::Reconciliation &reconciled)
{
    if (reconciled.adopted + reconciled.removed + reconciled.droppedRows == 0) {
        return;
    }
    out << "reconciled the cache with its table: " << reconciled.adopted << " files recorded, "
        << reconciled.removed << " stray files deleted ("
        << AccountSummary::formatBytes(reconciled.removedBytes) << "), " << reconciled.droppedRows
        << " rows of missing files dropped\n";
}

} // namespace

int CleanCommand::run(const QStringList &args)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Deletes the cached media the account's keep "
                                                    "times and the cache size limit let go."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("the account folder"));
    const QCommandLineOption maxSize(QStringLiteral("max-size"),
                                     QStringLiteral("cache size limit in bytes (0: none)"),
                                     QStringLiteral("BYTES"));
    parser.addOption(maxSize);
    parser.process(args);
    if (parser.positionalArguments().size() != 1) {
        return fail(QStringLiteral("give one account folder"));
    }
    const QString folder = parser.positionalArguments().constFirst();
    qint64 sizeLimit = -1;
    if (parser.isSet(maxSize)) {
        bool ok = false;
        sizeLimit = parser.value(maxSize).toLongLong(&ok);
        if (!ok || sizeLimit < 0) {
            return fail(QStringLiteral("--max-size takes a whole number of bytes"));
        }
    }
    QString error;
    const std::unique_ptr<AccountBase> account = openAccountFolder(folder, &error);
    if (!account) {
        return fail(error);
    }

    QTextStream out(stdout);
    QTextStream err(stderr);
    MediaExpiry::Summary summary;
    {
        MediaMgr hub(account.get());
        hub.loadLocalData(false);
        MediaExpiry::Limits limits =
                MediaExpiry::limitsAt(hub.cacheContext(), account->currentTime());
        if (sizeLimit >= 0) {
            limits.sizeLimit = sizeLimit;
        }
        printLimits(out, *hub.mediaKeepSetting(), limits);
        MediaExpiry expiry(hub.cacheContext(), limits);
        // A pass stopped short of a stage's total leaves its line open.
        bool lineOpen = false;
        expiry.setProgress([&err, &lineOpen](const MediaExpiry::Progress &p) {
            lineOpen = !drawProgress(err, p);
        });
        summary = expiry.run();
        if (lineOpen) {
            err << '\n';
        }
        hub.prepareToClearData(false);
        hub.clearData(false);
    }
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    printReconciliation(out, summary.reconciled);
    out << "removed " << summary.files << " files, " << summary.bytes << " bytes ("
        << AccountSummary::formatBytes(summary.bytes) << ")\n";
    out.flush();
    if (summary.bFailed) {
        return fail(QStringLiteral("stopped: the account's database could not be read; nothing "
                                   "more was deleted"));
    }
    return 0;
}
