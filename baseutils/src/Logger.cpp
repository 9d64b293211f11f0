#include "Logger.h"

#include <ctime>
#include <iomanip>

#include <sys/stat.h>

const std::string strEnableLogFileName = "vexdebuglog";
const std::string strBaseUtilsLogFileName = "baseutils.log";

CLogger* CLogger::m_ptrInstance = nullptr;

CLogger::CLogger() : m_strFileName("debug.log"), m_bInitialized(false), m_pRecorder(nullptr) {}

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
    // The log is written into the package's own directory by a process that
    // runs as root: a log path that already exists as anything but a
    // regular file (a link to a file elsewhere, a named pipe) is not opened,
    // so the log can neither truncate a file outside the package nor wait
    // for a pipe's reader. Logging then stays off.
    struct stat st;
    if (lstat(m_strFileName.c_str(), &st) == 0 && !S_ISREG(st.st_mode))
    {
        return false;
    }
    m_ofsLog.open(m_strFileName.c_str(), std::ios::out | std::ios::trunc);
    if (m_ofsLog.is_open())
    {
        m_bInitialized = true;
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

    char szTime[80] = {};
    const std::time_t tNow = std::time(nullptr);
    std::tm tmLocal = {};
    if (localtime_r(&tNow, &tmLocal) != nullptr)
    {
        std::strftime(szTime, sizeof(szTime), "[%Y-%m-%dT%H:%M:%S] ", &tmLocal);
    }

    m_ofsLog.seekp(0, std::ios::end);
    m_ofsLog << szTime << ": " << std::setw(25) << getFileName(pszFile != nullptr ? pszFile : "")
             << ":" << std::setw(5) << nLine << ": " << strMessage << '\n';
    m_ofsLog.flush();
}

CLogRecorder::CLogRecorder() : m_pOuter(CLogger::GetInstance()->m_pRecorder)
{
    CLogger::GetInstance()->m_pRecorder = this;
}

CLogRecorder::~CLogRecorder() { CLogger::GetInstance()->m_pRecorder = m_pOuter; }
