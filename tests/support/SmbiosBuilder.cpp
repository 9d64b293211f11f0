#include "SmbiosBuilder.h"

#include "TestSupport.h"

#include <stdexcept>

namespace vextest
{
SMBIOSSources SmbiosSourcesIn(const std::string& strDirectory)
{
    SMBIOSSources sources;
    sources.strEntryPointPath = strDirectory + "/smbios_entry_point";
    sources.strTablePath = strDirectory + "/DMI";
    sources.strMemoryDevicePath = strDirectory + "/mem";
    sources.strESXiDevicePath = strDirectory + "/smbios";
    return sources;
}

namespace
{
unsigned char SumOf(const std::string& strBytes, std::size_t nBegin, std::size_t nEnd)
{
    unsigned char nSum = 0;
    for (std::size_t i = nBegin; i < nEnd; ++i)
    {
        nSum = static_cast<unsigned char>(nSum + static_cast<unsigned char>(strBytes[i]));
    }
    return nSum;
}

// The byte that makes [nBegin, nEnd) sum to nTarget when written at nAt
// (which lies inside the range and holds 0).
char ChecksumByte(const std::string& strBytes, std::size_t nBegin, std::size_t nEnd, unsigned char nTarget)
{
    return static_cast<char>(static_cast<unsigned char>(nTarget - SumOf(strBytes, nBegin, nEnd)));
}

std::string Byte(unsigned int nValue) { return std::string(1, static_cast<char>(nValue & 0xFF)); }
} // namespace

std::string Le16(uint16_t nValue) { return Byte(nValue) + Byte(nValue >> 8); }

std::string Le32(uint32_t nValue)
{
    return Le16(static_cast<uint16_t>(nValue)) + Le16(static_cast<uint16_t>(nValue >> 16));
}

std::string Le64(uint64_t nValue)
{
    return Le32(static_cast<uint32_t>(nValue)) + Le32(static_cast<uint32_t>(nValue >> 32));
}

std::string SmbiosStringSet(const std::vector<std::string>& vStrings)
{
    if (vStrings.empty())
    {
        return std::string(2, '\0');
    }
    std::string strSet;
    for (const std::string& strText : vStrings)
    {
        strSet += strText;
        strSet += '\0';
    }
    strSet += '\0';
    return strSet;
}

std::string SmbiosStructure(uint8_t nType, const std::string& strBody, const std::vector<std::string>& vStrings,
                            uint16_t nHandle)
{
    if (strBody.size() + 4 > 0xFF)
    {
        throw std::invalid_argument("formatted area too long");
    }
    return SmbiosRawStructure(nType, static_cast<uint8_t>(strBody.size() + 4), strBody, SmbiosStringSet(vStrings),
                              nHandle);
}

std::string SmbiosRawStructure(uint8_t nType, uint8_t nLengthByte, const std::string& strBody,
                               const std::string& strTail, uint16_t nHandle)
{
    return Byte(nType) + Byte(nLengthByte) + Le16(nHandle) + strBody + strTail;
}

std::string SmbiosEndStructure(uint16_t nHandle) { return SmbiosStructure(127, "", {}, nHandle); }

std::string SmbiosTable(const std::vector<std::string>& vStructures, bool bWithEndStructure)
{
    std::string strTable;
    for (const std::string& strStructure : vStructures)
    {
        strTable += strStructure;
    }
    if (bWithEndStructure)
    {
        strTable += SmbiosEndStructure();
    }
    return strTable;
}

std::string SmbiosEntryPoint2(const EntryPoint2Options& options)
{
    std::string strEntry;
    strEntry += "_SM_";
    strEntry += '\0'; // checksum, 0x04
    strEntry += Byte(options.nLengthByte);
    strEntry += Byte(options.nMajor);
    strEntry += Byte(options.nMinor);
    strEntry += Le16(options.nMaxStructureSize);
    strEntry += Byte(0);              // entry point revision, 0x0A
    strEntry += std::string(5, '\0'); // formatted area, 0x0B
    strEntry += options.bBreakIntermediateAnchor ? "_DMX_" : "_DMI_";
    strEntry += '\0'; // intermediate checksum, 0x15
    strEntry += Le16(options.nTableLength);
    strEntry += Le32(options.nTableAddress);
    strEntry += Le16(options.nStructureCount);
    strEntry += Byte(options.nBcdRevision);

    strEntry[0x15] = ChecksumByte(strEntry, 0x10, 0x1F, options.bBreakIntermediateChecksum ? 1 : 0);
    strEntry[0x04] = ChecksumByte(strEntry, 0x00, 0x1F, options.bBreakChecksum ? 1 : 0);
    return strEntry;
}

std::string SmbiosEntryPoint3(const EntryPoint3Options& options)
{
    std::string strEntry;
    strEntry += "_SM3_";
    strEntry += '\0'; // checksum, 0x05
    strEntry += Byte(options.nLengthByte);
    strEntry += Byte(options.nMajor);
    strEntry += Byte(options.nMinor);
    strEntry += Byte(options.nDocRevision);
    strEntry += Byte(1); // entry point revision, 0x0A
    strEntry += Byte(0); // reserved, 0x0B
    strEntry += Le32(options.nMaxTableSize);
    strEntry += Le64(options.nTableAddress);
    strEntry[0x05] = ChecksumByte(strEntry, 0, strEntry.size(), options.bBreakChecksum ? 1 : 0);
    return strEntry;
}

std::string SmbiosESXiDeviceImage(const std::string& strEntryPoint, const std::string& strTable)
{
    return strEntryPoint + strTable;
}

namespace
{
const std::size_t kDumpTableOffset = 0x20;

std::string DumpImage(const std::string& strEntryPoint, const std::string& strTable)
{
    std::string strDump = strEntryPoint;
    strDump.resize(kDumpTableOffset, '\0');
    return strDump + strTable;
}
} // namespace

std::string SmbiosDumpImage2(const std::string& strTable, EntryPoint2Options options, uint16_t nStructureCount)
{
    options.nTableLength = static_cast<uint16_t>(strTable.size());
    options.nTableAddress = kDumpTableOffset;
    options.nStructureCount = nStructureCount;
    return DumpImage(SmbiosEntryPoint2(options), strTable);
}

std::string SmbiosDumpImage3(const std::string& strTable, EntryPoint3Options options)
{
    options.nMaxTableSize = static_cast<uint32_t>(strTable.size());
    options.nTableAddress = kDumpTableOffset;
    return DumpImage(SmbiosEntryPoint3(options), strTable);
}

SmbiosMemoryImage::SmbiosMemoryImage() : m_strBytes(kSize, '\0') {}

void SmbiosMemoryImage::Put(uint32_t nAddress, const std::string& strBytes)
{
    if (static_cast<uint64_t>(nAddress) + strBytes.size() > kSize)
    {
        throw std::out_of_range("bytes do not fit into the memory image");
    }
    m_strBytes.replace(nAddress, strBytes.size(), strBytes);
}

void SmbiosMemoryImage::PlaceSmbios(uint32_t nEntryPointAddress, const std::string& strTable, uint32_t nTableAddress,
                                    EntryPoint2Options options)
{
    options.nTableLength = static_cast<uint16_t>(strTable.size());
    options.nTableAddress = nTableAddress;
    Put(nTableAddress, strTable);
    Put(nEntryPointAddress, SmbiosEntryPoint2(options));
}

void SmbiosMemoryImage::SetSingleByteSystemId(uint8_t nId) { Put(kSingleByteSystemIdAddress, Byte(nId)); }

void SmbiosMemoryImage::SetTwoByteSystemId(uint16_t nId) { Put(kTwoByteSystemIdAddress, Le16(nId)); }

void SmbiosMemoryImage::WriteTo(const std::string& strPath) const { WriteFile(strPath, m_strBytes); }

std::string OemStringsStructure(const std::vector<std::string>& vStrings, uint16_t nHandle)
{
    return SmbiosStructure(11, Byte(static_cast<unsigned int>(vStrings.size())), vStrings, nHandle);
}

std::string RevisionStructure(uint8_t nSingleByteId, uint16_t nTwoByteId, uint16_t nHandle)
{
    // Offsets 4 and 5 are not read; 7 is a spare byte.
    const std::string strBody = Byte(0x01) + Byte(0x00) + Byte(nSingleByteId) + Byte(0x00) + Le16(nTwoByteId);
    return SmbiosStructure(208, strBody, {}, nHandle);
}

std::string TokenStructure(const std::vector<TokenEntry>& vEntries, bool bWithEndEntry, uint16_t nHandle)
{
    // 0x04..0x0B: command I/O address, command code, supported-token bits.
    std::string strBody = Le16(0x00B2) + Byte(0xDA) + std::string(5, '\0');
    for (const TokenEntry& entry : vEntries)
    {
        strBody += Le16(entry.nId) + Byte(entry.nLocation) + Byte(entry.nAndMask) + Byte(entry.nOrValue);
    }
    if (bWithEndEntry)
    {
        strBody += Le16(0xFFFF) + std::string(3, '\0');
    }
    return SmbiosStructure(212, strBody, {}, nHandle);
}

std::string SystemSlotStructure(uint8_t nBus, uint8_t nDevFn, uint16_t nSlotId,
                                const std::vector<std::string>& vStrings, uint8_t nDesignationNumber, uint16_t nHandle)
{
    std::string strBody;
    strBody += Byte(nDesignationNumber); // 0x04
    strBody += Byte(0xB6);               // slot type, 0x05
    strBody += Byte(0x0D);               // data bus width, 0x06
    strBody += Byte(0x04);               // current usage, 0x07
    strBody += Byte(0x04);               // slot length, 0x08
    strBody += Le16(nSlotId);            // 0x09
    strBody += Byte(0x0C);               // characteristics 1, 0x0B
    strBody += Byte(0x01);               // characteristics 2, 0x0C
    strBody += Le16(0);                  // segment group, 0x0D
    strBody += Byte(nBus);               // 0x0F
    strBody += Byte(nDevFn);             // 0x10
    return SmbiosStructure(9, strBody, vStrings, nHandle);
}

std::string BiosInformationStructure(const std::string& strVendor, const std::string& strVersion,
                                     const std::string& strReleaseDate, uint16_t nHandle)
{
    std::string strBody;
    strBody += Byte(1);                 // vendor, 0x04
    strBody += Byte(2);                 // BIOS version, 0x05
    strBody += Le16(0xF000);            // starting address segment, 0x06
    strBody += Byte(3);                 // release date, 0x08
    strBody += Byte(0xFF);              // ROM size, 0x09
    strBody += std::string(8, '\x08');  // characteristics, 0x0A
    strBody += Byte(0x03) + Byte(0x0D); // extension bytes, 0x12
    strBody += Byte(2) + Byte(7);       // system BIOS release, 0x14
    strBody += Byte(0xFF) + Byte(0xFF); // controller firmware release, 0x16
    return SmbiosStructure(0, strBody, {strVendor, strVersion, strReleaseDate}, nHandle);
}

std::string SystemInformationStructure(const std::string& strManufacturer, const std::string& strProduct,
                                       const std::string& strVersion, const std::string& strSerialNumber,
                                       uint16_t nHandle)
{
    std::string strBody;
    strBody += Byte(1) + Byte(2) + Byte(3) + Byte(4); // 0x04..0x07
    for (int i = 0; i < 16; ++i)
    {
        strBody += Byte(0x10 + i); // UUID, 0x08
    }
    strBody += Byte(0x06); // wake-up type, 0x18
    strBody += Byte(0);    // SKU number, 0x19
    strBody += Byte(0);    // family, 0x1A
    return SmbiosStructure(1, strBody, {strManufacturer, strProduct, strVersion, strSerialNumber}, nHandle);
}
} // namespace vextest
