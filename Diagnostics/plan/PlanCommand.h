#ifndef VEXDEP_PLANCOMMAND_H
#define VEXDEP_PLANCOMMAND_H

#include <iosfwd>
#include <string>

struct SPlanOptions
{
    std::string strType;       // hard, soft or both
    std::string strRepository; // the repository of update packages
    std::string strPackageDir; // the package to install; the current directory when empty
    std::string strInventory;  // the machine's inventory text; inv.xml of the package directory when empty
    std::string strCatalog;    // the repository's catalog; catalog.json in its root when empty
    std::string strSmbiosDump; // the platform check against this dump instead of the machine's tables
    std::string strLogFile;    // the library's debug log; /dev/null when empty
    bool bCollectorTimeoutGiven = false;
    std::string strCollectorTimeout;
    bool bJson = false;
    // Exit with the verdict: 0 nothing needed, 1 complete with steps,
    // 2 blocked, 3 unverifiable.
    bool bExitVerdict = false;
};

// vexinspect plan hard|soft|both --repository DIR: the ordered plan of
// packages from the repository to install before the package in the
// package directory, on this machine (CPlanner), as text or JSON
// (docs/json/plan.schema.json). The repository is only read; everything a
// plan runs (each package's collectors, in a copy of its metadata) runs in
// a private scratch directory that is removed at the end.
//
// Exit status: 0 the plan was printed (with --exit-verdict: 0 nothing
// needed, 1 complete with steps, 2 blocked, 3 unverifiable); 64 usage
// error; 66 the repository, the package directory, the inventory file, the
// dump or the log file cannot be used; 73 the scratch directory cannot be
// made.
class CPlanCommand
{
public:
    static constexpr int nExitPrinted = 0;
    static constexpr int nExitUsage = 64;
    static constexpr int nExitUnusableInput = 66;
    static constexpr int nExitCannotCreate = 73;

    explicit CPlanCommand(const SPlanOptions& options);
    int Run(std::ostream& out, std::ostream& err);

private:
    SPlanOptions m_options;
};

#endif // VEXDEP_PLANCOMMAND_H
