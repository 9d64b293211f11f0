// Runs the real checker executable in temporary package directories and
// compares standard output, standard error, exit status and the debug log.

#include "CheckerRun.h"
#include "Scenarios.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

using namespace vextest;

namespace
{
using RunCase = ScenarioRunRef;

std::string CaseName(const ::testing::TestParamInfo<RunCase>& info) { return ScenarioRunName(info.param); }

bool NeedsNamespace(const Scenario& scenario) { return scenario.firmware.eKind != Firmware::Kind::Host; }

CommandResult RunChecker(const Scenario& scenario, const std::string& strDir, const std::vector<std::string>& vArgs)
{
    std::vector<std::string> vCommand = {CheckerExecutable()};
    vCommand.insert(vCommand.end(), vArgs.begin(), vArgs.end());
    return RunInPackage(WithEnvironment(scenario, vCommand), strDir, scenario.firmware);
}

std::size_t CountOf(const std::vector<std::string>& vLines, const std::string& strLine)
{
    return static_cast<std::size_t>(std::count(vLines.begin(), vLines.end(), strLine));
}

std::ptrdiff_t IndexOf(const std::vector<std::string>& vLines, const std::string& strLine)
{
    auto it = std::find(vLines.begin(), vLines.end(), strLine);
    return it == vLines.end() ? -1 : it - vLines.begin();
}

class EndToEnd : public ::testing::TestWithParam<RunCase>
{
};

// A scenario written into a fresh directory, run with the firmware it names.
class ScenarioDir
{
public:
    explicit ScenarioDir(const std::string& strScenario) : m_scenario(FindScenario(strScenario))
    {
        WriteScenario(m_scenario, m_dir.Path());
    }
    void EnableLog() { WriteFile(m_dir.File("vexdebuglog"), ""); }
    CommandResult Run(const std::vector<std::string>& vArgs) { return RunChecker(m_scenario, m_dir.Path(), vArgs); }
    std::vector<std::string> Log() const { return ReadLogMessages(m_dir.File("baseutils.log")); }
    std::string File(const std::string& strName) const { return m_dir.File(strName); }
    const Scenario& Get() const { return m_scenario; }

private:
    const Scenario& m_scenario;
    TempDir m_dir;
};

#define SKIP_WITHOUT_NAMESPACE(scenario)                                                                               \
    if (NeedsNamespace(scenario) && !CanUseMountNamespace())                                                           \
    GTEST_SKIP() << "private mount namespaces (unshare) are refused here; the firmware cannot be controlled"
} // namespace

TEST_P(EndToEnd, ReportStandardErrorAndExitStatus)
{
    const Scenario& scenario = FindScenario(GetParam().strScenario);
    SKIP_WITHOUT_NAMESPACE(scenario);
    const ScenarioRun& run = scenario.vRuns[GetParam().nRun];
    TempDir dir;
    WriteScenario(scenario, dir.Path());
    const CommandResult result = RunChecker(scenario, dir.Path(), run.vArgs);
    EXPECT_EQ(result.strStdout, ExpandBase(run.strStdout));
    // The XML library's messages name the package directory "{PACKAGE}"
    // in the expected text.
    EXPECT_EQ(ReplaceAll(result.strStderr, RealPathOf(dir.Path()), "{PACKAGE}"), run.strStderr);
    EXPECT_EQ(result.nExitStatus, run.nExitStatus);
}

INSTANTIATE_TEST_SUITE_P(Catalogue, EndToEnd, ::testing::ValuesIn(CatalogueRuns()), CaseName);

TEST(EndToEndReport, PrintedReportStartsWithAnEmptyLineAndEndsWithABlankLine)
{
    ScenarioDir package("command-line");
    SKIP_WITHOUT_NAMESPACE(package.Get());
    const CommandResult result = package.Run({"hard"});
    ASSERT_EQ(result.nExitStatus, 1);
    ASSERT_GE(result.strStdout.size(), 3u);
    EXPECT_EQ(result.strStdout.front(), '\n');
    EXPECT_EQ(result.strStdout.substr(result.strStdout.size() - 3), "\n \n");
}

TEST(EndToEndCollectors, ACollectorSharedByThreeDependenciesRunsOnce)
{
    ScenarioDir package("package-order");
    SKIP_WITHOUT_NAMESPACE(package.Get());
    EXPECT_EQ(package.Run({"hard"}).nExitStatus, 1);
    EXPECT_EQ(ReadFile(package.File("R1/runs.log")), "run\n");
}

TEST(EndToEndCollectors, OnlyReleasesOfTheRequestedTypeAreCollected)
{
    ScenarioDir package("met-unmet-failed");
    SKIP_WITHOUT_NAMESPACE(package.Get());
    EXPECT_EQ(package.Run({"soft"}).nExitStatus, 2);
    EXPECT_EQ(ReadFile(package.File("RA/runs.log")), "run\n");
    EXPECT_FALSE(FileExists(package.File("RB/runs.log")));
    EXPECT_FALSE(FileExists(package.File("RC/runs.log")));
}

TEST(EndToEndCollectors, NoCollectorRunsWhenNoDependencyHasTheRequestedType)
{
    ScenarioDir package("soft-failed-twice");
    SKIP_WITHOUT_NAMESPACE(package.Get());
    const CommandResult result = package.Run({"hard"});
    EXPECT_EQ(result.nExitStatus, 255);
    EXPECT_EQ(result.strStdout, "");
    EXPECT_FALSE(FileExists(package.File("RF/runs.log")));
}

TEST(EndToEndLog, NoLogWithoutTheMarker)
{
    ScenarioDir package("met-unmet-failed");
    SKIP_WITHOUT_NAMESPACE(package.Get());
    package.Run({"hard"});
    EXPECT_FALSE(FileExists(package.File("baseutils.log")));
    EXPECT_FALSE(FileExists(package.File("dependency.log")));
    EXPECT_FALSE(FileExists(package.File("debug.log")));
}

TEST(EndToEndLog, NoArgumentLogsNothingEvenWithTheMarker)
{
    ScenarioDir package("command-line");
    SKIP_WITHOUT_NAMESPACE(package.Get());
    package.EnableLog();
    const CommandResult result = package.Run({});
    EXPECT_EQ(result.strStdout, "Invalid parameters");
    EXPECT_FALSE(FileExists(package.File("baseutils.log")));
    EXPECT_FALSE(FileExists(package.File("R1/runs.log")));
}

TEST(EndToEndLog, MarkerLogsToBaseutilsLogWithTheCheckerAfterThePackageReader)
{
    ScenarioDir package("met-unmet-failed");
    SKIP_WITHOUT_NAMESPACE(package.Get());
    WriteFile(package.File("baseutils.log"), "left from an earlier run\n");
    package.EnableLog();
    const CommandResult result = package.Run({"hard"});
    EXPECT_EQ(result.nExitStatus, 1);
    EXPECT_FALSE(FileExists(package.File("dependency.log")));
    const std::vector<std::string> vLog = package.Log();
    ASSERT_FALSE(vLog.empty());
    EXPECT_EQ(vLog.front(), "CSoftwareComponentInfo::CSoftwareComponentInfo() Entering Constructor Method");
    const std::ptrdiff_t nReaderDone = IndexOf(vLog, "CSoftwareComponentInfo::Init() Exiting");
    char* pszReal = realpath(package.File("").c_str(), nullptr);
    ASSERT_NE(pszReal, nullptr);
    const std::string strWorkingDirectory = std::string(pszReal) + "/";
    free(pszReal);
    const std::ptrdiff_t nPath =
        IndexOf(vLog, "CDependenciesChecker::CDependenciesChecker  Path: " + strWorkingDirectory);
    EXPECT_GE(nReaderDone, 0);
    EXPECT_GT(nPath, nReaderDone);
    EXPECT_EQ(CountOf(vLog, "left from an earlier run"), 0u);
}

TEST(EndToEndLog, SoftDependencyRunWithHardIsFilteredAndThenDroppedSilently)
{
    ScenarioDir package("soft-failed-twice");
    SKIP_WITHOUT_NAMESPACE(package.Get());
    package.EnableLog();
    EXPECT_EQ(package.Run({"hard"}).nExitStatus, 255);
    const std::vector<std::string> vLog = package.Log();
    EXPECT_EQ(CountOf(vLog, "CDependenciesChecker::GetInventoryInfo  Start"), 0u);
    EXPECT_EQ(CountOf(vLog, "CDependenciesChecker::GetDependentDevices  START"), 1u);
    EXPECT_EQ(CountOf(vLog, "CDependenciesChecker::GetDependentDevices  END"), 1u);
    EXPECT_EQ(CountOf(vLog, "CDependenciesChecker::GetDependentDevices: No OS node present under Dependency, hence "
                            "considering this dependency on the current OS"),
              2u);
    EXPECT_EQ(CountOf(vLog, "Device Check is successful i.e Dependency is applicable for the devices present on this "
                            "system "),
              2u);
    for (const std::string& strLine : vLog)
    {
        EXPECT_EQ(strLine.find("strReleaseIDDir"), std::string::npos) << strLine;
        EXPECT_EQ(strLine.find("HasDependeny"), std::string::npos) << strLine;
    }
    // The platform check ran, and the SMBIOS tables were released as each
    // dependency's turn ended.
    EXPECT_EQ(CountOf(vLog, "Entered FreeRawBIOSTable"), 2u);
    EXPECT_EQ(CountOf(vLog, "CDependenciesChecker::Process END"), 1u);
}

TEST(EndToEndLog, TheSecondOfTwoOSEntriesMatchesWithOneApplicableMessage)
{
    ScenarioDir package("operating-systems");
    SKIP_WITHOUT_NAMESPACE(package.Get());
    package.EnableLog();
    EXPECT_EQ(package.Run({"hard"}).nExitStatus, 1);
    const std::vector<std::string> vLog = package.Log();
    // Entries that match: 602, 603 (second entry), 604; not: 605, 606.
    EXPECT_EQ(CountOf(vLog, "CDependenciesChecker::GetDependentDevices: Dependency is applicable for the current OS"),
              3u);
    EXPECT_EQ(CountOf(vLog, "CDependenciesChecker::GetDependentDevices: The Current OS is not Found in Dependency OS "
                            "Node. Hence Skipping othe checks for this dependency"),
              2u);
    EXPECT_EQ(CountOf(vLog, "CDependenciesChecker::GetDependentDevices: No OS node present under Dependency, hence "
                            "considering this dependency on the current OS"),
              1u);
}

TEST(EndToEndLog, PlatformMessagesFollowTheSystemID)
{
    ScenarioDir package("platform-single-byte");
    SKIP_WITHOUT_NAMESPACE(package.Get());
    package.EnableLog();
    EXPECT_EQ(package.Run({"hard"}).nExitStatus, 1);
    const std::vector<std::string> vLog = package.Log();
    EXPECT_EQ(CountOf(vLog, "Platform Check is successful Considering Dependency on this Platfrom"), 1u);
    EXPECT_EQ(CountOf(vLog, "Platform Check is ussuccessful i.e Dependency is not applicable on this platform hence "
                            "skipping other checks"),
              1u);
    EXPECT_EQ(CountOf(vLog, "CDependenciesChecker::GetDependentDevices: Failed to get Platform info from SMBIOS or "
                            "Platfrom Info is not mentioned in Package.xml so skipping Platfrom Check "),
              1u);
}

TEST(EndToEndLog, UnreadableSMBIOSPassesOverThePlatformCheck)
{
    ScenarioDir package("platform-no-smbios");
    SKIP_WITHOUT_NAMESPACE(package.Get());
    package.EnableLog();
    EXPECT_EQ(package.Run({"hard"}).nExitStatus, 1);
    const std::vector<std::string> vLog = package.Log();
    EXPECT_EQ(CountOf(vLog, "CDependenciesChecker::GetDependentDevices: Failed to get Platform info from SMBIOS or "
                            "Platfrom Info is not mentioned in Package.xml so skipping Platfrom Check "),
              3u);
    EXPECT_EQ(CountOf(vLog, "Entered GetSystemID"), 0u);
}

namespace
{
// "Source: message" of every log line: the time stamp and the line number
// are left out, so that the whole sequence can be compared.
std::vector<std::string> SourcesAndMessages(const std::string& strLogPath, const std::string& strDirectory)
{
    std::vector<std::string> vLines;
    for (const std::string& strLine : ReadLogLines(strLogPath))
    {
        const std::string::size_type nNameEnd = strLine.find(':', 9);
        std::string strName = strLine.substr(9, nNameEnd - 9);
        strName.erase(0, strName.find_first_not_of(' '));
        std::string strEntry = strName + ": " + MessageOf(strLine);
        for (std::string::size_type nAt = strEntry.find(strDirectory); nAt != std::string::npos;
             nAt = strEntry.find(strDirectory, nAt))
        {
            strEntry.replace(nAt, strDirectory.size(), "{DIR}");
        }
        vLines.push_back(strEntry);
    }
    return vLines;
}
} // namespace

TEST(EndToEndLog, WholeLogOfASingleDependencyRun)
{
    if (!CanUseMountNamespace())
    {
        GTEST_SKIP() << "private mount namespaces (unshare) are refused here; the firmware cannot be controlled";
    }
    Scenario scenario;
    scenario.mapFiles["package.xml"] =
        "<SoftwareComponent vendorVersion=\"1.0\">\n  <SupportedDevices>\n    <Device componentID=\"500\">\n"
        "      <Dependency componentID=\"101\" componentType=\"FRMW\" version=\"2.0\" path=\"a\\b.bin\" "
        "releaseID=\"R1\">\n        <Display>Firmware A</Display>\n      </Dependency>\n    </Device>\n"
        "  </SupportedDevices>\n</SoftwareComponent>\n";
    const std::string strMachine =
        "<SVMInventory><Device componentID=\"500\"><Application componentType=\"FRMW\" version=\"1.0\"/>"
        "</Device></SVMInventory>";
    scenario.mapFiles["inv.xml"] = strMachine;
    AddRelease(scenario, "R1",
               "<SVMInventory><Device componentID=\"101\"><Application componentType=\"FRMW\" version=\"1.5\"/>"
               "</Device></SVMInventory>\n");
    TempDir dir;
    WriteScenario(scenario, dir.Path());
    WriteFile(dir.File("vexdebuglog"), "");
    char* pszReal = realpath(dir.Path().c_str(), nullptr);
    ASSERT_NE(pszReal, nullptr);
    const std::string strDir = pszReal;
    free(pszReal);

    const CommandResult result = RunInPackage({CheckerExecutable(), "hard"}, dir.Path(), Firmware::NoTables());
    ASSERT_EQ(result.nExitStatus, 1);

    const std::vector<std::string> vExpected = {
        "SoftwareComponentInfo: CSoftwareComponentInfo::CSoftwareComponentInfo() Entering Constructor Method",
        "SoftwareComponentInfo: CSoftwareComponentInfo::Init() Entering",
        "LinuxImpl: CLinuxImpl::IsFileExistsAbs() File name {DIR}/package.xml exist",
        "SoftwareComponentInfo: CSoftwareComponentInfo::Init() Exiting",
        "LinuxImpl: CLinuxImpl::IsFileExistsAbs() File name {DIR}/vexdebuglog exist",
        "DependenciesChecker: CDependenciesChecker::CDependenciesChecker  Path: {DIR}/",
        "DependenciesChecker: CDependenciesChecker::Process Start ",
        "SoftwareComponentInfo: CSoftwareComponentInfo::GetNodeSet() Entering",
        "SoftwareComponentInfo: CSoftwareComponentInfo::GetNodeSet() Exiting",
        "SoftwareComponentInfo: CSoftwareComponentInfo::getDependencyInfo() Entered Method",
        "SoftwareComponentInfo: CSoftwareComponentInfo::getDependencyInfo() Found HardDependency",
        "SoftwareComponentInfo: CSoftwareComponentInfo::getDependencyInfo() got the parent componentID info from "
        "package.xml",
        "SoftwareComponentInfo: CSoftwareComponentInfo::getDependencyInfo() failed to get the context info from "
        "package.xml for dependent device so setting Deafult as OS",
        "SoftwareComponentInfo: CSoftwareComponentInfo::getDependencyInfo() unable to get the Platform info from "
        "package.xml for dependent device",
        "SoftwareComponentInfo: CSoftwareComponentInfo::getDependencyInfo() unable to get the Platform info from "
        "package.xml for dependent device or Opernating System Information Is not mentioned in the Dependency Node",
        "SoftwareComponentInfo: CSoftwareComponentInfo::getDependencyInfo() Exiting",
        "DependenciesChecker: CDependenciesChecker::GetInventoryInfo  Start",
        "DependenciesChecker: CDependenciesChecker::GetInventoryInfo  strComponentPath ={DIR}///R1",
        "InventoryModule: CInventoryModule::CInventoryModule  module file path  {DIR}///R1",
        "InventoryModule: CInventoryModule::GetInventoryInfo Start   ",
        "InventoryModule: CInventoryModule::GetInventoryInfo PIE File Path =   {DIR}///R1/PIEConfig.xml",
        "PIEConfigInfo: CPIEConfigInfo::GetInventoryPluginInfo() Start",
        "PIEConfigInfo: CPIEConfigInfo::GetNodeSet() Start",
        "PIEConfigInfo: CPIEConfigInfo::GetNodeSet() END",
        "PIEConfigInfo: CPIEConfigInfo::GetInventoryCommandInfo() START",
        "PIEConfigInfo: CPIEConfigInfo::GetInventoryCommandInfo() END",
        "PIEConfigInfo: CPIEConfigInfo::GetInventoryPluginInfo() END",
        "PIEConfigInfo: CPIEConfigInfo::Init() GetInventoryPluginInfo success ",
        "InventoryModule: CInventoryModule::GetInvntoryXml Start",
        "InventoryModule: CInventoryModule::GetInvntoryXml strInventoryCmdFullPath = {DIR}///R1//collect.sh",
        "InventoryModule: CInventoryModule::GetInvntoryXml Path:{DIR}///R1//inventory.xml",
        "InventoryModule: CInventoryModule::GetInventoryInfo CDeviceInventoryInfo deviceInvInfo",
        "LinuxImpl: CLinuxImpl::IsFileExistsAbs() File name {DIR}///R1//inventory.xml exist",
        "InventoryModule: CInventoryModule::GetInventoryInfo deviceInvInfo.GetDeviceInfo Before",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetNodeSet() Start",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetNodeSet() END",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetNodeSet() Start",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetNodeSet() Empty nodeset",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetInventoryStatus() pXpathObj is NULL",
        "InventoryModule: CInventoryModule::GetInventoryInfo deviceInvInfo.GetDeviceInfo After",
        "InventoryModule: CInventoryModule::GetInventoryInfo END",
        "DeviceInventoryInfo: CDeviceInventoryInfo::~CDeviceInventoryInfo ",
        "InventoryModule: CInventoryModule::~CInventoryModule  ",
        "DependenciesChecker: CDependenciesChecker::GetInventoryInfo  END",
        "LinuxImpl: CLinuxImpl::IsFileExistsAbs() File name " + strMachine + " doesnt exist",
        "DeviceInventoryInfo: CDeviceInventoryInfo::CDeviceInventoryInfo() Document " + strMachine +
            "  parsing failed ",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetNodeSet() Start",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetNodeSet() END",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetNodeSet() Start",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetNodeSet() Empty nodeset",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetInventoryStatus() pXpathObj is NULL",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetNodeSet() Start",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetNodeSet() Empty nodeset",
        "DeviceInventoryInfo: CDeviceInventoryInfo::GetDeviceInfo() pXpathObj is NULL",
        "DependenciesChecker: CDependenciesChecker::GetDependentDevices  START",
        "LinuxImpl: CLinuxImpl::IsFileExistsAbs() File name {DIR}/vexdebuglog exist",
        "SMBIOSInventory: Entered FetchRawBIOSTable",
        "SMBIOSInventory: Entered FetchRawBIOSTableLinux",
        "SMBIOSInventory: Entered FetchRawBIOSTableLinuxFromDMI",
        "SMBIOSInventory: Entered ReadFileContents",
        "SMBIOSInventory: Exiting ReadFileContents",
        "SMBIOSInventory: Exiting FetchRawBIOSTableLinuxFromDMI",
        "SMBIOSInventory: Exiting FetchRawBIOSTableLinux",
        "SMBIOSInventory: Exiting FetchRawBIOSTable",
        "DependenciesChecker: CDependenciesChecker::GetDependentDevices: Failed to get Platform info from SMBIOS or "
        "Platfrom Info is not mentioned in Package.xml so skipping Platfrom Check ",
        "DependenciesChecker: CDependenciesChecker::GetDependentDevices: No OS node present under Dependency, hence "
        "considering this dependency on the current OS",
        "DependenciesChecker: CDependenciesChecker::doDeviceCheck   Entered",
        "DependenciesChecker: CDependenciesChecker::doDeviceCheck   Exit",
        "DependenciesChecker: Device Check is successful i.e Dependency is applicable for the devices present on "
        "this system ",
        "DependenciesChecker: CDependenciesChecker::GetDependentDevices  strReleaseIDDir = R1",
        "DependenciesChecker: CDependenciesChecker::HasDependeny  START",
        "DependenciesChecker: CDependenciesChecker::CompareVersions  nVer1 > nVer2",
        "DependenciesChecker: CDependenciesChecker::HasDependeny nCmpResult > 0",
        "DependenciesChecker: CDependenciesChecker::HasDependeny END",
        "DependenciesChecker: CDependenciesChecker::GetDependentDevices  HasDependeny = R1",
        "SMBIOSInventory: Entered FreeRawBIOSTable",
        "SMBIOSInventory: Exiting FreeRawBIOSTable",
        "DependenciesChecker: CDependenciesChecker::GetDependentDevices  END",
        "DeviceInventoryInfo: CDeviceInventoryInfo::~CDeviceInventoryInfo ",
        "DependenciesChecker: CDependenciesChecker::Process END",
        "DependenciesChecker: CDependenciesChecker::~CDependenciesChecker ",
    };
    EXPECT_EQ(SourcesAndMessages(dir.File("baseutils.log"), strDir), vExpected);
}
