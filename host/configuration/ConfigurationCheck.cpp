#include "host/configuration/ConfigurationCheck.h"

#include "common/Numbers.h"
#include "host/base/ControlCharacters.h"
#include "host/base/NumberText.h"
#include "host/base/Suggestion.h"
#include "host/configuration/ConfigurationFrame.h"
#include "host/configuration/FaultText.h"
#include "host/configuration/KeyCheck.h"
#include "host/configuration/LoopCheck.h"
#include "host/types/KeyText.h"

#include <algorithm>

namespace Rvl {

namespace {

bool isPlain(const SKeyNode& keys)
{
    return keys.key && isValue(*keys.key);
}

std::string withArticle(const std::string& noun)
{
    return (std::string("aeiou").find(noun.front()) == std::string::npos ? "a " : "an ") + noun;
}

/// The number that the valid text of a safe value is.
double safeValueOf(const SKeyDescription& key, const std::string& text)
{
    return key.type == SKeyDescription::Hexadecimal ? parseHexadecimal(text).value_or(0)
                                                    : parseReal(text).value_or(0.0);
}

/// The attribute that gives editors the schema of the file.
bool isForEditors(const pugi::xml_node& node, const std::string& attribute)
{
    return node.parent().type() == pugi::node_document &&
           (attribute == "xmlns:xsi" || attribute == "xsi:noNamespaceSchemaLocation");
}

} // namespace

CConfigurationCheck::CConfigurationCheck(const CConfiguration& configuration, const CTypeCatalogue& catalogue,
                                         bool complete, const std::vector<std::string>& busNames,
                                         CFaultList& faults)
    : configuration_(configuration), catalogue_(catalogue), complete_(complete), faults_(faults),
      signals_(configuration, catalogue, bearers_["device"]),
      busesBroughtAlong_(busNames.begin(), busNames.end())
{
    names_["bus"] = busNames;
}

void CConfigurationCheck::run()
{
    const pugi::xml_node root = configuration_.root();
    if (std::string(root.name()) != "Configuration") {
        faults_.add(configuration_.fault(root, "unknown element; expected \"Configuration\""));
        return;
    }
    collectNames();
    checkNode(root, configurationFrame(), root);
    controllers_ = CLoopCheck(configuration_, catalogue_, signals_, bearers_, faults_).run();
}

void CConfigurationCheck::collectNames()
{
    const pugi::xml_node root = configuration_.root();
    for (const pugi::xml_node& node : objectsOf(root, "Buses", "Bus")) {
        collectName(node, {"bus"});
    }
    const auto collectAll = [this](const std::vector<pugi::xml_node>& nodes, const std::string& kind) {
        for (const pugi::xml_node& node : nodes) {
            const auto typeName = typeNameOf(node, SKeyDescription::Object);
            const STypeDescription* const type = catalogue_.find(typeName.value_or(""));
            if (type && type->kind == kind) {
                collectName(node, type->provides);
            } else {
                namesOfUnknown_.insert(node.attribute("Name").value());
            }
        }
    };
    collectAll(objectsOf(root, "Devices", "Device"), "device");
    collectAll(objectsOf(root, "Channels", "Channel"), "channel");
}

void CConfigurationCheck::collectName(const pugi::xml_node& node, const std::vector<std::string>& nameServers)
{
    const pugi::xml_attribute attribute = node.attribute("Name");
    const std::string name = attribute.value();
    if (name.empty()) {
        return;
    }
    bool taken = false;
    for (const std::string& server : nameServers) {
        const auto [bearer, fresh] = bearers_[server].emplace(name, node);
        if (fresh) {
            if (server != "bus" || !busesBroughtAlong_.count(name)) {
                names_[server].push_back(name);
            }
        } else if (!taken) {
            taken = true;
            faults_.add(configuration_.fault(node, attribute,
                                             "\"" + name + "\" is already the name of " +
                                                 configuration_.path(bearer->second) + " in line " +
                                                 std::to_string(configuration_.line(bearer->second)) +
                                                 "; expected a name of its own"));
        }
    }
}

void CConfigurationCheck::checkNode(const pugi::xml_node& node, const SKeyNode& keys,
                                    const pugi::xml_node& typeNode)
{
    checkAttributes(node, keys, typeNode);
    checkChildren(node, keys, typeNode);
    if (!isPlain(keys) && !CConfiguration::text(node).empty()) {
        faults_.add(configuration_.fault(node, "the text \"" + CConfiguration::text(node) +
                                                   "\" is not read; expected no text"));
    }
}

void CConfigurationCheck::checkAttributes(const pugi::xml_node& node, const SKeyNode& keys,
                                          const pugi::xml_node& typeNode)
{
    std::set<std::string> seen;
    for (const pugi::xml_attribute& attribute : node.attributes()) {
        const std::string name = attribute.name();
        if (isForEditors(node, name)) {
            continue;
        }
        const SKeyDescription* const key = keys.attribute(name);
        if (!key) {
            faults_.add(configuration_.fault(node, attribute,
                                             "unknown attribute; expected " +
                                                 expectedChoices(suggestable(name), keys.attributeNames())));
        } else if (!seen.insert(name).second) {
            faults_.add(configuration_.fault(node, attribute, "is given twice; expected it once"));
        } else if (name == "Name" && hasControlCharacters(attribute.value())) {
            faults_.add(configuration_.fault(node, attribute,
                                             quoted(attribute.value()) +
                                                 " has control characters; expected a name without any"));
        } else {
            checkPlain(*key, attribute.value(), node, typeNode, node, attribute);
        }
    }
    for (const auto& [name, key] : keys.attributes) {
        const std::string missing =
            node.attribute(name.c_str()) ? std::string() : whatIsMissing(*key, node, typeNode);
        if (!missing.empty()) {
            SFault fault = configuration_.fault(node, "is missing; expected " + missing);
            fault.path += "[@" + name + "]";
            faults_.add(fault);
        }
    }
}

void CConfigurationCheck::checkChildren(const pugi::xml_node& node, const SKeyNode& keys,
                                        const pugi::xml_node& typeNode)
{
    std::set<std::string> seen;
    for (const pugi::xml_node& child : node.children()) {
        if (child.type() != pugi::node_element) {
            continue;
        }
        const std::string name = child.name();
        const SKeyNode* const childKeys = keys.child(name);
        if (!childKeys) {
            faults_.add(configuration_.fault(
                child, "unknown element; expected " + expectedChoices(suggestable(name), keys.childNames())));
            continue;
        }
        const SKeyDescription* const key = childKeys->key;
        if (!seen.insert(name).second && !(key && key->repeated)) {
            faults_.add(configuration_.fault(child, "is given twice; expected it once"));
            continue;
        }
        if (key && !key->requiredUnless.empty() && !isRequired(*key, typeNode)) {
            faults_.add(configuration_.fault(child, "is not read while " + key->requiredUnless +
                                                        " is true; expected one of the two"));
            continue;
        }
        if (key && (key->type == SKeyDescription::Element || key->type == SKeyDescription::Object)) {
            checkTyped(child, *key, typeNode);
            continue;
        }
        checkNode(child, *childKeys, typeNode);
        if (isPlain(*childKeys)) {
            checkPlain(*key, CConfiguration::text(child), node, typeNode, child, {});
        }
    }
    for (const auto& [name, childKeys] : keys.children) {
        const SKeyDescription* const key = childKeys->key;
        const std::string missing =
            !key || node.child(name.c_str()) ? std::string() : whatIsMissing(*key, node, typeNode);
        if (!missing.empty()) {
            SFault fault = configuration_.fault(node, "is missing; expected " + missing);
            fault.path += "/" + name;
            faults_.add(fault);
        }
    }
}

void CConfigurationCheck::checkTyped(const pugi::xml_node& node, const SKeyDescription& key,
                                     const pugi::xml_node& typeNode)
{
    const bool isObject = key.type == SKeyDescription::Object;
    const bool narrowed = isTrueAt(typeNode, key.narrowedWhile);
    const std::vector<std::string>& kinds = narrowed ? key.narrowedKinds : key.kinds;
    const std::vector<std::string> choices = catalogue_.namesOfKinds(kinds);
    const auto typeName = typeNameOf(node, key.type);
    if (!typeName) {
        SFault fault =
            configuration_.fault(node, "is missing; expected " + expectedChoices(std::string(), choices));
        fault.path += isObject ? "[@Type]" : "/Type";
        faults_.add(fault);
        return;
    }
    const STypeDescription* const type = catalogue_.find(*typeName);
    const bool known = type && type->kind != "abstract";
    if (!known && !complete_) {
        return;
    }
    if (!known || std::find(kinds.begin(), kinds.end(), type->kind) == kinds.end()) {
        const std::string wrong =
            "\"" + *typeName + "\" is " +
            (known ? withArticle(type->kind) : std::string("a type of no loaded plug-in")) +
            (narrowed ? " while " + key.narrowedWhile + " is true; expected " : "; expected ") +
            expectedChoices(known ? std::string() : suggestable(*typeName), choices);
        faults_.add(isObject ? configuration_.fault(node, node.attribute("Type"), wrong)
                             : configuration_.fault(node.child("Type"), wrong));
        return;
    }
    checkNode(node, catalogue_.keys(*type), node);
}

void CConfigurationCheck::checkPlain(const SKeyDescription& key, const std::string& text,
                                     const pugi::xml_node& node, const pugi::xml_node& typeNode,
                                     const pugi::xml_node& place, const pugi::xml_attribute& attribute)
{
    const auto add = [&](const std::string& wrong, SFault::eGrade grade) {
        SFault fault =
            attribute ? configuration_.fault(place, attribute, wrong) : configuration_.fault(place, wrong);
        fault.grade = grade;
        faults_.add(std::move(fault));
    };
    const std::string wrong = checkText(key, text);
    if (!wrong.empty()) {
        add(wrong, SFault::Fault);
        return;
    }
    if (!key.onlyWith.empty() && !isTrueAt(typeNode, key.onlyWith)) {
        add("is not read unless " + lastPart(key.onlyWith) + " is true; expected it to be true, or neither",
            SFault::Fault);
        return;
    }
    const auto hardlyMeant = key.lenient ? checkLenientMinimum(key, text) : std::nullopt;
    const std::string contradiction = hardlyMeant ? *hardlyMeant : checkRelations(key, text, node, typeNode);
    if (!contradiction.empty()) {
        add(contradiction, key.lenient ? SFault::Warning : SFault::Fault);
    } else if (key.role == "safeValue") {
        const SActuatorRange range = signals_.actuatorRange(typeNode);
        if (!range.contains(safeValueOf(key, text))) {
            add("\"" + text + "\" is outside the range of actuator \"" + range.actuator + "\"; expected " +
                    range.expected(),
                SFault::Fault);
        }
    } else if (key.signal) {
        const std::string unsuitable = signals_.check(*key.signal, text, node, typeNode);
        if (!unsuitable.empty()) {
            add(unsuitable, SFault::Fault);
        }
    }
}

std::string CConfigurationCheck::suggestable(const std::string& word) const
{
    return faults_.isShort() ? word : std::string();
}

std::string CConfigurationCheck::checkText(const SKeyDescription& key, const std::string& text) const
{
    const auto wrong = checkValue(key, text);
    if (wrong) {
        return *wrong;
    }
    return key.type == SKeyDescription::Reference ? checkReference(key, text) : std::string();
}

std::string CConfigurationCheck::checkRelations(const SKeyDescription& key, const std::string& text,
                                                const pugi::xml_node& node,
                                                const pugi::xml_node& typeNode) const
{
    const auto asIfAbsent = key.defaultText ? parseReal(*key.defaultText) : std::nullopt;
    if (!asIfAbsent || parseReal(text) != asIfAbsent) {
        for (const SKeyRelation& relation : key.relations) {
            std::string wrong = checkRelation(key, relation, text, node, typeNode);
            if (!wrong.empty()) {
                return wrong;
            }
        }
    }
    return {};
}

std::string CConfigurationCheck::checkRelation(const SKeyDescription& key, const SKeyRelation& relation,
                                               const std::string& text, const pugi::xml_node& node,
                                               const pugi::xml_node& typeNode) const
{
    const bool beside = relation.path.starts_with('.');
    const auto given = beside ? textAt(node, "<xmlattr>" + relation.path) : textAt(typeNode, relation.path);
    const std::string path =
        beside ? key.path.substr(0, key.path.find_last_of('.')) + relation.path : relation.path;
    const SKeyDescription* const otherKey = keyAt(path, typeNode);
    const auto byDefault = otherKey ? otherKey->defaultText : std::nullopt;
    const auto limitText = given ? given : byDefault;
    const auto value = parseReal(text);
    const auto other = limitText ? parseReal(*limitText) : std::nullopt;
    if (!value || !other || isNoLimit(key, *value) || (otherKey && isNoLimit(*otherKey, *other))) {
        return {};
    }
    const double limit = *other * relation.factor;
    const std::string name = (relation.factor == 1.0 ? "" : exactText(relation.factor) + " of ") +
                             lastPart(path) + (given ? "" : ", by default " + *limitText);
    if (relation.relation == SKeyRelation::NotAbove && *value > limit) {
        return "\"" + text + "\" is above " + name + "; expected at most " + exactText(limit);
    }
    if (relation.relation == SKeyRelation::NotBelow && *value < limit) {
        return "\"" + text + "\" is below " + name + "; expected at least " + exactText(limit);
    }
    if (relation.relation == SKeyRelation::Above && *value <= limit) {
        return "\"" + text + "\" is not above " + name + "; expected more than " + exactText(limit);
    }
    return {};
}

const SKeyDescription* CConfigurationCheck::keyAt(const std::string& path,
                                                  const pugi::xml_node& typeNode) const
{
    const STypeDescription* type = nullptr;
    for (const auto kind : {SKeyDescription::Object, SKeyDescription::Element}) {
        const auto typeName = typeNameOf(typeNode, kind);
        type = type ? type : catalogue_.find(typeName.value_or(""));
    }
    return type ? type->key(path) : nullptr;
}

std::string CConfigurationCheck::checkReference(const SKeyDescription& key, const std::string& name) const
{
    if (!complete_ || namesOfUnknown_.count(name)) {
        return {};
    }
    const auto bearers = bearers_.find(key.nameServer);
    if (bearers != bearers_.end() && bearers->second.count(name)) {
        return checkType(key, name);
    }
    const auto known = names_.find(key.nameServer);
    static const std::vector<std::string> none;
    const std::vector<std::string>& names = known == names_.end() ? none : known->second;
    if (key.nameServer == "bus" && busesBroughtAlong_.count(name)) {
        return {};
    }
    return "\"" + name + "\" is not " + expectation(key) + "; expected " +
           (names.empty() ? std::string("one, but the configuration has none")
                          : expectedChoices(suggestable(name), names));
}

std::string CConfigurationCheck::checkType(const SKeyDescription& key, const std::string& name) const
{
    if (key.ofType.empty()) {
        return {};
    }
    const auto isOfType = [&](const pugi::xml_node& node) {
        const auto typeName = typeNameOf(node, SKeyDescription::Object);
        const STypeDescription* const type = catalogue_.find(typeName.value_or(""));
        return type && catalogue_.derives(*type, key.ofType);
    };
    const auto& bearers = bearers_.at(key.nameServer);
    if (isOfType(bearers.at(name))) {
        return {};
    }
    const std::string wrong = "\"" + name + "\" is of the type " +
                              bearers.at(name).attribute("Type").value() + ", which is no " + key.ofType;
    if (!faults_.isShort()) {
        return wrong;
    }
    std::vector<std::string> names;
    for (const std::string& candidate : names_.at(key.nameServer)) {
        if (isOfType(bearers.at(candidate))) {
            names.push_back(candidate);
        }
    }
    return wrong + "; expected " +
           (names.empty() ? std::string("one that is, but the configuration has none")
                          : expectedChoices({}, names));
}

bool CConfigurationCheck::isRequired(const SKeyDescription& key, const pugi::xml_node& typeNode) const
{
    return key.requiredUnless.empty() ? key.required : !isTrueAt(typeNode, key.requiredUnless);
}

std::string CConfigurationCheck::whatIsMissing(const SKeyDescription& key, const pugi::xml_node& node,
                                               const pugi::xml_node& typeNode) const
{
    if (isRequired(key, typeNode)) {
        return key.requiredUnless.empty() ? expectation(key)
                                          : expectation(key) + ", or " + key.requiredUnless + " to be true";
    }
    if (key.role == "safeValue" && key.defaultText) {
        const SActuatorRange range = signals_.actuatorRange(typeNode);
        return range.contains(safeValueOf(key, *key.defaultText))
                   ? std::string()
                   : range.expected() + ", as the default, " + *key.defaultText +
                         ", is outside the range of actuator \"" + range.actuator + "\"";
    }
    return key.signal ? signals_.expectedWhereMissing(*key.signal, node, typeNode) : std::string();
}

} // namespace Rvl
