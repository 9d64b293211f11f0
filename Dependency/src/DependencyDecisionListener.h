#ifndef VEXDEP_DEPENDENCYDECISIONLISTENER_H
#define VEXDEP_DEPENDENCYDECISIONLISTENER_H

#include "CollectorRun.h"
#include "DeviceInfo.h"

#include <string>
#include <vector>

class CSMBIOSInventory;

// The decisions of one checker run, step by step and dependency by
// dependency, for a caller that explains a run (the inspection tool). The
// checker calls an attached listener as it decides; with no listener
// attached nothing is called and the run is exactly the same. Each call
// names the dependency record it is about; the records stay valid for the
// checker's lifetime.

// How the inventory of a dependency's release directory was obtained.
enum class EInventoryLookup
{
    Collected, // the collector of the release directory ran now
    Reused,    // an earlier dependency of the same release ID had collected it
};

struct SInventoryLookup
{
    EInventoryLookup eOutcome = EInventoryLookup::Collected;
    std::string strReleaseID;
    std::string strComponentPath;                        // the release directory (only when collected)
    const std::vector<CDeviceInfo*>* pRecords = nullptr; // the records kept for the release ID
    const SCollectorRun* pCollector = nullptr;           // what the collector did (only when collected)
};

struct SPlatformCheck
{
    bool bTablesRead = false;            // the SMBIOS tables could be read
    std::vector<std::string> vPlatforms; // the dependency's platform list
    bool bChecked = false;               // false: the check was passed over
    std::string strSystemID;             // this machine's ID (only when checked)
    bool bApplicable = true;
    const CSMBIOSInventory* pSMBIOS = nullptr; // valid during the call only
};

struct SOSCheck
{
    SOSInfo running;                // the running OS from the inventory text
    std::vector<SOSInfo> vRequired; // the dependency's OS entries, in order
    int nMatchedEntry = -1;         // index of the first matching entry, -1 for none
    bool bApplicable = true;        // no entries, or one matched
};

struct SDeviceCheck
{
    bool bPresent = false;
    const CDeviceInfo* pMatchedDevice = nullptr; // the first device of the inventory text that matched
};

struct SVersionComparison
{
    const CDeviceInfo* pInstalled = nullptr; // the matching inventory record
    std::string strRequired;
    std::string strInstalled;
    int nResult = 0; // CompareVersions(required, installed)
};

enum class EVerdict
{
    ContextNotApplicable,
    PlatformNotApplicable,
    OSNotApplicable,
    DeviceNotPresent,
    OtherType,    // applicable, but not of the requested type
    NoInventory,  // of the requested type, but no inventory was collected for its release
    NotInstalled, // no inventory record matched the dependency: not reported
    Met,          // every matching instance is at least at the required version
    Unmet,        // an installed instance is older: reported
    Failed        // the inventory of its release failed: reported as failed
};

class IDependencyDecisionListener
{
public:
    virtual ~IDependencyDecisionListener() = default;

    // The declared dependencies, in package order, before anything is decided.
    virtual void OnDependenciesLoaded(const std::vector<CDeviceInfo*>& /*vDependencies*/,
                                      CDeviceInfo::eDependencyType /*eRequested*/)
    {
    }
    virtual void OnInventoryLookup(const CDeviceInfo* /*pDependency*/, const SInventoryLookup& /*lookup*/) {}
    virtual void OnContextCheck(const CDeviceInfo* /*pDependency*/, const std::string& /*strContext*/,
                                bool /*bApplicable*/)
    {
    }
    virtual void OnPlatformCheck(const CDeviceInfo* /*pDependency*/, const SPlatformCheck& /*check*/) {}
    virtual void OnOSCheck(const CDeviceInfo* /*pDependency*/, const SOSCheck& /*check*/) {}
    virtual void OnDeviceCheck(const CDeviceInfo* /*pDependency*/, const SDeviceCheck& /*check*/) {}
    virtual void OnTypeCheck(const CDeviceInfo* /*pDependency*/, CDeviceInfo::eDependencyType /*eRequested*/,
                             bool /*bSameType*/)
    {
    }
    virtual void OnVersionComparison(const CDeviceInfo* /*pDependency*/, const SVersionComparison& /*comparison*/) {}
    virtual void OnVerdict(const CDeviceInfo* /*pDependency*/, EVerdict /*eVerdict*/) {}
};

#endif // VEXDEP_DEPENDENCYDECISIONLISTENER_H
