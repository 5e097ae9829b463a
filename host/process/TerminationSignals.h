#pragma once

#include <boost/asio/io_context.hpp>

#include <functional>
#include <memory>

namespace Rvl {

/// Decides during the object's lifetime what requests to the process do. Those to end it, or to stop it from
/// a terminal, become calls; none of them acts on the process by itself then. docs/faults.md has the table.
///
/// Elsewhere than on Windows SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPWR and SIGXCPU request the end, SIGTSTP
/// requests a stop, and signals without a meaning for this program, which would end or stop it by default,
/// are ignored. A signal that is ignored, or has a handler of a plug-in, at construction stays as it is.
///
/// On Windows Ctrl-C, Ctrl-Break, the closing of the console or of the process's windows, log-off and system
/// shut-down request the end. Windows ends a process as soon as its handler for any event but Ctrl-C and
/// Ctrl-Break returns: the handler blocks until the process ends, within the time that the system grants.
///
/// After the object's end all of these are ignored: the process is shutting down. At most one object at a
/// time.
class CTerminationSignals
{
public:
    /// Both run on the thread that runs `context`, once for each request: `end` for one to end, `stop` for
    /// one to stop, which has to stop the process itself (stopProcess()).
    CTerminationSignals(boost::asio::io_context& context, std::function<void()> end,
                        std::function<void()> stop = {});
    ~CTerminationSignals();
    CTerminationSignals(const CTerminationSignals&) = delete;
    CTerminationSignals& operator=(const CTerminationSignals&) = delete;

    /// Makes requests before the first object end the process at once. By default Windows ends all threads
    /// but one and then runs the libraries' clean-up, which may hang at a lock that an ended thread held.
    /// Does nothing on other systems, where that is the default.
    static void endProcessBeforeFirst();

    /// Stops the process with all its threads and returns when it is continued. From any thread. Does nothing
    /// on Windows.
    static void stopProcess();

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
