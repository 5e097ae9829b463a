#include "tests/support/HeldResources.h"

#if defined(_WIN32)
#include <windows.h>

#include <malloc.h>
#include <tlhelp32.h>
#else
#include <filesystem>
#include <iterator>
#include <malloc.h>
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
extern "C" std::size_t __sanitizer_get_current_allocated_bytes(); // gcc has it, but no header that says so
#endif

namespace Rvl::Test {

#if defined(_WIN32)

namespace {

std::int64_t threadsOfThisProcess()
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    std::int64_t count = 0;
    for (BOOL found = Thread32First(snapshot, &entry); found; found = Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == GetCurrentProcessId();
    }
    CloseHandle(snapshot);
    return count;
}

/// Walks the heap of malloc(); Wine lacks the functions that return the process's memory as a whole.
std::int64_t allocatedBytes()
{
    const auto heap = reinterpret_cast<HANDLE>(_get_heap_handle());
    std::int64_t sum = 0;
    HeapLock(heap);
    PROCESS_HEAP_ENTRY entry{};
    while (HeapWalk(heap, &entry)) {
        if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) {
            sum += entry.cbData;
        }
    }
    HeapUnlock(heap);
    return sum;
}

/// Tries each number that a handle may have, as Wine does not count them.
std::int64_t validHandles()
{
    std::int64_t count = 0;
    for (std::uintptr_t number = 4; number < 0x10000; number += 4) {
        DWORD flags = 0;
        count += GetHandleInformation(reinterpret_cast<HANDLE>(number), &flags) != 0;
    }
    return count;
}

} // namespace

SHeldResources SHeldResources::now()
{
    return {allocatedBytes(), threadsOfThisProcess(), validHandles()};
}

#else

namespace {

std::int64_t allocatedBytes()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return static_cast<std::int64_t>(__sanitizer_get_current_allocated_bytes());
#else
    const auto info = mallinfo2();
    return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
#endif
}

std::int64_t entriesOf(const char* folder)
{
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

} // namespace

SHeldResources SHeldResources::now()
{
    return {allocatedBytes(), entriesOf("/proc/self/task"), entriesOf("/proc/self/fd")};
}

#endif

} // namespace Rvl::Test
