#ifndef VEXDEP_INVENTORYMODULE_H
#define VEXDEP_INVENTORYMODULE_H

#include "CollectorRun.h"
#include "CollectorTimeLimit.h"
#include "DeviceInfo.h"
#include "PIEConfigInfo.h"

#include <memory>
#include <string>
#include <vector>

// Runs the inventory collector of one component (release) directory and turns
// the document it writes into device records.
//
// The directory's "PIEConfig.xml" names the collector's command, its output
// document and its time limit in seconds. The collector runs from inside the
// directory through the shell, exactly as any shell command of the checker
// runs: in the checker's own process group, with the checker waiting until
// the shell ends, however long that takes. The working directory is restored
// afterwards in every outcome.
//
// With a time-limit guard switched on (CCollectorTimeLimit), a collector
// that outlives its limit is ended together with every process it started,
// and the module then yields one failed record, so that the dependency is
// reported as failed instead of silently passing.
class CInventoryModule
{
public:
    explicit CInventoryModule(const std::string& strModulePath);
    virtual ~CInventoryModule();

    // The guard for the collector's run (none by default).
    void SetTimeLimit(const CCollectorTimeLimit& limit) { m_timeLimit = limit; }

    // The records found, owned by the caller; empty on any failure, one
    // record with status 1 when the guard ended the collector.
    std::vector<CDeviceInfo*> GetInventoryInfo();
    // Runs the collector (from the current directory) and yields the path of
    // its output document; 1 on success, 0 on failure.
    int GetInvntoryXml(std::string& strOutputPath);

    // What the last GetInventoryInfo or GetInvntoryXml did.
    const SCollectorRun& LastRun() const { return m_run; }

    // The error message of the record that stands for a collector ended at
    // a limit of nTimeoutSeconds.
    static std::string TimedOutMessage(long nTimeoutSeconds);

private:
    CInventoryModule(const CInventoryModule&) = delete;
    CInventoryModule& operator=(const CInventoryModule&) = delete;

    // Runs the full command line, with or without the guard, and records
    // the run.
    int RunCollector(const std::string& strCommand, long nConfiguredSeconds);
    // The record that stands for a collector that ran out of time.
    std::vector<CDeviceInfo*> TimedOutResult();

    std::string m_strModulePath;
    std::unique_ptr<CPIEConfigInfo> m_pPIEConfigInfo;
    CCollectorTimeLimit m_timeLimit;
    SCollectorRun m_run;
};

#endif // VEXDEP_INVENTORYMODULE_H
