#include "host/web/Api.h"

#include "host/session/Commands.h"
#include "host/web/JsonSchema.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace Rvl {

namespace {

std::vector<std::string> segmentsOf(const std::string& path)
{
    return partsOf(std::string_view(path).substr(1), '/');
}

bool isParameter(const std::string& segment)
{
    return segment.size() > 2 && segment.front() == '{' && segment.back() == '}';
}

bool matches(const SOperation& operation, const SHttpRequest& request)
{
    const std::vector<std::string>& expected = operation.segments;
    return expected.size() == request.segments.size() &&
           std::equal(expected.begin(), expected.end(), request.segments.begin(),
                      [](const std::string& part, const std::string& segment) {
                          return isParameter(part) ? !segment.empty() : part == segment;
                      });
}

std::map<std::string, std::string> pathParameters(const SOperation& operation, const SHttpRequest& request)
{
    std::map<std::string, std::string> result;
    const std::vector<std::string>& expected = operation.segments;
    for (std::size_t index = 0; index < expected.size(); ++index) {
        if (isParameter(expected[index])) {
            result[expected[index].substr(1, expected[index].size() - 2)] = request.segments[index];
        }
    }
    return result;
}

void checkQuery(const SOperation& operation, const SHttpRequest& request)
{
    for (const auto& parameter : request.query) {
        const std::string& name = parameter.first;
        if (std::none_of(operation.query.begin(), operation.query.end(),
                         [&](const SOperation::SQueryParameter& known) { return known.name == name; })) {
            throw CHttpError(400, "there is no parameter \"" + name + "\"", name);
        }
    }
}

Json bodyOf(const SOperation& operation, const SHttpRequest& request)
{
    if (operation.bodySchema.is_null()) {
        if (!request.body.empty() && request.method == "GET") {
            throw CHttpError(400, "the request has a body; expected none");
        }
        return {};
    }
    const std::string type = request.contentType.substr(0, request.contentType.find(';'));
    if (type != "application/json") {
        throw CHttpError(415, "the body is no application/json");
    }
    if (request.body.size() > operation.largestBody) {
        throw CHttpError(413, "the body is too large; expected " + std::to_string(operation.largestBody) +
                                  " bytes at most");
    }
    Json body;
    try {
        body = Json::parse(request.body);
    } catch (const std::exception&) {
        throw CHttpError(400, "the body is not well-formed JSON");
    }
    checkSchema(operation.bodySchema, body);
    return body;
}

unsigned statusOf(CCommandRefused::eReason reason)
{
    switch (reason) {
    case CCommandRefused::NotFound:
        return 404;
    case CCommandRefused::WrongState:
        return 409;
    case CCommandRefused::OutOfRange:
        return 422;
    case CCommandRefused::Failed:
        break;
    }
    return 500;
}

} // namespace

std::optional<std::string> SApiRequest::query(const std::string& name) const
{
    const auto found = http.query.find(name);
    return found == http.query.end() ? std::nullopt : std::optional<std::string>(found->second);
}

long long SApiRequest::integer(const std::string& name, long long minimum, long long maximum,
                               long long otherwise) const
{
    const std::optional<std::string> text = query(name);
    if (!text) {
        return otherwise;
    }
    long long value = 0;
    const char* const end = text->data() + text->size();
    const auto [last, error] = std::from_chars(text->data(), end, value);
    if (last != end || error != std::errc()) {
        throw CHttpError(400, "\"" + *text + "\" is no whole number", name);
    }
    if (value < minimum || value > maximum) {
        throw CHttpError(422,
                         name + " lies outside the range; expected " + std::to_string(minimum) + " to " +
                             std::to_string(maximum),
                         name);
    }
    return value;
}

void CApi::add(std::vector<SOperation> operations)
{
    for (SOperation& operation : operations) {
        operation.segments = segmentsOf(operation.path);
        operations_.push_back(std::move(operation));
    }
}

const SOperation& CApi::find(const SHttpRequest& request) const
{
    bool isPath = false;
    for (const SOperation& operation : operations_) {
        if (!matches(operation, request)) {
            continue;
        }
        isPath = true;
        if (operation.method == request.method) {
            return operation;
        }
    }
    throw isPath ? CHttpError(405, "the path does not go with the method " + request.method)
                 : CHttpError(404, "there is nothing at this path");
}

std::string CApi::objectOf(const SOperation& operation, const SHttpRequest& request)
{
    const std::map<std::string, std::string> parameters = pathParameters(operation, request);
    for (const char* const kind : {"channel", "device"}) {
        if (const auto found = parameters.find(kind); found != parameters.end()) {
            return kind + (" " + found->second);
        }
    }
    return {};
}

SHttpReply CApi::carryOut(const SOperation& operation, const SHttpRequest& request) const
{
    try {
        checkQuery(operation, request);
        return operation.carryOut({request, pathParameters(operation, request), bodyOf(operation, request)});
    } catch (const CHttpError& error) {
        return errorReply(error.status(), error.what(), error.field());
    } catch (const CCommandRefused& refused) {
        return errorReply(statusOf(refused.reason()), refused.what(), refused.field());
    } catch (const std::exception& exception) {
        return errorReply(500, exception.what());
    } catch (...) {
        return errorReply(500, "an exception of unknown kind");
    }
}

SHttpReply jsonReply(const Json& json)
{
    SHttpReply reply;
    reply.body = textOf(json);
    return reply;
}

Json openApi(const std::vector<SOperation>& operations, const std::string& version)
{
    Json paths = Json::object();
    for (const SOperation& operation : operations) {
        Json parameters = Json::array();
        for (const std::string& segment : operation.segments) {
            if (isParameter(segment)) {
                parameters.push_back({{"name", segment.substr(1, segment.size() - 2)},
                                      {"in", "path"},
                                      {"required", true},
                                      {"schema", {{"type", "string"}}}});
            }
        }
        for (const SOperation::SQueryParameter& parameter : operation.query) {
            parameters.push_back({{"name", parameter.name},
                                  {"in", "query"},
                                  {"description", parameter.meaning},
                                  {"schema", parameter.schema}});
        }
        Json entry{{"summary", operation.summary}, {"parameters", std::move(parameters)}};
        if (!operation.bodySchema.is_null()) {
            entry["requestBody"] = {{"required", true},
                                    {"content", {{"application/json", {{"schema", operation.bodySchema}}}}}};
        }
        Json content = operation.replySchema.is_null() ? Json{{"schema", {{"type", "string"}}}}
                                                       : Json{{"schema", operation.replySchema}};
        entry["responses"] = {
            {"200", {{"description", "done"}, {"content", {{operation.replyType, std::move(content)}}}}},
            {"default", {{"$ref", "#/components/responses/Error"}}}};
        if (!operation.needsToken) {
            entry["security"] = Json::array();
        }
        std::string method = operation.method;
        std::transform(method.begin(), method.end(), method.begin(),
                       [](char character) { return static_cast<char>(character + ('a' - 'A')); });
        paths[operation.path][method] = std::move(entry);
    }
    const Json error =
        object({{"error", object({{"message", schemaOf("string")}, {"field", nullable("string")}},
                                 {"message", "field"})}},
               {"error"});
    return {{"openapi", "3.0.3"},
            {"info", {{"title", "rivlink-host"}, {"version", version}}},
            {"paths", std::move(paths)},
            {"components",
             {{"responses",
               {{"Error",
                 {{"description", "not carried out; nothing has changed"},
                  {"content", {{"application/json", {{"schema", error}}}}}}}}},
              {"securitySchemes", {{"token", {{"type", "http"}, {"scheme", "bearer"}}}}}}},
            {"security", Json::array({{{"token", Json::array()}}})}};
}

} // namespace Rvl
