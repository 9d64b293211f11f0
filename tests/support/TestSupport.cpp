#include "TestSupport.h"

#include "Logger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <ftw.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vextest
{
namespace
{
int RemoveEntry(const char* pszPath, const struct stat*, int, FTW*)
{
    ::remove(pszPath);
    return 0;
}

// Reads two pipes to their ends at the same time, so that neither can fill
// up and block the writer.
void ReadBoth(int nOutFd, int nErrFd, std::string& strOut, std::string& strErr)
{
    pollfd aFds[2] = {{nOutFd, POLLIN, 0}, {nErrFd, POLLIN, 0}};
    std::string* apTargets[2] = {&strOut, &strErr};
    int nOpen = 2;
    char szBuffer[65536];
    while (nOpen > 0)
    {
        if (::poll(aFds, 2, -1) < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            break;
        }
        for (int i = 0; i < 2; ++i)
        {
            if (aFds[i].fd < 0 || aFds[i].revents == 0)
            {
                continue;
            }
            const ssize_t n = ::read(aFds[i].fd, szBuffer, sizeof(szBuffer));
            if (n > 0)
            {
                apTargets[i]->append(szBuffer, static_cast<std::size_t>(n));
            }
            else if (n == 0 || errno != EINTR)
            {
                aFds[i].fd = -1;
                --nOpen;
            }
        }
    }
}
} // namespace

SPCIInfo MakePCIIdentity(const std::string& strDevice, const std::string& strSubDevice, const std::string& strVendor,
                         const std::string& strSubVendor)
{
    SPCIInfo pci;
    pci.strDeviceID = strDevice;
    pci.strSubDeviceID = strSubDevice;
    pci.strVendorID = strVendor;
    pci.strSubVendorID = strSubVendor;
    return pci;
}

Records Own(const std::vector<CDeviceInfo*>& vRecords)
{
    Records vOwned;
    for (CDeviceInfo* pRecord : vRecords)
    {
        vOwned.emplace_back(pRecord);
    }
    return vOwned;
}

namespace
{
// The name of an enumerator, or its number where it has none.
template <typename E>
std::string EnumText(E eValue, std::initializer_list<std::pair<E, const char*>> names)
{
    for (const auto& name : names)
    {
        if (name.first == eValue)
        {
            return name.second;
        }
    }
    return std::to_string(static_cast<int>(eValue));
}

std::string DeviceTypeText(CDeviceInfo::eDeviceType eType)
{
    return EnumText(eType, {{CDeviceInfo::eDeviceTypePCI, "PCI"},
                            {CDeviceInfo::eDeviceTypeNonPCI, "nonPCI"},
                            {CDeviceInfo::eDeviceTypeUnknown, "unknown"}});
}

template <typename T, typename Text>
std::string ListText(const std::vector<T>& vItems, Text text)
{
    std::string strList = "[";
    for (std::size_t i = 0; i < vItems.size(); ++i)
    {
        strList += (i == 0 ? "" : ", ") + text(vItems[i]);
    }
    return strList + "]";
}

std::string Trimmed(const std::string& strText)
{
    const std::string::size_type nFirst = strText.find_first_not_of(' ');
    if (nFirst == std::string::npos)
    {
        return std::string();
    }
    return strText.substr(nFirst, strText.find_last_not_of(' ') - nFirst + 1);
}
} // namespace

std::string PCIText(const SPCIInfo& pci)
{
    std::string strText = pci.strDeviceID + "/" + pci.strSubDeviceID + "/" + pci.strVendorID + "/" + pci.strSubVendorID;
    if (!pci.strComponentID.empty())
    {
        strText += " component=" + pci.strComponentID;
    }
    if (!pci.strMarketingName.empty())
    {
        strText += " name=" + pci.strMarketingName;
    }
    return strText;
}

std::string OSText(const SOSInfo& os)
{
    return os.strMajorVersion + "/" + os.strMinorVersion + "/" + os.strSPMajorVersion + "/" + os.strSPMinorVersion +
           "/" + os.strOSVendor + "/" + os.strOSArch + "/" + os.strInstalledBuildNumber + "/" + os.strReserved + "/" +
           os.strRequiredBuildNumber;
}

std::string RecordField(const CDeviceInfo& record, const std::string& strField)
{
    using Getter = std::string (*)(const CDeviceInfo&);
    static const std::map<std::string, Getter> kFields = {
        {"componentID", [](const CDeviceInfo& r) { return r.getComponentID(); }},
        {"componentType", [](const CDeviceInfo& r) { return r.getComponentType(); }},
        {"version", [](const CDeviceInfo& r) { return r.getVersion(); }},
        {"currentVersion", [](const CDeviceInfo& r) { return r.getCurrentVersion(); }},
        {"display", [](const CDeviceInfo& r) { return r.getDisplay(); }},
        {"detail", [](const CDeviceInfo& r) { return r.getDetail(); }},
        {"deviceName", [](const CDeviceInfo& r) { return r.getDeviceName(); }},
        {"releaseID", [](const CDeviceInfo& r) { return r.getReleaseID(); }},
        {"parent", [](const CDeviceInfo& r) { return r.getParentComponentID(); }},
        {"context", [](const CDeviceInfo& r) { return r.getDependencyContext(); }},
        {"status", [](const CDeviceInfo& r) { return std::to_string(r.getStatus()); }},
        {"errorMsg", [](const CDeviceInfo& r) { return r.getErrorMsg(); }},
        {"dependencyType",
         [](const CDeviceInfo& r) {
             return EnumText(r.getDependencyType(),
                             {{CDeviceInfo::eDependencyTypeHard, "hard"}, {CDeviceInfo::eDependencyTypeSoft, "soft"}});
         }},
        {"deviceType", [](const CDeviceInfo& r) { return DeviceTypeText(r.getDeviceType()); }},
        {"parentDeviceType", [](const CDeviceInfo& r) { return DeviceTypeText(r.getParentDeviceType()); }},
        {"pci", [](const CDeviceInfo& r) { return PCIText(r.getPCIInfo()); }},
        {"parentPCI", [](const CDeviceInfo& r) { return ListText(r.getParentPCIInfo(), PCIText); }},
        {"platforms",
         [](const CDeviceInfo& r) {
             return ListText(r.getDepenendencyPlatforms(), [](const std::string& strID) { return strID; });
         }},
        {"os", [](const CDeviceInfo& r) { return ListText(r.getDependencyOS(), OSText); }},
    };
    const auto it = kFields.find(strField);
    if (it == kFields.end())
    {
        ADD_FAILURE() << "no record field named \"" << strField << "\"";
        return std::string();
    }
    return it->second(record);
}

std::string RecordFields(const CDeviceInfo& record, const std::string& strFields)
{
    std::string strText;
    std::string::size_type nStart = 0;
    for (;;)
    {
        const std::string::size_type nBar = strFields.find('|', nStart);
        strText += RecordField(record, Trimmed(strFields.substr(nStart, nBar - nStart)));
        if (nBar == std::string::npos)
        {
            return strText;
        }
        strText += " | ";
        nStart = nBar + 1;
    }
}

std::vector<std::string> RecordFields(const std::vector<CDeviceInfo*>& vRecords, const std::string& strFields)
{
    std::vector<std::string> vTexts;
    for (const CDeviceInfo* pRecord : vRecords)
    {
        vTexts.push_back(RecordFields(*pRecord, strFields));
    }
    return vTexts;
}

std::vector<std::string> RecordFields(const Records& vRecords, const std::string& strFields)
{
    std::vector<std::string> vTexts;
    for (const std::unique_ptr<CDeviceInfo>& pRecord : vRecords)
    {
        vTexts.push_back(RecordFields(*pRecord, strFields));
    }
    return vTexts;
}

std::size_t CountLines(const std::vector<std::string>& vLines, const std::string& strLine)
{
    return static_cast<std::size_t>(std::count(vLines.begin(), vLines.end(), strLine));
}

bool HasLine(const std::vector<std::string>& vLines, const std::string& strLine)
{
    return CountLines(vLines, strLine) > 0;
}

std::string NestedElements(const std::string& strName, int nDepth)
{
    std::string strText;
    for (int i = 0; i < nDepth; ++i)
    {
        strText += "<" + strName + ">";
    }
    for (int i = 0; i < nDepth; ++i)
    {
        strText += "</" + strName + ">";
    }
    return strText;
}

std::vector<std::string> Then(std::vector<std::string> vFirst, const std::vector<std::string>& vThen)
{
    vFirst.insert(vFirst.end(), vThen.begin(), vThen.end());
    return vFirst;
}

std::string EntityBombPrologue(const std::string& strRoot)
{
    std::string strText = "<?xml version=\"1.0\"?>\n<!DOCTYPE " + strRoot +
                          " [\n <!ENTITY e0 \"lollollollollollollollollollol\">\n";
    for (int i = 1; i <= 12; ++i)
    {
        strText += " <!ENTITY e" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j)
        {
            strText += "&e" + std::to_string(i - 1) + ";";
        }
        strText += "\">\n";
    }
    return strText + "]>\n";
}

std::vector<std::string> Lines(const std::string& strText)
{
    std::vector<std::string> vLines;
    std::istringstream iss(strText);
    for (std::string strLine; std::getline(iss, strLine);)
    {
        vLines.push_back(strLine);
    }
    return vLines;
}

TempDir::TempDir()
{
    const char* pszBase = std::getenv("TMPDIR");
    std::string strTemplate = std::string(pszBase != nullptr && *pszBase != '\0' ? pszBase : "/tmp") +
                              "/vexdep-test-XXXXXX";
    if (::mkdtemp(&strTemplate[0]) == nullptr)
    {
        throw std::runtime_error("mkdtemp failed: " + std::string(std::strerror(errno)));
    }
    m_strPath = strTemplate;
}

TempDir::~TempDir() { RemoveTree(m_strPath); }

std::string TempDir::File(const std::string& strName) const { return m_strPath + "/" + strName; }

ScopedCwd::ScopedCwd(const std::string& strPath) : m_strPrevious(CurrentDirectory())
{
    if (::chdir(strPath.c_str()) != 0)
    {
        throw std::runtime_error("chdir failed: " + strPath);
    }
}

ScopedCwd::~ScopedCwd()
{
    if (::chdir(m_strPrevious.c_str()) != 0)
    {
        ADD_FAILURE() << "cannot return to " << m_strPrevious;
    }
}

StderrCapture::StderrCapture(const std::string& strPath)
{
    std::fflush(stderr);
    m_nSaved = dup(2);
    const int nFd = ::open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    dup2(nFd, 2);
    close(nFd);
}

StderrCapture::~StderrCapture()
{
    std::fflush(stderr);
    dup2(m_nSaved, 2);
    close(m_nSaved);
}

std::string CurrentDirectory()
{
    char* pszCwd = ::getcwd(nullptr, 0);
    std::string strCwd = pszCwd != nullptr ? pszCwd : "";
    std::free(pszCwd);
    return strCwd;
}

std::string RealPathOf(const std::string& strPath)
{
    char szReal[PATH_MAX];
    return ::realpath(strPath.c_str(), szReal) != nullptr ? std::string(szReal) : strPath;
}

std::string ReplaceAll(std::string strText, const std::string& strFrom, const std::string& strTo)
{
    if (strFrom.empty())
    {
        return strText;
    }
    for (std::string::size_type nPos = strText.find(strFrom); nPos != std::string::npos;
         nPos = strText.find(strFrom, nPos + strTo.size()))
    {
        strText.replace(nPos, strFrom.size(), strTo);
    }
    return strText;
}

std::string ReadFile(const std::string& strPath)
{
    std::ifstream ifs(strPath.c_str(), std::ios::binary);
    std::ostringstream oss;
    oss << ifs.rdbuf();
    return oss.str();
}

void WriteFile(const std::string& strPath, const std::string& strContent, bool bExecutable)
{
    {
        std::ofstream ofs(strPath.c_str(), std::ios::binary | std::ios::trunc);
        if (!ofs)
        {
            throw std::runtime_error("cannot write " + strPath);
        }
        ofs << strContent;
    }
    if (bExecutable)
    {
        ::chmod(strPath.c_str(), 0755);
    }
}

bool FileExists(const std::string& strPath)
{
    struct stat st;
    return ::stat(strPath.c_str(), &st) == 0;
}

std::string ShellWaitsForFile(const std::string& strPath, int nSeconds)
{
    return ShellRetriesUntil("[ -e '" + strPath + "' ]", nSeconds);
}

std::string ShellRetriesUntil(const std::string& strCommand, int nSeconds)
{
    return "i=0; until " + strCommand + " || [ $i -ge " + std::to_string(nSeconds * 20) +
           " ]; do sleep 0.05; i=$((i+1)); done";
}

bool WaitForFile(const std::string& strPath, double dSeconds)
{
    const auto tEnd = std::chrono::steady_clock::now() + std::chrono::duration<double>(dSeconds);
    while (!FileExists(strPath))
    {
        if (std::chrono::steady_clock::now() > tEnd)
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

void MakeDirectory(const std::string& strPath)
{
    if (::mkdir(strPath.c_str(), 0755) != 0 && errno != EEXIST)
    {
        throw std::runtime_error("mkdir failed: " + strPath);
    }
}

bool IsDirectory(const std::string& strPath)
{
    struct stat st;
    return ::lstat(strPath.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool IsRegularFile(const std::string& strPath)
{
    struct stat st;
    return ::lstat(strPath.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::vector<std::string> ListDirectory(const std::string& strPath)
{
    std::vector<std::string> vNames;
    DIR* pDir = ::opendir(strPath.c_str());
    if (pDir == nullptr)
    {
        return vNames;
    }
    while (const dirent* pEntry = ::readdir(pDir))
    {
        const std::string strName = pEntry->d_name;
        if (strName != "." && strName != "..")
        {
            vNames.push_back(strName);
        }
    }
    ::closedir(pDir);
    std::sort(vNames.begin(), vNames.end());
    return vNames;
}

void RemoveTree(const std::string& strPath)
{
    if (!strPath.empty())
    {
        ::nftw(strPath.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
    }
}

std::vector<std::string> ReadLogLines(const std::string& strPath)
{
    std::vector<std::string> vLines;
    std::istringstream iss(ReadFile(strPath));
    std::string strLine;
    while (std::getline(iss, strLine))
    {
        // "[YYYY-MM-DDTHH:MM:SS] " is 22 characters.
        if (strLine.size() >= 22 && strLine[0] == '[' && strLine[20] == ']')
        {
            strLine = "[TIME]" + strLine.substr(21);
        }
        vLines.push_back(strLine);
    }
    return vLines;
}

std::string MessageOf(const std::string& strLogLine)
{
    // "[TIME] : " + 25 + ":" + 5 + ": " when the name fits its field.
    const std::string::size_type nFirst = strLogLine.find(": ");
    if (nFirst == std::string::npos)
    {
        return strLogLine;
    }
    const std::string::size_type nLineField = strLogLine.find(':', nFirst + 2);
    if (nLineField == std::string::npos)
    {
        return strLogLine;
    }
    const std::string::size_type nMessage = strLogLine.find(": ", nLineField + 1);
    return nMessage == std::string::npos ? strLogLine : strLogLine.substr(nMessage + 2);
}

std::vector<std::string> ReadLogMessages(const std::string& strPath)
{
    std::vector<std::string> vMessages;
    for (const std::string& strLine : ReadLogLines(strPath))
    {
        vMessages.push_back(MessageOf(strLine));
    }
    return vMessages;
}

void StartLogging(const std::string& strPath)
{
    ASSERT_FALSE(CLogger::GetInstance()->IsInitialized())
        << "the logger is already on in this process: run this test on its own (ctest does)";
    CLogger::GetInstance()->Initialize(strPath);
    ASSERT_TRUE(CLogger::GetInstance()->IsInitialized()) << "cannot open " << strPath;
}

void CloseInheritedDescriptors()
{
    if (::close_range(3, ~0U, 0) == 0)
    {
        return;
    }
    // A kernel without close_range (before 5.9): close them one by one.
    const long nMax = std::min(::sysconf(_SC_OPEN_MAX), 65536L);
    for (int nFd = 3; nFd < nMax; ++nFd)
    {
        ::close(nFd);
    }
}

CommandResult RunCommand(const std::vector<std::string>& vArgs, const std::string& strWorkingDirectory)
{
    CommandResult result;
    int aOut[2];
    int aErr[2];
    if (::pipe(aOut) != 0 || ::pipe(aErr) != 0)
    {
        throw std::runtime_error("pipe failed");
    }
    const pid_t nPid = ::fork();
    if (nPid == 0)
    {
        const int nNull = ::open("/dev/null", O_RDONLY);
        ::dup2(nNull, 0);
        ::dup2(aOut[1], 1);
        ::dup2(aErr[1], 2);
        // Only the standard streams go to the command: a process it leaves
        // behind must not keep the pipes open, and descriptor limits mean
        // the same on every machine.
        CloseInheritedDescriptors();
        if (::chdir(strWorkingDirectory.c_str()) != 0)
        {
            ::_exit(126);
        }
        std::vector<char*> vArgv;
        for (const std::string& strArg : vArgs)
        {
            vArgv.push_back(const_cast<char*>(strArg.c_str()));
        }
        vArgv.push_back(nullptr);
        ::execv(vArgv[0], vArgv.data());
        ::_exit(127);
    }
    ::close(aOut[1]);
    ::close(aErr[1]);
    ReadBoth(aOut[0], aErr[0], result.strStdout, result.strStderr);
    ::close(aOut[0]);
    ::close(aErr[0]);
    int nStatus = 0;
    ::waitpid(nPid, &nStatus, 0);
    result.nExitStatus = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus);
    return result;
}
std::string JsonSchemaErrors(const std::string& strSchema, const std::string& strDocument)
{
    TempDir dir;
    WriteFile(dir.File("document.json"), strDocument);
    const CommandResult result = RunCommand(
        {"/usr/bin/python3", std::string(VEXDEP_SOURCE_DIR) + "/tests/validate-json.py",
         std::string(VEXDEP_SOURCE_DIR) + "/docs/json/" + strSchema + ".schema.json", dir.File("document.json")},
        dir.Path());
    if (result.nExitStatus == 0)
    {
        return std::string();
    }
    return "not valid against docs/json/" + strSchema + ".schema.json (exit status " +
           std::to_string(result.nExitStatus) + "):\n" + result.strStdout + result.strStderr;
}
} // namespace vextest
