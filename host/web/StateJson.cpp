#include "host/web/StateJson.h"

#include <cmath>
#include <limits>

namespace Rvl {

namespace {

const char* nameOf(EHealth health)
{
    switch (health) {
    case EHealth::Ok:
        return "ok";
    case EHealth::Off:
        return "off";
    case EHealth::Waiting:
        return "waiting";
    case EHealth::BadInput:
        return "badInput";
    case EHealth::Fault:
        break;
    }
    return "fault";
}

const char* nameOf(SLoopStatus::eSaturation saturation)
{
    switch (saturation) {
    case SLoopStatus::AtMinimum:
        return "minimum";
    case SLoopStatus::AtMaximum:
        return "maximum";
    case SLoopStatus::Free:
        break;
    }
    return "free";
}

Json loopJson(const SLoopStatus& loop)
{
    return {{"setPoint", numberJson(loop.setPoint)},
            {"actualValue", numberJson(loop.actualValue)},
            {"controlValue", numberJson(loop.controlValue)},
            {"enabled", loop.enabled},
            {"manual", loop.manual},
            {"p", numberJson(loop.proportional)},
            {"i", numberJson(loop.integral)},
            {"d", numberJson(loop.derivative)},
            {"saturation", nameOf(loop.saturation)},
            {"steps", loop.steps},
            {"sinceStep_ms", numberJson(loop.sinceStep_ms)},
            {"meanPeriodError_ms", numberJson(loop.meanPeriodError_ms)},
            {"worstPeriodError_ms", numberJson(loop.worstPeriodError_ms)},
            {"overruns", loop.overruns}};
}

} // namespace

std::string textOf(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json numberJson(double value)
{
    return std::isfinite(value) && std::fabs(value) < std::numeric_limits<double>::max() ? Json(value)
                                                                                         : Json();
}

Json stateJson(const SControllerState& state)
{
    Json loops = Json::array();
    for (const SLoopStatus& loop : state.loops) {
        loops.push_back(loopJson(loop));
    }
    return {{"setPoint", numberJson(state.setPoint)},
            {"actualValue", numberJson(state.actualValue)},
            {"controlValue", numberJson(state.controlValue)},
            {"enabled", state.enabled},
            {"manual", state.manual},
            {"mode", modeOf(state)},
            {"health", {{"kind", nameOf(state.health.kind)}, {"text", state.health.text}}},
            {"loops", std::move(loops)}};
}

std::optional<Json> changes(const Json& before, const Json& after)
{
    if (before == after) {
        return std::nullopt;
    }
    if (!before.is_object() || !after.is_object()) {
        return after;
    }
    Json result = Json::object();
    auto other = before.begin();
    for (auto member = after.begin(); member != after.end(); ++member) {
        // both have the same members in the same order, nearly always
        if (other == before.end() || other.key() != member.key()) {
            other = before.find(member.key());
        }
        if (other == before.end()) {
            result[member.key()] = member.value();
            continue;
        }
        if (auto changed = changes(other.value(), member.value())) {
            result[member.key()] = std::move(*changed);
        }
        ++other;
    }
    return result;
}

} // namespace Rvl
