// One step: CPIDAlgorithm::calculate() and CPIDControlLoop::process(), each beside its floor (StepFloor.h).

#include "benchmarks/StepFloor.h"
#include "driver/local/controller/common/ControlLoopValueListener.h"
#include "driver/local/controller/common/LoopElements.h"
#include "driver/local/controller/controlloop/PIDAlgorithm.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <memory>

namespace Rvl::Benchmark {

namespace {

// values around the set point, which is their mean, that keep the control value within its limits and
// changing
constexpr double setPoint = 45.0;
constexpr std::array<double, 8> actualValues{44.0, 44.4, 44.1, 45.2, 46.6, 45.9, 44.8, 45.0};

CPIDParameters parameters()
{
    CPIDParameters result("p");
    result.setK(10.0);
    result.setTi(5.0);
    result.setTd(0.1);
    result.setDerivativeGainLimit(20.0);
    result.setMinU(-100.0);
    result.setMaxU(100.0);
    result.setInitialSetpoint(setPoint);
    result.setSampleTime(100);
    return result;
}

double nextActualValue(std::size_t& index)
{
    index = (index + 1) % actualValues.size();
    return actualValues[index];
}

SPlainAlgorithm plainAlgorithm()
{
    SPlainAlgorithm plain;
    plain.K = 10.0;
    plain.Ti = 5.0;
    plain.Td = 0.1;
    plain.derivativeGainLimit = 20.0;
    plain.minU = -100.0;
    plain.maxU = 100.0;
    plain.sampleTime_ms = 100;
    return plain;
}

SPlainLoop plainLoop()
{
    SPlainLoop plain;
    plain.K = 10.0;
    plain.Ti = 5.0;
    plain.Td = 0.1;
    plain.derivativeGainLimit = 20.0;
    plain.minU = -100.0;
    plain.maxU = 100.0;
    plain.setPoint = setPoint;
    plain.derivativeCoefficient = -(10.0 * 0.1 / 0.1);
    plain.a0 = 0.1 / 4.0;
    plain.b = 10.0 * 0.1 / 5.0;
    return plain;
}

std::size_t valueIndex = 0; // the actual value that inputs give

class CInput : public ILoopIn
{
public:
    double readInputValue() override { return actualValues[valueIndex]; }
};

class CFloorInput : public IFloorInput
{
public:
    double read() override { return actualValues[valueIndex]; }
};

class COutput : public ILoopOut
{
public:
    void writeOutputValue(double newValue) override { value = newValue; }
    double value = 0.0;
};

class CFloorOutput : public IFloorOutput
{
public:
    void write(double newValue) override { value = newValue; }
    double value = 0.0;
};

class CListener : public IControlLoopValueListener
{
public:
    void onActualValue(double newValue) override { value = newValue; }
    double value = 0.0;
};

class CFloorListener : public IFloorListener
{
public:
    void onActualValue(double newValue) override { value = newValue; }
    double value = 0.0;
};

struct SLoop
{
    std::shared_ptr<COutput> output = std::make_shared<COutput>();
    CListener listener;
    CPIDControlLoop loop;

    SLoop()
    {
        loop.setInput(std::make_shared<CInput>());
        loop.setOutput(output);
        loop.setParameters(parameters());
        loop.writeSetpoint(setPoint);
        loop.addActualValueListener(&listener);
        loop.setEnabled(true);
    }
};

void algorithmFloor(benchmark::State& state)
{
    SPlainAlgorithm plain = plainAlgorithm();
    std::size_t index = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(plain.calculate(nextActualValue(index), setPoint));
    }
}

void algorithm(benchmark::State& state)
{
    CPIDAlgorithm algorithm;
    algorithm.setParameters(parameters());
    std::size_t index = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(algorithm.calculate(nextActualValue(index), setPoint));
    }
}

void processFloor(benchmark::State& state)
{
    CFloorInput input;
    CFloorOutput output;
    CFloorListener listener;
    const auto loop = std::make_unique<CFloorLoop>(plainLoop(), input, output, listener);
    CFloorLoop* called = loop.get();
    benchmark::DoNotOptimize(called);
    for (auto _ : state) {
        nextActualValue(valueIndex);
        called->process();
        benchmark::DoNotOptimize(output.value);
    }
}

void process(benchmark::State& state)
{
    SLoop running;
    IControlLoop* called = &running.loop;
    benchmark::DoNotOptimize(called);
    for (auto _ : state) {
        nextActualValue(valueIndex);
        called->process();
        benchmark::DoNotOptimize(running.output->value);
    }
}

/// The floors must calculate what they stand for: the same values to the last bit.
bool floorsAreRight()
{
    SPlainAlgorithm plain = plainAlgorithm();
    CPIDAlgorithm algorithm;
    algorithm.setParameters(parameters());
    SLoop running;
    CFloorInput input;
    CFloorOutput output;
    CFloorListener listener;
    CFloorLoop floor(plainLoop(), input, output, listener);
    for (int step = 0; step < 1000; ++step) {
        nextActualValue(valueIndex);
        running.loop.process();
        floor.process();
        if (plain.calculate(actualValues[valueIndex], setPoint) !=
                algorithm.calculate(actualValues[valueIndex], setPoint) ||
            running.output->value != output.value || running.listener.value != listener.value) {
            return false;
        }
    }
    return true;
}

BENCHMARK(algorithmFloor)->Name("calculate/floor");
BENCHMARK(algorithm)->Name("calculate/rivlink");
BENCHMARK(processFloor)->Name("process/floor");
BENCHMARK(process)->Name("process/rivlink");

} // namespace

} // namespace Rvl::Benchmark

int main(int argc, char** argv)
{
    if (!Rvl::Benchmark::floorsAreRight()) {
        std::cerr << "a floor calculates something else\n";
        return EXIT_FAILURE;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return EXIT_FAILURE;
    }
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}
