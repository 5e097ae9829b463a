#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

// All text in the program is UTF-8. Windows' own functions take and return UTF-16, and its C functions the
// user's code page, which lacks most characters; these functions convert in one place.

/// The path that a UTF-8 text names.
std::filesystem::path pathOf(const std::string& text);

/// The path as messages show it: pathOf() of the result is the same path.
std::string textOf(const std::filesystem::path& path);

/// The character between the folders of a list such as the environment variable PATH.
char pathListSeparator();

/// The program's arguments, its name the first of them. On Windows `argv` lacks all characters that the
/// user's code page lacks, so that the system's own command line is read there.
std::vector<std::string> programArguments(int argc, const char* const* argv);

/// A variable of the environment; empty if it is not set.
std::optional<std::string> environmentVariable(const std::string& name);

/// The system's text for one of its error numbers (errno, or GetLastError() on Windows), without a full stop.
std::string systemMessage(unsigned long error);

} // namespace Rvl
