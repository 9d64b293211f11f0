// CSMBIOSInventory: the maker's token structures and the platform flags read
// from them and from the OEM strings.

#include "SMBIOSInventory.h"

#include "SMBIOSLayout.h"
#include "SMBIOSLogSource.h"

#include <sstream>
#include <vector>

using namespace smbioslayout;

namespace
{
std::string HexText(unsigned int nValue)
{
    std::ostringstream oss;
    oss << std::hex << nValue;
    return oss.str();
}
} // namespace

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
