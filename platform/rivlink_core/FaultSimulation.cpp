#include "platform/rivlink_core/FaultSimulation.h"

namespace Rvl {

IFaultSimulation::~IFaultSimulation() = default;

} // namespace Rvl
