// CExplainReport: what became of the collector runs the checker started,
// and the run's verdict.

#include "ExplainReport.h"

#include "PIEConfigInfo.h"
#include "PlatformLayer.h"
#include "TextFormat.h"

using textformat::Quote;

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
            collector.bOutputPresent = !collector.strOutputPath.empty() &&
                                       CPlatformLayer::GetModificationTime(collector.strOutputPath,
                                                                           collector.nOutputModifiedMs);
            collector.bOutputStale = collector.bOutputPresent &&
                                     collector.nOutputModifiedMs + CRunVerdict::nStaleToleranceMs < collector.nStartedMs;
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
        if (!CPlatformLayer::IsDirectory(run.strComponentPath))
        {
            run.strReason = "the release directory does not exist";
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
    m_run.verdict = CRunVerdict::Decide(m_run.eRequested, m_run.ePackageDescription, m_run.vDependencies);
}
