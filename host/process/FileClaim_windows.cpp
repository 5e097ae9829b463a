#include "host/process/FileClaim.h"

#include <windows.h>

namespace Rvl {

struct CFileClaim::Private
{
    HANDLE handle = INVALID_HANDLE_VALUE;
    bool isGranted = true;
};

CFileClaim::CFileClaim(const std::filesystem::path& file) : private_(std::make_unique<Private>())
{
    private_->handle = CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                   OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    // Windows enforces locks on every reader and writer, so the locked byte is far beyond the end of any
    // record
    OVERLAPPED place{};
    place.OffsetHigh = 0x40000000;
    if (private_->handle != INVALID_HANDLE_VALUE &&
        !LockFileEx(private_->handle, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place)) {
        private_->isGranted = GetLastError() != ERROR_LOCK_VIOLATION;
    }
}

CFileClaim::~CFileClaim()
{
    if (private_->handle != INVALID_HANDLE_VALUE) {
        CloseHandle(private_->handle);
    }
}

bool CFileClaim::isGranted() const
{
    return private_->isGranted;
}

} // namespace Rvl
