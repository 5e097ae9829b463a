#include "host/configuration/ConfigurationFrame.h"

#include "common/Numbers.h"
#include "host/configuration/Configuration.h"

#include <sstream>

namespace Rvl {

namespace {

std::vector<SKeyDescription> frameKeys()
{
    const auto key = [](const char* path, SKeyDescription::eType type, bool required, const char* meaning) {
        SKeyDescription result;
        result.path = path;
        result.type = type;
        result.required = required;
        result.meaning = meaning;
        return result;
    };
    const auto repeated = [&](const char* path, SKeyDescription::eType type, const char* kind,
                              const char* meaning) {
        SKeyDescription result = key(path, type, false, meaning);
        result.repeated = true;
        if (*kind) {
            result.kinds = {kind};
        }
        return result;
    };
    return {
        key("<xmlattr>.Title", SKeyDescription::Text, false,
            "what the configuration controls, as the operator's page shows it; absent: the file's name"),
        key("Plugins", SKeyDescription::Section, true, "the plug-ins whose types the configuration uses"),
        repeated("Plugins.Plugin", SKeyDescription::Section, "", "one plug-in"),
        key("Plugins.Plugin.<xmlattr>.Name", SKeyDescription::Text, true,
            "the plug-in's name, which is that of its library without prefix and suffix"),
        key("Plugins.Plugin.<xmlattr>.Path", SKeyDescription::Text, false,
            "path of the plug-in's library, from the configuration's folder; absent: it is looked for in the "
            "plug-in path"),
        key("Buses", SKeyDescription::Section, false, "the buses, built first"),
        repeated("Buses.Bus", SKeyDescription::Object, "bus", "one bus; its keys depend on its type"),
        key("Devices", SKeyDescription::Section, false, "the devices"),
        repeated("Devices.Device", SKeyDescription::Object, "device",
                 "one device; its keys depend on its type"),
        key("Channels", SKeyDescription::Section, true, "the channels, controllers among them"),
        repeated("Channels.Channel", SKeyDescription::Object, "channel",
                 "one channel; its keys depend on its type"),
    };
}

} // namespace

const std::vector<SKeyDescription>& configurationFrameKeys()
{
    static const std::vector<SKeyDescription> keys = frameKeys();
    return keys;
}

const SKeyNode& configurationFrame()
{
    static const std::unique_ptr<SKeyNode> frame = arrangeKeys(configurationFrameKeys());
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

bool isTrueAt(const pugi::xml_node& node, const std::string& path)
{
    if (path.empty()) {
        return false;
    }
    const std::string text = textAt(node, path).value_or("");
    const std::string_view value = withoutOuterBlanks(text);
    return value == "true" || value == "1";
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
