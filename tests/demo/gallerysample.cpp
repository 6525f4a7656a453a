#include "gallerysample.h"

#include "accountbase.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "resourcestorage.h"
#include "sampleaccount.h"
#include "userstorageprovider.h"

#include <QDateTime>

namespace {

int rowsOf(AccountBase &account, const QString &dialogId, const QList<int> &types)
{
    storage::ResourceSearchInfo info;
    info.types = types;
    info.count = 1000;
    return int(account.storage()->resourceStorage()->infosBefore(dialogId, info).size());
}

// The chat with the most rows of types; empty when no chat has any.
QString chatWithMost(AccountBase &account, const QList<int> &types)
{
    QString best;
    int bestRows = 0;
    for (const QSharedPointer<DialogBase> &dialog : account.dialogs()) {
        const int rows = rowsOf(account, dialog->dialogId(), types);
        if (rows > bestRows) {
            bestRows = rows;
            best = dialog->dialogId();
        }
    }
    return best;
}

// The place of the newest video among the chat's photos and videos, newest first; -1 for none.
int firstVideoPosition(AccountBase &account, const QString &dialogId)
{
    storage::ResourceSearchInfo info;
    info.types = {CONTENT_PHOTO, CONTENT_VIDEO};
    info.count = 1000;
    const auto rows = account.storage()->resourceStorage()->infosBefore(dialogId, info);
    for (int i = 0; i < rows.size(); ++i) {
        if (rows.at(i).type == CONTENT_VIDEO) {
            return i;
        }
    }
    return -1;
}

} // namespace

bool GallerySample::create(const QString &folder)
{
    SampleAccount::Options options;
    // Enough photos that a search across chats pages on.
    options.mediaCount = 360;
    options.now = QDateTime(QDate(2026, 5, 20), QTime(15, 30)).toMSecsSinceEpoch();
    if (!SampleAccount::create(folder, options, nullptr)) {
        return false;
    }
    AccountBase account(SampleAccount::UserId, folder);
    for (const QSharedPointer<DialogBase> &dialog : account.dialogs()) {
        const int photos = rowsOf(account, dialog->dialogId(), {CONTENT_PHOTO, CONTENT_VIDEO});
        if (photos > photoChatMedia) {
            photoChatMedia = photos;
            photoChat = dialog->dialogId();
        } else if (photos == 0) {
            chatWithoutPhotos = dialog->dialogId();
        }
        const int video = firstVideoPosition(account, dialog->dialogId());
        if (video >= 0 && (videoPosition < 0 || video < videoPosition)) {
            videoPosition = video;
            videoChat = dialog->dialogId();
        }
    }
    fileChat = chatWithMost(account, {CONTENT_FILE});
    musicChat = chatWithMost(account, {CONTENT_MUSIC});
    return photoChatMedia > 0 && !chatWithoutPhotos.isEmpty() && !fileChat.isEmpty()
            && !musicChat.isEmpty() && !videoChat.isEmpty();
}
