#include "RepositoryScanner.h"

#include "RepositoryBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

using namespace vextest;

namespace
{
class RepositoryScannerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        PackageRecipe recipe;
        recipe.vDevices = {{"1", {}}};
        recipe.strPath = "A";
        WritePackage(m_repository.Path(), recipe);
        recipe.strPath = "B.tgz";
        recipe.eFormat = PackageFormat::TarGzip;
        WritePackage(m_repository.Path(), recipe);
    }

    SRepositoryContent Scan(CRepositoryScanner::EMode eMode, const SCatalog* pCatalog, bool bDigests = true)
    {
        CPackageDescriptionReader reader(m_work.Path());
        CPackageSource source(m_repository.Path(), reader);
        CRepositoryScanner scanner(source);
        SRepositoryContent content;
        std::string strError;
        EXPECT_TRUE(scanner.Scan(eMode, pCatalog, bDigests, content, strError)) << strError;
        return content;
    }

    SCatalog CatalogOf(const SRepositoryContent& content)
    {
        SCatalog catalog;
        catalog.vPackages = content.vPackages;
        return catalog;
    }

    void Touch(const std::string& strPath)
    {
        struct timespec times[2] = {{0, UTIME_OMIT}, {12345, 0}};
        utimensat(AT_FDCWD, m_repository.File(strPath).c_str(), times, 0);
    }

    TempDir m_repository;
    TempDir m_work;
};
} // namespace

TEST_F(RepositoryScannerTest, ReadsEveryPackageWhenFresh)
{
    const SRepositoryContent content = Scan(CRepositoryScanner::EMode::Fresh, nullptr);
    ASSERT_EQ(content.vPackages.size(), 2u);
    EXPECT_EQ(content.nRead, 2u);
    EXPECT_EQ(content.nReused, 0u);
    EXPECT_FALSE(content.vPackages[0].strDigest.empty());
}

TEST_F(RepositoryScannerTest, ReusesWhatDidNotChangeAndReadsTheRest)
{
    const SCatalog catalog = CatalogOf(Scan(CRepositoryScanner::EMode::Fresh, nullptr));
    SRepositoryContent content = Scan(CRepositoryScanner::EMode::Reuse, &catalog);
    EXPECT_EQ(content.nReused, 2u);
    EXPECT_EQ(content.nRead, 0u);
    Touch("A/payload.bin");
    content = Scan(CRepositoryScanner::EMode::Reuse, &catalog);
    EXPECT_EQ(content.nReused, 1u);
    EXPECT_EQ(content.nRead, 1u);
}

TEST_F(RepositoryScannerTest, TrustsTheCatalogOnlyWhereItDescribesTheTree)
{
    SCatalog catalog = CatalogOf(Scan(CRepositoryScanner::EMode::Fresh, nullptr));
    SPackageDescription ghost = catalog.vPackages[0];
    ghost.strPath = "ghost";
    catalog.vPackages.push_back(ghost);
    Touch("B.tgz");
    PackageRecipe recipe;
    recipe.vDevices = {{"2", {}}};
    recipe.strPath = "C";
    WritePackage(m_repository.Path(), recipe);
    const SRepositoryContent content = Scan(CRepositoryScanner::EMode::Trust, &catalog, false);
    ASSERT_EQ(content.vPackages.size(), 1u);
    EXPECT_EQ(content.vPackages[0].strPath, "A");
    ASSERT_EQ(content.vRefused.size(), 3u);
    EXPECT_EQ(content.vRefused[0].strPath, "B.tgz");
    EXPECT_EQ(content.vRefused[0].strReason, "it changed since the catalog was written (the size or modification "
                                             "time of its files differ): index the repository again");
    EXPECT_EQ(content.vRefused[1].strPath, "C");
    EXPECT_EQ(content.vRefused[1].strReason, "the catalog does not list it: index the repository again");
    EXPECT_EQ(content.vRefused[2].strPath, "ghost");
    EXPECT_EQ(content.vRefused[2].strReason, "the catalog lists it, but the repository holds no package there");
}

TEST_F(RepositoryScannerTest, RefusesAHostilePackageAndReadsTheRest)
{
    WriteFile(m_repository.File("evil.tar"),
              TarArchive({{"package.xml", '0', "<x/>", 0644, ""}, {"../../escape", '0', "x", 0644, ""}}));
    const SRepositoryContent content = Scan(CRepositoryScanner::EMode::Fresh, nullptr);
    EXPECT_EQ(content.vPackages.size(), 2u);
    ASSERT_EQ(content.vRefused.size(), 1u);
    EXPECT_EQ(content.vRefused[0].strPath, "evil.tar");
    EXPECT_EQ(content.vRefused[0].strReason, "the archive member \"../../escape\" has a \"..\" component");
}
