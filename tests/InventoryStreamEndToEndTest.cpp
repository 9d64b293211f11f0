// The real vexdepcheck executable and the descriptors of one run: "inv.xml"
// is opened before anything else and stays open until the check is over, so
// it takes the lowest free descriptor for the whole run; the debug log takes
// the next one. Which descriptors they take decides what the memory reads of
// the firmware get, where the report goes when standard output was closed,
// and what the collectors inherit. Every combination of standard input closed
// or open, standard output closed, "inv.xml" present or absent and the debug
// log marker present or absent is run with a firmware whose system ID only
// physical memory gives.

#include "CheckerRun.h"
#include "Scenarios.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

using namespace vextest;

namespace
{
// Appended to the collector of R1: the shell's open descriptors, one
// "N -> target" line each, in ../fds.txt. The listing command writes the
// file itself: a redirection would make the shell open it among the very
// descriptors listed.
const std::string kListDescriptors = "find /proc/$$/fd/ -mindepth 1 -fprintf ../fds.txt '%f -> %l\\n'\n";

struct Setting
{
    bool bInputClosed = false;
    bool bOutputClosed = false;
    bool bInventory = true;
    bool bMarker = false;
};

std::string Describe(const Setting& setting)
{
    std::ostringstream oss;
    oss << "standard input " << (setting.bInputClosed ? "closed" : "open") << ", standard output "
        << (setting.bOutputClosed ? "closed" : "open") << ", inv.xml " << (setting.bInventory ? "present" : "absent")
        << ", marker " << (setting.bMarker ? "present" : "absent");
    return oss.str();
}

struct Outcome
{
    CommandResult result;
    std::map<int, std::string> mapDescriptors; // what the collector's shell held
    std::string strLog;
    std::string strPackage; // the package directory, links resolved
};

// The descriptors 0 to 6 of a listing written by kListDescriptors: what each
// holds, "-" for a closed one; the package directory named "{PACKAGE}".
std::map<int, std::string> DescriptorsListed(const std::string& strListing, const std::string& strPackage)
{
    std::map<int, std::string> mapDescriptors;
    for (int n = 0; n <= 6; ++n)
    {
        mapDescriptors[n] = "-";
    }
    for (const std::string& strLine : Lines(FileExists(strListing) ? ReadFile(strListing) : ""))
    {
        const std::string::size_type nArrow = strLine.find(" -> ");
        if (nArrow == std::string::npos)
        {
            continue;
        }
        const int nFd = std::stoi(strLine.substr(0, nArrow));
        if (nFd <= 6)
        {
            mapDescriptors[nFd] = ReplaceAll(strLine.substr(nArrow + 4), strPackage, "{PACKAGE}");
        }
    }
    return mapDescriptors;
}

// Runs "vexdepcheck hard" on a fresh copy of the scenario with the setting.
Outcome RunWith(const std::string& strScenario, const Setting& setting)
{
    Scenario scenario = FindScenario(strScenario);
    scenario.mapFiles["R1/collect.sh"] += kListDescriptors;
    if (!setting.bInventory)
    {
        scenario.mapFiles.erase("inv.xml");
    }
    if (setting.bMarker)
    {
        scenario.mapFiles["vexdebuglog"] = "";
    }
    TempDir dir;
    WriteScenario(scenario, dir.Path());
    std::string strRedirections;
    strRedirections += setting.bInputClosed ? " <&-" : "";
    strRedirections += setting.bOutputClosed ? " >&-" : "";
    Outcome outcome;
    outcome.result = RunInPackage({"/bin/sh", "-c", "exec \"$0\" hard" + strRedirections, CheckerExecutable()},
                                  dir.Path(), scenario.firmware);
    outcome.strPackage = RealPathOf(dir.Path());
    outcome.mapDescriptors = DescriptorsListed(dir.File("fds.txt"), outcome.strPackage);
    outcome.strLog = FileExists(dir.File("baseutils.log")) ? ReadFile(dir.File("baseutils.log")) : "";
    return outcome;
}

#define SKIP_WITHOUT_NAMESPACE()                                                                                       \
    if (!CanUseMountNamespace())                                                                                       \
    GTEST_SKIP() << "private mount namespaces (unshare) are refused here; the firmware cannot be controlled"

const std::string kMemoryLine = "GetSystemIdFromMemory(): Found Two Byte system ID on the system: 0x07c1";
} // namespace

// The scenario: physical memory gives the ID 0x07c1; "Upper" lists 0x07C1
// (only a passed-over platform check lets it through), "Lower" lists 0x07c1
// (only a check that read the ID lets it through).
TEST(InventoryStream, WithStandardInputOpenTheCollectorsInheritTheInventoryAtThree)
{
    SKIP_WITHOUT_NAMESPACE();
    const Outcome outcome = RunWith("platform-memory", Setting{});
    EXPECT_EQ(outcome.result.nExitStatus, 1);
    EXPECT_EQ(outcome.result.strStdout, ExpandBase(FindScenario("platform-memory").vRuns[0].strStdout));
    EXPECT_EQ(outcome.mapDescriptors.at(3), "{PACKAGE}/inv.xml");
    EXPECT_EQ(outcome.mapDescriptors.at(4), "-");
}

// The inventory takes descriptor 0 for the whole run: every open of the
// memory device gets a positive descriptor and reads the system ID, so the
// report is that of a run with standard input open. A collector inherits the
// inventory as its standard input, at its end.
TEST(InventoryStream, WithStandardInputClosedTheInventoryTakesDescriptorZero)
{
    SKIP_WITHOUT_NAMESPACE();
    for (const bool bMarker : {false, true})
    {
        Setting setting;
        setting.bInputClosed = true;
        setting.bMarker = bMarker;
        const Outcome outcome = RunWith("platform-memory", setting);
        EXPECT_EQ(outcome.result.nExitStatus, 1) << Describe(setting);
        EXPECT_EQ(outcome.result.strStdout, ExpandBase(FindScenario("platform-memory").vRuns[0].strStdout))
            << Describe(setting);
        EXPECT_EQ(outcome.mapDescriptors.at(0), "{PACKAGE}/inv.xml") << Describe(setting);
        EXPECT_EQ(outcome.mapDescriptors.at(3), bMarker ? "{PACKAGE}/baseutils.log" : "-") << Describe(setting);
        if (bMarker)
        {
            EXPECT_NE(outcome.strLog.find(kMemoryLine), std::string::npos);
        }
    }
}

// The reproducer of the single-byte ID: physical memory gives 0x0B, the
// dependency lists 0x0C. With the inventory on descriptor 0 the ID is read
// and the dependency does not apply.
TEST(InventoryStream, WithStandardInputClosedASingleByteIDFromMemoryIsStillRead)
{
    SKIP_WITHOUT_NAMESPACE();
    Setting setting;
    setting.bInputClosed = true;
    const Outcome outcome = RunWith("platform-memory-single-byte", setting);
    EXPECT_EQ(outcome.result.nExitStatus, 255);
    EXPECT_EQ(outcome.result.strStdout, "");
}

// Without "inv.xml" but with the marker, the log takes descriptor 0 for the
// whole run: the memory reads get positive descriptors (the log shows the ID
// read), and the collectors inherit the log as their standard input.
TEST(InventoryStream, WithoutTheInventoryTheLogTakesDescriptorZero)
{
    SKIP_WITHOUT_NAMESPACE();
    Setting setting;
    setting.bInputClosed = true;
    setting.bInventory = false;
    setting.bMarker = true;
    const Outcome outcome = RunWith("platform-memory", setting);
    // Without "inv.xml" no device is present: nothing applies.
    EXPECT_EQ(outcome.result.nExitStatus, 255);
    EXPECT_EQ(outcome.result.strStdout, "");
    EXPECT_EQ(outcome.mapDescriptors.at(0), "{PACKAGE}/baseutils.log");
    EXPECT_EQ(outcome.mapDescriptors.at(3), "-");
    EXPECT_NE(outcome.strLog.find(kMemoryLine), std::string::npos);
}

// Without "inv.xml" and without the marker, descriptor 0 stays free until
// the first open of the memory device, which gets it: that open counts as a
// failure and the descriptor stays open, so every later open is positive.
TEST(InventoryStream, WithoutInventoryOrLogTheFirstMemoryOpenGetsZeroAndKeepsIt)
{
    SKIP_WITHOUT_NAMESPACE();
#ifdef VEXDEP_SANITIZED_BUILD
    GTEST_SKIP() << "the leak checker of the sanitizer build refuses to run under strace";
#endif
    if (RunCommand({"/bin/sh", "-c", "command -v strace"}, "/").nExitStatus != 0)
    {
        GTEST_SKIP() << "strace is not installed here";
    }
    Scenario scenario = FindScenario("platform-memory");
    scenario.mapFiles.erase("inv.xml");
    scenario.mapFiles["R1/collect.sh"] += kListDescriptors;
    TempDir dir;
    WriteScenario(scenario, dir.Path());
    const CommandResult result =
        RunInPackage({"/bin/sh", "-c", "exec strace -o \"$1\" -e trace=openat,close \"$0\" hard <&-",
                      CheckerExecutable(), dir.File("trace.txt")},
                     dir.Path(), scenario.firmware);
    if (result.strStderr.find("PTRACE") != std::string::npos || !FileExists(dir.File("trace.txt")))
    {
        GTEST_SKIP() << "strace is refused here: " << result.strStderr;
    }
    EXPECT_EQ(result.nExitStatus, 255);
    // The collector ran while descriptor 0 was free.
    EXPECT_EQ(DescriptorsListed(dir.File("fds.txt"), RealPathOf(dir.Path())).at(0), "-");
    const std::vector<std::string> vTrace = Lines(ReadFile(dir.File("trace.txt")));
    std::vector<std::string> vMemoryOpens;
    bool bZeroClosedAfterwards = false;
    for (const std::string& strLine : vTrace)
    {
        if (strLine.find("\"/dev/mem\"") != std::string::npos)
        {
            vMemoryOpens.push_back(strLine.substr(strLine.rfind("= ") + 2));
        }
        // Before the memory device, files opened for a moment take
        // descriptor 0 and give it back.
        bZeroClosedAfterwards = bZeroClosedAfterwards || (!vMemoryOpens.empty() && strLine.find("close(0)") == 0);
    }
    ASSERT_FALSE(vMemoryOpens.empty()) << ReadFile(dir.File("trace.txt"));
    EXPECT_EQ(vMemoryOpens.front(), "0");
    for (std::size_t i = 1; i < vMemoryOpens.size(); ++i)
    {
        EXPECT_NE(vMemoryOpens[i], "0") << i;
    }
    EXPECT_FALSE(bZeroClosedAfterwards);
}

// With standard output closed the inventory takes descriptor 1 and the log
// the next one: the report, written to descriptor 1, fails (the file is
// open for reading only) and reaches neither the log nor anywhere else; the
// exit status still says what was found.
TEST(InventoryStream, WithStandardOutputClosedTheInventoryTakesDescriptorOneAndTheReportIsLost)
{
    SKIP_WITHOUT_NAMESPACE();
    Setting setting;
    setting.bOutputClosed = true;
    setting.bMarker = true;
    const Outcome outcome = RunWith("platform-memory", setting);
    EXPECT_EQ(outcome.result.nExitStatus, 1);
    EXPECT_EQ(outcome.mapDescriptors.at(1), "{PACKAGE}/inv.xml");
    EXPECT_EQ(outcome.mapDescriptors.at(3), "{PACKAGE}/baseutils.log");
    EXPECT_EQ(outcome.strLog.find("requirements are met"), std::string::npos);
    EXPECT_NE(outcome.strLog.find("CDependenciesChecker::~CDependenciesChecker "), std::string::npos);
}

// Without "inv.xml" the log itself takes descriptor 1.
TEST(InventoryStream, WithStandardOutputClosedAndNoInventoryTheLogTakesDescriptorOne)
{
    SKIP_WITHOUT_NAMESPACE();
    Setting setting;
    setting.bOutputClosed = true;
    setting.bInventory = false;
    setting.bMarker = true;
    const Outcome outcome = RunWith("platform-memory", setting);
    EXPECT_EQ(outcome.result.nExitStatus, 255);
    EXPECT_EQ(outcome.mapDescriptors.at(1), "{PACKAGE}/baseutils.log");
    EXPECT_EQ(outcome.mapDescriptors.at(3), "-");
}
