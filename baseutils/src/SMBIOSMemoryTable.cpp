// CSMBIOSInventory: the table from physical memory (a scan of the legacy
// BIOS area for the entry point) and from the ESXi device.

#include "SMBIOSInventory.h"

#include "SMBIOSLayout.h"
#include "SMBIOSLogSource.h"
#include "SMBIOSMemoryMapping.h"

#include <algorithm>
#include <cstring>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

using namespace smbioslayout;
using smbiosmemory::MapDevice;
using smbiosmemory::PageSize;

int CSMBIOSInventory::ScanMemoryForTable(int nFd)
{
    VEXLOG("Found Linux System");
    const std::size_t nPageSize = PageSize();
    const std::size_t nPageOffset = kEntryPointAreaStart % nPageSize;
    const std::size_t nScanMapLength = nPageOffset + kEntryPointAreaLength;
    void* pScanMap = MapDevice(nFd, kEntryPointAreaStart - nPageOffset, nScanMapLength, MAP_SHARED);
    if (pScanMap == nullptr)
    {
        VEXLOG("Unable to map requested Address range for EPS");
        close(nFd);
        return 0;
    }

    // Candidates every 8 bytes from 0xF0000, as long as the anchor lies
    // inside the mapped area.
    const unsigned char* pArea = static_cast<const unsigned char*>(pScanMap) + nPageOffset;
    std::size_t nAnchor = kEntryPointAreaLength;
    for (std::size_t nCandidate = 0; nCandidate + 4 <= kEntryPointAreaLength; nCandidate += kEntryPointScanStride)
    {
        if (std::memcmp(pArea + nCandidate, "_SM_", 4) == 0)
        {
            nAnchor = nCandidate;
            break;
        }
    }
    if (nAnchor == kEntryPointAreaLength)
    {
        VEXLOG("No Entry Point Structure Found");
        munmap(pScanMap, nScanMapLength);
        close(nFd);
        return 0;
    }
    VEXLOG("Anchor String matched");

    // An entry point whose checksummed bytes or table fields would run past
    // the end of the area cannot be verified: it fails like a bad checksum.
    const unsigned char* pEntryPoint = pArea + nAnchor;
    const std::size_t nAvailable = kEntryPointAreaLength - nAnchor;
    const std::size_t nEntryLength = pEntryPoint[kEntryPointLengthOffset];
    if (std::max(nEntryLength, kEntryPointFieldsLength) > nAvailable ||
        (nEntryLength != 0 && ByteSum(pEntryPoint, nEntryLength) != 0))
    {
        VEXLOG("Checksum Failure");
        munmap(pScanMap, nScanMapLength);
        close(nFd);
        return 0;
    }
    const uint16_t nTableLength = ReadLE16(pEntryPoint + kEntryPointTableLengthOffset);
    const uint32_t nTableAddress = ReadLE32(pEntryPoint + kEntryPointTableAddressOffset);
    const unsigned int nMajor = pEntryPoint[kEntryPointMajorOffset];
    const unsigned int nMinor = pEntryPoint[kEntryPointMinorOffset];
    munmap(pScanMap, nScanMapLength);

    const std::size_t nTablePageOffset = nTableAddress % nPageSize;
    const std::size_t nTableMapLength = nTableLength + nTablePageOffset;
    void* pTableMap = MapDevice(nFd, nTableAddress - nTablePageOffset, nTableMapLength, MAP_SHARED);
    if (pTableMap == nullptr)
    {
        VEXLOG("Unable to map requested Address range for SMBIOS Tables");
        close(nFd);
        return 0;
    }
    ReleaseHeldTable();
    m_mapBase = pTableMap;
    m_rawTable = static_cast<unsigned char*>(pTableMap) + nTablePageOffset;
    m_mapLength = static_cast<uint32_t>(nTableMapLength);
    close(nFd);
    m_rawTableLength = nTableLength;
    RecordTable(eTableSourceMemoryScan, nMajor, nMinor);
    return 1;
}

int CSMBIOSInventory::ReadTableFromESXiDevice(int nFd)
{
    VEXLOG("Found ESXi System");
    unsigned char* pEntryPoint = new (std::nothrow) unsigned char[kEntryPointLength]();
    if (pEntryPoint == nullptr)
    {
        VEXLOG("Exception occured");
        close(nFd);
        return 0;
    }
    if (read(nFd, pEntryPoint, kEntryPointLength) == 0)
    {
        VEXLOG("Unable to read from table");
        delete[] pEntryPoint;
        close(nFd);
        return 0;
    }
    lseek(nFd, 0, SEEK_SET);
    char szAnchor[4];
    std::memcpy(szAnchor, pEntryPoint, sizeof(szAnchor));
    if (std::memcmp(szAnchor, "_SM_", 4) != 0)
    {
        VEXLOG("Anchor String didn't match");
        delete[] pEntryPoint;
        close(nFd);
        return 0;
    }
    VEXLOG("Anchor String matched");

    // Only the 31 bytes of the entry point were read: a length byte that
    // claims more cannot be verified and fails like a bad checksum.
    const std::size_t nEntryLength = pEntryPoint[kEntryPointLengthOffset];
    if (nEntryLength != 0 && (nEntryLength > kEntryPointLength || ByteSum(pEntryPoint, nEntryLength) != 0))
    {
        VEXLOG("Checksum Failure");
        delete[] pEntryPoint;
        close(nFd);
        return 0;
    }
    const uint16_t nTableLength = ReadLE16(pEntryPoint + kEntryPointTableLengthOffset);
    unsigned char* pTable = new (std::nothrow) unsigned char[nTableLength]();
    if (pTable == nullptr)
    {
        delete[] pEntryPoint;
        VEXLOG("Exception occured");
        close(nFd);
        return 0;
    }
    // The device presents the table directly behind its entry point.
    lseek(nFd, static_cast<off_t>(nEntryLength), SEEK_SET);
    const ssize_t nRead = read(nFd, pTable, nTableLength);
    if (nRead <= 0)
    {
        delete[] pEntryPoint;
        VEXLOG("Unable to read from table");
        delete[] pTable;
        close(nFd);
        return 0;
    }
    const unsigned int nMajor = pEntryPoint[kEntryPointMajorOffset];
    const unsigned int nMinor = pEntryPoint[kEntryPointMinorOffset];
    delete[] pEntryPoint;
    ReleaseHeldTable();
    m_rawTable = pTable;
    m_rawTableLength = static_cast<uint32_t>(nRead);
    close(nFd);
    RecordTable(eTableSourceESXiDevice, nMajor, nMinor);
    return 1;
}
