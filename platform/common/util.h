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

    // A path in folder for a file called name that neither exists nor is held for a copy, so two
    // files of the same name saved in one batch land side by side: "a.txt", "a (1).txt",
    // "a (2).txt". The path is held until releaseFilePath(); FileManager::saveAsFile releases
    // its target when the copy ends. A non-empty forcedSuffix replaces the name's extension.
    // Characters that cannot stand in a file name are replaced by '_'.
    static QString makeFilePath(const QString &folder, const QString &name,
                                const QString &forcedSuffix);
    // Lets makeFilePath hand out path again once nothing is there: its copy is done or failed.
    static void releaseFilePath(const QString &path);
    // Forgets every path handed out by makeFilePath.
    static void releaseFilePaths();

private:
    static QMutex s_reservedMutex;
    static QSet<QString> s_reserved; // guarded by s_reservedMutex
};
