#ifndef VEXDEP_DEPENDENCIESCHECKER_H
#define VEXDEP_DEPENDENCIESCHECKER_H

#include "CollectorInventorySource.h"
#include "CollectorTimeLimit.h"
#include "DependencyDecisionListener.h"
#include "DeviceInfo.h"
#include "InventorySource.h"
#include "SMBIOSInventory.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

class CInventoryMatchIndex;
class CParentDeviceIndex;
class CSoftwareComponentInfo;

// The two halves of the XPath query that selects one component's devices in
// an inventory document: QUERYCOMPID + component ID + XPATH_SUFFIX.
extern const std::string QUERYCOMPID;
extern const std::string XPATH_SUFFIX;

// The engine of the checker: loads the package's dependencies, collects the
// inventory of their release directories, decides which dependencies apply
// to this machine and keeps those that are unmet or could not be verified.
//
// Ownership: the checker owns the package reader, every dependency record
// the reader returned and every inventory record it collected; pointers
// handed out (GetDependentDevices) stay valid for the checker's lifetime.
class CDependenciesChecker
{
public:
    explicit CDependenciesChecker(const std::string& strPath);
    virtual ~CDependenciesChecker();

    CDependenciesChecker(const CDependenciesChecker&) = delete;
    CDependenciesChecker& operator=(const CDependenciesChecker&) = delete;

    // One evaluation for one dependency type; the result is that of the last
    // inventory lookup (see Process in the .cpp).
    bool Process(CDeviceInfo::eDependencyType eType, const std::string& strInventoryXml);

    // The dependencies to report, as left by the last Process.
    std::vector<CDeviceInfo*> GetDependentDevices();

    // The applicability filters over all declared dependencies; returns the
    // applicable dependencies of the requested type that are unmet or failed.
    std::vector<CDeviceInfo*> GetDependentDevices(const std::vector<CDeviceInfo*>& vDependencies,
                                                  const std::string& strInventoryXml,
                                                  CDeviceInfo::eDependencyType eType);

    // Orders two version texts: negative if the first is older, 0 if equal,
    // positive if it is newer.
    static int CompareVersions(const std::string& strFirst, const std::string& strSecond);

    // Runs the collector of the dependency's release directory, once per
    // release ID; false only for a null record.
    bool GetInventoryInfo(CDeviceInfo* pDevice);

    // True when the dependency is unmet (an installed instance is older) or
    // its inventory failed.
    bool HasDependeny(CDeviceInfo* pDepDeviceInfo, std::vector<CDeviceInfo*>& vInvDeviceInfo);

    // True when the device the dependency belongs to is among the devices.
    bool doDeviceCheck(CDeviceInfo* pDepDeviceInfo, std::vector<CDeviceInfo*>& vInvDeviceInfo);

    // Attaches a listener that receives every decision (null detaches).
    void SetDecisionListener(IDependencyDecisionListener* pListener) { m_pListener = pListener; }

    // Where the platform check reads the SMBIOS tables from (the machine's
    // own by default); lets a caller evaluate a package against a table
    // captured elsewhere.
    void SetSMBIOSSources(const SMBIOSSources& sources) { m_SMBIOSSources = sources; }

    // The time-limit guard for the collectors (none by default: every
    // collector is waited for until it ends).
    void SetCollectorTimeLimit(const CCollectorTimeLimit& limit) { m_collectorTimeLimit = limit; }

    // Where the inventory of each release directory comes from (null: the
    // collector of the directory, through the inventory module, as always).
    // The source must outlive the checker's runs.
    void SetInventorySource(IInventorySource* pSource) { m_pInventorySource = pSource; }

private:
    // HasDependeny on an indexed inventory.
    bool Decide(CDeviceInfo* pDepDeviceInfo, const std::vector<CDeviceInfo*>& vInvDeviceInfo,
                const CInventoryMatchIndex& matchIndex);
    // doDeviceCheck on an indexed device list: the first device that is the
    // dependency's parent, or null.
    CDeviceInfo* DeviceCheck(CDeviceInfo* pDepDeviceInfo, const std::vector<CDeviceInfo*>& vInvDeviceInfo,
                             const CParentDeviceIndex& deviceIndex);
    // The running OS check; the index of the first matching entry or -1.
    int FindMatchingOS(const std::vector<SOSInfo>& vRequired, const SOSInfo& running);
    bool CheckPlatform(CDeviceInfo* pDependency, CSMBIOSInventory& smbios);

    std::unique_ptr<CSoftwareComponentInfo> m_pSoftwareComponentInfo;
    std::map<std::string, std::vector<CDeviceInfo*>> m_mapInventoryInfo;
    // The inventory of each release ID, indexed for the decision when first needed.
    std::map<std::string, std::unique_ptr<CInventoryMatchIndex>> m_mapInventoryIndex;
    std::string m_strPath;
    std::vector<CDeviceInfo*> m_vDependentDevices;

    // Records this checker received and releases at its end.
    std::vector<std::unique_ptr<CDeviceInfo>> m_vOwnedRecords;
    IDependencyDecisionListener* m_pListener = nullptr;
    SMBIOSSources m_SMBIOSSources;
    CCollectorTimeLimit m_collectorTimeLimit;
    CCollectorInventorySource m_collectorSource;
    IInventorySource* m_pInventorySource = nullptr;
    // Counts version comparisons, so that a listener can tell a met
    // dependency from one that has no installed instance.
    std::size_t m_nVersionComparisons = 0;
};

#endif // VEXDEP_DEPENDENCIESCHECKER_H
