#include "host/web/WebServer.h"

#include <gtest/gtest.h>

using namespace Rvl;

namespace {

/// "ADDRESS PORT", with "!" if a free port may be taken instead; "no" if the text is none.
std::string parsed(const std::string& text)
{
    SWebOptions options;
    if (!parseListenAddress(text, options)) {
        return "no";
    }
    return options.address + " " + std::to_string(options.port) + (options.isPortPreferred ? "!" : "");
}

} // namespace

TEST(WebServer, ListenAddressIsRead)
{
    EXPECT_EQ("127.0.0.1 8080", parsed("8080"));
    EXPECT_EQ("127.0.0.1 0", parsed("0"));
    EXPECT_EQ("127.0.0.1 8080!", parsed("auto"));
    EXPECT_EQ("0.0.0.0 80", parsed("0.0.0.0:80"));
    EXPECT_EQ("::1 8080", parsed("[::1]:8080"));
    EXPECT_EQ("localhost 8080!", parsed("localhost:auto"));
    for (const char* const bad : {"", ":", ":80", "80x", "-1", "65536", "127.0.0.1:", "x"}) {
        EXPECT_EQ("no", parsed(bad)) << bad;
    }
}
