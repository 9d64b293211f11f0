#ifndef VEXDEP_SMBIOSSOURCEATTEMPTS_H
#define VEXDEP_SMBIOSSOURCEATTEMPTS_H

#include "SMBIOSInventory.h"

#include <string>
#include <vector>

// One firmware source the SMBIOS reader tried, in the order it tries them:
// the sysfs export (entry point, then table), physical memory, and (only
// when physical memory cannot be opened) the ESXi device.
struct SSmbiosSourceAttempt
{
    std::string strSource; // "sysfs", "memory-scan" or "esxi-device"
    std::string strPath;   // the file that was tried
    bool bUsed = false;    // the table came from it
    // Why it gave no table: the system's reason for a file that cannot be
    // opened ("Permission denied"), or what the reader found wrong in one
    // it could read. Empty for the source the table came from.
    std::string strFailure;
    bool bDenied = false; // the system refused this user (EACCES, EPERM)
};

// Finds out, after the reader ran on the sources, which of them it tried and
// why each gave no table, as a system tool names them
// ("/dev/mem: Permission denied"). Opens the files it names for reading and
// closes them again; reads nothing from them.
class CSmbiosSourceAttempts
{
public:
    static std::vector<SSmbiosSourceAttempt> Find(const SMBIOSSources& sources, bool bTableRead,
                                                  CSMBIOSInventory::eTableSource eSource);
    // True when a source was refused to this user: the tables are there,
    // but (as on every server) readable by root only.
    static bool AnyDenied(const std::vector<SSmbiosSourceAttempt>& vAttempts);
};

#endif // VEXDEP_SMBIOSSOURCEATTEMPTS_H
