#include "tests/support/HeldFile_windows.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

HeldFile::HeldFile(const QString &path)
    : m_handle(CreateFileW(path.toStdWString().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr))
{}

HeldFile::~HeldFile()
{
    if (isHeld())
        CloseHandle(m_handle);
}

bool HeldFile::isHeld() const { return m_handle != INVALID_HANDLE_VALUE; }
