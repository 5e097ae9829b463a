#include "host/configuration/LoopCheck.h"

#include "host/configuration/ConfigurationCheck.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace Rvl::Test {

namespace {

/// What stands in a configuration of the real plug-ins, and what the check says about it.
struct SLoopSetUp
{
    std::string attributes = "";
    std::string scaling = "";
    std::string heater = "<Range Minimum='0' Maximum='100'/>";
    std::string loop = pid("K='1' Ti='5' Td='0' MinU='0' MaxU='100' DisabledU='0' SampleTime_ms='100'");
    std::string input = "<Input><Type>Rvl::CAnalogChannelLoopIn</Type><Channel>T</Channel></Input>";
    std::string output = analog();
    std::string more;

    static std::string pid(const std::string& keys, const std::string& limit = "0")
    {
        return "<Type>Rvl::CPIDControlLoop</Type><Enabled>true</Enabled>\n<PIDParam Name='p' Setpoint='0' "
               "DerivativeGainLimit='" +
               limit + "' " + keys + "/>";
    }
    static std::string twoLevel(const std::string& keys)
    {
        return "<Type>Rvl::CTwoLevelControlLoop</Type>\n<Parameters SampleTime_ms='100' Setpoint='0' " +
               keys + "/>";
    }
    static std::string conditional(const std::string& keys)
    {
        return "<Type>Rvl::CConditionalControlLoop</Type>\n<Parameters SampleTime_ms='100' " + keys + "/>";
    }
    static std::string analog()
    {
        return "<Output><Type>Rvl::CAnalogChannelLoopOut</Type><Channel>Heater</Channel></Output>";
    }
    static std::string pwm()
    {
        return "<Output><Type>Rvl::CPWMLoopOut</Type><Channel>Duty</Channel></Output>";
    }
    static std::string onOff()
    {
        return "<Output><Type>Rvl::CDigitalChannelLoopOut</Type><Channel>Duty</Channel></Output>";
    }
    static std::string controller(const std::string& name, const std::string& attributes,
                                  const std::string& content, const std::string& extra = "",
                                  const std::string& type = "Rvl::CLocalControllerChannel")
    {
        return "<Channel Name='" + name + "' Type='" + type + "' " + attributes + ">" + extra +
               "<ControlLoop>" + content + "</ControlLoop></Channel>";
    }

    std::string text() const
    {
        const auto channel = [](const char* name, const char* type, const char* device, const char* signal,
                                const std::string& extra) {
            return "<Channel Name='" + std::string(name) + "' Type='Rvl::CSimulated" + type +
                   "Channel'><Device>" + device + "</Device><Signal>" + signal + "</Signal>" + extra +
                   "</Channel>";
        };
        return "<Configuration><Plugins><Plugin Name='rivlink_local'/></Plugins><Devices>"
               "<Device Name='B' Type='Rvl::CThermalBench'/><Device Name='H' Type='Rvl::CChipHeater'/>"
               "<Device Name='P' Type='Rvl::CPeltierBench'/>"
               "<Device Name='V' Type='Rvl::CPumpedVessel' MaximumFlow='50'/></Devices><Channels>" +
               channel("T", "AnalogIn", "B", "JacketTemperature", "") +
               channel("Heater", "AnalogOut", "B", "Heater", heater) +
               channel("Duty", "DigitalOut", "H", "Duty", "") +
               channel("Enable", "DigitalOut", "H", "Enable", "") +
               channel("Direction", "DigitalPort", "P", "Direction", "") +
               channel("Current", "AnalogOut", "P", "Magnitude", "") + "\n" +
               controller("A", attributes, loop + input + output, scaling) + "\n" + more +
               "</Channels></Configuration>";
    }

    std::string checked(bool strict = false) const
    {
        const std::filesystem::path root =
            std::filesystem::path(RIVLINK_HOST_TEST_FOLDER).parent_path().parent_path().parent_path();
        CTypeCatalogue catalogue;
        catalogue.addFile(root / "platform" / "rivlink_platform.types.json");
        catalogue.addFile(root / "driver" / "local" / "rivlink_local.types.json");
        catalogue.addFile(root / "driver" / "simulated" / "rivlink_simulated.types.json");
        catalogue.resolve();
        const CConfiguration configuration = CConfiguration::parse(text(), "c");
        CFaultList faults;
        CConfigurationCheck(configuration, catalogue, true, {}, faults).run();
        return faults.report("c", strict);
    }
};

const std::string pidPath = "/Configuration/Channels/Channel[7]/ControlLoop/PIDParam";
const std::string twoLevelPath = "/Configuration/Channels/Channel[7]/ControlLoop/Parameters";

std::string withTimes(const std::string& times)
{
    SLoopSetUp setUp;
    setUp.loop = SLoopSetUp::pid("K='1' Td='0' MinU='0' MaxU='100' DisabledU='0' " + times);
    return setUp.checked();
}

} // namespace

TEST(LoopCheckTest, SoundLoopHasNeitherFaultsNorWarnings)
{
    EXPECT_EQ(SLoopSetUp().checked(), "");
}

TEST(LoopCheckTest, UnstableAntiWindupIsAFault)
{
    EXPECT_EQ(
        withTimes("Ti='0.01' SampleTime_ms='100'"),
        "c:3: " + pidPath +
            "[@SampleTime_ms]: a sample time of 100 ms is above twice the tracking time of 0.008 s, which "
            "is 0.8 times the integral time: the anti-windup runs away; expected a Tt of 0.05 s or more\n");
    EXPECT_EQ(
        withTimes("Ti='5' Tt='0.04' SampleTime_ms='100'"),
        "c:3: " + pidPath +
            "[@SampleTime_ms]: a sample time of 100 ms is above twice the tracking time of 0.04 s: the "
            "anti-windup runs away; expected a sample time of 80 ms or less, or a Tt of 0.05 s or more\n");
    // less than 20 ms counts as 20 ms
    EXPECT_NE(withTimes("Ti='5' Tt='0.009' SampleTime_ms='1'").find("a sample time of 20 ms is above twice"),
              std::string::npos);
}

TEST(LoopCheckTest, FastAntiWindupIsAWarning)
{
    EXPECT_EQ(
        withTimes("Ti='5' Tt='0.1' SampleTime_ms='100'"),
        "c:3: warning: " + pidPath +
            "[@SampleTime_ms]: a sample time of 100 ms is above half of the tracking time of 0.1 s: the "
            "anti-windup overshoots; expected a sample time of 50 ms or less, or a Tt of 0.2 s or more\n");
    EXPECT_EQ(withTimes("Ti='5' Tt='0.05' SampleTime_ms='100'").find("c:3: warning: "), 0U) << "stable still";
    EXPECT_EQ(withTimes("Ti='5' Tt='0.2' SampleTime_ms='100'"), "");
    EXPECT_EQ(withTimes("Ti='0' Tt='0.001' SampleTime_ms='100'"), "") << "without integral action";
}

TEST(LoopCheckTest, NegativeTimesAndLimitsAreWarnings)
{
    EXPECT_EQ(withTimes("Ti='-5' SampleTime_ms='100'"),
              "c:3: warning: " + pidPath +
                  "[@Ti]: \"-5\" is too low; expected a real number of 0 s or more\n");
    SLoopSetUp setUp;
    setUp.loop =
        SLoopSetUp::pid("K='1' Ti='5' Td='0' MinU='50' MaxU='10' DisabledU='0' SampleTime_ms='100'", "-1");
    EXPECT_EQ(setUp.checked(),
              "c:3: warning: " + pidPath +
                  "[@DerivativeGainLimit]: \"-1\" is too low; expected a real number of 0 or more\n"
                  "c:3: warning: " +
                  pidPath + "[@MinU]: \"50\" is above MaxU; expected at most 10\n");
    EXPECT_EQ(setUp.checked(true).find("warning"), std::string::npos);
}

TEST(LoopCheckTest, NegativeTimeOfALagIsAWarningAndNoneAtAllAFault)
{
    SLoopSetUp setUp;
    const auto lag = [&](const std::string& time) {
        setUp.input =
            "<Input><Type>Rvl::CPT1Element</Type><TimeConstant_s>" + time + "</TimeConstant_s></Input>";
        return setUp.checked();
    };
    const std::string path = "/Configuration/Channels/Channel[7]/ControlLoop/Input/TimeConstant_s: ";
    EXPECT_EQ(lag("0.001"), "");
    EXPECT_EQ(lag("-2"), "c:3: warning: " + path +
                             "\"-2\" is too low; expected a real number of 0 s or more other than 0\n");
    EXPECT_EQ(lag("0"),
              "c:3: " + path + "\"0\" is refused; expected a real number of 0 s or more other than 0\n")
        << "which makes a value of the lag that is not a number";
}

TEST(LoopCheckTest, SampleTimeWithoutAPauseIsAFault)
{
    SLoopSetUp setUp;
    for (const std::string time : {"0", "-5"}) {
        const std::string keys = " Setpoint='0' U_Disabled='0'/>";
        for (const std::string type : {"TwoLevel", "Conditional"}) {
            setUp.loop = "<Type>Rvl::C" + type + "ControlLoop</Type>\n<Parameters SampleTime_ms='" + time +
                         "' LowerThreshold='1' UpperThreshold='1' U_Up='1' U_Down='0'" + keys;
            if (type == "Conditional") {
                setUp.loop = "<Type>Rvl::CConditionalControlLoop</Type>\n<Parameters SampleTime_ms='" + time +
                             "'" + keys;
            }
            EXPECT_EQ(setUp.checked(), "c:3: " + twoLevelPath + "[@SampleTime_ms]: \"" + time +
                                           "\" is too low; expected a whole number from 1 ms to 6e+05 ms\n");
        }
    }
}

TEST(LoopCheckTest, InertTwoLevelLoopIsAWarning)
{
    SLoopSetUp setUp;
    setUp.loop =
        SLoopSetUp::twoLevel("LowerThreshold='-1' UpperThreshold='1' U_Up='1' U_Down='0' U_Disabled='5'");
    EXPECT_EQ(setUp.checked(),
              "c:3: warning: " + twoLevelPath +
                  "[@LowerThreshold]: \"-1\" is too low; expected a real number of 0 or more\n"
                  "c:3: warning: " +
                  twoLevelPath +
                  "[@U_Disabled]: \"5\" leaves the loop inert once it was disabled, as it is "
                  "neither U_Up, 1, nor U_Down, 0; expected one of the two\n");
}

TEST(LoopCheckTest, LimitThatStandsForNoneIsNoLimit)
{
    SLoopSetUp setUp;
    const auto limits = [&](const std::string& keys) {
        setUp.loop = SLoopSetUp::conditional("Setpoint='0' U_Disabled='0' " + keys);
        return setUp.checked();
    };
    EXPECT_EQ(limits("LowerLimit='5e9'"), "");
    EXPECT_EQ(limits("LowerLimit='5e9' UpperLimit='4294967295'"), "");
    EXPECT_EQ(limits("LowerLimit='4294967295' UpperLimit='60'"), "");
    EXPECT_EQ(limits("LowerLimit='5' UpperLimit='4'"),
              "c:3: warning: " + twoLevelPath +
                  "[@LowerLimit]: \"5\" is above UpperLimit; expected at most 4\n");
}

TEST(LoopCheckTest, NegativeRangeOverADigitalOutputIsAWarning)
{
    SLoopSetUp setUp;
    setUp.loop =
        SLoopSetUp::pid("K='1' Ti='5' Td='0' MinU='-100' MaxU='100' DisabledU='0' SampleTime_ms='100'");
    EXPECT_EQ(setUp.checked(), "") << "the range of an analog output limits it";
    setUp.output = SLoopSetUp::pwm();
    EXPECT_EQ(
        setUp.checked(),
        "c:3: warning: " + pidPath +
            "[@MinU]: \"-100\" lets the control value be negative, of which output \"Duty\" makes a duty "
            "cycle of 0; expected 0 or more\n");
    setUp.output = SLoopSetUp::onOff();
    EXPECT_EQ(setUp.checked(),
              "c:3: warning: " + pidPath +
                  "[@MinU]: \"-100\" lets the control value be negative, which switches output \"Duty\" on; "
                  "expected 0 or more\n");
    setUp.loop =
        SLoopSetUp::twoLevel("LowerThreshold='1' UpperThreshold='1' U_Up='1' U_Down='-1' U_Disabled='-1'");
    EXPECT_EQ(
        setUp.checked(),
        "c:3: warning: " + twoLevelPath +
            "[@U_Down]: \"-1\" lets the control value be negative, which switches output \"Duty\" on; "
            "expected 0 or more\n"
            "c:3: warning: " +
            twoLevelPath +
            "[@U_Disabled]: \"-1\" lets the control value be negative, which switches output \"Duty\" on; "
            "expected 0 or more\n");
}

TEST(LoopCheckTest, RangeOfWhichADutyCycleMakesFullPowerIsRefused)
{
    const auto loop = [](const std::string& minimum) {
        return SLoopSetUp::pid("K='1' Ti='5' Td='0' MinU='" + minimum +
                               "' MaxU='100' DisabledU='0' SampleTime_ms='100'");
    };
    SLoopSetUp setUp;
    setUp.output = SLoopSetUp::pwm();
    setUp.loop = loop("-2147483648");
    EXPECT_THAT(setUp.checked(), testing::HasSubstr("warning: "));
    setUp.loop = loop("-2147483649");
    EXPECT_EQ(setUp.checked(), "c:3: " + pidPath +
                                   "[@MinU]: \"-2147483649\" lets the control value be negative so far that "
                                   "output \"Duty\" makes a duty cycle of 100 of it; expected 0 or more\n");
}

TEST(LoopCheckTest, NegativeSetPointThatIsPassedOnToADigitalOutputIsAWarning)
{
    SLoopSetUp setUp;
    setUp.loop = SLoopSetUp::conditional("Setpoint='-5' U_Disabled='0'");
    EXPECT_EQ(setUp.checked(), "");
    setUp.output = SLoopSetUp::onOff();
    EXPECT_EQ(
        setUp.checked(),
        "c:3: warning: " + twoLevelPath +
            "[@Setpoint]: \"-5\" lets the control value be negative, which switches output \"Duty\" on; "
            "expected 0 or more\n");
}

TEST(LoopCheckTest, RangeOfThePassedSetPointCountsForADigitalOutput)
{
    SLoopSetUp setUp;
    setUp.loop = SLoopSetUp::conditional("Setpoint='5' U_Disabled='0'");
    setUp.output = SLoopSetUp::onOff();
    EXPECT_EQ(setUp.checked(), "");
    setUp.scaling = "<SetpointRange Minimum='-1' Maximum='5'/>";
    EXPECT_EQ(setUp.checked(),
              "c:2: warning: /Configuration/Channels/Channel[7]/SetpointRange[@Minimum]: \"-1\" lets "
              "the control value be negative, which switches output \"Duty\" on; expected 0 or more\n");
    setUp.scaling += "<Scaling Factor='1' Offset='-1'/>";
    EXPECT_EQ(setUp.checked(), "") << "0 to 6 for the loop";
    setUp.scaling = "";
    setUp.loop =
        SLoopSetUp::pid("K='1' Ti='5' Td='0' MinU='-3' MaxU='100' DisabledU='-2' SampleTime_ms='100'") +
        setUp.input + "<Output>" + setUp.loop;
    setUp.output += "</Output>";
    EXPECT_EQ(setUp.checked(),
              "c:3: warning: " + pidPath +
                  "[@MinU]: \"-3\" lets the control value be negative, which switches output "
                  "\"Duty\" on; expected 0 or more\n");
}

TEST(LoopCheckTest, FlowBeyondWhatTheDeviceIsLimitedToIsAFault)
{
    SLoopSetUp setUp;
    const auto loop = [](const std::string& disabled) {
        return SLoopSetUp::pid("K='1' Ti='5' Td='0' MinU='0' MaxU='50' DisabledU='" + disabled +
                               "' SampleTime_ms='100'");
    };
    setUp.output = "<Output><Type>Rvl::CPumpLoopOut</Type><Pump>Pump</Pump></Output>";
    setUp.more =
        "<Channel Name='Pump' Type='Rvl::CSimulatedPumpChannel'><Device>V</Device><Signal>Pump</Signal>"
        "</Channel>";
    setUp.loop = loop("-50");
    EXPECT_EQ(setUp.checked(), "");
    setUp.loop = loop("51");
    EXPECT_EQ(setUp.checked(),
              "c:3: " + pidPath +
                  "[@DisabledU]: \"51\" is outside the range of output \"Pump\"; expected one "
                  "from -50 to 50\n");
}

TEST(LoopCheckTest, ValueThatTheActuatorDoesNotTakeIsAFault)
{
    SLoopSetUp setUp;
    setUp.loop =
        SLoopSetUp::pid("K='1' Ti='5' Td='0' MinU='20' MaxU='100' DisabledU='0' SampleTime_ms='100'");
    EXPECT_EQ(setUp.checked(), "") << "a pump that runs at 20 to 100 is off at 0";
    setUp.loop =
        SLoopSetUp::pid("K='1' Ti='5' Td='0' MinU='0' MaxU='100' DisabledU='-1' SampleTime_ms='100'");
    const std::string fault = "c:3: " + pidPath + "[@DisabledU]: \"-1\" is outside the range of output ";
    EXPECT_EQ(setUp.checked(), fault + "\"Heater\"; expected one from 0 to 100\n");
    setUp.heater = "";
    EXPECT_EQ(setUp.checked(), fault + "\"Heater\"; expected one from 0 to 100\n")
        << "the actuator's own range";
    setUp.heater = "<Scaling Factor='2'/>";
    EXPECT_EQ(setUp.checked(), fault + "\"Heater\"; expected one from 0 to 200\n")
        << "on the channel's scale";
    setUp.heater = "<Range Maximum='100'/><Scaling Factor='2'/>";
    EXPECT_EQ(setUp.checked(), fault + "\"Heater\"; expected one from 0 to 100\n");
    setUp.heater = "<Range Minimum='-1000' Maximum='1000'/>";
    EXPECT_EQ(setUp.checked(), fault + "\"Heater\"; expected one from 0 to 100\n")
        << "a range that is wider than the actuator's does not widen it";
    setUp.output = SLoopSetUp::pwm();
    EXPECT_EQ(setUp.checked(), fault + "\"Duty\"; expected one from 0 to 100\n");
}

TEST(LoopCheckTest, ManualValueIsHeldAgainstActuatorAndLoop)
{
    const std::string place = "/Configuration/Channels/Channel[7][@ManualControlValue]: ";
    const std::string fault = "c:2: " + place;
    const std::string warning = "c:2: warning: " + place;
    SLoopSetUp setUp;
    setUp.loop = SLoopSetUp::pid("K='1' Ti='5' Td='0' MinU='0' MaxU='50' DisabledU='0' SampleTime_ms='100'");
    setUp.attributes = "Enabled='true' Manual='true' ManualControlValue='60'";
    const std::string outside =
        " is outside the loop's limits, which do not hold in manual mode; expected one from 0 to 50\n";
    EXPECT_EQ(setUp.checked(), warning + "\"60\"" + outside);
    setUp.attributes = "Enabled='true' Manual='true' ManualControlValue='1e308'";
    setUp.heater = "";
    EXPECT_EQ(setUp.checked(),
              warning + "\"1e+308\"" + outside + fault +
                  "\"1e+308\" is outside the range of output \"Heater\"; expected one from 0 to "
                  "100\n");
    setUp.attributes = "Enabled='true' Manual='true' ManualControlValue='60'";
    setUp.scaling = "<Scaling Factor='2' Offset='20'/>";
    EXPECT_EQ(setUp.checked(), "") << "20 unscaled";
}

TEST(LoopCheckTest, ValueForBadInputsIsHeldAgainstTheActuator)
{
    SLoopSetUp setUp;
    setUp.scaling = "<BadInput Action='write' Value='101'/>";
    EXPECT_EQ(setUp.checked(),
              "c:2: /Configuration/Channels/Channel[7]/BadInput[@Value]: \"101\" is outside the "
              "range of output \"Heater\"; expected one from 0 to 100\n");
}

TEST(LoopCheckTest, ScalingFactorNextToZeroIsRefused)
{
    SLoopSetUp setUp;
    setUp.heater = "\n<Scaling Factor='1e-310'/>";
    EXPECT_EQ(setUp.checked(),
              "c:2: /Configuration/Channels/Channel[2]/Scaling[@Factor]: \"1e-310\" is too close to 0; "
              "expected a real number other than 0\n");
}

TEST(LoopCheckTest, DirectionPatternsSuitThePort)
{
    SLoopSetUp setUp;
    const auto patterns = [&](const std::string& negative, const std::string& positive) {
        setUp.output = "<Output><Type>Rvl::CAnalogTwoQuadrantLoopOut</Type>\n<DigitalOut Device='Direction' "
                       "Negative='" +
                       negative + "' Positive='" + positive + "'/><Channel>Current</Channel></Output>";
        return setUp.checked();
    };
    const std::string path = "/Configuration/Channels/Channel[7]/ControlLoop/Output/DigitalOut";
    EXPECT_EQ(patterns("1", "2"), "");
    EXPECT_EQ(patterns("1", "0x4"),
              "c:4: " + path +
                  "[@Positive]: \"0x4\" is beyond the lines of port \"Direction\", which "
                  "has 2; expected a pattern of at most 3\n");
    EXPECT_EQ(patterns("0x1", "1"),
              "c:4: warning: " + path +
                  "[@Positive]: \"1\" is the negative pattern as well: the direction never "
                  "changes; expected two different patterns\n");
}

TEST(LoopCheckTest, InputThatIsTheOutputMustBeOneOnEveryLevel)
{
    const std::string wrong =
        "\"Rvl::CAnalogChannelLoopIn\" is a loopIn while InputSameAsOutput is true; expected "
        "\"Rvl::CPT1Element\"\n";
    SLoopSetUp setUp;
    setUp.output = "\n<InputSameAsOutput>true</InputSameAsOutput>";
    const std::string path = "/Configuration/Channels/Channel[7]/ControlLoop/";
    EXPECT_EQ(setUp.checked(), "c:3: " + path + "Input/Type: " + wrong);
    setUp.output = "\n<Output>" + setUp.loop + "\n" + setUp.input +
                   "<InputSameAsOutput>true</InputSameAsOutput></Output>";
    EXPECT_EQ(setUp.checked(), "c:6: " + path + "Output/Input/Type: " + wrong);
}

} // namespace Rvl::Test
