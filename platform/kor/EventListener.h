#pragma once

#include "platform/kor/Export.h"

namespace Kor {

/// Receives the events of the objects to which it was added as a listener.
class KOR_EXPORT IEventListener
{
public:
    virtual ~IEventListener();

    /// Called on the thread that raises the event, with the event's code. The codes are defined by the
    /// object that raises them.
    virtual void deviceEvent(int event) = 0;
};

} // namespace Kor
