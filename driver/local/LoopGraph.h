#pragma once

#include "common/LoopGraph.h"
#include "driver/local/Export.h"
#include "driver/local/LoopMonitor.h"

#include <memory>
#include <vector>

namespace Rvl {

class CLocalControllerChannel;
class IControlLoop;

/// The loops behind a local controller channel. The status is kept by a CLoopMonitor, a supervision is a
/// CLoopSupervisor.
class CLoopGraph : public ILoopGraph
{
public:
    explicit CLoopGraph(CLocalControllerChannel& channel);

    std::size_t loopCount() const override;
    SLoopStatus status(std::size_t loop) const override;
    IIoChannelInterface* inputChannel(std::size_t loop) const override;
    SLoopParameters parameters(std::size_t loop) const override;
    void setParameters(std::size_t loop, const std::vector<SLoopParameters::SValue>& values) override;
    SLoopMemory save(std::size_t loop) const override;
    void restore(std::size_t loop, const SLoopMemory& memory) override;
    void handOver(bool manual) override;
    /// Never null.
    std::unique_ptr<ILoopSupervision> supervise(const IInputCheck& check,
                                                const SBadInputReaction& reaction) override;
    void beginStop() override;

private:
    CLocalControllerChannel& channel_;
    const std::vector<std::shared_ptr<IControlLoop>> loops_;
    const CLoopMonitor monitor_;
};

} // namespace Rvl

/// The LoopsFunction of this plug-in (common/LoopGraph.h): a CLoopGraph for a local controller channel, null
/// for every other one.
extern "C" RIVLINK_LOCAL_EXPORT const Rvl::SLoops* rivlinkLoops();
