// vexinspect plan and repo end to end: the real executable, the real
// collectors of generated repositories, in a private mount namespace whose
// firmware the test sets (no test reads or writes the machine's own).

#include "CheckerRun.h"
#include "RepositoryBuilder.h"
#include "Scenarios.h"
#include "TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace vextest;
using Json = nlohmann::json;

namespace
{
const std::string kInspect = VEXDEP_INSPECT_EXECUTABLE;

DependencyRecipe Needs(const std::string& strComponent, const std::string& strVersion, const std::string& strPath)
{
    DependencyRecipe dependency;
    dependency.strComponentID = strComponent;
    dependency.strVersion = strVersion;
    dependency.strPath = strPath;
    dependency.strDisplay = "Component " + strComponent;
    return dependency;
}

PackageRecipe Updates(const std::string& strPath, PackageFormat eFormat, const std::string& strComponent,
                    const std::string& strVersion, const std::vector<DependencyRecipe>& vNeeds,
                    const std::string& strInstalled, const std::string& strCollector = "")
{
    PackageRecipe recipe;
    recipe.strPath = strPath;
    recipe.eFormat = eFormat;
    recipe.strVersion = strVersion;
    recipe.strDisplay = "Component " + strComponent;
    recipe.vDevices = {{strComponent, {}}};
    recipe.vDependencies = vNeeds;
    const std::string strName = !strCollector.empty() ? strCollector : strPath.empty() ? "target" : strPath;
    recipe.vReleases = {ReleaseRecipe{"INV", strInstalled, strName}};
    return recipe;
}

PackageFormat FormatNumber(int n)
{
    const PackageFormat kFormats[] = {PackageFormat::Directory, PackageFormat::Tar, PackageFormat::TarGzip,
                                      PackageFormat::TarXz};
    return kFormats[n % 4];
}

class PlanEndToEnd : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!CanUseMountNamespace())
        {
            GTEST_SKIP() << "private mount namespaces (unshare) are refused here; the firmware cannot be controlled";
        }
    }

    // Every component 100..109 is a device of the machine, installed at 1.0.
    static std::string InstalledAll()
    {
        std::string strInstalled;
        for (int n = 100; n < 110; ++n)
        {
            strInstalled += InstalledComponent(std::to_string(n), "1.0");
        }
        return strInstalled;
    }
    static std::string Machine(const std::string& strExtra = "")
    {
        std::string strDevices;
        for (int n = 100; n < 110; ++n)
        {
            strDevices += MachineComponent(std::to_string(n));
        }
        return MachineInventory(strDevices + strExtra);
    }

    void Target(const std::vector<DependencyRecipe>& vNeeds, const std::string& strInstalled = InstalledAll(),
                const std::string& strMachine = Machine())
    {
        WritePackage(m_target.Path(), Updates("", PackageFormat::Directory, "100", "9.0", vNeeds, strInstalled));
        WriteFile(m_target.File("inv.xml"), strMachine);
    }

    CommandResult Plan(const std::vector<std::string>& vOptions, const Firmware& firmware = Firmware::NoTables())
    {
        std::vector<std::string> vArgs = {"/usr/bin/env", "VEXDEP_TEST_RUN_LOG=" + m_runs.File("runs.log"), kInspect,
                                          "plan"};
        vArgs.insert(vArgs.end(), vOptions.begin(), vOptions.end());
        vArgs.insert(vArgs.end(), {"--repository", m_repository.Path(), "--package-dir", m_target.Path()});
        return RunInPackage(vArgs, m_target.Path(), firmware);
    }

    Json PlanJson(const std::string& strType = "hard", const Firmware& firmware = Firmware::NoTables())
    {
        const CommandResult result = Plan({strType, "--json"}, firmware);
        EXPECT_EQ(result.nExitStatus, 0) << result.strStderr;
        EXPECT_EQ(JsonSchemaErrors("plan", result.strStdout), "");
        return Json::parse(result.strStdout);
    }

    std::vector<std::string> Steps(const Json& plan)
    {
        std::vector<std::string> vSteps;
        for (const Json& step : plan["steps"])
        {
            vSteps.push_back(step["package"]);
        }
        return vSteps;
    }

    std::vector<std::string> CollectorRuns() { return Lines(ReadFile(m_runs.File("runs.log"))); }

    void Add(const PackageRecipe& recipe) { WritePackage(m_repository.Path(), recipe); }

    TempDir m_repository;
    TempDir m_target;
    TempDir m_runs;
};
} // namespace

TEST_F(PlanEndToEnd, PlansAChainOfDepthSixOverArchivesAndDirectories)
{
    Target({Needs("101", "2.0", "FW\\C101")});
    for (int n = 101; n <= 106; ++n)
    {
        std::vector<DependencyRecipe> vNeeds;
        if (n < 106)
        {
            vNeeds.push_back(Needs(std::to_string(n + 1), "2.0", "FW\\C" + std::to_string(n + 1)));
        }
        Add(Updates("FW/C" + std::to_string(n), FormatNumber(n), std::to_string(n), "2.0", vNeeds, InstalledAll()));
    }
    const Json plan = PlanJson();
    EXPECT_EQ(plan["verdict"], "complete");
    EXPECT_EQ(Steps(plan),
              (std::vector<std::string>{"FW/C106", "FW/C105", "FW/C104", "FW/C103", "FW/C102", "FW/C101"}));
    EXPECT_EQ(plan["steps"][0]["chain"].size(), 6u);
    EXPECT_EQ(plan["steps"][0]["format"], "tar+gzip");
    EXPECT_EQ(plan["steps"][0]["fromVersion"], "1.0");
    EXPECT_EQ(plan["steps"][0]["toVersion"], "2.0");
    // Each package's collector ran once, although the packages were
    // evaluated again after each of their prerequisites (the last one
    // declares no dependency, and its collector is never asked).
    EXPECT_EQ(plan["collectors"]["runs"], 6);
    EXPECT_EQ(CollectorRuns(),
              (std::vector<std::string>{"target", "FW/C101", "FW/C102", "FW/C103", "FW/C104", "FW/C105"}));
    EXPECT_EQ(Plan({"hard", "--exit-verdict"}).nExitStatus, 1);
}

TEST_F(PlanEndToEnd, KeepsWhatTheCollectorsPrintOutOfTheJsonAndShowsItOnStandardError)
{
    Target({Needs("101", "2.0", "A")});
    Add(Updates("A", PackageFormat::Directory, "101", "2.0", {}, InstalledAll()));
    // The package's collectors announce themselves on both streams, and one
    // prints more than is kept.
    ASSERT_EQ(RunCommand({"/bin/sh", "-c",
                          "for c in */collect.sh; do sed -i '2i echo Collecting inventory...; echo busy >&2; "
                          "head -c 6000 /dev/zero | tr \"\\\\000\" x' \"$c\"; done"},
                         m_target.Path())
                  .nExitStatus,
              0);
    const CommandResult quiet = Plan({"hard"});
    const CommandResult result = Plan({"hard", "--json"});
    ASSERT_EQ(result.nExitStatus, 0) << result.strStderr;
    EXPECT_EQ(JsonSchemaErrors("plan", result.strStdout), "");
    const Json plan = Json::parse(result.strStdout);
    EXPECT_EQ(plan["verdict"], "complete");
    EXPECT_EQ(Steps(plan), (std::vector<std::string>{"A"}));
    // The text run leaves the collectors' output where they write it.
    EXPECT_NE(quiet.strStdout.find("Collecting inventory..."), std::string::npos);
    EXPECT_NE(result.strStderr.find("vexinspect plan: the collectors wrote "), std::string::npos) << result.strStderr;
    EXPECT_NE(result.strStderr.find("to their standard output (kept out of the JSON document); the first 4096 follow:"),
              std::string::npos)
        << result.strStderr;
    EXPECT_NE(result.strStderr.find("Collecting inventory..."), std::string::npos);
    EXPECT_NE(result.strStderr.find("to their standard error (kept out of the JSON document):\nbusy"),
              std::string::npos)
        << result.strStderr;
}

TEST_F(PlanEndToEnd, PlansADiamondsSharedPrerequisiteOnce)
{
    Target({Needs("101", "2.0", "A"), Needs("102", "2.0", "B")});
    Add(Updates("A", PackageFormat::TarXz, "101", "2.0", {Needs("103", "2.0", "C")}, InstalledAll()));
    Add(Updates("B", PackageFormat::Directory, "102", "2.0", {Needs("103", "2.0", "C")}, InstalledAll()));
    Add(Updates("C", PackageFormat::Tar, "103", "2.0", {Needs("104", "1.0", "D")}, InstalledAll()));
    const Json plan = PlanJson();
    EXPECT_EQ(Steps(plan), (std::vector<std::string>{"C", "A", "B"}));
    EXPECT_EQ(plan["collectors"]["runs"], 4);
}

TEST_F(PlanEndToEnd, RunsIdenticalCollectorsOfDifferentPackagesOnce)
{
    Target({Needs("101", "2.0", "A"), Needs("102", "2.0", "B")});
    Add(Updates("A", PackageFormat::TarXz, "101", "2.0", {Needs("103", "1.0", "C")}, InstalledAll(), "shared"));
    Add(Updates("B", PackageFormat::Directory, "102", "2.0", {Needs("103", "1.0", "C")}, InstalledAll(), "shared"));
    const Json plan = PlanJson();
    EXPECT_EQ(Steps(plan), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(plan["collectors"]["runs"], 2);
    EXPECT_EQ(CollectorRuns(), (std::vector<std::string>{"target", "shared"}));
}

TEST_F(PlanEndToEnd, NamesTheWholeCycleAndExitsBlocked)
{
    Target({Needs("101", "2.0", "A")});
    Add(Updates("A", PackageFormat::Directory, "101", "2.0", {Needs("102", "2.0", "B")}, InstalledAll()));
    Add(Updates("B", PackageFormat::TarGzip, "102", "2.0", {Needs("103", "2.0", "C")}, InstalledAll()));
    Add(Updates("C", PackageFormat::TarXz, "103", "2.0", {Needs("101", "2.0", "A")}, InstalledAll()));
    const Json plan = PlanJson();
    EXPECT_EQ(plan["verdict"], "blocked");
    ASSERT_EQ(plan["blockers"].size(), 1u);
    EXPECT_EQ(plan["blockers"][0]["kind"], "cycle");
    EXPECT_EQ(plan["blockers"][0]["cycle"], Json::array({"A", "B", "C", "A"}));
    EXPECT_EQ(Plan({"hard", "--exit-verdict"}).nExitStatus, 2);
    const CommandResult check = RunCommand({kInspect, "repo", "check", m_repository.Path()}, "/");
    EXPECT_EQ(check.nExitStatus, 2);
    EXPECT_NE(check.strStdout.find("[cycle]"), std::string::npos) << check.strStdout;
}

TEST_F(PlanEndToEnd, PutsIntermediateVersionsOfOneComponentFirst)
{
    Target({Needs("101", "3.20", "BP\\3.20")});
    Add(Updates("BP/3.20", PackageFormat::TarGzip, "101", "3.20", {Needs("101", "3.15", "BP\\3.15")}, InstalledAll()));
    Add(Updates("BP/3.15", PackageFormat::Directory, "101", "3.15", {Needs("101", "3.12", "BP\\3.12")},
                InstalledAll()));
    Add(Updates("BP/3.12", PackageFormat::Tar, "101", "3.12", {}, InstalledAll()));
    Add(Updates("BP/3.30", PackageFormat::TarXz, "101", "3.30", {}, InstalledAll()));
    const Json plan = PlanJson();
    EXPECT_EQ(Steps(plan), (std::vector<std::string>{"BP/3.12", "BP/3.15", "BP/3.20"}));
    EXPECT_EQ(plan["steps"][0]["steppingStone"], true);
    EXPECT_EQ(plan["steps"][1]["fromVersion"], "3.12");
    EXPECT_EQ(plan["steps"][2]["fromVersion"], "3.15");
    EXPECT_EQ(plan["steps"][2]["steppingStone"], false);
}

TEST_F(PlanEndToEnd, SubstitutesAPackageWhenThePathNamesNone)
{
    Target({Needs("101", "2.0", "FW\\C101-2.0.BIN")});
    Add(Updates("FW/C101-2.5", PackageFormat::TarXz, "101", "2.5", {}, InstalledAll()));
    Add(Updates("FW/C101-2.1", PackageFormat::Directory, "101", "2.1", {}, InstalledAll()));
    Add(Updates("FW/C101-1.9", PackageFormat::Tar, "101", "1.9", {}, InstalledAll()));
    const Json plan = PlanJson();
    ASSERT_EQ(Steps(plan), std::vector<std::string>{"FW/C101-2.1"});
    EXPECT_EQ(plan["steps"][0]["substituted"], true);
    EXPECT_EQ(plan["steps"][0]["requestedPath"], "FW/C101-2.0.BIN");
    std::map<std::string, std::string> mapRejected;
    for (const Json& rejected : plan["steps"][0]["rejected"])
    {
        mapRejected[rejected["package"]] = rejected["kind"];
    }
    EXPECT_EQ(mapRejected["FW/C101-1.9"], "version-too-low");
    EXPECT_EQ(mapRejected["FW/C101-2.5"], "not-chosen");
}

TEST_F(PlanEndToEnd, MatchesPCIIdentitiesAsNumbers)
{
    DependencyRecipe nic = Needs("999", "22.1", "NIC\\22.1");
    nic.strPCI = "0x8086:1572:8086:1";
    Target({nic}, InstalledAll() + InstalledPCI("8086:1572:8086:0001", "22.0"));
    PackageRecipe other = Updates("NIC/23.0-other-model", PackageFormat::TarGzip, "999", "23.0", {}, InstalledAll());
    other.vDevices = {{"999", {"8086:1573:8086:0001"}}};
    Add(other);
    PackageRecipe right = Updates("NIC/22.2", PackageFormat::Directory, "999", "22.2", {}, InstalledAll());
    right.vDevices = {{"999", {"8086:1572:8086:0001"}}};
    Add(right);
    const Json plan = PlanJson();
    ASSERT_EQ(Steps(plan), std::vector<std::string>{"NIC/22.2"});
    EXPECT_EQ(plan["steps"][0]["component"]["deviceType"], "pci");
    EXPECT_EQ(plan["steps"][0]["fromVersion"], "22.0");
    EXPECT_EQ(plan["steps"][0]["rejected"][0]["kind"], "no-device");
}

TEST_F(PlanEndToEnd, IgnoresWhatAppliesToOtherPlatformsAndOperatingSystems)
{
    Target({Needs("101", "2.0", "A")});
    DependencyRecipe otherPlatform = Needs("102", "2.0", "B");
    otherPlatform.vPlatforms = {"0c"};
    DependencyRecipe thisPlatform = Needs("103", "2.0", "C");
    thisPlatform.vPlatforms = {"0A", "0b"};
    DependencyRecipe otherOS = Needs("104", "2.0", "D");
    otherOS.strOS = "Windows 10 0";
    DependencyRecipe thisOS = Needs("105", "2.0", "E");
    thisOS.strOS = "Linux 9 2";
    Add(Updates("A", PackageFormat::Directory, "101", "2.0", {otherPlatform, thisPlatform, otherOS, thisOS},
                InstalledAll()));
    for (const std::string strPackage : {"B", "C", "D", "E"})
    {
        const std::string strComponent = std::to_string(102 + (strPackage[0] - 'B'));
        Add(Updates(strPackage, PackageFormat::TarGzip, strComponent, "2.0", {}, InstalledAll()));
    }
    const Json plan = PlanJson("hard", BrixFirmware(0x0B));
    EXPECT_EQ(Steps(plan), (std::vector<std::string>{"C", "E", "A"}));
}

TEST_F(PlanEndToEnd, PlansFromARepositoryOnAReadOnlyMount)
{
    Target({Needs("101", "2.0", "A")});
    Add(Updates("A", PackageFormat::Directory, "101", "2.0", {Needs("102", "2.0", "B")}, InstalledAll()));
    Add(Updates("B", PackageFormat::TarXz, "102", "2.0", {}, InstalledAll()));
    // The repository is bound read-only over itself in a namespace of the
    // test's own; a write there fails, and the plan is the same.
    const std::string strScript = "mount --bind \"$1\" \"$1\" && mount -o remount,bind,ro \"$1\" || exit 97\n"
                                  "if touch \"$1/probe\" 2> /dev/null; then exit 98; fi\n"
                                  "exec \"$2\" plan hard --json --repository \"$1\" --package-dir \"$3\"\n";
    const CommandResult result = RunCommand({"/usr/bin/unshare", "--mount", "--propagation", "private", "/bin/sh", "-c",
                                             strScript, "sh", m_repository.Path(), kInspect, m_target.Path()},
                                            "/");
    if (result.nExitStatus == 97)
    {
        GTEST_SKIP() << "a read-only bind mount is refused here: " << result.strStderr;
    }
    ASSERT_NE(result.nExitStatus, 98) << "the read-only mount was writable";
    ASSERT_EQ(result.nExitStatus, 0) << result.strStderr;
    const Json plan = Json::parse(result.strStdout);
    EXPECT_EQ(Steps(plan), (std::vector<std::string>{"B", "A"}));
    EXPECT_EQ(plan["verdict"], "complete");
    EXPECT_FALSE(FileExists(m_repository.File("probe")));
}

TEST_F(PlanEndToEnd, TheExampleOfTheReadmeGivesWhatTheReadmeShows)
{
    const std::string strSource = VEXDEP_SOURCE_DIR;
    const CommandResult result =
        RunInPackage({kInspect, "plan", "both", "--repository", "examples/repository", "--package-dir",
                      "examples/package", "--inventory", "examples/machine/inv.xml"},
                     strSource, Firmware::NoTables());
    ASSERT_EQ(result.nExitStatus, 0) << result.strStderr;
    const std::string strReadme = ReadFile(strSource + "/README.md");
    const std::string strShown = "$ vexinspect plan both --repository examples/repository --package-dir "
                                 "examples/package \\\n    --inventory examples/machine/inv.xml\n" +
                                 result.strStdout + "```";
    EXPECT_NE(strReadme.find(strShown), std::string::npos) << "README.md does not show:\n" << strShown;
    EXPECT_EQ(ReadFile(strSource + "/docs/planning.md").find(result.strStdout) != std::string::npos, true)
        << "docs/planning.md does not show the plan";
}

TEST_F(PlanEndToEnd, PlansFromAPackedRepositoryAsFromTheTreeItUnpacksTo)
{
    const std::string strSource = VEXDEP_SOURCE_DIR;
    TempDir packed;
    const CommandResult pack = RunCommand({kInspect, "repo", "pack", strSource + "/examples/repository", "-o",
                                           packed.File("repository.tar.gz")},
                                          "/");
    ASSERT_EQ(pack.nExitStatus, 0) << pack.strStderr;
    MakeDirectory(packed.File("tree"));
    const CommandResult tar = RunCommand(
        {"/bin/tar", "-C", packed.File("tree"), "-p", "-xzf", packed.File("repository.tar.gz")}, packed.Path());
    ASSERT_EQ(tar.nExitStatus, 0) << tar.strStderr;

    const auto plan = [&](const std::string& strRepository) {
        return RunCommand({kInspect, "plan", "both", "--json", "--repository", strRepository, "--package-dir",
                           strSource + "/examples/package", "--inventory", strSource + "/examples/machine/inv.xml"},
                          "/");
    };
    const CommandResult fromTree = plan(packed.File("tree"));
    const CommandResult fromArchive = plan(packed.File("repository.tar.gz"));
    ASSERT_EQ(fromTree.nExitStatus, 0) << fromTree.strStderr;
    ASSERT_EQ(fromArchive.nExitStatus, 0) << fromArchive.strStderr;
    EXPECT_EQ(fromArchive.strStderr, fromTree.strStderr);
    EXPECT_EQ(JsonSchemaErrors("plan", fromArchive.strStdout), "");
    Json archiveJson = Json::parse(fromArchive.strStdout);
    Json treeJson = Json::parse(fromTree.strStdout);
    EXPECT_EQ(archiveJson["repository"], packed.File("repository.tar.gz"));
    EXPECT_EQ(archiveJson["catalogUsed"], true);
    EXPECT_EQ(archiveJson["verdict"], "complete");
    EXPECT_EQ(archiveJson["steps"].size(), 5u);
    archiveJson.erase("repository");
    treeJson.erase("repository");
    EXPECT_EQ(archiveJson.dump(2), treeJson.dump(2));
    // Nothing was unpacked beside the archive.
    EXPECT_EQ(ListDirectory(packed.Path()), (std::vector<std::string>{"repository.tar.gz", "tree"}));
}
