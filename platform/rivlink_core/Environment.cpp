#include "platform/rivlink_core/Environment.h"

namespace Rvl {

struct CEnvironment::Private
{
    Signal registerFactories;
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
    return private_->registerFactories;
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
    private_->buses.clear();
    private_->deviceFactories.clear();
    private_->busFactories.clear();
    private_->ioChannelFactories.clear();
}

} // namespace Rvl
