#pragma once

#include "host/configuration/ActuatorRange.h"
#include "host/types/TypeCatalogue.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// An output that the innermost loop of a controller drives. What a configuration and what commands set is
/// held against it alike.
struct SDrivenOutput
{
    /// What a negative control value does to it.
    struct SEffect
    {
        std::string text; ///< after the value: "lets the control value be ...; expected 0 or more"
        bool isFault = false;
    };

    std::string drives;   ///< how, as the description of the key says
    SActuatorRange range; ///< the values that it takes; its actuator is the output's name

    /// What is wrong with a value that is written to it, with that value: empty if nothing is.
    std::string faultOf(double value) const;
    /// Whether a key of this role lets the control value be what it says. `isInnermost` is whether it belongs
    /// to the loop that writes to the output.
    bool isBound(const std::string& role, bool isInnermost) const;
    /// What it does if the control value is `value`; nothing if that is not negative or makes no difference.
    std::optional<SEffect> effectOf(double value) const;
};

/// What a configuration says about the loops of a controller.
struct SControllerLoops
{
    std::vector<const STypeDescription*> types; ///< the outermost first; of the catalogue
    std::vector<SDrivenOutput> outputs;

    /// Whether the control value of a loop arrives at the outputs: those below it pass their set point on.
    bool reachesOutputs(std::size_t loop) const;
    /// Whether the controller's set point does.
    bool passesSetPoint() const;
    bool isInnermost(std::size_t loop) const { return loop + 1 == types.size(); }
};

/// The loops of controllers by the controllers' names.
using ControllerLoops = std::map<std::string, SControllerLoops>;

} // namespace Rvl
