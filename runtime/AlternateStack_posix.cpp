#include "runtime/AlternateStack.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <new>

namespace Rvl {

namespace {

/// What a handler needs beyond the registers that the system saves.
constexpr long handlerSize = 32768;

std::size_t stackSize()
{
#if defined(_SC_MINSIGSTKSZ)
    const long registers = std::max(sysconf(_SC_MINSIGSTKSZ), 0L);
#else
    const long registers = 0;
#endif
    return static_cast<std::size_t>(registers + handlerSize);
}

} // namespace

CAlternateStack::CAlternateStack() noexcept
{
    stack_t present = {};
    if (sigaltstack(nullptr, &present) != 0 || !(present.ss_flags & SS_DISABLE)) {
        return;
    }
    const std::size_t size = stackSize();
    memory_.reset(new (std::nothrow) std::byte[size]); // not touched before it is used
    if (memory_) {
        stack_t stack = {};
        stack.ss_sp = memory_.get();
        stack.ss_size = size;
        sigaltstack(&stack, nullptr);
    }
}

CAlternateStack::~CAlternateStack()
{
    if (memory_) {
        stack_t none = {};
        none.ss_flags = SS_DISABLE;
        sigaltstack(&none, nullptr);
    }
}

} // namespace Rvl
