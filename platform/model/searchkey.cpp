#include "searchkey.h"

#include <QDebug>

bool SearchKey::isEmpty() const
{
    return keyword.isEmpty() && senderIds.isEmpty() && startTime < 1 && endTime < 1;
}

bool SearchKey::operator==(const SearchKey &other) const
{
    return keyword == other.keyword && senderIds == other.senderIds && startTime == other.startTime
            && endTime == other.endTime && sourceDlgId == other.sourceDlgId
            && dialogIds == other.dialogIds;
}

QDebug operator<<(QDebug debug, const SearchKey &key)
{
    QDebugStateSaver saver(debug);
    debug.nospace() << "SearchKey(" << key.keyword << ", senders " << key.senderIds << ", "
                    << key.startTime << ".." << key.endTime << ')';
    return debug;
}
