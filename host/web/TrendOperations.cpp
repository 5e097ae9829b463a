#include "host/base/UtcText.h"
#include "host/web/ApiOperations.h"
#include "host/web/JsonSchema.h"

#include <chrono>
#include <utility>

namespace Rvl {

namespace {

using std::chrono::system_clock;

long long milliseconds(system_clock::time_point moment)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(moment.time_since_epoch()).count();
}

SHttpReply trend(const SApiContext& context, const SApiRequest& request)
{
    constexpr long long longest_s = CTrendMemory::rowsKept;
    const std::chrono::seconds length(request.integer("seconds", 1, longest_s, longest_s));
    const auto points = static_cast<std::size_t>(request.integer("points", 1, longest_s, 60));
    const auto from = context.snapshot()->utc - length;
    Json channels = Json::object();
    const auto& controllers = context.session().controllers();
    for (std::size_t index = 0; index < controllers.size(); ++index) {
        Json rows = Json::array();
        for (const CTrendMemory::SRow& row : context.trend.rows(index, from, points)) {
            rows.push_back({milliseconds(row.utc), numberJson(row.setPoint), numberJson(row.actualValue),
                            numberJson(row.controlValue)});
        }
        channels[controllers[index]->name()] = {
            {"columns", {"time_ms", "setPoint", "actualValue", "controlValue"}}, {"rows", std::move(rows)}};
    }
    return jsonReply({{"channels", std::move(channels)}});
}

} // namespace

std::vector<SOperation> trendOperations(const SApiContext& context)
{
    const Json table =
        object({{"columns", arrayOf(schemaOf("string"))}, {"rows", arrayOf(arrayOf(nullable("number")))}},
               {"columns", "rows"});
    SOperation shortTrend;
    shortTrend.method = "GET";
    shortTrend.path = "/api/trend";
    shortTrend.summary = "a short trend of every controller, from memory";
    shortTrend.query = {
        {"seconds", schemaOf("integer"), "how far back, 1 to 600 (the default)"},
        {"points", schemaOf("integer"), "rows of each controller at most, 1 to 600; default 60"}};
    shortTrend.replySchema = object({{"channels", mapOf(table)}}, {"channels"});
    shortTrend.carryOut = [context](const SApiRequest& request) { return trend(context, request); };
    return {shortTrend};
}

} // namespace Rvl
