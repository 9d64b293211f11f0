#ifndef VEXDEP_INVENTORYMODULE_H
#define VEXDEP_INVENTORYMODULE_H

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
// directory; the working directory is restored afterwards in every outcome.
// A collector that outlives its time limit is ended together with every
// process it started, and the module then yields one failed record, so that
// the dependency is reported as failed instead of silently passing.
class CInventoryModule
{
public:
    explicit CInventoryModule(const std::string& strModulePath);
    virtual ~CInventoryModule();

    // The records found, owned by the caller; empty on any failure, one
    // record with status 1 when the collector ran out of time.
    std::vector<CDeviceInfo*> GetInventoryInfo();
    // Runs the collector (from the current directory) and yields the path of
    // its output document; 1 on success, 0 on failure.
    int GetInvntoryXml(std::string& strOutputPath);

    // The error message of the record that stands for a collector ended at
    // its time limit of nTimeoutSeconds.
    static std::string TimedOutMessage(long nTimeoutSeconds);

private:
    CInventoryModule(const CInventoryModule&) = delete;
    CInventoryModule& operator=(const CInventoryModule&) = delete;

    // The record that stands for a collector that ran out of time.
    std::vector<CDeviceInfo*> TimedOutResult();

    std::string m_strModulePath;
    std::unique_ptr<CPIEConfigInfo> m_pPIEConfigInfo;
    // Set by GetInvntoryXml when the collector was ended at its time limit;
    // the limit in seconds is kept for the messages.
    bool m_bCollectorTimedOut;
    long m_nTimedOutAfterSeconds;
};

#endif // VEXDEP_INVENTORYMODULE_H
