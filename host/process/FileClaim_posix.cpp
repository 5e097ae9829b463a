#include "host/process/FileClaim.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace Rvl {

struct CFileClaim::Private
{
    int descriptor = -1;
    bool isGranted = true;
};

CFileClaim::CFileClaim(const std::filesystem::path& file) : private_(std::make_unique<Private>())
{
    private_->descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (private_->descriptor >= 0 && flock(private_->descriptor, LOCK_EX | LOCK_NB) != 0) {
        private_->isGranted = errno != EWOULDBLOCK;
    }
}

CFileClaim::~CFileClaim()
{
    if (private_->descriptor >= 0) {
        close(private_->descriptor);
    }
}

bool CFileClaim::isGranted() const
{
    return private_->isGranted;
}

} // namespace Rvl
