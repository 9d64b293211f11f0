#include "RepoIndexCommand.h"

#include "Catalog.h"
#include "RepositoryBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace vextest;

namespace
{
int RunIndex(const SRepoIndexOptions& options, std::string& strOut, std::string& strErr)
{
    return RunInProcess<CRepoIndexCommand>(options, strOut, strErr);
}

void AddPackages(const std::string& strRepository)
{
    PackageRecipe recipe;
    recipe.vDevices = {{"1", {}}};
    recipe.strPath = "A";
    WritePackage(strRepository, recipe);
    recipe.strPath = "B.tar.xz";
    recipe.eFormat = PackageFormat::TarXz;
    WritePackage(strRepository, recipe);
}
} // namespace

TEST(RepoIndexCommand, WritesTheCatalogAndReusesItWhenNothingChanged)
{
    TempDir repository;
    AddPackages(repository.Path());
    SRepoIndexOptions options;
    options.strRepository = repository.Path();
    std::string strOut;
    std::string strErr;
    ASSERT_EQ(RunIndex(options, strOut, strErr), 0) << strErr;
    EXPECT_EQ(strOut, repository.File("catalog.json") + ": 2 packages (2 read, 0 unchanged since the last index), 0 "
                                                        "refused, 0 skipped\n");
    EXPECT_EQ(JsonSchemaErrors("catalog", ReadFile(repository.File("catalog.json"))), "");
    options.bJson = true;
    ASSERT_EQ(RunIndex(options, strOut, strErr), 0) << strErr;
    const nlohmann::json json = nlohmann::json::parse(strOut);
    EXPECT_EQ(json["reused"], 2);
    EXPECT_EQ(json["read"], 0);
    EXPECT_EQ(JsonSchemaErrors("repo-index", strOut), "");
}

TEST(RepoIndexCommand, WritesToAnotherFileOrToStandardOutput)
{
    TempDir repository;
    TempDir elsewhere;
    AddPackages(repository.Path());
    SRepoIndexOptions options;
    options.strRepository = repository.Path();
    options.strOutput = "-";
    std::string strOut;
    std::string strErr;
    ASSERT_EQ(RunIndex(options, strOut, strErr), 0);
    SCatalog catalog;
    std::string strError;
    ASSERT_TRUE(CCatalog::Parse(strOut, catalog, strError)) << strError;
    EXPECT_EQ(catalog.vPackages.size(), 2u);
    EXPECT_NE(strErr.find("catalog: 2 packages"), std::string::npos);
    options.strOutput = elsewhere.File("repo.json");
    ASSERT_EQ(RunIndex(options, strOut, strErr), 0);
    EXPECT_TRUE(FileExists(elsewhere.File("repo.json")));
    // The repository itself was not written.
    EXPECT_FALSE(FileExists(repository.File("catalog.json")));
}

TEST(RepoIndexCommand, RefusesAMissingRepositoryOrAnUnwritableCatalog)
{
    SRepoIndexOptions options;
    options.strRepository = "/nonexistent/repository";
    std::string strOut;
    std::string strErr;
    EXPECT_EQ(RunIndex(options, strOut, strErr), CRepoIndexCommand::nExitUnusableInput);
    EXPECT_EQ(strErr, "vexinspect repo index: the repository /nonexistent/repository is not a directory\n");
    TempDir repository;
    options.strRepository = repository.Path();
    options.strOutput = "/nonexistent/dir/catalog.json";
    EXPECT_EQ(RunIndex(options, strOut, strErr), CRepoIndexCommand::nExitCannotWrite);
    EXPECT_EQ(strErr.compare(0, 65, "vexinspect repo index: cannot write the catalog /nonexistent/dir/"), 0) << strErr;
}
