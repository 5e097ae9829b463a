#pragma once

#include "common/LoopGraph.h"
#include "host/session/ControllerState.h"
#include "platform/kor/EventListener.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

class CAnalogInChannel;

/// What a controller's element "BadInput" requires.
struct SBadInputPolicy
{
    /// From the element's attributes. Throws CHostException (ExitBadConfiguration) if they do not go
    /// together.
    static SBadInputPolicy from(const boost::property_tree::ptree& tree);
    /// Of a controller without the element: a value that is not finite is bad, nothing else is, and the loops
    /// are disabled meanwhile.
    static SBadInputPolicy byDefault();
    /// Whether nothing counts as bad: the loops are not to be supervised at all.
    bool allowsEverything() const { return !maximumAge && !refuseNotFinite; }

    std::optional<std::chrono::milliseconds> maximumAge;
    bool refuseNotFinite = true;
    bool onlyValues = false; ///< faults and missing announcements do not count
    SBadInputReaction reaction;
};

/// Watches the channels that a controller's loops read and lets the loops calculate only while what they read
/// is good. An input is bad as long as its channel
/// - has announced no value since the watch began,
/// - is marked faulty, or was and has announced no value since: the one that it has may be from before,
/// - has a value that is not finite, unless the policy allows that,
/// - has announced no value for longer than the policy's greatest age, on the clock in force.
/// The loops ask at each of their steps, so there is no delay, and nothing here runs by itself.
class CInputSupervision : private IInputCheck
{
public:
    /// Supervises the loops of a graph; null if they cannot be supervised. The supervision must be destroyed
    /// before the graph, and before the channels that the loops read.
    static std::unique_ptr<CInputSupervision> begin(ILoopGraph& graph, const SBadInputPolicy& policy);
    ~CInputSupervision() override;
    CInputSupervision(const CInputSupervision&) = delete;
    CInputSupervision& operator=(const CInputSupervision&) = delete;

    /// What is wrong and what is done about it, such as "bad input: Jacket temperature: not a number; held":
    /// EHealth::Waiting before the first good value, else EHealth::BadInput. Nothing while all inputs are
    /// good. For an enabled controller.
    std::optional<SHealth> health() const;
    /// Whether the loops' outputs were taken to their disabled values.
    bool disables() const;
    /// Whether a loop has calculated a control value that is not a number; its controller is at its disabled
    /// value until it is disabled and enabled again.
    bool hasFailed() const;

private:
    /// One loop's input.
    class CWatch : public Kor::IEventListener
    {
    public:
        explicit CWatch(CAnalogInChannel& channel);
        ~CWatch() override;
        void deviceEvent(int event) override;
        /// What is wrong with the input; empty if nothing is.
        std::string fault(const SBadInputPolicy& policy) const;
        bool isGood(const SBadInputPolicy& policy) const;

    private:
        enum eVerdict
        {
            Good,
            NoValue,
            Faulty,
            NoValueSinceFault,
            NotFinite,
            TooOld
        };
        eVerdict verdict(const SBadInputPolicy& policy) const;
        /// The channel is faulty, and there have been that many announcements.
        void noteFaultAfter(std::uint64_t announcements) const;

        CAnalogInChannel& channel_;
        /// When the newest value was announced, on the clock in force; negative before the first.
        std::atomic<std::chrono::nanoseconds::rep> announced_ns_{-1};
        std::atomic<bool> isFinite_; ///< the newest value, which is not read again for this
        std::atomic<std::uint64_t> announcements_{0};
        /// How many there had been when the channel was last found faulty.
        mutable std::atomic<std::uint64_t> announcementsAtFault_{0};
    };

    explicit CInputSupervision(const SBadInputPolicy& policy);
    bool isGoodInput(std::size_t loop) const override;
    bool isGoodValue(double actualValue) const override;
    std::string faultOf(std::size_t loop) const;
    std::string actionText() const;

    const SBadInputPolicy policy_;
    /// By loop; empty for a loop that reads no channel.
    std::vector<std::unique_ptr<CWatch>> watches_;
    /// Destroyed first: it uses the watches.
    std::unique_ptr<ILoopSupervision> loops_;
};

} // namespace Rvl
