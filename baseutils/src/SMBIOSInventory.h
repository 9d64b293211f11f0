#ifndef VEXDEP_SMBIOSINVENTORY_H
#define VEXDEP_SMBIOSINVENTORY_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// OEM string that identifies the maker's systems (first string of the first
// OEM-strings structure).
constexpr char BrixOEMName[] = "Brix System";

// Where the SMBIOS reader gets its firmware data from. Every read of
// firmware data goes through these four paths; tests point them at files in
// a temporary directory.
struct SMBIOSSources
{
    std::string strEntryPointPath = "/sys/firmware/dmi/tables/smbios_entry_point";
    std::string strTablePath = "/sys/firmware/dmi/tables/DMI";
    std::string strMemoryDevicePath = "/dev/mem";
    std::string strESXiDevicePath = "/dev/char/mem/smbios";
    // Called with a firmware file's path each time the reader has read it
    // whole; empty unless a test changes the files between two reads (the
    // firmware's export changing under the reader).
    std::function<void(const std::string&)> fnAfterRead;
};

// A PCI bus and device/function pair to look for in the system slots, with
// the offsets (from the structure start) of the two bytes to compare.
struct bdf_index
{
    int32_t bus;
    int32_t devfn;
    int32_t busOffset;
    int32_t devfnOffset;
};

// What GetDataWithMatchingBDF searches (structure type, offsets of a 16-bit
// value and of a string number) and what it hands back.
struct Data_Location
{
    int32_t type;
    int32_t valueOffset;
    int32_t stringOffset;
    unsigned char* string; // out: new[]-allocated copy of the string, freed by the caller with delete[]
    uint16_t value;        // out: the 16-bit little-endian value at valueOffset
};

// The intermediate part of a 32-bit entry point ("_DMI_" and what follows),
// found 16 bytes behind "_SM_". Its natural layout matches the firmware's
// byte layout; the 16th byte is padding.
struct dmi_table_entry_point
{
    unsigned char anchor[5];
    unsigned char checksum;
    uint16_t tableLength;
    uint32_t tableAddress;
    uint16_t structureCount;
    unsigned char bcdRevision;
};
static_assert(sizeof(dmi_table_entry_point) == 16, "intermediate entry point layout");
static_assert(offsetof(dmi_table_entry_point, tableLength) == 6, "intermediate entry point layout");
static_assert(offsetof(dmi_table_entry_point, tableAddress) == 8, "intermediate entry point layout");
static_assert(offsetof(dmi_table_entry_point, structureCount) == 12, "intermediate entry point layout");
static_assert(offsetof(dmi_table_entry_point, bcdRevision) == 14, "intermediate entry point layout");

// The SMBIOS reader: obtains the raw structure table (sysfs export, a scan of
// physical memory, or the ESXi device), walks its structures and answers
// identity questions, above all the platform (system) ID.
//
// Every query stays inside the held table whatever its bytes say: a structure
// whose formatted length is below 4 or whose formatted area runs past the end
// of the table ends the walk (it and everything behind it are not found), and
// a string or run of bytes that would extend past the end of the table counts
// as not found.
class CSMBIOSInventory
{
public:
    // Which source provided the table that is held.
    enum eTableSource
    {
        eTableSourceNone = 0,
        eTableSourceSysfs = 1,
        eTableSourceMemoryScan = 2,
        eTableSourceESXiDevice = 3
    };

    // Where the last GetSystemID (or GetSystemIdFromMemory) took the system
    // ID from, or why it gave the empty string.
    enum eSystemIdOrigin
    {
        eSystemIdNotRead = 0,                // no system ID asked for yet
        eSystemIdNotMakerSystem = 1,         // first OEM string is not the maker's: empty
        eSystemIdRevisionSingleByte = 2,     // type-208 single byte
        eSystemIdRevisionTwoByte = 3,        // type-208 marker 0xFE and the two-byte ID
        eSystemIdRevisionTwoByteMissing = 4, // type-208 marker 0xFE without the two-byte ID: empty
        eSystemIdMemorySingleByte = 5,       // legacy single byte in physical memory
        eSystemIdMemoryTwoByte = 6,          // legacy two-byte ID in physical memory
        eSystemIdMemoryUnavailable = 7       // nothing usable in physical memory: empty
    };

    CSMBIOSInventory();
    explicit CSMBIOSInventory(const SMBIOSSources& sources);
    virtual ~CSMBIOSInventory();

    CSMBIOSInventory(const CSMBIOSInventory&) = delete;
    CSMBIOSInventory& operator=(const CSMBIOSInventory&) = delete;

    // --- Table acquisition (SMBIOSTableAcquisition.cpp; physical memory and
    // the ESXi device in SMBIOSMemoryTable.cpp) ------------------------------
    // 1 when a table is held afterwards, 0 when none.
    int Initialize();
    int FetchRawBIOSTable();
    int FetchRawBIOSTableLinux();
    int FetchRawBIOSTableLinuxFromDMI();
    // Reads a whole file into a new[]-allocated array; 1 on success.
    int ReadFileContents(const char* pszPath, unsigned char** ppBuffer, unsigned long* pnSize);
    // Checks an entry point buffer: whole-buffer checksum, and for "_SM_" the
    // intermediate "_DMI_" part.
    int VerifySMBIOS(const unsigned char* pBuffer, unsigned long nLength);
    // Checks the intermediate entry point; reads 16 bytes from p.
    int ValidateDMITEP(const dmi_table_entry_point* p);
    int FreeRawBIOSTable();

    // Which source provided the held table, and the version of the entry
    // point ("_SM_" or "_SM3_") that came with it; none and 0.0 while no table
    // is held or when the accepted entry point was neither of the two.
    eTableSource GetTableSource() const { return m_eTableSource; }
    unsigned int GetEntryPointMajorVersion() const { return m_nEntryPointMajor; }
    unsigned int GetEntryPointMinorVersion() const { return m_nEntryPointMinor; }
    // Whether that entry point is the 64-bit one ("_SM3_"), and its document
    // revision (the third part of its version; 0 for a 32-bit entry point).
    bool IsEntryPoint64Bit() const { return m_bEntryPoint64Bit; }
    unsigned int GetEntryPointDocRevision() const { return m_nEntryPointDocRevision; }
    // How the last system ID was obtained; changes nothing in what is read.
    eSystemIdOrigin GetSystemIdOrigin() const { return m_eSystemIdOrigin; }

    // --- Structure walk and strings (SMBIOSStructureWalk.cpp) --------------
    int getSMBIOSStruct(int* pnLength, unsigned char** ppStruct, int type, int instance);
    // A string or (type 208) raw bytes of one structure in a new[]-allocated
    // array that the caller frees with delete[]; 1 on success.
    int getDataFromTable(int type, int offset, int length, unsigned char** ppData, int instance);
    // getDataFromTable for the first revision structure (type 208).
    int getBrixRevisionData(int offset, int length, unsigned char** ppData);

    std::string GetVendorName();
    std::string GetBiosVersion();
    std::string GetManufacturerName();
    std::string GetProductName();
    std::string GetSerialNumber();
    std::string GetOEMName();
    bool IsBrixSystem(const std::string& strOEMName);

    int GetDeviceCountMatchingStructNumber(unsigned int structNumber);
    int GetDataWithMatchingBDF(const bdf_index* pBDF, Data_Location* pLocation);
    int getOEMStringsFromTable(std::vector<std::string>* pvOEMStrings, int instance);

    // --- System ID (SMBIOSSystemID.cpp), tokens and platform flags
    // (SMBIOSTokens.cpp) ----------------------------------------------------
    std::string GetSystemID();
    std::string GetSystemIdFromMemory();
    int GetValueByOffset(unsigned long address, unsigned int length, unsigned char* pOut);
    int findToken(uint16_t token);
    int GetCMOSEqEFIVarData();
    int getNVMERAIDMode();

protected:
    uint8_t m_tokenFlag;
    unsigned char* m_rawTable;
    uint32_t m_rawTableLength;
    unsigned char m_isESXi;
    void* m_mapBase;
    uint32_t m_mapLength;

private:
    int AcquireTableLinux();
    int AcquireTableFromDMI();
    int ReadTableFromESXiDevice(int nFd);
    int ScanMemoryForTable(int nFd);
    // Releases the held table the way its source requires, without logging.
    void ReleaseHeldTable();
    void RecordTable(eTableSource eSource, unsigned int nMajor, unsigned int nMinor, bool bEntryPoint64Bit = false,
                     unsigned int nDocRevision = 0);

    // Structure walk over the held table: calls visit(offset, type, length)
    // for each well-formed structure until visit returns true.
    template <typename Visitor>
    bool WalkStructures(Visitor visit) const;
    // Offset and length of string number nNumber (0 and 1 both select the
    // first) of the string set starting at nSetStart; false when it does not
    // end inside the table.
    bool LocateString(std::size_t nSetStart, unsigned int nNumber, std::size_t& nStart, std::size_t& nLength) const;
    // The offset of a structure start inside the held table.
    std::size_t OffsetOf(const unsigned char* pStruct) const;
    // Offset inside the table of the type-212 entry listing token, searching
    // the first 16 type-212 structures; nEntryBytes of the entry must lie in
    // the table.
    bool FindTokenEntry(uint16_t token, std::size_t nEntryBytes, std::size_t& nEntryOffset);
    std::string GetStringFromStructure(int type, int offset, const char* pszName, const char* pszFailure);

    SMBIOSSources m_sources;
    eTableSource m_eTableSource;
    unsigned int m_nEntryPointMajor;
    unsigned int m_nEntryPointMinor;
    bool m_bEntryPoint64Bit;
    unsigned int m_nEntryPointDocRevision;
    eSystemIdOrigin m_eSystemIdOrigin;
};

#endif // VEXDEP_SMBIOSINVENTORY_H
