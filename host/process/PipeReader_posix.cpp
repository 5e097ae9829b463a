#include "host/process/PipeReader.h"

#include <fcntl.h>
#include <unistd.h>

namespace Rvl {

bool hasReader(const std::filesystem::path& pipe)
{
    const int descriptor = open(pipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    close(descriptor);
    return true;
}

} // namespace Rvl
