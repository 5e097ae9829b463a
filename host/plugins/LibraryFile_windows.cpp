#include "host/plugins/LibraryFile.h"

#include <windows.h>

namespace Rvl {

bool isTruncated(const std::filesystem::path&)
{
    return false;
}

bool isLoaded(const std::filesystem::path& library)
{
    return GetModuleHandleW(library.filename().c_str()) != nullptr;
}

} // namespace Rvl
