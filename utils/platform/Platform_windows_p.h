#pragma once

#include <string>

namespace Utils::Platform {

/// The text \p text, which is UTF-8, as Windows has it.
std::wstring toWide(const std::string &text);

/// Runs a command and waits for its end.
void run(const std::string &command);

} // namespace Utils::Platform
