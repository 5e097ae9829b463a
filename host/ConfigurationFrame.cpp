#include "host/ConfigurationFrame.h"

#include "host/Configuration.h"
#include "host/NumberText.h"

#include <sstream>

namespace Rvl {

namespace {

std::vector<SKeyDescription> frameKeys()
{
    const auto key = [](const char* path, SKeyDescription::eType type, bool required) {
        SKeyDescription result;
        result.path = path;
        result.type = type;
        result.required = required;
        return result;
    };
    const auto repeated = [&](const char* path, SKeyDescription::eType type, const char* kind) {
        SKeyDescription result = key(path, type, false);
        result.repeated = true;
        if (*kind) {
            result.kinds = {kind};
        }
        return result;
    };
    return {
        key("Plugins", SKeyDescription::Section, true),
        repeated("Plugins.Plugin", SKeyDescription::Section, ""),
        key("Plugins.Plugin.<xmlattr>.Name", SKeyDescription::Text, true),
        key("Plugins.Plugin.<xmlattr>.Path", SKeyDescription::Text, false),
        key("Buses", SKeyDescription::Section, false),
        repeated("Buses.Bus", SKeyDescription::Object, "bus"),
        key("Devices", SKeyDescription::Section, false),
        repeated("Devices.Device", SKeyDescription::Object, "device"),
        key("Channels", SKeyDescription::Section, true),
        repeated("Channels.Channel", SKeyDescription::Object, "channel"),
    };
}

} // namespace

const SKeyNode& configurationFrame()
{
    static const std::vector<SKeyDescription> keys = frameKeys();
    static const std::unique_ptr<SKeyNode> frame = arrangeKeys(keys);
    return *frame;
}

std::optional<std::string> typeNameOf(const pugi::xml_node& node, SKeyDescription::eType kindOfNode)
{
    return textAt(node, kindOfNode == SKeyDescription::Object ? "<xmlattr>.Type" : "Type");
}

std::optional<std::string> textAt(const pugi::xml_node& node, const std::string& path)
{
    pugi::xml_node place = node;
    std::istringstream steps(path);
    std::string step;
    while (std::getline(steps, step, '.')) {
        if (step == "<xmlattr>") {
            std::getline(steps, step);
            const pugi::xml_attribute attribute = place.attribute(step.c_str());
            return attribute ? std::optional<std::string>(attribute.value()) : std::nullopt;
        }
        place = place.child(step.c_str());
        if (!place) {
            return std::nullopt;
        }
    }
    return CConfiguration::text(place);
}

std::vector<pugi::xml_node> objectsOf(const pugi::xml_node& root, const char* section, const char* element)
{
    std::vector<pugi::xml_node> result;
    for (const pugi::xml_node& node : root.child(section).children(element)) {
        result.push_back(node);
    }
    return result;
}

} // namespace Rvl
