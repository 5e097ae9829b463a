#pragma once

#include "driver/common/SignalChannels.h"
#include "driver/common/SignalDevice.h"

#include <cstddef>
#include <memory>
#include <string>

namespace Rvl {

/// The computer on which the program runs, as a device.
///
/// Sensor "CpuUse": percent of all cores, counting every program, over the last update interval; the first
/// value comes one interval after connecting. With a smoothing time constant T it follows the measured x by
///   y += (1 - exp(-dt / T)) (x - y)
/// beginning at the first x; 0 is no smoothing. If the system's counters cannot be read, the channels are
/// faulty and get no values.
///
/// Actuator "Load", 0 to 100 percent: the share of the time for which each load thread keeps one core busy
/// (CLoadGenerator). With one thread per core, 50 percent is half of the computer, less what other
/// programs use.
///
/// While connected its threads run. After disconnect() there is no load and no thread.
///
/// Attributes "UpdateInterval_ms" (default 500), "SmoothingTimeConstant_s" (default 0), "Threads" (absent:
/// one per core) and "LoadPeriod_ms" (default 100). Type name "Rvl::CComputer".
class CComputer final : public CSignalDevice
{
public:
    /// Registers the name.
    explicit CComputer(const std::string& name);
    ~CComputer() override;

    /// Not while connected.
    void setProperties(const boost::property_tree::ptree& tree) override;

    /// The number of load threads that run now.
    std::size_t runningLoadThreads() const;
    /// The number of load threads that connect() starts, their period and the smoothing time constant.
    unsigned loadThreads() const;
    int loadPeriod_ms() const;
    double smoothingTimeConstant_s() const;

protected:
    void starting() override;
    void update(double elapsed_s) override;
    bool ready() const override;
    void actuatorWritten(std::size_t actuator, double value) override;
    void stopped() override;

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

/// The devices to which the channels of this plug-in can be bound.
extern const SDeviceFamily systemDevices;

} // namespace Rvl
