#ifndef VEXDEP_DMIDECODECOMPARISON_H
#define VEXDEP_DMIDECODECOMPARISON_H

// What dmidecode, the system's own SMBIOS decoder, makes of an SMBIOS table,
// and the comparison of vexinspect smbios with it: the tests run it on every
// table they carry. dmidecode is installed by make deps; where it is absent
// the tests that need it report themselves skipped.

#include "CheckerRun.h"

#include <gtest/gtest.h>

#include <ostream>

#include <string>
#include <vector>

namespace vextest
{
extern const char* const kDmidecode; // its path

// The value dmidecode prints for one keyword of "-s" (system-version,
// system-uuid, bios-vendor, ...), or empty when it prints none (no
// structure, or one too short to hold the field).
std::string DmidecodeString(const std::string& strDump, const std::string& strKeyword);
// The OEM strings as dmidecode lists them ("String N: text" under type 11).
std::vector<std::string> DmidecodeOEMStrings(const std::string& strDump);

// What dmidecode --from-dump says about a dump as a whole: the SMBIOS version
// it takes the table for ("SMBIOS 3.1.1 present."), the note it prints when
// it fixes a known bad version up, and, where it reads no table, its own
// words for why.
struct DmidecodeReading
{
    bool bRead = false;
    std::string strVersion;
    std::string strNote;
    std::string strRefusal;
};
DmidecodeReading ReadWithDmidecode(const std::string& strDump);

// The dump "dmidecode --dump-bin" writes of tables that sysfs presents: the
// entry point (as long as its length byte says, at most 0x20 bytes) with the
// table address set to 0x20 and its checksums moved by what that changed (a
// sum that was wrong stays wrong), zeros up to 0x20, then the table.
std::string DumpOfSysfsTables(const std::string& strEntryPoint, const std::string& strTable);

// Compares vexinspect smbios --from-dump with dmidecode --from-dump on one
// dump. Where dmidecode reads a table, vexinspect must read it too and show
// the entry point version (with dmidecode's fixup note), the system's
// manufacturer, product, serial number, version and UUID, the BIOS vendor
// and version, and the OEM strings as dmidecode prints them. Where dmidecode
// refuses the dump, vexinspect must find no table either; the refusal is
// recorded with the test (RecordProperty "dmidecode").
void ExpectSmbiosAgreesWithDmidecode(const std::string& strInspect, const std::string& strDump);

// The same for firmware as a machine presents it. Tables in sysfs are
// dumped as dmidecode dumps them (DumpOfSysfsTables); physical memory is
// scanned by dmidecode itself, which dumps what it finds there inside a
// private mount namespace holding the firmware (where dmidecode finds no
// table, vexinspect smbios must find none on that machine either). Where
// the comparison cannot run here (no dmidecode; for physical memory, no
// private mount namespace) it reports the test skipped (GTEST_SKIP), and
// the test must do nothing after it.
void ExpectFirmwareAgreesWithDmidecode(const std::string& strInspect, const Firmware& firmware);
// One table that a test carries, by a name that can be a test's name
// (letters, digits and '_').
struct SmbiosTableCase
{
    std::string strName;
    Firmware firmware;
};
void PrintTo(const SmbiosTableCase& testCase, std::ostream* pStream);
std::string SmbiosTableCaseName(const ::testing::TestParamInfo<SmbiosTableCase>& info);

} // namespace vextest

#endif // VEXDEP_DMIDECODECOMPARISON_H
