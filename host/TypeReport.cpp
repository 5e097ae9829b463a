#include "host/TypeReport.h"

#include "host/KeyText.h"
#include "host/Suggestion.h"
#include "host/TextTable.h"

#include <nlohmann/json.hpp>

namespace Rvl {

namespace {

using Json = nlohmann::ordered_json;

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
    addText("notAbove", key.notAbove);
    addText("onlyWith", key.onlyWith);
    if (key.repeated) {
        json["repeated"] = true;
    }
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
        entry["keys"] = keys;
        list.push_back(entry);
    }
    return Json{{"types", list}}.dump(2) + "\n";
}

} // namespace Rvl
