#pragma once

#include <exception>
#include <string>

namespace Rvl {

/// The text of the system's loader for a library that it could not load, with the library's name. `exception`
/// is what Boost.DLL threw, which wraps that text.
std::string loaderMessage(const std::exception& exception, const std::string& library);

} // namespace Rvl
