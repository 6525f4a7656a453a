#include "musicitem.h"

#include "im.pb.h"

MusicItem::MusicItem(const im::Message &message, FileManager *files)
    : FileItem(message, files)
    , m_duration(message.duration())
{ }
