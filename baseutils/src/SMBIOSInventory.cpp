// The SMBIOS reader's construction and destruction. Its methods are spread
// over files named after their concerns: SMBIOSTableAcquisition.cpp (which
// source gives the table; the sysfs export), SMBIOSMemoryTable.cpp (physical
// memory and the ESXi device), SMBIOSStructureWalk.cpp (structures and
// strings), SMBIOSSystemID.cpp and SMBIOSTokens.cpp (tokens and platform
// flags).

#include "SMBIOSInventory.h"

#include "PlatformLayer.h"
#include "SMBIOSLogSource.h"

CSMBIOSInventory::CSMBIOSInventory() : CSMBIOSInventory(SMBIOSSources()) {}

CSMBIOSInventory::CSMBIOSInventory(const SMBIOSSources& sources)
    : m_tokenFlag(0), m_rawTable(nullptr), m_rawTableLength(0), m_isESXi(0), m_mapBase(nullptr), m_mapLength(0),
      m_sources(sources), m_eTableSource(eTableSourceNone), m_nEntryPointMajor(0), m_nEntryPointMinor(0),
      m_bEntryPoint64Bit(false), m_nEntryPointDocRevision(0), m_eSystemIdOrigin(eSystemIdNotRead)
{
    if (CPlatformLayer::IsFileExits(strEnableLogFileName))
    {
        CLogger::GetInstance()->Initialize(strBaseUtilsLogFileName);
    }
}

CSMBIOSInventory::~CSMBIOSInventory() { FreeRawBIOSTable(); }
