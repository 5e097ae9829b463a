#include "host/commands/RunCommand.h"

#include "host/base/HostException.h"
#include "host/base/SystemText.h"
#include "host/console/LiveTable.h"
#include "host/console/Summary.h"
#include "host/process/BackgroundOutput.h"
#include "host/process/CurrentActivity.h"
#include "host/process/DeadlineTasks.h"
#include "host/process/ExitWithoutCleanup.h"
#include "host/process/LogSetup.h"
#include "host/process/PeriodicTimer.h"
#include "host/process/Terminal.h"
#include "host/process/TerminateHandler.h"
#include "host/process/TerminationSignals.h"
#include "host/process/ThreadPriority.h"
#include "host/record/Recorder.h"
#include "host/session/LoadedConfiguration.h"
#include "platform/rivlink_device/ControllerChannel.h"
#include "runtime/Timelines.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>
#include <future>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace Rvl {

namespace {

using Observation = std::pair<std::string, std::unique_ptr<ILoopObservation>>;

std::vector<Observation> observeLoops(const CPluginLoader& plugins, const CSession& session)
{
    std::vector<Observation> observations;
    for (IControllerChannel* controller : session.controllers()) {
        for (ObserveLoopsFunction* observe : plugins.loopObservers()) {
            std::unique_ptr<ILoopObservation> observation(observe(*controller));
            if (observation) {
                observations.emplace_back(controller->getName(), std::move(observation));
                break;
            }
        }
    }
    return observations;
}

/// What the thread that looks at the controllers is at, for others to see.
using AskedPlace = std::atomic<const std::string*>;

bool anyStepDone(const std::vector<Observation>& observations, AskedPlace& asked)
{
    for (const auto& [channel, observation] : observations) {
        const CCurrentActivity busy(asked, channel);
        for (std::size_t index = 0; index < observation->loopCount(); ++index) {
            if (observation->status(index).steps > 0) {
                return true;
            }
        }
    }
    return false;
}

/// What keeps a running loop from controlling, or an empty text.
std::string faultOf(const SLoopStatus& loop, bool inner)
{
    if (inner && !loop.enabled) {
        return "is disabled, although the loop above it is enabled";
    }
    if (loop.steps > 0 && std::isnan(loop.actualValue)) {
        return "has an actual value that is not a number";
    }
    return std::isnan(loop.controlValue) ? "calculates a control value that is not a number" : "";
}

/// The states of the controllers with what only their loops tell: one value that is not a number stays in a
/// loop's integral, and an output may have turned it into a harmless-looking 0.
std::vector<SControllerState> statesWithLoops(std::vector<SControllerState> states,
                                              const std::vector<Observation>& observations, AskedPlace& asked)
{
    // both are in the order of the file, so what belongs to a state is ahead
    auto next = observations.begin();
    for (SControllerState& state : states) {
        const auto found = std::find_if(next, observations.end(), [&](const auto& observation) {
            return observation.first == state.name;
        });
        if (found == observations.end()) {
            continue;
        }
        next = std::next(found);
        if (state.state != "ok" || state.manual) {
            continue;
        }
        const CCurrentActivity busy(asked, found->first);
        for (std::size_t index = 0; index < found->second->loopCount() && state.state == "ok"; ++index) {
            const std::string fault = faultOf(found->second->status(index), index > 0);
            if (!fault.empty()) {
                state.state = "fault: " + state.name + ": loop " + std::to_string(index) + " " + fault;
            }
        }
    }
    return states;
}

std::vector<SObservedLoops> finalStatus(const std::vector<Observation>& observations)
{
    std::vector<SObservedLoops> result;
    for (const auto& [channel, observation] : observations) {
        SObservedLoops loops{channel, {}};
        for (std::size_t index = 0; index < observation->loopCount(); ++index) {
            loops.loops.push_back(observation->status(index));
        }
        result.push_back(std::move(loops));
    }
    return result;
}

std::unique_ptr<CRecorder> recorderFor(const SRunOptions& options, const CSession& session)
{
    return options.record
               ? std::make_unique<CRecorder>(*options.record, options.replaceRecord, session.states())
               : nullptr;
}

std::chrono::milliseconds longestSampleTime(const std::vector<Observation>& observations)
{
    int longest_ms = 0;
    for (const auto& [channel, observation] : observations) {
        for (std::size_t index = 0; index < observation->loopCount(); ++index) {
            longest_ms = std::max(longest_ms, observation->status(index).sampleTime_ms);
        }
    }
    return std::chrono::milliseconds(longest_ms);
}

/// The time between start and shutdown, on two threads. One does everything that may have to wait for a
/// device or for a disk: it starts the session, looks at the controllers, records and shows them. The other
/// waits for none of these, but a second for the summary, and so ends the run in time whatever has become of
/// the first.
class CRun
{
public:
    CRun(const SRunOptions& options, CLoadedConfiguration& loaded, CBackgroundOutput& output,
         CBackgroundOutput& errors)
        : options_(options), session_(loaded.session()), output_(output), errors_(errors),
          observations_(observeLoops(loaded.plugins(), session_)),
          longestSampleTime_(Rvl::longestSampleTime(observations_)),
          recorder_(recorderFor(options, session_)),
          terminationSignals_(context_, [this] { context_.stop(); }), end_(context_)
    {}

    /// Starts the session and returns when its time is over.
    void perform()
    {
        worker_ = std::thread([this] { work(); });
        const CPeriodicTimer watch(context_, lookInterval, [this] {
            lookAtWork();
            return true;
        });
        context_.run();
        session_.cancelStart();
        workContext_.stop();
        workEnds(summaryPatience);
    }

    /// To be called when everything is disabled and before anything is destroyed: nothing of this is used any
    /// more afterwards. False if a device or a disk keeps that from happening.
    bool end()
    {
        session_.cancelStart();
        workContext_.stop();
        const bool known = session_.isAbandoned(); // by what could not be disabled
        if (!workEnds(known ? std::chrono::seconds(0) : generalPatience)) {
            if (!known) {
                const std::string name = asked();
                errors_.write((name.empty() ? "something" : name) + " does not answer\n");
            }
            worker_.detach();
            return false;
        }
        recordFailed_ = recorder_ && recorder_->failed();
        if (!known) { // it would wait for the loop that could not be disabled
            observations_.clear();
        }
        return true;
    }

    std::chrono::milliseconds longestSampleTime() const { return longestSampleTime_; }
    /// How the run ended, to be called after end(); empty if a device or a disk kept that from being told.
    const std::string& summaryText() const { return isSummaryTold_ ? summaryText_ : noText_; }
    /// Whether something failed; to be called after end().
    bool failed() const { return failed_ || recordFailed_; }

private:
    /// Whether the other thread has ended, or does so in time.
    bool workEnds(std::chrono::milliseconds limit)
    {
        if (worker_.joinable() && workEnded_.wait_for(limit) == std::future_status::ready) {
            worker_.join();
            isSummaryTold_ = true;
            failed_ = !failure_.empty();
            if (failed_) {
                errors_.write("stopped: " + failure_ + "\n");
            }
        }
        return !worker_.joinable();
    }

    void work()
    {
        try {
            start();
            boost::asio::post(context_, [this] { onStarted(); });
            observe();
            // who was held up until all were disabled tells how they were before
            summaryText_ = summary(finalStatus(observations_),
                                   session_.isDisabling() ? latestStates_ : states(), untilFirstStep_);
        } catch (const std::exception& exception) {
            failure_ = exception.what();
            failure_ = failure_.empty() ? "an exception without a text" : failure_;
        } catch (...) {
            failure_ = "an exception of unknown kind";
        }
        context_.stop();
        workEnd_.set_value();
    }

    void start()
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

    void onStarted()
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

    void observe()
    {
        const auto keepGoing = boost::asio::make_work_guard(workContext_);
        std::vector<std::unique_ptr<CPeriodicTimer>> timers;
        const auto every = [&](std::chrono::milliseconds interval, std::function<bool()> call) {
            timers.push_back(std::make_unique<CPeriodicTimer>(workContext_, interval, std::move(call)));
        };
        if (!observations_.empty()) {
            every(std::chrono::milliseconds(1), [this] { return !noteFirstStep(); });
        }
        if (recorder_) {
            every(options_.recordInterval, [this] { return record(); });
        }
        // also where nothing is shown or recorded: who does not answer is told all the same
        every(std::chrono::milliseconds(1000), [this] {
            ask();
            return true;
        });
        if (!options_.quiet) {
            const bool terminal = setUpTerminal();
            every(std::chrono::milliseconds(terminal ? 500 : 1000), [this, terminal] {
                show(terminal);
                return true;
            });
        }
        workContext_.run();
    }

    /// The device or controller that the other thread is at; empty if at none.
    std::string asked() const
    {
        const std::string* const name = asked_;
        return name ? *name : session_.busyWith();
    }

    /// Tells of a device or controller that holds up the other thread.
    void lookAtWork()
    {
        const std::string name = asked();
        const bool same = !name.empty() && name == busyWith_ && timesAsked_ == timesAskedBefore_;
        if (!same) {
            if (lookedAt_ >= looksUntilTold) {
                errors_.write(busyWith_ + " answers again\n");
            }
            busyWith_ = name;
            timesAskedBefore_ = timesAsked_;
            lookedAt_ = 0;
        } else if (++lookedAt_ == looksUntilTold) {
            errors_.write(name + " does not answer; nothing is shown or recorded meanwhile\n");
        }
    }

    std::vector<SControllerState> states()
    {
        ++timesAsked_;
        return statesWithLoops(session_.states(), observations_, asked_);
    }

    void ask()
    {
        try {
            latestStates_ = states();
        } catch (...) {
            // told by who needs the states
        }
    }

    bool noteFirstStep()
    {
        ++timesAsked_;
        if (!anyStepDone(observations_, asked_)) {
            return false;
        }
        untilFirstStep_ = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - options_.programStart);
        return true;
    }

    bool record()
    {
        const auto now = currentTimeline().utc(); // before the values: they are no older than it
        const std::vector<SControllerState> rows = states();
        const CCurrentActivity busy(asked_, recordName_);
        if (recorder_->write(rows, now)) {
            return true;
        }
        errors_.write("writing the record " + textOf(*options_.record) +
                      " failed; control goes on without a record\n");
        return false;
    }

    void show(bool terminal)
    {
        // a table is drawn over the one that is there; and what nobody reads need not be there twice
        if (output_.isIdle()) {
            output_.write(terminal ? table_.draw(states(), terminalSize())
                                   : stateLine(states(), currentTimeline().utc()) + "\n");
        }
    }

    static constexpr std::chrono::milliseconds lookInterval{500};
    static constexpr int looksUntilTold = 4;
    /// After that nothing shall be driven any longer for the sake of its summary.
    static constexpr std::chrono::milliseconds summaryPatience{1000};

    const SRunOptions& options_;
    CSession& session_;
    CBackgroundOutput& output_;
    CBackgroundOutput& errors_;

    // the other thread's, from its start to its end
    std::vector<Observation> observations_;
    const std::chrono::milliseconds longestSampleTime_;
    /// There before the signals are ours: a disk may keep it waiting.
    std::unique_ptr<CRecorder> recorder_;
    boost::asio::io_context workContext_{1};
    std::promise<void> workEnd_;
    std::string summaryText_;
    std::string failure_;
    const std::string recordName_ = "the record";
    std::atomic<unsigned> timesAsked_{0};
    AskedPlace asked_{nullptr};
    CLiveTable table_;
    std::vector<SControllerState> latestStates_; ///< as ask() found them, within the last second
    std::optional<std::chrono::microseconds> untilFirstStep_;

    boost::asio::io_context context_{1};
    /// From construction on a signal ends the run and not the process, also while devices are being
    /// connected.
    CTerminationSignals terminationSignals_;
    boost::asio::steady_timer end_;
    std::string busyWith_; ///< as lookAtWork() found it, so many times
    int lookedAt_ = 0;
    unsigned timesAskedBefore_ = 0;
    std::thread worker_;
    std::future<void> workEnded_ = workEnd_.get_future();
    bool isSummaryTold_ = false;
    bool failed_ = false;
    bool recordFailed_ = false;
    const std::string noText_;
};

/// How long whoever reads the output is waited for in the end.
constexpr std::chrono::milliseconds readersPatience(2000);

/// Whether who reads the output has read all of it, or does so in time.
bool isRead(const CBackgroundOutput& output, const CBackgroundOutput& errors)
{
    const auto limit = std::chrono::steady_clock::now() + readersPatience / 2;
    return output.waitUntilIdle(limit) && errors.waitUntilIdle(limit);
}

/// Runs what was built until its time is over and takes it down again. Returns the exit status.
int runLoaded(const SRunOptions& options, CLoadedConfiguration& loaded, CBackgroundOutput& output,
              CBackgroundOutput& errors)
{
    int result = ExitDone;
    CSession& session = loaded.session();
    CRun run(options, loaded, output, errors);
    std::optional<CTerminateHandler> terminateHandler;
    try {
        terminateHandler.emplace([&session] { session.emergencyStop(); });
        run.perform();
    } catch (const std::exception& exception) {
        errors.write(std::string("stopped: ") + exception.what() + "\n");
        result = ExitFailure;
    }
    const auto onStopped = [&] {
        if (!run.end()) {
            session.abandon();
            result = ExitFailure;
        }
        if (!session.isAbandoned()) { // otherwise a loop may still be in its step
            terminateHandler.reset();
        }
    };
    // while the signals are still ours: a second one must not cut this short
    for (const std::string& failure : session.shutDown(onStopped, run.longestSampleTime())) {
        errors.write(failure + "\n");
        result = ExitFailure;
    }
    if (run.failed()) {
        result = ExitFailure;
    }
    errors.waitUntilIdle(std::chrono::steady_clock::now() + readersPatience / 2); // both may be one terminal
    output.write(run.summaryText());
    if (session.isAbandoned()) {
        isRead(output, errors);
        exitWithoutCleanup(result);
    }
    return result;
}

} // namespace

int runConfiguration(const SRunOptions& options, const CPluginPath& pluginPath, std::ostream& out,
                     std::ostream& err)
{
    ignoreWriteSignals();
    std::error_code ignored;
    if (options.record && std::filesystem::equivalent(*options.record, options.configuration, ignored)) {
        throw CHostException(ExitUsage, "the record " + textOf(*options.record) + " is the configuration");
    }
    CBackgroundOutput output(out);
    CBackgroundOutput errors(err);
    const CBackgroundLog log(errors);
    // nothing is driven yet, or will be: there is all the time that the reader needs
    const auto waitForReader = [&errors] {
        while (!errors.waitUntilIdle(std::chrono::steady_clock::now() + readersPatience)) {
        }
    };
    int result = ExitDone;
    try {
        auto loaded = std::make_unique<CLoadedConfiguration>(options.configuration, pluginPath);
        if (!loaded->faults().empty()) {
            errors.write(loaded->faults().report(loaded->configuration().name()));
            waitForReader();
            return loaded->faults().hasRuntimeFault() ? ExitFailure : ExitBadConfiguration;
        }
        result = runLoaded(options, *loaded, output, errors);
        if (!doAllPatiently({[&loaded] { loaded.reset(); }}).empty()) {
            errors.write("unloading the plug-ins: did not end within " +
                         std::to_string(generalPatience.count() / 1000) + " s\n");
            isRead(output, errors);
            exitWithoutCleanup(ExitFailure);
        }
    } catch (...) {
        waitForReader();
        throw;
    }
    if (!isRead(output, errors)) {
        exitWithoutCleanup(result);
    }
    return result;
}

} // namespace Rvl
