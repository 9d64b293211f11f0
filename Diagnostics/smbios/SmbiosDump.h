#ifndef VEXDEP_SMBIOSDUMP_H
#define VEXDEP_SMBIOSDUMP_H

#include "SMBIOSInventory.h"

#include <cstddef>
#include <string>

// A binary SMBIOS dump: the entry point at offset 0 and the structure table
// at offset 0x20, as "dmidecode --dump-bin" writes it. Such a file captured
// on one server lets its table be examined, and a package be evaluated
// against it, on another machine.
//
// Load writes the entry point and the table into a private temporary
// directory (below $TMPDIR, or /tmp) as the two files that the kernel exports
// under /sys/firmware/dmi/tables, and GetSources points the SMBIOS reader at
// them. The physical-memory and ESXi device paths name files that do not
// exist in that directory, so nothing of the machine's own firmware is read.
// The directory and its files are removed when the object goes away.
class CSmbiosDump
{
public:
    enum eEntryPointKind
    {
        eEntryPointNone = 0,
        eEntryPoint2 = 1,     // "_SM_", 32-bit
        eEntryPoint3 = 2,     // "_SM3_", 64-bit
        eEntryPointLegacy = 3 // "_DMI_" alone
    };

    // Offset of the table in the dump.
    static constexpr std::size_t nTableOffset = 0x20;
    // Dumps larger than this are refused.
    static constexpr std::size_t nMaximumSize = std::size_t{64} * 1024 * 1024;

    CSmbiosDump();
    ~CSmbiosDump();
    CSmbiosDump(const CSmbiosDump&) = delete;
    CSmbiosDump& operator=(const CSmbiosDump&) = delete;

    // Reads the dump at strPath and prepares the sources; false with a
    // one-line reason in GetError() when the file cannot be read, holds no
    // entry point at offset 0 or is cut short.
    bool Load(const std::string& strPath);

    // Splits dump bytes into the entry point (as long as it says it is) and
    // the table behind offset 0x20: for "_SM_" and "_DMI_" the table length
    // the entry point gives, for "_SM3_" up to its maximum table size.
    static bool Split(const std::string& strDump, std::string& strEntryPoint, std::string& strTable,
                      eEntryPointKind& eKind, std::string& strError);

    const std::string& GetError() const { return m_strError; }
    const std::string& GetPath() const { return m_strPath; }
    eEntryPointKind GetEntryPointKind() const { return m_eKind; }
    std::size_t GetTableLength() const { return m_nTableLength; }
    // The private directory holding the two files (empty before Load).
    const std::string& GetDirectory() const { return m_strDirectory; }
    // The reader's sources; before a successful Load they name no file at
    // all, so that nothing is read.
    const SMBIOSSources& GetSources() const { return m_sources; }

private:
    void RemoveDirectory();

    std::string m_strPath;
    std::string m_strError;
    std::string m_strDirectory;
    eEntryPointKind m_eKind;
    std::size_t m_nTableLength;
    SMBIOSSources m_sources;
};

#endif // VEXDEP_SMBIOSDUMP_H
