#include "host/commands/RealTimeRun.h"

#include "host/process/DeadlineTasks.h"
#include "host/process/ThreadPriority.h"

#include <boost/asio/post.hpp>

#include <algorithm>
#include <vector>

namespace Rvl {

CRealTimeRun::CRealTimeRun(const SRunOptions& options, CSession& session, ITimeline& timeline,
                           CBackgroundOutput& output, CBackgroundOutput& errors,
                           const std::vector<ISnapshotSink*>& furtherSinks)
    : options_(options), session_(session), errors_(errors), worker_(timeline.makeWorker("observer")),
      run_(std::make_unique<CRun>(
          options, session, timeline, *worker_, output, errors, [this] { context_.stop(); }, furtherSinks)),
      terminationSignals_(
          context_, [this] { context_.stop(); }, [this] { worker_->post([this] { stopProcess(); }); })
{}

CRealTimeRun::~CRealTimeRun()
{
    if (isRecordHung_ || (!hasEnded_ && isEnding_)) {
        // the hung call uses the run, as one of the worker's tasks or as the last of the record
        static_cast<void>(worker_.release());
        static_cast<void>(run_.release());
    }
}

void CRealTimeRun::perform()
{
    worker_->post([this] { work(); });
    watchCalls();
    context_.run();
    beginEnd();
    hasEnded(options_.limits.summary); // afterwards nothing may be driven any longer for its sake
}

void CRealTimeRun::work()
{
    if (!run_->begin([this] { start(); })) {
        return;
    }
    run_->watchFirstStep();
    boost::asio::post(context_, [this] { onStarted(); });
}

void CRealTimeRun::start()
{
    if (!options_.realtime) {
        session_.start();
        return;
    }
    std::vector<std::string> refusals = raisePriority([this] { session_.start(); });
    if (refusals.empty()) {
        boost::asio::post(context_, [] { raiseOwnPriority(); });
    }
    const std::vector<std::string> further = lockMemory();
    refusals.insert(refusals.end(), further.begin(), further.end());
    for (const std::string& refusal : refusals) {
        errors_.write(refusal + "\n");
    }
}

void CRealTimeRun::onStarted()
{
    if (options_.duration) {
        end_.expires_after(*options_.duration);
        end_.async_wait([this](const boost::system::error_code& error) {
            if (!error) {
                context_.stop();
            }
        });
    }
}

/// A task of the worker, so that it begins after the start and while no controller is being read. The calls
/// that are under way when the process stops so are its own.
void CRealTimeRun::stopProcess()
{
    if (!session_.isRunning()) {
        return; // the start was cancelled or failed, or the end has begun
    }
    std::vector<std::string> failures = session_.suspend();
    if (failures.empty() && !isEnding_) {
        CTerminationSignals::stopProcess();
    } else if (!failures.empty()) {
        failures.push_back("the program does not stop, as not all outputs are known to have their disabled "
                           "values");
    }
    const std::vector<std::string> further = session_.resume();
    failures.insert(failures.end(), further.begin(), further.end());
    for (const std::string& failure : failures) {
        errors_.write(failure + "\n");
    }
}

void CRealTimeRun::watchCalls()
{
    for (const std::string& text : session_.calls().report()) {
        errors_.write(text + "\n");
    }
    callTimer_.expires_after(std::max(options_.limits.call / 4, std::chrono::milliseconds(1)));
    callTimer_.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            watchCalls();
        }
    });
}

void CRealTimeRun::beginEnd()
{
    session_.cancelStart();
    if (!isEnding_) {
        isEnding_ = true;
        worker_->post([this] {
            run_->end();
            workEnd_.set_value();
        });
    }
}

bool CRealTimeRun::hasEnded(std::chrono::milliseconds limit)
{
    if (!hasEnded_ && workEnded_.wait_for(limit) == std::future_status::ready) {
        worker_->stopAndJoin();
        hasEnded_ = true;
        if (!run_->failure().empty()) {
            errors_.write("stopped: " + run_->failure() + "\n");
        }
    }
    return hasEnded_;
}

bool CRealTimeRun::recordEnd()
{
    CDeadlineTasks recording;
    recording.add("the last rows of the record", [this] { run_->recordEnd(); });
    const std::vector<std::string> unfinished = recording.run(options_.limits);
    for (const std::string& name : unfinished) {
        errors_.write("hung call: " + name + " were not written within " +
                      limitText(options_.limits.progress) + "\n");
    }
    isRecordHung_ = !unfinished.empty();
    return !isRecordHung_;
}

bool CRealTimeRun::historyEnd()
{
    if (run_->closeHistory(options_.limits.progress)) {
        return true;
    }
    errors_.write("hung call: the history was not written within " + limitText(options_.limits.progress) +
                  "\n");
    isRecordHung_ = true;
    return false;
}

bool CRealTimeRun::end()
{
    beginEnd();
    const bool known = session_.calls().isGivenUp(); // of a controller that could not be disabled
    if (hasEnded(known ? std::chrono::milliseconds(0) : options_.limits.progress)) {
        const bool isRecorded = known || recordEnd();
        return historyEnd() && isRecorded;
    }
    if (!known) {
        const std::string name = session_.calls().current();
        errors_.write("hung call: " + (name.empty() ? "an unknown one" : name) + " did not return within " +
                      limitText(options_.limits.progress) + "\n");
    }
    historyEnd();
    return false;
}

} // namespace Rvl
