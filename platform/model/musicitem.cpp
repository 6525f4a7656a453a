#include "musicitem.h"

#include "im.pb.h"

MusicItem::MusicItem(const im::Message &message, FileManager *files, const ResolvedFiles &resolved)
    : FileItem(message, files, resolved)
    , m_duration(message.duration())
    , m_title(QString::fromStdString(message.title()))
    , m_artist(QString::fromStdString(message.artist()))
{ }
