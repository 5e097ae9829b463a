#include "host/process/PipeReader.h"

namespace Rvl {

bool hasReader(const std::filesystem::path&)
{
    return true;
}

} // namespace Rvl
