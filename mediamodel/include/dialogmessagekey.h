#pragma once

#include "messagekey.h"

#include <QHashFunctions>
#include <QString>

// A message of one dialog, where entries of several dialogs are kept together.
struct DialogMessageKey
{
    DialogMessageKey() = default;
    DialogMessageKey(const QString &dialogId, const MessageKey &key)
        : dialogId(dialogId)
        , key(key)
    { }

    bool operator==(const DialogMessageKey &other) const
    {
        return key == other.key && dialogId == other.dialogId;
    }
    bool operator!=(const DialogMessageKey &other) const { return !(*this == other); }

    QString dialogId;
    MessageKey key;
};

inline size_t qHash(const DialogMessageKey &key, size_t seed = 0) noexcept
{
    return qHashMulti(seed, key.dialogId, key.key);
}
