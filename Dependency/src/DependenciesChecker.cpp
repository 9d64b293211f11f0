#include "DependenciesChecker.h"

#include "DeviceInventoryInfo.h"
#include "InventoryMatchIndex.h"
#include "Logger.h"
#include "ParentDeviceIndex.h"
#include "PlatformLayer.h"
#include "SoftwareComponentInfo.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

#include <strings.h>

const std::string QUERYCOMPID = "/SVMInventory/Device[@componentID = \"";
const std::string XPATH_SUFFIX = "\"]";

namespace
{
const char* const kVersionTextCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ ";
const char* const kVersionSeparators = ".-_";

bool EqualsIgnoringCase(const std::string& strLeft, const char* pszRight)
{
    return strcasecmp(strLeft.c_str(), pszRight) == 0;
}

// The numbers of a version text: split at any separator (runs of separators
// count as one, leading and trailing ones give no empty token), each token
// read as a base-10 number that stops at its first non-digit and is cut to
// 32 bits.
std::vector<int32_t> VersionNumbers(const char* pszText)
{
    std::vector<int32_t> vNumbers;
    const char* p = pszText;
    while (*p != '\0')
    {
        p += std::strspn(p, kVersionSeparators);
        if (*p == '\0')
        {
            break;
        }
        const std::size_t nLength = std::strcspn(p, kVersionSeparators);
        const std::string strToken(p, nLength);
        vNumbers.push_back(static_cast<int32_t>(std::strtol(strToken.c_str(), nullptr, 10)));
        p += nLength;
    }
    return vNumbers;
}

} // namespace

CDependenciesChecker::CDependenciesChecker(const std::string& strPath) : m_strPath(strPath)
{
    // The package reader is built first: its constructor is what switches
    // logging on (to "baseutils.log") when the marker file exists, so the
    // attempt below with "dependency.log" changes nothing.
    m_pSoftwareComponentInfo.reset(new (std::nothrow) CSoftwareComponentInfo());
    try
    {
        if (CPlatformLayer::IsFileExits(strEnableLogFileName))
        {
            CLogger::GetInstance()->Initialize("dependency.log");
        }
    }
    catch (const std::exception&)
    {
    }
    VEXLOG("CDependenciesChecker::CDependenciesChecker  Path: " + m_strPath);
    if (!m_pSoftwareComponentInfo)
    {
        VEXLOG("CDependenciesChecker::CDependenciesChecker  is NULL ");
    }
}

CDependenciesChecker::~CDependenciesChecker()
{
    VEXLOG("CDependenciesChecker::~CDependenciesChecker ");
    m_pSoftwareComponentInfo.reset();
    for (auto& entry : m_mapInventoryInfo)
    {
        for (CDeviceInfo* pRecord : entry.second)
        {
            delete pRecord;
        }
    }
}

bool CDependenciesChecker::Process(CDeviceInfo::eDependencyType eType, const std::string& strInventoryXml)
{
    VEXLOG("CDependenciesChecker::Process Start ");
    if (!m_pSoftwareComponentInfo)
    {
        VEXLOG("CDependenciesChecker::Process m_pSoftwareComponentInfo is NULL ");
        return false;
    }

    std::vector<CDeviceInfo*> vDependentDeviceInfo = m_pSoftwareComponentInfo->getDependencyInfo();
    for (CDeviceInfo* pRecord : vDependentDeviceInfo)
    {
        m_vOwnedRecords.emplace_back(pRecord);
    }
    if (m_pListener != nullptr)
    {
        m_pListener->OnDependenciesLoaded(vDependentDeviceInfo, eType);
    }
    if (vDependentDeviceInfo.empty())
    {
        VEXLOG("CDependenciesChecker::Process vDependentDeviceInfo size is zero ");
        return true;
    }

    // Every dependency of the type is looked up; the result is that of the
    // last lookup, so only a failure of the last one makes the run fail.
    bool bResult = false;
    for (CDeviceInfo* pDependency : vDependentDeviceInfo)
    {
        if (pDependency == nullptr || pDependency->getDependencyType() != eType)
        {
            continue;
        }
        bResult = GetInventoryInfo(pDependency);
        if (!bResult)
        {
            VEXLOG("CDependenciesChecker::Process GetInventoryInfo function is failed");
        }
    }

    m_vDependentDevices = GetDependentDevices(vDependentDeviceInfo, strInventoryXml, eType);
    VEXLOG("CDependenciesChecker::Process END");
    CPlatformLayer::UninstallZeph();
    return bResult;
}

std::vector<CDeviceInfo*> CDependenciesChecker::GetDependentDevices() { return m_vDependentDevices; }

int CDependenciesChecker::CompareVersions(const std::string& strFirst, const std::string& strSecond)
{
    const char* pszFirst = strFirst.c_str();
    const char* pszSecond = strSecond.c_str();
    if (strcasecmp(pszFirst, pszSecond) == 0)
    {
        return 0;
    }
    // Versions that hold letters or blanks are compared as text.
    if (std::strpbrk(pszFirst, kVersionTextCharacters) != nullptr ||
        std::strpbrk(pszSecond, kVersionTextCharacters) != nullptr)
    {
        return strcasecmp(pszFirst, pszSecond);
    }

    std::vector<int32_t> vFirst = VersionNumbers(pszFirst);
    std::vector<int32_t> vSecond = VersionNumbers(pszSecond);
    const std::size_t nLength = std::max(vFirst.size(), vSecond.size());
    vFirst.resize(nLength, 0);
    vSecond.resize(nLength, 0);
    for (std::size_t i = 0; i < nLength; ++i)
    {
        if (vFirst[i] == vSecond[i])
        {
            continue;
        }
        if (vFirst[i] > vSecond[i])
        {
            VEXLOG("CDependenciesChecker::CompareVersions  nVer1 > nVer2");
            return 1;
        }
        VEXLOG("CDependenciesChecker::CompareVersions   nVer1 < nVer2");
        return -1;
    }
    return 0;
}

bool CDependenciesChecker::GetInventoryInfo(CDeviceInfo* pDevice)
{
    VEXLOG("CDependenciesChecker::GetInventoryInfo  Start");
    if (pDevice == nullptr)
    {
        VEXLOG("CDependenciesChecker::GetInventoryInfo  pDevice is NULL");
        return false;
    }
    const std::string strReleaseID = pDevice->getReleaseID();
    auto itCached = m_mapInventoryInfo.find(strReleaseID);
    if (itCached != m_mapInventoryInfo.end())
    {
        if (m_pListener != nullptr)
        {
            SInventoryLookup lookup;
            lookup.eOutcome = EInventoryLookup::Reused;
            lookup.strReleaseID = strReleaseID;
            lookup.pRecords = &itCached->second;
            m_pListener->OnInventoryLookup(pDevice, lookup);
        }
        return true;
    }

    const std::string strComponentPath = m_strPath + "//" + strReleaseID;
    VEXLOG("CDependenciesChecker::GetInventoryInfo  strComponentPath =" + strComponentPath);
    SCollectorRun collectorRun;
    IInventorySource& source = m_pInventorySource != nullptr ? *m_pInventorySource : m_collectorSource;
    itCached =
        m_mapInventoryInfo.emplace(strReleaseID, source.Collect(strComponentPath, m_collectorTimeLimit, collectorRun))
            .first;
    if (m_pListener != nullptr)
    {
        SInventoryLookup lookup;
        lookup.eOutcome = EInventoryLookup::Collected;
        lookup.strReleaseID = strReleaseID;
        lookup.strComponentPath = strComponentPath;
        lookup.pRecords = &itCached->second;
        lookup.pCollector = &collectorRun;
        m_pListener->OnInventoryLookup(pDevice, lookup);
    }
    VEXLOG("CDependenciesChecker::GetInventoryInfo  END");
    return true;
}

bool CDependenciesChecker::HasDependeny(CDeviceInfo* pDepDeviceInfo, std::vector<CDeviceInfo*>& vInvDeviceInfo)
{
    const CInventoryMatchIndex matchIndex(vInvDeviceInfo);
    return Decide(pDepDeviceInfo, vInvDeviceInfo, matchIndex);
}

bool CDependenciesChecker::Decide(CDeviceInfo* pDepDeviceInfo, const std::vector<CDeviceInfo*>& vInvDeviceInfo,
                                  const CInventoryMatchIndex& matchIndex)
{
    VEXLOG("CDependenciesChecker::HasDependeny  START");
    if (pDepDeviceInfo == nullptr || vInvDeviceInfo.empty())
    {
        VEXLOG("CDependenciesChecker::HasDependeny  pDepDeviceInfo || vInvDeviceInfo.size() ==0");
        return false;
    }

    // The records are taken in order up to the first failed one; of them,
    // only null records and installed instances of the dependency lead to
    // anything (a log line, a comparison). The index names exactly those.
    const std::vector<std::size_t>& vNullRecords = matchIndex.NullRecords();
    const std::vector<std::size_t>& vInstances = matchIndex.Instances(*pDepDeviceInfo);
    const std::size_t nFirstFailed = matchIndex.FirstFailed();
    const std::size_t nNone = vInvDeviceInfo.size();
    const std::string strRequired = pDepDeviceInfo->getVersion();
    bool bUnmet = false;
    std::size_t nNextNull = 0;
    std::size_t nNextInstance = 0;
    for (;;)
    {
        const std::size_t nNull = nNextNull < vNullRecords.size() ? vNullRecords[nNextNull] : nNone;
        const std::size_t nInstance = nNextInstance < vInstances.size() ? vInstances[nNextInstance] : nNone;
        if (std::min(nNull, nInstance) >= nFirstFailed)
        {
            break;
        }
        if (nNull < nInstance)
        {
            VEXLOG("CDependenciesChecker::HasDependeny pInvDevice is NULL");
            ++nNextNull;
            continue;
        }
        ++nNextInstance;
        CDeviceInfo* pInvDevice = vInvDeviceInfo[nInstance];
        const std::string strInstalled = pInvDevice->getVersion();
        const int nCmpResult = CompareVersions(strRequired, strInstalled);
        ++m_nVersionComparisons;
        if (m_pListener != nullptr)
        {
            SVersionComparison comparison;
            comparison.pInstalled = pInvDevice;
            comparison.strRequired = strRequired;
            comparison.strInstalled = strInstalled;
            comparison.nResult = nCmpResult;
            m_pListener->OnVersionComparison(pDepDeviceInfo, comparison);
        }
        if (nCmpResult > 0)
        {
            VEXLOG("CDependenciesChecker::HasDependeny nCmpResult > 0");
            pDepDeviceInfo->setCurrentVersion(strInstalled);
            bUnmet = true;
        }
    }

    // A failed collector run makes every dependency of its release
    // unverifiable, whichever component the failed record names.
    if (nFirstFailed < vInvDeviceInfo.size())
    {
        const CDeviceInfo* pFailed = vInvDeviceInfo[nFirstFailed];
        VEXLOG("CDependenciesChecker::HasDependeny Inventory is failed ");
        pDepDeviceInfo->setStatus(pFailed->getStatus());
        pDepDeviceInfo->setErrorMsg(pFailed->getErrorMsg());
        return true;
    }
    VEXLOG("CDependenciesChecker::HasDependeny END");
    return bUnmet;
}

bool CDependenciesChecker::doDeviceCheck(CDeviceInfo* pDepDeviceInfo, std::vector<CDeviceInfo*>& vInvDeviceInfo)
{
    const CParentDeviceIndex deviceIndex(vInvDeviceInfo);
    return DeviceCheck(pDepDeviceInfo, vInvDeviceInfo, deviceIndex) != nullptr;
}

CDeviceInfo* CDependenciesChecker::DeviceCheck(CDeviceInfo* pDepDeviceInfo,
                                               const std::vector<CDeviceInfo*>& vInvDeviceInfo,
                                               const CParentDeviceIndex& deviceIndex)
{
    VEXLOG("CDependenciesChecker::doDeviceCheck   Entered");
    if (pDepDeviceInfo == nullptr || vInvDeviceInfo.empty())
    {
        return nullptr;
    }
    CDeviceInfo* pParent = deviceIndex.FindParent(*pDepDeviceInfo);
    VEXLOG("CDependenciesChecker::doDeviceCheck   Exit");
    return pParent;
}

int CDependenciesChecker::FindMatchingOS(const std::vector<SOSInfo>& vRequired, const SOSInfo& running)
{
    for (std::size_t i = 0; i < vRequired.size(); ++i)
    {
        const SOSInfo& required = vRequired[i];
        if (strcasecmp(required.strOSArch.c_str(), running.strOSArch.c_str()) == 0 &&
            CompareVersions(required.strMajorVersion, running.strMajorVersion) == 0 &&
            CompareVersions(required.strMinorVersion, running.strMinorVersion) == 0 &&
            strcasecmp(required.strOSVendor.c_str(), running.strOSVendor.c_str()) == 0 &&
            CompareVersions(required.strSPMajorVersion, running.strSPMajorVersion) == 0 &&
            CompareVersions(required.strSPMinorVersion, running.strSPMinorVersion) == 0)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

bool CDependenciesChecker::CheckPlatform(CDeviceInfo* pDependency, CSMBIOSInventory& smbios)
{
    SPlatformCheck check;
    check.vPlatforms = pDependency->getDepenendencyPlatforms();
    check.bTablesRead = smbios.Initialize() != 0;
    check.pSMBIOS = &smbios;
    if (check.bTablesRead && !check.vPlatforms.empty())
    {
        check.bChecked = true;
        check.strSystemID = smbios.GetSystemID();
        check.bApplicable = std::find(check.vPlatforms.begin(), check.vPlatforms.end(), check.strSystemID) !=
                            check.vPlatforms.end();
        if (check.bApplicable)
        {
            VEXLOG("Platform Check is successful Considering Dependency on this Platfrom");
        }
        else
        {
            VEXLOG("Platform Check is ussuccessful i.e Dependency is not applicable on this platform hence skipping "
                   "other checks");
        }
    }
    else
    {
        VEXLOG("CDependenciesChecker::GetDependentDevices: Failed to get Platform info from SMBIOS or Platfrom Info "
               "is not mentioned in Package.xml so skipping Platfrom Check ");
    }
    if (m_pListener != nullptr)
    {
        m_pListener->OnPlatformCheck(pDependency, check);
    }
    return check.bApplicable;
}

std::vector<CDeviceInfo*> CDependenciesChecker::GetDependentDevices(const std::vector<CDeviceInfo*>& vDependencies,
                                                                    const std::string& strInventoryXml,
                                                                    CDeviceInfo::eDependencyType eType)
{
    std::vector<CDeviceInfo*> vResult;
    CDeviceInventoryInfo inventoryInfo(strInventoryXml);
    std::vector<CDeviceInfo*> vSystemDevices = inventoryInfo.GetDeviceInfo();
    const SOSInfo runningOS = inventoryInfo.GetOSInfo();
    VEXLOG("CDependenciesChecker::GetDependentDevices  START");
    // The system's devices are indexed once for the device check of every
    // dependency.
    const CParentDeviceIndex deviceIndex(vSystemDevices);

    auto verdict = [this](const CDeviceInfo* pDependency, EVerdict eVerdict) {
        if (m_pListener != nullptr)
        {
            m_pListener->OnVerdict(pDependency, eVerdict);
        }
    };

    for (CDeviceInfo* pDependency : vDependencies)
    {
        if (pDependency == nullptr)
        {
            continue;
        }

        // 1. Context.
        const std::string strContext = pDependency->getDependencyContext();
        const bool bContext = EqualsIgnoringCase(strContext, "OS") || EqualsIgnoringCase(strContext, "ALL");
        if (m_pListener != nullptr)
        {
            m_pListener->OnContextCheck(pDependency, strContext, bContext);
        }
        if (!bContext)
        {
            VEXLOG("CDependenciesChecker::GetDependentDevices: This Depndency is failed to qualify CONTEXT Check");
            verdict(pDependency, EVerdict::ContextNotApplicable);
            continue;
        }

        // 2. Platform: a reader of its own for every dependency reads the
        // tables anew, and releases them when the dependency's turn ends.
        CSMBIOSInventory smbios(m_SMBIOSSources);
        if (!CheckPlatform(pDependency, smbios))
        {
            verdict(pDependency, EVerdict::PlatformNotApplicable);
            continue;
        }

        // 3. Operating system.
        const std::vector<SOSInfo> vRequiredOS = pDependency->getDependencyOS();
        SOSCheck osCheck;
        if (vRequiredOS.empty())
        {
            VEXLOG("CDependenciesChecker::GetDependentDevices: No OS node present under Dependency, hence considering "
                   "this dependency on the current OS");
        }
        else
        {
            osCheck.nMatchedEntry = FindMatchingOS(vRequiredOS, runningOS);
            osCheck.bApplicable = osCheck.nMatchedEntry >= 0;
            if (osCheck.bApplicable)
            {
                VEXLOG("CDependenciesChecker::GetDependentDevices: Dependency is applicable for the current OS");
            }
            else
            {
                VEXLOG("CDependenciesChecker::GetDependentDevices: The Current OS is not Found in Dependency OS Node. "
                       "Hence Skipping othe checks for this dependency");
            }
        }
        if (m_pListener != nullptr)
        {
            osCheck.running = runningOS;
            osCheck.vRequired = vRequiredOS;
            m_pListener->OnOSCheck(pDependency, osCheck);
        }
        if (!osCheck.bApplicable)
        {
            verdict(pDependency, EVerdict::OSNotApplicable);
            continue;
        }

        // 4. The device the dependency belongs to must be present.
        const CDeviceInfo* pParentDevice = DeviceCheck(pDependency, vSystemDevices, deviceIndex);
        const bool bDevicePresent = pParentDevice != nullptr;
        if (m_pListener != nullptr)
        {
            SDeviceCheck deviceCheck;
            deviceCheck.bPresent = bDevicePresent;
            deviceCheck.pMatchedDevice = pParentDevice;
            m_pListener->OnDeviceCheck(pDependency, deviceCheck);
        }
        if (!bDevicePresent)
        {
            VEXLOG("Device Check is ussuccessful i.e Dependency is not applicable for the devices present on this "
                   "system hence skipping other checks");
            verdict(pDependency, EVerdict::DeviceNotPresent);
            continue;
        }
        VEXLOG("Device Check is successful i.e Dependency is applicable for the devices present on this system ");

        // 5. Type.
        const bool bSameType = pDependency->getDependencyType() == eType;
        if (m_pListener != nullptr)
        {
            m_pListener->OnTypeCheck(pDependency, eType, bSameType);
        }
        if (!bSameType)
        {
            verdict(pDependency, EVerdict::OtherType);
            continue;
        }

        // 6. Release directory and the decision.
        const std::string strReleaseIDDir = pDependency->getReleaseID();
        VEXLOG("CDependenciesChecker::GetDependentDevices  strReleaseIDDir = " + strReleaseIDDir);
        auto itInventory = m_mapInventoryInfo.find(strReleaseIDDir);
        if (itInventory == m_mapInventoryInfo.end())
        {
            verdict(pDependency, EVerdict::NoInventory);
            continue;
        }
        std::unique_ptr<CInventoryMatchIndex>& pMatchIndex = m_mapInventoryIndex[strReleaseIDDir];
        if (!pMatchIndex)
        {
            pMatchIndex.reset(new CInventoryMatchIndex(itInventory->second));
        }
        const std::size_t nComparisonsBefore = m_nVersionComparisons;
        if (Decide(pDependency, itInventory->second, *pMatchIndex))
        {
            VEXLOG("CDependenciesChecker::GetDependentDevices  HasDependeny = " + strReleaseIDDir);
            vResult.push_back(pDependency);
            verdict(pDependency, pDependency->getStatus() == 1 ? EVerdict::Failed : EVerdict::Unmet);
        }
        else if (m_pListener != nullptr)
        {
            verdict(pDependency, m_nVersionComparisons != nComparisonsBefore ? EVerdict::Met : EVerdict::NotInstalled);
        }
    }

    VEXLOG("CDependenciesChecker::GetDependentDevices  END");
    for (CDeviceInfo* pDevice : vSystemDevices)
    {
        delete pDevice;
    }
    return vResult;
}
