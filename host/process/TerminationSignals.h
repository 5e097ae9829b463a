#pragma once

#include <boost/asio/io_context.hpp>

#include <functional>
#include <memory>

namespace Rvl {

/// Turns the wish of the system or the user to end the process into a call, while the object lives: SIGINT,
/// SIGTERM and SIGHUP, or Ctrl-C, Ctrl-Break, the closing of the console, the logging off of its user, the
/// shutting down of the system and the closing of the process's windows.
/// What whoever started the process had it ignore stays ignored. Nothing of these then ends the process: that
/// is left to whoever is called. A system that ends a process as soon as it has taken note (Windows after all
/// but Ctrl-C and Ctrl-Break) is made to wait for the process's own end, as far as it waits at all. Once the
/// object is gone the process is on its way out: who asks again has been heard, and changes nothing. One at a
/// time in a process.
class CTerminationSignals
{
public:
    /// Makes each call on the thread that runs `context`.
    CTerminationSignals(boost::asio::io_context& context, std::function<void()> call);
    ~CTerminationSignals();
    CTerminationSignals(const CTerminationSignals&) = delete;
    CTerminationSignals& operator=(const CTerminationSignals&) = delete;

    /// Has whoever asks before there is the first object end the process on the spot. Without that Windows
    /// has all libraries take their leave, with all threads but one gone, which may wait for ever for a lock
    /// that one of these held. Elsewhere the system does just so.
    static void endProcessBeforeFirst();

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
