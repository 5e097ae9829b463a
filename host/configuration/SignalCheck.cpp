#include "host/configuration/SignalCheck.h"

#include "common/Numbers.h"
#include "host/base/NumberText.h"
#include "host/base/Suggestion.h"
#include "host/configuration/Configuration.h"
#include "host/configuration/ConfigurationFrame.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace Rvl {

namespace {

/// The choice beside the key; an empty text if the kinds do not depend on one.
std::optional<std::string> choiceBeside(const SSignalReference& signal, const pugi::xml_node& node)
{
    if (signal.choice.empty()) {
        return std::string();
    }
    const auto attribute = textAt(node, "<xmlattr>." + signal.choice);
    return attribute ? attribute : textAt(node, signal.choice);
}

/// The kinds of signals that are allowed, or null if these are not known.
const std::vector<std::string>* kindsAt(const SSignalReference& signal, const pugi::xml_node& node)
{
    const auto choice = choiceBeside(signal, node);
    const auto kinds = choice ? signal.kinds.find(*choice) : signal.kinds.end();
    return kinds == signal.kinds.end() ? nullptr : &kinds->second;
}

} // namespace

CSignalCheck::CSignalCheck(const CConfiguration& configuration, const CTypeCatalogue& catalogue,
                           const std::map<std::string, pugi::xml_node>& devices)
    : configuration_(configuration), catalogue_(catalogue), devices_(devices)
{}

std::string CSignalCheck::check(const SSignalReference& signal, const std::string& text,
                                const pugi::xml_node& node, const pugi::xml_node& object)
{
    const std::vector<std::string>* const kinds = kindsAt(signal, node);
    if (!kinds) {
        return {};
    }
    if (kinds->empty()) {
        return text.empty() ? ""
                            : "\"" + text + "\" is not read while " + signal.choice + " is " +
                                  choiceBeside(signal, node).value_or("") + "; expected no signal";
    }
    const std::string device = deviceName(signal, object);
    const STypeDescription* const type = deviceType(device);
    if (!type) {
        return {};
    }
    const std::vector<std::string> names = type->signalsOfKinds(*kinds);
    if (std::find(names.begin(), names.end(), text) == names.end()) {
        return "\"" + text + "\" is no " + enumeration(*kinds) + " of device \"" + device + "\"; expected " +
               expectedChoices(text, names);
    }
    if (signal.exclusive) {
        const auto [taker, fresh] = taken_.emplace(std::pair(device, text), object);
        if (!fresh) {
            return "\"" + text + "\" of device \"" + device + "\" is already driven by " +
                   configuration_.path(taker->second) + "; expected one that is not driven";
        }
    }
    return {};
}

std::string CSignalCheck::expectedWhereMissing(const SSignalReference& signal, const pugi::xml_node& node,
                                               const pugi::xml_node& object) const
{
    const std::vector<std::string>* const kinds = kindsAt(signal, node);
    if (!kinds || kinds->empty()) {
        return {};
    }
    const STypeDescription* const type = deviceType(deviceName(signal, object));
    return type ? expectedChoices({}, type->signalsOfKinds(*kinds)) : "a text";
}

SActuatorRange CSignalCheck::actuatorRange(const pugi::xml_node& object) const
{
    SActuatorRange range{textAt(object, "Signal").value_or(""), {}, {}};
    const SSignalDescription* const signal = signalOf(textAt(object, "Device").value_or(""), range.actuator);
    if (!signal) {
        return range;
    }
    if (signal->lines > 0 && signal->lines <= 32) {
        range.minimum = 0.0;
        range.maximum = static_cast<double>((std::uint64_t{1} << signal->lines) - 1);
        return range;
    }
    const auto scale = [&](const char* path, double otherwise) {
        const auto text = textAt(object, path);
        return (text ? parseReal(*text) : std::nullopt).value_or(otherwise);
    };
    const double factor = scale("Scaling.<xmlattr>.Factor", 1.0);
    const double offset = scale("Scaling.<xmlattr>.Offset", 0.0);
    const auto scaled = [&](const std::optional<double>& limit) {
        return limit ? std::optional(factor * *limit + offset) : limit;
    };
    const auto limit = limitOf(textAt(object, "Device").value_or(""), *signal);
    range.minimum = scaled(limit ? std::optional(-*limit) : signal->minimum);
    range.maximum = scaled(limit ? limit : signal->maximum);
    if (factor < 0) {
        std::swap(range.minimum, range.maximum);
    }
    return range;
}

const SSignalDescription* CSignalCheck::signalOf(const std::string& device, const std::string& signal) const
{
    const STypeDescription* const type = deviceType(device);
    if (type) {
        for (const SSignalDescription& description : type->signals) {
            if (description.name == signal) {
                return &description;
            }
        }
    }
    return nullptr;
}

std::optional<double> CSignalCheck::limitOf(const std::string& device, const SSignalDescription& signal) const
{
    const STypeDescription* const type = deviceType(device);
    const SKeyDescription* const key = type ? type->key(signal.limitKey) : nullptr;
    if (!key) {
        return std::nullopt;
    }
    const auto text = textAt(devices_.at(device), key->path);
    return parseReal(text ? *text : key->defaultText.value_or(""));
}

std::string CSignalCheck::deviceName(const SSignalReference& signal, const pugi::xml_node& object) const
{
    return signal.device.empty() ? object.attribute("Name").value()
                                 : textAt(object, signal.device).value_or("");
}

const STypeDescription* CSignalCheck::deviceType(const std::string& name) const
{
    const auto device = devices_.find(name);
    if (device == devices_.end()) {
        return nullptr;
    }
    const auto typeName = typeNameOf(device->second, SKeyDescription::Object);
    const STypeDescription* const type = catalogue_.find(typeName.value_or(""));
    return type && !type->signals.empty() ? type : nullptr;
}

} // namespace Rvl
