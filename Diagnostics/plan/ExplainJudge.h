#ifndef VEXDEP_EXPLAINJUDGE_H
#define VEXDEP_EXPLAINJUDGE_H

#include "EvaluationJudge.h"
#include "ExplainReport.h"

#include <memory>

// Judges the checker runs of a plan exactly as vexinspect explain judges a
// run: the explanation's own listener collects each run, classifies its
// collector runs (failed, timed out, never run, stale output) and decides,
// dependency by dependency, what cannot be trusted (CRunVerdict).
class CExplainJudge : public IEvaluationJudge
{
public:
    IDependencyDecisionListener* Begin(const SEvaluationRun& run) override;
    SEvaluationJudgement End(bool bProcessed, const std::vector<CDeviceInfo*>& vReported) override;

private:
    std::unique_ptr<CExplainReport> m_pReport;
    CDeviceInfo::eDependencyType m_eType = CDeviceInfo::eDependencyTypeHard;
};

#endif // VEXDEP_EXPLAINJUDGE_H
