#include "SMBIOSInventory.h"

#include "Logger.h"
#include "PlatformLayer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <new>
#include <sstream>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
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

unsigned char ByteSum(const unsigned char* pBytes, std::size_t nLength)
{
    unsigned char nSum = 0;
    for (std::size_t i = 0; i < nLength; ++i)
    {
        nSum = static_cast<unsigned char>(nSum + pBytes[i]);
    }
    return nSum;
}

uint16_t ReadLE16(const unsigned char* pBytes)
{
    return static_cast<uint16_t>(pBytes[0] | (pBytes[1] << 8));
}

uint32_t ReadLE32(const unsigned char* pBytes)
{
    return static_cast<uint32_t>(pBytes[0]) | (static_cast<uint32_t>(pBytes[1]) << 8) |
           (static_cast<uint32_t>(pBytes[2]) << 16) | (static_cast<uint32_t>(pBytes[3]) << 24);
}

std::size_t PageSize()
{
    const long nPageSize = sysconf(_SC_PAGESIZE);
    return nPageSize > 0 ? static_cast<std::size_t>(nPageSize) : 4096;
}

// Maps nLength bytes of the device at nOffset, read-only. When the "device"
// is a regular file (a memory image), a range that reaches past its end is
// refused: touching such pages would raise SIGBUS. Null on failure.
void* MapDevice(int nFd, unsigned long nOffset, std::size_t nLength, int nFlags)
{
    if (nLength == 0 || nOffset > static_cast<unsigned long>(std::numeric_limits<off_t>::max()))
    {
        return nullptr;
    }
    struct stat st;
    if (fstat(nFd, &st) == 0 && S_ISREG(st.st_mode))
    {
        const unsigned long long nFileSize = static_cast<unsigned long long>(st.st_size);
        if (static_cast<unsigned long long>(nOffset) + nLength > nFileSize)
        {
            return nullptr;
        }
    }
    void* pMap = mmap(nullptr, nLength, PROT_READ, nFlags, nFd, static_cast<off_t>(nOffset));
    return pMap == MAP_FAILED ? nullptr : pMap;
}

std::string HexText(unsigned int nValue)
{
    std::ostringstream oss;
    oss << std::hex << nValue;
    return oss.str();
}
} // namespace

CSMBIOSInventory::CSMBIOSInventory() : CSMBIOSInventory(SMBIOSSources()) {}

CSMBIOSInventory::CSMBIOSInventory(const SMBIOSSources& sources)
    : m_tokenFlag(0), m_rawTable(nullptr), m_rawTableLength(0), m_isESXi(0), m_mapBase(nullptr),
      m_mapLength(0), m_sources(sources), m_eTableSource(eTableSourceNone), m_nEntryPointMajor(0),
      m_nEntryPointMinor(0), m_bEntryPoint64Bit(false), m_nEntryPointDocRevision(0),
      m_eSystemIdOrigin(eSystemIdNotRead)
{
    if (CPlatformLayer::IsFileExits(strEnableLogFileName))
    {
        CLogger::GetInstance()->Initialize(strBaseUtilsLogFileName);
    }
}

CSMBIOSInventory::~CSMBIOSInventory() { FreeRawBIOSTable(); }

// ---------------------------------------------------------------------------
// Table acquisition
// ---------------------------------------------------------------------------

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
    if (nEntryLength != 0 &&
        (nEntryLength > kEntryPointLength || ByteSum(pEntryPoint, nEntryLength) != 0))
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

// ---------------------------------------------------------------------------
// Structure walk and strings
// ---------------------------------------------------------------------------

// Walks the structures from the start of the table: type at p, formatted
// length L at p+1, then the string set up to and past its two NULs. Type 127
// ends the walk. A structure with L below 4, or whose formatted area runs
// past the end of the table, ends the walk without being visited; a string
// set that is not closed before the end ends it after the visit.
template <typename Visitor>
bool CSMBIOSInventory::WalkStructures(Visitor visit) const
{
    const std::size_t nTableLength = m_rawTableLength;
    std::size_t p = 0;
    while (p < nTableLength)
    {
        if (nTableLength - p < 2)
        {
            break;
        }
        const unsigned char nType = m_rawTable[p];
        if (nType == kEndOfTableType)
        {
            break;
        }
        const std::size_t nFormattedLength = m_rawTable[p + 1];
        if (nFormattedLength < kStructureHeaderLength || nFormattedLength > nTableLength - p)
        {
            break;
        }
        if (visit(p, nType, nFormattedLength))
        {
            return true;
        }
        p += nFormattedLength;
        bool bSetClosed = false;
        while (p < nTableLength)
        {
            if (p + 1 < nTableLength && m_rawTable[p] == 0 && m_rawTable[p + 1] == 0)
            {
                p += 2;
                bSetClosed = true;
                break;
            }
            ++p;
        }
        if (!bSetClosed)
        {
            break;
        }
    }
    return false;
}

bool CSMBIOSInventory::LocateString(std::size_t nSetStart, unsigned int nNumber, std::size_t& nStart,
                                    std::size_t& nLength) const
{
    const std::size_t nTableLength = m_rawTableLength;
    std::size_t nPos = nSetStart;
    // String numbers 0 and 1 both select the first string; others skip
    // number - 1 strings, each up to and past its NUL.
    for (unsigned int i = 1; i < nNumber; ++i)
    {
        while (nPos < nTableLength && m_rawTable[nPos] != 0)
        {
            ++nPos;
        }
        if (nPos >= nTableLength)
        {
            return false;
        }
        ++nPos;
    }
    const std::size_t nFirst = nPos;
    while (nPos < nTableLength && m_rawTable[nPos] != 0)
    {
        ++nPos;
    }
    if (nPos >= nTableLength)
    {
        return false;
    }
    nStart = nFirst;
    nLength = nPos - nFirst;
    return true;
}

std::size_t CSMBIOSInventory::OffsetOf(const unsigned char* pStruct) const
{
    return static_cast<std::size_t>(pStruct - m_rawTable);
}

int CSMBIOSInventory::getSMBIOSStruct(int* pnLength, unsigned char** ppStruct, int type, int instance)
{
    VEXLOG("getSMBIOSStruct:Entered getSMBIOSStruct");
    VEXLOG("Searching for SMBIOS structure: " + std::to_string(type));
    if (m_rawTable == nullptr)
    {
        VEXLOG("getSMBIOSStruct: BIOS Tables not initialized.");
        return 0;
    }
    int nCounter = 0;
    const bool bFound = WalkStructures([&](std::size_t nOffset, unsigned char nType, std::size_t nLength) {
        if (nType != type)
        {
            return false;
        }
        VEXLOG("getSMBIOSStruct:Requested structure found");
        if (nCounter != instance)
        {
            ++nCounter;
            return false;
        }
        VEXLOG("getSMBIOSStruct:Requested Instance number of the structure found");
        if (ppStruct != nullptr)
        {
            *ppStruct = m_rawTable + nOffset;
        }
        if (pnLength != nullptr)
        {
            *pnLength = static_cast<int>(nLength);
        }
        return true;
    });
    if (bFound)
    {
        return 1;
    }
    VEXLOG("getSMBIOSStruct:Exiting getSMBIOSStruct");
    return 0;
}

int CSMBIOSInventory::getDataFromTable(int type, int offset, int length, unsigned char** ppData, int instance)
{
    unsigned char* pData = nullptr;
    try
    {
        VEXLOG("Entered getDataFromTable");
        if (ppData != nullptr)
        {
            *ppData = nullptr;
        }
        int nFormattedLength = 0;
        unsigned char* pStruct = nullptr;
        if (ppData == nullptr || getSMBIOSStruct(&nFormattedLength, &pStruct, type, instance) == 0)
        {
            VEXLOG("Exiting getDataFromTable");
            return 0;
        }
        const std::size_t nStart = OffsetOf(pStruct);
        const std::size_t nAvailable = m_rawTableLength - nStart;

        unsigned int nStringNumber = 0;
        if (type == kOEMStringsType)
        {
            VEXLOG("OEM Structure Found");
            // The OEM string number is the offset argument itself.
            nStringNumber = static_cast<unsigned int>(offset) & 0xFF;
        }
        else if (type == kRevisionType)
        {
            VEXLOG("Brix Revision Structure Found");
            if (offset < 0 || length < 0 ||
                static_cast<std::size_t>(offset) + static_cast<std::size_t>(length) > nAvailable)
            {
                VEXLOG("Exiting getDataFromTable");
                return 0;
            }
            pData = new (std::nothrow) unsigned char[static_cast<std::size_t>(length) + 1]();
            if (pData == nullptr)
            {
                VEXLOG("Exception occured");
                return 0;
            }
            std::memcpy(pData, pStruct + offset, static_cast<std::size_t>(length));
            VEXLOG("Requested Information found" + std::string(reinterpret_cast<const char*>(pData)));
            *ppData = pData;
            return 1;
        }
        else
        {
            if (offset < 0 || static_cast<std::size_t>(offset) >= nAvailable)
            {
                VEXLOG("Exiting getDataFromTable");
                return 0;
            }
            nStringNumber = pStruct[offset];
        }

        std::size_t nStringStart = 0;
        std::size_t nStringLength = 0;
        if (!LocateString(nStart + static_cast<std::size_t>(nFormattedLength), nStringNumber, nStringStart,
                          nStringLength))
        {
            VEXLOG("Exiting getDataFromTable");
            return 0;
        }
        // The string and its NUL. (The count is not limited to 8 bits: a
        // string of 256 characters or more is copied whole.)
        pData = new (std::nothrow) unsigned char[nStringLength + 1];
        if (pData == nullptr)
        {
            VEXLOG("Exception occured");
            return 0;
        }
        std::memcpy(pData, m_rawTable + nStringStart, nStringLength + 1);
        VEXLOG("Requested Data Found: " + std::string(reinterpret_cast<const char*>(pData)));
        *ppData = pData;
        return 1;
    }
    catch (...)
    {
        delete[] pData;
        if (ppData != nullptr)
        {
            *ppData = nullptr;
        }
        VEXLOG_NOTHROW("Exception occured");
        return 0;
    }
}

int CSMBIOSInventory::getBrixRevisionData(int offset, int length, unsigned char** ppData)
{
    return getDataFromTable(kRevisionType, offset, length, ppData, 0);
}

std::string CSMBIOSInventory::GetStringFromStructure(int type, int offset, const char* pszName,
                                                     const char* pszFailure)
{
    VEXLOG(std::string("Entered ") + pszName);
    unsigned char* pBuffer = nullptr;
    if (getDataFromTable(type, offset, 0, &pBuffer, 0) != 0 && pBuffer != nullptr)
    {
        std::unique_ptr<unsigned char[]> pOwned(pBuffer);
        std::string strResult(reinterpret_cast<const char*>(pOwned.get()));
        VEXLOG(std::string("Exiting ") + pszName);
        return strResult;
    }
    VEXLOG(pszFailure);
    return std::string();
}

std::string CSMBIOSInventory::GetVendorName()
{
    return GetStringFromStructure(0, 4, "GetVendorName", "Unable to fetch Vendor Name");
}

std::string CSMBIOSInventory::GetBiosVersion()
{
    return GetStringFromStructure(0, 5, "GetBiosVersion", "Unable to fetch BIOS Version");
}

std::string CSMBIOSInventory::GetManufacturerName()
{
    return GetStringFromStructure(1, 4, "GetManufacturerName", "Unable to fetch Manufacturer Name");
}

std::string CSMBIOSInventory::GetProductName()
{
    return GetStringFromStructure(1, 5, "GetProductName", "Unable to fetch Product Name");
}

std::string CSMBIOSInventory::GetSerialNumber()
{
    return GetStringFromStructure(1, 7, "GetSerialNumber", "Unable to fetch Serial Number");
}

std::string CSMBIOSInventory::GetOEMName()
{
    return GetStringFromStructure(kOEMStringsType, 1, "GetOEMName", "Unable to fetch OEM Name");
}

bool CSMBIOSInventory::IsBrixSystem(const std::string& strOEMName)
{
    VEXLOG("Entered IsBrixSystem");
    return std::strcmp(strOEMName.c_str(), BrixOEMName) == 0;
}

int CSMBIOSInventory::GetDeviceCountMatchingStructNumber(unsigned int structNumber)
{
    VEXLOG("Started GetDeviceCountMatchingStructNumber() with structNumber : " + std::to_string(structNumber));
    if (m_rawTable == nullptr)
    {
        VEXLOG("GetDeviceCountMatchingStructNumber(): BIOS Tables not initialized.");
        return 0;
    }
    int nCount = 0;
    WalkStructures([&](std::size_t, unsigned char nType, std::size_t) {
        if (nType == structNumber)
        {
            VEXLOG("GetDeviceCountMatchingStructNumber(): Requested structure found");
            ++nCount;
        }
        return false;
    });
    VEXLOG("GetDeviceCountMatchingStructNumber(): Exiting getSMBIOSStruct");
    return nCount;
}

int CSMBIOSInventory::GetDataWithMatchingBDF(const bdf_index* pBDF, Data_Location* pLocation)
{
    VEXLOG("Entered GetDataWithMatchingBDF");
    if (m_rawTable == nullptr)
    {
        VEXLOG("BIOS Tables not initialized.");
        return 0;
    }
    if (pBDF == nullptr || pLocation == nullptr)
    {
        VEXLOG("Exiting GetDataWithMatchingBDF");
        return 0;
    }
    const std::size_t nTableLength = m_rawTableLength;
    // Absolute offset of nBytes bytes at nRelative from a structure start,
    // when they lie inside the table.
    auto InTable = [&](std::size_t nStruct, int32_t nRelative, std::size_t nBytes, std::size_t& nAbsolute) {
        if (nRelative < 0 || nStruct + static_cast<std::size_t>(nRelative) + nBytes > nTableLength)
        {
            return false;
        }
        nAbsolute = nStruct + static_cast<std::size_t>(nRelative);
        return true;
    };

    unsigned char* pString = nullptr;
    bool bAllocationFailed = false;
    const bool bMatched = WalkStructures([&](std::size_t nStruct, unsigned char nType, std::size_t nLength) {
        if (nType != pLocation->type)
        {
            return false;
        }
        VEXLOG("Systems Slots structure Found\n");
        std::size_t nBus = 0;
        std::size_t nDevfn = 0;
        if (!InTable(nStruct, pBDF->busOffset, 1, nBus) || !InTable(nStruct, pBDF->devfnOffset, 1, nDevfn))
        {
            return false;
        }
        if (static_cast<signed char>(m_rawTable[nBus]) != pBDF->bus ||
            static_cast<signed char>(m_rawTable[nDevfn]) != pBDF->devfn)
        {
            return false;
        }
        // A slot whose value or string does not lie inside the table does not
        // match.
        std::size_t nValue = 0;
        std::size_t nNumber = 0;
        if (!InTable(nStruct, pLocation->valueOffset, 2, nValue) ||
            !InTable(nStruct, pLocation->stringOffset, 1, nNumber))
        {
            return false;
        }
        // The first string of the set is copied whatever the string number
        // says, except that a number above 1 with an empty set moves the copy
        // two bytes on, just past the set.
        std::size_t nCopy = nStruct + nLength;
        if (m_rawTable[nNumber] > 1 && nCopy + 1 < nTableLength && m_rawTable[nCopy] == 0 &&
            m_rawTable[nCopy + 1] == 0)
        {
            nCopy += 2;
        }
        std::size_t nStringStart = 0;
        std::size_t nStringLength = 0;
        if (!LocateString(nCopy, 1, nStringStart, nStringLength))
        {
            return false;
        }
        pLocation->value = ReadLE16(m_rawTable + nValue);
        VEXLOG("bus device function matched.");
        pString = new (std::nothrow) unsigned char[nStringLength + 1];
        if (pString == nullptr)
        {
            bAllocationFailed = true;
            return true;
        }
        std::memcpy(pString, m_rawTable + nStringStart, nStringLength + 1);
        return true;
    });
    if (bAllocationFailed)
    {
        VEXLOG("Exception occured");
        return 0;
    }
    if (bMatched)
    {
        pLocation->string = pString;
        return 1;
    }
    VEXLOG("Exiting GetDataWithMatchingBDF");
    return 0;
}

int CSMBIOSInventory::getOEMStringsFromTable(std::vector<std::string>* pvOEMStrings, int instance)
{
    try
    {
        VEXLOG("Entered getOEMStringsFromTable");
        if (pvOEMStrings == nullptr)
        {
            VEXLOG("Found Null instance!!!");
            return 0;
        }
        int nFormattedLength = 0;
        unsigned char* pStruct = nullptr;
        if (getSMBIOSStruct(&nFormattedLength, &pStruct, kOEMStringsType, instance) == 0 ||
            OffsetOf(pStruct) + 4 >= m_rawTableLength)
        {
            VEXLOG("Failed to get OEM Structure");
            return 0;
        }
        VEXLOG("OEM Structure Found");
        const unsigned int nCount = pStruct[4];
        VEXLOG("Total number of OEM strings = " + std::to_string(nCount));
        // The count strings in order; a string that is not closed inside the
        // table ends the list.
        std::size_t nPos = OffsetOf(pStruct) + static_cast<std::size_t>(nFormattedLength);
        for (unsigned int i = 0; i < nCount; ++i)
        {
            std::size_t nStart = 0;
            std::size_t nLength = 0;
            if (!LocateString(nPos, 1, nStart, nLength))
            {
                break;
            }
            pvOEMStrings->push_back(std::string(reinterpret_cast<const char*>(m_rawTable + nStart), nLength));
            nPos = nStart + nLength + 1;
        }
        VEXLOG("Exiting getOEMStringsFromTable");
        return 1;
    }
    catch (...)
    {
        VEXLOG_NOTHROW("Exception occured");
        return 0;
    }
}

// ---------------------------------------------------------------------------
// System ID, tokens, platform flags
// ---------------------------------------------------------------------------

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
    const std::string strResult(szId);
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

bool CSMBIOSInventory::FindTokenEntry(uint16_t token, std::size_t nEntryBytes, std::size_t& nEntryOffset)
{
    for (int nInstance = 0; nInstance < kTokenStructureSearchLimit; ++nInstance)
    {
        int nFormattedLength = 0;
        unsigned char* pStruct = nullptr;
        if (getSMBIOSStruct(&nFormattedLength, &pStruct, kTokenType, nInstance) == 0)
        {
            return false;
        }
        VEXLOG("findToken:getSMBIOSStruct returned successfully.");
        const std::size_t nStart = OffsetOf(pStruct);
        const std::size_t nAvailable = m_rawTableLength - nStart;
        const std::size_t nFormatted = static_cast<std::size_t>(nFormattedLength);
        // Entries start inside the formatted area; their token ID must also
        // lie inside the table.
        for (std::size_t nEntry = kTokenEntriesOffset; nEntry < nFormatted && nEntry + 2 <= nAvailable;
             nEntry += kTokenEntryLength)
        {
            const uint16_t nId = ReadLE16(pStruct + nEntry);
            if (nId == kTokenListEnd)
            {
                break;
            }
            if (nId == token)
            {
                if (nEntry + nEntryBytes > nAvailable)
                {
                    return false;
                }
                nEntryOffset = nStart + nEntry;
                return true;
            }
        }
    }
    return false;
}

int CSMBIOSInventory::findToken(uint16_t token)
{
    try
    {
        VEXLOG("findToken:Entered findToken");
        VEXLOG("Searching for Token value: " + HexText(token));
        if (m_rawTable == nullptr)
        {
            VEXLOG("findToken:BIOS Tables not initialized.");
            return 0;
        }
        std::size_t nEntry = 0;
        if (FindTokenEntry(token, 2, nEntry))
        {
            VEXLOG("findToken:Successfully got the token.");
            return 1;
        }
        VEXLOG("Exiting findToken");
        return 0;
    }
    catch (...)
    {
        VEXLOG_NOTHROW("Exception occurred");
        return 0;
    }
}

int CSMBIOSInventory::GetCMOSEqEFIVarData()
{
    try
    {
        VEXLOG("Entering CSMBIOSInventory::GetCMOSEqEFIVarData()");
        VEXLOG("Searching for Token value: " + HexText(kCMOSEqEFIVarToken));
        if (m_rawTable == nullptr)
        {
            VEXLOG("findToken:BIOS Tables not initialized.");
            return 0;
        }
        std::size_t nEntry = 0;
        if (!FindTokenEntry(kCMOSEqEFIVarToken, kTokenEntryLength, nEntry))
        {
            return 0;
        }
        const unsigned char* pEntry = m_rawTable + nEntry;
        VEXLOG("*((u16 *)pTokenAddr) value is - " + std::to_string(ReadLE16(pEntry)));
        const unsigned char nAndMask = pEntry[3];
        const unsigned char nOrValue = pEntry[4];
        m_tokenFlag = static_cast<uint8_t>((nAndMask & m_tokenFlag) | nOrValue);
        VEXLOG("Flag value to set : " + std::to_string(static_cast<unsigned int>(m_tokenFlag)));
        VEXLOG("findToken:Successfully got the D4_54_04h offset value.");
        return 1;
    }
    catch (...)
    {
        VEXLOG_NOTHROW("Exception occurred");
        return 0;
    }
}

int CSMBIOSInventory::getNVMERAIDMode()
{
    VEXLOG("Entering CSMBIOSInventory::getNVMERAIDMode()");
    if (m_rawTable == nullptr)
    {
        const int nStatus = FetchRawBIOSTable();
        VEXLOG(std::string("getNVMERAIDMode:: SMBIOSInventory init status = ") +
               (nStatus != 0 ? "success" : "failure"));
    }
    int nResult = 0;
    std::vector<std::string> vOEMStrings;
    getOEMStringsFromTable(&vOEMStrings, 0);
    for (const std::string& strOEM : vOEMStrings)
    {
        if (strOEM.find(kNVMERAIDModeMarker) != std::string::npos)
        {
            VEXLOG("getNVMERAIDMode:: Found NVME RAID mode from SMBIOS ");
            nResult = 1;
            break;
        }
    }
    VEXLOG("Leaving CSMBIOSInventory::getNVMERAIDMode()");
    return nResult;
}
