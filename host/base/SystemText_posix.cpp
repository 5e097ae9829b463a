#include "host/base/SystemText.h"

#include <cstdlib>
#include <system_error>

namespace Rvl {

std::filesystem::path pathOf(const std::string& text)
{
    return text;
}

std::string textOf(const std::filesystem::path& path)
{
    return path.string();
}

char pathListSeparator()
{
    return ':';
}

std::vector<std::string> programArguments(int argc, const char* const* argv)
{
    return {argv, argv + argc};
}

std::optional<std::string> environmentVariable(const std::string& name)
{
    const char* const value = std::getenv(name.c_str());
    return value ? std::optional<std::string>(value) : std::nullopt;
}

std::string systemMessage(unsigned long error)
{
    return std::system_category().message(static_cast<int>(error));
}

} // namespace Rvl
