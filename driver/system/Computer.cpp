#include "driver/system/Computer.h"

#include "common/LoggedThrow.h"
#include "driver/common/DeviceProperties.h"
#include "driver/system/CpuCounters.h"
#include "driver/system/LoadGenerator.h"
#include "platform/rivlink_common/DeviceAccessException.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>
#include <system_error>
#include <thread>

namespace Rvl {

namespace {

constexpr std::size_t cpuUseSensor = 0;

unsigned coreCount()
{
    return std::max(std::thread::hardware_concurrency(), 1U);
}

} // namespace

struct CComputer::Private
{
    CLoadGenerator load;
    unsigned threads = 1;
    int period_ms = 0;
    double smoothing_s = 0.0;

    std::optional<SCpuCounters> counters; ///< as of the last value
    double sinceCounters_s = 0.0;
    std::optional<double> use;

    void configure(const CDeviceProperties& properties);
};

/// The attributes with their ranges and the one place of their defaults.
void CComputer::Private::configure(const CDeviceProperties& properties)
{
    const auto readThreads = properties.optionalInteger("Threads", {1.0, 1024.0, ""});
    const auto readPeriod_ms = properties.integer("LoadPeriod_ms", 100, {1.0, 60000.0, "ms"});
    smoothing_s = properties.real("SmoothingTimeConstant_s", 0.0, {0.0, 3600.0, "s"});
    period_ms = static_cast<int>(readPeriod_ms);
    threads = readThreads ? static_cast<unsigned>(*readThreads) : coreCount();
}

const SDeviceFamily systemDevices{"a computer", "computers", [](IDeviceInterface* device) -> CSignalDevice* {
                                      return dynamic_cast<CComputer*>(device);
                                  }};

CComputer::CComputer(const std::string& name)
    : CSignalDevice(name, 500), private_(std::make_unique<Private>())
{
    addSensor("CpuUse");
    addActuator("Load", 0.0, 100.0);
    private_->configure(CDeviceProperties("", boost::property_tree::ptree()));
}

CComputer::~CComputer()
{
    disconnect();
}

void CComputer::setProperties(const boost::property_tree::ptree& tree)
{
    CSignalDevice::setProperties(tree);
    private_->configure(CDeviceProperties("Device " + getName(), tree));
}

std::size_t CComputer::runningLoadThreads() const
{
    return private_->load.threadCount();
}

unsigned CComputer::loadThreads() const
{
    return private_->threads;
}

int CComputer::loadPeriod_ms() const
{
    return private_->period_ms;
}

double CComputer::smoothingTimeConstant_s() const
{
    return private_->smoothing_s;
}

void CComputer::starting()
{
    private_->counters.reset();
    private_->use.reset();
    try {
        private_->load.start(private_->threads, std::chrono::milliseconds(private_->period_ms));
    } catch (const std::system_error& error) {
        RVL_THROW(CDeviceAccessException,
                  "Device " + getName() + ": its load threads could not be started: " + error.what());
    }
}

void CComputer::update(double elapsed_s)
{
    Private& data = *private_;
    data.sinceCounters_s += elapsed_s;
    std::optional<SCpuCounters> counters;
    try {
        counters = readCpuCounters();
    } catch (const CDeviceAccessException& exception) {
        setSensorFault(cpuUseSensor, exception.what());
        return;
    }
    setSensorFault(cpuUseSensor, "");
    if (!data.counters) {
        data.counters = counters;
        data.sinceCounters_s = 0.0;
        return;
    }
    const std::optional<double> measured = cpuUse(*data.counters, *counters);
    if (!measured) {
        return; // the interval was shorter than the counters' resolution: it is added to the next one
    }
    const bool smoothed = data.use && data.smoothing_s > 0.0;
    const double share = smoothed ? -std::expm1(-data.sinceCounters_s / data.smoothing_s) : 1.0;
    const double previous = data.use.value_or(0.0);
    data.use = previous + share * (*measured - previous);
    data.counters = counters;
    data.sinceCounters_s = 0.0;
    publish(cpuUseSensor, *data.use);
}

bool CComputer::ready() const
{
    // without counters there is never a value
    return private_->use || !private_->counters;
}

void CComputer::actuatorWritten(std::size_t, double value)
{
    private_->load.setDuty(value);
}

void CComputer::stopped()
{
    private_->load.stop();
}

} // namespace Rvl
