#include "modelbaseutil.h"

#include "cachelayout.h"
#include "contenttype.h"

QString ModelBaseUtil::makeMediaPath(const QString &base, int category, int kind)
{
    return CacheLayout::mediaPath(base, category, kind);
}

QString ModelBaseUtil::getFileTypeString(int fileType)
{
    return CacheLayout::kindFolderName(fileType);
}

int ModelBaseUtil::getMsgTypeToFileType(int msgType)
{
    return CacheLayout::kindOfMessageType(msgType);
}

bool ModelBaseUtil::isNeedUploadType(int msgType)
{
    return msgType >= CONTENT_PHOTO && msgType <= CONTENT_FILE;
}
