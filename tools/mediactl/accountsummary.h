#pragma once

#include "sampleaccount.h"

class QTextStream;

// Tables of what an account holds, for people at a terminal.
namespace AccountSummary {

// Chats, by id and name, with their media per type, then the bytes cached and not downloaded
// yet. False, with the reason in *error, when the folder holds no account it can use.
bool print(const QString &folder, QTextStream &out, QString *error);
void printReport(const SampleAccount::Report &report, QTextStream &out);
QString typeName(int contentType);
QString formatBytes(qint64 bytes);

} // namespace AccountSummary
