#include "host/plugins/PluginLoader.h"

#include "platform/rivlink_core/Environment.h"
#include "tests/support/MatchesPattern.h"
#include "tests/unit/host/HostProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace Rvl::Test {

namespace {

const CPluginPath path({RIVLINK_TEST_PLUGIN_DIRECTORY});

/// The message of a plug-in that cannot be loaded.
std::string loadFailure(const std::string& plugin)
{
    CTypeCatalogue catalogue;
    CPluginLoader loader(path, catalogue);
    try {
        loader.load(plugin);
        loader.registerFactories();
    } catch (const CPluginException& exception) {
        EXPECT_EQ(exception.plugin(), plugin);
        EXPECT_EQ(exception.code(), ExitBadConfiguration);
        return exception.what();
    }
    return {};
}

} // namespace

TEST(PluginLoaderTest, PluginRegistersItsFactoriesAndLeavesNothingBehind)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    // twice, to see that it is really unloaded: only loading connects it to the environment
    for (int round = 0; round < 2; ++round) {
        CTypeCatalogue catalogue;
        {
            CPluginLoader loader(path, catalogue);
            loader.load("rivlink_fake");
            loader.registerFactories();
            catalogue.resolve();
            EXPECT_EQ(
                environment.getIoChannellFactoryRegistry().names(),
                (std::vector<std::string>{"Rvl::CFakeController", "Rvl::CFakeInput", "Rvl::CFakeOutput"}));
            EXPECT_EQ(environment.busRegistry().names(), (std::vector<std::string>{"FakeBus"}));
            ASSERT_EQ(loader.loops().size(), 1U);
            EXPECT_EQ(loader.loops()[0]->version, SLoops::currentVersion);
            EXPECT_NE(catalogue.find("Rvl::CFakeLoop"), nullptr);
        }
        EXPECT_EQ(environment.getIoChannellFactoryRegistry().size(), 0U);
        EXPECT_EQ(environment.busRegistry().size(), 0U);
        EXPECT_EQ(environment.registerFactories().num_slots(), 0U);
    }
}

TEST(PluginLoaderTest, BrokenPluginIsNamed)
{
    EXPECT_EQ(loadFailure("rivlink_fke"),
              "plug-in \"rivlink_fke\" is not in the plug-in path; expected one of "
              "broken_loops_version, broken_no_library, broken_throwing, broken_throwing_a_number, "
              "broken_throwing_at_load, broken_without_entry, linked_plugin, linked_without_entry, "
              "linking_plugin, linking_without_entry, rivlink_current, rivlink_fake (did you mean "
              "\"rivlink_fake\"?)");
    EXPECT_EQ(loadFailure("broken_throwing"), "plug-in \"broken_throwing\" failed to register: the dongle is "
                                              "missing; expected a registration that does not throw");
    EXPECT_EQ(
        loadFailure("broken_throwing_a_number"),
        "plug-in \"broken_throwing_a_number\" failed to register: an exception of unknown kind; expected "
        "a registration that does not throw");
    EXPECT_EQ(
        loadFailure("broken_without_entry"),
        "\"broken_without_entry\" is no plug-in: it connects nothing to the environment; expected a library "
        "that connects to registerFactories when it is loaded");
    EXPECT_EQ(
        loadFailure("broken_loops_version"),
        "plug-in \"broken_loops_version\" offers its loops in version 3; expected version 2, as a plug-in "
        "has that is built with this program");
    EXPECT_EQ(loadFailure("broken_undescribed"),
              "plug-in \"broken_undescribed\" does not describe its types; expected "
              "broken_undescribed.types.json beside its library");
    EXPECT_THAT(
        loadFailure("broken_no_library"),
        MatchesPattern("plug-in \"broken_no_library\" cannot be loaded: .*broken_no_library.*; expected a "
                       "plug-in library"));
}

TEST(PluginLoaderTest, PluginThatAnotherOneLinksIsAPluginInAnyOrder)
{
    for (const auto& [first, second] :
         {std::pair("linking_plugin", "linked_plugin"), std::pair("linked_plugin", "linking_plugin")}) {
        CTypeCatalogue catalogue;
        CPluginLoader loader(path, catalogue);
        loader.load(first);
        EXPECT_NO_THROW(loader.load(second)) << first;
        loader.registerFactories();
    }
}

TEST(PluginLoaderTest, LibraryThatIsNoPluginIsRefusedWhateverItLinksAndWhateverLinksIt)
{
    for (const auto& [first, other] : {std::pair("linking_plugin", "linked_without_entry"),
                                       std::pair("linked_plugin", "linking_without_entry"),
                                       std::pair("rivlink_fake", "linking_without_entry")}) {
        CTypeCatalogue catalogue;
        CPluginLoader loader(path, catalogue);
        loader.load(first);
        try {
            loader.load(other);
            FAIL() << "nothing thrown for " << other << " after " << first;
        } catch (const CPluginException& exception) {
            EXPECT_EQ(exception.plugin(), other);
            EXPECT_THAT(exception.what(), testing::HasSubstr("is no plug-in: it connects nothing"));
        }
    }
}

#if !defined(_WIN32)
TEST(PluginLoaderTest, TruncatedLibraryIsNamedAndNotLoaded)
{
    const CTemporaryFolder folder;
    const std::string name = "librivlink_fake.so";
    const std::string whole = readFile(std::string(RIVLINK_TEST_PLUGIN_DIRECTORY) + "/" + name);
    folder.write("rivlink_fake.types.json",
                 readFile(std::string(RIVLINK_TEST_PLUGIN_DIRECTORY) + "/rivlink_fake.types.json"));
    for (const std::size_t size : {100U, 5'000U, 50'000U}) {
        const std::string file = folder.write(name, whole.substr(0, size));
        CTypeCatalogue catalogue;
        CPluginLoader loader(path, catalogue);
        try {
            loader.load("rivlink_fake", file);
            FAIL() << "nothing thrown with " << size;
        } catch (const CPluginException& exception) {
            EXPECT_EQ(exception.what(), "plug-in \"rivlink_fake\" cannot be loaded: " + file +
                                            " is truncated; expected a whole library");
        }
    }
}

TEST(PluginLoaderTest, PluginWhoseInitialisationThrowsIsNamed)
{
    const CTemporaryFolder folder;
    SFakeConfiguration configuration;
    configuration.plugins += "<Plugin Name=\"broken_throwing_at_load\"/>";
    const SProgramResult run = runHost({"run", folder.write("c.xml", configuration.text())});
    EXPECT_EQ(run.exitCode, 78);
    EXPECT_EQ(
        run.err,
        "plug-in \"broken_throwing_at_load\" cannot be loaded: its initialisation failed: the licence is "
        "missing; expected one that does not throw\n");
}
#endif

TEST(PluginLoaderTest, PluginThatThrowsIsNamedAmongSoundOnes)
{
    CTypeCatalogue catalogue;
    CPluginLoader loader(path, catalogue);
    loader.load("rivlink_fake");
    loader.load("broken_throwing");
    try {
        loader.registerFactories();
        FAIL() << "nothing thrown";
    } catch (const CPluginException& exception) {
        EXPECT_EQ(exception.plugin(), "broken_throwing");
    }
}

class BrokenPlugin : public testing::TestWithParam<const char*>
{};

TEST_P(BrokenPlugin, LeavesNothingDriven)
{
    const CTemporaryFolder folder;
    SFakeConfiguration configuration;
    configuration.plugins += std::string("<Plugin Name=\"") + GetParam() + "\"/>";
    const std::string file = folder.write("c.xml", configuration.text());
    const SProgramResult run =
        runHost({"run", file, "--for", "1min"}, {}, {{"RIVLINK_FAKE_JOURNAL", folder.file("journal")}});
    EXPECT_EQ(run.exitCode, 78);
    EXPECT_EQ(run.out, "");
    ASSERT_EQ(linesOf(run.err).size(), 1U) << run.err;
    EXPECT_THAT(linesOf(run.err).at(0), testing::StartsWith(file + ":1: /Configuration/Plugins/Plugin[2]"));
    EXPECT_THAT(run.err, testing::HasSubstr(std::string("\"") + GetParam() + "\""));
    const std::string journal = readFile(folder.file("journal"));
    EXPECT_THAT(journal, testing::Not(testing::HasSubstr("connect")));
    EXPECT_THAT(journal, testing::Not(testing::HasSubstr("able\n")));

    const SProgramResult check = runHost({"check", file});
    EXPECT_EQ(check.out, run.err);
    EXPECT_EQ(check.exitCode, run.exitCode);
}

INSTANTIATE_TEST_SUITE_P(All, BrokenPlugin,
                         testing::Values("broken_loops_version", "broken_no_library", "broken_throwing",
                                         "broken_throwing_a_number", "broken_without_entry",
                                         "broken_undescribed"));

TEST(PluginLoaderTest, MissingPluginIsAFaultOfTheConfiguration)
{
    const CTemporaryFolder folder;
    SFakeConfiguration configuration;
    configuration.plugins += "<Plugin Name=\"rivlink_nowhere\"/>";
    const SProgramResult run = runHost({"run", folder.write("c.xml", configuration.text())});
    EXPECT_EQ(run.exitCode, 78);
    EXPECT_THAT(run.err,
                MatchesPattern(".*c.xml:1: /Configuration/Plugins/Plugin\\[2\\]\\[@Name\\]: plug-in "
                               "\"rivlink_nowhere\" is not in the plug-in path; expected one of .*\n"));
}

TEST(PluginLoaderTest, PluginMayBeGivenByItsPath)
{
    const CTemporaryFolder folder;
    SFakeConfiguration configuration;
    const auto library = path.findLibrary("rivlink_fake");
    ASSERT_TRUE(library);
    configuration.plugins = "<Plugin Name=\"rivlink_fake\" Path=\"" + library->filename().string() + "\"/>";
    for (const auto& file : {*library, library->parent_path() / "rivlink_fake.types.json"}) {
        std::filesystem::copy(file, folder.file(file.filename().string()));
    }
    const std::string file = folder.write("c.xml", configuration.text());
    EXPECT_EQ(runHost({"check", file}).out, file + ": no faults\n");
}

} // namespace Rvl::Test
