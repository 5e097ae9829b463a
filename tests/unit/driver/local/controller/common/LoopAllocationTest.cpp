#include "driver/local/controller/common/ControlLoopValueListener.h"
#include "driver/local/controller/common/TimedLoopProcessor.h"
#include "driver/local/controller/controlloop/ConditionalControlLoop.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "driver/local/controller/controlloop/PT1Element.h"
#include "driver/local/controller/controlloop/TwoLevelControlLoop.h"
#include "driver/local/controller/controlloopinput/AnalogChannelLoopIn.h"
#include "driver/local/controller/controlloopoutput/AnalogChannelLoopOut.h"
#include "driver/local/LocalControllerChannel.h"
#include "driver/local/LoopGraph.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "platform/rivlink_device/AnalogOutChannel.h"

#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <thread>

#if defined(_WIN32)
#include <malloc.h>
#endif

// Counts every allocation of the program, on every thread; that is why these tests have a program of their
// own. On Windows a library's allocations are its own affair and not counted.

namespace {

std::atomic<long> allocations{0};

void* counted(std::size_t size)
{
    ++allocations;
    if (void* memory = std::malloc(size != 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

void* countedAligned(std::size_t size, std::align_val_t alignment)
{
    ++allocations;
    const std::size_t step = static_cast<std::size_t>(alignment);
#if defined(_WIN32)
    void* const memory = _aligned_malloc(size, step);
#else
    void* const memory = std::aligned_alloc(step, (size + step - 1) / step * step);
#endif
    if (memory) {
        return memory;
    }
    throw std::bad_alloc();
}

void freeAligned(void* memory)
{
#if defined(_WIN32)
    _aligned_free(memory);
#else
    std::free(memory);
#endif
}

} // namespace

void* operator new(std::size_t size)
{
    return counted(size);
}
void* operator new[](std::size_t size)
{
    return counted(size);
}
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return countedAligned(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return countedAligned(size, alignment);
}
void operator delete(void* memory) noexcept
{
    std::free(memory);
}
void operator delete[](void* memory) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept
{
    freeAligned(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept
{
    freeAligned(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    freeAligned(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept
{
    freeAligned(memory);
}

using namespace Rvl;
using boost::property_tree::ptree;

namespace {

/// An input that gives another value each time, so that every step writes.
class RampIn : public ILoopIn
{
public:
    double readInputValue() override { return value += 0.25; }
    double value = 0.0;
};

class CountingOut : public ILoopOut
{
public:
    void writeOutputValue(double) override { ++writes; }
    long writes = 0;
};

class CountingListener : public IControlLoopValueListener
{
public:
    void onActualValue(double) override { ++steps; }
    /// Waits for them, without needing memory itself.
    bool stepsReach(long count) const
    {
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (steps < count && std::chrono::steady_clock::now() < giveUp) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return steps >= count;
    }
    std::atomic<long> steps{0};
};

std::shared_ptr<CPIDControlLoop> pidLoop(int sampleTime_ms)
{
    CPIDParameters parameters("P");
    parameters.setK(1);
    parameters.setTi(10);
    parameters.setTd(1);
    parameters.setDerivativeGainLimit(10);
    parameters.setMaxU(1e9);
    parameters.setMinU(-1e9);
    parameters.setSampleTime(sampleTime_ms);
    auto loop = std::make_shared<CPIDControlLoop>();
    loop->setParameters(parameters);
    return loop;
}

long allocationsOfSteps(IControlLoop& loop, int steps)
{
    loop.process();
    const long before = allocations;
    for (int i = 0; i < steps; ++i) {
        loop.process();
    }
    return allocations - before;
}

class Output : public CAnalogOutChannel
{
public:
    using CAnalogOutChannel::CAnalogOutChannel;
    std::atomic<double> driven{0.0};

protected:
    void driveOutput(double value) override { driven = value; }
};

} // namespace

TEST(LoopAllocation, CounterSeesAllocations)
{
    const long before = allocations;
    const auto memory = std::make_unique<volatile int>(1);
    EXPECT_EQ(*memory, 1);
    EXPECT_EQ(allocations - before, 1);
}

TEST(LoopAllocation, PIDStepNeedsNoMemory)
{
    auto loop = pidLoop(20);
    auto output = std::make_shared<CountingOut>();
    CountingListener listeners[3];
    for (CountingListener& listener : listeners) {
        loop->addActualValueListener(&listener);
    }
    loop->setInput(std::make_shared<RampIn>());
    loop->setOutput(output);
    loop->setEnabled(true);
    EXPECT_EQ(allocationsOfSteps(*loop, 1000), 0);
    EXPECT_GE(output->writes, 1000);
    EXPECT_EQ(listeners[2].steps, 1001);
}

TEST(LoopAllocation, StepsOfTheOtherLoopsNeedNoMemory)
{
    ptree tree;
    tree.put("Parameters.<xmlattr>.SampleTime_ms", "20");
    tree.put("Parameters.<xmlattr>.Setpoint", "10");
    tree.put("Parameters.<xmlattr>.LowerThreshold", "-1000000");
    tree.put("Parameters.<xmlattr>.UpperThreshold", "-1000000");
    tree.put("Parameters.<xmlattr>.U_Up", "1");
    tree.put("Parameters.<xmlattr>.U_Down", "0");
    tree.put("Parameters.<xmlattr>.U_Disabled", "0");
    tree.put("Parameters.<xmlattr>.UpperLimit", "50");
    CTwoLevelControlLoop twoLevel(tree);
    CConditionalControlLoop conditional(tree);
    for (IControlLoop* loop :
         {static_cast<IControlLoop*>(&twoLevel), static_cast<IControlLoop*>(&conditional)}) {
        auto output = std::make_shared<CountingOut>();
        loop->setInput(std::make_shared<RampIn>());
        loop->setOutput(output);
        loop->setEnabled(true);
        EXPECT_EQ(allocationsOfSteps(*loop, 1000), 0);
        EXPECT_GE(output->writes, 2);
    }
}

TEST(LoopAllocation, CascadeThroughALagNeedsNoMemory)
{
    auto lag = std::make_shared<CPT1Element>(ptree());
    auto inner = pidLoop(20);
    inner->setInput(lag);
    inner->setOutput(lag);
    auto outer = pidLoop(20);
    outer->setInput(std::make_shared<RampIn>());
    outer->setOutput(inner);
    outer->setEnabled(true);
    ASSERT_TRUE(inner->isEnabled());
    EXPECT_EQ(allocationsOfSteps(*outer, 1000), 0);
    EXPECT_EQ(allocationsOfSteps(*inner, 1000), 0);
}

TEST(LoopAllocation, PeriodOfTheTimedProcessorNeedsNoMemory)
{
    CountingListener listener;
    CTimedLoopProcessor processor;
    for (int sampleTime_ms : {20, 21, 30}) {
        auto loop = pidLoop(sampleTime_ms);
        loop->setInput(std::make_shared<RampIn>());
        loop->setOutput(std::make_shared<CountingOut>());
        loop->setEnabled(true);
        loop->addActualValueListener(&listener);
        processor.addControlLoop(loop);
    }
    processor.runControlLoops();
    ASSERT_TRUE(listener.stepsReach(20));
    const long before = allocations;
    ASSERT_TRUE(listener.stepsReach(120));
    const long during = allocations - before;
    processor.stopControlLoops();
    EXPECT_EQ(during, 0) << "the event loop uses the memory of one wait for the next";
}

TEST(LoopAllocation, PeriodOfAnObservedChannelOverDevicesNeedsNoMemory)
{
    class Sensor : public CAnalogInChannel
    {
    public:
        using CAnalogInChannel::CAnalogInChannel;
        using CAnalogInChannel::publishValue;
    };
    Sensor sensor("sensor");
    Output actuator("actuator");
    actuator.setRange(-1e9, 1e9, 0.0);
    sensor.publishValue(5.0);
    ptree input;
    input.put("Channel", "sensor");
    ptree output;
    output.put("Channel", "actuator");
    CountingListener listener;
    auto loop = pidLoop(20);
    loop->setInput(std::make_shared<CAnalogChannelLoopIn>(input));
    loop->setOutput(std::make_shared<CAnalogChannelLoopOut>(output));
    loop->writeSetpoint(10.0);
    loop->addActualValueListener(&listener);
    CLocalControllerChannel channel("controller", loop);
    const CLoopGraph graph(channel);
    channel.setEnabled(true);
    ASSERT_TRUE(listener.stepsReach(10));
    const double driven = actuator.driven;
    const long before = allocations;
    ASSERT_TRUE(listener.stepsReach(40));
    const long during = allocations - before;
    channel.stop();
    EXPECT_EQ(during, 0);
    EXPECT_NE(actuator.driven, driven) << "each step wrote";
}

TEST(LoopAllocation, OutputThatIsHandedNoNumberAgainAndAgainNeedsNoMemory)
{
    Output actuator("actuator");
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    actuator.safeWriteOutput(notANumber);
    const long before = allocations;
    for (int step = 0; step < 10; ++step) {
        actuator.safeWriteOutput(notANumber);
    }
    const long during = allocations - before;
    EXPECT_EQ(during, 0);
    EXPECT_TRUE(actuator.isFaulty());
}
