#include "driver/common/DeviceProperties.h"

#include "platform/rivlink_common/ConfigurationException.h"
#include "tests/support/DeviceTools.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

#include <locale>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

struct SCommaDecimals : std::numpunct<char>
{
    char do_decimal_point() const override { return ','; }
};

std::string refusal(const std::string& value)
{
    const auto node = nodeOf("<Device Power=\"" + value + "\"/>");
    return messageOf<CConfigurationException>([&] {
        CDeviceProperties("Device Bench", node).real("Power", 1.0, {0.5, 100.0, "W"});
    });
}

std::string integerRefusal(const std::string& value)
{
    const auto node = nodeOf("<Device Threads=\"" + value + "\"/>");
    return messageOf<CConfigurationException>([&] {
        CDeviceProperties("Device Bench", node).integer("Threads", 1, {1.0, 8.0, ""});
    });
}

} // namespace

TEST(DeviceProperties, ReadsWhatIsWrittenAndOtherwiseTheDefault)
{
    const auto node = nodeOf("<Device Power=\" 2.5 \" Threads=\"3\"/>");
    const CDeviceProperties properties("Device Bench", node);
    EXPECT_EQ(2.5, properties.real("Power", 1.0, {0.0, 10.0, "W"}));
    EXPECT_EQ(3, properties.integer("Threads", 1, {1.0, 8.0, ""}));
    EXPECT_EQ(1.0, properties.real("Other", 1.0, {0.0, 10.0, "W"}));
    EXPECT_EQ(7, properties.integer("Other", 7, {1.0, 8.0, ""}));
    EXPECT_FALSE(properties.optionalReal("Other", {0.0, 10.0, "W"}));
    EXPECT_FALSE(properties.optionalInteger("Other", {1.0, 8.0, ""}));
}

TEST(DeviceProperties, RangesIncludeTheirEnds)
{
    EXPECT_EQ("nothing was thrown", refusal("0.5"));
    EXPECT_EQ("nothing was thrown", refusal("1e2"));
    EXPECT_EQ("nothing was thrown", integerRefusal("1"));
    EXPECT_EQ("nothing was thrown", integerRefusal("8"));
}

TEST(DeviceProperties, RefusalNamesOwnerAttributeValueAndWhatIsAllowed)
{
    LogCapture log("ExceptionLogger");
    EXPECT_EQ("Device Bench: attribute Power is \"0.4\", but must be a number from 0.5 to 100 W",
              refusal("0.4"));
    EXPECT_THAT(log.lines(), testing::ElementsAre(
                                 "ERROR Exception CConfigurationException thrown: Device Bench: attribute "
                                 "Power is \"0.4\", but must be a number from 0.5 to 100 W"));
    EXPECT_EQ("Device Bench: attribute Power is \"100.5\", but must be a number from 0.5 to 100 W",
              refusal("100.5"));
    EXPECT_EQ("Device Bench: attribute Threads is \"9\", but must be a whole number from 1 to 8",
              integerRefusal("9"));
}

TEST(DeviceProperties, WhatIsNoNumberIsRefused)
{
    for (const char* value : {"", "ten", "1,5", "2 W", "0x10", "nan", "inf", "1e999", "--1"}) {
        EXPECT_EQ("Device Bench: attribute Power is \"" + std::string(value) +
                      "\", but must be a number from 0.5 to 100 W",
                  refusal(value));
    }
    for (const char* value : {"", "two", "1.5", "99999999999999999999"}) {
        EXPECT_EQ("Device Bench: attribute Threads is \"" + std::string(value) +
                      "\", but must be a whole number from 1 to 8",
                  integerRefusal(value));
    }
}

TEST(DeviceProperties, DecimalPointIsAPointInEveryLocale)
{
    const std::locale previous = std::locale::global(std::locale(std::locale(), new SCommaDecimals));
    const std::string accepted = refusal("1.5");
    const std::string refused = refusal("0.25");
    std::locale::global(previous);
    EXPECT_EQ("nothing was thrown", accepted);
    EXPECT_EQ("Device Bench: attribute Power is \"0.25\", but must be a number from 0.5 to 100 W", refused);
}
