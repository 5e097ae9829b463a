#include "host/console/Summary.h"

#include "host/base/NumberText.h"
#include "host/base/TextTable.h"

#include <algorithm>
#include <cstddef>

namespace Rvl {

namespace {

std::string indented(const CTextTable& table)
{
    std::string text;
    for (const std::string& line : table.lines()) {
        text += "  " + line + "\n";
    }
    return text;
}

} // namespace

std::string summary(const std::vector<SControllerState>& states,
                    std::optional<std::chrono::microseconds> untilFirstStep)
{
    std::string text;
    const bool showsLoops = std::any_of(states.begin(), states.end(),
                                        [](const SControllerState& state) { return !state.loops.empty(); });
    if (showsLoops) {
        CTextTable table({"channel", "loop", "type", "steps", "sample time [ms]", "mean period error [ms]",
                          "worst period error [ms]", "overruns"});
        for (const SControllerState& state : states) {
            for (std::size_t index = 0; index < state.loops.size(); ++index) {
                const SLoopStatus& loop = state.loops[index];
                table.add({state.name, std::to_string(index), loop.typeName, std::to_string(loop.steps),
                           std::to_string(loop.sampleTime_ms), shortText(loop.meanPeriodError_ms),
                           shortText(loop.worstPeriodError_ms), std::to_string(loop.overruns)});
            }
        }
        text += "Loops:\n" + indented(table);
    }
    if (!states.empty()) {
        CTextTable table({"channel", "mode", "set point", "actual value", "deviation", "state"});
        for (const SControllerState& state : states) {
            table.add({state.name, modeOf(state), withUnit(shortText(state.setPoint), state.unit),
                       withUnit(shortText(state.actualValue), state.unit),
                       withUnit(shortText(state.setPoint - state.actualValue), state.unit),
                       state.health.text});
        }
        text += "Controllers at the end:\n" + indented(table);
    }
    if (untilFirstStep) {
        text += "First loop step " + shortText(static_cast<double>(untilFirstStep->count()) / 1000.0) +
                " ms after the start of the program\n";
    }
    return text;
}

} // namespace Rvl
