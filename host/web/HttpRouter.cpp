#include "host/web/HttpRouter.h"

#include "host/web/JsonSchema.h"

#include <utility>

namespace Rvl {

CHttpRouter::CHttpRouter(const CHttpAccess& access, std::vector<SOperation> operations,
                         const std::string& version)
    : access_(access)
{
    api_.add(std::move(operations));
    SOperation events;
    events.method = "GET";
    events.path = "/api/events";
    events.summary = "a stream of events: a snapshot, then what changes, and every command";
    events.replyType = "text/event-stream";
    events.query = {
        {"interval_ms", schemaOf("integer"), "time between two events, 100 to 60000; default 500"}};
    SOperation description;
    description.method = "GET";
    description.path = "/api/openapi.json";
    description.summary = "this document";
    description.replySchema = schemaOf("object");
    description.carryOut = [this, version](const SApiRequest&) {
        return jsonReply(openApi(api_.operations(), version));
    };
    api_.add({events, description});
}

const SPageFile* CHttpRouter::pageFile(const SHttpRequest& request)
{
    if (request.method != "GET") {
        return nullptr;
    }
    const std::string name = request.path == "/" ? "index.html" : request.path.substr(1);
    for (const SPageFile& file : pageFiles()) {
        if (file.name == name) {
            return &file;
        }
    }
    return nullptr;
}

void CHttpRouter::authorize(const SHttpRequest& request, const SHttpCredentials& credentials) const
{
    access_.checkOrigin(credentials);
    if (!pageFile(request) && api_.find(request).needsToken) {
        access_.checkToken(credentials);
    }
}

std::optional<std::chrono::milliseconds> CHttpRouter::eventInterval(const SHttpRequest& request) const
{
    if (request.segments != std::vector<std::string>{"api", "events"} || request.method != "GET") {
        return std::nullopt;
    }
    for (const auto& [name, value] : request.query) {
        if (name != "interval_ms") {
            throw CHttpError(400, "there is no parameter \"" + name + "\"", name);
        }
    }
    const SApiRequest parsed{request, {}, {}};
    return std::chrono::milliseconds(parsed.integer("interval_ms", 100, 60000, 500));
}

std::optional<SHttpReply> CHttpRouter::pageReply(const SHttpRequest& request) const
{
    const SPageFile* const file = pageFile(request);
    if (!file) {
        return std::nullopt;
    }
    SHttpReply reply;
    reply.contentType = std::string(file->contentType);
    reply.body = std::string(file->content);
    return reply;
}

} // namespace Rvl
