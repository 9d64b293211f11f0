#ifndef VEXDEP_EVALUATIONJUDGE_H
#define VEXDEP_EVALUATIONJUDGE_H

#include "CollectorTimeLimit.h"
#include "DependencyDecisionListener.h"
#include "DeviceInfo.h"

#include <string>
#include <vector>

// A reason why a decision of the checker cannot be trusted: a failed or
// timed-out inventory, a collector that never ran or left an old output
// document, a package description that is missing or does not parse. The
// kind is a stable key; the text says it in words.
struct SEvaluationDoubt
{
    std::string strKind;
    std::string strText;
};

// What one checker run is about.
struct SEvaluationRun
{
    std::string strPackageDirectory; // the checker's working directory
    CDeviceInfo::eDependencyType eType = CDeviceInfo::eDependencyTypeHard;
    bool bPackageDescriptionFound = false;  // a regular, readable package.xml
    bool bPackageDescriptionParsed = false; // and it parses
    std::string strInventoryText;
    CCollectorTimeLimit timeLimit;
};

// The judgement on one checker run: the exit status vexdepcheck gives for
// it, and every doubt about its decisions.
struct SEvaluationJudgement
{
    int nCheckerExitStatus = 255;
    // One list per declared dependency, in the order the checker loaded
    // them (null records left out).
    std::vector<std::vector<SEvaluationDoubt>> vDependencyDoubts;
    // Doubts about the package as a whole.
    std::vector<SEvaluationDoubt> vRunDoubts;
};

// Judges the checker runs of a plan with the same honesty rules as the
// explanation of a single run: the planner attaches the judge's listener
// to every run and asks for the judgement when the run is over. The
// inspection tool supplies the judge (the rules live with its explanation).
class IEvaluationJudge
{
public:
    virtual ~IEvaluationJudge() = default;
    // A listener for the run that starts now (null for none).
    virtual IDependencyDecisionListener* Begin(const SEvaluationRun& run) = 0;
    // The judgement, once Process returned: its result and the checker's
    // list of dependencies to report.
    virtual SEvaluationJudgement End(bool bProcessed, const std::vector<CDeviceInfo*>& vReported) = 0;
};

#endif // VEXDEP_EVALUATIONJUDGE_H
