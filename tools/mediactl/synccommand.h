#pragma once

#include <QStringList>

// `mediactl sync ACCOUNT_DIR [--chat ID ...] [--kinds media,doc,audio,voice]
// [--since day|week|month|year]`: downloads every missing file of the chosen kinds of the chosen
// chats (all chats with something to fetch when no --chat is given), showing a progress bar with
// the files done, the bytes and the time left, and ends with a summary. Exits 0 when every file
// arrived, 1 when some failed or the arguments, the account or a chat are not right.
class SyncCommand
{
public:
    // args: the program name followed by the command's arguments. Needs a QCoreApplication.
    static int run(const QStringList &args);
};
