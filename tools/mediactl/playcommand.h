#pragma once

#include <QStringList>

// `mediactl play ACCOUNT_DIR FILE_ID [--from SECONDS]`: plays the sound of a voice, music or
// video file of an account through the library's MediaPlayer, as the gallery does: from the local
// file when it is complete, else from the stream URL while the file downloads. Prints one
// progress line that updates in place (position / duration, downloaded share). Exits 0 when the
// track ends, 1 with a message on an error (unknown file, a file that is not sound or video, no
// audio output, a track the engine cannot play).
class PlayCommand
{
public:
    // args: the program name followed by the command's arguments. Needs a QCoreApplication.
    static int run(const QStringList &args);
};
