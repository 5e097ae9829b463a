#include "common/LoggedThrow.h"

#include "platform/rivlink_common/ConfigurationException.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

#include <stdexcept>

using Rvl::CConfigurationException;
using Rvl::Test::LogCapture;

namespace {

constexpr int throwingLine = __LINE__ + 4;

void throwsInside()
{
    RVL_THROW(std::runtime_error, std::string("what went ") + "wrong");
}

} // namespace

TEST(LoggedThrow, WritesOneErrorLineAndThrows)
{
    LogCapture log("ExceptionLogger");
    try {
        throwsInside();
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& exception) {
        EXPECT_STREQ("what went wrong", exception.what());
    }
    EXPECT_THAT(log.lines(),
                testing::ElementsAre("ERROR Exception std::runtime_error thrown: what went wrong"));
}

TEST(LoggedThrow, NamesTheClassAsWritten)
{
    LogCapture log("ExceptionLogger");
    EXPECT_THROW(RVL_THROW(CConfigurationException, "no such thing"), Rvl::CConfigurationException);
    EXPECT_THAT(log.lines(),
                testing::ElementsAre("ERROR Exception CConfigurationException thrown: no such thing"));
}

TEST(LoggedThrow, RecordNamesFileLineAndFunction)
{
    LogCapture log("ExceptionLogger");
    EXPECT_THROW(throwsInside(), std::runtime_error);
    const auto records = log.records();
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ("tests/unit/common/LoggedThrowTest.cpp", records[0].file) << "the path within the project";
    EXPECT_EQ(throwingLine, records[0].line);
    EXPECT_THAT(records[0].function, testing::HasSubstr("throwsInside"));
}

TEST(LoggedThrow, WritesNothingWhileTheLevelIsOff)
{
    LogCapture log("ExceptionLogger");
    log4cplus::Logger::getInstance("ExceptionLogger").setLogLevel(log4cplus::OFF_LOG_LEVEL);
    EXPECT_THROW(throwsInside(), std::runtime_error);
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}
