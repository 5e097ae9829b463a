#include "host/session/Observer.h"

#include "tests/support/VirtualTime.h"
#include "tests/unit/host/session/CountedController.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace Rvl::Test {

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

/// Notes when it gets snapshots.
class CNotingSink : public ISnapshotSink
{
public:
    explicit CNotingSink(int interval_ms, std::size_t most = 1000) : interval_(interval_ms), most_(most) {}
    milliseconds interval() const override { return interval_; }
    bool take(const SSnapshot& snapshot) override
    {
        times_ms.push_back(std::chrono::duration_cast<milliseconds>(snapshot.monotonic).count());
        if (onTake) {
            onTake();
        }
        return times_ms.size() < most_;
    }

    std::vector<milliseconds::rep> times_ms;
    std::function<void()> onTake;

private:
    const milliseconds interval_;
    const std::size_t most_;
};

/// An observed session of two controllers on virtual time.
class ObserverTest : public testing::Test
{
protected:
    ObserverTest() : session_(makeRig(), {&time_, {}, CDeadlineTasks::Inline}) { session_.start(); }

    SRig makeRig()
    {
        SRig rig;
        first_ = &addCounted(rig, "First");
        second_ = &addCounted(rig, "Second");
        return rig;
    }

    CVirtualTime time_;
    CCountedController* first_ = nullptr;
    CCountedController* second_ = nullptr;
    CSession session_;
    std::unique_ptr<IWorker> worker_ = time_.makeWorker("observer");
    std::string failure_;
    CObserver observer_{session_, time_, *worker_, [this](const std::exception_ptr& exception) {
                            try {
                                std::rethrow_exception(exception);
                            } catch (const std::exception& caught) {
                                failure_ = caught.what();
                            }
                        }};
};

} // namespace

TEST_F(ObserverTest, EachSinkHasItsInterval)
{
    CNotingSink fast(200);
    CNotingSink slow(500);
    observer_.add(fast);
    observer_.add(slow);
    observer_.start();
    time_.runFor(milliseconds(1000));
    EXPECT_THAT(fast.times_ms, ElementsAre(0, 200, 400, 600, 800, 1000));
    EXPECT_THAT(slow.times_ms, ElementsAre(0, 500, 1000));
}

TEST_F(ObserverTest, ReadingsDoNotGrowWithSinks)
{
    CNotingSink one(100);
    CNotingSink two(100);
    CNotingSink three(200);
    CNotingSink four(1000);
    for (CNotingSink* const sink : {&one, &two, &three, &four}) {
        observer_.add(*sink);
    }
    observer_.start();
    time_.runFor(milliseconds(950));
    EXPECT_EQ(10u, two.times_ms.size());
    EXPECT_EQ(5u, three.times_ms.size());
    for (const CCountedController* const controller : {first_, second_}) {
        EXPECT_EQ(10, controller->reads);
        EXPECT_EQ(10, controller->loopReads);
    }
}

TEST_F(ObserverTest, WithoutASinkThereIsAReadingPerSecond)
{
    EXPECT_FALSE(observer_.latest());
    observer_.start();
    time_.runFor(milliseconds(2500));
    EXPECT_EQ(3, first_->reads);
    ASSERT_TRUE(observer_.latest());
    EXPECT_EQ(std::chrono::seconds(2), observer_.latest()->monotonic);
    EXPECT_EQ("First", observer_.latest()->controllers.at(0).name);
    EXPECT_EQ(25.0, observer_.latest()->controllers.at(0).actualValue);
    EXPECT_EQ(100, observer_.latest()->controllers.at(0).loops.at(0).sampleTime_ms);
}

TEST_F(ObserverTest, SnapshotsThatWereMissedAreLeftOut)
{
    CNotingSink sink(100);
    observer_.add(sink);
    observer_.start();
    time_.runFor(milliseconds(150));
    sink.onTake = [&] {
        if (sink.times_ms.size() == 3) {
            time_.runFor(milliseconds(250)); // the sink takes long
        }
    };
    time_.runFor(milliseconds(500));
    EXPECT_THAT(sink.times_ms, ElementsAre(0, 100, 200, 500, 600));
}

TEST_F(ObserverTest, SinkThatTakesNoMoreGetsNoMore)
{
    CNotingSink sink(100, 2);
    observer_.add(sink);
    observer_.start();
    time_.runFor(milliseconds(500));
    EXPECT_THAT(sink.times_ms, ElementsAre(0, 100));
    EXPECT_EQ(2, first_->reads);
}

TEST_F(ObserverTest, StopEndsIt)
{
    CNotingSink sink(100);
    observer_.add(sink);
    observer_.start();
    time_.runFor(milliseconds(150));
    observer_.stop();
    time_.runFor(milliseconds(500));
    EXPECT_THAT(sink.times_ms, ElementsAre(0, 100));
}

TEST_F(ObserverTest, ChannelThatThrowsWhileItIsReadForASinkIsAFailure)
{
    CNotingSink sink(300);
    observer_.add(sink);
    second_->onRead = [] { throw std::runtime_error("no value to be had"); };
    observer_.start();
    time_.runFor(milliseconds(1000));
    EXPECT_EQ("no value to be had", failure_);
    EXPECT_THAT(sink.times_ms, ElementsAre());
    EXPECT_EQ(1, first_->reads) << "there are no snapshots afterwards";
}

TEST_F(ObserverTest, ChannelThatThrowsWhileItIsReadForNoSinkIsReadAgain)
{
    second_->onRead = [this] {
        second_->onRead = nullptr;
        throw std::runtime_error("no value to be had");
    };
    observer_.start();
    time_.runFor(milliseconds(1500));
    EXPECT_EQ("", failure_);
    EXPECT_TRUE(observer_.latest());
}

} // namespace Rvl::Test
