#include "voiceitem.h"

#include "im.pb.h"

VoiceItem::VoiceItem(const im::Message &message, FileManager *files, const ResolvedFiles &resolved)
    : FileItem(message, files, resolved)
    , m_duration(message.duration())
{ }
