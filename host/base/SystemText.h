#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// All text in the program is UTF-8. The system's own form of a path is another one on Windows, and what the
/// libraries there make of a path's bytes is not UTF-8 either, or only one way.
inline std::filesystem::path pathOf(const std::string& text)
{
#if defined(_WIN32)
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
#else
    return text;
#endif
}

/// The path as messages show it, so that pathOf() makes the same of it again.
inline std::string textOf(const std::filesystem::path& path)
{
#if defined(_WIN32)
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
#else
    return path.string();
#endif
}

/// The program's arguments, its name the first of them. What main() is given on Windows has lost all
/// characters that the user's code page lacks.
std::vector<std::string> programArguments(int argc, const char* const* argv);

/// A variable of the environment, unless it is not set.
std::optional<std::string> environmentVariable(const std::string& name);

#if defined(_WIN32)
/// What the system calls an error, without the sentence's end.
std::string systemMessage(unsigned long error);
#endif

} // namespace Rvl
