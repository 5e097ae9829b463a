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
#include <stdexcept>
#include <string>
#include <vector>

namespace Rvl {

/// A command that was not carried out, with the reason. Nothing has changed.
class CCommandRefused : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
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
/// All operations may be called from any thread. Commands to one controller are carried out one after
/// another; a command takes as long as its channel does.
class CCommands
{
public:
    /// Both must outlive the object. The catalogue has the ranges of the loops' parameters.
    CCommands(CSession& session, const CTypeCatalogue& catalogue);
    CCommands(const CCommands&) = delete;
    CCommands& operator=(const CCommands&) = delete;

    /// In scaled units, within the controller's set-point range.
    void setSetPoint(const std::string& source, const std::string& controller, double setPoint);
    void setEnabled(const std::string& source, const std::string& controller, bool enabled);
    void setManual(const std::string& source, const std::string& controller, bool manual);
    /// In scaled units, within the limits of the outermost loop where it has any. Takes effect in manual
    /// mode.
    void setManualControlValue(const std::string& source, const std::string& controller, double value);
    /// Parameters of a loop (0: the outermost) by the keys of the configuration, all or none, in the ranges
    /// of the type descriptions. "Setpoint" is none of them, as it is the set point at the start.
    void setParameters(const std::string& source, const std::string& controller, std::size_t loop,
                       const std::vector<SLoopParameters::SValue>& values);

    /// Refuses all further commands. False if one is still under way after the limit: it uses a controller
    /// then. To be called between disabling the controllers and destroying them.
    bool close(std::chrono::milliseconds limit);

    /// The last thousand commands, the latest last.
    std::vector<SCommandRecord> records() const;
    /// Has each command handed to `sink` afterwards, on the thread of the command. Before the first one.
    void addSink(std::function<void(const SCommandRecord&)> sink);

private:
    class CUse;
    using Action = std::function<void(CController& controller, std::vector<SCommandRecord>& records)>;

    bool disableAtTheEnd(CController& controller) const;
    void carryOut(const SCommandRecord& command, const Action& action);
    void carryOut(std::vector<SCommandRecord> commands, const Action& action);
    CController& running(const std::string& name) const;
    void checkParameters(const ILoopGraph& graph, std::size_t loop,
                         const std::vector<SLoopParameters::SValue>& values) const;
    void log(const SCommandRecord& record);

    CSession& session_;
    const CTypeCatalogue& catalogue_;
    std::vector<std::function<void(const SCommandRecord&)>> sinks_;
    mutable CMutex mutex_;
    std::condition_variable changed_;
    std::deque<SCommandRecord> records_ RVL_GUARDED_BY(mutex_);
    std::size_t underWay_ RVL_GUARDED_BY(mutex_) = 0;
    bool closed_ RVL_GUARDED_BY(mutex_) = false;
};

} // namespace Rvl
