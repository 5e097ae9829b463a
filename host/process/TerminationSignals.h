#pragma once

#include <boost/asio/io_context.hpp>

#include <functional>
#include <memory>

namespace Rvl {

/// Turns requests to end the process into calls during the object's lifetime: SIGINT, SIGTERM and SIGHUP, or
/// on Windows Ctrl-C, Ctrl-Break, the closing of the console or of the process's windows, log-off and system
/// shut-down. None of them ends the process by itself then; that is left to the callback.
///
/// Signals that are ignored when the process starts stay ignored. Windows ends a process as soon as its
/// handler for any event but Ctrl-C and Ctrl-Break returns: the handler blocks until the process ends, within
/// the time that the system grants. After the object's end further requests are ignored: the process is
/// shutting down. At most one object at a time.
class CTerminationSignals
{
public:
    /// `call` runs on the thread that runs `context`, once for each request.
    CTerminationSignals(boost::asio::io_context& context, std::function<void()> call);
    ~CTerminationSignals();
    CTerminationSignals(const CTerminationSignals&) = delete;
    CTerminationSignals& operator=(const CTerminationSignals&) = delete;

    /// Makes requests before the first object end the process at once. By default Windows ends all threads
    /// but one and then runs the libraries' clean-up, which may hang at a lock that an ended thread held.
    /// Does nothing on other systems, where that is the default.
    static void endProcessBeforeFirst();

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
