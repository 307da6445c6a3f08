#pragma once

#include "examples/console/Output.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#ifndef O_BINARY
#define O_BINARY 0
#endif

/// While it exists, standard output goes to a file.
class Captured
{
public:
    Captured()
    {
        std::fflush(stdout);
        m_original = dup(STDOUT_FILENO);
        const QByteArray path = QFile::encodeName(m_folder.filePath("output"));
        const int file = open(path.constData(), O_CREAT | O_RDWR | O_TRUNC | O_BINARY, 0600);
        dup2(file, STDOUT_FILENO);
        close(file);
    }
    ~Captured() { finish(); }

    Captured(const Captured &) = delete;
    Captured &operator=(const Captured &) = delete;

    QString finish()
    {
        if (m_original >= 0) {
            Kelm::flushOutput();
            dup2(m_original, STDOUT_FILENO);
            close(m_original);
            m_original = -1;
        }
        QFile file(m_folder.filePath("output"));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

private:
    QTemporaryDir m_folder;
    int m_original = -1;
};
