#include "host/EffectiveConfiguration.h"

#include "host/ConfigurationFrame.h"

#include <sstream>

namespace Rvl {

namespace {

void fill(pugi::xml_node node, const SKeyNode& keys, const CTypeCatalogue& catalogue)
{
    for (const auto& [name, key] : keys.attributes) {
        if (key->defaultText && !node.attribute(name.c_str())) {
            node.append_attribute(name.c_str()).set_value(key->defaultText->c_str());
        }
    }
    for (const auto& [name, childKeys] : keys.children) {
        const SKeyDescription* const key = childKeys->key;
        if (key && key->defaultText && !node.child(name.c_str())) {
            node.append_child(name.c_str()).text().set(key->defaultText->c_str());
        }
        for (pugi::xml_node child : node.children(name.c_str())) {
            if (key && (key->type == SKeyDescription::Element || key->type == SKeyDescription::Object)) {
                const auto typeName = typeNameOf(child, key->type);
                const STypeDescription* const type = catalogue.find(typeName.value_or(""));
                if (type) {
                    fill(child, catalogue.keys(*type), catalogue);
                }
            } else {
                fill(child, *childKeys, catalogue);
            }
        }
    }
}

} // namespace

std::string effectiveConfiguration(const CConfiguration& configuration, const CTypeCatalogue& catalogue)
{
    pugi::xml_document document;
    document.append_copy(configuration.root());
    fill(document.document_element(), configurationFrame(), catalogue);
    std::ostringstream text;
    document.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
    return text.str();
}

} // namespace Rvl
