#include "platform/rivlink_core/Bus.h"

#include <algorithm>

namespace Rvl {

struct IBus::Private
{
    std::vector<IDeviceInterface*> devices;
};

IBus::IBus() : private_(std::make_unique<Private>()) {}

IBus::~IBus() = default;

void IBus::addDevice(IDeviceInterface* device)
{
    auto& devices = private_->devices;
    if (std::find(devices.begin(), devices.end(), device) == devices.end()) {
        devices.push_back(device);
    }
}

void IBus::removeDevice(IDeviceInterface* device)
{
    auto& devices = private_->devices;
    devices.erase(std::remove(devices.begin(), devices.end(), device), devices.end());
}

const std::vector<IDeviceInterface*>& IBus::devices() const
{
    return private_->devices;
}

} // namespace Rvl
