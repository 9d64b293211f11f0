#include "DiagnosticLog.h"

#include "Logger.h"

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
