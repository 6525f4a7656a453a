#include "messagekey.h"

#include <QDebug>
#include <QHashFunctions>

QString MessageKey::toString() const
{
    return QString::number(messageId) + QLatin1Char(':') + QString::number(subMsgId);
}

size_t qHash(const MessageKey &key, size_t seed) noexcept
{
    return qHashMulti(seed, key.messageId, key.subMsgId);
}

QDebug operator<<(QDebug debug, const MessageKey &key)
{
    QDebugStateSaver saver(debug);
    debug.nospace() << "MessageKey(" << key.messageId << ", " << key.subMsgId << ')';
    return debug;
}
