#pragma once

#include "platform/kor/Export.h"

#include <mutex>

namespace Kor {

/// A recursive mutex: the thread that holds it may lock it again and then unlocks it as often. An object that
/// is released under a registry's mutex may use the same registry.
class KOR_EXPORT CMutex
{
public:
    CMutex();
    ~CMutex();
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;

    /// Blocks until the calling thread holds the mutex. Throws std::system_error if the system refuses.
    void lock();
    /// Must be called by the thread that holds the mutex.
    void unlock();

private:
    std::recursive_mutex mutex_;
};

/// Holds a CMutex for the length of a scope, also when an exception leaves it.
class KOR_EXPORT CGuard
{
public:
    explicit CGuard(CMutex& mutex);
    ~CGuard();
    CGuard(const CGuard&) = delete;
    CGuard& operator=(const CGuard&) = delete;

private:
    CMutex& mutex_;
};

} // namespace Kor
