#pragma once

#include <cstddef>

namespace Rvl {

/// Raises this process's limit of open files to the most that the system allows (RLIMIT_NOFILE), usually far
/// above the default: every controller's event loop takes three. Does nothing on Windows, which has no such
/// limit.
void raiseDescriptorLimit();

/// How many files this process may have open at once; 0 if the system sets no limit.
unsigned long long descriptorLimit();

/// Whether this process can open `count` more files. Always true on Windows.
bool canOpenFiles(std::size_t count);

} // namespace Rvl
