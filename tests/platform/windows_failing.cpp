#include "utils/files/File.h"

/// Whether an operation of the library, which the calling thread begins here, fails with a reason.
extern "C" __declspec(dllexport) bool failingOperation()
{
    return !Utils::File::createDir(QString(QChar::Null)) && !Utils::File::lastError().isEmpty();
}
