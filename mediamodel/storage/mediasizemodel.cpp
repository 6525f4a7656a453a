#include "mediasizemodel.h"

MediaSizeModel::MediaSizeModel(const QString &dialogId, QObject *parent)
    : MediaSizeBaseModel(parent)
    , m_dialogId(dialogId)
{ }
