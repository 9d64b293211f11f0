#ifndef VEXDEP_EXPLAINCOMMAND_H
#define VEXDEP_EXPLAINCOMMAND_H

#include <iosfwd>
#include <string>

struct SExplainOptions
{
    std::string strType;       // "hard" or "soft"
    std::string strPackageDir; // the package directory; the current one when empty
    std::string strSmbiosDump; // evaluate against this dump instead of the machine's tables
    std::string strLogFile;    // the library's debug log; /dev/null when empty
    // The collectors' time limit, as VEXDEP_COLLECTOR_TIMEOUT takes it
    // (config, N or none); when not given, the variable's value.
    bool bCollectorTimeoutGiven = false;
    std::string strCollectorTimeout;
    bool bJson = false;
    // Exit with the verdict (0 ready, 1 blocked, 2 recommended,
    // 3 unverifiable) instead of 0 for a finished explanation.
    bool bExitVerdict = false;
};

// vexinspect explain: runs exactly the evaluation that vexdepcheck runs in
// the package directory (the same checker, collectors and cache, the same
// "inv.xml") with a decision listener attached, and prints for every declared
// dependency what each step compared and decided, then the exit status that
// vexdepcheck returns.
//
// Nothing is written into the package directory beyond what the collectors
// write: the debug log goes to the named file or to /dev/null, and a dump's
// tables go to a private temporary directory.
//
// The collectors run as vexdepcheck runs them in the same environment: with
// the time-limit guard that VEXDEP_COLLECTOR_TIMEOUT (or the option that
// stands for it) sets; every run is timed against the limit it declares.
//
// The explanation ends with the run's verdict (ready, blocked, recommended or
// unverifiable) and its reasons, decided from what the run saw.
//
// Exit status: 0 when the explanation was printed (with --exit-verdict: 0
// ready, 1 blocked, 2 recommended, 3 unverifiable), 64 for a type other than
// hard or soft or a time limit that is not config, none or a positive
// number, 66 when the package directory (missing, not a directory, not
// enterable), the dump or the log file
// cannot be used.
class CExplainCommand
{
public:
    static constexpr int nExitExplained = 0;
    static constexpr int nExitUsage = 64;
    static constexpr int nExitUnusableInput = 66;

    explicit CExplainCommand(const SExplainOptions& options);
    // Runs in the package directory and returns to the directory it started
    // from.
    int Run(std::ostream& out, std::ostream& err);

private:
    SExplainOptions m_options;
};

#endif // VEXDEP_EXPLAINCOMMAND_H
