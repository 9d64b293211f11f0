#include "Planner.h"

#include "CatalogFile.h"
#include "ExplainJudge.h"
#include "RepositoryBuilder.h"
#include "RepositoryLoader.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace vextest;

namespace
{
const std::string kInventory = "INV";

// A package that updates one component (its one device) to a version and
// needs other components first; its collector reports the machine's
// installed versions.
PackageRecipe Updates(const std::string& strPath, const std::string& strComponent, const std::string& strVersion,
                    const std::vector<DependencyRecipe>& vNeeds, const std::string& strInstalled)
{
    PackageRecipe recipe;
    recipe.strPath = strPath;
    recipe.strVersion = strVersion;
    recipe.strDisplay = "Component " + strComponent;
    recipe.vDevices = {{strComponent, {}}};
    recipe.vDependencies = vNeeds;
    recipe.vReleases = {ReleaseRecipe{kInventory, strInstalled, "collector"}};
    return recipe;
}

DependencyRecipe Needs(const std::string& strComponent, const std::string& strVersion, const std::string& strPath,
                     bool bSoft = false)
{
    DependencyRecipe dependency;
    dependency.bSoft = bSoft;
    dependency.strComponentID = strComponent;
    dependency.strVersion = strVersion;
    dependency.strPath = strPath;
    dependency.strReleaseID = kInventory;
    dependency.strDisplay = "Component " + strComponent;
    return dependency;
}

std::vector<std::string> StepPackages(const SPlan& plan)
{
    std::vector<std::string> vPackages;
    for (const SPlanStep& step : plan.vSteps)
    {
        vPackages.push_back(step.strPackage);
    }
    return vPackages;
}

std::vector<std::string> BlockerKinds(const SPlan& plan)
{
    std::vector<std::string> vKinds;
    for (const SPlanBlocker& blocker : plan.vBlockers)
    {
        vKinds.push_back(blocker.strKind + (blocker.strReasonKind.empty() ? "" : "/" + blocker.strReasonKind));
    }
    return vKinds;
}

class PlannerTest : public ::testing::Test
{
protected:
    // Every component of the machine: a device of inv.xml, installed at
    // 1.0 as the collectors report it.
    std::string InstalledAll(const std::string& strExtra = "")
    {
        std::string strInstalled;
        for (const std::string& strComponent : m_vComponents)
        {
            strInstalled += InstalledComponent(strComponent, "1.0");
        }
        return strInstalled + strExtra;
    }

    void SetUp() override
    {
        std::string strDevices;
        for (const std::string& strComponent : m_vComponents)
        {
            strDevices += MachineComponent(strComponent);
        }
        m_strMachine = MachineInventory(strDevices);
    }

    void Target(const std::vector<DependencyRecipe>& vNeeds, const std::string& strInstalled = "")
    {
        WritePackage(m_target.Path(),
                     Updates("", "100", "9.0", vNeeds, strInstalled.empty() ? InstalledAll() : strInstalled));
    }

    void Add(const PackageRecipe& recipe) { WritePackage(m_repository.Path(), recipe); }

    SPlan Plan(bool bHard = true, bool bSoft = false, bool bWithCatalog = false)
    {
        CScratchArea scratch;
        std::string strError;
        std::string strWork;
        EXPECT_TRUE(scratch.Create(strError) && scratch.NewDirectory("repository", strWork, strError));
        CRepositoryLoader loader(m_repository.Path(), strWork);
        SRepositoryLoad load;
        EXPECT_TRUE(loader.Load(CRepositoryScanner::EMode::Trust, "", false, load, strError)) << strError;
        EXPECT_EQ(load.bCatalogUsed, bWithCatalog);
        const CRepositoryIndex index(load.content.vPackages);
        CExplainJudge judge;
        CPlanner planner(index, loader.Source(), scratch, judge);
        SPlanRequest request;
        request.bHard = bHard;
        request.bSoft = bSoft;
        request.strPackageDirectory = m_target.Path();
        request.strInventoryText = m_strMachine;
        request.bVerifyAgainstCatalog = load.bCatalogUsed;
        // No firmware tables at all: the platform checks are passed over.
        request.bSMBIOSSources = true;
        request.smbiosSources = MissingSMBIOSSources(m_firmware.Path());
        SPlan plan = planner.Plan(request);
        plan.vRefused.insert(plan.vRefused.begin(), load.content.vRefused.begin(), load.content.vRefused.end());
        return plan;
    }

    const std::vector<std::string> m_vComponents = {"100", "101", "102", "103", "200"};
    std::string m_strMachine;
    TempDir m_repository;
    TempDir m_target;
    TempDir m_firmware;
};
} // namespace

TEST_F(PlannerTest, PlansNothingWhenEverythingIsMet)
{
    Target({Needs("101", "1.0", "P101")});
    Add(Updates("P101", "101", "2.0", {}, InstalledAll()));
    const SPlan plan = Plan();
    EXPECT_EQ(plan.eVerdict, EPlanVerdict::NothingNeeded);
    EXPECT_TRUE(plan.vSteps.empty());
    EXPECT_TRUE(plan.vBlockers.empty());
    ASSERT_EQ(plan.vEvaluations.size(), 1u);
    EXPECT_EQ(plan.vEvaluations[0].evaluation.nCheckerExitStatus, 255);
}

TEST_F(PlannerTest, OrdersAChainPrerequisitesFirstAndRunsEachDistinctCollectorOnce)
{
    Target({Needs("101", "2.0", "P101")});
    Add(Updates("P101", "101", "2.0", {Needs("102", "2.0", "P102")}, InstalledAll()));
    Add(Updates("P102", "102", "2.0", {Needs("103", "2.0", "P103")}, InstalledAll()));
    Add(Updates("P103", "103", "2.0", {}, InstalledAll()));
    const std::vector<std::string> vBefore =
        Lines(RunCommand({"/usr/bin/find", ".", "-printf", "%p %s %T@\\n"}, m_repository.Path()).strStdout);
    const SPlan plan = Plan();
    EXPECT_EQ(plan.eVerdict, EPlanVerdict::Complete);
    EXPECT_EQ(StepPackages(plan), (std::vector<std::string>{"P103", "P102", "P101"}));
    ASSERT_EQ(plan.vSteps[0].vChain.size(), 3u);
    EXPECT_EQ(plan.vSteps[0].vChain[0].strPackage, "");
    EXPECT_EQ(plan.vSteps[0].vChain[1].strPackage, "P101");
    EXPECT_EQ(plan.vSteps[0].vChain[2].strPackage, "P102");
    EXPECT_EQ(plan.vSteps[0].strFromVersion, "1.0");
    EXPECT_EQ(plan.vSteps[0].strToVersion, "2.0");
    EXPECT_FALSE(plan.vSteps[0].bSubstituted);
    // The same collector in every package: it ran once.
    EXPECT_EQ(plan.nCollectorRuns, 1u);
    // The repository was only read.
    EXPECT_EQ(Lines(RunCommand({"/usr/bin/find", ".", "-printf", "%p %s %T@\\n"}, m_repository.Path()).strStdout),
              vBefore);
}

TEST_F(PlannerTest, PlansWhatADiamondSharesOnce)
{
    Target({Needs("101", "2.0", "P101"), Needs("102", "2.0", "P102")});
    Add(Updates("P101", "101", "2.0", {Needs("103", "2.0", "P103")}, InstalledAll()));
    Add(Updates("P102", "102", "2.0", {Needs("103", "2.0", "P103")}, InstalledAll()));
    Add(Updates("P103", "103", "2.0", {}, InstalledAll()));
    const SPlan plan = Plan();
    EXPECT_EQ(plan.eVerdict, EPlanVerdict::Complete);
    EXPECT_EQ(StepPackages(plan), (std::vector<std::string>{"P103", "P101", "P102"}));
}

TEST_F(PlannerTest, NamesTheWholeChainOfACycle)
{
    Target({Needs("101", "2.0", "P101")});
    Add(Updates("P101", "101", "2.0", {Needs("102", "2.0", "P102")}, InstalledAll()));
    Add(Updates("P102", "102", "2.0", {Needs("101", "2.0", "P101")}, InstalledAll()));
    const SPlan plan = Plan();
    EXPECT_EQ(plan.eVerdict, EPlanVerdict::Blocked);
    EXPECT_EQ(SPlan::ExitStatus(plan.eVerdict), 2);
    ASSERT_EQ(BlockerKinds(plan), std::vector<std::string>{"cycle"});
    EXPECT_EQ(plan.vBlockers[0].vCycle, (std::vector<std::string>{"P101", "P102", "P101"}));
    EXPECT_EQ(plan.vBlockers[0].strPackage, "P102");
    ASSERT_EQ(plan.vBlockers[0].vChain.size(), 3u);
    EXPECT_TRUE(plan.vSteps.empty());
}

TEST_F(PlannerTest, PutsAnIntermediateVersionFirst)
{
    Target({Needs("101", "3.0", "P101-3.0")});
    Add(Updates("P101-3.0", "101", "3.0", {Needs("101", "2.0", "P101-2.0")}, InstalledAll()));
    Add(Updates("P101-2.0", "101", "2.0", {}, InstalledAll()));
    const SPlan plan = Plan();
    EXPECT_EQ(plan.eVerdict, EPlanVerdict::Complete);
    ASSERT_EQ(StepPackages(plan), (std::vector<std::string>{"P101-2.0", "P101-3.0"}));
    EXPECT_TRUE(plan.vSteps[0].bSteppingStone);
    EXPECT_EQ(plan.vSteps[0].strFromVersion, "1.0");
    EXPECT_EQ(plan.vSteps[0].strToVersion, "2.0");
    EXPECT_FALSE(plan.vSteps[1].bSteppingStone);
    EXPECT_EQ(plan.vSteps[1].strFromVersion, "2.0");
    EXPECT_EQ(plan.vSteps[1].strToVersion, "3.0");
}

TEST_F(PlannerTest, SaysWhenTheIntermediateVersionIsMissing)
{
    Target({Needs("101", "3.0", "P101-3.0")});
    Add(Updates("P101-3.0", "101", "3.0", {Needs("101", "2.0", "P101-2.0")}, InstalledAll()));
    const SPlan plan = Plan();
    EXPECT_EQ(plan.eVerdict, EPlanVerdict::Blocked);
    EXPECT_EQ(BlockerKinds(plan), std::vector<std::string>{"missing-intermediate-version"});
    EXPECT_EQ(plan.vBlockers[0].strPackage, "P101-3.0");
}

TEST_F(PlannerTest, PlansTheRestWhenOnePackageIsMissing)
{
    Target({Needs("101", "2.0", "P101"), Needs("102", "2.0", "P102")});
    Add(Updates("P101-old", "101", "1.5", {}, InstalledAll()));
    Add(Updates("P102", "102", "2.0", {}, InstalledAll()));
    const SPlan plan = Plan();
    EXPECT_EQ(plan.eVerdict, EPlanVerdict::Blocked);
    EXPECT_EQ(StepPackages(plan), std::vector<std::string>{"P102"});
    ASSERT_EQ(BlockerKinds(plan), std::vector<std::string>{"missing"});
    ASSERT_EQ(plan.vBlockers[0].vRejected.size(), 1u);
    EXPECT_EQ(plan.vBlockers[0].vRejected[0].strKind, "version-too-low");
}

TEST_F(PlannerTest, CannotBeTrustedWhenAPrerequisitesInventoryFails)
{
    Target({Needs("101", "2.0", "P101")});
    PackageRecipe broken = Updates("P101", "101", "2.0", {Needs("102", "2.0", "P102")}, "");
    broken.vReleases[0].strInventory = "<SPStatus result=\"false\"><Message>no answer</Message></SPStatus>\n";
    Add(broken);
    Add(Updates("P102", "102", "2.0", {}, InstalledAll()));
    const SPlan plan = Plan();
    EXPECT_EQ(plan.eVerdict, EPlanVerdict::Unverifiable);
    EXPECT_EQ(SPlan::ExitStatus(plan.eVerdict), 3);
    EXPECT_EQ(BlockerKinds(plan), std::vector<std::string>{"unverifiable/inventory-failed"});
    EXPECT_EQ(plan.vBlockers[0].strPackage, "P101");
    EXPECT_TRUE(plan.vSteps.empty());
}

TEST_F(PlannerTest, RefusesToDowngradeAnotherComponent)
{
    Target({Needs("101", "2.0", "P101")}, InstalledAll(InstalledComponent("300", "9.0")));
    PackageRecipe bundle = Updates("P101", "101", "2.0", {}, InstalledAll());
    bundle.vDevices.push_back({"300", {}});
    Add(bundle);
    const SPlan plan = Plan();
    EXPECT_EQ(plan.eVerdict, EPlanVerdict::Blocked);
    EXPECT_EQ(BlockerKinds(plan), std::vector<std::string>{"downgrade"});
}

TEST_F(PlannerTest, CannotBeTrustedWhereAStepMayAddWhatALaterDependencyNeedsNewer)
{
    Target({Needs("101", "2.0", "P101"), Needs("300", "5.0", "P300")});
    PackageRecipe bundle = Updates("P101", "101", "2.0", {}, InstalledAll());
    bundle.vDevices.push_back({"300", {}});
    Add(bundle);
    const SPlan plan = Plan();
    EXPECT_EQ(StepPackages(plan), std::vector<std::string>{"P101"});
    EXPECT_EQ(BlockerKinds(plan), std::vector<std::string>{"unverifiable/provided-not-installed"});
    EXPECT_EQ(plan.eVerdict, EPlanVerdict::Unverifiable);
}

TEST_F(PlannerTest, PlansSoftDependenciesWithTheHardOnesOfTheirPackages)
{
    Target({Needs("101", "2.0", "P101", true)});
    Add(Updates("P101", "101", "2.0", {Needs("102", "2.0", "P102"), Needs("103", "2.0", "P103", true)},
                InstalledAll()));
    Add(Updates("P102", "102", "2.0", {}, InstalledAll()));
    Add(Updates("P103", "103", "2.0", {}, InstalledAll()));
    EXPECT_EQ(Plan(true, false).eVerdict, EPlanVerdict::NothingNeeded);
    const SPlan plan = Plan(false, true);
    EXPECT_EQ(plan.strRequested, "soft");
    // The soft dependency of the prerequisite is not followed.
    EXPECT_EQ(StepPackages(plan), (std::vector<std::string>{"P102", "P101"}));
}

TEST_F(PlannerTest, TakesAnotherPackageWhenTheOneChosenDoesNotMatchTheCatalog)
{
    Target({Needs("101", "2.0", "P101-a")});
    Add(Updates("P101-a", "101", "2.0", {}, InstalledAll()));
    Add(Updates("P101-b", "101", "2.1", {}, InstalledAll()));
    // Index, then make the catalog's digest of the named package a lie.
    CScratchArea scratch;
    std::string strError;
    std::string strWork;
    ASSERT_TRUE(scratch.Create(strError) && scratch.NewDirectory("w", strWork, strError));
    CRepositoryLoader loader(m_repository.Path(), strWork);
    SRepositoryLoad load;
    ASSERT_TRUE(loader.Load(CRepositoryScanner::EMode::Fresh, "", true, load, strError));
    SCatalog catalog;
    catalog.vPackages = load.content.vPackages;
    catalog.vPackages[0].strDigest = "sha256:" + std::string(64, '0');
    ASSERT_TRUE(CCatalogFile::Write(CCatalogFile::DefaultPath(m_repository.Path()), catalog, strError));

    const SPlan plan = Plan(true, false, true);
    EXPECT_EQ(plan.eVerdict, EPlanVerdict::Complete);
    EXPECT_EQ(StepPackages(plan), std::vector<std::string>{"P101-b"});
    EXPECT_TRUE(plan.vSteps[0].bSubstituted);
    ASSERT_EQ(plan.vRefused.size(), 1u);
    EXPECT_EQ(plan.vRefused[0].strPath, "P101-a");
    EXPECT_EQ(plan.vRefused[0].strReason.compare(0, 47, "its content does not match the catalog's digest"), 0)
        << plan.vRefused[0].strReason;
}

TEST_F(PlannerTest, NamesTheReleaseDirectoriesItsCollectorsRanFor)
{
    Target({Needs("101", "2.0", "P101")});
    // A dependency that is met: the package's collector is consulted.
    Add(Updates("P101", "101", "2.0", {Needs("102", "1.0", "P102")}, InstalledAll()));
    const SPlan plan = Plan();
    ASSERT_FALSE(plan.vCollectors.empty());
    EXPECT_EQ(plan.vCollectors[0].strPackage, "");
    EXPECT_EQ(plan.vCollectors[0].strReleaseID, kInventory);
    EXPECT_FALSE(plan.vCollectors[0].bReused);
    bool bReusedForP101 = false;
    for (const SCollectorSummary& collector : plan.vCollectors)
    {
        bReusedForP101 = bReusedForP101 ||
                         (collector.strPackage == "P101" && collector.bReused && collector.strRanForPackage.empty());
    }
    EXPECT_TRUE(bReusedForP101);
}
