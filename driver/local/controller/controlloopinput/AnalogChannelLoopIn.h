#pragma once

#include "driver/local/controller/common/LoopElements.h"
#include "driver/local/Export.h"
#include "platform/kor/EventListener.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Rvl {

class CAnalogInChannel;

/// The value of an analog input channel as a loop's actual value. It is not polled: the channel announces
/// each new value, which is then kept, so that a loop gets the newest announced value at once and causes no
/// traffic of its own. 0 until init() or the first announcement.
/// The channel is not owned. It must live as long as it is read, but may be destroyed before the input. An
/// input that is destroyed is removed from the listeners of every channel that it was given and that still
/// lives.
class RIVLINK_LOCAL_EXPORT CAnalogChannelLoopIn : public ILoopIn, private Kor::IEventListener
{
public:
    /// Reads "Channel", the name of an analog input (required: the property tree's bad-path error if it is
    /// missing). Throws CConfigurationException if no analog input bears the name.
    explicit CAnalogChannelLoopIn(const boost::property_tree::ptree& tree);
    /// From the channel itself. Null is allowed, but then a channel must be set before init().
    explicit CAnalogChannelLoopIn(CAnalogInChannel* channel);
    ~CAnalogChannelLoopIn() override;

    /// Reads from `channel` (not null) from now on and listens to it. The input keeps listening to the former
    /// channel as well: an announcement of either makes it read the present one.
    void setAnalogInputChannel(CAnalogInChannel* channel);
    /// The channel read at present; null if there is none.
    CAnalogInChannel* analogInputChannel() const;

    /// Takes the channel's current value.
    void init() override;
    /// The value kept. Safe from any thread.
    double readInputValue() override;

    /// Takes the channel's current value if the event says that there is a new one
    /// (IIoChannelInterface::EventNewValue); every other event is ignored. Safe from any thread.
    void deviceEvent(int event) override;

private:
    /// A channel that the input listens to, and the name under which it is registered while it lives.
    struct SListenedTo
    {
        CAnalogInChannel* channel;
        std::string name;
    };

    void listenTo(CAnalogInChannel& channel);

    std::unique_ptr<std::recursive_mutex> valueMutex_;
    CAnalogInChannel* analogInChannel_;
    /// Atomic because init() stores it without the mutex while the channel may already announce values.
    std::atomic<double> value_{0.0};
    std::vector<SListenedTo> listenedTo_;
};

} // namespace Rvl
