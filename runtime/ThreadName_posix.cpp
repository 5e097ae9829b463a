#include "runtime/ThreadName.h"

#include <pthread.h>

namespace Rvl {

void setThreadName(const std::string& name)
{
    constexpr std::size_t longest = 15; // longer names are refused as a whole
    pthread_setname_np(pthread_self(), name.substr(0, longest).c_str());
}

} // namespace Rvl
