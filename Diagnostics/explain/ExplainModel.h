#ifndef VEXDEP_EXPLAINMODEL_H
#define VEXDEP_EXPLAINMODEL_H

// What vexinspect explain knows about one run of the checker: plain records,
// filled by the decision listener (CExplainReport) while the checker runs and
// read by the two renderings (CExplainText, CExplainJson).

#include "CollectorOutputCapture.h"
#include "CollectorTimeLimit.h"
#include "DependencyDecisionListener.h"
#include "DeviceInfo.h"
#include "RunVerdict.h"
#include "SMBIOSInventory.h"
#include "SmbiosSummary.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// An inventory or inventory-text record as the explanation shows it: a copy,
// since the checker releases the devices of the inventory text at the end of
// its applicability step.
struct SExplainedDevice
{
    CDeviceInfo::eDeviceType eDeviceType = CDeviceInfo::eDeviceTypeUnknown;
    std::string strComponentID;
    SPCIInfo pci;
    std::string strComponentType;
    std::string strVersion;
    std::string strName; // the "display" attribute of the inventory document

    static SExplainedDevice From(const CDeviceInfo& record);
};

// One run of a release's collector: how long it took against the limit it
// declares and the limit that was enforced.
struct SExplainedCollector
{
    std::string strCommand;
    long nDeclaredSeconds = 0;
    long nLimitSeconds = 0; // enforced by the guard; 0: waited without limit
    double dSeconds = 0.0;  // wall time
    int nWaitStatus = 0;    // the shell's wait status; -1: the shell could not be started
    bool bTimedOut = false;
    int64_t nStartedMs = 0; // when the run began, in milliseconds since the epoch

    // The output document after the run.
    std::string strOutputPath;
    bool bOutputPresent = false;
    int64_t nOutputModifiedMs = 0;
    // When its status last changed (written, renamed, its times set):
    // unlike the modification time, no program can set it ("cp -p" and
    // "touch -d" set only the other times).
    int64_t nOutputChangedMs = 0;
    // Not changed since before the collector started: the collector did not
    // write it, an earlier run left it.
    bool bOutputStale = false;
    // Why the document, present, gives no record: the parser's message with
    // its line and column, or the system's reason it cannot be read; empty
    // when it parses.
    std::string strOutputProblem;
    // Why the collector's command line could not run as written (a package
    // directory path that the shell splits), or empty.
    std::string strCommandLineProblem;
    bool bReleaseWritable = true; // this process may create files in the release directory
    // What it wrote to its standard output and standard error, when that
    // was captured (for a document a program parses).
    std::optional<SCollectorOutput> output;

    // The collector's shell ended with a status other than 0.
    bool ExitedNonZero() const;

    // Ran longer than it declares without being ended for it: a checker
    // with the time-limit guard on would have reported it Failed.
    bool ExceededDeclaredLimit() const;
    // "took 94.2 s, declares 60 s: ..." when it exceeded its declared limit,
    // else empty.
    std::string Warning() const;
    // What an operator should know about the run: Warning(), a status other
    // than 0, a shell that could not be started, a release directory this
    // process cannot write to, an output document that is missing or older
    // than the run.
    std::vector<std::string> Warnings() const;
};

// The inventory lookup of one dependency and the collector run behind it.
struct SExplainedInventory
{
    enum class ELookup
    {
        NotLookedUp, // not of the requested type: the checker does not look it up
        Collected,   // the collector of its release ran for this dependency
        Reused       // an earlier dependency of the same release ID had collected it
    };
    enum class EOutcome
    {
        Ran,      // the collector ran and its document was read
        Failed,   // the document reports a failure
        TimedOut, // the collector was ended at its time limit
        NotRun    // the collector never ran (strReason says why)
    };

    ELookup eLookup = ELookup::NotLookedUp;
    EOutcome eOutcome = EOutcome::Ran;
    std::string strReleaseID;
    std::string strComponentPath; // the release directory the collector ran in
    std::size_t nRecords = 0;
    std::string strErrorMessage;                  // Failed and TimedOut
    std::string strReason;                        // NotRun, and Ran without records
    std::optional<SExplainedCollector> collector; // when the collector was started
};

struct SExplainedPlatform
{
    std::vector<std::string> vPlatforms;
    bool bTablesRead = false;
    bool bChecked = false; // false: the check was passed over
    bool bApplies = true;
    std::string strSystemID;
    CSMBIOSInventory::eTableSource eSource = CSMBIOSInventory::eTableSourceNone;
    CSMBIOSInventory::eSystemIdOrigin eOrigin = CSMBIOSInventory::eSystemIdNotRead;
};

struct SExplainedOS
{
    SOSInfo running;
    std::vector<SOSInfo> vRequired;
    int nMatchedEntry = -1;
    bool bApplies = true;
};

struct SExplainedDeviceCheck
{
    bool bPresent = false;
    std::optional<SExplainedDevice> matched;
};

struct SExplainedComparison
{
    std::string strRequired;
    std::string strInstalled;
    int nResult = 0;
    SExplainedDevice installed;
};

// Everything the checker decided about one declared dependency, in the order
// it decides. A step the checker did not reach stays empty.
struct SExplainedDependency
{
    // Identity, as the package reader built the record.
    std::string strDisplay;
    std::string strComponentID;
    std::string strComponentType;
    std::string strReleaseID;
    std::string strVersion; // the required version
    std::string strContext;
    CDeviceInfo::eDependencyType eDependencyType = CDeviceInfo::eDependencyTypeHard;
    CDeviceInfo::eDeviceType eDeviceType = CDeviceInfo::eDeviceTypeUnknown;
    SPCIInfo pci;
    CDeviceInfo::eDeviceType eParentDeviceType = CDeviceInfo::eDeviceTypeUnknown;
    std::string strParentComponentID;
    // Where the report tells to fetch the update from (VEX DownloadPath).
    std::string strDownloadPath;
    // The package's Detail text (why a soft dependency is recommended; the
    // soft report prints it), empty when the package gives none.
    std::string strDetail;
    // The parent's first PCI identities (at most 16) and how
    // many it has: a package can give one device thousands of them, and
    // every record of the device carries them all.
    std::vector<SPCIInfo> vParentPCI;
    std::size_t nParentPCICount = 0;

    SExplainedInventory inventory;
    std::optional<bool> contextApplies;
    std::optional<SExplainedPlatform> platform;
    std::optional<SExplainedOS> os;
    std::optional<SExplainedDeviceCheck> device;
    std::optional<bool> sameType;
    std::vector<SExplainedComparison> vComparisons;
    std::optional<EVerdict> verdict;
    // Left in the record by the decision.
    std::string strCurrentVersion;
    std::string strErrorMessage;
};

// A dependency of the report that vexdepcheck prints.
struct SReportedDependency
{
    std::string strDisplay;
    bool bFailed = false;
};

// Everything one explained run saw: what was run, the machine, the
// collectors' time limit, every declared dependency with the checker's
// decisions, what vexdepcheck reports, its exit status and the run's verdict.
struct SExplainedRun
{
    CDeviceInfo::eDependencyType eRequested = CDeviceInfo::eDependencyTypeHard;
    // The working directory the checker was built with.
    std::string strPackageDirectory;
    // The file clock (CPlatformLayer::GetFileClockTime) before the checker
    // started: an output document whose status changed before it was not
    // written by this run.
    int64_t nFileClockAtStartNs = 0;
    bool bPackageDescriptionFound = false;
    EPackageDescription ePackageDescription = EPackageDescription::Missing;
    // The inventory text ("inv.xml"): whether it is there and not empty, its
    // size, the devices it lists and the running OS it names.
    bool bInventoryTextPresent = false;
    std::size_t nInventoryTextBytes = 0;
    std::size_t nInventoryDevices = 0;
    // Why the device list could not be read (missing, unreadable, does not
    // parse: the system's or the parser's words), or empty.
    std::string strInventoryTextProblem;
    std::string strPackageDescriptionProblem; // the parser's place and message when package.xml does not parse
    SOSInfo runningOS;
    SSmbiosSummary smbios;
    CCollectorTimeLimit collectorTimeLimit;
    // A value of the environment variable that was rejected; empty when none was.
    std::string strRejectedTimeLimit;

    std::vector<SExplainedDependency> vDependencies;
    bool bProcessed = false;
    int nExitStatus = 255;
    std::vector<SReportedDependency> vReported;
    SRunVerdict verdict;
};

// Words both renderings and the model use.
namespace explainwords
{
// "hard" or "soft".
std::string TypeName(CDeviceInfo::eDependencyType eType);
// "94.2 s": seconds with one decimal.
std::string SecondsText(double dSeconds);
} // namespace explainwords

#endif // VEXDEP_EXPLAINMODEL_H
