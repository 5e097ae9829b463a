#pragma once

#include "common/LoopGraph.h"
#include "common/ThreadSafety.h"
#include "host/session/Session.h"
#include "host/types/TypeCatalogue.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Rvl {

/// A command that was not carried out, with the reason. Nothing has changed.
class CCommandRefused : public std::runtime_error
{
public:
    enum eReason
    {
        NotFound,   ///< no such controller or loop
        WrongState, ///< not while the session or the controller is as it is
        OutOfRange, ///< a value, by itself or together with others
        Failed      ///< what a channel threw
    };

    /// `field` is the value at fault: "value", "controlValue", or a parameter's key; may be empty.
    CCommandRefused(eReason reason, const std::string& text, std::string field = {})
        : std::runtime_error(text), reason_(reason), field_(std::move(field))
    {}

    eReason reason() const { return reason_; }
    const std::string& field() const { return field_; }

private:
    eReason reason_;
    std::string field_;
};

/// What became of one command.
struct SCommandRecord
{
    std::chrono::system_clock::time_point utc;
    std::string source;     ///< what the command came from, such as "page" or "program Ramp"
    std::string controller; ///< as given
    std::string what;       ///< "set point", "enabled", "manual mode", "manual control value" or "loop 0: K"
    std::string oldValue;   ///< empty if refused before it was read
    std::string newValue;
    std::string refusal; ///< empty if it was carried out

    /// "page: Vessel: set point 30 -> 40", with ", refused: REASON" if it was.
    std::string text() const;
};

/// The only way to change a running controller. Each command checks, does and logs, with where it came from,
/// the old and the new value. A refused command changes nothing, is logged as well, and throws
/// CCommandRefused: for a controller or loop that does not exist, a value that is not finite or out of
/// range, a protected parameter set, or a session that is not running. Exceptions of channels become
/// refusals, too; the command may have been carried out in part then.
///
///     commands.setSetPoint("page", "Vessel", 40.0);
///
/// Each returns the records of what was carried out.
///
/// All operations may be called from any thread. Commands to one controller are carried out one after
/// another; a command takes as long as its channel does.
class CCommands
{
public:
    using Records = std::vector<SCommandRecord>;
    using Values = std::vector<SLoopParameters::SValue>;

    /// Both must outlive the object. The catalogue has the ranges of the loops' parameters.
    CCommands(CSession& session, const CTypeCatalogue& catalogue);
    CCommands(const CCommands&) = delete;
    CCommands& operator=(const CCommands&) = delete;

    /// In scaled units, within the controller's set-point range.
    Records setSetPoint(const std::string& source, const std::string& controller, double setPoint);
    Records setEnabled(const std::string& source, const std::string& controller, bool enabled);
    /// Hands over between manual and automatic mode without a bump of the control value, as far as the loops
    /// can. In manual mode, the one that is in force or begins, `controlValue` is the control value to come
    /// instead: in scaled units, within the limits of the outermost loop where it has any. What is left out
    /// stays as it is.
    Records setManual(const std::string& source, const std::string& controller, std::optional<bool> manual,
                      std::optional<double> controlValue = {});
    /// Parameters of a loop (0: the outermost) by the keys of the configuration, all or none, in the ranges
    /// of the type descriptions. "Setpoint" is none of them, as it is the set point at the start.
    Records setParameters(const std::string& source, const std::string& controller, std::size_t loop,
                          const Values& values);
    /// What setParameters() would do, as records without a time. Changes nothing and logs nothing.
    Records previewParameters(const std::string& source, const std::string& controller, std::size_t loop,
                              const Values& values) const;
    /// Puts back what the last change of these parameters replaced that was not undone yet; the last 20 can
    /// be.
    Records undoParameters(const std::string& source, const std::string& controller, std::size_t loop);
    /// How many changes of a loop's parameters can be undone.
    std::size_t undoCount(const std::string& controller, std::size_t loop) const;

    /// Logs a change that is not one of a controller and was carried out elsewhere, such as that of a
    /// simulated fault, as if it were a command; `controller` names what was changed.
    void note(SCommandRecord record);

    /// Refuses all further commands. False if one is still under way after the limit: it uses a controller
    /// then. To be called between disabling the controllers and destroying them.
    bool close(std::chrono::milliseconds limit);

    /// The last thousand commands, the latest last.
    std::vector<SCommandRecord> records() const;
    /// Has each command handed to `sink` afterwards, on the thread of the command. Before the first one.
    void addSink(std::function<void(const SCommandRecord&)> sink);

private:
    class CUse;
    using Action = std::function<void(CController& controller, Records& records)>;
    using LoopId = std::pair<std::string, std::size_t>;

    bool disableAtTheEnd(CController& controller) const;
    Records carryOut(Records commands, const Action& action);
    void attempt(Records& commands, const Action& action);
    CController& running(const std::string& name) const;
    Values changeParameters(CController& controller, std::size_t loop, const Values& values,
                            Records& records);
    Values lastReplaced(const LoopId& loop) const;
    void checkParameters(const CController& controller, std::size_t loop, const Values& values) const;
    void log(const SCommandRecord& record);

    CSession& session_;
    const CTypeCatalogue& catalogue_;
    std::vector<std::function<void(const SCommandRecord&)>> sinks_;
    mutable CMutex mutex_;
    std::condition_variable changed_;
    std::deque<SCommandRecord> records_ RVL_GUARDED_BY(mutex_);
    std::map<LoopId, std::deque<Values>> replaced_ RVL_GUARDED_BY(mutex_); ///< the latest last
    std::size_t underWay_ RVL_GUARDED_BY(mutex_) = 0;
    bool closed_ RVL_GUARDED_BY(mutex_) = false;
};

} // namespace Rvl
