#pragma once

#include <utility> // before asio: Boost 1.74 does not include it where C++20 needs it

#include "host/commands/Run.h"
#include "host/process/TerminationSignals.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

/// A run on the system's time, on two threads. The worker's does everything that may be blocked by a device
/// or by a disk: it carries out a CRun. The calling one handles signals, the time given and hung calls, waits
/// for nothing of the other beyond the limits, and so ends the run in time.
class CRealTimeRun
{
public:
    /// From construction on a signal ends the run and not the process, also while devices are being
    /// connected. Throws what CRun's constructor throws.
    CRealTimeRun(const SRunOptions& options, CSession& session, ITimeline& timeline,
                 CBackgroundOutput& output, CBackgroundOutput& errors,
                 const std::vector<ISnapshotSink*>& furtherSinks = {});
    ~CRealTimeRun();
    CRealTimeRun(const CRealTimeRun&) = delete;
    CRealTimeRun& operator=(const CRealTimeRun&) = delete;

    /// Keeps a command in the history. From any thread, until end().
    void note(const SCommandRecord& command) { run_->note(command); }

    /// Starts the session and returns when its time is over, it was ended by a signal, or it failed.
    void perform();
    /// To be called when everything is disabled and before anything is destroyed: nothing of the session is
    /// used any more afterwards. False if a call hangs.
    bool end();

    /// How the run ended, to be called after end(); empty if a hung call keeps that from being known.
    std::string summaryText() const { return hasEnded_ ? run_->summaryText() : ""; }
    /// Whether something failed; to be called after end().
    bool failed() const { return hasEnded_ && (!run_->failure().empty() || run_->recordFailed()); }

private:
    void work();
    void start();
    void onStarted();
    void stopProcess();
    void watchCalls();
    void beginEnd();
    bool hasEnded(std::chrono::milliseconds limit);
    /// Has the last rows of the record written; false if that hangs.
    bool recordEnd();
    /// The same for the history, which has a thread of its own.
    bool historyEnd();

    const SRunOptions& options_;
    CSession& session_;
    CBackgroundOutput& errors_;
    boost::asio::io_context context_{1};
    std::unique_ptr<IWorker> worker_;
    /// Before the signals, as a disk may block the creation of the record.
    std::unique_ptr<CRun> run_;
    CTerminationSignals terminationSignals_;
    boost::asio::steady_timer end_{context_};
    boost::asio::steady_timer callTimer_{context_};
    std::promise<void> workEnd_;
    std::future<void> workEnded_ = workEnd_.get_future();
    std::atomic<bool> isEnding_{false};
    bool hasEnded_ = false;
    bool isRecordHung_ = false; ///< while its last rows, or those of the history, are written
};

} // namespace Rvl
