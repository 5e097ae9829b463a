#pragma once

#include "host/session/Session.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

class CAnalogInChannel;

/// When the sensors' channels of a session announced their last value. It only listens: no channel is read
/// for it.
class CChannelAges
{
public:
    /// The session must outlive the object, and its channels must not be built or destroyed meanwhile.
    CChannelAges(const CSession& session, const ITimeline& timeline);
    ~CChannelAges();
    CChannelAges(const CChannelAges&) = delete;
    CChannelAges& operator=(const CChannelAges&) = delete;

    /// Time since the channel's last value; nothing before the first, and for what is no sensor. From any
    /// thread.
    std::optional<std::chrono::milliseconds> age(const std::string& channel) const;

private:
    class CListener;
    const ITimeline& timeline_;
    std::vector<std::unique_ptr<CListener>> listeners_; ///< by name
};

} // namespace Rvl
