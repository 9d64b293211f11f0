#include "CandidateResolver.h"

#include "DependenciesChecker.h"
#include "InventoryMatchIndex.h"
#include "RepositoryPath.h"

#include <algorithm>

namespace
{
std::string Quote(const std::string& strText) { return "\"" + strText + "\""; }

// The installed instance the candidate would take back to an older
// version, or null.
const CDeviceInfo* Downgraded(const SPackageDescription& candidate, const std::vector<CDeviceInfo*>& vInstalled,
                              const CInventoryMatchIndex& installedIndex)
{
    for (const CDeviceInfo& identity : candidate.ProvidedIdentities())
    {
        for (std::size_t nPosition : installedIndex.Instances(identity))
        {
            const CDeviceInfo* pInstance = vInstalled[nPosition];
            if (CDependenciesChecker::CompareVersions(candidate.strVersion, pInstance->getVersion()) < 0)
            {
                return pInstance;
            }
        }
    }
    return nullptr;
}

std::string InstanceName(const CDeviceInfo& instance)
{
    if (instance.getDeviceType() == CDeviceInfo::eDeviceTypeNonPCI)
    {
        return "component " + Quote(instance.getComponentID());
    }
    const SPCIInfo pci = instance.getPCIInfo();
    return "PCI device " + pci.strVendorID + ":" + pci.strDeviceID + ":" + pci.strSubVendorID + ":" +
           pci.strSubDeviceID;
}
} // namespace

std::string SResolution::OutcomeKey(EOutcome eOutcome)
{
    switch (eOutcome)
    {
    case EOutcome::Resolved:
        return "resolved";
    case EOutcome::Cycle:
        return "cycle";
    case EOutcome::MissingIntermediateVersion:
        return "missing-intermediate-version";
    case EOutcome::Downgrade:
        return "downgrade";
    case EOutcome::Missing:
        break;
    }
    return "missing";
}

SResolution CCandidateResolver::Resolve(const CDeviceInfo& dependency, const SContext& context)
{
    SResolution resolution;
    const CRepositoryIndex& index = *context.pIndex;
    std::size_t nAtPath = CRepositoryIndex::npos;
    CDeviceInfo copy(dependency);
    const std::string strRawPath = copy.getFilePath().substr(std::string(pszDefaultDownloadBase).size());
    if (CRepositoryPath::FromDependencyPath(strRawPath, resolution.strRequestedPath))
    {
        nAtPath = index.AtPath(resolution.strRequestedPath);
    }
    resolution.bRequestedPathHoldsPackage = nAtPath != CRepositoryIndex::npos;

    std::vector<std::size_t> vCandidates = index.Related(dependency);
    if (nAtPath != CRepositoryIndex::npos)
    {
        vCandidates.erase(std::remove(vCandidates.begin(), vCandidates.end(), nAtPath), vCandidates.end());
        vCandidates.insert(vCandidates.begin(), nAtPath);
    }

    const CInventoryMatchIndex installedIndex(context.vInstalled);
    // A package that needs its own component at some version needs an
    // older one first: an intermediate version.
    const bool bIntermediate = context.pRequirer != nullptr &&
                               CRepositoryIndex::Provides(*context.pRequirer, dependency);
    const std::string strRequired = dependency.getVersion();
    std::size_t nBest = CRepositoryIndex::npos;
    bool bInCycle = false;
    bool bSelf = false;
    bool bDowngrade = false;
    for (std::size_t nCandidate : vCandidates)
    {
        const SPackageDescription& candidate = index.At(nCandidate);
        SRejectedCandidate rejected;
        rejected.strPath = candidate.strPath;
        rejected.strVersion = candidate.strVersion;
        if (context.pRefused != nullptr && context.pRefused->count(nCandidate) > 0)
        {
            rejected.strKind = "refused";
            rejected.strReason = context.pRefused->at(nCandidate);
        }
        else if (context.appliesToMachine && !context.appliesToMachine(candidate))
        {
            rejected.strKind = "no-device";
            rejected.strReason = "applies to no device of this machine";
        }
        else if (!CRepositoryIndex::Provides(candidate, dependency))
        {
            rejected.strKind = "wrong-identity";
            rejected.strReason = "provides another identity (component type " + Quote(candidate.strComponentType) + ")";
        }
        else if (CDependenciesChecker::CompareVersions(strRequired, candidate.strVersion) > 0)
        {
            rejected.strKind = "version-too-low";
            rejected.strReason = "version " + Quote(candidate.strVersion) + " is below the required " +
                                 Quote(strRequired);
        }
        else if (bIntermediate &&
                 CDependenciesChecker::CompareVersions(candidate.strVersion, context.pRequirer->strVersion) >= 0)
        {
            rejected.strKind = "not-intermediate";
            rejected.strReason = "version " + Quote(candidate.strVersion) + " is not below " +
                                 Quote(context.pRequirer->strVersion) +
                                 " of the package that needs it: no intermediate version";
            bSelf = true;
        }
        else if (std::find(context.vStack.begin(), context.vStack.end(), nCandidate) != context.vStack.end())
        {
            rejected.strKind = "in-cycle";
            rejected.strReason = "it is being planned above this dependency: taking it would close a cycle";
            bInCycle = true;
            if (resolution.nCyclePackage == CRepositoryIndex::npos)
            {
                resolution.nCyclePackage = nCandidate;
            }
        }
        else if (const CDeviceInfo* pDowngraded = Downgraded(candidate, context.vInstalled, installedIndex))
        {
            rejected.strKind = "downgrade";
            rejected.strReason = "would take " + InstanceName(*pDowngraded) + " from " +
                                 Quote(pDowngraded->getVersion()) + " back to " + Quote(candidate.strVersion);
            bDowngrade = true;
        }
        else
        {
            // The path's package wins; otherwise the lowest version, the
            // first in path order among equals.
            if (nBest == CRepositoryIndex::npos ||
                (nBest != nAtPath &&
                 (nCandidate == nAtPath ||
                  CDependenciesChecker::CompareVersions(candidate.strVersion, index.At(nBest).strVersion) < 0)))
            {
                if (nBest != CRepositoryIndex::npos)
                {
                    const SPackageDescription& passed = index.At(nBest);
                    resolution.vRejected.push_back(
                        SRejectedCandidate{passed.strPath, passed.strVersion, "not-chosen",
                                           "qualifies, but " + Quote(candidate.strPath) + " is preferred"});
                }
                nBest = nCandidate;
            }
            else
            {
                rejected.strKind = "not-chosen";
                rejected.strReason = "qualifies, but " + Quote(index.At(nBest).strPath) + " is preferred";
                resolution.vRejected.push_back(rejected);
            }
            continue;
        }
        resolution.vRejected.push_back(rejected);
    }

    if (nBest != CRepositoryIndex::npos)
    {
        resolution.eOutcome = SResolution::EOutcome::Resolved;
        resolution.nPackage = nBest;
        resolution.bSubstituted = nBest != nAtPath;
    }
    else if (bSelf)
    {
        resolution.eOutcome = SResolution::EOutcome::MissingIntermediateVersion;
    }
    else if (bInCycle)
    {
        resolution.eOutcome = SResolution::EOutcome::Cycle;
    }
    else if (bDowngrade)
    {
        resolution.eOutcome = SResolution::EOutcome::Downgrade;
    }
    return resolution;
}
