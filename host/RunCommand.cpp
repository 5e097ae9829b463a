#include "host/RunCommand.h"

#include "host/PeriodicTimer.h"

#include "host/Assembly.h"
#include "host/EndRequest.h"
#include "host/HostException.h"
#include "host/LastResort.h"
#include "host/LiveTable.h"
#include "host/Realtime.h"
#include "host/Recorder.h"
#include "host/Summary.h"
#include "host/SystemText.h"
#include "host/Terminal.h"
#include "platform/rivlink_core/Clock.h"
#include "platform/rivlink_device/ControllerChannel.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <algorithm>
#include <cmath>
#include <memory>
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

bool anyStepDone(const std::vector<Observation>& observations)
{
    for (const auto& [channel, observation] : observations) {
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
                                              const std::vector<Observation>& observations)
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

/// The time between start and shutdown: events, and what is shown and recorded meanwhile.
class CRun
{
public:
    CRun(const SRunOptions& options, CAssembly& assembly, std::ostream& out, std::ostream& err)
        : options_(options), session_(assembly.session()), out_(out), err_(err),
          endRequest_(context_, [this] { context_.stop(); }), end_(context_), table_(out),
          observations_(observeLoops(assembly.plugins(), assembly.session()))
    {
        if (options.record) {
            recorder_ =
                std::make_unique<CRecorder>(*options.record, options.replaceRecord, session_.states());
        }
    }

    /// Starts the session and returns when its time is over.
    void perform()
    {
        start();
        if (options_.duration) {
            end_.expires_after(*options_.duration);
            end_.async_wait([this](const boost::system::error_code& error) {
                if (!error) {
                    context_.stop();
                }
            });
        }
        std::vector<std::unique_ptr<CPeriodicTimer>> timers;
        const auto every = [&](std::chrono::milliseconds interval, std::function<bool()> call) {
            timers.push_back(std::make_unique<CPeriodicTimer>(context_, interval, std::move(call)));
        };
        if (!observations_.empty()) {
            every(std::chrono::milliseconds(1), [this] { return !noteFirstStep(); });
        }
        if (recorder_) {
            every(options_.recordInterval, [this] { return record(); });
        }
        if (!options_.quiet) {
            const bool terminal = setUpTerminal();
            every(std::chrono::milliseconds(terminal ? 500 : 1000), [this, terminal] {
                show(terminal);
                return true;
            });
        }
        context_.run();
    }

    /// How the run ended; to be asked before the session is shut down.
    std::string summaryText() const { return summary(finalStatus(observations_), states(), untilFirstStep_); }

    /// To be called before the channels are destroyed.
    void endObservation() { observations_.clear(); }

    bool recordFailed() const { return recorder_ && recorder_->failed(); }

private:
    void start()
    {
        if (!options_.realtime) {
            session_.start();
            return;
        }
        std::vector<std::string> refusals = serveThreadsFirst([this] { session_.start(); });
        const std::vector<std::string> further = lockMemory();
        refusals.insert(refusals.end(), further.begin(), further.end());
        for (const std::string& refusal : refusals) {
            err_ << refusal << std::endl;
        }
    }

    std::vector<SControllerState> states() const { return statesWithLoops(session_.states(), observations_); }

    bool noteFirstStep()
    {
        if (!anyStepDone(observations_)) {
            return false;
        }
        untilFirstStep_ = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - options_.programStart);
        return true;
    }

    bool record()
    {
        const auto now = IClock::current().utc(); // before the values: they are no older than it
        if (recorder_->write(states(), now)) {
            return true;
        }
        err_ << "writing the record " << textOf(*options_.record)
             << " failed; control goes on without a record" << std::endl;
        return false;
    }

    void show(bool terminal)
    {
        // whoever reads the output may have gone; control goes on
        out_.clear();
        if (terminal) {
            table_.draw(states(), terminalSize());
        } else {
            out_ << stateLine(states(), IClock::current().utc()) << std::endl;
        }
    }

    const SRunOptions& options_;
    CSession& session_;
    std::ostream& out_;
    std::ostream& err_;
    boost::asio::io_context context_{1};
    /// From construction on a signal ends the run and not the process, also while devices are being
    /// connected.
    CEndRequest endRequest_;
    boost::asio::steady_timer end_;
    CLiveTable table_;
    std::unique_ptr<CRecorder> recorder_;
    std::vector<Observation> observations_;
    std::optional<std::chrono::microseconds> untilFirstStep_;
};

} // namespace

int runConfiguration(const SRunOptions& options, const CPluginPath& pluginPath, std::ostream& out,
                     std::ostream& err)
{
    surviveFailedWrites();
    std::error_code ignored;
    if (options.record && std::filesystem::equivalent(*options.record, options.configuration, ignored)) {
        throw CHostException(ExitUsage, "the record " + textOf(*options.record) + " is the configuration");
    }
    CAssembly assembly(options.configuration, pluginPath);
    if (!assembly.faults().empty()) {
        err << assembly.faults().report(assembly.configuration().name()) << std::flush;
        return assembly.faults().hasRuntimeFault() ? ExitFailure : ExitBadConfiguration;
    }
    int result = ExitDone;
    {
        CRun run(options, assembly, out, err);
        std::string text;
        std::optional<CLastResort> lastResort;
        try {
            lastResort.emplace([&assembly] { assembly.session().emergencyStop(); });
            run.perform();
            text = run.summaryText();
        } catch (const std::exception& exception) {
            err << "stopped: " << exception.what() << std::endl;
            result = ExitFailure;
        } catch (...) {
            err << "stopped: an exception of unknown kind" << std::endl;
            result = ExitFailure;
        }
        run.endObservation();
        // while the signals are still ours: a second one must not cut this short
        for (const std::string& failure : assembly.session().shutDown([&] { lastResort.reset(); })) {
            err << failure << std::endl;
            result = ExitFailure;
        }
        out.clear();
        out << text << std::flush;
        if (run.recordFailed()) {
            result = ExitFailure;
        }
    }
    return result;
}

} // namespace Rvl
