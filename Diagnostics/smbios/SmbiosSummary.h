#ifndef VEXDEP_SMBIOSSUMMARY_H
#define VEXDEP_SMBIOSSUMMARY_H

#include "SMBIOSInventory.h"
#include "SmbiosSourceAttempts.h"
#include "SmbiosSystemInformation.h"

#include <nlohmann/json.hpp>

#include <string>
#include <utility>
#include <vector>

// What the SMBIOS reader finds in one table: where the table came from, its
// entry point version, the system strings, the OEM strings, how many
// structures of each type it holds, and the system ID exactly as the
// checker's platform check computes it (with how it was obtained, and
// whether the revision structure it reads is long enough to hold it).
struct SSmbiosSummary
{
    bool bTableRead = false;
    CSMBIOSInventory::eTableSource eSource = CSMBIOSInventory::eTableSourceNone;
    std::string strDumpFile; // the dump the table was read from; empty for the machine's own
    unsigned int nEntryPointMajor = 0;
    unsigned int nEntryPointMinor = 0;
    bool bEntryPoint64Bit = false;           // "_SM3_"
    unsigned int nEntryPointDocRevision = 0; // its third version byte
    std::string strBiosVendor;
    std::string strBiosVersion;
    std::string strManufacturer;
    std::string strProductName;
    std::string strSerialNumber;
    // The system's version and UUID (type 1), as dmidecode prints them.
    SSmbiosSystemInformation system;
    std::vector<std::string> vOEMStrings;
    std::vector<std::pair<unsigned int, int>> vStructureCounts; // (type, count), types in ascending order
    std::string strSystemID;
    CSMBIOSInventory::eSystemIdOrigin eSystemIdOrigin = CSMBIOSInventory::eSystemIdNotRead;
    // The first revision structure (type 208): whether there is one, its
    // formatted length, and whether that length leaves out the system ID
    // (the byte at offset 6, or behind the marker 0xFE the two bytes at
    // offset 8).
    bool bRevisionStructure = false;
    unsigned int nRevisionLength = 0;
    bool bRevisionTooShort = false;
    // The machine's firmware sources the reader tried, in its order, and
    // why each gave no table (none for a dump).
    std::vector<SSmbiosSourceAttempt> vSourcesTried;
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
    // The version as dmidecode prints it: major.minor.docrev for a 64-bit
    // entry point ("3.1.1"); for a 32-bit one major.minor after dmidecode's
    // fixups of known bad version bytes (2.31 and 2.33 give 2.3, 2.51 gives
    // 2.6). Empty when no version is known.
    static std::string DisplayedVersion(const SSmbiosSummary& summary);
    // The note dmidecode prints when it applies one of those fixups
    // ("SMBIOS version fixup (2.31 -> 2.3)."), or empty.
    static std::string VersionFixupNote(const SSmbiosSummary& summary);
    // The major and minor version as dmidecode takes them (after its
    // fixups); 0.0 when unknown.
    static void EffectiveVersion(const SSmbiosSummary& summary, unsigned int& nMajor, unsigned int& nMinor);
    // True when no table was read because the system refused this user a
    // source: the tables are there, readable by root only.
    static bool DeniedToThisUser(const SSmbiosSummary& summary);
    // "/dev/mem: Permission denied" for each source that gave no table.
    static std::vector<std::string> AttemptTexts(const SSmbiosSummary& summary);
    // "revision-single-byte", "memory-two-byte", ... and the words for it.
    static std::string OriginKey(CSMBIOSInventory::eSystemIdOrigin eOrigin);
    static std::string OriginText(CSMBIOSInventory::eSystemIdOrigin eOrigin);
    // The name of a structure type the tool knows, or empty.
    static std::string StructureTypeName(unsigned int nType);

    // "sysfs, entry point 2.8" / "dump file X, entry point 3.2.0" / "none
    // ...", followed by dmidecode's fixup note when there is one.
    static std::string SourceText(const SSmbiosSummary& summary);
    // How the ID was obtained from a table whose first revision structure is
    // too short to hold it (nShortRevisionLength, its formatted length): the
    // checker reads the bytes behind it, or falls back to physical memory
    // when the table ends first. Empty for the origins that do not read the
    // revision structure.
    static std::string TooShortOriginText(CSMBIOSInventory::eSystemIdOrigin eOrigin, unsigned int nShortRevisionLength);
    // The formatted length of the summary's revision structure when it is too
    // short to hold the system ID, else 0.
    static unsigned int ShortRevisionLength(const SSmbiosSummary& summary);

    // "0x0b (from the revision structure, type 208, single byte)" or why
    // there is none; with nShortRevisionLength (see TooShortOriginText) the
    // words say that the revision structure is too short.
    static std::string SystemIdText(const std::string& strSystemID, CSMBIOSInventory::eSystemIdOrigin eOrigin,
                                    unsigned int nShortRevisionLength = 0);
    static std::string SystemIdText(const SSmbiosSummary& summary);

    static std::string ToText(const SSmbiosSummary& summary);
    static nlohmann::ordered_json ToJson(const SSmbiosSummary& summary);
};

#endif // VEXDEP_SMBIOSSUMMARY_H
