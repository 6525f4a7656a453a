#pragma once

#include "storage_export.h"

#include <QList>
#include <QString>

namespace storage {

class Database;

// How long the media of one dialog is kept, overriding the account's default.
struct KeepMediaSettingInfo
{
    QString dialogId;
    int keepTime = 0; // a keep-time choice of the retention settings
};

// The keep-media table: one row per dialog with its own retention. Thread-safe; failures log one
// warning and return false or an empty result.
class STORAGE_EXPORT KeepMediaSettingStorage
{
public:
    explicit KeepMediaSettingStorage(Database *db);

    // Inserts or replaces by dialogId.
    bool save(const KeepMediaSettingInfo &info);
    bool remove(const QString &dialogId);
    // Every row, by dialogId. The expiry decides on these: ok tells a failed read from none.
    QList<KeepMediaSettingInfo> infos(bool *ok = nullptr);

private:
    Database *const m_db;
};

} // namespace storage
