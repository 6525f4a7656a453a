#pragma once

#include <QDir>
#include <QFile>
#include <QList>
#include <QString>

#include <unistd.h>

// What another process uses, read from /proc while it runs: the same figures its own getrusage()
// and descriptor table give.
namespace ProcessUsage {

// CPU time (user and system) the process has used, in milliseconds; -1 when it cannot be read.
inline qint64 cpuMs(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly)) {
        return -1;
    }
    // The fields after the command name, which is in parentheses and may hold blanks.
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    const qint64 ticks = fields.value(11).toLongLong() + fields.value(12).toLongLong();
    return ticks * 1000 / ::sysconf(_SC_CLK_TCK);
}

// The descriptors the process holds open, and how many of them are sockets.
struct Descriptors
{
    int open = 0;
    int sockets = 0;
};

inline Descriptors descriptors(qint64 pid)
{
    Descriptors held;
    const QString folder = QStringLiteral("/proc/%1/fd").arg(pid);
    const QStringList names =
            QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        ++held.open;
        if (QFile::symLinkTarget(folder + QLatin1Char('/') + name)
                    .contains(QLatin1String("socket:"))) {
            ++held.sockets;
        }
    }
    return held;
}

} // namespace ProcessUsage
