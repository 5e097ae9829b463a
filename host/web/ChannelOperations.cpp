#include "host/base/Suggestion.h"
#include "host/base/SystemText.h"
#include "host/base/UtcText.h"
#include "host/session/ParameterCheck.h"
#include "host/web/ApiOperations.h"
#include "host/web/JsonSchema.h"
#include "host/web/StateTexts.h"
#include "platform/rivlink_core/IoChannelInterface.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "platform/rivlink_device/ControllerChannel.h"
#include "platform/rivlink_device/Scalable.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

namespace Rvl {

namespace {

Json rangeJson(double minimum, double maximum)
{
    return {{"minimum", numberJson(minimum)}, {"maximum", numberJson(maximum)}};
}

Json rangeJson(const std::optional<std::pair<double, double>>& limits)
{
    return {{"minimum", limits ? numberJson(limits->first) : Json()},
            {"maximum", limits ? numberJson(limits->second) : Json()}};
}

/// Adds what is known of each loop to the facts, and returns what the interface gives of it.
Json readLoops(const SApiContext& context, const CController& controller, SControllerFacts& facts)
{
    Json result = Json::array();
    const ILoopGraph* const graph = controller.loops();
    for (std::size_t index = 0; graph && index < graph->loopCount(); ++index) {
        const SLoopStatus status = graph->status(index);
        const SLoopParameters parameters = graph->parameters(index);
        const IIoChannelInterface* const input = graph->inputChannel(index);
        result.push_back({{"index", index},
                          {"type", status.typeName},
                          {"name", parameters.name},
                          {"sampleTime_ms", status.sampleTime_ms},
                          {"input", input ? Json(input->getName()) : Json()},
                          {"inputUnit", context.unitOf(input)},
                          {"controlRange", rangeJson(controlLimitsOf(parameters))}});
        facts.loops.push_back({status.typeName, parameters});
    }
    return result;
}

/// The channels that the controller drives.
std::vector<const IIoChannelInterface*> outputsOf(const CController& controller)
{
    std::vector<const IIoChannelInterface*> result;
    for (const IIoChannelInterface* const channel : controller.referred()) {
        if (!dynamic_cast<const CAnalogInChannel*>(channel)) {
            result.push_back(channel);
        }
    }
    return result;
}

Json outputsJson(const SApiContext& context, const CController& controller)
{
    Json result = Json::array();
    for (const IIoChannelInterface* const channel : outputsOf(controller)) {
        result.push_back({{"name", channel->getName()}, {"unit", context.unitOf(channel)}});
    }
    return result;
}

Json scaleJson(const CController& controller)
{
    if (const auto& scale = controller.presentation().scale) {
        return rangeJson(scale->first, scale->second);
    }
    return rangeJson(controller.channel().setpointMinimum(), controller.channel().setpointMaximum());
}

Json graphJson(const Json& channel)
{
    Json nodes = Json::array();
    Json arrows = Json::array();
    const Json& loops = channel.at("loops");
    for (const Json& loop : loops) {
        const std::string index = std::to_string(loop.at("index").get<std::size_t>());
        if (!loop.at("input").is_null()) {
            nodes.push_back({{"id", "i" + index},
                             {"kind", "input"},
                             {"name", loop.at("input")},
                             {"unit", loop.at("inputUnit")}});
            arrows.push_back({{"from", "i" + index},
                              {"to", "l" + index},
                              {"value", "actualValue"},
                              {"loop", loop.at("index")}});
        }
        nodes.push_back(
            {{"id", "l" + index}, {"kind", "loop"}, {"name", loop.at("name")}, {"loop", loop.at("index")}});
        if (&loop != &loops.front()) {
            const std::size_t above = loop.at("index").get<std::size_t>() - 1;
            arrows.push_back({{"from", "l" + std::to_string(above)},
                              {"to", "l" + index},
                              {"value", "controlValue"},
                              {"loop", above}});
        }
    }
    for (const Json& output : channel.at("outputs")) {
        const std::string id = "o" + std::to_string(nodes.size());
        nodes.push_back(
            {{"id", id}, {"kind", "output"}, {"name", output.at("name")}, {"unit", output.at("unit")}});
        if (!loops.empty()) {
            const std::size_t innermost = loops.size() - 1;
            arrows.push_back({{"from", "l" + std::to_string(innermost)},
                              {"to", id},
                              {"value", "controlValue"},
                              {"loop", innermost}});
        }
    }
    return {{"nodes", std::move(nodes)}, {"arrows", std::move(arrows)}};
}

SControllerFacts readFacts(const SApiContext& context, const CController& controller)
{
    SControllerFacts facts;
    Json loops = readLoops(context, controller, facts);
    const IControllerChannel& channel = controller.channel();
    const std::string unit = channel.unit();
    facts.channel = {{"name", controller.name()},
                     {"description", controller.presentation().description},
                     {"group", controller.presentation().group},
                     // without a scaling the values are those of the outermost loop's input
                     {"unit", unit.empty() && !loops.empty() ? loops[0].at("inputUnit") : Json(unit)},
                     {"setPointRange", rangeJson(channel.setpointMinimum(), channel.setpointMaximum())},
                     {"controlRange", rangeJson(controller.controlLimits())},
                     {"scale", scaleJson(controller)},
                     {"loops", std::move(loops)},
                     {"outputs", outputsJson(context, controller)}};
    return facts;
}

Json channelJson(const SApiContext& context, const CController& controller, Json state)
{
    Json result = context.factsOf(controller)->channel;
    result["state"] = std::move(state);
    return result;
}

/// Of a controller that is known.
const SControllerState& stateIn(const SSnapshot& snapshot, const std::string& name)
{
    return *std::find_if(snapshot.controllers.begin(), snapshot.controllers.end(),
                         [&](const SControllerState& state) { return state.name == name; });
}

std::string titleOf(const CConfiguration& configuration)
{
    const std::string title = configuration.root().attribute("Title").value();
    return title.empty() ? textOf(pathOf(configuration.name()).filename()) : title;
}

SHttpReply channels(const SApiContext& context)
{
    const CLiveState::Snapshot snapshot = context.snapshot();
    Json list = Json::array();
    const auto& controllers = context.session().controllers();
    for (std::size_t index = 0; index < controllers.size(); ++index) {
        list.push_back(channelJson(context, *controllers[index], stateJson(snapshot->controllers.at(index))));
    }
    return jsonReply({{"title", titleOf(context.loaded.configuration())},
                      {"virtual", false},
                      {"time", utcText(snapshot->utc)},
                      {"interval_ms", CLiveState::liveInterval.count()},
                      {"channels", std::move(list)}});
}

SHttpReply channel(const SApiContext& context, const std::string& name)
{
    const CController& controller = context.controller(name);
    Json result = channelJson(context, controller, stateJson(stateIn(*context.snapshot(), name)));
    result["graph"] = graphJson(result);
    return jsonReply(result);
}

SHttpReply state(const SApiContext& context, CStateTexts& texts, const std::string& name)
{
    const CController* const controller = &context.controller(name);
    const auto& all = context.session().controllers();
    SHttpReply reply;
    reply.body =
        texts.of(context.snapshot(),
                 static_cast<std::size_t>(std::find(all.begin(), all.end(), controller) - all.begin()));
    return reply;
}

Json rangeSchema()
{
    return object({{"minimum", nullable("number")}, {"maximum", nullable("number")}}, {"minimum", "maximum"});
}

Json loopStateSchema()
{
    return object({{"setPoint", nullable("number")},
                   {"actualValue", nullable("number")},
                   {"controlValue", nullable("number")},
                   {"enabled", schemaOf("boolean")},
                   {"manual", schemaOf("boolean")},
                   {"p", nullable("number")},
                   {"i", nullable("number")},
                   {"d", nullable("number")},
                   {"saturation", schemaOf("string")},
                   {"steps", schemaOf("integer")},
                   {"sinceStep_ms", nullable("number")},
                   {"meanPeriodError_ms", nullable("number")},
                   {"worstPeriodError_ms", nullable("number")},
                   {"overruns", schemaOf("integer")}},
                  {"setPoint", "actualValue", "controlValue", "enabled", "manual", "saturation"});
}

Json stateSchema()
{
    return object(
        {{"setPoint", nullable("number")},
         {"actualValue", nullable("number")},
         {"controlValue", nullable("number")},
         {"enabled", schemaOf("boolean")},
         {"manual", schemaOf("boolean")},
         {"mode", schemaOf("string")},
         {"health", object({{"kind", schemaOf("string")}, {"text", schemaOf("string")}}, {"kind", "text"})},
         {"loops", arrayOf(loopStateSchema())}},
        {"setPoint", "actualValue", "controlValue", "enabled", "manual", "mode", "health", "loops"});
}

std::vector<std::pair<std::string, Json>> channelMembers()
{
    const Json loop = object({{"index", schemaOf("integer")},
                              {"type", schemaOf("string")},
                              {"name", schemaOf("string")},
                              {"sampleTime_ms", schemaOf("integer")},
                              {"input", nullable("string")},
                              {"inputUnit", schemaOf("string")},
                              {"controlRange", rangeSchema()}},
                             {"index", "type", "name"});
    const Json output =
        object({{"name", schemaOf("string")}, {"unit", schemaOf("string")}}, {"name", "unit"});
    return {{"name", schemaOf("string")},     {"description", schemaOf("string")},
            {"group", schemaOf("string")},    {"unit", schemaOf("string")},
            {"setPointRange", rangeSchema()}, {"controlRange", rangeSchema()},
            {"scale", rangeSchema()},         {"loops", arrayOf(loop)},
            {"outputs", arrayOf(output)},     {"state", stateSchema()}};
}

} // namespace

const SRig::SDevice* SApiContext::deviceOf(const IIoChannelInterface& channel) const
{
    const auto& properties = channel.properties();
    const std::string name = properties.get("Device", properties.get("<xmlattr>.Device", ""));
    for (const auto& device : session().devices()) {
        if (device->name == name) {
            return device.get();
        }
    }
    return nullptr;
}

std::string SApiContext::unitOf(const IIoChannelInterface* channel) const
{
    if (const auto* const scalable = dynamic_cast<const IScalable*>(channel);
        scalable && !scalable->unit().empty()) {
        return scalable->unit();
    }
    const SRig::SDevice* const device = channel ? deviceOf(*channel) : nullptr;
    const STypeDescription* const type = device ? loaded.catalogue().find(device->type) : nullptr;
    const std::string name = device ? channel->properties().get("Signal", "") : "";
    for (std::size_t index = 0; type && index < type->signals.size(); ++index) {
        if (type->signals[index].name == name) {
            return type->signals[index].unit;
        }
    }
    return {};
}

CLiveState::Snapshot SApiContext::snapshot() const
{
    if (auto latest = live.latest()) {
        return latest;
    }
    throw CHttpError(503, "the session has not begun yet");
}

CController& SApiContext::controller(const std::string& name) const
{
    if (CController* const found = session().findController(name)) {
        return *found;
    }
    std::vector<std::string> names;
    for (const CController* const known : session().controllers()) {
        names.push_back(known->name());
    }
    throw CHttpError(404, "\"" + name + "\" is no controller; expected " + expectedChoices(name, names));
}

CControllerFacts::Facts SApiContext::factsOf(const CController& controller) const
{
    return facts.of(controller.name(), [this, &controller] { return readFacts(*this, controller); });
}

std::vector<SOperation> channelOperations(const SApiContext& context)
{
    const Json node = object({{"id", schemaOf("string")},
                              {"kind", schemaOf("string")},
                              {"name", schemaOf("string")},
                              {"unit", schemaOf("string")},
                              {"loop", schemaOf("integer")}},
                             {"id", "kind", "name"});
    const Json arrow = object({{"from", schemaOf("string")},
                               {"to", schemaOf("string")},
                               {"value", schemaOf("string")},
                               {"loop", schemaOf("integer")}},
                              {"from", "to", "value", "loop"});
    auto detailed = channelMembers();
    detailed.emplace_back(
        "graph", object({{"nodes", arrayOf(node)}, {"arrows", arrayOf(arrow)}}, {"nodes", "arrows"}));
    SOperation all;
    all.method = "GET";
    all.path = "/api/channels";
    all.summary = "every controller: what does not change, and its state";
    all.replySchema = object({{"title", schemaOf("string")},
                              {"virtual", schemaOf("boolean")},
                              {"time", schemaOf("string")},
                              {"interval_ms", schemaOf("integer")},
                              {"channels", arrayOf(object(channelMembers(), {"name", "state"}))}},
                             {"title", "virtual", "time", "interval_ms", "channels"});
    all.mayBlock = true;
    all.carryOut = [context](const SApiRequest&) { return channels(context); };
    SOperation one;
    one.method = "GET";
    one.path = "/api/channels/{channel}";
    one.summary = "one controller, with the graph of its loops";
    one.replySchema = object(detailed, {"name", "state", "graph"});
    one.mayBlock = true;
    one.carryOut = [context](const SApiRequest& request) {
        return channel(context, request.path.at("channel"));
    };
    SOperation values;
    values.method = "GET";
    values.path = "/api/channels/{channel}/state";
    values.summary = "the state of one controller, as the latest snapshot has it";
    values.replySchema = stateSchema();
    // carried out on the server's thread alone
    values.carryOut = [context, texts = std::make_shared<CStateTexts>()](const SApiRequest& request) {
        return state(context, *texts, request.path.at("channel"));
    };
    return {all, one, values};
}

} // namespace Rvl
