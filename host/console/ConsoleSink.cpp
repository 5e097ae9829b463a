#include "host/console/ConsoleSink.h"

#include "host/process/Terminal.h"

namespace Rvl {

bool CConsoleSink::take(const SSnapshot& snapshot)
{
    // a table is drawn over the one before it, which so has to be there
    if (output_.isIdle()) {
        output_.write(terminal_ ? table_.draw(snapshot.controllers, terminalSize())
                                : stateLine(snapshot.controllers, snapshot.utc) + "\n");
    }
    return true;
}

} // namespace Rvl
