#pragma once

#include <memory>
#include <vector>

namespace Rvl {

class IControlLoop;
class IControlLoopElement;

/// The loops that begin with an element, the outermost first: a cascade is a chain along outputs, each loop's
/// output being the next loop. Inputs are not followed. Empty if the element is no loop, or null.
std::vector<std::shared_ptr<IControlLoop>> loopsFrom(const std::shared_ptr<IControlLoopElement>& outermost);

} // namespace Rvl
