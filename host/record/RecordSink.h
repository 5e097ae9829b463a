#pragma once

#include "host/process/CallWatch.h"
#include "host/record/Recorder.h"
#include "host/session/Snapshot.h"

#include <chrono>
#include <functional>
#include <utility>

namespace Rvl {

/// Writes snapshots to a record, until writing fails.
class CRecordSink : public ISnapshotSink
{
public:
    /// A write that hangs is a hung call of "the record". `onFailure` is called once, when writing fails.
    CRecordSink(CRecorder& recorder, std::chrono::milliseconds interval, CCallWatch& calls,
                std::function<void()> onFailure)
        : recorder_(recorder), interval_(interval), calls_(calls), onFailure_(std::move(onFailure))
    {}

    std::chrono::milliseconds interval() const override { return interval_; }
    bool take(const SSnapshot& snapshot) override;

private:
    CRecorder& recorder_;
    const std::chrono::milliseconds interval_;
    CCallWatch& calls_;
    const std::function<void()> onFailure_;
};

} // namespace Rvl
