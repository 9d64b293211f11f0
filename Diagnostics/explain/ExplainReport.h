#ifndef VEXDEP_EXPLAINREPORT_H
#define VEXDEP_EXPLAINREPORT_H

#include "CollectorOutputCapture.h"
#include "ExplainJson.h"
#include "ExplainModel.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

// Collects the checker's decisions dependency by dependency while it runs
// (it is the checker's decision listener) into the model of the run
// (SExplainedRun, ExplainModel.h), and classifies the collector runs behind
// them (ExplainCollectorRuns.cpp). The explanation is the model rendered as
// text (CExplainText) or JSON (CExplainJson); ToText and ToJson render this
// report's model.
class CExplainReport : public IDependencyDecisionListener
{
public:
    // The version of the JSON document's shape (docs/json/explain.schema.json).
    static constexpr int nSchemaVersion = CExplainJson::nSchemaVersion;

    CExplainReport();

    // What was run: the requested type, the package directory (the
    // working directory the checker was built with), and the inventory text.
    void SetRun(CDeviceInfo::eDependencyType eRequested, const std::string& strPackageDirectory,
                bool bPackageDescriptionFound, const std::string& strInventoryText);
    // The machine as the inventory text and the SMBIOS table describe it.
    void SetMachine(const SOSInfo& runningOS, std::size_t nInventoryDevices, const SSmbiosSummary& smbios);
    // Why the device list ("inv.xml") could not be read; empty when it was.
    void SetInventoryTextProblem(const std::string& strProblem) { m_run.strInventoryTextProblem = strProblem; }
    // The collectors' time limit the run used, and a value of the
    // environment variable that was rejected (empty when none was).
    void SetCollectorTimeLimit(const CCollectorTimeLimit& limit, const std::string& strRejectedValue);
    // How package.xml was found (missing, unparsable, parsed); parsed when
    // not set and the description was found.
    void SetPackageDescription(EPackageDescription eState, const std::string& strProblem = std::string())
    {
        m_run.ePackageDescription = eState;
        m_run.strPackageDescriptionProblem = strProblem;
    }
    // Where what the collectors write is captured (when it is): each run's
    // share is taken when the checker reports the run. Not owned.
    void SetCollectorOutputCapture(CCollectorOutputCapture* pCapture) { m_pOutputCapture = pCapture; }
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

    // The model as collected so far.
    const SExplainedRun& Run() const { return m_run; }
    int GetExitStatus() const { return m_run.nExitStatus; }
    // The run's verdict, decided by ClassifyCollectorRuns.
    const SRunVerdict& Verdict() const { return m_run.verdict; }
    const std::vector<SExplainedDependency>& Dependencies() const { return m_run.vDependencies; }
    const std::vector<SReportedDependency>& Reported() const { return m_run.vReported; }

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
    // Whether the collector's output document is there, changed since
    // nRunStartedNs (by the file clock), and parses.
    static void ExamineOutputDocument(SExplainedCollector& collector, int64_t nRunStartedNs);

    SExplainedRun m_run;
    std::map<const CDeviceInfo*, std::size_t> m_mapIndex;
    std::map<std::string, SReleaseRun> m_mapReleaseRuns;
    CCollectorOutputCapture* m_pOutputCapture = nullptr;
};

#endif // VEXDEP_EXPLAINREPORT_H
