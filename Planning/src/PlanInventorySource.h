#ifndef VEXDEP_PLANINVENTORYSOURCE_H
#define VEXDEP_PLANINVENTORYSOURCE_H

#include "CollectorInventorySource.h"
#include "InventorySource.h"
#include "SimulatedState.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

// How the plan came by one release directory's inventory.
struct SCollectorUse
{
    std::string strComponentPath; // the release directory the checker asked for
    std::string strFingerprint;   // empty when the directory could not be fingerprinted
    bool bReused = false;         // found by an earlier run of the same collector
    std::string strRanIn;         // the release directory it ran in
    std::size_t nRecords = 0;
};

// The inventory source of a plan. Each distinct collector (a release
// directory's fingerprint) runs once per plan, in the private copy of the
// first package that needs it; every later release directory with the same
// fingerprint gets copies of what it found. The records handed to the
// checker then show the simulated state: the versions of the planned steps
// where the collectors report what those steps update.
class CPlanInventorySource : public IInventorySource
{
public:
    explicit CPlanInventorySource(const CSimulatedState& state);
    ~CPlanInventorySource() override;

    std::vector<CDeviceInfo*> Collect(const std::string& strComponentPath, const CCollectorTimeLimit& limit,
                                      SCollectorRun& run) override;

    const std::vector<SCollectorUse>& Uses() const { return m_vUses; }
    // How many collectors were started.
    std::size_t CollectorRuns() const { return m_nRuns; }
    // Every record the collectors reported so far, as the simulated state
    // shows them now (the installed instances the plan knows of); owned by
    // the caller.
    std::vector<std::unique_ptr<CDeviceInfo>> KnownInstances() const;

private:
    struct SCachedRun
    {
        std::vector<std::unique_ptr<CDeviceInfo>> vRecords;
        SCollectorRun run;
        std::string strRanIn;
    };

    static std::vector<CDeviceInfo*> Copies(const SCachedRun& cached);

    const CSimulatedState& m_state;
    CCollectorInventorySource m_collectors;
    std::map<std::string, SCachedRun> m_mapRuns;          // by fingerprint
    std::map<std::string, std::string> m_mapFingerprints; // by release directory
    std::vector<SCachedRun> m_vUnfingerprinted;           // runs of directories that could not be fingerprinted
    std::vector<SCollectorUse> m_vUses;
    std::size_t m_nRuns = 0;
};

#endif // VEXDEP_PLANINVENTORYSOURCE_H
