#include "host/process/BackgroundOutput.h"

#include "common/ThreadSafety.h"
#include "runtime/MonotonicWait.h"
#include "runtime/ThreadName.h"

#include <condition_variable>
#include <cstddef>
#include <limits>

namespace Rvl {

struct CBackgroundOutput::SState
{
    explicit SState(std::ostream& target) : stream(target) {}

    bool isIdle() const RVL_REQUIRES(mutex) { return waiting.empty() && !writing; }

    std::ostream& stream; ///< used by the thread only
    CMutex mutex;
    std::condition_variable changed;
    std::string waiting RVL_GUARDED_BY(mutex);
    std::size_t leftOut RVL_GUARDED_BY(mutex) = 0; ///< texts since `waiting` was last taken
    bool writing RVL_GUARDED_BY(mutex) = false;
    bool over RVL_GUARDED_BY(mutex) = false;
};

namespace {

constexpr std::size_t longestWaiting = std::size_t{1024} * 1024;

} // namespace

CBackgroundOutput::CBackgroundOutput(std::ostream& stream)
    : state_(std::make_shared<SState>(stream)), thread_([state = state_] {
          setThreadName("output");
          work(*state);
      })
{}

CBackgroundOutput::~CBackgroundOutput()
{
    bool idle = false;
    {
        const CMutexLock lock(state_->mutex);
        state_->over = true;
        idle = state_->isIdle();
    }
    state_->changed.notify_all();
    if (idle) {
        thread_.join();
    } else {
        thread_.detach();
    }
}

void CBackgroundOutput::work(SState& state)
{
    CMutexLock lock(state.mutex);
    while (true) {
        state.changed.wait(lock.native(),
                           [&]() RVL_REQUIRES(state.mutex) { return !state.waiting.empty() || state.over; });
        if (state.waiting.empty()) {
            return;
        }
        std::string text;
        text.swap(state.waiting);
        if (state.leftOut > 0) {
            text.append("(").append(std::to_string(state.leftOut));
            text.append(" more left out here, as the output was not read)\n");
            state.leftOut = 0;
        }
        state.writing = true;
        lock.unlock();
        state.stream.clear(); // of the failure to write to a closed pipe
        state.stream << text << std::flush;
        lock.lock();
        state.writing = false;
        state.changed.notify_all();
    }
}

void CBackgroundOutput::add(const std::string& text, std::size_t room)
{
    {
        const CMutexLock lock(state_->mutex);
        if (state_->waiting.size() > room) {
            ++state_->leftOut;
            return;
        }
        state_->waiting += text;
    }
    state_->changed.notify_all();
}

void CBackgroundOutput::write(const std::string& text)
{
    add(text, std::numeric_limits<std::size_t>::max());
}

void CBackgroundOutput::writeIfThereIsRoom(const std::string& text)
{
    add(text, longestWaiting);
}

bool CBackgroundOutput::isIdle() const
{
    const CMutexLock lock(state_->mutex);
    return state_->isIdle();
}

bool CBackgroundOutput::waitUntilIdle(std::chrono::steady_clock::time_point limit) const
{
    CMutexLock lock(state_->mutex);
    return waitUntil(state_->changed, lock.native(), limit,
                     [this]() RVL_REQUIRES(state_->mutex) { return state_->isIdle(); });
}

} // namespace Rvl
