#include "TargetPackageCopy.h"

#include "RepositoryFileSystem.h"
#include "RepositoryLimits.h"
#include "RepositoryPath.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
// The content of what a path names, following links, when it is a
// regular file (never waiting on a named pipe or a device); false
// otherwise.
bool ReadFollowing(const std::string& strPath, std::string& strContent)
{
    const int nDescriptor = open(strPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (nDescriptor < 0)
    {
        return false;
    }
    struct stat info;
    if (fstat(nDescriptor, &info) != 0 || !S_ISREG(info.st_mode) ||
        static_cast<uint64_t>(info.st_size) > repositorylimits::nMaxMetadataBytes)
    {
        close(nDescriptor);
        return false;
    }
    close(nDescriptor);
    std::string strError;
    // Read again without the link: the file the link names.
    char szResolved[PATH_MAX];
    if (realpath(strPath.c_str(), szResolved) == nullptr)
    {
        return false;
    }
    return CRepositoryFileSystem::ReadRegularFile(
        szResolved, static_cast<std::size_t>(repositorylimits::nMaxMetadataBytes), strContent, strError);
}

std::string DirectoryOf(const std::string& strPath)
{
    const std::size_t nSlash = strPath.rfind('/');
    return nSlash == std::string::npos ? std::string(".") : strPath.substr(0, nSlash);
}

bool CopyEntry(const std::string& strFrom, const std::string& strTo, std::size_t nDepth, std::size_t& nEntries,
               bool bDescend, std::string& strError)
{
    if (++nEntries > repositorylimits::nMaxPackageEntries || nDepth > repositorylimits::nMaxDepth)
    {
        strError = "the release directories hold too many entries";
        return false;
    }
    CRepositoryFileSystem::SEntry entry;
    if (!CRepositoryFileSystem::Examine(strFrom, entry, strError))
    {
        return false;
    }
    switch (entry.eKind)
    {
    case CRepositoryFileSystem::EKind::Regular:
    {
        std::string strContent;
        if (!CRepositoryFileSystem::ReadRegularFile(
                strFrom, static_cast<std::size_t>(repositorylimits::nMaxMetadataBytes), strContent, strError))
        {
            strError = strFrom + ": " + strError;
            return false;
        }
        return CRepositoryFileSystem::CreateFile(strTo, strContent, entry.nMode, strError);
    }
    case CRepositoryFileSystem::EKind::NamedPipe:
        return CRepositoryFileSystem::MakeNamedPipe(strTo, entry.nMode, strError);
    case CRepositoryFileSystem::EKind::SymbolicLink:
    {
        std::string strTarget;
        if (!CRepositoryFileSystem::ReadLink(strFrom, strTarget, strError))
        {
            return false;
        }
        if (!strTarget.empty() && strTarget[0] != '/')
        {
            strTarget = DirectoryOf(strFrom) + "/" + strTarget;
        }
        return CRepositoryFileSystem::MakeSymbolicLink(strTarget, strTo, strError);
    }
    case CRepositoryFileSystem::EKind::Directory:
    {
        if (!CRepositoryFileSystem::MakeDirectory(strTo, (entry.nMode & 0777) | 0700, strError))
        {
            return false;
        }
        if (!bDescend)
        {
            return true;
        }
        std::vector<std::string> vNames;
        if (!CRepositoryFileSystem::ListDirectory(strFrom, vNames, strError))
        {
            // A release directory that cannot be read stays empty, as the
            // checker then finds nothing in it either.
            return true;
        }
        for (const std::string& strName : vNames)
        {
            if (!CopyEntry(strFrom + "/" + strName, strTo + "/" + strName, nDepth + 1, nEntries, true, strError))
            {
                return false;
            }
        }
        return true;
    }
    default:
        // Devices and sockets are not copied.
        return true;
    }
}
} // namespace

bool CTargetPackageCopy::CopyPackageDescription(const std::string& strSource, const std::string& strTarget,
                                                std::string& strError)
{
    std::string strContent;
    if (!ReadFollowing(strSource + "/package.xml", strContent))
    {
        return true;
    }
    return CRepositoryFileSystem::CreateFile(strTarget + "/package.xml", strContent, 0644, strError);
}

bool CTargetPackageCopy::CopyReleaseDirectories(const std::string& strSource, const std::string& strTarget,
                                                const std::vector<std::string>& vReleaseDirectories,
                                                std::string& strError)
{
    std::size_t nEntries = 0;
    // A release directory before those inside it.
    std::vector<std::string> vSorted = vReleaseDirectories;
    std::sort(vSorted.begin(), vSorted.end());
    for (const std::string& strRelease : vSorted)
    {
        if (strRelease.empty())
        {
            // The package directory itself: its files, not its directories.
            std::vector<std::string> vNames;
            if (!CRepositoryFileSystem::ListDirectory(strSource, vNames, strError))
            {
                return false;
            }
            for (const std::string& strName : vNames)
            {
                CRepositoryFileSystem::SEntry entry;
                if (strName == "package.xml" ||
                    !CRepositoryFileSystem::Examine(strSource + "/" + strName, entry, strError) ||
                    entry.eKind == CRepositoryFileSystem::EKind::Directory)
                {
                    continue;
                }
                if (!CopyEntry(strSource + "/" + strName, strTarget + "/" + strName, 1, nEntries, false, strError))
                {
                    return false;
                }
            }
            continue;
        }
        CRepositoryFileSystem::SEntry existing;
        if (!CRepositoryFileSystem::Examine(strTarget + "/" + strRelease, existing, strError) ||
            existing.eKind != CRepositoryFileSystem::EKind::Missing)
        {
            continue; // copied already (a release inside another)
        }
        CRepositoryFileSystem::SEntry source;
        if (!CRepositoryFileSystem::Examine(strSource + "/" + strRelease, source, strError) ||
            source.eKind == CRepositoryFileSystem::EKind::Missing)
        {
            continue;
        }
        const std::size_t nSlash = strRelease.rfind('/');
        if (nSlash != std::string::npos &&
            !CRepositoryFileSystem::MakeDirectories(strTarget, strRelease.substr(0, nSlash), strError))
        {
            return false;
        }
        if (!CopyEntry(strSource + "/" + strRelease, strTarget + "/" + strRelease, 1, nEntries, true, strError))
        {
            return false;
        }
    }
    return true;
}
