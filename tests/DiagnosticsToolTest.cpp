// The vexinspect executable end to end: explain agrees with vexdepcheck on
// every package of the catalogue, smbios agrees with dmidecode on dumps,
// the human-readable forms match their goldens, and the command line.

#include "CheckerRun.h"
#include "DmidecodeComparison.h"
#include "ReportedDependencies.h"
#include "Scenarios.h"
#include "SmbiosBuilder.h"
#include "TestSupport.h"
#include "Version.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <regex>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>

using namespace vextest;
using Json = nlohmann::json;

namespace
{
const std::string kInspect = VEXDEP_INSPECT_EXECUTABLE;
const std::string kGoldens = VEXDEP_FIXTURES_DIR "/diagnostics";

using vextest::Lines;

std::string Replace(std::string strText, const std::string& strFrom, const std::string& strTo)
{
    for (std::string::size_type nAt = strText.find(strFrom); nAt != std::string::npos;
         nAt = strText.find(strFrom, nAt + strTo.size()))
    {
        strText.replace(nAt, strFrom.size(), strTo);
    }
    return strText;
}

using RunCase = ScenarioRunRef;

// The runs of the catalogue with a plain "hard" or "soft" argument.
std::vector<RunCase> PlainRuns() { return CatalogueRuns(true); }

std::string CaseName(const ::testing::TestParamInfo<RunCase>& info) { return ScenarioRunName(info.param); }

class ExplainAgrees : public ::testing::TestWithParam<RunCase>
{
};

#define SKIP_WITHOUT_NAMESPACE()                                                                                       \
    if (!CanUseMountNamespace())                                                                                       \
    GTEST_SKIP() << "private mount namespaces (unshare) are refused here; the firmware cannot be controlled"

// Every path below strDirectory with its type letter, sorted.
std::vector<std::string> Tree(const std::string& strDirectory)
{
    std::vector<std::string> vEntries =
        Lines(RunCommand({"/usr/bin/find", ".", "-mindepth", "1", "-printf", "%P%y\\n"}, strDirectory).strStdout);
    std::sort(vEntries.begin(), vEntries.end());
    return vEntries;
}

const std::vector<std::string> kOEMStrings = {"Brix System", "5[0000]", "14[1]", "OEM text with blanks"};

std::string IdentityTable(uint8_t nSystemId, uint16_t nTwoByteId = 0)
{
    return SmbiosTable({BiosInformationStructure("Brix", "2.19.1", "05/06/2025"),
                        SystemInformationStructure("Brix Computer", "Server R760 xs", "1.0", "7XK4Q93"),
                        OemStringsStructure(kOEMStrings), RevisionStructure(nSystemId, nTwoByteId),
                        SystemSlotStructure(0x3B, 0x08, 1, {"PCIe Slot 1"})});
}

// A dump of IdentityTable: dmidecode reads the identity it was built with,
// and vexinspect shows what dmidecode shows.
void ExpectIdentityAgreesWithDmidecode(const std::string& strDump)
{
    EXPECT_EQ(DmidecodeString(strDump, "system-manufacturer"), "Brix Computer");
    EXPECT_EQ(DmidecodeString(strDump, "system-product-name"), "Server R760 xs");
    EXPECT_EQ(DmidecodeOEMStrings(strDump), kOEMStrings);
    ExpectSmbiosAgreesWithDmidecode(kInspect, strDump);
}
} // namespace

// ===========================================================================
// explain agrees with vexdepcheck
// ===========================================================================

TEST_P(ExplainAgrees, OnTheReportedDependenciesAndTheExitStatus)
{
    SKIP_WITHOUT_NAMESPACE();
    const Scenario& scenario = FindScenario(GetParam().strScenario);
    const std::string strType = scenario.vRuns[GetParam().nRun].vArgs[0];
    TempDir dir;
    WriteScenario(scenario, dir.Path());

    const CommandResult checker =
        RunInPackage(WithEnvironment(scenario, {CheckerExecutable(), strType}), dir.Path(), scenario.firmware);
    const CommandResult explain = RunInPackage(WithEnvironment(scenario, {kInspect, "explain", strType, "--json"}),
                                               dir.Path(), scenario.firmware);
    ASSERT_EQ(explain.nExitStatus, 0) << explain.strStderr;
    // Failures are shown in the explanation, not on standard error.
    EXPECT_EQ(explain.strStderr, "");
    const Json json = Json::parse(explain.strStdout);
    EXPECT_EQ(JsonSchemaErrors("explain", explain.strStdout), "");

    EXPECT_EQ(json["exitStatus"], checker.nExitStatus);
    EXPECT_EQ(ReportedByExplain(json), ReportedByChecker(checker.strStdout)) << checker.strStdout;
    // And both are what the catalogue expects.
    EXPECT_EQ(checker.nExitStatus, scenario.vRuns[GetParam().nRun].nExitStatus);
    std::size_t nReportedVerdicts = 0;
    for (const Json& dependency : json["dependencies"])
    {
        const std::string strVerdict = dependency["verdict"];
        nReportedVerdicts += strVerdict == "reported-unmet" || strVerdict == "reported-failed" ? 1 : 0;
    }
    EXPECT_EQ(nReportedVerdicts, json["reported"].size());
}

INSTANTIATE_TEST_SUITE_P(Catalogue, ExplainAgrees, ::testing::ValuesIn(PlainRuns()), CaseName);

TEST(VexinspectExplain, TheCatalogueHasPlainRunsOfBothTypes)
{
    std::size_t nHard = 0;
    std::size_t nSoft = 0;
    for (const RunCase& runCase : PlainRuns())
    {
        const std::string& strType = FindScenario(runCase.strScenario).vRuns[runCase.nRun].vArgs[0];
        (strType == "hard" ? nHard : nSoft) += 1;
    }
    EXPECT_GE(nHard, 10u);
    EXPECT_GE(nSoft, 3u);
}

TEST(VexinspectExplain, TheExecutableWritesNothingButWhatTheCollectorsWrite)
{
    TempDir dir;
    WriteScenario(FindScenario("soft-failed-twice"), dir.Path());
    WriteFile(dir.File("vexdebuglog"), "");
    const std::vector<std::string> vBefore = Tree(dir.Path());
    const CommandResult explain = RunCommand({kInspect, "explain", "soft", "--package-dir", dir.Path()}, "/");
    ASSERT_EQ(explain.nExitStatus, 0) << explain.strStderr;
    std::vector<std::string> vAfter = Tree(dir.Path());
    for (const char* pszCollectorFile : {"RF/inventory.xmlf", "RF/runs.logf"})
    {
        auto it = std::find(vAfter.begin(), vAfter.end(), std::string(pszCollectorFile));
        ASSERT_NE(it, vAfter.end()) << pszCollectorFile;
        vAfter.erase(it);
    }
    EXPECT_EQ(vAfter, vBefore);
}

TEST(VexinspectExplain, ItsLogHoldsTheLinesOfVexdepcheckRunningTheSamePackage)
{
    // Both read this machine's own tables, whatever they are.
    for (const std::string strType : {"hard", "soft"})
    {
        SCOPED_TRACE(strType);
        TempDir checkerDir;
        TempDir inspectDir;
        TempDir logs;
        for (const TempDir* pDir : {&checkerDir, &inspectDir})
        {
            WriteScenario(FindScenario("met-unmet-failed"), pDir->Path());
        }
        WriteFile(checkerDir.File("vexdebuglog"), "");
        WriteFile(inspectDir.File("vexdebuglog"), "");
        RunCommand({CheckerExecutable(), strType}, checkerDir.Path());
        const CommandResult explain =
            RunCommand({kInspect, "explain", strType, "--log", logs.File("explain.log")}, inspectDir.Path());
        ASSERT_EQ(explain.nExitStatus, 0) << explain.strStderr;
        EXPECT_FALSE(FileExists(inspectDir.File("baseutils.log")));

        std::vector<std::string> vChecker = ReadLogLines(checkerDir.File("baseutils.log"));
        std::vector<std::string> vInspect = ReadLogLines(logs.File("explain.log"));
        ASSERT_FALSE(vChecker.empty());
        // The paths differ by the directory only.
        for (std::string& strLine : vInspect)
        {
            strLine = Replace(strLine, inspectDir.Path(), checkerDir.Path());
        }
        // One line more in front: the package reader's test for the marker,
        // which vexdepcheck's log, opened by that very test, cannot hold.
        ASSERT_GT(vInspect.size(), vChecker.size());
        EXPECT_NE(
            vInspect[0].find("CLinuxImpl::IsFileExistsAbs() File name " + checkerDir.Path() + "/vexdebuglog exist"),
            std::string::npos)
            << vInspect[0];
        const std::vector<std::string> vRun(vInspect.begin() + 1, vInspect.begin() + 1 + vChecker.size());
        EXPECT_EQ(vRun, vChecker);
    }
}

// ===========================================================================
// smbios and dumps
// ===========================================================================

TEST(VexinspectSmbios, AgreesWithDmidecodeOnADumpOfTheTestBuilder)
{
    ASSERT_TRUE(FileExists(kDmidecode)) << "dmidecode is missing: make deps installs it";
    TempDir dir;
    WriteFile(dir.File("table-2x.dump"), SmbiosDumpImage2(IdentityTable(0x0B), EntryPoint2Options(), 6));
    WriteFile(dir.File("table-3x.dump"), SmbiosDumpImage3(IdentityTable(0x0B)));
    {
        SCOPED_TRACE("2.x entry point");
        ExpectIdentityAgreesWithDmidecode(dir.File("table-2x.dump"));
    }
    {
        SCOPED_TRACE("3.x entry point");
        ExpectIdentityAgreesWithDmidecode(dir.File("table-3x.dump"));
    }
}

namespace
{
#define SKIP_WITHOUT_DMIDECODE()                                                                                       \
    if (!FileExists(kDmidecode))                                                                                       \
    GTEST_SKIP() << "dmidecode is not installed"

// vexinspect smbios shows the version of the dump as dmidecode does, in JSON
// and text, with dmidecode's note when dmidecode fixes the version up.
// strForm is what the dump was built to be (dmidecode's version) and bFixup
// whether it was built with version bytes dmidecode fixes up.
void ExpectEntryPointVersionAgreesWithDmidecode(const std::string& strDump, const std::string& strForm, bool bFixup)
{
    const DmidecodeReading dmidecode = ReadWithDmidecode(strDump);
    ASSERT_EQ(dmidecode.strVersion, strForm);
    ASSERT_EQ(dmidecode.strNote.empty(), !bFixup) << dmidecode.strNote;
    // The version and its note in JSON, and the system's version and UUID
    // (type 1), the UUID in dmidecode's byte order for the version it takes
    // the table for.
    ExpectSmbiosAgreesWithDmidecode(kInspect, strDump);

    const CommandResult text = RunCommand({kInspect, "smbios", "--from-dump", strDump}, "/");
    ASSERT_EQ(text.nExitStatus, 0) << text.strStderr;
    const std::vector<std::string> vLines = Lines(text.strStdout);
    ASSERT_FALSE(vLines.empty());
    EXPECT_EQ(vLines[0], "Source              : dump file " + strDump + ", entry point " + dmidecode.strVersion +
                             (bFixup ? "; " + dmidecode.strNote : ""));
}

template <uint8_t nMinor>
std::string DumpOf2xVersion()
{
    EntryPoint2Options options;
    options.nMinor = nMinor;
    return SmbiosDumpImage2(IdentityTable(0x0B), options, 6);
}

// A dump and the version dmidecode shows for it, fixed up or not.
struct VersionCase
{
    const char* pszName;
    std::string (*fnDump)();
    const char* pszForm;
    bool bFixup;
};

void PrintTo(const VersionCase& testCase, std::ostream* pStream) { *pStream << testCase.pszName; }

std::vector<VersionCase> VersionCases()
{
    return {
        {"A3xVersionWithItsDocRevision",
         [] {
             EntryPoint3Options options;
             options.nMinor = 1;
             options.nDocRevision = 1;
             return SmbiosDumpImage3(IdentityTable(0x0B), options);
         },
         "3.1.1", false},
        {"A2xVersion", DumpOf2xVersion<8>, "2.8", false},
        // Before 2.6 the UUID is taken in its byte order.
        {"A2xVersionBefore2_6", DumpOf2xVersion<5>, "2.5", false},
        // The 32-bit entry point versions dmidecode fixes up, each with its
        // note.
        {"TheFixupOf2_31", DumpOf2xVersion<31>, "2.3", true},
        {"TheFixupOf2_33", DumpOf2xVersion<33>, "2.3", true},
        {"TheFixupOf2_51", DumpOf2xVersion<51>, "2.6", true},
    };
}

class VexinspectSmbiosVersion : public ::testing::TestWithParam<VersionCase>
{
};
} // namespace

TEST_P(VexinspectSmbiosVersion, IsShownAsDmidecodeShowsIt)
{
    SKIP_WITHOUT_DMIDECODE();
    TempDir dir;
    WriteFile(dir.File("table.dump"), GetParam().fnDump());
    ExpectEntryPointVersionAgreesWithDmidecode(dir.File("table.dump"), GetParam().pszForm, GetParam().bFixup);
}

INSTANTIATE_TEST_SUITE_P(Dumps, VexinspectSmbiosVersion, ::testing::ValuesIn(VersionCases()), ParamName<VersionCase>);

namespace
{
// A name of letters, digits and '_' for a test.
std::string TestName(const std::string& strText)
{
    std::string strName;
    for (const char c : strText)
    {
        strName += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    }
    return strName;
}

// The firmware of the end-to-end scenarios (each distinct one once, named
// after its first scenario), and every dump under tests/fixtures (a file
// that begins with an entry point anchor), as the tables sysfs would
// present: its entry point and the table behind it at 0x20.
std::vector<SmbiosTableCase> TablesOfTheScenariosAndFixtures()
{
    std::vector<SmbiosTableCase> vCases;
    std::set<std::string> setSeen;
    for (const Scenario& scenario : EndToEndScenarios())
    {
        const Firmware& firmware = scenario.firmware;
        const std::string strKey = firmware.strEntryPoint + '\0' + firmware.strTable + '\0' + firmware.strMemory;
        if ((firmware.eKind == Firmware::Kind::Sysfs || firmware.eKind == Firmware::Kind::Memory) &&
            setSeen.insert(strKey).second)
        {
            vCases.push_back({"Scenario_" + TestName(scenario.strName), firmware});
        }
    }
    const CommandResult files = RunCommand({"/usr/bin/find", ".", "-type", "f"}, VEXDEP_FIXTURES_DIR);
    for (const std::string& strFile : Lines(files.strStdout))
    {
        const std::string strBytes = ReadFile(std::string(VEXDEP_FIXTURES_DIR "/") + strFile);
        if ((strBytes.compare(0, 4, "_SM_") == 0 || strBytes.compare(0, 5, "_SM3_") == 0) && strBytes.size() > 0x20)
        {
            vCases.push_back(
                {"Fixture_" + TestName(strFile), Firmware::FromSysfs(strBytes.substr(0, 0x20), strBytes.substr(0x20))});
        }
    }
    return vCases;
}

class VexinspectSmbiosTable : public ::testing::TestWithParam<SmbiosTableCase>
{
};
} // namespace

TEST_P(VexinspectSmbiosTable, IsShownAsDmidecodeShowsIt)
{
    ExpectFirmwareAgreesWithDmidecode(kInspect, GetParam().firmware);
}

INSTANTIATE_TEST_SUITE_P(ScenariosAndFixtures, VexinspectSmbiosTable,
                         ::testing::ValuesIn(TablesOfTheScenariosAndFixtures()), SmbiosTableCaseName);

TEST(VexinspectSmbios, ReadsADumpThatDmidecodeWrote)
{
    ASSERT_TRUE(FileExists(kDmidecode)) << "dmidecode is missing: make deps installs it";
    SKIP_WITHOUT_NAMESPACE();
    // dmidecode reads the private firmware of the namespace and dumps it.
    const std::string strTable = IdentityTable(0xFE, 0x0A1C);
    EntryPoint2Options options;
    options.nTableLength = static_cast<uint16_t>(strTable.size());
    options.nTableAddress = 0x7A6E1000;
    TempDir dir;
    const CommandResult dump = RunInPackage({kDmidecode, "--dump-bin", dir.File("captured.bin")}, dir.Path(),
                                            Firmware::FromSysfs(SmbiosEntryPoint2(options), strTable));
    ASSERT_EQ(dump.nExitStatus, 0) << dump.strStdout << dump.strStderr;
    ASSERT_TRUE(FileExists(dir.File("captured.bin")));

    ExpectIdentityAgreesWithDmidecode(dir.File("captured.bin"));
    const CommandResult inspect =
        RunCommand({kInspect, "smbios", "--from-dump", dir.File("captured.bin"), "--json"}, "/");
    const Json json = Json::parse(inspect.strStdout);
    EXPECT_EQ(JsonSchemaErrors("smbios", inspect.strStdout), "");
    EXPECT_EQ(json["systemID"], "0x0A1C");
    EXPECT_EQ(json["systemIDOrigin"], "revision-two-byte");

    // The same table read by vexinspect inside the namespace, as the machine's.
    const CommandResult machine = RunInPackage({kInspect, "smbios", "--json"}, dir.Path(),
                                               Firmware::FromSysfs(SmbiosEntryPoint2(options), strTable));
    ASSERT_EQ(machine.nExitStatus, 0) << machine.strStderr;
    const Json machineJson = Json::parse(machine.strStdout);
    EXPECT_EQ(JsonSchemaErrors("smbios", machine.strStdout), "");
    EXPECT_EQ(machineJson["source"], "sysfs");
    EXPECT_EQ(machineJson["systemID"], json["systemID"]);
    EXPECT_EQ(machineJson["oemStrings"], json["oemStrings"]);
    EXPECT_EQ(machineJson["structureCounts"], json["structureCounts"]);
}

TEST(VexinspectSmbios, APackageEvaluatedAgainstADumpAgreesWithTheCheckerOnThatMachine)
{
    SKIP_WITHOUT_NAMESPACE();
    for (const std::string strScenario : {"platform-single-byte", "platform-two-byte"})
    {
        SCOPED_TRACE(strScenario);
        const Scenario& scenario = FindScenario(strScenario);
        TempDir dir;
        TempDir dumps;
        WriteScenario(scenario, dir.Path());
        WriteFile(dumps.File("machine.dump"), SmbiosDumpImage2(scenario.firmware.strTable));

        const CommandResult checker = RunInPackage({CheckerExecutable(), "hard"}, dir.Path(), scenario.firmware);
        // On a machine without any SMBIOS table, with the dump instead.
        const CommandResult explain =
            RunInPackage({kInspect, "explain", "hard", "--json", "--smbios-dump", dumps.File("machine.dump")},
                         dir.Path(), Firmware::NoTables());
        ASSERT_EQ(explain.nExitStatus, 0) << explain.strStderr;
        const Json json = Json::parse(explain.strStdout);
        EXPECT_EQ(JsonSchemaErrors("explain", explain.strStdout), "");
        EXPECT_EQ(JsonSchemaErrors("explain", explain.strStdout), "");
        EXPECT_EQ(json["exitStatus"], checker.nExitStatus);
        EXPECT_EQ(ReportedByExplain(json), ReportedByChecker(checker.strStdout));
        EXPECT_EQ(json["smbios"]["source"], "dump-file");
    }
}

// ===========================================================================
// Goldens of the human-readable forms, and their JSON twins
// ===========================================================================

// The collectors' wall times of an explanation, which differ from run to
// run, written as "{SECONDS}" (as the goldens have them).
std::string WithoutTimings(const std::string& strText)
{
    static const std::regex reTook("took [0-9]+\\.[0-9] s");
    return std::regex_replace(strText, reTook, "took {SECONDS} s");
}

class VexinspectGolden : public ::testing::Test
{
protected:
    void SetUp() override
    {
        WriteScenario(FindScenario("sample-package"), m_package.Path());
        // A machine of the maker whose two-byte system ID is one of the
        // sample's platforms.
        WriteFile(m_dumps.File("r760.dump"), SmbiosDumpImage2(IdentityTable(0xFE, 0x0A1C), EntryPoint2Options(), 6));
    }

    std::string Expected(const std::string& strGolden) const
    {
        return Replace(Replace(ReadFile(kGoldens + "/" + strGolden), "{DIR}", m_package.Path() + "/"), "{DUMP}",
                       m_dumps.File("r760.dump"));
    }

    CommandResult Explain(const std::string& strType, bool bJson) const
    {
        std::vector<std::string> vArgs = {kInspect,
                                          "explain",
                                          strType,
                                          "--package-dir",
                                          m_package.Path(),
                                          "--smbios-dump",
                                          m_dumps.File("r760.dump")};
        if (bJson)
        {
            vArgs.push_back("--json");
        }
        return RunCommand(vArgs, "/");
    }

    TempDir m_package;
    TempDir m_dumps;
};

TEST_F(VexinspectGolden, ExplainHardText)
{
    const CommandResult result = Explain("hard", false);
    ASSERT_EQ(result.nExitStatus, 0) << result.strStderr;
    EXPECT_EQ(WithoutTimings(result.strStdout), Expected("explain-sample-hard.txt"));
}

TEST_F(VexinspectGolden, ExplainSoftText)
{
    const CommandResult result = Explain("soft", false);
    ASSERT_EQ(result.nExitStatus, 0) << result.strStderr;
    EXPECT_EQ(WithoutTimings(result.strStdout), Expected("explain-sample-soft.txt"));
}

TEST_F(VexinspectGolden, ExplainHardJson)
{
    const CommandResult result = Explain("hard", true);
    ASSERT_EQ(result.nExitStatus, 0) << result.strStderr;
    const Json json = Json::parse(result.strStdout);
    EXPECT_EQ(JsonSchemaErrors("explain", result.strStdout), "");
    EXPECT_EQ(json["command"], "explain");
    EXPECT_EQ(json["requested"], "hard");
    EXPECT_EQ(json["packageDirectory"], m_package.Path() + "/");
    EXPECT_EQ(json["inventoryText"]["devices"], 2);
    EXPECT_EQ(json["smbios"]["systemID"], "0x0A1C");
    EXPECT_EQ(json["smbios"]["dumpFile"], m_dumps.File("r760.dump"));
    ASSERT_EQ(json["dependencies"].size(), 9u);

    const Json& first = json["dependencies"][0];
    EXPECT_EQ(first["display"], "Storage Backplane Firmware");
    EXPECT_EQ(first["checks"]["platform"]["platforms"], Json({"0x0A1C", "0x0A1D"}));
    EXPECT_EQ(first["checks"]["platform"]["checked"], true);
    EXPECT_EQ(first["checks"]["platform"]["systemID"], "0x0A1C");
    EXPECT_EQ(first["checks"]["platform"]["systemIDOrigin"], "revision-two-byte");
    EXPECT_EQ(first["checks"]["platform"]["applies"], true);
    EXPECT_EQ(first["checks"]["os"]["matchedEntry"], 1);
    EXPECT_EQ(first["checks"]["os"]["entries"][1]["result"], "not-tested");
    EXPECT_EQ(first["checks"]["device"]["matched"]["deviceType"], "pci");
    EXPECT_EQ(first["checks"]["device"]["matched"]["pci"]["subDeviceID"], "1AE0");
    EXPECT_EQ(first["verdict"], "reported-unmet");
    EXPECT_EQ(first["currentVersion"], "3.10.0");

    const Json& second = json["dependencies"][5];
    EXPECT_EQ(second["deviceType"], "pci");
    EXPECT_EQ(second["pci"]["deviceID"], "1594");
    EXPECT_EQ(second["inventory"]["lookup"], "reused");
    EXPECT_EQ(second["verdict"], "not-installed");

    EXPECT_EQ(json["dependencies"][7]["reason"], "context");
    EXPECT_EQ(json["dependencies"][8]["reason"], "device");
    EXPECT_EQ(json["reported"], Json::parse(R"([{"display": "Storage Backplane Firmware", "state": "unmet"},
                                                {"display": "Network Adapter Firmware", "state": "unmet"}])"));
    EXPECT_EQ(json["exitStatus"], 1);
}

TEST_F(VexinspectGolden, SmbiosText)
{
    const CommandResult result = RunCommand({kInspect, "smbios", "--from-dump", m_dumps.File("r760.dump")}, "/");
    ASSERT_EQ(result.nExitStatus, 0) << result.strStderr;
    EXPECT_EQ(result.strStdout, Expected("smbios-r760.txt"));
}

TEST_F(VexinspectGolden, ExplainSaysWhenTheRevisionStructureIsTooShortForTheSystemId)
{
    // The maker's OEM strings, then a revision structure of formatted length
    // 4 whose empty string set ends the table.
    WriteFile(m_dumps.File("short.dump"),
              SmbiosDumpImage2(SmbiosTable({OemStringsStructure(kOEMStrings), SmbiosStructure(0xD0, "")}, false)));
    const CommandResult result = RunCommand(
        {kInspect, "explain", "hard", "--package-dir", m_package.Path(), "--smbios-dump", m_dumps.File("short.dump")},
        "/");
    ASSERT_EQ(result.nExitStatus, 0) << result.strStderr;
    const std::string strWhy = "none (revision structure (type 208) too short to hold a system ID (formatted length "
                               "4), and the table ends before the byte at offset 6: physical-memory fallback, which "
                               "gives none: empty ID)";
    EXPECT_NE(result.strStdout.find("\nSystem ID          : " + strWhy + "\n"), std::string::npos) << result.strStdout;
    // The platform step of a dependency with a platform list says the same.
    EXPECT_NE(result.strStdout.find("0x0A1C, 0x0A1D listed; this machine is " + strWhy + ": does not apply\n"),
              std::string::npos)
        << result.strStdout;
    EXPECT_EQ(result.strStdout.find("no revision structure"), std::string::npos) << result.strStdout;
}

TEST_F(VexinspectGolden, SmbiosJson)
{
    const CommandResult result =
        RunCommand({kInspect, "smbios", "--from-dump", m_dumps.File("r760.dump"), "--json"}, "/");
    ASSERT_EQ(result.nExitStatus, 0) << result.strStderr;
    const Json json = Json::parse(result.strStdout);
    EXPECT_EQ(result.strStdout.rfind("{\n  \"schemaVersion\": 1,\n", 0), 0u) << result.strStdout;
    EXPECT_EQ(JsonSchemaErrors("smbios", result.strStdout), "");
    EXPECT_EQ(json["command"], "smbios");
    EXPECT_EQ(json["tableRead"], true);
    EXPECT_EQ(json["source"], "dump-file");
    EXPECT_EQ(json["dumpFile"], m_dumps.File("r760.dump"));
    EXPECT_EQ(json["entryPointVersion"], "2.8");
    EXPECT_EQ(json["biosVendor"], "Brix");
    EXPECT_EQ(json["biosVersion"], "2.19.1");
    EXPECT_EQ(json["manufacturer"], "Brix Computer");
    EXPECT_EQ(json["productName"], "Server R760 xs");
    EXPECT_EQ(json["serialNumber"], "7XK4Q93");
    EXPECT_EQ(json["oemStrings"].get<std::vector<std::string>>(), kOEMStrings);
    EXPECT_EQ(json["structureCounts"], Json::parse(R"([{"type": 0, "count": 1}, {"type": 1, "count": 1},
                                                       {"type": 9, "count": 1}, {"type": 11, "count": 1},
                                                       {"type": 208, "count": 1}])"));
    EXPECT_EQ(json["systemID"], "0x0A1C");
    EXPECT_EQ(json["systemIDOrigin"], "revision-two-byte");
}

TEST(VexinspectLint, TextOfTheFixturePackage)
{
    const std::string strPackage = kGoldens + "/lint-package";
    const CommandResult result = RunCommand({kInspect, "lint", "--package-dir", strPackage}, "/");
    EXPECT_EQ(result.nExitStatus, 2) << result.strStderr;
    EXPECT_EQ(result.strStdout, ReadFile(kGoldens + "/lint-package.txt"));
}

TEST(VexinspectLint, JsonOfTheFixturePackage)
{
    const std::string strPackage = kGoldens + "/lint-package";
    const CommandResult result = RunCommand({kInspect, "lint", "--json"}, strPackage);
    EXPECT_EQ(result.nExitStatus, 2) << result.strStderr;
    const Json json = Json::parse(result.strStdout);
    EXPECT_EQ(JsonSchemaErrors("lint", result.strStdout), "");
    EXPECT_EQ(json["command"], "lint");
    EXPECT_EQ(json["packageDirectory"], ".");
    const std::vector<std::string> vText = Lines(ReadFile(kGoldens + "/lint-package.txt"));
    ASSERT_EQ(json["findings"].size() + 1, vText.size());
    for (std::size_t i = 0; i < json["findings"].size(); ++i)
    {
        const Json& finding = json["findings"][i];
        SCOPED_TRACE(finding.dump());
        const std::string strLine =
            finding["file"].get<std::string>() + ":" + std::to_string(finding["line"].get<long>()) + ": " +
            finding["severity"].get<std::string>() + ": " + finding["message"].get<std::string>() + " [" +
            finding["code"].get<std::string>() + "]";
        EXPECT_EQ(strLine, vText[i]);
    }
    EXPECT_EQ(json["exitStatus"], 2);
    EXPECT_EQ(json["errors"].get<int>() + json["warnings"].get<int>(), static_cast<int>(json["findings"].size()));
    EXPECT_GE(json["errors"].get<int>(), 1);
    EXPECT_GE(json["warnings"].get<int>(), 1);
}

TEST(VexinspectLint, ExitStatusZeroForACleanPackageAndOneForWarnings)
{
    TempDir dir;
    WriteScenario(FindScenario("package-order"), dir.Path());
    EXPECT_EQ(RunCommand({kInspect, "lint", "--package-dir", dir.Path()}, "/").nExitStatus, 0);
    // The sample package's pre-OS dependency never applies: a warning.
    const CommandResult sample =
        RunCommand({kInspect, "lint", "--package-dir", VEXDEP_SOURCE_DIR "/examples/package"}, "/");
    EXPECT_EQ(sample.nExitStatus, 1) << sample.strStdout;
}

TEST(VexinspectLint, FormatSarifOfTheFixturePackageAndTheJsonAliasExcludesIt)
{
    const std::string strPackage = kGoldens + "/lint-package";
    const CommandResult result = RunCommand({kInspect, "lint", "--format", "sarif"}, strPackage);
    EXPECT_EQ(result.nExitStatus, 2) << result.strStderr;
    const Json sarif = Json::parse(result.strStdout);
    EXPECT_EQ(sarif["version"], "2.1.0");
    const std::vector<std::string> vText = Lines(ReadFile(kGoldens + "/lint-package.txt"));
    ASSERT_EQ(sarif["runs"][0]["results"].size() + 1, vText.size());
    const std::string strRoot = sarif["runs"][0]["originalUriBaseIds"]["PACKAGEROOT"]["uri"];
    EXPECT_EQ(strRoot.rfind("file:///", 0), 0u) << strRoot;
    EXPECT_EQ(strRoot.back(), '/');

    EXPECT_EQ(RunCommand({kInspect, "lint", "--json", "--format", "sarif"}, strPackage).nExitStatus, 64);
    EXPECT_EQ(RunCommand({kInspect, "lint", "--format", "xml"}, strPackage).nExitStatus, 64);
}

// ===========================================================================
// The command line
// ===========================================================================

TEST(VexinspectCommandLine, VersionOfTheToolAndOfEverySubcommand)
{
    const std::string strVersion = std::string("vexinspect ") + VEXDEP_VERSION + "\n";
    for (const std::vector<std::string>& vArgs : std::vector<std::vector<std::string>>{
             {"--version"}, {"explain", "--version"}, {"smbios", "--version"}, {"lint", "--version"}})
    {
        std::vector<std::string> vCommand = {kInspect};
        vCommand.insert(vCommand.end(), vArgs.begin(), vArgs.end());
        const CommandResult result = RunCommand(vCommand, "/");
        EXPECT_EQ(result.nExitStatus, 0) << vArgs[0];
        EXPECT_EQ(result.strStdout, strVersion) << vArgs[0];
    }
    EXPECT_EQ(std::string(VEXDEP_VERSION), "1.0.0");
}

TEST(VexinspectCommandLine, HelpOfTheToolAndOfEverySubcommand)
{
    const CommandResult tool = RunCommand({kInspect, "--help"}, "/");
    EXPECT_EQ(tool.nExitStatus, 0);
    for (const std::string strSubcommand : {"explain", "smbios", "lint"})
    {
        EXPECT_NE(tool.strStdout.find("  " + strSubcommand + " "), std::string::npos) << strSubcommand;
    }
    const std::vector<std::pair<std::string, std::vector<std::string>>> vSubcommands = {
        {"explain", {"Usage: vexinspect explain [OPTIONS] type", "--package-dir", "--smbios-dump", "--log", "--json"}},
        {"smbios", {"Usage: vexinspect smbios [OPTIONS]", "--from-dump", "--log", "--json"}},
        {"lint", {"Usage: vexinspect lint [OPTIONS]", "--package-dir", "--json"}},
    };
    for (const auto& subcommand : vSubcommands)
    {
        const CommandResult result = RunCommand({kInspect, subcommand.first, "--help"}, "/");
        EXPECT_EQ(result.nExitStatus, 0) << subcommand.first;
        for (const std::string& strText : subcommand.second)
        {
            EXPECT_NE(result.strStdout.find(strText), std::string::npos) << subcommand.first << ": " << strText;
        }
    }
}

TEST(VexinspectCommandLine, UsageErrorsExitWith64)
{
    const std::vector<std::vector<std::string>> vBad = {
        {},
        {"frobnicate"},
        {"explain"},
        {"explain", "HARD"},
        {"explain", "hard", "--nope"},
        {"lint", "extra"},
        {"smbios", "--from-dump"},
    };
    for (const std::vector<std::string>& vArgs : vBad)
    {
        std::vector<std::string> vCommand = {kInspect};
        vCommand.insert(vCommand.end(), vArgs.begin(), vArgs.end());
        const CommandResult result = RunCommand(vCommand, "/");
        std::string strShown;
        for (const std::string& strArg : vArgs)
        {
            strShown += strArg + " ";
        }
        EXPECT_EQ(result.nExitStatus, 64) << strShown;
        EXPECT_TRUE(result.strStdout.empty()) << strShown;
        EXPECT_FALSE(result.strStderr.empty()) << strShown;
    }
}

TEST(VexinspectCommandLine, InputThatCannotBeUsedExitsWith66)
{
    TempDir dir;
    EXPECT_EQ(RunCommand({kInspect, "explain", "hard", "--package-dir", dir.File("absent")}, "/").nExitStatus, 66);
    EXPECT_EQ(RunCommand({kInspect, "smbios", "--from-dump", dir.File("absent")}, "/").nExitStatus, 66);
    EXPECT_EQ(RunCommand({kInspect, "lint", "--package-dir", dir.File("absent")}, "/").nExitStatus, 66);
}

namespace
{
CommandResult Inspect(const std::vector<std::string>& vArgs, const std::string& strDirectory = "/")
{
    std::vector<std::string> vCommand = {kInspect};
    vCommand.insert(vCommand.end(), vArgs.begin(), vArgs.end());
    return RunCommand(vCommand, strDirectory);
}

std::string Shown(const std::vector<std::string>& vArgs)
{
    std::string strShown = "vexinspect";
    for (const std::string& strArg : vArgs)
    {
        strShown += " " + strArg;
    }
    return strShown;
}
} // namespace

TEST(VexinspectCommandLine, AUsageErrorIsOneLineWithTheProgramNameAndThenWhereToGetHelp)
{
    const std::vector<std::vector<std::string>> vBad = {
        {},
        {"frobnicate"},
        {"--nope"},
        {"explain"},
        {"explain", "HARD"},
        {"explain", "hard", "--nope"},
        {"explain", "hard", "--collector-timeout"},
        {"explain", "hard", "--collector-timeout", "60s"},
        {"explain", "hard", "--smbios-dump", "a", "--from-dump", "b"},
        {"explain", "hard", "--json", "--format", "text"},
        {"lint", "extra"},
        {"lint", "--format", "xml"},
        {"smbios", "--from-dump"},
        {"smbios", "--smbios-dump"},
        {"smbios", "--format", "sarif"},
        {"--version", "lint"},
        {"lint", "--version", "--json"},
        {"plan"},
        {"plan", "hard", "--repository", "r", "--format", "sarif"},
        {"repo"},
        {"repo", "index"},
        {"repo", "check", "r", "--json", "--format", "sarif"},
        {"repo", "pack", "r"},
        {"repo", "index", "r", "--version"},
    };
    for (const std::vector<std::string>& vArgs : vBad)
    {
        SCOPED_TRACE(Shown(vArgs));
        const CommandResult result = Inspect(vArgs);
        EXPECT_EQ(result.nExitStatus, 64);
        EXPECT_EQ(result.strStdout, "");
        const std::vector<std::string> vLines = Lines(result.strStderr);
        ASSERT_EQ(vLines.size(), 2u) << result.strStderr;
        EXPECT_EQ(vLines[0].compare(0, 12, "vexinspect: "), 0) << vLines[0];
        // The last line points at the help that answers, as Linux tools do.
        const bool bSubcommand = !vArgs.empty() && (vArgs[0] == "explain" || vArgs[0] == "smbios" ||
                                                    vArgs[0] == "lint" || vArgs[0] == "plan" || vArgs[0] == "repo");
        // A subcommand of repo is named with it ("repo index").
        const bool bNested = bSubcommand && vArgs[0] == "repo" && vArgs.size() > 1;
        const std::string strCommand = bNested ? vArgs[0] + " " + vArgs[1] : bSubcommand ? vArgs[0] : "";
        const std::string strHelp = bSubcommand ? "vexinspect " + strCommand + " --help" : "vexinspect --help";
        EXPECT_EQ(vLines[1], "Try '" + strHelp + "' for more information.");
    }
}

TEST(VexinspectCommandLine, UsageErrorsSayWhatIsWrongAndWhatIsExpected)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> vCases = {
        {{}, "vexinspect: missing subcommand: expected explain, smbios, lint, repo or plan"},
        {{"frobnicate"}, "vexinspect: unknown subcommand 'frobnicate': expected explain, smbios, lint, repo or plan"},
        {{"frobnicate", "hard", "--json"},
         "vexinspect: unknown subcommand 'frobnicate': expected explain, smbios, lint, repo or plan"},
        {{"explain"}, "vexinspect: missing package type: expected hard or soft"},
        {{"explain", "HARD"}, "vexinspect: invalid package type 'HARD': expected hard or soft"},
        {{"explain", "hard", "--log"}, "vexinspect: option '--log' requires an argument"},
        {{"explain", "hard", "--nope"}, "vexinspect: unrecognized option '--nope'"},
        {{"lint", "extra"}, "vexinspect: unexpected argument 'extra'"},
        {{"--version", "lint"}, "vexinspect: option '--version' takes no other arguments"},
        {{"plan", "HARD", "--repository", "r"}, "vexinspect: invalid plan type 'HARD': expected hard, soft or both"},
        {{"repo", "index", "r", "--nope"}, "vexinspect: unrecognized option '--nope'"},
    };
    for (const auto& testCase : vCases)
    {
        SCOPED_TRACE(Shown(testCase.first));
        const std::vector<std::string> vLines = Lines(Inspect(testCase.first).strStderr);
        ASSERT_FALSE(vLines.empty());
        EXPECT_EQ(vLines[0], testCase.second);
    }
}

TEST(VexinspectCommandLine, FormatJsonIsAcceptedWhereverJsonIs)
{
    TempDir dir;
    WriteScenario(FindScenario("met-unmet-failed"), dir.Path());
    WriteFile(dir.File("server.dump"), SmbiosDumpImage2(IdentityTable(0x0B)));
    const std::vector<std::vector<std::string>> vCommands = {
        {"explain", "hard", "--smbios-dump", dir.File("server.dump")},
        {"smbios", "--from-dump", dir.File("server.dump")},
        {"lint"},
    };
    for (const std::vector<std::string>& vCommand : vCommands)
    {
        SCOPED_TRACE(Shown(vCommand));
        std::vector<std::string> vJson = vCommand;
        vJson.push_back("--json");
        std::vector<std::string> vFormat = vCommand;
        vFormat.insert(vFormat.end(), {"--format", "json"});
        const CommandResult json = Inspect(vJson, dir.Path());
        const CommandResult format = Inspect(vFormat, dir.Path());
        EXPECT_EQ(format.nExitStatus, json.nExitStatus) << format.strStderr;
        const Json fromJson = Json::parse(json.strStdout);
        const Json fromFormat = Json::parse(format.strStdout);
        EXPECT_EQ(fromFormat["command"], fromJson["command"]);
        EXPECT_EQ(fromFormat.size(), fromJson.size());
        // And --format text is the text.
        std::vector<std::string> vText = vCommand;
        vText.insert(vText.end(), {"--format", "text"});
        EXPECT_NE(Inspect(vText, dir.Path()).strStdout.compare(0, 1, "{"), 0);
    }
}

TEST(VexinspectCommandLine, BothDumpOptionNamesAreAcceptedByExplainAndSmbios)
{
    TempDir dir;
    TempDir package;
    WriteFile(dir.File("server.dump"), SmbiosDumpImage2(IdentityTable(0xFE, 0x0A1C)));
    for (const std::string strOption : {"--smbios-dump", "--from-dump"})
    {
        SCOPED_TRACE(strOption);
        const CommandResult smbios = Inspect({"smbios", strOption, dir.File("server.dump"), "--json"});
        ASSERT_EQ(smbios.nExitStatus, 0) << smbios.strStderr;
        const Json smbiosJson = Json::parse(smbios.strStdout);
        EXPECT_EQ(smbiosJson["source"], "dump-file");
        EXPECT_EQ(smbiosJson["dumpFile"], dir.File("server.dump"));
        EXPECT_EQ(smbiosJson["systemID"], "0x0A1C");

        const CommandResult explain =
            Inspect({"explain", "hard", "--package-dir", package.Path(), strOption, dir.File("server.dump"), "--json"});
        ASSERT_EQ(explain.nExitStatus, 0) << explain.strStderr;
        const Json explainJson = Json::parse(explain.strStdout);
        EXPECT_EQ(explainJson["smbios"]["source"], "dump-file");
        EXPECT_EQ(explainJson["smbios"]["dumpFile"], dir.File("server.dump"));
        EXPECT_EQ(explainJson["smbios"]["systemID"], "0x0A1C");
    }
    // Each help names the other spelling as the alias.
    EXPECT_NE(Inspect({"explain", "--help"}).strStdout.find("--smbios-dump,--from-dump"), std::string::npos);
    EXPECT_NE(Inspect({"explain", "--help"}).strStdout.find("(--from-dump is an alias)"), std::string::npos);
    EXPECT_NE(Inspect({"smbios", "--help"}).strStdout.find("--from-dump,--smbios-dump"), std::string::npos);
    EXPECT_NE(Inspect({"smbios", "--help"}).strStdout.find("(--smbios-dump is an alias)"), std::string::npos);
}

TEST(VexinspectCommandLine, ALogFileThatCannotBeOpenedIsNamedWithTheReason)
{
    TempDir dir;
    TempDir package;
    const std::vector<std::pair<std::string, std::string>> vCases = {
        {dir.File("missing/inspect.log"), "No such file or directory"},
        {dir.Path(), "Is a directory"},
    };
    for (const auto& logCase : vCases)
    {
        const std::vector<std::vector<std::string>> vRuns = {
            {"explain", "hard", "--package-dir", package.Path(), "--log", logCase.first},
            {"smbios", "--log", logCase.first}};
        for (const std::vector<std::string>& vArgs : vRuns)
        {
            SCOPED_TRACE(Shown(vArgs));
            const CommandResult result = Inspect(vArgs);
            EXPECT_EQ(result.nExitStatus, 66);
            EXPECT_EQ(result.strStdout, "");
            EXPECT_EQ(result.strStderr, "vexinspect " + vArgs[0] + ": cannot open the log file " + logCase.first +
                                            ": " + logCase.second + "\n");
        }
    }
}

TEST(VexinspectCommandLine, ALogFileInADirectoryWithoutWritePermissionIsReportedSo)
{
    if (geteuid() == 0)
    {
        GTEST_SKIP() << "run as root: every directory is writable";
    }
    TempDir dir;
    MakeDirectory(dir.File("locked"));
    ASSERT_EQ(chmod(dir.File("locked").c_str(), 0555), 0);
    const CommandResult result = Inspect({"smbios", "--log", dir.File("locked/inspect.log")});
    chmod(dir.File("locked").c_str(), 0755);
    EXPECT_EQ(result.nExitStatus, 66);
    EXPECT_EQ(result.strStderr, "vexinspect smbios: cannot open the log file " + dir.File("locked/inspect.log") +
                                    ": Permission denied\n");
}

TEST(VexinspectCommandLine, ADumpThatCannotBeReadIsNamedWithTheReason)
{
    TempDir dir;
    TempDir package;
    for (const std::string strSubcommand : {"explain", "smbios"})
    {
        for (const std::string strOption : {"--smbios-dump", "--from-dump"})
        {
            std::vector<std::string> vArgs = {strSubcommand};
            if (strSubcommand == "explain")
            {
                vArgs.insert(vArgs.end(), {"hard", "--package-dir", package.Path()});
            }
            vArgs.insert(vArgs.end(), {strOption, dir.File("absent.dump")});
            SCOPED_TRACE(Shown(vArgs));
            CommandResult result = Inspect(vArgs);
            EXPECT_EQ(result.nExitStatus, 66);
            EXPECT_EQ(result.strStderr, "vexinspect " + strSubcommand + ": cannot open " + dir.File("absent.dump") +
                                            ": No such file or directory\n");
            vArgs.back() = dir.Path();
            result = Inspect(vArgs);
            EXPECT_EQ(result.nExitStatus, 66);
            EXPECT_EQ(result.strStderr,
                      "vexinspect " + strSubcommand + ": cannot read " + dir.Path() + ": Is a directory\n");
        }
    }
}

TEST(VexinspectCommandLine, HelpListsTheExitStatusesAndAnExample)
{
    const std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> vHelps = {
        {{"--help"}, {"  64  the command line cannot be parsed", "  vexinspect explain hard --package-dir"}},
        {{"explain", "--help"},
         {"  0   the explanation was printed", "  64  usage error",
          "  66  the package directory, the dump or the log file cannot be used",
          "  with --exit-verdict: 0 ready, 1 blocked, 2 recommended, 3 unverifiable", "  vexinspect explain hard "}},
        {{"smbios", "--help"},
         {"  0   a table was read", "  1   no table could be read", "  64  usage error",
          "  66  the dump or the log file cannot be used", "  vexinspect smbios --from-dump "}},
        {{"lint", "--help"},
         {"  0   no finding", "  1   warnings only", "  2   at least one error", "  64  usage error",
          "  66  the package directory cannot be entered", "  vexinspect lint --package-dir "}},
    };
    for (const auto& help : vHelps)
    {
        SCOPED_TRACE(Shown(help.first));
        const CommandResult result = Inspect(help.first);
        EXPECT_EQ(result.nExitStatus, 0);
        const std::string::size_type nExit = result.strStdout.find("\nExit status:\n");
        const std::string::size_type nExample = result.strStdout.find("\nExample:\n");
        ASSERT_NE(nExit, std::string::npos) << result.strStdout;
        ASSERT_NE(nExample, std::string::npos) << result.strStdout;
        EXPECT_LT(nExit, nExample);
        for (const std::string& strText : help.second)
        {
            EXPECT_NE(result.strStdout.find(strText), std::string::npos) << strText;
        }
    }
}

// ===========================================================================
// The documentation
// ===========================================================================

namespace
{
// The ```json blocks of docs/diagnostics.md.
std::vector<Json> DocumentedJson()
{
    const std::vector<std::string> vLines = Lines(ReadFile(VEXDEP_SOURCE_DIR "/docs/diagnostics.md"));
    std::vector<Json> vBlocks;
    std::string strBlock;
    bool bInBlock = false;
    for (const std::string& strLine : vLines)
    {
        if (!bInBlock && strLine == "```json")
        {
            bInBlock = true;
            strBlock.clear();
        }
        else if (bInBlock && strLine == "```")
        {
            bInBlock = false;
            vBlocks.push_back(Json::parse(strBlock));
        }
        else if (bInBlock)
        {
            strBlock += strLine + "\n";
        }
    }
    return vBlocks;
}
} // namespace

TEST(VexinspectDocumentation, HasAJsonExampleOfEachCommandWithTheFieldsTheToolWrites)
{
    const std::vector<Json> vBlocks = DocumentedJson();
    ASSERT_EQ(vBlocks.size(), 3u);
    EXPECT_EQ(vBlocks[0]["command"], "explain");
    EXPECT_EQ(vBlocks[1]["command"], "smbios");
    EXPECT_EQ(vBlocks[2]["command"], "lint");

    // The examples have the keys of the tool's output, in its order.
    TempDir dir;
    WriteScenario(FindScenario("met-unmet-failed"), dir.Path());
    WriteFile(dir.File("server.dump"), SmbiosDumpImage2(IdentityTable(0x0B)));
    const Json explain = Json::parse(
        RunCommand({kInspect, "explain", "hard", "--json", "--smbios-dump", dir.File("server.dump")}, dir.Path())
            .strStdout);
    const Json smbios =
        Json::parse(RunCommand({kInspect, "smbios", "--json", "--from-dump", dir.File("server.dump")}, "/").strStdout);
    const Json lint = Json::parse(RunCommand({kInspect, "lint", "--json"}, kGoldens + "/lint-package").strStdout);
    const auto Keys = [](const Json& json) {
        std::set<std::string> setKeys;
        for (auto it = json.begin(); it != json.end(); ++it)
        {
            setKeys.insert(it.key());
        }
        return setKeys;
    };
    // The documented example is a valid document of its schema.
    EXPECT_EQ(JsonSchemaErrors("explain", vBlocks[0].dump()), "");
    EXPECT_EQ(Keys(vBlocks[0]), Keys(explain));
    EXPECT_EQ(Keys(vBlocks[0]["dependencies"][0]), Keys(explain["dependencies"][0]));
    EXPECT_EQ(Keys(vBlocks[0]["dependencies"][0]["inventory"]), Keys(explain["dependencies"][0]["inventory"]));
    EXPECT_EQ(Keys(vBlocks[0]["dependencies"][0]["checks"]), Keys(explain["dependencies"][0]["checks"]));
    EXPECT_EQ(Keys(vBlocks[0]["dependencies"][0]["checks"]["platform"]),
              Keys(explain["dependencies"][0]["checks"]["platform"]));
    EXPECT_EQ(Keys(vBlocks[0]["dependencies"][0]["versionComparisons"][0]),
              Keys(explain["dependencies"][0]["versionComparisons"][0]));
    EXPECT_EQ(JsonSchemaErrors("smbios", vBlocks[1].dump()), "");
    EXPECT_EQ(JsonSchemaErrors("smbios", smbios.dump()), "");
    EXPECT_EQ(Keys(vBlocks[1]), Keys(smbios));
    EXPECT_EQ(JsonSchemaErrors("lint", vBlocks[2].dump()), "");
    EXPECT_EQ(JsonSchemaErrors("lint", lint.dump()), "");
    EXPECT_EQ(Keys(vBlocks[2]), Keys(lint));
    EXPECT_EQ(Keys(vBlocks[2]["findings"][0]), Keys(lint["findings"][0]));
}

TEST(VexinspectDocumentation, TheSourceManualPagesRenderWithoutPlaceholdersAndDocumentExitVerdict)
{
    for (const char* pszPage : {"vexdepcheck", "vexinspect"})
    {
        const std::string strPath = std::string(VEXDEP_SOURCE_DIR "/docs/man/") + pszPage + ".8";
        const std::string strSource = ReadFile(strPath);
        EXPECT_FALSE(std::regex_search(strSource, std::regex("@[A-Z_]+@"))) << pszPage;
        if (!FileExists("/usr/bin/man"))
        {
            continue;
        }
        const CommandResult man = RunCommand({"/usr/bin/man", "--warnings", "-l", strPath}, "/");
        EXPECT_EQ(man.nExitStatus, 0) << man.strStderr;
        EXPECT_EQ(man.strStderr, "") << pszPage;
        EXPECT_EQ(man.strStdout.find('@'), std::string::npos) << pszPage;
    }
    const std::string strPage = ReadFile(VEXDEP_SOURCE_DIR "/docs/man/vexinspect.8");
    for (const char* pszText : {".B \\-\\-exit\\-verdict", "unverifiable", "docs/json/explain.schema.json",
                                "docs/json/smbios.schema.json", "docs/json/lint.schema.json", ".B 3\n"})
    {
        EXPECT_NE(strPage.find(pszText), std::string::npos) << pszText;
    }
}
