#include "host/session/Commands.h"

#include "tests/support/ProgramRun.h"
#include "tests/support/VirtualTime.h"
#include "tests/unit/host/session/CountedController.h"

#include <gmock/gmock.h>

#include <future>
#include <limits>
#include <optional>
#include <thread>

namespace Rvl::Test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A running session of two controllers.
class CommandsTest : public testing::Test
{
protected:
    CommandsTest()
        : session_(makeRig(), {&time_, {}, CDeadlineTasks::Inline}), commands_(session_, catalogue_)
    {
        catalogue_.addText(R"({"plugin": "p", "types": [{"name": "Rvl::CCountedLoop", "kind": "controlLoop",
            "keys": [{"path": "P.<xmlattr>.K", "type": "real", "minimum": 0},
                     {"path": "P.<xmlattr>.MinU", "type": "real", "notAbove": "P.<xmlattr>.MaxU"},
                     {"path": "P.<xmlattr>.MaxU", "type": "real"}]}]})",
                           "x.types.json");
        catalogue_.resolve();
        session_.start();
    }

    SRig makeRig()
    {
        SRig rig;
        vessel_ = &addCounted(rig, "Vessel");
        vessel_->setSetpointRange(0.0, 80.0);
        addCounted(rig, "Jacket");
        return rig;
    }

    /// Why a command is refused; empty if it is not.
    template <class Command> static std::string refusalOf(const Command& command)
    {
        try {
            command();
        } catch (const CCommandRefused& refused) {
            return refused.what();
        }
        return {};
    }

    std::vector<std::string> log() const
    {
        std::vector<std::string> texts;
        for (const SCommandRecord& record : commands_.records()) {
            texts.push_back(record.text());
        }
        return texts;
    }

    CVirtualTime time_;
    CTypeCatalogue catalogue_;
    CCountedController* vessel_ = nullptr;
    CSession session_;
    CCommands commands_;
};

} // namespace

TEST_F(CommandsTest, EachCommandIsCarriedOutAndLogged)
{
    time_.runFor(std::chrono::seconds(2));
    commands_.setSetPoint("page", "Vessel", 40.5);
    commands_.setManual("page", "Vessel", true);
    commands_.setManual("page", "Vessel", {}, 50.0);
    commands_.setParameters("tuning", "Vessel", 0, {{"K", 12.0}, {"MaxU", 90.0}});
    commands_.setEnabled("page", "Vessel", false);
    EXPECT_EQ(40.5, vessel_->setPoint);
    EXPECT_TRUE(vessel_->manual);
    EXPECT_EQ(50.0, vessel_->manualControlValue);
    EXPECT_EQ(12.0, vessel_->parameters.values[0].value);
    EXPECT_EQ(90.0, vessel_->parameters.values[2].value);
    EXPECT_FALSE(vessel_->enabled);
    EXPECT_TRUE(session_.snapshot().controllers[0].manual);
    EXPECT_THAT(log(),
                ElementsAre("page: Vessel: set point 30 -> 40.5", "page: Vessel: manual mode false -> true",
                            "page: Vessel: manual control value 10 -> 50",
                            "tuning: Vessel: loop 0: K 10 -> 12", "tuning: Vessel: loop 0: MaxU 100 -> 90",
                            "page: Vessel: enabled true -> false"));
    EXPECT_EQ(std::chrono::system_clock::time_point(std::chrono::seconds(2)), commands_.records()[0].utc);
}

TEST_F(CommandsTest, SetPointOutOfRangeIsRefusedAndLogged)
{
    EXPECT_EQ("the set point 90 lies outside the range; expected 0 to 80",
              refusalOf([&] { commands_.setSetPoint("page", "Vessel", 90.0); }));
    EXPECT_EQ("the set point nan is not a finite number",
              refusalOf([&] { commands_.setSetPoint("page", "Vessel", std::nan("")); }));
    EXPECT_EQ("", refusalOf([&] { commands_.setSetPoint("page", "Vessel", 80.0); })) << "the limit itself";
    EXPECT_EQ("the set point inf is not a finite number", refusalOf([&] {
                  commands_.setSetPoint("page", "Jacket", std::numeric_limits<double>::infinity());
              }))
        << "also where the range has no end";
    EXPECT_EQ(80.0, vessel_->setPoint);
    EXPECT_EQ("page: Vessel: set point 30 -> 90, refused: the set point 90 lies outside the range; expected "
              "0 to 80",
              log().at(0));
}

TEST_F(CommandsTest, ManualControlValueIsWithinTheLoopsLimits)
{
    EXPECT_EQ("the manual control value 100.5 lies outside the range; expected 0 to 100",
              refusalOf([&] { commands_.setManual("page", "Vessel", true, 100.5); }));
    EXPECT_EQ("the manual control value nan is not a finite number",
              refusalOf([&] { commands_.setManual("page", "Vessel", true, std::nan("")); }));
    EXPECT_EQ(0.0, vessel_->manualControlValue);
    EXPECT_FALSE(vessel_->manual) << "refused together";
    commands_.setManual("page", "Vessel", true, 100.0);
    EXPECT_EQ(100.0, vessel_->manualControlValue);
    EXPECT_TRUE(vessel_->manual);
}

TEST_F(CommandsTest, ManualModeBeginsWithThePresentControlValue)
{
    commands_.setManual("page", "Vessel", true);
    EXPECT_EQ(10.0, vessel_->manualControlValue);
}

TEST_F(CommandsTest, ControlValueOfAutomaticModeIsTheLoops)
{
    EXPECT_EQ("Vessel is not in manual mode; expected that before its control value is set",
              refusalOf([&] { commands_.setManual("page", "Vessel", {}, 50.0); }));
    EXPECT_EQ("Vessel is not in manual mode; expected that before its control value is set",
              refusalOf([&] { commands_.setManual("page", "Vessel", false, 50.0); }));
    EXPECT_EQ(0.0, vessel_->manualControlValue);
}

TEST_F(CommandsTest, ChangesOfParametersAreUndoneFromTheLastOneOn)
{
    commands_.setParameters("page", "Vessel", 0, {{"K", 12.0}, {"MaxU", 90.0}});
    commands_.setParameters("page", "Vessel", 0, {{"K", 13.0}});
    EXPECT_NE("", refusalOf([&] { commands_.setParameters("page", "Vessel", 0, {{"K", -1.0}}); }));
    EXPECT_EQ(2u, commands_.undoCount("Vessel", 0)) << "without the refused one";
    EXPECT_EQ("page: Vessel: loop 0: K 13 -> 12", commands_.undoParameters("page", "Vessel", 0)[0].text());
    commands_.undoParameters("page", "Vessel", 0);
    EXPECT_EQ(10.0, vessel_->parameters.values[0].value);
    EXPECT_EQ(100.0, vessel_->parameters.values[2].value);
    EXPECT_EQ("there is no change of these parameters to undo",
              refusalOf([&] { commands_.undoParameters("page", "Vessel", 0); }));
}

TEST_F(CommandsTest, TwentyChangesOfParametersCanBeUndone)
{
    for (int change = 1; change <= 21; ++change) {
        commands_.setParameters("page", "Vessel", 0, {{"K", 10.0 + change}});
    }
    EXPECT_EQ(20u, commands_.undoCount("Vessel", 0));
    while (commands_.undoCount("Vessel", 0) > 0) {
        commands_.undoParameters("page", "Vessel", 0);
    }
    EXPECT_EQ(11.0, vessel_->parameters.values[0].value);
}

TEST_F(CommandsTest, PreviewSaysWhatWouldChangeAndChangesNothing)
{
    const auto records = commands_.previewParameters("page", "Vessel", 0, {{"K", 12.0}});
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ("page: Vessel: loop 0: K 10 -> 12", records[0].text());
    EXPECT_EQ("K: \"-1\" is too low; expected a real number of 0 or more", refusalOf([&] {
                  commands_.previewParameters("page", "Vessel", 0, {{"K", -1.0}});
              }));
    EXPECT_EQ(10.0, vessel_->parameters.values[0].value);
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_EQ(0u, commands_.undoCount("Vessel", 0));
}

TEST_F(CommandsTest, ControllerThatDoesNotExistIsRefused)
{
    EXPECT_EQ("\"Vesel\" is no controller; expected one of Vessel, Jacket (did you mean \"Vessel\"?)",
              refusalOf([&] { commands_.setEnabled("page", "Vesel", false); }));
    EXPECT_THAT(log(), ElementsAre("page: Vesel: enabled ? -> false, refused: \"Vesel\" is no controller; "
                                   "expected one of Vessel, Jacket (did you mean \"Vessel\"?)"));
}

TEST_F(CommandsTest, ParametersAreCheckedAllBeforeOneIsChanged)
{
    const auto set = [&](const std::vector<SLoopParameters::SValue>& values, std::size_t loop = 0) {
        return refusalOf([&] { commands_.setParameters("tuning", "Vessel", loop, values); });
    };
    EXPECT_EQ("K: \"-1\" is too low; expected a real number of 0 or more",
              set({{"MaxU", 90.0}, {"K", -1.0}}));
    EXPECT_EQ("MinU 95 does not go together with MaxU 90", set({{"MaxU", 90.0}, {"MinU", 95.0}}));
    EXPECT_EQ("the parameter K nan is not a finite number", set({{"MaxU", 90.0}, {"K", std::nan("")}}));
    EXPECT_EQ("the loop has no parameter \"Kp\"; expected one of K, MinU, MaxU, Setpoint (did you mean "
              "\"K\"?)",
              set({{"MaxU", 90.0}, {"Kp", 1.0}}));
    EXPECT_EQ("Setpoint is the set point at the start; expected a command for the set point itself",
              set({{"MaxU", 90.0}, {"Setpoint", 1.0}}));
    EXPECT_EQ("Vessel has no loop 1 whose parameters can be set", set({{"K", 1.0}}, 1));
    vessel_->parameters.isProtected = true;
    EXPECT_EQ("the parameter set p is protected", set({{"K", 1.0}}));
    EXPECT_EQ(10.0, vessel_->parameters.values[0].value);
    EXPECT_EQ(0.0, vessel_->parameters.values[1].value);
    EXPECT_EQ(100.0, vessel_->parameters.values[2].value);
    EXPECT_EQ(
        "tuning: Vessel: loop 0: K 10 -> -1, refused: K: \"-1\" is too low; expected a real number of 0 "
        "or more",
        log().at(1));
}

TEST_F(CommandsTest, ValuesAreHeldAgainstWhatTheOutputTakesAsInAConfiguration)
{
    CTypeCatalogue catalogue;
    catalogue.addText(R"({"plugin": "p", "types": [{"name": "Rvl::CConfigured", "kind": "controlLoop",
        "keys": [{"path": "P.<xmlattr>.K", "type": "real", "maximum": 20},
                 {"path": "P.<xmlattr>.MinU", "type": "real", "role": "minimum"},
                 {"path": "P.<xmlattr>.MaxU", "type": "real", "role": "disabledValue"}]},
        {"name": "Rvl::CPassing", "kind": "controlLoop",
        "keys": [{"path": "P.<xmlattr>.Setpoint", "type": "real", "role": "passedSetPoint"}]}]})",
                      "y.types.json");
    catalogue.resolve();
    const STypeDescription* const type = catalogue.find("Rvl::CConfigured");
    const STypeDescription* const passing = catalogue.find("Rvl::CPassing");
    const SDrivenOutput duty{"dutyCycle", {"Duty", 0.0, 100.0}};
    CController& vessel = *session_.findController("Vessel");
    const auto set = [&](const std::string& key, double value) {
        return refusalOf([&] { commands_.setParameters("page", "Vessel", 0, {{key, value}}); });
    };

    vessel.setDescribed({{type}, {duty}});
    EXPECT_EQ("K: \"21\" is too high; expected a real number of 20 or less", set("K", 21.0))
        << "the type is the configuration's";
    EXPECT_EQ("MaxU: \"101\" is outside the range of output \"Duty\"; expected one from 0 to 100",
              set("MaxU", 101.0));
    EXPECT_EQ("MinU: \"-3e+09\" lets the control value be negative so far that output \"Duty\" makes a "
              "duty cycle of 100 of it; expected 0 or more",
              set("MinU", -3e9));
    EXPECT_EQ("", set("MinU", -5.0)) << "of which a configuration has a warning";
    EXPECT_NE("", refusalOf([&] { commands_.previewParameters("page", "Vessel", 0, {{"MaxU", 101.0}}); }));

    const auto drive = [&](double value) {
        return refusalOf([&] { commands_.setManual("page", "Vessel", true, value); });
    };
    EXPECT_EQ("the manual control value \"-2\" is outside the range of output \"Duty\"; expected one from 0 "
              "to 100",
              drive(-2.0));
    EXPECT_EQ("", drive(2.0));

    vessel_->setSetpointRange(-1e10, 80.0);
    const auto setPoint = [&] { return refusalOf([&] { commands_.setSetPoint("page", "Vessel", -3e9); }); };
    EXPECT_EQ("", setPoint());
    vessel.setDescribed({{passing}, {duty}});
    EXPECT_EQ("the set point \"-3e+09\" lets the control value be negative so far that output \"Duty\" "
              "makes a duty cycle of 100 of it; expected 0 or more",
              setPoint());

    vessel.setDescribed({{type, type}, {duty}});
    EXPECT_EQ("", set("MaxU", 101.0)) << "a set point of the loop below";
    EXPECT_EQ("", drive(-3.0)) << "a set point of the loop below";
}

TEST_F(CommandsTest, WhatAChannelThrowsIsARefusal)
{
    vessel_->onEnable = [](bool) { throw std::runtime_error("the output has no device"); };
    EXPECT_EQ("the output has no device", refusalOf([&] { commands_.setEnabled("page", "Vessel", true); }));
    vessel_->onEnable = nullptr;
}

TEST_F(CommandsTest, EachRecordIsHandedToTheSinks)
{
    std::vector<std::string> texts;
    commands_.addSink([&](const SCommandRecord& record) { texts.push_back(record.text()); });
    commands_.setSetPoint("page", "Vessel", 40.0);
    EXPECT_THAT(texts, ElementsAre("page: Vessel: set point 30 -> 40"));
}

TEST_F(CommandsTest, OnlyTheLatestRecordsAreKept)
{
    for (int i = 0; i <= 1000; ++i) {
        commands_.setSetPoint("page", "Vessel", i % 10);
    }
    EXPECT_EQ(1000u, commands_.records().size());
    EXPECT_EQ("page: Vessel: set point 0 -> 1", log().at(0));
}

TEST_F(CommandsTest, NothingIsCommandedAfterTheEnd)
{
    EXPECT_TRUE(commands_.close(std::chrono::seconds(1)));
    EXPECT_EQ("the session is ending", refusalOf([&] { commands_.setEnabled("page", "Vessel", false); }));
    EXPECT_TRUE(vessel_->enabled);
    CCommands others(session_, catalogue_);
    session_.shutDown();
    EXPECT_EQ("the session is not running", refusalOf([&] { others.setEnabled("page", "Vessel", true); }));
}

TEST_F(CommandsTest, ControllerThatIsEnabledWhileTheSessionEndsIsDisabledAgain)
{
    vessel_->onEnable = [this](bool) {
        vessel_->onEnable = nullptr;
        session_.emergencyStop(); // has disabled it before it becomes enabled
        vessel_->enabled = true;
    };
    EXPECT_EQ("the session is ending", refusalOf([&] { commands_.setEnabled("page", "Vessel", true); }));
    EXPECT_FALSE(vessel_->enabled);
}

TEST_F(CommandsTest, CloseWaitsForTheCommandUnderWay)
{
    std::promise<void> begun;
    std::promise<void> released;
    vessel_->onEnable = [&](bool enable) {
        if (!enable) {
            begun.set_value();
            released.get_future().wait();
        }
    };
    std::thread other([&] { commands_.setEnabled("page", "Vessel", false); });
    begun.get_future().wait();
    EXPECT_EQ("Vessel", session_.calls().current()) << "a hung command is found like every hung call";
    EXPECT_FALSE(commands_.close(std::chrono::milliseconds(20)));
    released.set_value();
    EXPECT_TRUE(commands_.close(std::chrono::minutes(1)));
    other.join();
    vessel_->onEnable = nullptr;
}

} // namespace Rvl::Test
