#pragma once

#include <cstddef>

namespace Rvl {

/// Lets this process open as many files at once as the system allows it at most, which is usually far more
/// than a process may open without asking: every controller's event loop takes three. Nothing needs to be
/// asked for on Windows.
void raiseDescriptorLimit();

/// How many files this process may open at once; 0 if the system sets no such limit.
unsigned long long descriptorLimit();

/// Whether this process may open so many files more. Always true on Windows.
bool canOpenFiles(std::size_t count);

} // namespace Rvl
