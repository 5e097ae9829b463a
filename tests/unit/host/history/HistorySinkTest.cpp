#include "host/history/HistorySink.h"

#include "tests/support/ProgramRun.h"
#include "tests/unit/host/history/HistoryFixture.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

namespace Rvl::Test {

using namespace std::chrono_literals;

namespace {

/// What a store was given, and how it behaves; outlives the store.
struct SDisk
{
    std::mutex mutex;
    std::condition_variable changed;
    bool isFull = false;
    bool hangs = false;
    bool isHanging = false;
    std::vector<SHistoryController> controllers;
    std::vector<SHealth> healths;
    std::vector<SHistoryMoment> moments;
    std::vector<SHistoryEvent> events;
    std::size_t batches = 0;
    int attempts = 0;
    bool isClosed = false;

    template <class Action> auto locked(Action action)
    {
        const std::lock_guard lock(mutex);
        return action(*this);
    }
    void set(bool full, bool hanging)
    {
        const std::lock_guard lock(mutex);
        isFull = full;
        hangs = hanging;
        changed.notify_all();
    }
};

class CFakeStore : public IHistoryStore
{
public:
    explicit CFakeStore(std::shared_ptr<SDisk> disk) : disk_(std::move(disk)) {}
    ~CFakeStore() override
    {
        const std::lock_guard lock(disk_->mutex);
        disk_->isClosed = true;
    }
    void define(const std::vector<SHistoryController>& controllers,
                const std::vector<SHealth>& healths) override
    {
        const std::lock_guard lock(disk_->mutex);
        disk_->controllers = controllers;
        disk_->healths = healths;
    }
    void write(const SHistoryBatch& batch) override
    {
        std::unique_lock lock(disk_->mutex);
        ++disk_->attempts;
        disk_->isHanging = disk_->hangs;
        disk_->changed.wait(lock, [this] { return !disk_->hangs; });
        disk_->isHanging = false;
        if (disk_->isFull) {
            throw std::runtime_error("disk full");
        }
        ++disk_->batches;
        disk_->moments.insert(disk_->moments.end(), batch.moments.begin(), batch.moments.end());
        disk_->events.insert(disk_->events.end(), batch.events.begin(), batch.events.end());
    }

private:
    std::shared_ptr<SDisk> disk_;
};

class HistorySinkTest : public testing::Test
{
protected:
    std::unique_ptr<CHistorySink> makeSink(CHistorySink::SSettings settings)
    {
        return std::make_unique<CHistorySink>(std::make_unique<CFakeStore>(disk), settings, calls,
                                              [texts = texts](const std::string& text) {
                                                  const std::lock_guard lock(texts->mutex);
                                                  texts->all.push_back(text);
                                              });
    }
    static CHistorySink::SSettings fast()
    {
        CHistorySink::SSettings settings;
        settings.flush = 5ms;
        return settings;
    }
    static SSnapshot snapshot(int number, const std::string& health = "ok")
    {
        SSnapshot result;
        result.utc = noon + number * 100ms;
        result.controllers.push_back({"Vessel",
                                      "degC",
                                      1.0,
                                      static_cast<double>(number),
                                      3.0,
                                      true,
                                      false,
                                      {health == "ok" ? EHealth::Ok : EHealth::Fault, health},
                                      {}});
        return result;
    }
    std::vector<std::string> reports()
    {
        const std::lock_guard lock(texts->mutex);
        return texts->all;
    }
    std::size_t written()
    {
        return disk->locked([](SDisk& d) { return d.moments.size(); });
    }

    struct STexts
    {
        std::mutex mutex;
        std::vector<std::string> all;
    };
    std::shared_ptr<STexts> texts = std::make_shared<STexts>();
    std::shared_ptr<SDisk> disk = std::make_shared<SDisk>();
    CCallWatch calls{10ms};
};

using Texts = std::vector<std::string>;

} // namespace

TEST_F(HistorySinkTest, SnapshotsAreWrittenInBatchesAndAtTheEnd)
{
    CHistorySink::SSettings settings;
    settings.flush = 24h; // so that only the end writes
    const auto sink = makeSink(settings);
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(sink->take(snapshot(i)));
    }
    EXPECT_EQ(0U, written());
    EXPECT_TRUE(sink->close(noon + 10s, 60s));
    EXPECT_EQ(100U, written());
    EXPECT_EQ(1U, disk->batches);
    EXPECT_TRUE(disk->isClosed);
    EXPECT_EQ(7.0, disk->moments[7].states[0].actualValue);
    EXPECT_EQ(noon + 700ms, disk->moments[7].time);
    ASSERT_EQ(1U, disk->controllers.size());
    EXPECT_EQ("degC", disk->controllers[0].unit);
    EXPECT_FALSE(sink->hasLost());
    EXPECT_FALSE(sink->take(snapshot(0))) << "nothing is taken any more";
}

TEST_F(HistorySinkTest, SnapshotIsWrittenSoonWithoutTheNextOne)
{
    const auto sink = makeSink(fast());
    sink->take(snapshot(1));
    EXPECT_TRUE(eventually([&] { return written() == 1; }));
}

TEST_F(HistorySinkTest, RunCommandsAndChangesOfHealthAreEvents)
{
    const auto sink = makeSink(fast());
    sink->take(snapshot(0));
    sink->take(snapshot(1, "fault: Heater: offline"));
    sink->take(snapshot(2, "fault: Heater: offline"));
    sink->add({noon + 250ms, "page", "Vessel", "set point", "30", "40", ""});
    sink->take(snapshot(3));
    sink->close(noon + 1s, 60s);
    const std::vector<SHistoryEvent> expected{
        {noon, SHistoryEvent::Run, "", "the run has begun"},
        {noon + 100ms, SHistoryEvent::Health, "Vessel", "Vessel: fault: Heater: offline"},
        {noon + 250ms, SHistoryEvent::Command, "Vessel", "page: Vessel: set point 30 -> 40"},
        {noon + 300ms, SHistoryEvent::Health, "Vessel", "Vessel: ok"},
        {noon + 1s, SHistoryEvent::Run, "", "the run has ended"},
    };
    EXPECT_EQ(expected, disk->events);
    ASSERT_EQ(2U, disk->healths.size());
    EXPECT_EQ("fault: Heater: offline", disk->healths[disk->moments[2].states[0].health].text);
    EXPECT_EQ("ok", disk->healths[disk->moments[3].states[0].health].text);
}

TEST_F(HistorySinkTest, FullDiskIsReportedOnceAndTriedAgain)
{
    disk->set(true, false);
    const auto sink = makeSink(fast());
    for (int i = 0; i < 10; ++i) {
        sink->take(snapshot(i));
    }
    EXPECT_TRUE(eventually([&] { return disk->locked([](SDisk& d) { return d.attempts >= 3; }); }));
    EXPECT_EQ(Texts{"writing the history failed: disk full; control goes on, and it is tried again"},
              reports());
    disk->set(false, false);
    EXPECT_TRUE(eventually([&] { return written() == 10; }));
    EXPECT_TRUE(eventually([&] { return reports().size() == 2; }));
    EXPECT_EQ("the history is written again; nothing is missing", reports().at(1));
    EXPECT_TRUE(sink->close({}, 60s));
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(static_cast<double>(i), disk->moments[i].states[0].actualValue);
    }
    EXPECT_FALSE(sink->hasLost());
}

TEST_F(HistorySinkTest, DiskThatStaysFullDelaysTheEndByOneAttempt)
{
    disk->set(true, false);
    const auto sink = makeSink(fast());
    sink->take(snapshot(0));
    sink->take(snapshot(1));
    EXPECT_TRUE(sink->close({}, 60s));
    EXPECT_TRUE(sink->hasLost());
    EXPECT_EQ("the last 2 snapshots are missing in the history: disk full", reports().back());
}

TEST_F(HistorySinkTest, FullQueueDropsItsOldestAndReportsThatOnce)
{
    CHistorySink::SSettings settings = fast();
    settings.queue = 10;
    disk->set(false, true);
    const auto sink = makeSink(settings);
    sink->take(snapshot(0));
    ASSERT_TRUE(eventually([&] { return disk->locked([](SDisk& d) { return d.isHanging; }); }));
    for (int i = 1; i <= 50; ++i) {
        EXPECT_TRUE(sink->take(snapshot(i))) << "the observer is not held up";
    }
    EXPECT_EQ(Texts{"the history is written too slowly; the oldest snapshots are dropped"}, reports());
    EXPECT_TRUE(sink->hasLost());
    disk->set(false, false);
    EXPECT_TRUE(eventually([&] { return written() == 11; }));
    EXPECT_TRUE(eventually([&] { return reports().size() == 2; }));
    EXPECT_EQ("the history is written again; 40 snapshots are missing", reports().at(1));
    sink->close({}, 60s);
    EXPECT_EQ(0.0, disk->moments[0].states[0].actualValue);
    EXPECT_EQ(41.0, disk->moments[1].states[0].actualValue);
    EXPECT_EQ(50.0, disk->moments[10].states[0].actualValue);
    EXPECT_EQ((SHistoryEvent{noon + 4s, SHistoryEvent::Gap, "", "40 snapshots are missing"}),
              disk->events.back());
}

TEST_F(HistorySinkTest, HangingDiskIsAHungCallAndDelaysTheEndByTheLimitOnly)
{
    disk->set(false, true);
    auto sink = makeSink(fast());
    sink->take(snapshot(0));
    ASSERT_TRUE(eventually([&] { return calls.current() == "the history"; }));
    EXPECT_TRUE(eventually([&] {
        const auto hung = calls.report();
        return !hung.empty() && hung[0].find("hung call: the history has not returned for") == 0 &&
               hung[0].find("nothing is shown") == std::string::npos;
    }));
    EXPECT_FALSE(sink->close({}, 20ms));
    sink.reset(); // the thread goes on with what it needs
    disk->set(false, false);
    EXPECT_TRUE(eventually([&] { return disk->locked([](SDisk& d) { return d.isClosed; }); }));
    EXPECT_TRUE(eventually([&] { return calls.current().empty(); }));
}

TEST_F(HistorySinkTest, OnVirtualTimeTheCallerWrites)
{
    CHistorySink::SSettings settings;
    settings.threads = CHistorySink::Inline;
    const auto sink = makeSink(settings);
    for (int i = 0; i < 300; ++i) {
        sink->take(snapshot(i));
        EXPECT_EQ(0U, written());
    }
    sink->take(snapshot(300)); // 30 s
    EXPECT_EQ(301U, written());
    sink->take(snapshot(301));
    EXPECT_TRUE(sink->close({}, 0ms));
    EXPECT_EQ(302U, written());
    EXPECT_EQ(2U, disk->batches);
}

} // namespace Rvl::Test
