#include "host/session/Session.h"

#include "host/base/HostException.h"
#include "host/base/NumberText.h"
#include "host/base/Suggestion.h"
#include "host/configuration/ConfigurationFrame.h"
#include "host/process/DescriptorLimit.h"
#include "host/session/ClockStepDetector.h"
#include "host/session/InputSupervision.h"
#include "platform/rivlink_core/DeviceInterface.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_core/IoChannelInterface.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "platform/rivlink_device/ControllerChannel.h"
#include "platform/rivlink_device/LinearScaling.h"

#include <boost/system/system_error.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <mutex>
#include <thread>

namespace Rvl {

using boost::property_tree::ptree;

struct CSession::SChannel
{
    std::string name;
    std::size_t position = 0; ///< in the file
    ptree tree;
    std::vector<std::string> provides;
    std::vector<SReference> references;
    std::unique_ptr<IIoChannelInterface> channel;
    IControllerChannel* controller = nullptr; ///< the same object, if it is one
    bool manual = false;
    std::vector<const IIoChannelInterface*> referred; ///< for a controller: the channels it refers to
    // these end before the channel, the supervision first
    std::unique_ptr<ILoopGraph> graph; ///< for a controller that is made of a plug-in's loops
    std::unique_ptr<CInputSupervision> supervision;
};

struct CSession::SDevice
{
    std::string name;
    std::string busName;
    std::unique_ptr<IDeviceInterface> device;
};

namespace {

/// No controller is built with fewer files left to open: its event loop takes three, and what runs
/// afterwards, such as a record or a device's connection, shall find some.
constexpr std::size_t spareFiles = 8;

} // namespace

CSession::CSession(const CConfiguration& configuration, const CTypeCatalogue& catalogue,
                   const SShutdownLimits& limits)
    : configuration_(configuration), catalogue_(catalogue), limits_(limits), calls_(limits.call)
{}

CSession::~CSession()
{
    shutDown();
    if (calls_.isGivenUp()) {
        // they are still in use
        for (auto& entry : channels_) {
            static_cast<void>(entry.release());
        }
        for (auto& entry : devices_) {
            static_cast<void>(entry.release());
        }
        static_cast<void>(clockStepDetector_.release());
    }
}

const STypeDescription* CSession::typeOf(const pugi::xml_node& node) const
{
    return catalogue_.find(typeNameOf(node, SKeyDescription::Object).value_or(""));
}

bool CSession::isBuildable(const pugi::xml_node& node, const STypeDescription* type, const CFaultList& faults)
{
    // a path is looked for among all siblings: not for nothing
    bool buildable =
        type && !outOfDescriptors_ && (faults.empty() || !faults.concerns(CConfiguration::path(node)));
    if (buildable && !notBuilt_.empty()) {
        const auto references = referencesOf(catalogue_, *type, node);
        buildable = std::none_of(references.begin(), references.end(), [this](const SReference& reference) {
            return notBuilt_.count(reference.name) > 0;
        });
    }
    if (!buildable) {
        notBuilt_.insert(node.attribute("Name").value());
    }
    return buildable;
}

bool CSession::attempt(const pugi::xml_node& node, CFaultList& faults, const std::function<void()>& step)
{
    try {
        step();
        return true;
    } catch (const boost::system::system_error& exception) {
        outOfDescriptors_ = exception.code() == boost::system::errc::too_many_files_open;
        SFault fault = configuration_.fault(
            node, "cannot be built: " + (outOfDescriptors_ ? tooManyFiles() : exception.what()));
        fault.runtime = outOfDescriptors_;
        faults.add(std::move(fault));
    } catch (const std::exception& exception) {
        faults.add(configuration_.fault(node, std::string("cannot be built: ") + exception.what()));
    } catch (...) {
        faults.add(configuration_.fault(node, "cannot be built: an exception of unknown kind"));
    }
    notBuilt_.insert(node.attribute("Name").value());
    return false;
}

std::string CSession::tooManyFiles() const
{
    std::size_t built = 0;
    for (const auto& entry : channels_) {
        built += entry->controller != nullptr;
    }
    std::string text = "this program may open no more files at once";
    if (const auto limit = descriptorLimit()) {
        text += " than " + std::to_string(limit);
        if (built > 0) {
            text += ", which is enough for " + std::to_string(built) + " of " +
                    std::to_string(builtOnChannels_) + " controllers; expected about " +
                    std::to_string(limit * builtOnChannels_ / built + 1) +
                    " (ulimit -n, LimitNOFILE of a service)";
        }
    }
    return text;
}

void CSession::build(CFaultList& faults, const SLoopFunctions& functions)
{
    functions_ = functions;
    buildBuses(faults);
    buildDevices(faults);
    buildChannels(faults);
    controllersInFileOrder_.reset();
}

void CSession::buildBuses(CFaultList& faults)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    for (const pugi::xml_node& node : objectsOf(configuration_.root(), "Buses", "Bus")) {
        const STypeDescription* const type = typeOf(node);
        if (!isBuildable(node, type, faults)) {
            continue;
        }
        attempt(node, faults, [&] {
            const ptree tree = CConfiguration::tree(node);
            std::shared_ptr<IBus> bus(
                environment.getBusFactoryRegistry().get(type->name)->createObject(tree));
            bus->setProperties(tree);
            const std::string name = node.attribute("Name").value();
            if (bus->getName() != name) {
                faults.add(configuration_.fault(node, node.attribute("Name"),
                                                "\"" + name +
                                                    "\" is not what the bus calls itself; expected \"" +
                                                    bus->getName() + "\""));
            } else if (!environment.busRegistry().put(bus)) {
                faults.add(configuration_.fault(node, node.attribute("Name"),
                                                "\"" + name +
                                                    "\" is already the name of a bus that a plug-in "
                                                    "brings along; expected a name of its own"));
            }
        });
    }
}

void CSession::buildDevices(CFaultList& faults)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    for (const pugi::xml_node& node : objectsOf(configuration_.root(), "Devices", "Device")) {
        const STypeDescription* const type = typeOf(node);
        if (!isBuildable(node, type, faults)) {
            continue;
        }
        attempt(node, faults, [&] {
            const ptree tree = CConfiguration::tree(node);
            auto entry = std::make_unique<SDevice>();
            const pugi::xml_attribute bus = node.attribute("Bus");
            if (bus && !environment.busRegistry().contains(bus.value())) {
                if (!notBuilt_.count(bus.value())) {
                    faults.add(configuration_.fault(
                        node, bus,
                        "\"" + std::string(bus.value()) + "\" is no bus; expected " +
                            expectedChoices(bus.value(), environment.busRegistry().names())));
                }
                notBuilt_.insert(node.attribute("Name").value());
                return;
            }
            entry->busName = bus.value();
            entry->device.reset(environment.getDeviceFactoryRegistry().get(type->name)->createObject(tree));
            entry->device->setProperties(tree);
            entry->name = entry->device->getName();
            devices_.push_back(std::move(entry));
        });
    }
}

void CSession::buildChannels(CFaultList& faults)
{
    const auto nodes = objectsOf(configuration_.root(), "Channels", "Channel");
    for (const pugi::xml_node& node : nodes) {
        const STypeDescription* const type = typeOf(node);
        builtOnChannels_ += type && isBuiltOnChannels(*type);
    }
    for (const bool builtOnChannels : {false, true}) {
        for (const pugi::xml_node& node : nodes) {
            const STypeDescription* const type = typeOf(node);
            const bool later = type && isBuiltOnChannels(*type);
            if (later == builtOnChannels && isBuildable(node, type, faults)) {
                buildChannel(node, *type, faults);
            }
        }
    }
}

void CSession::buildChannel(const pugi::xml_node& node, const STypeDescription& type, CFaultList& faults)
{
    attempt(node, faults, [&] {
        if (isBuiltOnChannels(type) && !canOpenFiles(spareFiles)) {
            throw boost::system::system_error(make_error_code(boost::system::errc::too_many_files_open));
        }
        auto entry = std::make_unique<SChannel>();
        entry->position = configuration_.offset(node);
        entry->tree = CConfiguration::tree(node);
        entry->provides = type.provides;
        entry->references = referencesOf(catalogue_, type, node);
        auto& factories = CEnvironment::getInstance()->getIoChannellFactoryRegistry();
        entry->channel.reset(factories.get(type.name)->createObject(entry->tree));
        entry->channel->setProperties(entry->tree);
        if (const auto scaling = entry->tree.get_child_optional("Scaling")) {
            if (auto* const scalable = dynamic_cast<IScalable*>(entry->channel.get())) {
                scalable->setScaling(new CLinearScaling(*scaling));
            }
        }
        entry->channel->connectToDevice();
        entry->controller = dynamic_cast<IControllerChannel*>(entry->channel.get());
        if (entry->controller) {
            checkSetPoint(node, *entry->controller, faults);
            entry->graph = graphOf(*entry->channel);
            superviseInputs(node, *entry, faults);
        }
        addReferred(*entry);
        entry->name = entry->channel->getName();
        channelsByName_.emplace(entry->name, entry.get());
        channels_.push_back(std::move(entry));
    });
}

void CSession::addReferred(SChannel& entry) const
{
    for (const SReference& reference : entry.references) {
        const auto [begin, end] = channelsByName_.equal_range(reference.name);
        for (auto other = begin; other != end; ++other) {
            const auto& provides = other->second->provides;
            if (std::find(provides.begin(), provides.end(), reference.nameServer) != provides.end()) {
                entry.referred.push_back(other->second->channel.get());
            }
        }
    }
}

std::unique_ptr<ILoopGraph> CSession::graphOf(IIoChannelInterface& channel) const
{
    for (const SLoops* const loops : functions_.loops) {
        if (std::unique_ptr<ILoopGraph> graph{loops->graphOf(channel)}) {
            return graph;
        }
    }
    return nullptr;
}

void CSession::superviseInputs(const pugi::xml_node& node, SChannel& entry, CFaultList& faults) const
{
    const auto tree = entry.tree.get_child_optional("BadInput");
    if (!tree) {
        return;
    }
    try {
        const SBadInputPolicy policy = SBadInputPolicy::from(*tree);
        entry.supervision = entry.graph ? CInputSupervision::begin(*entry.graph, policy) : nullptr;
        if (!entry.supervision) {
            throw CHostException(ExitBadConfiguration, "cannot be carried out: no plug-in supervises the "
                                                       "loops of this channel; expected no BadInput");
        }
    } catch (const CHostException& exception) {
        faults.add(configuration_.fault(node.child("BadInput"), exception.what()));
    }
}

void CSession::checkSetPoint(const pugi::xml_node& node, IControllerChannel& controller,
                             CFaultList& faults) const
{
    const double setPoint = controller.getSetPoint();
    if (!(setPoint >= controller.setpointMinimum() && setPoint <= controller.setpointMaximum())) {
        const pugi::xml_node range = node.child("SetpointRange");
        faults.add(configuration_.fault(
            range ? range : node, "the loop's set point, " + shortText(setPoint) +
                                      ", lies outside the range; expected a range that it lies in, from " +
                                      shortText(controller.setpointMinimum()) + " to " +
                                      shortText(controller.setpointMaximum())));
    }
}

void CSession::start()
{
    started_ = true;
    clockStepDetector_ = std::make_unique<CClockStepDetector>([this] {
        for (const auto& entry : channels_) {
            for (RearmLoopsFunction* const rearm : functions_.rearm) {
                rearm(*entry->channel);
            }
        }
    });
    CBusRegistry& buses = CEnvironment::getInstance()->busRegistry();
    for (const std::string& name : buses.names()) {
        if (startCancelled_) {
            return;
        }
        const std::shared_ptr<IBus> bus = buses.get(name);
        const CCallWatch::CCall call(calls_, bus->getName());
        {
            const std::lock_guard<std::mutex> lock(busesMutex_);
            connectedBuses_.push_back(bus);
        }
        bus->init();
        bus->connect();
    }
    for (const auto& entry : devices_) {
        if (startCancelled_) {
            return;
        }
        const CCallWatch::CCall call(calls_, entry->name);
        if (!entry->busName.empty()) {
            buses.get(entry->busName)->addDevice(entry->device.get());
        }
        entry->device->connect();
    }
    for (const auto& entry : channels_) {
        if (!entry->controller || !entry->tree.get("<xmlattr>.Enabled", false)) {
            continue;
        }
        if (startCancelled_) {
            return;
        }
        const CCallWatch::CCall call(calls_, entry->name);
        enable(*entry);
        if (disabling_) { // perhaps before it was enabled
            entry->controller->setEnabled(false);
            return;
        }
    }
}

void CSession::enable(SChannel& entry)
{
    if (entry.tree.get("<xmlattr>.Manual", false)) {
        entry.manual = true;
        if (const auto value = entry.tree.get_optional<double>("<xmlattr>.ManualControlValue")) {
            entry.controller->writeManualControlValue(*value);
        }
        entry.controller->setManualMode(true);
    }
    if (!startCancelled_) { // a device may have taken its time
        entry.controller->setEnabled(true);
    }
}

void CSession::cancelStart()
{
    startCancelled_ = true;
}

bool CSession::isDisabling() const
{
    return disabling_;
}

/// What failed, as several threads report it.
class CSession::CFailures
{
public:
    /// Does something and keeps what it throws.
    void attempt(const std::string& what, const std::function<void()>& step)
    {
        try {
            step();
        } catch (const std::exception& exception) {
            add(what + ": " + exception.what());
        } catch (...) {
            add(what + ": an exception of unknown kind");
        }
    }
    void add(const std::string& failure)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        texts_.push_back(failure);
    }
    std::vector<std::string> texts() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return texts_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> texts_;
};

std::vector<std::string> CSession::shutDown(const std::function<void()>& onStopped,
                                            std::chrono::milliseconds longestSampleTime)
{
    // shared, as what never ends keeps it
    const auto failures = std::make_shared<CFailures>();
    SShutdownLimits stopLimits = limits_; // stopping a loop takes up to its sample time
    stopLimits.progress += longestSampleTime;
    if (started_) {
        disableControllers(failures, stopLimits);
    }
    if (onStopped) {
        onStopped();
    }
    if (!calls_.isGivenUp()) {
        destroyControllers(failures, stopLimits);
    }
    if (started_) {
        disconnectDevices(failures);
    }
    if (!calls_.isGivenUp()) {
        destroyChannelsAndDevices(failures);
    }
    if (started_) {
        disconnectBuses(failures);
    }
    started_ = false;
    return failures->texts();
}

void CSession::carryOut(const std::vector<SNamedAction>& actions, const std::shared_ptr<CFailures>& failures,
                        const SShutdownLimits& limits, CDeadlineTasks::eOrder order,
                        const std::string& consequence)
{
    CDeadlineTasks tasks;
    for (const SNamedAction& action : actions) {
        tasks.add(action.what, [failures, action] { failures->attempt(action.what, action.act); });
    }
    for (const std::string& name : tasks.run(limits, order)) {
        calls_.giveUp();
        failures->add(name + ": did not end within " + limitText(limits.progress) + consequence);
        if (order == CDeadlineTasks::InOrder) {
            break; // the others have not begun
        }
    }
}

void CSession::carryOutInOrder(const std::vector<SNamedAction>& actions,
                               const std::shared_ptr<CFailures>& failures, const SShutdownLimits& limits)
{
    if (started_) {
        carryOut(actions, failures, limits, CDeadlineTasks::InOrder);
        return;
    }
    for (const SNamedAction& action : actions) {
        failures->attempt(action.what, action.act);
    }
}

void CSession::disableControllers(const std::shared_ptr<CFailures>& failures,
                                  const SShutdownLimits& stopLimits)
{
    disabling_ = true;
    std::vector<SNamedAction> actions;
    for (const auto& entry : channels_) {
        if (entry->controller) {
            actions.push_back({"disabling " + entry->name,
                               [channel = entry.get(), failures] { disable(*channel, *failures); }});
        }
    }
    carryOut(actions, failures, limits_, CDeadlineTasks::AnyOrder, "; what it drives may still be driven");
    const auto stopDrivers = [] { CEnvironment::getInstance()->aboutToDisconnect()(); };
    if (calls_.isGivenUp()) {
        CDeadlineTasks tasks; // it may wait for the hung call, too
        tasks.add("stopping what drives devices", stopDrivers);
        tasks.start();
    } else {
        carryOut({{"stopping what drives devices", stopDrivers}}, failures, stopLimits);
    }
}

void CSession::disable(const SChannel& entry, CFailures& failures)
{
    bool enabled = true;
    failures.attempt("asking " + entry.name, [&] { enabled = entry.controller->isControlLoopEnabled(); });
    failures.attempt("disabling " + entry.name, [&] { entry.controller->setEnabled(false); });
    for (const IIoChannelInterface* channel : entry.referred) {
        const bool driven = dynamic_cast<const CAnalogInChannel*>(channel) == nullptr;
        if (enabled && driven && channel->isFaulty()) {
            failures.add(entry.name + ": its disabled value may not have reached " + channel->getName() +
                         ": " + channel->fault());
        }
    }
}

void CSession::destroyControllers(const std::shared_ptr<CFailures>& failures, const SShutdownLimits& limits)
{
    controllersInFileOrder_.reset();
    channelsByName_.clear();
    // not before: stopping waits for the loops' timers
    std::vector<SNamedAction> actions{{"ending the clock's watch", [this] { clockStepDetector_.reset(); }}};
    // in reverse, because the later ones may be built on the earlier ones
    for (auto entry = channels_.rbegin(); entry != channels_.rend(); ++entry) {
        if ((*entry)->controller) {
            actions.push_back({"destroying " + (*entry)->name, [channel = entry->get()] {
                                   channel->controller = nullptr;
                                   channel->supervision.reset();
                                   channel->graph.reset();
                                   channel->channel.reset();
                               }});
        }
    }
    carryOutInOrder(actions, failures, limits);
}

void CSession::disconnectDevices(const std::shared_ptr<CFailures>& failures)
{
    std::vector<SNamedAction> actions;
    for (auto entry = devices_.rbegin(); entry != devices_.rend(); ++entry) {
        actions.push_back(
            {"disconnecting " + (*entry)->name, [device = (*entry)->device.get()] { device->disconnect(); }});
    }
    carryOut(actions, failures, limits_);
}

void CSession::destroyChannelsAndDevices(const std::shared_ptr<CFailures>& failures)
{
    std::vector<SNamedAction> actions;
    for (auto entry = channels_.rbegin(); entry != channels_.rend(); ++entry) {
        actions.push_back({"destroying " + (*entry)->name, [this] { channels_.pop_back(); }});
    }
    for (auto entry = devices_.rbegin(); entry != devices_.rend(); ++entry) {
        if (started_ && !(*entry)->busName.empty()) {
            actions.push_back({"leaving the bus " + (*entry)->busName, [device = entry->get()] {
                                   CEnvironment::getInstance()
                                       ->busRegistry()
                                       .get(device->busName)
                                       ->removeDevice(device->device.get());
                               }});
        }
        actions.push_back({"destroying " + (*entry)->name, [this] { devices_.pop_back(); }});
    }
    carryOutInOrder(actions, failures, limits_);
}

void CSession::disconnectBuses(const std::shared_ptr<CFailures>& failures)
{
    std::vector<std::shared_ptr<IBus>> buses;
    {
        const std::lock_guard<std::mutex> lock(busesMutex_);
        buses.swap(connectedBuses_);
    }
    std::vector<SNamedAction> actions;
    for (auto bus = buses.rbegin(); bus != buses.rend(); ++bus) {
        const std::string name = "the bus " + (*bus)->getName();
        actions.push_back({"disconnecting " + name, [failures, name, bus = *bus] {
                               failures->attempt("disconnecting " + name, [&] { bus->disconnect(); });
                               failures->attempt("shutting down " + name, [&] { bus->shutdown(); });
                           }});
    }
    carryOut(actions, failures, limits_);
}

void CSession::emergencyStop()
{
    cancelStart();
    disabling_ = true;
    CDeadlineTasks disabling;
    std::vector<IControllerChannel*> controllers;
    for (const auto& entry : channels_) {
        if (entry->controller) {
            controllers.push_back(entry->controller);
            disabling.add(entry->name, [controller = entry->controller] { controller->setEnabled(false); });
        }
    }
    disabling.start();
    if (!disabling.wait(limits_.emergencyDisable)) {
        // The failed loop's lock is held by its own thread, which is this one. If another loop has failed as
        // well, its lock is never released, and the calls below hang; its device can still be disconnected.
        CDeadlineTasks disconnecting;
        disconnecting.add("disconnecting", [this] {
            std::this_thread::sleep_for(limits_.emergencyDisconnect);
            disconnectDevicesAtOnce();
        });
        disconnecting.start();
        for (std::size_t index = 0; index < controllers.size(); ++index) {
            if (disabling.hasEnded(index)) {
                continue;
            }
            try {
                controllers[index]->setEnabled(false);
            } catch (...) {
                // the remaining controllers have to be disabled all the same
            }
        }
    }
    disconnectDevicesAtOnce();
}

void CSession::disconnectDevicesAtOnce()
{
    CDeadlineTasks tasks;
    for (const auto& entry : devices_) {
        tasks.add(entry->name, [device = entry->device.get()] { device->disconnect(); });
    }
    tasks.start();
    tasks.wait(limits_.emergencyDisconnect);
}

const std::vector<const CSession::SChannel*>& CSession::controllersInFileOrder() const
{
    if (!controllersInFileOrder_) {
        controllersInFileOrder_.emplace();
        for (const auto& entry : channels_) {
            if (entry->controller) {
                controllersInFileOrder_->push_back(entry.get());
            }
        }
        std::sort(
            controllersInFileOrder_->begin(), controllersInFileOrder_->end(),
            [](const SChannel* left, const SChannel* right) { return left->position < right->position; });
    }
    return *controllersInFileOrder_;
}

std::vector<IControllerChannel*> CSession::controllers() const
{
    std::vector<IControllerChannel*> result;
    for (const SChannel* entry : controllersInFileOrder()) {
        result.push_back(entry->controller);
    }
    return result;
}

std::vector<SControllerLoops> CSession::loops() const
{
    std::vector<SControllerLoops> result;
    for (const SChannel* entry : controllersInFileOrder()) {
        if (entry->graph) {
            result.push_back({entry->name, entry->graph.get()});
        }
    }
    return result;
}

std::vector<SControllerState> CSession::states() const
{
    std::vector<SControllerState> result;
    for (const SChannel* entry : controllersInFileOrder()) {
        result.push_back(stateOf(*entry));
    }
    return result;
}

SControllerState CSession::stateOf(const SChannel& entry) const
{
    const CCallWatch::CCall call(calls_, entry.name);
    IControllerChannel& controller = *entry.controller;
    SControllerState state;
    state.name = entry.name;
    state.unit = controller.unit();
    state.setPoint = controller.getSetPoint();
    state.actualValue = controller.readActualValue();
    state.controlValue = controller.readControlValue();
    state.enabled = controller.isControlLoopEnabled();
    state.manual = entry.manual;
    if (state.enabled && entry.supervision) {
        state.state = entry.supervision->state();
        state.enabled = !entry.supervision->disables();
        if (!state.state.empty()) {
            return state;
        }
    }
    std::vector<const IIoChannelInterface*> watched{entry.channel.get()};
    watched.insert(watched.end(), entry.referred.begin(), entry.referred.end());
    for (const IIoChannelInterface* channel : watched) {
        const std::string fault = channel->fault();
        if (!fault.empty()) {
            state.state = "fault: " + channel->getName() + ": " + fault;
            return state;
        }
    }
    if (!state.enabled) {
        state.state = "off";
    } else if (std::isnan(state.actualValue)) {
        state.state = "fault: " + state.name + ": the actual value is not a number";
    } else {
        state.state = "ok";
    }
    return state;
}

} // namespace Rvl
