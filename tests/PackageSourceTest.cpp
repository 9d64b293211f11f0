#include "PackageSource.h"

#include "RepositoryBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace vextest;

namespace
{
PackageRecipe Recipe(const std::string& strPath, PackageFormat eFormat)
{
    PackageRecipe recipe;
    recipe.strPath = strPath;
    recipe.eFormat = eFormat;
    recipe.strVersion = "3.20.0";
    recipe.vDevices = {{"104500", {}}};
    DependencyRecipe dependency;
    dependency.strComponentID = "104500";
    dependency.strVersion = "3.15.0";
    dependency.strPath = "BP\\3.15";
    recipe.vDependencies = {dependency};
    recipe.vReleases = {ReleaseRecipe{"INV", InstalledComponent("104500", "3.10.0"), "bp"}};
    return recipe;
}
} // namespace

TEST(PackageSource, DescribesDirectoryAndArchivePackagesAlike)
{
    TempDir repository;
    TempDir work;
    CPackageDescriptionReader reader(work.Path());
    CPackageSource source(repository.Path(), reader);
    const struct
    {
        std::string strPath;
        PackageFormat eFormat;
        EPackageFormat eExpected;
    } kCases[] = {{"dir/BP", PackageFormat::Directory, EPackageFormat::Directory},
                  {"tar/BP.BIN", PackageFormat::Tar, EPackageFormat::Tar},
                  {"gz/BP.BIN", PackageFormat::TarGzip, EPackageFormat::TarGzip},
                  {"xz/BP.BIN", PackageFormat::TarXz, EPackageFormat::TarXz}};
    for (const auto& testCase : kCases)
    {
        WritePackage(repository.Path(), Recipe(testCase.strPath, testCase.eFormat));
        SPackageDescription description;
        std::string strError;
        const bool bDirectory = testCase.eFormat == PackageFormat::Directory;
        ASSERT_TRUE(source.Describe(testCase.strPath, bDirectory, true, description, strError)) << strError;
        EXPECT_EQ(description.strPath, testCase.strPath);
        EXPECT_EQ(description.eFormat, testCase.eExpected);
        EXPECT_EQ(description.strVersion, "3.20.0");
        EXPECT_EQ(description.vReleaseDirectories, std::vector<std::string>{"INV"});
        EXPECT_EQ(description.strDigest.compare(0, 7, "sha256:"), 0);
        std::string strStamp;
        ASSERT_TRUE(source.Stamp(testCase.strPath, bDirectory, strStamp, strError));
        EXPECT_EQ(strStamp, description.strStamp);

        // The copy for a plan holds the metadata, and its digest is the package's.
        TempDir target;
        std::string strDigest;
        ASSERT_TRUE(source.CopyMetadata(description, {"INV"}, target.Path(), strDigest, strError)) << strError;
        EXPECT_EQ(strDigest, description.strDigest);
        EXPECT_EQ(ListDirectory(target.Path()), (std::vector<std::string>{"INV", "package.xml"}));
    }
}

TEST(PackageSource, RefusesAnArchiveWithoutPackageXml)
{
    TempDir repository;
    TempDir work;
    WriteFile(repository.File("data.tar"), TarArchive({{"readme", '0', "x", 0644, ""}}));
    CPackageDescriptionReader reader(work.Path());
    CPackageSource source(repository.Path(), reader);
    SPackageDescription description;
    std::string strError;
    EXPECT_FALSE(source.Describe("data.tar", false, true, description, strError));
    EXPECT_EQ(strError, "the archive has no package.xml at its root");
}
