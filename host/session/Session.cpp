#include "host/session/Session.h"

#include "host/base/ControlCharacters.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_device/ControllerChannel.h"

#include <cstddef>
#include <thread>
#include <utility>

namespace Rvl {

namespace {

/// Keeps the rig's objects for as long as the process lives, and reachable, as they are no leak.
void keepForTheProcess(SRig rig)
{
    static auto& kept = *new std::vector<SRig>();
    kept.push_back(std::move(rig));
}

/// Disables the controller, whatever that throws: the others have to be disabled, too.
void disableQuietly(const CController& controller)
{
    try {
        controller.channel().setEnabled(false);
    } catch (...) {
        // nothing is left that could be done about it
    }
}

/// Disconnects the device, whatever that throws: the others have to be disconnected, too.
void disconnectQuietly(IDeviceInterface& device)
{
    try {
        device.disconnect();
    } catch (...) {
        // nothing is left that could be done about it
    }
}

} // namespace

CSession::CSession(SRig rig, const SSessionSettings& settings)
    : rig_(std::move(rig)), settings_(settings), calls_(settings.limits.call)
{}

CSession::~CSession()
{
    shutDown();
    if (calls_.isGivenUp()) {
        keepForTheProcess(std::move(rig_)); // its objects are still in use
    }
}

void CSession::start()
{
    started_ = true;
    connectBuses();
    connectDevices();
    enableControllers();
    running_ = !startCancelled_;
}

void CSession::connectBuses()
{
    CBusRegistry& buses = CEnvironment::getInstance()->busRegistry();
    for (const std::string& name : buses.names()) {
        if (startCancelled_) {
            return;
        }
        const std::shared_ptr<IBus> bus = buses.get(name);
        const CCallWatch::CCall call(calls_, bus->getName());
        buses_.add(bus);
        bus->init();
        bus->connect();
    }
}

void CSession::connectDevices()
{
    for (const auto& entry : rig_.devices) {
        if (startCancelled_) {
            return;
        }
        const CCallWatch::CCall call(calls_, entry->name);
        if (!entry->busName.empty()) {
            CEnvironment::getInstance()->busRegistry().get(entry->busName)->addDevice(entry->device.get());
        }
        entry->device->connect();
    }
}

void CSession::enableControllers()
{
    for (const auto& entry : rig_.channels) {
        if (!entry->controller || !entry->controller->startMode().enabled) {
            continue;
        }
        if (startCancelled_) {
            return;
        }
        const CCallWatch::CCall call(calls_, entry->name);
        enable(*entry->controller);
        if (disabling_) { // perhaps the shut-down disabled it before it was enabled
            entry->controller->channel().setEnabled(false);
            return;
        }
    }
}

void CSession::enable(CController& controller)
{
    const CController::SStart& mode = controller.startMode();
    if (mode.manual) {
        if (mode.manualControlValue) {
            controller.channel().writeManualControlValue(*mode.manualControlValue);
        }
        controller.setManual(true);
    }
    if (!startCancelled_) { // the calls above may have taken long
        controller.setEnabled(true);
    }
}

void CSession::cancelStart()
{
    startCancelled_ = true;
}

std::vector<std::string> CSession::suspend()
{
    suspended_ = true;
    CShutdown shutdown(rig_, calls_, settings_.limits, settings_.threads);
    disabledBySuspend_.clear();
    for (CController* const controller : rig_.controllers) {
        const CMutexLock lock(controller->commandMutex()); // a command under way may enable it
        if (controller->channel().isControlLoopEnabled()) {
            disabledBySuspend_.push_back(controller);
        }
    }
    return shutdown.disableAll().failures;
}

std::vector<std::string> CSession::resume()
{
    std::vector<std::string> failures;
    for (CController* const controller : disabledBySuspend_) {
        if (disabling_) {
            break;
        }
        const CMutexLock lock(controller->commandMutex());
        const CCallWatch::CCall call(calls_, controller->name());
        try {
            controller->setEnabled(true);
        } catch (const std::exception& exception) {
            failures.push_back("enabling " + controller->name() + ": " +
                               escapeControlCharacters(exception.what()));
        } catch (...) {
            failures.push_back("enabling " + controller->name() + ": an exception of unknown kind");
        }
        if (disabling_) { // perhaps the shut-down disabled it before it was enabled
            disableQuietly(*controller);
        }
    }
    disabledBySuspend_.clear();
    suspended_ = false;
    return failures;
}

SShutdownReport CSession::shutDown(const std::function<void()>& onStopped)
{
    CShutdown shutdown(rig_, calls_, settings_.limits, settings_.threads);
    if (!started_) {
        if (onStopped) {
            onStopped();
        }
        return calls_.isGivenUp() ? SShutdownReport{{}, true} : shutdown.destroy();
    }
    disabling_ = true;
    SShutdownReport report = shutdown.takeDown({buses_, onStopped});
    started_ = false;
    return report;
}

void CSession::emergencyStop(eThread thread)
{
    cancelStart();
    disabling_ = true;
    try {
        disableSideBySide(thread);
    } catch (...) { // no memory for it
        for (const CController* const controller : rig_.controllers) {
            disableQuietly(*controller);
        }
    }
    try {
        // beside the failed thread the rest of its limit is left, but for the message
        disconnectDevicesAtOnce(thread == FailedThread
                                    ? settings_.limits.emergencyDisconnect
                                    : settings_.limits.crash * 9 / 10 - settings_.limits.emergencyDisable);
    } catch (...) { // no memory for it
        for (const auto& entry : rig_.devices) {
            if (entry) {
                disconnectQuietly(*entry->device);
            }
        }
    }
}

void CSession::disableSideBySide(eThread thread)
{
    CDeadlineTasks disabling(settings_.threads);
    for (const CController* const controller : rig_.controllers) {
        disabling.add(controller->name(), [controller] { disableQuietly(*controller); });
    }
    disabling.start();
    if (disabling.wait(settings_.limits.emergencyDisable) || thread == OtherThread) {
        return;
    }
    // The failed loop's lock is held by its own thread, which is this one. If another loop has failed as
    // well, its lock is never released, and the calls below hang; its device can still be disconnected.
    CDeadlineTasks disconnecting;
    disconnecting.add("disconnecting", [this] {
        std::this_thread::sleep_for(settings_.limits.emergencyDisconnect);
        disconnectDevicesAtOnce(settings_.limits.emergencyDisconnect);
    });
    disconnecting.start();
    for (std::size_t index = 0; index < rig_.controllers.size(); ++index) {
        if (!disabling.hasEnded(index)) {
            disableQuietly(*rig_.controllers[index]);
        }
    }
}

void CSession::disconnectDevicesAtOnce(std::chrono::milliseconds limit)
{
    CDeadlineTasks tasks(settings_.threads);
    for (const auto& entry : rig_.devices) {
        if (entry) { // else it has been destroyed
            tasks.add(entry->name, [device = entry->device.get()] { disconnectQuietly(*device); });
        }
    }
    tasks.start();
    tasks.wait(limit);
}

CController* CSession::findController(const std::string& name) const
{
    for (CController* const controller : rig_.controllers) {
        if (controller->name() == name) {
            return controller;
        }
    }
    return nullptr;
}

SSnapshot CSession::snapshot() const
{
    SSnapshot result;
    result.utc = settings_.timeline->utc();
    result.monotonic = settings_.timeline->monotonic();
    result.controllers.reserve(rig_.controllers.size());
    for (const CController* const controller : rig_.controllers) {
        const CCallWatch::CCall call(calls_, controller->name());
        result.controllers.push_back(controller->read());
    }
    return result;
}

bool CSession::hasStepped() const
{
    for (const CController* const controller : rig_.controllers) {
        const CCallWatch::CCall call(calls_, controller->name());
        if (controller->hasStepped()) {
            return true;
        }
    }
    return false;
}

} // namespace Rvl
