#ifndef VEXDEP_SMBIOSSYSTEMINFORMATION_H
#define VEXDEP_SMBIOSSYSTEMINFORMATION_H

#include "SMBIOSInventory.h"

#include <string>

// The system's version and UUID from the system information structure
// (type 1), as dmidecode prints them: the version string (at offset 6;
// "Not Specified" for string number 0, "<BAD INDEX>" for a number the
// structure has no string for, characters below 32 and 127 shown as '.'),
// and the UUID (16 bytes at offset 8, in a structure at least 0x19 bytes
// long): "Not Present" when all bytes are 0xFF, "Not Settable" when all are
// 0, otherwise in lower-case hexadecimal groups 8-4-4-4-12 where, from
// SMBIOS 2.6 on, the first three fields are stored little-endian.
struct SSmbiosSystemInformation
{
    bool bPresent = false; // a type-1 structure of at least 8 bytes
    std::string strVersion;
    bool bUUIDPresent = false; // the structure is long enough to hold it
    std::string strUUID;
};

class CSmbiosSystemInformation
{
public:
    // Reads the first type-1 structure of the table the reader holds;
    // nMajor and nMinor are the table's SMBIOS version (as dmidecode shows
    // it, after its fixups; 0.0 when unknown, which counts as below 2.6).
    static SSmbiosSystemInformation Read(CSMBIOSInventory& inventory, unsigned int nMajor, unsigned int nMinor);
    // The UUID text of the 16 bytes at pBytes for a table of that version.
    static std::string UUIDText(const unsigned char* pBytes, unsigned int nMajor, unsigned int nMinor);
};

#endif // VEXDEP_SMBIOSSYSTEMINFORMATION_H
