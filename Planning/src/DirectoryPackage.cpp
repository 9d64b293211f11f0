#include "DirectoryPackage.h"
#include "DiskRepositoryTree.h"

#include "RepositoryFileSystem.h"
#include "RepositoryLimits.h"
#include "RepositoryPath.h"
#include "Sha256.h"

#include <algorithm>

namespace
{
std::string Quote(const std::string& strText) { return "\"" + strText + "\""; }

bool WalkBelow(const IRepositoryTree& tree, const std::string& strPackage, const std::string& strRelative,
               std::size_t nDepth, std::vector<SPackageEntry>& vEntries, std::string& strError)
{
    if (nDepth > repositorylimits::nMaxDepth)
    {
        strError = Quote(strRelative) + " lies more than " + std::to_string(repositorylimits::nMaxDepth) +
                   " directories deep";
        return false;
    }
    std::vector<std::string> vNames;
    if (!tree.ListDirectory(CRepositoryPath::Join(strPackage, strRelative), vNames, strError))
    {
        strError = "cannot read the directory " + Quote(strRelative.empty() ? "." : strRelative) + ": " + strError;
        return false;
    }
    for (const std::string& strName : vNames)
    {
        const std::string strPath = CRepositoryPath::Join(strRelative, strName);
        CRepositoryFileSystem::SEntry entry;
        if (!tree.Examine(CRepositoryPath::Join(strPackage, strPath), entry, strError))
        {
            strError = "cannot examine " + Quote(strPath) + ": " + strError;
            return false;
        }
        if (entry.eKind != CRepositoryFileSystem::EKind::Regular &&
            entry.eKind != CRepositoryFileSystem::EKind::Directory)
        {
            strError = Quote(strPath) + " is " +
                       (entry.eKind == CRepositoryFileSystem::EKind::Missing
                            ? "gone while it was read"
                            : CRepositoryFileSystem::KindWords(entry.eKind));
            return false;
        }
        if (vEntries.size() >= repositorylimits::nMaxPackageEntries)
        {
            strError = "it holds more than " + std::to_string(repositorylimits::nMaxPackageEntries) +
                       " files and directories: no package is that large";
            return false;
        }
        SPackageEntry packageEntry;
        packageEntry.strPath = strPath;
        packageEntry.bDirectory = entry.eKind == CRepositoryFileSystem::EKind::Directory;
        packageEntry.nSize = packageEntry.bDirectory ? 0 : entry.nSize;
        packageEntry.nModifiedNs = entry.nModifiedNs;
        packageEntry.nMode = entry.nMode;
        vEntries.push_back(packageEntry);
        if (packageEntry.bDirectory && !WalkBelow(tree, strPackage, strPath, nDepth + 1, vEntries, strError))
        {
            return false;
        }
    }
    return true;
}

// Feeds one entry into the digest; the bytes of a file are handed to
// onBytes as well (when given).
template <typename OnBytes>
bool DigestEntry(const IRepositoryTree& tree, const std::string& strPackage, const SPackageEntry& entry,
                 CSha256& sha, OnBytes onBytes, std::string& strError)
{
    if (entry.bDirectory)
    {
        sha.Update(entry.strPath + "/");
        sha.Update("\0", 1);
        return true;
    }
    sha.Update(entry.strPath);
    sha.Update("\0", 1);
    sha.Update((entry.nMode & 0111) != 0 ? "x" : "-");
    sha.Update("\0", 1);
    sha.Update(std::to_string(entry.nSize));
    sha.Update("\0", 1);
    const std::unique_ptr<IFileInput> pFile = tree.OpenFile(CRepositoryPath::Join(strPackage, entry.strPath), strError);
    if (!pFile)
    {
        strError = Quote(entry.strPath) + ": " + strError;
        return false;
    }
    char buffer[65536];
    uint64_t nTotal = 0;
    for (;;)
    {
        const long nRead = pFile->Read(buffer, sizeof(buffer), strError);
        if (nRead < 0)
        {
            strError = Quote(entry.strPath) + ": " + strError;
            return false;
        }
        if (nRead == 0)
        {
            break;
        }
        nTotal += static_cast<uint64_t>(nRead);
        sha.Update(buffer, static_cast<std::size_t>(nRead));
        if (!onBytes(buffer, static_cast<std::size_t>(nRead), strError))
        {
            return false;
        }
    }
    if (nTotal != entry.nSize)
    {
        strError = Quote(entry.strPath) + " changed while it was read";
        return false;
    }
    return true;
}
} // namespace

std::string CDirectoryPackage::StampOf(const std::vector<SPackageEntry>& vEntries)
{
    CSha256 sha;
    for (const SPackageEntry& entry : vEntries)
    {
        sha.Update(entry.strPath + (entry.bDirectory ? "/" : ""));
        sha.Update("\0", 1);
        sha.Update(std::to_string(entry.nSize) + " " + std::to_string(entry.nModifiedNs) + " " +
                   std::to_string(entry.nMode) + "\n");
    }
    return sha.Finish();
}

bool CDirectoryPackage::Scan(const IRepositoryTree& tree, const std::string& strPackage, SDirectoryContent& content,
                             std::string& strError, bool bReadPackageXml)
{
    content = SDirectoryContent();
    if (!WalkBelow(tree, strPackage, std::string(), 0, content.vEntries, strError))
    {
        return false;
    }
    for (const SPackageEntry& entry : content.vEntries)
    {
        content.nSize += entry.nSize;
        content.nModifiedNs = std::max(content.nModifiedNs, entry.nModifiedNs);
    }
    content.strStamp = StampOf(content.vEntries);
    const auto itPackageXml = std::find_if(content.vEntries.begin(), content.vEntries.end(),
                                           [](const SPackageEntry& entry) { return entry.strPath == "package.xml"; });
    if (itPackageXml == content.vEntries.end() || itPackageXml->bDirectory)
    {
        strError = "package.xml is not a regular file";
        return false;
    }
    if (bReadPackageXml &&
        !tree.ReadRegularFile(CRepositoryPath::Join(strPackage, "package.xml"), repositorylimits::nMaxPackageXmlBytes,
                              content.strPackageXml, strError))
    {
        strError = "package.xml: " + strError;
        return false;
    }
    return true;
}

bool CDirectoryPackage::Digest(const IRepositoryTree& tree, const std::string& strPackage,
                               const SDirectoryContent& content, std::string& strDigest, std::string& strError)
{
    CSha256 sha;
    for (const SPackageEntry& entry : content.vEntries)
    {
        if (!DigestEntry(
                tree, strPackage, entry, sha, [](const char*, std::size_t, std::string&) { return true; }, strError))
        {
            return false;
        }
    }
    strDigest = sha.Finish();
    return true;
}

bool CDirectoryPackage::CopyMetadata(const IRepositoryTree& tree, const std::string& strPackage,
                                     const std::vector<std::string>& vReleaseDirectories, const std::string& strTarget,
                                     std::string& strDigest, std::string& strError)
{
    SDirectoryContent content;
    if (!Scan(tree, strPackage, content, strError))
    {
        return false;
    }
    CSha256 sha;
    uint64_t nWritten = 0;
    for (const SPackageEntry& entry : content.vEntries)
    {
        bool bMetadata = entry.strPath == "package.xml";
        for (const std::string& strRelease : vReleaseDirectories)
        {
            bMetadata = bMetadata || (CRepositoryPath::IsWithin(entry.strPath, strRelease) &&
                                      !(strRelease.empty() && entry.bDirectory));
        }
        std::string strData;
        const bool bDigested = DigestEntry(
            tree, strPackage, entry, sha,
            [&](const char* pBytes, std::size_t nSize, std::string& strCopyError) {
                if (!bMetadata)
                {
                    return true;
                }
                nWritten += nSize;
                if (nWritten > repositorylimits::nMaxMetadataBytes)
                {
                    strCopyError = "its package.xml and release directories hold more than " +
                                   std::to_string(repositorylimits::nMaxMetadataBytes) + " bytes";
                    return false;
                }
                strData.append(pBytes, nSize);
                return true;
            },
            strError);
        if (!bDigested)
        {
            return false;
        }
        if (!bMetadata)
        {
            continue;
        }
        const std::size_t nSlash = entry.strPath.rfind('/');
        const std::string strParent = nSlash == std::string::npos ? std::string() : entry.strPath.substr(0, nSlash);
        if (!CRepositoryFileSystem::MakeDirectories(strTarget, strParent, strError))
        {
            return false;
        }
        const std::string strPath = strTarget + "/" + entry.strPath;
        const bool bMade = entry.bDirectory ? CRepositoryFileSystem::MakeDirectory(strPath, 0755, strError)
                                            : CRepositoryFileSystem::CreateFile(strPath, strData,
                                                                                (entry.nMode & 0755) | 0600, strError);
        if (!bMade)
        {
            return false;
        }
    }
    strDigest = sha.Finish();
    return true;
}

bool CDirectoryPackage::Scan(const std::string& strDirectory, SDirectoryContent& content, std::string& strError,
                             bool bReadPackageXml)
{
    return Scan(CDiskRepositoryTree(strDirectory), std::string(), content, strError, bReadPackageXml);
}

bool CDirectoryPackage::Digest(const std::string& strDirectory, const SDirectoryContent& content,
                               std::string& strDigest, std::string& strError)
{
    return Digest(CDiskRepositoryTree(strDirectory), std::string(), content, strDigest, strError);
}

bool CDirectoryPackage::CopyMetadata(const std::string& strDirectory,
                                     const std::vector<std::string>& vReleaseDirectories, const std::string& strTarget,
                                     std::string& strDigest, std::string& strError)
{
    return CopyMetadata(CDiskRepositoryTree(strDirectory), std::string(), vReleaseDirectories, strTarget, strDigest,
                        strError);
}
