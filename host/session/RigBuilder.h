#pragma once

#include "host/configuration/Configuration.h"
#include "host/configuration/DrivenOutput.h"
#include "host/configuration/Fault.h"
#include "host/configuration/References.h"
#include "host/session/Rig.h"
#include "host/types/TypeCatalogue.h"

#include <pugixml.hpp>

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace Rvl {

struct SRigOptions
{
    std::vector<const SLoops*> loops; ///< what the loaded plug-ins offer for their loops
    bool isVirtual = false;           ///< for virtual time: every controller must be made of such loops
    ControllerLoops controllers = {}; ///< what the check found about controllers
};

/// Builds the objects of a configuration with the factories of the environment: buses, which the environment
/// keeps, devices, channels, and of these last the ones that are built on others. To be used once.
///
///     SRig rig = CRigBuilder(configuration, catalogue, {plugins.loops()}).build(faults);
///     CSession session(std::move(rig));
class CRigBuilder
{
public:
    /// Configuration and catalogue must outlive the builder, and the plug-ins must outlive what it builds.
    CRigBuilder(const CConfiguration& configuration, const CTypeCatalogue& catalogue,
                SRigOptions options = {});

    /// Builds everything and binds the channels to their devices; drives nothing. What fails becomes a fault.
    /// Objects that `faults` already concerns are not built, nor is what refers to them. Controllers whose
    /// configuration says what to do about bad input are supervised from here on.
    SRig build(CFaultList& faults);

private:
    /// What is known of a channel that was built, for those that refer to it.
    struct SBuilt
    {
        const std::vector<std::string>* provides; ///< the name servers in which it is
        const IIoChannelInterface* channel;
    };

    void buildBuses(CFaultList& faults);
    void buildDevices(CFaultList& faults);
    void buildDevice(const pugi::xml_node& node, const STypeDescription& type, CFaultList& faults);
    void buildChannels(CFaultList& faults);
    void buildChannel(const pugi::xml_node& node, const STypeDescription& type, CFaultList& faults);
    std::unique_ptr<CController> controllerOf(const pugi::xml_node& node, const STypeDescription& type,
                                              const boost::property_tree::ptree& tree,
                                              IIoChannelInterface& channel, CFaultList& faults) const;
    static CController::SPresentation presentationOf(const boost::property_tree::ptree& tree);
    std::vector<const IIoChannelInterface*> referredBy(const std::vector<SReference>& references) const;
    void superviseInputs(const pugi::xml_node& node, const boost::property_tree::ptree& tree,
                         CController& controller, CFaultList& faults) const;
    void checkSetPoint(const pugi::xml_node& node, IControllerChannel& controller, CFaultList& faults) const;
    bool isBuildable(const pugi::xml_node& node, const STypeDescription* type, const CFaultList& faults);
    bool attempt(const pugi::xml_node& node, CFaultList& faults, const std::function<void()>& step);
    std::string tooManyFiles() const;
    const STypeDescription* typeOf(const pugi::xml_node& node) const;
    void sortControllers();

    const CConfiguration& configuration_;
    const CTypeCatalogue& catalogue_;
    const SRigOptions options_;
    SRig rig_;
    std::unordered_multimap<std::string, SBuilt> built_; ///< channels by name
    std::set<std::string> notBuilt_;
    std::size_t builtOnChannels_ = 0; ///< how many channels that are built on others the configuration has
    bool outOfDescriptors_ = false;
};

} // namespace Rvl
