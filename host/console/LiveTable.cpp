#include "host/console/LiveTable.h"

#include "host/base/NumberText.h"
#include "host/base/TextTable.h"
#include "host/base/UtcText.h"

namespace Rvl {

std::string CLiveTable::draw(const std::vector<SControllerState>& states, const STerminalSize& terminal)
{
    CTextTable table({"name", "mode", "set point", "actual value", "control value", "unit", "state"});
    for (const SControllerState& state : states) {
        table.add({state.name, modeOf(state), shortText(state.setPoint), shortText(state.actualValue),
                   shortText(state.controlValue), state.unit, state.health.text});
    }
    std::vector<std::string> lines = table.lines();
    // the cursor, which is below the table, cannot be moved above the window's first line
    if (lines.size() + 1 > terminal.height && terminal.height > 2) {
        const std::size_t shown = terminal.height - 2;
        const std::string rest = "... and " + std::to_string(lines.size() - shown) + " more";
        lines.resize(shown);
        lines.push_back(rest);
    }
    std::string text;
    if (linesDrawn_ > 0) {
        text += "\x1b[" + std::to_string(linesDrawn_) + "A";
    }
    for (const std::string& line : lines) {
        text += "\r\x1b[2K" + firstCharacters(line, terminal.width) + "\n";
    }
    linesDrawn_ = lines.size();
    return text;
}

std::string stateLine(const std::vector<SControllerState>& states,
                      std::chrono::system_clock::time_point moment)
{
    std::string line = utcText(moment);
    const char* separator = "  ";
    for (const SControllerState& state : states) {
        line += separator + state.name + ": " + modeOf(state) + ", set point " +
                withUnit(shortText(state.setPoint), state.unit) + ", actual value " +
                withUnit(shortText(state.actualValue), state.unit) + ", control value " +
                shortText(state.controlValue) + ", " + state.health.text;
        separator = "; ";
    }
    return line;
}

} // namespace Rvl
