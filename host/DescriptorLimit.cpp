#include "host/DescriptorLimit.h"

#if !defined(_WIN32)
#include <sys/resource.h>
#endif

namespace Rvl {

#if defined(_WIN32)

void raiseDescriptorLimit() {}

unsigned long long descriptorLimit()
{
    return 0;
}

#else

void raiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit); // without it a smaller configuration still runs
    }
}

unsigned long long descriptorLimit()
{
    rlimit limit{};
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY ? limit.rlim_cur : 0;
}

#endif

} // namespace Rvl
