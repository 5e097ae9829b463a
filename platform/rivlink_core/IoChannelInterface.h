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
        EventFaultChanged = 2 ///< the channel became faulty, or its fault changed or went
    };

    virtual ~IIoChannelInterface();
    IIoChannelInterface(const IIoChannelInterface&) = delete;
    IIoChannelInterface& operator=(const IIoChannelInterface&) = delete;

    virtual const std::string& getName() const;
    /// Binds the channel to its device, which it finds by name. Nothing is driven yet. Throws
    /// CConfigurationException if the device or what is asked of it does not exist.
    virtual void connectToDevice();
    /// Takes the channel's node of the configuration; the base keeps a copy (properties()).
    virtual void setProperties(const boost::property_tree::ptree& tree);

    /// Adds a listener (not owned, not null); one that is already there is called once all the same.
    void addEventListener(Kor::IEventListener* listener);
    /// Removes a listener; nothing happens if it is not there. On return no call to it is under way, unless
    /// it is the calling thread's own.
    void removeEventListener(Kor::IEventListener* listener);
    /// Calls deviceEvent(event) of every listener on the calling thread, in the order in which they were
    /// added. A listener may add and remove any, itself as well: those that are added are called from the
    /// next event on.
    void raiseEvent(int event);

    /// The configuration node last given to setProperties(); empty before.
    const boost::property_tree::ptree& properties() const;

    /// What keeps the channel from working, or an empty text while nothing does.
    std::string fault() const;
    bool isFaulty() const;
    /// Marks the channel faulty (an empty text: sound again) and raises EventFaultChanged if that is news.
    void setFault(const std::string& fault);

protected:
    explicit IIoChannelInterface(const std::string& name);

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
