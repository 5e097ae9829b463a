#pragma once

#include "host/types/TypeCatalogue.h"

#include <pugixml.hpp>

#include <map>
#include <string>
#include <utility>

namespace Rvl {

/// Judges the texts of a configuration that name a sensor, an actuator or a port of a device, by the signals
/// that the devices' types describe. What is not known is not judged: a device that is not there, a type
/// without described signals.
class CSignalCheck
{
public:
    /// `devices` are the nodes of the devices by name; they are referred to, not copied.
    CSignalCheck(const CTypeCatalogue& catalogue, const std::map<std::string, pugi::xml_node>& devices);

    /// What is wrong with the text of a key; empty if nothing is. The key stands in `node` and belongs to the
    /// object of the configuration at `object`.
    std::string judge(const SSignalReference& signal, const std::string& text, const pugi::xml_node& node,
                      const pugi::xml_node& object);

    /// What is expected where no signal is named; empty if none has to be.
    std::string expectedWhereMissing(const SSignalReference& signal, const pugi::xml_node& node,
                                     const pugi::xml_node& object) const;

private:
    std::string deviceName(const SSignalReference& signal, const pugi::xml_node& object) const;
    const STypeDescription* deviceType(const std::string& name) const;

    const CTypeCatalogue& catalogue_;
    const std::map<std::string, pugi::xml_node>& devices_;
    /// Who names which signal of which device for himself.
    std::map<std::pair<std::string, std::string>, pugi::xml_node> taken_;
};

} // namespace Rvl
