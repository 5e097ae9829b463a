#pragma once

#include "platform/rivlink_core/Export.h"

#include <iosfwd>

namespace Rvl {

/// A request to a bus to change the state of its devices' communication.
class RIVLINK_CORE_EXPORT CCommunicationStateRequest
{
public:
    enum eState
    {
        Stopped,        ///< devices neither send nor accept values
        PreOperational, ///< devices can be configured, values are not exchanged
        Operational     ///< values are exchanged
    };

    explicit CCommunicationStateRequest(eState state);

    eState state() const;

private:
    eState state_;
};

/// Writes the requested state's name, such as "Operational".
RIVLINK_CORE_EXPORT std::ostream& operator<<(std::ostream& stream, const CCommunicationStateRequest& request);

} // namespace Rvl
