#include "host/session/InputSupervision.h"

#include "common/Numbers.h"
#include "common/TreeValues.h"
#include "host/base/HostException.h"
#include "host/base/NumberText.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "runtime/Timelines.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <cmath>

namespace Rvl {

SBadInputPolicy SBadInputPolicy::from(const boost::property_tree::ptree& tree)
{
    SBadInputPolicy policy;
    if (const auto age_ms = optionalTreeValue<int>(tree, "<xmlattr>.MaximumAge_ms")) {
        policy.maximumAge = std::chrono::milliseconds(*age_ms);
    }
    policy.refuseNotFinite = tree.get<std::string>("<xmlattr>.NaN", "refused") == "refused";
    const auto action = tree.get<std::string>("<xmlattr>.Action", "");
    policy.reaction.action = action == "write"  ? SBadInputReaction::Write
                             : action == "hold" ? SBadInputReaction::Hold
                                                : SBadInputReaction::Disable;
    const auto text = tree.get_optional<std::string>("<xmlattr>.Value");
    const bool writes = policy.reaction.action == SBadInputReaction::Write;
    if (writes && !text) {
        throw CHostException(ExitBadConfiguration,
                             "Value is missing; expected the control value that the action write writes");
    }
    if (text && !writes) {
        throw CHostException(ExitBadConfiguration,
                             "Value is not read unless Action is write; expected it to be, or no Value");
    }
    if (text) {
        const auto value = parseReal(*text);
        if (!value || !std::isfinite(*value)) {
            throw CHostException(ExitBadConfiguration,
                                 "Value is \"" + *text + "\"; expected a finite number");
        }
        policy.reaction.value = *value;
    }
    if (policy.allowsEverything() && !action.empty()) {
        throw CHostException(
            ExitBadConfiguration,
            "nothing counts as bad; expected MaximumAge_ms, or NaN to be refused, or no Action");
    }
    return policy;
}

SBadInputPolicy SBadInputPolicy::byDefault()
{
    SBadInputPolicy policy;
    policy.onlyValues = true;
    policy.reaction.action = SBadInputReaction::Disable;
    return policy;
}

CInputSupervision::CWatch::CWatch(CAnalogInChannel& channel)
    : channel_(channel), isFinite_(std::isfinite(channel.readValue()))
{
    channel_.addEventListener(this);
}

CInputSupervision::CWatch::~CWatch()
{
    channel_.removeEventListener(this);
}

void CInputSupervision::CWatch::deviceEvent(int event)
{
    if (event == IIoChannelInterface::EventNewValue) {
        isFinite_ = std::isfinite(channel_.readValue());
        announced_ns_ = currentTimeline().monotonic().count();
        ++announcements_;
    } else if (event == IIoChannelInterface::EventFaultChanged && channel_.isFaulty()) {
        noteFaultAfter(announcements_); // it may be over before the next check
    }
}

void CInputSupervision::CWatch::noteFaultAfter(std::uint64_t announcements) const
{
    // another thread may have noted a later one
    std::uint64_t atFault = announcementsAtFault_;
    while (atFault < announcements && !announcementsAtFault_.compare_exchange_weak(atFault, announcements)) {
    }
}

CInputSupervision::CWatch::eVerdict CInputSupervision::CWatch::verdict(const SBadInputPolicy& policy) const
{
    if (policy.onlyValues) {
        return isFinite_ ? Good : NotFinite;
    }
    const std::uint64_t announcements = announcements_; // before the fault, which may be over the next moment
    if (announcements == 0) {
        return NoValue;
    }
    if (channel_.isFaulty()) {
        noteFaultAfter(announcements);
        return Faulty;
    }
    if (announcements <= announcementsAtFault_) {
        return NoValueSinceFault;
    }
    const std::chrono::nanoseconds announced(announced_ns_.load());
    if (policy.refuseNotFinite && !isFinite_) {
        return NotFinite;
    }
    const bool tooOld = policy.maximumAge && currentTimeline().monotonic() - announced > *policy.maximumAge;
    return tooOld ? TooOld : Good;
}

bool CInputSupervision::CWatch::isGood(const SBadInputPolicy& policy) const
{
    return verdict(policy) == Good;
}

std::string CInputSupervision::CWatch::fault(const SBadInputPolicy& policy) const
{
    std::string text;
    switch (verdict(policy)) {
    case Good:
        return {};
    case NoValue:
        text = "no value yet";
        break;
    case Faulty:
        text = channel_.fault();
        break;
    case NoValueSinceFault:
        text = "no value since its fault";
        break;
    case NotFinite:
        text = "not a finite number";
        break;
    case TooOld:
        text = "no new value for more than " + std::to_string(policy.maximumAge->count()) + " ms";
        break;
    }
    return channel_.getName() + ": " + text;
}

CInputSupervision::CInputSupervision(const SBadInputPolicy& policy) : policy_(policy) {}

CInputSupervision::~CInputSupervision() = default;

std::unique_ptr<CInputSupervision> CInputSupervision::begin(ILoopGraph& graph, const SBadInputPolicy& policy)
{
    std::unique_ptr<CInputSupervision> supervision(new CInputSupervision(policy));
    supervision->loops_ = graph.supervise(*supervision, policy.reaction);
    if (!supervision->loops_) {
        return nullptr;
    }
    // after the loops' own inputs, which a new value so reaches first
    for (std::size_t loop = 0; loop < graph.loopCount(); ++loop) {
        auto* const channel = dynamic_cast<CAnalogInChannel*>(graph.inputChannel(loop));
        supervision->watches_.push_back(channel ? std::make_unique<CWatch>(*channel) : nullptr);
    }
    return supervision;
}

bool CInputSupervision::isGoodInput(std::size_t loop) const
{
    const CWatch* const watch = watches_[loop].get();
    return !watch || watch->isGood(policy_);
}

bool CInputSupervision::isGoodValue(double actualValue) const
{
    return !policy_.refuseNotFinite || std::isfinite(actualValue);
}

std::string CInputSupervision::faultOf(std::size_t loop) const
{
    const CWatch* const watch = watches_[loop].get();
    return watch ? watch->fault(policy_) : std::string();
}

std::string CInputSupervision::actionText() const
{
    switch (policy_.reaction.action) {
    case SBadInputReaction::Disable:
        return "disabled";
    case SBadInputReaction::Write:
        return shortText(policy_.reaction.value) + " written";
    case SBadInputReaction::Hold:
        break;
    }
    return "held";
}

std::optional<SHealth> CInputSupervision::health() const
{
    std::string fault;
    std::string idleFault;
    bool acting = false;
    bool waiting = false;
    for (std::size_t loop = 0; loop < watches_.size(); ++loop) {
        const ILoopSupervision::eState state = loops_->state(loop);
        acting = acting || state == ILoopSupervision::Acting;
        waiting = waiting || state == ILoopSupervision::Waiting;
        std::string& found = state == ILoopSupervision::Idle ? idleFault : fault;
        if (found.empty()) {
            found = faultOf(loop);
        }
    }
    if (!fault.empty()) {
        return waiting && !acting ? SHealth{EHealth::Waiting, "bad input: " + fault + "; waiting for it"}
                                  : SHealth{EHealth::BadInput, "bad input: " + fault + "; " + actionText()};
    }
    if (acting) {
        return SHealth{EHealth::BadInput, "bad input: over; " + actionText() + " until the next step"};
    }
    if (!idleFault.empty()) {
        return SHealth{EHealth::BadInput, "bad input: " + idleFault + "; manual mode goes on"};
    }
    return std::nullopt;
}

bool CInputSupervision::hasFailed() const
{
    for (std::size_t loop = 0; loop < watches_.size(); ++loop) {
        if (loops_->state(loop) == ILoopSupervision::Failed) {
            return true;
        }
    }
    return false;
}

bool CInputSupervision::disables() const
{
    if (hasFailed()) {
        return true;
    }
    if (policy_.reaction.action != SBadInputReaction::Disable) {
        return false;
    }
    for (std::size_t loop = 0; loop < watches_.size(); ++loop) {
        if (loops_->state(loop) == ILoopSupervision::Acting) {
            return true;
        }
    }
    return false;
}

} // namespace Rvl
