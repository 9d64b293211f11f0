// Runs the real checker executable on every package of the catalogue of bad
// packages (tests/fixtures/bad/, described in its README.md) and checks, for
// "hard" and for "soft":
//
//  - the exit status, standard output and standard error it must give;
//  - that the content of a file outside the package (which some packages name
//    through external entities or links) never shows in the output or in any
//    file of the package, and that this file is left as it was;
//  - that every collector process is gone afterwards, where a case asks;
//  - under strace, that nothing outside the package directory was read or
//    written, that the outside file was never even opened, and that no
//    network connection was attempted;
//  - that vexinspect explain, run the same way on a fresh copy, shows the
//    dependencies the checker reports and the exit status it returns.
//
// Every run happens in a private mount namespace whose /sys/firmware and /dev
// hold only the firmware the case names. Where that is refused the tests
// report themselves skipped; where strace is refused the trace tests do.

#include "CheckerRun.h"
#include "DmidecodeComparison.h"
#include "ReportedDependencies.h"
#include "SmbiosBuilder.h"
#include "TestSupport.h"

#include "DeviceInfo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace vextest;

namespace
{
const std::string kCatalogue = std::string(VEXDEP_FIXTURES_DIR) + "/bad";
const std::string kInspect = VEXDEP_INSPECT_EXECUTABLE;
// The collector most cases run (setup "collector PATH [MODE]").
const char* const kStandardCollector = "standard-collector.sh";
// What the file outside the package holds. No output and no file of the
// package may ever hold it.
const std::string kOutsideContent = "VEXDEP-OUTSIDE-CONTENT-5d1c9e";
// The longest a single run may take before it counts as hung.
const char* const kRunTimeLimitSeconds = "60";

// ---------------------------------------------------------------------------
// The catalogue
// ---------------------------------------------------------------------------

struct ExpectedRun
{
    bool bStatusGiven = false;
    int nStatus = 0;
    std::string strStdout;
    std::string strStderr;
};

struct BadCase
{
    std::string strName;
    std::string strFirmware = "none";
    std::string strOutside = "file";
    std::vector<std::string> vSetup;
    std::vector<std::string> vAbsent;
    std::vector<std::string> vPresent;
    std::vector<std::string> vAllowOutside;
    std::vector<std::string> vNoSurvivor;
    std::vector<std::string> vSurvivor;
    std::vector<std::string> vEnvironment; // NAME=value for every run of the case
    std::map<std::string, ExpectedRun> mapRuns;

    std::string Directory() const { return kCatalogue + "/" + strName; }
};

std::vector<std::string> CaseNames()
{
    std::vector<std::string> vCases;
    for (const std::string& strName : ListDirectory(kCatalogue))
    {
        if (IsDirectory(kCatalogue + "/" + strName))
        {
            vCases.push_back(strName);
        }
    }
    return vCases;
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
    {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f')
    {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F')
    {
        return c - 'A' + 10;
    }
    return -1;
}

// A double-quoted text with the escapes \n \t \\ \" and \xHH.
std::string Unquote(const std::string& strQuoted, const std::string& strWhere)
{
    if (strQuoted.size() < 2 || strQuoted.front() != '"' || strQuoted.back() != '"')
    {
        throw std::runtime_error(strWhere + ": a quoted text is expected");
    }
    std::string strText;
    for (std::size_t i = 1; i + 1 < strQuoted.size(); ++i)
    {
        const char c = strQuoted[i];
        if (c != '\\')
        {
            strText += c;
            continue;
        }
        if (i + 2 >= strQuoted.size())
        {
            throw std::runtime_error(strWhere + ": an escape ends the text");
        }
        const char e = strQuoted[++i];
        switch (e)
        {
        case 'n':
            strText += '\n';
            break;
        case 't':
            strText += '\t';
            break;
        case '\\':
        case '"':
            strText += e;
            break;
        case 'x':
        {
            const int nHigh = i + 2 < strQuoted.size() ? HexDigit(strQuoted[i + 1]) : -1;
            const int nLow = i + 2 < strQuoted.size() ? HexDigit(strQuoted[i + 2]) : -1;
            if (nHigh < 0 || nLow < 0)
            {
                throw std::runtime_error(strWhere + ": \\x needs two hexadecimal digits");
            }
            strText += static_cast<char>(nHigh * 16 + nLow);
            i += 2;
            break;
        }
        default:
            throw std::runtime_error(strWhere + ": unknown escape \\" + std::string(1, e));
        }
    }
    return strText;
}

BadCase LoadCase(const std::string& strName)
{
    BadCase badCase;
    badCase.strName = strName;
    const std::string strPath = badCase.Directory() + "/expected";
    std::istringstream issExpected(ReadFile(strPath));
    std::string strLine;
    std::size_t nLine = 0;
    while (std::getline(issExpected, strLine))
    {
        ++nLine;
        const std::string strWhere = strPath + ":" + std::to_string(nLine);
        if (strLine.empty() || strLine[0] == '#')
        {
            continue;
        }
        const std::string::size_type nColon = strLine.find(": ");
        if (nColon == std::string::npos)
        {
            throw std::runtime_error(strWhere + ": \"key: value\" expected");
        }
        const std::string strKey = strLine.substr(0, nColon);
        const std::string strValue = strLine.substr(nColon + 2);
        if (strKey == "firmware")
        {
            badCase.strFirmware = strValue;
        }
        else if (strKey == "outside")
        {
            if (strValue != "file" && strValue != "fifo")
            {
                throw std::runtime_error(strWhere + ": outside is file or fifo");
            }
            badCase.strOutside = strValue;
        }
        else if (strKey == "setup")
        {
            badCase.vSetup.push_back(strValue);
        }
        else if (strKey == "absent")
        {
            badCase.vAbsent.push_back(strValue);
        }
        else if (strKey == "present")
        {
            badCase.vPresent.push_back(strValue);
        }
        else if (strKey == "allow-outside")
        {
            badCase.vAllowOutside.push_back(strValue);
        }
        else if (strKey == "no-survivor")
        {
            badCase.vNoSurvivor.push_back(strValue);
        }
        else if (strKey == "survivor")
        {
            badCase.vSurvivor.push_back(strValue);
        }
        else if (strKey == "env")
        {
            if (strValue.find('=') == std::string::npos || strValue[0] == '=')
            {
                throw std::runtime_error(strWhere + ": env is NAME=value");
            }
            badCase.vEnvironment.push_back(strValue);
        }
        else
        {
            const std::string::size_type nDash = strKey.find('-');
            const std::string strRun = strKey.substr(0, nDash);
            const std::string strField = nDash == std::string::npos ? "" : strKey.substr(nDash + 1);
            if ((strRun != "hard" && strRun != "soft") ||
                (strField != "status" && strField != "stdout" && strField != "stderr"))
            {
                throw std::runtime_error(strWhere + ": unknown key " + strKey);
            }
            ExpectedRun& run = badCase.mapRuns[strRun];
            if (strField == "status")
            {
                run.bStatusGiven = true;
                run.nStatus = std::stoi(strValue);
            }
            else if (strField == "stdout")
            {
                run.strStdout = Unquote(strValue, strWhere);
            }
            else
            {
                run.strStderr = Unquote(strValue, strWhere);
            }
        }
    }
    for (const char* pszRun : {"hard", "soft"})
    {
        if (!badCase.mapRuns[pszRun].bStatusGiven)
        {
            throw std::runtime_error(strPath + ": " + pszRun + "-status is missing");
        }
    }
    return badCase;
}

// ---------------------------------------------------------------------------
// Placeholders
// ---------------------------------------------------------------------------

// {OUTSIDE} becomes the path of the outside file, {PACKAGE} the package
// directory (as the checker sees it, without a trailing "/"), {BASE} the
// download base address, and {REPEAT:n:text} the text (which runs to the
// next "}") n times, with every "#" in it replaced by the repetition's number
// (from 0).
std::string Expand(const std::string& strText, const std::string& strOutside, const std::string& strPackage)
{
    std::string strResult;
    strResult.reserve(strText.size());
    std::size_t nPos = 0;
    while (nPos < strText.size())
    {
        const std::string::size_type nOpen = strText.find('{', nPos);
        if (nOpen == std::string::npos)
        {
            strResult.append(strText, nPos, std::string::npos);
            break;
        }
        strResult.append(strText, nPos, nOpen - nPos);
        if (strText.compare(nOpen, 9, "{OUTSIDE}") == 0)
        {
            strResult += strOutside;
            nPos = nOpen + 9;
        }
        else if (strText.compare(nOpen, 9, "{PACKAGE}") == 0)
        {
            strResult += strPackage;
            nPos = nOpen + 9;
        }
        else if (strText.compare(nOpen, 6, "{BASE}") == 0)
        {
            strResult += pszDefaultDownloadBase;
            nPos = nOpen + 6;
        }
        else if (strText.compare(nOpen, 8, "{REPEAT:") == 0)
        {
            const std::string::size_type nCountEnd = strText.find(':', nOpen + 8);
            const std::string::size_type nClose = strText.find('}', nOpen);
            if (nCountEnd == std::string::npos || nClose == std::string::npos || nCountEnd > nClose)
            {
                throw std::runtime_error("malformed {REPEAT:n:text}");
            }
            const unsigned long nCount = std::stoul(strText.substr(nOpen + 8, nCountEnd - nOpen - 8));
            const std::string strUnit = strText.substr(nCountEnd + 1, nClose - nCountEnd - 1);
            strResult.reserve(strResult.size() + nCount * strUnit.size());
            const bool bNumbered = strUnit.find('#') != std::string::npos;
            for (unsigned long n = 0; n < nCount; ++n)
            {
                if (!bNumbered)
                {
                    strResult += strUnit;
                    continue;
                }
                for (char c : strUnit)
                {
                    if (c == '#')
                    {
                        strResult += std::to_string(n);
                    }
                    else
                    {
                        strResult += c;
                    }
                }
            }
            nPos = nClose + 1;
        }
        else
        {
            strResult += '{';
            nPos = nOpen + 1;
        }
    }
    return strResult;
}

// Copies the case's package/ tree, expanding placeholders in every file and
// keeping each file's permissions.
void CopyPackage(const std::string& strFrom, const std::string& strTo, const std::string& strOutside,
                 const std::string& strPackage)
{
    for (const std::string& strName : ListDirectory(strFrom))
    {
        const std::string strSource = strFrom + "/" + strName;
        const std::string strTarget = strTo + "/" + strName;
        struct stat st;
        if (::lstat(strSource.c_str(), &st) != 0)
        {
            throw std::runtime_error("cannot read " + strSource);
        }
        if (S_ISDIR(st.st_mode))
        {
            MakeDirectory(strTarget);
            CopyPackage(strSource, strTarget, strOutside, strPackage);
            continue;
        }
        WriteFile(strTarget, Expand(ReadFile(strSource), strOutside, strPackage));
        ::chmod(strTarget.c_str(), st.st_mode & 07777);
    }
}

void ApplySetup(const std::string& strAction, const std::string& strPackage, const std::string& strOutside)
{
    std::istringstream issAction(strAction);
    std::string strVerb;
    std::string strPath;
    std::string strTarget;
    issAction >> strVerb >> strPath >> strTarget;
    const std::string strFull = strPackage + "/" + strPath;
    int nResult = -1;
    if (strVerb == "collector")
    {
        // The catalogue's ordinary collector, executable unless a mode is
        // given; its release directory is made when the case has no other
        // file in it.
        const std::string strDirectory = strFull.substr(0, strFull.rfind('/'));
        if (!IsDirectory(strDirectory))
        {
            MakeDirectory(strDirectory);
        }
        WriteFile(strFull, ReadFile(kCatalogue + "/" + kStandardCollector));
        const mode_t nMode = strTarget.empty() ? 0755 : static_cast<mode_t>(std::stoul(strTarget, nullptr, 8));
        nResult = ::chmod(strFull.c_str(), nMode);
    }
    else if (strVerb == "mkdir")
    {
        nResult = ::mkdir(strFull.c_str(), 0755);
    }
    else if (strVerb == "mkfifo")
    {
        nResult = ::mkfifo(strFull.c_str(), 0644);
    }
    else if (strVerb == "symlink" && !strTarget.empty())
    {
        nResult = ::symlink(Expand(strTarget, strOutside, strPackage).c_str(), strFull.c_str());
    }
    else
    {
        throw std::runtime_error("unknown setup: " + strAction);
    }
    if (nResult != 0)
    {
        throw std::runtime_error("setup failed: " + strAction + ": " + std::strerror(errno));
    }
}

// ---------------------------------------------------------------------------
// Firmware recipes
// ---------------------------------------------------------------------------

EntryPoint2Options EntryPointFor(const std::string& strTable)
{
    EntryPoint2Options options;
    options.nTableLength = static_cast<uint16_t>(strTable.size());
    options.nTableAddress = 0xF1000;
    return options;
}

Firmware SysfsFirmware(const std::string& strTable)
{
    return Firmware::FromSysfs(SmbiosEntryPoint2(EntryPointFor(strTable)), strTable);
}

Firmware FirmwareFor(const std::string& strRecipe)
{
    const std::string strBios = BiosInformationStructure("Brix", "2.19.1");
    const std::string strSystem = SystemInformationStructure("Brix", "Server R1", "1", "SN0001");
    if (strRecipe == "none")
    {
        return Firmware::NoTables();
    }
    if (strRecipe == "system-0b")
    {
        return SysfsFirmware(
            SmbiosTable({strBios, strSystem, OemStringsStructure({"Brix System"}), RevisionStructure(0x0B)}));
    }
    if (strRecipe == "structure-runs-past-the-table")
    {
        // The OEM strings claim 0xF0 bytes of formatted area; the table ends
        // long before.
        return SysfsFirmware(
            SmbiosTable({strBios, SmbiosRawStructure(11, 0xF0, std::string(1, '\1'), "Brix System")}, false));
    }
    if (strRecipe == "structure-shorter-than-its-header")
    {
        return SysfsFirmware(SmbiosTable({strBios, SmbiosRawStructure(1, 2, "", std::string(2, '\0')),
                                          OemStringsStructure({"Brix System"}), RevisionStructure(0x0B)}));
    }
    if (strRecipe == "strings-never-end")
    {
        return SysfsFirmware(
            SmbiosTable({strBios, SmbiosRawStructure(11, 5, std::string(1, '\1'), "Brix System")}, false));
    }
    if (strRecipe == "revision-structure-too-short")
    {
        // The revision structure is the last bytes of the table: header and
        // an empty string set, nothing at offset 6.
        return SysfsFirmware(SmbiosTable(
            {strBios, OemStringsStructure({"Brix System"}), SmbiosRawStructure(208, 4, "", std::string(2, '\0'))},
            false));
    }
    if (strRecipe == "entry-point-longer-than-any")
    {
        const std::string strTable =
            SmbiosTable({strBios, strSystem, OemStringsStructure({"Brix System"}), RevisionStructure(0x0B)});
        // Zeros behind a correct entry point keep its checksum.
        return Firmware::FromSysfs(SmbiosEntryPoint2(EntryPointFor(strTable)) + std::string(33, '\0'), strTable);
    }
    if (strRecipe == "memory-table-beyond-memory")
    {
        SmbiosMemoryImage image;
        EntryPoint2Options options;
        options.nTableLength = 0x1000;
        options.nTableAddress = 0xFFFF0;
        image.Put(0xF0010, SmbiosEntryPoint2(options));
        return Firmware::FromMemory(image.Bytes());
    }
    if (strRecipe == "memory-entry-point-length-lies")
    {
        // The last candidate of the scan: an anchor whose length byte claims
        // 255 bytes, of which only 8 are left in the area.
        SmbiosMemoryImage image;
        image.Put(0xFFFF8, std::string("_SM_\0\xFF", 6));
        return Firmware::FromMemory(image.Bytes());
    }
    throw std::runtime_error("unknown firmware recipe " + strRecipe);
}

// ---------------------------------------------------------------------------
// Running a case
// ---------------------------------------------------------------------------

struct CaseRun
{
    CommandResult result;
    std::string strPackage; // the package directory of the run
    std::string strOutside; // the outside file
    std::string strTrace;   // the strace output, when traced
};

bool CanTrace()
{
    static const bool bUsable = [] {
        TempDir dir;
        const CommandResult result =
            RunCommand({"/usr/bin/strace", "-f", "-qq", "-o", dir.File("trace"), "/bin/true"}, dir.Path());
        return result.nExitStatus == 0 && ReadFile(dir.File("trace")).find("execve") != std::string::npos;
    }();
    return bUsable;
}

// Owns the directories of one run.
class CaseWorkspace
{
public:
    CaseWorkspace(const BadCase& badCase)
    {
        m_strOutside = m_outside.File("outside-file");
        if (badCase.strOutside == "fifo")
        {
            if (::mkfifo(m_strOutside.c_str(), 0644) != 0)
            {
                throw std::runtime_error("mkfifo failed");
            }
        }
        else
        {
            WriteFile(m_strOutside, kOutsideContent);
        }
        CopyPackage(badCase.Directory() + "/package", m_package.Path(), m_strOutside, RealPathOf(m_package.Path()));
        for (const std::string& strAction : badCase.vSetup)
        {
            ApplySetup(strAction, m_package.Path(), m_strOutside);
        }
    }

    // Runs vexdepcheck with strType.
    CaseRun Run(const BadCase& badCase, const std::string& strType, bool bTrace)
    {
        return Run(badCase, {CheckerExecutable(), strType}, bTrace);
    }

    // Runs vCommand in the package, as the installer would run the checker.
    CaseRun Run(const BadCase& badCase, const std::vector<std::string>& vCommand, bool bTrace)
    {
        std::vector<std::string> vArgs = {"/usr/bin/timeout",   "-s",           "KILL",
                                          kRunTimeLimitSeconds, "/usr/bin/env", "PATH=/usr/sbin:/usr/bin:/sbin:/bin"};
        vArgs.insert(vArgs.end(), badCase.vEnvironment.begin(), badCase.vEnvironment.end());
        CaseRun run;
        run.strPackage = m_package.Path();
        run.strOutside = m_strOutside;
        const std::string strTrace = m_traceDir.File("trace");
        if (bTrace)
        {
            // The leak check of a sanitizer build stops the process's threads
            // with ptrace, which strace already does: it is left to the
            // untraced runs.
            const char* pszAsan = std::getenv("ASAN_OPTIONS");
            vArgs.push_back(std::string("ASAN_OPTIONS=") + (pszAsan != nullptr ? pszAsan : "") + ":detect_leaks=0");
            vArgs.insert(vArgs.end(), {"/usr/bin/strace", "-f", "-qq", "-y", "-s", "4096", "-e",
                                       "trace=%file,%process,%network", "-o", strTrace});
        }
        vArgs.insert(vArgs.end(), vCommand.begin(), vCommand.end());
        run.result = RunInPackage(vArgs, m_package.Path(), FirmwareFor(badCase.strFirmware));
        if (bTrace)
        {
            run.strTrace = FileExists(strTrace) ? ReadFile(strTrace) : std::string();
        }
        return run;
    }

private:
    TempDir m_package;
    TempDir m_outside;
    TempDir m_traceDir;
    std::string m_strOutside;
};

// Every regular file below strDirectory, with its path.
void CollectFiles(const std::string& strDirectory, std::vector<std::string>& vFiles)
{
    for (const std::string& strName : ListDirectory(strDirectory))
    {
        const std::string strPath = strDirectory + "/" + strName;
        struct stat st;
        if (::lstat(strPath.c_str(), &st) != 0)
        {
            continue;
        }
        if (S_ISDIR(st.st_mode))
        {
            CollectFiles(strPath, vFiles);
        }
        else if (S_ISREG(st.st_mode))
        {
            vFiles.push_back(strPath);
        }
    }
}

bool ProcessIsGone(pid_t nPid)
{
    // A process that was killed may take a moment to be reaped.
    for (int i = 0; i < 50; ++i)
    {
        if (::kill(nPid, 0) != 0 && errno == ESRCH)
        {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

std::string Shorten(const std::string& strText)
{
    const std::size_t nLimit = 2000;
    if (strText.size() <= nLimit)
    {
        return strText;
    }
    return strText.substr(0, nLimit) + "... (" + std::to_string(strText.size()) + " bytes in all)";
}

// Written back into a case's expected file by the recording mode below.
std::string Quote(const std::string& strText)
{
    static const char kHex[] = "0123456789ABCDEF";
    std::string strQuoted = "\"";
    for (const char c : strText)
    {
        const unsigned char u = static_cast<unsigned char>(c);
        if (c == '\n')
        {
            strQuoted += "\\n";
        }
        else if (c == '\t')
        {
            strQuoted += "\\t";
        }
        else if (c == '\\' || c == '"')
        {
            strQuoted += '\\';
            strQuoted += c;
        }
        else if (u < 0x20 || u >= 0x7F)
        {
            strQuoted += "\\x";
            strQuoted += kHex[u >> 4];
            strQuoted += kHex[u & 0xF];
        }
        else
        {
            strQuoted += c;
        }
    }
    return strQuoted + "\"";
}

// A maintainer's aid, never used by the test run itself: with
// VEXDEP_RECORD_STDERR=1 in the environment, a run whose standard error
// differs from its case's expectation writes what it got (with the
// placeholders put back) into the case's expected file, for review with
// git diff. The run still fails.
void RecordStandardError(const BadCase& badCase, const std::string& strType, const CaseRun& run)
{
    const char* pszRecord = std::getenv("VEXDEP_RECORD_STDERR");
    if (pszRecord == nullptr || std::string(pszRecord) != "1")
    {
        return;
    }
    std::string strGot = ReplaceAll(run.result.strStderr, RealPathOf(run.strPackage), "{PACKAGE}");
    strGot = ReplaceAll(strGot, run.strOutside, "{OUTSIDE}");
    const std::string strFile = badCase.Directory() + "/expected";
    std::istringstream issOld(ReadFile(strFile));
    std::string strNew;
    std::string strLine;
    const std::string strKey = strType + "-stderr:";
    const std::string strAfter = strType + "-stdout:";
    bool bWritten = false;
    while (std::getline(issOld, strLine))
    {
        if (strLine.compare(0, strKey.size(), strKey) == 0)
        {
            continue;
        }
        strNew += strLine + "\n";
        if (!bWritten && strLine.compare(0, strAfter.size(), strAfter) == 0)
        {
            strNew += strKey + " " + Quote(strGot) + "\n";
            bWritten = true;
        }
    }
    if (!bWritten)
    {
        strNew += strKey + " " + Quote(strGot) + "\n";
    }
    std::ofstream(strFile, std::ios::trunc) << strNew;
}

// The expected outcome of one run, and what no run may ever do.
void CheckOutcome(const BadCase& badCase, const std::string& strType, const CaseRun& run)
{
    const ExpectedRun& expected = badCase.mapRuns.at(strType);
    const std::string strPackage = RealPathOf(run.strPackage);
    const std::string strExpectedStdout = Expand(expected.strStdout, run.strOutside, strPackage);
    const std::string strExpectedStderr = Expand(expected.strStderr, run.strOutside, strPackage);
    EXPECT_EQ(run.result.nExitStatus, expected.nStatus) << "stderr: " << Shorten(run.result.strStderr);
    if (run.result.strStdout != strExpectedStdout)
    {
        ADD_FAILURE() << "standard output differs.\n got: " << Shorten(run.result.strStdout)
                      << "\nwant: " << Shorten(strExpectedStdout);
    }
    EXPECT_EQ(Shorten(run.result.strStderr), Shorten(strExpectedStderr));
    if (run.result.strStderr != strExpectedStderr)
    {
        RecordStandardError(badCase, strType, run);
    }

    // The outside file's content shows nowhere and the file is unchanged.
    EXPECT_EQ(run.result.strStdout.find(kOutsideContent), std::string::npos);
    EXPECT_EQ(run.result.strStderr.find(kOutsideContent), std::string::npos);
    std::vector<std::string> vFiles;
    CollectFiles(run.strPackage, vFiles);
    for (const std::string& strFile : vFiles)
    {
        EXPECT_EQ(ReadFile(strFile).find(kOutsideContent), std::string::npos) << strFile;
    }
    struct stat st;
    ASSERT_EQ(::lstat(run.strOutside.c_str(), &st), 0);
    if (badCase.strOutside == "fifo")
    {
        EXPECT_TRUE(S_ISFIFO(st.st_mode));
    }
    else
    {
        EXPECT_TRUE(S_ISREG(st.st_mode));
        EXPECT_EQ(ReadFile(run.strOutside), kOutsideContent);
    }

    for (const std::string& strPath : badCase.vAbsent)
    {
        EXPECT_FALSE(FileExists(run.strPackage + "/" + strPath)) << strPath << " should not exist";
    }
    for (const std::string& strPath : badCase.vPresent)
    {
        EXPECT_TRUE(FileExists(run.strPackage + "/" + strPath)) << strPath << " should exist";
    }
    for (const std::string& strPidFile : badCase.vNoSurvivor)
    {
        const std::string strPath = run.strPackage + "/" + strPidFile;
        ASSERT_TRUE(FileExists(strPath)) << strPidFile << " was not written";
        const long nPid = std::strtol(ReadFile(strPath).c_str(), nullptr, 10);
        ASSERT_GT(nPid, 1) << strPidFile;
        EXPECT_TRUE(ProcessIsGone(static_cast<pid_t>(nPid))) << "process " << nPid << " outlived the checker";
        ::kill(static_cast<pid_t>(nPid), SIGKILL);
    }
    for (const std::string& strPidFile : badCase.vSurvivor)
    {
        // Left alone by the checker, as the shell leaves a background job;
        // the test ends it.
        const std::string strPath = run.strPackage + "/" + strPidFile;
        ASSERT_TRUE(FileExists(strPath)) << strPidFile << " was not written";
        const long nPid = std::strtol(ReadFile(strPath).c_str(), nullptr, 10);
        ASSERT_GT(nPid, 1) << strPidFile;
        EXPECT_EQ(::kill(static_cast<pid_t>(nPid), 0), 0) << "process " << nPid << " was ended by the checker";
        ::kill(static_cast<pid_t>(nPid), SIGKILL);
    }
}

// ---------------------------------------------------------------------------
// The trace
// ---------------------------------------------------------------------------

// Lexically normalised absolute path: no ".", "..", or repeated "/".
std::string Normalise(const std::string& strPath)
{
    std::vector<std::string> vParts;
    std::istringstream issPath(strPath);
    std::string strPart;
    while (std::getline(issPath, strPart, '/'))
    {
        if (strPart.empty() || strPart == ".")
        {
            continue;
        }
        if (strPart == "..")
        {
            if (!vParts.empty())
            {
                vParts.pop_back();
            }
            continue;
        }
        vParts.push_back(strPart);
    }
    std::string strResult;
    for (const std::string& strEach : vParts)
    {
        strResult += "/" + strEach;
    }
    return strResult.empty() ? "/" : strResult;
}

std::string Resolve(const std::string& strPath, const std::string& strBase)
{
    if (!strPath.empty() && strPath[0] == '/')
    {
        return Normalise(strPath);
    }
    return Normalise(strBase + "/" + strPath);
}

bool IsBelow(const std::string& strPath, const std::string& strDirectory)
{
    return strPath == strDirectory ||
           (strPath.size() > strDirectory.size() && strPath.compare(0, strDirectory.size(), strDirectory) == 0 &&
            strPath[strDirectory.size()] == '/');
}

// One traced system call, with its unfinished and resumed halves joined.
struct TracedCall
{
    std::string strPid;
    std::string strName;
    std::string strArguments;
    std::string strResult;
};

std::vector<TracedCall> ParseTrace(const std::string& strTrace)
{
    std::vector<TracedCall> vCalls;
    std::map<std::string, std::string> mapPending;
    std::istringstream issTrace(strTrace);
    std::string strLine;
    while (std::getline(issTrace, strLine))
    {
        const std::string::size_type nSpace = strLine.find(' ');
        if (nSpace == std::string::npos)
        {
            continue;
        }
        const std::string strPid = strLine.substr(0, nSpace);
        std::string strRest = strLine.substr(nSpace + 1);
        if (strRest.compare(0, 3, "---") == 0 || strRest.compare(0, 3, "+++") == 0)
        {
            continue;
        }
        const std::string strUnfinished = " <unfinished ...>";
        if (strRest.size() >= strUnfinished.size() &&
            strRest.compare(strRest.size() - strUnfinished.size(), strUnfinished.size(), strUnfinished) == 0)
        {
            mapPending[strPid] = strRest.substr(0, strRest.size() - strUnfinished.size());
            continue;
        }
        if (strRest.compare(0, 5, "<... ") == 0)
        {
            const std::string::size_type nResumed = strRest.find(" resumed>");
            if (nResumed == std::string::npos)
            {
                continue;
            }
            strRest = mapPending[strPid] + strRest.substr(nResumed + 9);
            mapPending.erase(strPid);
        }
        const std::string::size_type nParen = strRest.find('(');
        const std::string::size_type nEquals = strRest.rfind(") = ");
        if (nParen == std::string::npos)
        {
            continue;
        }
        TracedCall call;
        call.strPid = strPid;
        call.strName = strRest.substr(0, nParen);
        if (nEquals != std::string::npos && nEquals > nParen)
        {
            call.strArguments = strRest.substr(nParen + 1, nEquals - nParen - 1);
            call.strResult = strRest.substr(nEquals + 4);
        }
        else
        {
            call.strArguments = strRest.substr(nParen + 1);
            call.strResult = "?";
        }
        vCalls.push_back(call);
    }
    return vCalls;
}

// A path argument and the directory a relative one is resolved against.
struct PathArgument
{
    std::string strPath;
    std::string strBase; // empty when unknown
};

// The quoted texts of an argument list, each with the directory named by the
// descriptor argument written before it (AT_FDCWD</dir> or 3</dir>).
std::vector<PathArgument> PathArguments(const std::string& strArguments)
{
    std::vector<PathArgument> vPaths;
    std::string strLastBase;
    std::size_t i = 0;
    while (i < strArguments.size())
    {
        const char c = strArguments[i];
        if (c == '<')
        {
            const std::string::size_type nClose = strArguments.find('>', i);
            if (nClose == std::string::npos)
            {
                break;
            }
            strLastBase = strArguments.substr(i + 1, nClose - i - 1);
            i = nClose + 1;
            continue;
        }
        if (c == '[' || c == '{')
        {
            // argv, environment, structures: no paths of interest.
            const char cClose = c == '[' ? ']' : '}';
            int nDepth = 0;
            bool bInString = false;
            for (; i < strArguments.size(); ++i)
            {
                const char d = strArguments[i];
                if (bInString)
                {
                    if (d == '\\')
                    {
                        ++i;
                    }
                    else if (d == '"')
                    {
                        bInString = false;
                    }
                    continue;
                }
                if (d == '"')
                {
                    bInString = true;
                }
                else if (d == c)
                {
                    ++nDepth;
                }
                else if (d == cClose && --nDepth == 0)
                {
                    ++i;
                    break;
                }
            }
            continue;
        }
        if (c == '"')
        {
            std::string strText;
            ++i;
            for (; i < strArguments.size() && strArguments[i] != '"'; ++i)
            {
                if (strArguments[i] == '\\' && i + 1 < strArguments.size())
                {
                    ++i;
                    const char e = strArguments[i];
                    if (e == 'x' && i + 2 < strArguments.size())
                    {
                        strText +=
                            static_cast<char>(HexDigit(strArguments[i + 1]) * 16 + HexDigit(strArguments[i + 2]));
                        i += 2;
                    }
                    else if (e == 'n')
                    {
                        strText += '\n';
                    }
                    else if (e == 't')
                    {
                        strText += '\t';
                    }
                    else
                    {
                        strText += e;
                    }
                    continue;
                }
                strText += strArguments[i];
            }
            ++i;
            vPaths.push_back(PathArgument{strText, strLastBase});
            strLastBase.clear();
            continue;
        }
        if (c == ',')
        {
            // A descriptor annotation belongs to the argument right after it.
            const std::string::size_type nNext = strArguments.find_first_not_of(' ', i + 1);
            if (nNext != std::string::npos && strArguments[nNext] != '"')
            {
                strLastBase.clear();
            }
        }
        ++i;
    }
    return vPaths;
}

bool NameIn(const std::string& strName, std::initializer_list<const char*> names)
{
    for (const char* pszName : names)
    {
        if (strName == pszName)
        {
            return true;
        }
    }
    return false;
}

// The result of a successful call that returns a descriptor names the file
// actually opened: "3</the/file>".
std::string OpenedPath(const std::string& strResult)
{
    const std::string::size_type nOpen = strResult.find('<');
    const std::string::size_type nClose = strResult.rfind('>');
    if (nOpen == std::string::npos || nClose == std::string::npos || nClose < nOpen)
    {
        return std::string();
    }
    return strResult.substr(nOpen + 1, nClose - nOpen - 1);
}

// The places every run may read besides its package: the dynamic loader and
// its libraries, locale and time zone data, the process's own /proc entries,
// the firmware sources, the null device, the shell and the programs the
// collectors run (their search along PATH, and the list of file systems
// that some of those programs read at start), and the checker itself.
bool AllowedToRead(const std::string& strPath, const std::set<std::string>& setPids,
                   const std::vector<std::string>& vExtra)
{
    static const char* const apszPrefixes[] = {
        "/etc/ld.so.cache",
        "/etc/ld.so.preload",
        "/etc/localtime",
        "/etc/locale.alias",
        "/lib",
        "/lib64",
        "/usr/lib",
        "/usr/lib64",
        "/usr/share/locale",
        "/usr/share/zoneinfo",
        "/proc/self",
        "/proc/thread-self",
        "/sys/firmware/dmi/tables",
        "/dev/mem",
        "/dev/char/mem/smbios",
        "/dev/null",
        "/bin",
        "/usr/bin",
        "/sbin",
        "/usr/sbin",
        "/proc/filesystems",
    };
    for (const char* pszPrefix : apszPrefixes)
    {
        if (IsBelow(strPath, pszPrefix))
        {
            return true;
        }
    }
    for (const std::string& strPid : setPids)
    {
        if (IsBelow(strPath, "/proc/" + strPid))
        {
            return true;
        }
    }
    const std::string strChecker = Normalise(CheckerExecutable());
    if (strPath == strChecker || strPath == RealPathOf(strChecker))
    {
        return true;
    }
    for (const std::string& strAllowed : vExtra)
    {
        if (IsBelow(strPath, strAllowed))
        {
            return true;
        }
    }
    return false;
}

// What the trace shows the run doing outside its package; empty when
// nothing.
std::vector<std::string> OutsideAccesses(const BadCase& badCase, const CaseRun& run)
{
    std::vector<std::string> vProblems;
    const std::vector<TracedCall> vCalls = ParseTrace(run.strTrace);
    const std::string strPackage = Normalise(run.strPackage);
    const std::string strPackageReal = RealPathOf(run.strPackage);
    const std::string strOutside = Normalise(run.strOutside);
    const std::string strOutsideReal = RealPathOf(run.strOutside);
    std::set<std::string> setPids;
    std::map<std::string, std::string> mapCwd;
    for (const TracedCall& call : vCalls)
    {
        setPids.insert(call.strPid);
    }
    auto Inside = [&](const std::string& strPath) {
        return IsBelow(strPath, strPackage) || IsBelow(strPath, strPackageReal);
    };

    for (const TracedCall& call : vCalls)
    {
        const std::string strWhat = call.strPid + " " + call.strName + "(" + call.strArguments +
                                    ") = " + call.strResult;
        if (NameIn(call.strName, {"socket", "connect", "bind", "listen", "sendto", "sendmsg", "socketpair"}))
        {
            vProblems.push_back("network use: " + strWhat);
            continue;
        }
        const bool bFailed = call.strResult.compare(0, 2, "-1") == 0 || call.strResult == "?";
        std::vector<PathArgument> vPaths = PathArguments(call.strArguments);
        if (vPaths.empty())
        {
            continue;
        }
        if (NameIn(call.strName, {"execve", "execveat"}))
        {
            vPaths.resize(1);
        }
        else if (NameIn(call.strName, {"symlink", "symlinkat"}))
        {
            vPaths.erase(vPaths.begin());
        }
        const bool bOpen = NameIn(call.strName, {"open", "openat", "openat2", "creat"});
        const bool bWrite =
            call.strName == "creat" ||
            (bOpen && (call.strArguments.find("O_WRONLY") != std::string::npos ||
                       call.strArguments.find("O_RDWR") != std::string::npos ||
                       call.strArguments.find("O_CREAT") != std::string::npos ||
                       call.strArguments.find("O_TRUNC") != std::string::npos)) ||
            NameIn(call.strName,
                   {"mkdir",     "mkdirat", "rmdir",    "unlink",   "unlinkat",  "rename",      "renameat",
                    "renameat2", "link",    "linkat",   "symlink",  "symlinkat", "chmod",       "fchmodat",
                    "chown",     "lchown",  "fchownat", "truncate", "utime",     "utimes",      "utimensat",
                    "futimesat", "mknod",   "mknodat",  "setxattr", "lsetxattr", "removexattr", "lremovexattr"});

        std::vector<std::string> vResolved;
        for (const PathArgument& argument : vPaths)
        {
            std::string strBase = argument.strBase;
            if (!strBase.empty() && strBase[0] != '/')
            {
                // A descriptor of no file (a pipe, a socket): nothing is
                // named by the path.
                if (argument.strPath.empty() || argument.strPath[0] != '/')
                {
                    continue;
                }
            }
            if (strBase.empty())
            {
                strBase = mapCwd.count(call.strPid) != 0 ? mapCwd[call.strPid] : run.strPackage;
            }
            else if (argument.strBase.compare(0, 1, "/") == 0 && call.strArguments.compare(0, 8, "AT_FDCWD") == 0)
            {
                mapCwd[call.strPid] = argument.strBase;
            }
            vResolved.push_back(Resolve(argument.strPath, strBase));
        }
        if (bOpen && !bFailed)
        {
            const std::string strOpened = OpenedPath(call.strResult);
            if (!strOpened.empty())
            {
                vResolved.push_back(Normalise(strOpened));
            }
        }

        std::sort(vResolved.begin(), vResolved.end());
        vResolved.erase(std::unique(vResolved.begin(), vResolved.end()), vResolved.end());
        for (const std::string& strPath : vResolved)
        {
            if (strPath == strOutside || strPath == strOutsideReal)
            {
                vProblems.push_back("the outside file was touched: " + strWhat);
                continue;
            }
            if (Inside(strPath))
            {
                continue;
            }
            if (bWrite)
            {
                if (strPath != "/dev/null")
                {
                    vProblems.push_back("write outside the package: " + strWhat);
                }
                continue;
            }
            if (!bFailed && !AllowedToRead(strPath, setPids, badCase.vAllowOutside))
            {
                vProblems.push_back("read outside the package (" + strPath + "): " + strWhat);
            }
        }
    }
    return vProblems;
}

// ---------------------------------------------------------------------------
// The tests
// ---------------------------------------------------------------------------

struct RunParam
{
    std::string strCase;
    std::string strType;
};

void PrintTo(const RunParam& param, std::ostream* pStream) { *pStream << param.strCase << " " << param.strType; }

std::vector<RunParam> AllRuns()
{
    std::vector<RunParam> vRuns;
    for (const std::string& strCase : CaseNames())
    {
        vRuns.push_back(RunParam{strCase, "hard"});
        vRuns.push_back(RunParam{strCase, "soft"});
    }
    return vRuns;
}

std::string RunName(const ::testing::TestParamInfo<RunParam>& info)
{
    std::string strName = info.param.strCase + "_" + info.param.strType;
    std::replace(strName.begin(), strName.end(), '-', '_');
    return strName;
}

#define SKIP_WITHOUT_NAMESPACE()                                                                                       \
    if (!CanUseMountNamespace())                                                                                       \
    GTEST_SKIP() << "private mount namespaces (unshare) are refused here; the firmware cannot be controlled"

class BadPackage : public ::testing::TestWithParam<RunParam>
{
};

class BadPackageTrace : public ::testing::TestWithParam<RunParam>
{
};

class BadPackageExplain : public ::testing::TestWithParam<RunParam>
{
};

// The firmware recipes that the catalogue's cases name, each once (but
// "none", which holds no table).
std::vector<std::string> FirmwareRecipes()
{
    std::set<std::string> setRecipes;
    for (const std::string& strCase : CaseNames())
    {
        setRecipes.insert(LoadCase(strCase).strFirmware);
    }
    setRecipes.erase("none");
    return std::vector<std::string>(setRecipes.begin(), setRecipes.end());
}

std::string RecipeName(const ::testing::TestParamInfo<std::string>& info)
{
    std::string strName = info.param;
    std::replace(strName.begin(), strName.end(), '-', '_');
    return strName;
}

class BadPackageFirmware : public ::testing::TestWithParam<std::string>
{
};
} // namespace

TEST(BadPackageCatalogue, HoldsAtLeastThirtyCasesAndEachIsReadable)
{
    const std::vector<std::string> vCases = CaseNames();
    EXPECT_GE(vCases.size(), 30u);
    for (const std::string& strCase : vCases)
    {
        EXPECT_NO_THROW(LoadCase(strCase)) << strCase;
        EXPECT_TRUE(IsDirectory(kCatalogue + "/" + strCase + "/package")) << strCase;
    }
}

TEST(BadPackageCatalogue, TheTraceReaderSeesPathsAndDescriptors)
{
    const std::vector<TracedCall> vCalls =
        ParseTrace("12 openat(AT_FDCWD</pkg/R1>, \"../inv.xml\", O_RDONLY <unfinished ...>\n"
                   "13 execve(\"/bin/sh\", [\"sh\", \"-c\", \"cat /etc/x\"], 0x7ff /* 3 vars */) = 0\n"
                   "12 <... openat resumed>) = 3</pkg/inv.xml>\n"
                   "12 --- SIGCHLD {si_signo=SIGCHLD} ---\n"
                   "13 symlinkat(\"/dev/zero\", AT_FDCWD</pkg/R1>, \"inventory.xml\") = 0\n");
    ASSERT_EQ(vCalls.size(), 3u);
    EXPECT_EQ(vCalls[0].strName, "execve");
    EXPECT_EQ(vCalls[1].strName, "openat");
    EXPECT_EQ(vCalls[1].strResult, "3</pkg/inv.xml>");
    const std::vector<PathArgument> vOpen = PathArguments(vCalls[1].strArguments);
    ASSERT_EQ(vOpen.size(), 1u);
    EXPECT_EQ(Resolve(vOpen[0].strPath, vOpen[0].strBase), "/pkg/inv.xml");
    EXPECT_EQ(PathArguments(vCalls[0].strArguments).size(), 1u);
    const std::vector<PathArgument> vLink = PathArguments(vCalls[2].strArguments);
    ASSERT_EQ(vLink.size(), 2u);
    EXPECT_EQ(vLink[0].strBase, "");
    EXPECT_EQ(vLink[1].strBase, "/pkg/R1");

    // A package that reads a file elsewhere and writes one is caught.
    BadCase badCase;
    CaseRun run;
    run.strPackage = "/pkg";
    run.strOutside = "/elsewhere/outside-file";
    run.strTrace = "20 openat(AT_FDCWD</pkg>, \"/etc/shadow\", O_RDONLY) = 3</etc/shadow>\n"
                   "20 openat(AT_FDCWD</pkg>, \"../tmp/x\", O_WRONLY|O_CREAT, 0644) = -1 EACCES (Permission denied)\n"
                   "20 openat(AT_FDCWD</pkg>, \"/elsewhere/outside-file\", O_RDONLY) = -1 ENOENT (No such file)\n"
                   "20 openat(AT_FDCWD</pkg>, \"/usr/lib/libc.so.6\", O_RDONLY) = 3</usr/lib/libc.so.6>\n"
                   "20 socket(AF_INET, SOCK_STREAM, IPPROTO_IP) = 3\n"
                   "20 openat(AT_FDCWD</pkg>, \"R1/inventory.xml\", O_RDONLY) = 3</dev/zero>\n";
    const std::vector<std::string> vProblems = OutsideAccesses(badCase, run);
    ASSERT_EQ(vProblems.size(), 5u);
    EXPECT_NE(vProblems[0].find("/etc/shadow"), std::string::npos);
    EXPECT_EQ(vProblems[1].find("write outside the package"), 0u);
    EXPECT_EQ(vProblems[2].find("the outside file was touched"), 0u);
    EXPECT_EQ(vProblems[3].find("network use"), 0u);
    EXPECT_NE(vProblems[4].find("/dev/zero"), std::string::npos);
    badCase.vAllowOutside.push_back("/dev/zero");
    EXPECT_EQ(OutsideAccesses(badCase, run).size(), 4u);
}

TEST_P(BadPackage, GivesItsExpectedOutcomeAndKeepsToItsPackage)
{
    SKIP_WITHOUT_NAMESPACE();
    const BadCase badCase = LoadCase(GetParam().strCase);
    CaseWorkspace workspace(badCase);
    const CaseRun run = workspace.Run(badCase, GetParam().strType, false);
    CheckOutcome(badCase, GetParam().strType, run);
}

TEST_P(BadPackageTrace, ReadsAndWritesNothingOutsideItsPackage)
{
    SKIP_WITHOUT_NAMESPACE();
    if (!CanTrace())
    {
        GTEST_SKIP() << "strace is refused here: what the checker opens cannot be observed";
    }
    const BadCase badCase = LoadCase(GetParam().strCase);
    CaseWorkspace workspace(badCase);
    const CaseRun run = workspace.Run(badCase, GetParam().strType, true);
    // The traced run is the same run.
    EXPECT_EQ(run.result.nExitStatus, badCase.mapRuns.at(GetParam().strType).nStatus) << Shorten(run.result.strStderr);
    ASSERT_NE(run.strTrace.find("execve("), std::string::npos) << "no trace was written";
    for (const std::string& strProblem : OutsideAccesses(badCase, run))
    {
        ADD_FAILURE() << strProblem;
    }
}

TEST_P(BadPackageExplain, AgreesWithTheCheckerOnTheReportedDependenciesAndTheExitStatus)
{
    SKIP_WITHOUT_NAMESPACE();
    const BadCase badCase = LoadCase(GetParam().strCase);
    const ExpectedRun& expected = badCase.mapRuns.at(GetParam().strType);
    CaseWorkspace workspace(badCase);
    const CaseRun run = workspace.Run(badCase, {kInspect, "explain", GetParam().strType, "--json"}, false);
    // (Standard error holds what the collectors themselves write there.)
    ASSERT_EQ(run.result.nExitStatus, 0) << Shorten(run.result.strStderr);
    EXPECT_EQ(run.result.strStdout.find(kOutsideContent), std::string::npos);
    EXPECT_EQ(JsonSchemaErrors("explain", run.result.strStdout), "");
    const nlohmann::json json = nlohmann::json::parse(run.result.strStdout);
    EXPECT_EQ(json["exitStatus"], expected.nStatus);
    const std::string strCheckerStdout = Expand(expected.strStdout, run.strOutside, RealPathOf(run.strPackage));
    EXPECT_EQ(ReportedByExplain(json), ReportedByChecker(strCheckerStdout)) << Shorten(strCheckerStdout);

    // The verdict agrees with what was reported: an unmet dependency is
    // blocked (hard) or recommended (soft); a report of failed inventories
    // alone is unverifiable; nothing to report is never blocked.
    bool bAnyUnmet = false;
    for (const nlohmann::json& entry : json["reported"])
    {
        bAnyUnmet = bAnyUnmet || entry["state"] == "unmet";
    }
    const std::string strVerdict = json["verdict"];
    if (bAnyUnmet)
    {
        EXPECT_EQ(strVerdict, GetParam().strType == "hard" ? "blocked" : "recommended") << json["reasons"].dump();
    }
    else if (!json["reported"].empty())
    {
        EXPECT_EQ(strVerdict, "unverifiable") << json["reasons"].dump();
    }
    else
    {
        EXPECT_TRUE(strVerdict == "ready" || strVerdict == "unverifiable") << json["reasons"].dump();
    }
}

TEST_P(BadPackageFirmware, IsReadByVexinspectAsDmidecodeReadsIt)
{
    ExpectFirmwareAgreesWithDmidecode(kInspect, FirmwareFor(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Catalogue, BadPackage, ::testing::ValuesIn(AllRuns()), RunName);
INSTANTIATE_TEST_SUITE_P(Catalogue, BadPackageTrace, ::testing::ValuesIn(AllRuns()), RunName);
INSTANTIATE_TEST_SUITE_P(Catalogue, BadPackageExplain, ::testing::ValuesIn(AllRuns()), RunName);
INSTANTIATE_TEST_SUITE_P(Catalogue, BadPackageFirmware, ::testing::ValuesIn(FirmwareRecipes()), RecipeName);
