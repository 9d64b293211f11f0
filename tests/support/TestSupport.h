#ifndef VEXDEP_TESTSUPPORT_H
#define VEXDEP_TESTSUPPORT_H

#include "DeviceInfo.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace vextest
{
// The number of random cases a differential test draws in this build: all
// of them in the ordinary build, a quarter (at least one) in the sanitizer
// build, whose phase is there to find memory errors on every path the cases
// reach, not to draw as many as the ordinary phase already draws.
inline int CasesForThisBuild(int nOrdinary)
{
#ifdef VEXDEP_SANITIZED_BUILD
    return nOrdinary / 4 > 0 ? nOrdinary / 4 : 1;
#else
    return nOrdinary;
#endif
}

// Whether the differential test that walks a fixed list of cases takes the
// one at nIndex in this build: every one in the ordinary build, every fourth
// in the sanitizer build (for the reason above).
inline bool TakenInThisBuild(std::size_t nIndex)
{
#ifdef VEXDEP_SANITIZED_BUILD
    return nIndex % 4 == 0;
#else
    (void)nIndex;
    return true;
#endif
}

// Records that a reader handed out, owned by the test.
using Records = std::vector<std::unique_ptr<CDeviceInfo>>;
Records Own(const std::vector<CDeviceInfo*>& vRecords);

// A PCI identity from its four IDs (device, subdevice, vendor, subvendor).
SPCIInfo MakePCIIdentity(const std::string& strDevice, const std::string& strSubDevice, const std::string& strVendor,
                         const std::string& strSubVendor);

// A record's fields as text, so that a table row can list what a reader
// must give. RecordField names one field: componentID, componentType,
// version, currentVersion, display, detail, deviceName, releaseID, parent
// (the parent's component ID), context, status, errorMsg, dependencyType
// (hard, soft), deviceType and parentDeviceType (PCI, nonPCI, unknown), pci
// (PCIText), and the lists parentPCI, platforms and os ("[a, b]", "[]" when
// empty). A name it does not know fails the test.
std::string RecordField(const CDeviceInfo& record, const std::string& strField);
// The fields named in strFields ("componentID | context"), joined the same
// way ("10 | OS").
std::string RecordFields(const CDeviceInfo& record, const std::string& strFields);
// RecordFields of every record, in order.
std::vector<std::string> RecordFields(const std::vector<CDeviceInfo*>& vRecords, const std::string& strFields);
std::vector<std::string> RecordFields(const Records& vRecords, const std::string& strFields);
// A PCI identity as "deviceID/subDeviceID/vendorID/subVendorID", followed by
// " component=<ID>" and " name=<marketing name>" where those are set.
std::string PCIText(const SPCIInfo& pci);
// An OS requirement as its nine fields in their order, joined by "/":
// major/minor/spMajor/spMinor/vendor/arch/installedBuild/reserved/requiredBuild.
std::string OSText(const SOSInfo& os);

// The lines of a text, without their line ends.
std::vector<std::string> Lines(const std::string& strText);
// How often a line stands in a list of lines, and whether it does.
std::size_t CountLines(const std::vector<std::string>& vLines, const std::string& strLine);
bool HasLine(const std::vector<std::string>& vLines, const std::string& strLine);
// vFirst followed by vThen: expected lines that share their beginning.
std::vector<std::string> Then(std::vector<std::string> vFirst, const std::vector<std::string>& vThen);

// nDepth elements named strName, each inside the one before.
std::string NestedElements(const std::string& strName, int nDepth);
// The prologue of a document whose root element is strRoot, declaring an
// entity expansion bomb: thirteen levels of tenfold references, e0 to e12;
// each use of "&e12;", fully expanded, would be 30 * 10^12 bytes. Readers
// must never expand it.
std::string EntityBombPrologue(const std::string& strRoot);

// A fresh directory below $TMPDIR (or /tmp), removed with its content when
// the object goes away.
class TempDir
{
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return m_strPath; }
    // Path() + "/" + name.
    std::string File(const std::string& strName) const;

private:
    std::string m_strPath;
};

// Changes the working directory for the lifetime of the object.
class ScopedCwd
{
public:
    explicit ScopedCwd(const std::string& strPath);
    ~ScopedCwd();
    ScopedCwd(const ScopedCwd&) = delete;
    ScopedCwd& operator=(const ScopedCwd&) = delete;

private:
    std::string m_strPrevious;
};

// Captures what is written to file descriptor 2 into a file while it lives.
class StderrCapture
{
public:
    explicit StderrCapture(const std::string& strPath);
    ~StderrCapture();
    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;

private:
    int m_nSaved;
};

std::string CurrentDirectory();
// The path with every link resolved (the path itself when it cannot be).
std::string RealPathOf(const std::string& strPath);
// strText with every strFrom replaced by strTo.
std::string ReplaceAll(std::string strText, const std::string& strFrom, const std::string& strTo);
std::string ReadFile(const std::string& strPath);
void WriteFile(const std::string& strPath, const std::string& strContent, bool bExecutable = false);
bool FileExists(const std::string& strPath);
void MakeDirectory(const std::string& strPath);
// Whether the path itself (not what a link leads to) is a directory, or a
// regular file.
bool IsDirectory(const std::string& strPath);
bool IsRegularFile(const std::string& strPath);
// The names in a directory, without "." and "..", sorted; none when it
// cannot be read.
std::vector<std::string> ListDirectory(const std::string& strPath);
void RemoveTree(const std::string& strPath);

// A shell fragment that waits until strPath (relative to the shell's
// working directory, or absolute) exists, for at most nSeconds. A test
// that must observe something "before" an event lets the event wait for a
// file that the test creates once it has looked, instead of racing a sleep.
std::string ShellWaitsForFile(const std::string& strPath, int nSeconds);
// A shell fragment that runs strCommand every 50 ms until it succeeds, for
// at most nSeconds.
std::string ShellRetriesUntil(const std::string& strCommand, int nSeconds);
// Waits in the test until strPath exists, for at most dSeconds.
bool WaitForFile(const std::string& strPath, double dSeconds);

// The lines of a log file with every leading time stamp replaced by
// "[TIME]", so that whole lines can be compared byte for byte.
std::vector<std::string> ReadLogLines(const std::string& strPath);
// Only the message part of each log line (what follows "file:line: ").
std::vector<std::string> ReadLogMessages(const std::string& strPath);
// The message part of one log line.
std::string MessageOf(const std::string& strLogLine);

// Switches the process-wide logger on, writing to strPath. Tests that log
// run in their own process (see tests/CMakeLists.txt); this fails the test
// when the logger was already on in this process.
void StartLogging(const std::string& strPath);

// Result of running a command: its exit status and what it wrote.
struct CommandResult
{
    int nExitStatus = -1;
    std::string strStdout;
    std::string strStderr;
};

// In a child between fork and exec: closes every descriptor above the
// standard streams, so that what the test process inherited (from ctest, a
// CI runner or a terminal) never reaches the program under test.
void CloseInheritedDescriptors();

// Runs argv[0] with the given arguments in strWorkingDirectory, with
// standard input empty and no descriptor beyond the standard streams, and
// collects its output.
CommandResult RunCommand(const std::vector<std::string>& vArgs, const std::string& strWorkingDirectory);

// Runs a command of vexinspect (a class built from its options, with
// Run(out, err)) in this process; its output into strOut and strErr.
template <typename Command, typename Options>
int RunInProcess(const Options& options, std::string& strOut, std::string& strErr)
{
    std::ostringstream out;
    std::ostringstream err;
    const int nStatus = Command(options).Run(out, err);
    strOut = out.str();
    strErr = err.str();
    return nStatus;
}

// Checks a JSON document that vexinspect printed against its published
// schema, docs/json/<strSchema>.schema.json (with tests/validate-json.py
// and Python's jsonschema module, which the project's dependencies
// install). Empty when the document is valid; otherwise what is wrong.
std::string JsonSchemaErrors(const std::string& strSchema, const std::string& strDocument);

// The name of a parameterised test's case: the pszName of its data, for
// INSTANTIATE_TEST_SUITE_P (ParamName<SomeCase>).
template <typename Case>
std::string ParamName(const ::testing::TestParamInfo<Case>& info)
{
    return info.param.pszName;
}
} // namespace vextest

#endif // VEXDEP_TESTSUPPORT_H
