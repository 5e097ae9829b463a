#pragma once

namespace Rvl {

/// The program's exit status.
enum eExitCode
{
    ExitDone = 0,              ///< completed
    ExitFailure = 1,           ///< something failed at run time: a device, a call into a plug-in, a file
    ExitUsage = 64,            ///< the command line is wrong
    ExitBadData = 65,          ///< the configuration file is not well-formed XML
    ExitBadConfiguration = 78, ///< the configuration has faults, or a plug-in of it cannot be loaded
};

} // namespace Rvl
