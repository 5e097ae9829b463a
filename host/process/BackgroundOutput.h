#pragma once

#include <chrono>
#include <memory>
#include <ostream>
#include <string>
#include <thread>

namespace Rvl {

/// Writes texts to a stream on a thread of its own, one after another, so that an output that blocks (a full
/// pipe, a paused terminal) blocks no other thread. May be used from any thread.
///
/// If the output is closed at its other end, texts are dropped and writing goes on.
class CBackgroundOutput
{
public:
    /// The stream must live as long as the process if the object is destroyed while isIdle() is false: the
    /// thread is detached then and keeps writing. Throws std::system_error if the thread cannot be started.
    explicit CBackgroundOutput(std::ostream& stream);
    ~CBackgroundOutput();
    CBackgroundOutput(const CBackgroundOutput&) = delete;
    CBackgroundOutput& operator=(const CBackgroundOutput&) = delete;

    /// Queues the text and returns at once.
    void write(const std::string& text);
    /// Like write(), but drops the text while more than a MiB is queued: for output without a bound, such as
    /// log records. The number of dropped texts is written when the output accepts data again.
    void writeIfThereIsRoom(const std::string& text);
    /// Whether everything queued has been written.
    bool isIdle() const;
    /// Waits until isIdle(), at most until `limit`; returns isIdle().
    bool waitUntilIdle(std::chrono::steady_clock::time_point limit) const;

private:
    struct SState;
    static void work(SState& state);
    void add(const std::string& text, std::size_t room);

    std::shared_ptr<SState> state_; ///< shared with the thread, which may outlive the object
    std::thread thread_;
};

} // namespace Rvl
