#pragma once

#include <QFile>
#include <QString>

#include <unistd.h>

#include <sys/fsuid.h>

/// While it exists, file permissions apply to this thread even when the program runs as root.
/// What is above \p folder must be open to everyone; the folder itself is opened here.
class OrdinaryUser
{
public:
    explicit OrdinaryUser(const QString &folder)
    {
        if (geteuid() != 0)
            return;
        QFile::setPermissions(folder, QFile::Permissions(0x7777));
        setfsuid(65534);
    }
    ~OrdinaryUser() { setfsuid(geteuid()); }

    OrdinaryUser(const OrdinaryUser &) = delete;
    OrdinaryUser &operator=(const OrdinaryUser &) = delete;
};
