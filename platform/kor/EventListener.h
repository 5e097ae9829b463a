#pragma once

#include "platform/kor/Export.h"

namespace Kor {

/// Receives the events of the objects to which it was added as a listener.
class KOR_EXPORT IEventListener
{
public:
    virtual ~IEventListener();

    /// Called on the thread that raises the event, with the event's code. What the codes mean is up to the
    /// object that raises them.
    virtual void deviceEvent(int event) = 0;
};

} // namespace Kor
