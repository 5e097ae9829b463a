#include "host/configuration/RealDevices.h"

#include "host/configuration/ConfigurationFrame.h"

#include <string>

namespace Rvl {

void refuseRealDevices(const CConfiguration& configuration, const CTypeCatalogue& catalogue,
                       CFaultList& faults)
{
    const auto refuse = [&](const char* section, const char* element) {
        for (const pugi::xml_node& node : objectsOf(configuration.root(), section, element)) {
            const STypeDescription* const type =
                catalogue.find(typeNameOf(node, SKeyDescription::Object).value_or(""));
            if (type && type->real) {
                faults.add(
                    configuration.fault(node, node.attribute("Name"),
                                        "\"" + std::string(node.attribute("Name").value()) +
                                            "\" is real, and does not go by virtual time; expected only "
                                            "simulated ones with --virtual"));
            }
        }
    };
    refuse("Buses", "Bus");
    refuse("Devices", "Device");
}

} // namespace Rvl
