// CLinuxImpl: directories, file tests, documents read whole or held open,
// environment and shared libraries. Commands are in LinuxImplCommands.cpp,
// the hardware-access library, ESX detection and the USB storage module in
// LinuxImplHardware.cpp.

#include "LinuxImpl.h"

#include "LinuxImplLogSource.h"

#include <cerrno>
#include <ctime>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const std::size_t kPathBufferSize = 2048;

std::string WorkingDirectory()
{
    char szBuffer[kPathBufferSize] = {};
    if (getcwd(szBuffer, sizeof(szBuffer)) != nullptr)
    {
        return szBuffer;
    }
    // Deeper than the usual buffer: ask for an allocated path instead.
    if (errno == ERANGE)
    {
        char* pszLong = getcwd(nullptr, 0);
        if (pszLong != nullptr)
        {
            std::string strLong(pszLong);
            std::free(pszLong);
            return strLong;
        }
    }
    // Unknown (for example removed): "." keeps later joins relative to it.
    return ".";
}

// Whether the path can be opened for reading, as a file stream would open
// it. The test opens without waiting: a named pipe without a writer would
// otherwise block the caller for good.
bool CanOpenForReading(const std::string& strPath)
{
    const int nFd = open(strPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (nFd < 0)
    {
        return false;
    }
    close(nFd);
    return true;
}
} // namespace

bool CLinuxImpl::GetEnvironmentVariable(const std::string& strName, std::string& strValue)
{
    const char* pszValue = std::getenv(strName.c_str());
    if (pszValue == nullptr)
    {
        return false;
    }
    strValue = pszValue;
    return true;
}

bool CLinuxImpl::ChangeDirectory(const std::string& strPath, std::string& strError)
{
    if (chdir(strPath.c_str()) != 0)
    {
        strError = std::strerror(errno);
        return false;
    }
    return true;
}

bool CLinuxImpl::GetModificationTime(const std::string& strPath, int64_t& nMilliseconds)
{
    struct stat st = {};
    if (stat(strPath.c_str(), &st) != 0)
    {
        return false;
    }
    nMilliseconds = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000 + st.st_mtim.tv_nsec / 1000000;
    return true;
}

bool CLinuxImpl::IsWritableDirectory(const std::string& strPath)
{
    return IsDirectory(strPath) && access(strPath.c_str(), W_OK | X_OK) == 0;
}

bool CLinuxImpl::CanOpen(const std::string& strPath, std::string& strError)
{
    struct stat st = {};
    if (stat(strPath.c_str(), &st) != 0)
    {
        strError = std::strerror(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode))
    {
        if (faccessat(AT_FDCWD, strPath.c_str(), X_OK, AT_EACCESS) != 0)
        {
            strError = std::strerror(errno);
            return false;
        }
        return true;
    }
    const int nFd = open(strPath.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (nFd < 0)
    {
        strError = std::strerror(errno);
        return false;
    }
    close(nFd);
    return true;
}

int64_t CLinuxImpl::GetFileClockTime()
{
    // File times come from the kernel's coarse real-time clock.
    struct timespec now = {};
    if (clock_gettime(CLOCK_REALTIME_COARSE, &now) != 0)
    {
        clock_gettime(CLOCK_REALTIME, &now);
    }
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + static_cast<int64_t>(now.tv_nsec);
}

bool CLinuxImpl::ExamineFile(const std::string& strPath, SFileState& state, std::string& strError)
{
    struct stat st = {};
    if (stat(strPath.c_str(), &st) != 0)
    {
        strError = std::strerror(errno);
        return false;
    }
    const auto Nanoseconds = [](const struct timespec& time) {
        return static_cast<int64_t>(time.tv_sec) * 1000000000 + static_cast<int64_t>(time.tv_nsec);
    };
    state.bRegular = S_ISREG(st.st_mode);
    state.nMode = static_cast<uint32_t>(st.st_mode);
    state.nDevice = static_cast<uint64_t>(st.st_dev);
    state.nInode = static_cast<uint64_t>(st.st_ino);
    state.nSize = static_cast<int64_t>(st.st_size);
    state.nModifiedNs = Nanoseconds(st.st_mtim);
    state.nChangedNs = Nanoseconds(st.st_ctim);
    return true;
}

void CLinuxImpl::Sleep(int nSeconds)
{
    if (nSeconds > 0)
    {
        std::this_thread::sleep_for(std::chrono::seconds(nSeconds));
    }
}

std::string CLinuxImpl::getCurrentDirectory() { return WorkingDirectory() + "/"; }

std::string CLinuxImpl::getCurrentProcessDirectory()
{
    char szBuffer[kPathBufferSize] = {};
    const ssize_t nLength = readlink("/proc/self/exe", szBuffer, sizeof(szBuffer) - 1);
    if (nLength <= 0)
    {
        VEXLOG("CLinuxImpl::getCurrentProcessDirectory() failed via readlink");
        return getCurrentDirectory();
    }
    const std::string strPath(szBuffer, static_cast<std::size_t>(nLength));
    return strPath.substr(0, strPath.rfind('/') + 1);
}

bool CLinuxImpl::setCurrentDirectory(const std::string& strPath)
{
    // A failed change is deliberately not reported.
    if (chdir(strPath.c_str()) != 0)
    {
    }
    return true;
}

std::vector<std::string> CLinuxImpl::ListDirectory(std::string& strDirectory, bool bWithDirectory)
{
    std::vector<std::string> vEntries;
    if (strDirectory.empty())
    {
        strDirectory = ".";
    }
    DIR* pDir = opendir(strDirectory.c_str());
    if (pDir == nullptr)
    {
        return vEntries;
    }
    while (const dirent* pEntry = readdir(pDir))
    {
        const std::string strName = pEntry->d_name;
        if (strName == "." || strName == "..")
        {
            continue;
        }
        vEntries.push_back(bWithDirectory ? strDirectory + "/" + strName : strName);
    }
    closedir(pDir);
    return vEntries;
}

std::vector<std::string> CLinuxImpl::GetFileList(std::string& strDirectory)
{
    return ListDirectory(strDirectory, true);
}

std::vector<std::string> CLinuxImpl::GetFileListName(std::string& strDirectory)
{
    return ListDirectory(strDirectory, false);
}

bool CLinuxImpl::IsFileExistsAbs(const std::string& strPath)
{
    const bool bExists = CanOpenForReading(strPath);
    VEXLOG("CLinuxImpl::IsFileExistsAbs() File name " + strPath + (bExists ? " exist" : " doesnt exist"));
    return bExists;
}

bool CLinuxImpl::IsDirectory(const std::string& strPath)
{
    struct stat st = {};
    return stat(strPath.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool CLinuxImpl::ReadRegularFile(const std::string& strPath, std::string& strText)
{
    const int nFd = open(strPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (nFd < 0)
    {
        return false;
    }
    struct stat st;
    if (fstat(nFd, &st) != 0 || !S_ISREG(st.st_mode))
    {
        close(nFd);
        return false;
    }
    bool bOk = true;
    char szBuffer[65536];
    for (;;)
    {
        const ssize_t nRead = read(nFd, szBuffer, sizeof(szBuffer));
        if (nRead > 0)
        {
            strText.append(szBuffer, static_cast<std::size_t>(nRead));
        }
        else if (nRead == 0)
        {
            break;
        }
        else if (errno != EINTR)
        {
            bOk = false;
            break;
        }
    }
    close(nFd);
    return bOk;
}

bool CLinuxImpl::IsStreamOrDevice(const std::string& strPath)
{
    struct stat st = {};
    return stat(strPath.c_str(), &st) == 0 &&
           (S_ISFIFO(st.st_mode) || S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode) || S_ISSOCK(st.st_mode));
}

int CLinuxImpl::OpenHeldFile(const std::string& strPath, std::string& strText)
{
    // Opened as an input stream opens a file (not closed on exec), but
    // without waiting for a pipe's writer.
    const int nFd = open(strPath.c_str(), O_RDONLY | O_NONBLOCK);
    if (nFd < 0)
    {
        return -1;
    }
    struct stat st;
    if (fstat(nFd, &st) != 0 || !S_ISREG(st.st_mode))
    {
        // A directory reads as nothing, as it does through a stream; a pipe
        // or a device is not read at all.
        return nFd;
    }
    // What the commands that inherit it see is an ordinary descriptor.
    fcntl(nFd, F_SETFL, fcntl(nFd, F_GETFL) & ~O_NONBLOCK);
    char szBuffer[65536];
    for (;;)
    {
        const ssize_t nRead = read(nFd, szBuffer, sizeof(szBuffer));
        if (nRead > 0)
        {
            strText.append(szBuffer, static_cast<std::size_t>(nRead));
        }
        else if (nRead == 0 || errno != EINTR)
        {
            break;
        }
    }
    return nFd;
}

void CLinuxImpl::CloseHeldFile(int nFd)
{
    if (nFd >= 0)
    {
        close(nFd);
    }
}

bool CLinuxImpl::IsFileExits(const std::string& strName)
{
    const std::string strPath = getCurrentDirectory() + strName;
    const bool bExists = CanOpenForReading(strPath);
    VEXLOG("CLinuxImpl::IsFileExistsAbs() File name " + strPath + (bExists ? " exist" : " doesnt exist"));
    return bExists;
}

void* CLinuxImpl::LoadLibrary(const std::string& strName)
{
    if (strName.find('/') != std::string::npos && !IsFileExistsAbs(strName))
    {
        return nullptr;
    }
    return dlopen(strName.c_str(), RTLD_NOW);
}

void* CLinuxImpl::LoadLibrarywithoutCustomization(const std::string& strName) { return LoadLibrary(strName); }

void CLinuxImpl::FreeLibrary(void* pHandle)
{
    if (pHandle != nullptr)
    {
        dlclose(pHandle);
    }
}

void* CLinuxImpl::GetProcAddress(void* pHandle, const std::string& strSymbol)
{
    if (pHandle == nullptr)
    {
        return nullptr;
    }
    return dlsym(pHandle, strSymbol.c_str());
}
