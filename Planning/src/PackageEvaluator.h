#ifndef VEXDEP_PACKAGEEVALUATOR_H
#define VEXDEP_PACKAGEEVALUATOR_H

#include "CollectorTimeLimit.h"
#include "DecisionRecorder.h"
#include "EvaluationJudge.h"
#include "InventorySource.h"
#include "SMBIOSInventory.h"

#include <string>
#include <vector>

// A dependency the checker reports, as vexdepcheck's report lists it.
struct SReportedEntry
{
    std::string strDisplay;
    bool bFailed = false;
};

// One run of the checker on one package, with its judgement.
struct SEvaluation
{
    CDeviceInfo::eDependencyType eType = CDeviceInfo::eDependencyTypeHard;
    bool bProcessed = false;
    int nCheckerExitStatus = 255;
    std::vector<SReportedEntry> vReported;
    std::vector<SEvaluatedDependency> vDependencies;
    std::vector<std::vector<SEvaluationDoubt>> vDependencyDoubts; // aligned with vDependencies
    std::vector<SEvaluationDoubt> vRunDoubts;
};

// Runs the checker's evaluation of one package for one type, exactly as
// vexdepcheck runs it in that package's directory (the same checker, its
// package reader, filters and version rule, with the inventory text given),
// but with the inventory of every release directory coming from the given
// source, and with the decisions recorded and judged.
class CPackageEvaluator
{
public:
    CPackageEvaluator(IInventorySource& source, IEvaluationJudge& judge);

    void SetCollectorTimeLimit(const CCollectorTimeLimit& limit) { m_timeLimit = limit; }
    // Where the platform check reads the SMBIOS tables (the machine's own
    // unless given).
    void SetSMBIOSSources(const SMBIOSSources& sources)
    {
        m_sources = sources;
        m_bSources = true;
    }

    // Evaluates the package in strPackageDirectory (the working directory
    // while the checker runs; restored afterwards).
    SEvaluation Evaluate(const std::string& strPackageDirectory, CDeviceInfo::eDependencyType eType,
                         const std::string& strInventoryText);

private:
    IInventorySource& m_source;
    IEvaluationJudge& m_judge;
    CCollectorTimeLimit m_timeLimit;
    SMBIOSSources m_sources;
    bool m_bSources = false;
};

#endif // VEXDEP_PACKAGEEVALUATOR_H
