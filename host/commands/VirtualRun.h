#pragma once

#include <utility> // before asio: Boost 1.74 does not include it where C++20 needs it

#include "host/commands/Run.h"
#include "host/process/TerminationSignals.h"
#include "runtime/VirtualTimeline.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace Rvl {

/// A run on virtual time: as fast as it goes, on the calling thread alone but for signals, with exact
/// periods. So two runs of one configuration do the same, to the last bit. In a terminal a progress bar takes
/// the place of the table.
class CVirtualRun
{
public:
    /// From construction on a signal ends the run and not the process. `options` has a duration. Throws what
    /// CRun's constructor throws.
    CVirtualRun(const SRunOptions& options, CSession& session, CVirtualTimeline& timeline,
                CBackgroundOutput& output, CBackgroundOutput& errors);
    ~CVirtualRun();
    CVirtualRun(const CVirtualRun&) = delete;
    CVirtualRun& operator=(const CVirtualRun&) = delete;

    /// Starts the session and returns when its time is over, it was ended by a signal, or it failed.
    void perform();
    /// To be called when everything is disabled and before anything is destroyed: nothing of the session is
    /// used any more afterwards. True, as no call can hang here but this thread itself.
    bool end();

    std::string summaryText() const { return run_.summaryText(); }
    /// Whether something failed; to be called after end().
    bool failed() const { return !run_.failure().empty() || run_.recordFailed(); }

private:
    void sumUp();
    void showProgress(std::chrono::nanoseconds done, bool last);

    const SRunOptions& options_;
    CSession& session_;
    CVirtualTimeline& timeline_;
    CBackgroundOutput& output_;
    CBackgroundOutput& errors_;
    const bool hasTerminal_;
    std::unique_ptr<IWorker> worker_;
    CRun run_;
    boost::asio::io_context context_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> keepWaiting_{
        context_.get_executor()};
    CTerminationSignals terminationSignals_;
    std::thread signals_; ///< waits for them, and touches nothing but the request to stop
    bool hasEnded_ = false;
    bool isLastShown_ = false;
    std::chrono::steady_clock::time_point begin_;
    std::chrono::steady_clock::time_point nextProgress_;
};

} // namespace Rvl
