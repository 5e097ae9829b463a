#pragma once

#include <filesystem>

namespace Rvl {

/// Whether a library's file ends before what its headers announce: to load it would end the process, by a bus
/// error. False for what is no library, and on Windows, where the loader itself looks.
bool isTruncated(const std::filesystem::path& library);

/// Whether the library is in the process already, as another one links it.
bool isLoaded(const std::filesystem::path& library);

} // namespace Rvl
