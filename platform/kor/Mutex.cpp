#include "platform/kor/Mutex.h"

namespace Kor {

CMutex::CMutex() = default;

CMutex::~CMutex() = default;

void CMutex::lock()
{
    mutex_.lock();
}

void CMutex::unlock()
{
    mutex_.unlock();
}

CGuard::CGuard(CMutex& mutex) : mutex_(mutex)
{
    mutex_.lock();
}

CGuard::~CGuard()
{
    mutex_.unlock();
}

} // namespace Kor
