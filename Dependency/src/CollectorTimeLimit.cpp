#include "CollectorTimeLimit.h"

#include "Logger.h"
#include "PlatformLayer.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

const char* const CCollectorTimeLimit::pszVariable = "VEXDEP_COLLECTOR_TIMEOUT";

namespace
{
// A whole number of seconds written with decimal digits only (no sign, no
// blanks), at least 1.
bool ParseSeconds(const std::string& strValue, long& nSeconds)
{
    if (strValue.empty() || strValue.find_first_not_of("0123456789") != std::string::npos)
    {
        return false;
    }
    errno = 0;
    const unsigned long long nValue = std::strtoull(strValue.c_str(), nullptr, 10);
    if (errno == ERANGE || nValue < 1 || nValue > static_cast<unsigned long long>(LONG_MAX))
    {
        return false;
    }
    nSeconds = static_cast<long>(nValue);
    return true;
}
} // namespace

bool CCollectorTimeLimit::Parse(const std::string& strValue, CCollectorTimeLimit& limit)
{
    limit = CCollectorTimeLimit();
    if (strValue.empty() || strValue == "none")
    {
        return true;
    }
    if (strValue == "config")
    {
        limit.m_eMode = EMode::Configured;
        return true;
    }
    long nSeconds = 0;
    if (!ParseSeconds(strValue, nSeconds))
    {
        return false;
    }
    limit.m_eMode = EMode::Fixed;
    limit.m_nFixedSeconds = nSeconds;
    return true;
}

CCollectorTimeLimit CCollectorTimeLimit::FromEnvironment(bool& bRejected, std::string& strRejected)
{
    bRejected = false;
    strRejected.clear();
    CCollectorTimeLimit limit;
    std::string strValue;
    if (CPlatformLayer::GetEnvironmentVariable(pszVariable, strValue) && !Parse(strValue, limit))
    {
        bRejected = true;
        strRejected = strValue;
        VEXLOG("CCollectorTimeLimit::FromEnvironment " + RejectedValueMessage(strValue));
    }
    return limit;
}

std::string CCollectorTimeLimit::RejectedValueMessage(const std::string& strValue)
{
    return std::string(pszVariable) + "=\"" + strValue +
           "\" is not config, none or a positive number of seconds: collectors run without a time limit";
}

long CCollectorTimeLimit::LimitFor(long nConfiguredSeconds) const
{
    switch (m_eMode)
    {
    case EMode::Configured:
        return nConfiguredSeconds;
    case EMode::Fixed:
        return m_nFixedSeconds;
    case EMode::None:
        break;
    }
    return 0;
}

std::string CCollectorTimeLimit::ToText() const
{
    switch (m_eMode)
    {
    case EMode::Configured:
        return "config";
    case EMode::Fixed:
        return std::to_string(m_nFixedSeconds);
    case EMode::None:
        break;
    }
    return "none";
}
