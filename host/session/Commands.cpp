#include "host/session/Commands.h"

#include "host/base/NumberText.h"
#include "host/base/Suggestion.h"
#include "host/configuration/KeyCheck.h"
#include "platform/rivlink_device/ControllerChannel.h"

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

std::string text(bool value)
{
    return value ? "true" : "false";
}

void checkFinite(const std::string& what, double value)
{
    if (!std::isfinite(value)) {
        throw CCommandRefused("the " + what + " " + shortText(value) + " is not a finite number");
    }
}

void checkRange(const std::string& what, double value, double minimum, double maximum)
{
    if (value < minimum || value > maximum) {
        throw CCommandRefused("the " + what + " " + shortText(value) + " lies outside the range; expected " +
                              shortText(minimum) + " to " + shortText(maximum));
    }
}

/// The value of a parameter; nothing if the set has none of that key.
std::optional<double> valueOf(const SLoopParameters& parameters, const std::string& key)
{
    const auto found = std::find_if(parameters.values.begin(), parameters.values.end(),
                                    [&](const SLoopParameters::SValue& value) { return value.key == key; });
    return found == parameters.values.end() ? std::nullopt : std::optional<double>(found->value);
}

std::vector<std::string> keysOf(const SLoopParameters& parameters)
{
    std::vector<std::string> keys;
    for (const SLoopParameters::SValue& value : parameters.values) {
        keys.push_back(value.key);
    }
    return keys;
}

/// The name of the attribute at the end of a key's path.
std::string attributeOf(const std::string& path)
{
    return path.substr(path.rfind('.') + 1);
}

bool keeps(const SKeyRelation& relation, double value, double other)
{
    const double limit = other * relation.factor;
    switch (relation.relation) {
    case SKeyRelation::NotAbove:
        return value <= limit;
    case SKeyRelation::NotBelow:
        return value >= limit;
    case SKeyRelation::Above:
        break;
    }
    return value > limit;
}

/// Checks a changed parameter set against the description of the loop's type.
void checkDescribed(const STypeDescription& type, const SLoopParameters& parameters)
{
    for (const SKeyDescription& key : type.keys) {
        const std::string name = attributeOf(key.path);
        const auto value = valueOf(parameters, name);
        if (!value || key.path.find("<xmlattr>") == std::string::npos) {
            continue;
        }
        if (const auto fault = checkValue(key, exactText(*value))) {
            throw CCommandRefused(name + ": " + *fault);
        }
        for (const SKeyRelation& relation : key.relations) {
            const std::string otherName = attributeOf(relation.path);
            const auto other = valueOf(parameters, otherName);
            if (other && !keeps(relation, *value, *other)) {
                throw CCommandRefused(name + " " + shortText(*value) + " does not go together with " +
                                      otherName + " " + shortText(*other));
            }
        }
    }
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
            throw CCommandRefused("the session is ending");
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

void CCommands::setSetPoint(const std::string& source, const std::string& controller, double setPoint)
{
    carryOut({{}, source, controller, "set point", "", exactText(setPoint), ""},
             [&](CController& target, std::vector<SCommandRecord>& records) {
                 IControllerChannel& channel = target.channel();
                 records[0].oldValue = exactText(channel.getSetPoint());
                 checkFinite("set point", setPoint);
                 checkRange("set point", setPoint, channel.setpointMinimum(), channel.setpointMaximum());
                 channel.writeSetPoint(setPoint);
             });
}

void CCommands::setEnabled(const std::string& source, const std::string& controller, bool enabled)
{
    carryOut({{}, source, controller, "enabled", "", Rvl::text(enabled), ""},
             [&](CController& target, std::vector<SCommandRecord>& records) {
                 records[0].oldValue = Rvl::text(target.channel().isControlLoopEnabled());
                 target.setEnabled(enabled);
             });
}

void CCommands::setManual(const std::string& source, const std::string& controller, bool manual)
{
    carryOut({{}, source, controller, "manual mode", "", Rvl::text(manual), ""},
             [&](CController& target, std::vector<SCommandRecord>& records) {
                 records[0].oldValue = Rvl::text(target.isManual());
                 target.setManual(manual);
             });
}

void CCommands::setManualControlValue(const std::string& source, const std::string& controller, double value)
{
    carryOut({{}, source, controller, "manual control value", "", exactText(value), ""},
             [&](CController& target, std::vector<SCommandRecord>& records) {
                 IControllerChannel& channel = target.channel();
                 records[0].oldValue = exactText(channel.readControlValue());
                 checkFinite("manual control value", value);
                 if (const ILoopGraph* const loops = target.loops()) {
                     const SLoopParameters parameters = loops->parameters(0);
                     const auto minimum = valueOf(parameters, "MinU");
                     const auto maximum = valueOf(parameters, "MaxU");
                     if (minimum && maximum) {
                         const auto [low, high] = // a scaling may turn them round
                             std::minmax(
                                 {channel.getScaledValue(*minimum), channel.getScaledValue(*maximum)});
                         checkRange("manual control value", value, low, high);
                     }
                 }
                 channel.writeManualControlValue(value);
             });
}

void CCommands::setParameters(const std::string& source, const std::string& controller, std::size_t loop,
                              const std::vector<SLoopParameters::SValue>& values)
{
    if (values.empty()) {
        return;
    }
    std::vector<SCommandRecord> commands;
    for (const SLoopParameters::SValue& value : values) {
        commands.push_back({{},
                            source,
                            controller,
                            "loop " + std::to_string(loop) + ": " + value.key,
                            "",
                            exactText(value.value),
                            ""});
    }
    carryOut(std::move(commands), [&](CController& target, std::vector<SCommandRecord>& records) {
        ILoopGraph* const loops = target.loops();
        if (!loops || loop >= loops->loopCount()) {
            throw CCommandRefused(target.name() + " has no loop " + std::to_string(loop) +
                                  " whose parameters can be set");
        }
        const SLoopParameters before = loops->parameters(loop);
        for (std::size_t index = 0; index < values.size(); ++index) {
            const auto value = valueOf(before, values[index].key);
            records[index].oldValue = value ? exactText(*value) : "";
        }
        checkParameters(*loops, loop, values);
        loops->setParameters(loop, values);
    });
}

void CCommands::checkParameters(const ILoopGraph& graph, std::size_t loop,
                                const std::vector<SLoopParameters::SValue>& values) const
{
    SLoopParameters changed = graph.parameters(loop);
    if (changed.isProtected) {
        throw CCommandRefused("the parameter set " + changed.name + " is protected");
    }
    for (const SLoopParameters::SValue& value : values) {
        const auto found =
            std::find_if(changed.values.begin(), changed.values.end(),
                         [&](const SLoopParameters::SValue& entry) { return entry.key == value.key; });
        if (found == changed.values.end()) {
            throw CCommandRefused("the loop has no parameter \"" + value.key + "\"; expected " +
                                  expectedChoices(value.key, keysOf(changed)));
        }
        if (value.key == "Setpoint") {
            throw CCommandRefused("Setpoint is the set point at the start; expected a command for the set "
                                  "point itself");
        }
        checkFinite("parameter " + value.key, value.value);
        found->value = value.value;
    }
    if (const STypeDescription* const type = catalogue_.find(graph.status(loop).typeName)) {
        checkDescribed(*type, changed);
    }
}

CController& CCommands::running(const std::string& name) const
{
    if (!session_.isRunning()) {
        throw CCommandRefused("the session is not running");
    }
    if (CController* const controller = session_.findController(name)) {
        return *controller;
    }
    std::vector<std::string> names;
    for (const CController* const controller : session_.controllers()) {
        names.push_back(controller->name());
    }
    throw CCommandRefused("\"" + name + "\" is no controller; expected " + expectedChoices(name, names));
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

void CCommands::carryOut(const SCommandRecord& command, const Action& action)
{
    carryOut(std::vector<SCommandRecord>{command}, action);
}

void CCommands::carryOut(std::vector<SCommandRecord> commands, const Action& action)
{
    std::string refusal;
    try {
        const CUse use(*this);
        CController& controller = running(commands.front().controller);
        const CMutexLock lock(controller.commandMutex());
        const CCallWatch::CCall call(session_.calls(), controller.name(), CCallWatch::Other);
        if (!session_.isRunning()) { // any more: the lock may have taken long
            throw CCommandRefused(session_.isDisabling() ? "the session is ending"
                                                         : "the session is not running");
        }
        try {
            action(controller, commands);
        } catch (...) {
            disableAtTheEnd(controller);
            throw;
        }
        if (disableAtTheEnd(controller)) {
            throw CCommandRefused("the session is ending");
        }
    } catch (const std::exception& exception) {
        refusal = exception.what();
        refusal = refusal.empty() ? "an exception without a text" : refusal;
    } catch (...) {
        refusal = "an exception of unknown kind";
    }
    const auto now = session_.timeline().utc();
    for (SCommandRecord& command : commands) {
        command.utc = now;
        command.refusal = refusal;
        log(command);
    }
    if (!refusal.empty()) {
        throw CCommandRefused(refusal);
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

bool CCommands::close(std::chrono::milliseconds limit)
{
    CMutexLock lock(mutex_);
    closed_ = true;
    return changed_.wait_for(lock.native(), limit, [this]() RVL_REQUIRES(mutex_) { return underWay_ == 0; });
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
