#pragma once

#include <QString>
#include <QVariantMap>

// One event of the audio engine, queued on the engine's thread and read by the player.
struct AudioEvents
{
    enum Type {
        None = 0, // the queue was empty
        ResetPlayer = 1,
        EndOfTrack = 2,
        Playing = 3,
        Paused = 4,
        Progress = 5,   // params "PlayTime" (ms), "Samples" (string list)
        Error = 9,      // message holds the cause
        Duration = 10,  // params "Duration" (ms)
        Underload = 11, // params "IsUnderload" (bool)
    };

    int type = None;
    QVariantMap params;
    QString message;
};
