#pragma once

#include <cstddef>
#include <cstring>

namespace Rvl::Test {

/// The slot of a virtual operation in its class's table of virtual operations, 0 being the first. Reads the
/// pointer to member as the Itanium C++ ABI lays it out (gcc, clang, mingw): 1 + the offset in bytes.
template <class MemberFunction> std::size_t virtualSlot(MemberFunction function)
{
    std::size_t offset = 0;
    std::memcpy(&offset, &function, sizeof offset);
    return (offset - 1) / sizeof(void*);
}

} // namespace Rvl::Test
