#include "host/types/TypeCatalogue.h"

#include "host/base/ControlCharacters.h"
#include "host/base/HostException.h"
#include "host/base/SystemText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <sstream>

namespace Rvl {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::array<const char*, 10> keyTypeNames{"text",   "boolean",   "integer", "real",    "hexadecimal",
                                                   "choice", "reference", "section", "element", "object"};

/// A plug-in's texts reach the terminal in many places.
void escapeTexts(Json& json)
{
    if (json.is_string()) {
        json = escapeControlCharacters(json.get<std::string>());
    } else if (json.is_structured()) {
        for (Json& item : json) {
            escapeTexts(item);
        }
    }
}

/// Text or number of a default, as it would stand in a configuration.
std::string asConfigurationText(const Json& value)
{
    return value.is_string() ? value.get<std::string>() : value.dump();
}

void addRelation(const Json& json, const char* field, SKeyRelation::eRelation relation, SKeyDescription& key)
{
    if (!json.contains(field)) {
        return;
    }
    const Json& other = json.at(field);
    if (other.is_string()) {
        key.relations.push_back({relation, other.get<std::string>(), 1.0});
    } else {
        key.relations.push_back(
            {relation, other.at("key").get<std::string>(), other.at("times").get<double>()});
    }
}

SSignalReference signalFromJson(const Json& json)
{
    SSignalReference signal;
    signal.device = json.value("device", std::string());
    signal.choice = json.value("choice", std::string());
    if (signal.choice.empty()) {
        signal.kinds[""] = json.at("kinds").get<std::vector<std::string>>();
    } else {
        signal.kinds = json.at("kinds").get<std::map<std::string, std::vector<std::string>>>();
    }
    signal.exclusive = json.value("exclusive", false);
    return signal;
}

SKeyDescription keyFromJson(const Json& json)
{
    SKeyDescription key;
    key.path = json.at("path").get<std::string>();
    const std::string type = json.at("type").get<std::string>();
    const auto found = std::find(keyTypeNames.begin(), keyTypeNames.end(), type);
    if (found == keyTypeNames.end()) {
        throw std::runtime_error("key " + key.path + " is of the unknown type \"" + type + "\"");
    }
    key.type = static_cast<SKeyDescription::eType>(found - keyTypeNames.begin());
    key.required = json.value("required", false);
    key.requiredUnless = json.value("requiredUnless", std::string());
    if (json.contains("default")) {
        key.defaultText = asConfigurationText(json.at("default"));
    }
    key.unit = json.value("unit", std::string());
    if (json.contains("minimum")) {
        key.minimum = json.at("minimum").get<double>();
    }
    if (json.contains("maximum")) {
        key.maximum = json.at("maximum").get<double>();
    }
    key.exclusiveMinimum = json.value("exclusiveMinimum", false);
    key.choices = json.value("choices", std::vector<std::string>());
    key.nameServer = json.value("nameServer", std::string());
    key.kinds = json.value("kinds", std::vector<std::string>());
    if (json.contains("kindsWhile")) {
        key.narrowedWhile = json.at("kindsWhile").at("key").get<std::string>();
        key.narrowedKinds = json.at("kindsWhile").at("kinds").get<std::vector<std::string>>();
    }
    key.repeated = json.value("repeated", false);
    addRelation(json, "notAbove", SKeyRelation::NotAbove, key);
    addRelation(json, "notBelow", SKeyRelation::NotBelow, key);
    addRelation(json, "above", SKeyRelation::Above, key);
    if (json.contains("excluded")) {
        key.excluded = json.at("excluded").get<double>();
    }
    key.ofType = json.value("ofType", std::string());
    if (json.contains("signal")) {
        key.signal = signalFromJson(json.at("signal"));
    }
    key.onlyWith = json.value("onlyWith", std::string());
    key.unlimited = json.value("unlimited", false);
    key.lenient = json.value("lenient", false);
    key.role = json.value("role", std::string());
    key.drives = json.value("drives", std::string());
    if (json.contains("example")) {
        key.example = asConfigurationText(json.at("example"));
    }
    key.meaning = json.value("meaning", std::string());
    return key;
}

SSignalDescription signalDescription(const Json& json)
{
    SSignalDescription signal;
    signal.name = json.at("name").get<std::string>();
    signal.kind = json.at("kind").get<std::string>();
    signal.unit = json.value("unit", std::string());
    signal.meaning = json.at("meaning").get<std::string>();
    if (json.contains("minimum")) {
        signal.minimum = json.at("minimum").get<double>();
    }
    if (json.contains("maximum")) {
        signal.maximum = json.at("maximum").get<double>();
    }
    signal.limitKey = json.value("limit", "");
    signal.lines = json.value("lines", 0U);
    return signal;
}

std::unique_ptr<STypeDescription> typeFromJson(const Json& json, const std::string& plugin)
{
    auto type = std::make_unique<STypeDescription>();
    type->name = json.at("name").get<std::string>();
    type->kind = json.at("kind").get<std::string>();
    type->bases = json.value("bases", std::vector<std::string>());
    type->provides = json.value("provides", std::vector<std::string>());
    type->example = json.value("example", std::string());
    type->meaning = json.value("meaning", std::string());
    type->real = json.value("real", false);
    type->plugin = plugin;
    if (json.contains("signals")) {
        for (const Json& signal : json.at("signals")) {
            type->signals.push_back(signalDescription(signal));
        }
    }
    if (json.contains("keys")) {
        for (const Json& key : json.at("keys")) {
            type->keys.push_back(keyFromJson(key));
        }
    }
    return type;
}

/// Every object of the host has a name and a type and every element a type, whether or not the description
/// lists these keys.
std::vector<SKeyDescription> keysOfKind(const std::string& kind)
{
    SKeyDescription name;
    name.path = "<xmlattr>.Name";
    name.required = true;
    name.meaning = "the name";
    SKeyDescription type;
    type.required = true;
    type.meaning = "the type name";
    if (kind == "bus" || kind == "device" || kind == "channel") {
        type.path = "<xmlattr>.Type";
        return {name, type};
    }
    if (kind == "abstract") {
        return {};
    }
    type.path = "Type";
    return {type};
}

/// Appends `keys` to `into`; a key of a path that is there already is replaced in its place.
void mergeKeys(std::vector<SKeyDescription>& into, const std::vector<SKeyDescription>& keys)
{
    for (const SKeyDescription& key : keys) {
        const auto same = std::find_if(into.begin(), into.end(),
                                       [&](const SKeyDescription& other) { return other.path == key.path; });
        if (same != into.end()) {
            *same = key;
        } else {
            into.push_back(key);
        }
    }
}

} // namespace

std::vector<std::string> STypeDescription::signalsOfKinds(const std::vector<std::string>& ofKinds) const
{
    std::vector<std::string> names;
    for (const SSignalDescription& signal : signals) {
        if (std::find(ofKinds.begin(), ofKinds.end(), signal.kind) != ofKinds.end()) {
            names.push_back(signal.name);
        }
    }
    return names;
}

const SKeyDescription* STypeDescription::key(const std::string& path) const
{
    const auto found = std::find_if(keys.begin(), keys.end(),
                                    [&](const SKeyDescription& candidate) { return candidate.path == path; });
    return found == keys.end() ? nullptr : &*found;
}

const SKeyDescription* STypeDescription::keyOfRole(const std::string& role) const
{
    const auto found = std::find_if(keys.begin(), keys.end(),
                                    [&](const SKeyDescription& candidate) { return candidate.role == role; });
    return found == keys.end() ? nullptr : &*found;
}

const char* keyTypeName(SKeyDescription::eType type)
{
    return keyTypeNames[static_cast<std::size_t>(type)];
}

const SKeyDescription* SKeyNode::attribute(const std::string& name) const
{
    for (const auto& [attributeName, attributeKey] : attributes) {
        if (attributeName == name) {
            return attributeKey;
        }
    }
    return nullptr;
}

const SKeyNode* SKeyNode::child(const std::string& name) const
{
    for (const auto& [childName, childNode] : children) {
        if (childName == name) {
            return childNode.get();
        }
    }
    return nullptr;
}

std::vector<std::string> SKeyNode::attributeNames() const
{
    std::vector<std::string> names;
    for (const auto& entry : attributes) {
        names.push_back(entry.first);
    }
    return names;
}

std::vector<std::string> SKeyNode::childNames() const
{
    std::vector<std::string> names;
    for (const auto& entry : children) {
        names.push_back(entry.first);
    }
    return names;
}

namespace {

/// The child of that name, which is created if it does not exist.
SKeyNode& childOf(SKeyNode& node, const std::string& name)
{
    for (auto& [childName, childNode] : node.children) {
        if (childName == name) {
            return *childNode;
        }
    }
    node.children.emplace_back(name, std::make_unique<SKeyNode>());
    return *node.children.back().second;
}

} // namespace

std::unique_ptr<SKeyNode> arrangeKeys(const std::vector<SKeyDescription>& keys)
{
    auto root = std::make_unique<SKeyNode>();
    for (const SKeyDescription& key : keys) {
        SKeyNode* node = root.get();
        std::istringstream path(key.path);
        std::string step;
        bool attribute = false;
        while (std::getline(path, step, '.')) {
            if (step == "<xmlattr>") {
                attribute = true;
            } else if (attribute) {
                node->attributes.emplace_back(step, &key);
            } else {
                node = &childOf(*node, step);
            }
        }
        if (!attribute) {
            node->key = &key;
        }
    }
    return root;
}

CTypeCatalogue::CTypeCatalogue() = default;

CTypeCatalogue::~CTypeCatalogue() = default;

void CTypeCatalogue::addFile(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw CHostException(ExitFailure, "cannot read the type descriptions " + textOf(file));
    }
    addText(std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()),
            textOf(file));
}

void CTypeCatalogue::addText(const std::string& json, const std::string& source)
{
    try {
        Json document = Json::parse(json);
        escapeTexts(document);
        const std::string plugin = document.value("plugin", std::string());
        for (const Json& entry : document.at("types")) {
            auto type = typeFromJson(entry, plugin);
            // the first type of a name is kept, as with the factories
            if (byName_.emplace(type->name, type.get()).second) {
                types_.push_back(std::move(type));
            }
        }
    } catch (const std::exception& exception) {
        throw CHostException(ExitFailure, "bad type descriptions in " + source + ": " +
                                              escapeControlCharacters(exception.what()));
    }
}

void CTypeCatalogue::resolve()
{
    for (const auto& type : types_) {
        std::vector<std::string> descent;
        resolve(*type, descent);
    }
}

void CTypeCatalogue::resolve(STypeDescription& type, std::vector<std::string>& descent)
{
    if (resolved_[type.name]) {
        return;
    }
    if (std::find(descent.begin(), descent.end(), type.name) != descent.end()) {
        throw CHostException(ExitFailure, "bad type descriptions: " + type.name + " is its own base");
    }
    descent.push_back(type.name);
    std::vector<SKeyDescription> keys = keysOfKind(type.kind);
    std::vector<std::string> provides;
    std::vector<SSignalDescription> signals;
    for (const std::string& baseName : type.bases) {
        const auto base = byName_.find(baseName);
        if (base == byName_.end()) {
            throw CHostException(ExitFailure, "bad type descriptions: the base " + baseName + " of " +
                                                  type.name + " is described nowhere");
        }
        resolve(*base->second, descent);
        mergeKeys(keys, base->second->keys);
        provides.insert(provides.end(), base->second->provides.begin(), base->second->provides.end());
        signals.insert(signals.end(), base->second->signals.begin(), base->second->signals.end());
    }
    mergeKeys(keys, type.keys);
    type.keys = std::move(keys);
    type.signals.insert(type.signals.begin(), signals.begin(), signals.end());
    for (const std::string& server : provides) {
        if (std::find(type.provides.begin(), type.provides.end(), server) == type.provides.end()) {
            type.provides.push_back(server);
        }
    }
    if (type.kind == "device" &&
        std::find(type.provides.begin(), type.provides.end(), "device") == type.provides.end()) {
        type.provides.push_back("device");
    }
    descent.pop_back();
    resolved_[type.name] = true;
}

const STypeDescription* CTypeCatalogue::find(const std::string& name) const
{
    const auto found = byName_.find(name);
    return found == byName_.end() ? nullptr : found->second;
}

bool CTypeCatalogue::derives(const STypeDescription& type, const std::string& base) const
{
    return type.name == base ||
           std::any_of(type.bases.begin(), type.bases.end(), [&](const std::string& name) {
               const STypeDescription* const direct = find(name);
               return direct && derives(*direct, base);
           });
}

const SKeyNode& CTypeCatalogue::keys(const STypeDescription& type) const
{
    auto& arranged = arranged_[type.name];
    if (!arranged) {
        arranged = arrangeKeys(type.keys);
    }
    return *arranged;
}

std::vector<const STypeDescription*> CTypeCatalogue::types(bool withAbstract) const
{
    std::vector<const STypeDescription*> result;
    for (const auto& type : types_) {
        if (withAbstract || type->kind != "abstract") {
            result.push_back(type.get());
        }
    }
    return result;
}

std::vector<std::string> CTypeCatalogue::namesOfKinds(const std::vector<std::string>& kinds) const
{
    std::vector<std::string> result;
    for (const auto& type : types_) {
        if (std::find(kinds.begin(), kinds.end(), type->kind) != kinds.end()) {
            result.push_back(type->name);
        }
    }
    return result;
}

} // namespace Rvl
