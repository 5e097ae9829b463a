#pragma once

#include "common/FactoryRegistry.h"
#include "platform/rivlink_core/BusFactory.h"
#include "platform/rivlink_core/BusRegistry.h"
#include "platform/rivlink_core/DeviceFactory.h"
#include "platform/rivlink_core/Export.h"
#include "platform/rivlink_core/IoChannelFactory.h"

#include <boost/signals2/signal.hpp>

#include <memory>
#include <vector>

namespace Rvl {

/// The interface between the host and its plug-ins, one per process: the host's signals and registries.
class RIVLINK_CORE_EXPORT CEnvironment
{
public:
    using Signal = boost::signals2::signal<void()>;

    CEnvironment(const CEnvironment&) = delete;
    CEnvironment& operator=(const CEnvironment&) = delete;

    /// The process's environment, never null.
    static CEnvironment* getInstance();

    /// Emitted by the host once its plug-ins are loaded, for them to register their factories.
    Signal& registerFactories();
    /// The places in the code from which registerFactories() was called since the plug-ins were last
    /// released: a library with none of them has connected nothing to it.
    std::vector<const void*> registrants() const;
    /// Emitted by the host before the devices are disconnected: control loops must stop.
    Signal& aboutToDisconnect();

    CFactoryRegistry<IIoChannelFactory>& getIoChannellFactoryRegistry();
    CFactoryRegistry<IBusFactory>& getBusFactoryRegistry();
    CFactoryRegistry<IDeviceFactory>& getDeviceFactoryRegistry();
    CBusRegistry& busRegistry();

    /// Removes every slot, factory and bus. Called by the host before it unloads the plug-ins, whose code
    /// these consist of.
    void releasePlugins();

private:
    CEnvironment();
    ~CEnvironment();

    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
