/// Part of the tests' plug-in: once it is loaded, the calendar of the whole process goes by
/// RIVLINK_TEST_CLOCK_STEP_S seconds wrong as soon as the file exists that RIVLINK_TEST_CLOCK_STEP_WHEN
/// names. The clock that never steps is left alone. Nothing can be preloaded here, so the system's functions
/// themselves are made to begin with a jump to this one: libraries have looked up the finer of the two by its
/// name before, past any import table, and a calendar that only some of them see set is not what is meant.
#include <windows.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using SystemTime = LONG(WINAPI*)(LARGE_INTEGER*);

/// What both of the system's functions ask in the end.
SystemTime systemTime = nullptr;
LONGLONG step_100ns = 0;
std::string when;

template <typename T> T functionOf(const char* library, const char* name)
{
    const auto function = GetProcAddress(GetModuleHandleA(library), name);
    T result = nullptr;
    static_assert(sizeof result == sizeof function);
    std::memcpy(&result, &function, sizeof result);
    return result;
}

bool isStepped()
{
    static std::atomic<bool> stepped{false};
    if (!stepped && GetFileAttributesA(when.c_str()) != INVALID_FILE_ATTRIBUTES) {
        stepped = true;
    }
    return stepped;
}

void WINAPI steppedCalendar(FILETIME* time)
{
    LARGE_INTEGER value{};
    systemTime(&value);
    if (isStepped()) {
        value.QuadPart += step_100ns;
    }
    time->dwLowDateTime = value.LowPart;
    time->dwHighDateTime = static_cast<DWORD>(value.HighPart);
}

void redirect(unsigned char* function)
{
    // for good: the plug-in may be unloaded, and the process reads the time until its end
    HMODULE self = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<const char*>(reinterpret_cast<std::uintptr_t>(&steppedCalendar)),
                       &self);
    // mov rax, address; jmp rax
    std::array<unsigned char, 12> jump{0x48, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xe0};
    const auto address = reinterpret_cast<std::uintptr_t>(&steppedCalendar);
    std::memcpy(jump.data() + 2, &address, sizeof address);
    DWORD protection = 0;
    VirtualProtect(function, jump.size(), PAGE_EXECUTE_READWRITE, &protection);
    std::memcpy(function, jump.data(), jump.size());
    VirtualProtect(function, jump.size(), protection, &protection);
    FlushInstructionCache(GetCurrentProcess(), function, jump.size());
}

bool redirectCalendar()
{
    const char* const seconds = std::getenv("RIVLINK_TEST_CLOCK_STEP_S");
    const char* const file = std::getenv("RIVLINK_TEST_CLOCK_STEP_WHEN");
    if (!seconds || !file) {
        return false;
    }
    step_100ns = std::strtoll(seconds, nullptr, 10) * 10'000'000;
    when = file;
    systemTime = functionOf<SystemTime>("ntdll.dll", "NtQuerySystemTime");
    // kernel32's functions of these names do no more than jump to these, too short for another jump
    for (const char* name : {"GetSystemTimeAsFileTime", "GetSystemTimePreciseAsFileTime"}) {
        redirect(functionOf<unsigned char*>("kernelbase.dll", name));
    }
    return true;
}

[[maybe_unused]] const bool redirected = redirectCalendar();

} // namespace
