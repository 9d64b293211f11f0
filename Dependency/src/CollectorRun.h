#ifndef VEXDEP_COLLECTORRUN_H
#define VEXDEP_COLLECTORRUN_H

#include <cstdint>
#include <string>

// What one run of a release directory's collector did, for a caller that
// explains the run. Times are wall-clock times in milliseconds since the
// epoch (so that they compare with file modification times).
struct SCollectorRun
{
    bool bConfigurationRead = false; // "PIEConfig.xml" named a usable plug-in
    bool bStarted = false;           // the command was run
    std::string strCommand;          // the full command line (release directory + "//" + command)
    std::string strOutputPath;       // where the document is read from (when started)
    long nConfiguredSeconds = 0;     // the limit "PIEConfig.xml" declares
    long nLimitSeconds = 0;          // the limit the guard enforced; 0: waited without limit
    int nWaitStatus = 0;             // the shell's wait status (-1: the shell could not be started)
    bool bTimedOut = false;          // ended at the guard's limit
    int64_t nStartedMs = 0;
    int64_t nEndedMs = 0;
};

#endif // VEXDEP_COLLECTORRUN_H
