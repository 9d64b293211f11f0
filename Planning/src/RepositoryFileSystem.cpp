#include "RepositoryFileSystem.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
CRepositoryFileSystem::EKind KindOf(mode_t nMode)
{
    if (S_ISREG(nMode))
    {
        return CRepositoryFileSystem::EKind::Regular;
    }
    if (S_ISDIR(nMode))
    {
        return CRepositoryFileSystem::EKind::Directory;
    }
    if (S_ISLNK(nMode))
    {
        return CRepositoryFileSystem::EKind::SymbolicLink;
    }
    if (S_ISFIFO(nMode))
    {
        return CRepositoryFileSystem::EKind::NamedPipe;
    }
    if (S_ISCHR(nMode) || S_ISBLK(nMode))
    {
        return CRepositoryFileSystem::EKind::Device;
    }
    if (S_ISSOCK(nMode))
    {
        return CRepositoryFileSystem::EKind::Socket;
    }
    return CRepositoryFileSystem::EKind::Other;
}

int64_t NanosecondsOf(const struct timespec& time)
{
    return static_cast<int64_t>(time.tv_sec) * 1000000000LL + static_cast<int64_t>(time.tv_nsec);
}

// Opens a regular file for reading: no final link followed, no wait on a
// named pipe or device; the descriptor is closed again for anything else.
int OpenRegular(const std::string& strPath, struct stat& info, std::string& strError)
{
    const int nDescriptor = open(strPath.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (nDescriptor < 0)
    {
        strError = errno == ELOOP ? std::string("a symbolic link") : CRepositoryFileSystem::ErrorText(errno);
        return -1;
    }
    if (fstat(nDescriptor, &info) != 0)
    {
        strError = CRepositoryFileSystem::ErrorText(errno);
        close(nDescriptor);
        return -1;
    }
    if (!S_ISREG(info.st_mode))
    {
        strError = CRepositoryFileSystem::KindWords(KindOf(info.st_mode));
        close(nDescriptor);
        return -1;
    }
    // Reads of a regular file never wait; the flag goes so that a short
    // read is only ever the end of the file.
    fcntl(nDescriptor, F_SETFL, fcntl(nDescriptor, F_GETFL) & ~O_NONBLOCK);
    return nDescriptor;
}

bool WriteAll(int nDescriptor, const std::string& strContent, std::string& strError)
{
    std::size_t nDone = 0;
    while (nDone < strContent.size())
    {
        const ssize_t nWritten = write(nDescriptor, strContent.data() + nDone, strContent.size() - nDone);
        if (nWritten < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            strError = CRepositoryFileSystem::ErrorText(errno);
            return false;
        }
        nDone += static_cast<std::size_t>(nWritten);
    }
    return true;
}

void RemoveBelow(int nDirectory)
{
    DIR* pDir = fdopendir(nDirectory);
    if (pDir == nullptr)
    {
        close(nDirectory);
        return;
    }
    std::vector<std::string> vNames;
    while (dirent* pEntry = readdir(pDir))
    {
        const std::string strName = pEntry->d_name;
        if (strName != "." && strName != "..")
        {
            vNames.push_back(strName);
        }
    }
    for (const std::string& strName : vNames)
    {
        struct stat info;
        if (fstatat(nDirectory, strName.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
        {
            continue;
        }
        if (S_ISDIR(info.st_mode))
        {
            const int nChild = openat(nDirectory, strName.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (nChild >= 0)
            {
                // A directory the collector left without search or write
                // permission is opened up before its content goes.
                fchmod(nChild, 0700);
                RemoveBelow(nChild);
            }
            unlinkat(nDirectory, strName.c_str(), AT_REMOVEDIR);
        }
        else
        {
            unlinkat(nDirectory, strName.c_str(), 0);
        }
    }
    closedir(pDir);
}
} // namespace

std::string CRepositoryFileSystem::ErrorText(int nError) { return std::strerror(nError); }

const char* CRepositoryFileSystem::KindWords(EKind eKind)
{
    switch (eKind)
    {
    case EKind::Missing:
        return "missing";
    case EKind::Regular:
        return "a regular file";
    case EKind::Directory:
        return "a directory";
    case EKind::SymbolicLink:
        return "a symbolic link";
    case EKind::NamedPipe:
        return "a named pipe";
    case EKind::Device:
        return "a device";
    case EKind::Socket:
        return "a socket";
    case EKind::Other:
        break;
    }
    return "neither a file nor a directory";
}

bool CRepositoryFileSystem::Examine(const std::string& strPath, SEntry& entry, std::string& strError)
{
    entry = SEntry();
    struct stat info;
    if (lstat(strPath.c_str(), &info) != 0)
    {
        if (errno == ENOENT || errno == ENOTDIR)
        {
            entry.eKind = EKind::Missing;
            return true;
        }
        strError = ErrorText(errno);
        return false;
    }
    entry.eKind = KindOf(info.st_mode);
    entry.nSize = static_cast<uint64_t>(info.st_size);
    entry.nModifiedNs = NanosecondsOf(info.st_mtim);
    entry.nMode = info.st_mode & 07777;
    entry.nDevice = info.st_dev;
    entry.nInode = info.st_ino;
    return true;
}

bool CRepositoryFileSystem::ListDirectory(const std::string& strPath, std::vector<std::string>& vNames,
                                          std::string& strError)
{
    vNames.clear();
    const int nDescriptor = open(strPath.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (nDescriptor < 0)
    {
        strError = errno == ELOOP ? std::string("a symbolic link") : ErrorText(errno);
        return false;
    }
    DIR* pDir = fdopendir(nDescriptor);
    if (pDir == nullptr)
    {
        strError = ErrorText(errno);
        close(nDescriptor);
        return false;
    }
    errno = 0;
    while (dirent* pEntry = readdir(pDir))
    {
        const std::string strName = pEntry->d_name;
        if (strName != "." && strName != "..")
        {
            vNames.push_back(strName);
        }
        errno = 0;
    }
    const int nError = errno;
    closedir(pDir);
    if (nError != 0)
    {
        strError = ErrorText(nError);
        return false;
    }
    std::sort(vNames.begin(), vNames.end());
    return true;
}

bool CRepositoryFileSystem::ReadRegularFile(const std::string& strPath, std::size_t nMaxBytes, std::string& strContent,
                                            std::string& strError)
{
    strContent.clear();
    struct stat info;
    const int nDescriptor = OpenRegular(strPath, info, strError);
    if (nDescriptor < 0)
    {
        return false;
    }
    if (static_cast<uint64_t>(info.st_size) > nMaxBytes)
    {
        strError = "larger than " + std::to_string(nMaxBytes) + " bytes";
        close(nDescriptor);
        return false;
    }
    char buffer[65536];
    for (;;)
    {
        const ssize_t nRead = read(nDescriptor, buffer, sizeof(buffer));
        if (nRead < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            strError = ErrorText(errno);
            close(nDescriptor);
            return false;
        }
        if (nRead == 0)
        {
            break;
        }
        strContent.append(buffer, static_cast<std::size_t>(nRead));
        // A file that grows while it is read is cut at the limit.
        if (strContent.size() > nMaxBytes)
        {
            strError = "larger than " + std::to_string(nMaxBytes) + " bytes";
            close(nDescriptor);
            return false;
        }
    }
    close(nDescriptor);
    return true;
}

bool CRepositoryFileSystem::ReadLink(const std::string& strPath, std::string& strTarget, std::string& strError)
{
    std::vector<char> vBuffer(4096);
    const ssize_t nLength = readlink(strPath.c_str(), vBuffer.data(), vBuffer.size());
    if (nLength < 0)
    {
        strError = ErrorText(errno);
        return false;
    }
    strTarget.assign(vBuffer.data(), static_cast<std::size_t>(nLength));
    return true;
}

bool CRepositoryFileSystem::MakeDirectory(const std::string& strPath, mode_t nMode, std::string& strError)
{
    if (mkdir(strPath.c_str(), nMode) != 0)
    {
        strError = ErrorText(errno);
        return false;
    }
    return true;
}

bool CRepositoryFileSystem::MakeDirectories(const std::string& strBase, const std::string& strRelative,
                                            std::string& strError)
{
    std::string strPath = strBase;
    std::size_t nStart = 0;
    while (nStart < strRelative.size())
    {
        std::size_t nEnd = strRelative.find('/', nStart);
        if (nEnd == std::string::npos)
        {
            nEnd = strRelative.size();
        }
        const std::string strPart = strRelative.substr(nStart, nEnd - nStart);
        nStart = nEnd + 1;
        if (strPart.empty() || strPart == ".")
        {
            continue;
        }
        if (strPart == "..")
        {
            strError = "a \"..\" component";
            return false;
        }
        strPath += "/" + strPart;
        SEntry entry;
        if (!Examine(strPath, entry, strError))
        {
            return false;
        }
        if (entry.eKind == EKind::Directory)
        {
            continue;
        }
        if (entry.eKind != EKind::Missing)
        {
            strError = strPath + " exists and is not a directory";
            return false;
        }
        if (!MakeDirectory(strPath, 0755, strError))
        {
            return false;
        }
    }
    return true;
}

bool CRepositoryFileSystem::CreateFile(const std::string& strPath, const std::string& strContent, mode_t nMode,
                                       std::string& strError)
{
    const int nDescriptor =
        open(strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY, nMode & 0777);
    if (nDescriptor < 0)
    {
        strError = ErrorText(errno);
        return false;
    }
    const bool bWritten = WriteAll(nDescriptor, strContent, strError);
    // The permission bits as asked, whatever the process's mask.
    fchmod(nDescriptor, nMode & 0777);
    if (close(nDescriptor) != 0 && bWritten)
    {
        strError = ErrorText(errno);
        return false;
    }
    return bWritten;
}

bool CRepositoryFileSystem::ReplaceFile(const std::string& strPath, const std::string& strContent,
                                        std::string& strError)
{
    const std::string strTemporary = strPath + ".tmp-" + std::to_string(getpid());
    unlink(strTemporary.c_str());
    if (!CreateFile(strTemporary, strContent, 0644, strError))
    {
        return false;
    }
    if (rename(strTemporary.c_str(), strPath.c_str()) != 0)
    {
        strError = ErrorText(errno);
        unlink(strTemporary.c_str());
        return false;
    }
    return true;
}

bool CRepositoryFileSystem::SetModeAndTime(const std::string& strPath, mode_t nMode, int64_t nModifiedSeconds,
                                           std::string& strError)
{
    struct timespec times[2];
    times[0].tv_sec = static_cast<time_t>(nModifiedSeconds);
    times[0].tv_nsec = 0;
    times[1] = times[0];
    if (fchmodat(AT_FDCWD, strPath.c_str(), nMode & 07777, 0) != 0 ||
        utimensat(AT_FDCWD, strPath.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0)
    {
        strError = ErrorText(errno);
        return false;
    }
    return true;
}

bool CRepositoryFileSystem::MakeNamedPipe(const std::string& strPath, mode_t nMode, std::string& strError)
{
    if (mkfifo(strPath.c_str(), nMode & 0777) != 0)
    {
        strError = ErrorText(errno);
        return false;
    }
    return true;
}

bool CRepositoryFileSystem::MakeSymbolicLink(const std::string& strTarget, const std::string& strPath,
                                             std::string& strError)
{
    if (symlink(strTarget.c_str(), strPath.c_str()) != 0)
    {
        strError = ErrorText(errno);
        return false;
    }
    return true;
}

bool CRepositoryFileSystem::MakePrivateDirectory(const std::string& strPrefix, std::string& strPath,
                                                 std::string& strError)
{
    const char* pszTemporary = std::getenv("TMPDIR");
    std::string strBase = pszTemporary != nullptr && pszTemporary[0] != '\0' ? pszTemporary : "/tmp";
    while (strBase.size() > 1 && strBase.back() == '/')
    {
        strBase.pop_back();
    }
    std::string strTemplate = strBase + "/" + strPrefix + "-XXXXXX";
    std::vector<char> vTemplate(strTemplate.begin(), strTemplate.end());
    vTemplate.push_back('\0');
    if (mkdtemp(vTemplate.data()) == nullptr)
    {
        strError = strBase + ": " + ErrorText(errno);
        return false;
    }
    strPath = vTemplate.data();
    return true;
}

void CRepositoryFileSystem::RemoveTree(const std::string& strPath)
{
    struct stat info;
    if (lstat(strPath.c_str(), &info) != 0)
    {
        return;
    }
    if (!S_ISDIR(info.st_mode))
    {
        unlink(strPath.c_str());
        return;
    }
    const int nDescriptor = open(strPath.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (nDescriptor >= 0)
    {
        fchmod(nDescriptor, 0700);
        RemoveBelow(nDescriptor);
    }
    rmdir(strPath.c_str());
}

CRegularFileReader::~CRegularFileReader()
{
    if (m_nDescriptor >= 0)
    {
        close(m_nDescriptor);
    }
}

bool CRegularFileReader::Open(const std::string& strPath, std::string& strError)
{
    if (m_nDescriptor >= 0)
    {
        close(m_nDescriptor);
    }
    struct stat info;
    m_nDescriptor = OpenRegular(strPath, info, strError);
    if (m_nDescriptor < 0)
    {
        return false;
    }
    m_nSize = static_cast<uint64_t>(info.st_size);
    m_nModifiedNs = NanosecondsOf(info.st_mtim);
    return true;
}

long CRegularFileReader::Read(void* pBuffer, std::size_t nSize, std::string& strError)
{
    if (m_nDescriptor < 0)
    {
        strError = "not open";
        return -1;
    }
    for (;;)
    {
        const ssize_t nRead = read(m_nDescriptor, pBuffer, nSize);
        if (nRead < 0 && errno == EINTR)
        {
            continue;
        }
        if (nRead < 0)
        {
            strError = CRepositoryFileSystem::ErrorText(errno);
        }
        return static_cast<long>(nRead);
    }
}

bool CRegularFileReader::Rewind(std::string& strError)
{
    if (m_nDescriptor < 0 || lseek(m_nDescriptor, 0, SEEK_SET) != 0)
    {
        strError = m_nDescriptor < 0 ? std::string("not open") : CRepositoryFileSystem::ErrorText(errno);
        return false;
    }
    return true;
}
