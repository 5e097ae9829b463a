#include "host/base/UtcText.h"
#include "host/configuration/FaultText.h"
#include "host/session/ParameterCheck.h"
#include "host/web/ApiOperations.h"
#include "host/web/JsonSchema.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace Rvl {

namespace {

constexpr std::size_t mostValues = 100; ///< more than any loop has
constexpr std::size_t longestKey = 100;

Json recordSchema()
{
    return object({{"time", schemaOf("string")},
                   {"source", schemaOf("string")},
                   {"channel", schemaOf("string")},
                   {"what", schemaOf("string")},
                   {"old", schemaOf("string")},
                   {"new", schemaOf("string")},
                   {"refusal", nullable("string")}},
                  {"time", "source", "channel", "what", "old", "new", "refusal"});
}

Json recordsSchema()
{
    return object({{"records", arrayOf(recordSchema())}}, {"records"});
}

SHttpReply recordsReply(const CCommands::Records& records)
{
    Json list = Json::array();
    for (const SCommandRecord& record : records) {
        list.push_back(recordJson(record));
    }
    return jsonReply({{"records", std::move(list)}});
}

std::size_t loopOf(const SApiRequest& request)
{
    const std::string& text = request.path.at("loop");
    std::size_t loop = 0;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, loop);
    if (last != end || error != std::errc()) {
        throw CHttpError(404, "\"" + text + "\" is no loop; expected its number, from 0");
    }
    return loop;
}

CCommands::Values valuesOf(const SApiRequest& request)
{
    CCommands::Values values;
    for (const auto& [key, value] : request.body.at("values").items()) {
        values.push_back({key, value.get<double>()});
    }
    const bool isLong = std::any_of(values.begin(), values.end(),
                                    [](const auto& value) { return value.key.size() > longestKey; });
    if (values.size() > mostValues || isLong) {
        throw CHttpError(422, "there are more or longer keys than any loop has", "values");
    }
    if (values.empty()) {
        throw CHttpError(400, "there are no values", "values");
    }
    return values;
}

/// What the type's description says about a parameter; null if nothing.
const SKeyDescription* descriptionOf(const STypeDescription* type, const std::string& key)
{
    for (std::size_t index = 0; type && index < type->keys.size(); ++index) {
        const std::string& path = type->keys[index].path;
        if (path.find("<xmlattr>") != std::string::npos && lastPart(path) == key) {
            return &type->keys[index];
        }
    }
    return nullptr;
}

Json parameterJson(const SLoopParameters::SValue& value, const SKeyDescription* description)
{
    const bool known = description != nullptr;
    return {{"key", value.key},
            {"value", numberJson(value.value)},
            {"unit", known ? description->unit : ""},
            {"minimum", known && description->minimum ? Json(*description->minimum) : Json()},
            {"maximum", known && description->maximum ? Json(*description->maximum) : Json()},
            {"exclusiveMinimum", known && description->exclusiveMinimum},
            {"editable", value.key != "Setpoint"},
            {"meaning", known ? description->meaning : ""}};
}

SHttpReply parameters(const SApiContext& context, const SApiRequest& request)
{
    const std::string& name = request.path.at("channel");
    const CController& controller = context.controller(name);
    const std::size_t loop = loopOf(request);
    const CControllerFacts::Facts facts = context.factsOf(controller);
    if (loop >= facts->loops.size()) {
        throw CHttpError(404, name + " has no loop " + std::to_string(loop));
    }
    const SLoopParameters& parameters = facts->loops[loop].parameters;
    const STypeDescription* const type =
        typeOfLoop(controller.described(), loop, facts->loops[loop].typeName, context.loaded.catalogue());
    Json list = Json::array();
    for (const SLoopParameters::SValue& value : parameters.values) {
        list.push_back(parameterJson(value, descriptionOf(type, value.key)));
    }
    return jsonReply({{"name", parameters.name},
                      {"protected", parameters.isProtected},
                      {"undo", context.commands.undoCount(name, loop)},
                      {"parameters", std::move(list)}});
}

SHttpReply records(const SApiContext& context, const SApiRequest& request)
{
    const std::optional<std::string> channel = request.query("channel");
    const auto limit = static_cast<std::size_t>(request.integer("limit", 1, 1000, 1000));
    CCommands::Records all = context.commands.records();
    std::erase_if(all,
                  [&](const SCommandRecord& record) { return channel && record.controller != *channel; });
    if (all.size() > limit) {
        all.erase(all.begin(), all.end() - static_cast<std::ptrdiff_t>(limit));
    }
    return recordsReply(all);
}

template <class Value> std::optional<Value> member(const SApiRequest& request, const char* name)
{
    return request.body.contains(name) ? std::optional<Value>(request.body.at(name).get<Value>())
                                       : std::nullopt;
}

SOperation operation(const std::string& method, const std::string& path, const std::string& summary,
                     const Json& body, const Json& reply,
                     std::function<SHttpReply(const SApiRequest& request)> carryOut)
{
    SOperation result;
    result.method = method;
    result.path = path;
    result.summary = summary;
    result.bodySchema = body;
    result.replySchema = reply;
    result.mayBlock = true;
    result.carryOut = std::move(carryOut);
    return result;
}

Json parametersSchema()
{
    const Json parameter = object({{"key", schemaOf("string")},
                                   {"value", nullable("number")},
                                   {"unit", schemaOf("string")},
                                   {"minimum", nullable("number")},
                                   {"maximum", nullable("number")},
                                   {"exclusiveMinimum", schemaOf("boolean")},
                                   {"editable", schemaOf("boolean")},
                                   {"meaning", schemaOf("string")}},
                                  {"key", "value"});
    return object({{"name", schemaOf("string")},
                   {"protected", schemaOf("boolean")},
                   {"undo", schemaOf("integer")},
                   {"parameters", arrayOf(parameter)}},
                  {"name", "protected", "undo", "parameters"});
}

std::vector<SOperation> parameterOperations(const SApiContext& context)
{
    const std::string path = "/api/channels/{channel}/loops/{loop}/parameters";
    const Json body = object({{"values", mapOf(schemaOf("number"))}}, {"values"});
    return {operation("GET", path, "the parameters of a loop", {}, parametersSchema(),
                      [context](const SApiRequest& request) { return parameters(context, request); }),
            operation("PUT", path, "puts parameters in force, all of them or none", body, recordsSchema(),
                      [context](const SApiRequest& request) {
                          return recordsReply(
                              context.commands.setParameters(request.http.source, request.path.at("channel"),
                                                             loopOf(request), valuesOf(request)));
                      }),
            operation("POST", path + "/preview", "says what putting parameters in force would change", body,
                      recordsSchema(),
                      [context](const SApiRequest& request) {
                          return recordsReply(context.commands.previewParameters(
                              request.http.source, request.path.at("channel"), loopOf(request),
                              valuesOf(request)));
                      }),
            operation("POST", path + "/undo", "puts back what the last change of parameters replaced", {},
                      recordsSchema(), [context](const SApiRequest& request) {
                          return recordsReply(context.commands.undoParameters(
                              request.http.source, request.path.at("channel"), loopOf(request)));
                      })};
}

} // namespace

Json recordJson(const SCommandRecord& record)
{
    return {{"time", utcText(record.utc)},
            {"source", record.source},
            {"channel", record.controller},
            {"what", record.what},
            {"old", record.oldValue},
            {"new", record.newValue},
            {"refusal", record.refusal.empty() ? Json() : Json(record.refusal)}};
}

std::vector<SOperation> commandOperations(const SApiContext& context)
{
    const std::string channel = "/api/channels/{channel}";
    std::vector<SOperation> operations{
        operation("PUT", channel + "/set-point", "sets the set point, within its range",
                  object({{"value", schemaOf("number")}}, {"value"}), recordSchema(),
                  [context](const SApiRequest& request) {
                      return jsonReply(
                          recordJson(context.commands
                                         .setSetPoint(request.http.source, request.path.at("channel"),
                                                      request.body.at("value").get<double>())
                                         .front()));
                  }),
        operation("PUT", channel + "/enabled", "enables or disables the controller",
                  object({{"value", schemaOf("boolean")}}, {"value"}), recordSchema(),
                  [context](const SApiRequest& request) {
                      return jsonReply(
                          recordJson(context.commands
                                         .setEnabled(request.http.source, request.path.at("channel"),
                                                     request.body.at("value").get<bool>())
                                         .front()));
                  }),
        operation("PUT", channel + "/manual",
                  "hands over between automatic and manual mode without a bump, or sets the control value of "
                  "manual mode",
                  object({{"value", schemaOf("boolean")}, {"controlValue", schemaOf("number")}}, {}),
                  recordsSchema(), [context](const SApiRequest& request) {
                      const auto manual = member<bool>(request, "value");
                      const auto controlValue = member<double>(request, "controlValue");
                      if (!manual && !controlValue) {
                          throw CHttpError(400, "there is neither \"value\" nor \"controlValue\"");
                      }
                      return recordsReply(context.commands.setManual(
                          request.http.source, request.path.at("channel"), manual, controlValue));
                  })};
    for (SOperation& entry : parameterOperations(context)) {
        operations.push_back(std::move(entry));
    }
    SOperation log = operation("GET", "/api/commands", "the commands since the start, the latest last", {},
                               recordsSchema(),
                               [context](const SApiRequest& request) { return records(context, request); });
    log.query = {{"channel", schemaOf("string"), "only those of this controller"},
                 {"limit", schemaOf("integer"), "only the latest so many, 1 to 1000"}};
    log.mayBlock = false;
    operations.push_back(std::move(log));
    return operations;
}

} // namespace Rvl
