#include "imageitem.h"

#include "im.pb.h"

ImageItem::ImageItem(const im::Message &message, FileManager *files)
    : FileItem(message, files)
    , m_livePhoto(resolveFile(message.live_photo(), 5, files))
{ }
