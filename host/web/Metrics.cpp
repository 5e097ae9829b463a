#include "host/web/Metrics.h"

#include "host/base/NumberText.h"

#include <array>
#include <cmath>
#include <ctime>
#include <functional>

namespace Rvl {

namespace {

std::string numberText(double value)
{
    return std::isnan(value) ? "NaN" : std::isinf(value) ? (value < 0 ? "-Inf" : "+Inf") : exactText(value);
}

/// A label's value, with the three characters escaped that the format requires.
std::string escaped(const std::string& text)
{
    std::string result;
    for (const char character : text) {
        if (character == '\\' || character == '"') {
            result.push_back('\\');
        }
        if (character == '\n') {
            result += "\\n";
        } else {
            result.push_back(character);
        }
    }
    return result;
}

/// Text of one metric after another.
class CMetricsText
{
public:
    void begin(const std::string& name, const std::string& type, const std::string& help)
    {
        name_ = name;
        text_ += "# HELP " + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
    }
    void add(const std::string& labels, double value)
    {
        text_ += name_ + (labels.empty() ? "" : "{" + labels + "}") + " " + numberText(value) + "\n";
    }
    std::string text() const { return text_; }

private:
    std::string name_;
    std::string text_;
};

std::string channelLabel(const SControllerState& state)
{
    return "channel=\"" + escaped(state.name) + "\"";
}

struct SChannelMetric
{
    const char* name;
    const char* help;
    std::function<double(const SControllerState&)> value;
};

struct SLoopMetric
{
    const char* name;
    const char* type;
    const char* help;
    std::function<double(const SLoopStatus&)> value;
};

} // namespace

std::string metrics(const SSnapshot& snapshot, const SServerFigures& figures)
{
    static const std::array<SChannelMetric, 5> channelMetrics{{
        {"rivlink_set_point", "Set point in the channel's unit.",
         [](const auto& state) { return state.setPoint; }},
        {"rivlink_actual_value", "Actual value in the channel's unit.",
         [](const auto& state) { return state.actualValue; }},
        {"rivlink_control_value", "Control value.", [](const auto& state) { return state.controlValue; }},
        {"rivlink_enabled", "1 while the controller is enabled.",
         [](const auto& state) { return state.enabled ? 1.0 : 0.0; }},
        {"rivlink_manual", "1 in manual mode.", [](const auto& state) { return state.manual ? 1.0 : 0.0; }},
    }};
    static const std::array<SLoopMetric, 5> loopMetrics{{
        {"rivlink_loop_steps_total", "counter", "Steps of the loop since the start.",
         [](const auto& loop) { return static_cast<double>(loop.steps); }},
        {"rivlink_loop_overruns_total", "counter", "Periods of twice the sample time or more.",
         [](const auto& loop) { return static_cast<double>(loop.overruns); }},
        {"rivlink_loop_period_error_mean_seconds", "gauge", "Mean of period minus sample time.",
         [](const auto& loop) { return loop.meanPeriodError_ms / 1000.0; }},
        {"rivlink_loop_period_error_worst_seconds", "gauge",
         "Period minus sample time where its magnitude was largest.",
         [](const auto& loop) { return loop.worstPeriodError_ms / 1000.0; }},
        {"rivlink_loop_saturated", "gauge",
         "-1 at the minimum of the control value, 1 at the maximum, else 0.",
         [](const auto& loop) {
             return loop.saturation == SLoopStatus::AtMinimum   ? -1.0
                    : loop.saturation == SLoopStatus::AtMaximum ? 1.0
                                                                : 0.0;
         }},
    }};
    static const std::array<std::pair<EHealth, const char*>, 5> healths{{{EHealth::Ok, "ok"},
                                                                         {EHealth::Off, "off"},
                                                                         {EHealth::Waiting, "waiting"},
                                                                         {EHealth::BadInput, "badInput"},
                                                                         {EHealth::Fault, "fault"}}};
    CMetricsText text;
    for (const SChannelMetric& metric : channelMetrics) {
        text.begin(metric.name, "gauge", metric.help);
        for (const SControllerState& state : snapshot.controllers) {
            text.add(channelLabel(state), metric.value(state));
        }
    }
    text.begin("rivlink_health", "gauge", "1 for the health that the controller has, 0 for the others.");
    for (const SControllerState& state : snapshot.controllers) {
        for (const auto& [health, name] : healths) {
            text.add(channelLabel(state) + ",health=\"" + name + "\"",
                     state.health.kind == health ? 1.0 : 0.0);
        }
    }
    for (const SLoopMetric& metric : loopMetrics) {
        text.begin(metric.name, metric.type, metric.help);
        for (const SControllerState& state : snapshot.controllers) {
            for (std::size_t loop = 0; loop < state.loops.size(); ++loop) {
                text.add(channelLabel(state) + ",loop=\"" + std::to_string(loop) + "\"",
                         metric.value(state.loops[loop]));
            }
        }
    }
    text.begin("rivlink_event_clients", "gauge", "Connections that receive events.");
    text.add("", static_cast<double>(figures.eventClients));
    text.begin("rivlink_build_info", "gauge", "Always 1, with the program's version.");
    text.add("version=\"" + escaped(figures.version) + "\"", 1.0);
    text.begin("process_cpu_seconds_total", "counter", "Processor time that the program has used.");
    text.add("", static_cast<double>(std::clock()) / CLOCKS_PER_SEC);
    return text.text();
}

} // namespace Rvl
