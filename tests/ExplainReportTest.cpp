// The explanation collected from the checker's decisions while it runs on
// the packages of the end-to-end catalogue, and its text and JSON forms.

#include "DependenciesChecker.h"
#include "ExplainReport.h"
#include "PlatformLayer.h"
#include "Scenarios.h"
#include "SmbiosBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace vextest;
using Json = nlohmann::ordered_json;

namespace
{
// A package written into a fresh directory and evaluated in-process by the
// checker with the report attached, as vexinspect explain does.
class ExplainedRun
{
public:
    explicit ExplainedRun(const Scenario& scenario) { WriteScenario(scenario, m_dir.Path()); }
    explicit ExplainedRun(const std::string& strScenario) : ExplainedRun(FindScenario(strScenario)) {}

    // The firmware the platform check reads: none unless set.
    void UseFirmware(const Firmware& firmware)
    {
        MakeDirectory(m_firmware.File("tables"));
        WriteFile(m_firmware.File("tables/smbios_entry_point"), firmware.strEntryPoint);
        WriteFile(m_firmware.File("tables/DMI"), firmware.strTable);
    }

    std::string File(const std::string& strName) const { return m_dir.File(strName); }

    // The collectors' time limit of the run (none unless set).
    CCollectorTimeLimit timeLimit;

    void Run(CDeviceInfo::eDependencyType eType)
    {
        ScopedCwd cwd(m_dir.Path());
        std::ifstream ifs("inv.xml");
        std::stringstream ss;
        ss << ifs.rdbuf();
        const std::string strInventory = ss.str();
        m_strDirectory = CPlatformLayer::getCurrentDirectory();
        SMBIOSSources sources;
        sources.strEntryPointPath = m_firmware.File("tables/smbios_entry_point");
        sources.strTablePath = m_firmware.File("tables/DMI");
        sources.strMemoryDevicePath = m_firmware.File("mem");
        sources.strESXiDevicePath = m_firmware.File("smbios");

        report.SetRun(eType, m_strDirectory, FileExists("package.xml"), strInventory);
        {
            CDependenciesChecker checker(m_strDirectory);
            checker.SetDecisionListener(&report);
            checker.SetSMBIOSSources(sources);
            checker.SetCollectorTimeLimit(timeLimit);
            report.SetCollectorTimeLimit(timeLimit, "");
            const bool bProcessed = checker.Process(eType, strInventory);
            report.SetOutcome(bProcessed, checker.GetDependentDevices());
        }
        report.SetMachine(SOSInfo(), 2, CSmbiosSummary::Read(sources, ""));
        report.ClassifyCollectorRuns();
    }

    const SExplainedDependency& Dependency(const std::string& strDisplay) const
    {
        for (const SExplainedDependency& dependency : report.Dependencies())
        {
            if (dependency.strDisplay == strDisplay)
            {
                return dependency;
            }
        }
        throw std::runtime_error("no dependency " + strDisplay);
    }

    const std::string& Directory() const { return m_strDirectory; }

    CExplainReport report;

private:
    TempDir m_dir;
    TempDir m_firmware;
    std::string m_strDirectory;
};

using vextest::Lines;

bool HasLine(const std::string& strText, const std::string& strLine)
{
    const std::vector<std::string> vLines = Lines(strText);
    return std::find(vLines.begin(), vLines.end(), strLine) != vLines.end();
}
} // namespace

TEST(ExplainReport, ExitStatusIsWhatVexdepcheckReturns)
{
    EXPECT_EQ(CExplainReport::ExitStatus(CDeviceInfo::eDependencyTypeHard, true, 2), 1);
    EXPECT_EQ(CExplainReport::ExitStatus(CDeviceInfo::eDependencyTypeSoft, true, 1), 2);
    EXPECT_EQ(CExplainReport::ExitStatus(CDeviceInfo::eDependencyTypeHard, true, 0), 255);
    EXPECT_EQ(CExplainReport::ExitStatus(CDeviceInfo::eDependencyTypeSoft, false, 3), 255);
}

TEST(ExplainReport, MetUnmetAndFailedDependenciesOfOneRun)
{
    ExplainedRun run("met-unmet-failed");
    run.Run(CDeviceInfo::eDependencyTypeHard);
    const CExplainReport& report = run.report;

    ASSERT_EQ(report.Dependencies().size(), 4u);
    EXPECT_EQ(report.GetExitStatus(), 1);
    ASSERT_EQ(report.Reported().size(), 2u);
    EXPECT_EQ(report.Reported()[0].strDisplay, "Unmet A");
    EXPECT_FALSE(report.Reported()[0].bFailed);
    EXPECT_EQ(report.Reported()[1].strDisplay, "Failed B");
    EXPECT_TRUE(report.Reported()[1].bFailed);

    const SExplainedDependency& unmet = run.Dependency("Unmet A");
    EXPECT_EQ(unmet.strComponentID, "101");
    EXPECT_EQ(unmet.strComponentType, "FRMW");
    EXPECT_EQ(unmet.strReleaseID, "RA");
    EXPECT_EQ(unmet.strVersion, "2.0");
    EXPECT_EQ(unmet.eDeviceType, CDeviceInfo::eDeviceTypeNonPCI);
    EXPECT_EQ(unmet.strParentComponentID, "500");
    EXPECT_EQ(unmet.inventory.eLookup, SExplainedInventory::ELookup::Collected);
    EXPECT_EQ(unmet.inventory.eOutcome, SExplainedInventory::EOutcome::Ran);
    EXPECT_EQ(unmet.inventory.nRecords, 2u);
    EXPECT_EQ(unmet.inventory.strComponentPath, run.Directory() + "//RA");
    ASSERT_TRUE(unmet.contextApplies);
    EXPECT_TRUE(*unmet.contextApplies);
    EXPECT_EQ(unmet.strContext, "OS");
    ASSERT_TRUE(unmet.platform);
    EXPECT_FALSE(unmet.platform->bTablesRead);
    EXPECT_FALSE(unmet.platform->bChecked);
    ASSERT_TRUE(unmet.os);
    EXPECT_TRUE(unmet.os->vRequired.empty());
    EXPECT_EQ(unmet.os->running.strOSVendor, "Linux");
    ASSERT_TRUE(unmet.device);
    EXPECT_TRUE(unmet.device->bPresent);
    ASSERT_TRUE(unmet.device->matched);
    EXPECT_EQ(unmet.device->matched->strComponentID, "500");
    EXPECT_EQ(unmet.device->matched->strName, "Enclosure");
    ASSERT_TRUE(unmet.sameType);
    EXPECT_TRUE(*unmet.sameType);
    ASSERT_EQ(unmet.vComparisons.size(), 1u);
    EXPECT_EQ(unmet.vComparisons[0].strRequired, "2.0");
    EXPECT_EQ(unmet.vComparisons[0].strInstalled, "1.9");
    EXPECT_EQ(unmet.vComparisons[0].nResult, 1);
    EXPECT_EQ(unmet.vComparisons[0].installed.strComponentID, "101");
    ASSERT_TRUE(unmet.verdict);
    EXPECT_EQ(*unmet.verdict, EVerdict::Unmet);
    EXPECT_EQ(unmet.strCurrentVersion, "1.9");

    const SExplainedDependency& failed = run.Dependency("Failed B");
    EXPECT_EQ(failed.inventory.eOutcome, SExplainedInventory::EOutcome::Failed);
    EXPECT_EQ(failed.inventory.strErrorMessage, "collector could not reach the device");
    EXPECT_TRUE(failed.vComparisons.empty());
    EXPECT_EQ(*failed.verdict, EVerdict::Failed);
    EXPECT_EQ(failed.strErrorMessage, "collector could not reach the device");

    const SExplainedDependency& met = run.Dependency("Met C");
    ASSERT_EQ(met.vComparisons.size(), 1u);
    EXPECT_EQ(met.vComparisons[0].nResult, 0);
    EXPECT_EQ(*met.verdict, EVerdict::Met);

    // The soft dependency shares release RA but is not looked up for hard.
    const SExplainedDependency& soft = run.Dependency("Soft D");
    EXPECT_EQ(soft.inventory.eLookup, SExplainedInventory::ELookup::NotLookedUp);
    EXPECT_EQ(*soft.verdict, EVerdict::OtherType);
    ASSERT_TRUE(soft.sameType);
    EXPECT_FALSE(*soft.sameType);
    EXPECT_TRUE(soft.vComparisons.empty());
}

TEST(ExplainReport, ASecondDependencyOfAReleaseReusesItsInventory)
{
    ExplainedRun run("package-order");
    run.Run(CDeviceInfo::eDependencyTypeHard);
    const std::vector<SExplainedDependency>& vDependencies = run.report.Dependencies();
    ASSERT_EQ(vDependencies.size(), 3u);
    EXPECT_EQ(vDependencies[0].inventory.eLookup, SExplainedInventory::ELookup::Collected);
    EXPECT_EQ(vDependencies[1].inventory.eLookup, SExplainedInventory::ELookup::Reused);
    EXPECT_EQ(vDependencies[2].inventory.eLookup, SExplainedInventory::ELookup::Reused);
    EXPECT_EQ(vDependencies[2].inventory.nRecords, 3u);
    EXPECT_EQ(vDependencies[2].inventory.eOutcome, SExplainedInventory::EOutcome::Ran);
    EXPECT_EQ(vDependencies[2].inventory.strComponentPath, run.Directory() + "//R1");
    EXPECT_EQ(ReadFile(run.File("R1/runs.log")), "run\n");
}

TEST(ExplainReport, PlatformCheckWithTheSystemIdAndHowItWasObtained)
{
    const Scenario& scenario = FindScenario("platform-single-byte");
    ExplainedRun run(scenario);
    run.UseFirmware(scenario.firmware);
    run.Run(CDeviceInfo::eDependencyTypeHard);

    const SExplainedDependency& match = run.Dependency("For this platform");
    ASSERT_TRUE(match.platform);
    EXPECT_TRUE(match.platform->bTablesRead);
    EXPECT_TRUE(match.platform->bChecked);
    EXPECT_TRUE(match.platform->bApplies);
    EXPECT_EQ(match.platform->vPlatforms, (std::vector<std::string>{"0x0A", "0x0b"}));
    EXPECT_EQ(match.platform->strSystemID, "0x0b");
    EXPECT_EQ(match.platform->eSource, CSMBIOSInventory::eTableSourceSysfs);
    EXPECT_EQ(match.platform->eOrigin, CSMBIOSInventory::eSystemIdRevisionSingleByte);

    const SExplainedDependency& other = run.Dependency("For other platforms");
    EXPECT_FALSE(other.platform->bApplies);
    EXPECT_EQ(*other.verdict, EVerdict::PlatformNotApplicable);
    EXPECT_FALSE(other.os);

    const SExplainedDependency& every = run.Dependency("For every platform");
    EXPECT_TRUE(every.platform->bTablesRead);
    EXPECT_FALSE(every.platform->bChecked);

    EXPECT_TRUE(HasLine(run.report.ToText(),
                        "  platform           : 0x0B, 0x0c listed; this machine is 0x0b (from the revision structure "
                        "(type 208), single byte): does not apply"));
    EXPECT_TRUE(HasLine(run.report.ToText(), "  verdict            : not applicable on this platform"));
}

TEST(ExplainReport, OperatingSystemEntriesUpToTheFirstMatch)
{
    ExplainedRun run("operating-systems");
    run.Run(CDeviceInfo::eDependencyTypeHard);

    const SExplainedDependency& second = run.Dependency("Second matches");
    ASSERT_TRUE(second.os);
    EXPECT_EQ(second.os->vRequired.size(), 2u);
    EXPECT_EQ(second.os->nMatchedEntry, 1);
    EXPECT_TRUE(second.os->bApplies);

    const SExplainedDependency& other = run.Dependency("Other OS");
    EXPECT_EQ(other.os->nMatchedEntry, -1);
    EXPECT_FALSE(other.os->bApplies);
    EXPECT_EQ(*other.verdict, EVerdict::OSNotApplicable);

    const std::string strText = run.report.ToText();
    EXPECT_TRUE(HasLine(strText, "                       entry 1 vendor=Linux arch=x86_64 major=8 minor=8 spMajor=0 "
                                 "spMinor=0: no match"));
    EXPECT_TRUE(HasLine(strText, "                       entry 2 vendor=LINUX arch=x86_64 major=9 minor=2 spMajor=0 "
                                 "spMinor=0: matches: applies"));
    EXPECT_TRUE(HasLine(strText, "                       no entry matches: does not apply"));
}

// A device with thousands of PCI identities gives each of its records all
// of them: the explanation lists the first 16 and counts the rest.
TEST(ExplainReport, AParentWithManyPCIIdentitiesIsListedInPartAndCounted)
{
    std::vector<SPCIInfo> vParentPCI;
    for (int i = 0; i < 40; ++i)
    {
        vParentPCI.push_back(MakePCIIdentity(std::to_string(1000 + i), "0001", "1B4A", "1F0C"));
    }
    CDeviceInfo record;
    record.setDisplay("Many parents");
    record.setParentDeviceType(CDeviceInfo::eDeviceTypePCI);
    record.setParentPCIInfo(vParentPCI);
    CExplainReport report;
    report.OnDependenciesLoaded({&record}, CDeviceInfo::eDependencyTypeHard);

    ASSERT_EQ(report.Dependencies().size(), 1u);
    const SExplainedDependency& dependency = report.Dependencies()[0];
    EXPECT_EQ(dependency.nParentPCICount, 40u);
    ASSERT_EQ(dependency.vParentPCI.size(), 16u);
    EXPECT_EQ(dependency.vParentPCI[15].strDeviceID, "1015");

    const Json json = report.ToJson();
    const Json& parent = json["dependencies"][0]["parent"];
    EXPECT_EQ(parent["pci"].size(), 16u);
    EXPECT_EQ(parent["pci"][0]["deviceID"], "1000");
    EXPECT_EQ(parent["pciCount"], 40);
    const std::string strText = report.ToText();
    EXPECT_NE(strText.find("subDevice=0001 or 24 more identities\n"), std::string::npos) << strText;
    EXPECT_EQ(strText.find("device=1016"), std::string::npos);
}

TEST(ExplainReport, ParentDevicesAndPCIDependencies)
{
    ExplainedRun run("parent-devices");
    run.Run(CDeviceInfo::eDependencyTypeHard);

    const SExplainedDependency& absent = run.Dependency("Non-PCI parent absent");
    ASSERT_TRUE(absent.device);
    EXPECT_FALSE(absent.device->bPresent);
    EXPECT_FALSE(absent.device->matched);
    EXPECT_EQ(*absent.verdict, EVerdict::DeviceNotPresent);

    const SExplainedDependency& pciParent = run.Dependency("PCI parent present");
    EXPECT_EQ(pciParent.eParentDeviceType, CDeviceInfo::eDeviceTypePCI);
    ASSERT_EQ(pciParent.vParentPCI.size(), 1u);
    EXPECT_EQ(pciParent.vParentPCI[0].strDeviceID, "0010");
    ASSERT_TRUE(pciParent.device->matched);
    EXPECT_EQ(pciParent.device->matched->eDeviceType, CDeviceInfo::eDeviceTypePCI);
    EXPECT_EQ(pciParent.device->matched->pci.strVendorID, "1B4A");
    EXPECT_EQ(pciParent.device->matched->strName, "Controller");

    // One dependency element with two PCI identities: two records; the
    // second identity is not installed.
    std::vector<const SExplainedDependency*> vPCI;
    for (const SExplainedDependency& dependency : run.report.Dependencies())
    {
        if (dependency.strDisplay == "PCI dependency")
        {
            vPCI.push_back(&dependency);
        }
    }
    ASSERT_EQ(vPCI.size(), 2u);
    EXPECT_EQ(vPCI[0]->pci.strDeviceID, "00ff");
    EXPECT_EQ(*vPCI[0]->verdict, EVerdict::Unmet);
    EXPECT_EQ(vPCI[0]->vComparisons[0].installed.pci.strDeviceID, "0xFF");
    EXPECT_EQ(vPCI[1]->pci.strDeviceID, "0100");
    EXPECT_EQ(*vPCI[1]->verdict, EVerdict::NotInstalled);
    EXPECT_TRUE(vPCI[1]->vComparisons.empty());
}

TEST(ExplainReport, CollectorsThatNeverRanAndWhy)
{
    Scenario scenario = FindScenario("package-order");
    scenario.strName = "collector-reasons";
    scenario.mapFiles.clear();
    const std::string strInventory =
        "<SVMInventory><Device componentID=\"500\"><Application componentType=\"FRMW\" version=\"1\"/></Device>"
        "</SVMInventory>";
    scenario.mapFiles["inv.xml"] = strInventory;
    std::string strDependencies;
    for (const std::string strRelease : {"RMISSING", "RNOCONFIG", "RZERO", "RNOPLUGIN", "REMPTY"})
    {
        strDependencies += "<Dependency componentID=\"9\" componentType=\"FRMW\" version=\"2\" releaseID=\"" +
                           strRelease + "\"><Display>" + strRelease + "</Display></Dependency>";
    }
    scenario.mapFiles["package.xml"] = "<SoftwareComponent><SupportedDevices><Device componentID=\"500\">" +
                                       strDependencies + "</Device></SupportedDevices></SoftwareComponent>";
    scenario.mapFiles["RNOCONFIG/collect.sh"] = "#!/bin/sh\n";
    scenario.mapFiles["RZERO/PIEConfig.xml"] = PieConfig("collect.sh", "inventory.xml", "0");
    scenario.mapFiles["RNOPLUGIN/PIEConfig.xml"] = "<PIEConfig><Plugins/></PIEConfig>";
    scenario.mapFiles["REMPTY/PIEConfig.xml"] = PieConfig("collect.sh", "inventory.xml", "5");
    scenario.mapFiles["REMPTY/collect.sh"] = "#!/bin/sh\necho run > runs.log\n";
    ExplainedRun run(scenario);
    run.Run(CDeviceInfo::eDependencyTypeHard);

    const auto Reason = [&run](const std::string& strName) { return run.Dependency(strName).inventory.strReason; };
    const auto Outcome = [&run](const std::string& strName) { return run.Dependency(strName).inventory.eOutcome; };
    EXPECT_EQ(Outcome("RMISSING"), SExplainedInventory::EOutcome::NotRun);
    EXPECT_EQ(Reason("RMISSING"), "the release directory does not exist");
    EXPECT_EQ(Outcome("RNOCONFIG"), SExplainedInventory::EOutcome::NotRun);
    EXPECT_EQ(Reason("RNOCONFIG"), "PIEConfig.xml does not exist");
    EXPECT_EQ(Outcome("RZERO"), SExplainedInventory::EOutcome::NotRun);
    EXPECT_EQ(Reason("RZERO"), "the timeout 0 is below 1 second");
    EXPECT_EQ(Outcome("RNOPLUGIN"), SExplainedInventory::EOutcome::NotRun);
    EXPECT_NE(Reason("RNOPLUGIN").find("no usable inventory plug-in"), std::string::npos);
    // This one ran, but wrote no document.
    EXPECT_EQ(Outcome("REMPTY"), SExplainedInventory::EOutcome::Ran);
    EXPECT_EQ(Reason("REMPTY"), "its output document \"inventory.xml\" is missing or lists no device");
    EXPECT_EQ(ReadFile(run.File("REMPTY/runs.log")), "run\n");
    for (const SExplainedDependency& dependency : run.report.Dependencies())
    {
        EXPECT_EQ(*dependency.verdict, EVerdict::NotInstalled) << dependency.strDisplay;
    }
    EXPECT_EQ(run.report.GetExitStatus(), 255);
    EXPECT_TRUE(HasLine(run.report.ToText(), "  collector          : release \"RZERO\" in " + run.Directory() +
                                                 "//RZERO: never ran: the timeout 0 is below 1 second"));
}

TEST(ExplainReport, ACollectorEndedAtItsLimitIsTimedOut)
{
    ExplainedRun run("collector-timeout");
    ASSERT_TRUE(CCollectorTimeLimit::Parse("config", run.timeLimit));
    run.Run(CDeviceInfo::eDependencyTypeHard);
    const SExplainedDependency& slow = run.Dependency("Slow");
    EXPECT_EQ(slow.inventory.eOutcome, SExplainedInventory::EOutcome::TimedOut);
    EXPECT_EQ(slow.inventory.strErrorMessage, "Inventory collector timed out after 1 seconds");
    EXPECT_EQ(*slow.verdict, EVerdict::Failed);
    ASSERT_TRUE(slow.inventory.collector);
    EXPECT_TRUE(slow.inventory.collector->bTimedOut);
    EXPECT_EQ(slow.inventory.collector->nLimitSeconds, 1);
    EXPECT_FALSE(slow.inventory.collector->ExceededDeclaredLimit());
    const Json json = run.report.ToJson();
    EXPECT_EQ(json["dependencies"][0]["inventory"]["outcome"], "timed-out");
    EXPECT_EQ(json["dependencies"][0]["inventory"]["collector"]["timedOut"], true);
    EXPECT_EQ(json["dependencies"][0]["inventory"]["collector"]["enforcedLimitSeconds"], 1);
    EXPECT_EQ(json["collectorTimeLimit"]["setting"], "config");
    EXPECT_TRUE(
        HasLine(run.report.ToText(), "Collector limit    : config: each collector is ended at the limit it declares"));
}

TEST(ExplainReport, ACollectorSlowerThanItsDeclaredLimitIsWaitedForAndWarnedAbout)
{
    ExplainedRun run("collector-slower-than-its-limit");
    run.Run(CDeviceInfo::eDependencyTypeHard);
    const SExplainedDependency& slow = run.Dependency("Slow");
    EXPECT_EQ(slow.inventory.eOutcome, SExplainedInventory::EOutcome::Ran);
    EXPECT_EQ(*slow.verdict, EVerdict::Unmet);
    ASSERT_TRUE(slow.inventory.collector);
    const SExplainedCollector& collector = *slow.inventory.collector;
    EXPECT_GE(collector.dSeconds, 1.9);
    EXPECT_EQ(collector.nDeclaredSeconds, 1);
    EXPECT_EQ(collector.nLimitSeconds, 0);
    EXPECT_TRUE(collector.ExceededDeclaredLimit());
    const std::string strText = run.report.ToText();
    EXPECT_NE(strText.find("  warning            : took "), std::string::npos) << strText;
    EXPECT_NE(strText.find(" s, declares 1 s: a checker with the time-limit guard on would report it Failed\n"),
              std::string::npos)
        << strText;
    EXPECT_TRUE(HasLine(strText, "Collector limit    : none: collectors are waited for until they end"));
    const Json json = run.report.ToJson();
    const Json& collectorJson = json["dependencies"][0]["inventory"]["collector"];
    EXPECT_EQ(collectorJson["exceededDeclaredTimeout"], true);
    EXPECT_EQ(collectorJson["declaredTimeoutSeconds"], 1);
    EXPECT_TRUE(collectorJson["enforcedLimitSeconds"].is_null());
    EXPECT_EQ(collectorJson["exitStatus"], 0);
    EXPECT_EQ(json["collectorTimeLimit"]["setting"], "none");
}

TEST(ExplainReport, CollectorWarningNamesBothTimes)
{
    SExplainedCollector collector;
    collector.nDeclaredSeconds = 60;
    collector.dSeconds = 94.2;
    EXPECT_EQ(collector.Warning(), "took 94.2 s, declares 60 s: a checker with the time-limit guard on would report it "
                                   "Failed");
    collector.dSeconds = 59.9;
    EXPECT_FALSE(collector.ExceededDeclaredLimit());
    EXPECT_EQ(collector.Warning(), "");
    collector.dSeconds = 94.2;
    collector.bTimedOut = true;
    EXPECT_FALSE(collector.ExceededDeclaredLimit());
}

TEST(ExplainReport, NothingDeclared)
{
    ExplainedRun run("no-package-description");
    run.Run(CDeviceInfo::eDependencyTypeSoft);
    EXPECT_TRUE(run.report.Dependencies().empty());
    EXPECT_EQ(run.report.GetExitStatus(), 255);
    const std::string strText = run.report.ToText();
    EXPECT_TRUE(HasLine(strText, "Explanation of vexdepcheck soft"));
    EXPECT_TRUE(HasLine(strText, "Package description: package.xml not found: nothing is declared"));
    EXPECT_TRUE(HasLine(strText, "Reported           : nothing"));
    EXPECT_TRUE(HasLine(strText, "Exit status        : 255"));
}

TEST(ExplainReport, TextOfOneDependency)
{
    ExplainedRun run("version-rules");
    run.Run(CDeviceInfo::eDependencyTypeHard);
    const std::string strText = run.report.ToText();
    const std::string strBlock =
        "Dependency 2 of 3: Nine\n"
        "  identity           : component \"952\", type \"FRMW\", release \"R1\", hard, non-PCI\n"
        "  required version   : \"9\"\n"
        "  parent device      : component \"500\" (non-PCI)\n"
        "  collector          : reused what release \"R1\" collected: 5 records\n"
        "  collector run      : took 0.0 s, declares 30 s, waited without limit, exit status 0\n"
        "  context            : \"OS\": applies\n"
        "  platform           : no platform listed: check passed over\n"
        "  operating system   : no entry listed: applies on every OS\n"
        "  device             : found component \"500\" named \"Enclosure\"\n"
        "  type               : hard, as requested\n"
        "  version            : required \"9\", installed \"10a\" (component \"952\"), compared as text: installed "
        "is older\n"
        "  verdict            : reported unmet, current version \"10a\"\n";
    EXPECT_NE(strText.find(strBlock), std::string::npos) << strText;

    // Several installed instances: one line each.
    EXPECT_NE(strText.find("  version            : required \"2.0\", installed \"1.5\" (component \"953\"), compared "
                           "as numbers: installed is older\n"
                           "                       required \"2.0\", installed \"2.5\" (component \"953\"), compared "
                           "as numbers: installed is newer\n"
                           "                       required \"2.0\", installed \"1.8\" (component \"953\"), compared "
                           "as numbers: installed is older\n"),
              std::string::npos)
        << strText;
    EXPECT_TRUE(HasLine(strText, "Reported           : \"Letters\" (unmet), \"Nine\" (unmet), \"Several\" (unmet)"));
    EXPECT_TRUE(HasLine(strText, "Exit status        : 1"));
}

TEST(ExplainReport, JsonFieldByField)
{
    ExplainedRun run("met-unmet-failed");
    run.Run(CDeviceInfo::eDependencyTypeHard);
    const Json json = Json::parse(run.report.ToJson().dump());
    EXPECT_EQ(JsonSchemaErrors("explain", run.report.ToJson().dump()), "");

    EXPECT_EQ(json.begin().key(), "schemaVersion");
    EXPECT_EQ(json["schemaVersion"], 2);
    EXPECT_EQ(json["command"], "explain");
    EXPECT_EQ(json["requested"], "hard");
    EXPECT_EQ(json["packageDirectory"], run.Directory());
    EXPECT_EQ(json["packageDescriptionFound"], true);
    EXPECT_EQ(json["inventoryText"]["present"], true);
    EXPECT_EQ(json["inventoryText"]["devices"], 2);
    EXPECT_EQ(json["smbios"]["tableRead"], false);
    EXPECT_EQ(json["exitStatus"], 1);
    ASSERT_EQ(json["reported"].size(), 2u);
    EXPECT_EQ(json["reported"][0]["display"], "Unmet A");
    EXPECT_EQ(json["reported"][0]["state"], "unmet");
    EXPECT_EQ(json["reported"][1]["display"], "Failed B");
    EXPECT_EQ(json["reported"][1]["state"], "failed");

    ASSERT_EQ(json["dependencies"].size(), 4u);
    const Json& unmet = json["dependencies"][0];
    EXPECT_EQ(unmet["index"], 1);
    EXPECT_EQ(unmet["display"], "Unmet A");
    EXPECT_EQ(unmet["componentID"], "101");
    EXPECT_EQ(unmet["componentType"], "FRMW");
    EXPECT_EQ(unmet["releaseID"], "RA");
    EXPECT_EQ(unmet["requiredVersion"], "2.0");
    EXPECT_EQ(unmet["dependencyType"], "hard");
    EXPECT_EQ(unmet["deviceType"], "non-pci");
    EXPECT_TRUE(unmet["pci"].is_null());
    EXPECT_EQ(unmet["parent"]["deviceType"], "non-pci");
    EXPECT_EQ(unmet["parent"]["componentID"], "500");
    EXPECT_TRUE(unmet["parent"]["pci"].empty());
    EXPECT_EQ(unmet["parent"]["pciCount"], 0);
    EXPECT_EQ(unmet["inventory"]["lookup"], "collected");
    EXPECT_EQ(unmet["inventory"]["outcome"], "ran");
    EXPECT_EQ(unmet["inventory"]["records"], 2);
    EXPECT_EQ(unmet["inventory"]["releaseDirectory"], run.Directory() + "//RA");
    EXPECT_TRUE(unmet["inventory"]["errorMessage"].is_null());
    EXPECT_EQ(unmet["checks"]["context"]["value"], "OS");
    EXPECT_EQ(unmet["checks"]["context"]["applies"], true);
    EXPECT_EQ(unmet["checks"]["platform"]["checked"], false);
    EXPECT_EQ(unmet["checks"]["platform"]["tablesRead"], false);
    EXPECT_TRUE(unmet["checks"]["platform"]["systemID"].is_null());
    EXPECT_EQ(unmet["checks"]["os"]["entries"].size(), 0u);
    EXPECT_TRUE(unmet["checks"]["os"]["matchedEntry"].is_null());
    EXPECT_EQ(unmet["checks"]["os"]["running"]["osVendor"], "Linux");
    EXPECT_EQ(unmet["checks"]["device"]["present"], true);
    EXPECT_EQ(unmet["checks"]["device"]["matched"]["componentID"], "500");
    EXPECT_EQ(unmet["checks"]["type"]["requested"], "hard");
    EXPECT_EQ(unmet["checks"]["type"]["same"], true);
    ASSERT_EQ(unmet["versionComparisons"].size(), 1u);
    EXPECT_EQ(unmet["versionComparisons"][0]["required"], "2.0");
    EXPECT_EQ(unmet["versionComparisons"][0]["installed"], "1.9");
    EXPECT_EQ(unmet["versionComparisons"][0]["result"], 1);
    EXPECT_EQ(unmet["versionComparisons"][0]["comparedAs"], "numbers");
    EXPECT_EQ(unmet["versionComparisons"][0]["meaning"], "installed is older");
    EXPECT_EQ(unmet["versionComparisons"][0]["installedDevice"]["componentID"], "101");
    EXPECT_EQ(unmet["verdict"], "reported-unmet");
    EXPECT_TRUE(unmet["reason"].is_null());
    EXPECT_EQ(unmet["currentVersion"], "1.9");
    EXPECT_TRUE(unmet["errorMessage"].is_null());
    // The download path as the report prints it: backslashes become slashes behind the base address.
    EXPECT_EQ(unmet["downloadPath"], ExpandBase("{BASE}A/a.bin"));
    // A dependency without a Detail element has none.
    EXPECT_TRUE(unmet["detail"].is_null());

    const Json& failed = json["dependencies"][1];
    EXPECT_EQ(failed["inventory"]["outcome"], "failed");
    EXPECT_EQ(failed["inventory"]["errorMessage"], "collector could not reach the device");
    EXPECT_EQ(failed["verdict"], "reported-failed");
    EXPECT_EQ(failed["errorMessage"], "collector could not reach the device");
    EXPECT_TRUE(failed["currentVersion"].is_null());
    EXPECT_EQ(failed["downloadPath"], ExpandBase("{BASE}B/b.bin"));

    const Json& soft = json["dependencies"][3];
    EXPECT_EQ(soft["dependencyType"], "soft");
    EXPECT_EQ(soft["inventory"]["lookup"], "not-looked-up");
    EXPECT_TRUE(soft["inventory"]["outcome"].is_null());
    EXPECT_EQ(soft["checks"]["type"]["same"], false);
    EXPECT_EQ(soft["verdict"], "other-type");
    // The package's Detail: why the soft dependency is recommended.
    EXPECT_EQ(soft["detail"], "needed for the new modes");
}

TEST(ExplainReport, JsonOfStepsNotReached)
{
    ExplainedRun run("contexts");
    run.Run(CDeviceInfo::eDependencyTypeHard);
    const Json json = run.report.ToJson();
    const Json& preOS = json["dependencies"][2];
    EXPECT_EQ(preOS["display"], "Pre-OS");
    EXPECT_EQ(preOS["checks"]["context"]["value"], "PREOS");
    EXPECT_EQ(preOS["checks"]["context"]["applies"], false);
    EXPECT_TRUE(preOS["checks"]["platform"].is_null());
    EXPECT_TRUE(preOS["checks"]["os"].is_null());
    EXPECT_TRUE(preOS["checks"]["device"].is_null());
    EXPECT_TRUE(preOS["checks"]["type"].is_null());
    EXPECT_EQ(preOS["verdict"], "not-applicable");
    EXPECT_EQ(preOS["reason"], "context");
    // The collector ran for release R1 all the same (every hard dependency is
    // looked up before the filters).
    EXPECT_EQ(preOS["inventory"]["lookup"], "reused");
}
