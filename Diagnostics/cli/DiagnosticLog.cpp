#include "DiagnosticLog.h"

#include "Logger.h"
#include "PlatformLayer.h"

#include <cerrno>
#include <cstring>

const char* const CDiagnosticLog::pszDiscard = "/dev/null";

bool CDiagnosticLog::Open(const std::string& strPath)
{
    const std::string strTarget = strPath.empty() ? std::string(pszDiscard) : strPath;
    CLogger* pLogger = CLogger::GetInstance();
    if (pLogger->IsInitialized())
    {
        return false;
    }
    pLogger->Initialize(strTarget);
    return pLogger->IsInitialized();
}

bool CDiagnosticLog::Open(const std::string& strPath, std::string& strReason)
{
    strReason.clear();
    if (CLogger::GetInstance()->IsInitialized())
    {
        strReason = "the log is already open on another file";
        return false;
    }
    // The logger reports no reason of its own: what its open left in errno
    // is the system's. It refuses an existing path that is no regular file
    // without any failing call, errno then stays 0.
    errno = 0;
    if (Open(strPath))
    {
        return true;
    }
    const int nError = errno;
    const std::string strTarget = strPath.empty() ? std::string(pszDiscard) : strPath;
    if (nError != 0)
    {
        strReason = std::strerror(nError);
    }
    else if (CPlatformLayer::IsDirectory(strTarget))
    {
        strReason = std::strerror(EISDIR);
    }
    else
    {
        strReason = "not a regular file";
    }
    return false;
}
