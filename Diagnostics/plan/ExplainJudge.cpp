#include "ExplainJudge.h"

#include "RunVerdict.h"

#include <string>

namespace
{
// The reasons of a verdict that are no doubt: what the run decided.
bool IsDecision(const std::string& strKind)
{
    return strKind == "unmet" || strKind == "all-met" || strKind == "none-applicable";
}

// The reasons that are about the package as a whole.
bool IsAboutThePackage(const std::string& strKind)
{
    return strKind == "no-package-description" || strKind == "package-description-unparsable" ||
           strKind == "nothing-declared";
}
} // namespace

IDependencyDecisionListener* CExplainJudge::Begin(const SEvaluationRun& run)
{
    m_eType = run.eType;
    m_pReport.reset(new CExplainReport());
    m_pReport->SetRun(run.eType, run.strPackageDirectory, run.bPackageDescriptionFound, run.strInventoryText);
    if (run.bPackageDescriptionFound && !run.bPackageDescriptionParsed)
    {
        m_pReport->SetPackageDescription(EPackageDescription::Unparsable);
    }
    m_pReport->SetCollectorTimeLimit(run.timeLimit, std::string());
    return m_pReport.get();
}

SEvaluationJudgement CExplainJudge::End(bool bProcessed, const std::vector<CDeviceInfo*>& vReported)
{
    SEvaluationJudgement judgement;
    if (!m_pReport)
    {
        return judgement;
    }
    m_pReport->SetOutcome(bProcessed, vReported);
    m_pReport->ClassifyCollectorRuns();
    judgement.nCheckerExitStatus = m_pReport->GetExitStatus();
    for (const SVerdictReason& reason : m_pReport->Verdict().vReasons)
    {
        if (IsAboutThePackage(reason.strKind))
        {
            judgement.vRunDoubts.push_back(SEvaluationDoubt{reason.strKind, reason.strText});
        }
    }
    // Each dependency judged alone, so that every doubt is known by the
    // dependency it is about.
    for (const SExplainedDependency& dependency : m_pReport->Dependencies())
    {
        std::vector<SEvaluationDoubt> vDoubts;
        const SRunVerdict verdict = CRunVerdict::Decide(m_eType, EPackageDescription::Parsed, {dependency});
        for (const SVerdictReason& reason : verdict.vReasons)
        {
            if (!IsDecision(reason.strKind) && !IsAboutThePackage(reason.strKind))
            {
                vDoubts.push_back(SEvaluationDoubt{reason.strKind, reason.strText});
            }
        }
        judgement.vDependencyDoubts.push_back(vDoubts);
    }
    m_pReport.reset();
    return judgement;
}
