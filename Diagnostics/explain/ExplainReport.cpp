#include "ExplainReport.h"

#include "InventoryModule.h"
#include "PIEConfigInfo.h"
#include "PlatformLayer.h"
#include "VersionRule.h"

#include <algorithm>
#include <sstream>

#include <sys/wait.h>

using Json = nlohmann::ordered_json;

namespace
{
const std::size_t kLabelWidth = 19;
// PCI identities of a parent device that an explanation lists.
const std::size_t kListedParentPCI = 16;

std::string Label(const std::string& strLabel)
{
    std::string strText = strLabel;
    strText.resize(kLabelWidth, ' ');
    return strText + ": ";
}

// The indentation of a continuation line below a labelled one.
std::string Continuation() { return std::string(kLabelWidth + 2, ' '); }

std::string Quote(const std::string& strText) { return "\"" + strText + "\""; }

std::string TypeName(CDeviceInfo::eDependencyType eType)
{
    return eType == CDeviceInfo::eDependencyTypeSoft ? "soft" : "hard";
}

std::string DeviceTypeText(CDeviceInfo::eDeviceType eType)
{
    switch (eType)
    {
    case CDeviceInfo::eDeviceTypePCI:
        return "PCI";
    case CDeviceInfo::eDeviceTypeNonPCI:
        return "non-PCI";
    case CDeviceInfo::eDeviceTypeUnknown:
        break;
    }
    return "unknown device type";
}

std::string DeviceTypeKey(CDeviceInfo::eDeviceType eType)
{
    switch (eType)
    {
    case CDeviceInfo::eDeviceTypePCI:
        return "pci";
    case CDeviceInfo::eDeviceTypeNonPCI:
        return "non-pci";
    case CDeviceInfo::eDeviceTypeUnknown:
        break;
    }
    return "unknown";
}

std::string PCIText(const SPCIInfo& pci)
{
    return "vendor=" + pci.strVendorID + " device=" + pci.strDeviceID + " subVendor=" + pci.strSubVendorID +
           " subDevice=" + pci.strSubDeviceID;
}

Json PCIJson(const SPCIInfo& pci)
{
    Json json;
    json["vendorID"] = pci.strVendorID;
    json["deviceID"] = pci.strDeviceID;
    json["subVendorID"] = pci.strSubVendorID;
    json["subDeviceID"] = pci.strSubDeviceID;
    return json;
}

// The fields of an operating system that the OS check compares.
std::string OSText(const SOSInfo& os)
{
    return "vendor=" + os.strOSVendor + " arch=" + os.strOSArch + " major=" + os.strMajorVersion +
           " minor=" + os.strMinorVersion + " spMajor=" + os.strSPMajorVersion + " spMinor=" + os.strSPMinorVersion;
}

Json OSJson(const SOSInfo& os)
{
    Json json;
    json["osVendor"] = os.strOSVendor;
    json["osArch"] = os.strOSArch;
    json["majorVersion"] = os.strMajorVersion;
    json["minorVersion"] = os.strMinorVersion;
    json["spMajorVersion"] = os.strSPMajorVersion;
    json["spMinorVersion"] = os.strSPMinorVersion;
    return json;
}

std::string DeviceText(const SExplainedDevice& device)
{
    std::string strText;
    switch (device.eDeviceType)
    {
    case CDeviceInfo::eDeviceTypeNonPCI:
        strText = "component " + Quote(device.strComponentID);
        break;
    case CDeviceInfo::eDeviceTypePCI:
        strText = "PCI " + PCIText(device.pci);
        break;
    case CDeviceInfo::eDeviceTypeUnknown:
        strText = "a record without identity";
        break;
    }
    if (!device.strName.empty())
    {
        strText += " named " + Quote(device.strName);
    }
    return strText;
}

Json DeviceJson(const SExplainedDevice& device)
{
    Json json;
    json["deviceType"] = DeviceTypeKey(device.eDeviceType);
    json["componentID"] = device.strComponentID;
    json["pci"] = device.eDeviceType == CDeviceInfo::eDeviceTypePCI ? PCIJson(device.pci) : Json();
    json["componentType"] = device.strComponentType;
    json["version"] = device.strVersion;
    json["name"] = device.strName;
    return json;
}

std::string ParentText(const SExplainedDependency& dependency)
{
    switch (dependency.eParentDeviceType)
    {
    case CDeviceInfo::eDeviceTypeNonPCI:
        return "component " + Quote(dependency.strParentComponentID) + " (non-PCI)";
    case CDeviceInfo::eDeviceTypePCI:
    {
        std::string strText;
        for (const SPCIInfo& pci : dependency.vParentPCI)
        {
            strText += (strText.empty() ? "PCI " : " or ") + PCIText(pci);
        }
        if (dependency.nParentPCICount > dependency.vParentPCI.size())
        {
            strText += " or " + std::to_string(dependency.nParentPCICount - dependency.vParentPCI.size()) +
                       " more identities";
        }
        return strText;
    }
    case CDeviceInfo::eDeviceTypeUnknown:
        break;
    }
    return "of unknown type (never present)";
}

std::string VerdictKey(const std::optional<EVerdict>& verdict)
{
    if (!verdict)
    {
        return "not-evaluated";
    }
    switch (*verdict)
    {
    case EVerdict::ContextNotApplicable:
    case EVerdict::PlatformNotApplicable:
    case EVerdict::OSNotApplicable:
    case EVerdict::DeviceNotPresent:
        return "not-applicable";
    case EVerdict::OtherType:
        return "other-type";
    case EVerdict::NoInventory:
        return "no-inventory";
    case EVerdict::NotInstalled:
        return "not-installed";
    case EVerdict::Met:
        return "met";
    case EVerdict::Unmet:
        return "reported-unmet";
    case EVerdict::Failed:
        return "reported-failed";
    }
    return "not-evaluated";
}

Json VerdictReason(const std::optional<EVerdict>& verdict)
{
    if (!verdict)
    {
        return Json();
    }
    switch (*verdict)
    {
    case EVerdict::ContextNotApplicable:
        return "context";
    case EVerdict::PlatformNotApplicable:
        return "platform";
    case EVerdict::OSNotApplicable:
        return "os";
    case EVerdict::DeviceNotPresent:
        return "device";
    default:
        return Json();
    }
}

std::string VerdictText(const SExplainedDependency& dependency, CDeviceInfo::eDependencyType eRequested)
{
    if (!dependency.verdict)
    {
        return "not evaluated: the checker stopped before deciding which dependencies apply";
    }
    switch (*dependency.verdict)
    {
    case EVerdict::ContextNotApplicable:
        return "not applicable: context " + Quote(dependency.strContext) + " is neither OS nor ALL";
    case EVerdict::PlatformNotApplicable:
        return "not applicable on this platform";
    case EVerdict::OSNotApplicable:
        return "not applicable on the running OS";
    case EVerdict::DeviceNotPresent:
        return "not applicable: its parent device is not present";
    case EVerdict::OtherType:
        return "not evaluated: a " + TypeName(dependency.eDependencyType) + " dependency, " + TypeName(eRequested) +
               " requested";
    case EVerdict::NoInventory:
        return "not reported: no inventory was collected for release " + Quote(dependency.strReleaseID);
    case EVerdict::NotInstalled:
        return "not reported: no installed instance matches it";
    case EVerdict::Met:
        return "met: not reported";
    case EVerdict::Unmet:
        return "reported unmet, current version " + Quote(dependency.strCurrentVersion);
    case EVerdict::Failed:
        return "reported failed: " + dependency.strErrorMessage;
    }
    return std::string();
}

std::string LookupKey(SExplainedInventory::ELookup eLookup)
{
    switch (eLookup)
    {
    case SExplainedInventory::ELookup::Collected:
        return "collected";
    case SExplainedInventory::ELookup::Reused:
        return "reused";
    case SExplainedInventory::ELookup::NotLookedUp:
        break;
    }
    return "not-looked-up";
}

std::string OutcomeKey(SExplainedInventory::EOutcome eOutcome)
{
    switch (eOutcome)
    {
    case SExplainedInventory::EOutcome::Ran:
        return "ran";
    case SExplainedInventory::EOutcome::Failed:
        return "failed";
    case SExplainedInventory::EOutcome::TimedOut:
        return "timed-out";
    case SExplainedInventory::EOutcome::NotRun:
        return "not-run";
    }
    return "ran";
}

std::string RecordsText(std::size_t nRecords)
{
    return std::to_string(nRecords) + (nRecords == 1 ? " record" : " records");
}

std::string InventoryText(const SExplainedDependency& dependency, CDeviceInfo::eDependencyType eRequested)
{
    const SExplainedInventory& inventory = dependency.inventory;
    if (inventory.eLookup == SExplainedInventory::ELookup::NotLookedUp)
    {
        if (dependency.eDependencyType != eRequested)
        {
            return "not looked up: a " + TypeName(dependency.eDependencyType) + " dependency, " + TypeName(eRequested) +
                   " requested";
        }
        return "not looked up";
    }

    std::string strOutcome;
    switch (inventory.eOutcome)
    {
    case SExplainedInventory::EOutcome::Ran:
        strOutcome =
            RecordsText(inventory.nRecords) + (inventory.strReason.empty() ? "" : " (" + inventory.strReason + ")");
        break;
    case SExplainedInventory::EOutcome::Failed:
        strOutcome = "failed: " + inventory.strErrorMessage;
        break;
    case SExplainedInventory::EOutcome::TimedOut:
        strOutcome = "timed out: " + inventory.strErrorMessage;
        break;
    case SExplainedInventory::EOutcome::NotRun:
        strOutcome = "never ran: " + inventory.strReason;
        break;
    }
    if (inventory.eLookup == SExplainedInventory::ELookup::Reused)
    {
        return "reused what release " + Quote(inventory.strReleaseID) + " collected: " + strOutcome;
    }
    if (inventory.eOutcome == SExplainedInventory::EOutcome::NotRun)
    {
        return "release " + Quote(inventory.strReleaseID) + " in " + inventory.strComponentPath + ": " + strOutcome;
    }
    return "ran for release " + Quote(inventory.strReleaseID) + " in " + inventory.strComponentPath + ": " + strOutcome;
}

std::string SecondsText(double dSeconds)
{
    std::ostringstream oss;
    oss.setf(std::ios::fixed);
    oss.precision(1);
    oss << dSeconds << " s";
    return oss.str();
}

// How the collector run behind a dependency's inventory went against its
// limits.
std::string CollectorRunText(const SExplainedCollector& collector)
{
    std::string strText = "took " + SecondsText(collector.dSeconds) + ", declares " +
                          std::to_string(collector.nDeclaredSeconds) + " s";
    if (collector.bTimedOut)
    {
        return strText + ", ended at the guard's limit of " + std::to_string(collector.nLimitSeconds) + " s";
    }
    strText += collector.nLimitSeconds > 0 ? ", guard limit " + std::to_string(collector.nLimitSeconds) + " s"
                                           : ", waited without limit";
    if (WIFEXITED(collector.nWaitStatus))
    {
        strText += ", exit status " + std::to_string(WEXITSTATUS(collector.nWaitStatus));
    }
    else if (WIFSIGNALED(collector.nWaitStatus))
    {
        strText += ", ended by signal " + std::to_string(WTERMSIG(collector.nWaitStatus));
    }
    return strText;
}

// What an operator should know about a collector run.
std::vector<std::string> CollectorWarnings(const SExplainedCollector& collector)
{
    std::vector<std::string> vWarnings;
    if (collector.ExceededDeclaredLimit())
    {
        vWarnings.push_back(collector.Warning());
    }
    if (collector.ExitedNonZero() && collector.nWaitStatus != -1)
    {
        vWarnings.push_back(WIFSIGNALED(collector.nWaitStatus)
                                ? "the collector was ended by signal " + std::to_string(WTERMSIG(collector.nWaitStatus))
                                : "the collector exited with status " + std::to_string(WEXITSTATUS(collector.nWaitStatus)) +
                                      "; its document is read all the same");
    }
    if (collector.nWaitStatus == -1)
    {
        vWarnings.push_back("the shell could not be started for the collector");
    }
    if (!collector.bReleaseWritable)
    {
        vWarnings.push_back("the release directory is not writable by this user: the collector cannot write its "
                            "output document there");
    }
    if (!collector.bTimedOut && !collector.strOutputPath.empty())
    {
        if (!collector.bOutputPresent)
        {
            vWarnings.push_back("no output document " + collector.strOutputPath + " after the run");
        }
        else if (collector.bOutputStale)
        {
            vWarnings.push_back("the output document " + collector.strOutputPath +
                                " is older than the run: it was left by an earlier run and read instead");
        }
    }
    return vWarnings;
}

// The collectors' time limit of a run, as the header shows it.
std::string TimeLimitText(const CCollectorTimeLimit& limit)
{
    switch (limit.Mode())
    {
    case CCollectorTimeLimit::EMode::Configured:
        return "config: each collector is ended at the limit it declares";
    case CCollectorTimeLimit::EMode::Fixed:
        return std::to_string(limit.FixedSeconds()) + ": every collector is ended after " +
               std::to_string(limit.FixedSeconds()) + " s";
    case CCollectorTimeLimit::EMode::None:
        break;
    }
    return "none: collectors are waited for until they end";
}

std::string PlatformListText(const std::vector<std::string>& vPlatforms)
{
    std::string strText;
    for (const std::string& strPlatform : vPlatforms)
    {
        strText += (strText.empty() ? "" : ", ") + strPlatform;
    }
    return strText;
}

// nShortRevisionLength: see CSmbiosSummary::TooShortOriginText.
std::string PlatformText(const SExplainedPlatform& platform, unsigned int nShortRevisionLength)
{
    if (platform.vPlatforms.empty())
    {
        return "no platform listed: check passed over";
    }
    const std::string strListed = PlatformListText(platform.vPlatforms) + " listed; ";
    if (!platform.bChecked)
    {
        return strListed + "no SMBIOS table could be read: check passed over";
    }
    return strListed + "this machine is " +
           CSmbiosSummary::SystemIdText(platform.strSystemID, platform.eOrigin, nShortRevisionLength) +
           (platform.bApplies ? ": applies" : ": does not apply");
}
} // namespace

bool SExplainedCollector::ExitedNonZero() const
{
    return !bTimedOut && !(WIFEXITED(nWaitStatus) && WEXITSTATUS(nWaitStatus) == 0);
}

bool SExplainedCollector::ExceededDeclaredLimit() const
{
    return !bTimedOut && dSeconds > static_cast<double>(nDeclaredSeconds);
}

std::string SExplainedCollector::Warning() const
{
    if (!ExceededDeclaredLimit())
    {
        return std::string();
    }
    return "took " + SecondsText(dSeconds) + ", declares " + std::to_string(nDeclaredSeconds) +
           " s: a checker with the time-limit guard on would report it Failed";
}

SExplainedDevice SExplainedDevice::From(const CDeviceInfo& record)
{
    SExplainedDevice device;
    device.eDeviceType = record.getDeviceType();
    device.strComponentID = record.getComponentID();
    device.pci = record.getPCIInfo();
    device.strComponentType = record.getComponentType();
    device.strVersion = record.getVersion();
    device.strName = record.getDeviceName();
    return device;
}

CExplainReport::CExplainReport()
    : m_eRequested(CDeviceInfo::eDependencyTypeHard), m_bPackageDescriptionFound(false), m_bInventoryTextPresent(false),
      m_nInventoryTextBytes(0), m_nInventoryDevices(0), m_bProcessed(false), m_nExitStatus(255),
      m_ePackageDescription(EPackageDescription::Missing)
{
}

void CExplainReport::SetRun(CDeviceInfo::eDependencyType eRequested, const std::string& strPackageDirectory,
                            bool bPackageDescriptionFound, const std::string& strInventoryText)
{
    m_eRequested = eRequested;
    m_strPackageDirectory = strPackageDirectory;
    m_bPackageDescriptionFound = bPackageDescriptionFound;
    m_ePackageDescription = bPackageDescriptionFound ? EPackageDescription::Parsed : EPackageDescription::Missing;
    m_bInventoryTextPresent = !strInventoryText.empty();
    m_nInventoryTextBytes = strInventoryText.size();
}

void CExplainReport::SetCollectorTimeLimit(const CCollectorTimeLimit& limit, const std::string& strRejectedValue)
{
    m_collectorTimeLimit = limit;
    m_strRejectedTimeLimit = strRejectedValue;
}

void CExplainReport::SetMachine(const SOSInfo& runningOS, std::size_t nInventoryDevices, const SSmbiosSummary& smbios)
{
    m_runningOS = runningOS;
    m_nInventoryDevices = nInventoryDevices;
    m_smbios = smbios;
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
    m_bProcessed = bProcessed;
    m_nExitStatus = ExitStatus(m_eRequested, bProcessed, vReported.size());
    m_vReported.clear();
    if (m_nExitStatus == 255)
    {
        return;
    }
    for (const CDeviceInfo* pRecord : vReported)
    {
        if (pRecord != nullptr)
        {
            m_vReported.push_back(SReportedDependency{pRecord->getDisplay(), pRecord->getStatus() == 1});
        }
    }
}

void CExplainReport::ClassifyCollectorRuns()
{
    for (auto& entry : m_mapReleaseRuns)
    {
        SReleaseRun& run = entry.second;
        const std::string strConfigPath = run.strComponentPath + "/PIEConfig.xml";
        if (run.collector)
        {
            // The document the checker read: written by this run, left by an
            // earlier one, or not there at all.
            SExplainedCollector& collector = *run.collector;
            collector.bReleaseWritable = CPlatformLayer::IsWritableDirectory(run.strComponentPath);
            collector.bOutputPresent = !collector.strOutputPath.empty() &&
                                       CPlatformLayer::GetModificationTime(collector.strOutputPath,
                                                                           collector.nOutputModifiedMs);
            collector.bOutputStale = collector.bOutputPresent &&
                                     collector.nOutputModifiedMs + CRunVerdict::nStaleToleranceMs < collector.nStartedMs;
        }
        if (run.bFailed)
        {
            // A collector ended at its limit leaves one failed record.
            const bool bTimedOut = run.collector && run.collector->bTimedOut;
            run.eOutcome = bTimedOut ? SExplainedInventory::EOutcome::TimedOut : SExplainedInventory::EOutcome::Failed;
            continue;
        }
        if (run.nRecords > 0)
        {
            run.eOutcome = SExplainedInventory::EOutcome::Ran;
            continue;
        }
        // No record: find out whether the collector ran at all, in the order
        // the inventory module checks.
        run.eOutcome = SExplainedInventory::EOutcome::NotRun;
        CPIEConfigInfo config;
        if (!CPlatformLayer::IsDirectory(run.strComponentPath))
        {
            run.strReason = "the release directory does not exist";
        }
        else if (!CPlatformLayer::IsFileExistsAbs(strConfigPath))
        {
            run.strReason = "PIEConfig.xml does not exist";
        }
        else if (!config.Init(strConfigPath))
        {
            run.strReason = "PIEConfig.xml names no usable inventory plug-in (description \"Inventory\", type \"0\", "
                            "a timeout, and CliToFile with Command and Output)";
        }
        else if (config.GetInventoryTimeout() < 1)
        {
            run.strReason = "the timeout " + std::to_string(config.GetInventoryTimeout()) + " is below 1 second";
        }
        else
        {
            run.eOutcome = SExplainedInventory::EOutcome::Ran;
            run.strReason = "its output document " + Quote(config.GetInventoryCommandOutFileName()) +
                            " is missing or lists no device";
        }
    }

    for (SExplainedDependency& dependency : m_vDependencies)
    {
        SExplainedInventory& inventory = dependency.inventory;
        if (inventory.eLookup == SExplainedInventory::ELookup::NotLookedUp)
        {
            continue;
        }
        auto itRun = m_mapReleaseRuns.find(inventory.strReleaseID);
        if (itRun == m_mapReleaseRuns.end())
        {
            continue;
        }
        inventory.eOutcome = itRun->second.eOutcome;
        inventory.strReason = itRun->second.strReason;
        inventory.strErrorMessage = itRun->second.strErrorMessage;
        inventory.collector = itRun->second.collector;
        if (inventory.strComponentPath.empty())
        {
            inventory.strComponentPath = itRun->second.strComponentPath;
        }
    }
    m_verdict = CRunVerdict::Decide(m_eRequested, m_ePackageDescription, m_vDependencies);
}

SExplainedDependency* CExplainReport::Find(const CDeviceInfo* pDependency)
{
    auto it = m_mapIndex.find(pDependency);
    return it == m_mapIndex.end() ? nullptr : &m_vDependencies[it->second];
}

// ---------------------------------------------------------------------------
// The checker's decisions
// ---------------------------------------------------------------------------

void CExplainReport::OnDependenciesLoaded(const std::vector<CDeviceInfo*>& vDependencies,
                                          CDeviceInfo::eDependencyType eRequested)
{
    m_eRequested = eRequested;
    m_vDependencies.clear();
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
        const std::vector<SPCIInfo> vParentPCI = pRecord->getParentPCIInfo();
        dependency.nParentPCICount = vParentPCI.size();
        dependency.vParentPCI.assign(vParentPCI.begin(),
                                     vParentPCI.begin() + std::min(vParentPCI.size(), kListedParentPCI));
        dependency.inventory.strReleaseID = dependency.strReleaseID;
        m_mapIndex[pRecord] = m_vDependencies.size();
        m_vDependencies.push_back(dependency);
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

// ---------------------------------------------------------------------------
// Text
// ---------------------------------------------------------------------------

std::string CExplainReport::DependencyText(std::size_t nIndex, const SExplainedDependency& dependency) const
{
    std::ostringstream oss;
    oss << "Dependency " << (nIndex + 1) << " of " << m_vDependencies.size() << ": " << dependency.strDisplay << "\n";

    std::string strIdentity = "component " + Quote(dependency.strComponentID) + ", type " +
                              Quote(dependency.strComponentType) + ", release " + Quote(dependency.strReleaseID) +
                              ", " + TypeName(dependency.eDependencyType) + ", " +
                              DeviceTypeText(dependency.eDeviceType);
    if (dependency.eDeviceType == CDeviceInfo::eDeviceTypePCI)
    {
        strIdentity += " " + PCIText(dependency.pci);
    }
    oss << "  " << Label("identity") << strIdentity << "\n";
    oss << "  " << Label("required version") << Quote(dependency.strVersion) << "\n";
    oss << "  " << Label("parent device") << ParentText(dependency) << "\n";
    oss << "  " << Label("collector") << InventoryText(dependency, m_eRequested) << "\n";
    if (dependency.inventory.collector)
    {
        const SExplainedCollector& collector = *dependency.inventory.collector;
        oss << "  " << Label("collector run") << CollectorRunText(collector) << "\n";
        for (const std::string& strWarning : CollectorWarnings(collector))
        {
            oss << "  " << Label("warning") << strWarning << "\n";
        }
    }

    const std::string strNotReached = "not reached";
    oss << "  " << Label("context");
    if (dependency.contextApplies)
    {
        oss << Quote(dependency.strContext) << (*dependency.contextApplies ? ": applies" : ": does not apply");
    }
    else
    {
        oss << strNotReached;
    }
    oss << "\n";

    oss << "  " << Label("platform")
        << (dependency.platform ? PlatformText(*dependency.platform, CSmbiosSummary::ShortRevisionLength(m_smbios))
                                : strNotReached)
        << "\n";

    oss << "  " << Label("operating system");
    if (!dependency.os)
    {
        oss << strNotReached << "\n";
    }
    else if (dependency.os->vRequired.empty())
    {
        oss << "no entry listed: applies on every OS\n";
    }
    else
    {
        const SExplainedOS& os = *dependency.os;
        oss << "running " << OSText(os.running) << "\n";
        for (std::size_t i = 0; i < os.vRequired.size(); ++i)
        {
            const int nEntry = static_cast<int>(i);
            std::string strResult = "no match";
            if (nEntry == os.nMatchedEntry)
            {
                strResult = "matches: applies";
            }
            else if (os.nMatchedEntry >= 0 && nEntry > os.nMatchedEntry)
            {
                strResult = "not tested";
            }
            oss << "  " << Continuation() << "entry " << (i + 1) << " " << OSText(os.vRequired[i]) << ": " << strResult
                << "\n";
        }
        if (!os.bApplies)
        {
            oss << "  " << Continuation() << "no entry matches: does not apply\n";
        }
    }

    oss << "  " << Label("device");
    if (!dependency.device)
    {
        oss << strNotReached;
    }
    else if (dependency.device->bPresent && dependency.device->matched)
    {
        oss << "found " << DeviceText(*dependency.device->matched);
    }
    else
    {
        oss << "not among the " << m_nInventoryDevices << " devices of the inventory text";
    }
    oss << "\n";

    oss << "  " << Label("type");
    if (!dependency.sameType)
    {
        oss << strNotReached;
    }
    else if (*dependency.sameType)
    {
        oss << TypeName(dependency.eDependencyType) << ", as requested";
    }
    else
    {
        oss << TypeName(dependency.eDependencyType) << ", " << TypeName(m_eRequested) << " requested";
    }
    oss << "\n";

    oss << "  " << Label("version");
    const bool bDecided = dependency.verdict &&
                          (*dependency.verdict == EVerdict::Met || *dependency.verdict == EVerdict::Unmet ||
                           *dependency.verdict == EVerdict::Failed || *dependency.verdict == EVerdict::NotInstalled);
    if (!dependency.vComparisons.empty())
    {
        for (std::size_t i = 0; i < dependency.vComparisons.size(); ++i)
        {
            const SExplainedComparison& comparison = dependency.vComparisons[i];
            oss << (i == 0 ? "" : "  " + Continuation()) << "required " << Quote(comparison.strRequired)
                << ", installed " << Quote(comparison.strInstalled) << " (" << DeviceText(comparison.installed)
                << "), compared as " << CVersionRule::Method(comparison.strRequired, comparison.strInstalled) << ": "
                << CVersionRule::Meaning(comparison.nResult) << "\n";
        }
    }
    else if (bDecided && *dependency.verdict == EVerdict::Failed)
    {
        oss << "not compared: the inventory of its release failed\n";
    }
    else if (bDecided)
    {
        oss << "no installed instance with its component type, device type and identity\n";
    }
    else
    {
        oss << strNotReached << "\n";
    }

    oss << "  " << Label("verdict") << VerdictText(dependency, m_eRequested) << "\n";
    return oss.str();
}

std::string CExplainReport::ToText() const
{
    std::ostringstream oss;
    oss << "Explanation of vexdepcheck " << TypeName(m_eRequested) << "\n";
    oss << Label("Package directory") << m_strPackageDirectory << "\n";

    std::size_t nHard = 0;
    for (const SExplainedDependency& dependency : m_vDependencies)
    {
        nHard += dependency.eDependencyType == CDeviceInfo::eDependencyTypeSoft ? 0 : 1;
    }
    oss << Label("Package description");
    if (!m_bPackageDescriptionFound)
    {
        oss << "package.xml not found: nothing is declared\n";
    }
    else
    {
        oss << "package.xml, " << m_vDependencies.size() << " dependencies (" << nHard << " hard, "
            << (m_vDependencies.size() - nHard) << " soft)\n";
    }

    oss << Label("Inventory text");
    if (!m_bInventoryTextPresent)
    {
        oss << "inv.xml missing or empty: no device is present\n";
    }
    else
    {
        oss << "inv.xml, " << m_nInventoryTextBytes << " bytes, " << m_nInventoryDevices
            << (m_nInventoryDevices == 1 ? " device" : " devices") << "\n";
    }
    oss << Label("Running OS") << OSText(m_runningOS) << "\n";
    oss << Label("Collector limit") << TimeLimitText(m_collectorTimeLimit) << "\n";
    if (!m_strRejectedTimeLimit.empty())
    {
        oss << Continuation() << CCollectorTimeLimit::RejectedValueMessage(m_strRejectedTimeLimit) << "\n";
    }
    oss << Label("SMBIOS") << CSmbiosSummary::SourceText(m_smbios) << "\n";
    if (m_smbios.bTableRead)
    {
        oss << Label("System ID") << CSmbiosSummary::SystemIdText(m_smbios) << "\n";
    }

    for (std::size_t i = 0; i < m_vDependencies.size(); ++i)
    {
        oss << "\n" << DependencyText(i, m_vDependencies[i]);
    }

    oss << "\n" << Label("Reported");
    if (m_vReported.empty())
    {
        oss << "nothing\n";
    }
    else
    {
        for (std::size_t i = 0; i < m_vReported.size(); ++i)
        {
            oss << (i == 0 ? "" : ", ") << Quote(m_vReported[i].strDisplay)
                << (m_vReported[i].bFailed ? " (failed)" : " (unmet)");
        }
        oss << "\n";
    }
    oss << Label("Verdict") << SRunVerdict::Key(m_verdict.eVerdict) << "\n";
    for (const SVerdictReason& reason : m_verdict.vReasons)
    {
        oss << Continuation() << reason.strText << "\n";
    }
    oss << Label("Exit status") << m_nExitStatus << "\n";
    return oss.str();
}

// ---------------------------------------------------------------------------
// JSON
// ---------------------------------------------------------------------------

Json CExplainReport::DependencyJson(std::size_t nIndex, const SExplainedDependency& dependency) const
{
    Json json;
    json["index"] = nIndex + 1;
    json["display"] = dependency.strDisplay;
    json["componentID"] = dependency.strComponentID;
    json["componentType"] = dependency.strComponentType;
    json["releaseID"] = dependency.strReleaseID;
    json["requiredVersion"] = dependency.strVersion;
    json["dependencyType"] = TypeName(dependency.eDependencyType);
    json["deviceType"] = DeviceTypeKey(dependency.eDeviceType);
    json["pci"] = dependency.eDeviceType == CDeviceInfo::eDeviceTypePCI ? PCIJson(dependency.pci) : Json();

    Json parent;
    parent["deviceType"] = DeviceTypeKey(dependency.eParentDeviceType);
    parent["componentID"] = dependency.strParentComponentID;
    Json parentPCI = Json::array();
    for (const SPCIInfo& pci : dependency.vParentPCI)
    {
        parentPCI.push_back(PCIJson(pci));
    }
    parent["pci"] = parentPCI;
    parent["pciCount"] = dependency.nParentPCICount;
    json["parent"] = parent;

    const SExplainedInventory& inventory = dependency.inventory;
    Json inventoryJson;
    inventoryJson["lookup"] = LookupKey(inventory.eLookup);
    const bool bLookedUp = inventory.eLookup != SExplainedInventory::ELookup::NotLookedUp;
    inventoryJson["outcome"] = bLookedUp ? Json(OutcomeKey(inventory.eOutcome)) : Json();
    inventoryJson["releaseDirectory"] = bLookedUp ? Json(inventory.strComponentPath) : Json();
    inventoryJson["records"] = bLookedUp ? Json(inventory.nRecords) : Json();
    inventoryJson["errorMessage"] = inventory.strErrorMessage.empty() ? Json() : Json(inventory.strErrorMessage);
    inventoryJson["reason"] = inventory.strReason.empty() ? Json() : Json(inventory.strReason);
    if (inventory.collector)
    {
        const SExplainedCollector& collector = *inventory.collector;
        Json collectorJson;
        collectorJson["command"] = collector.strCommand;
        collectorJson["seconds"] = collector.dSeconds;
        collectorJson["declaredTimeoutSeconds"] = collector.nDeclaredSeconds;
        collectorJson["enforcedLimitSeconds"] = collector.nLimitSeconds > 0 ? Json(collector.nLimitSeconds) : Json();
        collectorJson["timedOut"] = collector.bTimedOut;
        collectorJson["exitStatus"] =
            WIFEXITED(collector.nWaitStatus) ? Json(WEXITSTATUS(collector.nWaitStatus)) : Json();
        collectorJson["signal"] = WIFSIGNALED(collector.nWaitStatus) ? Json(WTERMSIG(collector.nWaitStatus)) : Json();
        collectorJson["exceededDeclaredTimeout"] = collector.ExceededDeclaredLimit();
        collectorJson["outputDocument"] = collector.strOutputPath.empty() ? Json() : Json(collector.strOutputPath);
        collectorJson["outputPresent"] = collector.bOutputPresent;
        collectorJson["outputStale"] = collector.bOutputStale;
        collectorJson["releaseWritable"] = collector.bReleaseWritable;
        collectorJson["warnings"] = CollectorWarnings(collector);
        inventoryJson["collector"] = collectorJson;
    }
    else
    {
        inventoryJson["collector"] = Json();
    }
    json["inventory"] = inventoryJson;

    Json checks;
    if (dependency.contextApplies)
    {
        Json context;
        context["value"] = dependency.strContext;
        context["applies"] = *dependency.contextApplies;
        checks["context"] = context;
    }
    else
    {
        checks["context"] = Json();
    }
    if (dependency.platform)
    {
        const SExplainedPlatform& platform = *dependency.platform;
        Json platformJson;
        platformJson["platforms"] = platform.vPlatforms;
        platformJson["tablesRead"] = platform.bTablesRead;
        platformJson["checked"] = platform.bChecked;
        platformJson["systemID"] = platform.bChecked ? Json(platform.strSystemID) : Json();
        platformJson["systemIDOrigin"] = platform.bChecked ? Json(CSmbiosSummary::OriginKey(platform.eOrigin)) : Json();
        platformJson["source"] = platform.bTablesRead
                                     ? Json(CSmbiosSummary::SourceKey(platform.eSource, !m_smbios.strDumpFile.empty()))
                                     : Json("none");
        platformJson["applies"] = platform.bApplies;
        checks["platform"] = platformJson;
    }
    else
    {
        checks["platform"] = Json();
    }
    if (dependency.os)
    {
        const SExplainedOS& os = *dependency.os;
        Json osJson;
        osJson["running"] = OSJson(os.running);
        Json entries = Json::array();
        for (std::size_t i = 0; i < os.vRequired.size(); ++i)
        {
            Json entry = OSJson(os.vRequired[i]);
            const int nEntry = static_cast<int>(i);
            entry["result"] = nEntry == os.nMatchedEntry                             ? "match"
                              : (os.nMatchedEntry >= 0 && nEntry > os.nMatchedEntry) ? "not-tested"
                                                                                     : "no-match";
            entries.push_back(entry);
        }
        osJson["entries"] = entries;
        osJson["matchedEntry"] = os.nMatchedEntry >= 0 ? Json(os.nMatchedEntry + 1) : Json();
        osJson["applies"] = os.bApplies;
        checks["os"] = osJson;
    }
    else
    {
        checks["os"] = Json();
    }
    if (dependency.device)
    {
        Json device;
        device["present"] = dependency.device->bPresent;
        device["matched"] = dependency.device->matched ? DeviceJson(*dependency.device->matched) : Json();
        checks["device"] = device;
    }
    else
    {
        checks["device"] = Json();
    }
    if (dependency.sameType)
    {
        Json type;
        type["requested"] = TypeName(m_eRequested);
        type["dependency"] = TypeName(dependency.eDependencyType);
        type["same"] = *dependency.sameType;
        checks["type"] = type;
    }
    else
    {
        checks["type"] = Json();
    }
    json["checks"] = checks;

    Json comparisons = Json::array();
    for (const SExplainedComparison& comparison : dependency.vComparisons)
    {
        Json entry;
        entry["required"] = comparison.strRequired;
        entry["installed"] = comparison.strInstalled;
        entry["result"] = comparison.nResult;
        entry["comparedAs"] = CVersionRule::Method(comparison.strRequired, comparison.strInstalled);
        entry["meaning"] = CVersionRule::Meaning(comparison.nResult);
        entry["installedDevice"] = DeviceJson(comparison.installed);
        comparisons.push_back(entry);
    }
    json["versionComparisons"] = comparisons;

    json["verdict"] = VerdictKey(dependency.verdict);
    json["reason"] = VerdictReason(dependency.verdict);
    const bool bUnmet = dependency.verdict && *dependency.verdict == EVerdict::Unmet;
    const bool bFailed = dependency.verdict && *dependency.verdict == EVerdict::Failed;
    json["currentVersion"] = bUnmet ? Json(dependency.strCurrentVersion) : Json();
    json["errorMessage"] = bFailed ? Json(dependency.strErrorMessage) : Json();
    json["downloadPath"] = dependency.strDownloadPath;
    return json;
}

Json CExplainReport::ToJson() const
{
    Json json;
    json["schemaVersion"] = nSchemaVersion;
    json["command"] = "explain";
    json["requested"] = TypeName(m_eRequested);
    json["packageDirectory"] = m_strPackageDirectory;
    json["packageDescriptionFound"] = m_bPackageDescriptionFound;

    Json inventoryText;
    inventoryText["present"] = m_bInventoryTextPresent;
    inventoryText["bytes"] = m_nInventoryTextBytes;
    inventoryText["devices"] = m_nInventoryDevices;
    inventoryText["runningOS"] = OSJson(m_runningOS);
    json["inventoryText"] = inventoryText;
    json["smbios"] = CSmbiosSummary::ToJson(m_smbios);
    Json timeLimit;
    timeLimit["setting"] = m_collectorTimeLimit.ToText();
    timeLimit["rejectedValue"] = m_strRejectedTimeLimit.empty() ? Json() : Json(m_strRejectedTimeLimit);
    json["collectorTimeLimit"] = timeLimit;

    Json dependencies = Json::array();
    for (std::size_t i = 0; i < m_vDependencies.size(); ++i)
    {
        dependencies.push_back(DependencyJson(i, m_vDependencies[i]));
    }
    json["dependencies"] = dependencies;

    Json reported = Json::array();
    for (const SReportedDependency& entry : m_vReported)
    {
        Json item;
        item["display"] = entry.strDisplay;
        item["state"] = entry.bFailed ? "failed" : "unmet";
        reported.push_back(item);
    }
    json["reported"] = reported;
    json["exitStatus"] = m_nExitStatus;
    json["verdict"] = SRunVerdict::Key(m_verdict.eVerdict);
    Json reasons = Json::array();
    for (const SVerdictReason& reason : m_verdict.vReasons)
    {
        Json item;
        item["kind"] = reason.strKind;
        item["dependency"] = reason.strDependency.empty() ? Json() : Json(reason.strDependency);
        item["releaseID"] = reason.strReleaseID.empty() ? Json() : Json(reason.strReleaseID);
        item["text"] = reason.strText;
        reasons.push_back(item);
    }
    json["reasons"] = reasons;
    return json;
}
