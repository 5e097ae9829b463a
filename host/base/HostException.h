#pragma once

#include "host/base/ExitCode.h"

#include <stdexcept>
#include <string>

namespace Rvl {

/// Ends a command of the host: the text goes to standard error, the code is the program's exit status.
class CHostException : public std::runtime_error
{
public:
    CHostException(eExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}

    eExitCode code() const { return code_; }

private:
    eExitCode code_;
};

} // namespace Rvl
