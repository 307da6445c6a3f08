#pragma once

#include <string>

namespace Utils::Platform {

/// The text \p text, which is UTF-8, as Windows has it.
std::wstring toWide(const std::string &text);

/// The same of a path, which may be longer than 260 characters.
std::wstring toWidePath(const std::string &path);

/// The error number (errno) for the error code \p code of the system.
int errorNumber(unsigned long code);

/// Runs the program \p name of the system, such as "cmd.exe", by the command line \p command, and
/// waits for its end. True when its exit code is 0.
bool run(const wchar_t *name, const std::string &command);

} // namespace Utils::Platform
