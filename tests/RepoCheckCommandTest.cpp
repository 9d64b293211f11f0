#include "RepoCheckCommand.h"

#include "RepositoryBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace vextest;

namespace
{
int RunCheck(const SRepoCheckOptions& options, std::string& strOut, std::string& strErr)
{
    return RunInProcess<CRepoCheckCommand>(options, strOut, strErr);
}

std::string Validate(const std::string& strSchema, const std::string& strDocument)
{
    TempDir dir;
    WriteFile(dir.File("document.json"), strDocument);
    return RunCommand(
               {"/usr/bin/python3", VEXDEP_SOURCE_DIR "/tests/validate-json.py", strSchema, dir.File("document.json")},
               "/")
        .strStdout;
}
} // namespace

TEST(RepoCheckCommand, IsCleanOnTheExampleRepository)
{
    SRepoCheckOptions options;
    options.strRepository = VEXDEP_SOURCE_DIR "/examples/repository";
    std::string strOut;
    std::string strErr;
    EXPECT_EQ(RunCheck(options, strOut, strErr), 0) << strOut;
    EXPECT_EQ(strOut, "8 packages: no findings\n");
}

TEST(RepoCheckCommand, ReportsFindingsAsTextJsonAndSarifWithTheirLines)
{
    TempDir repository;
    PackageRecipe recipe;
    recipe.strPath = "FW/top";
    recipe.vDevices = {{"1", {}}};
    DependencyRecipe missing;
    missing.strComponentID = "2";
    missing.strVersion = "1.0";
    missing.strPath = "FW\\gone";
    recipe.vDependencies = {missing};
    WritePackage(repository.Path(), recipe);
    SRepoCheckOptions options;
    options.strRepository = repository.Path();
    std::string strOut;
    std::string strErr;
    EXPECT_EQ(RunCheck(options, strOut, strErr), CRepoCheckCommand::nExitErrors);
    EXPECT_EQ(strOut, "FW/top/package.xml:8: error: dependency \"Needs 2\" (component 2 (FRMW) at \"1.0\" or "
                      "later): its path \"FW/gone\" names no package of the repository [path-missing]\n1 package: 1 "
                      "error, 0 warnings\n");
    options.bJson = true;
    EXPECT_EQ(RunCheck(options, strOut, strErr), CRepoCheckCommand::nExitErrors);
    EXPECT_EQ(JsonSchemaErrors("repo-check", strOut), "");
    EXPECT_EQ(nlohmann::json::parse(strOut)["findings"][0]["line"], 8);
    options.bJson = false;
    options.strFormat = "sarif";
    EXPECT_EQ(RunCheck(options, strOut, strErr), CRepoCheckCommand::nExitErrors);
    EXPECT_EQ(Validate(VEXDEP_FIXTURES_DIR "/sarif/sarif-schema-2.1.0.json", strOut), "");
    const nlohmann::json sarif = nlohmann::json::parse(strOut);
    const nlohmann::json& location = sarif["runs"][0]["results"][0]["locations"][0]["physicalLocation"];
    EXPECT_EQ(location["artifactLocation"]["uri"], "FW/top/package.xml");
    EXPECT_EQ(location["artifactLocation"]["uriBaseId"], "REPOSITORYROOT");
    EXPECT_EQ(location["region"]["startLine"], 8);
    EXPECT_EQ(sarif["runs"][0]["tool"]["driver"]["rules"].size(), 9u);
}

TEST(RepoCheckCommand, RefusesAMissingRepository)
{
    SRepoCheckOptions options;
    options.strRepository = "/nonexistent/repository";
    std::string strOut;
    std::string strErr;
    EXPECT_EQ(RunCheck(options, strOut, strErr), CRepoCheckCommand::nExitUnusableInput);
}
