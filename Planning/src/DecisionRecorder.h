#ifndef VEXDEP_DECISIONRECORDER_H
#define VEXDEP_DECISIONRECORDER_H

#include "DependencyDecisionListener.h"
#include "PackageDescription.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

// One declared dependency and what the checker decided about it.
struct SEvaluatedDependency
{
    SDeclaredDependency declared;
    CDeviceInfo record;                  // the dependency as the checker held it when it decided
    std::optional<EVerdict> verdict;     // none: the checker did not reach a verdict
    std::vector<std::string> vInstalled; // versions of the installed instances it compared with
};

// Keeps the checker's decisions of one run, dependency by dependency, for
// the planner; every call is handed on to a second listener (the judge's)
// when one is given.
class CDecisionRecorder : public IDependencyDecisionListener
{
public:
    explicit CDecisionRecorder(IDependencyDecisionListener* pNext = nullptr) : m_pNext(pNext) {}

    const std::vector<SEvaluatedDependency>& Dependencies() const { return m_vDependencies; }

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
    SEvaluatedDependency* Find(const CDeviceInfo* pDependency);

    IDependencyDecisionListener* m_pNext;
    std::vector<SEvaluatedDependency> m_vDependencies;
    std::map<const CDeviceInfo*, std::size_t> m_mapIndex;
};

#endif // VEXDEP_DECISIONRECORDER_H
