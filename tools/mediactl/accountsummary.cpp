#include "accountsummary.h"

#include "accountbase.h"
#include "accountfolder.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "filestorage.h"
#include "resourcestorage.h"
#include "userstorageprovider.h"

#include <QLocale>
#include <QTextStream>

namespace AccountSummary {

static const int ShownTypes[] = {CONTENT_PHOTO, CONTENT_VIDEO, CONTENT_FILE,
                                 CONTENT_TEXT,  CONTENT_MUSIC, CONTENT_VOICE};

QString typeName(int contentType)
{
    switch (contentType) {
    case CONTENT_TEXT:
        return QStringLiteral("links");
    case CONTENT_PHOTO:
        return QStringLiteral("photos");
    case CONTENT_VOICE:
        return QStringLiteral("voice");
    case CONTENT_MUSIC:
        return QStringLiteral("music");
    case CONTENT_VIDEO:
        return QStringLiteral("videos");
    case CONTENT_FILE:
        return QStringLiteral("files");
    default:
        return QStringLiteral("other");
    }
}

QString formatBytes(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeTraditionalFormat);
}

// The id column is as wide as the longest id, so that the ids the other commands take are
// printed whole.
static void printHeader(QTextStream &out, int idWidth)
{
    out << qSetFieldWidth(idWidth) << Qt::left << "id" << qSetFieldWidth(18) << "chat"
        << qSetFieldWidth(8) << "kind" << Qt::right;
    for (const int type : ShownTypes) {
        out << qSetFieldWidth(9) << typeName(type);
    }
    out << qSetFieldWidth(0) << '\n';
}

static void printRow(QTextStream &out, int idWidth, const QString &id, const QString &name,
                     const QString &kind, const QMap<int, int> &counts)
{
    out << qSetFieldWidth(idWidth) << Qt::left << id << qSetFieldWidth(18) << name.left(17)
        << qSetFieldWidth(8) << kind << Qt::right;
    for (const int type : ShownTypes) {
        out << qSetFieldWidth(9) << counts.value(type);
    }
    out << qSetFieldWidth(0) << '\n';
}

static QString kindName(const DialogBase &dialog)
{
    switch (dialog.type()) {
    case DIALOG_GROUP:
        return QStringLiteral("group");
    case DIALOG_SYSTEM:
        return QStringLiteral("system");
    default:
        return QStringLiteral("private");
    }
}

bool print(const QString &folder, QTextStream &out, QString *error)
{
    const std::unique_ptr<AccountBase> account = openAccountFolder(folder, error);
    if (!account) {
        return false;
    }
    const QList<QSharedPointer<DialogBase>> dialogs = account->dialogs();
    out << "account " << account->userId() << " in " << account->folder() << ": " << dialogs.size()
        << " chats\n\n";
    qsizetype longestId = 2;
    for (const QSharedPointer<DialogBase> &dialog : dialogs) {
        longestId = qMax(longestId, dialog->dialogId().size());
    }
    const int idWidth = int(longestId) + 2;
    printHeader(out, idWidth);
    QMap<int, int> totals;
    for (const QSharedPointer<DialogBase> &dialog : dialogs) {
        const QMap<int, int> counts =
                account->storage()->resourceStorage()->countByType(dialog->dialogId());
        for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
            totals[it.key()] += it.value();
        }
        printRow(out, idWidth, dialog->dialogId(), dialog->name(), kindName(*dialog), counts);
    }
    printRow(out, idWidth, QString(), QStringLiteral("all chats"), QString(), totals);
    const storage::FileStorage::Totals files = account->storage()->fileStorage()->totals();
    out << '\n'
        << "files cached:         " << files.completeCount << " ("
        << formatBytes(files.completeBytes) << ")\n"
        << "files not downloaded: " << files.missingCount << " (" << formatBytes(files.missingBytes)
        << ")\n";
    return true;
}

void printReport(const SampleAccount::Report &report, QTextStream &out)
{
    out << report.dialogs << " chats, " << report.messages << " messages stored locally, "
        << report.serverOnlyMessages << " only on the server, " << report.combinedMessages
        << " combined, " << report.quotes << " quotes\n";
    for (const int type : ShownTypes) {
        out << "  " << typeName(type) << ": " << report.localMediaByType.value(type) << '\n';
    }
    out << "files cached: " << report.filesDownloaded << " (" << formatBytes(report.bytesOnDisk)
        << "), not downloaded: " << report.filesNotDownloaded << " ("
        << formatBytes(report.bytesNotDownloaded) << ")\n";
}

} // namespace AccountSummary
