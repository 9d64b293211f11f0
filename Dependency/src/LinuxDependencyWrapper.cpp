#include "LinuxDependencyWrapper.h"

#include "DependenciesChecker.h"
#include "PlatformLayer.h"

#include <iostream>

namespace
{
const char* const kHardHeading = "\nThe update process cannot proceed till the following requirements are met.\n";
const char* const kSoftHeading =
    "\nThe updated component requires the following updates to exhibit all the features.\n";
const char* const kFailedClosing =
    "\nThe inventory for a one or more dependent components failed. Please check log file for details.\n";
} // namespace

CLinuxDepenedencyWrapper::CLinuxDepenedencyWrapper()
    : m_strWorkingDirectory(CPlatformLayer::getCurrentDirectory()),
      m_pDependenciesChecker(new CDependenciesChecker(m_strWorkingDirectory))
{
    // Collectors are waited for without limit unless the environment
    // switches the guard on.
    bool bRejected = false;
    std::string strRejected;
    m_pDependenciesChecker->SetCollectorTimeLimit(CCollectorTimeLimit::FromEnvironment(bRejected, strRejected));
}

CLinuxDepenedencyWrapper::~CLinuxDepenedencyWrapper() = default;

bool CLinuxDepenedencyWrapper::GetDependenciesInformation(CDeviceInfo::eDependencyType eType, std::string& strReport,
                                                          const std::string& strInventoryXml)
{
    if (!m_pDependenciesChecker->Process(eType, strInventoryXml))
    {
        return false;
    }
    m_vDependentDevices = m_pDependenciesChecker->GetDependentDevices();
    if (m_vDependentDevices.empty())
    {
        return false;
    }
    strReport = FormatReport(eType, m_vDependentDevices, std::cerr);
    return true;
}

std::string CLinuxDepenedencyWrapper::FormatReport(CDeviceInfo::eDependencyType eType,
                                                   const std::vector<CDeviceInfo*>& vRecords, std::ostream& errorStream)
{
    std::string strReport = eType == CDeviceInfo::eDependencyTypeHard ? kHardHeading : kSoftHeading;
    bool bAnyFailed = false;
    for (CDeviceInfo* pRecord : vRecords)
    {
        strReport += pRecord->getDisplay();
        if (pRecord->getStatus() == 1)
        {
            bAnyFailed = true;
            strReport += "\n\tCurrent  Version     : Failed";
            // The reason goes to standard error only, as the block is written.
            errorStream << "\n\tError Message         : " << pRecord->getErrorMsg() << std::flush;
        }
        else
        {
            strReport += "\n\tCurrent  Version     : " + pRecord->getCurrentVersion();
        }
        if (eType == CDeviceInfo::eDependencyTypeHard)
        {
            strReport += "\n\tRequired Version     : " + pRecord->getVersion();
        }
        else
        {
            strReport += "\n\tRecommended Version  : " + pRecord->getVersion();
            strReport += "\n\tDetail               : " + pRecord->getDetail();
        }
        strReport += "\n\tVEX DownloadPath     : " + pRecord->getFilePath() + "\n";
    }
    if (bAnyFailed)
    {
        strReport += kFailedClosing;
    }
    return strReport;
}
