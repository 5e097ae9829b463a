#include "host/web/ChannelAges.h"

#include "platform/kor/EventListener.h"
#include "platform/rivlink_device/AnalogInChannel.h"

#include <algorithm>
#include <atomic>

namespace Rvl {

class CChannelAges::CListener : public Kor::IEventListener
{
public:
    CListener(CAnalogInChannel& channel, const ITimeline& timeline) : channel_(channel), timeline_(timeline)
    {
        channel_.addEventListener(this);
    }
    ~CListener() override { channel_.removeEventListener(this); }
    CListener(const CListener&) = delete;
    CListener& operator=(const CListener&) = delete;

    void deviceEvent(int event) override
    {
        if (event == IIoChannelInterface::EventNewValue) {
            last_ = timeline_.monotonic().count();
        }
    }

    const std::string& name() const { return channel_.getName(); }
    std::chrono::nanoseconds last() const { return std::chrono::nanoseconds(last_.load()); }

    static constexpr std::chrono::nanoseconds::rep never = -1;

private:
    CAnalogInChannel& channel_;
    const ITimeline& timeline_;
    std::atomic<std::chrono::nanoseconds::rep> last_{never};
};

CChannelAges::CChannelAges(const CSession& session, const ITimeline& timeline) : timeline_(timeline)
{
    for (const auto& entry : session.channels()) {
        if (auto* const sensor = dynamic_cast<CAnalogInChannel*>(entry->channel.get())) {
            listeners_.push_back(std::make_unique<CListener>(*sensor, timeline));
        }
    }
    std::sort(listeners_.begin(), listeners_.end(),
              [](const auto& left, const auto& right) { return left->name() < right->name(); });
}

CChannelAges::~CChannelAges() = default;

std::optional<std::chrono::milliseconds> CChannelAges::age(const std::string& channel) const
{
    const auto found = std::lower_bound(
        listeners_.begin(), listeners_.end(), channel,
        [](const auto& listener, const std::string& name) { return listener->name() < name; });
    if (found == listeners_.end() || (*found)->name() != channel ||
        (*found)->last().count() == CListener::never) {
        return std::nullopt;
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(timeline_.monotonic() - (*found)->last());
}

} // namespace Rvl
