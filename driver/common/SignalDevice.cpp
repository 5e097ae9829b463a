#include "driver/common/SignalDevice.h"

#include "common/LoggedThrow.h"
#include "driver/common/DeviceProperties.h"
#include "platform/rivlink_common/DeviceAccessException.h"
#include "runtime/Timelines.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>

namespace Rvl {

struct CSignalDevice::Private
{
    int defaultUpdateInterval_ms = 0;
    int updateInterval_ms = 0;
    std::atomic<bool> connected{false};
    std::mutex disconnectMutex;

    ITimeline* timeline = nullptr; ///< of the worker
    std::mutex readyMutex;
    std::condition_variable readyChanged;
    bool isReady = false;
    // the worker's
    std::chrono::nanoseconds interval{0};
    std::chrono::nanoseconds due{0};
    std::chrono::nanoseconds lastUpdate{0};
    bool isPrepared = false; ///< the same as isReady

    std::unique_ptr<IWorker> worker; ///< last, as it uses all of the above
};

CSignalDevice::CSignalDevice(const std::string& name, int updateInterval_ms)
    : IDeviceInterface(name), CSignalTable(name), private_(std::make_unique<Private>())
{
    private_->defaultUpdateInterval_ms = updateInterval_ms;
    private_->updateInterval_ms = updateInterval_ms;
}

CSignalDevice::~CSignalDevice() = default;

void CSignalDevice::setProperties(const boost::property_tree::ptree& tree)
{
    const CDeviceProperties properties("Device " + getName(), tree);
    private_->updateInterval_ms = static_cast<int>(
        properties.integer("UpdateInterval_ms", private_->defaultUpdateInterval_ms, {1.0, 60000.0, "ms"}));
}

void CSignalDevice::connect()
{
    if (isConnected()) {
        return;
    }
    starting();
    Private& data = *private_;
    data.timeline = &currentTimeline();
    data.isReady = data.isPrepared = false;
    data.interval = std::chrono::milliseconds(data.updateInterval_ms);
    try {
        data.worker = data.timeline->makeWorker(getName());
    } catch (const std::system_error& error) {
        stopped();
        RVL_THROW(CDeviceAccessException,
                  "Device " + getName() + ": its thread could not be started: " + error.what());
    }
    data.worker->post([this] {
        private_->due = private_->lastUpdate = private_->timeline->monotonic();
        updateAndContinue();
    });
    try {
        std::unique_lock<std::mutex> lock(data.readyMutex);
        data.timeline->wait(lock, data.readyChanged, [&data] { return data.isReady; });
    } catch (...) {
        data.worker.reset();
        stopped();
        throw;
    }
    data.connected = true;
}

void CSignalDevice::disconnect()
{
    // an emergency may end the connection on another thread meanwhile
    const std::lock_guard<std::mutex> disconnecting(private_->disconnectMutex);
    if (!isConnected()) {
        return;
    }
    // one more update carries out what was written until now
    private_->worker->post([this] { updateOnce(); });
    private_->worker->stopAndJoin();
    private_->worker.reset();
    private_->connected = false;
    takeActuatorsToSafeValues();
    stopped();
}

void CSignalDevice::carryOutPendingWrites()
{
    Private& data = *private_;
    const std::lock_guard<std::mutex> lock(data.disconnectMutex); // the worker has to stay
    if (!isConnected()) {
        return;
    }
    const auto isDone = std::make_shared<bool>(false);
    data.worker->post([this, isDone] {
        updateOnce();
        {
            const std::lock_guard<std::mutex> done(private_->readyMutex);
            *isDone = true;
        }
        private_->readyChanged.notify_all();
    });
    std::unique_lock<std::mutex> waiting(data.readyMutex);
    data.timeline->wait(waiting, data.readyChanged, [&isDone] { return *isDone; });
}

bool CSignalDevice::isConnected() const
{
    return private_->connected;
}

int CSignalDevice::updateInterval_ms() const
{
    return private_->updateInterval_ms;
}

void CSignalDevice::starting() {}

bool CSignalDevice::ready() const
{
    return true;
}

void CSignalDevice::stopped() {}

void CSignalDevice::updateOnce()
{
    const std::chrono::nanoseconds now = private_->timeline->monotonic();
    const std::chrono::duration<double> elapsed = now - private_->lastUpdate;
    private_->lastUpdate = now;
    withUpdateLock([&] { update(elapsed.count()); });
}

void CSignalDevice::updateAndContinue()
{
    updateOnce();
    Private& data = *private_;
    if (!data.isPrepared && ready()) {
        data.isPrepared = true;
        {
            const std::lock_guard<std::mutex> lock(data.readyMutex);
            data.isReady = true;
        }
        data.readyChanged.notify_all();
    }
    // after a delay the next update comes at once, and those missed are not made up for; while connect()
    // waits for the first values, they come soon
    constexpr std::chrono::nanoseconds soon = std::chrono::milliseconds(50);
    const std::chrono::nanoseconds now = data.timeline->monotonic();
    data.due = std::max(data.due + (data.isPrepared ? data.interval : std::min(data.interval, soon)), now);
    data.worker->after(data.due - now, [this] { updateAndContinue(); });
}

} // namespace Rvl
