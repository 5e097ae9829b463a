#include "platform/rivlink_core/IoChannelInterface.h"

#include "platform/kor/EventListener.h"
#include "platform/kor/Mutex.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace Rvl {

struct IIoChannelInterface::Private
{
    explicit Private(const std::string& channelName) : name(channelName) {}

    const std::string name;
    boost::property_tree::ptree properties;

    /// Held while listeners are called, so that removeEventListener() returns after the last call.
    Kor::CMutex listenersMutex;
    /// In the order in which they were added, each with its number in it.
    std::vector<std::pair<std::uint64_t, Kor::IEventListener*>> listeners;
    std::uint64_t lastNumber = 0;

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
    const auto isListener = [listener](const auto& entry) { return entry.second == listener; };
    if (std::none_of(listeners.begin(), listeners.end(), isListener)) {
        listeners.emplace_back(++private_->lastNumber, listener);
    }
}

void IIoChannelInterface::removeEventListener(Kor::IEventListener* listener)
{
    Kor::CGuard guard(private_->listenersMutex);
    std::erase_if(private_->listeners, [listener](const auto& entry) { return entry.second == listener; });
}

void IIoChannelInterface::raiseEvent(int event)
{
    Kor::CGuard guard(private_->listenersMutex);
    // By number, as a listener may add and remove listeners while it is called, including itself. Those added
    // are called with the next event.
    auto& listeners = private_->listeners;
    const std::uint64_t last = private_->lastNumber;
    for (std::uint64_t called = 0;;) {
        const auto next =
            std::upper_bound(listeners.begin(), listeners.end(), called,
                             [](std::uint64_t number, const auto& entry) { return number < entry.first; });
        if (next == listeners.end() || next->first > last) {
            return;
        }
        called = next->first;
        next->second->deviceEvent(event);
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
