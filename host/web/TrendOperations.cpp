#include "host/base/NumberText.h"
#include "host/base/SystemText.h"
#include "host/base/UtcText.h"
#include "host/history/HistoryReader.h"
#include "host/history/HistoryReport.h"
#include "host/web/ApiOperations.h"
#include "host/web/JsonSchema.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <sstream>
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
        const CController& controller = *controllers[index];
        const std::size_t loops = controller.loops() ? controller.loops()->loopCount() : 1;
        for (std::size_t loop = 0; loop < loops; ++loop) {
            Json rows = Json::array();
            for (const CTrendMemory::SRow& row : context.trend.rows(index, from, points, loop)) {
                rows.push_back({milliseconds(row.utc), numberJson(row.setPoint), numberJson(row.actualValue),
                                numberJson(row.controlValue)});
            }
            channels[controller.name() + (loop == 0 ? "" : "/" + std::to_string(loop))] = {
                {"columns", {"time_ms", "setPoint", "actualValue", "controlValue"}},
                {"rows", std::move(rows)}};
        }
    }
    return jsonReply({{"channels", std::move(channels)}});
}

system_clock::time_point timeOf(const std::string& text, const std::string& field)
{
    if (const auto time = parseUtc(text)) {
        return *time;
    }
    throw CHttpError(400, "\"" + text + "\" is no time; expected one such as 2026-03-01T14:02:31.250Z",
                     field);
}

/// The time that a history is requested for.
struct SRequestedTime
{
    system_clock::time_point from;
    system_clock::time_point to;
};

SRequestedTime requestedTime(const SApiContext& context, const SApiRequest& request)
{
    const auto from = request.query("from");
    const auto to = request.query("to");
    SRequestedTime result;
    result.to = to ? timeOf(*to, "to") : context.snapshot()->utc;
    result.from = from ? timeOf(*from, "from") : result.to - std::chrono::hours(1);
    if (result.from > result.to) {
        throw CHttpError(422, "the time begins after its end", "from");
    }
    return result;
}

std::size_t indexOf(const SApiContext& context, const std::string& name)
{
    const auto& controllers = context.session().controllers();
    const CController* const controller = &context.controller(name);
    return static_cast<std::size_t>(std::find(controllers.begin(), controllers.end(), controller) -
                                    controllers.begin());
}

constexpr std::array<const char*, 8> historyColumns{"time_ms",     "setPoint",      "actualMinimum",
                                                    "actualMean",  "actualMaximum", "controlMinimum",
                                                    "controlMean", "controlMaximum"};
using Row = std::array<double, historyColumns.size()>;

struct STrend
{
    std::vector<Row> rows;
    long long resolution_ms = 0;
    std::string source;
    Json events = Json::array();
};

STrend fromMemory(const SApiContext& context, const std::string& name, const SRequestedTime& time,
                  std::size_t points)
{
    STrend trend;
    trend.source = "memory";
    for (const CTrendMemory::SRow& row : context.trend.rows(indexOf(context, name), time.from, points)) {
        if (row.utc <= time.to) {
            trend.rows.push_back({static_cast<double>(milliseconds(row.utc)), row.setPoint, row.actualValue,
                                  row.actualValue, row.actualValue, row.controlValue, row.controlValue,
                                  row.controlValue});
        }
    }
    for (const SCommandRecord& record : context.commands.records()) {
        if (record.controller == name && time.from <= record.utc && record.utc <= time.to) {
            trend.events.push_back(
                {{"time", utcText(record.utc)}, {"kind", "command"}, {"text", record.text()}});
        }
    }
    return trend;
}

STrend fromHistory(const SApiContext& context, const std::string& name, const SRequestedTime& time,
                   std::size_t points)
{
    context.controller(name); // or it is reported as missing
    STrend trend;
    trend.source = "history";
    // one for each request, as they are carried out side by side
    const CHistoryReader reader(*context.history);
    const SHistoryTrend values = reader.read(name, time.from, time.to, points);
    trend.resolution_ms = values.resolution.count();
    for (const SHistoryRow& row : values.rows) {
        trend.rows.push_back({static_cast<double>(milliseconds(row.time)), row.setPoint.mean,
                              row.actualValue.minimum, row.actualValue.mean, row.actualValue.maximum,
                              row.controlValue.minimum, row.controlValue.mean, row.controlValue.maximum});
    }
    for (const SHistoryEvent& event : reader.events({time.from, time.to}, name, 1000)) {
        trend.events.push_back(
            {{"time", utcText(event.time)}, {"kind", textOf(event.kind)}, {"text", event.text}});
    }
    return trend;
}

SHttpReply csvReply(const STrend& trend)
{
    SHttpReply reply;
    reply.contentType = "text/csv; charset=utf-8";
    reply.headers.emplace_back("Content-Disposition", "attachment; filename=\"history.csv\"");
    for (const char* const column : historyColumns) {
        reply.body += (reply.body.empty() ? "" : ",") + std::string(column);
    }
    reply.body += "\n";
    for (const Row& row : trend.rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            reply.body += (column == 0 ? "" : ",") +
                          (std::isfinite(row[column]) ? exactText(row[column]) : std::string());
        }
        reply.body += "\n";
    }
    return reply;
}

SHttpReply history(const SApiContext& context, const SApiRequest& request)
{
    const auto name = request.query("channel");
    if (!name) {
        throw CHttpError(400, "the parameter \"channel\" is missing", "channel");
    }
    const std::string format = request.query("format").value_or("json");
    if (format != "json" && format != "csv") {
        throw CHttpError(400, "\"" + format + "\" is no format; expected json or csv", "format");
    }
    const SRequestedTime time = requestedTime(context, request);
    const auto points = static_cast<std::size_t>(request.integer("points", 1, 5000, 1000));
    STrend trend = context.history ? fromHistory(context, *name, time, points)
                                   : fromMemory(context, *name, time, points);
    if (format == "csv") {
        return csvReply(trend);
    }
    Json rows = Json::array();
    for (const Row& row : trend.rows) {
        Json cells = Json::array();
        for (const double value : row) {
            cells.push_back(numberJson(value));
        }
        rows.push_back(std::move(cells));
    }
    return jsonReply({{"channel", *name},
                      {"resolution_ms", trend.resolution_ms},
                      {"source", trend.source},
                      {"columns", historyColumns},
                      {"rows", std::move(rows)},
                      {"events", std::move(trend.events)}});
}

SHttpReply report(const SApiContext& context, const SApiRequest& request)
{
    if (!context.history) {
        throw CHttpError(409, "no history is kept; run the host with --history");
    }
    const SRequestedTime time = requestedTime(context, request);
    const CHistoryReader reader(*context.history);
    SReportSettings settings;
    settings.title = textOf(context.history->filename());
    settings.range = {time.from, time.to};
    const auto name = request.query("channel");
    for (const SHistoryChannel& channel : reader.channels()) {
        if (!name || channel.name == *name) {
            settings.channels.push_back(channel);
        }
    }
    if (name && settings.channels.empty()) {
        context.controller(*name); // or it is reported as missing
        throw CHttpError(409, "the history has no values of \"" + *name + "\" yet", "channel");
    }
    std::ostringstream page;
    // the reply is not begun before all is read, so a report that takes too long is none
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    if (!writeHistoryReport(reader, settings, page,
                            [end](auto, auto) { return std::chrono::steady_clock::now() < end; })) {
        throw CHttpError(503, "the report took longer than 30 s; \"rivlink-host report\" has no limit");
    }
    SHttpReply reply;
    reply.contentType = "text/html; charset=utf-8";
    reply.headers.emplace_back("Content-Disposition", "attachment; filename=\"report.html\"");
    reply.body = std::move(page).str();
    return reply;
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
    shortTrend.mayBlock = true; // much text for many controllers
    shortTrend.carryOut = [context](const SApiRequest& request) { return trend(context, request); };
    SOperation longTrend;
    longTrend.method = "GET";
    longTrend.path = "/api/history";
    longTrend.summary = "a controller's values over a time, and what happened then";
    longTrend.query = {
        {"channel", schemaOf("string"), "the controller; required"},
        {"from", schemaOf("string"), "begin, such as 2026-03-01T14:02:31Z; default: an hour before the end"},
        {"to", schemaOf("string"), "end; default: now"},
        {"points", schemaOf("integer"), "rows at most, about, 1 to 5000; default 1000"},
        {"format", schemaOf("string"), "json (the default) or csv"}};
    const Json event =
        object({{"time", schemaOf("string")}, {"kind", schemaOf("string")}, {"text", schemaOf("string")}},
               {"time", "kind", "text"});
    longTrend.replySchema = object({{"channel", schemaOf("string")},
                                    {"resolution_ms", schemaOf("integer")},
                                    {"source", schemaOf("string")},
                                    {"columns", arrayOf(schemaOf("string"))},
                                    {"rows", arrayOf(arrayOf(nullable("number")))},
                                    {"events", arrayOf(event)}},
                                   {"channel", "resolution_ms", "source", "columns", "rows", "events"});
    longTrend.mayBlock = true; // a disk may
    longTrend.carryOut = [context](const SApiRequest& request) { return history(context, request); };
    SOperation reported;
    reported.method = "GET";
    reported.path = "/api/report";
    reported.summary =
        "a report of the history: trends, statistics, commands and faults, as one page of HTML";
    reported.query = {
        {"channel", schemaOf("string"), "the controller; default: all of them"},
        {"from", schemaOf("string"), "begin, such as 2026-03-01T14:02:31Z; default: an hour before the end"},
        {"to", schemaOf("string"), "end; default: now"}};
    reported.replyType = "text/html";
    reported.mayBlock = true;
    reported.carryOut = [context](const SApiRequest& request) { return report(context, request); };
    return {shortTrend, longTrend, reported};
}

} // namespace Rvl
