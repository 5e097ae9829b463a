#include "platform/rivlink_core/CommunicationStateRequest.h"

#include <ostream>

namespace Rvl {

CCommunicationStateRequest::CCommunicationStateRequest(eState state) : state_(state) {}

CCommunicationStateRequest::eState CCommunicationStateRequest::state() const
{
    return state_;
}

std::ostream& operator<<(std::ostream& stream, const CCommunicationStateRequest& request)
{
    switch (request.state()) {
    case CCommunicationStateRequest::Stopped:
        return stream << "Stopped";
    case CCommunicationStateRequest::PreOperational:
        return stream << "PreOperational";
    case CCommunicationStateRequest::Operational:
        return stream << "Operational";
    }
    return stream << static_cast<int>(request.state());
}

} // namespace Rvl
