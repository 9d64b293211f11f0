#include "PlanInventorySource.h"

#include "RepositoryBuilder.h"
#include "Scenarios.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <memory>

using namespace vextest;

namespace
{
void MakeRelease(const std::string& strDirectory, const std::string& strInventory)
{
    MakeDirectory(strDirectory);
    WriteFile(strDirectory + "/PIEConfig.xml", PieConfig("collect.sh", "inventory.xml", "30"));
    WriteFile(strDirectory + "/collect.sh",
              "#!/bin/sh\necho ran >> ../runs.log\ncat > inventory.xml <<'EOF'\n<SVMInventory>\n" + strInventory +
                  "</SVMInventory>\nEOF\n",
              true);
}

} // namespace

TEST(PlanInventorySource, RunsEachDistinctCollectorOnceAndHandsOnCopies)
{
    TempDir first;
    TempDir second;
    const std::string strInventory = InstalledComponent("104500", "3.10");
    MakeRelease(first.File("REL"), strInventory);
    MakeRelease(second.File("OTHER"), strInventory);
    CSimulatedState state;
    CPlanInventorySource source(state);
    SCollectorRun run;
    const auto vFirst = Own(source.Collect(first.File("REL"), CCollectorTimeLimit(), run));
    EXPECT_TRUE(run.bStarted);
    const auto vAgain = Own(source.Collect(first.File("REL"), CCollectorTimeLimit(), run));
    const auto vSecond = Own(source.Collect(second.File("OTHER"), CCollectorTimeLimit(), run));
    EXPECT_EQ(ReadFile(first.File("runs.log")), "ran\n");
    EXPECT_FALSE(FileExists(second.File("runs.log")));
    EXPECT_EQ(source.CollectorRuns(), 1u);
    ASSERT_EQ(vSecond.size(), 1u);
    EXPECT_EQ(vSecond[0]->getVersion(), "3.10");
    EXPECT_NE(vSecond[0].get(), vFirst[0].get());
    ASSERT_EQ(source.Uses().size(), 3u);
    EXPECT_FALSE(source.Uses()[0].bReused);
    EXPECT_TRUE(source.Uses()[1].bReused);
    EXPECT_TRUE(source.Uses()[2].bReused);
    EXPECT_EQ(source.Uses()[2].strRanIn, first.File("REL"));
}

TEST(PlanInventorySource, RunsADifferentCollectorAgain)
{
    TempDir first;
    TempDir second;
    MakeRelease(first.File("REL"), InstalledComponent("1", "1"));
    MakeRelease(second.File("REL"), InstalledComponent("2", "1"));
    CSimulatedState state;
    CPlanInventorySource source(state);
    SCollectorRun run;
    Own(source.Collect(first.File("REL"), CCollectorTimeLimit(), run));
    Own(source.Collect(second.File("REL"), CCollectorTimeLimit(), run));
    EXPECT_EQ(source.CollectorRuns(), 2u);
}

TEST(PlanInventorySource, ShowsTheSimulatedStateInWhatItHandsOn)
{
    TempDir dir;
    MakeRelease(dir.File("REL"), InstalledComponent("104500", "3.10") + InstalledComponent("104600", "2.4"));
    CSimulatedState state;
    CPlanInventorySource source(state);
    SCollectorRun run;
    const auto vBefore = Own(source.Collect(dir.File("REL"), CCollectorTimeLimit(), run));
    SPackageDescription package;
    package.strPath = "BP";
    package.strComponentType = "FRMW";
    package.strVersion = "3.20";
    package.vDevices = {SSupportedDevice{"104500", "", {}}};
    state.Install(package, 1);
    const auto vAfter = Own(source.Collect(dir.File("REL"), CCollectorTimeLimit(), run));
    EXPECT_EQ(vBefore[0]->getVersion(), "3.10");
    EXPECT_EQ(vAfter[0]->getVersion(), "3.20");
    EXPECT_EQ(vAfter[1]->getVersion(), "2.4");
    const auto vKnown = source.KnownInstances();
    ASSERT_EQ(vKnown.size(), 2u);
    EXPECT_EQ(vKnown[0]->getVersion(), "3.20");
    EXPECT_EQ(source.CollectorRuns(), 1u);
}

TEST(PlanInventorySource, YieldsNothingForAMissingReleaseDirectory)
{
    TempDir dir;
    CSimulatedState state;
    CPlanInventorySource source(state);
    SCollectorRun run;
    EXPECT_TRUE(source.Collect(dir.File("MISSING"), CCollectorTimeLimit(), run).empty());
    EXPECT_FALSE(run.bStarted);
    EXPECT_EQ(source.CollectorRuns(), 0u);
}
