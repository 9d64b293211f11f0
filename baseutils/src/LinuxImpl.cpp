#include "LinuxImpl.h"

#include "Logger.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

#include <dirent.h>
#include <fcntl.h>
#include <dlfcn.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <strings.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sys/syscall.h>

extern char** environ;

int CLinuxImpl::nZEPHInstallRefCount = 0;
bool CLinuxImpl::bZEPHAlreadyInstalled = false;
bool CLinuxImpl::bUSBBlocklistCheckDone = false;
bool CLinuxImpl::bUSBDriverNotLoaded = false;
bool CLinuxImpl::bUSBDriverLoadedByVEX = false;
const int64_t CLinuxImpl::nTerminateGraceMs = 2000;

namespace
{
const char* const kZephLibraryDirectory = "/opt/brix/vex64/lib/";
const char* const kZephLibraryDirectoryESXi = "/scratch/opt/brix/vex/lib/";
const char* const kZephLibraryName = "libzephpm.so";
const char* const kZephLibraryName64 = "libzephpm64.so";
const char* const kInstallScriptInstall = "/vextamberinstall.sh install";
const char* const kInstallScriptUninstall = "/vextamberinstall.sh uninstall";
const char* const kVMwareReleaseFile = "/etc/vmware-release";
const char* const kESXiKernelName = "VMkernel";

const char* const kCmdUSBBuiltin =
    "grep -i \"usb[-_]storage.ko\" /lib/modules/$(uname -r)/modules.builtin  > /dev/null 2>&1";
const char* const kCmdUSBLoaded = "lsmod | grep usb_storage  > /dev/null 2>&1";
const char* const kCmdUSBLoad = "modprobe usb_storage  > /dev/null 2>&1";
const char* const kCmdUSBUnload = "rmmod usb_storage  > /dev/null 2>&1";
const int kUnloadAttempts = 59;

const std::size_t kPathBufferSize = 2048;
const std::size_t kReleaseLineLimit = 1024;

std::string WorkingDirectory()
{
    char szBuffer[kPathBufferSize] = {};
    if (getcwd(szBuffer, sizeof(szBuffer)) != nullptr)
    {
        return szBuffer;
    }
    // Deeper than the usual buffer: ask for an allocated path instead.
    if (errno == ERANGE)
    {
        char* pszLong = getcwd(nullptr, 0);
        if (pszLong != nullptr)
        {
            std::string strLong(pszLong);
            std::free(pszLong);
            return strLong;
        }
    }
    // Unknown (for example removed): "." keeps later joins relative to it.
    return ".";
}

// Whether the path can be opened for reading, as a file stream would open
// it. The test opens without waiting: a named pipe without a writer would
// otherwise block the caller for good.
bool CanOpenForReading(const std::string& strPath)
{
    const int nFd = open(strPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (nFd < 0)
    {
        return false;
    }
    close(nFd);
    return true;
}

using Clock = std::chrono::steady_clock;

// Milliseconds left until tDeadline, clamped to what poll accepts.
int MillisecondsLeft(Clock::time_point tDeadline)
{
    const auto nLeft = std::chrono::duration_cast<std::chrono::milliseconds>(tDeadline - Clock::now()).count();
    if (nLeft <= 0)
    {
        return 0;
    }
    return static_cast<int>(std::min<int64_t>(nLeft, INT_MAX));
}

Clock::time_point DeadlineAfter(int64_t nMilliseconds)
{
    // Far enough for any real collector, small enough not to overflow.
    const int64_t nMaxMs = int64_t(10) * 365 * 24 * 3600 * 1000;
    return Clock::now() + std::chrono::milliseconds(std::max<int64_t>(0, std::min(nMilliseconds, nMaxMs)));
}

// The process group of the command that ExecuteCmdWithTimeout waits for (0
// when none), and the last forwarded signal that reached this process while
// it waited (0 when none). Written by the signal handler below.
volatile sig_atomic_t g_nForwardGroup = 0;
volatile sig_atomic_t g_nReceivedSignal = 0;

// Passes the signal on to the waited-for command's process group and
// remembers it, so that the wait ends and the signal can take its effect
// here once the group is gone.
void ForwardSignal(int nSignal)
{
    const int nSavedErrno = errno;
    g_nReceivedSignal = nSignal;
    const pid_t nGroup = g_nForwardGroup;
    if (nGroup > 0)
    {
        kill(-nGroup, nSignal);
    }
    errno = nSavedErrno;
}

// While it exists, SIGINT, SIGTERM and SIGHUP are forwarded to the command's
// process group instead of ending this process at once; a signal that was
// ignored when it was made stays ignored. The signals are held back until
// the group is known, so that none is lost in between.
class CSignalForwarding
{
public:
    CSignalForwarding()
    {
        g_nReceivedSignal = 0;
        g_nForwardGroup = 0;
        sigset_t sigHeld;
        sigemptyset(&sigHeld);
        for (int i = 0; i < kSignals; ++i)
        {
            sigaddset(&sigHeld, kaSignals[i]);
        }
        sigprocmask(SIG_BLOCK, &sigHeld, &m_sigOriginalMask);
        for (int i = 0; i < kSignals; ++i)
        {
            m_abInstalled[i] = false;
            if (sigaction(kaSignals[i], nullptr, &m_aPrevious[i]) != 0 || m_aPrevious[i].sa_handler == SIG_IGN)
            {
                continue;
            }
            struct sigaction forward = {};
            forward.sa_handler = ForwardSignal;
            sigfillset(&forward.sa_mask);
            // No SA_RESTART: the wait's poll returns at once.
            forward.sa_flags = 0;
            m_abInstalled[i] = sigaction(kaSignals[i], &forward, nullptr) == 0;
        }
    }

    ~CSignalForwarding()
    {
        g_nForwardGroup = 0;
        for (int i = 0; i < kSignals; ++i)
        {
            if (m_abInstalled[i])
            {
                sigaction(kaSignals[i], &m_aPrevious[i], nullptr);
            }
        }
        // A signal that came in is raised again under the disposition it
        // found on arrival: by default it ends this process here.
        const int nReceived = g_nReceivedSignal;
        g_nReceivedSignal = 0;
        sigprocmask(SIG_SETMASK, &m_sigOriginalMask, nullptr);
        if (nReceived != 0)
        {
            raise(nReceived);
        }
    }

    CSignalForwarding(const CSignalForwarding&) = delete;
    CSignalForwarding& operator=(const CSignalForwarding&) = delete;

    // The mask the command starts with: this process's mask as it was.
    const sigset_t& OriginalMask() const { return m_sigOriginalMask; }

    // From now on signals go to the group; one that came in meanwhile is
    // passed on as soon as the signals are let through again.
    void ForwardTo(pid_t nGroup)
    {
        g_nForwardGroup = nGroup;
        sigprocmask(SIG_SETMASK, &m_sigOriginalMask, nullptr);
    }

    // The group has ended: nothing is forwarded any more.
    void StopForwarding() { g_nForwardGroup = 0; }

    static bool Received() { return g_nReceivedSignal != 0; }

private:
    static const int kSignals = 3;
    static constexpr int kaSignals[kSignals] = {SIGINT, SIGTERM, SIGHUP};
    struct sigaction m_aPrevious[kSignals];
    bool m_abInstalled[kSignals];
    sigset_t m_sigOriginalMask;
};

// Waits until the child pid has ended, the deadline has passed or (when
// bStopOnSignal) a forwarded signal came in. Returns true and fills nStatus
// when the child was reaped.
bool WaitForChild(pid_t nPid, int nPidFd, Clock::time_point tDeadline, int& nStatus, bool bStopOnSignal = false)
{
    for (;;)
    {
        const pid_t nDone = waitpid(nPid, &nStatus, WNOHANG);
        if (nDone == nPid)
        {
            return true;
        }
        if (nDone < 0 && errno != EINTR)
        {
            nStatus = -1;
            return true;
        }
        const int nLeft = MillisecondsLeft(tDeadline);
        if (nLeft == 0 || (bStopOnSignal && CSignalForwarding::Received()))
        {
            return false;
        }
        if (nPidFd >= 0)
        {
            pollfd pfd = {nPidFd, POLLIN, 0};
            poll(&pfd, 1, nLeft);
        }
        else
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(std::min(nLeft, 5)));
        }
    }
}

// Reaps every ended child of this process that belongs to the process group.
void ReapGroup(pid_t nGroup)
{
    int nStatus = 0;
    while (waitpid(-nGroup, &nStatus, WNOHANG) > 0)
    {
    }
}

bool GroupHasMembers(pid_t nGroup)
{
    ReapGroup(nGroup);
    return kill(-nGroup, 0) == 0;
}

// Ends whatever is left of the process group: SIGTERM, then SIGKILL once the
// grace period has passed.
void TerminateGroup(pid_t nGroup, int64_t nGraceMs)
{
    kill(-nGroup, SIGTERM);
    const Clock::time_point tDeadline = DeadlineAfter(nGraceMs);
    while (GroupHasMembers(nGroup) && MillisecondsLeft(tDeadline) > 0)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    kill(-nGroup, SIGKILL);
    const Clock::time_point tReapDeadline = DeadlineAfter(nGraceMs);
    while (GroupHasMembers(nGroup) && MillisecondsLeft(tReapDeadline) > 0)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}
} // namespace

// ---------------------------------------------------------------------------
// Commands, directories, files, libraries
// ---------------------------------------------------------------------------

int CLinuxImpl::ExecuteCmd(const std::string& strCommand, bool /*bWait*/, const int64_t& /*nTimeLimitMs*/)
{
    return std::system(strCommand.c_str());
}

int CLinuxImpl::ExecuteCmdNoWait(const std::string& strCommand, bool /*bWait*/, const int64_t& /*nTimeLimitMs*/)
{
    const std::string strBackground = strCommand + " &";
    return std::system(strBackground.c_str());
}

int CLinuxImpl::ExecuteCmdWithTimeout(const std::string& strCommand, const int64_t& nTimeLimitMs, bool& bTimedOut)
{
    bTimedOut = false;

    // Orphaned descendants of the command are re-parented to this process, so
    // that they can be reaped when the group is ended.
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);

    // Set up before the command starts, so that no signal slips between.
    CSignalForwarding forwarding;

    // The command inherits this process's signal mask and dispositions as
    // they were (caught signals start with their default action, as after
    // any exec), only in a process group of its own.
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    posix_spawnattr_setsigmask(&attr, &forwarding.OriginalMask());
    posix_spawnattr_setpgroup(&attr, 0);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);

    std::string strShell = "sh";
    std::string strFlag = "-c";
    std::string strArgument = strCommand;
    char* apszArgv[] = {&strShell[0], &strFlag[0], &strArgument[0], nullptr};

    pid_t nPid = -1;
    const int nSpawn = posix_spawn(&nPid, "/bin/sh", nullptr, &attr, apszArgv, environ);
    posix_spawnattr_destroy(&attr);
    if (nSpawn != 0)
    {
        VEXLOG("CLinuxImpl::ExecuteCmdWithTimeout unable to start /bin/sh: " + std::string(std::strerror(nSpawn)));
        return -1;
    }
    forwarding.ForwardTo(nPid);

    // A descriptor that becomes readable when the shell ends, so that the
    // wait ends at once rather than at the next poll interval. Kernels
    // without it fall back to short sleeps.
    int nPidFd = -1;
#ifdef SYS_pidfd_open
    nPidFd = static_cast<int>(syscall(SYS_pidfd_open, nPid, 0));
#endif

    int nStatus = 0;
    if (!WaitForChild(nPid, nPidFd, DeadlineAfter(nTimeLimitMs), nStatus, true))
    {
        if (CSignalForwarding::Received())
        {
            // The signal has been passed on already: the command gets the
            // grace period to end by it.
            VEXLOG("CLinuxImpl::ExecuteCmdWithTimeout interrupted by a signal, ending the command's processes");
        }
        else
        {
            bTimedOut = true;
            VEXLOG("CLinuxImpl::ExecuteCmdWithTimeout time limit reached, ending the command's processes");
            kill(-nPid, SIGTERM);
        }
        if (!WaitForChild(nPid, nPidFd, DeadlineAfter(nTerminateGraceMs), nStatus))
        {
            kill(-nPid, SIGKILL);
            WaitForChild(nPid, nPidFd, DeadlineAfter(INT64_MAX), nStatus);
        }
    }
    if (nPidFd >= 0)
    {
        close(nPidFd);
    }

    // Background processes that the command left behind do not outlive it.
    if (GroupHasMembers(nPid))
    {
        VEXLOG("CLinuxImpl::ExecuteCmdWithTimeout ending processes left behind by the command");
        TerminateGroup(nPid, nTerminateGraceMs);
    }
    forwarding.StopForwarding();
    return nStatus;
}

bool CLinuxImpl::GetEnvironmentVariable(const std::string& strName, std::string& strValue)
{
    const char* pszValue = std::getenv(strName.c_str());
    if (pszValue == nullptr)
    {
        return false;
    }
    strValue = pszValue;
    return true;
}

bool CLinuxImpl::ChangeDirectory(const std::string& strPath, std::string& strError)
{
    if (chdir(strPath.c_str()) != 0)
    {
        strError = std::strerror(errno);
        return false;
    }
    return true;
}

bool CLinuxImpl::GetModificationTime(const std::string& strPath, int64_t& nMilliseconds)
{
    struct stat st = {};
    if (stat(strPath.c_str(), &st) != 0)
    {
        return false;
    }
    nMilliseconds = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000 + st.st_mtim.tv_nsec / 1000000;
    return true;
}

bool CLinuxImpl::IsWritableDirectory(const std::string& strPath)
{
    return IsDirectory(strPath) && access(strPath.c_str(), W_OK | X_OK) == 0;
}

void CLinuxImpl::Sleep(int nSeconds)
{
    if (nSeconds > 0)
    {
        std::this_thread::sleep_for(std::chrono::seconds(nSeconds));
    }
}

std::string CLinuxImpl::getCurrentDirectory() { return WorkingDirectory() + "/"; }

std::string CLinuxImpl::getCurrentProcessDirectory()
{
    char szBuffer[kPathBufferSize] = {};
    const ssize_t nLength = readlink("/proc/self/exe", szBuffer, sizeof(szBuffer) - 1);
    if (nLength <= 0)
    {
        VEXLOG("CLinuxImpl::getCurrentProcessDirectory() failed via readlink");
        return getCurrentDirectory();
    }
    const std::string strPath(szBuffer, static_cast<std::size_t>(nLength));
    return strPath.substr(0, strPath.rfind('/') + 1);
}

bool CLinuxImpl::setCurrentDirectory(const std::string& strPath)
{
    // A failed change is deliberately not reported.
    if (chdir(strPath.c_str()) != 0)
    {
    }
    return true;
}

std::vector<std::string> CLinuxImpl::ListDirectory(std::string& strDirectory, bool bWithDirectory)
{
    std::vector<std::string> vEntries;
    if (strDirectory.empty())
    {
        strDirectory = ".";
    }
    DIR* pDir = opendir(strDirectory.c_str());
    if (pDir == nullptr)
    {
        return vEntries;
    }
    while (const dirent* pEntry = readdir(pDir))
    {
        const std::string strName = pEntry->d_name;
        if (strName == "." || strName == "..")
        {
            continue;
        }
        vEntries.push_back(bWithDirectory ? strDirectory + "/" + strName : strName);
    }
    closedir(pDir);
    return vEntries;
}

std::vector<std::string> CLinuxImpl::GetFileList(std::string& strDirectory) { return ListDirectory(strDirectory, true); }

std::vector<std::string> CLinuxImpl::GetFileListName(std::string& strDirectory)
{
    return ListDirectory(strDirectory, false);
}

bool CLinuxImpl::IsFileExistsAbs(const std::string& strPath)
{
    const bool bExists = CanOpenForReading(strPath);
    VEXLOG("CLinuxImpl::IsFileExistsAbs() File name " + strPath + (bExists ? " exist" : " doesnt exist"));
    return bExists;
}

bool CLinuxImpl::IsDirectory(const std::string& strPath)
{
    struct stat st = {};
    return stat(strPath.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool CLinuxImpl::ReadRegularFile(const std::string& strPath, std::string& strText)
{
    const int nFd = open(strPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (nFd < 0)
    {
        return false;
    }
    struct stat st;
    if (fstat(nFd, &st) != 0 || !S_ISREG(st.st_mode))
    {
        close(nFd);
        return false;
    }
    bool bOk = true;
    char szBuffer[65536];
    for (;;)
    {
        const ssize_t nRead = read(nFd, szBuffer, sizeof(szBuffer));
        if (nRead > 0)
        {
            strText.append(szBuffer, static_cast<std::size_t>(nRead));
        }
        else if (nRead == 0)
        {
            break;
        }
        else if (errno != EINTR)
        {
            bOk = false;
            break;
        }
    }
    close(nFd);
    return bOk;
}

bool CLinuxImpl::IsStreamOrDevice(const std::string& strPath)
{
    struct stat st = {};
    return stat(strPath.c_str(), &st) == 0 &&
           (S_ISFIFO(st.st_mode) || S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode) || S_ISSOCK(st.st_mode));
}

int CLinuxImpl::OpenHeldFile(const std::string& strPath, std::string& strText)
{
    // Opened as an input stream opens a file (not closed on exec), but
    // without waiting for a pipe's writer.
    const int nFd = open(strPath.c_str(), O_RDONLY | O_NONBLOCK);
    if (nFd < 0)
    {
        return -1;
    }
    struct stat st;
    if (fstat(nFd, &st) != 0 || !S_ISREG(st.st_mode))
    {
        // A directory reads as nothing, as it does through a stream; a pipe
        // or a device is not read at all.
        return nFd;
    }
    // What the commands that inherit it see is an ordinary descriptor.
    fcntl(nFd, F_SETFL, fcntl(nFd, F_GETFL) & ~O_NONBLOCK);
    char szBuffer[65536];
    for (;;)
    {
        const ssize_t nRead = read(nFd, szBuffer, sizeof(szBuffer));
        if (nRead > 0)
        {
            strText.append(szBuffer, static_cast<std::size_t>(nRead));
        }
        else if (nRead == 0 || errno != EINTR)
        {
            break;
        }
    }
    return nFd;
}

void CLinuxImpl::CloseHeldFile(int nFd)
{
    if (nFd >= 0)
    {
        close(nFd);
    }
}

bool CLinuxImpl::IsFileExits(const std::string& strName)
{
    const std::string strPath = getCurrentDirectory() + strName;
    const bool bExists = CanOpenForReading(strPath);
    VEXLOG("CLinuxImpl::IsFileExistsAbs() File name " + strPath + (bExists ? " exist" : " doesnt exist"));
    return bExists;
}

void* CLinuxImpl::LoadLibrary(const std::string& strName)
{
    if (strName.find('/') != std::string::npos && !IsFileExistsAbs(strName))
    {
        return nullptr;
    }
    return dlopen(strName.c_str(), RTLD_NOW);
}

void* CLinuxImpl::LoadLibrarywithoutCustomization(const std::string& strName) { return LoadLibrary(strName); }

void CLinuxImpl::FreeLibrary(void* pHandle)
{
    if (pHandle != nullptr)
    {
        dlclose(pHandle);
    }
}

void* CLinuxImpl::GetProcAddress(void* pHandle, const std::string& strSymbol)
{
    if (pHandle == nullptr)
    {
        return nullptr;
    }
    return dlsym(pHandle, strSymbol.c_str());
}

// ---------------------------------------------------------------------------
// Hardware-access library
// ---------------------------------------------------------------------------

std::string CLinuxImpl::GetZephLibraryDirectory()
{
    return isESXiSystem() ? kZephLibraryDirectoryESXi : kZephLibraryDirectory;
}

bool CLinuxImpl::isZEPHInstalled()
{
    const std::string strDirectory = GetZephLibraryDirectory();
    std::string strPath = strDirectory + kZephLibraryName;
    VEXLOG("Load library using " + strPath);
    void* pHandle = LoadLibrary(strPath);
    if (pHandle == nullptr)
    {
        strPath = strDirectory + kZephLibraryName64;
        VEXLOG("Load library using " + strPath);
        pHandle = LoadLibrary(strPath);
    }
    if (pHandle == nullptr)
    {
        return false;
    }
    VEXLOG("ZEPH is installed in the system");
    FreeLibrary(pHandle);
    return true;
}

bool CLinuxImpl::isKOVAZEPHInstalled()
{
    void* pHandle = LoadLibrary(kZephLibraryName);
    if (pHandle == nullptr)
    {
        pHandle = LoadLibrary(kZephLibraryName64);
    }
    if (pHandle == nullptr)
    {
        return false;
    }
    FreeLibrary(pHandle);
    return true;
}

int CLinuxImpl::InstallZeph()
{
    if (nZEPHInstallRefCount++ != 0)
    {
        return 0;
    }
    bZEPHAlreadyInstalled = isZEPHInstalled();
    if (bZEPHAlreadyInstalled)
    {
        return 0;
    }
    VEXLOG("InstallZeph: Custom Zeph Not Already Present");
    const std::string strCommand = getCurrentProcessDirectory() + kInstallScriptInstall;
    VEXLOG("Executimg command: " + strCommand);
    if (ExecuteCmd(strCommand, false, 0) == 0)
    {
        VEXLOG("InstallZeph: Custome Zeph Installed Successfully");
        return 0;
    }
    VEXLOG("InstallZeph: Zeph Installation Failed");
    if (isKOVAZEPHInstalled())
    {
        VEXLOG("InstallZeph: Found KOVA Zeph");
        return 0;
    }
    VEXLOG("InstallZeph: KOVA Zeph Not Present");
    return 1;
}

int CLinuxImpl::UninstallZeph()
{
    if (--nZEPHInstallRefCount != 0)
    {
        return 0;
    }
    if (!bZEPHAlreadyInstalled)
    {
        ExecuteCmd(getCurrentProcessDirectory() + kInstallScriptUninstall, false, 0);
    }
    VEXLOG("UninstallZeph: Zeph Uninstalled Successfully");
    return 0;
}

void* CLinuxImpl::LoadZephLibrary(const std::string& strFileName)
{
    void* pHandle = LoadLibrary(GetZephLibraryDirectory() + strFileName);
    if (pHandle != nullptr)
    {
        return pHandle;
    }
    VEXLOG("LoadZephLibrary: Unable to Load " + strFileName + " from " + kZephLibraryDirectory);
    pHandle = LoadLibrary(strFileName);
    if (pHandle != nullptr)
    {
        return pHandle;
    }
    VEXLOG("LoadZephLibrary: Unable to Load " + strFileName + " from " + "KOVA");
    return nullptr;
}

// ---------------------------------------------------------------------------
// ESX and ESXi detection
// ---------------------------------------------------------------------------

bool CLinuxImpl::GetKernelName(std::string& strName)
{
    utsname unameData;
    if (uname(&unameData) != 0)
    {
        return false;
    }
    strName = unameData.sysname;
    return true;
}

std::string CLinuxImpl::GetVMwareReleasePath() { return kVMwareReleaseFile; }

bool CLinuxImpl::isESXiSystem()
{
    std::string strName;
    return GetKernelName(strName) && strcasecmp(strName.c_str(), kESXiKernelName) == 0;
}

bool CLinuxImpl::isESXSystem()
{
    const std::string strPath = GetVMwareReleasePath();
    struct stat statBuffer;
    if (stat(strPath.c_str(), &statBuffer) != 0)
    {
        return false;
    }
    std::ifstream ifsRelease(strPath.c_str());
    std::string strLine;
    std::getline(ifsRelease, strLine);
    if (strLine.size() > kReleaseLineLimit)
    {
        strLine.resize(kReleaseLineLimit);
    }
    std::transform(strLine.begin(), strLine.end(), strLine.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });

    if (strLine.find("vmware esx server 3") != std::string::npos)
    {
        VEXLOG("getLinuxOSVer: ESX 3 Found");
        return true;
    }
    if (strLine.find("vmware esx 4.1") != std::string::npos || strLine.find("vmware esx 4") != std::string::npos)
    {
        VEXLOG("getLinuxOSVer: ESX 4 Found");
        return true;
    }
    VEXLOG("getLinuxOSVer: Unrecognized VMWare Found");
    return false;
}

// ---------------------------------------------------------------------------
// USB storage module
// ---------------------------------------------------------------------------

bool CLinuxImpl::isUSBStorageStaticallyLinked()
{
    VEXLOG(" CLinuxImpl::isUSBStorageStaticallyLinked Start");
    if (ExecuteCmd(kCmdUSBBuiltin, false, 0) == 0)
    {
        VEXLOG("CLinuxImpl::isUSBStorageStaticallyLinked usb_storage is built with kernel");
        return true;
    }
    VEXLOG(" CLinuxImpl::isUSBStorageStaticallyLinked End");
    return false;
}

bool CLinuxImpl::IsUSBStoragePresent() { return ExecuteCmd(kCmdUSBLoaded, false, 0) == 0; }

bool CLinuxImpl::isUSBblocklisted()
{
    VEXLOG(" CLinuxImpl::isUSBblocklisted Start");
    if (isESXiSystem() || isESXSystem())
    {
        VEXLOG(" CLinuxImpl::Skipping USB blocklisting check for ESXi and ESX");
        return false;
    }
    if (isUSBStorageStaticallyLinked())
    {
        return false;
    }
    if (bUSBBlocklistCheckDone)
    {
        VEXLOG(" CLinuxImpl::isUSBblocklisted check has already been performed earlier.");
        VEXLOG(" CLinuxImpl::isUSBblocklisted End");
        return bUSBDriverNotLoaded;
    }
    VEXLOG(" CLinuxImpl::isUSBblocklisted check is being done for the first time.");
    if (IsUSBStoragePresent())
    {
        VEXLOG("CLinuxImpl::isUSBblocklisted usb_storage module is already present.");
    }
    else if (ExecuteCmd(kCmdUSBLoad, false, 0) == 0 && IsUSBStoragePresent())
    {
        VEXLOG("CLinuxImpl::isUSBblocklisted loading usb_storage module is successful.");
        bUSBDriverLoadedByVEX = true;
    }
    else
    {
        VEXLOG("CLinuxImpl::isUSBblocklisted usb_storage module is not loaded. Attempt to load it was "
               "unsuccessful.");
        bUSBDriverNotLoaded = true;
    }
    VEXLOG(" CLinuxImpl::isUSBblocklisted End");
    bUSBBlocklistCheckDone = true;
    return bUSBDriverNotLoaded;
}

void CLinuxImpl::unloadUSB()
{
    VEXLOG(" CLinuxImpl::unloadUSB Start");
    if (!bUSBDriverLoadedByVEX)
    {
        VEXLOG(" CLinuxImpl::unloadUSB is not required.");
    }
    else
    {
        VEXLOG(" CLinuxImpl::unloadUSB usb module need be unloaded");
        for (int nAttempt = 0; nAttempt < kUnloadAttempts; ++nAttempt)
        {
            if (ExecuteCmd(kCmdUSBUnload, false, 0) == 0)
            {
                VEXLOG("CLinuxImpl::unloadUSB unloading usb module is successful.");
                break;
            }
            Sleep(1);
            VEXLOG("CLinuxImpl::unloadUSB unloading usb module is not successful.");
        }
    }
    VEXLOG(" CLinuxImpl::unloadUSB End");
    bUSBBlocklistCheckDone = false;
    bUSBDriverLoadedByVEX = false;
    bUSBDriverNotLoaded = false;
}
