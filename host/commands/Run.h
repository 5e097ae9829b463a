#pragma once

#include "common/Timeline.h"
#include "host/commands/RunCommand.h"
#include "host/console/ConsoleSink.h"
#include "host/history/HistorySink.h"
#include "host/process/BackgroundOutput.h"
#include "host/process/PeriodicTimer.h"
#include "host/record/Recorder.h"
#include "host/record/RecordSink.h"
#include "host/session/Observer.h"
#include "host/session/Session.h"

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// The life of a run between building and shut-down, on whatever timeline: starts the session, observes it
/// with record and console, and sums it up. begin() and end() may take as long as a device or a disk does;
/// they are called on one thread, that of the worker's tasks, or while the worker is not running any.
class CRun
{
public:
    /// Creates the record and the history. `onFailure` is called, as a task of the worker, when the run
    /// cannot go on. The further sinks, besides record, history and console, must outlive the run.
    CRun(const SRunOptions& options, CSession& session, ITimeline& timeline, IWorker& worker,
         CBackgroundOutput& output, CBackgroundOutput& errors, std::function<void()> onFailure,
         std::vector<ISnapshotSink*> furtherSinks = {});
    CRun(const CRun&) = delete;
    CRun& operator=(const CRun&) = delete;

    /// Keeps a command in the history. From any thread, until closeHistory().
    void note(const SCommandRecord& command);

    /// Starts the session by `start`, and then the observation unless that was cancelled. False if starting
    /// failed.
    bool begin(const std::function<void()>& start);
    /// Notes the time from the start of the program to the first step of a loop, for the summary.
    void watchFirstStep();
    /// Ends the observation and sums up, unless the run has failed.
    void end();

    /// Writes the last rows of the record and of the history, in which every controller has its disabled
    /// value. To be called after end(), when everything is disabled.
    void recordEnd();
    /// Has the history written to its end. False if that hangs for longer than the limit; the history must
    /// not be destroyed then. From any thread.
    bool closeHistory(std::chrono::milliseconds limit);

    // after end()

    const std::string& summaryText() const { return summaryText_; }
    /// Why the run could not go on; empty if it could.
    const std::string& failure() const { return failure_; }
    bool recordFailed() const
    {
        return (recorder_ && recorder_->failed()) || (historySink_ && historySink_->hasLost());
    }
    /// Null if there is no history. From any thread.
    CHistorySink* history() const { return historySink_.get(); }

private:
    void fail(const std::exception_ptr& exception);
    void openHistory();
    void addSinks();

    const SRunOptions& options_;
    CSession& session_;
    ITimeline& timeline_;
    IWorker& worker_;
    CBackgroundOutput& output_;
    CBackgroundOutput& errors_;
    const std::function<void()> onFailure_;
    const std::vector<ISnapshotSink*> furtherSinks_;
    std::unique_ptr<CRecorder> recorder_;
    std::unique_ptr<CRecordSink> recordSink_;
    std::unique_ptr<CHistorySink> historySink_;
    std::unique_ptr<CConsoleSink> consoleSink_;
    CObserver observer_;
    std::unique_ptr<CPeriodicTimer> firstStepTimer_;
    std::optional<std::chrono::microseconds> untilFirstStep_;
    std::string summaryText_;
    std::string failure_;
};

} // namespace Rvl
