#ifndef VEXDEP_PLANNER_H
#define VEXDEP_PLANNER_H

#include "CandidateResolver.h"
#include "EvaluationJudge.h"
#include "MachineInventory.h"
#include "PackageDescriptionReader.h"
#include "PackageEvaluator.h"
#include "PackageSource.h"
#include "Plan.h"
#include "PlanInventorySource.h"
#include "RepositoryIndex.h"
#include "ScratchArea.h"
#include "SimulatedState.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

// What to plan: for the package in a directory, the hard or soft
// dependencies (or both), on this machine.
struct SPlanRequest
{
    bool bHard = true;
    bool bSoft = false;
    std::string strPackageDirectory;
    std::string strInventoryText; // the machine's inv.xml
    CCollectorTimeLimit timeLimit;
    bool bSMBIOSSources = false;
    SMBIOSSources smbiosSources;
    // The repository's packages came from its catalog: each package's
    // content must match the catalog's digest and description when used.
    bool bVerifyAgainstCatalog = false;
};

// Computes the plan: evaluates the package as vexdepcheck does; for every
// unmet dependency resolves the package that satisfies it
// (CCandidateResolver) and makes sure that package can be installed first:
// its hard dependencies are evaluated on this machine, under the simulated
// state of the steps planned so far, and resolved the same way,
// recursively. A package is evaluated again after each of its
// prerequisites is planned, so that what one step brings is never planned
// twice. The steps come out prerequisites first.
//
// Every evaluation runs in a private copy of the package's metadata in the
// scratch area, with the machine's inventory text; every distinct collector
// runs once per plan.
class CPlanner
{
public:
    CPlanner(const CRepositoryIndex& index, CPackageSource& source, CScratchArea& scratch, IEvaluationJudge& judge);
    ~CPlanner();
    CPlanner(const CPlanner&) = delete;
    CPlanner& operator=(const CPlanner&) = delete;

    SPlan Plan(const SPlanRequest& request);

private:
    // A package being planned: one of the repository (or the package being
    // installed, nPackage npos), and its copy.
    struct SNode
    {
        std::size_t nPackage;
        std::string strDirectory;
        const SPackageDescription* pDescription;
    };
    enum class ERequire
    {
        Planned,
        Blocked,
        BlockedEarlier,
        Refused
    };

    bool PrepareTarget(std::string& strError);
    bool Satisfy(const SNode& node, CDeviceInfo::eDependencyType eType, const std::vector<SChainLink>& vChain);
    ERequire Require(std::size_t nPackage, const SNode& requirer, const SEvaluatedDependency& dependency,
                     const SResolution& resolution, const std::vector<SChainLink>& vChain);
    SEvaluation Evaluate(const SNode& node, CDeviceInfo::eDependencyType eType);
    SResolution Resolve(const SNode& requirer, const CDeviceInfo& dependency);
    bool EnsureCopy(std::size_t nPackage, std::string& strDirectory);
    // Writes the machine's inventory into a copy: inv.xml, and the file of
    // the package directory that the inventory text names, if it names one.
    bool WriteMachineInventory(const std::string& strDirectory, std::string& strError);
    // Adds the doubts of an evaluation as blockers; true when a dependency
    // of the type (or the package as a whole) is in doubt.
    bool RecordDoubts(const SNode& node, const SEvaluation& evaluation, const std::vector<SChainLink>& vChain);
    void CheckProvidedNotInstalled(const SNode& node, const SEvaluation& evaluation,
                                   const std::vector<SChainLink>& vChain);
    void AddBlocker(const SPlanBlocker& blocker);
    void DecideVerdict();

    std::string PackageName(const SNode& node) const;
    // The package and release of a release directory in the scratch area.
    void NameReleaseDirectory(const std::string& strComponentPath, std::string& strPackage,
                              std::string& strRelease) const;
    SChainLink LinkOf(const SNode& node, const SEvaluatedDependency& dependency) const;

    const CRepositoryIndex& m_index;
    CPackageSource& m_source;
    CScratchArea& m_scratch;

    SPlanRequest m_request;
    SPlan m_plan;
    CSimulatedState m_state;
    CPlanInventorySource m_inventory;
    CPackageEvaluator m_evaluator;
    std::unique_ptr<CMachineInventory> m_pMachine;
    std::unique_ptr<CPackageDescriptionReader> m_pReader;
    SPackageDescription m_target;
    // The inventory text names a file relative to the package directory
    // (the inventory reader then reads that file): its name and content.
    std::string m_strInventoryFile;
    std::string m_strInventoryFileContent;
    std::string m_strTargetDirectory;

    std::map<std::size_t, std::string> m_mapCopies;
    std::map<std::size_t, std::string> m_mapDigests;
    std::map<std::size_t, std::string> m_mapRefused;
    std::set<std::size_t> m_setPlanned;
    std::set<std::size_t> m_setBlocked;
    std::vector<std::size_t> m_vStack;
    std::set<std::string> m_setBlockerKeys;
};

#endif // VEXDEP_PLANNER_H
