#include "host/commands/VirtualRun.h"

#include "host/console/ProgressBar.h"
#include "host/process/Terminal.h"
#include "runtime/ThreadName.h"

#include <algorithm>

namespace Rvl {

namespace {

using RealClock = std::chrono::steady_clock;

/// How long, in real time, virtual time is to run between two checks whether progress is to be shown.
constexpr std::chrono::milliseconds sliceLength(20);
constexpr std::chrono::milliseconds progressInterval(100);

} // namespace

CVirtualRun::CVirtualRun(const SRunOptions& options, CSession& session, CVirtualTimeline& timeline,
                         CBackgroundOutput& output, CBackgroundOutput& errors)
    : options_(options), session_(session), timeline_(timeline), output_(output), errors_(errors),
      hasTerminal_(!options.quiet && setUpTerminal()), worker_(timeline.makeWorker("observer")),
      run_(options, session, timeline, *worker_, output, errors, [this] { timeline_.requestStop(); }),
      terminationSignals_(
          context_, [this] { timeline_.requestStop(); },
          [] { CTerminationSignals::stopProcess(); }), // nothing outside the program is driven
      signals_([this] {
          setThreadName("signals");
          context_.run();
      })
{}

CVirtualRun::~CVirtualRun()
{
    context_.stop();
    signals_.join();
}

void CVirtualRun::perform()
{
    if (!run_.begin([this] { session_.start(); })) {
        return;
    }
    begin_ = nextProgress_ = RealClock::now();
    const std::chrono::nanoseconds start = timeline_.monotonic();
    const std::chrono::nanoseconds end = start + *options_.duration;
    std::chrono::nanoseconds slice = std::chrono::milliseconds(100);
    while (timeline_.monotonic() < end && !timeline_.isStopRequested()) {
        const RealClock::time_point before = RealClock::now();
        timeline_.runFor(std::min(slice, end - timeline_.monotonic()));
        const RealClock::duration taken = RealClock::now() - before;
        slice = taken < sliceLength ? slice * 2 : std::max(slice / 2, std::chrono::nanoseconds(1));
        showProgress(timeline_.monotonic() - start, false);
    }
    showProgress(timeline_.monotonic() - start, true);
    isLastShown_ = true;
    sumUp(); // before the controllers are disabled
}

void CVirtualRun::sumUp()
{
    if (!hasEnded_) {
        hasEnded_ = true;
        run_.end();
    }
}

bool CVirtualRun::end()
{
    session_.cancelStart();
    sumUp();
    worker_->stopAndJoin();
    run_.recordEnd();
    run_.closeHistory(options_.limits.progress);
    if (hasTerminal_ && !isLastShown_) {
        output_.write("\n"); // below the progress bar
    }
    if (!run_.failure().empty()) {
        errors_.write("stopped: " + run_.failure() + "\n");
    }
    return true;
}

void CVirtualRun::showProgress(std::chrono::nanoseconds done, bool last)
{
    const RealClock::time_point now = RealClock::now();
    if (!hasTerminal_ || (!last && (now < nextProgress_ || !output_.isIdle()))) {
        return;
    }
    nextProgress_ = now + progressInterval;
    output_.write(progressLine(done, *options_.duration, now - begin_, terminalSize().width) +
                  (last ? "\n" : ""));
}

} // namespace Rvl
