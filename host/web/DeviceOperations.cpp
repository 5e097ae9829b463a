#include "host/base/Suggestion.h"
#include "host/base/UtcText.h"
#include "host/web/ApiOperations.h"
#include "host/web/JsonSchema.h"
#include "platform/rivlink_core/FaultSimulation.h"
#include "platform/rivlink_device/AnalogInChannel.h"

#include <utility>

namespace Rvl {

namespace {

std::string idOf(const IFaultSimulation::SFault& fault)
{
    return fault.signal.empty() ? fault.kind : fault.kind + "." + fault.signal;
}

const SRig::SDevice& deviceOf(const SApiContext& context, const std::string& name)
{
    std::vector<std::string> names;
    for (const auto& device : context.session().devices()) {
        if (device->name == name) {
            return *device;
        }
        names.push_back(device->name);
    }
    throw CHttpError(404, "\"" + name + "\" is no device; expected " + expectedChoices(name, names));
}

Json channelJson(const SApiContext& context, IIoChannelInterface& channel)
{
    Json value;
    if (auto* const sensor = dynamic_cast<CAnalogInChannel*>(&channel)) {
        value = numberJson(sensor->readValue()); // what the device published last: nothing waits for it
    }
    const auto age = context.ages.age(channel.getName());
    return {{"name", channel.getName()},
            {"fault", channel.fault()},
            {"age_ms", age ? Json(age->count()) : Json()},
            {"value", std::move(value)},
            {"unit", context.unitOf(&channel)}};
}

Json deviceJson(const SApiContext& context, const SRig::SDevice& device)
{
    Json channels = Json::array();
    for (const auto& entry : context.session().channels()) {
        if (!entry->controller && context.deviceOf(*entry->channel) == &device) {
            channels.push_back(channelJson(context, *entry->channel));
        }
    }
    Json faults = Json::array();
    if (const auto* const simulation = dynamic_cast<const IFaultSimulation*>(device.device.get())) {
        for (const IFaultSimulation::SFault& fault : simulation->simulatedFaults()) {
            faults.push_back({{"id", idOf(fault)},
                              {"kind", fault.kind},
                              {"signal", fault.signal},
                              {"active", fault.isActive}});
        }
    }
    return {{"name", device.name},
            {"type", device.type},
            {"connected", device.device->isConnected()},
            {"channels", std::move(channels)},
            {"faults", std::move(faults)}};
}

SHttpReply devices(const SApiContext& context)
{
    Json list = Json::array();
    for (const auto& device : context.session().devices()) {
        list.push_back(deviceJson(context, *device));
    }
    return jsonReply({{"devices", std::move(list)}});
}

SHttpReply switchFault(const SApiContext& context, const SApiRequest& request)
{
    const std::string& name = request.path.at("device");
    auto* const simulation = dynamic_cast<IFaultSimulation*>(deviceOf(context, name).device.get());
    const std::string& id = request.path.at("fault");
    std::vector<std::string> ids;
    for (const IFaultSimulation::SFault& fault :
         simulation ? simulation->simulatedFaults() : std::vector<IFaultSimulation::SFault>()) {
        ids.push_back(idOf(fault));
        if (ids.back() != id) {
            continue;
        }
        if (!context.session().isRunning()) {
            throw CHttpError(409, "the session is not running");
        }
        const bool on = request.body.at("value").get<bool>();
        simulation->simulateFault(fault.kind, fault.signal, on);
        const SCommandRecord record{
            context.session().timeline().utc(), request.http.source,   name, "fault " + id,
            fault.isActive ? "true" : "false",  on ? "true" : "false", ""};
        context.commands.note(record);
        return jsonReply(recordJson(record));
    }
    throw CHttpError(404, "\"" + id + "\" is no fault of " + name + "; expected " + expectedChoices(id, ids));
}

SHttpReply faults(const SApiContext& context)
{
    Json list = Json::array();
    for (const SControllerState& state : context.snapshot()->controllers) {
        if (state.health.kind != EHealth::Ok && state.health.kind != EHealth::Off) {
            list.push_back({{"channel", state.name},
                            {"kind", stateJson(state).at("health").at("kind")},
                            {"text", state.health.text}});
        }
    }
    return jsonReply({{"faults", std::move(list)}});
}

Json devicesSchema()
{
    const Json channel = object({{"name", schemaOf("string")},
                                 {"fault", schemaOf("string")},
                                 {"age_ms", nullable("integer")},
                                 {"value", nullable("number")},
                                 {"unit", schemaOf("string")}},
                                {"name", "fault", "age_ms", "value", "unit"});
    const Json fault = object({{"id", schemaOf("string")},
                               {"kind", schemaOf("string")},
                               {"signal", schemaOf("string")},
                               {"active", schemaOf("boolean")}},
                              {"id", "kind", "signal", "active"});
    return object({{"devices", arrayOf(object({{"name", schemaOf("string")},
                                               {"type", schemaOf("string")},
                                               {"connected", schemaOf("boolean")},
                                               {"channels", arrayOf(channel)},
                                               {"faults", arrayOf(fault)}},
                                              {"name", "type", "connected", "channels", "faults"}))}},
                  {"devices"});
}

} // namespace

std::vector<SOperation> deviceOperations(const SApiContext& context)
{
    SOperation list;
    list.method = "GET";
    list.path = "/api/devices";
    list.summary = "every device with its channels, and the faults that it can simulate";
    list.replySchema = devicesSchema();
    list.mayBlock = true;
    list.carryOut = [context](const SApiRequest&) { return devices(context); };
    SOperation fault;
    fault.method = "PUT";
    fault.path = "/api/devices/{device}/faults/{fault}";
    fault.summary = "switches a fault of a simulated device";
    fault.bodySchema = object({{"value", schemaOf("boolean")}}, {"value"});
    fault.replySchema = schemaOf("object");
    fault.mayBlock = true;
    fault.carryOut = [context](const SApiRequest& request) { return switchFault(context, request); };
    SOperation abnormal;
    abnormal.method = "GET";
    abnormal.path = "/api/faults";
    abnormal.summary = "every controller that is neither ok nor off";
    abnormal.replySchema = object({{"faults", arrayOf(object({{"channel", schemaOf("string")},
                                                              {"kind", schemaOf("string")},
                                                              {"text", schemaOf("string")}},
                                                             {"channel", "kind", "text"}))}},
                                  {"faults"});
    abnormal.carryOut = [context](const SApiRequest&) { return faults(context); };
    return {list, fault, abnormal};
}

} // namespace Rvl
