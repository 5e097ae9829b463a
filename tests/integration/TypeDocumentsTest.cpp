// Holds what is generated from the type descriptions against the real plug-ins (and the tests' own, whose
// keys are more varied): the manual and its short pieces of XML against the host's check, the schema against
// what a validating parser marks with it.

#include "host/configuration/Configuration.h"
#include "host/configuration/ConfigurationCheck.h"
#include "host/configuration/References.h"
#include "host/documents/ConfigurationSchema.h"
#include "host/documents/ShortXml.h"
#include "host/plugins/PluginPath.h"
#include "host/types/KeyText.h"
#include "tests/integration/HostProgram.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/SchemaCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

namespace Rvl::Test {

namespace {

/// The plug-ins of one folder, and the schema for them.
struct SPlugins
{
    explicit SPlugins(const std::string& folder)
    {
        const CPluginPath path({folder});
        catalogue.addFile(*path.findFile("rivlink_platform.types.json"));
        for (const std::string& plugin : path.plugins()) {
            catalogue.addFile(*path.findFile(plugin + ".types.json"));
        }
        catalogue.resolve();
        schemaText = configurationSchema(catalogue);
    }

    const CSchemaCheck& schema()
    {
        if (!check) {
            check = std::make_unique<CSchemaCheck>(schemaText);
        }
        return *check;
    }

    CTypeCatalogue catalogue;
    std::string schemaText;
    std::unique_ptr<CSchemaCheck> check;
};

SPlugins& pluginsIn(const std::string& folder)
{
    static std::map<std::string, std::unique_ptr<SPlugins>> known;
    auto& plugins = known[folder];
    if (!plugins) {
        plugins = std::make_unique<SPlugins>(folder);
    }
    return *plugins;
}

pugi::xml_node firstNamed(const pugi::xml_node& node, const std::string& name)
{
    return node.find_node([&](const pugi::xml_node& other) { return other.name() == name; });
}

/// A configuration made of a type's short XML: what it stands in, and the objects to which it refers.
class CSample
{
public:
    CSample(const CTypeCatalogue& catalogue, const STypeDescription& type) : catalogue_(catalogue)
    {
        root_ = document_.append_child("Configuration");
        plugins_ = root_.append_child("Plugins");
        for (const char* section : {"Buses", "Devices", "Channels"}) {
            root_.append_child(section);
        }
        const std::string element = elementOfKind(catalogue, type.kind);
        if (isObject(type)) {
            node_ = appendObject(type);
        } else {
            pugi::xml_node place;
            for (const STypeDescription* other : catalogue.types()) {
                if (!place && other->kind == "channel") {
                    const pugi::xml_node channel = appendObject(*other);
                    place = firstNamed(channel, element);
                    if (!place) {
                        channel.parent().remove_child(channel);
                    }
                }
            }
            pugi::xml_node parent = place.parent();
            parent.remove_child(place);
            node_ = appendShortNode(parent, catalogue, type);
        }
        while (appendWhatIsMissing()) {
        }
        addPlugin(type);
    }

    /// The node of the type.
    pugi::xml_node node() const { return node_; }
    /// The references to what no type of the catalogue offers.
    std::size_t dangling() const
    {
        std::size_t count = 0;
        for (const pugi::xml_node& object : objects()) {
            const auto references = referencesOf(catalogue_, typeOf(object), object);
            count += static_cast<std::size_t>(
                std::count_if(references.begin(), references.end(),
                              [this](const SReference& reference) { return !isThere(reference); }));
        }
        return count;
    }

    /// Each tag in a line of its own.
    std::string text() const
    {
        std::ostringstream stream;
        document_.save(stream, " ");
        return stream.str();
    }

private:
    static bool isObject(const STypeDescription& type)
    {
        return type.kind == "bus" || type.kind == "device" || type.kind == "channel";
    }

    void addPlugin(const STypeDescription& type)
    {
        if (!plugins_.find_child_by_attribute("Name", type.plugin.c_str())) {
            plugins_.append_child("Plugin").append_attribute("Name").set_value(type.plugin.c_str());
        }
    }

    pugi::xml_node appendObject(const STypeDescription& type)
    {
        const char* const section = type.kind == "bus"      ? "Buses"
                                    : type.kind == "device" ? "Devices"
                                                            : "Channels";
        addPlugin(type);
        return appendShortNode(root_.child(section), catalogue_, type);
    }

    std::vector<pugi::xml_node> objects() const
    {
        std::vector<pugi::xml_node> result;
        for (const char* section : {"Buses", "Devices", "Channels"}) {
            for (const pugi::xml_node& object : root_.child(section).children()) {
                result.push_back(object);
            }
        }
        return result;
    }

    const STypeDescription& typeOf(const pugi::xml_node& object) const
    {
        return *catalogue_.find(object.attribute("Type").value());
    }

    static bool serves(const STypeDescription& type, const std::string& server)
    {
        return std::find(type.provides.begin(), type.provides.end(), server) != type.provides.end() ||
               type.kind == server;
    }

    bool appendWhatIsMissing()
    {
        for (const pugi::xml_node& object : objects()) {
            for (const SReference& reference : referencesOf(catalogue_, typeOf(object), object)) {
                if (!isThere(reference) && appendServant(reference)) {
                    return true;
                }
            }
        }
        return false;
    }

    bool isThere(const SReference& reference) const
    {
        const auto all = objects();
        return std::any_of(all.begin(), all.end(), [&](const pugi::xml_node& object) {
            return object.attribute("Name").value() == reference.name &&
                   serves(typeOf(object), reference.nameServer);
        });
    }

    bool appendServant(const SReference& reference)
    {
        const STypeDescription* servant = nullptr;
        for (const STypeDescription* type : catalogue_.types()) {
            if (isObject(*type) && serves(*type, reference.nameServer)) {
                // one that is called so in examples has the signals that go with them
                const bool fits = nameInExamples(*type) == reference.name;
                servant = fits || !servant ? type : servant;
                if (fits) {
                    break;
                }
            }
        }
        if (servant) {
            appendObject(*servant).attribute("Name").set_value(reference.name.c_str());
        }
        return servant != nullptr;
    }

    std::string nameInExamples(const STypeDescription& type) const
    {
        pugi::xml_document document;
        return appendShortNode(document, catalogue_, type).attribute("Name").value();
    }

    const CTypeCatalogue& catalogue_;
    pugi::xml_document document_;
    pugi::xml_node root_;
    pugi::xml_node plugins_;
    pugi::xml_node node_;
};

/// A changed configuration, and what a parser is to mark in it.
struct SWrong
{
    std::string what;
    std::string text;
    int line;
    std::string marked;
};

void expectMarks(const CSchemaCheck& schema, const std::vector<SWrong>& cases)
{
    std::vector<std::string> texts;
    for (const SWrong& wrong : cases) {
        texts.push_back(wrong.text);
    }
    const auto marks = schema.marks(texts);
    for (std::size_t i = 0; i < cases.size(); ++i) {
        EXPECT_GT(cases[i].line, 0) << cases[i].what;
        EXPECT_TRUE(isMarked(marks[i], cases[i].line, cases[i].marked))
            << cases[i].what << " is to be marked in line " << cases[i].line << " with \"" << cases[i].marked
            << "\", but the marks are\n"
            << asText(marks[i]) << "in\n"
            << cases[i].text;
    }
}

void forEachElement(const pugi::xml_node& node, const std::function<void(pugi::xml_node)>& visit)
{
    visit(node);
    for (const pugi::xml_node& child : node.children()) {
        if (child.type() == pugi::node_element) {
            forEachElement(child, visit);
        }
    }
}

/// Visits the values in a type's node, those of elements of other types left out.
void forEachValue(
    const pugi::xml_node& node, const SKeyNode& keys,
    const std::function<void(pugi::xml_node, pugi::xml_attribute, const SKeyDescription&)>& visit)
{
    for (const pugi::xml_attribute& attribute : node.attributes()) {
        visit(node, attribute, *keys.attribute(attribute.name()));
    }
    for (const pugi::xml_node& child : node.children()) {
        const SKeyNode* const childKeys =
            child.type() == pugi::node_element ? keys.child(child.name()) : nullptr;
        if (!childKeys || (childKeys->key && childKeys->key->type == SKeyDescription::Element)) {
            continue;
        }
        if (childKeys->key && isValue(*childKeys->key)) {
            visit(child, {}, *childKeys->key);
        }
        forEachValue(child, *childKeys, visit);
    }
}

/// Puts `value` in the place of an attribute's or element's text, and returns the line in which it then
/// stands.
SWrong withValue(const CSample& sample, pugi::xml_node node, pugi::xml_attribute attribute,
                 const std::string& value, const std::string& what)
{
    const std::string before = attribute ? attribute.value() : node.text().get();
    const auto set = [&](const std::string& text) {
        if (attribute) {
            attribute.set_value(text.c_str());
        } else {
            node.text().set(text.c_str());
        }
    };
    const std::string name = attribute ? attribute.name() : node.name();
    set("unmistakable");
    const int line = lineWith(sample.text(), "unmistakable");
    set(value);
    SWrong wrong{what + " " + name + " with the value " + value, sample.text(), line, name + "'"};
    set(before);
    return wrong;
}

/// The lowest minimum, or highest maximum, of the keys of that path in any type; what is beyond is wrong
/// wherever the key stands. Nothing if one of them is not limited.
std::optional<double> commonLimit(const CTypeCatalogue& catalogue, const SKeyDescription& key, bool maximum)
{
    if (!maximum && key.lenient) {
        return std::nullopt; // what is below is only a warning
    }
    std::optional<double> limit = maximum ? key.maximum : key.minimum;
    for (const STypeDescription* type : catalogue.types()) {
        for (const SKeyDescription& other : type->keys) {
            if (other.path == key.path && limit) {
                const std::optional<double> its = maximum ? other.maximum : other.minimum;
                limit = !its ? its : maximum ? std::max(*limit, *its) : std::min(*limit, *its);
            }
        }
    }
    return limit;
}

struct SType
{
    std::string folder;
    std::string name;
};

void PrintTo(const SType& type, std::ostream* out)
{
    *out << type.name;
}

std::vector<SType> everyType()
{
    std::vector<SType> result;
    for (const std::string folder : {RIVLINK_PLUGIN_DIRECTORY, RIVLINK_TEST_PLUGIN_DIRECTORY}) {
        for (const STypeDescription* type : pluginsIn(folder).catalogue.types()) {
            result.push_back({folder, type->name});
        }
    }
    return result;
}

class EveryType : public testing::TestWithParam<SType>
{
protected:
    SPlugins& plugins() const { return pluginsIn(GetParam().folder); }
    const CTypeCatalogue& catalogue() const { return plugins().catalogue; }
    const CSchemaCheck& schema() const { return plugins().schema(); }
    const STypeDescription& type() const { return *catalogue().find(GetParam().name); }
};

TEST_P(EveryType, PassesTheHostsCheckWithItsShortXml)
{
    const CSample sample(catalogue(), type());
    const CConfiguration configuration = CConfiguration::parse(sample.text(), "sample.xml");
    CFaultList faults;
    CConfigurationCheck(configuration, catalogue(), true, {}, faults).run();
    std::size_t dangling = 0;
    for (const SFault& fault : faults.inFileOrder()) {
        // what no plug-in offers cannot be referred to
        if (fault.text.ends_with("; expected one, but the configuration has none")) {
            ++dangling;
        }
    }
    EXPECT_EQ(faults.size(), dangling) << faults.report("sample.xml") << sample.text();
    EXPECT_EQ(dangling, sample.dangling()) << faults.report("sample.xml");
}

TEST_P(EveryType, IsShownWithItsShortXmlAsItPassedTheCheck)
{
    pugi::xml_document asText;
    const std::string text = shortXml(catalogue(), type());
    ASSERT_TRUE(asText.load_string(text.c_str())) << text;
    pugi::xml_document asNode;
    appendShortNode(asNode, catalogue(), type());
    std::ostringstream fromText;
    std::ostringstream fromNode;
    asText.save(fromText);
    asNode.save(fromNode);
    EXPECT_EQ(fromText.str(), fromNode.str());
    for (const std::string& line : linesOf(text)) {
        EXPECT_LE(line.size(), 100U) << line;
    }
}

TEST_P(EveryType, ValidatesWithItsShortXml)
{
    const std::string text = CSample(catalogue(), type()).text();
    EXPECT_EQ("", asText(schema().marks(text))) << text;
}

TEST_P(EveryType, IsMarkedWhereAKeyIsMisspelt)
{
    const CSample sample(catalogue(), type());
    std::vector<SWrong> cases;
    forEachElement(sample.node(), [&](pugi::xml_node node) {
        for (pugi::xml_attribute attribute : node.attributes()) {
            const std::string name = attribute.name();
            attribute.set_name((name + "Misspelt").c_str());
            cases.push_back({name, sample.text(), lineWith(sample.text(), " " + name + "Misspelt="),
                             name + "Misspelt' is not allowed"});
            attribute.set_name(name.c_str());
        }
        const std::string name = node.name();
        node.set_name((name + "Misspelt").c_str());
        cases.push_back({name, sample.text(), lineWith(sample.text(), "<" + name + "Misspelt"),
                         name + "Misspelt': This element is not expected"});
        node.set_name(name.c_str());
    });
    expectMarks(schema(), cases);
    EXPECT_GE(cases.size(), 2U);
}

TEST_P(EveryType, IsMarkedWhereAKeyIsOneTooMany)
{
    const CSample sample(catalogue(), type());
    std::vector<SWrong> cases;
    forEachElement(sample.node(), [&](pugi::xml_node node) {
        node.append_attribute("NoSuchKey").set_value("1");
        cases.push_back(
            {node.name(), sample.text(), lineWith(sample.text(), "NoSuchKey"), "NoSuchKey' is not allowed"});
        node.remove_attribute("NoSuchKey");
        // an element without child elements is marked itself, where it begins
        const bool empty = !node.first_child();
        if (node.first_child().type() != pugi::node_pcdata) {
            node.append_child("NoSuchKey").text().set("1");
            const int line = lineWith(sample.text(), "<NoSuchKey");
            const auto marks = schema().marks(sample.text());
            EXPECT_TRUE(isMarked(marks, line, "NoSuchKey': This element is not expected") ||
                        (empty && isMarked(marks, line - 1, "content is not allowed")))
                << asText(marks) << sample.text();
            node.remove_child("NoSuchKey");
        }
    });
    expectMarks(schema(), cases);
}

TEST_P(EveryType, IsMarkedWhereAValueIsWrong)
{
    const CSample sample(catalogue(), type());
    std::vector<SWrong> cases;
    forEachValue(sample.node(), catalogue().keys(type()),
                 [&](pugi::xml_node node, pugi::xml_attribute attribute, const SKeyDescription& key) {
                     const auto add = [&](const std::string& value) {
                         cases.push_back(withValue(sample, node, attribute, value, type().name));
                     };
                     const bool isNumber =
                         key.type == SKeyDescription::Integer || key.type == SKeyDescription::Real;
                     if (isNumber || key.type == SKeyDescription::Boolean ||
                         key.type == SKeyDescription::Hexadecimal || key.type == SKeyDescription::Choice) {
                         add("wrong value");
                         add("");
                     }
                     if (isNumber) {
                         add("1,5");
                         add("NaN");
                         if (const auto minimum = commonLimit(catalogue(), key, false)) {
                             add(keyLimit(key, *minimum - 1));
                         }
                         if (const auto maximum = commonLimit(catalogue(), key, true)) {
                             add(keyLimit(key, *maximum + 1));
                         }
                     }
                 });
    expectMarks(schema(), cases);
}

TEST_P(EveryType, IsMarkedWhereItsNameIsWrong)
{
    const CSample sample(catalogue(), type());
    pugi::xml_node node = sample.node();
    const pugi::xml_attribute attribute = node.attribute("Type");
    const pugi::xml_node place = attribute ? node : node.child("Type");
    std::vector<SWrong> cases{withValue(sample, place, attribute, "Rvl::CNoSuchType", "unknown type:")};
    // neither an object nor, in a loop, an input or output can be a bus or a device
    for (const STypeDescription* other : catalogue().types()) {
        if (other->kind != type().kind && (other->kind == "device" || other->kind == "bus")) {
            cases.push_back(withValue(sample, place, attribute, other->name, "type of another kind:"));
        }
    }
    expectMarks(schema(), cases);
    EXPECT_GE(cases.size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(Plugins, EveryType, testing::ValuesIn(everyType()), [](const auto& instance) {
    std::string name = instance.param.name;
    name.erase(std::remove_if(name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }),
               name.end());
    return name;
});

std::string firstDifference(const std::string& expected, const std::string& actual)
{
    const std::vector<std::string> left = linesOf(expected);
    const std::vector<std::string> right = linesOf(actual);
    const auto at = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    return "line " + std::to_string(at.first - left.begin() + 1) +
           " is:        " + (at.first == left.end() ? "" : *at.first) +
           "\nand should be: " + (at.second == right.end() ? "" : *at.second) + "\n";
}

} // namespace

TEST(TypeDocumentsTest, ManualInTheRepositoryIsTheOneOfTheDescriptions)
{
    const std::string kept = readFile(std::string(RIVLINK_DOCUMENTS_DIRECTORY) + "/configuration.md");
    const SProgramResult result = runProgram(host, {"docs"}, {}, {{"RIVLINK_PLUGIN_PATH", ""}});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ("", result.err);
    EXPECT_TRUE(kept == result.out) << "docs/configuration.md is not what the type descriptions say; rewrite "
                                       "it with\n  ./run docs > docs/configuration.md\n"
                                    << firstDifference(kept, result.out);
}

TEST(TypeDocumentsTest, ManualHasEveryType)
{
    const std::string manual = runProgram(host, {"docs"}, {}, {{"RIVLINK_PLUGIN_PATH", ""}}).out;
    const CTypeCatalogue& catalogue = pluginsIn(RIVLINK_PLUGIN_DIRECTORY).catalogue;
    EXPECT_GE(catalogue.types().size(), 20U);
    for (const STypeDescription* type : catalogue.types()) {
        EXPECT_NE(manual.find("\n### " + type->name + "\n"), std::string::npos) << type->name;
        EXPECT_NE(manual.find("\n```xml\n" + shortXml(catalogue, *type) + "```\n"), std::string::npos)
            << type->name;
    }
}

TEST(TypeDocumentsTest, ManualBeginsWithASoundConfiguration)
{
    const std::string manual = runProgram(host, {"docs"}, {}, {{"RIVLINK_PLUGIN_PATH", ""}}).out;
    const std::string fence = "```xml\n";
    const auto begin = manual.find(fence) + fence.size();
    const std::string text = manual.substr(begin, manual.find("```", begin) - begin);
    const CTemporaryFolder folder;
    const std::string file = folder.write("c.xml", text);
    EXPECT_EQ(file + ": no faults\n", runProgram(host, {"check", file}).out);
    EXPECT_EQ("", asText(pluginsIn(RIVLINK_PLUGIN_DIRECTORY).schema().marks(text))) << text;
}

TEST(TypeDocumentsTest, HostPrintsTheSchemaOfThePlugins)
{
    const SProgramResult result = runProgram(host, {"schema"}, {}, {{"RIVLINK_PLUGIN_PATH", ""}});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(pluginsIn(RIVLINK_PLUGIN_DIRECTORY).schemaText, result.out);
}

TEST(TypeDocumentsTest, EveryExampleValidates)
{
    std::vector<std::string> names;
    std::vector<std::string> texts;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(RIVLINK_EXAMPLES_DIRECTORY)) {
        if (entry.path().extension() == ".xml") {
            names.push_back(entry.path().string());
            texts.push_back(readFile(entry.path().string()));
        }
    }
    EXPECT_GE(names.size(), 3U);
    const auto marks = pluginsIn(RIVLINK_PLUGIN_DIRECTORY).schema().marks(texts);
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ("", asText(marks[i])) << names[i];
    }
}

} // namespace Rvl::Test
