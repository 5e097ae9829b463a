#pragma once

#include "host/console/LiveTable.h"
#include "host/process/BackgroundOutput.h"
#include "host/session/Snapshot.h"

namespace Rvl {

/// Shows snapshots on the console: as a table that stays in its place on a terminal, and as a line each
/// elsewhere. A snapshot is left out while the one before it has not been written.
class CConsoleSink : public ISnapshotSink
{
public:
    CConsoleSink(CBackgroundOutput& output, bool terminal) : output_(output), terminal_(terminal) {}

    std::chrono::milliseconds interval() const override
    {
        return std::chrono::milliseconds(terminal_ ? 500 : 1000);
    }
    bool take(const SSnapshot& snapshot) override;

private:
    CBackgroundOutput& output_;
    const bool terminal_;
    CLiveTable table_;
};

} // namespace Rvl
