#include "host/configuration/OutputCheck.h"

namespace Rvl {

namespace {

std::string nameOf(const pugi::xml_node& controller)
{
    return "\"" + std::string(controller.attribute("Name").value()) + "\"";
}

} // namespace

void COutputCheck::add(const std::string& nameServer, const std::string& name, const SDriver& driver,
                       std::uint32_t lines)
{
    const SDriver& kept = drivers_.emplace_back(driver);
    // an output that is no port is its own line 0
    const std::uint32_t driven = lines == 0xffffffffU && nameServer != "digitalPort" ? 1U : lines;
    auto& byLine = outputs_[{nameServer, name}];
    const SDriver* conflict = nullptr;
    for (std::uint32_t line = 1; line != 0; line <<= 1U) {
        if ((driven & line) == 0) {
            continue;
        }
        SOutput& output = byLine[line];
        const bool same = output.first && output.first->controller == driver.controller;
        const SDriver* const other = same || !driver.shared ? output.first : output.alone;
        conflict = conflict ? conflict : other;
        output.first = output.first ? output.first : &kept;
        if (!driver.shared) {
            output.alone = output.alone ? output.alone : &kept;
        }
    }
    if (conflict) {
        refuse(name, driver, *conflict);
    }
}

void COutputCheck::refuse(const std::string& name, const SDriver& driver, const SDriver& other)
{
    SFault fault = driver.place;
    const std::string line = " in line " + std::to_string(other.place.line);
    fault.text = "\"" + name + "\" is driven by controller " + nameOf(driver.controller);
    if (driver.controller == other.controller) {
        fault.text += " twice, the other time" + line + "; expected two different outputs";
    } else {
        fault.text += " and by controller " + nameOf(other.controller) + line +
                      "; expected one controller for each output, or SharedOutput to be true for both";
    }
    faults_.add(std::move(fault));
}

} // namespace Rvl
