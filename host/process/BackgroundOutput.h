#pragma once

#include <chrono>
#include <memory>
#include <ostream>
#include <string>
#include <thread>

namespace Rvl {

/// Writes texts to a stream on a thread of its own, one after another, so that a reader who does not read (a
/// pipe that is full, a terminal that is paused) holds up nobody else. May be used from any thread.
///
/// A reader who has gone is no reason to stop: what he does not get is lost.
class CBackgroundOutput
{
public:
    /// The stream must live as long as the process if the object is destroyed while isIdle() is false: its
    /// thread then goes on, on its own. Throws std::system_error if there can be no thread.
    explicit CBackgroundOutput(std::ostream& stream);
    ~CBackgroundOutput();
    CBackgroundOutput(const CBackgroundOutput&) = delete;
    CBackgroundOutput& operator=(const CBackgroundOutput&) = delete;

    /// Has the text written, and returns at once.
    void write(const std::string& text);
    /// The same for what somebody may have a lot of: it is left out while more than a MiB is waiting. How
    /// many texts were is written once there is a reader again.
    void writeIfThereIsRoom(const std::string& text);
    /// Whether all that was given to write() has been written.
    bool isIdle() const;
    /// Waits until isIdle(), and returns false if it is not by then.
    bool waitUntilIdle(std::chrono::steady_clock::time_point limit) const;

private:
    struct SState;
    static void work(SState& state);
    void add(const std::string& text, std::size_t room);

    std::shared_ptr<SState> state_; ///< also the thread's, which may outlive the object
    std::thread thread_;
};

} // namespace Rvl
