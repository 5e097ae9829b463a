#include "tests/unit/host/HostProgram.h"

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <boost/filesystem.hpp>
#include <boost/process.hpp>

#include <cstdlib>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Rvl::Test {

TEST(TerminalTest, TableIsRedrawnInItsPlaceOnATerminal)
{
    namespace bp = boost::process;
    const CTemporaryFolder folder;
    const std::string file = folder.write("c.xml", SFakeConfiguration().text());
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(::grantpt(master), 0);
    ASSERT_EQ(::unlockpt(master), 0);
    const std::string terminal = ::ptsname(master);
    const int slave = ::open(terminal.c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(slave, 0);
    winsize size{};
    size.ws_col = 60;
    size.ws_row = 24;
    ASSERT_EQ(::ioctl(slave, TIOCSWINSZ, &size), 0);

    bp::child child(RIVLINK_HOST_PROGRAM, bp::args = withTestPlugins({"run", file, "--for", "1200ms"}),
                    bp::std_out > terminal);
    std::string shown;
    const std::string end = "after the start of the program";
    char buffer[4096];
    while (shown.find(end) == std::string::npos) {
        const auto count = ::read(master, buffer, sizeof(buffer));
        ASSERT_GT(count, 0);
        shown.append(buffer, static_cast<std::size_t>(count));
    }
    child.wait();
    EXPECT_EQ(child.exit_code(), 0);
    ::close(slave);
    ::close(master);

    EXPECT_NE(shown.find("\x1b[2Kname    mode  set point  actual value  control value  unit  \r\n"),
              std::string::npos)
        << shown;
    EXPECT_NE(shown.find("\x1b[2A\r\x1b[2Kname "), std::string::npos) << shown;
}

} // namespace Rvl::Test
#endif
