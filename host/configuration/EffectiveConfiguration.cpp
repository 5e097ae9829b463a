#include "host/configuration/EffectiveConfiguration.h"

#include "host/configuration/ConfigurationFrame.h"

#include <sstream>

namespace Rvl {

namespace {

/// Whether the key's default is to be written out when it is absent: one that would not be read is not, nor
/// one that stands for no limit, for which there is no word in a configuration but to leave the key out.
bool hasDefault(const SKeyDescription& key, const pugi::xml_node& typeNode)
{
    return key.defaultText && !key.unlimited && (key.onlyWith.empty() || isTrueAt(typeNode, key.onlyWith));
}

/// `typeNode` is the node of the object or element to which `node` belongs.
void fill(pugi::xml_node node, const SKeyNode& keys, const CTypeCatalogue& catalogue, pugi::xml_node typeNode)
{
    for (const auto& [name, key] : keys.attributes) {
        if (hasDefault(*key, typeNode) && !node.attribute(name.c_str())) {
            node.append_attribute(name.c_str()).set_value(key->defaultText->c_str());
        }
    }
    for (const auto& [name, childKeys] : keys.children) {
        const SKeyDescription* const key = childKeys->key;
        if (key && hasDefault(*key, typeNode) && !node.child(name.c_str())) {
            node.append_child(name.c_str()).text().set(key->defaultText->c_str());
        }
        for (pugi::xml_node child : node.children(name.c_str())) {
            if (key && (key->type == SKeyDescription::Element || key->type == SKeyDescription::Object)) {
                const auto typeName = typeNameOf(child, key->type);
                const STypeDescription* const type = catalogue.find(typeName.value_or(""));
                if (type) {
                    fill(child, catalogue.keys(*type), catalogue, child);
                }
            } else {
                fill(child, *childKeys, catalogue, typeNode);
            }
        }
    }
}

} // namespace

std::string effectiveConfiguration(const CConfiguration& configuration, const CTypeCatalogue& catalogue)
{
    pugi::xml_document document;
    document.append_copy(configuration.root());
    fill(document.document_element(), configurationFrame(), catalogue, document.document_element());
    std::ostringstream text;
    document.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
    return text.str();
}

} // namespace Rvl
