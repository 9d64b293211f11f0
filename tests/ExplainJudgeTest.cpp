#include "ExplainJudge.h"

#include "DependenciesChecker.h"
#include "PlatformLayer.h"
#include "RepositoryBuilder.h"
#include "ScopedDirectory.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace vextest;

namespace
{
// Runs the checker in the package with the judge attached, as the planner
// does.
SEvaluationJudgement Judge(const std::string& strPackage, const std::string& strInventory, bool bFound = true)
{
    CScopedDirectory directory;
    EXPECT_TRUE(directory.Enter(strPackage));
    CExplainJudge judge;
    SEvaluationRun run;
    run.strPackageDirectory = CPlatformLayer::getCurrentDirectory();
    run.strInventoryText = strInventory;
    run.bPackageDescriptionFound = bFound;
    run.bPackageDescriptionParsed = bFound;
    CDependenciesChecker checker(run.strPackageDirectory);
    TempDir firmware;
    checker.SetSMBIOSSources(MissingSMBIOSSources(firmware.Path()));
    checker.SetDecisionListener(judge.Begin(run));
    const bool bProcessed = checker.Process(CDeviceInfo::eDependencyTypeHard, strInventory);
    return judge.End(bProcessed, checker.GetDependentDevices());
}
} // namespace

TEST(ExplainJudge, FindsTheDoubtsOfEachDependencyAsTheExplanationDoes)
{
    TempDir package;
    PackageRecipe recipe;
    recipe.vDevices = {{"100", {}}};
    DependencyRecipe unmet;
    unmet.strComponentID = "101";
    unmet.strVersion = "2.0";
    unmet.strReleaseID = "GOOD";
    DependencyRecipe failed = unmet;
    failed.strComponentID = "102";
    failed.strReleaseID = "BAD";
    DependencyRecipe missing = unmet;
    missing.strComponentID = "103";
    missing.strReleaseID = "NONE";
    recipe.vDependencies = {unmet, failed, missing};
    recipe.vReleases = {ReleaseRecipe{"GOOD", InstalledComponent("101", "1.0"), "g"},
                      ReleaseRecipe{"BAD", "<SPStatus result=\"false\"><Message>no answer</Message></SPStatus>\n", "b"}};
    WritePackage(package.Path(), recipe);
    const SEvaluationJudgement judgement = Judge(package.Path(), MachineInventory(MachineComponent("100")));
    EXPECT_EQ(judgement.nCheckerExitStatus, 1);
    EXPECT_TRUE(judgement.vRunDoubts.empty());
    ASSERT_EQ(judgement.vDependencyDoubts.size(), 3u);
    EXPECT_TRUE(judgement.vDependencyDoubts[0].empty());
    ASSERT_EQ(judgement.vDependencyDoubts[1].size(), 1u);
    EXPECT_EQ(judgement.vDependencyDoubts[1][0].strKind, "inventory-failed");
    EXPECT_NE(judgement.vDependencyDoubts[1][0].strText.find("no answer"), std::string::npos);
    ASSERT_EQ(judgement.vDependencyDoubts[2].size(), 1u);
    EXPECT_EQ(judgement.vDependencyDoubts[2][0].strKind, "collector-not-run");
}

TEST(ExplainJudge, DoubtsAPackageThatDeclaresNothing)
{
    TempDir package;
    const SEvaluationJudgement judgement = Judge(package.Path(), "", false);
    EXPECT_EQ(judgement.nCheckerExitStatus, 255);
    ASSERT_EQ(judgement.vRunDoubts.size(), 1u);
    EXPECT_EQ(judgement.vRunDoubts[0].strKind, "no-package-description");
}

TEST(ExplainJudge, GivesNothingWithoutARun)
{
    CExplainJudge judge;
    const SEvaluationJudgement judgement = judge.End(true, {});
    EXPECT_EQ(judgement.nCheckerExitStatus, 255);
    EXPECT_TRUE(judgement.vDependencyDoubts.empty());
}
