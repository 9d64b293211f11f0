// The fault catalogue (tests/fixtures/faults/README.md): the real checker on
// the sample package while the machine misbehaves: a full or read-only file
// system, a low descriptor limit, signals, a broken or full standard output,
// closed standard streams, and a second run on the same package. Every case
// runs in a private mount namespace (tests/fixtures/faults/run-fault.sh);
// where that is refused the tests report themselves skipped.

#include "CheckerRun.h"
#include "TestSupport.h"

#include "Logger.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>
#include <sstream>

using namespace vextest;

namespace
{
const std::string kFaults = std::string(VEXDEP_FIXTURES_DIR) + "/faults";
const std::string kPackage = std::string(VEXDEP_SOURCE_DIR) + "/examples/package";
const std::string kInspect = VEXDEP_INSPECT_EXECUTABLE;

const std::string kHeading = "\nThe update process cannot proceed till the following requirements are met.\n";
const std::string kBackplane = "Storage Backplane Firmware\n\tCurrent  Version     : 3.10.0\n\tRequired Version     : "
                               "3.20.0\n\tVEX DownloadPath     : https://downloads.example.com/vex/FOLDER04/BACKPLANE/"
                               "BP_FW_3.20.0.BIN\n";
const std::string kNetwork = "Network Adapter Firmware\n\tCurrent  Version     : 22.0.9\n\tRequired Version     : "
                             "22.1.4\n\tVEX DownloadPath     : https://downloads.example.com/vex/FOLDER09/NIC/"
                             "NIC_FW_22.1.4.BIN\n";
// What a lone run of "hard" on the sample package prints.
const std::string kLoneReport = kHeading + kBackplane + kNetwork + " \n";

// The collector of REL002 announces itself and sleeps 30 seconds before it
// writes its document: the time in which the signal cases send theirs, and
// look for what survived. A case that needs the collector to finish ends
// its sleep (kFinishSlowCollector).
const std::string kSlowCollector =
    "sed -i '2a echo $$ > ../collector.pid; : > ../started; sleep 30' REL002/collect.sh\n";
// Ends the slow collector's sleep as soon as it runs (within 10 seconds).
const std::string kFinishSlowCollector = ShellRetriesUntil("pkill -x -P \"$(cat collector.pid)\" sleep", 10) + "\n";

struct FaultRun
{
    int nStatus = -1;
    std::string strStdout;
    std::string strStderr;
    bool bLogWritten = false;
    std::string strLog;
    std::string strSurvivors;
    std::string strExtra;
    std::string strSetupError;
};

struct Fault
{
    std::string strSize = "-";
    bool bLog = false;
    std::string strPrepare;
    std::string strBody = "run \"$CHECKER\" hard";
    std::vector<std::string> vEnvironment;
};

// A fault on a package file system of the given size ("-" for the one the
// package is on), prepared by strPrepare.
Fault Prepared(const std::string& strSize, const std::string& strPrepare)
{
    Fault fault;
    fault.strSize = strSize;
    fault.strPrepare = strPrepare;
    return fault;
}

FaultRun RunFault(const Fault& fault)
{
    TempDir out;
    TempDir work;
    std::vector<std::string> vArgs = {"/usr/bin/env", "CHECKER=" + CheckerExecutable(), "INSPECT=" + kInspect};
    vArgs.insert(vArgs.end(), fault.vEnvironment.begin(), fault.vEnvironment.end());
    const std::vector<std::string> vRest = {
        "/usr/bin/unshare",        "--mount",        "--propagation", "private",   "/bin/sh",
        kFaults + "/run-fault.sh", out.Path(),       kPackage,        work.Path(), fault.strSize,
        fault.bLog ? "log" : "-",  fault.strPrepare, fault.strBody};
    vArgs.insert(vArgs.end(), vRest.begin(), vRest.end());
    const CommandResult result = RunCommand(vArgs, out.Path());
    FaultRun run;
    if (result.nExitStatus != 0)
    {
        run.strSetupError = std::to_string(result.nExitStatus) + ": " + result.strStderr;
        return run;
    }
    if (FileExists(out.File("status")))
    {
        run.nStatus = std::stoi(ReadFile(out.File("status")));
    }
    run.strStdout = FileExists(out.File("stdout")) ? ReadFile(out.File("stdout")) : "";
    // The package's own directory differs from run to run: the XML
    // library's messages name it "{PACKAGE}" here.
    run.strStderr = ReplaceAll(FileExists(out.File("stderr")) ? ReadFile(out.File("stderr")) : "",
                               RealPathOf(work.Path()), "{PACKAGE}");
    run.bLogWritten = FileExists(out.File("log"));
    run.strLog = run.bLogWritten ? ReadFile(out.File("log")) : "";
    run.strSurvivors = ReadFile(out.File("survivors"));
    run.strExtra = FileExists(out.File("extra")) ? ReadFile(out.File("extra")) : "";
    return run;
}

#define SKIP_WITHOUT_NAMESPACE()                                                                                       \
    if (!CanUseMountNamespace())                                                                                       \
    GTEST_SKIP() << "private mount namespaces (unshare, mount) are refused here: the fault cannot be set up"

// The sanitizers' run-time opens descriptors of its own (it probes memory
// through a pipe before it reports), so descriptor limits are measured on the
// ordinary build only.
#ifdef VEXDEP_SANITIZED_BUILD
#define SKIP_IN_SANITIZED_BUILD()                                                                                      \
    GTEST_SKIP() << "the sanitizers' run-time needs descriptors of its own; limits are measured on the ordinary build"
#else
#define SKIP_IN_SANITIZED_BUILD()
#endif

#define ASSERT_SET_UP(run) ASSERT_EQ((run).strSetupError, "") << "the fault could not be set up"

// The report and exit status of the same package on the same file system,
// with the debug log on and off, are the same; returns the run with the log.
FaultRun ExpectLogChangesNothing(Fault fault)
{
    fault.bLog = false;
    const FaultRun quiet = RunFault(fault);
    fault.bLog = true;
    const FaultRun logged = RunFault(fault);
    EXPECT_EQ(quiet.strSetupError, "");
    EXPECT_EQ(logged.strSetupError, "");
    EXPECT_EQ(logged.nStatus, quiet.nStatus);
    EXPECT_EQ(logged.strStdout, quiet.strStdout);
    EXPECT_EQ(logged.strStderr, quiet.strStderr);
    EXPECT_EQ(quiet.strSurvivors, "");
    EXPECT_EQ(logged.strSurvivors, "");
    return logged;
}

// Whole log lines only: nothing half-written.
void ExpectWholeLines(const std::string& strLog)
{
    EXPECT_TRUE(strLog.empty() || strLog.back() == '\n')
        << strLog.substr(strLog.size() > 200 ? strLog.size() - 200 : 0);
}

const std::string kStopLine = "CLogger::log debug log stopped: ";
} // namespace

// ---------------------------------------------------------------------------
// The debug log cannot be written
// ---------------------------------------------------------------------------

namespace
{
// What the debug log holds after the run.
enum class LogOutcome
{
    Nothing,             // empty, if it was written at all
    EmptyFile,           // written, and empty: too little room even for the last line
    NotWritten,          // not even created
    TheLineThatSaysWhy,  // only the line that says why the log stopped
    WholeLinesUpToAFill, // written up to the collector that filled the file system, in whole lines
};

// A file system the debug log cannot fill as it would (its size, "-" for the
// one the package is on, and what is done to it), the checker's exit status
// and report, with the log on and off alike, and what the log holds.
struct DebugLogCase
{
    const char* pszName;
    const char* pszSize;
    std::string strPrepare;
    int nStatus;
    std::string strStdout;
    LogOutcome eLog;
};

void PrintTo(const DebugLogCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class UnwritableDebugLog : public ::testing::TestWithParam<DebugLogCase>
{
};

std::vector<DebugLogCase> DebugLogCases()
{
    return {
        // No collector could write its document: nothing to report.
        {"OnAFileSystemFullBeforeTheRunChangesNothing", "1m", "leave_free 0", 255, "", LogOutcome::Nothing},
        {"WithAFewKilobytesFreeThatTheLogWouldFillChangesNothing", "1m", "leave_free 24576", 1, kLoneReport,
         LogOutcome::EmptyFile},
        {"BelowTheReserveTheLogEndsWithTheLineThatSaysWhy", "2m", "leave_free 262144", 1, kLoneReport,
         LogOutcome::TheLineThatSaysWhy},
        // REL001's collector leaves 64 KiB free before it writes its document.
        {"OnAFileSystemThatACollectorFillsDuringTheRunChangesNothing", "4m",
         "sed -i '2a fallocate -l $(( $(stat -f -c \"%a * %S\" .) - 65536 )) big.bin' REL001/collect.sh", 1,
         kLoneReport, LogOutcome::WholeLinesUpToAFill},
        // The package directory (where the log goes) read-only, its release
        // directories writable.
        {"InAReadOnlyDirectoryChangesNothing", "-",
         "mount --bind \"$work\" \"$work\" && cd \"$work\" && mount --bind REL001 REL001 && "
         "mount --bind REL002 REL002 && mount -o remount,bind,ro \"$work\" && cd \"$work\"",
         1, kLoneReport, LogOutcome::NotWritten},
    };
}

void ExpectLog(const FaultRun& run, LogOutcome eLog)
{
    switch (eLog)
    {
    case LogOutcome::Nothing:
        EXPECT_EQ(run.strLog, "");
        break;
    case LogOutcome::EmptyFile:
        EXPECT_TRUE(run.bLogWritten);
        EXPECT_EQ(run.strLog, "");
        break;
    case LogOutcome::NotWritten:
        EXPECT_FALSE(run.bLogWritten);
        break;
    case LogOutcome::TheLineThatSaysWhy:
    {
        const std::vector<std::string> vLines = Lines(run.strLog);
        ASSERT_EQ(vLines.size(), 1u) << run.strLog;
        EXPECT_EQ(MessageOf(vLines[0]).find(kStopLine), 0u) << vLines[0];
        EXPECT_NE(vLines[0].find("below the reserve of 1048576 bytes kept for the collectors"), std::string::npos);
        break;
    }
    case LogOutcome::WholeLinesUpToAFill:
        EXPECT_GT(run.strLog.size(), 1000u);
        EXPECT_LT(run.strLog.size(), 39000u);
        ExpectWholeLines(run.strLog);
        break;
    }
}
} // namespace

TEST_P(UnwritableDebugLog, ChangesNothingForTheCheck)
{
    SKIP_WITHOUT_NAMESPACE();
    const FaultRun logged = ExpectLogChangesNothing(Prepared(GetParam().pszSize, GetParam().strPrepare));
    EXPECT_EQ(logged.nStatus, GetParam().nStatus);
    EXPECT_EQ(logged.strStdout, GetParam().strStdout);
    ExpectLog(logged, GetParam().eLog);
}

INSTANTIATE_TEST_SUITE_P(FaultDebugLog, UnwritableDebugLog, ::testing::ValuesIn(DebugLogCases()),
                         [](const ::testing::TestParamInfo<DebugLogCase>& info) {
                             return std::string(info.param.pszName);
                         });

// The reserve is measured as the running checker can use the file system:
// on one whose blocks are partly kept for privileged writers (an ext4 file
// system with reserved blocks), root in the initial user namespace may write
// into them, and so may its collectors: the log goes on. An ordinary user,
// or root inside a user namespace, may not: the log stops. The report is the
// same in the three runs.
TEST(FaultDebugLog, TheReserveCountsTheReservedBlocksOnlyForAProcessThatMayUseThem)
{
    SKIP_WITHOUT_NAMESPACE();
    if (RunCommand({"/bin/sh", "-c", "command -v mkfs.ext4 && command -v setpriv && command -v fallocate"}, "/")
            .nExitStatus != 0)
    {
        GTEST_SKIP() << "mkfs.ext4, setpriv or fallocate is not installed here";
    }
    TempDir out;
    // Root's run first, then the same check as user nobody, then as root of
    // a user namespace made by nobody; each run's documents and log are
    // removed before the next.
    const std::string strRun =
        "run_as() { rm -f baseutils.log REL001/inventory.xml REL002/inventory.xml\n"
        "  \"$@\" \"$CHECKER\" hard > \"$out/$name.out\" 2> \"$out/$name.err\"; echo $? > \"$out/$name.status\"\n"
        "  cp baseutils.log \"$out/$name.log\"; }\n"
        "nobody='setpriv --reuid=65534 --regid=65534 --clear-groups'\n"
        "$nobody test -x \"$CHECKER\" || exit 92\n"
        "name=root run_as env\n"
        "name=nobody run_as $nobody\n"
        "if $nobody unshare --user --map-root-user true 2> /dev/null; then\n"
        "  name=userns run_as $nobody unshare --user --map-root-user\n"
        "fi\n";
    const std::string strScript =
        "out=\"$1\"; package=\"$2\"\n"
        "[ -d \"$out\" ] && [ -f \"$package/package.xml\" ] || exit 90\n"
        // The collectors, run by path, pass through it.
        "chmod 755 \"$out\" || exit 90\n"
        "truncate -s 16M \"$out/fs.img\" && mkfs.ext4 -q -m 40 -b 1024 \"$out/fs.img\" || exit 90\n"
        "mkdir \"$out/fs\" && mount -o loop \"$out/fs.img\" \"$out/fs\" 2> \"$out/mount.err\" || exit 91\n"
        "cd \"$out/fs\" && cp -R \"$package/.\" . && : > vexdebuglog && chmod -R a+rwX . || exit 90\n"
        // A quarter of a mebibyte left for ordinary users, the reserved
        // blocks (some megabytes) beside it.
        "fallocate -l $(( $(stat -f -c '%a * %S' .) - 262144 )) filler.bin || exit 90\n"
        "stat -f -c '%f %a %S' . > \"$out/space\"\n" +
        strRun + "cd / && umount \"$out/fs\"\n";
    const CommandResult result =
        RunCommand({"/usr/bin/env", "CHECKER=" + CheckerExecutable(), "/usr/bin/unshare", "--mount", "--propagation",
                    "private", "/bin/sh", "-c", strScript, "reserve-test", out.Path(), kPackage},
                   out.Path());
    if (result.nExitStatus == 91)
    {
        GTEST_SKIP() << "a file system image cannot be mounted here: " << ReadFile(out.File("mount.err"));
    }
    if (result.nExitStatus == 92)
    {
        GTEST_SKIP() << "user nobody cannot run the checker where it was built";
    }
    ASSERT_EQ(result.nExitStatus, 0) << result.strStderr;
    std::istringstream issSpace(ReadFile(out.File("space")));
    unsigned long long nFree = 0;
    unsigned long long nAvailable = 0;
    unsigned long long nBlock = 0;
    issSpace >> nFree >> nAvailable >> nBlock;
    ASSERT_LT(nAvailable * nBlock, CLogger::nFreeSpaceReserve);
    ASSERT_GT(nFree * nBlock, 2 * CLogger::nFreeSpaceReserve);

    for (const std::string strName : {"root", "nobody", "userns"})
    {
        if (strName == "userns" && !FileExists(out.File("userns.status")))
        {
            continue;
        }
        EXPECT_EQ(ReadFile(out.File(strName + ".status")), "1\n") << strName;
        EXPECT_EQ(ReadFile(out.File(strName + ".out")), kLoneReport) << strName;
        const std::vector<std::string> vLog = Lines(ReadFile(out.File(strName + ".log")));
        ASSERT_FALSE(vLog.empty()) << strName;
        if (strName == "root")
        {
            EXPECT_GT(vLog.size(), 100u);
            EXPECT_EQ(MessageOf(vLog.back()), "CDependenciesChecker::~CDependenciesChecker ");
        }
        else
        {
            ASSERT_EQ(vLog.size(), 1u) << strName;
            EXPECT_EQ(MessageOf(vLog[0]).find(kStopLine), 0u) << strName;
        }
    }
    if (!FileExists(out.File("userns.status")))
    {
        GTEST_SKIP() << "user namespaces are refused to an ordinary user here: root inside one was not tried";
    }
}

// ---------------------------------------------------------------------------
// A collector's output cannot be written
// ---------------------------------------------------------------------------

namespace
{
const std::string kReadOnlyRelease = "mount --bind REL002 REL002 && mount -o remount,bind,ro REL002";
const std::string kCheckerThenExplain = "run \"$CHECKER\" hard; { cat \"$out/status\"; cat \"$out/stdout\"; } > "
                                        "\"$out/extra\"; run \"$INSPECT\" explain hard --json";

std::string CheckerStatusAndReport(const FaultRun& run) { return run.strExtra; }

// What explain said in a run of kCheckerThenExplain: the checker's exit
// status, the verdict and, unless strReasonKind is empty, a reason of that
// kind.
void ExpectExplained(const FaultRun& run, int nExitStatus, const std::string& strVerdict,
                     const std::string& strReasonKind)
{
    const nlohmann::json json = nlohmann::json::parse(run.strStdout);
    EXPECT_EQ(json["exitStatus"], nExitStatus);
    EXPECT_EQ(json["verdict"], strVerdict) << json["reasons"].dump();
    if (!strReasonKind.empty())
    {
        EXPECT_NE(json["reasons"].dump().find(strReasonKind), std::string::npos) << json["reasons"].dump();
    }
}
} // namespace

namespace
{
// A release directory whose collector cannot write its document (the size
// of the package's file system, "-" for the one it is on, and what is done
// to it): the checker's exit status and report, then what explain says of
// the same package: the exit status, the verdict and, unless pszReason is
// empty, a reason of that kind.
struct CollectorOutputCase
{
    const char* pszName;
    const char* pszSize;
    std::string strPrepare;
    std::string strCheckerStatusAndReport;
    int nExitStatus;
    const char* pszVerdict;
    const char* pszReason;
};

void PrintTo(const CollectorOutputCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class UnwritableCollectorOutput : public ::testing::TestWithParam<CollectorOutputCase>
{
};

std::vector<CollectorOutputCase> CollectorOutputCases()
{
    return {
        // An earlier run left a document in which the network adapter
        // firmware is already 22.1.4, an hour old.
        {"AReadOnlyReleaseDirectoryWithAnOlderDocumentIsReadFromIt", "-",
         "sed 's/22.0.9/22.1.4/' REL002/collect.sh > old.sh && (cd REL002 && sh ../old.sh) && rm old.sh && "
         "touch -d '1 hour ago' REL002/inventory.xml && " +
             kReadOnlyRelease,
         "1\n" + kHeading + kBackplane + " \n", 1, "blocked", "stale-inventory"},
        // No document, no inventory: nothing to report, although both unmet
        // dependencies are there.
        {"ReadOnlyReleaseDirectoriesWithoutDocumentsGiveNoInventoryAndAreUnverifiable", "-",
         "for r in REL001 REL002; do mount --bind $r $r && mount -o remount,bind,ro $r || exit 1; done", "255\n", 255,
         "unverifiable", "no-inventory"},
        {"AFullFileSystemGivesNoInventoryAndIsUnverifiable", "1m", "leave_free 0", "255\n", 255, "unverifiable", ""},
    };
}
} // namespace

TEST_P(UnwritableCollectorOutput, IsReportedByTheCheckerAndExplained)
{
    SKIP_WITHOUT_NAMESPACE();
    Fault fault = Prepared(GetParam().pszSize, GetParam().strPrepare);
    fault.strBody = kCheckerThenExplain;
    const FaultRun run = RunFault(fault);
    ASSERT_SET_UP(run);
    EXPECT_EQ(CheckerStatusAndReport(run), GetParam().strCheckerStatusAndReport);
    ExpectExplained(run, GetParam().nExitStatus, GetParam().pszVerdict, GetParam().pszReason);
}

INSTANTIATE_TEST_SUITE_P(FaultCollectorOutput, UnwritableCollectorOutput, ::testing::ValuesIn(CollectorOutputCases()),
                         [](const ::testing::TestParamInfo<CollectorOutputCase>& info) {
                             return std::string(info.param.pszName);
                         });

// ---------------------------------------------------------------------------
// Descriptor limit
// ---------------------------------------------------------------------------

namespace
{
FaultRun RunWithDescriptors(int nLimit)
{
    Fault fault;
    const std::string strLimit = std::to_string(nLimit);
    fault.strBody = "prlimit --nofile=" + strLimit + ":" + strLimit +
                    " -- \"$CHECKER\" hard > \"$out/stdout\" "
                    "2> \"$out/stderr\"; echo $? > \"$out/status\"";
    return RunFault(fault);
}

// A limit on the checker's descriptors, its exit status and report, and
// what standard error must hold (null: nothing).
struct DescriptorCase
{
    const char* pszName;
    int nLimit;
    int nStatus;
    std::string strStdout;
    const char* pszStderrPart;
};

void PrintTo(const DescriptorCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class DescriptorLimit : public ::testing::TestWithParam<DescriptorCase>
{
};

std::vector<DescriptorCase> DescriptorCases()
{
    return {
        {"ThreeAreTooFewForTheDynamicLoader", 3, 127, "", "error while loading shared libraries"},
        {"TwelveAreOneTooFewForTheCollectorsShell", 12, 255, "", "Too many open files"},
        {"ThirteenAreEnoughForANormalRun", 13, 1, kLoneReport, nullptr},
    };
}
} // namespace

TEST_P(DescriptorLimit, DecidesHowFarTheCheckerGets)
{
    SKIP_WITHOUT_NAMESPACE();
    SKIP_IN_SANITIZED_BUILD();
    const FaultRun run = RunWithDescriptors(GetParam().nLimit);
    ASSERT_SET_UP(run);
    EXPECT_EQ(run.nStatus, GetParam().nStatus);
    EXPECT_EQ(run.strStdout, GetParam().strStdout);
    if (GetParam().pszStderrPart == nullptr)
    {
        EXPECT_EQ(run.strStderr, "");
    }
    else
    {
        EXPECT_NE(run.strStderr.find(GetParam().pszStderrPart), std::string::npos) << run.strStderr;
    }
    EXPECT_EQ(run.strSurvivors, "");
}

INSTANTIATE_TEST_SUITE_P(FaultDescriptors, DescriptorLimit, ::testing::ValuesIn(DescriptorCases()),
                         [](const ::testing::TestParamInfo<DescriptorCase>& info) {
                             return std::string(info.param.pszName);
                         });

// The smallest limit at which the dynamic loader gets the checker going (4:
// the checker inherits only the three standard streams): "inv.xml" takes the
// one descriptor left for the whole run, so no other file can be opened. The
// package description cannot be read (the XML library says why), and nothing
// is reported.
TEST(FaultDescriptors, TheSmallestLimitThatStartsTheCheckerGivesNothingToReport)
{
    SKIP_WITHOUT_NAMESPACE();
    SKIP_IN_SANITIZED_BUILD();
    Fault fault;
    fault.strBody = "for n in 4 5 6 7 8; do\n"
                    "  prlimit --nofile=$n:$n -- \"$CHECKER\" hard > \"$out/stdout\" 2> \"$out/stderr\"\n"
                    "  s=$?; [ $s -eq 127 ] || break\n"
                    "done\n"
                    "echo $s > \"$out/status\"; echo $n > \"$out/extra\"";
    const FaultRun run = RunFault(fault);
    ASSERT_SET_UP(run);
    EXPECT_EQ(run.nStatus, 255) << "limit " << run.strExtra << run.strStderr;
    EXPECT_EQ(run.strExtra, "4\n");
    EXPECT_EQ(run.strStdout, "");
    EXPECT_EQ(run.strStderr, "I/O error : Too many open files\nI/O error : Too many open files\n"
                             "I/O warning : failed to load external entity \"{PACKAGE}/package.xml\"\n");
    EXPECT_EQ(run.strSurvivors, "");
}

// ---------------------------------------------------------------------------
// Signals while a collector runs
// ---------------------------------------------------------------------------

namespace
{
// Sends the signal to the checker (target "pid") or to its process group
// ("group", as a Ctrl-C in the terminal does) once REL002's collector runs.
FaultRun RunSignalled(const std::string& strSignal, const std::string& strTarget, bool bGuard,
                      bool bFinishCollector = false)
{
    Fault fault;
    fault.bLog = true;
    fault.strPrepare = kSlowCollector + "find . -type f ! -name vexdebuglog -exec md5sum {} + | sort > \"$out/before\"";
    fault.strBody = "env --default-signal=INT,QUIT setsid \"$CHECKER\" hard > \"$out/stdout\" 2> \"$out/stderr\" &\n"
                    "pid=$!\n" +
                    ShellWaitsForFile("started", 10) +
                    "\n"
                    "/bin/kill -s " +
                    strSignal + " -- " + (strTarget == "group" ? "-" : "") + "$pid\n" +
                    (bFinishCollector ? kFinishSlowCollector : std::string()) +
                    "wait $pid; echo $? > \"$out/status\"\n"
                    "find . -type f ! -name vexdebuglog ! -name baseutils.log ! -name started ! -name collector.pid "
                    "! -name inventory.xml -exec md5sum {} + | sort > \"$out/after\"\n"
                    "diff \"$out/before\" \"$out/after\" > \"$out/extra\"\n";
    if (bGuard)
    {
        fault.vEnvironment.push_back("VEXDEP_COLLECTOR_TIMEOUT=config");
    }
    return RunFault(fault);
}

void ExpectPackageAndLogIntact(const FaultRun& run)
{
    // Beyond the log and the collectors' documents, the package is as it was.
    EXPECT_EQ(run.strExtra, "");
    ExpectWholeLines(run.strLog);
}
} // namespace

namespace
{
// A signal sent while REL002's collector runs, to the checker ("pid") or to
// its process group ("group"), with or without the guard (and with the
// collector let finish, where the checker waits for it): the exit status,
// the report, and how many processes of the run are left (the shell, the
// collector and its sleep, which the run script then ends).
struct SignalCase
{
    const char* pszName;
    const char* pszSignal;
    const char* pszTarget;
    bool bGuard;
    bool bFinishCollector;
    int nStatus;
    std::string strStdout;
    std::size_t nSurvivors;
};

void PrintTo(const SignalCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class SignalWhileACollectorRuns : public ::testing::TestWithParam<SignalCase>
{
};

std::vector<SignalCase> SignalCases()
{
    return {
        // Without the guard a collector runs as under system(): in the
        // checker's process group, with SIGINT and SIGQUIT ignored by the
        // checker meanwhile.
        {"UnguardedInterruptOfTheCheckerAloneIsIgnoredWhileTheCollectorRuns", "INT", "pid", false, true, 1, kLoneReport,
         0},
        // The collector died before writing its document: REL002 has no
        // inventory, and its unmet dependency is not reported.
        {"UnguardedInterruptOfTheGroupEndsTheCollectorAndTheCheckerReportsWithoutIt", "INT", "group", false, false, 1,
         kHeading + kBackplane + " \n", 0},
        {"UnguardedTerminationEndsTheCheckerAndLeavesTheCollectorRunning_TERM", "TERM", "pid", false, false, 128 + 15,
         "", 3},
        {"UnguardedTerminationEndsTheCheckerAndLeavesTheCollectorRunning_HUP", "HUP", "pid", false, false, 128 + 1, "",
         3},
        {"GuardedSignalsEndTheCollectorWithTheChecker_INTToTheChecker", "INT", "pid", true, false, 128 + 2, "", 0},
        {"GuardedSignalsEndTheCollectorWithTheChecker_INTToTheGroup", "INT", "group", true, false, 128 + 2, "", 0},
        {"GuardedSignalsEndTheCollectorWithTheChecker_TERM", "TERM", "pid", true, false, 128 + 15, "", 0},
        {"GuardedSignalsEndTheCollectorWithTheChecker_HUP", "HUP", "pid", true, false, 128 + 1, "", 0},
    };
}
} // namespace

TEST_P(SignalWhileACollectorRuns, EndsTheRunAsItShould)
{
    SKIP_WITHOUT_NAMESPACE();
    const SignalCase& entry = GetParam();
    const FaultRun run = RunSignalled(entry.pszSignal, entry.pszTarget, entry.bGuard, entry.bFinishCollector);
    ASSERT_SET_UP(run);
    EXPECT_EQ(run.nStatus, entry.nStatus);
    EXPECT_EQ(run.strStdout, entry.strStdout);
    if (entry.nSurvivors == 0)
    {
        EXPECT_EQ(run.strSurvivors, "");
    }
    else
    {
        EXPECT_EQ(Lines(run.strSurvivors).size(), entry.nSurvivors) << run.strSurvivors;
        EXPECT_NE(run.strSurvivors.find("collect.sh"), std::string::npos) << run.strSurvivors;
    }
    ExpectPackageAndLogIntact(run);
}

INSTANTIATE_TEST_SUITE_P(FaultSignals, SignalWhileACollectorRuns, ::testing::ValuesIn(SignalCases()),
                         [](const ::testing::TestParamInfo<SignalCase>& info) {
                             return std::string(info.param.pszName);
                         });

// ---------------------------------------------------------------------------
// Standard output and the standard streams
// ---------------------------------------------------------------------------

namespace
{
// A standard stream that is broken, full or closed while the checker runs
// (the shell that runs it, writing its exit status to "$out/status"), with
// or without the debug log: the exit status, what reached standard output
// and standard error, and, with the log, a log in whole lines that ends
// with the checker's last line and holds no report.
struct StreamCase
{
    const char* pszName;
    bool bLog;
    std::string strBody;
    int nStatus;
    std::string strStdout;
};

void PrintTo(const StreamCase& entry, std::ostream* pOut) { *pOut << entry.pszName; }

class StreamFault : public ::testing::TestWithParam<StreamCase>
{
};

// Runs the checker with the given redirections.
std::string CheckerWith(const std::string& strRedirections)
{
    return "\"$CHECKER\" hard " + strRedirections + "; echo $? > \"$out/status\"";
}

std::vector<StreamCase> StreamCases()
{
    return {
        // The report is written at once, into the pipe, before head goes
        // away.
        {"AReaderThatTakesTenBytesGetsThemAndTheCheckerExitsWithItsVerdict", false,
         "{ \"$CHECKER\" hard 2> \"$out/stderr\"; echo $? > \"$out/status\"; } | head -c 10 > \"$out/stdout\"", 1,
         kLoneReport.substr(0, 10)},
        // Standard output is a pipe whose reader has gone before the
        // checker starts: a fifo opened for reading and writing, opened
        // again for writing, and then closed for reading.
        {"AReaderThatIsGoneEndsTheCheckerWithSIGPIPE", false,
         "mkfifo \"$out/pipe\" && exec 4<> \"$out/pipe\" 5> \"$out/pipe\" 4<&-\n"
         "{ env --default-signal=PIPE \"$CHECKER\" hard 2> \"$out/stderr\"; echo $? > \"$out/status\"; } >&5\n"
         "exec 5>&-",
         128 + 13, ""},
        {"OnTheFullDeviceTheReportIsLostAndTheStatusKept", false, CheckerWith("> /dev/full 2> \"$out/stderr\""), 1, ""},
        {"ClosedStandardInputOrErrorChangeNothing_Input", true, CheckerWith("> \"$out/stdout\" 2> \"$out/stderr\" <&-"),
         1, kLoneReport},
        {"ClosedStandardInputOrErrorChangeNothing_Error", true,
         CheckerWith("> \"$out/stdout\" 2> \"$out/stderr\" 2>&-"), 1, kLoneReport},
        // "inv.xml" takes descriptor 1, the log the next free one: the
        // report, written to descriptor 1, fails and is lost; the exit
        // status still says what was found, and the log is whole.
        {"WithStandardOutputClosedTheReportIsLostAndTheStatusStays", true, CheckerWith("2> \"$out/stderr\" >&-"), 1,
         ""},
        {"AllThreeClosedStillGiveTheStatus", false, CheckerWith("<&- >&- 2>&-"), 1, ""},
    };
}
} // namespace

TEST_P(StreamFault, KeepsTheExitStatus)
{
    SKIP_WITHOUT_NAMESPACE();
    const StreamCase& entry = GetParam();
    Fault fault;
    fault.bLog = entry.bLog;
    fault.strBody = entry.strBody;
    const FaultRun run = RunFault(fault);
    ASSERT_SET_UP(run);
    EXPECT_EQ(run.nStatus, entry.nStatus);
    EXPECT_EQ(run.strStdout, entry.strStdout);
    EXPECT_EQ(run.strStderr, "");
    EXPECT_EQ(run.strSurvivors, "");
    EXPECT_EQ(run.bLogWritten, entry.bLog);
    if (entry.bLog)
    {
        EXPECT_EQ(run.strLog.find("requirements are met"), std::string::npos);
        const std::vector<std::string> vLines = Lines(run.strLog);
        ASSERT_FALSE(vLines.empty());
        EXPECT_EQ(MessageOf(vLines.back()), "CDependenciesChecker::~CDependenciesChecker ");
        ExpectWholeLines(run.strLog);
    }
}

INSTANTIATE_TEST_SUITE_P(FaultStandardStreams, StreamFault, ::testing::ValuesIn(StreamCases()),
                         [](const ::testing::TestParamInfo<StreamCase>& info) {
                             return std::string(info.param.pszName);
                         });

// ---------------------------------------------------------------------------
// Address-space limit on a large package
// ---------------------------------------------------------------------------

namespace
{
// What a run under an address-space limit may give: the whole verdict of the
// unlimited run, the "nothing to report" of a package description that could
// not be parsed (with the XML library's message), a check that says on
// standard error that it did not
// complete (exit 1, the installer stops), or the dynamic loader's refusal.
const std::string kMemorySweep =
    // What the XML library says when it cannot build the tree, and nothing
    // of the checker's own.
    "only_parser_messages() { grep -q ' error : ' \"$out/e\" && ! grep -q '^vexdepcheck: ' \"$out/e\"; }\n"
    "\"$CHECKER\" hard > \"$out/full.out\" 2> \"$out/full.err\"; echo $? > \"$out/status\"\n"
    "wc -c < \"$out/full.out\" > \"$out/stdout\"\n"
    "mb=30\n"
    "while [ $mb -le 132 ]; do\n"
    "  prlimit --as=$((mb * 1048576)) -- \"$CHECKER\" hard > \"$out/o\" 2> \"$out/e\"; s=$?\n"
    "  if [ $s -eq 1 ] && cmp -s \"$out/o\" \"$out/full.out\" && cmp -s \"$out/e\" \"$out/full.err\"; then c=whole\n"
    "  elif [ $s -eq 255 ] && [ ! -s \"$out/o\" ] && { [ ! -s \"$out/e\" ] || only_parser_messages; }; then c=nothing\n"
    "  elif [ $s -eq 1 ] && [ \"$(tail -n 1 \"$out/e\")\" = "
    "\"vexdepcheck: memory exhausted: the dependency check could not be completed\" ]; then c=not-completed\n"
    "  elif [ $s -eq 127 ]; then c=loader\n"
    "  else c=\"status $s with $(wc -c < \"$out/o\") bytes on standard output\"\n"
    "  fi\n"
    "  echo \"$mb MiB: $c\" >> \"$out/extra\"\n"
    "  mb=$((mb + 3))\n"
    "done\n";
} // namespace

// The sanitizers reserve far more address space than any limit here leaves.
TEST(FaultMemory, UnderAnyAddressSpaceLimitTheVerdictIsWholeOrTheRunSaysItIsNot)
{
    SKIP_WITHOUT_NAMESPACE();
    SKIP_IN_SANITIZED_BUILD();
    Fault fault;
    fault.vEnvironment = {std::string("BENCH=") + VEXDEP_BENCH_EXECUTABLE};
    // 10,000 dependencies over 100 release directories.
    fault.strPrepare = "rm -rf -- ./* && \"$BENCH\" generate --out . -n 10000 > /dev/null";
    fault.strBody = kMemorySweep;
    const FaultRun run = RunFault(fault);
    ASSERT_SET_UP(run);
    ASSERT_EQ(run.nStatus, 1) << "the unlimited run";
    ASSERT_GT(std::stol(run.strStdout), 0) << "the unlimited run reports nothing";
    std::set<std::string> outcomes;
    for (const std::string& strLine : Lines(run.strExtra))
    {
        const std::string strOutcome = strLine.substr(strLine.find(": ") + 2);
        outcomes.insert(strOutcome);
        EXPECT_TRUE(strOutcome == "whole" || strOutcome == "nothing" || strOutcome == "not-completed" ||
                    strOutcome == "loader")
            << strLine;
    }
    // The sweep reaches from below what the run needs to above it.
    EXPECT_EQ(outcomes.count("whole"), 1u) << run.strExtra;
    EXPECT_GT(outcomes.size(), 1u) << run.strExtra;
    EXPECT_EQ(run.strSurvivors, "");
}

// ---------------------------------------------------------------------------
// Two runs on the same package at the same moment
// ---------------------------------------------------------------------------

namespace
{
// The report of a lone run with the blocks of some dependencies left out.
bool IsLoneReportWithBlocksLeftOut(const std::string& strReport)
{
    for (const std::string& strCandidate :
         {kLoneReport, kHeading + kBackplane + " \n", kHeading + kNetwork + " \n", std::string()})
    {
        if (strReport == strCandidate)
        {
            return true;
        }
    }
    return false;
}
} // namespace

TEST(FaultConcurrentRuns, TwoCheckersEachGiveTheLoneVerdictOrOneWithoutADocumentTheOtherTruncated)
{
    SKIP_WITHOUT_NAMESPACE();
    Fault fault;
    fault.strBody =
        "n=0; while [ $n -lt 10 ]; do\n"
        "  \"$CHECKER\" hard > \"$out/a$n\" 2> /dev/null & a=$!\n"
        "  \"$CHECKER\" hard > \"$out/b$n\" 2> /dev/null & b=$!\n"
        "  wait $a; echo \"a$n $?\" >> \"$out/extra\"; wait $b; echo \"b$n $?\" >> \"$out/extra\"\n"
        "  cat \"$out/a$n\" \"$out/b$n\" > /dev/null; n=$((n+1))\n"
        "done\n"
        "for f in \"$out\"/a* \"$out\"/b*; do printf '%s\\0' \"$(cat \"$f\"; echo x)\"; done > \"$out/stdout\"";
    const FaultRun run = RunFault(fault);
    ASSERT_SET_UP(run);
    EXPECT_EQ(run.strSurvivors, "");
    std::size_t nReports = 0;
    std::istringstream issReports(run.strStdout);
    std::string strReport;
    while (std::getline(issReports, strReport, '\0'))
    {
        ++nReports;
        ASSERT_FALSE(strReport.empty());
        strReport.pop_back(); // the "x" that kept trailing line ends
        EXPECT_TRUE(IsLoneReportWithBlocksLeftOut(strReport)) << strReport;
    }
    EXPECT_EQ(nReports, 20u);
    for (const std::string& strLine : Lines(run.strExtra))
    {
        const std::string strStatus = strLine.substr(strLine.find(' ') + 1);
        EXPECT_TRUE(strStatus == "1" || strStatus == "255") << strLine;
    }
}

TEST(FaultConcurrentRuns, ACheckerAndExplainOnTheSamePackageNeverCrash)
{
    SKIP_WITHOUT_NAMESPACE();
    Fault fault;
    fault.strBody = "\"$CHECKER\" hard > \"$out/stdout\" 2> /dev/null & a=$!\n"
                    "\"$INSPECT\" explain hard --json > \"$out/extra\" 2> /dev/null & b=$!\n"
                    "wait $a; echo $? > \"$out/status\"; wait $b; echo $? > \"$out/stderr\"";
    const FaultRun run = RunFault(fault);
    ASSERT_SET_UP(run);
    EXPECT_TRUE(IsLoneReportWithBlocksLeftOut(run.strStdout)) << run.strStdout;
    EXPECT_EQ(run.strStderr, "0\n");
    const nlohmann::json json = nlohmann::json::parse(run.strExtra);
    const std::string strVerdict = json["verdict"];
    EXPECT_TRUE(strVerdict == "blocked" || strVerdict == "unverifiable") << json["reasons"].dump();
    EXPECT_EQ(run.strSurvivors, "");
}
