#include "host/session/Observer.h"

#include <algorithm>
#include <utility>

namespace Rvl {

namespace {

constexpr std::chrono::seconds intervalWithoutSink(1);

} // namespace

CObserver::CObserver(const CSession& session, const ITimeline& timeline, IWorker& worker,
                     FailureHandler onFailure)
    : session_(session), timeline_(timeline), worker_(worker), onFailure_(std::move(onFailure))
{
    entries_.push_back({nullptr, intervalWithoutSink, {}});
}

CObserver::~CObserver()
{
    stop();
}

void CObserver::add(ISnapshotSink& sink)
{
    entries_.push_back({&sink, sink.interval(), {}});
}

void CObserver::start()
{
    for (SEntry& entry : entries_) {
        entry.due = timeline_.monotonic();
    }
    schedule();
}

void CObserver::stop()
{
    worker_.cancel(ticket_);
}

void CObserver::schedule()
{
    const auto next =
        std::min_element(entries_.begin(), entries_.end(),
                         [](const SEntry& left, const SEntry& right) { return left.due < right.due; });
    ticket_ = worker_.after(next->due - timeline_.monotonic(), [this] { observe(); });
}

void CObserver::observe()
{
    const std::chrono::nanoseconds begin = timeline_.monotonic();
    std::vector<ISnapshotSink*> sinks;
    for (const SEntry& entry : entries_) {
        if (entry.sink && entry.due <= begin) {
            sinks.push_back(entry.sink);
        }
    }
    if (!deliver(sinks)) {
        return;
    }
    const std::chrono::nanoseconds end = timeline_.monotonic();
    for (SEntry& entry : entries_) {
        if (entry.due > begin) {
            continue;
        }
        entry.due += entry.interval;
        if (entry.due <= end) {
            entry.due += entry.interval * ((end - entry.due) / entry.interval + 1);
        }
    }
    schedule();
}

bool CObserver::deliver(const std::vector<ISnapshotSink*>& sinks)
{
    try {
        latest_ = session_.snapshot();
        for (ISnapshotSink* const sink : sinks) {
            if (!sink->take(*latest_)) {
                std::erase_if(entries_, [sink](const SEntry& entry) { return entry.sink == sink; });
            }
        }
    } catch (...) {
        if (!sinks.empty()) {
            onFailure_(std::current_exception());
            return false;
        }
    }
    return true;
}

} // namespace Rvl
