#include "host/session/Commands.h"

#include "host/base/NumberText.h"
#include "host/base/Suggestion.h"
#include "host/session/ParameterCheck.h"
#include "platform/rivlink_device/ControllerChannel.h"
#include "runtime/MonotonicWait.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <optional>
#include <utility>

namespace Rvl {

namespace {

constexpr std::size_t recordsKept = 1000;
constexpr std::size_t changesKept = 20; ///< of each loop's parameters

std::string text(bool value)
{
    return value ? "true" : "false";
}

void checkFinite(const std::string& what, double value, const std::string& field)
{
    if (!std::isfinite(value)) {
        throw CCommandRefused(CCommandRefused::OutOfRange,
                              "the " + what + " " + shortText(value) + " is not a finite number", field);
    }
}

void checkRange(const std::string& what, double value, const std::pair<double, double>& range,
                const std::string& field)
{
    if (value < range.first || value > range.second) {
        throw CCommandRefused(CCommandRefused::OutOfRange,
                              "the " + what + " " + shortText(value) + " lies outside the range; expected " +
                                  shortText(range.first) + " to " + shortText(range.second),
                              field);
    }
}

void checkManualControlValue(const CController& controller, bool manual, double value)
{
    if (!manual) {
        throw CCommandRefused(CCommandRefused::WrongState,
                              controller.name() + " is not in manual mode; expected that before its control "
                                                  "value is set",
                              "controlValue");
    }
    checkFinite("manual control value", value, "controlValue");
    if (const auto limits = controller.controlLimits()) {
        checkRange("manual control value", value, *limits, "controlValue");
    }
    checkDrivenManually(controller.described(), controller.channel().getUnscaledValue(value), "controlValue");
}

/// One record for each value.
std::vector<SCommandRecord> recordsOf(const std::string& source, const std::string& controller,
                                      std::size_t loop, const std::vector<SLoopParameters::SValue>& values)
{
    std::vector<SCommandRecord> records;
    for (const SLoopParameters::SValue& value : values) {
        records.push_back({{},
                           source,
                           controller,
                           "loop " + std::to_string(loop) + ": " + value.key,
                           "",
                           exactText(value.value),
                           ""});
    }
    return records;
}

ILoopGraph& loopsOf(const CController& controller, std::size_t loop)
{
    ILoopGraph* const loops = controller.loops();
    if (!loops || loop >= loops->loopCount()) {
        throw CCommandRefused(CCommandRefused::NotFound, controller.name() + " has no loop " +
                                                             std::to_string(loop) +
                                                             " whose parameters can be set");
    }
    return *loops;
}

/// The values before of the same keys, which become those of the records.
std::vector<SLoopParameters::SValue> noteOldValues(const SLoopParameters& before,
                                                   const std::vector<SLoopParameters::SValue>& values,
                                                   std::vector<SCommandRecord>& records)
{
    std::vector<SLoopParameters::SValue> result;
    for (std::size_t index = 0; index < values.size(); ++index) {
        if (const auto value = valueOf(before, values[index].key)) {
            records[index].oldValue = exactText(*value);
            result.push_back({values[index].key, *value});
        }
    }
    return result;
}

} // namespace

std::string SCommandRecord::text() const
{
    return source + ": " + controller + ": " + what + " " + (oldValue.empty() ? "?" : oldValue) + " -> " +
           newValue + (refusal.empty() ? "" : ", refused: " + refusal);
}

/// A command under way, which keeps close() waiting.
class CCommands::CUse
{
public:
    explicit CUse(CCommands& commands) : commands_(commands)
    {
        const CMutexLock lock(commands_.mutex_);
        if (commands_.closed_) {
            throw CCommandRefused(CCommandRefused::WrongState, "the session is ending");
        }
        ++commands_.underWay_;
    }
    ~CUse()
    {
        const CMutexLock lock(commands_.mutex_); // also while it notifies: close() may be followed by the end
        --commands_.underWay_;
        commands_.changed_.notify_all();
    }
    CUse(const CUse&) = delete;
    CUse& operator=(const CUse&) = delete;

private:
    CCommands& commands_;
};

CCommands::CCommands(CSession& session, const CTypeCatalogue& catalogue)
    : session_(session), catalogue_(catalogue)
{}

CCommands::Records CCommands::setSetPoint(const std::string& source, const std::string& controller,
                                          double setPoint)
{
    return carryOut({{{}, source, controller, "set point", "", exactText(setPoint), ""}}, [&](CController&
                                                                                                  target,
                                                                                              Records&
                                                                                                  records) {
        IControllerChannel& channel = target.channel();
        records[0].oldValue = exactText(channel.getSetPoint());
        checkFinite("set point", setPoint, "value");
        checkRange("set point", setPoint, {channel.setpointMinimum(), channel.setpointMaximum()}, "value");
        checkDrivenSetPoint(target.described(), channel.getUnscaledValue(setPoint), "value");
        channel.writeSetPoint(setPoint);
    });
}

CCommands::Records CCommands::setEnabled(const std::string& source, const std::string& controller,
                                         bool enabled)
{
    return carryOut({{{}, source, controller, "enabled", "", Rvl::text(enabled), ""}},
                    [&](CController& target, Records& records) {
                        records[0].oldValue = Rvl::text(target.channel().isControlLoopEnabled());
                        target.setEnabled(enabled);
                    });
}

CCommands::Records CCommands::setManual(const std::string& source, const std::string& controller,
                                        std::optional<bool> manual, std::optional<double> controlValue)
{
    Records commands;
    if (manual) {
        commands.push_back({{}, source, controller, "manual mode", "", Rvl::text(*manual), ""});
    }
    if (controlValue) {
        commands.push_back(
            {{}, source, controller, "manual control value", "", exactText(*controlValue), ""});
    }
    if (commands.empty()) {
        return {};
    }
    return carryOut(std::move(commands), [&](CController& target, Records& records) {
        if (manual) {
            records.front().oldValue = Rvl::text(target.isManual());
        }
        if (controlValue) {
            records.back().oldValue = exactText(target.channel().readControlValue());
            checkManualControlValue(target, manual.value_or(target.isManual()), *controlValue);
        }
        if (target.hasFailed() && (manual.value_or(false) || controlValue)) {
            throw CCommandRefused(CCommandRefused::WrongState,
                                  target.name() +
                                      " calculated a control value that is not a number; expected "
                                      "that it is enabled again before its output is driven");
        }
        if (manual) {
            target.handOver(*manual);
        }
        if (controlValue) {
            target.channel().writeManualControlValue(*controlValue);
        }
    });
}

CCommands::Records CCommands::setParameters(const std::string& source, const std::string& controller,
                                            std::size_t loop, const Values& values)
{
    Values before;
    Records records =
        carryOut(recordsOf(source, controller, loop, values), [&](CController& target, Records& commands) {
            before = changeParameters(target, loop, values, commands);
            const CMutexLock lock(mutex_);
            std::deque<Values>& replaced = replaced_[{controller, loop}];
            replaced.push_back(before);
            if (replaced.size() > changesKept) {
                replaced.pop_front();
            }
        });
    return records;
}

CCommands::Records CCommands::previewParameters(const std::string& source, const std::string& controller,
                                                std::size_t loop, const Values& values) const
{
    Records records = recordsOf(source, controller, loop, values);
    const CController& target = running(controller);
    noteOldValues(loopsOf(target, loop).parameters(loop), values, records);
    checkParameters(target, loop, values);
    return records;
}

CCommands::Records CCommands::undoParameters(const std::string& source, const std::string& controller,
                                             std::size_t loop)
{
    const SCommandRecord unknown{{}, source, controller, "loop " + std::to_string(loop) + ": undo",
                                 "", "",     ""};
    return carryOut({unknown}, [&](CController& target, Records& commands) {
        const Values values = lastReplaced({controller, loop});
        commands = recordsOf(source, controller, loop, values);
        changeParameters(target, loop, values, commands);
        const CMutexLock lock(mutex_);
        replaced_[{controller, loop}].pop_back();
    });
}

CCommands::Values CCommands::lastReplaced(const LoopId& loop) const
{
    const CMutexLock lock(mutex_);
    const auto found = replaced_.find(loop);
    if (found == replaced_.end() || found->second.empty()) {
        throw CCommandRefused(CCommandRefused::WrongState, "there is no change of these parameters to undo");
    }
    return found->second.back();
}

std::size_t CCommands::undoCount(const std::string& controller, std::size_t loop) const
{
    const CMutexLock lock(mutex_);
    const auto found = replaced_.find({controller, loop});
    return found == replaced_.end() ? 0 : found->second.size();
}

/// Returns the values before.
CCommands::Values CCommands::changeParameters(CController& controller, std::size_t loop, const Values& values,
                                              Records& records)
{
    ILoopGraph& graph = loopsOf(controller, loop);
    Values before = noteOldValues(graph.parameters(loop), values, records);
    checkParameters(controller, loop, values);
    graph.setParameters(loop, values);
    return before;
}

void CCommands::checkParameters(const CController& controller, std::size_t loop, const Values& values) const
{
    const ILoopGraph& graph = loopsOf(controller, loop);
    SLoopParameters changed = graph.parameters(loop);
    if (changed.isProtected) {
        throw CCommandRefused(CCommandRefused::WrongState,
                              "the parameter set " + changed.name + " is protected");
    }
    for (const SLoopParameters::SValue& value : values) {
        const auto found =
            std::find_if(changed.values.begin(), changed.values.end(),
                         [&](const SLoopParameters::SValue& entry) { return entry.key == value.key; });
        if (found == changed.values.end()) {
            throw CCommandRefused(CCommandRefused::OutOfRange,
                                  "the loop has no parameter \"" + value.key + "\"; expected " +
                                      expectedChoices(value.key, keysOf(changed)),
                                  value.key);
        }
        if (value.key == "Setpoint") {
            throw CCommandRefused(CCommandRefused::OutOfRange,
                                  "Setpoint is the set point at the start; expected a command for the set "
                                  "point itself",
                                  value.key);
        }
        checkFinite("parameter " + value.key, value.value, value.key);
        found->value = value.value;
    }
    const SControllerLoops& described = controller.described();
    if (const auto* const type = typeOfLoop(described, loop, graph.status(loop).typeName, catalogue_)) {
        checkDescribed(*type, changed);
    }
    checkDriven(described, loop, changed);
}

CController& CCommands::running(const std::string& name) const
{
    if (!session_.isRunning()) {
        throw CCommandRefused(CCommandRefused::WrongState, "the session is not running");
    }
    if (CController* const controller = session_.findController(name)) {
        return *controller;
    }
    std::vector<std::string> names;
    for (const CController* const controller : session_.controllers()) {
        names.push_back(controller->name());
    }
    throw CCommandRefused(CCommandRefused::NotFound,
                          "\"" + name + "\" is no controller; expected " + expectedChoices(name, names));
}

/// The shut-down may have disabled the controller before the command enabled it.
bool CCommands::disableAtTheEnd(CController& controller) const
{
    if (session_.isDisabling()) {
        controller.channel().setEnabled(false);
        return true;
    }
    return false;
}

CCommands::Records CCommands::carryOut(Records commands, const Action& action)
{
    std::optional<CCommandRefused> refusal;
    try {
        attempt(commands, action);
    } catch (const CCommandRefused& refused) {
        refusal = refused;
    } catch (const std::exception& exception) {
        const std::string text = exception.what();
        refusal.emplace(CCommandRefused::Failed, text.empty() ? "an exception without a text" : text);
    } catch (...) {
        refusal.emplace(CCommandRefused::Failed, "an exception of unknown kind");
    }
    const auto now = session_.timeline().utc();
    for (SCommandRecord& command : commands) {
        command.utc = now;
        command.refusal = refusal ? refusal->what() : "";
        log(command);
    }
    if (refusal) {
        throw *refusal;
    }
    return commands;
}

void CCommands::attempt(Records& commands, const Action& action)
{
    if (commands.empty()) {
        return;
    }
    const CUse use(*this);
    CController& controller = running(commands.front().controller);
    const CMutexLock lock(controller.commandMutex());
    const CCallWatch::CCall call(session_.calls(), controller.name(), CCallWatch::Other);
    if (!session_.isRunning()) { // any more: the lock may have taken long
        throw CCommandRefused(CCommandRefused::WrongState, session_.isDisabling()
                                                               ? "the session is ending"
                                                               : "the session is not running");
    }
    try {
        action(controller, commands);
    } catch (...) {
        disableAtTheEnd(controller);
        throw;
    }
    if (disableAtTheEnd(controller)) {
        throw CCommandRefused(CCommandRefused::WrongState, "the session is ending");
    }
}

void CCommands::log(const SCommandRecord& record)
{
    const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CommandLogger"));
    if (record.refusal.empty()) {
        LOG4CPLUS_INFO(logger, record.text());
    } else {
        LOG4CPLUS_WARN(logger, record.text());
    }
    {
        const CMutexLock lock(mutex_);
        records_.push_back(record);
        if (records_.size() > recordsKept) {
            records_.pop_front();
        }
    }
    for (const auto& sink : sinks_) {
        sink(record);
    }
}

void CCommands::note(SCommandRecord record)
{
    record.utc = session_.timeline().utc();
    log(record);
}

bool CCommands::close(std::chrono::milliseconds limit)
{
    CMutexLock lock(mutex_);
    closed_ = true;
    return waitFor(changed_, lock.native(), limit, [this]() RVL_REQUIRES(mutex_) { return underWay_ == 0; });
}

std::vector<SCommandRecord> CCommands::records() const
{
    const CMutexLock lock(mutex_);
    return {records_.begin(), records_.end()};
}

void CCommands::addSink(std::function<void(const SCommandRecord&)> sink)
{
    sinks_.push_back(std::move(sink));
}

} // namespace Rvl
