#pragma once

#include <QFile>
#include <QString>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

// A folder in which this process can neither add, remove nor rename an entry while the object
// lives, so that deleting a file in it fails. Permission bits do not bind root, so for root the
// folder is made immutable instead.
class ReadOnlyFolder
{
public:
    explicit ReadOnlyFolder(const QString &path)
        : m_path(path)
        , m_locked(setLocked(true))
    { }
    ~ReadOnlyFolder()
    {
        if (m_locked) {
            setLocked(false);
        }
    }
    ReadOnlyFolder(const ReadOnlyFolder &) = delete;
    ReadOnlyFolder &operator=(const ReadOnlyFolder &) = delete;

    bool isLocked() const { return m_locked; }

private:
    bool setLocked(bool locked) const
    {
        if (::geteuid() != 0) {
            const QFile::Permissions readable =
                    QFile::ReadOwner | QFile::ExeOwner | QFile::ReadUser | QFile::ExeUser;
            return QFile::setPermissions(
                    m_path, locked ? readable : readable | QFile::WriteOwner | QFile::WriteUser);
        }
        const int fd = ::open(QFile::encodeName(m_path).constData(), O_RDONLY | O_DIRECTORY);
        if (fd < 0) {
            return false;
        }
        int flags = 0;
        bool ok = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
        if (ok) {
            flags = locked ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
            ok = ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
        }
        ::close(fd);
        return ok;
    }

    const QString m_path;
    const bool m_locked;
};
