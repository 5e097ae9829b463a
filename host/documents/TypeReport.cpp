#include "host/documents/TypeReport.h"

#include "host/base/Suggestion.h"
#include "host/base/TextTable.h"
#include "host/types/KeyText.h"

#include <nlohmann/json.hpp>

#include <map>

namespace Rvl {

namespace {

using Json = nlohmann::ordered_json;

Json asJson(const SSignalReference& signal)
{
    Json json = Json::object();
    if (!signal.device.empty()) {
        json["device"] = signal.device;
    }
    if (signal.choice.empty()) {
        json["kinds"] = signal.kinds.at("");
    } else {
        json["choice"] = signal.choice;
        json["kinds"] = signal.kinds;
    }
    if (signal.exclusive) {
        json["exclusive"] = true;
    }
    return json;
}

Json asJson(const SKeyDescription& key)
{
    Json json{{"path", key.path}, {"type", keyTypeName(key.type)}, {"required", key.required}};
    const auto addText = [&json](const char* name, const std::string& text) {
        if (!text.empty()) {
            json[name] = text;
        }
    };
    addText("requiredUnless", key.requiredUnless);
    if (key.defaultText) {
        json["default"] = *key.defaultText;
    }
    addText("unit", key.unit);
    if (key.minimum) {
        json["minimum"] = *key.minimum;
    }
    if (key.maximum) {
        json["maximum"] = *key.maximum;
    }
    if (key.exclusiveMinimum) {
        json["exclusiveMinimum"] = true;
    }
    if (!key.choices.empty()) {
        json["choices"] = key.choices;
    }
    addText("nameServer", key.nameServer);
    if (!key.kinds.empty()) {
        json["kinds"] = key.kinds;
    }
    if (!key.narrowedWhile.empty()) {
        json["kindsWhile"] = {{"key", key.narrowedWhile}, {"kinds", key.narrowedKinds}};
    }
    static const std::map<SKeyRelation::eRelation, const char*> relationNames{
        {SKeyRelation::NotAbove, "notAbove"},
        {SKeyRelation::NotBelow, "notBelow"},
        {SKeyRelation::Above, "above"}};
    for (const SKeyRelation& relation : key.relations) {
        Json& field = json[relationNames.at(relation.relation)];
        if (relation.factor == 1.0) {
            field = relation.path;
        } else {
            field = {{"key", relation.path}, {"times", relation.factor}};
        }
    }
    if (key.excluded) {
        json["excluded"] = *key.excluded;
    }
    addText("ofType", key.ofType);
    if (key.signal) {
        json["signal"] = asJson(*key.signal);
    }
    addText("onlyWith", key.onlyWith);
    if (key.repeated) {
        json["repeated"] = true;
    }
    for (const auto& [name, value] :
         {std::pair("unlimited", key.unlimited), std::pair("lenient", key.lenient)}) {
        if (value) {
            json[name] = true;
        }
    }
    addText("role", key.role);
    addText("drives", key.drives);
    addText("example", key.example);
    json["meaning"] = key.meaning;
    return json;
}

} // namespace

std::string typeReport(const std::vector<const STypeDescription*>& types)
{
    std::string report;
    for (const STypeDescription* type : types) {
        report +=
            (report.empty() ? "" : "\n") + type->name + "  (" + type->kind + ", " + type->plugin + ")\n";
        report += "  " + type->meaning + "\n";
        if (!type->provides.empty()) {
            report += "  provides: " + enumeration(type->provides) + "\n";
        }
        if (!type->signals.empty()) {
            CTextTable signals({"signal", "kind", "unit", "meaning"});
            for (const SSignalDescription& signal : type->signals) {
                signals.add({signal.name, signal.kind, signal.unit, signal.meaning});
            }
            for (const std::string& line : signals.lines()) {
                report += "  " + line + "\n";
            }
            report += "\n";
        }
        CTextTable table({"key", "type", "unit", "range", "default", "required", "meaning"});
        for (const SKeyDescription& key : type->keys) {
            table.add({key.path, keyTypeName(key.type), key.unit, keyRange(key), keyDefault(key),
                       keyRequired(key), key.meaning});
        }
        for (const std::string& line : table.lines()) {
            report += "  " + line + "\n";
        }
    }
    return report;
}

std::string typeReportAsJson(const std::vector<const STypeDescription*>& types)
{
    Json list = Json::array();
    for (const STypeDescription* type : types) {
        Json keys = Json::array();
        for (const SKeyDescription& key : type->keys) {
            keys.push_back(asJson(key));
        }
        Json entry{{"name", type->name},
                   {"kind", type->kind},
                   {"plugin", type->plugin},
                   {"provides", type->provides}};
        if (!type->example.empty()) {
            entry["example"] = type->example;
        }
        entry["meaning"] = type->meaning;
        for (const SSignalDescription& signal : type->signals) {
            Json described{{"name", signal.name}, {"kind", signal.kind}};
            if (!signal.unit.empty()) {
                described["unit"] = signal.unit;
            }
            described["meaning"] = signal.meaning;
            if (signal.minimum) {
                described["minimum"] = *signal.minimum;
            }
            if (signal.maximum) {
                described["maximum"] = *signal.maximum;
            }
            if (!signal.limitKey.empty()) {
                described["limit"] = signal.limitKey;
            }
            if (signal.lines > 0) {
                described["lines"] = signal.lines;
            }
            entry["signals"].push_back(described);
        }
        entry["keys"] = keys;
        list.push_back(entry);
    }
    return Json{{"types", list}}.dump(2) + "\n";
}

} // namespace Rvl
