#pragma once

#include "fileitem.h"

class MusicItem : public FileItem
{
public:
    MusicItem(const im::Message &message, FileManager *files, const ResolvedFiles &resolved);
    // Milliseconds.
    qint64 duration() const { return m_duration; }

private:
    qint64 m_duration = 0;
};
