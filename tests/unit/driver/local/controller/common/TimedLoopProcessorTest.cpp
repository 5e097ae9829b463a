#include "driver/local/controller/common/TimedLoopProcessor.h"

#include "driver/local/controller/common/ControlLoopOperationPrivate.h"
#include "driver/local/controller/common/TimedLoopProcessorFactory.h"
#include "tests/support/FakeLoopElements.h"
#include "tests/support/LogCapture.h"
#include "tests/support/VirtualSlot.h"

#include <boost/asio/error.hpp>
#include <boost/thread/exceptions.hpp>
#include <boost/thread/thread.hpp>
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#if defined(_WIN32)
#include <windows.h>

#include <tlhelp32.h>
#endif

using namespace Rvl;
using namespace Rvl::Test;
using boost::system::error_code;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A loop that counts its steps, in whatever state it is.
class SteppedLoop : public FakeControlLoop
{
public:
    using FakeControlLoop::FakeControlLoop;
    void process() override
    {
        ++steps;
        if (onStep) {
            onStep();
        }
    }
    std::atomic<int> steps{0};
    std::function<void()> onStep;
};

/// A loop whose steps take until they may go on.
class HeldLoop : public SteppedLoop
{
public:
    HeldLoop() : SteppedLoop(1) {}
    void process() override
    {
        SteppedLoop::process();
        inAStep = true;
        while (!mayGoOn) {
            std::this_thread::yield();
        }
    }
    void waitForAStep() const
    {
        while (!inAStep) {
            std::this_thread::yield();
        }
    }
    std::atomic<bool> inAStep{false};
    std::atomic<bool> mayGoOn{false};
};

/// A loop whose sample time waits for a lock.
class LockedLoop : public SteppedLoop
{
public:
    using SteppedLoop::SteppedLoop;
    int sampleTime_ms() const override
    {
        wasRead = true;
        const std::lock_guard<std::mutex> guard(lock);
        return 1;
    }
    mutable std::atomic<bool> wasRead{false};
    mutable std::mutex lock;
};

/// Compilers differ in the blanks with which they spell a function.
std::string withoutBlanks(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    return text;
}

/// The threads of this program.
std::set<std::string> threads()
{
    std::set<std::string> ids;
#if defined(_WIN32)
    const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Thread32First(all, &entry); more; more = Thread32Next(all, &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId()) {
            ids.insert(std::to_string(entry.th32ThreadID));
        }
    }
    CloseHandle(all);
#else
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        ids.insert(entry.path().filename().string());
    }
#endif
    return ids;
}

/// The operation's handlers, driven by hand.
class TimedLoopProcessorOperation : public testing::Test
{
protected:
    boost::asio::io_context eventLoop;
    std::shared_ptr<SteppedLoop> loop = std::make_shared<SteppedLoop>(1);
};

} // namespace

TEST_F(TimedLoopProcessorOperation, PeriodicHandlerCalculatesAndArmsAgain)
{
    ControlLoopOperationPrivate operation(loop, eventLoop);
    EXPECT_FALSE(operation.cancelled);
    EXPECT_TRUE(operation.timer.expires_at().is_not_a_date_time());
    operation.calculateControlLoop(error_code());
    EXPECT_EQ(loop->steps, 1);
    EXPECT_EQ(eventLoop.run_one(), 1u);
    EXPECT_EQ(loop->steps, 2);
    operation.cancelled = true;
    EXPECT_EQ(eventLoop.run(), 1u) << "one last expiry, then no work is left";
    EXPECT_EQ(loop->steps, 2);
}

TEST_F(TimedLoopProcessorOperation, OneShotHandlerCalculatesOnce)
{
    ControlLoopOperationPrivate operation(loop, eventLoop);
    operation.calculateControlLoopOnce(error_code());
    EXPECT_EQ(loop->steps, 1);
    EXPECT_EQ(eventLoop.run(), 0u);
}

TEST_F(TimedLoopProcessorOperation, ErrorIsLoggedUnderTheLineOfThePeriodicHandlerAndThrown)
{
    ControlLoopOperationPrivate operation(loop, eventLoop);
    LogCapture log("ExceptionLogger");
    const error_code error(boost::asio::error::operation_aborted);
    try {
        operation.calculateControlLoop(error);
        FAIL() << "no exception";
    } catch (const std::runtime_error& thrown) {
        EXPECT_EQ(thrown.what(), error.message());
    }
    EXPECT_THAT(log.lines(), ElementsAre("ERROR Exception std::runtime_error thrown: " + error.message()));
    ASSERT_EQ(log.records().size(), 1u);
    EXPECT_EQ(log.records()[0].file, "driver/local/controller/common/TimedLoopProcessor.cpp");
    EXPECT_EQ(log.records()[0].line, 185);
    EXPECT_EQ(withoutBlanks(log.records()[0].function),
              "voidRvl::ControlLoopOperationPrivate::calculateControlLoop(constboost::system::error_code&)");
    EXPECT_EQ(loop->steps, 0);
    EXPECT_EQ(eventLoop.run(), 0u) << "not armed again";
}

TEST_F(TimedLoopProcessorOperation, ErrorIsLoggedUnderTheLineOfTheOneShotHandlerAndThrown)
{
    ControlLoopOperationPrivate operation(loop, eventLoop);
    LogCapture log("ExceptionLogger");
    const error_code error(boost::asio::error::no_memory);
    try {
        operation.calculateControlLoopOnce(error);
        FAIL() << "no exception";
    } catch (const std::runtime_error& thrown) {
        EXPECT_EQ(thrown.what(), error.message());
    }
    EXPECT_THAT(log.lines(), ElementsAre("ERROR Exception std::runtime_error thrown: " + error.message()));
    ASSERT_EQ(log.records().size(), 1u);
    EXPECT_EQ(log.records()[0].file, "driver/local/controller/common/TimedLoopProcessor.cpp");
    EXPECT_EQ(log.records()[0].line, 202);
    EXPECT_EQ(
        withoutBlanks(log.records()[0].function),
        "voidRvl::ControlLoopOperationPrivate::calculateControlLoopOnce(constboost::system::error_code&)");
    EXPECT_EQ(loop->steps, 0);
}

TEST_F(TimedLoopProcessorOperation, CancelledHandlersIgnoreErrorsToo)
{
    ControlLoopOperationPrivate operation(loop, eventLoop);
    operation.cancelled = true;
    LogCapture log("ExceptionLogger");
    operation.calculateControlLoop(boost::asio::error::operation_aborted);
    operation.calculateControlLoopOnce(boost::asio::error::operation_aborted);
    operation.calculateControlLoop(error_code());
    operation.calculateControlLoopOnce(error_code());
    EXPECT_EQ(loop->steps, 0);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(eventLoop.run(), 0u);
}

TEST_F(TimedLoopProcessorOperation, ExceptionOfTheLoopPasses)
{
    ControlLoopOperationPrivate operation(loop, eventLoop);
    LogCapture log("ExceptionLogger");
    loop->onStep = [] { throw std::logic_error("step"); };
    EXPECT_THROW(operation.calculateControlLoop(error_code()), std::logic_error);
    EXPECT_THROW(operation.calculateControlLoopOnce(error_code()), std::logic_error);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(eventLoop.run(), 0u);
}

TEST_F(TimedLoopProcessorOperation, CancelLeavesTheTimerToExpire)
{
    CControlLoopOperation operation(loop, eventLoop);
    operation.execute();
    operation.cancel();
    EXPECT_EQ(eventLoop.run(), 1u);
    EXPECT_EQ(loop->steps, 0);
}

TEST_F(TimedLoopProcessorOperation, ExecuteClearsTheCancelledFlag)
{
    CControlLoopOperation operation(loop, eventLoop);
    operation.cancel();
    operation.execute();
    loop->onStep = [&] { operation.cancel(); };
    eventLoop.run();
    EXPECT_EQ(loop->steps, 1);
}

TEST_F(TimedLoopProcessorOperation, ExecuteOnceWithoutAnExpiryCalculatesAtOnce)
{
    CControlLoopOperation operation(loop, eventLoop);
    operation.cancel();
    operation.executeOnce();
    EXPECT_EQ(loop->steps, 0) << "not before the event loop runs";
    EXPECT_EQ(eventLoop.run(), 1u);
    EXPECT_EQ(loop->steps, 1);
}

TEST_F(TimedLoopProcessorOperation, ExecuteOnceKeepsTheExpiryThatTheTimerHas)
{
    CControlLoopOperation operation(loop, eventLoop);
    operation.execute();
    eventLoop.run_one();      // armed again with 1 ms
    loop->sampleTime = 60000; // what the periodic one queues anew is far ahead
    operation.executeOnce();
    loop->onStep = [&] {
        if (loop->steps == 3) {
            eventLoop.stop();
        }
    };
    eventLoop.run_for(std::chrono::seconds(20)); // both waits for that expiry
    EXPECT_EQ(loop->steps, 3);
}

TEST_F(TimedLoopProcessorOperation, LaterExecuteAbortsTheFormerWait)
{
    CControlLoopOperation operation(loop, eventLoop);
    operation.execute();
    operation.execute();
    LogCapture log("ExceptionLogger");
    EXPECT_THROW(eventLoop.run(), std::runtime_error) << "an aborted wait is an error like any other";
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(TimedLoopProcessorOperation, DestructionReleasesTheLoopAndRunsNothing)
{
    loop->sampleTime = 0; // both waits are due at once: whatever lets the event loop run would calculate
    loop->onStep = [&] { loop->sampleTime = 1000; };
    {
        boost::asio::io_context shortLived;
        {
            CControlLoopOperation operation(loop, shortLived);
            EXPECT_EQ(loop.use_count(), 2);
            operation.executeOnce();
            operation.execute();
        }
        EXPECT_EQ(loop.use_count(), 1);
    }
    EXPECT_EQ(loop->steps, 0);
}

TEST_F(TimedLoopProcessorOperation, HandlersAreIndependentOfTheSampleTimesSign)
{
    loop->sampleTime = -1000000;
    CControlLoopOperation operation(loop, eventLoop);
    loop->onStep = [&] {
        if (loop->steps == 100) {
            operation.cancel();
        }
    };
    operation.execute();
    eventLoop.run();
    EXPECT_EQ(loop->steps, 100) << "an expiry in the past is due at once";
}

TEST_F(TimedLoopProcessorOperation, TimerIsOfTheSystemsUTCClock)
{
    static_assert(std::is_same_v<decltype(ControlLoopOperationPrivate::timer), boost::asio::deadline_timer>);
    using Clock = boost::posix_time::microsec_clock;
    loop->sampleTime = 1000;
    const boost::posix_time::milliseconds sampleTime(1000);
    ControlLoopOperationPrivate operation(loop, eventLoop);
    const boost::posix_time::ptime before = Clock::universal_time();
    operation.armPeriodically();
    const boost::posix_time::ptime after = Clock::universal_time();
    EXPECT_GE(operation.timer.expires_at(), before + sampleTime);
    EXPECT_LE(operation.timer.expires_at(), after + sampleTime);
}

TEST_F(TimedLoopProcessorOperation, LongestSampleTimeDoesNotOverflow)
{
    loop->sampleTime = std::numeric_limits<int>::max();
    ControlLoopOperationPrivate operation(loop, eventLoop);
    const boost::posix_time::ptime before = boost::posix_time::microsec_clock::universal_time();
    operation.armPeriodically();
    const boost::posix_time::time_duration due = operation.timer.expires_at() - before;
    EXPECT_GE(due.total_milliseconds(), std::numeric_limits<int>::max());
    EXPECT_LT(due.total_milliseconds(), std::numeric_limits<int>::max() + 60000LL);
}

TEST(TimedLoopProcessor, OperationsStandInTheirSlots)
{
    EXPECT_EQ(virtualSlot(&ILoopProcessor::addControlLoop), 2u); // after the destructor's two
    EXPECT_EQ(virtualSlot(&ILoopProcessor::runControlLoops), 3u);
    EXPECT_EQ(virtualSlot(&ILoopProcessor::stopControlLoops), 4u);
    EXPECT_EQ(virtualSlot(&ILoopProcessor::processorActive), 5u);
}

TEST(TimedLoopProcessor, IsIdleAtFirstAndStoppingItDoesNothing)
{
    CTimedLoopProcessor processor;
    EXPECT_FALSE(processor.processorActive());
    processor.stopControlLoops();
    EXPECT_FALSE(processor.processorActive());
}

TEST(TimedLoopProcessor, WithoutLoopsItIsActiveUntilStopped)
{
    CTimedLoopProcessor processor;
    for (int i = 0; i < 3; ++i) {
        processor.runControlLoops();
        EXPECT_TRUE(processor.processorActive());
        processor.runControlLoops();
        EXPECT_TRUE(processor.processorActive());
        processor.stopControlLoops();
        EXPECT_FALSE(processor.processorActive());
    }
}

TEST(TimedLoopProcessor, StaysActiveAfterItsThreadRanOutOfWork)
{
    CTimedLoopProcessor processor;
    const std::set<std::string> before = threads();
    processor.runControlLoops();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    const auto workerEnded = [&] {
        const std::set<std::string> now = threads();
        return std::includes(before.begin(), before.end(), now.begin(), now.end());
    };
    while (!workerEnded()) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        std::this_thread::yield();
    }
    EXPECT_TRUE(processor.processorActive());
    processor.stopControlLoops();
    EXPECT_FALSE(processor.processorActive());
}

TEST(TimedLoopProcessor, SharesTheLoopsAndReleasesThem)
{
    auto loop = std::make_shared<SteppedLoop>();
    {
        CTimedLoopProcessor processor;
        processor.addControlLoop(loop);
        EXPECT_EQ(loop.use_count(), 2);
    }
    EXPECT_EQ(loop.use_count(), 1);
}

TEST(TimedLoopProcessorFactory, BuildsIdleProcessorsUnderItsOwnName)
{
    CTimedLoopProcessorFactory factory;
    EXPECT_EQ(factory.getTypeName(), "Rvl::CTimedControlLoopProcessor");
    const std::unique_ptr<ILoopProcessor> processor(factory.createObject());
    EXPECT_NE(dynamic_cast<CTimedLoopProcessor*>(processor.get()), nullptr);
    EXPECT_FALSE(processor->processorActive());
}

TEST(TimedLoopProcessor, SecondStopWaitsForTheEndOfTheFirst)
{
    CTimedLoopProcessor processor;
    const auto loop = std::make_shared<HeldLoop>();
    processor.addControlLoop(loop);
    processor.runControlLoops();
    loop->waitForAStep();
    std::atomic<int> stopped{0};
    std::atomic<int> activeAfterwards{0};
    const auto stop = [&] {
        processor.stopControlLoops();
        activeAfterwards += processor.processorActive() ? 1 : 0;
        ++stopped;
    };
    std::thread first(stop);
    std::thread second(stop);
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // both wait by now, most probably
    processor.runControlLoops();                                // is active still, so nothing happens
    EXPECT_TRUE(processor.processorActive());
    EXPECT_EQ(stopped, 0);
    loop->mayGoOn = true;
    first.join();
    second.join();
    EXPECT_EQ(activeAfterwards, 0);
    EXPECT_EQ(loop->steps, 1);
}

TEST(TimedLoopProcessor, InterruptedStopIsLeftToTheNextOne)
{
    CTimedLoopProcessor processor;
    const auto loop = std::make_shared<HeldLoop>();
    processor.addControlLoop(loop);
    processor.runControlLoops();
    loop->waitForAStep();
    bool interrupted = false;
    boost::thread stopping([&] {
        try {
            processor.stopControlLoops();
        } catch (const boost::thread_interrupted&) {
            interrupted = true;
        }
    });
    stopping.interrupt();
    stopping.join();
    EXPECT_TRUE(interrupted);
    EXPECT_TRUE(processor.processorActive());
    loop->mayGoOn = true;
    processor.stopControlLoops();
    EXPECT_FALSE(processor.processorActive());
}

TEST(TimedLoopProcessor, StartWaitsForALoopsLockAndAStopForTheStartButNothingElseDoes)
{
    CTimedLoopProcessor processor;
    const auto loop = std::make_shared<LockedLoop>();
    processor.addControlLoop(loop);
    std::unique_lock<std::mutex> held(loop->lock);
    std::thread starter([&] { processor.runControlLoops(); });
    while (!loop->wasRead) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(processor.processorActive());
    processor.runControlLoops();
    std::thread stopper([&] { processor.stopControlLoops(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // it waits by now, most probably
    held.unlock();
    starter.join();
    stopper.join();
    EXPECT_FALSE(processor.processorActive()) << "the stop came to nothing, as nothing was started yet";
}

TEST(TimedLoopProcessor, StepFindsTheNumberOfItsRun)
{
    CTimedLoopProcessor processor;
    const auto loop = std::make_shared<SteppedLoop>(0);
    std::atomic<std::uint64_t> found{0};
    loop->onStep = [&] { found = processor.runs(); };
    processor.addControlLoop(loop);
    for (std::uint64_t run = 1; run <= 20; ++run) {
        processor.runControlLoops();
        while (found == 0) {
            std::this_thread::yield();
        }
        EXPECT_EQ(found, run);
        processor.runControlLoops();
        EXPECT_EQ(processor.runs(), run) << "it was running";
        processor.stopControlLoops();
        found = 0;
    }
}

TEST(TimedLoopProcessor, InterruptionDoesNotKeepItFromItsEnd)
{
    std::atomic<bool> ended{false};
    boost::thread owner([&] {
        {
            CTimedLoopProcessor processor;
            processor.addControlLoop(std::make_shared<SteppedLoop>(1));
            processor.runControlLoops();
            while (!boost::this_thread::interruption_requested()) {
                std::this_thread::yield();
            }
        }
        ended = true;
    });
    owner.interrupt();
    owner.join();
    EXPECT_TRUE(ended);
}

TEST(TimedLoopProcessor, StepMayReadTheStateWhileAnotherThreadWaitsForTheEnd)
{
    const auto loop = std::make_shared<SteppedLoop>(1);
    CTimedLoopProcessor processor;
    std::atomic<bool> inAStep{false};
    bool wasActive = false;
    bool refused = false;
    loop->onStep = [&] {
        inAStep = true;
        std::this_thread::sleep_for(
            std::chrono::milliseconds(50)); // the other one waits by now, most probably
        wasActive = processor.processorActive();
        processor.runControlLoops();
        try {
            processor.stopControlLoops();
        } catch (const boost::thread_resource_error&) {
            refused = true;
        }
    };
    processor.addControlLoop(loop);
    processor.runControlLoops();
    while (!inAStep) {
        std::this_thread::yield();
    }
    processor.stopControlLoops();
    EXPECT_TRUE(wasActive);
    EXPECT_TRUE(refused);
    EXPECT_EQ(loop->steps, 1);
    EXPECT_FALSE(processor.processorActive());
}

TEST(TimedLoopProcessor, AnyThreadMayStartAndStopItAtAnyTime)
{
    CTimedLoopProcessor processor;
    const auto loop = std::make_shared<SteppedLoop>(1);
    std::atomic<int> steps{0};
    loop->onStep = [&] { ++steps; };
    processor.addControlLoop(loop);
    std::vector<std::thread> users;
    for (int user = 0; user < 4; ++user) {
        users.emplace_back([&, user] {
            for (int turn = 0; turn < 100; ++turn) {
                if ((turn + user) % 2 == 0) {
                    processor.runControlLoops();
                } else {
                    processor.stopControlLoops();
                }
                processor.processorActive();
            }
        });
    }
    for (std::thread& user : users) {
        user.join();
    }
    processor.stopControlLoops();
    EXPECT_FALSE(processor.processorActive());
    const int before = steps;
    processor.runControlLoops();
    while (steps == before) { // what was given up is calculated again after a new start
        std::this_thread::yield();
    }
    processor.stopControlLoops();
}
