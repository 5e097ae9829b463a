#pragma once

#include <sstream>
#include <string>

namespace Rvl::Test {

/// What the exception of that class says which `action` throws; "nothing was thrown" if it throws none.
/// Others pass.
template <class Exception, class Action> std::string messageOf(Action action)
{
    try {
        action();
    } catch (const Exception& exception) {
        return exception.what();
    }
    return "nothing was thrown";
}

/// An address as messages show it.
inline std::string hexAddress(const void* object)
{
    std::ostringstream text;
    text << std::hex << object;
    return text.str();
}

} // namespace Rvl::Test
