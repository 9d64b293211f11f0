#include "ExplainReport.h"

#include "ExplainText.h"
#include "PlatformLayer.h"

#include <algorithm>
#include <cstddef>

namespace
{
// PCI identities of a parent device that an explanation lists.
const std::size_t kListedParentPCI = 16;
} // namespace

CExplainReport::CExplainReport() = default;

void CExplainReport::SetRun(CDeviceInfo::eDependencyType eRequested, const std::string& strPackageDirectory,
                            bool bPackageDescriptionFound, const std::string& strInventoryText)
{
    m_run.eRequested = eRequested;
    m_run.strPackageDirectory = strPackageDirectory;
    m_run.bPackageDescriptionFound = bPackageDescriptionFound;
    m_run.ePackageDescription = bPackageDescriptionFound ? EPackageDescription::Parsed : EPackageDescription::Missing;
    m_run.bInventoryTextPresent = !strInventoryText.empty();
    m_run.nInventoryTextBytes = strInventoryText.size();
    // Before any collector runs: what changes after this, changed during
    // the run.
    m_run.nFileClockAtStartNs = CPlatformLayer::GetFileClockTime();
}

void CExplainReport::SetCollectorTimeLimit(const CCollectorTimeLimit& limit, const std::string& strRejectedValue)
{
    m_run.collectorTimeLimit = limit;
    m_run.strRejectedTimeLimit = strRejectedValue;
}

void CExplainReport::SetMachine(const SOSInfo& runningOS, std::size_t nInventoryDevices, const SSmbiosSummary& smbios)
{
    m_run.runningOS = runningOS;
    m_run.nInventoryDevices = nInventoryDevices;
    m_run.smbios = smbios;
}

int CExplainReport::ExitStatus(CDeviceInfo::eDependencyType eRequested, bool bProcessed, std::size_t nReported)
{
    // The wrapper reports only when Process succeeded and left a non-empty
    // list; main then exits with the type, otherwise with 255.
    if (!bProcessed || nReported == 0)
    {
        return 255;
    }
    return eRequested == CDeviceInfo::eDependencyTypeHard ? 1 : 2;
}

void CExplainReport::SetOutcome(bool bProcessed, const std::vector<CDeviceInfo*>& vReported)
{
    m_run.bProcessed = bProcessed;
    m_run.nExitStatus = ExitStatus(m_run.eRequested, bProcessed, vReported.size());
    m_run.vReported.clear();
    if (m_run.nExitStatus == 255)
    {
        return;
    }
    for (const CDeviceInfo* pRecord : vReported)
    {
        if (pRecord != nullptr)
        {
            m_run.vReported.push_back(SReportedDependency{pRecord->getDisplay(), pRecord->getStatus() == 1});
        }
    }
}

SExplainedDependency* CExplainReport::Find(const CDeviceInfo* pDependency)
{
    auto it = m_mapIndex.find(pDependency);
    return it == m_mapIndex.end() ? nullptr : &m_run.vDependencies[it->second];
}

// ---------------------------------------------------------------------------
// The checker's decisions
// ---------------------------------------------------------------------------

void CExplainReport::OnDependenciesLoaded(const std::vector<CDeviceInfo*>& vDependencies,
                                          CDeviceInfo::eDependencyType eRequested)
{
    m_run.eRequested = eRequested;
    m_run.vDependencies.clear();
    m_mapIndex.clear();
    m_mapReleaseRuns.clear();
    for (const CDeviceInfo* pRecord : vDependencies)
    {
        if (pRecord == nullptr)
        {
            continue;
        }
        SExplainedDependency dependency;
        dependency.strDisplay = pRecord->getDisplay();
        dependency.strComponentID = pRecord->getComponentID();
        dependency.strComponentType = pRecord->getComponentType();
        dependency.strReleaseID = pRecord->getReleaseID();
        dependency.strVersion = pRecord->getVersion();
        dependency.strContext = pRecord->getDependencyContext();
        dependency.eDependencyType = pRecord->getDependencyType();
        dependency.eDeviceType = pRecord->getDeviceType();
        dependency.pci = pRecord->getPCIInfo();
        dependency.eParentDeviceType = pRecord->getParentDeviceType();
        dependency.strParentComponentID = pRecord->getParentComponentID();
        dependency.strDownloadPath = CDeviceInfo(*pRecord).getFilePath();
        dependency.strDetail = pRecord->getDetail();
        const std::vector<SPCIInfo>& vParentPCI = pRecord->ParentPCIInfo();
        dependency.nParentPCICount = vParentPCI.size();
        const std::size_t nListed = std::min(vParentPCI.size(), kListedParentPCI);
        dependency.vParentPCI.assign(vParentPCI.begin(), vParentPCI.begin() + static_cast<std::ptrdiff_t>(nListed));
        dependency.inventory.strReleaseID = dependency.strReleaseID;
        m_mapIndex[pRecord] = m_run.vDependencies.size();
        m_run.vDependencies.push_back(dependency);
    }
}

void CExplainReport::OnInventoryLookup(const CDeviceInfo* pDependency, const SInventoryLookup& lookup)
{
    SExplainedDependency* pExplained = Find(pDependency);
    if (pExplained == nullptr)
    {
        return;
    }
    SExplainedInventory& inventory = pExplained->inventory;
    inventory.eLookup = lookup.eOutcome == EInventoryLookup::Collected ? SExplainedInventory::ELookup::Collected
                                                                       : SExplainedInventory::ELookup::Reused;
    inventory.strReleaseID = lookup.strReleaseID;
    inventory.strComponentPath = lookup.strComponentPath;
    inventory.nRecords = lookup.pRecords != nullptr ? lookup.pRecords->size() : 0;
    if (lookup.eOutcome != EInventoryLookup::Collected)
    {
        return;
    }
    SReleaseRun run;
    run.strComponentPath = lookup.strComponentPath;
    run.nRecords = inventory.nRecords;
    if (lookup.pCollector != nullptr && lookup.pCollector->bStarted)
    {
        const SCollectorRun& source = *lookup.pCollector;
        SExplainedCollector collector;
        collector.strCommand = source.strCommand;
        collector.nDeclaredSeconds = source.nConfiguredSeconds;
        collector.nLimitSeconds = source.nLimitSeconds;
        collector.dSeconds = static_cast<double>(source.nEndedMs - source.nStartedMs) / 1000.0;
        collector.nWaitStatus = source.nWaitStatus;
        collector.bTimedOut = source.bTimedOut;
        collector.nStartedMs = source.nStartedMs;
        collector.strOutputPath = source.strOutputPath;
        if (m_pOutputCapture != nullptr && m_pOutputCapture->IsOn())
        {
            // The checker runs one collector at a time and reports each run
            // here, before the next one starts.
            collector.output = m_pOutputCapture->Take();
        }
        run.collector = collector;
    }
    if (lookup.pRecords != nullptr)
    {
        // The first failed record is the one the decision stops at.
        for (const CDeviceInfo* pRecord : *lookup.pRecords)
        {
            if (pRecord != nullptr && pRecord->getStatus() == 1)
            {
                run.bFailed = true;
                run.strErrorMessage = pRecord->getErrorMsg();
                break;
            }
        }
    }
    m_mapReleaseRuns[lookup.strReleaseID] = run;
}

void CExplainReport::OnContextCheck(const CDeviceInfo* pDependency, const std::string& strContext, bool bApplicable)
{
    if (SExplainedDependency* pExplained = Find(pDependency))
    {
        pExplained->strContext = strContext;
        pExplained->contextApplies = bApplicable;
    }
}

void CExplainReport::OnPlatformCheck(const CDeviceInfo* pDependency, const SPlatformCheck& check)
{
    SExplainedDependency* pExplained = Find(pDependency);
    if (pExplained == nullptr)
    {
        return;
    }
    SExplainedPlatform platform;
    platform.vPlatforms = check.vPlatforms;
    platform.bTablesRead = check.bTablesRead;
    platform.bChecked = check.bChecked;
    platform.bApplies = check.bApplicable;
    platform.strSystemID = check.strSystemID;
    if (check.pSMBIOS != nullptr)
    {
        platform.eSource = check.pSMBIOS->GetTableSource();
        platform.eOrigin = check.pSMBIOS->GetSystemIdOrigin();
    }
    pExplained->platform = platform;
}

void CExplainReport::OnOSCheck(const CDeviceInfo* pDependency, const SOSCheck& check)
{
    if (SExplainedDependency* pExplained = Find(pDependency))
    {
        pExplained->os = SExplainedOS{check.running, check.vRequired, check.nMatchedEntry, check.bApplicable};
    }
}

void CExplainReport::OnDeviceCheck(const CDeviceInfo* pDependency, const SDeviceCheck& check)
{
    if (SExplainedDependency* pExplained = Find(pDependency))
    {
        SExplainedDeviceCheck device;
        device.bPresent = check.bPresent;
        if (check.pMatchedDevice != nullptr)
        {
            device.matched = SExplainedDevice::From(*check.pMatchedDevice);
        }
        pExplained->device = device;
    }
}

void CExplainReport::OnTypeCheck(const CDeviceInfo* pDependency, CDeviceInfo::eDependencyType, bool bSameType)
{
    if (SExplainedDependency* pExplained = Find(pDependency))
    {
        pExplained->sameType = bSameType;
    }
}

void CExplainReport::OnVersionComparison(const CDeviceInfo* pDependency, const SVersionComparison& comparison)
{
    if (SExplainedDependency* pExplained = Find(pDependency))
    {
        SExplainedComparison explained;
        explained.strRequired = comparison.strRequired;
        explained.strInstalled = comparison.strInstalled;
        explained.nResult = comparison.nResult;
        if (comparison.pInstalled != nullptr)
        {
            explained.installed = SExplainedDevice::From(*comparison.pInstalled);
        }
        pExplained->vComparisons.push_back(explained);
    }
}

void CExplainReport::OnVerdict(const CDeviceInfo* pDependency, EVerdict eVerdict)
{
    if (SExplainedDependency* pExplained = Find(pDependency))
    {
        pExplained->verdict = eVerdict;
        pExplained->strCurrentVersion = pDependency->getCurrentVersion();
        pExplained->strErrorMessage = pDependency->getErrorMsg();
    }
}

std::string CExplainReport::ToText() const { return CExplainText::Render(m_run); }

nlohmann::ordered_json CExplainReport::ToJson() const { return CExplainJson::Render(m_run); }
