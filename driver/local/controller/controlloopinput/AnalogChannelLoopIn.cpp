#include "driver/local/controller/controlloopinput/AnalogChannelLoopIn.h"

#include "platform/rivlink_device/AnalogInChannel.h"

#include <boost/property_tree/ptree.hpp>

namespace Rvl {

CAnalogChannelLoopIn::CAnalogChannelLoopIn(const boost::property_tree::ptree& tree)
    : valueMutex_(std::make_unique<std::recursive_mutex>()),
      analogInChannel_(CAnalogInChannel::NameServer.lookupObject(tree.get<std::string>("Channel")))
{
    listenTo(*analogInChannel_);
}

CAnalogChannelLoopIn::CAnalogChannelLoopIn(CAnalogInChannel* channel)
    : valueMutex_(std::make_unique<std::recursive_mutex>()), analogInChannel_(channel)
{
    if (channel) {
        listenTo(*channel);
    }
}

CAnalogChannelLoopIn::~CAnalogChannelLoopIn()
{
    // waits for a call of deviceEvent() that is under way, so not with the mutex held
    const auto& nameServer = CAnalogInChannel::NameServer;
    for (const SListenedTo& entry : listenedTo_) {
        if (nameServer.contains(entry.name) && nameServer.lookupObject(entry.name) == entry.channel) {
            entry.channel->removeEventListener(this);
        }
    }
}

void CAnalogChannelLoopIn::setAnalogInputChannel(CAnalogInChannel* channel)
{
    {
        const std::lock_guard<std::recursive_mutex> lock(*valueMutex_);
        analogInChannel_ = channel;
    }
    listenTo(*channel);
}

CAnalogInChannel* CAnalogChannelLoopIn::analogInputChannel() const
{
    const std::lock_guard<std::recursive_mutex> lock(*valueMutex_);
    return analogInChannel_;
}

void CAnalogChannelLoopIn::init()
{
    value_ = analogInChannel_->readValue();
}

double CAnalogChannelLoopIn::readInputValue()
{
    const std::lock_guard<std::recursive_mutex> lock(*valueMutex_);
    return value_;
}

void CAnalogChannelLoopIn::deviceEvent(int event)
{
    if (event != IIoChannelInterface::EventNewValue) {
        return;
    }
    const std::lock_guard<std::recursive_mutex> lock(*valueMutex_);
    value_ = analogInChannel_->readValue();
}

void CAnalogChannelLoopIn::listenTo(CAnalogInChannel& channel)
{
    listenedTo_.push_back({&channel, channel.getName()});
    channel.addEventListener(this);
}

} // namespace Rvl
