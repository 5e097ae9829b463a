#include "host/process/DescriptorLimit.h"

namespace Rvl {

void raiseDescriptorLimit() {}

unsigned long long descriptorLimit()
{
    return 0;
}

bool canOpenFiles(std::size_t)
{
    return true;
}

} // namespace Rvl
