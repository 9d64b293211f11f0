#include "ArchivePackage.h"

#include "RepositoryBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace vextest;

namespace
{
std::string PackageArchive()
{
    return TarArchive({{"package.xml", '0', "<SoftwareComponent/>", 0644, ""},
                       {"REL", '5', "", 0755, ""},
                       {"REL/PIEConfig.xml", '0', "<PIEConfig/>", 0644, ""},
                       {"REL/collect.sh", '0', "#!/bin/sh\n", 04755, ""},
                       {"OTHER/collect.sh", '0', "other", 0755, ""},
                       {"firmware.bin", '0', std::string(100000, 'f'), 0644, ""}});
}
} // namespace

TEST(ArchivePackage, ScansPackageXmlAndTheMembersInOnePass)
{
    for (const std::string& strBytes : {PackageArchive(), Gzip(PackageArchive()), Xz(PackageArchive())})
    {
        CMemoryInput input(strBytes);
        SArchiveContent content;
        std::string strError;
        ASSERT_TRUE(CArchivePackage::Scan(input, content, strError)) << strError;
        EXPECT_TRUE(content.bHasPackageXml);
        EXPECT_EQ(content.strPackageXml, "<SoftwareComponent/>");
        EXPECT_EQ(content.vMembers.size(), 6u);
        EXPECT_EQ(content.strDigest.size(), 64u);
    }
}

TEST(ArchivePackage, WritesOnlyPackageXmlAndTheReleaseDirectories)
{
    TempDir target;
    CMemoryInput input(Gzip(PackageArchive()));
    std::string strDigest;
    std::string strError;
    ASSERT_TRUE(CArchivePackage::ExtractMetadata(input, {"REL"}, target.Path(), strDigest, strError)) << strError;
    EXPECT_EQ(ListDirectory(target.Path()), (std::vector<std::string>{"REL", "package.xml"}));
    EXPECT_EQ(ListDirectory(target.File("REL")), (std::vector<std::string>{"PIEConfig.xml", "collect.sh"}));
    EXPECT_EQ(ReadFile(target.File("REL/collect.sh")), "#!/bin/sh\n");
    // Executable, but never set-user-ID.
    struct stat info;
    ASSERT_EQ(stat(target.File("REL/collect.sh").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0755u);
    SArchiveContent content;
    CMemoryInput again(Gzip(PackageArchive()));
    ASSERT_TRUE(CArchivePackage::Scan(again, content, strError));
    EXPECT_EQ(strDigest, content.strDigest);
}

TEST(ArchivePackage, TakesTheFilesAtItsRootForAnEmptyReleaseID)
{
    TempDir target;
    CMemoryInput input(PackageArchive());
    std::string strDigest;
    std::string strError;
    ASSERT_TRUE(CArchivePackage::ExtractMetadata(input, {""}, target.Path(), strDigest, strError)) << strError;
    EXPECT_EQ(ListDirectory(target.Path()), (std::vector<std::string>{"firmware.bin", "package.xml"}));
}

TEST(ArchivePackage, RefusesAMemberNamedTwice)
{
    CMemoryInput input(TarArchive({{"package.xml", '0', "<a/>", 0644, ""}, {"./package.xml", '0', "<b/>", 0644, ""}}));
    SArchiveContent content;
    std::string strError;
    EXPECT_FALSE(CArchivePackage::Scan(input, content, strError));
    EXPECT_EQ(strError, "the archive member \"package.xml\" appears twice");
}

TEST(ArchivePackage, RefusesAHostileMemberWithoutWritingIt)
{
    TempDir target;
    TempDir outside;
    CMemoryInput input(TarArchive({{"package.xml", '0', "<a/>", 0644, ""},
                                   {"REL/../../../" + outside.Path().substr(1) + "/planted", '0', "x", 0644, ""}}));
    std::string strDigest;
    std::string strError;
    EXPECT_FALSE(CArchivePackage::ExtractMetadata(input, {"REL"}, target.Path(), strDigest, strError));
    EXPECT_NE(strError.find("has a \"..\" component"), std::string::npos) << strError;
    EXPECT_TRUE(ListDirectory(outside.Path()).empty());
}

TEST(ArchivePackage, TellsAnArchiveFromAnyOtherFile)
{
    CMemoryInput archive(Xz(PackageArchive()));
    EXPECT_TRUE(CArchivePackage::LooksLikeArchive(archive));
    CMemoryInput text(std::string("just some text, long enough to fill a block? ") + std::string(600, 't'));
    EXPECT_FALSE(CArchivePackage::LooksLikeArchive(text));
    CMemoryInput compressedText(Gzip(std::string(2000, 't')));
    EXPECT_FALSE(CArchivePackage::LooksLikeArchive(compressedText));
    CMemoryInput empty("");
    EXPECT_FALSE(CArchivePackage::LooksLikeArchive(empty));
}

TEST(ArchivePackage, RefusesPackageXmlLargerThanAnyPackageDescription)
{
    CMemoryInput input(Gzip(TarArchive({{"package.xml", '0', std::string(17 * 1024 * 1024, ' '), 0644, ""}})));
    SArchiveContent content;
    std::string strError;
    EXPECT_FALSE(CArchivePackage::Scan(input, content, strError));
    EXPECT_EQ(strError, "package.xml in the archive is larger than 16777216 bytes");
}
