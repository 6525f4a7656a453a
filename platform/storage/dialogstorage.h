#pragma once

#include "storage_export.h"

#include <QList>
#include <QString>

namespace storage {

class Database;

// One chat of the account.
struct DialogRecord
{
    QString dialogId;
    QString name;
    int type = 0; // 0 private, 1 group, 2 system (no media)
    bool isGroup = false;
    qint64 firstVisibleMsgId = 0; // messages below it are hidden; 0 shows all
    qint64 lastActiveTime = 0;    // ms since epoch
    bool canSearchRemote = true;
    bool hasRemoteHistory = true;
};

// The dialog table, primary key dialogId. Thread-safe; failures log one warning and return false
// or an empty result.
class STORAGE_EXPORT DialogStorage
{
public:
    explicit DialogStorage(Database *db);

    // Inserts or replaces by dialogId, all records in one transaction.
    bool save(const QList<DialogRecord> &records);
    // Every dialog, most recently active first.
    QList<DialogRecord> dialogs(bool *ok = nullptr);
    // The record of dialogId; its dialogId is empty when the dialog is unknown.
    DialogRecord dialog(const QString &dialogId);
    bool remove(const QString &dialogId);

private:
    Database *const m_db;
};

} // namespace storage
