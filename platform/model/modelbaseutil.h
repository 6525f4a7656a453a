#pragma once

#include <QString>

// Static helpers of the model library around message types and the cache layout.
class ModelBaseUtil
{
public:
    // The folder of one category and kind of cached media under base, ending with a separator.
    static QString makeMediaPath(const QString &base, int category, int kind);
    // The folder name of a cache kind.
    static QString getFileTypeString(int fileType);
    // The cache kind a message type's files are kept in.
    static int getMsgTypeToFileType(int msgType);
    // Whether messages of the type carry an uploaded file.
    static bool isNeedUploadType(int msgType);
};
