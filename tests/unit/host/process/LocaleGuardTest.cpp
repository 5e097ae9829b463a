#include "host/process/LocaleGuard.h"

#include "tests/support/ForeignLocale.h"

#include <gtest/gtest.h>

#include <clocale>
#include <sstream>

namespace Rvl::Test {

namespace {

double number(const std::string& text)
{
    double value = 0.0;
    std::istringstream(text) >> value;
    return value;
}

} // namespace

TEST(LocaleGuardTest, PutsTheLocalesBack)
{
    const std::locale cpp;
    const std::string c = std::setlocale(LC_ALL, nullptr);
    {
        const CLocaleGuard guard;
        std::locale::global(foreignLocale());
#if !defined(_WIN32) // where no other one is sure to be there
        ASSERT_TRUE(std::setlocale(LC_ALL, c == "C" ? "C.UTF-8" : "C"));
#endif
        EXPECT_EQ(40250.0, number("40.250"));
    }
    EXPECT_EQ(40.25, number("40.250"));
    EXPECT_EQ(cpp, std::locale());
    EXPECT_EQ(c, std::setlocale(LC_ALL, nullptr));
}

} // namespace Rvl::Test
