#ifndef VEXDEP_SMBIOSCOMMAND_H
#define VEXDEP_SMBIOSCOMMAND_H

#include <iosfwd>
#include <string>

struct SSmbiosOptions
{
    std::string strFromDump; // read this dump instead of the machine's tables
    std::string strLogFile;  // the library's debug log; /dev/null when empty
    bool bJson = false;
};

// vexinspect smbios: where the SMBIOS table came from, its entry point
// version, the system strings, the OEM strings, the structures by type and
// the system ID exactly as the checker computes it.
//
// Exit status: 0 when a table was read, 1 when none could be read, 66 when
// the dump or the log file cannot be used.
class CSmbiosCommand
{
public:
    static constexpr int nExitTableRead = 0;
    static constexpr int nExitNoTable = 1;
    static constexpr int nExitUnusableInput = 66;
    // The version of the JSON document's layout, its first key.
    static constexpr int nSchemaVersion = 1;

    explicit CSmbiosCommand(const SSmbiosOptions& options);
    int Run(std::ostream& out, std::ostream& err);

private:
    SSmbiosOptions m_options;
};

#endif // VEXDEP_SMBIOSCOMMAND_H
