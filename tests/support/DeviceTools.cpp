#include "tests/support/DeviceTools.h"

#include "platform/rivlink_core/DeviceInterface.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_core/IoChannelInterface.h"

#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace Rvl::Test {

using boost::property_tree::ptree;
using nlohmann::json;

namespace {

const std::string attributePrefix = "<xmlattr>.";

std::string lastPartOf(const std::string& path)
{
    return path.substr(path.rfind('.') + 1);
}

std::string sectionOf(const std::string& path)
{
    const auto attribute = path.rfind(attributePrefix);
    const auto end = attribute != std::string::npos ? attribute : path.rfind('.') + 1;
    return end == 0 ? std::string() : path.substr(0, end - 1);
}

void takeOut(ptree& node, const std::string& path)
{
    const auto dot = path.rfind('.');
    ptree& parent = dot == std::string::npos ? node : node.get_child(path.substr(0, dot));
    if (parent.erase(path.substr(dot + 1)) != 1) {
        throw std::logic_error("the sample has no " + path);
    }
}

/// Calls `use(type, kind, keys, node)` for each sample.
template <class Use>
void forEachSample(const json& descriptions, const std::vector<std::string>& samples, Use use)
{
    for (const std::string& sample : samples) {
        const ptree node = nodeOf(sample);
        const auto type = node.get<std::string>("<xmlattr>.Type");
        const auto& types = descriptions.at("types");
        const auto found = std::find_if(types.begin(), types.end(),
                                        [&](const json& candidate) { return candidate.at("name") == type; });
        use(type, found->at("kind").template get<std::string>(), keysOf(descriptions, type), node);
    }
}

} // namespace

ptree nodeOf(const std::string& xml)
{
    std::istringstream stream(xml);
    ptree document;
    read_xml(stream, document);
    return document.front().second;
}

bool waitUntil(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

json typeDescriptions(const std::string& library)
{
    const std::string path = std::string(RIVLINK_TEST_PLUGIN_DIRECTORY) + "/" + library + ".types.json";
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    return json::parse(file);
}

std::vector<std::string> faultsOf(const json& descriptions)
{
    std::vector<std::string> faults;
    const auto onlyKnown = [&faults](const json& object, const std::set<std::string>& known,
                                     const std::string& where) {
        for (const auto& [field, value] : object.items()) {
            if (!known.contains(field)) {
                faults.push_back(where + ": unknown field " + field);
            }
        }
    };
    std::set<std::string> bases;
    for (const json& source : {typeDescriptions("rivlink_platform"), descriptions}) {
        for (const json& type : source.at("types")) {
            bases.insert(type.at("name"));
        }
    }
    for (const json& type : descriptions.at("types")) {
        const std::string name = type.at("name");
        onlyKnown(type,
                  {"name", "kind", "bases", "provides", "example", "meaning", "real", "signals", "keys"},
                  name);
        static const std::set<std::string> kinds{"bus",    "device",  "channel",   "controlLoop",
                                                 "loopIn", "loopOut", "loopInOut", "abstract"};
        if (!kinds.contains(type.at("kind")) || type.at("meaning").get<std::string>().empty()) {
            faults.push_back(name + ": kind or meaning");
        }
        for (const json& base : type.value("bases", json::array())) {
            if (!bases.contains(base)) {
                faults.push_back(name + ": unknown base " + base.get<std::string>());
            }
        }
        std::set<std::string> sections{""};
        for (const json& key : type.at("keys")) {
            const std::string path = key.at("path");
            const std::string where = name + " " + path;
            onlyKnown(key, {"path",           "type",       "required",
                            "requiredUnless", "default",    "unit",
                            "minimum",        "maximum",    "exclusiveMinimum",
                            "choices",        "nameServer", "kinds",
                            "kindsWhile",     "notAbove",   "notBelow",
                            "above",          "excluded",   "ofType",
                            "signal",         "onlyWith",   "repeated",
                            "example",        "meaning",    "role",
                            "lenient",        "unlimited",  "drives"},
                      where);
            static const std::set<std::string> keyTypes{"text",      "boolean",     "integer",
                                                        "real",      "hexadecimal", "choice",
                                                        "reference", "section",     "element"};
            const std::string type_ = key.at("type");
            if (!keyTypes.contains(type_) || key.at("meaning").get<std::string>().empty()) {
                faults.push_back(where + ": type or meaning");
            }
            if (type_ == "section") {
                sections.insert(path);
            }
            if (!sections.contains(sectionOf(path))) {
                faults.push_back(where + ": section is not listed");
            }
            if (key.value("required", false) && key.contains("default")) {
                faults.push_back(where + ": required with a default");
            }
            if ((type_ == "choice") != key.contains("choices") ||
                (type_ == "reference") != key.contains("nameServer")) {
                faults.push_back(where + ": choices or name server");
            }
            if (key.contains("minimum") && key.at("minimum") >= key.at("maximum")) {
                faults.push_back(where + ": range");
            }
            if (key.contains("minimum") && key.contains("default") &&
                (key.at("default") < key.at("minimum") || key.at("default") > key.at("maximum"))) {
                faults.push_back(where + ": default out of range");
            }
        }
    }
    return faults;
}

std::vector<std::string> signalsOf(const json& descriptions, const std::string& typeName,
                                   const std::set<std::string>& kinds)
{
    std::vector<std::string> names;
    for (const json& type : descriptions.at("types")) {
        if (type.at("name") != typeName) {
            continue;
        }
        for (const json& signal : type.value("signals", json::array())) {
            if (kinds.contains(signal.at("kind"))) {
                names.push_back(signal.at("name"));
            }
        }
    }
    return names;
}

std::vector<std::string> typeNames(const json& descriptions, const std::string& kind)
{
    std::vector<std::string> names;
    for (const json& type : descriptions.at("types")) {
        if (type.at("kind") == kind) {
            names.push_back(type.at("name"));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<json> keysOf(const json& descriptions, const std::string& typeName)
{
    std::vector<json> keys;
    for (const json& source : {descriptions, typeDescriptions("rivlink_platform")}) {
        for (const json& type : source.at("types")) {
            if (type.at("name") != typeName) {
                continue;
            }
            const json& own = type.at("keys");
            keys.insert(keys.end(), own.begin(), own.end());
            for (const json& base : type.value("bases", json::array())) {
                const auto inherited = keysOf(descriptions, base.get<std::string>());
                keys.insert(keys.end(), inherited.begin(), inherited.end());
            }
        }
    }
    return keys;
}

void buildOnce(const std::string& kind, const ptree& node)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    const auto type = node.get<std::string>("<xmlattr>.Type");
    if (kind == "device") {
        const std::unique_ptr<IDeviceInterface> device(
            environment.getDeviceFactoryRegistry().get(type)->createObject(node));
        device->setProperties(node);
    } else {
        const std::unique_ptr<IIoChannelInterface> channel(
            environment.getIoChannellFactoryRegistry().get(type)->createObject(node));
        channel->setProperties(node);
        channel->connectToDevice();
    }
}

std::vector<std::string> requiredKeysNotMissed(const json& descriptions,
                                               const std::vector<std::string>& samples)
{
    std::vector<std::string> faults;
    forEachSample(descriptions, samples,
                  [&](const std::string& type, const std::string& kind, const auto& keys, const ptree& node) {
                      buildOnce(kind, node);
                      for (const json& key : keys) {
                          const std::string path = key.at("path");
                          if (!key.value("required", false) || path == "<xmlattr>.Type") {
                              continue; // without its type a node never reaches a factory
                          }
                          ptree incomplete = node;
                          takeOut(incomplete, path);
                          const std::string message =
                              messageOf<std::exception>([&] { buildOnce(kind, incomplete); });
                          if (message.find(lastPartOf(path)) == std::string::npos) {
                              faults.push_back(type + " without " + path + ": " + message);
                          }
                      }
                  });
    return faults;
}

std::vector<std::string> badNumbersAccepted(const json& descriptions, const std::vector<std::string>& samples)
{
    std::vector<std::string> faults;
    forEachSample(
        descriptions, samples,
        [&](const std::string& type, const std::string& kind, const auto& keys, const ptree& node) {
            for (const json& key : keys) {
                const std::string path = key.at("path");
                const bool integer = key.at("type") == "integer";
                // the scale is the host's to apply
                if ((!integer && key.at("type") != "real") || sectionOf(path) == "Scaling") {
                    continue;
                }
                std::vector<std::string> values{"ten", "", "1,5", "5 W"};
                if (integer) {
                    values.push_back("1.5");
                }
                if (key.contains("minimum")) {
                    values.push_back(integer
                                         ? std::to_string(key.at("minimum").template get<long long>() - 1)
                                         : std::to_string(key.at("minimum").template get<double>() - 1.0));
                    values.push_back(integer
                                         ? std::to_string(key.at("maximum").template get<long long>() + 1)
                                         : std::to_string(key.at("maximum").template get<double>() * 2.0));
                }
                for (const std::string& value : values) {
                    ptree bad = node;
                    bad.put(path, value);
                    const std::string message = messageOf<std::exception>([&] { buildOnce(kind, bad); });
                    const bool named = message.find(lastPartOf(path)) != std::string::npos ||
                                       message.find("conversion of data") != std::string::npos;
                    if (!named) {
                        faults.push_back(type + " with " + path + " \"" + value + "\": " + message);
                    }
                }
            }
        });
    return faults;
}

} // namespace Rvl::Test
