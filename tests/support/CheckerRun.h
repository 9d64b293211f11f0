#ifndef VEXDEP_CHECKERRUN_H
#define VEXDEP_CHECKERRUN_H

#include "TestSupport.h"

#include <string>
#include <vector>

namespace vextest
{
// The firmware an end-to-end run sees.
struct Firmware
{
    enum class Kind
    {
        Host,  // the machine's own (no private mount namespace)
        None,  // empty /sys/firmware and /dev (no SMBIOS source at all)
        Sysfs, // the given entry point and table files under /sys/firmware/dmi/tables
        Memory // empty /sys/firmware, a /dev/mem holding the given image
    };
    Kind eKind = Kind::None;
    std::string strEntryPoint; // Sysfs
    std::string strTable;      // Sysfs
    std::string strMemory;     // Memory
    // As on a real server: the tables (and a stand-in /dev/mem of 1 MiB
    // where the firmware gives none) readable by root only.
    bool bRootOnly = false;

    static Firmware Host() { return Firmware{Kind::Host, "", "", "", false}; }
    static Firmware NoTables() { return Firmware{Kind::None, "", "", "", false}; }
    static Firmware FromSysfs(const std::string& strEntryPoint, const std::string& strTable)
    {
        return Firmware{Kind::Sysfs, strEntryPoint, strTable, "", false};
    }
    static Firmware FromMemory(const std::string& strImage) { return Firmware{Kind::Memory, "", "", strImage, false}; }
    // The same firmware, readable by root only.
    Firmware RootOnly() const
    {
        Firmware copy = *this;
        copy.bRootOnly = true;
        return copy;
    }
};

// True when this process may create a private mount namespace (unshare).
bool CanUseMountNamespace();

// Runs the given program with arguments in strPackageDir. For every kind
// but Host it runs inside a private mount namespace in which a tmpfs is
// mounted over /sys/firmware (and over /dev, with /dev/null and /dev/zero bound back in),
// holding only the files the firmware names; nothing is written to the real
// /sys or /dev. Call CanUseMountNamespace() first and skip when it is false.
CommandResult RunInPackage(const std::vector<std::string>& vArgs, const std::string& strPackageDir,
                           const Firmware& firmware);

// The path of the checker executable under test.
std::string CheckerExecutable();
} // namespace vextest

#endif // VEXDEP_CHECKERRUN_H
