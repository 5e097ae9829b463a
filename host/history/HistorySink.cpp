#include "host/history/HistorySink.h"

#include "runtime/MonotonicWait.h"
#include "runtime/ThreadName.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

namespace Rvl {

namespace {

/// What one batch holds at most of controllers in moments.
constexpr std::size_t statesPerBatch = 100'000;
/// What is written on virtual time at once.
constexpr std::chrono::seconds inlineTime(30);
constexpr unsigned longestPause = 20; ///< in units of the time between two batches
/// Texts of health that are kept as they are; of more there is only the kind.
constexpr std::size_t mostHealths = 1000;

const char* kindText(EHealth kind)
{
    switch (kind) {
    case EHealth::Ok:
        return "ok";
    case EHealth::Off:
        return "off";
    case EHealth::Waiting:
        return "bad input: waiting";
    case EHealth::BadInput:
        return "bad input";
    case EHealth::Fault:
        return "fault";
    }
    return "";
}

} // namespace

/// The queue and what becomes of it. All but the store is guarded by the mutex; the store is used by the
/// thread alone, or without one by the observer's.
struct CHistorySink::SState
{
    SState(std::unique_ptr<IHistoryStore> storeToUse, const SSettings& settingsToUse, CCallWatch& callsToUse,
           std::function<void(const std::string&)> reportTo)
        : store(std::move(storeToUse)), settings(settingsToUse), calls(callsToUse),
          report(std::move(reportTo))
    {}

    void queue(const SSnapshot& snapshot) RVL_REQUIRES(mutex);
    std::size_t healthOf(std::size_t controller, const SControllerState& state,
                         std::chrono::system_clock::time_point time) RVL_REQUIRES(mutex);
    void dropOldest() RVL_REQUIRES(mutex);
    SHistoryBatch nextBatch() RVL_REQUIRES(mutex);
    void putBack(SHistoryBatch&& batch) RVL_REQUIRES(mutex);
    bool isInlineDue() const RVL_REQUIRES(mutex);
    bool writeOnce();
    bool writeAll();
    void onWritten() RVL_REQUIRES(mutex);
    void finish();

    std::unique_ptr<IHistoryStore> store;
    const SSettings settings;
    CCallWatch& calls;
    const std::function<void(const std::string&)> report;

    CMutex mutex;
    std::condition_variable changed;
    std::deque<SHistoryMoment> moments RVL_GUARDED_BY(mutex);
    std::size_t states RVL_GUARDED_BY(mutex) = 0; ///< in the moments
    std::vector<SHistoryEvent> events RVL_GUARDED_BY(mutex);
    std::vector<SHistoryController> controllers RVL_GUARDED_BY(mutex);
    std::vector<SHealth> healths RVL_GUARDED_BY(mutex);
    std::vector<std::size_t>
        lastHealth RVL_GUARDED_BY(mutex);            ///< of each controller, by its place in healths
    std::size_t defined RVL_GUARDED_BY(mutex) = 0;   ///< healths that the store has
    std::uint64_t dropped RVL_GUARDED_BY(mutex) = 0; ///< since the last change
    std::chrono::system_clock::time_point lastDropped RVL_GUARDED_BY(mutex);
    bool isDropping RVL_GUARDED_BY(mutex) = false;
    bool isFailing RVL_GUARDED_BY(mutex) = false;
    std::string failure RVL_GUARDED_BY(mutex);
    bool hasBegun RVL_GUARDED_BY(mutex) = false;
    bool isClosing RVL_GUARDED_BY(mutex) = false;
    bool isDone RVL_GUARDED_BY(mutex) = false;
    bool hasLost RVL_GUARDED_BY(mutex) = false;
};

/// The place of the controller's health among the texts; an event if it has changed.
std::size_t CHistorySink::SState::healthOf(std::size_t controller, const SControllerState& state,
                                           std::chrono::system_clock::time_point time)
{
    const auto isSame = [&](const SHealth& health) {
        return health.kind == state.health.kind && health.text == state.health.text;
    };
    std::size_t& last = lastHealth[controller];
    if (last < healths.size() && isSame(healths[last])) {
        return last;
    }
    const bool isFirst = last >= healths.size();
    auto found = std::find_if(healths.begin(), healths.end(), isSame);
    if (found == healths.end()) {
        const bool isFull = healths.size() >= mostHealths;
        const SHealth added{state.health.kind, isFull ? kindText(state.health.kind) : state.health.text};
        found = std::find_if(healths.begin(), healths.end(), [&](const SHealth& health) {
            return health.kind == added.kind && health.text == added.text;
        });
        if (found == healths.end()) {
            found = healths.insert(healths.end(), added);
        }
    }
    const auto place = static_cast<std::size_t>(found - healths.begin());
    const bool isOrdinary = state.health.kind == EHealth::Ok || state.health.kind == EHealth::Off;
    if (place != last && !(isFirst && isOrdinary)) {
        events.push_back({time, SHistoryEvent::Health, state.name, state.name + ": " + state.health.text});
    }
    last = place;
    return place;
}

void CHistorySink::SState::queue(const SSnapshot& snapshot)
{
    if (!hasBegun) {
        hasBegun = true;
        for (const SControllerState& state : snapshot.controllers) {
            controllers.push_back({state.name, state.unit});
        }
        lastHealth.assign(controllers.size(), mostHealths * 2);
        events.insert(events.begin(), {snapshot.utc, SHistoryEvent::Run, "", "the run has begun"});
    }
    SHistoryMoment moment{snapshot.utc, {}};
    moment.states.reserve(snapshot.controllers.size());
    for (std::size_t i = 0; i < snapshot.controllers.size(); ++i) {
        const SControllerState& state = snapshot.controllers[i];
        moment.states.push_back({state.setPoint, state.actualValue, state.controlValue, state.enabled,
                                 state.manual, healthOf(i, state, snapshot.utc)});
    }
    states += moment.states.size();
    moments.push_back(std::move(moment));
    dropOldest();
}

void CHistorySink::SState::dropOldest()
{
    while (states > settings.queue && moments.size() > 1) {
        states -= moments.front().states.size();
        lastDropped = moments.front().time;
        moments.pop_front();
        ++dropped;
        hasLost = true;
    }
    constexpr std::size_t mostEvents = 10'000;
    if (events.size() > mostEvents) {
        events.erase(events.begin(), events.begin() + mostEvents / 10);
    }
}

SHistoryBatch CHistorySink::SState::nextBatch()
{
    SHistoryBatch batch;
    std::size_t taken = 0;
    while (!moments.empty() && taken < statesPerBatch) {
        taken += moments.front().states.size();
        batch.moments.push_back(std::move(moments.front()));
        moments.pop_front();
    }
    states -= taken;
    batch.events.swap(events);
    return batch;
}

/// What could not be written stands before what has come since.
void CHistorySink::SState::putBack(SHistoryBatch&& batch)
{
    for (auto moment = batch.moments.rbegin(); moment != batch.moments.rend(); ++moment) {
        states += moment->states.size();
        moments.push_front(std::move(*moment));
    }
    events.insert(events.begin(), batch.events.begin(), batch.events.end());
    dropOldest();
}

bool CHistorySink::SState::isInlineDue() const
{
    return states >= statesPerBatch ||
           (!moments.empty() && moments.back().time - moments.front().time >= inlineTime);
}

void CHistorySink::SState::onWritten()
{
    // only once there is room again: otherwise each batch would be a change
    if (!isFailing && (!isDropping || states > settings.queue / 2)) {
        return;
    }
    isFailing = false;
    isDropping = false;
    const std::string missing =
        std::to_string(dropped) + (dropped == 1 ? " snapshot is" : " snapshots are") + " missing";
    if (dropped > 0) {
        events.push_back({lastDropped, SHistoryEvent::Gap, "", missing});
    }
    report("the history is written again; " + (dropped > 0 ? missing : "nothing is missing"));
    dropped = 0;
}

/// Writes a batch. False if that failed; the batch is in the queue again then.
bool CHistorySink::SState::writeOnce()
{
    SHistoryBatch batch;
    std::vector<SHistoryController> newControllers;
    std::vector<SHealth> newHealths;
    {
        const CMutexLock lock(mutex);
        batch = nextBatch();
        if (batch.moments.empty() && batch.events.empty()) {
            return true;
        }
        if (defined < healths.size()) {
            newControllers = controllers;
            newHealths = healths;
        }
    }
    std::string error;
    try {
        const CCallWatch::CCall call(calls, "the history", CCallWatch::Other);
        if (!newHealths.empty()) {
            store->define(newControllers, newHealths);
        }
        store->write(batch);
    } catch (const std::exception& exception) {
        error = exception.what();
        error = error.empty() ? "an exception without a text" : error;
    }
    const CMutexLock lock(mutex);
    if (error.empty()) {
        defined = std::max(defined, newHealths.size());
        onWritten();
        return true;
    }
    if (!isFailing) {
        isFailing = true;
        report("writing the history failed: " + error + "; control goes on, and it is tried again");
    }
    failure = error;
    putBack(std::move(batch));
    return false;
}

/// Writes what is queued, until nothing is left or that fails.
bool CHistorySink::SState::writeAll()
{
    for (;;) {
        {
            const CMutexLock lock(mutex);
            if (moments.empty() && events.empty()) {
                return true;
            }
        }
        if (!writeOnce()) {
            return false;
        }
    }
}

void CHistorySink::SState::finish()
{
    const bool isWhole = writeAll();
    {
        const CCallWatch::CCall call(calls, "the history", CCallWatch::Other);
        store.reset();
    }
    const CMutexLock lock(mutex);
    if (!isWhole) {
        hasLost = true;
        report("the last " + std::to_string(moments.size()) +
               " snapshots are missing in the history: " + failure);
    }
    isDone = true;
    changed.notify_all();
}

CHistorySink::CHistorySink(std::unique_ptr<IHistoryStore> store, const SSettings& settings, CCallWatch& calls,
                           std::function<void(const std::string&)> report)
    : settings_(settings),
      state_(std::make_shared<SState>(std::move(store), settings, calls, std::move(report)))
{
    if (settings.threads == OwnThread) {
        thread_ = std::thread([state = state_] {
            setThreadName("history");
            work(*state);
        });
    }
}

CHistorySink::~CHistorySink()
{
    bool isClosed = false;
    {
        const CMutexLock lock(state_->mutex);
        isClosed = state_->isClosing;
    }
    if (!isClosed) {
        close(std::nullopt, std::chrono::hours(24 * 365));
    }
}

void CHistorySink::work(SState& state)
{
    unsigned pause = 1;
    for (bool isClosing = false; !isClosing;) {
        {
            CMutexLock lock(state.mutex);
            waitFor(state.changed, lock.native(), pause * state.settings.flush,
                    [&state]() RVL_REQUIRES(state.mutex) { return state.isClosing; });
            isClosing = state.isClosing;
        }
        if (isClosing) {
            break;
        }
        pause = state.writeAll() ? 1 : std::min(2 * pause, longestPause);
    }
    state.finish();
}

bool CHistorySink::take(const SSnapshot& snapshot)
{
    SState& state = *state_;
    bool isInlineDue = false;
    {
        const CMutexLock lock(state.mutex);
        if (state.isClosing) {
            return false;
        }
        const std::uint64_t before = state.dropped;
        state.queue(snapshot);
        if (state.dropped > before && !state.isDropping) {
            state.isDropping = true;
            state.report("the history is written too slowly; the oldest snapshots are dropped");
        }
        isInlineDue = settings_.threads == Inline && state.isInlineDue();
    }
    if (isInlineDue) {
        state.writeAll();
    }
    return true;
}

void CHistorySink::add(const SCommandRecord& command)
{
    const CMutexLock lock(state_->mutex);
    if (!state_->isClosing) {
        state_->events.push_back({command.utc, SHistoryEvent::Command, command.controller, command.text()});
    }
}

bool CHistorySink::close(std::optional<std::chrono::system_clock::time_point> moment,
                         std::chrono::milliseconds limit)
{
    SState& state = *state_;
    {
        const CMutexLock lock(state.mutex);
        if (state.isClosing) {
            return state.isDone;
        }
        if (moment && state.hasBegun) {
            state.events.push_back({*moment, SHistoryEvent::Run, "", "the run has ended"});
        }
        state.isClosing = true;
        state.changed.notify_all();
    }
    if (settings_.threads == Inline) {
        state.finish();
        return true;
    }
    bool isDone = false;
    {
        CMutexLock lock(state.mutex);
        isDone = waitFor(state.changed, lock.native(), limit,
                         [&state]() RVL_REQUIRES(state.mutex) { return state.isDone; });
    }
    if (isDone) {
        thread_.join();
    } else {
        thread_.detach(); // the hung call keeps the state
    }
    return isDone;
}

bool CHistorySink::hasLost() const
{
    const CMutexLock lock(state_->mutex);
    return state_->hasLost;
}

} // namespace Rvl
