#pragma once

#include <QStringList>

class QTextStream;

// `mediactl clean ACCOUNT_DIR [--max-size BYTES]`: runs the expiry of the account's media cache
// as the client does once a day, by the keep times saved in the account and the cache size limit
// of the application settings (or --max-size), with a progress bar on stderr and a summary of
// the files and bytes removed on stdout. The pass first reconciles the cache with its table and
// says what it found out of step. Exits 0 when the pass ran, 1 when the account is not there or
// cannot be used as it is, when a read the pass rests on failed (it then stops, deleting nothing
// more) or an argument is wrong.
class CleanCommand
{
public:
    // args: the program name followed by the command's arguments. Needs a QCoreApplication.
    static int run(const QStringList &args);
};
