#include "FuzzSupport.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vexfuzz
{
namespace
{
int RemoveEntry(const char* pszPath, const struct stat*, int, FTW*)
{
    ::remove(pszPath);
    return 0;
}

void RemoveScratchDirectory()
{
    const std::string& strDir = ScratchDirectory();
    // Leave the directory first: it may be the working directory still when
    // the process ends in the middle of an input.
    if (::chdir("/") != 0)
    {
    }
    ::nftw(strDir.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
}

[[noreturn]] void Die(const std::string& strWhat)
{
    std::fprintf(stderr, "fuzz target setup failed: %s: %s\n", strWhat.c_str(), std::strerror(errno));
    std::abort();
}

// The scratch files are rewritten for every input: a memory file system
// (/dev/shm) keeps that from waiting on a disk. VEXDEP_FUZZ_TMPDIR, then
// TMPDIR, then /tmp serve where there is none.
std::string ScratchBase()
{
    const char* pszChosen = std::getenv("VEXDEP_FUZZ_TMPDIR");
    if (pszChosen != nullptr && *pszChosen != '\0')
    {
        return pszChosen;
    }
    if (::access("/dev/shm", W_OK | X_OK) == 0)
    {
        return "/dev/shm";
    }
    const char* pszTmp = std::getenv("TMPDIR");
    return pszTmp != nullptr && *pszTmp != '\0' ? pszTmp : "/tmp";
}

std::string MakeScratchDirectory()
{
    std::string strTemplate = ScratchBase() + "/vexdep-fuzz-XXXXXX";
    std::vector<char> vBuffer(strTemplate.begin(), strTemplate.end());
    vBuffer.push_back('\0');
    if (::mkdtemp(vBuffer.data()) == nullptr)
    {
        Die("mkdtemp " + strTemplate);
    }
    return std::string(vBuffer.data());
}
} // namespace

const std::string& ScratchDirectory()
{
    static const std::string strDirectory = [] {
        std::string strDir = MakeScratchDirectory();
        std::atexit(RemoveScratchDirectory);
        return strDir;
    }();
    return strDirectory;
}

std::string ScratchPath(const std::string& strName) { return ScratchDirectory() + "/" + strName; }

void WriteFileOrDie(const std::string& strPath, const std::string& strContent)
{
    const int nFd = ::open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (nFd < 0)
    {
        Die("open " + strPath);
    }
    std::size_t nDone = 0;
    while (nDone < strContent.size())
    {
        const ssize_t nWritten = ::write(nFd, strContent.data() + nDone, strContent.size() - nDone);
        if (nWritten < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            Die("write " + strPath);
        }
        nDone += static_cast<std::size_t>(nWritten);
    }
    ::close(nFd);
}

void RemoveScratchFile(const std::string& strName) { ::unlink(ScratchPath(strName).c_str()); }

bool NamesExistingPath(const std::string& strText)
{
    struct stat st;
    return ::stat(strText.c_str(), &st) == 0;
}

ScopedScratchCwd::ScopedScratchCwd()
{
    char szBuffer[4096];
    if (::getcwd(szBuffer, sizeof(szBuffer)) == nullptr)
    {
        Die("getcwd");
    }
    m_strPrevious = szBuffer;
    if (::chdir(ScratchDirectory().c_str()) != 0)
    {
        Die("chdir " + ScratchDirectory());
    }
}

ScopedScratchCwd::~ScopedScratchCwd()
{
    if (::chdir(m_strPrevious.c_str()) != 0)
    {
        Die("chdir " + m_strPrevious);
    }
}

std::pair<std::string, std::string> CutAtFirstNul(const uint8_t* pData, std::size_t nSize)
{
    const std::string strInput = AsText(pData, nSize);
    const std::string::size_type nNul = strInput.find('\0');
    if (nNul == std::string::npos)
    {
        return {strInput, std::string()};
    }
    return {strInput.substr(0, nNul), strInput.substr(nNul + 1)};
}
} // namespace vexfuzz

namespace vexfuzz
{
namespace
{
std::size_t SizeOf(const SPCIInfo& pciInfo)
{
    return pciInfo.strComponentID.size() + pciInfo.strDeviceID.size() + pciInfo.strSubDeviceID.size() +
           pciInfo.strVendorID.size() + pciInfo.strSubVendorID.size() + pciInfo.strMarketingName.size();
}

std::size_t SizeOf(const SOSInfo& osInfo)
{
    return osInfo.strMajorVersion.size() + osInfo.strMinorVersion.size() + osInfo.strSPMajorVersion.size() +
           osInfo.strSPMinorVersion.size() + osInfo.strOSVendor.size() + osInfo.strOSArch.size() +
           osInfo.strInstalledBuildNumber.size() + osInfo.strReserved.size() + osInfo.strRequiredBuildNumber.size();
}

volatile std::size_t g_nSink = 0;
} // namespace

std::size_t ReadWholeRecord(CDeviceInfo& record)
{
    std::size_t nSum = record.getReleaseID().size() + record.getComponentID().size() +
                       record.getParentComponentID().size() + static_cast<std::size_t>(record.getParentDeviceType()) +
                       record.getComponentType().size() + record.getDeviceName().size() + record.getVersion().size() +
                       SizeOf(record.getPCIInfo()) + static_cast<std::size_t>(record.getDeviceType()) +
                       static_cast<std::size_t>(record.getDependencyType()) + record.getDependencyContext().size();
    for (const std::string& strPlatform : record.getDepenendencyPlatforms())
    {
        nSum += strPlatform.size();
    }
    for (const SPCIInfo& pciInfo : record.getParentPCIInfo())
    {
        nSum += SizeOf(pciInfo);
    }
    for (const SOSInfo& osInfo : record.getDependencyOS())
    {
        nSum += SizeOf(osInfo);
    }
    nSum += record.getApplicationInfo()->size();
    nSum += static_cast<std::size_t>(record.getMessageID()) + static_cast<std::size_t>(record.getStatus()) +
            record.getErrorMsg().size() + static_cast<std::size_t>(record.getUpdateStatus()) +
            record.getDisplay().size() + record.getDetail().size() + record.getFilePath().size() +
            record.getCurrentVersion().size() + record.getEnumId().size() +
            static_cast<std::size_t>(record.getRebootRequired()) +
            static_cast<std::size_t>(record.getColdPowerCycleRequired());
    const _BDFInfo bdf = record.getBDFInfo();
    nSum += bdf.bus + bdf.device + bdf.function;
    nSum += record.getDeviceIdentifier().size() + record.getDeviceUdpateID() + record.getDeviceSpecificID() +
            static_cast<std::size_t>(record.getBus()) + static_cast<std::size_t>(record.get_DeviceBus()) +
            static_cast<std::size_t>(record.get_DeviceBusFunction()) + record.getFQDDInfo().size();
    const OVNCSystemInfo* pSystem = record.getSystemInfo();
    nSum += pSystem->strSystemName.size() + pSystem->strSystemID.size() + pSystem->strSystemModel.size() +
            pSystem->strSystemVendor.size();
    return nSum;
}

std::size_t ReadWholeRecords(const std::vector<CDeviceInfo*>& vRecords)
{
    std::size_t nSum = vRecords.size();
    for (CDeviceInfo* pRecord : vRecords)
    {
        if (pRecord != nullptr)
        {
            nSum += ReadWholeRecord(*pRecord);
        }
    }
    return nSum;
}

void Consume(std::size_t nValue) { g_nSink = g_nSink + nValue; }
} // namespace vexfuzz
