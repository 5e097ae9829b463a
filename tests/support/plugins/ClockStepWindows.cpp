/// Part of the tests' plug-in: once it is loaded, the calendar of the whole process goes by
/// RIVLINK_TEST_CLOCK_STEP_S seconds wrong as soon as the file exists that RIVLINK_TEST_CLOCK_STEP_WHEN
/// names. The clock that never steps is left alone. Nothing can be preloaded here, so this takes the place of
/// the system's function in the import table of every library that was loaded before.
#include <windows.h>

#include <psapi.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using CalendarFunction = void(WINAPI*)(FILETIME*);

CalendarFunction systemCalendar = nullptr;
long long step_100ns = 0;
std::string when;

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
    systemCalendar(time);
    if (isStepped()) {
        ULARGE_INTEGER value{};
        value.LowPart = time->dwLowDateTime;
        value.HighPart = time->dwHighDateTime;
        value.QuadPart += static_cast<ULONGLONG>(step_100ns);
        time->dwLowDateTime = value.LowPart;
        time->dwHighDateTime = value.HighPart;
    }
}

/// Replaces the address wherever the module's import tables hold it.
void replaceImport(HMODULE module)
{
    auto* const base = reinterpret_cast<unsigned char*>(module);
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (imports.Size == 0) {
        return;
    }
    for (auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
         library->FirstThunk != 0; ++library) {
        for (auto* entry = reinterpret_cast<ULONGLONG*>(base + library->FirstThunk); *entry != 0; ++entry) {
            if (*entry != reinterpret_cast<ULONGLONG>(systemCalendar)) {
                continue;
            }
            DWORD protection = 0;
            VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &protection);
            *entry = reinterpret_cast<ULONGLONG>(&steppedCalendar);
            VirtualProtect(entry, sizeof *entry, protection, &protection);
        }
    }
}

bool replaceImports()
{
    const char* const seconds = std::getenv("RIVLINK_TEST_CLOCK_STEP_S");
    const char* const file = std::getenv("RIVLINK_TEST_CLOCK_STEP_WHEN");
    if (!seconds || !file) {
        return false;
    }
    step_100ns = std::strtoll(seconds, nullptr, 10) * 10'000'000;
    when = file;
    const auto function = GetProcAddress(GetModuleHandleA("kernel32.dll"), "GetSystemTimeAsFileTime");
    std::memcpy(&systemCalendar, &function, sizeof systemCalendar);

    std::array<char, MAX_PATH> systemFolder{};
    GetSystemDirectoryA(systemFolder.data(), systemFolder.size());
    std::array<HMODULE, 512> modules{};
    DWORD size = 0;
    EnumProcessModules(GetCurrentProcess(), modules.data(), sizeof modules, &size);
    for (std::size_t i = 0; i < size / sizeof(HMODULE) && i < modules.size(); ++i) {
        std::array<char, MAX_PATH> name{};
        GetModuleFileNameA(modules[i], name.data(), name.size());
        if (_strnicmp(name.data(), systemFolder.data(), std::strlen(systemFolder.data())) != 0) {
            replaceImport(modules[i]);
        }
    }
    return true;
}

[[maybe_unused]] const bool replaced = replaceImports();

} // namespace
