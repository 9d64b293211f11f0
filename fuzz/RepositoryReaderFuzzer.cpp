// Fuzz target: the readers of a repository from outside.
//
// The first byte chooses what the rest of the input is:
//
//   even  a package archive (tar, plain, gzip or xz): the repository reader
//         scans it (package.xml, members, digest), reads its package
//         description when it has one, and writes its metadata (package.xml
//         and the release directories "REL" and the package's own) into a
//         fresh directory of the scratch area, which must then hold nothing
//         but what the archive's accepted members name; both reads must
//         agree on the digest;
//   odd   a catalog: it is parsed, and a catalog that parses must write and
//         parse again to the same text;
//   2, 6, 10, ... (even, with the second bit set)
//         a packed repository (as vexinspect repo pack writes it, read where
//         it lies): every name a directory of the tree lists must be an
//         entry of it; the repository is read from the tree (every package,
//         with digests) and from its catalog; each package's stamp must be
//         the one the read gave, its metadata copy must have the digest the
//         read gave and write nothing but entries of the package.

#include "FuzzSupport.h"

#include "ArchivePackage.h"
#include "Catalog.h"
#include "PackageDescriptionReader.h"
#include "PackedRepositoryTree.h"
#include "RepositoryFileSystem.h"
#include "RepositoryLoader.h"
#include "RepositoryPath.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <utility>

namespace
{
// Every path below a directory, relative to it.
void ListBelow(const std::string& strRoot, const std::string& strRelative, std::set<std::string>& setPaths)
{
    std::vector<std::string> vNames;
    std::string strError;
    if (!CRepositoryFileSystem::ListDirectory(strRelative.empty() ? strRoot : strRoot + "/" + strRelative, vNames,
                                              strError))
    {
        return;
    }
    for (const std::string& strName : vNames)
    {
        const std::string strPath = strRelative.empty() ? strName : strRelative + "/" + strName;
        setPaths.insert(strPath);
        ListBelow(strRoot, strPath, setPaths);
    }
}

void FuzzArchive(const std::string& strBytes)
{
    CMemoryInput input(strBytes);
    SArchiveContent content;
    std::string strError;
    const bool bScanned = CArchivePackage::Scan(input, content, strError);
    if (bScanned && content.bHasPackageXml && content.strPackageXml.size() < 65536)
    {
        const std::string strWork = vexfuzz::ScratchPath("reader");
        CRepositoryFileSystem::RemoveTree(strWork);
        std::string strMakeError;
        CRepositoryFileSystem::MakeDirectory(strWork, 0700, strMakeError);
        CPackageDescriptionReader reader(strWork);
        SPackageDescription description;
        if (reader.Read(content.strPackageXml, description, strError))
        {
            vexfuzz::Consume(description.vDependencies.size() + description.vDevices.size());
        }
    }

    const std::string strTarget = vexfuzz::ScratchPath("extracted");
    CRepositoryFileSystem::RemoveTree(strTarget);
    std::string strMakeError;
    if (!CRepositoryFileSystem::MakeDirectory(strTarget, 0700, strMakeError))
    {
        std::abort();
    }
    std::string strDigest;
    const bool bExtracted = CArchivePackage::ExtractMetadata(input, {"REL", ""}, strTarget, strDigest, strError);
    if (bScanned && bExtracted && strDigest != content.strDigest)
    {
        std::abort(); // one archive, two digests
    }
    // Nothing but the names of accepted members (and their directories).
    std::set<std::string> setAllowed;
    for (const STarMember& member : content.vMembers)
    {
        std::string strName = member.strName;
        for (std::size_t nSlash; !strName.empty(); strName = strName.substr(0, nSlash))
        {
            setAllowed.insert(strName);
            nSlash = strName.rfind('/');
            if (nSlash == std::string::npos)
            {
                break;
            }
        }
    }
    std::set<std::string> setWritten;
    ListBelow(strTarget, "", setWritten);
    for (const std::string& strPath : setWritten)
    {
        if (bScanned && setAllowed.count(strPath) == 0)
        {
            std::abort(); // written where no accepted member says
        }
    }
    CRepositoryFileSystem::RemoveTree(strTarget);
}

// Every name a directory of the tree lists is an entry of it.
void CheckListing(const IRepositoryTree& tree, const std::string& strDirectory)
{
    std::vector<std::string> vNames;
    std::string strError;
    if (!tree.ListDirectory(strDirectory, vNames, strError))
    {
        std::abort(); // a directory the tree cannot list
    }
    for (const std::string& strName : vNames)
    {
        const std::string strPath = CRepositoryPath::Join(strDirectory, strName);
        CRepositoryFileSystem::SEntry entry;
        if (strName.empty() || strName.find('/') != std::string::npos || strName == "." || strName == ".." ||
            !tree.Examine(strPath, entry, strError) || entry.eKind == CRepositoryFileSystem::EKind::Missing)
        {
            std::abort(); // a listed name that is no entry
        }
        if (entry.eKind == CRepositoryFileSystem::EKind::Directory)
        {
            CheckListing(tree, strPath);
        }
    }
}

void FuzzPackedRepository(const std::string& strBytes)
{
    std::unique_ptr<CPackedRepositoryTree> pTree(new CPackedRepositoryTree());
    CMemoryInput input(strBytes);
    std::string strError;
    if (!pTree->Load(input, strError))
    {
        return;
    }
    CheckListing(*pTree, "");
    const std::string strWork = vexfuzz::ScratchPath("packed-reader");
    CRepositoryFileSystem::RemoveTree(strWork);
    std::string strMakeError;
    if (!CRepositoryFileSystem::MakeDirectory(strWork, 0700, strMakeError))
    {
        std::abort();
    }
    CRepositoryLoader loader(std::move(pTree), "packed", strWork);
    SRepositoryLoad fromCatalog;
    if (loader.Load(CRepositoryScanner::EMode::Trust, "", false, fromCatalog, strError))
    {
        vexfuzz::Consume(fromCatalog.content.vPackages.size() + fromCatalog.content.vRefused.size());
    }
    SRepositoryLoad fromTree;
    if (!loader.Load(CRepositoryScanner::EMode::Fresh, "", true, fromTree, strError))
    {
        return;
    }
    const IRepositoryTree& tree = loader.Source().Tree();
    std::size_t nCopied = 0;
    for (const SPackageDescription& package : fromTree.content.vPackages)
    {
        const bool bDirectory = package.eFormat == EPackageFormat::Directory;
        std::string strStamp;
        if (!loader.Source().Stamp(package.strPath, bDirectory, strStamp, strError) || strStamp != package.strStamp)
        {
            std::abort(); // the same tree, read twice, two stamps
        }
        if (++nCopied > 4)
        {
            continue;
        }
        const std::string strTarget = vexfuzz::ScratchPath("packed-copy");
        CRepositoryFileSystem::RemoveTree(strTarget);
        if (!CRepositoryFileSystem::MakeDirectory(strTarget, 0700, strMakeError))
        {
            std::abort();
        }
        std::string strDigest;
        if (loader.Source().CopyMetadata(package, {"REL", ""}, strTarget, strDigest, strError) &&
            strDigest != package.strDigest)
        {
            std::abort(); // one package, two digests
        }
        std::set<std::string> setWritten;
        ListBelow(strTarget, "", setWritten);
        // An archive package's members are checked by the archive mode.
        for (const std::string& strPath : setWritten)
        {
            CRepositoryFileSystem::SEntry entry;
            if (bDirectory && (!tree.Examine(CRepositoryPath::Join(package.strPath, strPath), entry, strError) ||
                               entry.eKind == CRepositoryFileSystem::EKind::Missing))
            {
                std::abort(); // written where no entry of the package is
            }
        }
        CRepositoryFileSystem::RemoveTree(strTarget);
    }
    CRepositoryFileSystem::RemoveTree(strWork);
}

void FuzzCatalog(const std::string& strText)
{
    SCatalog catalog;
    std::string strError;
    if (!CCatalog::Parse(strText, catalog, strError))
    {
        return;
    }
    const std::string strWritten = CCatalog::ToText(catalog);
    SCatalog again;
    if (!CCatalog::Parse(strWritten, again, strError) || CCatalog::ToText(again) != strWritten)
    {
        std::abort(); // what the catalog writes, it must read back
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t nSize)
{
    if (nSize == 0)
    {
        return 0;
    }
    const std::string strRest(reinterpret_cast<const char*>(pData) + 1, nSize - 1);
    if ((pData[0] & 1) != 0)
    {
        FuzzCatalog(strRest);
    }
    else if ((pData[0] & 2) != 0)
    {
        FuzzPackedRepository(strRest);
    }
    else
    {
        FuzzArchive(strRest);
    }
    return 0;
}
