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

ControllerLoops CLoopCheck::run()
{
    for (const pugi::xml_node& node : objectsOf(configuration_.root(), "Channels", "Channel")) {
        const STypeDescription* const type =
            catalogue_.find(typeNameOf(node, SKeyDescription::Object).value_or(""));
        if (type) {
            checkController({node, type});
        }
    }
    return std::move(controllers_);
}

void CLoopCheck::checkController(const STyped& controller)
{
    std::vector<STyped> loops;
    SControllerLoops described;
    const STyped output = loopsOf(controller, loops);
    for (const STyped& loop : loops) {
        described.types.push_back(loop.type);
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
                checkActuator(controller, loops, output, key, described);
            }
        }
    }
    for (const SKeyDescription& key : controller.type->keys) {
        if (!key.drives.empty()) {
            checkActuator(controller, {}, controller, key, described);
        }
    }
    if (!loops.empty()) {
        controllers_.emplace(controller.node.attribute("Name").value(), std::move(described));
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
                               const STyped& output, const SKeyDescription& key, SControllerLoops& described)
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
    const SDrivenOutput driven = drivenOutput(key, *name);
    described.outputs.push_back(driven);
    for (std::size_t index = 0; index < loops.size(); ++index) {
        if (described.reachesOutputs(index)) {
            checkNegative(loops[index], driven, described.isInnermost(index));
        }
    }
    if (described.passesSetPoint()) {
        checkNegative(controller, driven, false);
    }
    checkValue(loops.back(), "disabledValue", driven);
    checkValue(controller, "badInputValue", driven);
    // the manual value goes to the outermost loop's output, which is an actuator only in a single loop
    if (described.isInnermost(0)) {
        checkValue(controller, "manualValue", driven);
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

void CLoopCheck::checkValue(const STyped& holder, const std::string& role, const SDrivenOutput& output)
{
    const SKeyDescription* const key = holder.type->keyOfRole(role);
    const auto value = unscaled(holder, key);
    const std::string fault = value ? output.faultOf(*value) : std::string();
    if (!fault.empty()) {
        faults_.add(at(holder, *key, fault));
    }
}

void CLoopCheck::checkNegative(const STyped& holder, const SDrivenOutput& output, bool isInnermost)
{
    for (const SKeyDescription& key : holder.type->keys) {
        const auto value = output.isBound(key.role, isInnermost) ? unscaled(holder, &key) : std::nullopt;
        const auto effect = value ? output.effectOf(*value) : std::nullopt;
        if (effect) {
            faults_.add(at(holder, key, quoted(exactText(*value)) + " " + effect->text,
                           effect->isFault ? SFault::Fault : SFault::Warning));
        }
    }
}

SDrivenOutput CLoopCheck::drivenOutput(const SKeyDescription& driving, const std::string& name) const
{
    SDrivenOutput output{driving.drives, {name, {}, {}}};
    SActuatorRange& range = output.range;
    if (driving.drives == "dutyCycle") {
        range.minimum = 0.0;
        range.maximum = 100.0;
        return output;
    }
    const auto server = bearers_.find(driving.nameServer);
    const bool hasRange =
        driving.drives == "value" || driving.drives == "magnitude" || driving.drives == "flow";
    if (!hasRange || server == bearers_.end() || !server->second.count(name)) {
        return output;
    }
    const pugi::xml_node channel = server->second.at(name);
    const auto limit = [&](const char* path) {
        const auto text = textAt(channel, path);
        return text ? parseReal(*text) : std::nullopt;
    };
    // both limit what is written: the channel by its own range, and the actuator
    const SActuatorRange actuator = signals_.actuatorRange(channel);
    range.minimum = actuator.minimum;
    range.maximum = actuator.maximum;
    if (const auto minimum = limit("Range.<xmlattr>.Minimum")) {
        range.minimum = std::max(*minimum, range.minimum.value_or(*minimum));
    }
    if (const auto maximum = limit("Range.<xmlattr>.Maximum")) {
        range.maximum = std::min(*maximum, range.maximum.value_or(*maximum));
    }
    if (driving.drives == "magnitude") {
        range.minimum = range.maximum ? std::optional(-*range.maximum) : std::nullopt;
    }
    return output;
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
