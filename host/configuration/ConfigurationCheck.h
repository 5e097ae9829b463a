#pragma once

#include "host/configuration/Configuration.h"
#include "host/configuration/DrivenOutput.h"
#include "host/configuration/Fault.h"
#include "host/configuration/SignalCheck.h"
#include "host/types/TypeCatalogue.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Rvl {

/// Checks a configuration against the type descriptions of the loaded plug-ins and collects every fault: keys
/// that are missing, unknown, given twice, not convertible, out of range or refer to nothing; and warnings
/// where what stands there is defined, but hardly meant. Builds nothing.
class CConfigurationCheck
{
public:
    /// `complete` is whether the catalogue holds every plug-in that the configuration names: otherwise an
    /// unknown type may be one of a missing plug-in and is no fault. `busNames` are the buses registered by
    /// plug-ins.
    CConfigurationCheck(const CConfiguration& configuration, const CTypeCatalogue& catalogue, bool complete,
                        const std::vector<std::string>& busNames, CFaultList& faults);

    void run();
    /// The loops of the controllers by the controllers' names; after run(). They refer to the catalogue.
    const ControllerLoops& controllers() const { return controllers_; }

private:
    void collectNames();
    void collectName(const pugi::xml_node& node, const std::vector<std::string>& nameServers);
    void checkNode(const pugi::xml_node& node, const SKeyNode& keys, const pugi::xml_node& typeNode);
    void checkAttributes(const pugi::xml_node& node, const SKeyNode& keys, const pugi::xml_node& typeNode);
    void checkChildren(const pugi::xml_node& node, const SKeyNode& keys, const pugi::xml_node& typeNode);
    void checkTyped(const pugi::xml_node& node, const SKeyDescription& key, const pugi::xml_node& typeNode);
    /// Checks the text of a key and adds the fault or warning, if there is one, at the attribute
    /// of `place`, or at `place` itself without one.
    void checkPlain(const SKeyDescription& key, const std::string& text, const pugi::xml_node& node,
                    const pugi::xml_node& typeNode, const pugi::xml_node& place,
                    const pugi::xml_attribute& attribute);
    std::string checkText(const SKeyDescription& key, const std::string& text) const;
    std::string checkRelations(const SKeyDescription& key, const std::string& text,
                               const pugi::xml_node& node, const pugi::xml_node& typeNode) const;
    /// The word, if a suggestion for it is still worth the time; otherwise none.
    std::string suggestable(const std::string& word) const;
    std::string checkRelation(const SKeyDescription& key, const SKeyRelation& relation,
                              const std::string& text, const pugi::xml_node& node,
                              const pugi::xml_node& typeNode) const;
    /// The description of a key of the type of `typeNode`; null if there is none.
    const SKeyDescription* keyAt(const std::string& path, const pugi::xml_node& typeNode) const;
    std::string checkReference(const SKeyDescription& key, const std::string& name) const;
    /// Whether the object of the name has the type that the key requires.
    std::string checkType(const SKeyDescription& key, const std::string& name) const;
    std::string whatIsMissing(const SKeyDescription& key, const pugi::xml_node& node,
                              const pugi::xml_node& typeNode) const;
    bool isRequired(const SKeyDescription& key, const pugi::xml_node& typeNode) const;

    const CConfiguration& configuration_;
    const CTypeCatalogue& catalogue_;
    const bool complete_;
    CFaultList& faults_;
    /// By name server: the names in file order, and the object of each.
    std::map<std::string, std::vector<std::string>> names_;
    std::map<std::string, std::map<std::string, pugi::xml_node>> bearers_;
    /// Names of objects with an unknown type: their name servers are not known.
    std::set<std::string> namesOfUnknown_;
    CSignalCheck signals_;
    const std::set<std::string> busesBroughtAlong_;
    ControllerLoops controllers_;
};

} // namespace Rvl
