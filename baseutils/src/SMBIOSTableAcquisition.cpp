// CSMBIOSInventory: which source gives the table, the sysfs export and its
// entry point checks, and holding and releasing the table.

#include "SMBIOSInventory.h"

#include "SMBIOSLayout.h"
#include "SMBIOSLogSource.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <limits>
#include <new>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace smbioslayout;

int CSMBIOSInventory::Initialize()
{
    VEXLOG("Entered FetchRawBIOSTable");
    const int nResult = FetchRawBIOSTableLinux();
    VEXLOG("Exiting FetchRawBIOSTable");
    return nResult;
}

int CSMBIOSInventory::FetchRawBIOSTable()
{
    VEXLOG("Entered FetchRawBIOSTable");
    const int nResult = FetchRawBIOSTableLinux();
    VEXLOG("Exiting FetchRawBIOSTable");
    return nResult;
}

int CSMBIOSInventory::FetchRawBIOSTableLinux()
{
    int nResult = 0;
    try
    {
        VEXLOG("Entered FetchRawBIOSTableLinux");
        nResult = AcquireTableLinux();
        VEXLOG("Exiting FetchRawBIOSTableLinux");
    }
    catch (...)
    {
        VEXLOG_NOTHROW("Exception occured");
    }
    return nResult;
}

int CSMBIOSInventory::AcquireTableLinux()
{
    const int nFromDMI = FetchRawBIOSTableLinuxFromDMI();
    if (nFromDMI != 0)
    {
        return nFromDMI;
    }

    // Descriptor 0 (free when standard input is closed) counts as a failure
    // and stays open: every later open of the device gets a positive
    // descriptor.
    const int nMemFd = open(m_sources.strMemoryDevicePath.c_str(), O_RDONLY);
    if (nMemFd <= 0)
    {
        const int nESXiFd = open(m_sources.strESXiDevicePath.c_str(), O_RDONLY);
        if (nESXiFd < 0)
        {
            return 0;
        }
        m_isESXi = 1;
        return ReadTableFromESXiDevice(nESXiFd);
    }
    if (m_isESXi != 0)
    {
        // Once this object had to use the ESXi device, the memory device is
        // read the same way.
        return ReadTableFromESXiDevice(nMemFd);
    }
    return ScanMemoryForTable(nMemFd);
}

int CSMBIOSInventory::FetchRawBIOSTableLinuxFromDMI()
{
    VEXLOG("Entered FetchRawBIOSTableLinuxFromDMI");
    const int nResult = AcquireTableFromDMI();
    VEXLOG("Exiting FetchRawBIOSTableLinuxFromDMI");
    return nResult;
}

int CSMBIOSInventory::AcquireTableFromDMI()
{
    unsigned char* pEntryPoint = nullptr;
    unsigned long nEntryPointSize = 0;
    if (ReadFileContents(m_sources.strEntryPointPath.c_str(), &pEntryPoint, &nEntryPointSize) == 0)
    {
        return 0;
    }
    const int nVerified = VerifySMBIOS(pEntryPoint, nEntryPointSize);
    unsigned int nMajor = 0;
    unsigned int nMinor = 0;
    bool bEntryPoint64Bit = false;
    unsigned int nDocRevision = 0;
    if (nEntryPointSize > kEntryPoint3MinorOffset && std::memcmp(pEntryPoint, "_SM3_", 5) == 0)
    {
        nMajor = pEntryPoint[kEntryPoint3MajorOffset];
        nMinor = pEntryPoint[kEntryPoint3MinorOffset];
        bEntryPoint64Bit = true;
        if (nEntryPointSize > kEntryPoint3DocRevisionOffset)
        {
            nDocRevision = pEntryPoint[kEntryPoint3DocRevisionOffset];
        }
    }
    else if (nEntryPointSize > kEntryPointMinorOffset && std::memcmp(pEntryPoint, "_SM_", 4) == 0)
    {
        nMajor = pEntryPoint[kEntryPointMajorOffset];
        nMinor = pEntryPoint[kEntryPointMinorOffset];
    }
    delete[] pEntryPoint;
    if (nVerified == 0)
    {
        return 0;
    }

    // The table file is taken whole; the entry point's length and address
    // are not consulted on this path.
    unsigned char* pTable = nullptr;
    unsigned long nTableSize = 0;
    if (ReadFileContents(m_sources.strTablePath.c_str(), &pTable, &nTableSize) == 0)
    {
        return 0;
    }
    ReleaseHeldTable();
    m_rawTable = pTable;
    m_rawTableLength = static_cast<uint32_t>(nTableSize);
    m_mapBase = nullptr;
    RecordTable(eTableSourceSysfs, nMajor, nMinor, bEntryPoint64Bit, nDocRevision);
    return 1;
}

int CSMBIOSInventory::ReadFileContents(const char* pszPath, unsigned char** ppBuffer, unsigned long* pnSize)
{
    VEXLOG("Entered ReadFileContents");
    if (ppBuffer == nullptr || pnSize == nullptr)
    {
        VEXLOG("Exiting ReadFileContents");
        return 0;
    }
    *ppBuffer = nullptr;
    *pnSize = 0;
    int nResult = 0;
    if (pszPath != nullptr)
    {
        std::ifstream ifs(pszPath, std::ios::in | std::ios::binary | std::ios::ate);
        if (ifs.is_open())
        {
            const std::streamoff nEnd = ifs.tellg();
            // A table is at most 4 GiB long (its length is a 32-bit number).
            if (nEnd >= 0 && static_cast<unsigned long long>(nEnd) <= std::numeric_limits<uint32_t>::max())
            {
                const std::size_t nSize = static_cast<std::size_t>(nEnd);
                ifs.seekg(0, std::ios::beg);
                unsigned char* pBuffer = new (std::nothrow) unsigned char[nSize];
                if (pBuffer != nullptr)
                {
                    ifs.read(reinterpret_cast<char*>(pBuffer), static_cast<std::streamsize>(nSize));
                    if (static_cast<std::size_t>(ifs.gcount()) == nSize)
                    {
                        *ppBuffer = pBuffer;
                        *pnSize = static_cast<unsigned long>(nSize);
                        nResult = 1;
                    }
                    else
                    {
                        delete[] pBuffer;
                    }
                }
            }
            ifs.close();
        }
        if (m_sources.fnAfterRead)
        {
            m_sources.fnAfterRead(pszPath);
        }
    }
    VEXLOG("Exiting ReadFileContents");
    return nResult;
}

int CSMBIOSInventory::VerifySMBIOS(const unsigned char* pBuffer, unsigned long nLength)
{
    VEXLOG("Entered VerifySMBIOS");
    if (pBuffer == nullptr)
    {
        VEXLOG("Exiting VerifySMBIOS");
        return 0;
    }
    // The sum covers the whole buffer, whatever its declared entry point
    // length.
    if (nLength != 0 && ByteSum(pBuffer, nLength) != 0)
    {
        VEXLOG("Entry point buffer checksum validation failed.");
        VEXLOG("Exiting VerifySMBIOS");
        return 0;
    }
    // Fewer than 4 bytes cannot hold "_SM_"; anything but "_SM_" (the 64-bit
    // entry point in particular) passes on the checksum alone.
    if (nLength < 4 || std::memcmp(pBuffer, "_SM_", 4) != 0)
    {
        VEXLOG("Exiting VerifySMBIOS");
        return 1;
    }
    unsigned char* pCopy = new (std::nothrow) unsigned char[kEntryPointCopyLength]();
    if (pCopy == nullptr)
    {
        VEXLOG("Exiting VerifySMBIOS");
        return 1;
    }
    // Only the first 36 bytes matter; a longer buffer is not copied whole.
    std::memcpy(pCopy, pBuffer, std::min<unsigned long>(nLength, kEntryPointCopyLength));
    const int nResult = ValidateDMITEP(reinterpret_cast<const dmi_table_entry_point*>(pCopy + kIntermediateOffset));
    delete[] pCopy;
    VEXLOG("Exiting VerifySMBIOS");
    return nResult;
}

int CSMBIOSInventory::ValidateDMITEP(const dmi_table_entry_point* p)
{
    VEXLOG("Entered ValidateDMITEP");
    if (p == nullptr)
    {
        VEXLOG("Exiting ValidateDMITEP");
        return 0;
    }
    const unsigned char* pBytes = reinterpret_cast<const unsigned char*>(p);
    const unsigned char nSum = ByteSum(pBytes, kIntermediateSummedLength);
    int nResult = 1;
    if (std::memcmp(pBytes, "_DMI_", 5) != 0)
    {
        VEXLOG("Failed to find intermediate anchor string as _DMI_");
        nResult = 0;
    }
    if (nSum != 0)
    {
        VEXLOG("Entry point buffer checksum validation failed.");
        nResult = 0;
    }
    VEXLOG("Exiting ValidateDMITEP");
    return nResult;
}

int CSMBIOSInventory::FreeRawBIOSTable()
{
    int nReleased = 0;
    try
    {
        VEXLOG("Entered FreeRawBIOSTable");
        if (m_rawTable != nullptr)
        {
            if (m_eTableSource == eTableSourceMemoryScan && m_mapBase != nullptr)
            {
                VEXLOG("Cleaning up memory of Virtual Map Address by munmap.");
            }
            ReleaseHeldTable();
            nReleased = 1;
        }
        VEXLOG("Exiting FreeRawBIOSTable");
    }
    catch (const std::bad_alloc&)
    {
        VEXLOG_NOTHROW("Bad allocation Exception occured");
    }
    catch (...)
    {
        VEXLOG_NOTHROW("Exception occured");
    }
    if (m_rawTable != nullptr)
    {
        ReleaseHeldTable();
        nReleased = 1;
    }
    return nReleased;
}

// The held table is released by where it came from: a mapping of the memory
// device is unmapped; the sysfs and ESXi buffers are arrays. (The sysfs
// buffer used to be left to process exit; it is released here, which changes
// no result.) Deciding by the recorded source rather than by the ESXi flag
// keeps this right even when an ESXi attempt failed while a mapped table
// from an earlier memory scan is still held.
void CSMBIOSInventory::ReleaseHeldTable()
{
    if (m_rawTable != nullptr)
    {
        if (m_eTableSource == eTableSourceMemoryScan && m_mapBase != nullptr)
        {
            munmap(m_mapBase, m_mapLength);
            m_mapBase = nullptr;
        }
        else
        {
            delete[] m_rawTable;
        }
    }
    m_rawTable = nullptr;
    m_rawTableLength = 0;
    m_eTableSource = eTableSourceNone;
    m_nEntryPointMajor = 0;
    m_nEntryPointMinor = 0;
    m_bEntryPoint64Bit = false;
    m_nEntryPointDocRevision = 0;
}

void CSMBIOSInventory::RecordTable(eTableSource eSource, unsigned int nMajor, unsigned int nMinor,
                                   bool bEntryPoint64Bit, unsigned int nDocRevision)
{
    m_eTableSource = eSource;
    m_nEntryPointMajor = nMajor;
    m_nEntryPointMinor = nMinor;
    m_bEntryPoint64Bit = bEntryPoint64Bit;
    m_nEntryPointDocRevision = nDocRevision;
}
