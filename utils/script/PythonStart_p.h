#pragma once

#include "data/String.h"

#include <chrono>

namespace Utils {

/// The home of Python, where its standard library is.
struct PythonHome
{
    Data::String folder;
    bool isArchive = false; ///< whether the library is in archive(), not in the folder itself

    Data::String archive() const; ///< the path of the file "python27.zip" in the folder
};

/// How long a start may take in the copy of the process in which it is tried.
extern std::chrono::milliseconds startTrialLimit;

/// Starts the interpreter with the library of \p home, which Py_SetPythonHome() has been told.
///
/// False when the library is missing or damaged, and no interpreter runs then. Python prints what
/// is damaged to the standard error. The first start of the process is tried in a copy of it
/// before, as a damaged library may end the process.
bool startPython(const PythonHome &home);

} // namespace Utils
