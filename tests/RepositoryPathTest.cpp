#include "RepositoryPath.h"

#include <gtest/gtest.h>

TEST(RepositoryPath, TurnsADependencyPathIntoARepositoryPath)
{
    std::string strPath;
    ASSERT_TRUE(CRepositoryPath::FromDependencyPath("FOLDER04\\BACKPLANE\\BP_FW_3.20.0.BIN", strPath));
    EXPECT_EQ(strPath, "FOLDER04/BACKPLANE/BP_FW_3.20.0.BIN");
    ASSERT_TRUE(CRepositoryPath::FromDependencyPath("/a//./b/", strPath));
    EXPECT_EQ(strPath, "a/b");
}

TEST(RepositoryPath, RefusesPathsThatLeaveTheRepositoryOrNameNothing)
{
    std::string strPath;
    EXPECT_FALSE(CRepositoryPath::FromDependencyPath("a\\..\\..\\etc\\passwd", strPath));
    EXPECT_FALSE(CRepositoryPath::FromDependencyPath("..", strPath));
    EXPECT_FALSE(CRepositoryPath::FromDependencyPath("", strPath));
    EXPECT_FALSE(CRepositoryPath::FromDependencyPath("\\.\\", strPath));
}

TEST(RepositoryPath, TurnsAReleaseIDIntoTheDirectoryTheCheckerUses)
{
    std::string strRelease;
    ASSERT_TRUE(CRepositoryPath::FromReleaseID("REL001", strRelease));
    EXPECT_EQ(strRelease, "REL001");
    ASSERT_TRUE(CRepositoryPath::FromReleaseID("", strRelease));
    EXPECT_EQ(strRelease, "");
    ASSERT_TRUE(CRepositoryPath::FromReleaseID("/A/B", strRelease));
    EXPECT_EQ(strRelease, "A/B");
    EXPECT_FALSE(CRepositoryPath::FromReleaseID("../x", strRelease));
}

TEST(RepositoryPath, TellsWhatLiesWithinADirectory)
{
    EXPECT_TRUE(CRepositoryPath::IsWithin("REL/collect.sh", "REL"));
    EXPECT_TRUE(CRepositoryPath::IsWithin("REL", "REL"));
    EXPECT_FALSE(CRepositoryPath::IsWithin("RELEASE/collect.sh", "REL"));
    EXPECT_TRUE(CRepositoryPath::IsWithin("collect.sh", ""));
    EXPECT_FALSE(CRepositoryPath::IsWithin("REL/collect.sh", ""));
}

TEST(RepositoryPath, JoinsWithoutDoubleOrLeadingSeparators)
{
    EXPECT_EQ(CRepositoryPath::Join("", "a"), "a");
    EXPECT_EQ(CRepositoryPath::Join("a", ""), "a");
    EXPECT_EQ(CRepositoryPath::Join("a", "b"), "a/b");
}
