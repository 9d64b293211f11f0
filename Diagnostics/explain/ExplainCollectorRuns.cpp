// CExplainReport: what became of the collector runs the checker started,
// and the run's verdict.

#include "ExplainReport.h"

#include "PIEConfigInfo.h"
#include "PlatformLayer.h"
#include "ShellCharacters.h"
#include "TextFormat.h"
#include "XmlSupport.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

#include <sys/wait.h>

using textformat::Quote;

void CExplainReport::ExamineOutputDocument(SExplainedCollector& collector, int64_t nRunStartedNs)
{
    if (collector.strOutputPath.empty())
    {
        return;
    }
    SFileState state;
    std::string strError;
    collector.bOutputPresent = CPlatformLayer::ExamineFile(collector.strOutputPath, state, strError);
    if (!collector.bOutputPresent)
    {
        return;
    }
    collector.nOutputModifiedMs = state.nModifiedNs / 1000000;
    collector.nOutputChangedMs = state.nChangedNs / 1000000;
    // Written by this run or not, by what no program can set: the status
    // change time follows every write, also one that restores the
    // modification time ("cp -p"), and comes from the clock that was read
    // before the checker started.
    collector.bOutputStale = state.nChangedNs < nRunStartedNs;
    if (!CPlatformLayer::CanOpen(collector.strOutputPath, strError))
    {
        collector.strOutputProblem = "cannot be read: " + strError;
        return;
    }
    const xmlsupport::SDiagnosedParse parse = xmlsupport::ParseFileWithDiagnostics(collector.strOutputPath);
    if (parse.pDocument)
    {
        return;
    }
    collector.strOutputProblem = "does not parse: " + textformat::ParseFailure(parse.vDiagnostics);
}

void CExplainReport::ClassifyCollectorRuns()
{
    for (auto& entry : m_mapReleaseRuns)
    {
        SReleaseRun& run = entry.second;
        const std::string strConfigPath = run.strComponentPath + "/PIEConfig.xml";
        if (run.collector)
        {
            // The document the checker read: written by this run, left by an
            // earlier one, or not there at all.
            SExplainedCollector& collector = *run.collector;
            collector.bReleaseWritable = CPlatformLayer::IsWritableDirectory(run.strComponentPath);
            // Changed since this run began; a plan hands an evaluation the
            // findings of a collector run of an earlier evaluation, whose
            // document is judged against that run's start. A collector's
            // start is read from the wall clock, which never runs behind the
            // coarse file clock (so a collector of this run never started
            // before it) and runs ahead of it by up to a tick.
            const int64_t nClockSlackNs = 50 * 1000000LL;
            const int64_t nCollectorStartedNs = collector.nStartedMs * 1000000LL;
            const bool bEarlierRun = nCollectorStartedNs < m_run.nFileClockAtStartNs;
            ExamineOutputDocument(collector,
                                  bEarlierRun ? nCollectorStartedNs - nClockSlackNs : m_run.nFileClockAtStartNs);
            // The shell's "not found": the command line holds the package
            // directory unquoted.
            const std::string strShellCharacters = CShellCharacters::Shown(m_run.strPackageDirectory);
            if (!strShellCharacters.empty() && WIFEXITED(collector.nWaitStatus) &&
                WEXITSTATUS(collector.nWaitStatus) == 127)
            {
                collector.strCommandLineProblem =
                    "the shell found no command to run (status 127, \"not found\"): the package directory's path " +
                    m_run.strPackageDirectory + " holds " + strShellCharacters +
                    ", and the collector's command line holds it unquoted";
            }
        }
        if (run.bFailed)
        {
            // A collector ended at its limit leaves one failed record.
            const bool bTimedOut = run.collector && run.collector->bTimedOut;
            run.eOutcome = bTimedOut ? SExplainedInventory::EOutcome::TimedOut : SExplainedInventory::EOutcome::Failed;
            continue;
        }
        if (run.nRecords > 0)
        {
            run.eOutcome = SExplainedInventory::EOutcome::Ran;
            continue;
        }
        // No record: find out whether the collector ran at all, in the order
        // the inventory module checks.
        run.eOutcome = SExplainedInventory::EOutcome::NotRun;
        CPIEConfigInfo config;
        std::string strError;
        if (!CPlatformLayer::IsDirectory(run.strComponentPath))
        {
            const bool bThere = CPlatformLayer::CanOpen(run.strComponentPath, strError);
            run.strReason = bThere ? "the release path is not a directory"
                            : strError == std::strerror(ENOENT)
                                ? "the release directory does not exist"
                                : "the release directory cannot be examined: " + strError;
        }
        else if (!CPlatformLayer::CanOpen(run.strComponentPath, strError))
        {
            run.strReason = "the release directory cannot be entered: " + strError;
        }
        else if (!CPlatformLayer::CanOpen(strConfigPath, strError))
        {
            // The inventory module's test fails alike for a file that is not
            // there and one it may not read: the system's reason tells them apart.
            run.strReason = strError == std::strerror(ENOENT) ? "PIEConfig.xml does not exist"
                                                              : "PIEConfig.xml cannot be read: " + strError;
        }
        else if (!CPlatformLayer::IsFileExistsAbs(strConfigPath))
        {
            run.strReason = "PIEConfig.xml does not exist";
        }
        else if (!config.Init(strConfigPath))
        {
            run.strReason = "PIEConfig.xml names no usable inventory plug-in (description \"Inventory\", type \"0\", "
                            "a timeout, and CliToFile with Command and Output)";
        }
        else if (config.GetInventoryTimeout() < 1)
        {
            run.strReason = "the timeout " + std::to_string(config.GetInventoryTimeout()) + " is below 1 second";
        }
        else
        {
            run.eOutcome = SExplainedInventory::EOutcome::Ran;
            run.strReason = "its output document " + Quote(config.GetInventoryCommandOutFileName()) +
                            " is missing or lists no device";
            if (run.collector && !run.collector->strOutputProblem.empty())
            {
                run.strReason = "its output document " + Quote(config.GetInventoryCommandOutFileName()) + " " +
                                run.collector->strOutputProblem;
            }
        }
    }

    for (SExplainedDependency& dependency : m_run.vDependencies)
    {
        SExplainedInventory& inventory = dependency.inventory;
        if (inventory.eLookup == SExplainedInventory::ELookup::NotLookedUp)
        {
            continue;
        }
        auto itRun = m_mapReleaseRuns.find(inventory.strReleaseID);
        if (itRun == m_mapReleaseRuns.end())
        {
            continue;
        }
        inventory.eOutcome = itRun->second.eOutcome;
        inventory.strReason = itRun->second.strReason;
        inventory.strErrorMessage = itRun->second.strErrorMessage;
        inventory.collector = itRun->second.collector;
        if (inventory.strComponentPath.empty())
        {
            inventory.strComponentPath = itRun->second.strComponentPath;
        }
    }
    SRunCircumstances circumstances;
    if (CSmbiosSummary::DeniedToThisUser(m_run.smbios))
    {
        for (const std::string& strAttempt : CSmbiosSummary::AttemptTexts(m_run.smbios))
        {
            circumstances.strSmbiosRefused += (circumstances.strSmbiosRefused.empty() ? "" : "; ") + strAttempt;
        }
    }
    circumstances.strInventoryTextProblem = m_run.strInventoryTextProblem;
    circumstances.strPackageDescriptionProblem = m_run.strPackageDescriptionProblem;
    m_run.verdict =
        CRunVerdict::Decide(m_run.eRequested, m_run.ePackageDescription, m_run.vDependencies, circumstances);
}
