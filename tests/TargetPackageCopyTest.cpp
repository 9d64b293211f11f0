#include "TargetPackageCopy.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace vextest;

TEST(TargetPackageCopy, CopiesThePackageAsTheCheckerWouldSeeIt)
{
    TempDir package;
    TempDir target;
    WriteFile(package.File("package.xml"), "<SoftwareComponent/>");
    WriteFile(package.File("firmware.bin"), "payload");
    MakeDirectory(package.File("REL"));
    WriteFile(package.File("REL/collect.sh"), "#!/bin/sh\n", true);
    ASSERT_EQ(mkfifo(package.File("REL/inventory.xml").c_str(), 0600), 0);
    ASSERT_EQ(symlink("../firmware.bin", package.File("REL/relative").c_str()), 0);
    ASSERT_EQ(symlink("/dev/zero", package.File("REL/absolute").c_str()), 0);
    MakeDirectory(package.File("UNUSED"));
    std::string strError;
    ASSERT_TRUE(CTargetPackageCopy::CopyPackageDescription(package.Path(), target.Path(), strError));
    ASSERT_TRUE(CTargetPackageCopy::CopyReleaseDirectories(package.Path(), target.Path(), {"REL"}, strError))
        << strError;
    EXPECT_EQ(ListDirectory(target.Path()), (std::vector<std::string>{"REL", "package.xml"}));
    EXPECT_EQ(access(target.File("REL/collect.sh").c_str(), X_OK), 0);
    struct stat info;
    ASSERT_EQ(lstat(target.File("REL/inventory.xml").c_str(), &info), 0);
    EXPECT_TRUE(S_ISFIFO(info.st_mode));
    std::string strTarget(256, '\0');
    strTarget.resize(readlink(target.File("REL/relative").c_str(), &strTarget[0], strTarget.size()));
    EXPECT_EQ(strTarget, package.File("REL/../firmware.bin"));
    EXPECT_EQ(ReadFile(target.File("REL/relative")), "payload");
    strTarget.assign(256, '\0');
    strTarget.resize(readlink(target.File("REL/absolute").c_str(), &strTarget[0], strTarget.size()));
    EXPECT_EQ(strTarget, "/dev/zero");
}

TEST(TargetPackageCopy, LeavesOutAPackageDescriptionThatIsNoRegularFile)
{
    for (const std::string strKind : {"pipe", "device-link", "missing"})
    {
        TempDir package;
        TempDir target;
        if (strKind == "pipe")
        {
            ASSERT_EQ(mkfifo(package.File("package.xml").c_str(), 0600), 0);
        }
        else if (strKind == "device-link")
        {
            ASSERT_EQ(symlink("/dev/zero", package.File("package.xml").c_str()), 0);
        }
        std::string strError;
        ASSERT_TRUE(CTargetPackageCopy::CopyPackageDescription(package.Path(), target.Path(), strError)) << strKind;
        EXPECT_TRUE(ListDirectory(target.Path()).empty()) << strKind;
    }
}

TEST(TargetPackageCopy, TakesTheTopLevelFilesForTheEmptyReleaseID)
{
    TempDir package;
    TempDir target;
    WriteFile(package.File("package.xml"), "<x/>");
    WriteFile(package.File("PIEConfig.xml"), "<PIEConfig/>");
    WriteFile(package.File("collect.sh"), "#!/bin/sh\n", true);
    MakeDirectory(package.File("REL"));
    WriteFile(package.File("REL/collect.sh"), "rel", true);
    std::string strError;
    ASSERT_TRUE(CTargetPackageCopy::CopyPackageDescription(package.Path(), target.Path(), strError));
    ASSERT_TRUE(CTargetPackageCopy::CopyReleaseDirectories(package.Path(), target.Path(), {"REL", ""}, strError))
        << strError;
    EXPECT_EQ(ListDirectory(target.Path()),
              (std::vector<std::string>{"PIEConfig.xml", "REL", "collect.sh", "package.xml"}));
    EXPECT_EQ(ReadFile(target.File("REL/collect.sh")), "rel");
}
