#include "ExplainText.h"

#include "TextFormat.h"
#include "VersionRule.h"

#include <sstream>

#include <sys/wait.h>

using explainwords::SecondsText;
using explainwords::TypeName;
using textformat::Quote;

namespace
{
const std::size_t kLabelWidth = 19;

std::string Label(const std::string& strLabel) { return textformat::Label(strLabel, kLabelWidth); }

// The indentation of a continuation line below a labelled one.
std::string Continuation() { return std::string(kLabelWidth + 2, ' '); }

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

std::string PCIText(const SPCIInfo& pci)
{
    return "vendor=" + pci.strVendorID + " device=" + pci.strDeviceID + " subVendor=" + pci.strSubVendorID +
           " subDevice=" + pci.strSubDeviceID;
}

// The fields of an operating system that the OS check compares.
std::string OSText(const SOSInfo& os)
{
    return "vendor=" + os.strOSVendor + " arch=" + os.strOSArch + " major=" + os.strMajorVersion +
           " minor=" + os.strMinorVersion + " spMajor=" + os.strSPMajorVersion + " spMinor=" + os.strSPMinorVersion;
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
        return "not reported: not installed (no installed instance matches it)";
    case EVerdict::Met:
        return dependency.strVersion.empty() ? "not reported: no required version (nothing to compare)"
                                             : "met: not reported";
    case EVerdict::Unmet:
        return "reported unmet, current version " + Quote(dependency.strCurrentVersion);
    case EVerdict::Failed:
        return "reported failed: " + dependency.strErrorMessage;
    }
    return std::string();
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
        strOutcome = RecordsText(inventory.nRecords) +
                     (inventory.strReason.empty() ? "" : " (" + inventory.strReason + ")");
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

std::string DependencyText(const SExplainedRun& run, std::size_t nIndex, const SExplainedDependency& dependency)
{
    std::ostringstream oss;
    oss << "Dependency " << (nIndex + 1) << " of " << run.vDependencies.size() << ": " << dependency.strDisplay << "\n";

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
    oss << "  " << Label("collector") << InventoryText(dependency, run.eRequested) << "\n";
    if (dependency.inventory.collector)
    {
        const SExplainedCollector& collector = *dependency.inventory.collector;
        oss << "  " << Label("collector run") << CollectorRunText(collector) << "\n";
        for (const std::string& strWarning : collector.Warnings())
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
        << (dependency.platform ? PlatformText(*dependency.platform, CSmbiosSummary::ShortRevisionLength(run.smbios))
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
        oss << "not among the " << run.nInventoryDevices << " devices of the inventory text";
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
        oss << TypeName(dependency.eDependencyType) << ", " << TypeName(run.eRequested) << " requested";
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
                << CVersionRule::Meaning(comparison.nResult);
            // Numbers that are not the ones written: said where they are compared.
            const std::string strCaveat =
                CVersionRule::ComparisonCaveat(comparison.strRequired, comparison.strInstalled);
            if (!strCaveat.empty())
            {
                oss << " (caveat: " << strCaveat << ")";
            }
            oss << "\n";
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

    oss << "  " << Label("verdict") << VerdictText(dependency, run.eRequested) << "\n";
    return oss.str();
}
} // namespace

std::string CExplainText::Render(const SExplainedRun& run)
{
    std::ostringstream oss;
    oss << "Explanation of vexdepcheck " << TypeName(run.eRequested) << "\n";
    oss << Label("Package directory") << run.strPackageDirectory << "\n";

    std::size_t nHard = 0;
    for (const SExplainedDependency& dependency : run.vDependencies)
    {
        nHard += dependency.eDependencyType == CDeviceInfo::eDependencyTypeSoft ? 0 : 1;
    }
    oss << Label("Package description");
    if (!run.bPackageDescriptionFound)
    {
        oss << "package.xml not found: nothing is declared\n";
    }
    else
    {
        oss << "package.xml, " << run.vDependencies.size() << " dependencies (" << nHard << " hard, "
            << (run.vDependencies.size() - nHard) << " soft)\n";
    }

    oss << Label("Inventory text");
    if (!run.bInventoryTextPresent)
    {
        oss << "inv.xml missing or empty: no device is present\n";
    }
    else
    {
        oss << "inv.xml, " << run.nInventoryTextBytes << " bytes, " << run.nInventoryDevices
            << (run.nInventoryDevices == 1 ? " device" : " devices") << "\n";
    }
    oss << Label("Running OS") << OSText(run.runningOS) << "\n";
    oss << Label("Collector limit") << TimeLimitText(run.collectorTimeLimit) << "\n";
    if (!run.strRejectedTimeLimit.empty())
    {
        oss << Continuation() << CCollectorTimeLimit::RejectedValueMessage(run.strRejectedTimeLimit) << "\n";
    }
    oss << Label("SMBIOS") << CSmbiosSummary::SourceText(run.smbios) << "\n";
    if (run.smbios.bTableRead)
    {
        oss << Label("System ID") << CSmbiosSummary::SystemIdText(run.smbios) << "\n";
    }

    for (std::size_t i = 0; i < run.vDependencies.size(); ++i)
    {
        oss << "\n" << DependencyText(run, i, run.vDependencies[i]);
    }

    oss << "\n" << Label("Reported");
    if (run.vReported.empty())
    {
        oss << "nothing\n";
    }
    else
    {
        for (std::size_t i = 0; i < run.vReported.size(); ++i)
        {
            oss << (i == 0 ? "" : ", ") << Quote(run.vReported[i].strDisplay)
                << (run.vReported[i].bFailed ? " (failed)" : " (unmet)");
        }
        oss << "\n";
    }
    oss << Label("Verdict") << SRunVerdict::Key(run.verdict.eVerdict) << "\n";
    for (const SVerdictReason& reason : run.verdict.vReasons)
    {
        oss << Continuation() << reason.strText << "\n";
    }
    for (const SVerdictReason& warning : run.verdict.vWarnings)
    {
        oss << Label("Warning") << warning.strText << "\n";
    }
    oss << Label("Exit status") << run.nExitStatus << "\n";
    return oss.str();
}
