#ifndef VEXDEP_RUNVERDICT_H
#define VEXDEP_RUNVERDICT_H

#include "DeviceInfo.h"

#include <string>
#include <vector>

struct SExplainedDependency;

// What one explained run means for an operator, decided from what the run
// saw (never from the exit status alone, which is 255 both when everything
// is met and when nothing could be checked).
enum class ERunVerdict
{
    Ready,       // everything applicable was checked and is met
    Blocked,     // a hard run found unmet hard dependencies
    Recommended, // a soft run found unmet soft dependencies
    Unverifiable // something applicable could not be checked, or nothing was declared
};

// One reason of a verdict.
struct SVerdictReason
{
    std::string strKind;       // a stable key, e.g. "unmet", "inventory-failed", "stale-inventory"
    std::string strDependency; // the dependency's display name, when the reason is about one
    std::string strReleaseID;  // its release, when the reason is about one
    std::string strText;       // the reason in words
};

// How the package description was found.
enum class EPackageDescription
{
    Missing,    // no regular, readable package.xml
    Unparsable, // package.xml does not parse
    Parsed
};

// What the run could not see, beyond the dependencies themselves.
struct SRunCircumstances
{
    // Why this user could not read the SMBIOS tables ("/dev/mem: Permission
    // denied"), or empty: the tables are readable (or absent for everyone).
    std::string strSmbiosRefused;
    // Why the machine's device list ("inv.xml") could not be read ("inv.xml
    // does not exist", the parser's message), or empty.
    std::string strInventoryTextProblem;
    // Why package.xml does not parse (the parser's place and message), or
    // empty.
    std::string strPackageDescriptionProblem;
};

struct SRunVerdict
{
    ERunVerdict eVerdict = ERunVerdict::Unverifiable;
    std::vector<SVerdictReason> vReasons;
    // What the run could not see but the verdict does not depend on (the
    // SMBIOS tables unreadable to this user while no applicable dependency
    // lists platforms): said, without changing the verdict.
    std::vector<SVerdictReason> vWarnings;

    // "ready", "blocked", "recommended" or "unverifiable".
    static std::string Key(ERunVerdict eVerdict);
    // The exit status of --exit-verdict: 0 ready, 1 blocked, 2 recommended,
    // 3 unverifiable.
    static int ExitStatus(ERunVerdict eVerdict);
};

class CRunVerdict
{
public:
    // Decides the verdict of a run of the requested type over the explained
    // dependencies. An unmet dependency of the requested type outweighs
    // everything else; anything applicable that could not be checked makes
    // the run unverifiable; otherwise it is ready. Every reason found is
    // listed, the weightier ones first.
    //
    // What the run could not see decides too: a dependency whose platform
    // list was passed over because this user may not read the SMBIOS tables
    // (root may) is unverifiable, whatever else was found for it; so is one
    // that applies only to a device when the device list could not be read.
    // Tables this user may not read while no applicable dependency lists
    // platforms leave the verdict as it is, with a warning of kind
    // "platform-unread".
    static SRunVerdict Decide(CDeviceInfo::eDependencyType eRequested, EPackageDescription ePackage,
                              const std::vector<SExplainedDependency>& vDependencies,
                              const SRunCircumstances& circumstances = SRunCircumstances());
};

#endif // VEXDEP_RUNVERDICT_H
