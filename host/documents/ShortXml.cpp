#include "host/documents/ShortXml.h"

#include "host/base/TextTable.h"
#include "host/configuration/ConfigurationFrame.h"
#include "host/types/KeyText.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace Rvl {

namespace {

constexpr std::size_t lineWidth = 100;
/// How many keys with a default are shown of a type whose description gives no examples.
constexpr int keysWithDefault = 2;

/// "Thermal bench" of "Rvl::CThermalBench".
std::string wordsOf(std::string typeName)
{
    const auto scope = typeName.rfind(':');
    if (scope != std::string::npos) {
        typeName.erase(0, scope + 1);
    }
    const auto isLower = [&](std::size_t i) {
        return i < typeName.size() && std::islower(static_cast<unsigned char>(typeName[i]));
    };
    if (typeName.size() > 1 && typeName[0] == 'C' && !isLower(1)) {
        typeName.erase(0, 1);
    }
    std::string name;
    for (std::size_t i = 0; i < typeName.size(); ++i) {
        // acronyms stay together, and as they are
        const bool begins = i > 0 && !isLower(i) && (isLower(i - 1) || isLower(i + 1));
        name += begins ? " " : "";
        name += begins && isLower(i + 1)
                    ? static_cast<char>(std::tolower(static_cast<unsigned char>(typeName[i])))
                    : typeName[i];
    }
    return name;
}

std::string nameFor(const STypeDescription& type)
{
    return type.example.empty() ? wordsOf(type.name) : type.example;
}

/// Whether another key is required unless this one is true.
bool isAlternative(const STypeDescription& type, const SKeyDescription& key)
{
    return std::any_of(type.keys.begin(), type.keys.end(),
                       [&](const SKeyDescription& other) { return other.requiredUnless == key.path; });
}

bool isShort(const std::string& text)
{
    return !text.empty() && text.size() <= 12;
}

class CShortNode
{
public:
    explicit CShortNode(const CTypeCatalogue& catalogue) : catalogue_(catalogue) {}

    void fill(pugi::xml_node node, const STypeDescription& type)
    {
        descent_.push_back(&type);
        const bool examples = std::any_of(type.keys.begin(), type.keys.end(), [](const SKeyDescription& key) {
            return !key.required && !key.example.empty();
        });
        fill(node, catalogue_.keys(type), type, examples ? 0 : keysWithDefault);
        descent_.pop_back();
    }

private:
    void fill(pugi::xml_node node, const SKeyNode& keys, const STypeDescription& type, int defaults)
    {
        const auto isShown = [&](const SKeyDescription& key) {
            if (isNeeded(key) || !key.example.empty()) {
                return true;
            }
            return isShort(key.defaultText.value_or("")) && !isAlternative(type, key) && defaults-- > 0;
        };
        for (const auto& [name, key] : keys.attributes) {
            if (isShown(*key)) {
                node.append_attribute(name.c_str()).set_value(valueOf(*key, type).c_str());
            }
        }
        for (const auto& [name, child] : keys.children) {
            const SKeyDescription* const key = child->key;
            if (key && isValue(*key)) {
                if (isShown(*key)) {
                    node.append_child(name.c_str()).text().set(valueOf(*key, type).c_str());
                }
            } else if (key && key->type == SKeyDescription::Element) {
                if (isNeeded(*key)) {
                    fillElement(node, name, *key);
                }
            } else if (!key || key->required || hasExample(*child)) {
                fill(node.append_child(name.c_str()), *child, type, 0);
            }
        }
    }

    /// The first type that can stand there and does not contain itself that way.
    void fillElement(pugi::xml_node node, const std::string& name, const SKeyDescription& key)
    {
        for (const std::string& kind : key.kinds) {
            for (const std::string& typeName : catalogue_.namesOfKinds({kind})) {
                const STypeDescription* const type = catalogue_.find(typeName);
                if (std::find(descent_.begin(), descent_.end(), type) == descent_.end()) {
                    fill(node.append_child(name.c_str()), *type);
                    return;
                }
            }
        }
    }

    /// Short nodes never set the key that makes another one optional.
    static bool isNeeded(const SKeyDescription& key) { return key.required || !key.requiredUnless.empty(); }

    static bool hasExample(const SKeyNode& keys)
    {
        return std::any_of(keys.attributes.begin(), keys.attributes.end(),
                           [](const auto& entry) { return !entry.second->example.empty(); }) ||
               std::any_of(keys.children.begin(), keys.children.end(), [](const auto& entry) {
                   return (entry.second->key && !entry.second->key->example.empty()) ||
                          hasExample(*entry.second);
               });
    }

    std::string valueOf(const SKeyDescription& key, const STypeDescription& type) const
    {
        if (key.path == "Type" || key.path == "<xmlattr>.Type") {
            return type.name;
        }
        if (key.path == "<xmlattr>.Name") {
            return nameFor(type);
        }
        if (!key.example.empty()) {
            return key.example;
        }
        if (isShort(key.defaultText.value_or(""))) {
            return *key.defaultText;
        }
        switch (key.type) {
        case SKeyDescription::Boolean:
            return "true";
        case SKeyDescription::Integer:
        case SKeyDescription::Real:
            return keyLimit(key, number(key));
        case SKeyDescription::Hexadecimal:
            return "0x01";
        case SKeyDescription::Choice:
            return key.choices.empty() ? "" : key.choices.front();
        case SKeyDescription::Reference:
            for (const STypeDescription* provider : catalogue_.types()) {
                const auto& servers = provider->provides;
                if (std::find(servers.begin(), servers.end(), key.nameServer) != servers.end()) {
                    return nameFor(*provider);
                }
            }
            return wordsOf(key.nameServer);
        default:
            return wordsOf(type.name);
        }
    }

    static double number(const SKeyDescription& key)
    {
        double value = 1.0;
        if (key.minimum && value < *key.minimum) {
            value = std::ceil(*key.minimum + (key.exclusiveMinimum ? 1.0 : 0.0));
        }
        return key.maximum ? std::min(value, *key.maximum) : value;
    }

    const CTypeCatalogue& catalogue_;
    std::vector<const STypeDescription*> descent_;
};

std::string escaped(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

void print(const pugi::xml_node& node, const std::string& indentation, std::string& text)
{
    std::string line = indentation + "<" + node.name();
    const std::string continuation(line.size() + 1, ' ');
    for (const pugi::xml_attribute& attribute : node.attributes()) {
        const std::string next = std::string(attribute.name()) + "=\"" + escaped(attribute.value()) + "\"";
        if (characterCount(line + " " + next) > lineWidth - 2 && line.size() >= continuation.size()) {
            text += line + "\n";
            line = continuation + next;
        } else {
            line += " " + next;
        }
    }
    text += line;
    if (!node.first_child()) {
        text += "/>\n";
        return;
    }
    text += ">";
    const std::string end = std::string("</") + node.name() + ">\n";
    if (node.first_child().type() == pugi::node_pcdata) {
        text += escaped(node.text().get()) + end;
        return;
    }
    text += "\n";
    for (const pugi::xml_node& child : node.children()) {
        print(child, indentation + "  ", text);
    }
    text += indentation + end;
}

} // namespace

std::string elementOfKind(const CTypeCatalogue& catalogue, const std::string& kind)
{
    const auto elementIn = [&](const std::vector<SKeyDescription>& keys) -> std::string {
        for (const SKeyDescription& key : keys) {
            if (std::find(key.kinds.begin(), key.kinds.end(), kind) != key.kinds.end()) {
                return key.path.substr(key.path.rfind('.') + 1);
            }
        }
        return {};
    };
    std::string element = elementIn(configurationFrameKeys());
    for (const STypeDescription* type : catalogue.types()) {
        if (element.empty()) {
            element = elementIn(type->keys);
        }
    }
    return element;
}

pugi::xml_node appendShortNode(pugi::xml_node parent, const CTypeCatalogue& catalogue,
                               const STypeDescription& type)
{
    pugi::xml_node node = parent.append_child(elementOfKind(catalogue, type.kind).c_str());
    CShortNode(catalogue).fill(node, type);
    return node;
}

std::string shortXml(const CTypeCatalogue& catalogue, const STypeDescription& type)
{
    pugi::xml_document document;
    std::string text;
    print(appendShortNode(document, catalogue, type), "", text);
    return text;
}

} // namespace Rvl
