#include "CheckerRun.h"

#include <stdexcept>

namespace vextest
{
namespace
{
std::string Quote(const std::string& strText)
{
    std::string strQuoted = "'";
    for (char c : strText)
    {
        if (c == '\'')
        {
            strQuoted += "'\\''";
        }
        else
        {
            strQuoted += c;
        }
    }
    return strQuoted + "'";
}

// Exit status of the namespace script when setting up the mounts failed.
const int kSetupFailed = 97;
} // namespace

bool CanUseMountNamespace()
{
    static const bool bUsable = [] {
        TempDir dir;
        const CommandResult result =
            RunCommand({"/usr/bin/unshare", "--mount", "--propagation", "private", "/bin/sh", "-c",
                        "mount -t tmpfs vexdep-probe " + Quote(dir.Path()) + " && exit 42"},
                       dir.Path());
        return result.nExitStatus == 42;
    }();
    return bUsable;
}

std::string CheckerExecutable() { return VEXDEP_CHECKER_EXECUTABLE; }

CommandResult RunInPackage(const std::vector<std::string>& vArgs, const std::string& strPackageDir,
                           const Firmware& firmware)
{
    if (firmware.eKind == Firmware::Kind::Host)
    {
        return RunCommand(vArgs, strPackageDir);
    }

    // The firmware files are prepared outside the namespace, in a directory
    // that the script copies from after the tmpfs hides the real ones.
    TempDir staging;
    if (firmware.eKind == Firmware::Kind::Sysfs)
    {
        WriteFile(staging.File("smbios_entry_point"), firmware.strEntryPoint);
        WriteFile(staging.File("DMI"), firmware.strTable);
    }
    if (firmware.eKind == Firmware::Kind::Memory)
    {
        WriteFile(staging.File("mem"), firmware.strMemory);
    }
    WriteFile(staging.File("null"), "");
    WriteFile(staging.File("zero"), "");

    const std::string strStaging = Quote(staging.Path());
    std::string strScript = "fail() { exit " + std::to_string(kSetupFailed) + "; }\n";
    strScript += "mount --bind /dev/null " + strStaging + "/null || fail\n";
    // The endless device, for packages whose files link to it.
    strScript += "mount --bind /dev/zero " + strStaging + "/zero || fail\n";
    strScript += "mount -t tmpfs vexdep-firmware /sys/firmware || fail\n";
    if (firmware.eKind == Firmware::Kind::Sysfs)
    {
        strScript += "mkdir -p /sys/firmware/dmi/tables || fail\n";
        strScript += "cp " + strStaging + "/smbios_entry_point " + strStaging +
                     "/DMI /sys/firmware/dmi/tables/ || fail\n";
    }
    strScript += "mount -t tmpfs vexdep-dev /dev || fail\n";
    strScript += ": > /dev/null && mount --bind " + strStaging + "/null /dev/null || fail\n";
    strScript += ": > /dev/zero && mount --bind " + strStaging + "/zero /dev/zero || fail\n";
    if (firmware.eKind == Firmware::Kind::Memory)
    {
        strScript += "cp " + strStaging + "/mem /dev/mem || fail\n";
    }
    if (firmware.bRootOnly)
    {
        if (firmware.eKind == Firmware::Kind::Sysfs)
        {
            strScript +=
                "chmod 0400 /sys/firmware/dmi/tables/smbios_entry_point /sys/firmware/dmi/tables/DMI || fail\n";
        }
        if (firmware.eKind != Firmware::Kind::Memory)
        {
            strScript += "head -c 1048576 /dev/zero > /dev/mem || fail\n";
        }
        strScript += "chmod 0600 /dev/mem || fail\n";
    }
    strScript += "cd " + Quote(strPackageDir) + " || fail\n";
    strScript += "exec";
    for (const std::string& strArg : vArgs)
    {
        strScript += " " + Quote(strArg);
    }
    strScript += "\n";

    const CommandResult result = RunCommand(
        {"/usr/bin/unshare", "--mount", "--propagation", "private", "/bin/sh", "-c", strScript}, strPackageDir);
    if (result.nExitStatus == kSetupFailed)
    {
        throw std::runtime_error("setting up the private firmware failed: " + result.strStderr);
    }
    return result;
}
} // namespace vextest
