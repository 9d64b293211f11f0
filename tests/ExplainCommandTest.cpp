// vexinspect explain run in-process: options, failures, the log, and that
// nothing but the collectors writes into the package directory. Each test
// runs in a process of its own (the command opens the process-wide logger).

#include "ExplainCommand.h"
#include "Scenarios.h"
#include "SmbiosBuilder.h"
#include "TestSupport.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

using namespace vextest;
using Json = nlohmann::json;

namespace
{
struct CommandOutput
{
    int nExitStatus = -1;
    std::string strOut;
    std::string strErr;
};

CommandOutput RunExplain(const SExplainOptions& options)
{
    std::ostringstream out;
    std::ostringstream err;
    CExplainCommand command(options);
    CommandOutput output;
    output.nExitStatus = command.Run(out, err);
    output.strOut = out.str();
    output.strErr = err.str();
    return output;
}

SExplainOptions Options(const std::string& strType, const std::string& strPackageDir, bool bJson = true)
{
    SExplainOptions options;
    options.strType = strType;
    options.strPackageDir = strPackageDir;
    options.bJson = bJson;
    return options;
}

// Every path below strDirectory, "/" after directories.
std::vector<std::string> Tree(const std::string& strDirectory)
{
    const CommandResult result =
        RunCommand({"/usr/bin/find", ".", "-mindepth", "1", "-printf", "%P%y\\n"}, strDirectory);
    std::vector<std::string> vEntries;
    std::istringstream iss(result.strStdout);
    for (std::string strLine; std::getline(iss, strLine);)
    {
        vEntries.push_back(strLine);
    }
    std::sort(vEntries.begin(), vEntries.end());
    return vEntries;
}

std::vector<std::string> Without(std::vector<std::string> vEntries, const std::vector<std::string>& vRemove)
{
    for (const std::string& strRemove : vRemove)
    {
        vEntries.erase(std::remove(vEntries.begin(), vEntries.end(), strRemove), vEntries.end());
    }
    return vEntries;
}
} // namespace

TEST(ExplainCommand, ATypeOtherThanHardOrSoftIsAUsageError)
{
    TempDir dir;
    const CommandOutput output = RunExplain(Options("HARD", dir.Path()));
    EXPECT_EQ(output.nExitStatus, CExplainCommand::nExitUsage);
    EXPECT_EQ(output.strErr, "vexinspect: invalid package type 'HARD': expected hard or soft\n"
                             "Try 'vexinspect explain --help' for more information.\n");
    EXPECT_TRUE(output.strOut.empty());
}

TEST(ExplainCommand, AMissingPackageDirectoryIsReported)
{
    TempDir dir;
    const std::string strStart = CurrentDirectory();
    const CommandOutput output = RunExplain(Options("hard", dir.File("absent")));
    EXPECT_EQ(output.nExitStatus, CExplainCommand::nExitUnusableInput);
    EXPECT_EQ(output.strErr, "vexinspect explain: cannot enter the package directory " + dir.File("absent") +
                                 ": No such file or directory\n");
    EXPECT_TRUE(output.strOut.empty());
    EXPECT_EQ(CurrentDirectory(), strStart);
}

TEST(ExplainCommand, AFileGivenAsPackageDirectoryIsReported)
{
    TempDir dir;
    WriteFile(dir.File("file"), "x");
    const std::string strStart = CurrentDirectory();
    const CommandOutput output = RunExplain(Options("hard", dir.File("file")));
    EXPECT_EQ(output.nExitStatus, CExplainCommand::nExitUnusableInput);
    EXPECT_EQ(output.strErr,
              "vexinspect explain: cannot enter the package directory " + dir.File("file") + ": Not a directory\n");
    EXPECT_TRUE(output.strOut.empty());
    EXPECT_EQ(CurrentDirectory(), strStart);
}

TEST(ExplainCommand, ALogFileThatCannotBeOpenedIsReported)
{
    TempDir dir;
    SExplainOptions options = Options("hard", dir.Path());
    options.strLogFile = dir.File("no/such/directory.log");
    const CommandOutput output = RunExplain(options);
    EXPECT_EQ(output.nExitStatus, CExplainCommand::nExitUnusableInput);
    EXPECT_EQ(output.strErr,
              "vexinspect explain: cannot open the log file " + options.strLogFile + ": No such file or directory\n");
}

TEST(ExplainCommand, AnUnusableDumpIsReported)
{
    TempDir dir;
    WriteFile(dir.File("bad.dump"), std::string(64, 'x'));
    SExplainOptions options = Options("hard", dir.Path());
    options.strSmbiosDump = dir.File("bad.dump");
    const CommandOutput output = RunExplain(options);
    EXPECT_EQ(output.nExitStatus, CExplainCommand::nExitUnusableInput);
    EXPECT_EQ(output.strErr, "vexinspect explain: " + dir.File("bad.dump") +
                                 ": no SMBIOS entry point (\"_SM_\", \"_SM3_\" or \"_DMI_\") at offset 0\n");
}

TEST(ExplainCommand, ExplainsInThePackageDirectoryAndReturnsFromIt)
{
    TempDir dir;
    WriteScenario(FindScenario("met-unmet-failed"), dir.Path());
    const std::string strStart = CurrentDirectory();
    const CommandOutput output = RunExplain(Options("hard", dir.Path()));
    ASSERT_EQ(output.nExitStatus, CExplainCommand::nExitExplained) << output.strErr;
    EXPECT_TRUE(output.strErr.empty()) << output.strErr;
    EXPECT_EQ(CurrentDirectory(), strStart);

    const Json json = Json::parse(output.strOut);
    EXPECT_EQ(JsonSchemaErrors("explain", output.strOut), "");
    EXPECT_EQ(json["packageDirectory"], dir.Path() + "/");
    EXPECT_EQ(json["exitStatus"], 1);
    EXPECT_EQ(json["reported"].size(), 2u);
    EXPECT_EQ(json["inventoryText"]["devices"], 2);
    EXPECT_EQ(json["inventoryText"]["runningOS"]["majorVersion"], "9");
    EXPECT_EQ(ReadFile(dir.File("RA/runs.log")), "run\n");
}

TEST(ExplainCommand, WithoutAPackageDirectoryTheCurrentOneIsExplained)
{
    TempDir dir;
    WriteScenario(FindScenario("command-line"), dir.Path());
    ScopedCwd cwd(dir.Path());
    const CommandOutput output = RunExplain(Options("soft", ""));
    ASSERT_EQ(output.nExitStatus, 0);
    const Json json = Json::parse(output.strOut);
    EXPECT_EQ(JsonSchemaErrors("explain", output.strOut), "");
    EXPECT_EQ(json["requested"], "soft");
    EXPECT_EQ(json["exitStatus"], 2);
    ASSERT_EQ(json["reported"].size(), 1u);
    EXPECT_EQ(json["reported"][0]["display"], "Soft Y");
}

TEST(ExplainCommand, NothingButTheCollectorsWritesIntoThePackageEvenWithTheDebugMarker)
{
    TempDir dir;
    WriteScenario(FindScenario("met-unmet-failed"), dir.Path());
    WriteFile(dir.File("vexdebuglog"), "");
    const std::vector<std::string> vBefore = Tree(dir.Path());
    const CommandOutput output = RunExplain(Options("hard", dir.Path(), false));
    ASSERT_EQ(output.nExitStatus, 0) << output.strErr;

    EXPECT_FALSE(FileExists(dir.File("baseutils.log")));
    EXPECT_FALSE(FileExists(dir.File("dependency.log")));
    // What the collectors wrote, and nothing else.
    const std::vector<std::string> vCollectorFiles = {"RA/inventory.xmlf", "RA/runs.logf",      "RB/inventory.xmlf",
                                                      "RB/runs.logf",      "RC/inventory.xmlf", "RC/runs.logf"};
    const std::vector<std::string> vAfter = Tree(dir.Path());
    EXPECT_EQ(Without(vAfter, vCollectorFiles), vBefore);
    for (const std::string& strFile : vCollectorFiles)
    {
        EXPECT_NE(std::find(vAfter.begin(), vAfter.end(), strFile), vAfter.end()) << strFile;
    }
}

TEST(ExplainCommand, TheNamedLogFileReceivesTheCheckersLines)
{
    TempDir dir;
    TempDir logs;
    WriteScenario(FindScenario("package-order"), dir.Path());
    WriteFile(dir.File("vexdebuglog"), "");
    SExplainOptions options = Options("hard", dir.Path());
    options.strLogFile = logs.File("explain.log");
    ASSERT_EQ(RunExplain(options).nExitStatus, 0);
    EXPECT_FALSE(FileExists(dir.File("baseutils.log")));
    const std::vector<std::string> vMessages = ReadLogMessages(logs.File("explain.log"));
    EXPECT_NE(std::find(vMessages.begin(), vMessages.end(), "CDependenciesChecker::Process Start "), vMessages.end());
    EXPECT_NE(
        std::find(vMessages.begin(), vMessages.end(), "CDependenciesChecker::GetDependentDevices  HasDependeny = R1"),
        vMessages.end());
}

TEST(ExplainCommand, ADumpDecidesThePlatformCheckAndStaysOutOfThePackage)
{
    const Scenario& scenario = FindScenario("platform-single-byte");
    TempDir dir;
    TempDir dumps;
    WriteScenario(scenario, dir.Path());
    // The scenario's machine, captured as a dump.
    const std::string strTable = scenario.firmware.strTable;
    WriteFile(dumps.File("server.dump"), SmbiosDumpImage2(strTable));
    const std::vector<std::string> vBefore = Tree(dir.Path());

    SExplainOptions options = Options("hard", dir.Path());
    options.strSmbiosDump = dumps.File("server.dump");
    const CommandOutput output = RunExplain(options);
    ASSERT_EQ(output.nExitStatus, 0) << output.strErr;
    const Json json = Json::parse(output.strOut);
    EXPECT_EQ(JsonSchemaErrors("explain", output.strOut), "");
    EXPECT_EQ(json["smbios"]["source"], "dump-file");
    EXPECT_EQ(json["smbios"]["dumpFile"], dumps.File("server.dump"));
    EXPECT_EQ(json["smbios"]["systemID"], "0x0b");
    ASSERT_EQ(json["reported"].size(), 2u);
    EXPECT_EQ(json["reported"][0]["display"], "For this platform");
    EXPECT_EQ(json["reported"][1]["display"], "For every platform");
    const Json& other = json["dependencies"][1];
    EXPECT_EQ(other["checks"]["platform"]["systemID"], "0x0b");
    EXPECT_EQ(other["checks"]["platform"]["systemIDOrigin"], "revision-single-byte");
    EXPECT_EQ(other["checks"]["platform"]["source"], "dump-file");
    EXPECT_EQ(other["verdict"], "not-applicable");
    EXPECT_EQ(other["reason"], "platform");

    EXPECT_EQ(Without(Tree(dir.Path()), {"R1/inventory.xmlf", "R1/runs.logf"}), vBefore);
    EXPECT_EQ(Tree(dumps.Path()), std::vector<std::string>{"server.dumpf"});
}
