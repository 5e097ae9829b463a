// What the host does with a configuration before anything runs. "read_xml" is Boost's parser on the same file
// and nothing else.
//
// load_benchmark rivlink|read_xml FILE PLUGIN_FOLDER
// prints how long each part took, and how much memory it took at most. Loading the plug-ins is not counted:
// it takes the same whatever the configuration's size.

#include "benchmarks/Measuring.h"
#include "host/configuration/Configuration.h"
#include "host/configuration/ConfigurationCheck.h"
#include "host/configuration/ConfigurationFrame.h"
#include "host/plugins/PluginLoader.h"
#include "host/session/RigBuilder.h"
#include "host/session/Session.h"
#include "host/types/TypeCatalogue.h"
#include "platform/rivlink_core/Environment.h"

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <cstdlib>
#include <iostream>
#include <string>

namespace Rvl::Benchmark {

namespace {

double milliseconds(std::int64_t from, std::int64_t to)
{
    return static_cast<double>(to - from) / 1e6;
}

int load(const std::string& file, const std::string& pluginFolder)
{
    raiseDescriptorLimit();
    CTypeCatalogue catalogue;
    CPluginLoader plugins(CPluginPath({pluginFolder}), catalogue);
    CFaultList faults;
    for (const std::string plugin : {"rivlink_local", "rivlink_simulated"}) {
        plugins.load(plugin, {});
    }
    plugins.registerFactories();
    catalogue.resolve();

    forgetPeak();
    const std::int64_t residentBefore = residentBytes();
    const std::int64_t begin = now_ns();
    const CConfiguration configuration = CConfiguration::load(file);
    const std::int64_t read = now_ns();
    CConfigurationCheck(configuration, catalogue, true, CEnvironment::getInstance()->busRegistry().names(),
                        faults)
        .run();
    const std::int64_t checked = now_ns();
    CSession session(CRigBuilder(configuration, catalogue).build(faults));
    const std::int64_t built = now_ns();
    if (!faults.empty()) {
        std::cerr << faults.report(file);
        return EXIT_FAILURE;
    }
    std::cout << "{\"read_ms\": " << milliseconds(begin, read)
              << ", \"check_ms\": " << milliseconds(read, checked)
              << ", \"build_ms\": " << milliseconds(checked, built)
              << ", \"load_ms\": " << milliseconds(begin, built)
              << ", \"peak_kib\": " << static_cast<double>(peakResidentBytes() - residentBefore) / 1024.0
              << "}" << std::endl;
    return EXIT_SUCCESS;
}

int readXml(const std::string& file)
{
    forgetPeak();
    const std::int64_t residentBefore = residentBytes();
    const std::int64_t begin = now_ns();
    boost::property_tree::ptree tree;
    boost::property_tree::read_xml(file, tree,
                                   boost::property_tree::xml_parser::trim_whitespace |
                                       boost::property_tree::xml_parser::no_comments);
    const std::int64_t end = now_ns();
    std::cout << "{\"load_ms\": " << milliseconds(begin, end)
              << ", \"peak_kib\": " << static_cast<double>(peakResidentBytes() - residentBefore) / 1024.0
              << "}\n";
    return EXIT_SUCCESS;
}

} // namespace

} // namespace Rvl::Benchmark

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::cerr << "usage: load_benchmark rivlink|read_xml FILE PLUGIN_FOLDER\n";
        return EXIT_FAILURE;
    }
    return argv[1] == std::string("rivlink") ? Rvl::Benchmark::load(argv[2], argv[3])
                                             : Rvl::Benchmark::readXml(argv[2]);
}
