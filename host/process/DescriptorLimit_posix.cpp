#include "host/process/DescriptorLimit.h"

#include <sys/resource.h>

#include <fcntl.h>
#include <unistd.h>

#include <vector>

namespace Rvl {

void raiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit); // a failure is no error: small configurations run with the default
    }
}

unsigned long long descriptorLimit()
{
    rlimit limit{};
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY ? limit.rlim_cur : 0;
}

bool canOpenFiles(std::size_t count)
{
    // found out by opening them, as the system as a whole has a limit as well
    std::vector<int> opened;
    while (opened.size() < count) {
        const int file =
            opened.empty() ? open("/", O_RDONLY | O_CLOEXEC) : fcntl(opened.front(), F_DUPFD_CLOEXEC, 0);
        if (file < 0) {
            break;
        }
        opened.push_back(file);
    }
    for (const int file : opened) {
        close(file);
    }
    return opened.size() == count;
}

} // namespace Rvl
