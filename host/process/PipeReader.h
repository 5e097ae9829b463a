#pragma once

#include <filesystem>

namespace Rvl {

/// Whether a program reads the named pipe, so that opening it for writing does not wait. True on Windows,
/// where opening a pipe never waits.
bool hasReader(const std::filesystem::path& pipe);

} // namespace Rvl
