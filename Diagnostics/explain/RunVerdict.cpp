#include "RunVerdict.h"

#include "ExplainModel.h"
#include "TextFormat.h"

#include <algorithm>

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

SVerdictReason ReasonFor(const SExplainedDependency& dependency, const std::string& strKind, const std::string& strText)
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
                             " was not changed after its collector started (its status change time, which no "
                             "program can set, is older): the collector did not write it" +
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
        if (inventory.collector && !inventory.collector->strOutputProblem.empty())
        {
            strWhy = "its output document " + inventory.collector->strOutputPath + " " +
                     inventory.collector->strOutputProblem;
        }
        else if (inventory.collector && !inventory.collector->bOutputPresent)
        {
            strWhy = "its collector wrote no output document";
            if (!inventory.collector->bReleaseWritable)
            {
                strWhy += " (the release directory is not writable by this user)";
            }
            if (!inventory.collector->strCommandLineProblem.empty())
            {
                strWhy += ": " + inventory.collector->strCommandLineProblem;
            }
        }
        return ReasonFor(dependency, "no-inventory", strRelease + ": " + strWhy);
    }
    return SVerdictReason();
}

// Why what the run decided for the dependency cannot be trusted, by what the
// run could not see; an empty kind when nothing stands in the way.
SVerdictReason SightDoubt(const SExplainedDependency& dependency, const SRunCircumstances& circumstances)
{
    const std::optional<SExplainedPlatform>& platform = dependency.platform;
    if (!circumstances.strSmbiosRefused.empty() && platform && !platform->vPlatforms.empty() && !platform->bChecked)
    {
        std::string strPlatforms;
        for (const std::string& strPlatform : platform->vPlatforms)
        {
            strPlatforms += (strPlatforms.empty() ? "" : ", ") + strPlatform;
        }
        return ReasonFor(dependency, "platform-unverifiable",
                         "its platforms (" + strPlatforms +
                             ") could not be checked as this user, who may not read the SMBIOS tables (" +
                             circumstances.strSmbiosRefused +
                             "): the checker passes the check over; the verdict holds only for a run as root");
    }
    // Without the inventory text the machine has no device and no running
    // OS: what was passed over for either was never really considered.
    if (!circumstances.strInventoryTextProblem.empty() && dependency.verdict &&
        (*dependency.verdict == EVerdict::DeviceNotPresent || *dependency.verdict == EVerdict::OSNotApplicable))
    {
        return ReasonFor(dependency, "inventory-text-unreadable",
                         std::string(*dependency.verdict == EVerdict::DeviceNotPresent
                                         ? "it applies only to a device, and the machine's device list"
                                         : "it applies only to the OS it names, and the machine's running OS") +
                             " could not be read (" + circumstances.strInventoryTextProblem +
                             "): it was never considered");
    }
    return SVerdictReason();
}
} // namespace

SRunVerdict CRunVerdict::Decide(CDeviceInfo::eDependencyType eRequested, EPackageDescription ePackage,
                                const std::vector<SExplainedDependency>& vDependencies,
                                const SRunCircumstances& circumstances)
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
        vUnverifiable.push_back(RunReason("package-description-unparsable",
                                          "package.xml does not parse" +
                                              (circumstances.strPackageDescriptionProblem.empty()
                                                   ? std::string()
                                                   : " (" + circumstances.strPackageDescriptionProblem + ")") +
                                              ": nothing is declared"));
    }
    else if (vDependencies.empty())
    {
        vUnverifiable.push_back(RunReason("nothing-declared", "package.xml declares no dependency the checker "
                                                              "could read"));
    }

    std::size_t nChecked = 0;        // compared, and met
    std::size_t nNotInstalled = 0;   // applies, but its component is not installed
    std::size_t nWithoutVersion = 0; // applies, but requires no version
    std::size_t nOfType = 0;
    for (const SExplainedDependency& dependency : vDependencies)
    {
        if (dependency.eDependencyType != eRequested || !dependency.verdict)
        {
            continue;
        }
        ++nOfType;
        const SVerdictReason sight = SightDoubt(dependency, circumstances);
        if (!sight.strKind.empty())
        {
            vUnverifiable.push_back(sight);
            continue;
        }
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
                vUnmet.push_back(
                    ReasonFor(dependency, "unmet",
                              "installed " + Quote(dependency.strCurrentVersion) + ", " +
                                  (eRequested == CDeviceInfo::eDependencyTypeSoft ? "recommended " : "required ") +
                                  Quote(dependency.strVersion)));
            }
            else if (*dependency.verdict == EVerdict::NotInstalled)
            {
                ++nNotInstalled;
            }
            else if (dependency.strVersion.empty())
            {
                ++nWithoutVersion;
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
            vUnverifiable.push_back(
                ReasonFor(dependency, bTimedOut ? "inventory-timed-out" : "inventory-failed",
                          std::string("the inventory of release ") + Quote(dependency.strReleaseID) +
                              (bTimedOut ? " timed out: " : " failed: ") + dependency.strErrorMessage));
            break;
        }
        case EVerdict::NoInventory:
            vUnverifiable.push_back(
                ReasonFor(dependency, "no-inventory",
                          "no inventory was collected for release " + Quote(dependency.strReleaseID)));
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
        const std::size_t nApplicable = nChecked + nNotInstalled + nWithoutVersion;
        if (nApplicable == 0)
        {
            verdict.vReasons.push_back(RunReason("none-applicable", "no " + strType +
                                                                        " dependency applies to this machine (" +
                                                                        std::to_string(nOfType) + " declared)"));
        }
        else if (nNotInstalled == 0 && nWithoutVersion == 0)
        {
            verdict.vReasons.push_back(RunReason("all-met", "every applicable " + strType +
                                                                " dependency was checked and is met (" +
                                                                std::to_string(nChecked) + ")"));
        }
        else
        {
            // Nothing the checker would report, but not all of it was
            // compared: said as it is.
            std::string strText = "no applicable " + strType + " dependency is unmet: " + std::to_string(nChecked) +
                                  " checked and met";
            if (nNotInstalled > 0)
            {
                strText += ", " + std::to_string(nNotInstalled) +
                           " not installed (the checker reports only an installed component that is older)";
            }
            if (nWithoutVersion > 0)
            {
                strText += ", " + std::to_string(nWithoutVersion) +
                           " with no required version (nothing to compare: never reported unmet)";
            }
            verdict.vReasons.push_back(RunReason("all-met", strText));
        }
    }
    verdict.vReasons.insert(verdict.vReasons.end(), vUnmet.begin(), vUnmet.end());
    verdict.vReasons.insert(verdict.vReasons.end(), vUnverifiable.begin(), vUnverifiable.end());
    const bool bPlatformDoubted =
        std::any_of(vUnverifiable.begin(), vUnverifiable.end(),
                    [](const SVerdictReason& reason) { return reason.strKind == "platform-unverifiable"; });
    if (!circumstances.strSmbiosRefused.empty() && !bPlatformDoubted)
    {
        verdict.vWarnings.push_back(RunReason(
            "platform-unread", "the platform was not read as this user, who may not read the SMBIOS tables (" +
                                   circumstances.strSmbiosRefused + "); no applicable " + strType +
                                   " dependency lists platforms, so the verdict does not depend on it"));
    }
    return verdict;
}
