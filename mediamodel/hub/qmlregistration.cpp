#include "mediamgr.h"

#include "loading/mediaresource.h"
#include "loading/mediaresourcemgr.h"
#include "mediaaudio.h"
#include "mediacalender.h"
#include "mediachatitem.h"
#include "mediachatmodel.h"
#include "mediachatselectmodel.h"
#include "mediacontentitem.h"
#include "mediakeeplistmodel.h"
#include "mediakeepsetting.h"
#include "mediaplayer.h"
#include "mediapreview.h"
#include "mediasearch.h"
#include "mediaselector.h"
#include "mediasizebasemodel.h"
#include "mediasizeitem.h"
#include "mediasizemodel.h"
#include "mediastoragemodel.h"
#include "mediastorageviewmodel.h"
#include "mediasync.h"
#include "resourceitem.h"
#include "resourcemodel.h"

#include <QtQml>

// Every type QML meets through the hub, in one place, so that the hub itself needs to know only
// the objects it owns.
void MediaMgr::registerMetaType(const char *uri)
{
    qRegisterMetaType<ResourceModel *>("ResourceModel *");
    qRegisterMetaType<MediaResource *>("MediaResource *");
    qRegisterMetaType<MediaResourceMgr *>("MediaResourceMgr *");
    qRegisterMetaType<ResourceItem *>("ResourceItem *");
    qRegisterMetaType<MediaSearch *>("MediaSearch *");
    qRegisterMetaType<MediaAudio *>("MediaAudio *");
    qRegisterMetaType<MediaPlayer *>("MediaPlayer *");
    qRegisterMetaType<MediaMgr *>("MediaMgr *");
    qRegisterMetaType<MediaCalender *>("MediaCalender *");
    qRegisterMetaType<MediaPreview *>("MediaPreview *");
    qRegisterMetaType<MediaSelector *>("MediaSelector *");
    qRegisterMetaType<MediaStorageModel *>("MediaStorageModel *");
    qRegisterMetaType<MediaSizeItem *>("MediaSizeItem *");
    qRegisterMetaType<MediaSizeBaseModel *>("MediaSizeBaseModel *");
    qRegisterMetaType<MediaSizeModel *>("MediaSizeModel *");
    qRegisterMetaType<MediaKeepSetting *>("MediaKeepSetting *");
    qRegisterMetaType<MediaKeepListModel *>("MediaKeepListModel *");
    qRegisterMetaType<MediaStorageViewModel *>("MediaStorageViewModel *");
    qRegisterMetaType<MediaContentItem *>("MediaContentItem *");
    qRegisterMetaType<MediaChatItem *>("MediaChatItem *");
    qRegisterMetaType<MediaChatModel *>("MediaChatModel *");
    qRegisterMetaType<MediaChatSelectModel *>("MediaChatSelectModel *");
    qRegisterMetaType<MediaSync *>("MediaSync *");
    qRegisterMetaType<QList<ResourceItem *>>("ResourceItems");
    // Registered so that QML can read their enums; QML gets the objects from the hub.
    qmlRegisterUncreatableType<MediaStorageModel>(
            uri, 1, 0, "MediaStorageModel", QStringLiteral("MediaStorageModelis uncreatable"));
    qmlRegisterUncreatableType<MediaKeepSetting>(uri, 1, 0, "MediaKeepSetting",
                                                 QStringLiteral("MediaKeepSettingis uncreatable"));
}
