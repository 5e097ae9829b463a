#include "host/process/FileClaim.h"

#include "host/base/SystemText.h"
#include "tests/support/ProgramRun.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Rvl::Test {

TEST(FileClaimTest, SecondClaimIsNotGrantedWhileTheFirstLives)
{
    const CTemporaryFolder folder;
    const std::filesystem::path file = pathOf(folder.file("r.csv"));
    {
        const CFileClaim first(file);
        EXPECT_TRUE(first.isGranted());
        EXPECT_TRUE(std::filesystem::exists(file));
        EXPECT_FALSE(CFileClaim(file).isGranted());
    }
    EXPECT_TRUE(CFileClaim(file).isGranted());
}

TEST(FileClaimTest, RefusedClaimLeavesTheFirstInForce)
{
    const CTemporaryFolder folder;
    const std::filesystem::path file = pathOf(folder.file("r.csv"));
    const CFileClaim first(file);
    EXPECT_FALSE(CFileClaim(file).isGranted());
    EXPECT_FALSE(CFileClaim(file).isGranted());
}

TEST(FileClaimTest, ClaimedFileCanBeWrittenAndRead)
{
    const CTemporaryFolder folder;
    const std::string file = folder.file("r.csv");
    const CFileClaim claim(pathOf(file));
    folder.write("r.csv", "a row\n");
    EXPECT_EQ(readFile(file), "a row\n");
}

TEST(FileClaimTest, FileThatCannotBeOpenedIsNoConflict)
{
    const CTemporaryFolder folder;
    EXPECT_TRUE(CFileClaim(pathOf(folder.file("missing/r.csv"))).isGranted());
}

} // namespace Rvl::Test
