#pragma once

#include <QMutex>
#include <QSet>
#include <QString>

// File and folder helpers shared by every library. Static, so both Util::deleteFile(path) and
// Util::instance()->deleteFile(path) read naturally; instance() exists for the latter form.
class Util
{
public:
    static Util *instance();

    // Deletes one file; a missing file is not an error. Returns whether the file is gone.
    static bool deleteFile(const QString &path);
    // Deletes a folder with everything below it; a missing folder is not an error.
    static bool removeLocalFolder(const QString &path);
    static QString separator();
    // Joins path parts with exactly one separator between them.
    static QString joinPath(const QString &folder, const QString &name);

    // A path in folder for a file called name that neither exists nor was handed out before by
    // this process, so two files of the same name saved in one batch land side by side:
    // "a.txt", "a (1).txt", "a (2).txt". A non-empty forcedSuffix replaces the name's extension.
    // Characters that cannot stand in a file name are replaced by '_'.
    static QString makeFilePath(const QString &folder, const QString &name,
                                const QString &forcedSuffix);
    // Forgets the paths handed out by makeFilePath, e.g. once a batch has been written.
    static void releaseFilePaths();

private:
    static QMutex s_reservedMutex;
    static QSet<QString> s_reserved; // guarded by s_reservedMutex
};
