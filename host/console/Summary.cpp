#include "host/console/Summary.h"

#include "host/base/NumberText.h"
#include "host/base/TextTable.h"

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

std::string summary(const std::vector<SObservedLoops>& observed, const std::vector<SControllerState>& states,
                    std::optional<std::chrono::microseconds> untilFirstStep)
{
    std::string text;
    if (!observed.empty()) {
        CTextTable table({"channel", "loop", "type", "steps", "sample time [ms]", "mean period error [ms]",
                          "worst period error [ms]", "overruns"});
        for (const SObservedLoops& entry : observed) {
            for (std::size_t index = 0; index < entry.loops.size(); ++index) {
                const SLoopStatus& loop = entry.loops[index];
                table.add({entry.channel, std::to_string(index), loop.typeName, std::to_string(loop.steps),
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
                       withUnit(shortText(state.setPoint - state.actualValue), state.unit), state.state});
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
