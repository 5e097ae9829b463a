#include "host/configuration/LoopCheck.h"

#include "common/Numbers.h"
#include "host/base/NumberText.h"
#include "host/configuration/ConfigurationFrame.h"
#include "host/configuration/FaultText.h"
#include "host/configuration/Windup.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

namespace Rvl {

namespace {

/// The pattern of a port that a text gives; 0 if it is none.
std::uint32_t pattern(const std::optional<std::string>& text)
{
    return text ? parseHexadecimal(*text).value_or(0) : 0;
}

} // namespace

CLoopCheck::CLoopCheck(const CConfiguration& configuration, const CTypeCatalogue& catalogue,
                       const CSignalCheck& signals, const Bearers& bearers, CFaultList& faults)
    : configuration_(configuration), catalogue_(catalogue), signals_(signals), bearers_(bearers),
      faults_(faults), outputs_(faults)
{}

void CLoopCheck::run()
{
    for (const pugi::xml_node& node : objectsOf(configuration_.root(), "Channels", "Channel")) {
        const STypeDescription* const type =
            catalogue_.find(typeNameOf(node, SKeyDescription::Object).value_or(""));
        if (type) {
            checkController({node, type});
        }
    }
}

void CLoopCheck::checkController(const STyped& controller)
{
    std::vector<STyped> loops;
    const STyped output = loopsOf(controller, loops);
    for (const STyped& loop : loops) {
        checkWindup(loop);
        checkLevels(loop);
    }
    if (!loops.empty()) {
        checkManualValue(controller, loops.front());
    }
    if (output.type) {
        checkPatterns(output);
        for (const SKeyDescription& key : output.type->keys) {
            if (!key.drives.empty()) {
                checkActuator(controller, loops, output, key);
            }
        }
    }
    for (const SKeyDescription& key : controller.type->keys) {
        if (!key.drives.empty()) {
            checkActuator(controller, {}, controller, key);
        }
    }
}

void CLoopCheck::checkWindup(const STyped& loop)
{
    const SKeyDescription* const trackingKey = loop.type->keyOfRole("trackingTime");
    const SKeyDescription* const sampleKey = loop.type->keyOfRole("sampleTime");
    const auto integral = numberOfRole(loop, "integralTime");
    const auto sample = number(loop, sampleKey);
    if (!trackingKey || !sampleKey || !integral || !sample) {
        return;
    }
    const SWindup windup = windupOf(*integral, number(loop, trackingKey).value_or(0.0), *sample);
    if (windup.kind != SWindup::Sound) {
        faults_.add(at(loop, *sampleKey, windup.text,
                       windup.kind == SWindup::RunsAway ? SFault::Fault : SFault::Warning));
    }
}

void CLoopCheck::checkLevels(const STyped& loop)
{
    const SKeyDescription* const disabledKey = loop.type->keyOfRole("disabledValue");
    const auto disabled = number(loop, disabledKey);
    std::vector<std::string> levels;
    for (const SKeyDescription& key : loop.type->keys) {
        if (key.role == "level") {
            const auto level = number(loop, &key);
            if (!level || !disabled || *level == *disabled) {
                return;
            }
            levels.push_back(lastPart(key.path) + ", " + exactText(*level));
        }
    }
    if (levels.size() == 2) {
        faults_.add(at(loop, *disabledKey,
                       quoted(exactText(*disabled)) +
                           " leaves the loop inert once it was disabled, as it is neither " + levels[0] +
                           ", nor " + levels[1] + "; expected one of the two",
                       SFault::Warning));
    }
}

void CLoopCheck::checkPatterns(const STyped& output)
{
    const SKeyDescription* const negativeKey = output.type->keyOfRole("negativePattern");
    const SKeyDescription* const positiveKey = output.type->keyOfRole("positivePattern");
    if (!negativeKey || !positiveKey) {
        return;
    }
    const auto negative = textAt(output.node, negativeKey->path);
    const auto positive = textAt(output.node, positiveKey->path);
    if (negative && positive && pattern(negative) == pattern(positive)) {
        faults_.add(at(output, *positiveKey,
                       quoted(*positive) + " is the negative pattern as well: the direction never changes; "
                                           "expected two different patterns",
                       SFault::Warning));
    }
    for (const SKeyDescription& key : output.type->keys) {
        if (key.drives != "direction") {
            continue;
        }
        const std::string port = textAt(output.node, key.path).value_or("");
        const auto ports = bearers_.find(key.nameServer);
        if (ports == bearers_.end() || !ports->second.count(port)) {
            continue;
        }
        const pugi::xml_node channel = ports->second.at(port);
        const SSignalDescription* const signal =
            signals_.signalOf(textAt(channel, "Device").value_or(""), textAt(channel, "Signal").value_or(""));
        if (!signal || signal->lines == 0 || signal->lines >= 32) {
            continue;
        }
        const std::uint32_t all = (1U << signal->lines) - 1;
        for (const SKeyDescription* patternKey : {negativeKey, positiveKey}) {
            const auto text = textAt(output.node, patternKey->path);
            if ((pattern(text) & ~all) != 0) {
                faults_.add(at(output, *patternKey,
                               quoted(*text) + " is beyond the lines of port " + quoted(port) +
                                   ", which has " + std::to_string(signal->lines) +
                                   "; expected a pattern of at most " + std::to_string(all)));
            }
        }
    }
}

void CLoopCheck::checkActuator(const STyped& controller, const std::vector<STyped>& loops,
                               const STyped& output, const SKeyDescription& key)
{
    const auto name = textAt(output.node, key.path);
    if (!name || name->empty()) {
        return;
    }
    std::uint32_t lines = 0xffffffffU;
    if (key.drives == "direction") {
        lines = 0;
        for (const char* const role : {"negativePattern", "positivePattern"}) {
            const SKeyDescription* const patternKey = output.type->keyOfRole(role);
            lines |= patternKey ? pattern(textAt(output.node, patternKey->path)) : 0;
        }
    }
    const SKeyDescription* const sharedKey = controller.type->keyOfRole("sharedOutput");
    outputs_.add(
        key.nameServer, *name,
        {controller.node, at(output, key, {}), sharedKey && isTrueAt(controller.node, sharedKey->path)},
        lines);
    if (loops.empty()) {
        return;
    }
    // a loop that passes its set point on has the range of what gives that
    for (std::size_t index = loops.size(); index-- > 0;) {
        const bool isInnermost = index + 1 == loops.size();
        checkNegative(loops[index], key, *name, isInnermost);
        if (!loops[index].type->keyOfRole("passedSetPoint")) {
            break;
        }
        if (index == 0) {
            checkNegative(controller, key, *name, false);
        }
    }
    const SRange range = rangeOf(key, *name);
    checkValue(loops.back(), "disabledValue", range, *name);
    checkValue(controller, "badInputValue", range, *name);
    // the manual value goes to the outermost loop's output, which is an actuator only in a single loop
    if (loops.size() == 1) {
        checkValue(controller, "manualValue", range, *name);
    }
}

void CLoopCheck::checkManualValue(const STyped& controller, const STyped& loop)
{
    const SKeyDescription* const key = controller.type->keyOfRole("manualValue");
    const auto value = unscaled(controller, key);
    const auto minimum = numberOfRole(loop, "minimum");
    const auto maximum = numberOfRole(loop, "maximum");
    if (value && minimum && maximum && *minimum <= *maximum && (*value < *minimum || *value > *maximum)) {
        faults_.add(
            at(controller, *key,
               quoted(exactText(*value)) +
                   " is outside the loop's limits, which do not hold in manual mode; expected one from " +
                   exactText(*minimum) + " to " + exactText(*maximum),
               SFault::Warning));
    }
}

void CLoopCheck::checkValue(const STyped& holder, const std::string& role, const SRange& range,
                            const std::string& actuator)
{
    const SKeyDescription* const key = holder.type->keyOfRole(role);
    const auto value = unscaled(holder, key);
    if (!value ||
        !((range.minimum && *value < *range.minimum) || (range.maximum && *value > *range.maximum))) {
        return;
    }
    const std::string from = range.minimum ? exactText(*range.minimum) : std::string();
    const std::string to = range.maximum ? exactText(*range.maximum) : std::string();
    const std::string expected = from.empty() ? to + " or less"
                                 : to.empty() ? from + " or more"
                                              : "one from " + from + " to " + to;
    faults_.add(at(holder, *key,
                   quoted(exactText(*value)) + " is outside the range of output " + quoted(actuator) +
                       "; expected " + expected));
}

void CLoopCheck::checkNegative(const STyped& holder, const SKeyDescription& driving,
                               const std::string& actuator, bool isInnermost)
{
    const bool switches = driving.drives == "onOff";
    if (!switches && driving.drives != "dutyCycle") {
        return;
    }
    for (const SKeyDescription& key : holder.type->keys) {
        const bool counts = key.role == "minimum" || key.role == "maximum" || key.role == "level" ||
                            key.role == "passedSetPoint" || key.role == "setPointMinimum" ||
                            key.role == "setPointMaximum" ||
                            (switches && isInnermost && key.role == "disabledValue");
        const auto value = counts ? unscaled(holder, &key) : std::nullopt;
        if (!value || *value >= 0) {
            continue;
        }
        // a duty cycle is made of the lowest 32 bits, which are those of a positive number from here on
        const bool isFullPower = !switches && *value < std::numeric_limits<std::int32_t>::min();
        const std::string effect =
            switches      ? ", which switches output " + quoted(actuator) + " on"
            : isFullPower ? " so far that output " + quoted(actuator) + " makes a duty cycle of 100 of it"
                          : ", of which output " + quoted(actuator) + " makes a duty cycle of 0";
        faults_.add(at(holder, key,
                       quoted(exactText(*value)) + " lets the control value be negative" + effect +
                           "; expected 0 or more",
                       isFullPower ? SFault::Fault : SFault::Warning));
    }
}

CLoopCheck::SRange CLoopCheck::rangeOf(const SKeyDescription& driving, const std::string& name) const
{
    if (driving.drives == "dutyCycle") {
        return {0.0, 100.0};
    }
    const auto server = bearers_.find(driving.nameServer);
    const bool hasRange =
        driving.drives == "value" || driving.drives == "magnitude" || driving.drives == "flow";
    if (!hasRange || server == bearers_.end() || !server->second.count(name)) {
        return {};
    }
    const pugi::xml_node channel = server->second.at(name);
    const auto limit = [&](const char* path) {
        const auto text = textAt(channel, path);
        return text ? parseReal(*text) : std::nullopt;
    };
    // both limit what is written: the channel by its own range, and the actuator
    const CSignalCheck::SActuatorRange actuator = signals_.actuatorRange(channel);
    SRange range{actuator.minimum, actuator.maximum};
    if (const auto minimum = limit("Range.<xmlattr>.Minimum")) {
        range.minimum = std::max(*minimum, range.minimum.value_or(*minimum));
    }
    if (const auto maximum = limit("Range.<xmlattr>.Maximum")) {
        range.maximum = std::min(*maximum, range.maximum.value_or(*maximum));
    }
    if (driving.drives == "magnitude") {
        range.minimum = range.maximum ? std::optional(-*range.maximum) : std::nullopt;
    }
    return range;
}

CLoopCheck::STyped CLoopCheck::loopsOf(const STyped& controller, std::vector<STyped>& loops) const
{
    const auto next = [this](const STyped& holder, bool loopsOnly) {
        for (const SKeyDescription& key : holder.type->keys) {
            const bool suits =
                key.type == SKeyDescription::Element &&
                std::find(key.kinds.begin(), key.kinds.end(), "controlLoop") != key.kinds.end() &&
                (key.requiredUnless.empty() || !isTrueAt(holder.node, key.requiredUnless));
            const pugi::xml_node child = suits ? holder.node.child(key.path.c_str()) : pugi::xml_node();
            const STypeDescription* const type =
                child ? catalogue_.find(typeNameOf(child, SKeyDescription::Element).value_or("")) : nullptr;
            if (type && (!loopsOnly || type->kind == "controlLoop")) {
                return STyped{child, type};
            }
        }
        return STyped{};
    };
    STyped element = next(controller, true);
    while (element.type && element.type->kind == "controlLoop") {
        loops.push_back(element);
        element = next(element, false);
    }
    return element;
}

std::optional<double> CLoopCheck::number(const STyped& of, const SKeyDescription* key) const
{
    const auto text = key ? textAt(of.node, key->path) : std::nullopt;
    return text ? parseReal(*text) : std::nullopt;
}

std::optional<double> CLoopCheck::unscaled(const STyped& holder, const SKeyDescription* key) const
{
    const auto value = number(holder, key);
    const bool isOnScale = key && (key->role == "manualValue" || key->role == "setPointMinimum" ||
                                   key->role == "setPointMaximum");
    if (!value || !isOnScale) {
        return value;
    }
    const auto scale = [&](const char* path, double otherwise) {
        const auto text = textAt(holder.node, path);
        return (text ? parseReal(*text) : std::nullopt).value_or(otherwise);
    };
    const double factor = scale("Scaling.<xmlattr>.Factor", 1.0);
    return factor == 0 ? value : (*value - scale("Scaling.<xmlattr>.Offset", 0.0)) / factor;
}

std::optional<double> CLoopCheck::numberOfRole(const STyped& of, const std::string& role) const
{
    return number(of, of.type->keyOfRole(role));
}

SFault CLoopCheck::at(const STyped& of, const SKeyDescription& key, const std::string& text,
                      SFault::eGrade grade) const
{
    const std::string mark = "<xmlattr>.";
    const std::size_t attribute = key.path.find(mark);
    pugi::xml_node node = of.node;
    const std::string elements = key.path.substr(0, attribute);
    for (std::size_t start = 0; start < elements.size();) {
        const std::size_t end = std::min(elements.find('.', start), elements.size());
        const pugi::xml_node child = node.child(elements.substr(start, end - start).c_str());
        node = child ? child : node;
        start = end + 1;
    }
    SFault fault = attribute == std::string::npos
                       ? configuration_.fault(node, text)
                       : configuration_.fault(
                             node, node.attribute(key.path.substr(attribute + mark.size()).c_str()), text);
    fault.grade = grade;
    return fault;
}

} // namespace Rvl
