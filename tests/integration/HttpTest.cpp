// The interface over HTTP as programs meet it: over real sockets, of a host that runs the cascade.

#include "tests/integration/HostProgram.h"
#include "tests/integration/JournalledRun.h"
#include "tests/support/HttpClient.h"
#include "tests/support/ProgramRun.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace Rvl::Test;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string cascade = examples + "/cascade/cascade.xml";

/// The first line of what a host prints, once it is there; empty if the host ends before.
std::string addressOf(CProgramRun& run)
{
    std::string line;
    eventually(
        [&] {
            const std::string text = run.outSoFar();
            line = text.substr(0, text.find('\n'));
            return text.find('\n') != std::string::npos || !run.isRunning();
        },
        20.0);
    return line;
}

/// A host that serves a configuration over HTTP.
class CServedRun
{
public:
    enum eConsole
    {
        Quiet,
        Lines
    };
    explicit CServedRun(const std::string& configuration = cascade, std::vector<std::string> options = {},
                        const std::map<std::string, std::string>& environment = {}, eConsole console = Quiet)
        : run_(host, arguments(configuration, std::move(options), console), "", environment),
          client_(addressOf(run_))
    {
        // the first snapshot
        EXPECT_TRUE(eventually([this] { return client_.get("/healthz").status != 503; }, 20.0));
    }
    const CHttpClient& client() const { return client_; }
    CProgramRun& run() { return run_; }

    json get(const std::string& target) const
    {
        const SHttpAnswer answer = client_.get(target);
        EXPECT_EQ(200u, answer.status) << target << ": " << answer.body;
        return json::parse(answer.body);
    }
    /// The state of the cascade's only controller.
    json state() const { return get("/api/channels/Vessel").at("state"); }
    SHttpAnswer put(const std::string& target, const std::string& body) const
    {
        return client_.send("PUT", target, body);
    }

private:
    static std::vector<std::string> arguments(const std::string& configuration,
                                              std::vector<std::string> options, eConsole console)
    {
        std::vector<std::string> result{"run", configuration, "--log", "off", "--http", "0"};
        if (console == Quiet) {
            result.emplace_back("--quiet");
        }
        result.insert(result.end(), options.begin(), options.end());
        return result;
    }

    CProgramRun run_;
    CHttpClient client_;
};

/// The cascade's host, shared by the tests that leave it as it was.
CServedRun& sharedRun()
{
    static CServedRun run;
    return run;
}

/// The same with limits in time of fractions of a second: 0.3 s for a request, 1.8 s between two.
CServedRun& hurriedRun()
{
    static CServedRun run(cascade, {"--limit-scale", "0.03"});
    return run;
}

std::string hostLine(const CHttpClient& client)
{
    return "Host: 127.0.0.1:" + std::to_string(client.port()) + "\r\n";
}

/// A configuration of so many controllers, each with a lag of its own instead of a device.
std::string manyControllers(int count)
{
    std::string channels;
    for (int index = 0; index < count; ++index) {
        channels += R"(<Channel Name="Process )" + std::to_string(index) +
                    R"(" Type="Rvl::CLocalControllerChannel" Enabled="true"><ControlLoop>
            <Type>Rvl::CPIDControlLoop</Type><Enabled>true</Enabled>
            <PIDParam Name="a" K="2" Ti="2" Td="0" DerivativeGainLimit="0" MinU="-200" MaxU="200" DisabledU="0"
                      Setpoint="20" SampleTime_ms="100"/>
            <Input><Type>Rvl::CPT1Element</Type><TimeConstant_s>20</TimeConstant_s></Input>
            <InputSameAsOutput>true</InputSameAsOutput></ControlLoop></Channel>)";
    }
    return R"(<Configuration><Plugins><Plugin Name="rivlink_local"/></Plugins><Channels>)" + channels +
           "</Channels></Configuration>\n";
}

std::string errorOf(const SHttpAnswer& answer)
{
    return json::parse(answer.body).at("error").at("message").get<std::string>();
}

/// The names of a document's schema against a reply, as far as OpenAPI 3.0's types and members go. Returns
/// what does not agree.
std::string disagreement(const json& schema, const json& document, const std::string& path = "$")
{
    if (document.is_null()) {
        return schema.value("nullable", false) ? "" : path + " is null";
    }
    const std::string type = schema.value("type", "");
    const std::map<std::string, bool> types{
        {"object", document.is_object()}, {"array", document.is_array()},
        {"string", document.is_string()}, {"boolean", document.is_boolean()},
        {"number", document.is_number()}, {"integer", document.is_number_integer()}};
    if (!type.empty() && !types.at(type)) {
        return path + " is no " + type;
    }
    const auto forEach = [&](const json& members, const auto& check) {
        for (const auto& [key, value] : members.items()) {
            if (const std::string found = check(key, value); !found.empty()) {
                return found;
            }
        }
        return std::string();
    };
    if (document.is_array()) {
        return forEach(document, [&](const std::string& key, const json& value) {
            return disagreement(schema.value("items", json::object()), value, path + "[" + key + "]");
        });
    }
    if (!document.is_object()) {
        return {};
    }
    for (const json& key : schema.value("required", json::array())) {
        if (!document.contains(key.get<std::string>())) {
            return path + " lacks " + key.get<std::string>();
        }
    }
    const json properties = schema.value("properties", json::object());
    const json others = schema.value("additionalProperties", json(true));
    return forEach(document, [&](const std::string& key, const json& value) -> std::string {
        if (properties.contains(key)) {
            return disagreement(properties.at(key), value, path + "." + key);
        }
        if (others.is_object()) {
            return disagreement(others, value, path + "." + key);
        }
        return others.get<bool>() ? "" : path + " has a member " + key;
    });
}

/// A host that serves the controllers "Sound" and "Other", of which the first one hangs when it is disabled.
struct SHungRun
{
    SHungRun()
        : run(host, journal.arguments({"--http", "0", "--limit-scale", "0.2"}), "",
              journal.slowAt("output Sound output = 7", 3600000)),
          client(addressOf(run))
    {
        EXPECT_TRUE(journal.gets("output Sound output = 20"));
    }

    const CJournal journal;
    CProgramRun run;
    const CHttpClient client;
};

/// How often the loop had been read by each event of the stream that has this.
std::vector<int> readingsOf(const std::string& stream)
{
    std::vector<int> result;
    const std::string member = "\"overruns\":";
    for (std::size_t at = stream.find(member); at != std::string::npos; at = stream.find(member, at + 1)) {
        result.push_back(std::atoi(stream.c_str() + at + member.size()));
    }
    return result;
}

/// When each of them was made, in seconds of the day: its event begins with the time.
std::vector<double> timesOf(const std::string& stream)
{
    std::vector<double> result;
    const std::string member = "\"overruns\":";
    const std::string time = "{\"time\":\""; // and 2026-11-23T10:14:43.693Z
    for (std::size_t at = stream.find(member); at != std::string::npos; at = stream.find(member, at + 1)) {
        const std::string text = stream.substr(stream.rfind(time, at) + time.size(), 24);
        result.push_back(3600.0 * std::atoi(text.substr(11, 2).c_str()) +
                         60.0 * std::atoi(text.substr(14, 2).c_str()) +
                         std::atof(text.substr(17, 6).c_str()));
    }
    return result;
}

} // namespace

TEST(Http, AddressIsTheFirstLineAndThePageIsThere)
{
    const SHttpAnswer page = sharedRun().client().get("/");
    EXPECT_EQ(200u, page.status);
    EXPECT_EQ("text/html; charset=utf-8", page.headers.at("content-type"));
    EXPECT_THAT(page.headers.at("content-security-policy"),
                StartsWith("default-src 'none'; script-src 'self'"));
    EXPECT_EQ("nosniff", page.headers.at("x-content-type-options"));
    EXPECT_THAT(page.body, HasSubstr("app.js"));
    EXPECT_THAT(page.body, Not(HasSubstr("https://")));
}

TEST(Http, RepliesAreAsTheServersOwnDescriptionSays)
{
    const json document = sharedRun().get("/api/openapi.json");
    const std::map<std::string, std::string> parts{{"{channel}", "Vessel"},
                                                   {"{loop}", "1"},
                                                   {"{device}", "Bench"},
                                                   {"{fault}", "SensorNaN.VesselTemperature"}};
    int replies = 0;
    for (const auto& [path, methods] : document.at("paths").items()) {
        std::string target = path;
        for (const auto& [part, value] : parts) {
            if (const std::size_t at = target.find(part); at != std::string::npos) {
                target.replace(at, part.size(), value);
            }
        }
        if (!methods.contains("get") || path == "/api/events" || path == "/api/report") {
            continue; // endless, and refused without a history
        }
        if (path == "/api/history") {
            target += "?channel=Vessel";
        }
        const SHttpAnswer answer = sharedRun().client().get(target);
        const json& content = methods.at("get").at("responses").at("200").at("content");
        EXPECT_EQ(200u, answer.status) << target;
        const std::string type = content.begin().key();
        EXPECT_THAT(answer.headers.at("content-type"), StartsWith(type)) << target;
        if (type == "application/json") {
            EXPECT_EQ("", disagreement(content.begin().value().at("schema"), json::parse(answer.body)))
                << target;
        }
        ++replies;
    }
    EXPECT_GE(replies, 10);
}

TEST(Http, CommandsRepliesAreAsDescribed)
{
    const CServedRun run;
    const json paths = run.get("/api/openapi.json").at("paths");
    const auto disagrees = [&](const std::string& path, const std::string& method,
                               const SHttpAnswer& answer) {
        EXPECT_EQ(200u, answer.status) << answer.body;
        return disagreement(paths.at(path)
                                .at(method)
                                .at("responses")
                                .at("200")
                                .at("content")
                                .at("application/json")
                                .at("schema"),
                            json::parse(answer.body));
    };
    const std::string channel = "/api/channels/{channel}";
    EXPECT_EQ("", disagrees(channel + "/set-point", "put",
                            run.put("/api/channels/Vessel/set-point", R"({"value":40})")));
    EXPECT_EQ("", disagrees(channel + "/enabled", "put",
                            run.put("/api/channels/Vessel/enabled", R"({"value":true})")));
    EXPECT_EQ("", disagrees(channel + "/manual", "put",
                            run.put("/api/channels/Vessel/manual", R"({"value":true})")));
    const std::string parameters = "/api/channels/Vessel/loops/0/parameters";
    const std::string described = channel + "/loops/{loop}/parameters";
    const std::string body = R"({"values":{"K":5}})";
    EXPECT_EQ("", disagrees(described + "/preview", "post",
                            run.client().send("POST", parameters + "/preview", body)));
    EXPECT_EQ("", disagrees(described, "put", run.put(parameters, body)));
    EXPECT_EQ("",
              disagrees(described + "/undo", "post", run.client().send("POST", parameters + "/undo", "")));
    EXPECT_EQ("", disagrees("/api/devices/{device}/faults/{fault}", "put",
                            run.put("/api/devices/Bench/faults/DeviceAway", R"({"value":false})")));
    EXPECT_EQ(
        "", disagrees("/api/session", "post", run.client().send("POST", "/api/session", R"({"token":""})")));
}

TEST(Http, SetPointIsInForceLoggedAndLimited)
{
    const CServedRun run;
    const SHttpAnswer done = run.client().send("PUT", "/api/channels/Vessel/set-point", R"({"value":50})",
                                               {{"X-Rivlink-Source", "script"}});
    EXPECT_EQ(200u, done.status);
    EXPECT_TRUE(eventually([&] { return run.state().at("setPoint") == 50.0; }));
    const SHttpAnswer refused = run.put("/api/channels/Vessel/set-point", R"({"value":61})");
    EXPECT_EQ(422u, refused.status);
    EXPECT_EQ("the set point 61 lies outside the range; expected 20 to 60", errorOf(refused));
    EXPECT_EQ("value", json::parse(refused.body).at("error").at("field"));
    const json records = run.get("/api/commands?channel=Vessel").at("records");
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ("script 127.0.0.1", records[0].at("source"));
    EXPECT_EQ("45", records[0].at("old"));
    EXPECT_EQ("50", records[0].at("new"));
    EXPECT_EQ(json(), records[0].at("refusal"));
    EXPECT_EQ("http 127.0.0.1", records[1].at("source"));
    EXPECT_EQ("the set point 61 lies outside the range; expected 20 to 60", records[1].at("refusal"));
}

TEST(Http, ManualModeIsHandedOverWithoutABump)
{
    const CServedRun run;
    // at its limit at first; then the control value moves
    ASSERT_TRUE(eventually(
        [&] { return run.put("/api/channels/Vessel/set-point", R"({"value":25})").status == 200; }));
    const auto controlValue = [&] { return run.state().at("controlValue").get<double>(); };
    ASSERT_TRUE(eventually([&] { return controlValue() > 22.5 && controlValue() < 79.5; }));
    ASSERT_EQ(200u, run.put("/api/channels/Vessel/manual", R"({"value":true})").status);
    ASSERT_TRUE(eventually([&] { return run.state().at("mode") == "manual"; }));
    const double held = controlValue();
    EXPECT_GT(held, 22.0);
    ASSERT_EQ(200u, run.put("/api/channels/Vessel/manual", R"({"controlValue":40})").status);
    ASSERT_TRUE(eventually([&] { return controlValue() == 40.0; }));
    EXPECT_EQ(422u, run.put("/api/channels/Vessel/manual", R"({"controlValue":81})").status);
    std::vector<double> after;
    ASSERT_EQ(200u, run.put("/api/channels/Vessel/manual", R"({"value":false})").status);
    // without the hand-over the next step would begin with K times the error alone
    const json event = json::parse([&] {
        const std::string text =
            run.client().events("/api/events?interval_ms=100", [](const std::string& all) {
                return all.find("\n\nevent: snapshot") != std::string::npos ||
                       all.find("event: changes") != std::string::npos;
            });
        const std::size_t begin = text.find("data: ") + 6;
        return text.substr(begin, text.find('\n', begin) - begin);
    }());
    const json state = event.at("states").at("Vessel");
    EXPECT_EQ("auto", state.at("mode"));
    EXPECT_NEAR(40.0, state.at("controlValue").get<double>(), 3.0);
    EXPECT_EQ(409u, run.put("/api/channels/Vessel/manual", R"({"controlValue":30})").status)
        << "not in manual mode";
}

TEST(Http, ParametersArePreviewedChangedAndUndone)
{
    const CServedRun run;
    const std::string target = "/api/channels/Vessel/loops/1/parameters";
    const auto value = [&](const std::string& key) {
        const json parameters = run.get(target).at("parameters");
        for (const json& parameter : parameters) {
            if (parameter.at("key") == key) {
                return parameter.at("value").get<double>();
            }
        }
        return std::nan("");
    };
    EXPECT_EQ(5.0, value("K"));
    const std::string body = R"({"values":{"K":4,"Ti":5}})";
    const SHttpAnswer preview = run.client().send("POST", target + "/preview", body);
    EXPECT_EQ("5", json::parse(preview.body).at("records").at(0).at("old"));
    EXPECT_EQ(5.0, value("K"));
    EXPECT_EQ(200u, run.put(target, body).status);
    EXPECT_EQ(4.0, value("K"));
    EXPECT_EQ(5.0, value("Ti"));
    EXPECT_EQ(1, run.get(target).at("undo"));
    EXPECT_EQ(422u, run.put(target, R"({"values":{"K":3,"MinU":200}})").status);
    EXPECT_EQ(4.0, value("K")) << "all or none";
    EXPECT_EQ(200u, run.client().send("POST", target + "/undo", "").status);
    EXPECT_EQ(5.0, value("K"));
    EXPECT_EQ(4.0, value("Ti"));
    const SHttpAnswer nothing = run.client().send("POST", target + "/undo", "");
    EXPECT_EQ(409u, nothing.status);
    EXPECT_EQ("there is no change of these parameters to undo", errorOf(nothing));
}

TEST(Http, ParametersAreHeldAgainstTheTypeAndTheOutputOfTheConfiguration)
{
    const CServedRun run(examples + "/tour/tour.xml");
    const auto refusal = [&](int loop, const std::string& values) {
        const std::string target = "/api/channels/Bench/loops/" + std::to_string(loop) + "/parameters";
        const SHttpAnswer answer = run.put(target, "{\"values\":{" + values + "}}");
        return answer.status == 422 ? errorOf(answer) : std::to_string(answer.status);
    };
    EXPECT_EQ(
        "DisabledU: \"150\" is outside the range of output \"Bench heater\"; expected one from 0 to 100",
        refusal(2, R"("DisabledU":150)"));
    EXPECT_EQ("200", refusal(1, R"("DisabledU":150)")) << "a set point of the loop below";
    // of a loop whose own name is not that of its type
    EXPECT_THAT(refusal(0, R"("SampleTime_ms":700000)"), HasSubstr("SampleTime_ms: \"700000\" is too high"));
    EXPECT_EQ("200", refusal(0, R"("SampleTime_ms":100000)")) << "a whole number, however it is printed";
    const json parameters = run.get("/api/channels/Bench/loops/0/parameters").at("parameters");
    EXPECT_EQ("SampleTime_ms", parameters.at(0).at("key"));
    EXPECT_EQ("ms", parameters.at(0).at("unit"));
}

TEST(Http, FaultOfASimulatedDeviceIsSwitchedAndSeen)
{
    const CServedRun run;
    const auto put = [&](const std::string& fault, bool on) {
        return run.put("/api/devices/Bench/faults/" + fault, on ? R"({"value":true})" : R"({"value":false})");
    };
    EXPECT_EQ(200u, put("SensorNaN.VesselTemperature", true).status);
    EXPECT_TRUE(eventually([&] { return run.get("/api/faults").at("faults").size() == 1; }));
    EXPECT_EQ("Vessel", run.get("/api/faults").at("faults").at(0).at("channel"));
    bool active = false;
    const json faults = run.get("/api/devices").at("devices").at(0).at("faults");
    for (const json& fault : faults) {
        active = active || (fault.at("id") == "SensorNaN.VesselTemperature" && fault.at("active") == true);
    }
    EXPECT_TRUE(active);
    const json records = run.get("/api/commands?channel=Bench").at("records");
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ("fault SensorNaN.VesselTemperature", records[0].at("what"));
    EXPECT_EQ(200u, put("SensorNaN.VesselTemperature", false).status);
    EXPECT_TRUE(eventually([&] { return run.get("/api/faults").at("faults").empty(); }));
    EXPECT_EQ(404u, put("SensorNaN.Pressure", true).status);
    EXPECT_EQ(404u, run.put("/api/devices/Benh/faults/DeviceAway", R"({"value":true})").status);
}

TEST(Http, EventsBeginWithEverythingAndCarryCommands)
{
    const CServedRun run;
    std::thread command([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        run.put("/api/channels/Vessel/set-point", R"({"value":41})");
    });
    const std::string text = run.client().events("/api/events?interval_ms=100", [](const std::string& all) {
        return all.find("event: command\n") != std::string::npos &&
               all.find("\"setPoint\":41.0") != std::string::npos;
    });
    command.join();
    EXPECT_THAT(text, StartsWith("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n"));
    const std::size_t snapshot = text.find("event: snapshot\n");
    ASSERT_NE(std::string::npos, snapshot);
    EXPECT_LT(snapshot, text.find("event: changes\n"));
    EXPECT_THAT(text, HasSubstr("\"what\":\"set point\",\"old\":\"45\",\"new\":\"41\""));
    EXPECT_EQ(422u, run.client().get("/api/events?interval_ms=99").status);
    EXPECT_EQ(400u, run.client().get("/api/events?interval=100").status);
}

TEST(Http, TrendAndMetricsGrowWithTheRun)
{
    const CServedRun& run = sharedRun();
    ASSERT_TRUE(eventually([&] {
        return run.get("/api/trend?seconds=600&points=600").at("channels").at("Vessel").at("rows").size() >=
               2;
    }));
    const std::string history = "/api/history?channel=Vessel";
    EXPECT_EQ("memory", run.get(history).at("source"));
    EXPECT_GE(run.get(history).at("rows").size(), 2u);
    EXPECT_TRUE(run.get(history + "&from=2026-01-01T00:00:00Z&to=2026-01-01T01:00:00Z").at("rows").empty());
    EXPECT_THAT(
        run.client().get(history + "&format=csv").body,
        StartsWith("time_ms,setPoint,actualMinimum,actualMean,actualMaximum,controlMinimum,controlMean,"
                   "controlMaximum\n"));
    EXPECT_EQ(400u, run.client().get("/api/history").status);
    EXPECT_EQ(400u, run.client().get(history + "&from=yesterday").status);
    EXPECT_EQ(422u, run.client().get(history + "&from=2026-01-02T00:00:00Z&to=2026-01-01T00:00:00Z").status);
    EXPECT_EQ(422u, run.client().get(history + "&points=5001").status);
    EXPECT_EQ(404u, run.client().get("/api/history?channel=Vesel").status);
    const SHttpAnswer metrics = run.client().get("/metrics");
    EXPECT_EQ("text/plain; version=0.0.4; charset=utf-8", metrics.headers.at("content-type"));
    EXPECT_THAT(metrics.body, HasSubstr("rivlink_set_point{channel=\"Vessel\"} 45\n"));
    EXPECT_THAT(metrics.body, HasSubstr("rivlink_loop_steps_total{channel=\"Vessel\",loop=\"1\"} "));
}

TEST(Http, LoopIsReadOncePerIntervalHoweverManyLook)
{
    const CTemporaryFolder folder;
    const std::string configuration =
        folder.write("c.xml", "<Configuration><Plugins><Plugin Name=\"rivlink_fake\" Path=\"" +
                                  std::string(RIVLINK_FAKE_PLUGIN) + R"("/></Plugins>
<Devices><Device Name="Bench" Type="Rvl::CFakeDevice"/></Devices>
<Channels><Channel Name="Vessel" Type="Rvl::CFakeController" Enabled="true"><ControlLoop>
  <Type>Rvl::CFakeLoop</Type><Parameters Gain="2" Setpoint="30" DisabledU="7" SampleTime_ms="10"/>
  <Input><Type>Rvl::CFakeLoopIn</Type><Channel>Temperature</Channel></Input>
  <Output><Type>Rvl::CFakeLoopOut</Type><Channel>Heater</Channel></Output></ControlLoop></Channel>
<Channel Name="Temperature" Type="Rvl::CFakeInput" Device="Bench" Value="25"/>
<Channel Name="Heater" Type="Rvl::CFakeOutput" Device="Bench"/></Channels></Configuration>)");
    const CServedRun run(configuration,
                         {"--record", folder.file("r.csv"), "--record-interval", "100ms", "--history",
                          folder.file("r.history"), "--history-interval", "100ms"},
                         {{"RIVLINK_FAKE_COUNT_READINGS", "1"}}, CServedRun::Lines);
    const std::string parameters = "/api/channels/Vessel/loops/0/parameters";
    run.get(parameters); // reads what changes only by a command

    std::atomic<bool> isOver{false};
    std::vector<std::thread> readers;
    for (int client = 0; client < 10; ++client) {
        readers.emplace_back([&] {
            run.client().events("/api/events?interval_ms=100",
                                [&](const std::string&) { return isOver.load(); });
        });
    }
    readers.emplace_back([&] {
        while (!isOver) {
            for (const char* const target :
                 {"/metrics", "/api/channels", "/api/channels/Vessel", "/api/channels/Vessel/state",
                  "/api/devices", "/api/faults", "/api/trend", "/healthz", parameters.c_str()}) {
                EXPECT_EQ(200u, run.client().get(target).status) << target;
            }
        }
    });
    std::vector<int> readings;
    std::vector<double> times;
    run.client().events("/api/events?interval_ms=100", [&](const std::string& stream) {
        readings = readingsOf(stream);
        times = timesOf(stream);
        return readings.size() >= 25;
    });
    isOver = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    ASSERT_GE(readings.size(), 25u);
    // the wait for the first step is over at the sixth; an event is left out where the one before it was not
    // sent yet, so time counts
    for (std::size_t index = 6; index < readings.size(); ++index) {
        const double passed_s = std::fmod(times.at(index) - times[5] + 86400.0, 86400.0);
        const int made = readings[index] - readings[5];
        EXPECT_LE(made, std::lround(passed_s / 0.1) + 1) << index;
        EXPECT_GT(readings[index], readings[index - 1]) << "each event has values of its own";
    }
}

TEST(Http, TrendComesFromTheHistoryWithItsEvents)
{
    const CTemporaryFolder folder;
    const CServedRun run(cascade, {"--history", folder.file("bench.history")});
    ASSERT_EQ(200u, run.put("/api/channels/Vessel/set-point", R"({"value":50})").status);
    json history;
    ASSERT_TRUE(eventually([&] {
        history = run.get("/api/history?channel=Vessel");
        return history.at("rows").size() > 5 && history.at("events").size() > 1;
    }));
    EXPECT_EQ("history", history.at("source"));
    EXPECT_EQ(0, history.at("resolution_ms")) << "single values";
    bool found = false;
    for (const json& event : history.at("events")) {
        found = found || event.at("text") == "http 127.0.0.1: Vessel: set point 45 -> 50";
    }
    EXPECT_TRUE(found) << history.at("events");
    const SHttpAnswer report = run.client().get("/api/report?channel=Vessel");
    EXPECT_EQ(200u, report.status);
    EXPECT_EQ("text/html; charset=utf-8", report.headers.at("content-type"));
    EXPECT_EQ("attachment; filename=\"report.html\"", report.headers.at("content-disposition"));
    EXPECT_THAT(report.body, HasSubstr("<h2>Vessel</h2>"));
    EXPECT_THAT(report.body, HasSubstr("Vessel: set point 45 -&gt; 50"));
    EXPECT_EQ(404u, run.client().get("/api/report?channel=Vesel").status);
    EXPECT_EQ(422u, run.client().get("/api/report?from=2026-03-02&to=2026-03-01").status);
}

TEST(Http, ReportNeedsAHistory)
{
    const SHttpAnswer answer = sharedRun().client().get("/api/report");
    EXPECT_EQ(409u, answer.status);
    EXPECT_EQ("no history is kept; run the host with --history", errorOf(answer));
}

TEST(Http, RequestsThatAreNotWellFormedAreRefusedAndTheServerGoesOn)
{
    const CHttpClient& client = sharedRun().client();
    const std::string hostLine = "Host: 127.0.0.1:" + std::to_string(client.port()) + "\r\n";
    const auto statusOf = [&](const std::string& bytes) {
        const std::string reply = client.raw(bytes);
        return reply.substr(0, reply.find("\r\n"));
    };
    EXPECT_EQ("HTTP/1.1 400 Bad Request", statusOf("nonsense\r\n\r\n"));
    EXPECT_EQ("HTTP/1.1 400 Bad Request", statusOf(std::string("\0\1\2\3\r\n\r\n", 8)));
    EXPECT_EQ("HTTP/1.1 400 Bad Request",
              statusOf("GET /%zz HTTP/1.1\r\n" + hostLine + "Connection: close\r\n\r\n"));
    EXPECT_EQ("HTTP/1.1 400 Bad Request",
              statusOf("GET /../../etc/passwd HTTP/1.1\r\n" + hostLine + "Connection: close\r\n\r\n"));
    EXPECT_EQ("HTTP/1.1 403 Forbidden", statusOf("GET / HTTP/1.1\r\nConnection: close\r\n\r\n")) << "no host";
    EXPECT_EQ("HTTP/1.1 431 Request Header Fields Too Large",
              statusOf("GET / HTTP/1.1\r\n" + hostLine + "X: " + std::string(20000, 'x') + "\r\n\r\n"));
    EXPECT_EQ("HTTP/1.1 414 URI Too Long", statusOf("GET /" + std::string(9000, 'x') + " HTTP/1.1\r\n" +
                                                    hostLine + "Connection: close\r\n\r\n"));
    EXPECT_EQ("HTTP/1.1 413 Payload Too Large",
              statusOf("PUT /api/channels/Vessel/set-point HTTP/1.1\r\n" + hostLine +
                       "Content-Type: application/json\r\nContent-Length: 70000\r\n\r\n" +
                       std::string(70000, ' ')));
    EXPECT_EQ("HTTP/1.1 413 Payload Too Large", statusOf("PUT /api/channels/Vessel/set-point HTTP/1.1\r\n" +
                                                         hostLine + "Content-Length: 999999999999\r\n\r\n"));
    EXPECT_EQ("HTTP/1.1 400 Bad Request", statusOf("PUT /api/channels/Vessel/set-point HTTP/1.1\r\n" +
                                                   hostLine + "Content-Length: -1\r\n\r\n"));
    EXPECT_EQ(404u, client.get("/api/nothing").status);
    EXPECT_EQ(404u, client.get("/etc/passwd").status);
    EXPECT_EQ(404u, client.get("/app.js/..%2f").status);
    EXPECT_EQ(404u, client.get("/..%2f..%2f..%2f..%2fetc%2fpasswd").status);
    EXPECT_EQ(400u, client.get("/%2e%2e/%2e%2e/etc/passwd").status);
    EXPECT_EQ(400u, client.get("/app.js/../../cascade.xml").status);
    EXPECT_EQ(405u, client.send("DELETE", "/api/channels/Vessel", "").status);
    EXPECT_EQ("", client.send("HEAD", "/api/channels", "").body);
    EXPECT_EQ(405u, client.send("OPTIONS", "/api/channels", "").status);
    EXPECT_EQ(400u, client.send("OPTIONS", "*", "").status);
    EXPECT_EQ("HTTP/1.1 400 Bad Request",
              statusOf("GET / HTTP/1.1\r\n" + hostLine + "Host: other\r\nConnection: close\r\n\r\n"));
    EXPECT_EQ("HTTP/1.1 431 Request Header Fields Too Large",
              statusOf("PUT /api/channels/Vessel/set-point HTTP/1.1\r\n" + hostLine +
                       "Transfer-Encoding: chunked\r\n\r\n1;" + std::string(300000, 'x')));
    std::string many = R"({"values":{"K":1)";
    for (int key = 0; key < 200; ++key) {
        many += ",\"k" + std::to_string(key) + "\":1";
    }
    EXPECT_EQ(422u, client.send("PUT", "/api/channels/Vessel/loops/0/parameters", many + "}}").status);
    EXPECT_EQ(413u,
              client.send("POST", "/api/session", "{\"token\":\"" + std::string(2000, 'x') + "\"}").status);
    EXPECT_EQ(400u, client.get("/api/history?channel=Vessel&to=9999-12-31").status);
    EXPECT_EQ(404u, client.get("/api/channels/Vesel").status);
    EXPECT_THAT(errorOf(client.get("/api/channels/Vesel")),
                HasSubstr("is no controller; expected \"Vessel\""));
    EXPECT_EQ(200u, client.get("/healthz").status);
}

TEST(Http, SeveralRequestsMayUseOneConnection)
{
    const CHttpClient& client = sharedRun().client();
    const std::string hostLine = "Host: 127.0.0.1:" + std::to_string(client.port()) + "\r\n";
    const std::string replies =
        client.raw("GET /healthz HTTP/1.1\r\n" + hostLine + "\r\nGET /api/faults HTTP/1.1\r\n" + hostLine +
                   "Connection: close\r\n\r\n");
    EXPECT_THAT(replies, HasSubstr("{\"status\":\"ok\"}"));
    EXPECT_THAT(replies, HasSubstr("{\"faults\":"));
}

TEST(Http, SlowAndHalfOpenConnectionsKeepNoOtherWaiting)
{
    const CServedRun run(cascade, {"--limit-scale", "0.1"});
    const CHttpClient& client = run.client();
    std::vector<std::unique_ptr<CSilentConnection>> silent;
    for (int i = 0; i < 50; ++i) {
        silent.push_back(std::make_unique<CSilentConnection>(client.port(), i % 2 ? "" : "GET / HT"));
    }
    EXPECT_EQ(200u, client.get("/healthz").status);
    EXPECT_THAT(client.raw("PUT /api/channels/Vessel/set-point HTTP/1.1\r\nContent-Length: 100\r\n\r\n{"),
                StartsWith("HTTP/1.1 408 Request Timeout"));
}

TEST(Http, ConnectionThatSendsNothingEndsAfterItsLimit)
{
    const CHttpClient& client = hurriedRun().client();
    CSilentConnection silent(client.port(), "");
    CSilentConnection begun(client.port(), "GET /api/channels HTTP/1.1\r\n");
    CSilentConnection pausing(client.port(), "GET /healthz HTTP/1.1\r\n" + hostLine(client) + "\r\n");
    EXPECT_TRUE(begun.endsWithin(std::chrono::seconds(20)));
    EXPECT_THAT(begun.received(), StartsWith("HTTP/1.1 408 Request Timeout"));
    EXPECT_TRUE(silent.endsWithin(std::chrono::seconds(20)));
    EXPECT_EQ("", silent.received());
    EXPECT_TRUE(pausing.endsWithin(std::chrono::seconds(20))) << "between two requests";
    EXPECT_THAT(pausing.received(), StartsWith("HTTP/1.1 200 OK"));
}

TEST(Http, HeaderThatArrivesByteByByteEndsAfterTheLimitOfARequest)
{
    const CHttpClient& client = hurriedRun().client();
    CSilentConnection slow(client.port(), "GET /api/channels HTTP/1.1\r\nX: ");
    // each byte comes soon after the one before it
    EXPECT_TRUE(
        eventually([&] { return !slow.send("x") || slow.endsWithin(std::chrono::milliseconds(5)); }, 20.0));
    EXPECT_EQ(200u, client.get("/healthz").status);
}

TEST(Http, ConnectionsBeyondTheBoundAreClosedAndOthersGoOn)
{
    const CServedRun run;
    const CHttpClient& client = run.client();
    const std::string request = "GET /healthz HTTP/1.1\r\n" + hostLine(client) + "\r\n";
    std::vector<std::unique_ptr<CSilentConnection>> connections;
    for (int i = 0; i < 600; ++i) {
        connections.push_back(std::make_unique<CSilentConnection>(client.port(), ""));
    }
    int closed = 0;
    for (std::size_t i = 520; i < connections.size(); ++i) {
        closed += connections[i]->endsWithin(std::chrono::seconds(closed == 0 ? 20 : 1)) ? 1 : 0;
    }
    EXPECT_EQ(80, closed);
    EXPECT_EQ(0u, client.get("/healthz").status);
    for (std::size_t i = 0; i < 500; i += 100) {
        EXPECT_TRUE(connections[i]->send(request));
        EXPECT_FALSE(connections[i]->endsWithin(std::chrono::milliseconds(100)));
        EXPECT_THAT(connections[i]->received(), StartsWith("HTTP/1.1 200 OK")) << i;
    }
    connections.clear();
    EXPECT_TRUE(eventually([&] { return client.get("/healthz").status == 200; }));
}

TEST(Http, ClientOfEventsThatDoesNotReadIsDisconnectedAndOthersGoOn)
{
    const CTemporaryFolder folder;
    const CServedRun run(folder.write("many.xml", manyControllers(40)), {"--limit-scale", "0.2"});
    const CHttpClient& client = run.client();
    const auto clients = [&] {
        const std::string metrics = client.get("/metrics").body;
        const std::string name = "\nrivlink_event_clients ";
        return std::stoi(metrics.substr(metrics.find(name) + name.size()));
    };
    const CSilentConnection silent(
        client.port(), "GET /api/events?interval_ms=100 HTTP/1.1\r\n" + hostLine(client) + "\r\n", 4096);
    std::atomic<bool> isOver{false};
    std::atomic<int> pieces{0};
    std::string text;
    std::thread reader([&] { // which does nothing but read
        text = client.events("/api/events?interval_ms=100", [&](const std::string&) {
            ++pieces;
            return isOver.load();
        });
    });
    int most = 0;
    const bool isLeft = eventually(
        [&] {
            const int now = clients();
            most = std::max(most, now);
            return most == 2 && now == 1;
        },
        30.0);
    const int before = pieces;
    const bool goesOn = eventually([&] { return pieces > before + 5; });
    isOver = true;
    reader.join();
    EXPECT_TRUE(isLeft) << most << " clients, now " << clients();
    EXPECT_TRUE(goesOn) << before << " pieces before, " << pieces << " now, of " << text.size() << " bytes";
    EXPECT_NE(std::string::npos, text.find("event: changes\n"));
}

TEST(Http, RequestsOfOtherPagesAndForOtherHostsAreRefused)
{
    const CHttpClient& client = sharedRun().client();
    const std::string body = R"({"value":30})";
    const std::string target = "/api/channels/Vessel/set-point";
    EXPECT_EQ(403u, client.send("PUT", target, body, {{"Origin", "http://evil.example"}}).status);
    EXPECT_EQ(403u, client.send("PUT", target, body, {{"Host", "evil.example"}}).status);
    EXPECT_EQ(415u, client.send("PUT", target, body, {{"Content-Type", "text/plain"}}).status)
        << "what a form of another page may send";
    EXPECT_EQ(45.0, sharedRun().state().at("setPoint"));
}

TEST(Http, WithATokenEveryRequestNeedsIt)
{
    const std::string token = "0123456789abcdef";
    const CServedRun run(cascade, {}, {{"RIVLINK_HTTP_TOKEN", token}});
    const CHttpClient& client = run.client();
    EXPECT_EQ(200u, client.get("/").status) << "the page itself, which asks for it";
    EXPECT_EQ(401u, client.get("/api/channels").status);
    EXPECT_EQ(401u, client.get("/api/events").status);
    EXPECT_EQ(401u, client.get("/metrics").status);
    EXPECT_EQ(401u, client.send("PUT", "/api/channels/Vessel/set-point", R"({"value":30})").status);
    EXPECT_EQ(200u, client.get("/api/channels", {{"Authorization", "Bearer " + token}}).status);
    EXPECT_EQ(401u, client.send("POST", "/api/session", R"({"token":"0123456789abcdeX"})").status);
    const SHttpAnswer session = client.send("POST", "/api/session", "{\"token\":\"" + token + "\"}");
    ASSERT_EQ(200u, session.status);
    const std::string cookie = session.headers.at("set-cookie");
    EXPECT_EQ(200u, client.get("/api/channels", {{"Cookie", cookie.substr(0, cookie.find(';'))}}).status);
}

TEST(Http, OtherComputersNeedAToken)
{
    const SProgramResult result = runProgram(host, {"run", cascade, "--for", "1s", "--http", "0.0.0.0:0"});
    EXPECT_EQ(64, result.exitCode);
    EXPECT_EQ(
        "listening on 0.0.0.0 lets other computers operate the controllers; expected an access token, or a "
        "loopback address\n",
        result.err);
    EXPECT_EQ(64, runProgram(host, {"run", cascade, "--for", "1s", "--virtual", "--http", "0"}).exitCode);
}

TEST(Http, PortThatIsTakenIsReported)
{
    const std::string port = std::to_string(sharedRun().client().port());
    const SProgramResult result = runProgram(host, {"run", cascade, "--for", "1s", "--http", port});
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.err, StartsWith("cannot listen on 127.0.0.1:" + port + ": "));
}

TEST(Http, OutputIsDisabledAtTheEndWhateverIsConnected)
{
    const CJournal journal;
    CProgramRun run(host, journal.arguments({"--http", "0"}), "", journal.environment());
    ASSERT_TRUE(journal.gets("output Sound output = 20"));
    const CHttpClient client(addressOf(run));
    const CSilentConnection silent(client.port(), "GET /api/events HTTP/1.1\r\nHost: 127.0.0.1:" +
                                                      std::to_string(client.port()) + "\r\n\r\n");
    ASSERT_EQ(200u, client.get("/api/channels").status);
    run.end(eEnd::Terminate);
    EXPECT_EQ(0, run.wait().exitCode);
    EXPECT_THAT(journal.lines(),
                testing::IsSupersetOf({"output Sound output = 7", "output Other output = 7"}));
}

TEST(Http, ManyCommandsToAHungControllerKeepNoOtherFromBeingOperated)
{
    SHungRun hung;
    const std::string disable = R"({"value":false})";
    std::vector<std::thread> others;
    for (int i = 0; i < 20; ++i) {
        others.emplace_back([&] {
            const unsigned status = hung.client.send("PUT", "/api/channels/Sound/enabled", disable).status;
            EXPECT_TRUE(status == 503 || status == 504) << status;
        });
    }
    for (std::thread& other : others) {
        other.join();
    }
    EXPECT_EQ(200u, hung.client.send("PUT", "/api/channels/Other/enabled", disable).status);
    EXPECT_TRUE(hung.journal.gets("output Other output = 7"));
    hung.run.end(eEnd::Terminate);
    EXPECT_EQ(1, hung.run.wait().exitCode);
}

TEST(Http, CommandThatHangsIsReportedAndTheRestGoesOn)
{
    SHungRun hung;
    const SHttpAnswer answer = hung.client.send("PUT", "/api/channels/Sound/enabled", R"({"value":false})");
    EXPECT_EQ(504u, answer.status);
    EXPECT_EQ("the device did not return within the limit", errorOf(answer));
    EXPECT_EQ(200u, hung.client.get("/api/commands").status);
    hung.run.end(eEnd::Terminate);
    const SProgramResult result = hung.run.wait();
    EXPECT_EQ(1, result.exitCode);
    EXPECT_THAT(result.err, HasSubstr("hung call: "));
    EXPECT_THAT(hung.journal.lines(), testing::Contains("output Other output = 7"));
}
