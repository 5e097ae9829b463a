/// A plug-in for tests of the host: a device of the drivers' kind with one actuator of 4 to 20, and an output
/// on it. Connecting the device and each value of the actuator are written to the file that the environment
/// variable RIVLINK_FAKE_JOURNAL names, one line each, as they happen.
#include "driver/common/SignalChannels.h"
#include "driver/common/SignalDevice.h"
#include "platform/rivlink_core/Environment.h"

#include <boost/signals2/connection.hpp>

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

namespace Rvl::Test {

namespace {

/// Writes a line to the journal.
template <class Value> void journal(const std::string& what, const Value& value)
{
    if (const char* const file = std::getenv("RIVLINK_FAKE_JOURNAL")) {
        std::ofstream(file, std::ios::app) << what << value << std::endl;
    }
}

/// A device of the drivers' kind with one actuator of 4 to 20, which notes each value that it takes.
class CFakeCurrentLoop : public CSignalDevice
{
public:
    explicit CFakeCurrentLoop(const std::string& name) : CSignalDevice(name, 20)
    {
        addActuator("Current", 4.0, 20.0);
    }
    ~CFakeCurrentLoop() override { disconnect(); }

protected:
    void starting() override { journal("connect ", getName()); }
    void update(double) override { reportOffline(); }
    void actuatorWritten(std::size_t, double value) override { journal("current = ", value); }
};

const SDeviceFamily currentLoops{
    "a current loop", "current loops",
    [](IDeviceInterface* device) -> CSignalDevice* { return dynamic_cast<CFakeCurrentLoop*>(device); }};

void registerFactories()
{
    CEnvironment& environment = *CEnvironment::getInstance();
    environment.getDeviceFactoryRegistry().put(
        std::make_shared<CSignalDeviceFactory<CFakeCurrentLoop>>("Rvl::CFakeCurrentLoop"));
    environment.getIoChannellFactoryRegistry().put(
        std::make_shared<CSignalChannelFactory<CSignalAnalogOutChannel>>("Rvl::CFakeCurrentOutput",
                                                                         currentLoops));
}

[[maybe_unused]] const bool registered =
    CEnvironment::getInstance()->registerFactories().connect(registerFactories).connected();

} // namespace

} // namespace Rvl::Test
