#ifndef VEXDEP_PLAN_H
#define VEXDEP_PLAN_H

#include "Catalog.h"
#include "CandidateResolver.h"
#include "EvaluationJudge.h"
#include "PackageDescription.h"
#include "PackageEvaluator.h"
#include "PlanInventorySource.h"

#include <cstddef>
#include <string>
#include <vector>

// One link of the chain that brought a step in: a package (the one being
// installed is "(target)") and its dependency that needed the next package.
struct SChainLink
{
    std::string strPackage;    // repository path, or "" for the package being installed
    std::string strDependency; // the dependency's display name
    std::string strComponent;  // "component 104500 (FRMW)" or "PCI 1A2B:1593:1F0C:0002 (FRMW)"
    std::string strRequired;
    CDeviceInfo::eDependencyType eType = CDeviceInfo::eDependencyTypeHard;
};

// One package to install, in order.
struct SPlanStep
{
    std::size_t nNumber = 0; // 1-based
    std::string strPackage;  // repository path
    EPackageFormat eFormat = EPackageFormat::Directory;
    std::string strDisplay;
    std::string strComponentType;
    std::string strDigest;
    // The component whose dependency brought the package in, and the
    // versions it moves from and to.
    std::string strComponentDisplay;
    std::string strComponentID;
    std::string strComponentTypeRequired;
    CDeviceInfo::eDeviceType eDeviceType = CDeviceInfo::eDeviceTypeNonPCI;
    SPCIInfo pci;
    std::string strFromVersion;
    std::string strToVersion;
    std::string strRequiredVersion;
    std::string strRequestedPath; // the dependency's path as a repository path
    bool bSubstituted = false;    // another package than the one at the dependency's path
    bool bSteppingStone = false;  // an intermediate version of a component the package above it updates
    std::vector<SChainLink> vChain;
    std::vector<SRejectedCandidate> vRejected;
};

// Something that stops the plan, or makes it untrustworthy.
struct SPlanBlocker
{
    // missing, cycle, missing-intermediate-version, downgrade,
    // prerequisite-blocked, not-satisfied (blocking), unverifiable (doubt)
    std::string strKind;
    std::string strReasonKind; // for unverifiable: the doubt's kind (inventory-failed, stale-inventory, ...)
    std::string strPackage;    // whose dependency it is ("" for the package being installed)
    std::string strDependency; // its display name, "" when about the package as a whole
    std::string strComponent;
    std::string strRequired;
    std::string strReason;
    std::vector<SChainLink> vChain;
    std::vector<std::string> vCycle; // the packages of a cycle, the first repeated at the end
    std::vector<SRejectedCandidate> vRejected;

    bool IsDoubt() const { return strKind == "unverifiable"; }
};

// A note that does not change the verdict.
struct SPlanWarning
{
    std::string strKind; // provided-not-installed, catalog-unusable, release-outside-package
    std::string strPackage;
    std::string strText;
};

// One checker run the plan made.
struct SPlanEvaluation
{
    std::string strPackage;      // "" for the package being installed
    std::size_t nAfterSteps = 0; // how many planned steps the simulated state held
    SEvaluation evaluation;
};

// One release directory's inventory in the plan: whose, and whether its
// collector ran for it or an identical one had run already.
struct SCollectorSummary
{
    std::string strPackage;   // "" for the package being installed
    std::string strReleaseID; // as the release directory (relative to the package)
    bool bReused = false;
    std::string strRanForPackage; // where the collector ran (the same unless reused)
    std::string strRanForRelease;
    std::size_t nRecords = 0;
};

enum class EPlanVerdict
{
    NothingNeeded, // complete: nothing to install first
    Complete,      // complete: the steps, in order
    Blocked,       // something stops the plan
    Unverifiable   // nothing stops it, but something could not be checked
};

struct SPlan
{
    std::string strRequested; // hard, soft or both
    std::string strPackageDirectory;
    std::string strRepository;
    std::string strInventorySource; // the inventory file read
    // The package being installed.
    std::string strTargetDisplay;
    std::string strTargetVersion;
    std::string strTargetComponentType;

    std::vector<SPlanStep> vSteps;
    std::vector<SPlanBlocker> vBlockers;
    std::vector<SPlanWarning> vWarnings;
    std::vector<SPlanEvaluation> vEvaluations;
    std::vector<SCollectorSummary> vCollectors;
    std::size_t nCollectorRuns = 0;
    std::vector<SRefusedPackage> vRefused;
    std::vector<SRefusedPackage> vSkipped;
    std::size_t nPackages = 0; // usable packages of the repository
    bool bCatalogUsed = false;

    EPlanVerdict eVerdict = EPlanVerdict::Unverifiable;

    // "nothing-needed", "complete", "blocked", "unverifiable".
    static std::string VerdictKey(EPlanVerdict eVerdict);
    // 0 nothing needed, 1 complete with steps, 2 blocked, 3 unverifiable.
    static int ExitStatus(EPlanVerdict eVerdict);
};

#endif // VEXDEP_PLAN_H
