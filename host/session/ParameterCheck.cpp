#include "host/session/ParameterCheck.h"

#include "host/base/NumberText.h"
#include "host/configuration/FaultText.h"
#include "host/configuration/KeyCheck.h"
#include "host/configuration/Windup.h"
#include "host/session/Commands.h"

#include <algorithm>
#include <cmath>

namespace Rvl {

namespace {

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

/// The value of the parameter that has this role in the description.
std::optional<double> valueOfRole(const STypeDescription& type, const SLoopParameters& parameters,
                                  const std::string& role)
{
    const SKeyDescription* const key = type.keyOfRole(role);
    return key ? valueOf(parameters, lastPart(key->path)) : std::nullopt;
}

void checkWindup(const STypeDescription& type, const SLoopParameters& parameters)
{
    const auto integral = valueOfRole(type, parameters, "integralTime");
    const auto tracking = valueOfRole(type, parameters, "trackingTime");
    const auto sample = valueOfRole(type, parameters, "sampleTime");
    if (!integral || !tracking || !sample) {
        return;
    }
    const SWindup windup = windupOf(*integral, *tracking, *sample);
    if (windup.kind == SWindup::RunsAway) {
        throw CCommandRefused(CCommandRefused::OutOfRange, windup.text,
                              lastPart(type.keyOfRole("trackingTime")->path));
    }
}

/// The value as a configuration would have it: whole numbers have no exponent there.
std::string textFor(const SKeyDescription& key, double value)
{
    const bool isWhole = std::trunc(value) == value && std::abs(value) < 1e15;
    return key.type == SKeyDescription::Integer && isWhole ? std::to_string(static_cast<long long>(value))
                                                           : exactText(value);
}

/// Refuses the command if there is a fault.
void refuse(const std::string& what, const std::string& fault, const std::string& field)
{
    if (!fault.empty()) {
        throw CCommandRefused(CCommandRefused::OutOfRange, what + fault, field);
    }
}

/// Refuses the command if a control value of `value` would be a fault in a configuration.
void refuseEffect(const std::string& what, const SDrivenOutput& output, double value,
                  const std::string& field)
{
    const auto effect = output.effectOf(value);
    if (effect && effect->isFault) {
        refuse(what, quoted(exactText(value)) + " " + effect->text, field);
    }
}

} // namespace

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

std::optional<std::pair<double, double>> controlLimitsOf(const SLoopParameters& parameters)
{
    const bool hasLevels = valueOf(parameters, "U_Up").has_value();
    const auto one = valueOf(parameters, hasLevels ? "U_Down" : "MinU");
    const auto other = valueOf(parameters, hasLevels ? "U_Up" : "MaxU");
    return one && other ? std::optional<std::pair<double, double>>(std::minmax(*one, *other)) : std::nullopt;
}

const STypeDescription* typeOfLoop(const SControllerLoops& loops, std::size_t loop,
                                   const std::string& ownName, const CTypeCatalogue& catalogue)
{
    return loop < loops.types.size() ? loops.types[loop] : catalogue.find(ownName);
}

void checkDescribed(const STypeDescription& type, const SLoopParameters& parameters)
{
    for (const SKeyDescription& key : type.keys) {
        const std::string name = lastPart(key.path);
        const auto value = valueOf(parameters, name);
        if (!value || key.path.find("<xmlattr>") == std::string::npos) {
            continue;
        }
        if (const auto fault = checkValue(key, textFor(key, *value))) {
            throw CCommandRefused(CCommandRefused::OutOfRange, name + ": " + *fault, name);
        }
        for (const SKeyRelation& relation : key.relations) {
            const std::string otherName = lastPart(relation.path);
            const auto other = valueOf(parameters, otherName);
            const SKeyDescription* const otherKey = type.key(relation.path);
            if (!other || isNoLimit(key, *value) || (otherKey && isNoLimit(*otherKey, *other))) {
                continue;
            }
            if (!keeps(relation, *value, *other)) {
                throw CCommandRefused(CCommandRefused::OutOfRange,
                                      name + " " + shortText(*value) + " does not go together with " +
                                          otherName + " " + shortText(*other),
                                      name);
            }
        }
    }
    checkWindup(type, parameters);
}

void checkDriven(const SControllerLoops& loops, std::size_t loop, const SLoopParameters& parameters)
{
    if (!loops.reachesOutputs(loop)) {
        return;
    }
    for (const SDrivenOutput& output : loops.outputs) {
        for (const SKeyDescription& key : loops.types[loop]->keys) {
            const std::string name = lastPart(key.path);
            const auto value = key.role.empty() ? std::nullopt : valueOf(parameters, name);
            if (!value) {
                continue;
            }
            if (key.role == "disabledValue" && loops.isInnermost(loop)) {
                refuse(name + ": ", output.faultOf(*value), name);
            }
            if (output.isBound(key.role, loops.isInnermost(loop))) {
                refuseEffect(name + ": ", output, *value, name);
            }
        }
    }
}

void checkDrivenSetPoint(const SControllerLoops& loops, double setPoint, const std::string& field)
{
    if (loops.passesSetPoint()) {
        for (const SDrivenOutput& output : loops.outputs) {
            refuseEffect("the set point ", output, setPoint, field);
        }
    }
}

void checkDrivenManually(const SControllerLoops& loops, double controlValue, const std::string& field)
{
    if (loops.isInnermost(0)) { // of a cascade it is the set point of the loop below
        for (const SDrivenOutput& output : loops.outputs) {
            refuse("the manual control value ", output.faultOf(controlValue), field);
        }
    }
}

} // namespace Rvl
