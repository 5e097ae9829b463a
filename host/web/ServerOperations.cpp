#include "host/web/ApiOperations.h"
#include "host/web/JsonSchema.h"
#include "host/web/Metrics.h"

#include <utility>

namespace Rvl {

namespace {

SHttpReply health(const SApiContext& context)
{
    const auto reply = [](unsigned status, const Json& json) {
        SHttpReply result = jsonReply(json);
        result.status = status;
        return result;
    };
    const CLiveState::Snapshot snapshot = context.live.latest();
    if (!snapshot || !context.session().isRunning()) {
        return reply(503, {{"status", "not running"}, {"reason", "the session is not running"}});
    }
    const auto age = context.session().timeline().monotonic() - snapshot->monotonic;
    if (age > std::chrono::seconds(2)) {
        return reply(503, {{"status", "hung"}, {"reason", "no controller could be read for 2 s"}});
    }
    for (const SControllerState& state : snapshot->controllers) {
        if (state.health.kind == EHealth::Fault) {
            return reply(503, {{"status", "fault"}, {"reason", state.name + ": " + state.health.text}});
        }
    }
    return reply(200, {{"status", "ok"}});
}

} // namespace

std::vector<SOperation> serverOperations(const SApiContext& context)
{
    SOperation figures;
    figures.method = "GET";
    figures.path = "/metrics";
    figures.summary = "values and counters in Prometheus' text format";
    figures.replyType = "text/plain";
    figures.carryOut = [context](const SApiRequest&) {
        SHttpReply reply;
        reply.contentType = "text/plain; version=0.0.4; charset=utf-8";
        reply.body = metrics(*context.snapshot(), {context.eventClients(), context.version});
        return reply;
    };
    SOperation isHealthy;
    isHealthy.method = "GET";
    isHealthy.path = "/healthz";
    isHealthy.summary = "200 while the loops step, 503 with the reason otherwise";
    isHealthy.replySchema =
        object({{"status", schemaOf("string")}, {"reason", schemaOf("string")}}, {"status"});
    isHealthy.needsToken = false;
    isHealthy.carryOut = [context](const SApiRequest&) { return health(context); };
    SOperation session;
    session.method = "POST";
    session.path = "/api/session";
    session.summary = "gives a browser a cookie that stands for the access token";
    session.bodySchema = object({{"token", schemaOf("string")}}, {"token"});
    session.replySchema = object({}, {});
    session.needsToken = false;
    session.largestBody = 1024;
    session.carryOut = [context](const SApiRequest& request) {
        SHttpReply reply = jsonReply(Json::object());
        reply.headers.emplace_back("Set-Cookie",
                                   context.access.cookieFor(request.body.at("token").get<std::string>()));
        return reply;
    };
    return {figures, isHealthy, session};
}

std::vector<SOperation> operationsOf(const SApiContext& context)
{
    std::vector<SOperation> operations;
    for (const std::vector<SOperation>& part :
         {channelOperations(context), commandOperations(context), deviceOperations(context),
          trendOperations(context), serverOperations(context)}) {
        operations.insert(operations.end(), part.begin(), part.end());
    }
    return operations;
}

} // namespace Rvl
