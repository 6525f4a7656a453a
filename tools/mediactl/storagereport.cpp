#include "storagereport.h"

#include "accountbase.h"
#include "dialogbase.h"
#include "mediamgr.h"
#include "mediasizebasemodel.h"
#include "mediasizemodel.h"
#include "mediastoragemodel.h"

#include <QEventLoop>
#include <QTextStream>

namespace StorageReport {

Usage measure(MediaMgr &hub)
{
    MediaStorageModel *model = hub.mediaStorageModel();
    QEventLoop loop;
    QObject::connect(model, &MediaStorageModel::atQueryChanged, &loop, [model, &loop] {
        if (!model->atQuery()) {
            loop.quit();
        }
    });
    model->startLoading(true);
    if (model->atQuery()) {
        loop.exec();
    }
    Usage usage;
    for (int type = MediaStorageModel::DATA_IMAGE; type <= MediaStorageModel::DATA_MISCELLANEOUS;
         ++type) {
        const qint64 bytes = model->mediaTotalSizeModel()->sizeOf(type);
        if (bytes > 0) {
            usage.byType.append({type, bytes});
        }
    }
    for (const QString &dialogId : model->dialogIds()) {
        const QSharedPointer<DialogBase> dialog = hub.account()->dialog(dialogId);
        usage.byChat.append({dialogId, dialog ? dialog->name() : QString(),
                             model->dialogSizeModel(dialogId)->totalSize()});
    }
    usage.totalBytes = model->totalSize();
    return usage;
}

QString formatSize(qint64 bytes)
{
    static const char *const units[] = {"KB", "MB", "GB"};
    if (bytes < 1024) {
        return QStringLiteral("%1 B").arg(bytes);
    }
    double value = double(bytes) / 1024.0;
    int unit = 0;
    while (value >= 1024.0 && unit < 2) {
        value /= 1024.0;
        ++unit;
    }
    return QStringLiteral("%1 %2").arg(value, 0, 'f', 1).arg(QLatin1String(units[unit]));
}

QString typeName(int dataType)
{
    switch (dataType) {
    case MediaStorageModel::DATA_IMAGE:
        return QStringLiteral("images");
    case MediaStorageModel::DATA_VIDEO:
        return QStringLiteral("videos");
    case MediaStorageModel::DATA_FILE:
        return QStringLiteral("files");
    case MediaStorageModel::DATA_STICKER:
        return QStringLiteral("stickers");
    case MediaStorageModel::DATA_PHOTO:
        return QStringLiteral("avatars");
    case MediaStorageModel::DATA_MUSIC:
        return QStringLiteral("music");
    case MediaStorageModel::DATA_OTHER:
        return QStringLiteral("other");
    default:
        return QStringLiteral("voice and temporary");
    }
}

void print(const Usage &usage, QTextStream &out)
{
    out << "by type:\n";
    for (const auto &each : usage.byType) {
        out << "  " << qSetFieldWidth(30) << Qt::left << typeName(each.first) << qSetFieldWidth(10)
            << Qt::right << formatSize(each.second) << qSetFieldWidth(0) << '\n';
    }
    out << "by chat:\n";
    for (const ChatUsage &chat : usage.byChat) {
        const QString label = QStringLiteral("%1 (%2)").arg(chat.name, chat.dialogId);
        out << "  " << qSetFieldWidth(30) << Qt::left << label << qSetFieldWidth(10) << Qt::right
            << formatSize(chat.bytes) << qSetFieldWidth(0) << '\n';
    }
    out << "total: " << formatSize(usage.totalBytes) << '\n';
}

} // namespace StorageReport
