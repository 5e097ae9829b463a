#include "host/session/Shutdown.h"

#include "host/base/ControlCharacters.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_core/PendingWrites.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "platform/rivlink_device/ControllerChannel.h"

#include <algorithm>
#include <utility>

namespace Rvl {

void CConnectedBuses::add(const std::shared_ptr<IBus>& bus)
{
    const CMutexLock lock(mutex_);
    buses_.push_back(bus);
}

std::vector<std::shared_ptr<IBus>> CConnectedBuses::takeAll()
{
    const CMutexLock lock(mutex_);
    return std::exchange(buses_, {});
}

/// What failed, as several threads report it.
class CShutdown::CFailures
{
public:
    /// Carries out a step and keeps what it throws.
    void attempt(const std::string& name, const std::function<void()>& step)
    {
        try {
            step();
        } catch (const std::exception& exception) {
            add(name + ": " + exception.what());
        } catch (...) {
            add(name + ": an exception of unknown kind");
        }
    }
    void add(const std::string& failure)
    {
        const CMutexLock lock(mutex_);
        texts_.push_back(escapeControlCharacters(failure)); // devices and plug-ins give their texts
    }
    std::vector<std::string> texts() const
    {
        const CMutexLock lock(mutex_);
        return texts_;
    }

    void disable(const CController& controller)
    {
        bool enabled = true;
        IControllerChannel& channel = controller.channel();
        attempt("asking " + controller.name(), [&] { enabled = channel.isControlLoopEnabled(); });
        attempt("disabling " + controller.name(), [&] { channel.setEnabled(false); });
        for (const IIoChannelInterface* const referred : controller.referred()) {
            const bool driven = dynamic_cast<const CAnalogInChannel*>(referred) == nullptr;
            if (enabled && driven && referred->isFaulty()) {
                add(controller.name() + ": its disabled value may not have reached " + referred->getName() +
                    ": " + referred->fault());
            }
        }
    }

private:
    mutable CMutex mutex_;
    std::vector<std::string> texts_ RVL_GUARDED_BY(mutex_);
};

CShutdown::CShutdown(SRig& rig, CCallWatch& calls, const SShutdownLimits& limits,
                     CDeadlineTasks::eThreads threads)
    : rig_(rig), calls_(calls), limits_(limits), stopLimits_(limits), threads_(threads),
      failures_(std::make_shared<CFailures>())
{
    // One step stops all of them. Their threads end side by side, for which many of them get more time, but
    // the step has an end whatever their number.
    constexpr std::size_t most = 4000;
    stopLimits_.progress += std::chrono::milliseconds(std::min(rig_.controllers.size(), most));
}

SShutdownReport CShutdown::disableAll()
{
    disableControllers();
    carryOutPendingWrites();
    return report();
}

SShutdownReport CShutdown::takeDown(const SStarted& started)
{
    disableControllers();
    stopDrivers();
    if (started.onStopped) {
        started.onStopped();
    }
    if (!calls_.isGivenUp()) {
        destroyControllers();
    }
    disconnectDevices();
    if (!calls_.isGivenUp()) {
        destroyChannelsAndDevices(true);
    }
    disconnectBuses(started.buses);
    return report();
}

SShutdownReport CShutdown::destroy()
{
    threads_ = CDeadlineTasks::Inline; // nothing that could hang has been connected
    destroyControllers();
    destroyChannelsAndDevices(false);
    return report();
}

SShutdownReport CShutdown::report() const
{
    return {failures_->texts(), calls_.isGivenUp()};
}

void CShutdown::carryOut(const std::vector<SStep>& steps, const SShutdownLimits& limits,
                         CDeadlineTasks::eOrder order, const std::string& consequence)
{
    CDeadlineTasks tasks(threads_);
    for (const SStep& step : steps) {
        tasks.add(step.name, [failures = failures_, step] { failures->attempt(step.name, step.action); });
    }
    for (const std::string& name : tasks.run(limits, order)) {
        calls_.giveUp();
        failures_->add(name + ": did not end within " + limitText(limits.progress) + consequence);
        if (order == CDeadlineTasks::InOrder) {
            break; // the others have not begun
        }
    }
}

/// So that the disabled values are in the actuators and not only on their way. Disconnection includes it.
void CShutdown::carryOutPendingWrites()
{
    std::vector<SStep> steps;
    for (const auto& entry : rig_.devices) {
        if (auto* const pending = dynamic_cast<IPendingWrites*>(entry->device.get())) {
            steps.push_back(
                {"writing the outputs of " + entry->name, [pending] { pending->carryOutPendingWrites(); }});
        }
    }
    carryOut(steps, limits_, CDeadlineTasks::AnyOrder, "; its outputs may still be driven");
}

void CShutdown::disableControllers()
{
    std::vector<SStep> steps;
    for (const auto& entry : rig_.channels) {
        if (const CController* const controller = entry->controller.get()) {
            steps.push_back({"disabling " + entry->name,
                             [controller, failures = failures_] { failures->disable(*controller); }});
        }
    }
    carryOut(steps, limits_, CDeadlineTasks::AnyOrder, "; what it drives may still be driven");
}

void CShutdown::stopDrivers()
{
    // what the signal stops it stops one after another, each up to the end of the step under way and of the
    // thread: they end side by side if all have been begun before
    const SStep step{
        "stopping what drives devices",
        [controllers = rig_.controllers, failures = failures_] { // the rig may be moved meanwhile
            for (const CController* const controller : controllers) {
                if (ILoopGraph* const loops = controller->loops()) {
                    failures->attempt("stopping " + controller->name(), [loops] { loops->beginStop(); });
                }
            }
            CEnvironment::getInstance()->aboutToDisconnect()();
        }};
    if (!calls_.isGivenUp()) {
        carryOut({step}, stopLimits_);
        return;
    }
    CDeadlineTasks tasks; // not waited for: it may wait for the hung call, too
    tasks.add(step.name, step.action);
    tasks.start();
}

void CShutdown::destroyControllers()
{
    rig_.controllers.clear();
    std::vector<SStep> steps;
    // in reverse, because the later ones may be built on the earlier ones
    for (auto entry = rig_.channels.rbegin(); entry != rig_.channels.rend(); ++entry) {
        if ((*entry)->controller) {
            steps.push_back({"destroying " + (*entry)->name, [channel = entry->get()] {
                                 channel->controller.reset();
                                 channel->channel.reset();
                             }});
        }
    }
    carryOut(steps, stopLimits_, CDeadlineTasks::InOrder);
}

void CShutdown::disconnectDevices()
{
    std::vector<SStep> steps;
    for (auto entry = rig_.devices.rbegin(); entry != rig_.devices.rend(); ++entry) {
        steps.push_back(
            {"disconnecting " + (*entry)->name, [device = (*entry)->device.get()] { device->disconnect(); }});
    }
    carryOut(steps, limits_);
}

void CShutdown::destroyChannelsAndDevices(bool leaveBuses)
{
    std::vector<SStep> steps;
    for (auto entry = rig_.channels.rbegin(); entry != rig_.channels.rend(); ++entry) {
        steps.push_back({"destroying " + (*entry)->name, [&channel = *entry] { channel.reset(); }});
    }
    for (auto entry = rig_.devices.rbegin(); entry != rig_.devices.rend(); ++entry) {
        if (leaveBuses && !(*entry)->busName.empty()) {
            steps.push_back({"leaving the bus " + (*entry)->busName, [device = entry->get()] {
                                 CEnvironment::getInstance()
                                     ->busRegistry()
                                     .get(device->busName)
                                     ->removeDevice(device->device.get());
                             }});
        }
        steps.push_back({"destroying " + (*entry)->name, [&device = *entry] { device.reset(); }});
    }
    carryOut(steps, limits_, CDeadlineTasks::InOrder);
    if (!calls_.isGivenUp()) {
        rig_.channels.clear();
        rig_.devices.clear();
    }
}

void CShutdown::disconnectBuses(CConnectedBuses& buses)
{
    const std::vector<std::shared_ptr<IBus>> connected = buses.takeAll();
    std::vector<SStep> steps;
    for (auto bus = connected.rbegin(); bus != connected.rend(); ++bus) {
        const std::string name = "the bus " + (*bus)->getName();
        steps.push_back({"disconnecting " + name, [failures = failures_, name, bus = *bus] {
                             failures->attempt("disconnecting " + name, [&] { bus->disconnect(); });
                             failures->attempt("shutting down " + name, [&] { bus->shutdown(); });
                         }});
    }
    carryOut(steps, limits_);
}

} // namespace Rvl
