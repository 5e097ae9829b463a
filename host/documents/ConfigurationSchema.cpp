#include "host/documents/ConfigurationSchema.h"

#include "host/base/Suggestion.h"
#include "host/configuration/ConfigurationFrame.h"
#include "host/documents/JoinedKeys.h"
#include "host/types/KeyText.h"

#include <pugixml.hpp>

#include <algorithm>
#include <limits>
#include <set>
#include <sstream>

namespace Rvl {

namespace {

/// The types of which one must be named, and where.
struct STypeNames
{
    std::vector<std::string> names; ///< none where none is to be named
    bool inAttribute = false;
};

std::string describe(const SKeyDescription& key)
{
    std::string text = key.meaning + " (" + keyTypeName(key.type);
    const std::string range = keyRange(key);
    if (!range.empty()) {
        text += key.type == SKeyDescription::Reference ? " to " + range : ", " + range;
    }
    if (!key.unit.empty()) {
        text += ", in " + key.unit;
    }
    if (key.defaultText) {
        text += ", default " + keyDefault(key);
    }
    const std::string required = keyRequired(key);
    text += required == "yes" ? ", required" : required == "no" ? ", optional" : ", required " + required;
    return text + ")";
}

class CSchema
{
public:
    explicit CSchema(const CTypeCatalogue& catalogue) : catalogue_(catalogue)
    {
        schema_ = document_.append_child("xs:schema");
        schema_.append_attribute("xmlns:xs").set_value("http://www.w3.org/2001/XMLSchema");
        schema_.append_attribute("elementFormDefault").set_value("unqualified");
        document(schema_, "Configurations of rivlink-host. An element allows the keys of every type that may "
                          "stand there; \"rivlink-host check\" checks by the named type.");
    }

    std::string text()
    {
        const JoinedNodes frame{{nullptr, &configurationFrame()}};
        pugi::xml_node root = schema_.append_child("xs:element");
        root.append_attribute("name").set_value("Configuration");
        document(root, "a configuration of rivlink-host");
        fillComplex(root.append_child("xs:complexType"), frame, {});
        // writing a type may add further ones
        for (std::size_t i = 0; i < pending_.size(); ++i) {
            const auto [kinds, inAttribute] = pending_[i];
            pugi::xml_node type = schema_.append_child("xs:complexType");
            type.append_attribute("name").set_value(typeName(kinds).c_str());
            fillComplex(type, nodesOfKinds(kinds), {catalogue_.namesOfKinds(kinds), inAttribute});
        }
        writeSimpleTypes();
        std::ostringstream stream;
        document_.save(stream, "  ", pugi::format_default, pugi::encoding_utf8);
        return stream.str();
    }

private:
    static std::string typeName(const std::vector<std::string>& kinds)
    {
        std::string name;
        for (const std::string& kind : kinds) {
            name += (name.empty() ? "" : "-or-") + kind;
        }
        return name;
    }

    JoinedNodes nodesOfKinds(const std::vector<std::string>& kinds) const
    {
        JoinedNodes nodes;
        for (const std::string& name : catalogue_.namesOfKinds(kinds)) {
            const STypeDescription* const type = catalogue_.find(name);
            nodes.push_back({type, &catalogue_.keys(*type)});
        }
        return nodes;
    }

    static void document(pugi::xml_node node, const std::string& text)
    {
        node.append_child("xs:annotation").append_child("xs:documentation").text().set(text.c_str());
    }

    /// The types' descriptions of a key, with the types' names where the descriptions differ.
    static void document(pugi::xml_node node, const JoinedKeys& keys, std::size_t owners)
    {
        ByName<std::vector<std::string>> typesByText;
        for (const SOwnedKey& owned : keys) {
            valueOf(typesByText, describe(*owned.key)).push_back(owned.type ? owned.type->name : "");
        }
        if (typesByText.empty()) {
            return;
        }
        pugi::xml_node annotation = node.append_child("xs:annotation");
        for (const auto& [text, types] : typesByText) {
            const bool isCommon = types.size() == owners;
            annotation.append_child("xs:documentation")
                .text()
                .set((isCommon ? text : enumeration(types) + ": " + text).c_str());
        }
    }

    /// `typeNames` is about the nodes' own key "Type".
    void fillComplex(pugi::xml_node complexType, const JoinedNodes& nodes, const STypeNames& typeNames)
    {
        const ByName<JoinedNodes> children = childrenOf(nodes);
        if (!children.empty()) {
            const bool repeated = std::any_of(children.begin(), children.end(),
                                              [](const auto& child) { return isRepeated(child.second); });
            // "all" is what lets children stand in any order, but each of them once at most
            const bool choice = repeated && children.size() > 1;
            pugi::xml_node model = complexType.append_child(choice     ? "xs:choice"
                                                            : repeated ? "xs:sequence"
                                                                       : "xs:all");
            if (choice) {
                setOccurrence(model, false, true);
            }
            for (const auto& [name, child] : children) {
                pugi::xml_node element = model.append_child("xs:element");
                element.append_attribute("name").set_value(name.c_str());
                if (!choice) {
                    setOccurrence(element, isRequiredByAll(keysOf(child), nodes.size()), repeated);
                }
                document(element, keysOf(child), nodes.size());
                const bool isType = name == "Type" && !typeNames.inAttribute;
                fillElement(element, name, child, isType ? typeNames.names : std::vector<std::string>());
            }
        }
        for (const auto& [name, keys] : attributesOf(nodes)) {
            pugi::xml_node attribute = complexType.append_child("xs:attribute");
            attribute.append_attribute("name").set_value(name.c_str());
            if (isRequiredByAll(keys, nodes.size())) {
                attribute.append_attribute("use").set_value("required");
            }
            document(attribute, keys, nodes.size());
            if (name == "Type" && typeNames.inAttribute) {
                enumerateTypes(attribute, typeNames.names, "xs:string");
            } else {
                setSimpleType(attribute, keys, true);
            }
        }
    }

    static void setOccurrence(pugi::xml_node particle, bool required, bool repeated)
    {
        if (!required) {
            particle.append_attribute("minOccurs").set_value("0");
        }
        if (repeated) {
            particle.append_attribute("maxOccurs").set_value("unbounded");
        }
    }

    void fillElement(pugi::xml_node element, const std::string& name, const JoinedNodes& nodes,
                     const std::vector<std::string>& typeNames)
    {
        const SJoinedContent content = contentOf(nodes);
        if (!typeNames.empty() && content.values.size() == nodes.size()) {
            enumerateTypes(element, typeNames, "xs:token");
        } else if (content.values.size() == nodes.size() && content.withValues.empty()) {
            setSimpleType(element, content.values, false);
        } else if (content.typed.size() == nodes.size()) {
            const std::vector<std::string> kinds = kindsOf(content.typed);
            const std::pair complexType(kinds, nameTypeInAttribute(content.typed));
            if (std::find(pending_.begin(), pending_.end(), complexType) == pending_.end()) {
                pending_.push_back(complexType);
            }
            element.append_attribute("type").set_value(typeName(kinds).c_str());
            countChildren(element, name, nodesOfKinds(kinds));
        } else {
            // keys of its own; where types differ in what the element is, everything that one of them allows
            JoinedNodes all = content.sections;
            all.insert(all.end(), content.withValues.begin(), content.withValues.end());
            STypeNames namesOfTypes;
            if (!content.typed.empty()) {
                const std::vector<std::string> kinds = kindsOf(content.typed);
                const JoinedNodes typed = nodesOfKinds(kinds);
                all.insert(all.end(), typed.begin(), typed.end());
                namesOfTypes = {catalogue_.namesOfKinds(kinds), nameTypeInAttribute(content.typed)};
            }
            pugi::xml_node complexType = element.append_child("xs:complexType");
            if (!content.values.empty()) {
                complexType.append_attribute("mixed").set_value("true");
            }
            fillComplex(complexType, all, namesOfTypes);
            countChildren(element, name, all);
        }
    }

    /// Where one child may be repeated, the content model allows all children to be repeated and to be
    /// absent; identity constraints then require that the others are there once.
    void countChildren(pugi::xml_node element, const std::string& elementName, const JoinedNodes& nodes)
    {
        const ByName<JoinedNodes> children = childrenOf(nodes);
        const bool repeated = std::any_of(children.begin(), children.end(),
                                          [](const auto& child) { return isRepeated(child.second); });
        if (!repeated || children.size() == 1) {
            return;
        }
        for (const auto& [name, child] : children) {
            const std::string value = valueIn(name, child);
            if (isRepeated(child) || value.empty()) {
                continue;
            }
            const bool required = isRequiredByAll(keysOf(child), nodes.size());
            pugi::xml_node constraint = element.append_child(required ? "xs:key" : "xs:unique");
            const std::string base = elementName + "." + name;
            std::string unused = base;
            for (int i = 2; !constraints_.insert(unused).second; ++i) {
                unused = base + "." + std::to_string(i);
            }
            constraint.append_attribute("name").set_value(unused.c_str());
            constraint.append_child("xs:selector").append_attribute("xpath").set_value(".");
            constraint.append_child("xs:field").append_attribute("xpath").set_value(value.c_str());
        }
    }

    /// The path of a text that every such child has; empty if there is none.
    static std::string valueIn(const std::string& name, const JoinedNodes& child)
    {
        const SJoinedContent content = contentOf(child);
        if (content.values.size() == child.size() && content.withValues.empty()) {
            return name;
        }
        if (content.typed.size() == child.size()) {
            return name + (nameTypeInAttribute(child) ? "/@Type" : "/Type");
        }
        if (content.sections.size() == child.size()) {
            for (const auto& [attribute, keys] : attributesOf(child)) {
                if (isRequiredByAll(keys, child.size())) {
                    return name + "/@" + attribute;
                }
            }
        }
        return {};
    }

    void enumerateTypes(pugi::xml_node declaration, const std::vector<std::string>& typeNames,
                        const char* base)
    {
        pugi::xml_node restriction = declaration.append_child("xs:simpleType").append_child("xs:restriction");
        restriction.append_attribute("base").set_value(base);
        for (const std::string& name : typeNames) {
            pugi::xml_node value = restriction.append_child("xs:enumeration");
            value.append_attribute("value").set_value(name.c_str());
            const std::string& meaning = catalogue_.find(name)->meaning;
            if (!meaning.empty()) {
                document(value, meaning);
            }
        }
    }

    /// The types' ways of reading the value, each once; several become a union.
    static void setSimpleType(pugi::xml_node declaration, const JoinedKeys& keys, bool attribute)
    {
        std::vector<std::string> named;
        ByName<const SKeyDescription*> restricted;
        for (const SOwnedKey& owned : keys) {
            const std::string name = namedType(*owned.key, attribute);
            if (!name.empty()) {
                if (std::find(named.begin(), named.end(), name) == named.end()) {
                    named.push_back(name);
                }
            } else {
                valueOf(restricted, std::string(keyTypeName(owned.key->type)) + keyRange(*owned.key)) =
                    owned.key;
            }
        }
        if (restricted.empty() && named.size() == 1) {
            declaration.append_attribute("type").set_value(named.front().c_str());
            return;
        }
        pugi::xml_node simpleType = declaration.append_child("xs:simpleType");
        if (named.empty() && restricted.size() == 1) {
            restrict(simpleType, *restricted.front().second, attribute);
            return;
        }
        pugi::xml_node memberTypes = simpleType.append_child("xs:union");
        std::string names;
        for (const std::string& name : named) {
            names += (names.empty() ? "" : " ") + name;
        }
        if (!names.empty()) {
            memberTypes.append_attribute("memberTypes").set_value(names.c_str());
        }
        for (const auto& entry : restricted) {
            restrict(memberTypes.append_child("xs:simpleType"), *entry.second, attribute);
        }
    }

    /// The name of the type of values without limits of their own; empty if they have any.
    static std::string namedType(const SKeyDescription& key, bool attribute)
    {
        switch (key.type) {
        case SKeyDescription::Boolean:
            return "xs:boolean";
        case SKeyDescription::Hexadecimal:
            return "hexadecimal";
        case SKeyDescription::Real:
            return key.minimum || key.maximum ? "" : "real";
        case SKeyDescription::Integer:
            return key.minimum || key.maximum ? "" : "integer";
        case SKeyDescription::Choice:
            return "";
        case SKeyDescription::Text:
            if (!key.required) {
                return "xs:string";
            }
            break;
        default:
            break;
        }
        return attribute ? "text" : "trimmedText";
    }

    static void restrict(pugi::xml_node simpleType, const SKeyDescription& key, bool attribute)
    {
        pugi::xml_node restriction = simpleType.append_child("xs:restriction");
        if (key.type == SKeyDescription::Choice) {
            restriction.append_attribute("base").set_value(attribute ? "xs:string" : "xs:token");
            for (const std::string& choice : key.choices) {
                restriction.append_child("xs:enumeration")
                    .append_attribute("value")
                    .set_value(choice.c_str());
            }
            return;
        }
        const bool integer = key.type == SKeyDescription::Integer;
        restriction.append_attribute("base").set_value(integer ? "xs:integer" : "real");
        const auto limit = [&](const char* facet, double value) {
            restriction.append_child(facet).append_attribute("value").set_value(keyLimit(key, value).c_str());
        };
        if (key.minimum && !key.lenient) {
            limit(key.exclusiveMinimum ? "xs:minExclusive" : "xs:minInclusive", *key.minimum);
        } else if (integer) {
            limit("xs:minInclusive", std::numeric_limits<std::int32_t>::min());
        }
        if (key.maximum) {
            limit("xs:maxInclusive", *key.maximum);
        } else if (integer) {
            limit("xs:maxInclusive", std::numeric_limits<std::int32_t>::max());
        }
    }

    void writeSimpleTypes()
    {
        const auto write = [this](const char* name, const char* base, const char* meaning,
                                  std::initializer_list<std::pair<const char*, const char*>> facets) {
            pugi::xml_node type = schema_.append_child("xs:simpleType");
            type.append_attribute("name").set_value(name);
            document(type, meaning);
            pugi::xml_node restriction = type.append_child("xs:restriction");
            restriction.append_attribute("base").set_value(base);
            for (const auto& [facet, value] : facets) {
                restriction.append_child(facet).append_attribute("value").set_value(value);
            }
        };
        write("real", "xs:double", "a finite number",
              {{"xs:pattern", "[+\\-]?([0-9]+(\\.[0-9]*)?|\\.[0-9]+)([eE][+\\-]?[0-9]+)?"}});
        write("integer", "xs:integer", "a whole number of 32 bits",
              {{"xs:minInclusive", "-2147483648"}, {"xs:maxInclusive", "2147483647"}});
        write("hexadecimal", "xs:token", "a hexadecimal number of 32 bits",
              {{"xs:pattern", "(0[xX])?0*[0-9a-fA-F]{1,8}"}});
        write("text", "xs:string", "a text that is not empty", {{"xs:minLength", "1"}});
        write("trimmedText", "xs:token", "a text that is not empty; blanks around it do not count",
              {{"xs:minLength", "1"}});
    }

    const CTypeCatalogue& catalogue_;
    pugi::xml_document document_;
    pugi::xml_node schema_;
    /// Kinds whose common type is to be written, and whether they name their types in an attribute.
    std::vector<std::pair<std::vector<std::string>, bool>> pending_;
    std::set<std::string> constraints_;
};

} // namespace

std::string configurationSchema(const CTypeCatalogue& catalogue)
{
    return CSchema(catalogue).text();
}

} // namespace Rvl
