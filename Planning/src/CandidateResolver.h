#ifndef VEXDEP_CANDIDATERESOLVER_H
#define VEXDEP_CANDIDATERESOLVER_H

#include "RepositoryIndex.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

// A package that was looked at for a dependency and not taken, and why.
struct SRejectedCandidate
{
    std::string strPath;
    std::string strVersion;
    // refused, no-device, wrong-identity, version-too-low, not-intermediate,
    // in-cycle, downgrade, not-chosen (qualifies, another was preferred)
    std::string strKind;
    std::string strReason;
};

// Which package of the repository satisfies one unmet dependency.
struct SResolution
{
    enum class EOutcome
    {
        Resolved,
        Missing,                    // no package qualifies
        Cycle,                      // only packages that are being planned above it qualify
        MissingIntermediateVersion, // only the package that needs it provides it: an intermediate version is missing
        Downgrade                   // only packages that would downgrade a component qualify
    };

    EOutcome eOutcome = EOutcome::Missing;
    std::size_t nPackage = CRepositoryIndex::npos; // when resolved
    std::string strRequestedPath;                  // the dependency's path as a repository path ("" when unusable)
    bool bRequestedPathHoldsPackage = false;
    bool bSubstituted = false; // resolved to a package other than the one at the dependency's path
    std::size_t nCyclePackage = CRepositoryIndex::npos; // the planned-above package that would close a cycle
    std::vector<SRejectedCandidate> vRejected;

    static std::string OutcomeKey(EOutcome eOutcome);
};

// The rules by which a plan picks the package for an unmet dependency.
//
// The candidates are the package at the dependency's path (backslashes as
// separators) and every package with a device of the dependency's
// component ID or PCI identity. A candidate qualifies when, in this order:
//
//   1. it was not refused (unreadable, hostile, or not matching the catalog);
//   2. it applies to this machine (one of its devices is present);
//   3. it provides the dependency's identity, by the checker's inventory match;
//   4. its version is at least the required one, by the checker's version comparison;
//   5. when the package that needs it updates that very component (it needs
//      an intermediate version first), its version is below that package's;
//   6. it is not being planned above this dependency (that would be a cycle);
//   7. it downgrades no installed component it provides.
//
// Of the qualifying candidates the one at the dependency's path is taken;
// otherwise the one with the lowest version (the least change), and among
// equal versions the first in path order. The candidates are looked at in
// path order, so the choice is the same on every run.
class CCandidateResolver
{
public:
    struct SContext
    {
        const CRepositoryIndex* pIndex = nullptr;
        // Packages that must not be used, with the reason.
        const std::map<std::size_t, std::string>* pRefused = nullptr;
        // Whether a package applies to this machine (none: every package does).
        std::function<bool(const SPackageDescription&)> appliesToMachine;
        // The packages being planned, outermost first.
        std::vector<std::size_t> vStack;
        // The installed instances the plan knows of, as the simulated state
        // shows them (for the downgrade rule).
        std::vector<CDeviceInfo*> vInstalled;
        // The description of the package whose dependency this is.
        const SPackageDescription* pRequirer = nullptr;
    };

    static SResolution Resolve(const CDeviceInfo& dependency, const SContext& context);
};

#endif // VEXDEP_CANDIDATERESOLVER_H
