// Configuration trees handed to every factory without any check before: each builds its object or throws one
// of the exceptions that stand for bad configuration, and what was built can be used.
//
// An input is a list of changes to one of the examples, so that it comes close to what factories expect.
#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/common/ControlLoopFactory.h"
#include "driver/local/controller/common/LoopInOutFactory.h"
#include "driver/local/controller/controlloopinput/LoopInFactory.h"
#include "driver/local/controller/controlloopoutput/LoopOutFactory.h"
#include "driver/local/LocalControllerChannel.h"
#include "host/configuration/Configuration.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_common/DeviceAccessException.h"
#include "platform/rivlink_core/DeviceInterface.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_core/IoChannelInterface.h"
#include "tests/fuzz/FuzzedPlugins.h"
#include "tests/fuzz/Fuzzing.h"

#include <boost/property_tree/ptree.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;
using boost::property_tree::ptree;

namespace {

constexpr std::size_t mostNodes = 2000;

/// Examples with every name and every value that stands in them.
struct SVocabulary
{
    std::vector<ptree> examples;
    std::vector<std::string> keys;
    std::vector<std::string> values{"",
                                    "0",
                                    "-1",
                                    "1e308",
                                    "nan",
                                    "true",
                                    "20",
                                    "0.5",
                                    "0x",
                                    "ffffffff",
                                    "4294967295",
                                    "-2147483648",
                                    "99999999999999999999"};

    static const SVocabulary& instance()
    {
        static const SVocabulary vocabulary;
        return vocabulary;
    }

private:
    SVocabulary()
    {
        std::vector<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(RIVLINK_FUZZ_EXAMPLES)) {
            if (entry.path().extension() == ".xml") {
                files.push_back(entry.path());
            }
        }
        std::sort(files.begin(), files.end()); // an input means the same everywhere
        for (const auto& file : files) {
            const CConfiguration configuration = CConfiguration::load(file);
            examples.push_back(CConfiguration::tree(configuration.root()));
            collect(examples.back());
        }
        for (std::vector<std::string>* words : {&keys, &values}) {
            std::sort(words->begin(), words->end());
            words->erase(std::unique(words->begin(), words->end()), words->end());
        }
    }

    void collect(const ptree& tree)
    {
        for (const auto& [key, child] : tree) {
            keys.push_back(key);
            values.push_back(child.data());
            collect(child);
        }
    }
};

struct SNode
{
    ptree* parent;
    ptree::iterator place;
};

void nodesOf(ptree& tree, std::vector<SNode>& nodes)
{
    for (auto child = tree.begin(); child != tree.end(); ++child) {
        nodes.push_back({&tree, child});
        nodesOf(child->second, nodes);
    }
}

const std::string& pick(const std::vector<std::string>& words, CBytes& bytes)
{
    return words[bytes.take<std::uint16_t>() % words.size()];
}

ptree mutated(CBytes& bytes)
{
    const SVocabulary& words = SVocabulary::instance();
    ptree tree = words.examples[bytes.byte() % words.examples.size()];
    while (!bytes.atEnd()) {
        std::vector<SNode> nodes;
        nodesOf(tree, nodes);
        if (nodes.empty() || nodes.size() > mostNodes) {
            break;
        }
        SNode& node = nodes[bytes.take<std::uint16_t>() % nodes.size()];
        switch (bytes.byte() % 6) {
        case 0:
            node.place->second.data() = pick(words.values, bytes);
            break;
        case 1:
            node.place->second.data() = bytes.text(64);
            break;
        case 2:
            node.parent->erase(node.place);
            break;
        case 3: {
            const SNode& source = nodes[bytes.take<std::uint16_t>() % nodes.size()];
            const ptree::value_type copy(source.place->first, source.place->second);
            node.place->second.push_back(copy);
            break;
        }
        case 4:
            node.place->second.push_back({pick(words.keys, bytes), ptree(pick(words.values, bytes))});
            break;
        default: {
            // replaces one subtree by another: the way to deep cascades
            const SNode& source = nodes[bytes.take<std::uint16_t>() % nodes.size()];
            ptree copy = source.place->second;
            node.place->second.swap(copy);
            break;
        }
        }
    }
    return tree;
}

/// Does it; true if it did not throw. Only the exceptions of bad configuration and bad devices may pass.
bool attempt(const std::function<void()>& action)
{
    try {
        action();
        return true;
    } catch (const boost::property_tree::ptree_error&) {
    } catch (const CConfigurationException&) {
    } catch (const CDeviceAccessException&) {
    } catch (const std::invalid_argument&) {
    } catch (const std::exception& exception) {
        // what derives from it stands for other failures, which are not foreseen here
        if (typeid(exception) == typeid(std::runtime_error)) {
            return false;
        }
        FUZZ_REQUIRE(false, exception.what());
    }
    return false;
}

/// No exception may leave any of this: on a loop's thread it would be uncaught.
void use(IControlLoop& loop)
{
    try {
        loop.sampleTime_ms();
        loop.getTypeName();
        loop.setEnabled(true);
        loop.process();
        loop.process();
        loop.setManualMode(true);
        loop.writeFixedControlValue(1.0);
        loop.setEnabled(false);
    } catch (const std::exception& exception) {
        FUZZ_REQUIRE(false, exception.what());
    }
}

void use(IIoChannelInterface& channel, const ptree& tree)
{
    attempt([&] {
        channel.setProperties(tree);
        channel.connectToDevice();
        channel.getName();
    });
    if (auto* const controller = dynamic_cast<CLocalControllerChannel*>(&channel)) {
        use(*controller->controlLoop());
        attempt([&] {
            controller->getSetPoint();
            controller->readControlValue();
        });
    }
}

/// Every factory of a registry, whatever type the tree is meant for.
template <class Registry> void offer(const Registry& registry, const ptree& tree)
{
    for (const std::string& name : registry.names()) {
        attempt([&] {
            const auto factory = registry.get(name);
            const std::unique_ptr<std::remove_pointer_t<decltype(factory->createObject(tree))>> object(
                factory->createObject(tree));
        });
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CFuzzedPlugins::instance();
    CBytes bytes(data, size);
    const std::uint16_t chosen = bytes.take<std::uint16_t>();
    ptree tree = mutated(bytes);
    CEnvironment& environment = *CEnvironment::getInstance();

    std::vector<std::unique_ptr<IDeviceInterface>> devices;
    if (const auto section = tree.get_child_optional("Devices")) {
        for (const auto& [key, node] : *section) {
            attempt([&, &properties = node] {
                const auto type = properties.get<std::string>("<xmlattr>.Type");
                std::unique_ptr<IDeviceInterface> device(
                    environment.getDeviceFactoryRegistry().get(type)->createObject(properties));
                device->setProperties(properties);
                devices.push_back(std::move(device));
            });
        }
    }
    std::vector<std::unique_ptr<IIoChannelInterface>> channels;
    if (const auto section = tree.get_child_optional("Channels")) {
        for (const auto& [key, node] : *section) {
            attempt([&, &properties = node] {
                const auto type = properties.get<std::string>("<xmlattr>.Type");
                channels.emplace_back(
                    environment.getIoChannellFactoryRegistry().get(type)->createObject(properties));
                use(*channels.back(), properties);
            });
        }
    }

    std::vector<SNode> nodes;
    nodesOf(tree, nodes);
    if (!nodes.empty()) {
        const ptree& any = nodes[chosen % nodes.size()].place->second;
        offer(CLocalControllerChannel::controlLoopFactories(), any);
        offer(CLocalControllerChannel::loopInFactories(), any);
        offer(CLocalControllerChannel::loopOutFactories(), any);
        offer(CLocalControllerChannel::loopInOutFactories(), any);
        offer(environment.getIoChannellFactoryRegistry(), any);
        offer(environment.getDeviceFactoryRegistry(), any);
        offer(environment.getBusFactoryRegistry(), any);
    }
    // the later ones may be built on the earlier ones
    while (!channels.empty()) {
        channels.pop_back();
    }
    while (!devices.empty()) {
        devices.pop_back();
    }
    return 0;
}
