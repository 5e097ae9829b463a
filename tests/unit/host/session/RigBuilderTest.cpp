#include "host/session/RigBuilder.h"

#include "host/configuration/Configuration.h"
#include "host/plugins/PluginLoader.h"
#include "host/session/Session.h"
#include "tests/unit/host/HostProgram.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

TEST(RigBuilderTest, BadInputThatNoPlugInCanSeeToIsAFault)
{
    SFakeConfiguration fake;
    fake.vesselContent = "<BadInput Action=\"hold\"/>";
    const CConfiguration configuration = CConfiguration::parse(fake.text(), "c.xml");
    CTypeCatalogue catalogue;
    CPluginLoader plugins(CPluginPath({RIVLINK_TEST_PLUGIN_DIRECTORY}), catalogue);
    plugins.load("rivlink_fake");
    plugins.registerFactories();
    catalogue.resolve();
    CFaultList faults;
    CSession session(
        CRigBuilder(configuration, catalogue, {plugins.loops()}).build(faults)); // takes down what was built
    EXPECT_EQ(faults.report("c.xml"),
              "c.xml:4: /Configuration/Channels/Channel[1]/BadInput: cannot be carried out: no plug-in "
              "supervises the loops of this channel; expected no BadInput\n");
}

} // namespace Rvl::Test
