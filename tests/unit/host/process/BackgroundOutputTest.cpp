#include "host/process/BackgroundOutput.h"

#include "host/process/LogSetup.h"
#include "tests/support/ProgramRun.h"

#include <gtest/gtest.h>
#include <log4cplus/loggingmacros.h>

#include <condition_variable>
#include <mutex>
#include <streambuf>

namespace Rvl::Test {

namespace {

using std::chrono::milliseconds;

std::chrono::steady_clock::time_point inTime(milliseconds time)
{
    return std::chrono::steady_clock::now() + time;
}

/// A reader that can be stopped.
class CReader : public std::streambuf
{
public:
    void setReading(bool reading)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        reading_ = reading;
        changed_.notify_all();
    }
    void setGone(bool gone)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        gone_ = gone;
    }
    std::string text() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return text_;
    }
    bool isWaitedFor() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return waitedFor_;
    }

protected:
    int_type overflow(int_type character) override
    {
        const char value = traits_type::to_char_type(character);
        return xsputn(&value, 1) == 1 ? character : traits_type::eof();
    }
    std::streamsize xsputn(const char* characters, std::streamsize count) override
    {
        std::unique_lock<std::mutex> lock(mutex_);
        waitedFor_ = true;
        changed_.wait(lock, [this] { return reading_; });
        waitedFor_ = false;
        if (gone_) {
            return 0;
        }
        text_.append(characters, static_cast<std::size_t>(count));
        return count;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::string text_;
    bool reading_ = true;
    bool waitedFor_ = false;
    bool gone_ = false;
};

class BackgroundOutputTest : public testing::Test
{
protected:
    ~BackgroundOutputTest() override
    {
        reader.setReading(true); // the output's thread is the stream's last user
        EXPECT_TRUE(output.waitUntilIdle(inTime(milliseconds(60000))));
    }
    /// Has the reader stop in the middle of the text "first".
    void stopReading()
    {
        reader.setReading(false);
        output.write("first\n");
        ASSERT_TRUE(eventually([this] { return reader.isWaitedFor(); }));
    }

    CReader reader;
    std::ostream stream{&reader};
    CBackgroundOutput output{stream};
};

} // namespace

TEST_F(BackgroundOutputTest, TextsArriveInTheirOrder)
{
    EXPECT_TRUE(output.isIdle());
    std::string expected;
    for (int i = 0; i < 100; ++i) {
        expected += std::to_string(i) + "\n";
        output.write(std::to_string(i) + "\n");
    }
    EXPECT_TRUE(output.waitUntilIdle(inTime(milliseconds(60000))));
    EXPECT_TRUE(output.isIdle());
    EXPECT_EQ(expected, reader.text());
}

TEST_F(BackgroundOutputTest, OutputThatIsNotReadBlocksNoOtherThread)
{
    stopReading();
    output.write("second\n");
    EXPECT_FALSE(output.isIdle());
    EXPECT_FALSE(output.waitUntilIdle(inTime(milliseconds(50))));
    EXPECT_EQ("", reader.text());
    reader.setReading(true);
    EXPECT_TRUE(output.waitUntilIdle(inTime(milliseconds(60000))));
    EXPECT_EQ("first\nsecond\n", reader.text());
}

TEST_F(BackgroundOutputTest, TextsBeyondTheLimitAreDroppedAndCounted)
{
    stopReading();
    const std::string large(512 * 1024, 'x');
    for (int i = 0; i < 5; ++i) {
        output.writeIfThereIsRoom(large);
    }
    output.write("never left out\n");
    reader.setReading(true);
    EXPECT_TRUE(output.waitUntilIdle(inTime(milliseconds(60000))));
    EXPECT_TRUE(reader.text() == "first\n" + large + large + large +
                                     "never left out\n(2 more left out here, as the output was not read)\n")
        << reader.text().size();
    output.writeIfThereIsRoom("last\n");
    EXPECT_TRUE(output.waitUntilIdle(inTime(milliseconds(60000))));
    EXPECT_EQ("last\n", reader.text().substr(reader.text().size() - 5)) << "and then it goes on as before";
}

TEST_F(BackgroundOutputTest, WritingContinuesAfterTheOutputWasClosed)
{
    reader.setGone(true);
    output.write("lost\n");
    EXPECT_TRUE(output.waitUntilIdle(inTime(milliseconds(60000))));
    reader.setGone(false);
    output.write("found\n");
    EXPECT_TRUE(output.waitUntilIdle(inTime(milliseconds(60000))));
    EXPECT_EQ("found\n", reader.text());
}

TEST(BackgroundOutputEnd, BusyOutputIsDetachedAtItsEnd)
{
    // for good, as its thread is
    static CReader reader;
    static std::ostream stream(&reader);
    reader.setReading(false);
    {
        CBackgroundOutput output(stream);
        output.write("first\n");
        EXPECT_TRUE(eventually([] { return reader.isWaitedFor(); }));
        output.write("second\n");
    }
    EXPECT_EQ("", reader.text()) << "the end has not waited for it";
    reader.setReading(true);
    EXPECT_TRUE(eventually([] { return reader.text() == "first\nsecond\n"; }));
}

TEST_F(BackgroundOutputTest, LogRecordsGoToItWhileRedirected)
{
    setUpLogging("warn");
    const log4cplus::Logger logger = log4cplus::Logger::getInstance("BackgroundOutputTest");
    {
        const CBackgroundLog log(output);
        stopReading();
        LOG4CPLUS_WARN(logger, "a record"); // would wait for ever otherwise
        reader.setReading(true);
        EXPECT_TRUE(output.waitUntilIdle(inTime(milliseconds(60000))));
    }
    const std::string records = reader.text();
    EXPECT_NE(std::string::npos, records.find(" WARN  [BackgroundOutputTest] a record\n")) << records;
    testing::internal::CaptureStderr();
    LOG4CPLUS_WARN(logger, "another");
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("another\n"));
    EXPECT_EQ(records, reader.text());
}

} // namespace Rvl::Test
