#include "SmbiosSystemInformation.h"

#include <cstdio>
#include <memory>

namespace
{
const int kSystemInformationType = 1;
const int kVersionOffset = 0x06;
const int kUUIDOffset = 0x08;
// The formatted length that holds the four strings, and the one that holds
// the UUID too.
const int kStringsLength = 0x08;
const int kUUIDLength = 0x19;
const int kUUIDBytes = 16;

// A string as dmidecode prints it: control characters and DEL as '.'.
std::string Printable(std::string strText)
{
    for (char& c : strText)
    {
        const unsigned char uc = static_cast<unsigned char>(c);
        if (uc < 32 || uc == 127)
        {
            c = '.';
        }
    }
    return strText;
}
} // namespace

std::string CSmbiosSystemInformation::UUIDText(const unsigned char* pBytes, unsigned int nMajor, unsigned int nMinor)
{
    bool bAllFF = true;
    bool bAllZero = true;
    for (int i = 0; i < kUUIDBytes; ++i)
    {
        bAllFF = bAllFF && pBytes[i] == 0xFF;
        bAllZero = bAllZero && pBytes[i] == 0x00;
    }
    if (bAllFF)
    {
        return "Not Present";
    }
    if (bAllZero)
    {
        return "Not Settable";
    }
    // From SMBIOS 2.6 on the first three fields are little-endian; before,
    // tables are taken as they are (network byte order).
    const bool bLittleEndian = nMajor > 2 || (nMajor == 2 && nMinor >= 6);
    static const int kSwapped[kUUIDBytes] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    std::string strText;
    for (int i = 0; i < kUUIDBytes; ++i)
    {
        if (i == 4 || i == 6 || i == 8 || i == 10)
        {
            strText += '-';
        }
        char szByte[3];
        std::snprintf(szByte, sizeof(szByte), "%02x", pBytes[bLittleEndian ? kSwapped[i] : i]);
        strText += szByte;
    }
    return strText;
}

SSmbiosSystemInformation CSmbiosSystemInformation::Read(CSMBIOSInventory& inventory, unsigned int nMajor,
                                                        unsigned int nMinor)
{
    SSmbiosSystemInformation information;
    int nLength = 0;
    unsigned char* pStructure = nullptr;
    if (inventory.getSMBIOSStruct(&nLength, &pStructure, kSystemInformationType, 0) == 0 || pStructure == nullptr ||
        nLength < kStringsLength)
    {
        return information;
    }
    // The walk offers only structures whose formatted area lies inside the
    // table, so the bytes below nLength can be read.
    information.bPresent = true;
    if (pStructure[kVersionOffset] == 0)
    {
        information.strVersion = "Not Specified";
    }
    else
    {
        unsigned char* pString = nullptr;
        if (inventory.getDataFromTable(kSystemInformationType, kVersionOffset, 0, &pString, 0) != 0 &&
            pString != nullptr)
        {
            std::unique_ptr<unsigned char[]> pOwned(pString);
            information.strVersion = Printable(reinterpret_cast<const char*>(pOwned.get()));
        }
        else
        {
            information.strVersion = "<BAD INDEX>";
        }
    }
    if (nLength >= kUUIDLength)
    {
        information.bUUIDPresent = true;
        information.strUUID = UUIDText(pStructure + kUUIDOffset, nMajor, nMinor);
    }
    return information;
}
