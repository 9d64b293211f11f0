#include "RunVerdict.h"

#include "ExplainModel.h"
#include "TextFormat.h"

const long long CRunVerdict::nStaleToleranceMs = 1000;

std::string SRunVerdict::Key(ERunVerdict eVerdict)
{
    switch (eVerdict)
    {
    case ERunVerdict::Ready:
        return "ready";
    case ERunVerdict::Blocked:
        return "blocked";
    case ERunVerdict::Recommended:
        return "recommended";
    case ERunVerdict::Unverifiable:
        break;
    }
    return "unverifiable";
}

int SRunVerdict::ExitStatus(ERunVerdict eVerdict)
{
    switch (eVerdict)
    {
    case ERunVerdict::Ready:
        return 0;
    case ERunVerdict::Blocked:
        return 1;
    case ERunVerdict::Recommended:
        return 2;
    case ERunVerdict::Unverifiable:
        break;
    }
    return 3;
}

namespace
{
using textformat::Quote;

SVerdictReason ReasonFor(const SExplainedDependency& dependency, const std::string& strKind,
                         const std::string& strText)
{
    SVerdictReason reason;
    reason.strKind = strKind;
    reason.strDependency = dependency.strDisplay;
    reason.strReleaseID = dependency.strReleaseID;
    reason.strText = Quote(dependency.strDisplay) + ": " + strText;
    return reason;
}

SVerdictReason RunReason(const std::string& strKind, const std::string& strText)
{
    SVerdictReason reason;
    reason.strKind = strKind;
    reason.strText = strText;
    return reason;
}

// Why the inventory behind an applicable dependency cannot be trusted, or
// an empty kind when it can.
SVerdictReason InventoryDoubt(const SExplainedDependency& dependency)
{
    const SExplainedInventory& inventory = dependency.inventory;
    const std::string strRelease = "release " + Quote(dependency.strReleaseID);
    if (inventory.collector && inventory.collector->bOutputStale)
    {
        return ReasonFor(dependency, "stale-inventory",
                         "the output document of " + strRelease +
                             " is older than its collector's run: the collector did not write it" +
                             (inventory.collector->bReleaseWritable
                                  ? std::string()
                                  : std::string(" (the release directory is not writable by this user)")));
    }
    if (inventory.eOutcome == SExplainedInventory::EOutcome::NotRun)
    {
        return ReasonFor(dependency, "collector-not-run",
                         "the collector of " + strRelease + " never ran: " + inventory.strReason);
    }
    if (inventory.nRecords == 0)
    {
        std::string strWhy = "its collector produced no inventory";
        if (inventory.collector && !inventory.collector->bOutputPresent)
        {
            strWhy = "its collector wrote no output document";
            if (!inventory.collector->bReleaseWritable)
            {
                strWhy += " (the release directory is not writable by this user)";
            }
        }
        return ReasonFor(dependency, "no-inventory", strRelease + ": " + strWhy);
    }
    return SVerdictReason();
}
} // namespace

SRunVerdict CRunVerdict::Decide(CDeviceInfo::eDependencyType eRequested, EPackageDescription ePackage,
                                const std::vector<SExplainedDependency>& vDependencies)
{
    SRunVerdict verdict;
    std::vector<SVerdictReason> vUnmet;
    std::vector<SVerdictReason> vUnverifiable;
    const std::string strType = eRequested == CDeviceInfo::eDependencyTypeSoft ? "soft" : "hard";

    if (ePackage == EPackageDescription::Missing)
    {
        vUnverifiable.push_back(RunReason("no-package-description",
                                          "package.xml is missing, unreadable or not a regular file: nothing is "
                                          "declared"));
    }
    else if (ePackage == EPackageDescription::Unparsable)
    {
        vUnverifiable.push_back(
            RunReason("package-description-unparsable", "package.xml does not parse: nothing is declared"));
    }
    else if (vDependencies.empty())
    {
        vUnverifiable.push_back(RunReason("nothing-declared", "package.xml declares no dependency the checker "
                                                              "could read"));
    }

    std::size_t nChecked = 0;
    std::size_t nOfType = 0;
    for (const SExplainedDependency& dependency : vDependencies)
    {
        if (dependency.eDependencyType != eRequested || !dependency.verdict)
        {
            continue;
        }
        ++nOfType;
        switch (*dependency.verdict)
        {
        case EVerdict::Unmet:
        case EVerdict::Met:
        case EVerdict::NotInstalled:
        {
            const SVerdictReason doubt = InventoryDoubt(dependency);
            if (!doubt.strKind.empty())
            {
                vUnverifiable.push_back(doubt);
            }
            else if (*dependency.verdict == EVerdict::Unmet)
            {
                vUnmet.push_back(ReasonFor(dependency, "unmet",
                                           "installed " + Quote(dependency.strCurrentVersion) + ", " +
                                               (eRequested == CDeviceInfo::eDependencyTypeSoft ? "recommended "
                                                                                               : "required ") +
                                               Quote(dependency.strVersion)));
            }
            else
            {
                ++nChecked;
            }
            break;
        }
        case EVerdict::Failed:
        {
            const bool bTimedOut = dependency.inventory.eOutcome == SExplainedInventory::EOutcome::TimedOut;
            vUnverifiable.push_back(ReasonFor(dependency, bTimedOut ? "inventory-timed-out" : "inventory-failed",
                                              std::string("the inventory of release ") +
                                                  Quote(dependency.strReleaseID) +
                                                  (bTimedOut ? " timed out: " : " failed: ") +
                                                  dependency.strErrorMessage));
            break;
        }
        case EVerdict::NoInventory:
            vUnverifiable.push_back(ReasonFor(dependency, "no-inventory",
                                              "no inventory was collected for release " +
                                                  Quote(dependency.strReleaseID)));
            break;
        case EVerdict::ContextNotApplicable:
        case EVerdict::PlatformNotApplicable:
        case EVerdict::OSNotApplicable:
        case EVerdict::DeviceNotPresent:
        case EVerdict::OtherType:
            break;
        }
    }

    if (!vUnmet.empty())
    {
        verdict.eVerdict = eRequested == CDeviceInfo::eDependencyTypeSoft ? ERunVerdict::Recommended
                                                                          : ERunVerdict::Blocked;
    }
    else if (!vUnverifiable.empty())
    {
        verdict.eVerdict = ERunVerdict::Unverifiable;
    }
    else
    {
        verdict.eVerdict = ERunVerdict::Ready;
        verdict.vReasons.push_back(
            nChecked == 0
                ? RunReason("none-applicable", "no " + strType + " dependency applies to this machine (" +
                                                   std::to_string(nOfType) + " declared)")
                : RunReason("all-met", "every applicable " + strType + " dependency was checked and is met (" +
                                           std::to_string(nChecked) + ")"));
    }
    verdict.vReasons.insert(verdict.vReasons.end(), vUnmet.begin(), vUnmet.end());
    verdict.vReasons.insert(verdict.vReasons.end(), vUnverifiable.begin(), vUnverifiable.end());
    return verdict;
}
