#pragma once

#include <QStringList>

// `mediactl serve ACCOUNT_DIR FILE_ID`: prints the local stream URL of one file of an account and
// serves it until SIGINT or SIGTERM, so that a player outside the process can play a chat file,
// also while it downloads. Exits 0 after a clean shutdown, 1 when the account, the file or the
// server is not there.
class ServeCommand
{
public:
    // args: the program name followed by the command's arguments. Needs a QCoreApplication.
    static int run(const QStringList &args);
};
