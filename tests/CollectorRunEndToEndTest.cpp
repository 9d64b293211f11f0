// The real vexdepcheck executable and how it runs collectors and reads
// documents: collectors run through the shell in the checker's own process
// group and are waited for without limit unless the time-limit guard is
// switched on; background jobs of a collector are left alone; signals reach
// a guarded collector's processes; compressed documents are read; a debug
// log switched on during the run changes nothing that a fresh reading of the
// firmware per dependency would not. (What closed standard streams change is
// in InventoryStreamEndToEndTest.cpp.)

#include "CheckerRun.h"
#include "Scenarios.h"
#include "SmbiosBuilder.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vextest;

namespace
{
using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point tStart) { return std::chrono::duration<double>(Clock::now() - tStart).count(); }

bool ProcessGone(pid_t nPid)
{
    for (int i = 0; i < 100; ++i)
    {
        if (kill(nPid, 0) != 0 && errno == ESRCH)
        {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

pid_t PidIn(const std::string& strPath) { return static_cast<pid_t>(std::stol(ReadFile(strPath))); }

// One dependency of release R1, required at 2.0, whose collector runs
// strCollectorBody and then reports version 1.5 installed.
void WriteOneDependencyPackage(const std::string& strDir, const std::string& strCollectorBody,
                               const std::string& strTimeout = "30")
{
    Scenario scenario = FindScenario("collector-slower-than-its-limit");
    scenario.mapFiles["RT/PIEConfig.xml"] = PieConfig("collect.sh", "inventory.xml", strTimeout);
    scenario.mapFiles["RT/collect.sh"] = "#!/bin/sh\n" + strCollectorBody +
                                         "cat > inventory.xml <<'INVENTORY'\n<SVMInventory>\n"
                                         "  <Device componentID=\"981\"><Application componentType=\"FRMW\" "
                                         "version=\"1.5\"/></Device>\n</SVMInventory>\nINVENTORY\n";
    WriteScenario(scenario, strDir);
}

const char* const kUnmetReport = "\nThe update process cannot proceed till the following requirements are met.\n"
                                 "Slow\n\tCurrent  Version     : 1.5\n\tRequired Version     : 2.0\n";

// The checker started in strDir in a process group of its own (as an
// installer's terminal job would be), with extra environment entries and its
// standard streams on /dev/null.
pid_t StartChecker(const std::string& strDir, const std::vector<std::string>& vEnvironment)
{
    const pid_t nPid = fork();
    if (nPid == 0)
    {
        setpgid(0, 0);
        const int nNull = open("/dev/null", O_RDWR);
        dup2(nNull, 0);
        dup2(nNull, 1);
        dup2(nNull, 2);
        CloseInheritedDescriptors();
        if (chdir(strDir.c_str()) != 0)
        {
            _exit(126);
        }
        for (const std::string& strEntry : vEnvironment)
        {
            putenv(const_cast<char*>(strEntry.c_str()));
        }
        const std::string strChecker = CheckerExecutable();
        execl(strChecker.c_str(), strChecker.c_str(), "hard", static_cast<char*>(nullptr));
        _exit(127);
    }
    setpgid(nPid, nPid);
    return nPid;
}

int WaitForExit(pid_t nPid, double dSeconds)
{
    const Clock::time_point tStart = Clock::now();
    int nStatus = 0;
    while (waitpid(nPid, &nStatus, WNOHANG) == 0)
    {
        if (SecondsSince(tStart) > dSeconds)
        {
            kill(-nPid, SIGKILL);
            waitpid(nPid, &nStatus, 0);
            ADD_FAILURE() << "the checker did not end within " << dSeconds << " s";
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return nStatus;
}
} // namespace

TEST(CollectorRun, SlowerCollectorIsWaitedForWithoutTheVariableAndFailsWithIt)
{
    TempDir dir;
    WriteOneDependencyPackage(dir.Path(), "sleep 2\n", "1");
    const Clock::time_point tStart = Clock::now();
    const CommandResult waited = RunCommand({CheckerExecutable(), "hard"}, dir.Path());
    EXPECT_GE(SecondsSince(tStart), 1.9);
    EXPECT_EQ(waited.nExitStatus, 1);
    EXPECT_EQ(waited.strStdout.find(kUnmetReport), 0u) << waited.strStdout;
    EXPECT_EQ(waited.strStderr, "");

    const CommandResult guarded =
        RunCommand({"/usr/bin/env", "VEXDEP_COLLECTOR_TIMEOUT=config", CheckerExecutable(), "hard"}, dir.Path());
    EXPECT_EQ(guarded.nExitStatus, 1);
    EXPECT_NE(guarded.strStdout.find("Slow\n\tCurrent  Version     : Failed\n"), std::string::npos);
    EXPECT_EQ(guarded.strStderr, "\n\tError Message         : Inventory collector timed out after 1 seconds");

    // A value that is none of the accepted forms leaves the guard off.
    const CommandResult rejected =
        RunCommand({"/usr/bin/env", "VEXDEP_COLLECTOR_TIMEOUT=soon", CheckerExecutable(), "hard"}, dir.Path());
    EXPECT_EQ(rejected.strStdout, waited.strStdout);
    EXPECT_EQ(rejected.strStderr, "");
}

TEST(CollectorRun, RejectedVariableIsNamedInTheDebugLogOnly)
{
    TempDir dir;
    WriteOneDependencyPackage(dir.Path(), "");
    WriteFile(dir.File("vexdebuglog"), "");
    const CommandResult result =
        RunCommand({"/usr/bin/env", "VEXDEP_COLLECTOR_TIMEOUT=-1", CheckerExecutable(), "hard"}, dir.Path());
    EXPECT_EQ(result.strStderr, "");
    const std::vector<std::string> vLog = ReadLogMessages(dir.File("baseutils.log"));
    EXPECT_EQ(
        std::count(vLog.begin(), vLog.end(),
                   "CCollectorTimeLimit::FromEnvironment VEXDEP_COLLECTOR_TIMEOUT=\"-1\" is not config, none or a "
                   "positive number of seconds: collectors run without a time limit"),
        1);
}

TEST(CollectorRun, BackgroundJobOfACollectorFinishesAfterTheCheckerHasExited)
{
    TempDir dir;
    // The job finishes only once the test lets it (or after 30 s): a checker
    // that waited for it would take those 30 s.
    WriteOneDependencyPackage(dir.Path(), "(" + ShellWaitsForFile("go", 30) +
                                              "; echo finished > late.tmp; mv late.tmp late.txt) > /dev/null 2>&1 &\n");
    const Clock::time_point tStart = Clock::now();
    const CommandResult result = RunCommand({CheckerExecutable(), "hard"}, dir.Path());
    EXPECT_LT(SecondsSince(tStart), 20.0);
    EXPECT_EQ(result.nExitStatus, 1);
    EXPECT_FALSE(FileExists(dir.File("RT/late.txt")));
    WriteFile(dir.File("RT/go"), "");
    ASSERT_TRUE(WaitForFile(dir.File("RT/late.txt"), 10));
    EXPECT_EQ(ReadFile(dir.File("RT/late.txt")), "finished\n");
}

TEST(CollectorRun, CollectorSharesTheCheckersProcessGroupUnlessGuarded)
{
    TempDir dir;
    // The collector writes its own process group and session, and those of
    // the checker, the first of its ancestors of that name.
    WriteOneDependencyPackage(dir.Path(), "cut -d' ' -f5,6 /proc/$$/stat > mine.txt\n"
                                          "p=$$\n"
                                          "for i in 1 2 3; do\n"
                                          "  p=$(cut -d' ' -f4 /proc/$p/stat)\n"
                                          "  [ \"$(cut -d' ' -f2 /proc/$p/stat)\" = \"(vexdepcheck)\" ] && break\n"
                                          "done\n"
                                          "cut -d' ' -f2,5,6 /proc/$p/stat > checker.txt\n");
    RunCommand({CheckerExecutable(), "hard"}, dir.Path());
    const std::string strChecker = ReadFile(dir.File("RT/checker.txt"));
    ASSERT_EQ(strChecker.compare(0, 13, "(vexdepcheck)"), 0) << strChecker;
    EXPECT_EQ(ReadFile(dir.File("RT/mine.txt")), strChecker.substr(14));

    RunCommand({"/usr/bin/env", "VEXDEP_COLLECTOR_TIMEOUT=config", CheckerExecutable(), "hard"}, dir.Path());
    const std::string strGuardedChecker = ReadFile(dir.File("RT/checker.txt"));
    ASSERT_EQ(strGuardedChecker.compare(0, 13, "(vexdepcheck)"), 0) << strGuardedChecker;
    EXPECT_NE(ReadFile(dir.File("RT/mine.txt")), strGuardedChecker.substr(14));
}

TEST(CollectorRun, InterruptOfTheInstallersGroupReachesAnUnguardedCollector)
{
    TempDir dir;
    WriteOneDependencyPackage(dir.Path(), "echo $$ > collector.pid\nsleep 30\n");
    const pid_t nChecker = StartChecker(dir.Path(), {});
    ASSERT_TRUE(WaitForFile(dir.File("RT/collector.pid"), 10));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const Clock::time_point tStart = Clock::now();
    // Ctrl-C in the installer's terminal: the whole foreground group.
    kill(-nChecker, SIGINT);
    const int nStatus = WaitForExit(nChecker, 20);
    EXPECT_LT(SecondsSince(tStart), 5.0);
    // The collector ended by it; the checker ignored it while it waited,
    // found no inventory and had nothing to report.
    EXPECT_TRUE(ProcessGone(PidIn(dir.File("RT/collector.pid"))));
    ASSERT_TRUE(WIFEXITED(nStatus));
    EXPECT_EQ(WEXITSTATUS(nStatus), 255);
}

TEST(CollectorRun, SignalsToTheCheckerEndAGuardedCollectorFirst)
{
    for (const int nSignal : {SIGINT, SIGTERM, SIGHUP})
    {
        TempDir dir;
        WriteOneDependencyPackage(dir.Path(),
                                  "echo $$ > collector.pid\nsleep 300 > /dev/null 2>&1 &\necho $! > child.pid\n"
                                  "sleep 300\n",
                                  "600");
        const pid_t nChecker = StartChecker(dir.Path(), {"VEXDEP_COLLECTOR_TIMEOUT=config"});
        ASSERT_TRUE(WaitForFile(dir.File("RT/child.pid"), 10));
        const Clock::time_point tStart = Clock::now();
        kill(nChecker, nSignal);
        const int nStatus = WaitForExit(nChecker, 20);
        EXPECT_LT(SecondsSince(tStart), 5.0) << strsignal(nSignal);
        ASSERT_TRUE(WIFSIGNALED(nStatus)) << strsignal(nSignal);
        EXPECT_EQ(WTERMSIG(nStatus), nSignal);
        EXPECT_TRUE(ProcessGone(PidIn(dir.File("RT/collector.pid")))) << strsignal(nSignal);
        EXPECT_TRUE(ProcessGone(PidIn(dir.File("RT/child.pid")))) << strsignal(nSignal);
    }
}

// ---------------------------------------------------------------------------
// Compressed documents
// ---------------------------------------------------------------------------

namespace
{
void Compress(const std::string& strTool, const std::string& strPath)
{
    const CommandResult result =
        RunCommand({"/bin/sh", "-c", strTool + " -c \"$0\" > \"$0.z\" && mv \"$0.z\" \"$0\"", strPath}, "/");
    ASSERT_EQ(result.nExitStatus, 0) << strTool << ": " << result.strStderr;
}

bool HaveTools() { return FileExists("/usr/bin/gzip") && FileExists("/usr/bin/xz"); }
} // namespace

TEST(CollectorRun, CompressedDocumentsOfEachKindAreRead)
{
    if (!HaveTools())
    {
        GTEST_SKIP() << "gzip or xz is not installed here";
    }
    const Scenario& sample = FindScenario("sample-package");
    TempDir plain;
    WriteScenario(sample, plain.Path());
    const CommandResult expected = RunCommand({CheckerExecutable(), "hard"}, plain.Path());
    ASSERT_EQ(expected.nExitStatus, 1);

    // One kind at a time, then all at once.
    for (const std::string strKind : {"package", "config", "output", "all"})
    {
        TempDir dir;
        WriteScenario(sample, dir.Path());
        if (strKind == "package" || strKind == "all")
        {
            Compress("gzip", dir.File("package.xml"));
        }
        for (const char* pszRelease : {"REL001", "REL002"})
        {
            const std::string strRelease = dir.File(pszRelease);
            if (strKind == "config" || strKind == "all")
            {
                Compress("xz", strRelease + "/PIEConfig.xml");
            }
            if (strKind == "output" || strKind == "all")
            {
                // The collector's document, compressed by the collector.
                const std::string strCollector = strRelease + "/collect.sh";
                WriteFile(strCollector,
                          ReadFile(strCollector) + "gzip -c inventory.xml > inventory.gz && "
                                                   "mv inventory.gz inventory.xml\n",
                          true);
            }
        }
        const CommandResult result = RunCommand({CheckerExecutable(), "hard"}, dir.Path());
        EXPECT_EQ(result.nExitStatus, expected.nExitStatus) << strKind;
        EXPECT_EQ(result.strStdout, expected.strStdout) << strKind;
        EXPECT_EQ(result.strStderr, expected.strStderr) << strKind;
    }
}

// An LZMA-alone stream's first byte encodes its literal-context,
// literal-position and position bits: with settings other than the usual
// ones it starts with another byte (0x5A for lc=0, 0x03 for pb=0), and the
// package description is still read as the XML library's file parser reads
// it.
TEST(CollectorRun, PackageDescriptionsInLzmaStreamsOfAnySettingAreRead)
{
    if (!HaveTools())
    {
        GTEST_SKIP() << "gzip or xz is not installed here";
    }
    const Scenario& sample = FindScenario("sample-package");
    TempDir plain;
    WriteScenario(sample, plain.Path());
    const CommandResult expected = RunCommand({CheckerExecutable(), "hard"}, plain.Path());
    ASSERT_EQ(expected.nExitStatus, 1);
    for (const std::string strSettings : {"preset=6,lc=0", "preset=6,pb=0", "preset=6,lc=4,lp=0,pb=1"})
    {
        TempDir dir;
        WriteScenario(sample, dir.Path());
        Compress("xz --format=lzma --lzma1=" + strSettings, dir.File("package.xml"));
        const CommandResult result = RunCommand({CheckerExecutable(), "hard"}, dir.Path());
        EXPECT_EQ(result.nExitStatus, expected.nExitStatus) << strSettings;
        EXPECT_EQ(result.strStdout, expected.strStdout) << strSettings;
        EXPECT_EQ(result.strStderr, "") << strSettings;
    }
}

TEST(CollectorRun, CompressedInventoryTextIsNotDecompressed)
{
    if (!HaveTools())
    {
        GTEST_SKIP() << "gzip or xz is not installed here";
    }
    TempDir dir;
    WriteScenario(FindScenario("sample-package"), dir.Path());
    Compress("gzip", dir.File("inv.xml"));
    // No device is present: nothing applies, nothing is reported.
    const CommandResult result = RunCommand({CheckerExecutable(), "hard"}, dir.Path());
    EXPECT_EQ(result.nExitStatus, 255);
    EXPECT_EQ(result.strStdout, "");
}

// ---------------------------------------------------------------------------
// The firmware, read anew for every dependency
// ---------------------------------------------------------------------------

// A collector that creates the debug-log marker switches logging on at the
// next reader of the firmware: every later dependency's turn logs its own
// reader's construction, acquisition and release.
TEST(CollectorRun, MarkerCreatedByACollectorLogsEveryLaterTurnInFull)
{
    if (!CanUseMountNamespace())
    {
        GTEST_SKIP() << "private mount namespaces (unshare) are refused here; the firmware cannot be controlled";
    }
    Scenario scenario = FindScenario("platform-single-byte");
    scenario.mapFiles["R1/collect.sh"] = ": > ../vexdebuglog\n" + scenario.mapFiles["R1/collect.sh"];
    TempDir dir;
    WriteScenario(scenario, dir.Path());
    const CommandResult result = RunInPackage({CheckerExecutable(), "hard"}, dir.Path(), scenario.firmware);
    EXPECT_EQ(result.strStdout, ExpandBase(scenario.vRuns[0].strStdout));

    const std::vector<std::string> vLog = ReadLogMessages(dir.File("baseutils.log"));
    const std::string strMarkerLine = "CLinuxImpl::IsFileExistsAbs() File name " + RealPathOf(dir.Path()) +
                                      "/vexdebuglog exist";
    // Three dependencies pass the context check; the first reader's test of
    // the marker ran while the log was still off.
    EXPECT_EQ(std::count(vLog.begin(), vLog.end(), strMarkerLine), 2) << strMarkerLine;
    EXPECT_EQ(std::count(vLog.begin(), vLog.end(), "Entered FetchRawBIOSTable"), 3);
    EXPECT_EQ(std::count(vLog.begin(), vLog.end(), "Entered FreeRawBIOSTable"), 3);
    EXPECT_EQ(std::count(vLog.begin(), vLog.end(), "Entered GetSystemID"), 2);
}
