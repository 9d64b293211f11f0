#include "LinuxImpl.h"
#include "Logger.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <map>
#include <set>
#include <cstring>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using vextest::ReadLogMessages;
using vextest::ScopedCwd;
using vextest::TempDir;

namespace
{
using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point tStart) { return std::chrono::duration<double>(Clock::now() - tStart).count(); }

bool Contains(const std::vector<std::string>& vLines, const std::string& strLine)
{
    return std::find(vLines.begin(), vLines.end(), strLine) != vLines.end();
}

// A Linux platform object whose commands, library loads, sleeps, kernel name
// and release file are scripted, so that the decisions of the hardware-access
// library, USB storage and ESX logic run without their side effects.
class FakeLinuxImpl : public CLinuxImpl
{
public:
    int ExecuteCmd(const std::string& strCommand, bool, const int64_t&) override
    {
        vCommands.push_back(strCommand);
        auto it = mCommandResults.find(strCommand);
        if (it == mCommandResults.end() || it->second.empty())
        {
            return 0;
        }
        const int nResult = it->second.front();
        if (it->second.size() > 1)
        {
            it->second.pop_front();
        }
        return nResult;
    }

    void* LoadLibrary(const std::string& strName) override
    {
        vLoads.push_back(strName);
        return sLoadable.count(strName) != 0 ? reinterpret_cast<void*>(0x1) : nullptr;
    }

    void FreeLibrary(void* pHandle) override { vFreed.push_back(pHandle); }

    void Sleep(int nSeconds) override { vSleeps.push_back(nSeconds); }

    std::string getCurrentProcessDirectory() override { return "/pkg/bin/"; }

    std::map<std::string, std::deque<int>> mCommandResults;
    std::set<std::string> sLoadable;
    std::vector<std::string> vCommands;
    std::vector<std::string> vLoads;
    std::vector<void*> vFreed;
    std::vector<int> vSleeps;
    std::string strKernelName = "Linux";
    std::string strReleasePath = "/nonexistent/vmware-release";

protected:
    bool GetKernelName(std::string& strName) override
    {
        strName = strKernelName;
        return true;
    }
    std::string GetVMwareReleasePath() override { return strReleasePath; }
};

const char* const kInstall = "/pkg/bin//vextamberinstall.sh install";
const char* const kUninstall = "/pkg/bin//vextamberinstall.sh uninstall";
const char* const kLibDir = "/opt/brix/vex64/lib/";
const char* const kUSBBuiltin =
    "grep -i \"usb[-_]storage.ko\" /lib/modules/$(uname -r)/modules.builtin  > /dev/null 2>&1";
const char* const kLsmod = "lsmod | grep usb_storage  > /dev/null 2>&1";
const char* const kModprobe = "modprobe usb_storage  > /dev/null 2>&1";
const char* const kRmmod = "rmmod usb_storage  > /dev/null 2>&1";

// The hardware-access and USB counters are process-wide; each test starts
// them afresh (and runs in its own process besides).
class LinuxImplStateTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        CLinuxImpl::nZEPHInstallRefCount = 0;
        CLinuxImpl::bZEPHAlreadyInstalled = false;
        CLinuxImpl::bUSBBlocklistCheckDone = false;
        CLinuxImpl::bUSBDriverNotLoaded = false;
        CLinuxImpl::bUSBDriverLoadedByVEX = false;
        vextest::StartLogging(m_dir.File("baseutils.log"));
    }

    std::vector<std::string> Log() const { return ReadLogMessages(m_dir.File("baseutils.log")); }

    TempDir m_dir;
    FakeLinuxImpl m_impl;
};
} // namespace

// ---------------------------------------------------------------------------
// Hardware-access library
// ---------------------------------------------------------------------------

TEST_F(LinuxImplStateTest, InstallRunsTheScriptWhenTheLibraryIsMissing)
{
    EXPECT_EQ(m_impl.InstallZeph(), 0);
    EXPECT_EQ(m_impl.vCommands, std::vector<std::string>{kInstall});
    EXPECT_EQ(m_impl.vLoads, (std::vector<std::string>{std::string(kLibDir) + "libzephpm.so",
                                                       std::string(kLibDir) + "libzephpm64.so"}));
    EXPECT_EQ(Log(), (std::vector<std::string>{
                         "Load library using /opt/brix/vex64/lib/libzephpm.so",
                         "Load library using /opt/brix/vex64/lib/libzephpm64.so",
                         "InstallZeph: Custom Zeph Not Already Present",
                         std::string("Executimg command: ") + kInstall,
                         "InstallZeph: Custome Zeph Installed Successfully",
                     }));
}

TEST_F(LinuxImplStateTest, TwoInstallsRunTheScriptAtMostOnce)
{
    EXPECT_EQ(m_impl.InstallZeph(), 0);
    const std::size_t nLoadsAfterFirst = m_impl.vLoads.size();
    EXPECT_EQ(m_impl.InstallZeph(), 0);
    EXPECT_EQ(m_impl.vCommands, std::vector<std::string>{kInstall});
    EXPECT_EQ(m_impl.vLoads.size(), nLoadsAfterFirst);
    EXPECT_EQ(CLinuxImpl::nZEPHInstallRefCount, 2);
}

TEST_F(LinuxImplStateTest, UninstallWithoutInstallLeavesTheCountAtMinusOne)
{
    EXPECT_EQ(m_impl.UninstallZeph(), 0);
    EXPECT_EQ(CLinuxImpl::nZEPHInstallRefCount, -1);
    EXPECT_TRUE(m_impl.vCommands.empty());
    // The next install sees a non-zero count and returns without checking.
    EXPECT_EQ(m_impl.InstallZeph(), 0);
    EXPECT_TRUE(m_impl.vLoads.empty());
    EXPECT_TRUE(m_impl.vCommands.empty());
    EXPECT_EQ(CLinuxImpl::nZEPHInstallRefCount, 0);
    EXPECT_TRUE(Log().empty());
}

TEST_F(LinuxImplStateTest, OnlyTheLastUninstallRunsTheScript)
{
    m_impl.InstallZeph();
    m_impl.InstallZeph();
    m_impl.vCommands.clear();
    EXPECT_EQ(m_impl.UninstallZeph(), 0);
    EXPECT_TRUE(m_impl.vCommands.empty());
    EXPECT_EQ(m_impl.UninstallZeph(), 0);
    EXPECT_EQ(m_impl.vCommands, std::vector<std::string>{kUninstall});
    EXPECT_EQ(Log().back(), "UninstallZeph: Zeph Uninstalled Successfully");
}

TEST_F(LinuxImplStateTest, LibraryPresentBeforeInstallIsNeverUninstalled)
{
    m_impl.sLoadable.insert(std::string(kLibDir) + "libzephpm.so");
    EXPECT_EQ(m_impl.InstallZeph(), 0);
    EXPECT_TRUE(CLinuxImpl::bZEPHAlreadyInstalled);
    EXPECT_TRUE(m_impl.vCommands.empty());
    EXPECT_EQ(m_impl.vFreed.size(), 1u);
    EXPECT_EQ(m_impl.UninstallZeph(), 0);
    EXPECT_TRUE(m_impl.vCommands.empty());
    EXPECT_EQ(Log(), (std::vector<std::string>{
                         "Load library using /opt/brix/vex64/lib/libzephpm.so",
                         "ZEPH is installed in the system",
                         "UninstallZeph: Zeph Uninstalled Successfully",
                     }));
}

TEST_F(LinuxImplStateTest, FailedInstallAcceptsTheManagementProductsCopy)
{
    m_impl.mCommandResults[kInstall] = {256};
    m_impl.sLoadable.insert("libzephpm64.so");
    EXPECT_EQ(m_impl.InstallZeph(), 0);
    const std::vector<std::string> vLog = Log();
    EXPECT_TRUE(Contains(vLog, "InstallZeph: Zeph Installation Failed"));
    EXPECT_EQ(vLog.back(), "InstallZeph: Found KOVA Zeph");
    EXPECT_EQ(m_impl.vLoads.back(), "libzephpm64.so");
}

TEST_F(LinuxImplStateTest, FailedInstallWithoutAnyCopyReturnsOne)
{
    m_impl.mCommandResults[kInstall] = {256};
    EXPECT_EQ(m_impl.InstallZeph(), 1);
    EXPECT_EQ(Log().back(), "InstallZeph: KOVA Zeph Not Present");
}

TEST_F(LinuxImplStateTest, ESXiUsesItsOwnLibraryDirectory)
{
    m_impl.strKernelName = "vmkernel";
    EXPECT_TRUE(m_impl.isESXiSystem());
    EXPECT_FALSE(m_impl.isZEPHInstalled());
    EXPECT_EQ(m_impl.vLoads.front(), "/scratch/opt/brix/vex/lib/libzephpm.so");
}

TEST_F(LinuxImplStateTest, LoadZephLibraryFallsBackToTheBareName)
{
    m_impl.strKernelName = "VMkernel";
    EXPECT_EQ(m_impl.LoadZephLibrary("libx.so"), nullptr);
    EXPECT_EQ(m_impl.vLoads, (std::vector<std::string>{"/scratch/opt/brix/vex/lib/libx.so", "libx.so"}));
    EXPECT_EQ(Log(), (std::vector<std::string>{
                         "LoadZephLibrary: Unable to Load libx.so from /opt/brix/vex64/lib/",
                         "LoadZephLibrary: Unable to Load libx.so from KOVA",
                     }));

    m_impl.sLoadable.insert("libx.so");
    EXPECT_NE(m_impl.LoadZephLibrary("libx.so"), nullptr);
}

// ---------------------------------------------------------------------------
// ESX detection
// ---------------------------------------------------------------------------

TEST_F(LinuxImplStateTest, ESXReleaseFileFirstLineDecides)
{
    m_impl.strReleasePath = m_dir.File("vmware-release");
    EXPECT_FALSE(m_impl.isESXSystem()) << "no file";

    vextest::WriteFile(m_impl.strReleasePath, "VMware ESX 4.1 (Kandinsky)\nVMware ESX Server 3\n");
    EXPECT_TRUE(m_impl.isESXSystem());
    vextest::WriteFile(m_impl.strReleasePath, "VMware ESX Server 3 (Dali)\n");
    EXPECT_TRUE(m_impl.isESXSystem());
    vextest::WriteFile(m_impl.strReleasePath, "VMware ESX 4.0\n");
    EXPECT_TRUE(m_impl.isESXSystem());
    vextest::WriteFile(m_impl.strReleasePath, "VMware ESXi 5\n");
    EXPECT_FALSE(m_impl.isESXSystem());
    vextest::WriteFile(m_impl.strReleasePath, "something\nVMware ESX 4.1\n");
    EXPECT_FALSE(m_impl.isESXSystem()) << "only the first line counts";

    EXPECT_EQ(Log(), (std::vector<std::string>{
                         "getLinuxOSVer: ESX 4 Found",
                         "getLinuxOSVer: ESX 3 Found",
                         "getLinuxOSVer: ESX 4 Found",
                         "getLinuxOSVer: Unrecognized VMWare Found",
                         "getLinuxOSVer: Unrecognized VMWare Found",
                     }));
}

TEST_F(LinuxImplStateTest, ESXReleaseLineIsCutAt1024Characters)
{
    m_impl.strReleasePath = m_dir.File("vmware-release");
    vextest::WriteFile(m_impl.strReleasePath, std::string(1020, 'x') + "VMware ESX 4\n");
    EXPECT_FALSE(m_impl.isESXSystem());
    vextest::WriteFile(m_impl.strReleasePath, std::string(1012, 'x') + "VMware ESX 4\n");
    EXPECT_TRUE(m_impl.isESXSystem());
}

TEST(LinuxImplKernel, ThisMachineIsNotESXi)
{
    CLinuxImpl impl;
    EXPECT_FALSE(impl.isESXiSystem());
}

// ---------------------------------------------------------------------------
// USB storage module
// ---------------------------------------------------------------------------

TEST_F(LinuxImplStateTest, BuiltInUSBStorageIsNotBlocklistedAndTouchesNoFlag)
{
    m_impl.mCommandResults[kUSBBuiltin] = {0};
    EXPECT_FALSE(m_impl.isUSBblocklisted());
    EXPECT_EQ(m_impl.vCommands, std::vector<std::string>{kUSBBuiltin});
    EXPECT_FALSE(CLinuxImpl::bUSBBlocklistCheckDone);
    EXPECT_FALSE(CLinuxImpl::bUSBDriverNotLoaded);
    EXPECT_FALSE(CLinuxImpl::bUSBDriverLoadedByVEX);
    EXPECT_EQ(Log(), (std::vector<std::string>{
                         " CLinuxImpl::isUSBblocklisted Start",
                         " CLinuxImpl::isUSBStorageStaticallyLinked Start",
                         "CLinuxImpl::isUSBStorageStaticallyLinked usb_storage is built with kernel",
                     }));
}

TEST_F(LinuxImplStateTest, ESXAndESXiSkipTheUSBCheck)
{
    m_impl.strKernelName = "VMkernel";
    EXPECT_FALSE(m_impl.isUSBblocklisted());
    EXPECT_TRUE(m_impl.vCommands.empty());
    EXPECT_EQ(Log().back(), " CLinuxImpl::Skipping USB blocklisting check for ESXi and ESX");

    m_impl.strKernelName = "Linux";
    m_impl.strReleasePath = m_dir.File("vmware-release");
    vextest::WriteFile(m_impl.strReleasePath, "VMware ESX 4.1\n");
    EXPECT_FALSE(m_impl.isUSBblocklisted());
    EXPECT_TRUE(m_impl.vCommands.empty());
}

TEST_F(LinuxImplStateTest, ModulePresentAlready)
{
    m_impl.mCommandResults[kUSBBuiltin] = {256};
    m_impl.mCommandResults[kLsmod] = {0};
    EXPECT_FALSE(m_impl.isUSBblocklisted());
    EXPECT_EQ(m_impl.vCommands, (std::vector<std::string>{kUSBBuiltin, kLsmod}));
    EXPECT_TRUE(CLinuxImpl::bUSBBlocklistCheckDone);
    EXPECT_FALSE(CLinuxImpl::bUSBDriverLoadedByVEX);
    EXPECT_EQ(Log(), (std::vector<std::string>{
                         " CLinuxImpl::isUSBblocklisted Start",
                         " CLinuxImpl::isUSBStorageStaticallyLinked Start",
                         " CLinuxImpl::isUSBStorageStaticallyLinked End",
                         " CLinuxImpl::isUSBblocklisted check is being done for the first time.",
                         "CLinuxImpl::isUSBblocklisted usb_storage module is already present.",
                         " CLinuxImpl::isUSBblocklisted End",
                     }));
}

TEST_F(LinuxImplStateTest, ModuleLoadedByThisProcessIsUnloadedWithRetries)
{
    m_impl.mCommandResults[kUSBBuiltin] = {256};
    m_impl.mCommandResults[kLsmod] = {256, 0};
    m_impl.mCommandResults[kModprobe] = {0};
    EXPECT_FALSE(m_impl.isUSBblocklisted());
    EXPECT_TRUE(CLinuxImpl::bUSBDriverLoadedByVEX);
    EXPECT_TRUE(Contains(Log(), "CLinuxImpl::isUSBblocklisted loading usb_storage module is successful."));

    // A second call answers from the first check.
    m_impl.vCommands.clear();
    EXPECT_FALSE(m_impl.isUSBblocklisted());
    EXPECT_EQ(m_impl.vCommands, std::vector<std::string>{kUSBBuiltin});
    EXPECT_TRUE(Contains(Log(), " CLinuxImpl::isUSBblocklisted check has already been performed earlier."));

    // rmmod fails twice, then succeeds: two one-second pauses.
    m_impl.vCommands.clear();
    m_impl.mCommandResults[kRmmod] = {256, 256, 0};
    m_impl.unloadUSB();
    EXPECT_EQ(m_impl.vCommands, (std::vector<std::string>{kRmmod, kRmmod, kRmmod}));
    EXPECT_EQ(m_impl.vSleeps, (std::vector<int>{1, 1}));
    EXPECT_FALSE(CLinuxImpl::bUSBBlocklistCheckDone);
    EXPECT_FALSE(CLinuxImpl::bUSBDriverLoadedByVEX);
    EXPECT_FALSE(CLinuxImpl::bUSBDriverNotLoaded);
    const std::vector<std::string> vLog = Log();
    EXPECT_EQ(std::vector<std::string>(vLog.end() - 5, vLog.end()),
              (std::vector<std::string>{
                  " CLinuxImpl::unloadUSB usb module need be unloaded",
                  "CLinuxImpl::unloadUSB unloading usb module is not successful.",
                  "CLinuxImpl::unloadUSB unloading usb module is not successful.",
                  "CLinuxImpl::unloadUSB unloading usb module is successful.",
                  " CLinuxImpl::unloadUSB End",
              }));
}

TEST_F(LinuxImplStateTest, UnloadGivesUpAfter59Attempts)
{
    CLinuxImpl::bUSBDriverLoadedByVEX = true;
    m_impl.mCommandResults[kRmmod] = {256};
    m_impl.unloadUSB();
    EXPECT_EQ(m_impl.vCommands.size(), 59u);
    EXPECT_EQ(m_impl.vSleeps.size(), 59u);
    EXPECT_FALSE(CLinuxImpl::bUSBDriverLoadedByVEX);
}

TEST_F(LinuxImplStateTest, FailedLoadIsBlocklistedAndUnloadRunsNoRmmod)
{
    m_impl.mCommandResults[kUSBBuiltin] = {256};
    m_impl.mCommandResults[kLsmod] = {256};
    m_impl.mCommandResults[kModprobe] = {256};
    EXPECT_TRUE(m_impl.isUSBblocklisted());
    EXPECT_TRUE(CLinuxImpl::bUSBDriverNotLoaded);
    EXPECT_TRUE(Contains(Log(), "CLinuxImpl::isUSBblocklisted usb_storage module is not loaded. Attempt to load "
                                "it was unsuccessful."));

    m_impl.vCommands.clear();
    m_impl.unloadUSB();
    EXPECT_TRUE(m_impl.vCommands.empty());
    EXPECT_FALSE(CLinuxImpl::bUSBBlocklistCheckDone);
    EXPECT_FALSE(CLinuxImpl::bUSBDriverNotLoaded);
    EXPECT_FALSE(CLinuxImpl::bUSBDriverLoadedByVEX);
    const std::vector<std::string> vLog = Log();
    EXPECT_EQ(std::vector<std::string>(vLog.end() - 3, vLog.end()),
              (std::vector<std::string>{" CLinuxImpl::unloadUSB Start", " CLinuxImpl::unloadUSB is not required.",
                                        " CLinuxImpl::unloadUSB End"}));
}

TEST_F(LinuxImplStateTest, ModprobeSucceedsButModuleStillAbsent)
{
    m_impl.mCommandResults[kUSBBuiltin] = {256};
    m_impl.mCommandResults[kLsmod] = {256};
    m_impl.mCommandResults[kModprobe] = {0};
    EXPECT_TRUE(m_impl.isUSBblocklisted());
    EXPECT_EQ(m_impl.vCommands, (std::vector<std::string>{kUSBBuiltin, kLsmod, kModprobe, kLsmod}));
    EXPECT_FALSE(CLinuxImpl::bUSBDriverLoadedByVEX);
}

// ---------------------------------------------------------------------------
// Commands
// ---------------------------------------------------------------------------

TEST(LinuxImplCommands, ExecuteCmdReturnsTheRawWaitStatus)
{
    CLinuxImpl impl;
    EXPECT_EQ(impl.ExecuteCmd("true", true, 1000), 0);
    const int nStatus = impl.ExecuteCmd("exit 3", true, 1000);
    ASSERT_TRUE(WIFEXITED(nStatus));
    EXPECT_EQ(WEXITSTATUS(nStatus), 3);
}

TEST(LinuxImplCommands, ExecuteCmdIgnoresItsTimeLimit)
{
    CLinuxImpl impl;
    const Clock::time_point tStart = Clock::now();
    EXPECT_EQ(impl.ExecuteCmd("sleep 1.2", false, 100), 0);
    EXPECT_GE(SecondsSince(tStart), 1.1);
}

TEST(LinuxImplCommands, ExecuteCmdNoWaitReturnsAtOnce)
{
    TempDir dir;
    CLinuxImpl impl;
    const std::string strMarker = dir.File("done");
    const std::string strGo = dir.File("go");
    // The command finishes only once the test lets it (or after 30 s).
    const Clock::time_point tStart = Clock::now();
    EXPECT_EQ(
        impl.ExecuteCmdNoWait("(" + vextest::ShellWaitsForFile(strGo, 30) + "; touch " + strMarker + ")", true, 0), 0);
    EXPECT_LT(SecondsSince(tStart), 20.0);
    EXPECT_FALSE(vextest::FileExists(strMarker));
    vextest::WriteFile(strGo, "");
    EXPECT_TRUE(vextest::WaitForFile(strMarker, 10));
}

TEST(LinuxImplCommands, TimedCommandThatEndsInTimeKeepsItsStatus)
{
    CLinuxImpl impl;
    bool bTimedOut = true;
    const int nStatus = impl.ExecuteCmdWithTimeout("exit 4", 5000, bTimedOut);
    EXPECT_FALSE(bTimedOut);
    ASSERT_TRUE(WIFEXITED(nStatus));
    EXPECT_EQ(WEXITSTATUS(nStatus), 4);
}

TEST(LinuxImplCommands, TimedCommandSharesTheStandardStreams)
{
    TempDir dir;
    CLinuxImpl impl;
    bool bTimedOut = false;
    EXPECT_EQ(impl.ExecuteCmdWithTimeout("echo out > " + dir.File("o") + "; pwd > " + dir.File("p"), 5000, bTimedOut),
              0);
    EXPECT_EQ(vextest::ReadFile(dir.File("o")), "out\n");
    EXPECT_EQ(vextest::ReadFile(dir.File("p")), vextest::CurrentDirectory() + "\n");
}

TEST(LinuxImplCommands, TimedCommandIsEndedWithItsWholeProcessGroup)
{
    TempDir dir;
    CLinuxImpl impl;
    // The shell starts a grandchild that would outlive a plain kill of the
    // shell, and records its process ID.
    const std::string strPidFile = dir.File("grandchild.pid");
    const std::string strCommand = "sleep 1000 & echo $! > " + strPidFile + "; wait";
    bool bTimedOut = false;
    const Clock::time_point tStart = Clock::now();
    // A limit long enough for a busy machine's shell to have started the
    // grandchild and recorded it.
    const int nStatus = impl.ExecuteCmdWithTimeout(strCommand, 1500, bTimedOut);
    const double dElapsed = SecondsSince(tStart);
    EXPECT_TRUE(bTimedOut);
    EXPECT_GE(dElapsed, 1.45);
    EXPECT_LT(dElapsed, 1.5 + CLinuxImpl::nTerminateGraceMs / 1000.0 + 1.0);
    EXPECT_TRUE(WIFSIGNALED(nStatus));
    const pid_t nGrandchild = std::stoi(vextest::ReadFile(strPidFile));
    EXPECT_NE(kill(nGrandchild, 0), 0) << "grandchild " << nGrandchild << " survived";
}

TEST(LinuxImplCommands, TimedCommandThatIgnoresSIGTERMIsKilled)
{
    CLinuxImpl impl;
    bool bTimedOut = false;
    const Clock::time_point tStart = Clock::now();
    // A limit long enough for a busy machine's shell to have set its trap.
    const int nStatus = impl.ExecuteCmdWithTimeout("trap '' TERM; while :; do sleep 0.05; done", 1000, bTimedOut);
    EXPECT_TRUE(bTimedOut);
    ASSERT_TRUE(WIFSIGNALED(nStatus));
    EXPECT_EQ(WTERMSIG(nStatus), SIGKILL);
    EXPECT_LT(SecondsSince(tStart), 1.0 + CLinuxImpl::nTerminateGraceMs / 1000.0 + 1.0);
}

TEST(LinuxImplCommands, BackgroundProcessesLeftBehindAreEnded)
{
    TempDir dir;
    CLinuxImpl impl;
    const std::string strPidFile = dir.File("child.pid");
    bool bTimedOut = true;
    const Clock::time_point tStart = Clock::now();
    EXPECT_EQ(impl.ExecuteCmdWithTimeout("sleep 1000 > /dev/null 2>&1 & echo $! > " + strPidFile, 5000, bTimedOut), 0);
    EXPECT_FALSE(bTimedOut);
    EXPECT_LT(SecondsSince(tStart), 0.5 + CLinuxImpl::nTerminateGraceMs / 1000.0);
    const pid_t nChild = std::stoi(vextest::ReadFile(strPidFile));
    EXPECT_NE(kill(nChild, 0), 0) << "background child " << nChild << " survived";
}

namespace
{
volatile sig_atomic_t g_nCaught = 0;
void CatchSignal(int nSignal) { g_nCaught = nSignal; }

// Installs CatchSignal for a signal for the test's lifetime.
class ScopedCatch
{
public:
    explicit ScopedCatch(int nSignal) : m_nSignal(nSignal)
    {
        g_nCaught = 0;
        struct sigaction action = {};
        action.sa_handler = CatchSignal;
        sigaction(nSignal, &action, &m_previous);
    }
    ~ScopedCatch() { sigaction(m_nSignal, &m_previous, nullptr); }

private:
    int m_nSignal;
    struct sigaction m_previous;
};
} // namespace

class LinuxImplSignals : public ::testing::TestWithParam<int>
{
};

TEST_P(LinuxImplSignals, SignalToTheCheckerIsPassedOnToTheTimedCommandsGroup)
{
    const int nSignal = GetParam();
    ScopedCatch caught(nSignal);
    TempDir dir;
    CLinuxImpl impl;
    // The shell records the forwarded signal in a trap, which its wait
    // runs at once.
    const std::string strName = std::to_string(nSignal);
    const std::string strCommand = "trap 'echo " + strName + " > " + dir.File("got") + "; exit 7' " + strName +
                                   "; sleep 1000 > /dev/null 2>&1 & echo $! > " + dir.File("child.pid") + "; kill -" +
                                   strName + " " + std::to_string(getpid()) + "; wait";
    bool bTimedOut = true;
    const Clock::time_point tStart = Clock::now();
    const int nStatus = impl.ExecuteCmdWithTimeout(strCommand, 60000, bTimedOut);
    EXPECT_LT(SecondsSince(tStart), CLinuxImpl::nTerminateGraceMs / 1000.0 + 2.0);
    EXPECT_FALSE(bTimedOut);
    // The signal reached the command's shell, and then this process.
    ASSERT_TRUE(WIFEXITED(nStatus));
    EXPECT_EQ(WEXITSTATUS(nStatus), 7);
    EXPECT_EQ(vextest::ReadFile(dir.File("got")), strName + "\n");
    EXPECT_EQ(g_nCaught, nSignal);
    const pid_t nChild = std::stoi(vextest::ReadFile(dir.File("child.pid")));
    EXPECT_NE(kill(nChild, 0), 0) << "child " << nChild << " survived";
    // The process's own handler is back.
    struct sigaction now = {};
    sigaction(nSignal, nullptr, &now);
    EXPECT_EQ(now.sa_handler, CatchSignal);
}

INSTANTIATE_TEST_SUITE_P(ForwardedSignals, LinuxImplSignals, ::testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST(LinuxImplCommands, SignalWithItsDefaultActionEndsTheProcessAfterTheTimedCommand)
{
    TempDir dir;
    const std::string strPidFile = dir.File("child.pid");
    EXPECT_EXIT(
        {
            signal(SIGINT, SIG_DFL);
            CLinuxImpl impl;
            bool bTimedOut = false;
            impl.ExecuteCmdWithTimeout("sleep 1000 > /dev/null 2>&1 & echo $! > " + strPidFile + "; kill -INT " +
                                           std::to_string(getpid()) + "; sleep 1000",
                                       60000, bTimedOut);
            std::exit(0);
        },
        ::testing::KilledBySignal(SIGINT), "");
    const pid_t nChild = std::stoi(vextest::ReadFile(strPidFile));
    EXPECT_NE(kill(nChild, 0), 0) << "child " << nChild << " survived";
}

TEST(LinuxImplCommands, IgnoredSignalStaysIgnoredDuringTheTimedCommand)
{
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    struct sigaction previous = {};
    sigaction(SIGHUP, &ignore, &previous);
    TempDir dir;
    CLinuxImpl impl;
    bool bTimedOut = false;
    // The command inherits the ignored disposition too.
    const int nStatus = impl.ExecuteCmdWithTimeout(
        "kill -HUP " + std::to_string(getpid()) + "; kill -HUP $$; sleep 0.2; exit 3", 10000, bTimedOut);
    struct sigaction now = {};
    sigaction(SIGHUP, nullptr, &now);
    sigaction(SIGHUP, &previous, nullptr);
    ASSERT_TRUE(WIFEXITED(nStatus));
    EXPECT_EQ(WEXITSTATUS(nStatus), 3);
    EXPECT_EQ(now.sa_handler, SIG_IGN);
}

TEST(LinuxImplEnvironment, VariablesAreReadFromTheEnvironment)
{
    CLinuxImpl impl;
    setenv("VEXDEP_TEST_VARIABLE", "a value", 1);
    std::string strValue;
    EXPECT_TRUE(impl.GetEnvironmentVariable("VEXDEP_TEST_VARIABLE", strValue));
    EXPECT_EQ(strValue, "a value");
    setenv("VEXDEP_TEST_VARIABLE", "", 1);
    EXPECT_TRUE(impl.GetEnvironmentVariable("VEXDEP_TEST_VARIABLE", strValue));
    EXPECT_EQ(strValue, "");
    unsetenv("VEXDEP_TEST_VARIABLE");
    strValue = "kept";
    EXPECT_FALSE(impl.GetEnvironmentVariable("VEXDEP_TEST_VARIABLE", strValue));
    EXPECT_EQ(strValue, "kept");
}

// ---------------------------------------------------------------------------
// Directories and files
// ---------------------------------------------------------------------------

TEST(LinuxImplFiles, CurrentDirectoryEndsInASlash)
{
    TempDir dir;
    ScopedCwd cwd(dir.Path());
    CLinuxImpl impl;
    EXPECT_EQ(impl.getCurrentDirectory(), vextest::CurrentDirectory() + "/");
}

TEST(LinuxImplFiles, VeryDeepCurrentDirectoryIsReportedWhole)
{
    TempDir dir;
    std::string strPath = dir.Path();
    while (strPath.size() < 2300)
    {
        strPath += "/" + std::string(100, 'd');
        vextest::MakeDirectory(strPath);
    }
    ScopedCwd cwd(strPath);
    CLinuxImpl impl;
    EXPECT_EQ(impl.getCurrentDirectory(), vextest::CurrentDirectory() + "/");
}

TEST(LinuxImplFiles, SetCurrentDirectoryOnAMissingDirectoryReturnsTrueAndStays)
{
    TempDir dir;
    ScopedCwd cwd(dir.Path());
    CLinuxImpl impl;
    const std::string strBefore = vextest::CurrentDirectory();
    EXPECT_TRUE(impl.setCurrentDirectory(dir.File("does-not-exist")));
    EXPECT_EQ(vextest::CurrentDirectory(), strBefore);
}

TEST(LinuxImplFiles, SetCurrentDirectoryChanges)
{
    TempDir dir;
    vextest::MakeDirectory(dir.File("sub"));
    ScopedCwd cwd(dir.Path());
    CLinuxImpl impl;
    EXPECT_TRUE(impl.setCurrentDirectory("sub"));
    EXPECT_EQ(impl.getCurrentDirectory(), vextest::CurrentDirectory() + "/");
    EXPECT_EQ(vextest::CurrentDirectory().substr(vextest::CurrentDirectory().size() - 4), "/sub");
}

TEST(LinuxImplFiles, ProcessDirectoryIsTheExecutablesDirectory)
{
    CLinuxImpl impl;
    char szExe[4096] = {};
    ASSERT_GT(readlink("/proc/self/exe", szExe, sizeof(szExe) - 1), 0);
    std::string strExe(szExe);
    EXPECT_EQ(impl.getCurrentProcessDirectory(), strExe.substr(0, strExe.rfind('/') + 1));
}

TEST(LinuxImplFiles, RelativeNamesResolveAlikeAbsoluteOnlyForIsFileExistsAbs)
{
    TempDir dir;
    vextest::WriteFile(dir.File("inv.xml"), "<x/>");
    ScopedCwd cwd(dir.Path());
    CLinuxImpl impl;
    EXPECT_TRUE(impl.IsFileExits("inv.xml"));
    EXPECT_TRUE(impl.IsFileExistsAbs("inv.xml"));
    EXPECT_FALSE(impl.IsFileExits("missing.xml"));
    EXPECT_FALSE(impl.IsFileExistsAbs("missing.xml"));

    // An absolute name is joined below the working directory by IsFileExits.
    EXPECT_TRUE(impl.IsFileExistsAbs(dir.File("inv.xml")));
    EXPECT_FALSE(impl.IsFileExits(dir.File("inv.xml")));
    vextest::MakeDirectory(dir.File("sub"));
    vextest::WriteFile(dir.File("sub/x"), "");
    EXPECT_TRUE(impl.IsFileExits("/sub/x"));
    EXPECT_FALSE(impl.IsFileExistsAbs("/sub/x"));
}

TEST(LinuxImplFiles, IsDirectoryTellsDirectoriesFromFilesAndMissingPaths)
{
    TempDir dir;
    vextest::MakeDirectory(dir.File("sub"));
    vextest::WriteFile(dir.File("file"), "x");
    ASSERT_EQ(symlink(dir.File("sub").c_str(), dir.File("link").c_str()), 0);
    CLinuxImpl impl;
    EXPECT_TRUE(impl.IsDirectory(dir.Path()));
    EXPECT_TRUE(impl.IsDirectory(dir.File("sub")));
    EXPECT_TRUE(impl.IsDirectory(dir.File("link")));
    EXPECT_FALSE(impl.IsDirectory(dir.File("file")));
    EXPECT_FALSE(impl.IsDirectory(dir.File("missing")));
    EXPECT_FALSE(impl.IsDirectory(""));
}

// A package could carry a named pipe under a name the checker tests for
// (package.xml, the log marker, a collector's output). The test opens as a
// file stream would, but must not wait for a writer that never comes.
TEST(LinuxImplFiles, FileTestsDoNotWaitForANamedPipe)
{
    TempDir dir;
    ASSERT_EQ(mkfifo(dir.File("package.xml").c_str(), 0600), 0);
    vextest::MakeDirectory(dir.File("inv.xml"));
    ScopedCwd cwd(dir.Path());
    CLinuxImpl impl;
    const auto tStart = Clock::now();
    EXPECT_TRUE(impl.IsFileExits("package.xml"));
    EXPECT_TRUE(impl.IsFileExistsAbs(dir.File("package.xml")));
    EXPECT_LT(Clock::now() - tStart, std::chrono::seconds(5));
    // A directory opens for reading too, as it does for a file stream.
    EXPECT_TRUE(impl.IsFileExits("inv.xml"));
}

// Documents are read whole only from regular files: a named pipe, a
// directory or a device behind a link is no document, and reading never
// waits or runs without end.
TEST(LinuxImplFiles, ReadRegularFileReadsOnlyRegularFilesAndNeverWaits)
{
    TempDir dir;
    const std::string strLarge(200000, 'x');
    vextest::WriteFile(dir.File("inv.xml"), strLarge);
    ASSERT_EQ(symlink(dir.File("inv.xml").c_str(), dir.File("link.xml").c_str()), 0);
    ASSERT_EQ(mkfifo(dir.File("pipe.xml").c_str(), 0600), 0);
    vextest::MakeDirectory(dir.File("dir.xml"));
    ASSERT_EQ(symlink("/dev/zero", dir.File("zero.xml").c_str()), 0);
    CLinuxImpl impl;

    std::string strText = "kept:";
    EXPECT_TRUE(impl.ReadRegularFile(dir.File("inv.xml"), strText));
    EXPECT_EQ(strText, "kept:" + strLarge);
    std::string strLinked;
    EXPECT_TRUE(impl.ReadRegularFile(dir.File("link.xml"), strLinked));
    EXPECT_EQ(strLinked, strLarge);

    const auto tStart = Clock::now();
    for (const char* pszName : {"pipe.xml", "dir.xml", "zero.xml", "missing.xml"})
    {
        std::string strNone;
        EXPECT_FALSE(impl.ReadRegularFile(dir.File(pszName), strNone)) << pszName;
        EXPECT_EQ(strNone, "") << pszName;
    }
    EXPECT_LT(Clock::now() - tStart, std::chrono::seconds(5));
}

TEST(LinuxImplFiles, FileTestsLogTheirPaths)
{
    TempDir dir;
    vextest::StartLogging(dir.File("baseutils.log"));
    vextest::WriteFile(dir.File("inv.xml"), "<x/>");
    ScopedCwd cwd(dir.Path());
    CLinuxImpl impl;
    impl.IsFileExits("inv.xml");
    impl.IsFileExistsAbs("nope");
    const std::string strCwd = vextest::CurrentDirectory();
    EXPECT_EQ(ReadLogMessages(dir.File("baseutils.log")),
              (std::vector<std::string>{"CLinuxImpl::IsFileExistsAbs() File name " + strCwd + "/inv.xml exist",
                                        "CLinuxImpl::IsFileExistsAbs() File name nope doesnt exist"}));
    const std::vector<std::string> vLines = vextest::ReadLogLines(dir.File("baseutils.log"));
    EXPECT_EQ(vLines[0].substr(0, 35), "[TIME] :                 LinuxImpl:");
}

TEST(LinuxImplFiles, DirectoryWithOnlyDotEntriesListsNothing)
{
    TempDir dir;
    CLinuxImpl impl;
    std::string strDir = dir.Path();
    EXPECT_TRUE(impl.GetFileList(strDir).empty());
    EXPECT_TRUE(impl.GetFileListName(strDir).empty());
}

TEST(LinuxImplFiles, ListingsGiveFilesAndSubdirectories)
{
    TempDir dir;
    vextest::WriteFile(dir.File("a.xml"), "");
    vextest::MakeDirectory(dir.File("rel1"));
    CLinuxImpl impl;
    std::string strDir = dir.Path();
    std::vector<std::string> vFull = impl.GetFileList(strDir);
    std::vector<std::string> vNames = impl.GetFileListName(strDir);
    std::sort(vFull.begin(), vFull.end());
    std::sort(vNames.begin(), vNames.end());
    EXPECT_EQ(vFull, (std::vector<std::string>{dir.File("a.xml"), dir.File("rel1")}));
    EXPECT_EQ(vNames, (std::vector<std::string>{"a.xml", "rel1"}));
}

TEST(LinuxImplFiles, EmptyDirectoryArgumentMeansTheWorkingDirectory)
{
    TempDir dir;
    vextest::WriteFile(dir.File("only"), "");
    ScopedCwd cwd(dir.Path());
    CLinuxImpl impl;
    std::string strDir;
    EXPECT_EQ(impl.GetFileList(strDir), std::vector<std::string>{"./only"});
    EXPECT_EQ(strDir, ".");
    std::string strDir2;
    EXPECT_EQ(impl.GetFileListName(strDir2), std::vector<std::string>{"only"});
}

TEST(LinuxImplFiles, MissingDirectoryListsNothing)
{
    CLinuxImpl impl;
    std::string strDir = "/nonexistent/directory";
    EXPECT_TRUE(impl.GetFileList(strDir).empty());
    EXPECT_TRUE(impl.GetFileListName(strDir).empty());
}

// ---------------------------------------------------------------------------
// Shared libraries
// ---------------------------------------------------------------------------

namespace
{
// Refuses every path in the file test, to show that a path with "/" is
// checked before the dynamic loader is asked.
class NoFilesLinuxImpl : public CLinuxImpl
{
public:
    bool IsFileExistsAbs(const std::string& strPath) override
    {
        vAsked.push_back(strPath);
        return false;
    }
    std::vector<std::string> vAsked;
};

std::string LibmPath()
{
    for (const char* pszPath : {"/lib/x86_64-linux-gnu/libm.so.6", "/usr/lib/x86_64-linux-gnu/libm.so.6",
                                "/lib64/libm.so.6", "/usr/lib64/libm.so.6", "/lib/aarch64-linux-gnu/libm.so.6"})
    {
        if (vextest::FileExists(pszPath))
        {
            return pszPath;
        }
    }
    return "";
}
} // namespace

TEST(LinuxImplLibraries, BareNameIsLeftToTheLoaderSearch)
{
    CLinuxImpl impl;
    void* pHandle = impl.LoadLibrary("libm.so.6");
    ASSERT_NE(pHandle, nullptr);
    EXPECT_NE(impl.GetProcAddress(pHandle, "cos"), nullptr);
    EXPECT_EQ(impl.GetProcAddress(pHandle, "no_such_symbol_here"), nullptr);
    impl.FreeLibrary(pHandle);
}

TEST(LinuxImplLibraries, PathIsTestedBeforeTheLoaderIsAsked)
{
    const std::string strLibm = LibmPath();
    if (strLibm.empty())
    {
        GTEST_SKIP() << "no libm.so.6 at a known path";
    }
    CLinuxImpl real;
    void* pHandle = real.LoadLibrary(strLibm);
    EXPECT_NE(pHandle, nullptr);
    real.FreeLibrary(pHandle);

    NoFilesLinuxImpl refusing;
    EXPECT_EQ(refusing.LoadLibrary(strLibm), nullptr);
    EXPECT_EQ(refusing.vAsked, std::vector<std::string>{strLibm});
    EXPECT_EQ(refusing.LoadLibrarywithoutCustomization(strLibm), nullptr);
    EXPECT_EQ(refusing.vAsked.size(), 2u);
}

TEST(LinuxImplLibraries, MissingPathGivesNull)
{
    CLinuxImpl impl;
    EXPECT_EQ(impl.LoadLibrary("/nonexistent/libnothing.so"), nullptr);
    EXPECT_EQ(impl.LoadLibrary("libnothing-at-all.so"), nullptr);
}

TEST(LinuxImplLibraries, NullHandlesAreHarmless)
{
    CLinuxImpl impl;
    impl.FreeLibrary(nullptr);
    EXPECT_EQ(impl.GetProcAddress(nullptr, "cos"), nullptr);
}

TEST(LinuxImplSleep, SleepsWholeSeconds)
{
    CLinuxImpl impl;
    const Clock::time_point tStart = Clock::now();
    impl.Sleep(1);
    EXPECT_GE(SecondsSince(tStart), 0.95);
}

TEST(LinuxImplFiles, ChangeDirectoryReportsFailureWithTheSystemsReason)
{
    TempDir dir;
    ScopedCwd cwd(dir.Path());
    CLinuxImpl impl;
    std::string strError;
    EXPECT_FALSE(impl.ChangeDirectory(dir.File("missing"), strError));
    EXPECT_EQ(strError, std::strerror(ENOENT));
    vextest::WriteFile(dir.File("file"), "x");
    EXPECT_FALSE(impl.ChangeDirectory(dir.File("file"), strError));
    EXPECT_EQ(strError, std::strerror(ENOTDIR));
    EXPECT_EQ(vextest::CurrentDirectory(), dir.Path());
    vextest::MakeDirectory(dir.File("sub"));
    EXPECT_TRUE(impl.ChangeDirectory(dir.File("sub"), strError));
    EXPECT_EQ(vextest::CurrentDirectory(), dir.File("sub"));
}

TEST(LinuxImplFiles, ModificationTimeInMilliseconds)
{
    TempDir dir;
    CLinuxImpl impl;
    vextest::WriteFile(dir.File("f"), "x");
    const struct timespec times[2] = {{1700000000, 250000000}, {1700000000, 250000000}};
    ASSERT_EQ(utimensat(AT_FDCWD, dir.File("f").c_str(), times, 0), 0);
    int64_t nMs = 0;
    ASSERT_TRUE(impl.GetModificationTime(dir.File("f"), nMs));
    EXPECT_EQ(nMs, int64_t(1700000000250));
    EXPECT_FALSE(impl.GetModificationTime(dir.File("missing"), nMs));
}

TEST(LinuxImplFiles, WritableDirectory)
{
    TempDir dir;
    CLinuxImpl impl;
    EXPECT_TRUE(impl.IsWritableDirectory(dir.Path()));
    EXPECT_FALSE(impl.IsWritableDirectory(dir.File("missing")));
    vextest::WriteFile(dir.File("f"), "x");
    EXPECT_FALSE(impl.IsWritableDirectory(dir.File("f")));
}

TEST(LinuxImplFiles, CanOpenGivesTheSystemsReason)
{
    TempDir dir;
    CLinuxImpl impl;
    std::string strError;
    vextest::WriteFile(dir.File("f"), "x");
    EXPECT_TRUE(impl.CanOpen(dir.File("f"), strError));
    EXPECT_TRUE(impl.CanOpen(dir.Path(), strError));
    EXPECT_FALSE(impl.CanOpen(dir.File("missing"), strError));
    EXPECT_EQ(strError, std::strerror(ENOENT));
    EXPECT_FALSE(impl.CanOpen(dir.File("f/below"), strError));
    EXPECT_EQ(strError, std::strerror(ENOTDIR));
    // A named pipe that no one writes is opened without waiting.
    ASSERT_EQ(mkfifo(dir.File("pipe").c_str(), 0644), 0);
    EXPECT_TRUE(impl.CanOpen(dir.File("pipe"), strError));
    if (geteuid() != 0)
    {
        ASSERT_EQ(chmod(dir.File("f").c_str(), 0), 0);
        EXPECT_FALSE(impl.CanOpen(dir.File("f"), strError));
        EXPECT_EQ(strError, std::strerror(EACCES));
    }
}

TEST(LinuxImplFiles, ExamineFileTellsAReplacedFileFromTheSameOne)
{
    TempDir dir;
    CLinuxImpl impl;
    std::string strError;
    vextest::WriteFile(dir.File("f"), "abc");
    SFileState before;
    ASSERT_TRUE(impl.ExamineFile(dir.File("f"), before, strError));
    EXPECT_TRUE(before.bRegular);
    EXPECT_EQ(before.nSize, 3);
    SFileState again;
    ASSERT_TRUE(impl.ExamineFile(dir.File("f"), again, strError));
    EXPECT_EQ(again.nInode, before.nInode);
    EXPECT_EQ(again.nChangedNs, before.nChangedNs);
    EXPECT_EQ(again.nModifiedNs, before.nModifiedNs);
    // Replaced by another file of the same name: another inode.
    vextest::WriteFile(dir.File("g"), "abc");
    ASSERT_EQ(rename(dir.File("g").c_str(), dir.File("f").c_str()), 0);
    SFileState replaced;
    ASSERT_TRUE(impl.ExamineFile(dir.File("f"), replaced, strError));
    EXPECT_NE(replaced.nInode, before.nInode);
    SFileState directory;
    ASSERT_TRUE(impl.ExamineFile(dir.Path(), directory, strError));
    EXPECT_FALSE(directory.bRegular);
    EXPECT_FALSE(impl.ExamineFile(dir.File("missing"), directory, strError));
    EXPECT_EQ(strError, std::strerror(ENOENT));
}

namespace
{
struct SStreamIdentity
{
    dev_t nDevice = 0;
    ino_t nInode = 0;
    nlink_t nLinks = 0;
};

SStreamIdentity IdentityOf(int nFd)
{
    struct stat st = {};
    EXPECT_EQ(fstat(nFd, &st), 0);
    return SStreamIdentity{st.st_dev, st.st_ino, st.st_nlink};
}
} // namespace

TEST(LinuxImplStreams, CaptureTakesWhatCommandsWriteAndPutsTheStreamsBack)
{
    CLinuxImpl impl;
    const SStreamIdentity outBefore = IdentityOf(STDOUT_FILENO);
    const SStreamIdentity errBefore = IdentityOf(STDERR_FILENO);
    std::string strError;
    ASSERT_TRUE(impl.BeginStreamCapture(strError)) << strError;
    // Both streams now go to files of their own that no one can open by name.
    const SStreamIdentity outDuring = IdentityOf(STDOUT_FILENO);
    const SStreamIdentity errDuring = IdentityOf(STDERR_FILENO);
    EXPECT_FALSE(outDuring.nDevice == outBefore.nDevice && outDuring.nInode == outBefore.nInode);
    EXPECT_FALSE(outDuring.nDevice == errDuring.nDevice && outDuring.nInode == errDuring.nInode);
    EXPECT_EQ(outDuring.nLinks, 0u);
    EXPECT_EQ(errDuring.nLinks, 0u);

    bool bTimedOut = false;
    EXPECT_EQ(impl.ExecuteCmd("echo 'Collecting inventory...'; echo warning >&2", false, 0), 0);
    SCapturedStream out;
    SCapturedStream err;
    impl.TakeCapturedStreams(4096, out, err);
    EXPECT_EQ(out.strHead, "Collecting inventory...\n");
    EXPECT_EQ(out.nBytes, 24u);
    EXPECT_TRUE(out.bKept);
    EXPECT_EQ(err.strHead, "warning\n");
    EXPECT_EQ(err.nBytes, 8u);

    // A mebibyte: the first 4 KiB are kept, the count is whole, and the next
    // take starts from nothing.
    EXPECT_EQ(impl.ExecuteCmdWithTimeout("head -c 1048576 /dev/zero | tr '\\000' x", 20000, bTimedOut), 0);
    impl.TakeCapturedStreams(4096, out, err);
    EXPECT_EQ(out.strHead, std::string(4096, 'x'));
    EXPECT_EQ(out.nBytes, 1048576u);
    EXPECT_EQ(err.nBytes, 0u);
    impl.TakeCapturedStreams(4096, out, err);
    EXPECT_EQ(out.nBytes, 0u);
    EXPECT_TRUE(out.strHead.empty());

    impl.EndStreamCapture();
    const SStreamIdentity outAfter = IdentityOf(STDOUT_FILENO);
    const SStreamIdentity errAfter = IdentityOf(STDERR_FILENO);
    EXPECT_TRUE(outAfter.nDevice == outBefore.nDevice && outAfter.nInode == outBefore.nInode);
    EXPECT_TRUE(errAfter.nDevice == errBefore.nDevice && errAfter.nInode == errBefore.nInode);
    // Ending twice changes nothing.
    impl.EndStreamCapture();
    EXPECT_TRUE(IdentityOf(STDOUT_FILENO).nInode == outBefore.nInode);
}

TEST(LinuxImplStreams, ATemporaryDirectoryThatIsNotThereGivesWayToTmp)
{
    // Run in a child: the test changes the environment and the streams.
    const pid_t nChild = fork();
    ASSERT_GE(nChild, 0);
    if (nChild == 0)
    {
        setenv("TMPDIR", "/nonexistent/vexdep", 1);
        CLinuxImpl impl;
        std::string strError;
        // /tmp is there: the capture keeps what is written there.
        bool bOk = impl.BeginStreamCapture(strError);
        SCapturedStream out;
        SCapturedStream err;
        impl.ExecuteCmd("echo kept", false, 0);
        impl.TakeCapturedStreams(4096, out, err);
        impl.EndStreamCapture();
        bOk = bOk && out.bKept && out.strHead == "kept\n";
        _exit(bOk ? 0 : 1);
    }
    int nStatus = 0;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    EXPECT_TRUE(WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0);
}

TEST(LinuxImplFiles, AFileChangedAfterTheFileClockIsReadIsNotOlderThanIt)
{
    // What the staleness of a collector's document rests on: a file changed
    // after the clock was read never has an older status change time. (One
    // changed just before may have a later one: kernels that stamp files
    // with a finer clock run ahead of the coarse one.)
    TempDir dir;
    CLinuxImpl impl;
    std::string strError;
    for (int i = 0; i < 50; ++i)
    {
        const int64_t nClock = impl.GetFileClockTime();
        vextest::WriteFile(dir.File("after"), std::to_string(i));
        SFileState after;
        ASSERT_TRUE(impl.ExamineFile(dir.File("after"), after, strError));
        EXPECT_GE(after.nChangedNs, nClock) << i;
    }
    // A file changed long before is older.
    vextest::WriteFile(dir.File("before"), "x");
    const struct timespec aSecondAgo[2] = {{time(nullptr) - 1, 0}, {time(nullptr) - 1, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, dir.File("before").c_str(), aSecondAgo, 0), 0);
    usleep(20000);
    SFileState before;
    ASSERT_TRUE(impl.ExamineFile(dir.File("before"), before, strError));
    EXPECT_LT(before.nChangedNs, impl.GetFileClockTime());
}
