#pragma once

#include <mutex>

/// Locking rules that clang checks at compile time (-Wthread-safety); nothing for other compilers.
///
///     class CCounter
///     {
///     public:
///         void count() RVL_EXCLUDES(mutex_)
///         {
///             const CMutexLock lock(mutex_);
///             ++value_;
///         }
///
///     private:
///         CMutex mutex_;
///         int value_ RVL_GUARDED_BY(mutex_) = 0;
///     };
///
/// A lambda is checked on its own. One that runs under a lock, such as the predicate of a wait, needs the
/// annotation: `changed_.wait(lock.native(), [this]() RVL_REQUIRES(mutex_) { return value_ > 0; });`
#if defined(__clang__)
#define RVL_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define RVL_THREAD_SAFETY(attribute)
#endif

/// Of a class: its objects can be locked. `name` appears in the compiler's messages.
#define RVL_CAPABILITY(name) RVL_THREAD_SAFETY(capability(name))
/// Of a class: locks in its constructor and unlocks in its destructor.
#define RVL_SCOPED_CAPABILITY RVL_THREAD_SAFETY(scoped_lockable)
/// Of a variable: read and written only while the mutex is locked.
#define RVL_GUARDED_BY(mutex) RVL_THREAD_SAFETY(guarded_by(mutex))
/// Of a pointer: what it points to is read and written only while the mutex is locked.
#define RVL_PT_GUARDED_BY(mutex) RVL_THREAD_SAFETY(pt_guarded_by(mutex))
/// Of a function: called only while the mutexes are locked.
#define RVL_REQUIRES(...) RVL_THREAD_SAFETY(requires_capability(__VA_ARGS__))
/// Of a function: called only while the mutexes are not locked, as it locks them itself.
#define RVL_EXCLUDES(...) RVL_THREAD_SAFETY(locks_excluded(__VA_ARGS__))
/// Of a function: locks the mutexes (its own object without an argument) and leaves them locked.
#define RVL_ACQUIRE(...) RVL_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
/// Of a function: locks the mutexes if it returns the first argument.
#define RVL_TRY_ACQUIRE(...) RVL_THREAD_SAFETY(try_acquire_capability(__VA_ARGS__))
/// Of a function: unlocks the mutexes (its own object without an argument).
#define RVL_RELEASE(...) RVL_THREAD_SAFETY(release_capability(__VA_ARGS__))
/// Of a function: returns a reference to the mutex.
#define RVL_RETURN_CAPABILITY(mutex) RVL_THREAD_SAFETY(lock_returned(mutex))
/// Of a function: not checked. Needs a comment that gives the reason.
#define RVL_NO_THREAD_SAFETY_CHECK RVL_THREAD_SAFETY(no_thread_safety_analysis)

namespace Rvl {

/// A std::mutex that clang can check, as libstdc++'s own carries no annotations.
class RVL_CAPABILITY("mutex") CMutex
{
public:
    CMutex() = default;
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;

    void lock() RVL_ACQUIRE() { mutex_.lock(); }
    bool try_lock() RVL_TRY_ACQUIRE(true) { return mutex_.try_lock(); }
    void unlock() RVL_RELEASE() { mutex_.unlock(); }

private:
    friend class CMutexLock;
    std::mutex mutex_;
};

/// Holds a mutex locked for the rest of a scope; can be unlocked in between.
class RVL_SCOPED_CAPABILITY CMutexLock
{
public:
    explicit CMutexLock(CMutex& mutex) RVL_ACQUIRE(mutex) : lock_(mutex.mutex_) {}
    ~CMutexLock() RVL_RELEASE() {}
    CMutexLock(const CMutexLock&) = delete;
    CMutexLock& operator=(const CMutexLock&) = delete;

    void lock() RVL_ACQUIRE() { lock_.lock(); }
    void unlock() RVL_RELEASE() { lock_.unlock(); }
    /// For waiting on a std::condition_variable or an ITimeline: the mutex is locked again when the wait
    /// returns, so the check treats it as locked throughout.
    std::unique_lock<std::mutex>& native() { return lock_; }

private:
    std::unique_lock<std::mutex> lock_;
};

} // namespace Rvl
