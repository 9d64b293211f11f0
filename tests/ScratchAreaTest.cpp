#include "ScratchArea.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace vextest;

TEST(ScratchArea, IsAPrivateDirectoryRemovedWithItsContent)
{
    std::string strPath;
    {
        CScratchArea scratch;
        std::string strError;
        ASSERT_TRUE(scratch.Create(strError)) << strError;
        strPath = scratch.Path();
        struct stat info;
        ASSERT_EQ(stat(strPath.c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0700u);
        std::string strFirst;
        std::string strSecond;
        ASSERT_TRUE(scratch.NewDirectory("FOLDER04/BP FW;rm -rf", strFirst, strError));
        ASSERT_TRUE(scratch.NewDirectory("FOLDER04/BP FW;rm -rf", strSecond, strError));
        EXPECT_EQ(strFirst, strPath + "/1-FOLDER04_BP_FW_rm_-rf");
        EXPECT_NE(strFirst, strSecond);
        WriteFile(strFirst + "/file", "x");
    }
    EXPECT_FALSE(FileExists(strPath));
}
