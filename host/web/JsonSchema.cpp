#include "host/web/JsonSchema.h"

#include "host/web/HttpMessage.h"

namespace Rvl {

namespace {

bool isOfType(const std::string& type, const Json& document)
{
    return (type == "object" && document.is_object()) || (type == "array" && document.is_array()) ||
           (type == "string" && document.is_string()) || (type == "boolean" && document.is_boolean()) ||
           (type == "number" && document.is_number()) || (type == "integer" && document.is_number_integer());
}

void checkMembers(const Json& schema, const Json& document)
{
    const Json properties = schema.value("properties", Json::object());
    const Json others = schema.value("additionalProperties", Json(true));
    for (const auto& [key, value] : document.items()) {
        if (properties.contains(key)) {
            checkSchema(properties.at(key), value, key);
        } else if (others.is_object()) {
            checkSchema(others, value, key);
        } else if (!others.get<bool>()) {
            throw CHttpError(400, "there is no member \"" + key + "\"", key);
        }
    }
    for (const Json& key : schema.value("required", Json::array())) {
        if (!document.contains(key.get<std::string>())) {
            throw CHttpError(400, "the member \"" + key.get<std::string>() + "\" is missing",
                             key.get<std::string>());
        }
    }
}

} // namespace

Json schemaOf(const std::string& type)
{
    return {{"type", type}};
}

Json nullable(const std::string& type)
{
    return {{"type", type}, {"nullable", true}};
}

Json object(const std::vector<std::pair<std::string, Json>>& members,
            const std::vector<std::string>& required)
{
    Json properties = Json::object();
    for (const auto& [name, schema] : members) {
        properties[name] = schema;
    }
    Json result{{"type", "object"}, {"properties", std::move(properties)}, {"additionalProperties", false}};
    if (!required.empty()) {
        result["required"] = required;
    }
    return result;
}

Json mapOf(const Json& member)
{
    return {{"type", "object"}, {"additionalProperties", member}};
}

Json arrayOf(const Json& item)
{
    return {{"type", "array"}, {"items", item}};
}

void checkSchema(const Json& schema, const Json& document, const std::string& name)
{
    if (document.is_null() && schema.value("nullable", false)) {
        return;
    }
    const std::string type = schema.value("type", "");
    if (!type.empty() && !isOfType(type, document)) {
        throw CHttpError(400,
                         (name.empty() ? "the body" : "the member \"" + name + "\"") +
                             " is of another type; expected " +
                             (type == "object" || type == "array" || type == "integer" ? "an " : "a ") + type,
                         name);
    }
    if (document.is_object()) {
        checkMembers(schema, document);
    } else if (document.is_array() && schema.contains("items")) {
        for (const Json& item : document) {
            checkSchema(schema.at("items"), item, name);
        }
    }
}

} // namespace Rvl
