// CSMBIOSInventory: the platform (system) ID, from the maker's revision
// structure or, failing that, from physical memory.

#include "SMBIOSInventory.h"

#include "SMBIOSLayout.h"
#include "SMBIOSLogSource.h"
#include "SMBIOSMemoryMapping.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace smbioslayout;
using smbiosmemory::MapDevice;
using smbiosmemory::PageSize;

std::string CSMBIOSInventory::GetSystemID()
{
    VEXLOG("Entered GetSystemID");
    if (!IsBrixSystem(GetOEMName()))
    {
        VEXLOG("Skipping SystemID on Non-Brix System");
        m_eSystemIdOrigin = eSystemIdNotMakerSystem;
        return std::string();
    }

    unsigned char* pSingle = nullptr;
    if (getBrixRevisionData(kSingleByteSystemIdOffset, 1, &pSingle) == 0 || pSingle == nullptr)
    {
        delete[] pSingle;
        VEXLOG("Unable to fetch Data");
        return GetSystemIdFromMemory();
    }
    std::unique_ptr<unsigned char[]> pSingleOwned(pSingle);

    char szId[16] = {};
    // The byte written in upper-case hexadecimal equals "FE" exactly when it
    // is the two-byte marker.
    if (pSingleOwned[0] != kTwoByteSystemIdMarker)
    {
        VEXLOG("Single Byte System ID on the system");
        m_eSystemIdOrigin = eSystemIdRevisionSingleByte;
        std::snprintf(szId, sizeof(szId), "0x%02x", static_cast<unsigned int>(pSingleOwned[0]));
    }
    else
    {
        unsigned char* pTwo = nullptr;
        if (getBrixRevisionData(kTwoByteSystemIdOffset, 2, &pTwo) == 0 || pTwo == nullptr)
        {
            delete[] pTwo;
            VEXLOG("Unable to fetch Single Byte System ID");
            m_eSystemIdOrigin = eSystemIdRevisionTwoByteMissing;
            return std::string();
        }
        std::unique_ptr<unsigned char[]> pTwoOwned(pTwo);
        m_eSystemIdOrigin = eSystemIdRevisionTwoByte;
        std::snprintf(szId, sizeof(szId), "0x%04X", static_cast<unsigned int>(ReadLE16(pTwoOwned.get())));
    }
    VEXLOG("Exiting GetSystemID");
    return szId;
}

std::string CSMBIOSInventory::GetSystemIdFromMemory()
{
    unsigned char nSingle = 0;
    if (GetValueByOffset(kLegacySingleByteSystemIdAddress, 1, &nSingle) == 0)
    {
        VEXLOG("GetSystemIdFromMemory(): GetValueByOffset Failed");
        m_eSystemIdOrigin = eSystemIdMemoryUnavailable;
        return std::string();
    }
    if (nSingle != 0 && nSingle != kTwoByteSystemIdMarker)
    {
        // The byte itself as one character, zero-filled to a width of 2.
        std::string strResult = "0x0";
        strResult += static_cast<char>(nSingle);
        VEXLOG("GetSystemIdFromMemory(): Found Single Byte system ID on the system: " + strResult);
        m_eSystemIdOrigin = eSystemIdMemorySingleByte;
        return strResult;
    }
    VEXLOG("Single byte System ID value is 0xFE. Checking two byte system ID on the system");
    unsigned char aTwo[2] = {};
    if (GetValueByOffset(kLegacyTwoByteSystemIdAddress, 2, aTwo) == 0 || ReadLE16(aTwo) == 0)
    {
        VEXLOG("GetSystemIdFromMemory(): Unable to get system ID from memory");
        m_eSystemIdOrigin = eSystemIdMemoryUnavailable;
        return std::string();
    }
    char szId[16] = {};
    std::snprintf(szId, sizeof(szId), "0x%04x", static_cast<unsigned int>(ReadLE16(aTwo)));
    std::string strResult(szId);
    VEXLOG("GetSystemIdFromMemory(): Found Two Byte system ID on the system: " + strResult);
    m_eSystemIdOrigin = eSystemIdMemoryTwoByte;
    return strResult;
}

int CSMBIOSInventory::GetValueByOffset(unsigned long address, unsigned int length, unsigned char* pOut)
{
    VEXLOG("GetValueByOffset(): Inside GetValueByOffset");
    if (pOut == nullptr && length != 0)
    {
        return 0;
    }
    // As for the table scan: descriptor 0 is a failure and stays open.
    const int nFd = open(m_sources.strMemoryDevicePath.c_str(), O_RDONLY);
    if (nFd < 1)
    {
        return 0;
    }
    const std::size_t nPageSize = PageSize();
    const std::size_t nPageOffset = address % nPageSize;
    void* pMap = MapDevice(nFd, address - nPageOffset, nPageSize, MAP_PRIVATE);
    if (pMap == nullptr)
    {
        VEXLOG("GetValueByOffset(): Unable to map requested Address range");
        close(nFd);
        return 0;
    }
    int nResult = 0;
    if (nPageOffset + length <= nPageSize)
    {
        if (length != 0)
        {
            std::memcpy(pOut, static_cast<const unsigned char*>(pMap) + nPageOffset, length);
        }
        VEXLOG("GetValueByOffset(): Exiting GetValueByOffset()");
        nResult = 1;
    }
    else
    {
        VEXLOG("GetValueByOffset(): Invalid offset requested");
    }
    munmap(pMap, nPageSize);
    close(nFd);
    return nResult;
}
