#ifndef VEXDEP_SMBIOSSUMMARY_H
#define VEXDEP_SMBIOSSUMMARY_H

#include "SMBIOSInventory.h"

#include <nlohmann/json.hpp>

#include <string>
#include <utility>
#include <vector>

// What the SMBIOS reader finds in one table: where the table came from, its
// entry point version, the system strings, the OEM strings, how many
// structures of each type it holds, and the system ID exactly as the
// checker's platform check computes it (with how it was obtained).
struct SSmbiosSummary
{
    bool bTableRead = false;
    CSMBIOSInventory::eTableSource eSource = CSMBIOSInventory::eTableSourceNone;
    std::string strDumpFile; // the dump the table was read from; empty for the machine's own
    unsigned int nEntryPointMajor = 0;
    unsigned int nEntryPointMinor = 0;
    std::string strBiosVendor;
    std::string strBiosVersion;
    std::string strManufacturer;
    std::string strProductName;
    std::string strSerialNumber;
    std::vector<std::string> vOEMStrings;
    std::vector<std::pair<unsigned int, int>> vStructureCounts; // (type, count), types in ascending order
    std::string strSystemID;
    CSMBIOSInventory::eSystemIdOrigin eSystemIdOrigin = CSMBIOSInventory::eSystemIdNotRead;
};

class CSmbiosSummary
{
public:
    // Reads the table from the sources as the checker's platform check does
    // (Initialize, then GetSystemID when a table is held). strDumpFile names
    // the dump behind the sources, or is empty.
    static SSmbiosSummary Read(const SMBIOSSources& sources, const std::string& strDumpFile);

    // "sysfs", "memory-scan", "esxi-device", "dump-file" or "none".
    static std::string SourceKey(const SSmbiosSummary& summary);
    static std::string SourceKey(CSMBIOSInventory::eTableSource eSource, bool bFromDump);
    // "2.8", or empty when no version is known.
    static std::string EntryPointVersion(unsigned int nMajor, unsigned int nMinor);
    // "revision-single-byte", "memory-two-byte", ... and the words for it.
    static std::string OriginKey(CSMBIOSInventory::eSystemIdOrigin eOrigin);
    static std::string OriginText(CSMBIOSInventory::eSystemIdOrigin eOrigin);
    // The name of a structure type the tool knows, or empty.
    static std::string StructureTypeName(unsigned int nType);

    // "sysfs, entry point 2.8" / "dump file X, entry point 3.2" / "none ...".
    static std::string SourceText(const SSmbiosSummary& summary);
    // "0x0b (from the revision structure, type 208, single byte)" or why
    // there is none.
    static std::string SystemIdText(const std::string& strSystemID, CSMBIOSInventory::eSystemIdOrigin eOrigin);

    static std::string ToText(const SSmbiosSummary& summary);
    static nlohmann::ordered_json ToJson(const SSmbiosSummary& summary);
};

#endif // VEXDEP_SMBIOSSUMMARY_H
