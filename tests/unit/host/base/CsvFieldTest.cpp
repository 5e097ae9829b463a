#include "host/base/CsvField.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

TEST(CsvFieldTest, NamesAreNoFormulasToASpreadsheet)
{
    EXPECT_EQ("'=1+1", csvField("=1+1"));
    EXPECT_EQ("'+1", csvField("+1"));
    EXPECT_EQ("'-1", csvField("-1"));
    EXPECT_EQ("'@SUM", csvField("@SUM"));
    EXPECT_EQ("\"'=1,1\"", csvField("=1,1"));
    EXPECT_EQ("a=1", csvField("a=1"));
    EXPECT_EQ("", csvField(""));
    EXPECT_EQ("\"a \"\"b\"\"\"", csvField("a \"b\""));
}

} // namespace Rvl::Test
