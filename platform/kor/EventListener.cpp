#include "platform/kor/EventListener.h"

namespace Kor {

IEventListener::~IEventListener() = default;

} // namespace Kor
