#ifndef VEXDEP_SMBIOSBUILDER_H
#define VEXDEP_SMBIOSBUILDER_H

// Builds SMBIOS data for tests: structures, tables, 2.x and 3.x entry
// points, the content of the ESXi device and a 1 MiB image standing in for
// physical memory. Byte sequences are held in std::string.

#include "SMBIOSInventory.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vextest
{
// The four SMBIOS sources as files of one directory: "smbios_entry_point",
// "DMI", "mem" and "smbios" (which a test writes or leaves out).
SMBIOSSources SmbiosSourcesIn(const std::string& strDirectory);

// Little-endian encodings.
std::string Le16(uint16_t nValue);
std::string Le32(uint32_t nValue);
std::string Le64(uint64_t nValue);

// A string set: each string and its NUL, then the closing NUL (an empty set
// is two NULs).
std::string SmbiosStringSet(const std::vector<std::string>& vStrings);

// One structure: header (type, formatted length = 4 + body size, handle),
// the rest of the formatted area (strBody, the bytes from offset 4 on), then
// the string set.
std::string SmbiosStructure(uint8_t nType, const std::string& strBody, const std::vector<std::string>& vStrings = {},
                            uint16_t nHandle = 0);

// A structure written as given, for malformed tables: the formatted-length
// byte is nLengthByte whatever the body holds, and the bytes behind the body
// are strTail exactly (no NULs are added).
std::string SmbiosRawStructure(uint8_t nType, uint8_t nLengthByte, const std::string& strBody,
                               const std::string& strTail, uint16_t nHandle = 0);

// The end-of-table structure (type 127).
std::string SmbiosEndStructure(uint16_t nHandle = 0xFFFF);

// The structures one after another, optionally closed by the end structure.
std::string SmbiosTable(const std::vector<std::string>& vStructures, bool bWithEndStructure = true);

// A 31-byte 2.x entry point: "_SM_" with "_DMI_" at 0x10 and both checksums
// computed (the intermediate one over 0x10..0x1E, the outer one so that all
// 31 bytes sum to 0, which also makes the first 16 sum to 0).
struct EntryPoint2Options
{
    uint8_t nLengthByte = 0x1F;
    uint8_t nMajor = 2;
    uint8_t nMinor = 8;
    uint16_t nMaxStructureSize = 0x80;
    uint16_t nTableLength = 0;
    uint32_t nTableAddress = 0;
    uint16_t nStructureCount = 0;
    uint8_t nBcdRevision = 0x28;
    // Makes the 31 bytes sum to 1 instead of 0.
    bool bBreakChecksum = false;
    // Makes 0x10..0x1E sum to 1; the outer checksum still covers all 31.
    bool bBreakIntermediateChecksum = false;
    // Writes "_DMX_" instead of "_DMI_"; both sums stay right.
    bool bBreakIntermediateAnchor = false;
};
std::string SmbiosEntryPoint2(const EntryPoint2Options& options = EntryPoint2Options());

// A 24-byte 3.x entry point ("_SM3_") with its checksum over all 24 bytes.
struct EntryPoint3Options
{
    uint8_t nLengthByte = 0x18;
    uint8_t nMajor = 3;
    uint8_t nMinor = 2;
    uint8_t nDocRevision = 0;
    uint32_t nMaxTableSize = 0;
    uint64_t nTableAddress = 0;
    bool bBreakChecksum = false;
};
std::string SmbiosEntryPoint3(const EntryPoint3Options& options = EntryPoint3Options());

// What the ESXi device presents: the entry point and, directly behind it,
// the table.
std::string SmbiosESXiDeviceImage(const std::string& strEntryPoint, const std::string& strTable);

// A binary dump in the form "dmidecode --dump-bin" writes: the entry point at
// offset 0 with the table address set to 0x20 (and, for 2.x, the table
// length and the structure count filled in; for 3.x the maximum table size),
// zeros up to offset 0x20, then the table.
std::string SmbiosDumpImage2(const std::string& strTable, EntryPoint2Options options = EntryPoint2Options(),
                             uint16_t nStructureCount = 0);
std::string SmbiosDumpImage3(const std::string& strTable, EntryPoint3Options options = EntryPoint3Options());

// A 1 MiB image of the low physical memory, all zeros at first.
class SmbiosMemoryImage
{
public:
    static const uint32_t kSize = 0x100000;
    static const uint32_t kSingleByteSystemIdAddress = 0xFE845;
    static const uint32_t kTwoByteSystemIdAddress = 0xFE840;

    SmbiosMemoryImage();

    // Writes bytes at a physical address (they must fit inside the image).
    void Put(uint32_t nAddress, const std::string& strBytes);
    // Writes strTable at nTableAddress and a 2.x entry point describing it
    // (table length and address filled in, the other options kept) at
    // nEntryPointAddress.
    void PlaceSmbios(uint32_t nEntryPointAddress, const std::string& strTable, uint32_t nTableAddress,
                     EntryPoint2Options options = EntryPoint2Options());
    // The legacy system-ID bytes.
    void SetSingleByteSystemId(uint8_t nId);
    void SetTwoByteSystemId(uint16_t nId);

    const std::string& Bytes() const { return m_strBytes; }
    void WriteTo(const std::string& strPath) const;

private:
    std::string m_strBytes;
};

// --- The maker's structures and a few standard ones ---------------------

// Type 11: the string count at offset 4, then the strings.
std::string OemStringsStructure(const std::vector<std::string>& vStrings, uint16_t nHandle = 0);

// Type 208, the revision structure: single-byte system ID at offset 6,
// two-byte system ID (little-endian) at offset 8; formatted length 10.
std::string RevisionStructure(uint8_t nSingleByteId, uint16_t nTwoByteId = 0, uint16_t nHandle = 0);

// Type 212, the token structure: entries of 5 bytes from offset 0x0C,
// optionally closed by an entry with token ID 0xFFFF; the formatted length
// ends after the last entry.
struct TokenEntry
{
    uint16_t nId;
    uint8_t nLocation;
    uint8_t nAndMask;
    uint8_t nOrValue;
};
std::string TokenStructure(const std::vector<TokenEntry>& vEntries, bool bWithEndEntry = true, uint16_t nHandle = 0);

// Type 9, system slots (formatted length 0x11): designation string number at
// 0x04, slot ID at 0x09, bus at 0x0F, device/function at 0x10.
const int kSlotDesignationOffset = 0x04;
const int kSlotIdOffset = 0x09;
const int kSlotBusOffset = 0x0F;
const int kSlotDevFnOffset = 0x10;
std::string SystemSlotStructure(uint8_t nBus, uint8_t nDevFn, uint16_t nSlotId,
                                const std::vector<std::string>& vStrings, uint8_t nDesignationNumber = 1,
                                uint16_t nHandle = 0);

// Type 0, BIOS information (formatted length 0x18): vendor string number 1 at
// 0x04, version 2 at 0x05, release date 3 at 0x08.
std::string BiosInformationStructure(const std::string& strVendor, const std::string& strVersion,
                                     const std::string& strReleaseDate = "01/02/2024", uint16_t nHandle = 0);

// Type 1, system information (formatted length 0x1B): manufacturer 1 at 0x04,
// product 2 at 0x05, version 3 at 0x06, serial number 4 at 0x07.
std::string SystemInformationStructure(const std::string& strManufacturer, const std::string& strProduct,
                                       const std::string& strVersion, const std::string& strSerialNumber,
                                       uint16_t nHandle = 0);
} // namespace vextest

#endif // VEXDEP_SMBIOSBUILDER_H
