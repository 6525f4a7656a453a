#include "imageitem.h"

#include "contenttype.h"
#include "im.pb.h"

ImageItem::ImageItem(const im::Message &message, FileManager *files, const ResolvedFiles &resolved)
    : FileItem(message, files, resolved)
    , m_livePhoto(resolveFile(message.live_photo(), CONTENT_VIDEO, files, resolved))
{ }
