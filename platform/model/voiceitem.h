#pragma once

#include "fileitem.h"

class VoiceItem : public FileItem
{
public:
    VoiceItem(const im::Message &message, FileManager *files, const ResolvedFiles &resolved);
    // Milliseconds.
    qint64 duration() const { return m_duration; }

private:
    qint64 m_duration = 0;
};
