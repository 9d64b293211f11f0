// CLinuxImpl: commands, run through the shell as system() runs them, or in
// a process group of their own under a time limit.

#include "LinuxImpl.h"

#include "LinuxImplLogSource.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

const int64_t CLinuxImpl::nTerminateGraceMs = 2000;

namespace
{
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
