#include "platform/rivlink_core/IoChannelInterface.h"

#include "platform/kor/EventListener.h"
#include "platform/kor/Mutex.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <vector>

namespace Rvl {

struct IIoChannelInterface::Private
{
    explicit Private(const std::string& channelName) : name(channelName) {}

    const std::string name;
    boost::property_tree::ptree properties;

    /// Held while listeners are called: that is what lets removeEventListener() promise an end of calls.
    Kor::CMutex listenersMutex;
    std::vector<Kor::IEventListener*> listeners;

    mutable Kor::CMutex faultMutex;
    std::string fault;
};

IIoChannelInterface::IIoChannelInterface(const std::string& name) : private_(std::make_unique<Private>(name))
{}

IIoChannelInterface::~IIoChannelInterface() = default;

const std::string& IIoChannelInterface::getName() const
{
    return private_->name;
}

void IIoChannelInterface::connectToDevice() {}

void IIoChannelInterface::setProperties(const boost::property_tree::ptree& tree)
{
    private_->properties = tree;
}

void IIoChannelInterface::addEventListener(Kor::IEventListener* listener)
{
    Kor::CGuard guard(private_->listenersMutex);
    auto& listeners = private_->listeners;
    if (std::find(listeners.begin(), listeners.end(), listener) == listeners.end()) {
        listeners.push_back(listener);
    }
}

void IIoChannelInterface::removeEventListener(Kor::IEventListener* listener)
{
    Kor::CGuard guard(private_->listenersMutex);
    auto& listeners = private_->listeners;
    listeners.erase(std::remove(listeners.begin(), listeners.end(), listener), listeners.end());
}

void IIoChannelInterface::raiseEvent(int event)
{
    Kor::CGuard guard(private_->listenersMutex);
    // by index: a listener may add or remove listeners while it is called
    auto& listeners = private_->listeners;
    for (std::size_t i = 0; i < listeners.size();) {
        Kor::IEventListener* const called = listeners[i];
        called->deviceEvent(event);
        if (i < listeners.size() && listeners[i] == called) {
            ++i;
        }
    }
}

const boost::property_tree::ptree& IIoChannelInterface::properties() const
{
    return private_->properties;
}

std::string IIoChannelInterface::fault() const
{
    Kor::CGuard guard(private_->faultMutex);
    return private_->fault;
}

bool IIoChannelInterface::isFaulty() const
{
    Kor::CGuard guard(private_->faultMutex);
    return !private_->fault.empty();
}

void IIoChannelInterface::setFault(const std::string& fault)
{
    {
        Kor::CGuard guard(private_->faultMutex);
        if (private_->fault == fault) {
            return;
        }
        private_->fault = fault;
    }
    raiseEvent(EventFaultChanged);
}

} // namespace Rvl
