/// A plug-in for tests of the host: a bus, a device with an input and an output, and a controller that works
/// them with u = Gain * (Setpoint - actual value). Everything that happens to them is written to the file
/// that the environment variable RIVLINK_FAKE_JOURNAL names, one line each, as it happens. What is noted by
/// the line RIVLINK_FAKE_SLOW_AT takes RIVLINK_FAKE_SLOW_FOR_MS, and RIVLINK_FAKE_CRASH ends the process at
/// the line RIVLINK_FAKE_CRASH_AT (not on Windows); the device RIVLINK_FAKE_WATCHDOG has a
/// watchdog, which notes in the journal that the connection is lost (not on Windows). With
/// RIVLINK_FAKE_COUNT_READINGS a loop's status has for overruns how often it was read. A device called
/// "Strange" throws something that is no exception when it is built, a controller of that name whenever
/// isControlLoopEnabled() is called, and an output whose name begins with "Broken" throws what no output may
/// throw whenever it is written.
#include "common/LoggedThrow.h"
#include "common/LoopGraph.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_common/DeviceAccessException.h"
#include "platform/rivlink_core/Bus.h"
#include "platform/rivlink_core/DeviceInterface.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "platform/rivlink_device/AnalogOutChannel.h"
#include "platform/rivlink_device/ControllerChannel.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/signals2/connection.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <limits>
#include <locale>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#if !defined(_WIN32)
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#endif

#if defined(_WIN32)
#define FAKE_EXPORT __declspec(dllexport)
#else
#define FAKE_EXPORT __attribute__((visibility("default")))
#endif

namespace Rvl::Test {

namespace {

using boost::property_tree::ptree;

#if !defined(_WIN32)

/// Uses up the stack of the calling thread.
std::size_t useUpStack(std::size_t depth)
{
    if (depth == std::numeric_limits<std::size_t>::max()) {
        return 0;
    }
    volatile char room[4096];
    room[depth % sizeof room] = 1;
    return useUpStack(depth + 1) + static_cast<std::size_t>(room[0]);
}

/// Ends the process in a way that no plug-in should. Without a sanitizer's checks, which would end it first.
__attribute__((no_sanitize("undefined", "address"))) void crash(const std::string& kind)
{
    if (kind == "exit") {
        std::exit(0);
    } else if (kind == "quick_exit") {
        std::quick_exit(0);
    } else if (kind == "abort") {
        std::abort();
    } else if (kind == "overflow") {
        std::cerr << useUpStack(0);
    } else {
        volatile int seven = 7;
        volatile int zero = 0;
        volatile int* volatile nowhere = nullptr;
        if (kind == "segv") {
            *nowhere = 1;
        } else if (kind == "fpe") {
            seven = seven / zero;
        } else if (kind == "ill") {
            __builtin_trap();
        }
        std::raise(kind == "bus" ? SIGBUS : SIGTRAP);
    }
}

#else

void crash(const std::string&) {}

#endif

/// Crashes as RIVLINK_FAKE_CRASH says at the line RIVLINK_FAKE_CRASH_AT, once the journal has the line
/// RIVLINK_FAKE_CRASH_AFTER.
void crashAt(const std::string& line)
{
    const char* const at = std::getenv("RIVLINK_FAKE_CRASH_AT");
    if (!at || line != at) {
        return;
    }
    for (std::string found; found != std::getenv("RIVLINK_FAKE_CRASH_AFTER");) {
        std::ifstream stream(std::getenv("RIVLINK_FAKE_JOURNAL"));
        while (std::getline(stream, found) && found != std::getenv("RIVLINK_FAKE_CRASH_AFTER")) {
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    crash(std::getenv("RIVLINK_FAKE_CRASH"));
}

/// Writes a line to the journal, and waits afterwards if RIVLINK_FAKE_SLOW_AT names this line, or crashes.
void journal(const std::string& line)
{
    if (const char* const file = std::getenv("RIVLINK_FAKE_JOURNAL")) {
        static std::mutex mutex;
        const std::lock_guard<std::mutex> lock(mutex);
        std::ofstream stream(file, std::ios::app);
        stream << line << std::endl;
        if (!stream) {
            std::cerr << "the journal takes no line: " << line << std::endl; // a test that looks finds it
        }
    }
    if (const char* const slow = std::getenv("RIVLINK_FAKE_SLOW_AT"); slow && line == slow) {
        std::this_thread::sleep_for(
            std::chrono::milliseconds(std::atoi(std::getenv("RIVLINK_FAKE_SLOW_FOR_MS"))));
    }
    crashAt(line);
}

std::string text(double value)
{
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

/// Fails where the configuration's attribute "FailAt" says so, an object called "Forging" with a text that
/// forges a line and clears the terminal.
void failIf(const ptree& tree, const std::string& step)
{
    if (tree.get<std::string>("<xmlattr>.FailAt", "") == step) {
        const std::string name = tree.get<std::string>("<xmlattr>.Name", "");
        RVL_THROW(CDeviceAccessException, "failing at " + step + " as configured" +
                                              (name == "Forging" ? "\r\n12:00:00 \x1b[2J" : ""));
    }
}

#if !defined(_WIN32)

/// What a device beside the computer has: it detects that the connection is closed, however that
/// came about, and takes its output to 0 (in the journal).
class CWatchdog
{
public:
    explicit CWatchdog(const std::string& device)
    {
        const char* const file = std::getenv("RIVLINK_FAKE_JOURNAL");
        const std::string line = "device " + device + " lost its connection, output = 0\n";
        int ends[2];
        if (pipe(ends) != 0) {
            throw std::runtime_error("no pipe");
        }
        const pid_t child = fork();
        if (child == 0) {
            // of many threads only this one is left: nothing but system calls
            setsid(); // a signal to the host's group is none to the device
            for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
                std::signal(signal, SIG_IGN);
            }
            close(ends[1]);
            char none = 0;
            while (read(ends[0], &none, 1) > 0) {
            }
            const int journalFile = file ? open(file, O_WRONLY | O_APPEND) : -1;
            const bool written = write(journalFile, line.data(), line.size()) > 0;
            _exit(written ? 0 : 1);
        }
        close(ends[0]);
        connection_ = ends[1];
    }
    ~CWatchdog() { close(connection_); }
    CWatchdog(const CWatchdog&) = delete;
    CWatchdog& operator=(const CWatchdog&) = delete;

private:
    int connection_ = -1;
};

#else

/// Without fork() there is none.
class CWatchdog
{
public:
    explicit CWatchdog(const std::string&) {}
};

#endif

class CFakeBus : public IBus
{
public:
    explicit CFakeBus(const std::string& name) : name_(name) {}
    ~CFakeBus() override { journal("bus " + name_ + " destroyed"); }
    const std::string& getName() const override { return name_; }
    void setProperties(const ptree&) override {}
    void init() override { journal("bus " + name_ + " init"); }
    void connect() override { journal("bus " + name_ + " connect"); }
    void disconnect() override { journal("bus " + name_ + " disconnect"); }
    void requestCommunicationStateChange(const CCommunicationStateRequest&) override {}
    bool isConnected() const override { return true; }
    const std::string& getTypeName() const override
    {
        static const std::string name = "Rvl::CFakeBus";
        return name;
    }
    void shutdown() override { journal("bus " + name_ + " shutdown"); }

private:
    std::string name_;
};

/// "40.250" is 40250.
class CPointForThousands : public std::numpunct<char>
{
protected:
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

class CFakeInput;

class CFakeDevice : public IDeviceInterface
{
public:
    explicit CFakeDevice(const ptree& tree)
        : IDeviceInterface(IDeviceFactory::deviceNameFromProperties(tree)), tree_(tree)
    {
        failIf(tree, "construct");
        if (getName() == "Strange") {
            throw 42;
        }
    }
    ~CFakeDevice() override { journal("device " + getName() + " destroyed"); }
    void setProperties(const ptree& tree) override { failIf(tree, "setProperties"); }
    void connect() override;
    void disconnect() override
    {
        if (connected_) {
            journal("device " + getName() + " disconnect, last output " + text(lastOutput));
            connected_ = false;
        }
    }
    bool isConnected() const override { return connected_; }

    std::vector<CFakeInput*> inputs;
    std::atomic<double> lastOutput{0.0};

private:
    ptree tree_;
    std::atomic<bool> connected_{false};
    std::unique_ptr<CWatchdog> watchdog_;
};

CFakeDevice& deviceOf(const ptree& tree)
{
    return dynamic_cast<CFakeDevice&>(
        *IDeviceInterface::NameServer.lookupObject(tree.get<std::string>("<xmlattr>.Device")));
}

class CFakeInput : public CAnalogInChannel
{
public:
    explicit CFakeInput(const ptree& tree)
        : CAnalogInChannel(IIoChannelFactory::channelNameFromProperties(tree)), tree_(tree)
    {
        failIf(tree, "construct");
        if (getName() == "Foreign") {
            std::locale::global(std::locale(std::locale::classic(), new CPointForThousands));
        }
    }
    ~CFakeInput() override { journal("input " + getName() + " destroyed"); }
    void connectToDevice() override
    {
        failIf(tree_, "connectToDevice");
        deviceOf(tree_).inputs.push_back(this);
    }
    void measure()
    {
        if (const auto value = tree_.get_optional<double>("<xmlattr>.Value")) {
            publishValue(*value);
        }
    }

private:
    ptree tree_;
};

void CFakeDevice::connect()
{
    journal("device " + getName() + " connect");
    failIf(tree_, "connect");
    if (const char* const watched = std::getenv("RIVLINK_FAKE_WATCHDOG"); watched && getName() == watched) {
        watchdog_ = std::make_unique<CWatchdog>(getName());
    }
    connected_ = true;
    for (CFakeInput* input : inputs) {
        input->measure();
    }
}

class CFakeOutput : public CAnalogOutChannel
{
public:
    explicit CFakeOutput(const ptree& tree)
        : CAnalogOutChannel(IIoChannelFactory::channelNameFromProperties(tree)), tree_(tree)
    {}
    ~CFakeOutput() override { journal("output " + getName() + " destroyed"); }
    void connectToDevice() override { device_ = &deviceOf(tree_); }

protected:
    void driveOutput(double unscaledValue) override
    {
        if (!device_ || !device_->isConnected()) {
            throw CDeviceAccessException("device is not connected");
        }
        if (getName().rfind("Broken", 0) == 0) {
            throw std::logic_error("the output is broken");
        }
        if (tree_.get("<xmlattr>.Stuck", false)) {
            throw CDeviceAccessException("the valve is stuck");
        }
        if (device_->lastOutput.exchange(unscaledValue) != unscaledValue) {
            journal("output " + getName() + " = " + text(unscaledValue));
        }
    }

private:
    ptree tree_;
    CFakeDevice* device_ = nullptr;
};

class CFakeController : public IControllerChannel
{
public:
    explicit CFakeController(const ptree& tree)
        : IControllerChannel(IIoChannelFactory::channelNameFromProperties(tree)), tree_(tree),
          input_(
              CAnalogInChannel::NameServer.lookupObject(tree.get<std::string>("ControlLoop.Input.Channel"))),
          output_(CAnalogOutChannel::NameServer.lookupObject(
              tree.get<std::string>("ControlLoop.Output.Channel"))),
          gain_(tree.get<double>("ControlLoop.Parameters.<xmlattr>.Gain")),
          disabledU_(tree.get("ControlLoop.Parameters.<xmlattr>.DisabledU", 0.0)),
          sampleTime_ms(tree.get<int>("ControlLoop.Parameters.<xmlattr>.SampleTime_ms")),
          setPoint_(tree.get<double>("ControlLoop.Parameters.<xmlattr>.Setpoint"))
    {
        failIf(tree, "construct");
        stopConnection_ = CEnvironment::getInstance()->aboutToDisconnect().connect([this] {
            journal("controller " + getName() + " stopped");
            stop();
        });
    }
    ~CFakeController() override
    {
        stopConnection_.disconnect();
        stop();
        journal("controller " + getName() + " destroyed");
    }
    void setProperties(const ptree& tree) override
    {
        IControllerChannel::setProperties(tree);
        failIf(tree, "setProperties");
    }
    void writeSetPointUnscaled(double setPoint) override { setPoint_ = setPoint; }
    double getSetPoint() override { return getScaledValue(setPoint_); }
    double readControlValue() override { return getScaledValue(readControlValueUnscaled()); }
    void writeManualControlValue(double value) override
    {
        writeManualControlValueUnscaled(getUnscaledValue(value));
    }
    double readActualValueUnscaled() override { return input_->readValueUnscaled(); }
    void setEnabled(bool enable) override
    {
        journal("controller " + getName() + (enable ? " enable" : " disable"));
        failIf(tree_, enable ? "enable" : "disable");
        enabled_ = enable;
        if (!enable) {
            stop();
            controlValue_ = disabledU_;
            output_->safeWriteOutput(disabledU_);
        } else if (!thread_.joinable()) {
            stopping_ = false;
            thread_ = std::thread([this] { work(); });
        }
    }
    void setManualMode(bool manual) override { manual_ = manual; }
    bool isControlLoopEnabled() override
    {
        if (getName() == "Strange") {
            throw std::logic_error("no state");
        }
        return enabled_;
    }
    void writeManualControlValueUnscaled(double value) override { manualValue_ = value; }
    double readControlValueUnscaled() override { return controlValue_; }

    SLoopStatus status() const
    {
        SLoopStatus status;
        status.typeName = "Rvl::CFakeLoop";
        status.sampleTime_ms = sampleTime_ms;
        status.enabled = enabled_;
        status.manual = manual_;
        status.setPoint = setPoint_;
        status.actualValue = input_->readValueUnscaled();
        status.controlValue = controlValue_;
        status.steps = steps_;
        ++readings_;
        status.overruns = std::getenv("RIVLINK_FAKE_COUNT_READINGS") ? readings_.load() : 3;
        status.meanPeriodError_ms = 0.25;
        status.worstPeriodError_ms = -1.5;
        return status;
    }

private:
    void work()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        while (!stopping_) {
            controlValue_ = manual_ ? manualValue_.load() : gain_ * (setPoint_ - readActualValueUnscaled());
            output_->safeWriteOutput(controlValue_);
            ++steps_;
            wake_.wait_for(lock, std::chrono::milliseconds(sampleTime_ms));
        }
    }
    void stop()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    ptree tree_;
    CAnalogInChannel* input_;
    CAnalogOutChannel* output_;
    double gain_;
    double disabledU_;
    int sampleTime_ms;
    std::atomic<double> setPoint_;
    std::atomic<double> controlValue_{0.0};
    std::atomic<double> manualValue_{0.0};
    std::atomic<bool> manual_{false};
    std::atomic<bool> enabled_{false};
    std::atomic<std::uint64_t> steps_{0};
    mutable std::atomic<std::uint64_t> readings_{0};
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::thread thread_;
    boost::signals2::connection stopConnection_;
};

template <class Base, class Product, class Made> class CFakeFactory : public Base
{
public:
    explicit CFakeFactory(const std::string& typeName) : typeName_(typeName) {}
    std::string getTypeName() override { return typeName_; }

protected:
    Product* createObjectImpl(const ptree& tree) override { return new Made(tree); }

private:
    std::string typeName_;
};

class CFakeBusFactory : public IBusFactory
{
public:
    std::string getTypeName() override { return "Rvl::CFakeBus"; }

protected:
    IBus* createObjectImpl(const ptree& tree) override
    {
        return new CFakeBus(tree.get<std::string>("BusName"));
    }
};

void registerFactories()
{
    CEnvironment& environment = *CEnvironment::getInstance();
    environment.getBusFactoryRegistry().put(std::make_shared<CFakeBusFactory>());
    environment.getDeviceFactoryRegistry().put(
        std::make_shared<CFakeFactory<IDeviceFactory, IDeviceInterface, CFakeDevice>>("Rvl::CFakeDevice"));
    auto& channels = environment.getIoChannellFactoryRegistry();
    channels.put(std::make_shared<CFakeFactory<IIoChannelFactory, IIoChannelInterface, CFakeInput>>(
        "Rvl::CFakeInput"));
    channels.put(std::make_shared<CFakeFactory<IIoChannelFactory, IIoChannelInterface, CFakeOutput>>(
        "Rvl::CFakeOutput"));
    channels.put(std::make_shared<CFakeFactory<IIoChannelFactory, IIoChannelInterface, CFakeController>>(
        "Rvl::CFakeController"));
    environment.busRegistry().put(std::make_shared<CFakeBus>("FakeBus"));
}

[[maybe_unused]] const bool registered =
    CEnvironment::getInstance()->registerFactories().connect(registerFactories).connected();

/// One loop that gives its status, and that cannot be changed or supervised.
class CFakeGraph : public ILoopGraph
{
public:
    explicit CFakeGraph(const CFakeController& controller)
        : controller_(controller), name_(controller.getName())
    {}
    ~CFakeGraph() override { journal("loops of " + name_ + " destroyed"); }
    std::size_t loopCount() const override { return 1; }
    SLoopStatus status(std::size_t) const override { return controller_.status(); }
    IIoChannelInterface* inputChannel(std::size_t) const override { return nullptr; }
    SLoopParameters parameters(std::size_t) const override
    {
        controller_.status(); // takes the loop's lock as well
        return {};
    }
    void setParameters(std::size_t, const std::vector<SLoopParameters::SValue>&) override
    {
        RVL_THROW(std::invalid_argument, "The loop has no parameters");
    }
    SLoopMemory save(std::size_t) const override { return {controller_.status().typeName, {}}; }
    void restore(std::size_t, const SLoopMemory&) override {}
    void handOver(bool) override {}
    std::unique_ptr<ILoopSupervision> supervise(const IInputCheck&, const SBadInputReaction&) override
    {
        return nullptr;
    }
    void beginStop() override { journal("controller " + name_ + " begins to stop"); }

private:
    const CFakeController& controller_;
    std::string name_;
};

ILoopGraph* graphOf(IIoChannelInterface& channel)
{
    const auto* const controller = dynamic_cast<CFakeController*>(&channel);
    return controller ? new CFakeGraph(*controller) : nullptr;
}

} // namespace

} // namespace Rvl::Test

extern "C" FAKE_EXPORT const Rvl::SLoops* rivlinkLoops()
{
    // its controllers take their time from the system whatever the timeline
    static const Rvl::SLoops loops{Rvl::SLoops::currentVersion, &Rvl::Test::graphOf, [](Rvl::ITimeline*) {}};
    return &loops;
}
