#include "RepositoryLoader.h"

#include "CatalogFile.h"
#include "RepositoryBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace vextest;

namespace
{
void AddPackage(const std::string& strRepository, const std::string& strPath)
{
    PackageRecipe recipe;
    recipe.strPath = strPath;
    recipe.vDevices = {{"1", {}}};
    WritePackage(strRepository, recipe);
}
} // namespace

TEST(RepositoryLoader, ReadsTheTreeWhenThereIsNoCatalog)
{
    TempDir repository;
    TempDir work;
    AddPackage(repository.Path(), "A");
    CRepositoryLoader loader(repository.Path(), work.Path());
    SRepositoryLoad load;
    std::string strError;
    ASSERT_TRUE(loader.Load(CRepositoryScanner::EMode::Trust, "", false, load, strError));
    EXPECT_FALSE(load.bCatalogUsed);
    EXPECT_EQ(load.strCatalogPath, "");
    EXPECT_EQ(load.content.vPackages.size(), 1u);
    EXPECT_EQ(load.content.nRead, 1u);
}

TEST(RepositoryLoader, UsesTheRepositorysCatalogAndFallsBackWhenItIsUnusable)
{
    TempDir repository;
    TempDir work;
    AddPackage(repository.Path(), "A");
    CRepositoryLoader loader(repository.Path(), work.Path());
    SRepositoryLoad load;
    std::string strError;
    ASSERT_TRUE(loader.Load(CRepositoryScanner::EMode::Fresh, "", true, load, strError));
    SCatalog catalog;
    catalog.vPackages = load.content.vPackages;
    ASSERT_TRUE(CCatalogFile::Write(repository.File("catalog.json"), catalog, strError));

    ASSERT_TRUE(loader.Load(CRepositoryScanner::EMode::Trust, "", false, load, strError));
    EXPECT_TRUE(load.bCatalogUsed);
    EXPECT_EQ(load.strCatalogPath, repository.File("catalog.json"));
    EXPECT_EQ(load.content.nReused, 1u);

    WriteFile(repository.File("catalog.json"), "{ broken");
    ASSERT_TRUE(loader.Load(CRepositoryScanner::EMode::Trust, "", false, load, strError));
    EXPECT_FALSE(load.bCatalogUsed);
    EXPECT_EQ(load.strCatalogProblem, repository.File("catalog.json") + ": not JSON");
    EXPECT_EQ(load.content.nRead, 1u);
}
