#include "SmbiosSourceAttempts.h"

#include "PlatformLayer.h"

#include <cerrno>
#include <cstring>

namespace
{
SSmbiosSourceAttempt Attempt(const std::string& strSource, const std::string& strPath)
{
    SSmbiosSourceAttempt attempt;
    attempt.strSource = strSource;
    attempt.strPath = strPath;
    return attempt;
}

// The attempt at a file that cannot be opened, with the system's reason;
// false when it can be opened.
bool Refused(const std::string& strSource, const std::string& strPath, std::vector<SSmbiosSourceAttempt>& vAttempts)
{
    std::string strError;
    if (CPlatformLayer::CanOpen(strPath, strError))
    {
        return false;
    }
    SSmbiosSourceAttempt attempt = Attempt(strSource, strPath);
    attempt.strFailure = strError;
    attempt.bDenied = strError == std::strerror(EACCES) || strError == std::strerror(EPERM);
    vAttempts.push_back(attempt);
    return true;
}

void Used(const std::string& strSource, const std::string& strPath, std::vector<SSmbiosSourceAttempt>& vAttempts)
{
    SSmbiosSourceAttempt attempt = Attempt(strSource, strPath);
    attempt.bUsed = true;
    vAttempts.push_back(attempt);
}

void Unusable(const std::string& strSource, const std::string& strPath, const std::string& strFailure,
              std::vector<SSmbiosSourceAttempt>& vAttempts)
{
    SSmbiosSourceAttempt attempt = Attempt(strSource, strPath);
    attempt.strFailure = strFailure;
    vAttempts.push_back(attempt);
}
} // namespace

std::vector<SSmbiosSourceAttempt> CSmbiosSourceAttempts::Find(const SMBIOSSources& sources, bool bTableRead,
                                                              CSMBIOSInventory::eTableSource eSource)
{
    std::vector<SSmbiosSourceAttempt> vAttempts;
    const bool bUsed = bTableRead;
    // The sysfs export: the entry point, then the table.
    if (!Refused("sysfs", sources.strEntryPointPath, vAttempts) && !Refused("sysfs", sources.strTablePath, vAttempts))
    {
        if (bUsed && eSource == CSMBIOSInventory::eTableSourceSysfs)
        {
            Used("sysfs", sources.strTablePath, vAttempts);
            return vAttempts;
        }
        Unusable("sysfs", sources.strEntryPointPath, "read, but not a valid SMBIOS entry point and table", vAttempts);
    }
    // Physical memory; only when it cannot be opened, the ESXi device.
    if (!Refused("memory-scan", sources.strMemoryDevicePath, vAttempts))
    {
        if (bUsed && eSource == CSMBIOSInventory::eTableSourceMemoryScan)
        {
            Used("memory-scan", sources.strMemoryDevicePath, vAttempts);
        }
        else
        {
            Unusable("memory-scan", sources.strMemoryDevicePath, "read, but no SMBIOS entry point found in it",
                     vAttempts);
        }
        return vAttempts;
    }
    if (!Refused("esxi-device", sources.strESXiDevicePath, vAttempts))
    {
        if (bUsed && eSource == CSMBIOSInventory::eTableSourceESXiDevice)
        {
            Used("esxi-device", sources.strESXiDevicePath, vAttempts);
        }
        else
        {
            Unusable("esxi-device", sources.strESXiDevicePath, "read, but no SMBIOS table found in it", vAttempts);
        }
    }
    return vAttempts;
}

bool CSmbiosSourceAttempts::AnyDenied(const std::vector<SSmbiosSourceAttempt>& vAttempts)
{
    for (const SSmbiosSourceAttempt& attempt : vAttempts)
    {
        if (attempt.bDenied)
        {
            return true;
        }
    }
    return false;
}
