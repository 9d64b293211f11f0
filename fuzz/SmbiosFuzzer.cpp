// Fuzz target: the SMBIOS reader, through its firmware sources.
//
// Input layout:
//   byte 0       flags: bits 0-1 the source (0 and 3: the sysfs entry point
//                and table files, 1: a memory image standing in for the
//                physical-memory device, 2: the ESXi device); bit 2: correct
//                the entry point's checksums, so that the reader gets past
//                them to the table; bit 3: a memory image is present beside
//                the sysfs or ESXi sources (holding only the legacy
//                system-ID bytes); bit 4: release the table and acquire it a
//                second time with the same reader.
//   bytes 1-6    query parameters: a structure type, an instance, a PCI bus
//                and device/function, an offset and a length.
//   byte 7       sysfs: the length of the entry point file (the rest is the
//                table); memory and ESXi: the entry point length used when
//                correcting checksums.
//   bytes 8-10   the legacy system-ID bytes of the memory image (single byte
//                at 0xFE845, two-byte at 0xFE840).
//   the rest     sysfs: entry point, then table; memory: the bytes of the
//                BIOS area from 0xF0000 (at most 64 KiB); ESXi: the whole
//                device content.
//
// Every source path points into the scratch directory; the files of the
// sources that are not in use do not exist. Nothing of the machine's own
// firmware is ever read.

#include "FuzzSupport.h"

#include "SMBIOSInventory.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace
{
const std::size_t kHeaderLength = 11;
const uint32_t kMemorySize = 0x100000;
const uint32_t kAreaStart = 0xF0000;
const uint32_t kAreaLength = 0x10000;
const uint32_t kLegacyTwoByteAddress = 0xFE840;
const uint32_t kLegacySingleByteAddress = 0xFE845;

enum class Source
{
    Sysfs,
    Memory,
    ESXi
};

unsigned char SumOf(const std::string& strBytes, std::size_t nBegin, std::size_t nEnd)
{
    unsigned char nSum = 0;
    for (std::size_t i = nBegin; i < nEnd && i < strBytes.size(); ++i)
    {
        nSum = static_cast<unsigned char>(nSum + static_cast<unsigned char>(strBytes[i]));
    }
    return nSum;
}

// Makes an entry point that starts at nAt pass the checks the reader makes:
// for "_SM_" the 16 bytes of its intermediate part (0x10..0x1F, what lies
// beyond nEnd counting as 0) sum to 0 through byte 0x15, and the bytes from
// nAt to nEnd sum to 0 through byte 0x04.
void CorrectChecksums(std::string& strBytes, std::size_t nAt, std::size_t nEnd)
{
    nEnd = std::min(nEnd, strBytes.size());
    if (nEnd <= nAt + 4)
    {
        return;
    }
    if (nEnd > nAt + 0x15 && strBytes.compare(nAt, 4, "_SM_") == 0)
    {
        strBytes[nAt + 0x15] = 0;
        const unsigned char nSum = SumOf(strBytes, nAt + 0x10, std::min(nEnd, nAt + 0x20));
        strBytes[nAt + 0x15] = static_cast<char>(static_cast<unsigned char>(0 - nSum));
    }
    strBytes[nAt + 4] = 0;
    const unsigned char nSum = SumOf(strBytes, nAt, nEnd);
    strBytes[nAt + 4] = static_cast<char>(static_cast<unsigned char>(0 - nSum));
}

// The memory image: 1 MiB, zero except for the BIOS area and the legacy
// system-ID bytes. Created once; each input rewrites only those parts.
void WriteMemoryImage(const std::string& strPath, const std::string& strArea, const uint8_t* pLegacy)
{
    static bool bCreated = false;
    const int nFd = ::open(strPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (nFd < 0 || (!bCreated && ::ftruncate(nFd, kMemorySize) != 0))
    {
        __builtin_trap();
    }
    bCreated = true;
    std::string strBlock(kAreaLength, '\0');
    strBlock.replace(0, std::min<std::size_t>(strArea.size(), kAreaLength), strArea, 0, kAreaLength);
    // The legacy bytes lie inside the area and win over what the area holds.
    strBlock[kLegacySingleByteAddress - kAreaStart] = static_cast<char>(pLegacy[0]);
    strBlock[kLegacyTwoByteAddress - kAreaStart] = static_cast<char>(pLegacy[1]);
    strBlock[kLegacyTwoByteAddress - kAreaStart + 1] = static_cast<char>(pLegacy[2]);
    if (::pwrite(nFd, strBlock.data(), strBlock.size(), kAreaStart) != static_cast<ssize_t>(strBlock.size()))
    {
        __builtin_trap();
    }
    ::close(nFd);
}

std::size_t Query(CSMBIOSInventory& smbios, const uint8_t* pParams)
{
    const int nType = pParams[0];
    const int nInstance = pParams[1] & 0x0F;
    const int nBus = static_cast<signed char>(pParams[2]);
    const int nDevFn = static_cast<signed char>(pParams[3]);
    const int nOffset = pParams[4];
    const int nLength = pParams[5];

    std::size_t nSum = static_cast<std::size_t>(smbios.GetTableSource()) + smbios.GetEntryPointMajorVersion() +
                       smbios.GetEntryPointMinorVersion();

    int nStructLength = 0;
    unsigned char* pStruct = nullptr;
    if (smbios.getSMBIOSStruct(&nStructLength, &pStruct, nType, nInstance) != 0)
    {
        // The whole formatted area must be readable.
        for (int i = 0; i < nStructLength; ++i)
        {
            nSum += pStruct[i];
        }
    }
    nSum += static_cast<std::size_t>(smbios.getSMBIOSStruct(nullptr, nullptr, nType, 0));

    struct SDataQuery
    {
        int nType;
        int nOffset;
        int nLength;
        int nInstance;
    };
    const SDataQuery aQueries[] = {
        {0, 4, 0, 0},
        {0, 5, 0, 0},
        {1, 4, 0, 0},
        {1, 5, 0, 0},
        {1, 7, 0, 0},
        {11, 1, 0, 0},
        {11, 2, 0, 0},
        {208, 6, 1, 0},
        {208, 8, 2, 0},
        {nType, nOffset, nLength, nInstance},
        {208, nOffset, nLength, 0},
        {11, nOffset, 0, nInstance},
    };
    for (const SDataQuery& query : aQueries)
    {
        unsigned char* pData = nullptr;
        if (smbios.getDataFromTable(query.nType, query.nOffset, query.nLength, &pData, query.nInstance) != 0 &&
            pData != nullptr)
        {
            // A string result ends in its NUL; raw bytes have one added.
            nSum += std::strlen(reinterpret_cast<const char*>(pData));
        }
        delete[] pData;
    }
    unsigned char* pRevision = nullptr;
    if (smbios.getBrixRevisionData(nOffset, nLength, &pRevision) != 0 && pRevision != nullptr)
    {
        for (int i = 0; i < nLength; ++i)
        {
            nSum += pRevision[i];
        }
    }
    delete[] pRevision;

    nSum += smbios.GetVendorName().size() + smbios.GetBiosVersion().size() + smbios.GetManufacturerName().size() +
            smbios.GetProductName().size() + smbios.GetSerialNumber().size();
    const std::string strOEMName = smbios.GetOEMName();
    nSum += strOEMName.size() + (smbios.IsBrixSystem(strOEMName) ? 1 : 0);

    nSum += static_cast<std::size_t>(smbios.GetDeviceCountMatchingStructNumber(static_cast<unsigned int>(nType)));
    nSum += static_cast<std::size_t>(smbios.GetDeviceCountMatchingStructNumber(11));
    nSum += static_cast<std::size_t>(smbios.GetDeviceCountMatchingStructNumber(0x100 + 11));

    bdf_index bdf{nBus, nDevFn, 0x0F, 0x10};
    Data_Location location{9, 0x09, 0x04, nullptr, 0};
    if (smbios.GetDataWithMatchingBDF(&bdf, &location) != 0 && location.string != nullptr)
    {
        nSum += std::strlen(reinterpret_cast<const char*>(location.string)) + location.value;
    }
    delete[] location.string;
    bdf_index oddBDF{nBus, nDevFn, nOffset, -1};
    Data_Location oddLocation{nType, nLength, nOffset, nullptr, 0};
    if (smbios.GetDataWithMatchingBDF(&oddBDF, &oddLocation) != 0 && oddLocation.string != nullptr)
    {
        nSum += std::strlen(reinterpret_cast<const char*>(oddLocation.string));
    }
    delete[] oddLocation.string;
    nSum += static_cast<std::size_t>(smbios.GetDataWithMatchingBDF(nullptr, nullptr));

    std::vector<std::string> vOEMStrings;
    nSum += static_cast<std::size_t>(smbios.getOEMStringsFromTable(&vOEMStrings, nInstance));
    nSum += static_cast<std::size_t>(smbios.getOEMStringsFromTable(&vOEMStrings, 0));
    for (const std::string& strOEM : vOEMStrings)
    {
        nSum += strOEM.size();
    }
    nSum += static_cast<std::size_t>(smbios.getOEMStringsFromTable(nullptr, 0));

    nSum += smbios.GetSystemID().size();
    nSum += smbios.GetSystemIdFromMemory().size();
    nSum += static_cast<std::size_t>(smbios.findToken(0x5C));
    nSum += static_cast<std::size_t>(smbios.findToken(static_cast<uint16_t>(pParams[2] | (pParams[3] << 8))));
    nSum += static_cast<std::size_t>(smbios.GetCMOSEqEFIVarData());
    nSum += static_cast<std::size_t>(smbios.getNVMERAIDMode());
    return nSum;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t nSize)
{
    if (nSize < kHeaderLength)
    {
        return 0;
    }
    const uint8_t nFlags = pData[0];
    const uint8_t* pParams = pData + 1;
    const std::size_t nEntryLength = pData[7];
    const uint8_t* pLegacy = pData + 8;
    std::string strPayload = vexfuzz::AsText(pData + kHeaderLength, nSize - kHeaderLength);

    Source eSource = Source::Sysfs;
    if ((nFlags & 0x03) == 1)
    {
        eSource = Source::Memory;
    }
    else if ((nFlags & 0x03) == 2)
    {
        eSource = Source::ESXi;
    }
    const bool bCorrectChecksums = (nFlags & 0x04) != 0;
    const bool bMemoryBeside = (nFlags & 0x08) != 0;
    const bool bAcquireTwice = (nFlags & 0x10) != 0;

    vexfuzz::ScopedScratchCwd cwd;
    SMBIOSSources sources;
    sources.strEntryPointPath = vexfuzz::ScratchPath("smbios_entry_point");
    sources.strTablePath = vexfuzz::ScratchPath("DMI");
    sources.strMemoryDevicePath = vexfuzz::ScratchPath("mem");
    sources.strESXiDevicePath = vexfuzz::ScratchPath("smbios");
    for (const char* pszName : {"smbios_entry_point", "DMI", "smbios"})
    {
        vexfuzz::RemoveScratchFile(pszName);
    }
    // The memory image is rewritten by every input that uses it; without it
    // the memory device path names nothing.
    const std::string strNoMemory = vexfuzz::ScratchPath("no-mem");

    switch (eSource)
    {
    case Source::Sysfs:
    {
        const std::size_t nCut = std::min(nEntryLength, strPayload.size());
        std::string strEntryPoint = strPayload.substr(0, nCut);
        if (bCorrectChecksums)
        {
            CorrectChecksums(strEntryPoint, 0, strEntryPoint.size());
        }
        vexfuzz::WriteFileOrDie(sources.strEntryPointPath, strEntryPoint);
        vexfuzz::WriteFileOrDie(sources.strTablePath, strPayload.substr(nCut));
        if (bMemoryBeside)
        {
            WriteMemoryImage(sources.strMemoryDevicePath, std::string(), pLegacy);
        }
        else
        {
            sources.strMemoryDevicePath = strNoMemory;
        }
        break;
    }
    case Source::Memory:
    {
        std::string strArea = strPayload.substr(0, kAreaLength);
        if (bCorrectChecksums)
        {
            // The entry point the scan will find: "_SM_" on an 8-byte step.
            for (std::size_t nAt = 0; nAt + 4 <= strArea.size(); nAt += 8)
            {
                if (strArea.compare(nAt, 4, "_SM_") == 0)
                {
                    CorrectChecksums(strArea, nAt, nAt + nEntryLength);
                    break;
                }
            }
        }
        WriteMemoryImage(sources.strMemoryDevicePath, strArea, pLegacy);
        break;
    }
    case Source::ESXi:
    {
        if (bCorrectChecksums && strPayload.compare(0, 4, "_SM_") == 0)
        {
            CorrectChecksums(strPayload, 0, std::min<std::size_t>(nEntryLength, 31));
        }
        vexfuzz::WriteFileOrDie(sources.strESXiDevicePath, strPayload);
        if (bMemoryBeside)
        {
            WriteMemoryImage(sources.strMemoryDevicePath, std::string(), pLegacy);
        }
        else
        {
            sources.strMemoryDevicePath = strNoMemory;
        }
        break;
    }
    }

    std::size_t nSum = 0;
    {
        CSMBIOSInventory smbios(sources);
        // Queries without a table find nothing.
        nSum += smbios.GetSystemID().size();
        nSum += static_cast<std::size_t>(smbios.Initialize());
        nSum += Query(smbios, pParams);
        if (bAcquireTwice)
        {
            nSum += static_cast<std::size_t>(smbios.FreeRawBIOSTable());
            nSum += static_cast<std::size_t>(smbios.FreeRawBIOSTable());
            nSum += static_cast<std::size_t>(smbios.FetchRawBIOSTable());
            nSum += static_cast<std::size_t>(smbios.Initialize());
            nSum += Query(smbios, pParams);
        }
        // The helpers on their own.
        nSum += static_cast<std::size_t>(smbios.VerifySMBIOS(pData + kHeaderLength, nSize - kHeaderLength));
        nSum += static_cast<std::size_t>(smbios.VerifySMBIOS(nullptr, 0));
        unsigned char* pBuffer = nullptr;
        unsigned long nBufferSize = 0;
        if (smbios.ReadFileContents(sources.strESXiDevicePath.c_str(), &pBuffer, &nBufferSize) != 0)
        {
            nSum += nBufferSize;
        }
        delete[] pBuffer;
        unsigned char aBytes[8] = {};
        nSum += static_cast<std::size_t>(smbios.GetValueByOffset(kLegacyTwoByteAddress, 6, aBytes));
        nSum += static_cast<std::size_t>(smbios.GetValueByOffset(0xFFFFE, 8, aBytes));
    }
    vexfuzz::Consume(nSum);
    return 0;
}
