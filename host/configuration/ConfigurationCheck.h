#pragma once

#include "host/configuration/Configuration.h"
#include "host/configuration/Fault.h"
#include "host/configuration/SignalCheck.h"
#include "host/types/TypeCatalogue.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Rvl {

/// Judges a configuration by the type descriptions of the loaded plug-ins, and collects every fault: what is
/// missing, unknown, given twice, not convertible, out of range or refers to nothing. Builds nothing.
class CConfigurationCheck
{
public:
    /// `complete` tells whether the catalogue holds every plug-in that the configuration names: what a
    /// missing one may have offered is not called unknown. `busNames` are the buses that plug-ins brought
    /// along.
    CConfigurationCheck(const CConfiguration& configuration, const CTypeCatalogue& catalogue, bool complete,
                        const std::vector<std::string>& busNames, CFaultList& faults);

    void run();

private:
    void collectNames();
    void collectName(const pugi::xml_node& node, const std::vector<std::string>& nameServers);
    void checkNode(const pugi::xml_node& node, const SKeyNode& keys, const pugi::xml_node& typeNode);
    void checkAttributes(const pugi::xml_node& node, const SKeyNode& keys, const pugi::xml_node& typeNode);
    void checkChildren(const pugi::xml_node& node, const SKeyNode& keys, const pugi::xml_node& typeNode);
    void checkTyped(const pugi::xml_node& node, const SKeyDescription& key, const pugi::xml_node& typeNode);
    std::string judge(const SKeyDescription& key, const std::string& text) const;
    std::string judgeAgainstOthers(const SKeyDescription& key, const std::string& text,
                                   const pugi::xml_node& node, const pugi::xml_node& typeNode);
    std::string judgeRelation(const SKeyDescription& key, const SKeyRelation& relation,
                              const std::string& text, const pugi::xml_node& node,
                              const pugi::xml_node& typeNode) const;
    std::optional<std::string> defaultOf(const std::string& path, const pugi::xml_node& typeNode) const;
    std::string judgeReference(const SKeyDescription& key, const std::string& name) const;
    /// Whether what bears the name is of the type that the key asks for.
    std::string judgeType(const SKeyDescription& key, const std::string& name) const;
    std::string whatIsMissing(const SKeyDescription& key, const pugi::xml_node& node,
                              const pugi::xml_node& typeNode) const;
    bool isRequired(const SKeyDescription& key, const pugi::xml_node& typeNode) const;

    const CConfiguration& configuration_;
    const CTypeCatalogue& catalogue_;
    const bool complete_;
    CFaultList& faults_;
    /// By name server: the names in file order, and who bears each.
    std::map<std::string, std::vector<std::string>> names_;
    std::map<std::string, std::map<std::string, pugi::xml_node>> bearers_;
    /// Names of objects whose type is wrong: what they were meant to provide is not known.
    std::set<std::string> namesOfUnknown_;
    CSignalCheck signals_;
    const std::set<std::string> busesBroughtAlong_;
};

} // namespace Rvl
