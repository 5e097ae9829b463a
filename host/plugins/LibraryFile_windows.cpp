#include "host/plugins/LibraryFile.h"

#include <windows.h>

namespace Rvl {

bool isTruncated(const std::filesystem::path&)
{
    return false;
}

bool isIn(const void* address, void* library)
{
    HMODULE holder = nullptr;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                  GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              reinterpret_cast<LPCWSTR>(address), &holder) != 0 &&
           holder == static_cast<HMODULE>(library);
}

} // namespace Rvl
