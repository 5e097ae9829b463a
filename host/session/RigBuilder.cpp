#include "host/session/RigBuilder.h"

#include "common/TreeValues.h"
#include "host/base/HostException.h"
#include "host/base/NumberText.h"
#include "host/base/Suggestion.h"
#include "host/configuration/ConfigurationFrame.h"
#include "host/process/DescriptorLimit.h"
#include "host/process/LocaleGuard.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_device/ControllerChannel.h"
#include "platform/rivlink_device/LinearScaling.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/system/system_error.hpp>

#include <algorithm>
#include <utility>

namespace Rvl {

using boost::property_tree::ptree;

namespace {

/// No controller is built with fewer files left to open: its event loop takes three, and what runs
/// afterwards, such as a record or a device's connection, needs some.
constexpr std::size_t spareFiles = 8;

/// Makes a call into a plug-in, and puts the locale back afterwards whatever it has set.
template <class Call> decltype(auto) inPlugin(Call call)
{
    const CLocaleGuard locale;
    return call();
}

} // namespace

CRigBuilder::CRigBuilder(const CConfiguration& configuration, const CTypeCatalogue& catalogue,
                         SRigOptions options)
    : configuration_(configuration), catalogue_(catalogue), options_(std::move(options))
{}

const STypeDescription* CRigBuilder::typeOf(const pugi::xml_node& node) const
{
    return catalogue_.find(typeNameOf(node, SKeyDescription::Object).value_or(""));
}

bool CRigBuilder::isBuildable(const pugi::xml_node& node, const STypeDescription* type,
                              const CFaultList& faults)
{
    bool buildable =
        type && !outOfDescriptors_ && (faults.empty() || !faults.concerns(configuration_.path(node)));
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

bool CRigBuilder::attempt(const pugi::xml_node& node, CFaultList& faults, const std::function<void()>& step)
{
    try {
        step();
        return true;
    } catch (const boost::system::system_error& exception) {
        outOfDescriptors_ = exception.code() == boost::system::errc::too_many_files_open;
        faults.add(configuration_.fault(node, "cannot be built: " +
                                                  (outOfDescriptors_ ? tooManyFiles() : exception.what())));
    } catch (const std::exception& exception) {
        faults.add(configuration_.fault(node, std::string("cannot be built: ") + exception.what()));
    } catch (...) {
        faults.add(configuration_.fault(node, "cannot be built: an exception of unknown kind"));
    }
    notBuilt_.insert(node.attribute("Name").value());
    return false;
}

std::string CRigBuilder::tooManyFiles() const
{
    std::size_t built = 0;
    for (const auto& entry : rig_.channels) {
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

SRig CRigBuilder::build(CFaultList& faults)
{
    buildBuses(faults);
    buildDevices(faults);
    buildChannels(faults);
    sortControllers();
    return std::move(rig_);
}

void CRigBuilder::sortControllers()
{
    std::vector<const SRig::SChannel*> channels;
    for (const auto& entry : rig_.channels) {
        if (entry->controller) {
            channels.push_back(entry.get());
        }
    }
    std::sort(channels.begin(), channels.end(),
              [](const auto* left, const auto* right) { return left->position < right->position; });
    for (const SRig::SChannel* const entry : channels) {
        rig_.controllers.push_back(entry->controller.get());
    }
}

void CRigBuilder::buildBuses(CFaultList& faults)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    for (const pugi::xml_node& node : objectsOf(configuration_.root(), "Buses", "Bus")) {
        const STypeDescription* const type = typeOf(node);
        if (!isBuildable(node, type, faults)) {
            continue;
        }
        attempt(node, faults, [&] {
            const ptree tree = CConfiguration::tree(node);
            const std::shared_ptr<IBus> bus(inPlugin(
                [&] { return environment.getBusFactoryRegistry().get(type->name)->createObject(tree); }));
            inPlugin([&] { bus->setProperties(tree); });
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

void CRigBuilder::buildDevices(CFaultList& faults)
{
    for (const pugi::xml_node& node : objectsOf(configuration_.root(), "Devices", "Device")) {
        const STypeDescription* const type = typeOf(node);
        if (isBuildable(node, type, faults)) {
            attempt(node, faults, [&] { buildDevice(node, *type, faults); });
        }
    }
}

void CRigBuilder::buildDevice(const pugi::xml_node& node, const STypeDescription& type, CFaultList& faults)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    const ptree tree = CConfiguration::tree(node);
    auto entry = std::make_unique<SRig::SDevice>();
    const pugi::xml_attribute bus = node.attribute("Bus");
    if (bus && !environment.busRegistry().contains(bus.value())) {
        if (!notBuilt_.count(bus.value())) {
            faults.add(
                configuration_.fault(node, bus,
                                     "\"" + std::string(bus.value()) + "\" is no bus; expected " +
                                         expectedChoices(bus.value(), environment.busRegistry().names())));
        }
        notBuilt_.insert(node.attribute("Name").value());
        return;
    }
    entry->busName = bus.value();
    entry->type = type.name;
    entry->device.reset(
        inPlugin([&] { return environment.getDeviceFactoryRegistry().get(type.name)->createObject(tree); }));
    inPlugin([&] { entry->device->setProperties(tree); });
    entry->name = entry->device->getName();
    rig_.devices.push_back(std::move(entry));
}

void CRigBuilder::buildChannels(CFaultList& faults)
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

void CRigBuilder::buildChannel(const pugi::xml_node& node, const STypeDescription& type, CFaultList& faults)
{
    attempt(node, faults, [&] {
        if (isBuiltOnChannels(type) && !canOpenFiles(spareFiles)) {
            throw boost::system::system_error(make_error_code(boost::system::errc::too_many_files_open));
        }
        auto entry = std::make_unique<SRig::SChannel>();
        entry->position = configuration_.offset(node);
        const ptree tree = CConfiguration::tree(node);
        auto& factories = CEnvironment::getInstance()->getIoChannellFactoryRegistry();
        entry->channel.reset(inPlugin([&] { return factories.get(type.name)->createObject(tree); }));
        inPlugin([&] { entry->channel->setProperties(tree); });
        if (const auto scaling = tree.get_child_optional("Scaling")) {
            if (auto* const scalable = dynamic_cast<IScalable*>(entry->channel.get())) {
                auto linear = std::make_unique<CLinearScaling>(*scaling);
                inPlugin([&] { scalable->setScaling(linear.release()); });
            }
        }
        inPlugin([&] { entry->channel->connectToDevice(); });
        entry->controller = controllerOf(node, type, tree, *entry->channel, faults);
        entry->name = entry->channel->getName();
        built_.emplace(entry->name, SBuilt{&type.provides, entry->channel.get()});
        rig_.channels.push_back(std::move(entry));
    });
}

CController::SPresentation CRigBuilder::presentationOf(const ptree& tree)
{
    CController::SPresentation result;
    result.description = tree.get("<xmlattr>.Description", "");
    result.group = tree.get("<xmlattr>.Group", "");
    if (const auto scale = tree.get_child_optional("Scale")) {
        result.scale = {treeValue<double>(*scale, "<xmlattr>.Minimum"),
                        treeValue<double>(*scale, "<xmlattr>.Maximum")};
    }
    return result;
}

std::unique_ptr<CController> CRigBuilder::controllerOf(const pugi::xml_node& node,
                                                       const STypeDescription& type, const ptree& tree,
                                                       IIoChannelInterface& channel, CFaultList& faults) const
{
    auto* const controllerChannel = dynamic_cast<IControllerChannel*>(&channel);
    if (!controllerChannel) {
        return nullptr;
    }
    checkSetPoint(node, *controllerChannel, faults);
    CController::SStart start;
    start.enabled = treeValue(tree, "<xmlattr>.Enabled", false);
    start.manual = treeValue(tree, "<xmlattr>.Manual", false);
    if (const auto value = optionalTreeValue<double>(tree, "<xmlattr>.ManualControlValue")) {
        start.manualControlValue = *value;
    }
    auto controller = std::make_unique<CController>(
        channel, *controllerChannel, referredBy(referencesOf(catalogue_, type, node)), start, options_.loops);
    if (options_.isVirtual && !controller->loops()) {
        faults.add(configuration_.fault(node, node.attribute("Name"),
                                        "\"" + controller->name() +
                                            "\" is not made of loops that go by virtual time; expected only "
                                            "controllers that are with --virtual"));
    }
    controller->setPresentation(presentationOf(tree));
    if (const auto described = options_.controllers.find(controller->name());
        described != options_.controllers.end()) {
        controller->setDescribed(described->second);
    }
    superviseInputs(node, tree, *controller, faults);
    return controller;
}

std::vector<const IIoChannelInterface*>
CRigBuilder::referredBy(const std::vector<SReference>& references) const
{
    std::vector<const IIoChannelInterface*> result;
    for (const SReference& reference : references) {
        const auto [begin, end] = built_.equal_range(reference.name);
        for (auto other = begin; other != end; ++other) {
            const std::vector<std::string>& provides = *other->second.provides;
            if (std::find(provides.begin(), provides.end(), reference.nameServer) != provides.end()) {
                result.push_back(other->second.channel);
            }
        }
    }
    return result;
}

void CRigBuilder::superviseInputs(const pugi::xml_node& node, const ptree& tree, CController& controller,
                                  CFaultList& faults) const
{
    const auto badInput = tree.get_child_optional("BadInput");
    if (!badInput) {
        controller.supervise(SBadInputPolicy::byDefault()); // if it can be
        return;
    }
    try {
        const SBadInputPolicy policy = SBadInputPolicy::from(*badInput);
        if (!policy.allowsEverything() && !controller.supervise(policy)) {
            throw CHostException(ExitBadConfiguration, "cannot be carried out: no plug-in supervises the "
                                                       "loops of this channel; expected no BadInput");
        }
    } catch (const CHostException& exception) {
        faults.add(configuration_.fault(node.child("BadInput"), exception.what()));
    }
}

void CRigBuilder::checkSetPoint(const pugi::xml_node& node, IControllerChannel& controller,
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

} // namespace Rvl
