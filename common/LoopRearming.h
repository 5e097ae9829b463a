#pragma once

namespace Rvl {

class IIoChannelInterface;

/// A plug-in whose loops are timed by the system's calendar clock may export a function of this type and
/// name, with C linkage: it sets the timers of the channel's loops anew, to one sample time from now, and
/// does nothing for a channel that is not made of the plug-in's loops. A host that sees the calendar go back
/// calls it, as the loops would otherwise stand still until the calendar has caught up. Safe from any thread.
using RearmLoopsFunction = void(IIoChannelInterface& channel);
constexpr const char* rearmLoopsFunctionName = "rivlinkRearmLoops";

} // namespace Rvl
