#include "DecisionRecorder.h"

SEvaluatedDependency* CDecisionRecorder::Find(const CDeviceInfo* pDependency)
{
    const auto it = m_mapIndex.find(pDependency);
    return it == m_mapIndex.end() ? nullptr : &m_vDependencies[it->second];
}

void CDecisionRecorder::OnDependenciesLoaded(const std::vector<CDeviceInfo*>& vDependencies,
                                             CDeviceInfo::eDependencyType eRequested)
{
    m_vDependencies.clear();
    m_mapIndex.clear();
    for (const CDeviceInfo* pRecord : vDependencies)
    {
        if (pRecord == nullptr)
        {
            continue;
        }
        SEvaluatedDependency dependency;
        dependency.declared = SDeclaredDependency::From(*pRecord);
        dependency.record = *pRecord;
        m_mapIndex[pRecord] = m_vDependencies.size();
        m_vDependencies.push_back(dependency);
    }
    if (m_pNext != nullptr)
    {
        m_pNext->OnDependenciesLoaded(vDependencies, eRequested);
    }
}

void CDecisionRecorder::OnInventoryLookup(const CDeviceInfo* pDependency, const SInventoryLookup& lookup)
{
    if (m_pNext != nullptr)
    {
        m_pNext->OnInventoryLookup(pDependency, lookup);
    }
}

void CDecisionRecorder::OnContextCheck(const CDeviceInfo* pDependency, const std::string& strContext, bool bApplicable)
{
    if (m_pNext != nullptr)
    {
        m_pNext->OnContextCheck(pDependency, strContext, bApplicable);
    }
}

void CDecisionRecorder::OnPlatformCheck(const CDeviceInfo* pDependency, const SPlatformCheck& check)
{
    if (m_pNext != nullptr)
    {
        m_pNext->OnPlatformCheck(pDependency, check);
    }
}

void CDecisionRecorder::OnOSCheck(const CDeviceInfo* pDependency, const SOSCheck& check)
{
    if (m_pNext != nullptr)
    {
        m_pNext->OnOSCheck(pDependency, check);
    }
}

void CDecisionRecorder::OnDeviceCheck(const CDeviceInfo* pDependency, const SDeviceCheck& check)
{
    if (m_pNext != nullptr)
    {
        m_pNext->OnDeviceCheck(pDependency, check);
    }
}

void CDecisionRecorder::OnTypeCheck(const CDeviceInfo* pDependency, CDeviceInfo::eDependencyType eRequested,
                                    bool bSameType)
{
    if (m_pNext != nullptr)
    {
        m_pNext->OnTypeCheck(pDependency, eRequested, bSameType);
    }
}

void CDecisionRecorder::OnVersionComparison(const CDeviceInfo* pDependency, const SVersionComparison& comparison)
{
    if (SEvaluatedDependency* pEvaluated = Find(pDependency))
    {
        pEvaluated->vInstalled.push_back(comparison.strInstalled);
    }
    if (m_pNext != nullptr)
    {
        m_pNext->OnVersionComparison(pDependency, comparison);
    }
}

void CDecisionRecorder::OnVerdict(const CDeviceInfo* pDependency, EVerdict eVerdict)
{
    if (SEvaluatedDependency* pEvaluated = Find(pDependency))
    {
        pEvaluated->verdict = eVerdict;
        // The decision leaves the current version, status and message in
        // the record.
        pEvaluated->record = *pDependency;
    }
    if (m_pNext != nullptr)
    {
        m_pNext->OnVerdict(pDependency, eVerdict);
    }
}
