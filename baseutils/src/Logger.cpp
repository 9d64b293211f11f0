#include "Logger.h"

#include <climits>
#include <ctime>
#include <iomanip>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

const std::string strEnableLogFileName = "vexdebuglog";
const std::string strBaseUtilsLogFileName = "baseutils.log";

namespace
{

// Whether this process can write into the blocks that the file system in
// which strDirectory lies keeps in reserve for privileged writers (root in
// the initial user namespace, or a reserved user or group): measured, not
// inferred from the user ID, by allocating nBytes in an anonymous file in
// that directory, which the system refuses when the process would need the
// reserved blocks and may not use them. The file disappears when closed.
bool CanUseReservedBlocks(const std::string& strDirectory, unsigned long long nBytes)
{
    const int nFd = open(strDirectory.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (nFd < 0)
    {
        return false;
    }
    const bool bAllocated = fallocate(nFd, 0, 0, static_cast<off_t>(nBytes)) == 0;
    close(nFd);
    return bAllocated;
}

std::string DirectoryOf(const std::string& strPath)
{
    const std::string::size_type nSlash = strPath.rfind('/');
    if (nSlash == std::string::npos)
    {
        return ".";
    }
    return nSlash == 0 ? "/" : strPath.substr(0, nSlash);
}

long long Clamped(unsigned long long nBytes)
{
    return nBytes > static_cast<unsigned long long>(LLONG_MAX) ? LLONG_MAX : static_cast<long long>(nBytes);
}

// The free space of the log's file system that this process can really
// use: what unprivileged writers may use, and the reserved blocks besides
// when this process (and so the collectors it runs) can write into them.
// The reserved blocks are only probed for when they decide the answer.
long long UsableFreeSpace(const std::string& strPath)
{
    struct statvfs stFs;
    if (statvfs(strPath.c_str(), &stFs) != 0)
    {
        return -1;
    }
    const unsigned long long nAvailable = static_cast<unsigned long long>(stFs.f_bavail) * stFs.f_frsize;
    const unsigned long long nFree = static_cast<unsigned long long>(stFs.f_bfree) * stFs.f_frsize;
    if (nAvailable >= CLogger::nFreeSpaceReserve || nFree <= nAvailable ||
        !CanUseReservedBlocks(DirectoryOf(strPath), CLogger::nFreeSpaceReserve))
    {
        return Clamped(nAvailable);
    }
    return Clamped(nFree);
}

// The log file's path from the root: the working directory changes while
// the checker runs.
std::string AbsolutePath(const std::string& strPath)
{
    if (!strPath.empty() && strPath[0] == '/')
    {
        return strPath;
    }
    char szCwd[PATH_MAX];
    if (getcwd(szCwd, sizeof(szCwd)) == nullptr)
    {
        return strPath;
    }
    return std::string(szCwd) + "/" + strPath;
}
} // namespace

CLogger* CLogger::m_ptrInstance = nullptr;
CLogger::FreeSpaceQuery CLogger::m_pFreeSpaceQuery = UsableFreeSpace;

CLogger::CLogger()
    : m_strFileName("debug.log"), m_bInitialized(false), m_pRecorder(nullptr), m_nSilencers(0), m_tStamp(0),
      m_bCheckSpace(false), m_bStopped(false), m_nSinceCheck(0)
{
}

void CLogger::SetFreeSpaceQuery(FreeSpaceQuery pQuery)
{
    m_pFreeSpaceQuery = pQuery != nullptr ? pQuery : UsableFreeSpace;
}

CLogger* CLogger::GetInstance()
{
    if (m_ptrInstance == nullptr)
    {
        m_ptrInstance = new CLogger();
    }
    return m_ptrInstance;
}

bool CLogger::Initialize(const std::string& strPath)
{
    if (m_bInitialized)
    {
        return true;
    }
    m_strFileName = strPath;
    // Opening a named pipe for writing waits until someone reads it: such a
    // log is not opened (logging stays off) rather than hang the check. A
    // link is followed, and a device written, as the log has always done.
    struct stat st;
    if (stat(m_strFileName.c_str(), &st) == 0 && S_ISFIFO(st.st_mode))
    {
        return false;
    }
    // Emptied once, then written in append mode: every line goes to the end
    // of the file, even when someone else appended in between.
    m_ofsLog.open(m_strFileName.c_str(), std::ios::out | std::ios::trunc);
    if (m_ofsLog.is_open())
    {
        m_ofsLog.close();
        m_ofsLog.open(m_strFileName.c_str(), std::ios::out | std::ios::app);
    }
    if (m_ofsLog.is_open())
    {
        m_bInitialized = true;
        // Only a regular file takes space on a file system; its first line
        // asks how much is left.
        m_bCheckSpace = stat(m_strFileName.c_str(), &st) == 0 && S_ISREG(st.st_mode);
        m_strSpacePath = AbsolutePath(m_strFileName);
        m_nSinceCheck = nFreeSpaceCheckBytes;
    }
    return false;
}

std::string CLogger::getFileName(const std::string& strPath)
{
    const std::string::size_type nSlash = strPath.rfind('/');
    if (nSlash == std::string::npos)
    {
        return strPath;
    }
    return strPath.substr(nSlash + 1);
}

void CLogger::log(const char* pszFile, unsigned int nLine, const std::string& strMessage)
{
    if (!m_bInitialized)
    {
        return;
    }
    WriteLine(pszFile, nLine, strMessage);
}

void CLogger::log(const char* pszFile, unsigned int nLine, std::ostringstream& ossMessage)
{
    if (m_bInitialized)
    {
        WriteLine(pszFile, nLine, ossMessage.str());
    }
    ossMessage.str(std::string());
    ossMessage.clear();
}

void CLogger::Replay(const std::vector<SLogRecord>& vRecords)
{
    if (!m_bInitialized)
    {
        return;
    }
    for (const SLogRecord& record : vRecords)
    {
        WriteLine(record.strFile.c_str(), record.nLine, record.strMessage);
    }
}

void CLogger::WriteLine(const char* pszFile, unsigned int nLine, const std::string& strMessage)
{
    for (CLogRecorder* pRecorder = m_pRecorder; pRecorder != nullptr; pRecorder = pRecorder->m_pOuter)
    {
        pRecorder->m_vRecords.push_back(SLogRecord{pszFile != nullptr ? pszFile : "", nLine, strMessage});
    }
    if (m_nSilencers > 0 || m_bStopped)
    {
        return;
    }
    if (m_bCheckSpace && m_nSinceCheck >= nFreeSpaceCheckBytes && !KeepsTheReserve())
    {
        return;
    }
    WriteFormatted(pszFile, nLine, strMessage);
}

bool CLogger::KeepsTheReserve()
{
    m_nSinceCheck = 0;
    const long long nFree = m_pFreeSpaceQuery(m_strSpacePath);
    if (nFree < 0 || static_cast<unsigned long long>(nFree) >= nFreeSpaceReserve)
    {
        return true;
    }
    if (static_cast<unsigned long long>(nFree) >= nFreeSpaceForLastLine)
    {
        std::ostringstream ossLast;
        ossLast << "CLogger::log debug log stopped: " << nFree
                << " bytes free on the log's file system, below the reserve of " << nFreeSpaceReserve
                << " bytes kept for the collectors";
        WriteFormatted(VEXLOG_SOURCE, __LINE__, ossLast.str());
    }
    m_bStopped = true;
    return false;
}

void CLogger::WriteFormatted(const char* pszFile, unsigned int nLine, const std::string& strMessage)
{
    // The stamp changes once a second; it is formatted only then.
    const std::time_t tNow = std::time(nullptr);
    if (tNow != m_tStamp || m_strStamp.empty())
    {
        char szTime[80] = {};
        std::tm tmLocal = {};
        if (localtime_r(&tNow, &tmLocal) != nullptr)
        {
            std::strftime(szTime, sizeof(szTime), "[%Y-%m-%dT%H:%M:%S] ", &tmLocal);
        }
        m_tStamp = tNow;
        m_strStamp = szTime;
    }

    const std::string strName = getFileName(pszFile != nullptr ? pszFile : "");
    m_ofsLog << m_strStamp << ": " << std::setw(25) << strName << ":" << std::setw(5) << nLine << ": " << strMessage
             << '\n';
    m_ofsLog.flush();
    // About the line's length (a line number of more than five digits
    // counts as five).
    m_nSinceCheck += m_strStamp.size() + 2 + (strName.size() > 25 ? strName.size() : 25) + 1 + 5 + 2 +
                     strMessage.size() + 1;
}

CLogRecorder::CLogRecorder() : m_pOuter(CLogger::GetInstance()->m_pRecorder)
{
    CLogger::GetInstance()->m_pRecorder = this;
}

CLogRecorder::~CLogRecorder() { CLogger::GetInstance()->m_pRecorder = m_pOuter; }

CLogSilencer::CLogSilencer() { ++CLogger::GetInstance()->m_nSilencers; }

CLogSilencer::~CLogSilencer() { --CLogger::GetInstance()->m_nSilencers; }
