#include "RepositoryPacker.h"

#include "CatalogFile.h"
#include "GzipCompression.h"
#include "PackageSource.h"
#include "RepositoryFileSystem.h"
#include "RepositoryLimits.h"
#include "RepositoryLoader.h"
#include "ScratchArea.h"
#include "TarWriter.h"

#include <algorithm>

namespace
{
const int64_t nNanoseconds = 1000000000;

// Gives every entry below strDirectory the packed tree's permission bits
// and modification time (children first, so that no later change moves a
// directory's time again).
bool Normalise(const std::string& strDirectory, int64_t nSeconds, std::string& strError)
{
    std::vector<std::string> vNames;
    if (!CRepositoryFileSystem::ListDirectory(strDirectory, vNames, strError))
    {
        return false;
    }
    for (const std::string& strName : vNames)
    {
        const std::string strPath = strDirectory + "/" + strName;
        CRepositoryFileSystem::SEntry entry;
        if (!CRepositoryFileSystem::Examine(strPath, entry, strError))
        {
            return false;
        }
        const bool bDirectory = entry.eKind == CRepositoryFileSystem::EKind::Directory;
        if (!bDirectory && entry.eKind != CRepositoryFileSystem::EKind::Regular)
        {
            // The package copies keep special entries of release
            // directories; a packed repository holds none.
            strError = strPath + " is " + CRepositoryFileSystem::KindWords(entry.eKind);
            return false;
        }
        if (bDirectory && !Normalise(strPath, nSeconds, strError))
        {
            return false;
        }
        const mode_t nMode = bDirectory || (entry.nMode & 0111) != 0 ? 0755 : 0644;
        if (!CRepositoryFileSystem::SetModeAndTime(strPath, nMode, nSeconds, strError))
        {
            strError = strPath + ": " + strError;
            return false;
        }
    }
    return true;
}

// Adds every entry below strDirectory to the archive, in path order.
bool AddTree(const std::string& strRoot, const std::string& strRelative, CTarWriter& writer, SRepositoryPack& pack,
             std::string& strError)
{
    const std::string strDirectory = strRelative.empty() ? strRoot : strRoot + "/" + strRelative;
    std::vector<std::string> vNames;
    if (!CRepositoryFileSystem::ListDirectory(strDirectory, vNames, strError))
    {
        return false;
    }
    for (const std::string& strName : vNames)
    {
        const std::string strMember = strRelative.empty() ? strName : strRelative + "/" + strName;
        CRepositoryFileSystem::SEntry entry;
        if (!CRepositoryFileSystem::Examine(strRoot + "/" + strMember, entry, strError))
        {
            return false;
        }
        if (entry.eKind == CRepositoryFileSystem::EKind::Directory)
        {
            writer.AddDirectory(strMember, entry.nMode, entry.nModifiedNs / nNanoseconds);
            if (!AddTree(strRoot, strMember, writer, pack, strError))
            {
                return false;
            }
            continue;
        }
        std::string strContent;
        if (!CRepositoryFileSystem::ReadRegularFile(strRoot + "/" + strMember, repositorylimits::nMaxMetadataBytes,
                                                    strContent, strError))
        {
            strError = strMember + ": " + strError;
            return false;
        }
        pack.nMetadataBytes += strContent.size();
        if (pack.nMetadataBytes > 4 * repositorylimits::nMaxMetadataBytes)
        {
            strError = "the metadata of the repository exceeds " +
                       std::to_string(4 * repositorylimits::nMaxMetadataBytes / (uint64_t{1024} * 1024)) + " MiB";
            return false;
        }
        writer.AddFile(strMember, strContent, entry.nMode, entry.nModifiedNs / nNanoseconds);
    }
    return true;
}

std::string ParentOf(const std::string& strPath)
{
    const std::size_t nSlash = strPath.rfind('/');
    return nSlash == std::string::npos ? std::string() : strPath.substr(0, nSlash);
}
} // namespace

CRepositoryPacker::CRepositoryPacker(const std::string& strRepository) : m_strRepository(strRepository) {}

CRepositoryPacker::EOutcome CRepositoryPacker::Pack(std::string& strArchive, SRepositoryPack& pack,
                                                    std::string& strError)
{
    pack = SRepositoryPack();
    CScratchArea scratch;
    std::string strReader;
    std::string strTree;
    if (!scratch.Create(strError) || !scratch.NewDirectory("reader", strReader, strError) ||
        !scratch.NewDirectory("tree", strTree, strError))
    {
        strError = "cannot make a scratch directory: " + strError;
        return EOutcome::CannotWrite;
    }
    // The repository's own catalog spares reading packages that did not
    // change; each packed package is read whole all the same.
    CRepositoryLoader loader(m_strRepository, strReader);
    SRepositoryLoad load;
    const std::string strCatalog = CCatalogFile::DefaultPath(m_strRepository);
    if (!loader.Load(CRepositoryScanner::EMode::Reuse, CCatalogFile::Exists(strCatalog) ? strCatalog : std::string(),
                     false, load, strError))
    {
        strError = "cannot read the repository " + m_strRepository + ": " + strError;
        return EOutcome::RepositoryUnreadable;
    }
    pack.vRefused = load.content.vRefused;
    pack.vSkipped = load.content.vSkipped;
    for (const SPackageDescription& package : load.content.vPackages)
    {
        pack.nModifiedSeconds = std::max(pack.nModifiedSeconds, package.nModifiedNs / nNanoseconds);
    }
    std::string strReaderCopy;
    if (!scratch.NewDirectory("reader", strReaderCopy, strError) ||
        !CopyPackages(load.content.vPackages, loader.Source(), strTree, pack, strError) ||
        !Normalise(strTree, pack.nModifiedSeconds, strError) || !WriteCatalog(strTree, strReaderCopy, pack, strError))
    {
        return EOutcome::CannotWrite;
    }
    CTarWriter writer;
    if (!AddTree(strTree, std::string(), writer, pack, strError))
    {
        return EOutcome::CannotWrite;
    }
    pack.nMembers = writer.MemberCount();
    if (!CGzipCompression::Compress(writer.Finish(), strArchive, strError))
    {
        return EOutcome::CannotWrite;
    }
    pack.nArchiveBytes = strArchive.size();
    return EOutcome::Packed;
}

bool CRepositoryPacker::CopyPackages(const std::vector<SPackageDescription>& vPackages, CPackageSource& source,
                                     const std::string& strTree, SRepositoryPack& pack, std::string& strError)
{
    for (const SPackageDescription& package : vPackages)
    {
        const std::string strTarget = strTree + "/" + package.strPath;
        const std::string strParent = ParentOf(package.strPath);
        if ((!strParent.empty() && !CRepositoryFileSystem::MakeDirectories(strTree, strParent, strError)) ||
            !CRepositoryFileSystem::MakeDirectory(strTarget, 0755, strError))
        {
            strError = "cannot make " + strTarget + ": " + strError;
            return false;
        }
        std::string strDigest;
        std::string strReason;
        if (!source.CopyMetadata(package, package.vReleaseDirectories, strTarget, strDigest, strReason))
        {
            // A package that cannot be read whole now is left out, as the
            // walk leaves out a package it refuses.
            CRepositoryFileSystem::RemoveTree(strTarget);
            pack.vRefused.push_back({package.strPath, strReason});
            continue;
        }
        if (!package.strDigest.empty() && package.strDigest != strDigest)
        {
            CRepositoryFileSystem::RemoveTree(strTarget);
            pack.vRefused.push_back({package.strPath, "its content changed while it was packed; pack again"});
            continue;
        }
        pack.nRepositoryBytes += package.nSize;
        ++pack.nPackages;
    }
    std::sort(pack.vRefused.begin(), pack.vRefused.end(),
              [](const SRefusedPackage& a, const SRefusedPackage& b) { return a.strPath < b.strPath; });
    return true;
}

bool CRepositoryPacker::WriteCatalog(const std::string& strTree, const std::string& strReaderDirectory,
                                     SRepositoryPack& pack, std::string& strError)
{
    CRepositoryLoader loader(strTree, strReaderDirectory);
    SRepositoryLoad load;
    if (!loader.Load(CRepositoryScanner::EMode::Fresh, std::string(), true, load, strError))
    {
        strError = "cannot read the packed tree: " + strError;
        return false;
    }
    if (load.content.vPackages.size() != pack.nPackages)
    {
        strError = "the packed tree holds " + std::to_string(load.content.vPackages.size()) + " usable packages, not " +
                   std::to_string(pack.nPackages) +
                   (load.content.vRefused.empty() ? std::string()
                                                  : " (" + load.content.vRefused.front().strPath + ": " +
                                                        load.content.vRefused.front().strReason + ")");
        return false;
    }
    SCatalog catalog;
    catalog.strRepository = ".";
    catalog.vPackages = load.content.vPackages;
    const std::string strPath = CCatalogFile::DefaultPath(strTree);
    return CRepositoryFileSystem::CreateFile(strPath, CCatalog::ToText(catalog), 0644, strError) &&
           CRepositoryFileSystem::SetModeAndTime(strPath, 0644, pack.nModifiedSeconds, strError);
}
