#include "DirectoryPackage.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace vextest;

namespace
{
void MakePackage(const std::string& strDirectory)
{
    WriteFile(strDirectory + "/package.xml", "<SoftwareComponent/>");
    MakeDirectory(strDirectory + "/REL");
    WriteFile(strDirectory + "/REL/PIEConfig.xml", "<PIEConfig/>");
    WriteFile(strDirectory + "/REL/collect.sh", "#!/bin/sh\n", true);
    WriteFile(strDirectory + "/firmware.bin", std::string(70000, 'f'));
}
} // namespace

TEST(DirectoryPackage, WalksThePackageAndReadsItsDescription)
{
    TempDir dir;
    MakePackage(dir.Path());
    SDirectoryContent content;
    std::string strError;
    ASSERT_TRUE(CDirectoryPackage::Scan(dir.Path(), content, strError)) << strError;
    EXPECT_EQ(content.strPackageXml, "<SoftwareComponent/>");
    ASSERT_EQ(content.vEntries.size(), 5u);
    EXPECT_EQ(content.vEntries[0].strPath, "REL");
    EXPECT_TRUE(content.vEntries[0].bDirectory);
    EXPECT_EQ(content.vEntries[1].strPath, "REL/PIEConfig.xml");
    EXPECT_EQ(content.nSize, 70000u + 20 + 12 + 10);
    EXPECT_EQ(content.strStamp.size(), 64u);
}

TEST(DirectoryPackage, RefusesLinksPipesAndAMissingDescription)
{
    const struct
    {
        std::string strSetUp;
        std::string strReason;
    } kCases[] = {
        {"link", "\"REL/evil\" is a symbolic link"},
        {"pipe", "\"REL/evil\" is a named pipe"},
        {"xml-link", "\"package.xml\" is a symbolic link"},
        {"no-xml", "package.xml is not a regular file"},
    };
    for (const auto& testCase : kCases)
    {
        TempDir dir;
        MakePackage(dir.Path());
        if (testCase.strSetUp == "link")
        {
            ASSERT_EQ(symlink("/etc", dir.File("REL/evil").c_str()), 0);
        }
        else if (testCase.strSetUp == "pipe")
        {
            ASSERT_EQ(mkfifo(dir.File("REL/evil").c_str(), 0600), 0);
        }
        else if (testCase.strSetUp == "xml-link")
        {
            unlink(dir.File("package.xml").c_str());
            ASSERT_EQ(symlink("/dev/zero", dir.File("package.xml").c_str()), 0);
        }
        else
        {
            unlink(dir.File("package.xml").c_str());
        }
        SDirectoryContent content;
        std::string strError;
        EXPECT_FALSE(CDirectoryPackage::Scan(dir.Path(), content, strError));
        EXPECT_EQ(strError, testCase.strReason);
    }
}

TEST(DirectoryPackage, ItsDigestFollowsTheContentAndItsStampTheFileTimes)
{
    TempDir dir;
    MakePackage(dir.Path());
    SDirectoryContent before;
    std::string strError;
    ASSERT_TRUE(CDirectoryPackage::Scan(dir.Path(), before, strError));
    std::string strDigest;
    ASSERT_TRUE(CDirectoryPackage::Digest(dir.Path(), before, strDigest, strError));

    // The same bytes at a later time: same digest, another stamp.
    struct timespec times[2] = {{0, UTIME_OMIT}, {1000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, dir.File("firmware.bin").c_str(), times, 0), 0);
    SDirectoryContent touched;
    ASSERT_TRUE(CDirectoryPackage::Scan(dir.Path(), touched, strError));
    std::string strTouchedDigest;
    ASSERT_TRUE(CDirectoryPackage::Digest(dir.Path(), touched, strTouchedDigest, strError));
    EXPECT_EQ(strTouchedDigest, strDigest);
    EXPECT_NE(touched.strStamp, before.strStamp);

    // One byte changed: another digest.
    WriteFile(dir.File("firmware.bin"), std::string(69999, 'f') + "g");
    SDirectoryContent changed;
    ASSERT_TRUE(CDirectoryPackage::Scan(dir.Path(), changed, strError));
    std::string strChangedDigest;
    ASSERT_TRUE(CDirectoryPackage::Digest(dir.Path(), changed, strChangedDigest, strError));
    EXPECT_NE(strChangedDigest, strDigest);
}

TEST(DirectoryPackage, CopiesOnlyItsMetadataAndDigestsTheWholePackageOnTheWay)
{
    TempDir dir;
    TempDir target;
    MakePackage(dir.Path());
    std::string strDigest;
    std::string strError;
    ASSERT_TRUE(CDirectoryPackage::CopyMetadata(dir.Path(), {"REL"}, target.Path(), strDigest, strError)) << strError;
    EXPECT_EQ(ListDirectory(target.Path()), (std::vector<std::string>{"REL", "package.xml"}));
    EXPECT_EQ(ReadFile(target.File("REL/collect.sh")), "#!/bin/sh\n");
    EXPECT_EQ(access(target.File("REL/collect.sh").c_str(), X_OK), 0);
    SDirectoryContent content;
    ASSERT_TRUE(CDirectoryPackage::Scan(dir.Path(), content, strError));
    std::string strWholeDigest;
    ASSERT_TRUE(CDirectoryPackage::Digest(dir.Path(), content, strWholeDigest, strError));
    EXPECT_EQ(strDigest, strWholeDigest);
}
