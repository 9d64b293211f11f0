#include "RepositoryPacker.h"

#include "RepositoryBuilder.h"
#include "RepositoryLoader.h"
#include "TarReading.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace vextest;

namespace
{
// A directory package with a collector, and an xz archive package.
void WriteRepository(const std::string& strRepository)
{
    PackageRecipe recipe;
    recipe.strPath = "FOLDER01/FW/A";
    recipe.vDevices = {{"101", {}}};
    recipe.vDependencies = {{false, "102", "FRMW", "2.0", "FOLDER02\\B.tar.xz", "INV", "B", "", {}, ""}};
    recipe.vReleases = {{"INV", InstalledComponent("102", "1.0"), "a"}};
    WritePackage(strRepository, recipe);
    PackageRecipe archive;
    archive.strPath = "FOLDER02/B.tar.xz";
    archive.eFormat = PackageFormat::TarXz;
    archive.strVersion = "2.0";
    archive.vDevices = {{"102", {}}};
    WritePackage(strRepository, archive);
}

std::vector<std::string> MemberNames(const std::string& strArchive, std::string& strError)
{
    const TarRead read = ReadTarArchive(strArchive);
    strError = read.strError;
    std::vector<std::string> vNames;
    for (const STarMember& member : read.vMembers)
    {
        vNames.push_back(member.strName + (member.eKind == STarMember::EKind::Directory ? "/" : ""));
    }
    return vNames;
}

std::string Pack(const std::string& strRepository, SRepositoryPack& pack)
{
    std::string strArchive;
    std::string strError;
    EXPECT_EQ(CRepositoryPacker(strRepository).Pack(strArchive, pack, strError), CRepositoryPacker::EOutcome::Packed)
        << strError;
    return strArchive;
}
} // namespace

TEST(RepositoryPacker, PacksDescriptionsReleaseDirectoriesAndTheCatalogButNoPayload)
{
    TempDir repository;
    WriteRepository(repository.Path());
    SRepositoryPack pack;
    const std::string strArchive = Pack(repository.Path(), pack);
    EXPECT_EQ(pack.nPackages, 2u);
    EXPECT_TRUE(pack.vRefused.empty());
    EXPECT_EQ(pack.nArchiveBytes, strArchive.size());
    std::string strError;
    const std::vector<std::string> vNames = MemberNames(strArchive, strError);
    EXPECT_EQ(strError, "");
    const std::vector<std::string> vExpected = {"FOLDER01/",
                                                "FOLDER01/FW/",
                                                "FOLDER01/FW/A/",
                                                "FOLDER01/FW/A/INV/",
                                                "FOLDER01/FW/A/INV/PIEConfig.xml",
                                                "FOLDER01/FW/A/INV/collect.sh",
                                                "FOLDER01/FW/A/package.xml",
                                                "FOLDER02/",
                                                "FOLDER02/B.tar.xz/",
                                                "FOLDER02/B.tar.xz/package.xml",
                                                "catalog.json"};
    EXPECT_EQ(vNames, vExpected);
    EXPECT_EQ(pack.nMembers, vExpected.size());
    // The repository itself was not written.
    EXPECT_FALSE(FileExists(repository.File("catalog.json")));
}

TEST(RepositoryPacker, TheUnpackedArchiveIsARepositoryThatItsCatalogDescribes)
{
    TempDir repository;
    WriteRepository(repository.Path());
    SRepositoryPack pack;
    const std::string strArchive = Pack(repository.Path(), pack);
    TempDir unpacked;
    WriteFile(unpacked.File("packed.tar.gz"), strArchive);
    MakeDirectory(unpacked.File("tree"));
    const CommandResult tar = RunCommand(
        {"/bin/tar", "-C", unpacked.File("tree"), "-p", "-xzf", unpacked.File("packed.tar.gz")}, unpacked.Path());
    ASSERT_EQ(tar.nExitStatus, 0) << tar.strStderr;

    TempDir work;
    CRepositoryLoader loader(unpacked.File("tree"), work.Path());
    SRepositoryLoad load;
    std::string strError;
    ASSERT_TRUE(loader.Load(CRepositoryScanner::EMode::Trust, std::string(), false, load, strError)) << strError;
    EXPECT_TRUE(load.bCatalogUsed) << load.strCatalogProblem;
    ASSERT_EQ(load.content.vPackages.size(), 2u);
    EXPECT_TRUE(load.content.vRefused.empty())
        << load.content.vRefused.front().strPath << ": " << load.content.vRefused.front().strReason;
    EXPECT_EQ(load.content.vPackages[0].strPath, "FOLDER01/FW/A");
    EXPECT_EQ(load.content.vPackages[1].strPath, "FOLDER02/B.tar.xz");
    EXPECT_EQ(load.content.vPackages[1].strVersion, "2.0");
    EXPECT_EQ(load.content.vPackages[1].eFormat, EPackageFormat::Directory);
    // A package the plan uses is read whole and compared with the catalog.
    TempDir copy;
    std::string strDigest;
    ASSERT_TRUE(loader.Source().CopyMetadata(load.content.vPackages[0], load.content.vPackages[0].vReleaseDirectories,
                                             copy.Path(), strDigest, strError))
        << strError;
    EXPECT_EQ(strDigest, load.content.vPackages[0].strDigest);
    EXPECT_TRUE(FileExists(copy.File("INV/collect.sh")));
}

TEST(RepositoryPacker, TheSameRepositoryGivesTheSameArchive)
{
    TempDir repository;
    WriteRepository(repository.Path());
    SRepositoryPack first;
    SRepositoryPack second;
    EXPECT_EQ(Pack(repository.Path(), first), Pack(repository.Path(), second));
    EXPECT_GT(first.nModifiedSeconds, 0);
}

TEST(RepositoryPacker, LeavesOutRefusedPackagesAndSaysWhy)
{
    TempDir repository;
    WriteRepository(repository.Path());
    MakeDirectory(repository.File("BROKEN"));
    WriteFile(repository.File("BROKEN/package.xml"), "<not a package");
    SRepositoryPack pack;
    const std::string strArchive = Pack(repository.Path(), pack);
    EXPECT_EQ(pack.nPackages, 2u);
    ASSERT_EQ(pack.vRefused.size(), 1u);
    EXPECT_EQ(pack.vRefused[0].strPath, "BROKEN");
    EXPECT_NE(pack.vRefused[0].strReason, "");
    std::string strError;
    const std::vector<std::string> vNames = MemberNames(strArchive, strError);
    EXPECT_EQ(std::count_if(vNames.begin(), vNames.end(),
                            [](const std::string& strName) { return strName.rfind("BROKEN", 0) == 0; }),
              0);
}

TEST(RepositoryPacker, ARepositoryThatCannotBeReadIsSaidSo)
{
    TempDir base;
    std::string strArchive;
    SRepositoryPack pack;
    std::string strError;
    EXPECT_EQ(CRepositoryPacker(base.File("missing")).Pack(strArchive, pack, strError),
              CRepositoryPacker::EOutcome::RepositoryUnreadable);
    EXPECT_NE(strError.find(base.File("missing")), std::string::npos) << strError;
}
