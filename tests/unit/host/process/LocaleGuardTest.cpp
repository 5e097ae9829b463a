#include "host/process/LocaleGuard.h"

#include <gtest/gtest.h>

#include <clocale>
#include <sstream>

namespace Rvl::Test {

namespace {

class CPointForThousands : public std::numpunct<char>
{
protected:
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

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
        std::locale::global(std::locale(std::locale::classic(), new CPointForThousands));
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
