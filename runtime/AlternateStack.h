#pragma once

#include "runtime/Export.h"

#include <cstddef>
#include <memory>

namespace Rvl {

/// Gives the calling thread a stack for signal handlers for as long as the object lives, so that a handler
/// can run once the thread's own stack is used up. Keeps one that the thread has already. To be destroyed on
/// the same thread. Without effect on Windows, and where there is no memory for it.
class RIVLINK_RUNTIME_EXPORT CAlternateStack
{
public:
    CAlternateStack() noexcept;
    ~CAlternateStack();
    CAlternateStack(const CAlternateStack&) = delete;
    CAlternateStack& operator=(const CAlternateStack&) = delete;

private:
    std::unique_ptr<std::byte[]> memory_;
};

} // namespace Rvl
