#include "gallerysample.h"

#include "accountbase.h"
#include "contenttype.h"
#include "dialogbase.h"
#include "resourcestorage.h"
#include "sampleaccount.h"
#include "userstorageprovider.h"

#include <QDateTime>

namespace {

int photoRows(AccountBase &account, const QString &dialogId)
{
    storage::ResourceSearchInfo info;
    info.types = {CONTENT_PHOTO, CONTENT_VIDEO};
    info.count = 1000;
    return int(account.storage()->resourceStorage()->infosBefore(dialogId, info).size());
}

} // namespace

bool GallerySample::create(const QString &folder)
{
    SampleAccount::Options options;
    options.mediaCount = 120;
    options.now = QDateTime(QDate(2026, 5, 20), QTime(15, 30)).toMSecsSinceEpoch();
    if (!SampleAccount::create(folder, options, nullptr)) {
        return false;
    }
    AccountBase account(SampleAccount::UserId, folder);
    for (const QSharedPointer<DialogBase> &dialog : account.dialogs()) {
        const int photos = photoRows(account, dialog->dialogId());
        if (photos > photoChatMedia) {
            photoChatMedia = photos;
            photoChat = dialog->dialogId();
        } else if (photos == 0) {
            chatWithoutPhotos = dialog->dialogId();
        }
    }
    return photoChatMedia > 0 && !chatWithoutPhotos.isEmpty();
}
