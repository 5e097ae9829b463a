#pragma once

#include <string>

namespace Rvl {

/// What stands in the configuration, in quotation marks.
inline std::string quoted(const std::string& text)
{
    return "\"" + text + "\"";
}

/// The name of the attribute or element at the end of a key's path.
inline std::string lastPart(const std::string& path)
{
    return path.substr(path.find_last_of('.') + 1);
}

} // namespace Rvl
