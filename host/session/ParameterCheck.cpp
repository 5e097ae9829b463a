#include "host/session/ParameterCheck.h"

#include "host/base/NumberText.h"
#include "host/configuration/FaultText.h"
#include "host/configuration/KeyCheck.h"
#include "host/configuration/Windup.h"
#include "host/session/Commands.h"

#include <algorithm>

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

void checkDescribed(const STypeDescription& type, const SLoopParameters& parameters)
{
    for (const SKeyDescription& key : type.keys) {
        const std::string name = lastPart(key.path);
        const auto value = valueOf(parameters, name);
        if (!value || key.path.find("<xmlattr>") == std::string::npos) {
            continue;
        }
        if (const auto fault = checkValue(key, exactText(*value))) {
            throw CCommandRefused(CCommandRefused::OutOfRange, name + ": " + *fault, name);
        }
        for (const SKeyRelation& relation : key.relations) {
            const std::string otherName = lastPart(relation.path);
            const auto other = valueOf(parameters, otherName);
            if (other && !keeps(relation, *value, *other)) {
                throw CCommandRefused(CCommandRefused::OutOfRange,
                                      name + " " + shortText(*value) + " does not go together with " +
                                          otherName + " " + shortText(*other),
                                      name);
            }
        }
    }
    checkWindup(type, parameters);
}

} // namespace Rvl
