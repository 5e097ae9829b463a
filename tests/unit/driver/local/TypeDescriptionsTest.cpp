#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/common/ControlLoopFactory.h"
#include "driver/local/controller/common/ControlParameters.h"
#include "driver/local/controller/common/LoopInOutFactory.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "driver/local/controller/controlloop/PIDParameters.h"
#include "driver/local/controller/controlloop/PT1Element.h"
#include "driver/local/controller/controlloopinput/LoopInFactory.h"
#include "driver/local/controller/controlloopoutput/LoopOutFactory.h"
#include "driver/local/LocalControllerChannel.h"
#include "driver/local/LocalFactoriesRegistration.h"
#include "driver/local/LoopGraph.h"
#include "platform/rivlink_core/Environment.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "tests/support/FakeDeviceChannels.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <functional>
#include <iomanip>
#include <limits>
#include <memory>
#include <set>
#include <typeinfo>

// Holds the file that describes the types against the code that reads their configuration. Whatever is
// demanded of a type or key here follows from the file alone; only what a bad value leads to is listed below.

using namespace Rvl::Test;
using boost::property_tree::ptree;
using nlohmann::json;
using Rvl::CEnvironment;
using Rvl::CLocalControllerChannel;
using testing::ElementsAreArray;
using testing::StartsWith;

namespace {

/// Keys whose value is quietly taken for absent if it does not convert. Every other one throws.
const std::set<std::string> quietKeys{
    "SetpointRange.<xmlattr>.Minimum", "SetpointRange.<xmlattr>.Maximum", "InputSameAsOutput",
    "BumplessParameterChange",         "PIDParam.<xmlattr>.Protected",    "PIDParam.<xmlattr>.Tt"};

const json& document()
{
    static const json parsed = [] {
        std::ifstream file(RIVLINK_LOCAL_TYPES_FILE);
        return json::parse(file);
    }();
    return parsed;
}

const json* findType(const std::string& name)
{
    for (const json& type : document().at("types")) {
        if (type.at("name") == name) {
            return &type;
        }
    }
    return nullptr;
}

std::vector<json> concreteTypes()
{
    std::vector<json> result;
    for (const json& type : document().at("types")) {
        if (type.at("kind") != "abstract") {
            result.push_back(type);
        }
    }
    return result;
}

/// The keys of the type and of its bases, those of the bases that are described elsewhere included.
std::vector<json> keysOf(const json& type)
{
    std::vector<json> result;
    for (const json& base : type.value("bases", json::array())) {
        if (base == "element" || base == "bus") {
            result.push_back({{"path", base == "bus" ? "<xmlattr>.Type" : "Type"},
                              {"type", "type"},
                              {"required", base == "element"}});
        } else if (base == "channel") {
            result.push_back({{"path", "<xmlattr>.Name"}, {"type", "name"}, {"required", true}});
        } else if (const json* const described = findType(base)) {
            const auto more = keysOf(*described);
            result.insert(result.end(), more.begin(), more.end());
        }
    }
    for (const json& key : type.at("keys")) {
        result.push_back(key);
    }
    return result;
}

bool isRequired(const json& key)
{
    return key.value("required", false) || key.contains("requiredUnless");
}

/// A type of that kind to stand for it.
std::string typeOfKind(const std::string& kind)
{
    for (const json& type : concreteTypes()) {
        if (type.at("kind") == kind) {
            return type.at("name");
        }
    }
    return "";
}

std::string textOf(const json& value)
{
    if (value.is_boolean()) {
        return value.get<bool>() ? "true" : "false";
    }
    if (value.is_number_float()) {
        std::ostringstream text;
        text << std::setprecision(17) << value.get<double>();
        return text.str();
    }
    return value.is_string() ? value.get<std::string>() : value.dump();
}

ptree minimalConfiguration(const std::string& typeName);

/// Writes an acceptable value of the key.
void putValue(ptree& tree, const std::string& typeName, const json& key)
{
    const std::string path = key.at("path");
    const std::string type = key.at("type");
    if (type == "section") {
        if (!tree.get_child_optional(path)) {
            tree.put_child(path, ptree());
        }
    } else if (type == "element") {
        tree.put_child(path, minimalConfiguration(typeOfKind(key.at("kinds").at(0))));
    } else if (type == "reference") {
        tree.put(path, "The " + key.at("nameServer").get<std::string>());
    } else if (type == "type") {
        tree.put(path, typeName);
    } else if (type == "name") {
        tree.put(path, "Controller");
    } else if (type == "boolean") {
        tree.put(path, "true");
    } else if (type == "text") {
        tree.put(path, "a text");
    } else if (type == "hexadecimal") {
        tree.put(path, "2");
    } else {
        tree.put(path, path.find("SampleTime") != std::string::npos ? "25" : "3");
    }
}

ptree minimalConfiguration(const std::string& typeName)
{
    ptree tree;
    for (const json& key : keysOf(*findType(typeName))) {
        if (isRequired(key)) {
            putValue(tree, typeName, key);
        }
    }
    return tree;
}

/// The tree without that path.
ptree without(ptree tree, const std::string& path)
{
    const auto dot = path.rfind('.');
    if (dot == std::string::npos) {
        tree.erase(path);
    } else if (const auto parent = tree.get_child_optional(path.substr(0, dot))) {
        parent->erase(path.substr(dot + 1));
    }
    return tree;
}

ptree with(ptree tree, const std::string& path, const std::string& value)
{
    tree.put(path, value);
    return tree;
}

/// A name for each test that is the type's.
std::string testName(const testing::TestParamInfo<std::string>& info)
{
    return info.param.substr(info.param.find("::") + 2);
}

std::vector<std::string> concreteTypeNames()
{
    std::vector<std::string> names;
    for (const json& type : concreteTypes()) {
        names.push_back(type.at("name"));
    }
    return names;
}

int tick_ms = 0;

} // namespace

class TypeDescriptions : public testing::TestWithParam<std::string>
{
protected:
    TypeDescriptions()
    {
        CEnvironment::getInstance()->releasePlugins();
        Rvl::RegisterLocalFactories()();
        Rvl::CPT1Element::setTickFunction([] { return tick_ms; });
    }

    ~TypeDescriptions() override
    {
        Rvl::CPT1Element::setTickFunction(nullptr);
        CEnvironment::getInstance()->releasePlugins();
    }

    const json& description() const { return *findType(GetParam()); }
    ptree minimal() const { return minimalConfiguration(GetParam()); }

    /// Builds an object of the parameter's type from its node and returns everything about it that can be
    /// observed from outside, so that two configurations that mean the same give the same text.
    std::string observe(const ptree& tree)
    {
        observed_.str("");
        observed_ << std::setprecision(17);
        digitalOut.setPWMMode(false); // as it was, whatever an earlier observation did to it
        journal.clear();
        const std::string kind = description().at("kind");
        if (kind == "bus") {
            observeBus(tree);
        } else if (kind == "channel") {
            observeChannel(GetParam(), tree);
        } else if (kind == "controlLoop") {
            ptree channel;
            channel.put("<xmlattr>.Name", "Controller");
            channel.put_child("ControlLoop", tree);
            observeChannel("Rvl::CLocalControllerChannel", channel);
            if (const auto set = tree.get_child_optional("PIDParam")) {
                // the loop does not keep the mark of the set that it is configured with
                observed_ << "protected " << Rvl::CPIDParameters(*set).isImmutable() << "\n";
            }
        } else {
            ptree channel;
            channel.put("<xmlattr>.Name", "Controller");
            channel.put_child("ControlLoop", minimalConfiguration(typeOfKind("controlLoop")));
            channel.put_child(kind == "loopIn" ? "ControlLoop.Input" : "ControlLoop.Output", tree);
            observeChannel("Rvl::CLocalControllerChannel", channel);
        }
        for (const auto& entry : journal.entries()) {
            observed_ << entry << "\n";
        }
        return observed_.str();
    }

    /// What observing throws, by class and message.
    std::string fault(const ptree& tree)
    {
        return faultOf([&] { observe(tree); });
    }

    Journal journal;
    Rvl::CAnalogInChannel analogIn{"The analogIn"};
    FakeAnalogOut analogOut{"The analogOut", journal};
    FakeDigitalOut digitalOut{"The digitalOut", journal};
    FakeDigitalPort digitalPort{"The digitalPort", journal};
    FakePump pump{"The pump", journal};

private:
    void observeBus(const ptree& tree)
    {
        auto& factories = CEnvironment::getInstance()->getBusFactoryRegistry();
        const std::unique_ptr<Rvl::IBus> bus(factories.get(GetParam())->createObject(tree));
        bus->setProperties(tree);
        observed_ << bus->getTypeName() << " " << bus->getName() << " " << bus->isConnected() << "\n";
    }

    void observeChannel(const std::string& typeName, const ptree& tree)
    {
        auto& factories = CEnvironment::getInstance()->getIoChannellFactoryRegistry();
        const std::unique_ptr<Rvl::IIoChannelInterface> object(factories.get(typeName)->createObject(tree));
        object->setProperties(tree);
        auto& channel = dynamic_cast<CLocalControllerChannel&>(*object);
        observed_ << Rvl::IControllerChannel::NameServer.names().at(0) << " " << typeid(channel).name() << " "
                  << channel.setpointMinimum() << " " << channel.setpointMaximum() << "\n";
        channel.setEnabled(false); // not true: that would start the processor
        std::shared_ptr<Rvl::IControlLoop> loop = channel.controlLoop();
        observeLoop(*loop);
        observeRun(*loop);
    }

    void observeLoop(Rvl::IControlLoop& loop)
    {
        const Rvl::CControlParameters& parameters = loop.controlParameters();
        observed_ << loop.getTypeName() << " " << parameters.name() << " " << parameters.isImmutable() << " ("
                  << loop.sampleTime_ms();
        for (const double value : parameters.data()) {
            observed_ << " " << value;
        }
        observed_ << ") " << loop.isEnabled() << " " << loop.readSetpoint() << " " << loop.readControlValue();
        const auto input = loop.inputElement();
        const auto output = loop.outputElement();
        observed_ << " from " << nameOf(input.get()) << " to " << nameOf(output.get())
                  << (input == output ? " the same" : "") << "\n";
    }

    static std::string nameOf(const Rvl::IControlLoopElement* element)
    {
        return element ? typeid(*element).name() : "nothing";
    }

    void observeRun(Rvl::IControlLoop& loop)
    {
        for (const auto& element : {loop.inputElement(), loop.outputElement()}) {
            if (element) {
                element->init();
            }
        }
        loop.setEnabled(true);
        for (const double value : {1.0, 2.5, 2.0}) {
            analogIn.publishValue(value);
            tick_ms += 500;
            loop.process();
            observeElements(loop);
        }
        if (auto* const pid = dynamic_cast<Rvl::CPIDControlLoop*>(&loop)) {
            Rvl::CPIDParameters parameters = pid->parameters();
            parameters.setK(parameters.getK() + 1.0);
            pid->setParameters(parameters);
            observed_ << "I " << pid->integralControlValue() << "\n";
        }
        loop.setManualMode(true);
        for (const double value : {-1.5, 1.5}) {
            loop.writeFixedControlValue(value);
            tick_ms += 500;
            observeElements(loop);
        }
    }

    void observeElements(Rvl::IControlLoop& loop)
    {
        observed_ << loop.readControlValue() << " " << loop.actualValue();
        if (const auto lag = std::dynamic_pointer_cast<Rvl::CPT1Element>(loop.outputElement())) {
            observed_ << " lag " << lag->readInputValue();
        }
        observed_ << "\n";
    }

    std::ostringstream observed_;
};

INSTANTIATE_TEST_SUITE_P(Local, TypeDescriptions, testing::ValuesIn(concreteTypeNames()), testName);

/// The same for the loops alone.
class LoopTypeDescriptions : public TypeDescriptions
{};

INSTANTIATE_TEST_SUITE_P(Local, LoopTypeDescriptions,
                         testing::Values("Rvl::CPIDControlLoop", "Rvl::CTwoLevelControlLoop",
                                         "Rvl::CConditionalControlLoop"),
                         testName);

TEST(TypeDescriptionsFile, DescribesExactlyTheTypesThatAreRegistered)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    environment.releasePlugins();
    Rvl::RegisterLocalFactories()();
    std::map<std::string, std::vector<std::string>> registered{
        {"channel", environment.getIoChannellFactoryRegistry().names()},
        {"bus", environment.getBusFactoryRegistry().names()},
        {"device", environment.getDeviceFactoryRegistry().names()},
        {"controlLoop", CLocalControllerChannel::controlLoopFactories().names()},
        {"loopIn", CLocalControllerChannel::loopInFactories().names()},
        {"loopInOut", CLocalControllerChannel::loopInOutFactories().names()},
        {"loopOut", CLocalControllerChannel::loopOutFactories().names()}};
    environment.releasePlugins();
    std::map<std::string, std::set<std::string>> described;
    for (const json& type : concreteTypes()) {
        described[type.at("kind")].insert(type.at("name").get<std::string>());
    }
    for (const auto& [kind, names] : registered) {
        EXPECT_THAT(described[kind], ElementsAreArray(names)) << kind;
        described.erase(kind);
    }
    EXPECT_TRUE(described.empty()) << "a kind that nothing is registered for";
    EXPECT_EQ("rivlink_local", document().at("plugin"));
}

TEST(TypeDescriptionsFile, IsWellFormed)
{
    const std::set<std::string> typeFields{"name", "kind", "bases", "provides", "example", "meaning", "keys"};
    const std::set<std::string> keyFields{
        "path",      "type",       "required", "requiredUnless",   "default", "unit",
        "minimum",   "nameServer", "kinds",    "kindsWhile",       "example", "meaning",
        "maximum",   "notAbove",   "onlyWith", "exclusiveMinimum", "role",    "lenient",
        "unlimited", "drives",     "excluded"};
    const std::set<std::string> valueTypes{"text",        "boolean",   "integer", "real",
                                           "hexadecimal", "reference", "section", "element"};
    const std::set<std::string> nameServers{"analogIn", "analogOut", "digitalOut", "digitalPort", "pump"};
    const std::set<std::string> elementKinds{"controlLoop", "loopIn", "loopOut", "loopInOut"};
    const std::set<std::string> basesElsewhere{"element", "channel", "controller", "bus"};
    for (const json& type : document().at("types")) {
        SCOPED_TRACE(type.at("name").get<std::string>());
        for (const auto& field : type.items()) {
            EXPECT_EQ(1u, typeFields.count(field.key())) << field.key();
        }
        EXPECT_NE("", type.at("meaning").get<std::string>());
        for (const json& base : type.value("bases", json::array())) {
            EXPECT_TRUE(findType(base) || basesElsewhere.count(base)) << base;
        }
        std::set<std::string> paths;
        for (const json& key : type.at("keys")) {
            const std::string path = key.at("path");
            SCOPED_TRACE(path);
            for (const auto& field : key.items()) {
                EXPECT_EQ(1u, keyFields.count(field.key())) << field.key();
            }
            EXPECT_TRUE(paths.insert(path).second) << "described twice";
            EXPECT_NE("", key.at("meaning").get<std::string>());
            const std::string valueType = key.at("type");
            EXPECT_EQ(1u, valueTypes.count(valueType));
            EXPECT_EQ(valueType == "reference", key.contains("nameServer"));
            EXPECT_EQ(valueType == "element", key.contains("kinds"));
            if (key.contains("nameServer")) {
                EXPECT_EQ(1u, nameServers.count(key.at("nameServer")));
            }
            for (const json& kind : key.value("kinds", json::array())) {
                EXPECT_EQ(1u, elementKinds.count(kind));
            }
            if (key.contains("kindsWhile")) {
                EXPECT_EQ("InputSameAsOutput", key.at("kindsWhile").at("key"));
                EXPECT_EQ(json::array({"loopInOut"}), key.at("kindsWhile").at("kinds"));
            }
            EXPECT_FALSE(key.value("required", false) && key.contains("default"));
            EXPECT_TRUE(isRequired(key) || key.contains("default") || valueType == "section");
            const auto dot = path.find('.');
            if (dot != std::string::npos && !path.starts_with("<xmlattr>")) {
                EXPECT_EQ(1u, paths.count(path.substr(0, dot))) << "its section is described before it";
            }
        }
    }
}

TEST_P(LoopTypeDescriptions, NumbersOfTheParameterSetAreTheLoopsParameters)
{
    ptree loop = minimal();
    std::vector<std::pair<std::string, double>> expected;
    for (const json& key : description().at("keys")) {
        const std::string path = key.at("path");
        if (key.at("type") == "real" || key.at("type") == "integer") {
            const int value = 100 + static_cast<int>(expected.size());
            loop.put(path, value);
            expected.emplace_back(path.substr(path.rfind('.') + 1), value);
        }
    }
    ASSERT_FALSE(expected.empty());
    ptree tree;
    tree.put("<xmlattr>.Name", "Controller");
    tree.put_child("ControlLoop", loop);
    auto& factories = CEnvironment::getInstance()->getIoChannellFactoryRegistry();
    const std::unique_ptr<Rvl::IIoChannelInterface> channel(
        factories.get("Rvl::CLocalControllerChannel")->createObject(tree));
    const Rvl::CLoopGraph graph(dynamic_cast<CLocalControllerChannel&>(*channel));
    std::vector<std::pair<std::string, double>> found;
    for (const auto& value : graph.parameters(0).values) {
        found.emplace_back(value.key, value.value);
    }
    EXPECT_EQ(expected, found) << "each under its key, in the order of the description";
}

TEST_P(TypeDescriptions, MinimalConfigurationBuilds)
{
    EXPECT_EQ("nothing was thrown", fault(minimal()));
}

TEST_P(TypeDescriptions, EveryRequiredKeyIsMissed)
{
    int examined = 0;
    for (const json& key : keysOf(description())) {
        if (!isRequired(key)) {
            continue;
        }
        const std::string path = key.at("path");
        const std::string message = fault(without(minimal(), path));
        const std::string prefix = "ptree_bad_path: No such node (";
        ASSERT_THAT(message, StartsWith(prefix)) << path;
        const std::string missed = message.substr(prefix.size(), message.size() - prefix.size() - 1);
        // the code may read the key from the section it stands in, or a key inside the missing section
        EXPECT_TRUE(missed == path || path.ends_with("." + missed) || missed.starts_with(path + "."))
            << path << " gave " << message;
        ++examined;
    }
    EXPECT_LE(1 - (description().at("kind") == "loopInOut"), examined);
}

TEST_P(TypeDescriptions, KeyRequiredUnlessAnotherIsTrueIsNotMissedThen)
{
    for (const json& key : keysOf(description())) {
        if (key.contains("requiredUnless")) {
            ptree tree = with(without(minimal(), key.at("path")), key.at("requiredUnless"), "true");
            EXPECT_EQ("nothing was thrown", fault(tree)) << key.at("path");
        }
    }
}

TEST_P(TypeDescriptions, AbsenceMeansTheDefault)
{
    const std::string absent = observe(minimal());
    EXPECT_EQ(absent, observe(minimal())) << "the observation itself is repeatable";
    for (const json& key : keysOf(description())) {
        if (!key.contains("default")) {
            continue;
        }
        const std::string path = key.at("path");
        const json& value = key.at("default");
        EXPECT_EQ(absent, observe(with(minimal(), path, textOf(value)))) << path;
        const std::string other = value.is_boolean() ? textOf(!value.get<bool>()) : "1.75";
        EXPECT_NE(absent, observe(with(minimal(), path, other)))
            << path << " makes no difference, so the default is not proven";
    }
}

TEST_P(TypeDescriptions, ValuesAreOfTheTypeDescribed)
{
    const std::string absent = observe(minimal());
    for (const json& key : keysOf(description())) {
        const std::string path = key.at("path");
        const std::string type = key.at("type");
        SCOPED_TRACE(path);
        const auto given = [&](const std::string& value) { return with(minimal(), path, value); };
        if (type == "integer" || type == "real" || type == "boolean") {
            if (quietKeys.count(path)) {
                EXPECT_EQ(absent, observe(given("nonsense")));
                EXPECT_TRUE(key.contains("default"));
            } else {
                EXPECT_THAT(fault(given("nonsense")),
                            StartsWith("ptree_bad_data: conversion of data to type"));
            }
        }
        if (type == "integer") {
            EXPECT_THAT(fault(given("2.5")), StartsWith("ptree_bad_data: conversion of data to type"));
        } else if (type == "real") {
            EXPECT_EQ("nothing was thrown", fault(given("25.5")));
            EXPECT_NE(observe(given("25")), observe(given("26.5")));
        } else if (type == "boolean") {
            EXPECT_EQ(observe(given("true")), observe(given("1")));
            EXPECT_EQ(observe(given("false")), observe(given("0")));
            EXPECT_NE(observe(given("true")), observe(given("false")));
        } else if (type == "hexadecimal") {
            EXPECT_EQ(observe(given("0")), observe(given("nonsense")));
            EXPECT_EQ(observe(given("ff")), observe(given("0xFF")));
            EXPECT_NE(observe(given("10")), observe(given("a")));
        } else if (type == "reference") {
            EXPECT_THAT(fault(given("Nobody")), StartsWith("CConfigurationException: Object Nobody is not "
                                                           "registered on this name server "));
        } else if (type == "text") {
            EXPECT_NE(observe(given("one")), observe(given("other")));
        } else if (type == "type" && description().at("kind") != "bus") {
            EXPECT_EQ("CConfigurationException: Factory Rvl::CNone does not exist in factory registry",
                      fault(given("Rvl::CNone")));
        }
    }
}

TEST_P(TypeDescriptions, ElementsMayBeOfEveryKindDescribedAndOfNoOther)
{
    for (const json& key : keysOf(description())) {
        if (key.at("type") != "element") {
            continue;
        }
        const std::string path = key.at("path");
        std::set<std::string> allowed;
        for (const json& kind : key.at("kinds")) {
            allowed.insert(kind.get<std::string>());
        }
        for (const std::string kind : {"controlLoop", "loopIn", "loopOut", "loopInOut"}) {
            ptree tree = minimal();
            tree.put_child(path, minimalConfiguration(typeOfKind(kind)));
            const std::string refusal = "CConfigurationException: Factory " + typeOfKind(kind) +
                                        " does not exist in factory registry";
            EXPECT_EQ(allowed.count(kind) ? "nothing was thrown" : refusal, fault(tree))
                << kind << " as " << path;
        }
    }
}

TEST_P(TypeDescriptions, AppearsOnTheNameServersDescribed)
{
    EXPECT_EQ(description().at("kind") == "channel", description().contains("provides"));
    if (description().contains("provides")) {
        EXPECT_EQ(json::array({"controller"}), description().at("provides"));
        EXPECT_THAT(observe(minimal()), StartsWith("Controller "))
            << "as the controllers' name server has it";
    }
}
