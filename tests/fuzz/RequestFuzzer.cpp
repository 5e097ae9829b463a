// What a connection sends to the server, from its bytes to the operations: whatever they are, each reply is
// one of those that docs/http.md describes, an error is a sentence, only a command that was carried out
// changes anything, nothing is carried out without the token where one is needed, and no file is read.
//
// An input is what comes over one connection, with the address of the server in its headers:
// "Host: 127.0.0.1:8080".
#include <utility> // before asio: Boost 1.74 does not include it where C++20 needs it

#include "host/base/ControlCharacters.h"
#include "host/history/HistoryWriter.h"
#include "host/process/LogSetup.h"
#include "host/session/LoadedConfiguration.h"
#include "host/web/ApiOperations.h"
#include "host/web/HttpRequestParser.h"
#include "host/web/HttpRouter.h"
#include "platform/rivlink_core/FaultSimulation.h"
#include "platform/rivlink_device/ControllerChannel.h"
#include "tests/fuzz/Fuzzing.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/VirtualTime.h"

#include <boost/asio/io_context.hpp>
#include <boost/beast/_experimental/test/stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/read.hpp>
#include <nlohmann/json.hpp>

#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

constexpr int mostRequests = 4; ///< more reach nothing else
constexpr unsigned short port = 8080;
const std::string address = "127.0.0.1:8080";
const std::string token = "token-5f1c97a0d2be";
/// Stands in the files of the machine that are nearest: the configuration and one beside it.
const std::string secret = "content-of-a-file-83e1";
constexpr const char* passwords = "root:x:0:";

/// A loop around a lag, whose name needs every kind of quoting, and one that is disabled.
constexpr const char* otherChannels = R"(
    <Channel Name="A/B &quot;2&quot; \ %41 ü" Type="Rvl::CLocalControllerChannel" Enabled="true">
      <ControlLoop>
        <Type>Rvl::CPIDControlLoop</Type>
        <Enabled>true</Enabled>
        <PIDParam Name="a" K="2" Ti="2" Td="0" DerivativeGainLimit="0" MinU="-200" MaxU="200" DisabledU="0"
                  Setpoint="20" SampleTime_ms="100"/>
        <Input><Type>Rvl::CPT1Element</Type><TimeConstant_s>2</TimeConstant_s></Input>
        <InputSameAsOutput>true</InputSameAsOutput>
      </ControlLoop>
    </Channel>
    <Channel Name="off" Type="Rvl::CLocalControllerChannel" Enabled="false">
      <ControlLoop>
        <Type>Rvl::CPIDControlLoop</Type>
        <Enabled>true</Enabled>
        <PIDParam Name="b" K="2" Ti="2" Td="0" DerivativeGainLimit="0" MinU="0" MaxU="10" DisabledU="0"
                  Setpoint="5" SampleTime_ms="100"/>
        <Input><Type>Rvl::CPT1Element</Type><TimeConstant_s>2</TimeConstant_s></Input>
        <InputSameAsOutput>true</InputSameAsOutput>
      </ControlLoop>
      <SetpointRange Minimum="0" Maximum="8"/>
    </Channel>
  </Channels>)";

/// The cascade and two others on virtual time, which passes only after something was changed.
class CServedSession
{
public:
    static CServedSession& instance()
    {
        static CServedSession session;
        return session;
    }

    /// All that requests may change, to the bit.
    std::vector<std::uint64_t> state() const
    {
        std::vector<std::uint64_t> numbers;
        const auto add = [&](double number) { numbers.push_back(std::bit_cast<std::uint64_t>(number)); };
        for (const CController* const controller : loaded_.session().controllers()) {
            add(controller->channel().getSetPoint());
            add(controller->channel().readControlValue());
            add(controller->channel().isControlLoopEnabled());
            add(controller->isManual());
            for (std::size_t loop = 0; loop < controller->loops()->loopCount(); ++loop) {
                for (const SLoopParameters::SValue& value : controller->loops()->parameters(loop).values) {
                    FUZZ_REQUIRE(std::isfinite(value.value), value.key);
                    add(value.value);
                }
                add(static_cast<double>(commands_->undoCount(controller->name(), loop)));
            }
        }
        for (const IFaultSimulation::SFault& fault : bench().simulatedFaults()) {
            add(fault.isActive);
        }
        return numbers;
    }

    /// Nothing has changed since the last command that was carried out.
    void checkUnchanged(const std::string& reply) const { FUZZ_REQUIRE(state() == known_, reply); }

    /// What was carried out may have changed something, within the ranges.
    void noteCommand()
    {
        known_ = state();
        for (const CController* const controller : loaded_.session().controllers()) {
            const double value = controller->channel().getSetPoint();
            FUZZ_REQUIRE(value >= controller->channel().setpointMinimum() &&
                             value <= controller->channel().setpointMaximum(),
                         controller->name() + " " + std::to_string(value));
        }
    }

    /// Puts back what requests have changed. The values of the loops go on.
    void reset()
    {
        beginCommands();
        if (known_ == start_) {
            return;
        }
        for (const IFaultSimulation::SFault& fault : bench().simulatedFaults()) {
            bench().simulateFault(fault.kind, fault.signal, false);
        }
        for (const SControllerStart& start : starts_) {
            CController& controller = *start.controller;
            controller.setManual(false);
            controller.setEnabled(start.enabled);
            for (std::size_t loop = 0; loop < start.parameters.size(); ++loop) {
                controller.loops()->setParameters(loop, start.parameters[loop]);
            }
            controller.channel().writeSetPoint(start.setPoint);
            facts_.forget(controller.name());
        }
        pass(std::chrono::milliseconds(100));
        known_ = start_ = state();
    }

    const CHttpRouter& open() const { return open_; }
    const CHttpRouter& withHistory() const { return withHistory_; }
    const CHttpRouter& guarded() const { return guarded_; }

private:
    struct SControllerStart
    {
        CController* controller;
        double setPoint;
        bool enabled;
        std::vector<std::vector<SLoopParameters::SValue>> parameters; ///< by loop
    };

    CServedSession()
        : loaded_(configuration(), CPluginPath({RIVLINK_FUZZ_TYPES_FOLDER}),
                  SSessionSettings::onVirtualTime(time_)),
          commands_(std::in_place, loaded_.session(), loaded_.catalogue()),
          live_([](const CLiveState::Snapshot&) {}), ages_(loaded_.session(), time_), access_(openAccess("")),
          guardedAccess_(openAccess(token)), open_(access_, operations(access_, {}), "1"),
          withHistory_(access_, operations(access_, folder_.file("history")), "1"),
          guarded_(guardedAccess_, operations(guardedAccess_, {}), "1")
    {
        FUZZ_REQUIRE(loaded_.faults().empty(), loaded_.faults().report("served.xml", true));
        writeHistory();
        loaded_.session().start();
        for (int second = 0; second < 5; ++second) {
            pass(std::chrono::seconds(1));
            trend_.take(*live_.latest());
        }
        for (CController* const controller : loaded_.session().controllers()) {
            starts_.push_back({controller,
                               controller->channel().getSetPoint(),
                               controller->channel().isControlLoopEnabled(),
                               {}});
            for (std::size_t loop = 0; loop < controller->loops()->loopCount(); ++loop) {
                starts_.back().parameters.push_back(settable(controller->loops()->parameters(loop)));
            }
        }
        known_ = start_ = state();
        beginCommands();
    }

    std::string configuration() const
    {
        setUpLogging("off"); // before there is anything to log
        folder_.write("secret.txt", secret);
        return folder_.write("served.xml", replaced(readFile(RIVLINK_FUZZ_EXAMPLES "/cascade/cascade.xml"),
                                                    "</Channels>", otherChannels) +
                                               "<!-- " + secret + " -->\n");
    }

    static CHttpAccess openAccess(const std::string& accessToken)
    {
        CHttpAccess access(accessToken);
        access.allowHost("127.0.0.1", port);
        return access;
    }

    /// Without those of the inputs before.
    void beginCommands()
    {
        commands_.emplace(loaded_.session(), loaded_.catalogue());
        commands_->addSink([this](const SCommandRecord& record) { facts_.forget(record.controller); });
    }

    static std::vector<SLoopParameters::SValue> settable(const SLoopParameters& parameters)
    {
        std::vector<SLoopParameters::SValue> values = parameters.values;
        std::erase_if(values, [](const SLoopParameters::SValue& value) { return value.key == "Setpoint"; });
        return values;
    }

    std::vector<SOperation> operations(const CHttpAccess& access,
                                       const std::optional<std::filesystem::path>& history)
    {
        return operationsOf({loaded_, *commands_, live_, trend_, ages_, facts_, access,
                             [] { return std::size_t{3}; }, "1", history});
    }

    void writeHistory() const
    {
        CHistoryWriter writer(folder_.file("history"));
        writer.define({{"Vessel", "degC"}}, {{EHealth::Ok, "ok"}});
        SHistoryBatch batch;
        for (int second = 0; second < 300; ++second) {
            batch.moments.push_back({time_.utc() + std::chrono::seconds(second),
                                     {{45.0, static_cast<double>(second), 20.0, true, false, 0}}});
        }
        batch.events.push_back({time_.utc(), SHistoryEvent::Command, "Vessel", "page: Vessel: \x1b \"x\""});
        writer.write(batch);
    }

    void pass(std::chrono::milliseconds duration)
    {
        time_.runFor(duration);
        live_.take(loaded_.session().snapshot());
    }

    IFaultSimulation& bench() const
    {
        return dynamic_cast<IFaultSimulation&>(*loaded_.session().devices().front()->device);
    }

    CVirtualTime time_;
    CTemporaryFolder folder_;
    mutable CLoadedConfiguration loaded_;
    std::optional<CCommands> commands_; ///< made anew for each input, in its place
    CLiveState live_;
    CTrendMemory trend_;
    CChannelAges ages_;
    CControllerFacts facts_;
    CHttpAccess access_;
    CHttpAccess guardedAccess_;
    CHttpRouter open_;
    CHttpRouter withHistory_; ///< trends come from a file
    CHttpRouter guarded_;     ///< a token is needed
    std::vector<SControllerStart> starts_;
    std::vector<std::uint64_t> start_; ///< of the input
    std::vector<std::uint64_t> known_; ///< after the last command
};

/// As a connection and the server reply, but for their threads.
SHttpReply replyTo(const CHttpRouter& router, const CHttpRequestParser& parser)
{
    try {
        const SHttpRequest request = parser.request("127.0.0.1");
        router.authorize(request, parser.credentials(address));
        if (const auto interval = router.eventInterval(request)) {
            FUZZ_REQUIRE(interval->count() >= 100 && interval->count() <= 60000, request.path);
            SHttpReply reply;
            reply.contentType = "text/event-stream";
            return reply;
        }
        if (auto page = router.pageReply(request)) {
            return std::move(*page);
        }
        return router.api().carryOut(router.api().find(request), request);
    } catch (const CHttpError& error) {
        return errorReply(error.status(), error.what(), error.field());
    }
}

void checkReply(const SHttpReply& reply, const std::string& input)
{
    using nlohmann::json;
    static const std::set<unsigned> documented{200, 400, 401, 403, 404, 405, 409,
                                               413, 414, 415, 422, 431, 503};
    const std::string shown = std::to_string(reply.status) + " " + reply.body;
    FUZZ_REQUIRE(documented.count(reply.status) == 1, shown);
    for (const std::string& hidden : {secret, token, std::string(passwords)}) {
        FUZZ_REQUIRE(reply.body.find(hidden) == std::string::npos || input.find(hidden) != std::string::npos,
                     shown);
    }
    for (const auto& [name, value] : reply.headers) {
        FUZZ_REQUIRE(!hasControlCharacters(name + value), name + value);
    }
    if (reply.contentType != "application/json") {
        FUZZ_REQUIRE(reply.status == 200, shown);
        return;
    }
    const json body = json::parse(reply.body, nullptr, false); // which takes valid UTF-8 only
    FUZZ_REQUIRE(body.is_object(), shown);
    if (reply.status == 200 || body.contains("status")) { // of "/healthz"
        return;
    }
    const json& error = body.at("error");
    FUZZ_REQUIRE(error.at("message").is_string() && !error.at("message").get<std::string>().empty(), shown);
    FUZZ_REQUIRE(!hasControlCharacters(error.at("message").get<std::string>()), shown);
    FUZZ_REQUIRE(error.at("field").is_null() || error.at("field").is_string(), shown);
    FUZZ_REQUIRE(error.at("field").is_null() || !hasControlCharacters(error.at("field").get<std::string>()),
                 shown);
}

/// Whether the request may have changed something.
bool isCommand(const CHttpRequestParser& parser, const SHttpReply& reply)
{
    const SHttpRequest request = reply.status == 200 ? parser.request("127.0.0.1") : SHttpRequest();
    return request.method == "PUT" || (request.method == "POST" && request.segments.back() == "undo");
}

/// What needs no token.
bool isOpen(const CHttpRouter& router, const CHttpRequestParser& parser)
{
    const SHttpRequest request = parser.request("127.0.0.1");
    return router.pageReply(request) || request.segments == std::vector<std::string>{"healthz"};
}

void serve(CServedSession& session, const CHttpRequestParser& parser, const std::string& input)
{
    const SHttpReply reply = replyTo(session.open(), parser);
    checkReply(reply, input);
    if (isCommand(parser, reply)) {
        session.noteCommand();
    } else if (reply.status == 200 && parser.request("127.0.0.1").path == "/api/history") {
        checkReply(replyTo(session.withHistory(), parser), input);
    }
    const SHttpReply guarded = replyTo(session.guarded(), parser);
    checkReply(guarded, input);
    FUZZ_REQUIRE(guarded.status >= 400 || isOpen(session.guarded(), parser), guarded.body);
    session.checkUnchanged(reply.body);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    namespace http = boost::beast::http;
    CServedSession& session = CServedSession::instance();
    const std::string input(reinterpret_cast<const char*>(data), size);
    const SHttpLimits limits;
    boost::asio::io_context context;
    boost::beast::test::stream stream(context, input);
    stream.close_remote();
    boost::beast::flat_buffer buffer(CHttpRequestParser::bufferSize(limits));
    bool goesOn = true;
    for (int request = 0; goesOn && request < mostRequests; ++request) {
        CHttpRequestParser parser(limits);
        boost::system::error_code error;
        http::read(stream, buffer, parser.parser(), error);
        if (error == http::error::end_of_stream) {
            break;
        }
        if (error) {
            checkReply(CHttpRequestParser::replyTo(error), input);
            break;
        }
        serve(session, parser, input);
        goesOn = parser.keepsAlive();
    }
    session.reset();
    return 0;
}
