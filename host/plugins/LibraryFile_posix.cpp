#include "host/plugins/LibraryFile.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <cstring>
#include <fstream>
#include <system_error>

namespace Rvl {

namespace {

/// Reads an object at a position of a file.
template <class T> bool readAt(std::ifstream& file, std::uint64_t position, T& object)
{
    file.seekg(static_cast<std::streamoff>(position));
    return static_cast<bool>(file.read(reinterpret_cast<char*>(&object), sizeof(T)));
}

} // namespace

bool isTruncated(const std::filesystem::path& library)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(library, error);
    std::ifstream file(library, std::ios::binary);
    Elf64_Ehdr header{};
    if (error || !readAt(file, 0, header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64) {
        return false; // for the loader to refuse
    }
    for (unsigned index = 0; index < header.e_phnum; ++index) {
        Elf64_Phdr segment{};
        if (!readAt(file, header.e_phoff + index * std::uint64_t{header.e_phentsize}, segment)) {
            return true;
        }
        if (segment.p_type == PT_LOAD &&
            (segment.p_offset > size || segment.p_filesz > size - segment.p_offset)) {
            return true;
        }
    }
    return false;
}

bool isIn(const void* address, void* library)
{
    Dl_info ignored{};
    link_map* holder = nullptr;
    link_map* of = nullptr;
    return dladdr1(address, &ignored, reinterpret_cast<void**>(&holder), RTLD_DL_LINKMAP) != 0 &&
           dlinfo(library, RTLD_DI_LINKMAP, &of) == 0 && holder == of;
}

} // namespace Rvl
