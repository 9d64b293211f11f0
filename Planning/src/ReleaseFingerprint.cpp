#include "ReleaseFingerprint.h"

#include "RepositoryFileSystem.h"
#include "RepositoryLimits.h"
#include "RepositoryPath.h"
#include "Sha256.h"

namespace
{
bool FeedDirectory(const std::string& strRoot, const std::string& strRelative, std::size_t nDepth, CSha256& sha,
                   std::size_t& nEntries, std::string& strError)
{
    if (nDepth > repositorylimits::nMaxDepth)
    {
        strError = "nested too deep";
        return false;
    }
    std::vector<std::string> vNames;
    if (!CRepositoryFileSystem::ListDirectory(CRepositoryPath::Join(strRoot, strRelative), vNames, strError))
    {
        return false;
    }
    for (const std::string& strName : vNames)
    {
        if (++nEntries > repositorylimits::nMaxPackageEntries)
        {
            strError = "too many entries";
            return false;
        }
        const std::string strPath = CRepositoryPath::Join(strRelative, strName);
        const std::string strFull = strRoot + "/" + strPath;
        CRepositoryFileSystem::SEntry entry;
        if (!CRepositoryFileSystem::Examine(strFull, entry, strError))
        {
            return false;
        }
        sha.Update(strPath);
        sha.Update("\0", 1);
        sha.Update(std::to_string(static_cast<int>(entry.eKind)) + " " + std::to_string(entry.nMode) + "\n");
        if (entry.eKind == CRepositoryFileSystem::EKind::Regular)
        {
            std::string strContent;
            if (!CRepositoryFileSystem::ReadRegularFile(
                    strFull, static_cast<std::size_t>(repositorylimits::nMaxMetadataBytes), strContent, strError))
            {
                return false;
            }
            sha.Update(std::to_string(strContent.size()) + "\n");
            sha.Update(strContent);
        }
        else if (entry.eKind == CRepositoryFileSystem::EKind::SymbolicLink)
        {
            std::string strTarget;
            if (!CRepositoryFileSystem::ReadLink(strFull, strTarget, strError))
            {
                return false;
            }
            sha.Update(strTarget);
            sha.Update("\0", 1);
        }
        else if (entry.eKind == CRepositoryFileSystem::EKind::Directory)
        {
            if (!FeedDirectory(strRoot, strPath, nDepth + 1, sha, nEntries, strError))
            {
                return false;
            }
        }
    }
    return true;
}
} // namespace

bool CReleaseFingerprint::Of(const std::string& strDirectory, std::string& strFingerprint, std::string& strError)
{
    CSha256 sha;
    std::size_t nEntries = 0;
    if (!FeedDirectory(strDirectory, std::string(), 0, sha, nEntries, strError))
    {
        return false;
    }
    strFingerprint = sha.Finish();
    return true;
}
