#include "host/configuration/References.h"

#include "host/configuration/Configuration.h"
#include "host/configuration/ConfigurationFrame.h"

#include <algorithm>

namespace Rvl {

namespace {

void collect(const CTypeCatalogue& catalogue, const SKeyNode& keys, const pugi::xml_node& node,
             std::vector<SReference>& references)
{
    for (const auto& [name, key] : keys.attributes) {
        const pugi::xml_attribute attribute = node.attribute(name.c_str());
        if (attribute && key->type == SKeyDescription::Reference) {
            references.push_back({key->nameServer, attribute.value()});
        }
    }
    for (const auto& [name, childKeys] : keys.children) {
        for (const pugi::xml_node& child : node.children(name.c_str())) {
            const SKeyDescription* const key = childKeys->key;
            if (key && key->type == SKeyDescription::Reference) {
                references.push_back({key->nameServer, CConfiguration::text(child)});
            } else if (key && key->type == SKeyDescription::Element) {
                const STypeDescription* const type =
                    catalogue.find(typeNameOf(child, SKeyDescription::Element).value_or(""));
                if (type) {
                    collect(catalogue, catalogue.keys(*type), child, references);
                }
            } else {
                collect(catalogue, *childKeys, child, references);
            }
        }
    }
}

} // namespace

std::vector<SReference> referencesOf(const CTypeCatalogue& catalogue, const STypeDescription& type,
                                     const pugi::xml_node& node)
{
    std::vector<SReference> references;
    collect(catalogue, catalogue.keys(type), node, references);
    return references;
}

bool isBuiltOnChannels(const STypeDescription& type)
{
    return std::any_of(type.keys.begin(), type.keys.end(), [](const SKeyDescription& key) {
        return key.type == SKeyDescription::Element ||
               (key.type == SKeyDescription::Reference && key.nameServer != "device" &&
                key.nameServer != "bus");
    });
}

} // namespace Rvl
