#pragma once

#include "common/LoopGraph.h"

namespace Rvl {

class IControlLoop;

/// What a loop remembers: its set point, its control value, and
/// - PID: the error and the actual value of the last step, P, I and D;
/// - conditional: whether the actual value is out of range (1 or 0);
/// - two-level: nothing more.
/// Its switch, its mode, its fixed control value and its parameters are not part of it. Read under the loop's
/// lock.
SLoopMemory loopMemory(IControlLoop& loop);

/// Has the loop go on from there. A loop that is enabled and in automatic mode writes the control value to
/// its output at once, as the output of one that has gone on holds it; every other loop keeps its control
/// value, which is what its output holds. Enabling a PID loop sets P, I and D to 0, so it is to be restored
/// after that.
/// Throws std::invalid_argument, and changes nothing, if the memory is of another type or does not consist of
/// as many finite numbers.
void restoreLoopMemory(IControlLoop& loop, const SLoopMemory& memory);

} // namespace Rvl
