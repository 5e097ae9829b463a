#include "runtime/ThreadName.h"

#include <windows.h>

namespace Rvl {

void setThreadName(const std::string& name)
{
    // since Windows 10; looked up, as not every import library has it
    using Function = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    const auto function = kernel ? reinterpret_cast<Function>(reinterpret_cast<void*>(
                                       GetProcAddress(kernel, "SetThreadDescription")))
                                 : nullptr;
    if (!function) {
        return;
    }
    const int length = MultiByteToWideChar(CP_UTF8, 0, name.c_str(), -1, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length > 0 ? length : 1), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, name.c_str(), -1, wide.data(), length);
    function(GetCurrentThread(), wide.c_str());
}

} // namespace Rvl
