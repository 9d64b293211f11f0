#ifndef VEXDEP_SMBIOSLAYOUT_H
#define VEXDEP_SMBIOSLAYOUT_H

// The byte layout the SMBIOS reader works with: entry points, the structure
// table, the maker's revision and token structures, and the little-endian
// reads every part of the reader uses. Private to the reader's source files
// (SMBIOSInventory.h is the reader's interface).

#include <cstddef>
#include <cstdint>

namespace smbioslayout
{
// The legacy BIOS area that holds the 32-bit entry point.
const unsigned long kEntryPointAreaStart = 0xF0000;
const std::size_t kEntryPointAreaLength = 65535;
const std::size_t kEntryPointScanStride = 8;

// A 32-bit entry point as far as the memory and ESXi paths read it: the
// structure table's length at 0x16 and its address at 0x18.
const std::size_t kEntryPointLengthOffset = 0x05;
const std::size_t kEntryPointMajorOffset = 0x06;
const std::size_t kEntryPointMinorOffset = 0x07;
const std::size_t kEntryPointTableLengthOffset = 0x16;
const std::size_t kEntryPointTableAddressOffset = 0x18;
const std::size_t kEntryPointFieldsLength = 0x1C;
const std::size_t kEntryPointLength = 31;
// The 64-bit entry point keeps its versions one byte further on.
const std::size_t kEntryPoint3MajorOffset = 0x07;
const std::size_t kEntryPoint3MinorOffset = 0x08;
const std::size_t kEntryPoint3DocRevisionOffset = 0x09;

// The copy VerifySMBIOS checks the intermediate part in.
const std::size_t kEntryPointCopyLength = 36;
const std::size_t kIntermediateOffset = 0x10;
const std::size_t kIntermediateSummedLength = 16;

const unsigned char kEndOfTableType = 127;
const std::size_t kStructureHeaderLength = 4;

const int kOEMStringsType = 11;
const int kRevisionType = 208;
const unsigned char kTwoByteSystemIdMarker = 0xFE;
const int kSingleByteSystemIdOffset = 6;
const int kTwoByteSystemIdOffset = 8;
const unsigned long kLegacySingleByteSystemIdAddress = 0xFE845;
const unsigned long kLegacyTwoByteSystemIdAddress = 0xFE840;

const int kTokenType = 212;
const int kTokenStructureSearchLimit = 16;
const std::size_t kTokenEntriesOffset = 0x0C;
const std::size_t kTokenEntryLength = 5;
const uint16_t kTokenListEnd = 0xFFFF;
const uint16_t kCMOSEqEFIVarToken = 0x5C;

const char* const kNVMERAIDModeMarker = "26[1]";

inline unsigned char ByteSum(const unsigned char* pBytes, std::size_t nLength)
{
    unsigned char nSum = 0;
    for (std::size_t i = 0; i < nLength; ++i)
    {
        nSum = static_cast<unsigned char>(nSum + pBytes[i]);
    }
    return nSum;
}

inline uint16_t ReadLE16(const unsigned char* pBytes) { return static_cast<uint16_t>(pBytes[0] | (pBytes[1] << 8)); }

inline uint32_t ReadLE32(const unsigned char* pBytes)
{
    return static_cast<uint32_t>(pBytes[0]) | (static_cast<uint32_t>(pBytes[1]) << 8) |
           (static_cast<uint32_t>(pBytes[2]) << 16) | (static_cast<uint32_t>(pBytes[3]) << 24);
}
} // namespace smbioslayout

#endif // VEXDEP_SMBIOSLAYOUT_H
