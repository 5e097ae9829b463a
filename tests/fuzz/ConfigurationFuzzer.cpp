// A configuration file, from its bytes to "check": whatever they are, the host reports faults with lines that
// exist, or builds everything and prints an effective configuration that means the same.
#include "host/base/HostException.h"
#include "host/configuration/ConfigurationCheck.h"
#include "host/configuration/EffectiveConfiguration.h"
#include "host/session/RigBuilder.h"
#include "host/session/Session.h"
#include "platform/rivlink_core/Environment.h"
#include "tests/fuzz/FuzzedPlugins.h"
#include "tests/fuzz/Fuzzing.h"

#include <algorithm>
#include <string>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

/// What the host makes of a text: the effective configuration, or an empty text if it has faults.
std::string checked(const CConfiguration& configuration, std::size_t lines)
{
    const CTypeCatalogue& catalogue = CFuzzedPlugins::instance().catalogue();
    CFaultList faults;
    CConfigurationCheck(configuration, catalogue, true, CEnvironment::getInstance()->busRegistry().names(),
                        faults)
        .run();
    {
        const CSession session(
            CRigBuilder(configuration, catalogue).build(faults)); // destroys what was built
    }
    CFuzzedPlugins::resetBuses();
    for (const SFault& fault : faults.inFileOrder()) {
        FUZZ_REQUIRE(fault.line >= 1 && fault.line <= lines, std::to_string(fault.line));
        FUZZ_REQUIRE(!fault.text.empty(), fault.path);
        FUZZ_REQUIRE(!fault.path.empty() && fault.path.front() == '/', fault.text);
    }
    return faults.empty() ? effectiveConfiguration(configuration, catalogue) : std::string();
}

std::size_t linesOf(const std::string& text)
{
    return 1 + static_cast<std::size_t>(
                   std::count_if(text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CFuzzedPlugins::instance();
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const CConfiguration configuration = CConfiguration::parse(text, "fuzzed.xml");
        const std::string effective = checked(configuration, linesOf(text));
        if (!effective.empty()) {
            const CConfiguration again = CConfiguration::parse(effective, "effective.xml");
            FUZZ_REQUIRE(checked(again, linesOf(effective)) == effective, effective);
        }
    } catch (const CHostException& exception) {
        FUZZ_REQUIRE(exception.code() == ExitBadData, exception.what());
        FUZZ_REQUIRE(std::string(exception.what()).find("not well-formed: ") != std::string::npos,
                     exception.what());
    }
    return 0;
}
