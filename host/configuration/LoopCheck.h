#pragma once

#include "host/configuration/Configuration.h"
#include "host/configuration/DrivenOutput.h"
#include "host/configuration/Fault.h"
#include "host/configuration/OutputCheck.h"
#include "host/configuration/SignalCheck.h"
#include "host/types/TypeCatalogue.h"

#include <pugixml.hpp>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// The objects of a configuration, by name server and name.
using Bearers = std::map<std::string, std::map<std::string, pugi::xml_node>>;

/// Checks what the keys of a controller, its loops and the actuator that it drives mean together: an
/// anti-windup that is unstable, values that the actuator does not take, an output with two controllers.
/// What a key is to a loop stands in its description as its role; keys of other types are not checked, nor
/// are keys whose text is no number.
class CLoopCheck
{
public:
    /// `signals` and `bearers` are referred to, not copied.
    CLoopCheck(const CConfiguration& configuration, const CTypeCatalogue& catalogue,
               const CSignalCheck& signals, const Bearers& bearers, CFaultList& faults);

    /// Returns the loops of the controllers.
    ControllerLoops run();

private:
    /// A node with its type.
    struct STyped
    {
        pugi::xml_node node;
        const STypeDescription* type = nullptr;
    };

    void checkController(const STyped& controller);
    void checkWindup(const STyped& loop);
    void checkLevels(const STyped& loop);
    void checkPatterns(const STyped& output);
    void checkActuator(const STyped& controller, const std::vector<STyped>& loops, const STyped& output,
                       const SKeyDescription& key, SControllerLoops& described);
    void checkManualValue(const STyped& controller, const STyped& loop);
    void checkValue(const STyped& holder, const std::string& role, const SDrivenOutput& output);
    /// What `holder`, a loop or a controller, lets the control value of a digital output be.
    void checkNegative(const STyped& holder, const SDrivenOutput& output, bool isInnermost);
    SDrivenOutput drivenOutput(const SKeyDescription& driving, const std::string& name) const;

    /// The loops of a controller, the outermost first, and the element that the innermost one writes to; that
    /// has no type if there is none.
    STyped loopsOf(const STyped& controller, std::vector<STyped>& loops) const;
    std::optional<double> number(const STyped& of, const SKeyDescription* key) const;
    /// The number of a key as it reaches the loop: manual values and set points are given on the controller's
    /// scale.
    std::optional<double> unscaled(const STyped& holder, const SKeyDescription* key) const;
    std::optional<double> numberOfRole(const STyped& of, const std::string& role) const;
    SFault at(const STyped& of, const SKeyDescription& key, const std::string& text,
              SFault::eGrade grade = SFault::Fault) const;

    const CConfiguration& configuration_;
    const CTypeCatalogue& catalogue_;
    const CSignalCheck& signals_;
    const Bearers& bearers_;
    CFaultList& faults_;
    COutputCheck outputs_;
    ControllerLoops controllers_;
};

} // namespace Rvl
