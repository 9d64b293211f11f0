#ifndef VEXDEP_EXPLAINREPORT_H
#define VEXDEP_EXPLAINREPORT_H

#include "CollectorTimeLimit.h"
#include "DependencyDecisionListener.h"
#include "DeviceInfo.h"
#include "RunVerdict.h"
#include "SMBIOSInventory.h"
#include "SmbiosSummary.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

// An inventory or inventory-text record as the explanation shows it: a copy,
// since the checker releases the devices of the inventory text at the end of
// its applicability step.
struct SExplainedDevice
{
    CDeviceInfo::eDeviceType eDeviceType = CDeviceInfo::eDeviceTypeUnknown;
    std::string strComponentID;
    SPCIInfo pci;
    std::string strComponentType;
    std::string strVersion;
    std::string strName; // the "display" attribute of the inventory document

    static SExplainedDevice From(const CDeviceInfo& record);
};

// One run of a release's collector: how long it took against the limit it
// declares and the limit that was enforced.
struct SExplainedCollector
{
    std::string strCommand;
    long nDeclaredSeconds = 0;
    long nLimitSeconds = 0; // enforced by the guard; 0: waited without limit
    double dSeconds = 0.0;  // wall time
    int nWaitStatus = 0;    // the shell's wait status; -1: the shell could not be started
    bool bTimedOut = false;
    int64_t nStartedMs = 0; // when the run began, in milliseconds since the epoch

    // The output document after the run.
    std::string strOutputPath;
    bool bOutputPresent = false;
    int64_t nOutputModifiedMs = 0;
    bool bOutputStale = false;    // older than the run: the collector did not write it
    bool bReleaseWritable = true; // this process may create files in the release directory

    // The collector's shell ended with a status other than 0.
    bool ExitedNonZero() const;

    // Ran longer than it declares without being ended for it: a checker
    // with the time-limit guard on would have reported it Failed.
    bool ExceededDeclaredLimit() const;
    // "took 94.2 s, declares 60 s: ..." when it exceeded its declared limit,
    // else empty.
    std::string Warning() const;
};

// The inventory lookup of one dependency and the collector run behind it.
struct SExplainedInventory
{
    enum class ELookup
    {
        NotLookedUp, // not of the requested type: the checker does not look it up
        Collected,   // the collector of its release ran for this dependency
        Reused       // an earlier dependency of the same release ID had collected it
    };
    enum class EOutcome
    {
        Ran,      // the collector ran and its document was read
        Failed,   // the document reports a failure
        TimedOut, // the collector was ended at its time limit
        NotRun    // the collector never ran (strReason says why)
    };

    ELookup eLookup = ELookup::NotLookedUp;
    EOutcome eOutcome = EOutcome::Ran;
    std::string strReleaseID;
    std::string strComponentPath; // the release directory the collector ran in
    std::size_t nRecords = 0;
    std::string strErrorMessage; // Failed and TimedOut
    std::string strReason;       // NotRun, and Ran without records
    std::optional<SExplainedCollector> collector; // when the collector was started
};

struct SExplainedPlatform
{
    std::vector<std::string> vPlatforms;
    bool bTablesRead = false;
    bool bChecked = false; // false: the check was passed over
    bool bApplies = true;
    std::string strSystemID;
    CSMBIOSInventory::eTableSource eSource = CSMBIOSInventory::eTableSourceNone;
    CSMBIOSInventory::eSystemIdOrigin eOrigin = CSMBIOSInventory::eSystemIdNotRead;
};

struct SExplainedOS
{
    SOSInfo running;
    std::vector<SOSInfo> vRequired;
    int nMatchedEntry = -1;
    bool bApplies = true;
};

struct SExplainedDeviceCheck
{
    bool bPresent = false;
    std::optional<SExplainedDevice> matched;
};

struct SExplainedComparison
{
    std::string strRequired;
    std::string strInstalled;
    int nResult = 0;
    SExplainedDevice installed;
};

// Everything the checker decided about one declared dependency, in the order
// it decides. A step the checker did not reach stays empty.
struct SExplainedDependency
{
    // Identity, as the package reader built the record.
    std::string strDisplay;
    std::string strComponentID;
    std::string strComponentType;
    std::string strReleaseID;
    std::string strVersion; // the required version
    std::string strContext;
    CDeviceInfo::eDependencyType eDependencyType = CDeviceInfo::eDependencyTypeHard;
    CDeviceInfo::eDeviceType eDeviceType = CDeviceInfo::eDeviceTypeUnknown;
    SPCIInfo pci;
    CDeviceInfo::eDeviceType eParentDeviceType = CDeviceInfo::eDeviceTypeUnknown;
    std::string strParentComponentID;
    // Where the report tells to fetch the update from (VEX DownloadPath).
    std::string strDownloadPath;
    // The parent's first PCI identities (at most 16) and how
    // many it has: a package can give one device thousands of them, and
    // every record of the device carries them all.
    std::vector<SPCIInfo> vParentPCI;
    std::size_t nParentPCICount = 0;

    SExplainedInventory inventory;
    std::optional<bool> contextApplies;
    std::optional<SExplainedPlatform> platform;
    std::optional<SExplainedOS> os;
    std::optional<SExplainedDeviceCheck> device;
    std::optional<bool> sameType;
    std::vector<SExplainedComparison> vComparisons;
    std::optional<EVerdict> verdict;
    // Left in the record by the decision.
    std::string strCurrentVersion;
    std::string strErrorMessage;
};

// A dependency of the report that vexdepcheck prints.
struct SReportedDependency
{
    std::string strDisplay;
    bool bFailed = false;
};

// Collects the checker's decisions dependency by dependency while it runs
// (it is the checker's decision listener), and turns them into the
// explanation, as text or JSON.
class CExplainReport : public IDependencyDecisionListener
{
public:
    // The version of the JSON document's shape (docs/json/explain.schema.json).
    static constexpr int nSchemaVersion = 1;

    CExplainReport();

    // What was run: the requested type, the package directory (the
    // working directory the checker was built with), and the inventory text.
    void SetRun(CDeviceInfo::eDependencyType eRequested, const std::string& strPackageDirectory,
                bool bPackageDescriptionFound, const std::string& strInventoryText);
    // The machine as the inventory text and the SMBIOS table describe it.
    void SetMachine(const SOSInfo& runningOS, std::size_t nInventoryDevices, const SSmbiosSummary& smbios);
    // The collectors' time limit the run used, and a value of the
    // environment variable that was rejected (empty when none was).
    void SetCollectorTimeLimit(const CCollectorTimeLimit& limit, const std::string& strRejectedValue);
    // How package.xml was found (missing, unparsable, parsed); parsed when
    // not set and the description was found.
    void SetPackageDescription(EPackageDescription eState) { m_ePackageDescription = eState; }
    // The result of Process and the checker's list: the exit status that
    // vexdepcheck returns for them, and its report's dependencies.
    void SetOutcome(bool bProcessed, const std::vector<CDeviceInfo*>& vReported);
    // Works out, for every release whose collector this run started, whether
    // the collector ran, failed, timed out or never ran, and whether its
    // output document is the one it wrote; then decides the run's verdict.
    // Reads the release's "PIEConfig.xml" again; writes nothing.
    void ClassifyCollectorRuns();

    // 1 (hard) or 2 (soft) when vexdepcheck prints a report, else 255.
    static int ExitStatus(CDeviceInfo::eDependencyType eRequested, bool bProcessed, std::size_t nReported);

    int GetExitStatus() const { return m_nExitStatus; }
    // The run's verdict, decided by ClassifyCollectorRuns.
    const SRunVerdict& Verdict() const { return m_verdict; }
    const std::vector<SExplainedDependency>& Dependencies() const { return m_vDependencies; }
    const std::vector<SReportedDependency>& Reported() const { return m_vReported; }

    std::string ToText() const;
    nlohmann::ordered_json ToJson() const;

    // The checker's decisions.
    void OnDependenciesLoaded(const std::vector<CDeviceInfo*>& vDependencies,
                              CDeviceInfo::eDependencyType eRequested) override;
    void OnInventoryLookup(const CDeviceInfo* pDependency, const SInventoryLookup& lookup) override;
    void OnContextCheck(const CDeviceInfo* pDependency, const std::string& strContext, bool bApplicable) override;
    void OnPlatformCheck(const CDeviceInfo* pDependency, const SPlatformCheck& check) override;
    void OnOSCheck(const CDeviceInfo* pDependency, const SOSCheck& check) override;
    void OnDeviceCheck(const CDeviceInfo* pDependency, const SDeviceCheck& check) override;
    void OnTypeCheck(const CDeviceInfo* pDependency, CDeviceInfo::eDependencyType eRequested, bool bSameType) override;
    void OnVersionComparison(const CDeviceInfo* pDependency, const SVersionComparison& comparison) override;
    void OnVerdict(const CDeviceInfo* pDependency, EVerdict eVerdict) override;

private:
    // What one collector run left in the inventory cache.
    struct SReleaseRun
    {
        std::string strComponentPath;
        std::size_t nRecords = 0;
        bool bFailed = false;
        std::string strErrorMessage;
        SExplainedInventory::EOutcome eOutcome = SExplainedInventory::EOutcome::Ran;
        std::string strReason;
        std::optional<SExplainedCollector> collector;
    };

    SExplainedDependency* Find(const CDeviceInfo* pDependency);
    std::string DependencyText(std::size_t nIndex, const SExplainedDependency& dependency) const;
    nlohmann::ordered_json DependencyJson(std::size_t nIndex, const SExplainedDependency& dependency) const;

    CDeviceInfo::eDependencyType m_eRequested;
    std::string m_strPackageDirectory;
    bool m_bPackageDescriptionFound;
    bool m_bInventoryTextPresent;
    std::size_t m_nInventoryTextBytes;
    SOSInfo m_runningOS;
    std::size_t m_nInventoryDevices;
    SSmbiosSummary m_smbios;
    bool m_bProcessed;
    int m_nExitStatus;
    CCollectorTimeLimit m_collectorTimeLimit;
    std::string m_strRejectedTimeLimit;
    EPackageDescription m_ePackageDescription;
    SRunVerdict m_verdict;

    std::vector<SExplainedDependency> m_vDependencies;
    std::map<const CDeviceInfo*, std::size_t> m_mapIndex;
    std::map<std::string, SReleaseRun> m_mapReleaseRuns;
    std::vector<SReportedDependency> m_vReported;
};

#endif // VEXDEP_EXPLAINREPORT_H
