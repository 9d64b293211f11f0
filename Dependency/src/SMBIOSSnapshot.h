#ifndef VEXDEP_SMBIOSSNAPSHOT_H
#define VEXDEP_SMBIOSSNAPSHOT_H

#include "Logger.h"
#include "SMBIOSInventory.h"

#include <memory>
#include <string>
#include <vector>

// The SMBIOS facts that the platform check asks about for every dependency,
// read from the firmware tables once per run instead of once per
// dependency. Each dependency's turn still writes the log lines that a
// reader of its own would write: its construction and the acquisition of the
// tables when the turn begins, the system ID lookup when it is asked for,
// and the release of the tables when the turn ends.
class CSMBIOSSnapshot
{
public:
    explicit CSMBIOSSnapshot(const SMBIOSSources& sources);
    ~CSMBIOSSnapshot();

    CSMBIOSSnapshot(const CSMBIOSSnapshot&) = delete;
    CSMBIOSSnapshot& operator=(const CSMBIOSSnapshot&) = delete;

    // Begins a dependency's turn; true when the tables could be read.
    bool BeginTurn();
    // The machine's system ID text, as the reader's GetSystemID gives it.
    std::string SystemID();
    // Ends the turn: the tables are released, as far as the log can tell.
    void EndTurn();

    // The reader that holds the tables (for listeners), or null before the
    // first turn.
    const CSMBIOSInventory* Inventory() const { return m_pInventory.get(); }

private:
    SMBIOSSources m_sources;
    std::unique_ptr<CSMBIOSInventory> m_pInventory;
    bool m_bTablesRead = false;
    std::vector<SLogRecord> m_vAcquisitionLog;
    bool m_bSystemIDKnown = false;
    std::string m_strSystemID;
    std::vector<SLogRecord> m_vSystemIDLog;
    bool m_bReleaseKnown = false;
    std::vector<SLogRecord> m_vReleaseLog;
};

#endif // VEXDEP_SMBIOSSNAPSHOT_H
