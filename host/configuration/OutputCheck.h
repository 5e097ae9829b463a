#pragma once

#include "host/configuration/Fault.h"

#include <pugixml.hpp>

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>

namespace Rvl {

/// Sees to it that each output has one controller. Two controllers share one if both allow it; the lines of a
/// port are outputs of their own.
class COutputCheck
{
public:
    /// A controller that drives an output.
    struct SDriver
    {
        pugi::xml_node controller;
        SFault place; ///< of the key that names the output, without a text
        bool shared = false;
    };

    explicit COutputCheck(CFaultList& faults) : faults_(faults) {}

    /// Adds a fault if the output is driven already. `lines` are the bits of a port that are driven; all of
    /// them for other outputs.
    void add(const std::string& nameServer, const std::string& name, const SDriver& driver,
             std::uint32_t lines = 0xffffffffU);

private:
    /// The first drivers of an output: of all, and of those that do not share it.
    struct SOutput
    {
        const SDriver* first = nullptr;
        const SDriver* alone = nullptr;
    };

    void refuse(const std::string& name, const SDriver& driver, const SDriver& other);

    CFaultList& faults_;
    std::map<std::pair<std::string, std::string>, std::map<std::uint32_t, SOutput>> outputs_;
    std::deque<SDriver> drivers_;
};

} // namespace Rvl
