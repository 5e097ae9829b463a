#pragma once

#include <cstdint>

namespace Rvl::Test {

/// What this process holds at the moment.
struct SHeldResources
{
    std::int64_t memory = 0; ///< bytes that were allocated and not freed
    std::int64_t threads = 0;
    std::int64_t handles = 0; ///< open files and, on Windows, every other handle

    static SHeldResources now();
};

} // namespace Rvl::Test
