#include "util.h"

#include "platformlog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <cerrno>
#include <unistd.h>

QMutex Util::s_reservedMutex;
QSet<QString> Util::s_reserved;

Util *Util::instance()
{
    static Util util;
    return &util;
}

bool Util::deleteFile(const QString &path)
{
    if (path.isEmpty()) {
        return false;
    }
    // One call whether or not the file is there: removals come by the thousand (a chat's media),
    // and most partial files they try are not there.
    if (::unlink(QFile::encodeName(path).constData()) == 0 || errno == ENOENT) {
        return true;
    }
    qCWarning(lcPlatform) << "cannot delete" << path << qt_error_string(errno);
    return false;
}

bool Util::removeLocalFolder(const QString &path)
{
    if (path.isEmpty()) {
        return false;
    }
    QDir dir(path);
    if (!dir.exists()) {
        return true;
    }
    if (!dir.removeRecursively()) {
        qCWarning(lcPlatform) << "cannot remove folder" << path;
        return false;
    }
    return true;
}

QString Util::separator()
{
    return QStringLiteral("/");
}

QString Util::joinPath(const QString &folder, const QString &name)
{
    if (folder.isEmpty()) {
        return name;
    }
    if (folder.endsWith(QLatin1Char('/'))) {
        return folder + name;
    }
    return folder + QLatin1Char('/') + name;
}

static QString sanitizedFileName(const QString &name)
{
    static const QRegularExpression forbidden(QStringLiteral("[/\\\\:*?\"<>|\\x00-\\x1f]"));
    QString clean = name;
    clean.replace(forbidden, QStringLiteral("_"));
    clean = clean.trimmed();
    if (clean.isEmpty() || clean == QLatin1String(".") || clean == QLatin1String("..")) {
        clean = QStringLiteral("file");
    }
    return clean;
}

QString Util::makeFilePath(const QString &folder, const QString &name, const QString &forcedSuffix)
{
    const QString clean = sanitizedFileName(name);
    const QFileInfo info(clean);
    // completeBaseName keeps "archive.tar" of "archive.tar.gz" together with its last suffix.
    QString base = info.completeBaseName();
    QString suffix = info.suffix();
    if (base.isEmpty()) { // ".bashrc": a name that is all extension
        base = clean;
        suffix.clear();
    }
    if (!forcedSuffix.isEmpty()) {
        suffix = forcedSuffix.startsWith(QLatin1Char('.')) ? forcedSuffix.mid(1) : forcedSuffix;
    }
    const QString dotSuffix = suffix.isEmpty() ? QString() : QLatin1Char('.') + suffix;

    QMutexLocker locker(&s_reservedMutex);
    for (int n = 0;; ++n) {
        const QString candidate = n == 0
                ? base + dotSuffix
                : base + QStringLiteral(" (") + QString::number(n) + QLatin1Char(')') + dotSuffix;
        const QString path = joinPath(folder, candidate);
        if (!QFileInfo::exists(path) && !s_reserved.contains(path)) {
            s_reserved.insert(path);
            return path;
        }
    }
}

void Util::releaseFilePath(const QString &path)
{
    QMutexLocker locker(&s_reservedMutex);
    s_reserved.remove(path);
}

void Util::releaseFilePaths()
{
    QMutexLocker locker(&s_reservedMutex);
    s_reserved.clear();
}
