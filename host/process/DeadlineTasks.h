#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Rvl {

/// Things that are tried side by side, each on a thread of its own, as any of them may never end. To be owned
/// by a shared pointer, as what never ends keeps it.
struct SAttempts : std::enable_shared_from_this<SAttempts>
{
    SAttempts() = default;
    ~SAttempts();
    SAttempts(const SAttempts&) = delete;
    SAttempts& operator=(const SAttempts&) = delete;

    /// Begins to do something; what it throws is dropped. Not to be called by several threads at once.
    void begin(std::function<void()> action);
    /// Waits until all have ended.
    void join();
    /// Whether all are done within that time.
    bool wait(std::chrono::milliseconds limit);
    /// Which of the first so many are not done.
    std::vector<std::size_t> notDone(std::size_t count);

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<bool> done;
    /// Detached in the end only: Windows' threads do not survive being detached while they begin.
    std::vector<std::thread> threads;
};

/// How long one of several things may take before the others are no longer left waiting for it, and how long
/// all of them together.
constexpr std::chrono::milliseconds sequencePatience(300);
constexpr std::chrono::milliseconds sequenceLength(1000);
/// How long something is waited for without anything that ends.
constexpr std::chrono::milliseconds generalPatience(5000);

/// Whether things may be done side by side.
enum class eOrder
{
    Any,
    AsGiven
};

/// Does things of which any may never end: one after another while that goes well, and side by side all that
/// are left once one of them, or all so far, have taken too long, unless the order matters. Returns when all
/// are done, or when nothing more has ended for `patience`: the numbers of those that are not done. What
/// was begun goes on, but where the order matters nothing is begun any more. Everything is done on other
/// threads than the caller's (unless there can be no more of them); what it uses has to live until it is
/// done. What it throws is dropped.
std::vector<std::size_t> doAllPatiently(std::vector<std::function<void()>> actions,
                                        std::chrono::milliseconds patience = generalPatience,
                                        eOrder order = eOrder::Any);

} // namespace Rvl
