#include "PackageEvaluator.h"

#include "DependenciesChecker.h"
#include "PlatformLayer.h"
#include "ScopedDirectory.h"
#include "XmlSupport.h"

CPackageEvaluator::CPackageEvaluator(IInventorySource& source, IEvaluationJudge& judge)
    : m_source(source), m_judge(judge)
{
}

SEvaluation CPackageEvaluator::Evaluate(const std::string& strPackageDirectory, CDeviceInfo::eDependencyType eType,
                                        const std::string& strInventoryText)
{
    SEvaluation evaluation;
    evaluation.eType = eType;
    CScopedDirectory packageDirectory;
    if (!packageDirectory.Enter(strPackageDirectory))
    {
        evaluation.vRunDoubts.push_back(
            SEvaluationDoubt{"no-package-description", "the package directory " + strPackageDirectory +
                                                           " cannot be entered: nothing is declared"});
        return evaluation;
    }

    SEvaluationRun run;
    run.strPackageDirectory = CPlatformLayer::getCurrentDirectory();
    run.eType = eType;
    run.strInventoryText = strInventoryText;
    run.timeLimit = m_timeLimit;
    std::string strPackageText;
    run.bPackageDescriptionFound = CPlatformLayer::ReadRegularFile("package.xml", strPackageText);
    run.bPackageDescriptionParsed = run.bPackageDescriptionFound && xmlsupport::ParseFile("package.xml") != nullptr;

    CDecisionRecorder recorder(m_judge.Begin(run));
    {
        CDependenciesChecker checker(run.strPackageDirectory);
        checker.SetCollectorTimeLimit(m_timeLimit);
        checker.SetInventorySource(&m_source);
        if (m_bSources)
        {
            checker.SetSMBIOSSources(m_sources);
        }
        checker.SetDecisionListener(&recorder);
        evaluation.bProcessed = checker.Process(eType, strInventoryText);
        const std::vector<CDeviceInfo*> vReported = checker.GetDependentDevices();
        const SEvaluationJudgement judgement = m_judge.End(evaluation.bProcessed, vReported);
        evaluation.nCheckerExitStatus = judgement.nCheckerExitStatus;
        evaluation.vDependencyDoubts = judgement.vDependencyDoubts;
        evaluation.vRunDoubts = judgement.vRunDoubts;
        if (evaluation.nCheckerExitStatus != 255)
        {
            for (const CDeviceInfo* pRecord : vReported)
            {
                if (pRecord != nullptr)
                {
                    evaluation.vReported.push_back(SReportedEntry{pRecord->getDisplay(), pRecord->getStatus() == 1});
                }
            }
        }
    }
    evaluation.vDependencies = recorder.Dependencies();
    evaluation.vDependencyDoubts.resize(evaluation.vDependencies.size());
    return evaluation;
}
