#pragma once

#include "platform/rivlink_core/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <memory>
#include <string>

namespace Kor {
class IEventListener;
}

namespace Rvl {

/// A named channel: one quantity that can be read, or written, or controlled. Base of every kind of channel.
/// Events and the fault state may be used from any thread.
class RIVLINK_CORE_EXPORT IIoChannelInterface
{
public:
    /// What Kor::IEventListener::deviceEvent() is called with.
    enum eEvent
    {
        EventNewValue = 1,    ///< a new value is available
        EventFaultChanged = 2 ///< the fault appeared, changed or disappeared
    };

    virtual ~IIoChannelInterface();
    IIoChannelInterface(const IIoChannelInterface&) = delete;
    IIoChannelInterface& operator=(const IIoChannelInterface&) = delete;

    virtual const std::string& getName() const;
    /// Binds the channel to its device, which it finds by name. Nothing is driven yet. Throws
    /// CConfigurationException if the device or the required part of it does not exist.
    virtual void connectToDevice();
    /// Reads the channel's node of the configuration; the base keeps a copy (properties()).
    virtual void setProperties(const boost::property_tree::ptree& tree);

    /// Adds a listener (not owned, not null); one that is added twice is still called once.
    void addEventListener(Kor::IEventListener* listener);
    /// Removes a listener; nothing happens if it was not added. On return no call to it is in progress,
    /// except one on the calling thread.
    void removeEventListener(Kor::IEventListener* listener);
    /// Calls deviceEvent(event) of every listener on the calling thread, in the order in which they were
    /// added. A listener may add and remove listeners, including itself; those added are called from the
    /// next event on.
    void raiseEvent(int event);

    /// The configuration node last given to setProperties(); empty before.
    const boost::property_tree::ptree& properties() const;

    /// The channel's fault, or an empty text while it has none.
    std::string fault() const;
    bool isFaulty() const;
    /// Sets the fault (an empty text: none) and raises EventFaultChanged if it differs from the previous one.
    void setFault(const std::string& fault);

protected:
    explicit IIoChannelInterface(const std::string& name);

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
