#include "PackageEvaluator.h"

#include "PlanInventorySource.h"
#include "PlatformLayer.h"
#include "RepositoryBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace vextest;

namespace
{
// A judge that records what it was asked and flags every failed inventory.
class RecordingJudge : public IEvaluationJudge
{
public:
    IDependencyDecisionListener* Begin(const SEvaluationRun& run) override
    {
        lastRun = run;
        return nullptr;
    }
    SEvaluationJudgement End(bool bProcessed, const std::vector<CDeviceInfo*>& vReported) override
    {
        SEvaluationJudgement judgement;
        judgement.nCheckerExitStatus = bProcessed && !vReported.empty() ? 1 : 255;
        judgement.vRunDoubts.push_back(SEvaluationDoubt{"recorded", std::to_string(vReported.size())});
        return judgement;
    }
    SEvaluationRun lastRun;
};
} // namespace

TEST(PackageEvaluator, RunsTheCheckerInThePackageWithTheSourceAndTheJudge)
{
    TempDir package;
    TempDir firmware;
    PackageRecipe recipe;
    recipe.vDevices = {{"100", {}}};
    DependencyRecipe unmet;
    unmet.strComponentID = "101";
    unmet.strVersion = "2.0";
    unmet.strPath = "P101";
    unmet.strDisplay = "Unmet";
    DependencyRecipe met = unmet;
    met.strComponentID = "102";
    met.strDisplay = "Met";
    DependencyRecipe soft = unmet;
    soft.bSoft = true;
    soft.strDisplay = "Soft";
    recipe.vDependencies = {unmet, met, soft};
    recipe.vReleases = {ReleaseRecipe{"INV", InstalledComponent("101", "1.0") + InstalledComponent("102", "2.0"), "x"}};
    WritePackage(package.Path(), recipe);

    CSimulatedState state;
    CPlanInventorySource source(state);
    RecordingJudge judge;
    CPackageEvaluator evaluator(source, judge);
    evaluator.SetSMBIOSSources(MissingSMBIOSSources(firmware.Path()));
    const std::string strBefore = CPlatformLayer::getCurrentDirectory();
    const SEvaluation evaluation =
        evaluator.Evaluate(package.Path(), CDeviceInfo::eDependencyTypeHard, MachineInventory(MachineComponent("100")));
    EXPECT_EQ(CPlatformLayer::getCurrentDirectory(), strBefore);
    EXPECT_TRUE(evaluation.bProcessed);
    EXPECT_EQ(evaluation.nCheckerExitStatus, 1);
    ASSERT_EQ(evaluation.vReported.size(), 1u);
    EXPECT_EQ(evaluation.vReported[0].strDisplay, "Unmet");
    ASSERT_EQ(evaluation.vDependencies.size(), 3u);
    EXPECT_EQ(*evaluation.vDependencies[0].verdict, EVerdict::Unmet);
    EXPECT_EQ(evaluation.vDependencies[0].record.getCurrentVersion(), "1.0");
    EXPECT_EQ(*evaluation.vDependencies[1].verdict, EVerdict::Met);
    EXPECT_EQ(*evaluation.vDependencies[2].verdict, EVerdict::OtherType);
    EXPECT_EQ(evaluation.vDependencyDoubts.size(), 3u);
    ASSERT_EQ(evaluation.vRunDoubts.size(), 1u);
    EXPECT_EQ(evaluation.vRunDoubts[0].strText, "1");
    EXPECT_TRUE(judge.lastRun.bPackageDescriptionFound);
    EXPECT_TRUE(judge.lastRun.bPackageDescriptionParsed);
    EXPECT_EQ(source.CollectorRuns(), 1u);
}

TEST(PackageEvaluator, SaysSoWhenThePackageDirectoryCannotBeEntered)
{
    CSimulatedState state;
    CPlanInventorySource source(state);
    RecordingJudge judge;
    CPackageEvaluator evaluator(source, judge);
    const SEvaluation evaluation = evaluator.Evaluate("/nonexistent/package", CDeviceInfo::eDependencyTypeHard, "");
    ASSERT_EQ(evaluation.vRunDoubts.size(), 1u);
    EXPECT_EQ(evaluation.vRunDoubts[0].strKind, "no-package-description");
}
