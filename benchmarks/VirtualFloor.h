#pragma once

#include "benchmarks/StepFloor.h"

#include <array>
#include <cstdint>
#include <deque>
#include <queue>
#include <random>
#include <utility>
#include <vector>

// What a run on virtual time cannot do without, written as plainly as possible.
namespace Rvl::Benchmark {

/// Cascades of two PID loops over a jacketed vessel, as in examples/cascade, on a bare queue of events: for
/// each the physics every 20 ms, the inner loop every 100 ms and the outer one every 250 ms, with sensor
/// noise.
class CFloorCascades
{
public:
    explicit CFloorCascades(std::size_t count);

    /// Carries out all events within so many seconds.
    void run(double duration_s);
    std::uint64_t events() const { return events_; }
    /// The temperature of the first vessel, in degC.
    double vesselTemperature() const;

private:
    enum eKind : std::uint32_t
    {
        Physics,
        Inner,
        Outer
    };
    struct SEvent
    {
        std::int64_t due_ns;
        std::uint64_t number;
        std::uint32_t cascade;
        eKind kind;
        bool operator<(const SEvent& other) const
        {
            return due_ns != other.due_ns ? due_ns > other.due_ns : number > other.number;
        }
    };
    struct SCascade
    {
        double time_s = 0.0;
        double jacket = 0.0; ///< above ambient, in K
        double vessel = 0.0; ///< above ambient, in K
        double power_W = 0.0;
        double command = 0.0; ///< in percent
        double taken = 0.0;   ///< the command that was taken last
        std::deque<std::pair<double, double>> underWay;
        std::array<std::mt19937_64, 2> random;
        std::array<std::normal_distribution<double>, 2> gauss;
        double measuredJacket = 0.0;
        double measuredVessel = 0.0;
        SPlainLoop outer;
        SPlainLoop inner;

        void advance(double step_s);
        void solve(double step_s);
    };

    void add(std::int64_t due_ns, std::uint32_t cascade, eKind kind);
    void carryOut(SCascade& cascade, eKind kind);

    std::vector<SCascade> cascades_;
    std::priority_queue<SEvent> queue_;
    std::uint64_t lastNumber_ = 0;
    std::uint64_t events_ = 0;
};

} // namespace Rvl::Benchmark
