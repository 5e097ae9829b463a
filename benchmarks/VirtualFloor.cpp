#include "benchmarks/VirtualFloor.h"

#include <cmath>

namespace Rvl::Benchmark {

namespace {

constexpr double ambient = 22.0;        // degC
constexpr double maximumPower = 100.0;  // W
constexpr double jacketCapacity = 5.0;  // J/K
constexpr double vesselCapacity = 10.0; // J/K
constexpr double conductance = 5.0;     // W/K, jacket to vessel
constexpr double loss = 1.0;            // W/K, of each to its surroundings
constexpr double deadTime_s = 0.2;
constexpr double noise = 0.02; // K
constexpr std::int64_t ms = 1'000'000;

SPlainLoop pid(double K, double Ti, double minU, double maxU, double setPoint, double sampleTime_s)
{
    SPlainLoop loop;
    loop.K = K;
    loop.Ti = Ti;
    loop.minU = minU;
    loop.maxU = maxU;
    loop.setPoint = setPoint;
    loop.a0 = sampleTime_s / (0.8 * Ti);
    loop.b = K * sampleTime_s / Ti;
    return loop;
}

} // namespace

CFloorCascades::CFloorCascades(std::size_t count) : cascades_(count)
{
    for (std::uint32_t index = 0; index < count; ++index) {
        SCascade& cascade = cascades_[index];
        cascade.random[0].seed(2 * index);
        cascade.random[1].seed(2 * index + 1);
        cascade.outer = pid(6.0, 6.0, 22.0, 80.0, 45.0, 0.25);
        cascade.inner = pid(5.0, 4.0, 0.0, 100.0, 22.0, 0.1);
        add(0, index, Physics);
        add(100 * ms, index, Inner);
        add(250 * ms, index, Outer);
    }
}

void CFloorCascades::add(std::int64_t due_ns, std::uint32_t cascade, eKind kind)
{
    queue_.push({due_ns, ++lastNumber_, cascade, kind});
}

void CFloorCascades::run(double duration_s)
{
    const auto end_ns = static_cast<std::int64_t>(duration_s * 1e9);
    while (queue_.top().due_ns <= end_ns) {
        const SEvent event = queue_.top();
        queue_.pop();
        ++events_;
        carryOut(cascades_[event.cascade], event.kind);
        constexpr std::array<std::int64_t, 3> interval_ms{20, 100, 250};
        add(event.due_ns + interval_ms[event.kind] * ms, event.cascade, event.kind);
    }
}

void CFloorCascades::carryOut(SCascade& cascade, eKind kind)
{
    if (kind == Inner) {
        cascade.inner.setPoint = cascade.outer.controlValue;
        cascade.command = cascade.inner.calculate(cascade.measuredJacket);
    } else if (kind == Outer) {
        cascade.outer.calculate(cascade.measuredVessel);
    } else {
        if (events_ > cascades_.size()) {
            cascade.advance(0.02);
        }
        if (cascade.command != cascade.taken) {
            cascade.taken = cascade.command;
            cascade.underWay.emplace_back(cascade.time_s + deadTime_s,
                                          maximumPower * cascade.command / 100.0);
        }
        cascade.measuredJacket = ambient + cascade.jacket + noise * cascade.gauss[0](cascade.random[0]);
        cascade.measuredVessel = ambient + cascade.vessel + noise * cascade.gauss[1](cascade.random[1]);
    }
}

void CFloorCascades::SCascade::advance(double step_s)
{
    const double end_s = time_s + step_s;
    while (!underWay.empty() && underWay.front().first < end_s) {
        const auto [arrival_s, power] = underWay.front();
        solve(arrival_s - time_s);
        time_s = arrival_s;
        power_W = power;
        underWay.pop_front();
    }
    solve(end_s - time_s);
    time_s = end_s;
}

/// The exact solution over the step of  C_j j' = P - G (j - v) - L j,  C_v v' = G (j - v) - L v.
void CFloorCascades::SCascade::solve(double step_s)
{
    const double a = -(conductance + loss) / jacketCapacity;
    const double b = conductance / jacketCapacity;
    const double c = conductance / vesselCapacity;
    const double d = -(conductance + loss) / vesselCapacity;
    const double half = (a - d) / 2.0;
    const double spread = std::sqrt(half * half + b * c);
    const double u = power_W / jacketCapacity;
    double nextJacket = 0.0;
    double nextVessel = 0.0;
    for (const double sign : {1.0, -1.0}) {
        const double rate = (a + d) / 2.0 + sign * spread;
        const double growth = std::expm1(rate * step_s);
        const double x = (growth + 1.0) * jacket + growth / rate * u;
        const double y = (growth + 1.0) * vessel;
        nextJacket += (x + sign * (half * x + b * y) / spread) / 2.0;
        nextVessel += (y + sign * (c * x - half * y) / spread) / 2.0;
    }
    jacket = nextJacket;
    vessel = nextVessel;
}

double CFloorCascades::vesselTemperature() const
{
    return ambient + cascades_.front().vessel;
}

} // namespace Rvl::Benchmark
