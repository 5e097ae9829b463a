#pragma once

#include "host/configuration/ActuatorRange.h"
#include "host/configuration/Configuration.h"
#include "host/types/TypeCatalogue.h"

#include <pugixml.hpp>

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace Rvl {

/// Checks the keys of a configuration that name a sensor, an actuator or a port of a device against the
/// signals in the descriptions of the devices' types. Keys of an unknown device or of a type without
/// described signals are not checked.
class CSignalCheck
{
public:
    /// `devices` are the nodes of the devices by name; they are referred to, not copied.
    CSignalCheck(const CConfiguration& configuration, const CTypeCatalogue& catalogue,
                 const std::map<std::string, pugi::xml_node>& devices);

    /// The error of the text of a key; empty if it is valid. The key stands in `node` and belongs to the
    /// object of the configuration at `object`.
    std::string check(const SSignalReference& signal, const std::string& text, const pugi::xml_node& node,
                      const pugi::xml_node& object);

    /// What is expected where no signal is named; empty if none has to be.
    std::string expectedWhereMissing(const SSignalReference& signal, const pugi::xml_node& node,
                                     const pugi::xml_node& object) const;

    /// The range of the actuator or port that the channel at `object` is bound to by its keys "Device" and
    /// "Signal"; without limits where it is not known.
    SActuatorRange actuatorRange(const pugi::xml_node& object) const;

    /// The description of the signal of a device; null if device, type or signal are not known.
    const SSignalDescription* signalOf(const std::string& device, const std::string& signal) const;

private:
    std::string deviceName(const SSignalReference& signal, const pugi::xml_node& object) const;
    /// What a key of the device limits the actuator to in both directions; nothing without one.
    std::optional<double> limitOf(const std::string& device, const SSignalDescription& signal) const;
    const STypeDescription* deviceType(const std::string& name) const;

    const CConfiguration& configuration_;
    const CTypeCatalogue& catalogue_;
    const std::map<std::string, pugi::xml_node>& devices_;
    /// The objects that drive a signal exclusively, by device and signal.
    std::map<std::pair<std::string, std::string>, pugi::xml_node> taken_;
};

} // namespace Rvl
