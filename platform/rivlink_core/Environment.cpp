#include "platform/rivlink_core/Environment.h"

#include <mutex>
#include <set>
#if defined(_MSC_VER)
#include <intrin.h>
#endif

namespace Rvl {

struct CEnvironment::Private
{
    Signal registerFactories;
    mutable std::mutex registrantsMutex;
    std::set<const void*> registrants;
    Signal aboutToDisconnect;
    CFactoryRegistry<IIoChannelFactory> ioChannelFactories;
    CFactoryRegistry<IBusFactory> busFactories;
    CFactoryRegistry<IDeviceFactory> deviceFactories;
    CBusRegistry buses;
};

CEnvironment::CEnvironment() : private_(std::make_unique<Private>()) {}

CEnvironment::~CEnvironment() = default;

CEnvironment* CEnvironment::getInstance()
{
    static CEnvironment environment;
    return &environment;
}

CEnvironment::Signal& CEnvironment::registerFactories()
{
    // a signal does not say whose its slots are, and a library may be loaded with another one
#if defined(_MSC_VER)
    const void* const caller = _ReturnAddress();
#else
    const void* const caller = __builtin_return_address(0);
#endif
    const std::lock_guard<std::mutex> lock(private_->registrantsMutex);
    private_->registrants.insert(caller);
    return private_->registerFactories;
}

std::vector<const void*> CEnvironment::registrants() const
{
    const std::lock_guard<std::mutex> lock(private_->registrantsMutex);
    return {private_->registrants.begin(), private_->registrants.end()};
}

CEnvironment::Signal& CEnvironment::aboutToDisconnect()
{
    return private_->aboutToDisconnect;
}

CFactoryRegistry<IIoChannelFactory>& CEnvironment::getIoChannellFactoryRegistry()
{
    return private_->ioChannelFactories;
}

CFactoryRegistry<IBusFactory>& CEnvironment::getBusFactoryRegistry()
{
    return private_->busFactories;
}

CFactoryRegistry<IDeviceFactory>& CEnvironment::getDeviceFactoryRegistry()
{
    return private_->deviceFactories;
}

CBusRegistry& CEnvironment::busRegistry()
{
    return private_->buses;
}

void CEnvironment::releasePlugins()
{
    // a signal keeps the memory of a disconnected slot, whose destructor is the plug-in's code, until the
    // next connect or its own end: too late for a plug-in that is unloaded before
    Signal().swap(private_->registerFactories);
    Signal().swap(private_->aboutToDisconnect);
    {
        const std::lock_guard<std::mutex> lock(private_->registrantsMutex);
        private_->registrants.clear(); // other code may be loaded to the same addresses
    }
    private_->buses.clear();
    private_->deviceFactories.clear();
    private_->busFactories.clear();
    private_->ioChannelFactories.clear();
}

} // namespace Rvl
