#pragma once

#include "host/history/HistorySample.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace Rvl {

/// What a history keeps of one controller of a snapshot.
struct SHistoryState
{
    double setPoint = 0.0;
    double actualValue = 0.0;
    double controlValue = 0.0;
    bool enabled = false;
    bool manual = false;
    std::size_t health = 0; ///< which one of the batch's texts
};

/// The controllers of a snapshot, in the order of the batch's controllers.
struct SHistoryMoment
{
    std::chrono::system_clock::time_point time;
    std::vector<SHistoryState> states;
};

/// A controller as the batch names it.
struct SHistoryController
{
    std::string name;
    std::string unit;
};

/// What is written at once: all of it or nothing.
struct SHistoryBatch
{
    std::vector<SHistoryMoment> moments;
    std::vector<SHistoryEvent> events;
};

/// Where a history is written to. A seam: tests put a disk that hangs or is full in its place.
class IHistoryStore
{
public:
    virtual ~IHistoryStore() = default;

    /// The controllers and the healths that batches refer to by their place; to be called before the first
    /// batch, and again when there are more of them. Throws as write() does.
    virtual void define(const std::vector<SHistoryController>& controllers,
                        const std::vector<SHealth>& healths) = 0;
    /// Writes a batch; returns when it is safe from the process being killed. Throws std::exception, and has
    /// written nothing of it then.
    virtual void write(const SHistoryBatch& batch) = 0;
};

} // namespace Rvl
