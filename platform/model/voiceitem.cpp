#include "voiceitem.h"

#include "im.pb.h"

VoiceItem::VoiceItem(const im::Message &message, FileManager *files)
    : FileItem(message, files)
    , m_duration(message.duration())
{ }
