#pragma once

#include <filesystem>

namespace Rvl {

/// Whether a library's file ends before what its headers announce: to load it would end the process, by a bus
/// error. False for what is no library, and on Windows, where the loader itself looks.
bool isTruncated(const std::filesystem::path& library);

/// Whether an address lies in the code or the data of a library, which is given by its handle for the
/// system's loader.
bool isIn(const void* address, void* library);

} // namespace Rvl
