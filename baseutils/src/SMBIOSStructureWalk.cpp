// CSMBIOSInventory: the walk over the held table's structures, their
// strings and bytes, and the queries built on it (identity strings, OEM
// strings, structure counts, the slot lookup).

#include "SMBIOSInventory.h"

#include "SMBIOSLayout.h"
#include "SMBIOSLogSource.h"

#include <cstring>
#include <memory>
#include <new>

using namespace smbioslayout;

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

std::string CSMBIOSInventory::GetStringFromStructure(int type, int offset, const char* pszName, const char* pszFailure)
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
        if (m_rawTable[nNumber] > 1 && nCopy + 1 < nTableLength && m_rawTable[nCopy] == 0 && m_rawTable[nCopy + 1] == 0)
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
