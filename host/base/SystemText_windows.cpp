#include "host/base/SystemText.h"

#include <cstdlib>
#include <iterator>
#include <memory>

#include <windows.h>

#include <shellapi.h>

namespace Rvl {

namespace {

/// Half of a pair of surrogates, which UTF-8 cannot represent, becomes the replacement character.
std::string utf8(const wchar_t* text)
{
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), size, nullptr, nullptr);
    result.resize(result.empty() ? 0 : result.size() - 1); // without the end of the text
    return result;
}

} // namespace

std::filesystem::path pathOf(const std::string& text)
{
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

std::string textOf(const std::filesystem::path& path)
{
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

char pathListSeparator()
{
    return ';';
}

std::vector<std::string> programArguments(int argc, const char* const* argv)
{
    int count = 0;
    const std::unique_ptr<LPWSTR, decltype(&LocalFree)> arguments(
        CommandLineToArgvW(GetCommandLineW(), &count), &LocalFree);
    if (!arguments) {
        return {argv, argv + argc};
    }
    std::vector<std::string> result;
    for (int index = 0; index < count; ++index) {
        result.push_back(utf8(arguments.get()[index]));
    }
    return result;
}

std::optional<std::string> environmentVariable(const std::string& name)
{
    const wchar_t* const value = _wgetenv(pathOf(name).c_str());
    return value ? std::optional(utf8(value)) : std::nullopt;
}

std::string systemMessage(unsigned long error)
{
    wchar_t text[1024] = {};
    if (FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, text,
                       static_cast<DWORD>(std::size(text)), nullptr) == 0) {
        return "Windows error " + std::to_string(error);
    }
    std::string message = utf8(text);
    message.erase(message.find_last_not_of(".\r\n ") + 1);
    return message;
}

} // namespace Rvl
